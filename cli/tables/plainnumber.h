// Numbers of up to sixteen characters: spaces, a minus sign or none, then digits, perhaps with one decimal point.
#pragma once
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#if defined(__SSE2__) || defined(_M_X64)
#define TRAMO_SSE2
#include <emmintrin.h>
#endif

namespace tramo::cli {

class PlainNumber {
public:
    static constexpr std::size_t mostCharacters = 16;

    /// Looks at the characters of the line from `place` on, up to mostCharacters. The last one is not a space.
    PlainNumber(std::string_view line, std::size_t place, std::size_t size) : text(line.substr(place, size)) {
        if (place + size >= mostCharacters) {
            look(text.data() + size - mostCharacters);
        } else {
            char sixteen[mostCharacters] = {};
            std::memcpy(sixteen + mostCharacters - size, text.data(), size);
            look(sixteen);
        }
        const unsigned before = mostCharacters - static_cast<unsigned>(size);
        digits >>= before;
        points >>= before;
        spaces >>= before;
        number = digits | points;
        first = static_cast<std::size_t>(std::countr_zero(number));
        isNegative = first > 0 && number != 0 && text[first - 1] == '-';
    }

    bool isInteger() const { return points == 0 && isDecimal(); }
    bool isDecimal() const {
        if (digits == 0 || (points & (points - 1)) != 0) return false;
        const unsigned before = (1U << first) - 1, sign = isNegative ? 1U << (first - 1) : 0;
        return (number | before) == (1U << text.size()) - 1 && ((spaces & before) | sign) == before;
    }

    /// Returns how many digits a decimal has.
    std::size_t countDigits() const { return text.size() - first - (points != 0); }

    /// Return the number without superfluous zeros; empty if that is not a part of its text.
    std::string_view shortestInteger() const { return withoutZerosBefore(text.size(), text.size()); }
    std::string_view shortestDecimal() const {
        const std::size_t point = points ? static_cast<std::size_t>(std::countr_zero(points)) : text.size();
        std::size_t end = text.size();
        if (points) {
            while (text[end - 1] == '0') --end;
            end -= end - 1 == point;
        }
        return withoutZerosBefore(point, end);
    }

private:
    std::string_view withoutZerosBefore(std::size_t point, std::size_t end) const {
        std::size_t begin = first;
        while (begin + 1 < point && text[begin] == '0') ++begin;
        if (begin == point) return {};  // no digit before the point
        if (!isNegative) return text.substr(begin, end - begin);
        const bool isZero = text[begin] == '0' && end <= point;
        return begin > first || isZero ? std::string_view{} : text.substr(first - 1, end - first + 1);
    }

#ifdef TRAMO_SSE2
    void look(const char* sixteen) {
        const __m128i all = _mm_loadu_si128(reinterpret_cast<const __m128i*>(sixteen));
        const __m128i values = _mm_sub_epi8(all, _mm_set1_epi8('0'));
        const auto bitsOf = [](__m128i bytes) { return static_cast<unsigned>(_mm_movemask_epi8(bytes)); };
        digits = bitsOf(_mm_cmpeq_epi8(_mm_min_epu8(values, _mm_set1_epi8(9)), values));
        points = bitsOf(_mm_cmpeq_epi8(all, _mm_set1_epi8('.')));
        spaces = bitsOf(_mm_cmpeq_epi8(all, _mm_set1_epi8(' ')));
    }
#else
    void look(const char* sixteen) {
        const std::uint64_t low = load(sixteen), high = load(sixteen + 8);
        digits = bitsOf(areDigits(low)) | bitsOf(areDigits(high)) << 8;
        points = bitsOf(areSame(low, '.')) | bitsOf(areSame(high, '.')) << 8;
        spaces = bitsOf(areSame(low, ' ')) | bitsOf(areSame(high, ' ')) << 8;
    }

    // Eight characters, the first one lowest.
    static std::uint64_t load(const char* eight) {
        std::uint64_t word = 0;
        if constexpr (std::endian::native == std::endian::little) {
            std::memcpy(&word, eight, sizeof word);
        } else {
            for (int i = 0; i < 8; ++i) word |= std::uint64_t{static_cast<unsigned char>(eight[i])} << (8 * i);
        }
        return word;
    }

    // The following set the highest bit of each byte that passes.
    static constexpr std::uint64_t ones = 0x0101010101010101, highest = ones << 7;
    static std::uint64_t areZero(std::uint64_t bytes) { return ~(((bytes & ~highest) + ~highest) | bytes) & highest; }
    static std::uint64_t areSame(std::uint64_t bytes, char c) { return areZero(bytes ^ ones * static_cast<unsigned char>(c)); }
    static std::uint64_t areDigits(std::uint64_t bytes) {
        const std::uint64_t values = bytes ^ ones * static_cast<unsigned char>('0');
        return ~(((values & ~highest) + ones * (0x80 - 10)) | values) & highest;
    }

    // Puts those bits side by side.
    static unsigned bitsOf(std::uint64_t highestBits) {
        return static_cast<unsigned>((highestBits >> 7) * 0x0102040810204080 >> 56);
    }
#endif

    std::string_view text;
    unsigned digits = 0, points = 0, spaces = 0, number = 0;  ///< one bit for each character of the text, the first one lowest
    std::size_t first = 0;                                    ///< of the digits and the point
    bool isNegative = false;
};

}  // namespace tramo::cli
