#include "cli/tables/projection.h"
#include "cli/io/text.h"
#include "cli/io/usage.h"
#include "common/suggestion.h"
#include <algorithm>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

// The whole text, which may be long: a line can only be written piece by piece in the place of the last of several cells.
std::wstring whole(const LongText& text) {
    std::wstring all;
    text.forEachPiece([&](std::wstring_view piece) { all += piece; });
    return all;
}

[[noreturn]] void refuse(const Table& table, const std::string& name) {
    std::vector<std::string_view> names{"file", "line", "kind"};
    for (const Column& column : table.columns) names.push_back(column.name);
    throw WrongUsage{fmt::format(
        "--fields: {} has no column \"{}\"{}", table.name, printable(std::string_view(name)), didYouMean(name, names))};
}

}  // namespace

Projection::Projection(const Table& of, const std::vector<std::string>& names)
    : projected{of.name, of.identifier, {}, nullptr, of.holdsKeys, false} {
    for (const std::string& name : names) {
        const auto column = std::ranges::find(of.columns, name, &Column::name);
        if (column != of.columns.end()) {
            projected.columns.push_back(*column);
            places.push_back(column - of.columns.begin());
            continue;
        }
        const Place place = name == "file" ? File : name == "line" ? Line : Kind;
        if (place == Kind && name != "kind") refuse(of, name);
        projected.columns.push_back({name, place == Line ? Column::Type::Integer : Column::Type::Text});
        places.push_back(place);
    }
}

TableRow Projection::operator()(TableRow row, std::wstring_view file) const {
    TableRow made(&projected, row.line, {}, row.unread);
    made.lacksMembers = row.lacksMembers;
    made.cells.reserve(places.size());
    for (std::size_t i = 0; i < places.size(); ++i) {
        const std::ptrdiff_t place = places[i];
        if (place == File) made.cells.emplace_back(std::wstring(file));
        else if (place == Line) made.cells.emplace_back(row.line);
        else if (place == Kind) made.cells.emplace_back(utf8::decode(row.table->name));
        else if (row.longText && static_cast<std::size_t>(place) + 1 == row.cells.size()) {
            const bool isLast = i > 0 && i + 1 == places.size();
            if (isLast) made.longText = row.longText;
            made.cells.emplace_back(isLast ? Cell{} : Cell{whole(*row.longText)});
        } else {
            made.cells.push_back(std::move(row.cells[static_cast<std::size_t>(place)]));
        }
    }
    return made;
}

}  // namespace tramo::cli
