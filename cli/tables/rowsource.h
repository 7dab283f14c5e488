// Where an import gets its rows from: one form each.
#pragma once
#include "cli/io/console.h"
#include "cli/io/notedinput.h"
#include "cli/io/platform.h"
#include "cli/io/sourcefile.h"
#include "cli/tables/rows.h"
#include <cstdint>
#include <memory>
#include <string>

namespace tramo::cli {

/// A row is not what it should be, and where it stands.
struct BadRow {
    std::string place, reason;
};

/// Throws BadRow, and Unreadable of the file as a whole.
class RowSource {
public:
    virtual ~RowSource() = default;

    /// The next row; false at the end.
    virtual bool next(TableRow& row) = 0;

    /// Where the last row stands, or its value in this column of its table, for people and editors: "rows.jsonl:3:17",
    /// "tables/tag.csv:3", "round.db: tag, line 3".
    virtual std::string place(std::size_t column) const = 0;
};

using MakeRowSource = std::unique_ptr<RowSource>(const std::string& path);

MakeRowSource makeJsonlSource;

/// A folder: the rows of all its tables, by the numbers of their lines.
MakeRowSource makeCsvSource;

/// The rows of all tables of a database, by the numbers of their lines.
MakeRowSource makeSqliteSource;

/// A stream of bytes, one at a time, of a file as it was when it was opened; a byte order mark of UTF-8 at its beginning is
/// passed over. "-" is the standard input. On a terminal it tells how far it has come.
class ByteReader {
public:
    explicit ByteReader(const std::string& path);
    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;

    /// As people read it.
    const std::string& fileName() const { return name; }

    /// -1: the end.
    int next() { return at < filled || fill() ? static_cast<unsigned char>(block[at++]) : -1; }

private:
    bool fill();

    NotedInput noted;
    Progress progress;
    std::string name;
    SourceFile file;
    std::uint64_t loaded = 0;
    Passage passage;
    bool ended = false;
    std::string block;
    std::size_t at = 0, filled = 0;
};

/// No header is longer; a file that has a longer one is something else. A row can be any damaged line.
inline constexpr std::size_t longestHeader = 1 << 20;

/// A text of more bytes is taken piece by piece, and only where it is a whole line.
inline constexpr std::size_t longestValue = 1 << 20;
inline bool isPlaceOfLine(const Table& table, std::size_t column) { return !table.blank && column + 1 == table.columns.size(); }
inline std::string tooLongFor(const std::string& column) {
    return column + ": the text has more than " + std::to_string(longestValue) + " bytes";
}

}  // namespace tramo::cli
