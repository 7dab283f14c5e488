// A line without what was done to it as a whole: another encoding, quotation marks, leading spaces, tabs, no-break spaces.
#pragma once
#include "common/secret.h"
#include "tramostream/linekind.h"
#include <optional>
#include <string_view>

namespace tramo {

struct MendedLine {
    SecretText text{};  // padding is still missing
    bool utf8 = false, utf8Twice = false, quoted = false, leadingSpace = false, tabs = false, noBreakSpaces = false;
};

// `kind`: of the lines of the file; nullopt: not known yet. `text` holds no keys.
MendedLine mended(std::wstring_view text, std::optional<LineKind> kind);

inline bool isBlankText(std::wstring_view text) { return text.find_first_not_of(L' ') == std::wstring_view::npos; }

}  // namespace tramo
