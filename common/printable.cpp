#include "common/printable.h"
#include "common/utf16.h"
#include "common/utf8.h"
#include <algorithm>
#include <iterator>

namespace tramo {

namespace {

struct Range {
    char32_t first, last;
};

// clang-format off
// Control characters, spaces that look like U+0020, marks that are invisible or that turn text around, halves of pairs,
// private and unused places.
constexpr Range hidden[] = {
    {0x0000, 0x001F}, {0x007F, 0x00A0}, {0x00AD, 0x00AD}, {0x034F, 0x034F}, {0x061C, 0x061C}, {0x115F, 0x1160},
    {0x1680, 0x1680}, {0x17B4, 0x17B5}, {0x180B, 0x180F}, {0x2000, 0x200F}, {0x2028, 0x202F}, {0x205F, 0x206F}, {0x3164, 0x3164},
    {0xD800, 0xF8FF}, {0xFDD0, 0xFDEF}, {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFB},
    {0xFFFE, 0xFFFF}, {0x1D173, 0x1D17A}, {0xE0000, 0x10FFFF},
};
// clang-format on

bool isHidden(char32_t c) {
    const auto* range = std::ranges::lower_bound(hidden, c, {}, &Range::last);
    return range != std::end(hidden) && c >= range->first;
}

void appendEscape(std::string& out, char prefix, int digits, char32_t value) {
    out += '\\';
    out += prefix;
    for (int i = digits; i-- > 0;) out += "0123456789abcdef"[value >> (4 * i) & 0xF];
}

void appendPrintable(std::string& out, char32_t c) {
    if (!isHidden(c)) utf8::append(out, c);
    else if (c < 0x100) appendEscape(out, 'x', 2, c);
    else if (c < 0x10000) appendEscape(out, 'u', 4, c);
    else appendEscape(out, 'U', 8, c);
}

}  // namespace

std::string printable(std::wstring_view text) {
    std::string out;
    while (!text.empty()) {
        const auto [code, length] = utf16::first(text);
        appendPrintable(out, code);
        text.remove_prefix(length);
    }
    return out;
}

std::string printable(std::string_view bytes) {
    std::string out;
    while (!bytes.empty()) {
        const utf8::Character c = utf8::first(bytes);
        if (c.isValid) appendPrintable(out, c.code);
        else appendEscape(out, 'x', 2, static_cast<unsigned char>(bytes[0]));
        bytes.remove_prefix(c.length);
    }
    return out;
}

std::string quoted(std::wstring_view text) { return '"' + printable(text) + '"'; }

}  // namespace tramo
