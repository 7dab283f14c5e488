// Other columns of a table: some of its own, in any order, and the file, the line and the kind as columns.
#pragma once
#include "cli/tables/rows.h"
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli {

class Projection {
public:
    /// Every name is that of a column, or "file", "line" or "kind". Throws WrongUsage with the closest one for an unknown name.
    Projection(const Table& of, const std::vector<std::string>& names);
    Projection(const Projection&) = delete;
    Projection& operator=(const Projection&) = delete;

    /// The table of the rows.
    const Table& table() const { return projected; }

    /// The row with these columns. Not for tables that hold keys of which one was moved before: it takes the cells.
    TableRow operator()(TableRow row, std::wstring_view file) const;

private:
    enum Place : std::ptrdiff_t { File = -3, Line, Kind };

    Table projected;
    std::vector<std::ptrdiff_t> places;  ///< of the columns: their indexes, or one of the above
};

}  // namespace tramo::cli
