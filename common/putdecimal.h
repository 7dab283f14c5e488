// Decimal numbers as text. For these functions, the C++ library for WebAssembly brings tables of 100 KB.
#pragma once
#include <charconv>
#ifdef __wasi__
#include <cstdio>
#include <cstdlib>
#include <cstring>
#endif

namespace tramo {

// With so many decimals, of the exact value. Return the end of the text.
inline char* putDecimal(char* begin, char* end, double value, std::chars_format format, int decimals) {
#ifdef __wasi__
    const char* const form = format == std::chars_format::fixed ? "%.*f" : "%.*e";
    return begin + std::snprintf(begin, static_cast<std::size_t>(end - begin), form, decimals, value);
#else
    return std::to_chars(begin, end, value, format, decimals).ptr;
#endif
}

// With the fewest digits that read back as the same number.
inline char* putShortest(char* begin, char* end, double value, std::chars_format format) {
#ifdef __wasi__
    constexpr int most = 16;  // decimals of any number
    char digits[32];
    int decimals = 0;
    do std::snprintf(digits, sizeof digits, "%.*e", decimals, value);
    while (std::strtod(digits, nullptr) != value && decimals++ < most);
    if (format == std::chars_format::fixed) {
        const int exponent = std::atoi(std::strchr(digits, 'e') + 1);
        decimals = decimals > exponent ? decimals - exponent : 0;
    }
    return putDecimal(begin, end, value, format, decimals);
#else
    return std::to_chars(begin, end, value, format).ptr;
#endif
}

}  // namespace tramo
