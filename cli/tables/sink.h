// What an export writes to: a class for each form.
#pragma once
#include "cli/io/outfile.h"
#include "cli/tables/describedrows.h"
#include "cli/tables/plainrow.h"
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// The exported file.
struct Source {
    std::string name;
    bool utf16;
    std::uint64_t bytes;
    long long lines;
};

/// Describes the exported file, in forms that have a place for it. Its row has no line number.
const Table& fileTable();
TableRow rowOf(const Source& source);

/// Writes rows. The output appears with `finish`, not before. Every operation may throw WriteFailed.
class Sink {
public:
    virtual ~Sink() = default;

    /// Prepares for the rows of a table besides SinkOptions::tables. It must outlive the sink.
    virtual void add(const Table&) {}

    /// Writes a row of one of the tables.
    virtual void put(const TableRow& row) = 0;

    /// Does the same in two steps: `describe` appends a row to others, on any thread, and `put` writes them in the order of the
    /// rows. Returns false if a row can only be put as it is.
    virtual bool describe(const TableRow& row, DescribedRows& to) const = 0;
    virtual void put(const DescribedRows& rows) = 0;

    /// Describes the row of a plain record, with the same result as for the row that rowOf() makes of it.
    virtual void describe(const PlainRow& row, DescribedRows& to) const = 0;

    virtual void finish(std::span<const Source> sources) = 0;
};

/// The tables of records, and that of findings.
std::vector<const Table*> exportedTables();

/// What an export chooses besides the file.
struct SinkOptions {
    bool mayBeFolder = true;  ///< csv: a path without the suffix .csv is a folder, where each table has its own file
    bool oneKind = false;     ///< there are rows of one table only
    bool bom = false;         ///< files begin with a byte order mark
    bool views = false;       ///< sqlite: the views, for which all tables of records must be there
    std::vector<const Table*> tables = exportedTables();  ///< in their order; must outlive the sink
};

using MakeSink = std::unique_ptr<Sink>(const std::string& path, OutFile::Mode mode, const SinkOptions& options);

/// One JSON object a row, one row a line.
MakeSink makeJsonlSink;

/// A line of column names, then one line a row; rows of one table only, unless the output is a folder. Throws WrongUsage for
/// a second table, and for a folder that holds tables already, or files that no export has made.
MakeSink makeCsvSink;

/// A SQLite database: its tables, that of the files, and the views "meters" and "answered_pages". Not for the standard output.
MakeSink makeSqliteSink;

/// A workbook (Office Open XML): a sheet for each table that has rows, and one for the files.
MakeSink makeXlsxSink;

/// GeoJSON: a point for each row of a table whose last two columns are the longitude and the latitude.
MakeSink makeGeoJsonSink;

}  // namespace tramo::cli
