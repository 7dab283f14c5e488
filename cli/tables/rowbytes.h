// Rows as bytes in memory, for forms that put rows one after the other: cells are read and texts escaped on any thread.
#pragma once
#include "cli/tables/celltext.h"
#include "cli/tables/describedrows.h"
#include "cli/tables/plainrow.h"

namespace tramo::cli {

namespace detail {

enum class CellType : char { Integer, Real, Flag, Text };

// Writes the cells of a row: the index of the column, the type, and the value, a text with its size before it.
class CellBytes {
public:
    explicit CellBytes(Appender& to) : out(to) {}

    void text(std::size_t column, std::wstring_view value) {
        appendText(column, [&] { out.use([&](fmt::memory_buffer& to) { appendEscaped(to, value, false); }); });
    }
    void text(std::size_t column, std::string_view value) {
        appendText(column, [&] { appendEscaped(out, value); });
    }
    void ascii(std::size_t column, std::string_view value) {
        appendText(column, [&] { out.addShort(value); });
    }
    void number(std::size_t column, long long value) { append(column, CellType::Integer, value); }
    void number(std::size_t column, double value) { append(column, CellType::Real, value); }
    void flag(std::size_t column, bool value) { append(column, CellType::Flag, value); }

private:
    void begin(std::size_t column, CellType type) {
        out.addBytes(static_cast<std::uint16_t>(column));
        out.addBytes(type);
    }
    void append(std::size_t column, CellType type, auto value) {
        begin(column, type);
        out.addBytes(value);
    }
    void appendText(std::size_t column, auto write) {
        begin(column, CellType::Text);
        out.addSized(write);
    }

    Appender& out;
};

// Takes a value that addBytes() has written.
template <class Value> Value take(std::string_view& bytes) {
    Value value;
    std::memcpy(&value, bytes.data(), sizeof value);
    bytes.remove_prefix(sizeof value);
    return value;
}
inline std::string_view takeSized(std::string_view& bytes) {
    const auto size = take<std::uint64_t>(bytes);
    const std::string_view text = bytes.substr(0, size);
    bytes.remove_prefix(size);
    return text;
}

}  // namespace detail

/// Describes a row. Returns false for a row that is not in memory as a whole, or holds keys.
inline bool describeAsBytes(const TableRow& row, DescribedRows& to) {
    if (row.longText || row.table->holdsKeys) return false;
    to.begin(*row.table, row.line);
    Appender out(to.text);
    out.addBytes(row.line);
    out.addSized([&] { writeCells(row, detail::CellBytes(out)); });
    return true;
}

inline void describeAsBytes(const PlainRow& row, DescribedRows& to) {
    to.begin(row.table(), row.line());
    Appender out(to.text);
    out.addBytes(row.line());
    out.addSized([&] { row.write(detail::CellBytes(out)); });
}

/// Calls `use(line, cells)` for each row of a run.
template <class Use> void forEachRow(std::string_view run, Use use) {
    while (!run.empty()) {
        const auto line = detail::take<long long>(run);
        use(line, detail::takeSized(run));
    }
}

/// Calls number(column, long long or double), flag(column, bool) or text(column, std::string_view) of the writer for each of
/// these cells. Texts are escaped, not harmless.
template <class Writer> void writeCells(std::string_view cells, Writer& writer) {
    using detail::CellType;
    while (!cells.empty()) {
        const std::size_t column = detail::take<std::uint16_t>(cells);
        switch (detail::take<CellType>(cells)) {
        case CellType::Integer: writer.number(column, detail::take<long long>(cells)); break;
        case CellType::Real: writer.number(column, detail::take<double>(cells)); break;
        case CellType::Flag: writer.flag(column, detail::take<bool>(cells)); break;
        case CellType::Text: writer.text(column, detail::takeSized(cells)); break;
        }
    }
}

}  // namespace tramo::cli
