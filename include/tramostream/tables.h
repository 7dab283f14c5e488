// Tables that are not the records of one kind: the meters of a file with what belongs to them, and its malformed lines.
#pragma once
#include "columns.h"
#include "export.h"
#include "reader.h"
#include "round.h"
#include <cstddef>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tramo {

/// Names of columns for the labelled areas of rounds. Each label is a column, in all rounds of all files; the second area with
/// the same label in a round is a second column. A name is the label without characters that names of columns cannot have, or
/// the number of the area if it has no label; a number after it distinguishes it from other columns.
///
/// Not thread-safe.
///
/// @snippet docs/examples.cpp AreaColumns
class TRAMO_EXPORT AreaColumns {
public:
    /// More labels than this are not areas of one town, and more than a database has columns for.
    static constexpr std::size_t mostColumns = 500;
    /// An area that has no column.
    static constexpr std::size_t noColumn = (std::numeric_limits<std::size_t>::max)();

    /// The names of other columns: no area has one of them, in capital or small letters.
    explicit AreaColumns(std::vector<std::string> others) : taken(std::move(others)) {}

    /// Returns the column of each of a round's areas; noColumn: there are too many.
    std::vector<std::size_t> columnsOf(const Round& round);

    /// Returns the names of all columns so far, in UTF-8, in the order of their numbers.
    const std::vector<std::string>& names() const { return all; }

private:
    std::size_t columnOf(const std::string& label, std::size_t nth);

    std::vector<std::string> taken;
    std::vector<std::pair<std::string, std::size_t>> labels;  ///< of the columns, each with its number among those of its label
    std::vector<std::string> all;
};

/// The meters of a file as a table: one row for each meter, in the order of the file. Its columns are
///
/// - `line`: the number of the meter subscriber line; `round`: the code of its round; `state`: "read" or "unread";
/// - fields of the meter subscriber line, with their names and types (ColumnType): the serial number, the readings;
/// - `difference` (Int64): see Meter::difference;
/// - `alarms` (Int32): the number of alarms that are set; `latitude`, `longitude` (Double): of Meter::place;
/// - `outsideOfAreas` (Text): the text outside of all areas; then a Text for each labelled area, see AreaColumns.
///
/// Refers to the file, which must outlive it. Not thread-safe.
///
/// @snippet docs/examples.cpp MeterTable
class TRAMO_EXPORT MeterTable {
public:
    /// Computes the columns for all rounds of the file. Exports at most `rowsPerBatch` rows at a time.
    explicit MeterTable(const RoundFile& file, const ArrowStreamOptions& options = {});
    MeterTable(MeterTable&&) noexcept;
    MeterTable& operator=(MeterTable&&) noexcept;
    ~MeterTable();

    std::vector<std::string> names() const;  ///< of all columns

    /// @name Arrow C data interface
    /// As in Columns. `exportRows` exports the next rows, and returns false, leaving `out` alone, if there are none.
    /// @{
    void exportSchema(ArrowSchema* out) const;  ///< the same before and after rows are exported
    bool exportRows(ArrowArray* out);           ///< in the order of the file, at most ArrowStreamOptions::rowsPerBatch
    /// @}

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Lines without fields as a table: `line`, the number; `fault`, the name of the fault (see describe); `text`, the whole line in
/// UTF-8. Lines that may hold keys have no text.
///
/// Not thread-safe. Functions that add throw std::bad_alloc only.
///
/// @snippet docs/examples.cpp LineTable
class TRAMO_EXPORT LineTable {
public:
    LineTable();
    LineTable(LineTable&&) noexcept;
    LineTable& operator=(LineTable&&) noexcept;
    ~LineTable();

    /// Adds a line of any kind. Returns false, and adds nothing, if the table would hold more than 2 GB of text: export its rows.
    bool add(const LineView& line);
    std::size_t rows() const;  ///< the number of lines that were added since the last exportRows()

    /// @name Arrow C data interface
    /// As in Columns.
    /// @{
    void exportSchema(ArrowSchema* out) const;  ///< the same with and without rows
    void exportRows(ArrowArray* out);           ///< hands the rows over without copying them; then there are none
    /// @}

private:
    struct State;
    std::unique_ptr<State> state;
};

/// Makes `out` a stream of the lines without fields that a reader has not read yet, with the columns of LineTable. See the other
/// streams in columns.h. A line with more than 2 GB of text is an error of the stream.
///
/// @snippet docs/examples.cpp malformedStream
TRAMO_EXPORT void arrowStream(Reader reader, ArrowArrayStream* out, const ArrowStreamOptions& options = {});

}  // namespace tramo
