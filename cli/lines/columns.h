// Helpers for the columns of a line.
#pragma once
#include <string_view>

namespace tramo::cli {

/// Returns the text without trailing spaces.
std::wstring_view trimmed(std::wstring_view text);

/// Returns whether the character is not padding: neither white space nor zero.
bool isFilled(wchar_t c);

}  // namespace tramo::cli
