#include "columns.h"
#include <algorithm>

namespace tramo::cli {

std::wstring_view cut(std::wstring_view line, const Field& field) {
    const auto first = std::min(static_cast<std::size_t>(field.column - 1), line.size());
    return line.substr(first, static_cast<std::size_t>(field.width));
}

std::wstring_view trimmed(std::wstring_view text) { return text.substr(0, text.find_last_not_of(L' ') + 1); }

bool isFilled(wchar_t c) { return c != L' ' && c != 0 && (c < L'\t' || c > L'\r'); }

std::vector<const Field*> fieldsAt(const RecordKind& kind, int column) {
    std::vector<const Field*> found;
    for (const Field& field : kind.fields)
        if (field.column > 0 && field.column <= column && column < field.column + field.width) found.push_back(&field);
    return found;
}

}  // namespace tramo::cli
