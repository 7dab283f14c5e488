// The lines of a file that have the length of a record, a block of the file at a time.
#pragma once
#include "round/linesource.h"
#include "tramostream/tramoline.h"
#include <array>
#include <cstdint>
#include <string_view>
#include <tuple>

namespace tramo {

class RecordLines {
public:
    static constexpr std::size_t length = std::tuple_size_v<TramoLine::tramoLine_t> - 2;

    // Reads a file that is open. The encoding is found by the byte order mark.
    explicit RecordLines(File from) : source(std::move(from)) {}

    // Goes to the next line of this length. Returns false at the end of the text, or if reading fails; then error() is not 0.
    bool next();

    std::int64_t number() const { return source.number(); }
    int error() const { return source.error(); }
    bool isUtf16() const { return width == 2; }

    // The line without its line ending, valid until the next call.
    std::string_view bytes() const { return line; }
    std::u16string_view units() const { return {decoded.data(), decoded.size()}; }

private:
    bool start();
    bool isRecord(std::string_view text);

    LineSource source;
    std::size_t width = 0;    // of a character in bytes; 0: nothing has been read yet
    bool isTextOver = false;  // a line of UTF-16 begins with U+FFFF
    std::string_view line;
    std::array<char16_t, length> decoded;
};

}  // namespace tramo
