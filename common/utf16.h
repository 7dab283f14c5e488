// Wide text that holds one UTF-16 code unit in each wchar_t.
#pragma once
#include <cstddef>
#include <string_view>

namespace tramo::utf16 {

constexpr bool isHighSurrogate(char32_t c) { return (c & ~0x3FFU) == 0xD800; }
constexpr bool isLowSurrogate(char32_t c) { return (c & ~0x3FFU) == 0xDC00; }
constexpr bool isSurrogate(char32_t c) { return (c & ~0x7FFU) == 0xD800; }

struct Character {
    char32_t code;  // an unpaired surrogate is its own code
    std::size_t length;
};

// The character at the start of the text, which is not empty.
constexpr Character first(std::wstring_view text) {
    const auto unit = static_cast<char32_t>(text[0]);
    const auto next = text.size() > 1 ? static_cast<char32_t>(text[1]) : 0;
    if (!isHighSurrogate(unit) || !isLowSurrogate(next)) return {unit, 1};
    return {0x10000 + (unit - 0xD800) * 0x400 + (next - 0xDC00), 2};
}

// Appends the units of a character to a string.
template <class Text> constexpr void append(Text& text, char32_t c) {
    using Unit = typename Text::value_type;
    if (c < 0x10000) {
        text.push_back(static_cast<Unit>(c));
    } else {
        text.push_back(static_cast<Unit>(0xD800 + (c - 0x10000) / 0x400));
        text.push_back(static_cast<Unit>(0xDC00 + (c - 0x10000) % 0x400));
    }
}

// Returns whether an unpaired surrogate is at this index.
constexpr bool isLoneSurrogate(std::wstring_view text, std::size_t at) {
    const auto unit = static_cast<char32_t>(text[at]);
    if (!isSurrogate(unit)) return false;
    if (isHighSurrogate(unit)) return first(text.substr(at)).length == 1;
    return at == 0 || !isHighSurrogate(static_cast<char32_t>(text[at - 1]));
}

}  // namespace tramo::utf16
