// Converts between UTF-8 and wide text with one UTF-16 code unit in each wchar_t.
#pragma once
#include <string>
#include <string_view>

namespace tramo::utf8 {

inline constexpr wchar_t replacement = 0xFFFD;

// Each byte that belongs to no valid character becomes U+FFFD.
std::wstring decode(std::string_view bytes);

// Half of a surrogate pair, and a value that is not a UTF-16 code unit, becomes U+FFFD.
std::string encode(std::wstring_view text);

}  // namespace tramo::utf8
