// The labelled areas of rounds as columns of a table.
#pragma once
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>
#include <tramostream/round.h>
#include <utility>
#include <vector>

namespace tramo::cli {

/// Each label is a column, in all rounds of all files; the second area with the same label in a round is a second column. A name
/// is the label without characters that names of columns cannot have, or the number of the area if it has no label; a number
/// after it distinguishes it from other columns.
class AreaColumns {
public:
    /// More labels than this are not areas of one town, and more than a database has columns for.
    static constexpr std::size_t mostColumns = 500;
    static constexpr std::size_t noColumn = std::numeric_limits<std::size_t>::max();

    /// The names of other columns: no area has one of them, in capital or small letters.
    explicit AreaColumns(std::vector<std::string> others) : taken(std::move(others)) {}

    /// The column of each of a round's areas; noColumn: there are too many.
    std::vector<std::size_t> columnsOf(const Round& round);

    const std::vector<std::string>& names() const { return all; }

private:
    std::size_t columnOf(const std::string& label, std::size_t nth);

    std::vector<std::string> taken;
    std::vector<std::pair<std::string, std::size_t>> labels;  ///< of the columns, each with its number among those of its label
    std::vector<std::string> all;
};

}  // namespace tramo::cli
