#include "round/recordlines.h"
#include "common/encoding.h"
#include <bit>
#include <cstring>

namespace tramo {

// Finds out the encoding and skips the byte order mark. Returns false on failure.
bool RecordLines::start() {
    if (!source.load(encoding::utf16Mark.size())) return false;
    const bool hasMark = source.waiting().starts_with(encoding::utf16Mark);
    width = hasMark ? 2 : 1;
    source.setUtf16(hasMark);
    source.limitTo((length + 1) * width);
    return true;
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
    if (width == 0 && !start()) return false;
    while (!isTextOver && source.next()) {
        std::string_view text = source.bytes();
        if (!source.hasLineFeed()) text = text.substr(0, text.size() / width * width);  // the file may end with an odd byte
        isTextOver = width == 2 && text.starts_with("\xFF\xFF");
        if (!isTextOver && isRecord(text)) return true;
    }
    return false;
}

}  // namespace tramo
