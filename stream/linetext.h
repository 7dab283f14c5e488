// The text of an input stream: held as the bytes of its files, decoded line by line.
#pragma once
#include "common/bytebuffer.h"
#include <cstddef>
#include <vector>

namespace tramo::stream {

// What one open has added: characters of one byte, or of two with the low byte first, from `begin` on. A byte too many
// at the end is no character.
struct Segment {
    ByteBuffer bytes;
    std::size_t begin;
    std::size_t width;

    std::size_t size() const { return (bytes.size() - begin) / width; }
    const unsigned char* at(std::size_t index) const;
    wchar_t character(std::size_t index) const;
};

class LineText {
public:
    // A line without its line feed. A line whose segment ends without one goes on in the next segment.
    struct Line {
        std::size_t segment;
        std::size_t begin;
        std::size_t size;
        bool terminated;  // by a line feed, not by the end of the text
    };

    // Adds text behind what is there; what has been read already is given back to the system.
    void append(Segment segment);

    // Takes the place of all text, read from its beginning.
    void replace(Segment segment);

    bool atEnd() const { return current == segments.size(); }

    // The next character; not at the end.
    wchar_t peek() const { return segments[current].character(index); }

    // The rest of the text up to the next line feed, which is passed over. Good until text is added.
    Line next();

    // The first `count` characters of a line.
    void copy(const Line& line, std::size_t count, wchar_t* out) const;

private:
    // None is empty, and `index` is a character of the current one.
    std::vector<Segment> segments;
    std::size_t current = 0;
    std::size_t index = 0;
};

}  // namespace tramo::stream
