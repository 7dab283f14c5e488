// The encoding of texts and values between the driver and the script.
//
// A text is printable ASCII, unchanged except for < " and the backslash; every other character is its hexadecimal number between
// < and >. This preserves lone surrogates, zeros and everything else, and quotes need no escapes.
#pragma once
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <tramostream/fielderror.h>
#include <type_traits>
#include <vector>

namespace wire {

inline std::wstring decoded(std::string_view text) {
    std::wstring result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '<') {
            result += static_cast<wchar_t>(text[i]);
            continue;
        }
        std::uint32_t number = 0;
        const auto end = std::from_chars(text.data() + i + 1, text.data() + text.size(), number, 16).ptr;
        result += static_cast<wchar_t>(number);
        i = static_cast<std::size_t>(end - text.data());
    }
    return result;
}

inline std::string bytesOf(std::string_view text) {
    std::string bytes;
    for (wchar_t c : decoded(text)) bytes += static_cast<char>(c);
    return bytes;
}

template <class Integer> std::string hex(Integer number) {
    char digits[17];
    return {digits, std::to_chars(digits, digits + sizeof digits, number, 16).ptr};
}

inline std::string json(std::wstring_view text) {
    std::string result = "\"";
    for (wchar_t c : text) {
        const auto number = static_cast<std::uint32_t>(c);
        if (number < 0x20 || number > 0x7E || c == L'<' || c == L'"' || c == L'\\') result += '<' + hex(number) + '>';
        else result += static_cast<char>(number);
    }
    return result + '"';
}
inline std::string json(const std::wstring& text) { return json(std::wstring_view(text)); }

// Bytes as the characters of the same numbers.
inline std::string json(std::string_view bytes) {
    std::wstring text;
    for (char c : bytes) text += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return json(text);
}
inline std::string json(const std::string& bytes) { return json(std::string_view(bytes)); }

// A decimal number as its 64 bits; not-a-number has no payload.
inline std::string json(double value) {
    if (std::isnan(value)) return std::signbit(value) ? "\"-nan\"" : "\"nan\"";
    return '"' + hex(std::bit_cast<std::uint64_t>(value)) + '"';
}

template <class T>
requires(std::is_integral_v<T> || std::is_enum_v<T>) std::string json(T value) {
    if constexpr (std::is_same_v<T, bool>) return value ? "true" : "false";
    else if constexpr (std::is_integral_v<T>) return std::to_string(value);
    else return json(std::wstring(1, static_cast<wchar_t>(value)));
}

inline std::string json(const std::vector<TE::FieldError>& errors) {
    std::string result;
    for (const TE::FieldError& error : errors)
        result += (result.empty() ? "[" : ",[") + json(error.column) + ',' + std::to_string(error.code) + ']';
    return '[' + result + ']';
}

template <class... Values> std::string list(const Values&... values) {
    std::string result;
    ((result += (result.empty() ? "" : ",") + json(values)), ...);
    return '[' + result + ']';
}

template <class T> T valueOf(std::string_view text) {
    if constexpr (std::is_same_v<T, std::wstring>) return decoded(text);
    else if constexpr (std::is_enum_v<T>) return static_cast<T>(decoded(text).at(0));
    else if constexpr (std::is_same_v<T, bool>) return text == "true";
    else if constexpr (std::is_same_v<T, double>) {
        std::uint64_t bits = 0;
        std::from_chars(text.data(), text.data() + text.size(), bits, 16);
        return std::bit_cast<double>(bits);
    } else {
        T number{};
        std::from_chars(text.data(), text.data() + text.size(), number);
        return number;
    }
}

}  // namespace wire
