// The standard's conversions of text into numbers, in the C locale, for comparison. Both set errno.
#pragma once
#include "clocale.h"
#include <cstdlib>
#include <cwchar>
#include <string>

#ifdef _WIN32
// The wide ones are inexact there and skip more white space than that of the C locale, as wide streams do.
inline std::wstring forStandardStream(std::wstring text) {
    for (wchar_t& c : text)
        if (c >= 0x80) c = L'?';
    return text;
}
inline std::string asciiOf(const wchar_t* text) {
    std::string ascii;
    for (; *text; ++text) ascii += *text < 0x80 ? static_cast<char>(*text) : '?';
    return ascii;
}
inline double standardDouble(const wchar_t* text, std::size_t& used) {
    const std::string ascii = asciiOf(text);
    const std::size_t blanks = ascii.find_first_not_of(" \t\n\v\f\r");
    const char* const start = ascii.c_str() + (blanks == std::string::npos ? 0 : blanks);
    char* end = nullptr;
    const double value = std::strtod(start, &end);
    used = end == start ? 0 : static_cast<std::size_t>(end - ascii.c_str());
    return value;
}
inline long long standardInteger(const wchar_t* text, std::size_t& used) {
    const std::string ascii = asciiOf(text);
    char* end = nullptr;
    const long long value = std::strtoll(ascii.c_str(), &end, 10);
    used = static_cast<std::size_t>(end - ascii.c_str());
    return value;
}
#else
#ifdef _LIBCPP_VERSION
// libc++'s wide streams treat an x after any zero as a prefix and then reject the number.
inline std::wstring forStandardStream(const std::wstring& text) {
    std::size_t digits = text.find_first_not_of(L" \t\n\v\f\r");
    if (digits == text.npos) return text;
    if (text[digits] == L'+' || text[digits] == L'-') ++digits;
    const std::wstring prefix = text.substr(digits, 2);
    if (prefix == L"0x" || prefix == L"0X") digits += 2;
    return text.substr(0, text.find_first_of(L"xX", digits));
}
#else
inline const std::wstring& forStandardStream(const std::wstring& text) { return text; }
#endif
inline double standardDouble(const wchar_t* text, std::size_t& used) {
    const CLocale plain;
    wchar_t* end = nullptr;
    const double value = std::wcstod(text, &end);
    used = static_cast<std::size_t>(end - text);
    return value;
}
inline long long standardInteger(const wchar_t* text, std::size_t& used) {
    const CLocale plain;
    wchar_t* end = nullptr;
    const long long value = std::wcstoll(text, &end, 10);
    used = static_cast<std::size_t>(end - text);
    return value;
}
#endif
