// The columns of a line, and whose they are.
#pragma once
#include <string_view>
#include <tramostream/fields.h>
#include <vector>

namespace tramo::cli {

/// The field's columns, as far as the line has them.
std::wstring_view cut(std::wstring_view line, const Field& field);

/// Without the blanks at its end.
std::wstring_view trimmed(std::wstring_view text);

/// Whether the character is more than padding: neither white space nor zero.
bool isFilled(wchar_t c);

/// The fields that a column belongs to, in the order in which they are written.
std::vector<const Field*> fieldsAt(const RecordKind& kind, int column);

}  // namespace tramo::cli
