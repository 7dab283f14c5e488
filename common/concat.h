// Texts and numbers put together.
#pragma once
#include <concepts>
#include <string>
#include <string_view>

namespace tramo {

inline void append(std::string& out, std::string_view text) { out += text; }
inline void append(std::string& out, char c) { out += c; }
inline void append(std::string& out, std::integral auto number) { out += std::to_string(number); }

// concat("column ", 5) is "column 5".
std::string concat(const auto&... parts) {
    std::string out;
    (append(out, parts), ...);
    return out;
}

// The number with leading zeros.
inline std::string padded(int number, std::size_t digits) {
    std::string text = std::to_string(number);
    return text.size() < digits ? text.insert(0, digits - text.size(), '0') : text;
}

// "1 line", "2 lines".
inline std::string counted(unsigned long long count, std::string_view noun) {
    return concat(count, ' ', noun, count == 1 ? "" : "s");
}

}  // namespace tramo
