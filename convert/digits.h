// Reads eight digits at once.
#pragma once
#include <bit>
#include <cstdint>
#include <cstring>

namespace tramo::codec {

// Whether the functions below work on this machine for characters of this type. If not, digits are read one by one.
template <class Char> inline constexpr bool readsEightDigits = sizeof(Char) == 1 && std::endian::native == std::endian::little;

// The eight characters before `end` as digits from 0 to 9, one in each byte, the first one lowest, of which the last `count` are
// kept, 1 to 8.
inline std::uint64_t digitsBefore(const char* end, unsigned count) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, end - 8, 8);
    return (eight ^ 0x3030303030303030) & ~std::uint64_t{0} << (64 - 8 * count);
}

constexpr bool areDigits(std::uint64_t eight) { return (((eight + 0x7676767676767676) | eight) & 0x8080808080808080) == 0; }

// Each step joins neighbours: digits to numbers of two, four and eight digits.
constexpr std::uint32_t numberOf(std::uint64_t eight) {
    eight = (eight * 10 + (eight >> 8)) & 0x00FF00FF00FF00FF;
    eight = (eight * 100 + (eight >> 16)) & 0x0000FFFF0000FFFF;
    return static_cast<std::uint32_t>((eight & 0xFFFF) * 10000 + (eight >> 32));
}

// Reads `count` characters before `end`, 1 to 16, if all of them are digits. There are at least eight readable characters before
// `end`, sixteen if `count` is above 8.
inline bool readDigits(const char* end, unsigned count, std::uint64_t& value) {
    if (count <= 8) {
        const std::uint64_t digits = digitsBefore(end, count);
        value = numberOf(digits);
        return areDigits(digits);
    }
    const std::uint64_t low = digitsBefore(end, 8), high = digitsBefore(end - 8, count - 8);
    value = std::uint64_t{numberOf(high)} * 100000000 + numberOf(low);
    return areDigits(low) && areDigits(high);
}

}  // namespace tramo::codec
