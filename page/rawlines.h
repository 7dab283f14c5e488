// The lines of files as text, in blocks that the page opens when it shows one of their lines.
#pragma once
#include "page/findings.h"
#include "page/jsontext.h"
#include "page/pagedata.h"
#include <span>

namespace tramo::page {

// The lines in a block.
inline constexpr std::size_t linesPerBlock = 2048;

// The text of a line, of a very long one the beginning. One that may hold keys has "***" in their places, unless they are to be
// shown.
std::string textOf(const LineView& line, const PageOptions& options);

// Hands over the blocks, each of lines of one file. A line that may hold keys has "***" in their places, unless they are to be
// shown. Writes the member "raw", which says what lines the blocks have.
void writeLines(JsonText& json, std::span<const PageFile> files, std::span<const ListedFinding> listed,
    const PageOptions& options, const PageSink& sink);

}  // namespace tramo::page
