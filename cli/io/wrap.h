// Text broken into lines that fit a terminal. A width of 0 or less breaks nothing.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// The narrowest column that is worth breaking a text for.
inline constexpr int narrowestColumn = 16;

/// What `indent` columns leave of a terminal's `width`; 0 where the text is better not broken.
int widthBehind(int indent, int width);

/// The text of a file, made printable and broken wherever a line is full. At least one line.
std::vector<std::string> brokenText(std::wstring_view text, int width);

/// Words, broken at blanks.
std::vector<std::string> brokenWords(std::string_view words, int width);

}  // namespace tramo::cli
