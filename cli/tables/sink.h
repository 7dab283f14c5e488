// What an export writes to: a class for each form.
#pragma once
#include "cli/io/outfile.h"
#include "cli/tables/describedrows.h"
#include "cli/tables/plainrow.h"
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

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

    /// Writes a row of `tables()`, or a finding if the form has a place for them.
    virtual void put(const TableRow& row) = 0;

    /// Does the same in two steps: `describe` appends a row to others, on any thread, and `put` writes them in the order of the
    /// rows. Returns false if a row can only be put as it is.
    virtual bool describe(const TableRow& row, DescribedRows& to) const = 0;
    virtual void put(const DescribedRows& rows) = 0;

    /// Describes the row of a plain record, with the same result as for the row that rowOf() makes of it.
    virtual void describe(const PlainRow& row, DescribedRows& to) const = 0;

    virtual void finish(const Source& source) = 0;
};

/// What an export chooses besides the file.
struct SinkOptions {
    bool mayBeFolder = true;  ///< csv: a path without the suffix .csv is a folder, where each table has its own file
    bool oneKind = false;     ///< there are rows of one table only
    bool bom = false;         ///< files begin with a byte order mark
};

using MakeSink = std::unique_ptr<Sink>(const std::string& path, OutFile::Mode mode, const SinkOptions& options);

/// One JSON object a row, one row a line.
MakeSink makeJsonlSink;

/// A line of column names, then one line a row; rows of one table only, unless the output is a folder. Throws WrongUsage for
/// a second table, and for a folder that holds tables already, or files that no export has made.
MakeSink makeCsvSink;

/// A SQLite database: a table for each kind, also of the findings and of the file, and the views "meters" and "answers". Not
/// for the standard output.
MakeSink makeSqliteSink;

/// A workbook (Office Open XML): a sheet for each kind, also of the findings and of the file.
MakeSink makeXlsxSink;

}  // namespace tramo::cli
