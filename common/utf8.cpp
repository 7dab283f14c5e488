#include "common/utf8.h"
#include <cstddef>

namespace tramo::utf8 {

namespace {

bool isHighSurrogate(char32_t c) { return c >= 0xD800 && c < 0xDC00; }
bool isLowSurrogate(char32_t c) { return c >= 0xDC00 && c < 0xE000; }

struct Character {
    char32_t code;
    std::size_t length;
};

// Returns the first character of the bytes, which are not empty.
Character first(std::string_view bytes) {
    constexpr Character invalid{static_cast<char32_t>(replacement), 1};
    const auto lead = static_cast<unsigned char>(bytes[0]);
    if (lead < 0x80) return {lead, 1};
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC0 || lead > 0xF7 || bytes.size() < length) return invalid;
    char32_t code = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(bytes[i]);
        if ((next & 0xC0) != 0x80) return invalid;
        code = code << 6 | (next & 0x3FU);
    }
    constexpr char32_t lowest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < lowest[length] || code > 0x10FFFF || isHighSurrogate(code) || isLowSurrogate(code)) return invalid;
    return {code, length};
}

void append(std::string& out, char32_t c) {
    const auto tail = [&](unsigned shift) { out += static_cast<char>(0x80 | (c >> shift & 0x3F)); };
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        tail(0);
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        tail(6), tail(0);
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        tail(12), tail(6), tail(0);
    }
}

}  // namespace

std::wstring decode(std::string_view bytes) {
    std::wstring text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const Character c = first(bytes);
        bytes.remove_prefix(c.length);
        if (c.code < 0x10000) {
            text += static_cast<wchar_t>(c.code);
        } else {
            text += static_cast<wchar_t>(0xD800 + (c.code - 0x10000) / 0x400);
            text += static_cast<wchar_t>(0xDC00 + (c.code - 0x10000) % 0x400);
        }
    }
    return text;
}

std::string encode(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = static_cast<char32_t>(text[i]);
        const auto next = i + 1 < text.size() ? static_cast<char32_t>(text[i + 1]) : 0;
        if (isHighSurrogate(unit) && isLowSurrogate(next)) {
            append(bytes, 0x10000 + (unit - 0xD800) * 0x400 + (next - 0xDC00));
            ++i;
        } else {
            const bool lone = isHighSurrogate(unit) || isLowSurrogate(unit) || unit > 0xFFFF;
            append(bytes, lone ? static_cast<char32_t>(replacement) : unit);
        }
    }
    return bytes;
}

}  // namespace tramo::utf8
