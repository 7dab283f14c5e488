// The messages of failed conversions.
#pragma once
#include <string_view>

namespace tramo::codec {

inline constexpr std::wstring_view cannotBeConverted = L" cannot be converted.\n";
inline constexpr std::wstring_view parseFailed = L"), Parse failed\n\n";  // an empty line follows

// Prints label, text and ending on the wide standard output. Returns false, for the caller to return.
bool complain(std::wstring_view label, std::wstring_view text, std::wstring_view ending) noexcept;

}  // namespace tramo::codec
