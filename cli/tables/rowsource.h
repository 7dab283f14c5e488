// Where an import reads its rows from: a class for each form.
#pragma once
#include "cli/io/console.h"
#include "cli/io/notedinput.h"
#include "cli/io/platform.h"
#include "cli/io/sourcefile.h"
#include "cli/tables/rows.h"
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tramo::cli {

/// An invalid row, and its place.
struct BadRow {
    std::string place, reason;
};

/// Reads rows. Throws BadRow for a row, and Unreadable for the file as a whole.
class RowSource {
public:
    virtual ~RowSource() = default;

    /// The next row; false at the end.
    virtual bool next(TableRow& row) = 0;

    /// The place of the last row, or of its value in this column of its table, for people and editors: "rows.jsonl:3:17",
    /// "tables/tag.csv:3", "round.db: tag, line 3".
    virtual std::string place(std::size_t column) const = 0;
};

/// The column with the file of a row, in an export of several files. An import makes one file of the rows of one.
inline constexpr const char* fileColumn = "file";

class FileOfRows {
public:
    /// Why the row of a file cannot be imported; empty: it is of the same file as the first one.
    std::string whyUnfit(std::string_view name);

private:
    std::optional<std::string> first;
};

using MakeRowSource = std::unique_ptr<RowSource>(const std::string& path);

MakeRowSource makeJsonlSource;

/// A folder: the rows of all its tables, by the numbers of their lines.
MakeRowSource makeCsvSource;

/// The rows of all tables of a database, by the numbers of their lines.
MakeRowSource makeSqliteSource;

/// Reads the bytes of a file one at a time, as the file was when it was opened, and skips a UTF-8 byte order mark at its
/// beginning. "-" is the standard input. Shows its progress on a terminal.
class ByteReader {
public:
    explicit ByteReader(const std::string& path);
    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;

    /// The file's name in messages.
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

/// The longest header; a file with a longer one is not an export. Rows can be longer, as malformed lines can.
inline constexpr std::size_t longestHeader = 1 << 20;

/// A text of more bytes is read piece by piece, and must be the text of a whole line.
inline constexpr std::size_t longestValue = 1 << 20;
inline bool isPlaceOfLine(const Table& table, std::size_t column) { return !table.blank && column + 1 == table.columns.size(); }
inline std::string tooLongFor(const std::string& column) {
    return column + ": the text has more than " + std::to_string(longestValue) + " bytes";
}

}  // namespace tramo::cli
