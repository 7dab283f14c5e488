#include "stream/ansi.h"
#include "common/encoding.h"
#include "common/utf16.h"
#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <cwchar>
#include <utility>

namespace tramo::stream {

namespace {

using encoding::valueOf;
using Facet = std::codecvt<wchar_t, char, std::mbstate_t>;

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

// The bytes of text in UTF-16.
class Units {
public:
    using value_type = wchar_t;

    void push_back(wchar_t unit) {
        if (bytes.room() < 2) bytes.reserve(2 * bytes.size() + 2);
        encoding::writeUtf16(std::wstring_view(&unit, 1), bytes.end());
        bytes.grow(2);
    }

    void add(char32_t c) { utf16::append(*this, c > 0x10FFFF ? 0xFFFD : c); }

    ByteBuffer bytes;
};

std::wstring joinSurrogates(std::wstring_view text) {
    std::wstring joined;
    while (!text.empty()) {
        const auto [code, length] = utf16::first(text);
        joined += static_cast<wchar_t>(code);
        text.remove_prefix(length);
    }
    return joined;
}

}  // namespace

AnsiConversion::AnsiConversion(const std::locale& locale) : owner(locale) {
    if (owner != std::locale::classic()) facet = &std::use_facet<Facet>(owner);
}

Segment AnsiConversion::decode(ByteBuffer bytes) const {
    if (facet == nullptr) return {std::move(bytes), 0, 1};
    Decoder decoder(*facet);
    Units units;
    // As long as each byte becomes the character of its value, the bytes are the text and nothing is copied.
    bool sameAsBytes = true;
    for (std::size_t done = 0; done < bytes.size();) {
        const char* piece = bytes.data() + done;
        const std::size_t size = decoder.convert(piece, bytes.size() - done);
        if (sameAsBytes && !std::equal(piece, piece + size, decoder.begin(), decoder.end(), haveSameValue)) {
            sameAsBytes = false;
            units.bytes.reserve(2 * bytes.size());
            for (std::size_t i = 0; i < done; ++i) units.add(valueOf(bytes.data()[i]));
        }
        if (!sameAsBytes) std::for_each(decoder.begin(), decoder.end(), [&](wchar_t c) { units.add(valueOf(c)); });
        done += size;
        if (size == 0) {
            if (!sameAsBytes) units.add(valueOf(*piece));
            decoder.restart();
            ++done;
        }
    }
    if (sameAsBytes) return {std::move(bytes), 0, 1};
    units.bytes.shrinkToFit();
    return {std::move(units.bytes), 0, 2};
}

std::size_t AnsiConversion::encode(std::wstring_view text, std::string& out) const {
    if (facet != nullptr) return encodeByFacet(text, out);
    out.resize(text.size());
    const std::uint32_t bits = encoding::writeAnsi(text, out.data());
    return bits <= encoding::mostOfAnsi ? npos : encoding::findAbove(encoding::mostOfAnsi, text);
}

std::size_t AnsiConversion::encodeByFacet(std::wstring_view text, std::string& out) const {
    out.clear();
    if (const std::size_t wide = encoding::findAbove(encoding::mostOfUtf16, text); wide != npos) return wide;
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
            const auto wideOnes = std::count_if(begin, next, [](wchar_t c) { return valueOf(c) > encoding::mostOfUtf16; });
            return static_cast<std::size_t>(next - begin + wideOnes);
        }
        from = next;
    }
    return npos;
}

}  // namespace tramo::stream
