// What is known of a whole file before its lines are mended.
#pragma once
#include "check/letters.h"
#include "repair/rawlines.h"
#include "tramostream/linekind.h"
#include <cstdint>
#include <optional>
#include <unordered_map>

namespace tramo {

struct RepairPlan {
    RawLayout layout{};
    bool addsMark = false;  // the text is UTF-16 without a mark, or with another one

    // The text of every line
    int utf8 = 0;                      // how often it was converted to UTF-8
    std::optional<CodePage> codePage;  // instead of Windows-1252

    // The lines
    std::optional<LineKind> kind{};
    std::size_t wrappedAt = 0;
    bool endsInLf = false, endsInCrCrLf = false;                // most lines do
    bool isDoubleSpaced = false, hasLeadingSpaces = false;      // of all lines
    bool isTrimmed = false;                                     // no line ends with a space
    bool isCollapsed = false;                                   // runs of spaces became one
    std::unordered_map<std::uint64_t, std::uint32_t> shapes{};  // of lines that lost their trailing spaces: shapeHash()

    bool isUtf16() const { return layout.width == 2; }
    bool changesBytes() const { return utf8 > 0 || codePage || layout.isBigEndian; }
};

}  // namespace tramo
