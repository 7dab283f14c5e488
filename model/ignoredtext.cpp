// Finds the text of a line that no value preserves, by the kinds of its fields.
#include "convert/codec.h"
#include "model/blankmap.h"
#include "tramostream/fields.h"
#include "tramostream/tramoline.h"
#include <algorithm>

namespace tramo {
namespace {

using IgnoredBy = std::wstring_view (*)(std::wstring_view);

IgnoredBy ignoredBy(FieldKind kind) {
    switch (kind) {
    case FieldKind::Integer: return codec::ignoredByInteger;
    case FieldKind::Decimal: return codec::ignoredByDouble;
    case FieldKind::Year: return codec::ignoredByYear;
    case FieldKind::Flag: return codec::ignoredByFlag;
    case FieldKind::AlarmFlags: return codec::ignoredByAlarmFlags;
    case FieldKind::Text:
    case FieldKind::Code:
    case FieldKind::Date:
    case FieldKind::DateTime: break;  // read completely or not at all
    }
    return nullptr;
}

// Columns that may hold text that no value preserves.
struct Columns {
    const Field* field;          // nullptr: they belong to no field
    std::uint32_t first, width;  // an index, unlike a column
    IgnoredBy ignored;
};

std::vector<Columns> searchedIn(const RecordKind& kind) {
    std::vector<Columns> all;
    std::vector<bool> taken(static_cast<std::size_t>(kind.length));
    if (kind.letter != 0) taken.front() = true;
    for (const Field& field : kind.fields) {
        if (field.column == 0) continue;
        const auto first = static_cast<std::uint32_t>(field.column - 1), width = static_cast<std::uint32_t>(field.width);
        std::fill_n(taken.begin() + static_cast<std::ptrdiff_t>(first), width, true);
        if (const IgnoredBy ignored = ignoredBy(field.kind)) all.push_back({&field, first, width, ignored});
    }
    for (auto next = std::ranges::find(taken, false); next != taken.end();) {
        const auto end = std::find(next, taken.end(), true);
        all.push_back(
            {nullptr, static_cast<std::uint32_t>(next - taken.begin()), static_cast<std::uint32_t>(end - next), codec::content});
        next = std::find(end, taken.end(), false);
    }
    return all;
}

// Computed once for all kinds of record lines.
const std::vector<Columns>* searchedInRecord(const RecordKind& kind) {
    static const auto all = [] {
        std::vector<std::vector<Columns>> searched;
        for (const RecordKind* each : recordKinds()) searched.push_back(searchedIn(*each));
        return searched;
    }();
    const auto kinds = recordKinds();
    const auto found = std::ranges::find(kinds, &kind);
    return found == kinds.end() ? nullptr : &all[static_cast<std::size_t>(found - kinds.begin())];
}

constexpr std::size_t longest = std::tuple_size_v<TramoLine::tramoLine_t> - 2;

std::vector<IgnoredText> ignoredIn(const std::vector<Columns>& searched, std::wstring_view line) {
    std::vector<IgnoredText> found;
    const BlankMap<longest> filled(line.data());
    for (const Columns& columns : searched) {
        const auto [blanks, size] = filled.text(columns.first, columns.width);
        if (size == 0) continue;
        const std::wstring_view piece = columns.ignored(line.substr(columns.first + blanks, size - blanks));
        if (!piece.empty())
            found.push_back(
                {columns.field, static_cast<std::int32_t>(piece.data() - line.data() + 1), static_cast<int>(piece.size())});
    }
    return found;
}

}  // namespace

std::vector<IgnoredText> ignoredTexts(const RecordKind& kind, std::wstring_view line) {
    std::wstring whole;
    line = line.substr(0, static_cast<std::size_t>(kind.length));
    if (line.size() < longest) {
        whole.assign(line).resize(longest, L' ');
        line = whole;
    }
    const std::vector<Columns>* known = searchedInRecord(kind);
    return known ? ignoredIn(*known, line) : ignoredIn(searchedIn(kind), line);
}

}  // namespace tramo
