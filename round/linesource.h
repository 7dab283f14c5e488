// The lines of a file, a block of the file at a time. It finds the blocks, the byte order mark and the line feeds, not the
// meaning of a line. A line is held as a whole, unless a limit is set.
#pragma once
#include "common/file.h"
#include "common/secret.h"
#include <array>
#include <cstdint>
#include <string_view>

namespace tramo {

class LineSource {
public:
    static constexpr std::size_t blockSize = std::size_t{256} << 10;

    // Reads a file that is open, or bytes in memory, which must outlive the source.
    explicit LineSource(File from) : file(std::move(from)), buffer(blockSize, '\0'), data(buffer.data()) {}
    explicit LineSource(std::string_view bytes) : data(bytes.data()), end(bytes.size()), isAtEnd(true) {}
    LineSource(const LineSource&) = delete;
    LineSource& operator=(const LineSource&) = delete;

    // Loads the first block up to this number of bytes, or to its end. Returns false on failure.
    bool load(std::size_t atLeast);

    // Sets the encoding and skips its byte order mark. Call it once, before the first line.
    void setUtf16(bool isUtf16);

    // Of a line that is longer than this, keeps only the first character if it does not fit into what is loaded. No line needs
    // much memory then.
    void limitTo(std::size_t bytes) { limit = bytes; }

    // Goes to the next line. Returns false at the end of the file, or if reading fails; then error() is not 0.
    bool next();

    // What is loaded and not read; what follows the byte order mark before the first line.
    std::string_view waiting() const { return {data + begin, end - begin}; }
    bool isLoaded() const { return isAtEnd; }  // to the end of the file
    int error() const { return reason; }

    // The line without its line feed, valid until the next call.
    std::string_view bytes() const { return line; }
    bool hasLineFeed() const { return endsWithFeed; }
    std::uint64_t offset() const { return lineBegin; }  // of the line
    std::uint64_t place() const { return nextBegin; }   // after the line
    std::int64_t number() const { return lineNumber; }

    // Finds the first line feed at or after `from`, which is the beginning of a character.
    static std::size_t findLineFeed(std::string_view text, std::size_t from, std::size_t width);

private:
    bool fill();
    bool take(std::size_t size, std::size_t lineFeed, std::size_t dropped);

    File file;
    SecretBytes buffer;  // may hold key lines
    const char* data;
    std::size_t begin = 0, end = 0;  // of what is loaded and not read
    std::size_t width = 1;           // of a character in bytes
    std::size_t limit = std::string_view::npos;
    std::array<char, 2> firstOfDropped{};  // the first character of a line that passes the limit
    bool isAtEnd = false;
    int reason = 0;
    std::string_view line{};
    bool endsWithFeed = false;
    std::uint64_t lineBegin = 0, nextBegin = 0;
    std::int64_t lineNumber = 0;
};

}  // namespace tramo
