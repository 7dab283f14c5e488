// Single-byte text, and what a locale makes of it.
#pragma once
#include "common/bytebuffer.h"
#include "stream/linetext.h"
#include <cstddef>
#include <locale>
#include <string>
#include <string_view>

namespace tramo::stream {

// The index of the first character above the limit, which is one below a power of two, or AnsiConversion::npos.
std::size_t findAbove(char32_t limit, std::wstring_view text);

// Of the classic locale, a byte and the character of the same value are each other's conversion; of any other locale,
// its own conversion holds. Characters are UTF-16 code units on our side, whole characters on the locale's.
class AnsiConversion {
public:
    static constexpr std::size_t npos = std::wstring_view::npos;

    explicit AnsiConversion(const std::locale& locale = std::locale());

    // A byte that the locale cannot convert stands for the character of its value.
    Segment decode(ByteBuffer bytes) const;

    // `out` becomes the text's bytes. Answers the index of the first character that has none, or npos.
    std::size_t encode(std::wstring_view text, std::string& out) const;

private:
    using Facet = std::codecvt<wchar_t, char, std::mbstate_t>;

    std::size_t encodeByFacet(std::wstring_view text, std::string& out) const;

    std::locale owner;
    const Facet* facet = nullptr;  // of the owner; none for the classic locale
};

}  // namespace tramo::stream
