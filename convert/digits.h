// Reads eight digits at once.
#pragma once
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>
#if defined(__SSE2__) || defined(_M_X64) || (defined(_M_IX86_FP) && _M_IX86_FP >= 2)  // the latter are Visual C++'s
#define TRAMO_SSE2
#include <emmintrin.h>
#endif

namespace tramo::codec {

// Whether the functions below work on this machine. If not, digits are read one by one.
inline constexpr bool readsEightDigits = std::endian::native == std::endian::little;

// Eight characters as bytes, the first one lowest. One above U+00FF becomes a byte that is not a digit.
template <class Char> std::uint64_t eightBytes(const Char* text) {
    std::uint64_t eight = 0;
    if constexpr (sizeof(Char) == 1) {
        std::memcpy(&eight, text, 8);
        return eight;
    }
#ifdef TRAMO_SSE2
    const auto* vectors = reinterpret_cast<const __m128i*>(text);
    __m128i units = _mm_loadu_si128(vectors);
    if constexpr (sizeof(Char) == 4) units = _mm_packs_epi32(units, _mm_loadu_si128(vectors + 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&eight), _mm_packus_epi16(units, units));
#else
    for (int i = 0; i < 8; ++i) {
        const std::uint64_t code = static_cast<std::make_unsigned_t<Char>>(text[i]);
        eight |= (code < 0x80 ? code : 0x80) << 8 * i;
    }
#endif
    return eight;
}

// The eight characters before `end` as digits from 0 to 9, one in each byte, the first one lowest, of which the last `count` are
// kept, 1 to 8.
template <class Char> std::uint64_t digitsBefore(const Char* end, unsigned count) {
    return (eightBytes(end - 8) ^ 0x3030303030303030) & ~std::uint64_t{0} << (64 - 8 * count);
}

// Returns the highest bit of each byte that is not a digit from 0 to 9, if none before it is above 0x89.
constexpr std::uint64_t othersIn(std::uint64_t eight) { return ((eight + 0x7676767676767676) | eight) & 0x8080808080808080; }
constexpr bool areDigits(std::uint64_t eight) { return othersIn(eight) == 0; }

// Each step joins neighbours: digits to numbers of two, four and eight digits.
constexpr std::uint32_t numberOf(std::uint64_t eight) {
    eight = (eight * 10 + (eight >> 8)) & 0x00FF00FF00FF00FF;
    eight = (eight * 100 + (eight >> 16)) & 0x0000FFFF0000FFFF;
    return static_cast<std::uint32_t>((eight & 0xFFFF) * 10000 + (eight >> 32));
}

// Eight digits as four numbers of two digits, a byte each, the first one lowest.
constexpr std::uint32_t pairsOf(std::uint64_t eight) {
    eight = (eight * 10 + (eight >> 8)) & 0x00FF00FF00FF00FF;
    eight = (eight | eight >> 8) & 0x0000FFFF0000FFFF;
    return static_cast<std::uint32_t>(eight | eight >> 16);
}

// Returns whether `count` characters before `end`, 1 to 16, are digits. As many characters are readable as by readDigits().
template <class Char> bool areDigits(const Char* end, unsigned count) {
    if (count <= 8) return areDigits(digitsBefore(end, count));
    return areDigits(digitsBefore(end, 8)) && areDigits(digitsBefore(end - 8, count - 8));
}

// Does the same for digits with at most one point or comma, at most 15 digits.
template <class Char> bool areDigitsAndPoint(const Char* end, unsigned count) {
    const std::uint64_t low = othersIn(digitsBefore(end, count < 8 ? count : 8));
    const std::uint64_t high = count > 8 ? othersIn(digitsBefore(end - 8, count - 8)) : 0;
    if ((low | high) == 0) return count <= 15;
    if ((low != 0 && high != 0) || ((low | high) & ((low | high) - 1)) != 0) return false;
    const Char other = low != 0 ? end[std::countr_zero(low) / 8 - 8] : end[std::countr_zero(high) / 8 - 16];
    return other == '.' || other == ',';
}

// Reads `count` characters before `end`, 1 to 16, if all of them are digits. There are at least eight readable characters before
// `end`, sixteen if `count` is above 8.
template <class Char> [[gnu::always_inline]] inline bool readDigits(const Char* end, unsigned count, std::uint64_t& value) {
    if (count <= 8) {
        const std::uint64_t digits = digitsBefore(end, count);
        value = numberOf(digits);
        return areDigits(digits);
    }
    const std::uint64_t low = digitsBefore(end, 8), high = digitsBefore(end - 8, count - 8);
    value = std::uint64_t{numberOf(high)} * 100000000 + numberOf(low);
    return areDigits(low) && areDigits(high);
}

// Reads an integer that is nothing but digits, the usual case, at once. `before` characters are readable before `end`. Returns
// false in any other case.
template <class Char, class Int> bool readPlainInteger(const Char* end, unsigned count, unsigned before, Int& value) {
    constexpr unsigned alwaysFit = sizeof(Int) == 4 ? 9 : 16;
    std::uint64_t digits = 0;
    if (!readsEightDigits || count == 0 || count > alwaysFit || before < (count > 8 ? 16U : 8U)) return false;
    if (!readDigits(end, count, digits)) return false;
    value = static_cast<Int>(digits);
    return true;
}

// Digits with one point or comma, as one whole number and how many of them follow it.
struct PointedDigits {
    std::uint64_t whole = 0;
    unsigned decimals = 0;
};

// Reads `count` characters before `end`, 1 to 16, if all of them are digits except for at most one point or comma, at most 15
// digits and at least one. As many characters are readable as by readDigits().
template <class Char> bool readPointedDigits(const Char* end, unsigned count, PointedDigits& number) {
    std::uint64_t low = digitsBefore(end, count < 8 ? count : 8), high = count > 8 ? digitsBefore(end - 8, count - 8) : 0;
    const std::uint64_t lowOther = othersIn(low), highOther = othersIn(high), other = lowOther | highOther;
    number.decimals = 0;
    if (other != 0) {
        if ((lowOther != 0 && highOther != 0) || (other & (other - 1)) != 0 || count == 1) return false;
        const auto place = static_cast<unsigned>(std::countr_zero(other)) / 8;  // in its block of eight
        const Char point = end[static_cast<int>(place) - (lowOther ? 8 : 16)];
        if (point != '.' && point != ',') return false;
        // The digits before it move to its place.
        const auto withoutPoint = [&](std::uint64_t eight) {
            const std::uint64_t before = (std::uint64_t{1} << 8 * place) - 1;
            return (eight & before) << 8 | (eight & ~(before << 8 | 0xFF));
        };
        number.decimals = 7 - place + (lowOther ? 0 : 8);
        if (lowOther) {
            low = withoutPoint(low) | high >> 56;
            high <<= 8;
        } else {
            high = withoutPoint(high);
        }
    } else if (count > 15) {
        return false;
    }
    number.whole = std::uint64_t{numberOf(high)} * 100000000 + numberOf(low);
    return true;
}

}  // namespace tramo::codec
