#include "round/recordlines.h"
#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

namespace tramo {

// Loads more after what is waiting. Returns false at the end of the file, or on failure.
bool RecordLines::fill() {
    std::copy(buffer.data() + begin, buffer.data() + end, buffer.data());
    end -= begin;
    begin = 0;
    const std::ptrdiff_t count = file.read(buffer.data() + end, buffer.size() - end);
    if (count < 0) reason = errno;
    if (count > 0) end += static_cast<std::size_t>(count);
    return count > 0;
}

// Finds out the encoding and skips the byte order mark. Returns false on failure.
bool RecordLines::skipMark() {
    while (end - begin < 2 && fill()) {}
    if (reason != 0) return false;
    width = waiting().starts_with("\xFF\xFE") ? 2 : 1;
    if (width == 2) begin += 2;
    return true;
}

// Finds the first line feed at or after `from`, which is the beginning of a character.
std::size_t RecordLines::findLineFeed(std::string_view text, std::size_t from) const {
    std::size_t found = text.find('\n', from);
    if (width == 1) return found;
    while (found != std::string_view::npos && (found % 2 != 0 || found + 1 == text.size() || text[found + 1] != 0))
        found = text.find('\n', found + 1);
    return found;
}

// Returns whether the text has the length of a record, with or without a carriage return at its end, and keeps it.
bool RecordLines::isRecord(std::string_view text) {
    const std::string_view carriageReturn("\r\0", width);
    if (text.size() == (length + 1) * width && text.ends_with(carriageReturn)) text.remove_suffix(width);
    if (text.size() != length * width) return false;
    line = text;
    if (width == 2) {
        std::memcpy(decoded.data(), text.data(), text.size());
        if constexpr (std::endian::native == std::endian::big)  // a file has the low byte first
            for (char16_t& unit : decoded) unit = static_cast<char16_t>(unit << 8 | unit >> 8);
    }
    return true;
}

bool RecordLines::next() {
    if (width == 0 && !skipMark()) return false;
    bool isTooLong = false;  // the beginning of this line has been dropped
    for (std::size_t searched = 0;;) {
        // A character U+FFFF at the beginning of a line ends the text.
        if (width == 2 && !isTooLong && waiting().starts_with("\xFF\xFF")) return false;
        const std::size_t feed = findLineFeed(waiting(), searched);
        if (feed != std::string_view::npos) {
            const std::string_view text = waiting().substr(0, feed);
            begin += feed + width;
            ++lineNumber;
            if (!isTooLong && isRecord(text)) return true;
            isTooLong = false;
            searched = 0;
            continue;
        }
        searched = waiting().size() / width * width;
        if (searched > (length + 1) * width) {
            begin += searched;
            searched = 0;
            isTooLong = true;
        }
        if (fill()) continue;
        // The last line has no line feed.
        const std::string_view text = waiting().substr(0, waiting().size() / width * width);
        begin = end;
        if (reason != 0 || (text.empty() && !isTooLong)) return false;
        ++lineNumber;
        return !isTooLong && isRecord(text);
    }
}

}  // namespace tramo
