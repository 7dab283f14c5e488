// Converts between UTF-8 and wide text with one UTF-16 code unit in each wchar_t.
#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tramo::utf8 {

inline constexpr wchar_t replacement = 0xFFFD;

struct Character {
    char32_t code;  // U+FFFD if it is not valid
    std::size_t length;
    bool isValid;
};

// A byte that goes on with a character, in valid text.
constexpr bool isContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The character at the start of the bytes, which are not empty. A byte that belongs to no valid character is one by itself.
Character first(std::string_view bytes);

void append(std::string& out, char32_t c);

// Each byte that belongs to no valid character becomes U+FFFD.
std::wstring decode(std::string_view bytes);

// nullopt if a byte belongs to no valid character.
std::optional<std::wstring> decodeValid(std::string_view bytes);

// Half of a surrogate pair, and a value that is not a UTF-16 code unit, becomes U+FFFD.
std::string encode(std::wstring_view text);

// The bytes with U+FFFD in the place of each byte that belongs to no valid character.
std::string valid(std::string_view bytes);

// The number of characters; of bytes, if they are not valid UTF-8.
std::size_t length(std::string_view bytes);

}  // namespace tramo::utf8
