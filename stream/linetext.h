// The text of an input stream: the bytes of its files, decoded line by line.
#pragma once
#include "common/bytebuffer.h"
#include <cstddef>
#include <vector>

namespace tramo::stream {

// The text that one open() added: from `begin` on, characters of one byte, or of two bytes with the low byte first. An odd
// byte at the end is ignored.
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
    // A line without its line feed. A line continues in the next segment if its segment ends without a line feed.
    struct Line {
        std::size_t segment;
        std::size_t begin;
        std::size_t size;
        bool terminated;  // by a line feed, not by the end of the text
    };

    // Appends text and frees the segments already read.
    void append(Segment segment);

    // Replaces all text; reading starts at its beginning.
    void replace(Segment segment);

    bool atEnd() const { return current == segments.size(); }

    // Returns the next character. Requires !atEnd().
    wchar_t peek() const { return segments[current].character(index); }

    // Reads up to the next line feed and skips it. The line is valid until text is added.
    Line next();

    // Copies the first `count` characters of a line.
    void copy(const Line& line, std::size_t count, wchar_t* out) const;

private:
    // No segment is empty, and `index` is a character of the current one.
    std::vector<Segment> segments;
    std::size_t current = 0;
    std::size_t index = 0;
};

}  // namespace tramo::stream
