// The lines of a file that have the length of a record, a block of the file at a time.
#pragma once
#include "common/file.h"
#include "tramostream/tramoline.h"
#include <array>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <vector>

namespace tramo {

class RecordLines {
public:
    static constexpr std::size_t length = std::tuple_size_v<TramoLine::tramoLine_t> - 2;

    // Reads a file that is open. The encoding is found by the byte order mark.
    explicit RecordLines(File from) : file(std::move(from)), buffer(blockSize) {}

    // Goes to the next line of this length. Returns false at the end of the text, or if reading fails; then error() is not 0.
    bool next();

    std::int64_t number() const { return lineNumber; }
    int error() const { return reason; }
    bool isUtf16() const { return width == 2; }

    // The line without its line ending, valid until the next call.
    std::string_view bytes() const { return line; }
    std::u16string_view units() const { return {decoded.data(), decoded.size()}; }

private:
    static constexpr std::size_t blockSize = std::size_t{256} << 10;

    std::string_view waiting() const { return {buffer.data() + begin, end - begin}; }
    bool fill();
    bool skipMark();
    std::size_t findLineFeed(std::string_view text, std::size_t from) const;
    bool isRecord(std::string_view text);

    File file;
    std::vector<char> buffer;
    std::size_t begin = 0, end = 0;  // of what is loaded and not read
    std::size_t width = 0;           // of a character in bytes; 0: nothing has been read yet
    std::int64_t lineNumber = 0;
    int reason = 0;
    std::string_view line;
    std::array<char16_t, length> decoded;
};

}  // namespace tramo
