// Where an import gets its rows from: one form each.
#pragma once
#include "console.h"
#include "platform.h"
#include "rows.h"
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace tramo::cli {

/// Throws Unreadable where the rows are not what they should be.
class RowSource {
public:
    virtual ~RowSource() = default;

    /// The next row; false at the end.
    virtual bool next(Row& row) = 0;

    /// Where the last row stands, for people: "line 3".
    virtual std::string place() const = 0;
};

std::unique_ptr<RowSource> makeJsonlSource(const std::string& path);

/// A folder: the rows of all its tables, by the numbers of their lines.
std::unique_ptr<RowSource> makeCsvSource(const std::string& path);

/// A database: the rows of all its tables, by the numbers of their lines.
std::unique_ptr<RowSource> makeSqliteSource(const std::string& path);

/// A stream of bytes, one at a time; "-" is the standard input. On a terminal it tells how far it has come.
class ByteReader {
public:
    explicit ByteReader(const std::string& path);
    ~ByteReader();
    ByteReader(const ByteReader&) = delete;
    ByteReader& operator=(const ByteReader&) = delete;

    /// -1: the end.
    int next() { return at < filled || fill() ? static_cast<unsigned char>(block[at++]) : -1; }

private:
    bool fill();

    Progress progress;
    std::string name;
    std::FILE* file;
    std::uint64_t size = 0, loaded = 0;  ///< size 0: it is not known
    std::string block;
    std::size_t at = 0, filled = 0;
};

/// No row is longer; a file that has a longer one is something else.
inline constexpr std::size_t longestRow = 1 << 20;

}  // namespace tramo::cli
