// Key lines: a table of their values, and the text of one with its keys masked.
#pragma once
#include "page/pagedata.h"
#include <span>
#include <string>
#include <string_view>

namespace tramo::page {

// What is shown in the place of a key.
inline constexpr std::string_view maskedKey = "***";

// The text of a key line with its keys masked; of one that cannot be read, nothing but the mask.
std::string maskedKeyLine(std::wstring_view text);

// Writes the part `keys`, if there are key lines.
void writeKeyLines(std::span<const PageFile> files, const PageOptions& options, const PageSink& sink);

}  // namespace tramo::page
