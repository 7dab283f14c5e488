// The bytes of text in the encodings of exchange files: ANSI has one byte for each character, UTF-16 two for each code unit, the
// low one first. Wide text holds one UTF-16 code unit in each wchar_t.
#pragma once
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace tramo::encoding {

// Byte order marks.
inline constexpr std::string_view utf8Mark{"\xEF\xBB\xBF", 3};
inline constexpr std::string_view utf16Mark{"\xFF\xFE", 2}, utf16BigMark{"\xFE\xFF", 2};
inline constexpr std::string_view utf32Mark{"\xFF\xFE\0\0", 4}, utf32BigMark{"\0\0\xFE\xFF", 4};

inline constexpr std::string_view utf16LineEnd{"\r\0\n\0", 4};

inline constexpr std::uint32_t mostOfAnsi = 0xFF, mostOfUtf16 = 0xFFFF;

template <class Char> constexpr std::uint32_t valueOf(Char c) { return static_cast<std::make_unsigned_t<Char>>(c); }

// The index of the first character above the limit, which is 0xFF or 0xFFFF, or npos.
inline std::size_t findAbove(std::uint32_t limit, std::wstring_view text) {
    std::uint32_t bits = 0;  // no early exit, so that the compiler can vectorize the usual case
    for (const wchar_t c : text) bits |= valueOf(c);
    if (bits <= limit) return std::wstring_view::npos;
    const auto found = std::find_if(text.begin(), text.end(), [&](wchar_t c) { return valueOf(c) > limit; });
    return found == text.end() ? std::wstring_view::npos : static_cast<std::size_t>(found - text.begin());
}

// Whether the text begins with a mark when it is written as ANSI.
inline bool beginsWithMark(std::wstring_view text, std::string_view mark) {
    const auto isSame = [](char byte, wchar_t c) { return valueOf(byte) == valueOf(c); };
    return text.size() >= mark.size() && std::equal(mark.begin(), mark.end(), text.begin(), isSame);
}

// The functions that write return the bits of all characters together: more than mostOfAnsi or mostOfUtf16 if the encoding
// cannot represent one of them, of which the lower bytes are written. One pass without a branch, so that the compiler can
// vectorize it.

template <class Char> std::uint32_t writeAnsi(std::basic_string_view<Char> text, char* out) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::uint32_t c = valueOf(text[i]);
        bits |= c;
        out[i] = static_cast<char>(c & 0xFF);
    }
    return bits;
}

template <class Char> std::uint32_t writeUtf16(std::basic_string_view<Char> text, char* out) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::uint32_t c = valueOf(text[i]);
        bits |= c;
        out[2 * i] = static_cast<char>(c & 0xFF);
        out[2 * i + 1] = static_cast<char>(c >> 8 & 0xFF);
    }
    return bits;
}

// Appends the text to a string or buffer of bytes.
template <class Bytes, class Char> std::uint32_t append(Bytes& bytes, std::basic_string_view<Char> text, bool isUtf16) {
    const std::size_t before = bytes.size();
    bytes.resize(before + text.size() * (isUtf16 ? 2 : 1));
    char* const out = bytes.data() + before;
    return isUtf16 ? writeUtf16(text, out) : writeAnsi(text, out);
}

// The code unit at this index of text in UTF-16.
inline std::uint16_t unitAt(const unsigned char* bytes, std::size_t index) {
    std::uint16_t unit = 0;
    std::memcpy(&unit, bytes + 2 * index, 2);
    if constexpr (std::endian::native == std::endian::big) unit = static_cast<std::uint16_t>(unit << 8 | unit >> 8);
    return unit;
}

// Writes units of text in UTF-16 as single bytes. Returns whether all of them fit.
inline bool narrow(const unsigned char* utf16, std::size_t count, char* out) {
    std::uint16_t all = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint16_t unit = unitAt(utf16, i);
        all = static_cast<std::uint16_t>(all | unit);
        out[i] = static_cast<char>(unit);
    }
    return all <= mostOfAnsi;
}

// Reads `count` characters.
inline void read(const unsigned char* bytes, std::size_t count, bool isUtf16, wchar_t* out) {
    if (isUtf16) {
        for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<wchar_t>(unitAt(bytes, i));
    } else {
        for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<wchar_t>(bytes[i]);
    }
}

}  // namespace tramo::encoding
