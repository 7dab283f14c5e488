// Hands the cells of rows to the writer of a form. The functions of a writer are those of PlainRow::write(), and
// text(column, std::wstring_view).
#pragma once
#include "cli/tables/rows.h"

namespace tramo::cli {

/// An empty cell calls nothing.
template <class Writer> void writeCell(std::size_t column, const Cell& cell, Writer& writer) {
    if (const auto* text = std::get_if<std::wstring>(&cell)) writer.text(column, std::wstring_view(*text));
    else if (const auto* integer = std::get_if<long long>(&cell)) writer.number(column, *integer);
    else if (const auto* real = std::get_if<double>(&cell)) writer.number(column, *real);
    else if (const auto* flag = std::get_if<bool>(&cell)) writer.flag(column, *flag);
}

template <class Writer> void writeCells(const TableRow& row, Writer&& writer) {
    for (std::size_t i = 0; i < row.cells.size(); ++i) writeCell(i, row.cells[i], writer);
}

}  // namespace tramo::cli
