#include "cli/tables/sink.h"
#include "cli/io/text.h"

namespace tramo::cli {

const Table& fileTable() {
    using enum Column::Type;
    static const Table table{"files", "files",
        {{"name", Text}, {"encoding", Text}, {"bytes", Integer}, {"lines", Integer}, {"version", Text}}, nullptr};
    return table;
}

TableRow rowOf(const Source& source) {
    // Cell by cell: from a list in braces, GCC 12 gives memory back twice when there is none for a later cell.
    TableRow row{&fileTable(), 0, {}};
    row.cells.reserve(fileTable().columns.size());
    row.cells.emplace_back(utf8::decode(source.name));
    row.cells.emplace_back(source.utf16 ? L"UTF-16LE" : L"ANSI");
    row.cells.emplace_back(static_cast<long long>(source.bytes));
    row.cells.emplace_back(source.lines);
    row.cells.emplace_back(utf8::decode(TRAMO_VERSION));
    return row;
}

std::vector<const Table*> exportedTables() {
    std::vector<const Table*> all;
    for (const Table& table : tables()) all.push_back(&table);
    all.push_back(&findingTable());
    return all;
}

}  // namespace tramo::cli
