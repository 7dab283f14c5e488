// A line without what was done to it as a whole: another encoding, quotation marks, leading spaces, tabs, no-break spaces.
#pragma once
#include "common/secret.h"
#include "tramostream/linekind.h"
#include <optional>
#include <string>
#include <string_view>

namespace tramo {

struct MendedLine {
    SecretText text{};  // padding is still missing
    bool utf8 = false, utf8Twice = false, quoted = false, leadingSpace = false, tabs = false, noBreakSpaces = false;
};

// `kind`: of the lines of the file; nullopt: not known yet. `text` holds no keys.
MendedLine mended(std::wstring_view text, std::optional<LineKind> kind);

// The text that these characters are as bytes of UTF-8; nullopt: they are not, or are only ASCII.
std::optional<std::wstring> readAsUtf8(std::wstring_view text);

// Whether the characters cannot be bytes of UTF-8.
bool breaksUtf8(std::wstring_view text);

inline bool isBlankText(std::wstring_view text) { return text.find_first_not_of(L' ') == std::wstring_view::npos; }

}  // namespace tramo
