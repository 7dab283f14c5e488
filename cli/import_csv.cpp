// Rows from comma-separated values, of one file or of a folder.
#include "celltext.h"
#include "input.h"
#include "rowsource.h"
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fmt/format.h>
#include <system_error>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace fs = std::filesystem;

namespace {

/// The records of a file: cells in quotation marks may hold anything, line ends as well.
class CsvReader {
public:
    explicit CsvReader(const std::string& path) : bytes(path) {}

    /// False at the end. Blank lines are passed over.
    bool next(std::vector<std::string>& cells) {
        do {
            cells.assign(1, {});
            if (!nextRecord(cells)) return false;
        } while (cells.size() == 1 && cells[0].empty());
        return true;
    }

    std::string place() const { return fmt::format("line {}", first); }
    [[noreturn]] void refuse(std::string_view reason) const { throw Unreadable{fmt::format("{}: {}", place(), reason)}; }

private:
    bool nextRecord(std::vector<std::string>& cells) {
        first = ++lines;
        std::size_t size = 0;
        bool quoted = false, any = false;
        for (int c; (c = bytes.next()) >= 0; any = true) {
            if (++size > longestRow) refuse(fmt::format("is longer than {} bytes; the file is no export", longestRow));
            if (quoted) {
                lines += c == '\n';
                if (c != '"') cells.back() += static_cast<char>(c);
                else quoted = false, closed = true;
                continue;
            }
            // Behind a closing mark another one stands for itself.
            const bool behindMark = std::exchange(closed, false);
            if (c == '"' && (behindMark || cells.back().empty())) {
                if (behindMark) cells.back() += '"';
                quoted = true;
            } else if (c == ',') {
                cells.emplace_back();
            } else if (c == '\n') {
                if (cells.back().ends_with('\r')) cells.back().pop_back();
                return true;
            } else {
                cells.back() += static_cast<char>(c);
            }
        }
        if (quoted) refuse("a quotation mark is not closed");
        closed = false;
        return any;
    }

    ByteReader bytes;
    long long lines = 0, first = 0;
    bool closed = false;
};

class CsvSource : public RowSource {
public:
    explicit CsvSource(const std::string& path) : reader(path) {
        if (!reader.next(header)) return;
        constexpr std::string_view mark = "\xEF\xBB\xBF";
        if (header[0].starts_with(mark)) header[0].erase(0, mark.size());
        kindColumn = columnNamed("kind");
        lineColumn = columnNamed("line");
    }

    bool next(Row& row) override {
        if (!reader.next(cells)) return false;
        if (cells.size() != header.size())
            reader.refuse(fmt::format("has {} cells, but there are {} names in the first line", cells.size(), header.size()));
        const Table* table = tableNamed(cells[kindColumn]);
        if (!table) reader.refuse(fmt::format("\"{}\" is no kind of line", printable(std::string_view(cells[kindColumn]))));
        if (table != known) learn(*table);
        row = {table};
        row.line = lineNumber();
        row.cells.resize(table->columns.size());
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (i == kindColumn || i == lineColumn || cells[i].empty()) continue;
            auto text = unescaped(cells[i]);
            if (!text)
                reader.refuse(fmt::format(
                    "{}: is not UTF-8, or has a backslash that begins no escape", printable(std::string_view(header[i]))));
            row.cells[places[i]] = std::move(*text);
        }
        return true;
    }

    std::string place() const override { return reader.place(); }

private:
    std::size_t columnNamed(std::string_view name) const {
        const auto found = std::ranges::find(header, name);
        if (found == header.end()) reader.refuse(fmt::format("there is no column \"{}\"; the file is no export", name));
        return static_cast<std::size_t>(found - header.begin());
    }

    // Where the cells of this table's rows belong.
    void learn(const Table& table) {
        known = &table;
        places.assign(header.size(), 0);
        for (std::size_t i = 0; i < header.size(); ++i) {
            if (i == kindColumn || i == lineColumn) continue;
            const auto column = std::ranges::find(table.columns, header[i], &Column::name);
            if (column == table.columns.end())
                reader.refuse(fmt::format("\"{}\" is no field of {}", printable(std::string_view(header[i])), table.name));
            places[i] = static_cast<std::size_t>(column - table.columns.begin());
        }
    }

    long long lineNumber() const {
        const std::string& text = cells[lineColumn];
        long long number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        if (error != std::errc{} || end != text.data() + text.size()) reader.refuse("line: is no whole number");
        return number;
    }

    CsvReader reader;
    std::vector<std::string> header, cells;
    std::size_t kindColumn = 0, lineColumn = 0;
    const Table* known = nullptr;
    std::vector<std::size_t> places;
};

/// Always the row with the lowest number of those that the tables are at.
class CsvFolder : public RowSource {
public:
    explicit CsvFolder(const std::string& path) {
        std::vector<std::string> files = tablesIn(path);
        if (files.empty()) throw Unreadable{"is a folder without tables (*.csv)"};
        std::ranges::sort(files);
        for (const std::string& file : files) {
            Open& open = tables.emplace_back(Open{file, nullptr, {}});
            guarded(open, [&] { open.source = std::make_unique<CsvSource>((pathOf(path) / pathOf(file)).string()); });
            advance(open);
        }
    }

    bool next(Row& row) override {
        if (last && last->source) advance(*last);
        last = nullptr;
        for (Open& open : tables)
            if (open.source && (!last || open.row.line < last->row.line)) last = &open;
        if (last) row = std::move(last->row);  // but its number
        return last != nullptr;
    }

    std::string place() const override { return printable(std::string_view(last->name)) + ": " + last->source->place(); }

private:
    static std::vector<std::string> tablesIn(const std::string& path) {
        try {
            std::vector<std::string> names = namesIn(path);
            std::erase_if(names, [](const std::string& name) { return !isTable(name); });
            return names;
        } catch (const std::system_error& failure) { throw Unreadable{failure.code().message()}; }
    }

    struct Open {
        std::string name;
        std::unique_ptr<CsvSource> source;  ///< nullptr: has been read to its end
        Row row;
    };

    void advance(Open& open) {
        guarded(open, [&] {
            const long long before = open.row.line;
            if (!open.source->next(open.row)) open.source.reset();
            else if (open.row.line < before)
                throw Unreadable{open.source->place() + ": the rows of a folder must stand by the numbers of their lines"};
        });
    }

    template <class Work> void guarded(const Open& open, Work work) {
        try {
            work();
        } catch (const Unreadable& failure) { throw Unreadable{printable(std::string_view(open.name)) + ": " + failure.reason}; }
    }

    std::vector<Open> tables;
    Open* last = nullptr;
};

}  // namespace

std::unique_ptr<RowSource> makeCsvSource(const std::string& path) {
    std::error_code error;
    const bool isFolder = path != "-" && fs::is_directory(pathOf(path), error);
    if (error) throw Unreadable{error.message()};
    if (isFolder) return std::make_unique<CsvFolder>(path);
    return std::make_unique<CsvSource>(path);
}

}  // namespace tramo::cli
