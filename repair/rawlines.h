// Splits a file into lines without decoding them, with memory for one line.
#pragma once
#include "common/secret.h"
#include "tramostream/repair.h"
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tramo {

// How the bytes of a file are lines.
struct RawLayout {
    std::size_t skipped = 0;    // bytes before the first line: a byte order mark
    std::size_t width = 1;      // of a character, in bytes
    bool isBigEndian = false;   // the high byte of each character first
    bool endsInReturn = false;  // lines end in CR; no line ends in LF
};

struct RawLine {
    std::string_view bytes{};  // with its line ending, and an odd byte at the end of the file; valid until the next call
    std::uint64_t offset = 0;
    std::int64_t number = 0;  // 1-based
    bool isEnded = false;     // it has the character that ends lines
    bool isLast = false;      // of the file
    bool isPart = false;      // of a line that is too long to be mended, or of text that cannot be read; all its parts are copied
    bool continues = false;   // the part before belongs to the same line
};

class RawLines {
public:
    RawLines(const ReadBytes& read, RawLayout layout);

    bool next(RawLine& line);

private:
    bool fill();
    std::size_t findEnd(std::size_t from) const;
    bool isAtEnd();

    const ReadBytes& file;
    RawLayout layout;
    SecretBytes buffer;  // lines may hold keys
    std::uint64_t place = 0, loaded = 0;
    std::size_t begin = 0, end = 0;
    std::int64_t number = 0;
    bool isComplete = false, inPart = false, isUnreadable = false;
};

}  // namespace tramo
