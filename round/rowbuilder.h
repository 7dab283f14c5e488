// Columns that are filled value by value, for tables that are not the records of a kind.
#pragma once
#include "round/columndata.h"
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

class RowBuilder {
public:
    // Adds a column, which has no values in the rows so far. Returns its index.
    std::size_t addColumn(std::string name, ColumnType type, bool isNullable = true);

    // Begins a row without values. Values of this row can be put once for each column.
    void beginRow();
    template <class T> void put(std::size_t column, T value) { columns[column].put(count - 1, value); }
    void putText(std::size_t column, std::string_view utf8);

    std::size_t rows() const { return count; }
    std::size_t textSize() const;  // of the largest column of texts
    const std::vector<ColumnShape>& shapes() const { return all; }

    // Hands a column over; call clear() after the last one.
    ColumnMemory take(std::size_t column) noexcept { return takeMemory(columns[column], count); }
    void reserve() {
        if (capacity == 0) grow(1);
    }  // the interface wants offsets even without rows
    void clear() noexcept { count = capacity = 0; }

private:
    void grow(std::size_t wanted);
    void growColumn(ColumnData& column) const;

    std::vector<ColumnShape> all;
    std::vector<ColumnData> columns;
    std::size_t count = 0, capacity = 0;
};

}  // namespace tramo
