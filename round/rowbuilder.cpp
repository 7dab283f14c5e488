#include "round/rowbuilder.h"
#include <algorithm>

namespace tramo {

std::size_t RowBuilder::addColumn(std::string name, ColumnType type, bool isNullable) {
    ColumnData column{nullptr, type, {}, {}, {}};
    growColumn(column);
    all.push_back({std::move(name), type, isNullable});
    columns.push_back(std::move(column));
    return columns.size() - 1;
}

void RowBuilder::growColumn(ColumnData& column) const {
    column.validity.grow((capacity + 7) / 8);
    column.values.grow(bytesFor(column.type, capacity));
    if (column.isText()) column.offsets.grow((capacity + 1) * sizeof(std::int32_t));
}

void RowBuilder::grow(std::size_t wanted) {
    if (wanted <= capacity) return;
    capacity = std::max({wanted, 2 * capacity, std::size_t{64}});
    for (ColumnData& column : columns) growColumn(column);
}

void RowBuilder::beginRow() {
    grow(count + 1);
    ++count;
    for (ColumnData& column : columns)
        if (column.isText()) column.putOffset(count);
}

void RowBuilder::putText(std::size_t index, std::string_view utf8) {
    ColumnData& column = columns[index];
    if (column.textSize + utf8.size() > column.values.size())
        column.values.grow(std::max(column.textSize + utf8.size(), 2 * column.values.size()));
    if (!utf8.empty()) std::memcpy(column.values.data() + column.textSize, utf8.data(), utf8.size());
    column.textSize += utf8.size();
    column.putOffset(count);
    column.setPresent(count - 1);
}

std::size_t RowBuilder::textSize() const {
    std::size_t most = 0;
    for (const ColumnData& column : columns) most = std::max(most, column.textSize);
    return most;
}

}  // namespace tramo
