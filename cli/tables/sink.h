// What an export is written to: one form each.
#pragma once
#include "cli/io/outfile.h"
#include "cli/tables/rows.h"
#include <cstdint>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <string_view>

namespace tramo::cli {

/// The file that the rows are from.
struct Source {
    std::string name;
    bool utf16;
    std::uint64_t bytes;
    long long lines;
};

/// What is told of the file where the form has a place for it. Its row has no line number.
const Table& fileTable();
Row rowOf(const Source& source);

/// Nothing appears in its place before `finish`. Every operation may throw WriteFailed.
class Sink {
public:
    virtual ~Sink() = default;

    /// A row of `tables()`, or a finding where the form has a place for them.
    virtual void put(const Row& row) = 0;

    /// The same in two steps, where the form allows it: `describe` adds the row to a text, on any thread, and `put` takes
    /// such texts in the rows' order. False: it does not.
    virtual bool describe(const Row&, fmt::memory_buffer&) const { return false; }
    virtual void put(std::string_view) {}
    virtual void finish(const Source& source) = 0;
};

/// One JSON object a row, one row a line.
std::unique_ptr<Sink> makeJsonlSink(const std::string& path, OutFile::Mode mode);

struct CsvStyle {
    bool isFolder = false;  ///< a folder, where each table has its own file
    bool bom = false;       ///< files begin with a byte order mark
    bool oneKind = false;   ///< there are rows of one table only
};

/// A line of column names, then one line a row; rows of one table only, unless `path` is a folder. Throws WrongUsage for a
/// second table, and for a folder that holds tables already, or files that no export has made.
std::unique_ptr<Sink> makeCsvSink(const std::string& path, OutFile::Mode mode, CsvStyle style);

/// A SQLite database: a table a kind, also of what was found and of the file, and the views "meters" and "answers". Not
/// for the standard output.
std::unique_ptr<Sink> makeSqliteSink(const std::string& path, OutFile::Mode mode);

/// A workbook (Office Open XML): a sheet a kind, also of what was found and of the file.
std::unique_ptr<Sink> makeXlsxSink(const std::string& path, OutFile::Mode mode);

}  // namespace tramo::cli
