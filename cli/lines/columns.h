// The columns of a line, and whose they are.
#pragma once
#include <string_view>

namespace tramo::cli {

/// Without the blanks at its end.
std::wstring_view trimmed(std::wstring_view text);

/// Whether the character is more than padding: neither white space nor zero.
bool isFilled(wchar_t c);

}  // namespace tramo::cli
