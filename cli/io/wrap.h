// Wraps text to the width of a terminal. A width of 0 or less does not wrap.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// The minimum width for wrapped text.
inline constexpr int narrowestColumn = 16;

/// Returns the width that remains after `indent` columns of a terminal; 0 if it is too small to wrap text.
int widthAfter(int indent, int width);

/// Returns text of a file, printable and split at the width. At least one line.
std::vector<std::string> brokenText(std::wstring_view text, int width);

/// Wraps words at spaces.
std::vector<std::string> brokenWords(std::string_view words, int width);

}  // namespace tramo::cli
