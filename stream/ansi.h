// Single-byte text and its conversion by a locale.
#pragma once
#include "common/bytebuffer.h"
#include "stream/linetext.h"
#include <cstddef>
#include <locale>
#include <string>
#include <string_view>

namespace tramo::stream {

// In the classic locale, a byte and the character of the same value convert to each other; any other locale converts by
// itself. Texts hold UTF-16 code units, locales convert whole characters.
class AnsiConversion {
public:
    static constexpr std::size_t npos = std::wstring_view::npos;

    explicit AnsiConversion(const std::locale& locale = std::locale());

    // A byte that the locale cannot convert becomes the character of its value.
    Segment decode(ByteBuffer bytes) const;

    // Sets `out` to the bytes of the text. Returns the index of the first character without a conversion, or npos.
    std::size_t encode(std::wstring_view text, std::string& out) const;

private:
    using Facet = std::codecvt<wchar_t, char, std::mbstate_t>;

    std::size_t encodeByFacet(std::wstring_view text, std::string& out) const;

    std::locale owner;
    const Facet* facet = nullptr;  // of the owner; null for the classic locale
};

}  // namespace tramo::stream
