// One bit per character of a line: set unless it is white space. Bit operations find the end of a field's text without a
// scan. The characters are bytes, UTF-16 units or wide characters.
#pragma once
#include "convert/reading.h"
#include <bit>
#include <cstdint>
#include <cstring>

namespace tramo {

template <std::size_t Size, class Char = wchar_t> class BlankMap {
public:
    explicit BlankMap(const Char* line) {
        constexpr std::size_t inWholeWords = Size / 64 * 64;
        for (std::size_t i = 0; i < inWholeWords; i += 64) {
            std::uint64_t all = 0;
            for (std::size_t part = 0; part < 64; part += 16) all |= std::uint64_t{sixteen(line + i + part)} << part;
            bits[i / 64] = all;
        }
        for (std::size_t i = inWholeWords; i < Size; ++i) bits[i / 64] |= std::uint64_t{!codec::isBlank(line[i])} << i % 64;
    }

    // In a field: the number of leading white space characters, and the size without trailing white space. In a wide field,
    // `blanks` is 0: not counted.
    struct Extent {
        std::uint32_t blanks, size;
    };
    Extent text(std::uint32_t first, std::uint32_t width) const {
        if (width <= 64 - 7) return textInOneLoad(first, width);
        const std::uint32_t last = first + width - 1, lowest = first / 64;
        std::uint32_t word = last / 64;
        std::uint64_t some = bits[word] & ~std::uint64_t{0} >> (63 - last % 64);
        while (word > lowest && some == 0) some = bits[--word];
        if (word == lowest) some &= ~std::uint64_t{0} << first % 64;
        return {0, some == 0 ? 0 : word * 64 + 64 - static_cast<std::uint32_t>(std::countl_zero(some)) - first};
    }

    // A choice of columns, by index.
    class Columns {
    public:
        void add(std::size_t index) { bits[index / 64] |= std::uint64_t{1} << index % 64; }

    private:
        friend BlankMap;
        std::uint64_t bits[(Size + 63) / 64] = {};
    };

    // Returns whether one of these columns is not white space.
    bool isFilledIn(const Columns& columns) const {
        std::uint64_t both = 0;
        for (std::size_t i = 0; i < words; ++i) both |= bits[i] & columns.bits[i];
        return both != 0;
    }

private:
    static constexpr std::size_t words = (Size + 63) / 64;

    // At least 57 bits from this one on, the first one lowest.
    std::uint64_t bitsFrom(std::uint32_t first) const {
        if constexpr (std::endian::native == std::endian::little) {  // they lie in eight bytes
            std::uint64_t some = 0;
            std::memcpy(&some, reinterpret_cast<const char*>(bits) + first / 8, sizeof some);
            return some >> first % 8;
        }
        return bits[first / 64] >> first % 64 | bits[first / 64 + 1] << 1 << (63 - first % 64);
    }

    Extent textInOneLoad(std::uint32_t first, std::uint32_t width) const {
        const std::uint64_t some = bitsFrom(first) & ~std::uint64_t{0} >> (64 - width);
        return {static_cast<std::uint32_t>(std::countr_zero(some)), static_cast<std::uint32_t>(std::bit_width(some))};
    }

    // The bits of sixteen characters, the first one lowest.
    static std::uint16_t sixteen(const Char* line) {
#ifdef TRAMO_SSE2
        const __m128i c = asBytes(line);
        const __m128i control = _mm_sub_epi8(c, _mm_set1_epi8('\t'));  // 0 to 4 for white space from '\t' to '\r'
        const __m128i isControl = _mm_cmpeq_epi8(_mm_min_epu8(control, _mm_set1_epi8('\r' - '\t')), control);
        const __m128i blank = _mm_or_si128(isControl, _mm_cmpeq_epi8(c, _mm_set1_epi8(' ')));
        return static_cast<std::uint16_t>(~_mm_movemask_epi8(blank));
#else
        unsigned all = 0;
        for (unsigned i = 0; i < 16; ++i) all |= unsigned{!codec::isBlank(line[i])} << i;
        return static_cast<std::uint16_t>(all);
#endif
    }

#ifdef TRAMO_SSE2
    // Sixteen characters as bytes. One above 0xFF becomes 0xFF or 0, which are not white space either.
    static __m128i asBytes(const Char* line) {
        const auto* vectors = reinterpret_cast<const __m128i*>(line);
        const auto load = [&](int i) { return _mm_loadu_si128(vectors + i); };
        if constexpr (sizeof(Char) == 1) return load(0);
        else if constexpr (sizeof(Char) == 2) return _mm_packus_epi16(load(0), load(1));
        else return _mm_packus_epi16(_mm_packs_epi32(load(0), load(1)), _mm_packs_epi32(load(2), load(3)));
    }
#endif

    std::uint64_t bits[words + 1] = {};  // one more, for the last load
};

}  // namespace tramo
