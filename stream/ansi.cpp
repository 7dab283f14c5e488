#include "stream/ansi.h"
#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <cwchar>
#include <type_traits>
#include <utility>

namespace tramo::stream {

namespace {

using Facet = std::codecvt<wchar_t, char, std::mbstate_t>;

constexpr bool isHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
constexpr bool isLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

char32_t valueOf(char byte) { return static_cast<unsigned char>(byte); }
char32_t valueOf(wchar_t c) { return static_cast<std::make_unsigned_t<wchar_t>>(c); }
bool haveSameValue(char byte, wchar_t c) { return valueOf(byte) == valueOf(c); }

// Converts the bytes of a text piece by piece.
class Decoder {
public:
    explicit Decoder(const Facet& locale) : facet(locale) {}

    // Converts bytes up to the first incomplete or invalid character. Returns the number of bytes converted.
    std::size_t convert(const char* bytes, std::size_t size) {
        // Not past a zero: the facet of the standard library would continue an incomplete character after it.
        size = std::min(size, window);
        if (const void* zero = std::memchr(bytes, 0, size))
            size = static_cast<std::size_t>(static_cast<const char*>(zero) - bytes) + 1;
        // A locale may store the beginning of an incomplete character in its state: then retry without those bytes.
        const std::mbstate_t before = state;
        for (std::size_t left = 0; left < std::min<std::size_t>(size, MB_LEN_MAX); ++left) {
            const char* next = bytes;
            wchar_t* end = characters.data();
            facet.in(state, bytes, bytes + (size - left), next, end, end + window, end);
            count = static_cast<std::size_t>(end - characters.data());
            if (facet.encoding() < 0 || std::mbsinit(&state) != 0) return static_cast<std::size_t>(next - bytes);
            state = before;
        }
        count = 0;
        return 0;
    }

    void restart() { state = std::mbstate_t{}; }

    const wchar_t* begin() const { return characters.data(); }
    const wchar_t* end() const { return characters.data() + count; }

private:
    static constexpr std::size_t window = 512;
    const Facet& facet;
    std::mbstate_t state{};
    std::array<wchar_t, window> characters{};
    std::size_t count = 0;
};

void addUnit(ByteBuffer& units, char32_t unit) {
    if (units.room() < 2) units.reserve(2 * units.size() + 2);
    units.end()[0] = static_cast<char>(unit & 0xFF);
    units.end()[1] = static_cast<char>(unit >> 8);
    units.grow(2);
}

void addCharacter(ByteBuffer& units, char32_t c) {
    if (c > 0x10FFFF) c = 0xFFFD;
    if (c > 0xFFFF) {
        addUnit(units, 0xD800 + ((c - 0x10000) >> 10));
        addUnit(units, 0xDC00 + (c & 0x3FF));
    } else {
        addUnit(units, c);
    }
}

std::wstring joinSurrogates(std::wstring_view text) {
    std::wstring joined;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char32_t c = valueOf(text[i]);
        if (isHighSurrogate(c) && i + 1 < text.size() && isLowSurrogate(valueOf(text[i + 1]))) {
            joined += static_cast<wchar_t>(0x10000 + ((c - 0xD800) << 10) + (valueOf(text[++i]) - 0xDC00));
        } else {
            joined += text[i];
        }
    }
    return joined;
}

}  // namespace

std::size_t findAbove(char32_t limit, std::wstring_view text) {
    const auto found = std::find_if(text.begin(), text.end(), [&](wchar_t c) { return valueOf(c) > limit; });
    return found == text.end() ? AnsiConversion::npos : static_cast<std::size_t>(found - text.begin());
}

AnsiConversion::AnsiConversion(const std::locale& locale) : owner(locale) {
    if (owner != std::locale::classic()) facet = &std::use_facet<Facet>(owner);
}

Segment AnsiConversion::decode(ByteBuffer bytes) const {
    if (facet == nullptr) return {std::move(bytes), 0, 1};
    Decoder decoder(*facet);
    ByteBuffer units;
    // As long as each byte becomes the character of its value, the bytes are the text and nothing is copied.
    bool sameAsBytes = true;
    for (std::size_t done = 0; done < bytes.size();) {
        const char* piece = bytes.data() + done;
        const std::size_t size = decoder.convert(piece, bytes.size() - done);
        if (sameAsBytes && !std::equal(piece, piece + size, decoder.begin(), decoder.end(), haveSameValue)) {
            sameAsBytes = false;
            units.reserve(2 * bytes.size());
            for (std::size_t i = 0; i < done; ++i) addUnit(units, valueOf(bytes.data()[i]));
        }
        if (!sameAsBytes) std::for_each(decoder.begin(), decoder.end(), [&](wchar_t c) { addCharacter(units, valueOf(c)); });
        done += size;
        if (size == 0) {
            if (!sameAsBytes) addUnit(units, valueOf(*piece));
            decoder.restart();
            ++done;
        }
    }
    if (sameAsBytes) return {std::move(bytes), 0, 1};
    units.shrinkToFit();
    return {std::move(units), 0, 2};
}

std::size_t AnsiConversion::encode(std::wstring_view text, std::string& out) const {
    if (facet != nullptr) return encodeByFacet(text, out);
    out.resize(text.size());
    char* bytes = out.data();
    char32_t bits = 0;  // of all characters: one pass without a branch
    for (const wchar_t c : text) {
        bits |= valueOf(c);
        *bytes++ = static_cast<char>(c);
    }
    if (bits <= 0xFF) return npos;
    return findAbove(0xFF, text);
}

std::size_t AnsiConversion::encodeByFacet(std::wstring_view text, std::string& out) const {
    out.clear();
    if (const std::size_t wide = findAbove(0xFFFF, text); wide != npos) return wide;
    std::wstring joined;
    std::wstring_view characters = text;
    if constexpr (sizeof(wchar_t) > 2) {
        joined = joinSurrogates(text);
        characters = joined;
    }
    std::mbstate_t state{};
    std::array<char, 1024> piece{};
    const wchar_t* const begin = characters.data();
    const wchar_t* const end = begin + characters.size();
    for (const wchar_t* from = begin; from != end;) {
        const wchar_t* next = from;
        char* written = piece.data();
        const auto result = facet->out(state, from, end, next, written, written + piece.size(), written);
        out.append(piece.data(), written);
        if (result == Facet::error || next == from) {
            // Each joined pair counts as two characters of the text.
            const auto wideOnes = std::count_if(begin, next, [](wchar_t c) { return valueOf(c) > 0xFFFF; });
            return static_cast<std::size_t>(next - begin + wideOnes);
        }
        from = next;
    }
    return npos;
}

}  // namespace tramo::stream
