// Rows from comma-separated values, of one file or of a folder.
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/tables/celltext.h"
#include "cli/tables/growingtext.h"
#include "cli/tables/rowsource.h"
#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <system_error>
#include <tramostream/check.h>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace fs = std::filesystem;

namespace {

/// The records of a file: cells in quotation marks may hold anything, line endings as well. A line ends with CR LF, LF or
/// CR.
class CsvReader {
public:
    /// `called`: the file's name in messages.
    CsvReader(const std::string& path, std::string called) : bytes(path), name(std::move(called)) {}

    /// Returns false at the end. Skips blank lines.
    bool next(std::vector<std::string>& cells) {
        do {
            cells.assign(1, {});
            longPlace = noColumn;
            longer.clear();
            if (!nextRecord(cells)) return false;
        } while (cells.size() == 1 && cells[0].empty());
        isHeader = false;
        return true;
    }

    /// The column of a cell of more than `longestValue` bytes, of which `cells` has only the first ones; noColumn: none. And all
    /// bytes of that cell.
    static constexpr std::size_t noColumn = static_cast<std::size_t>(-1);
    std::size_t longColumn() const { return longPlace; }
    std::string_view longCell() const { return longer.view(); }

    std::string place() const { return fmt::format("{}:{}", name, first); }
    [[noreturn]] void refuse(std::string reason) const { throw BadRow{place(), std::move(reason)}; }

private:
    // The next character, with every line ending outside of quotation marks as a line feed; -1: the end.
    int nextCharacter(bool quoted) {
        int c = bytes.next();
        const bool isEndOfPair = std::exchange(afterReturn, c == '\r') && c == '\n';
        if (isEndOfPair && !quoted) {
            c = bytes.next();
            afterReturn = c == '\r';
        }
        lines += (c == '\n' && !(isEndOfPair && quoted)) || c == '\r';
        return c == '\r' && !quoted ? '\n' : c;
    }

    void append(std::vector<std::string>& cells, int c) {
        std::string& cell = cells.back();
        if (cell.size() < longestValue) {
            cell += static_cast<char>(c);
            return;
        }
        const std::size_t column = cells.size() - 1;
        if (longPlace != noColumn && longPlace != column) refuse(fmt::format("two cells of more than {} bytes", longestValue));
        if (std::exchange(longPlace, column) != column)
            for (const char before : cell) longer.push_back(before);
        longer.push_back(static_cast<char>(c));
    }

    bool nextRecord(std::vector<std::string>& cells) {
        first = lines + 1;
        std::size_t size = 0;
        bool quoted = false, any = false;
        for (int c; (c = nextCharacter(quoted)) >= 0; any = true) {
            if (isHeader && ++size > longestHeader)
                refuse(fmt::format("the names are longer than {} bytes; the file is not an export", longestHeader));
            if (quoted) {
                quoted = c != '"';
                closed = !quoted;
                if (quoted) append(cells, c);
                continue;
            }
            // A quotation mark after a closing one is a character of the cell.
            const bool isAfterClosing = std::exchange(closed, false);
            if (c == '"' && (isAfterClosing || cells.back().empty())) {
                if (isAfterClosing) append(cells, c);
                quoted = true;
            } else if (c == ',') {
                cells.emplace_back();
            } else if (c == '\n') {
                return true;
            } else {
                append(cells, c);
            }
        }
        if (quoted) refuse("a quotation mark is not closed");
        closed = false;
        return any;
    }

    ByteReader bytes;
    std::string name;
    long long lines = 0, first = 0;  ///< lines: that have ended
    bool isHeader = true, closed = false, afterReturn = false;
    std::size_t longPlace = noColumn;
    GrowingText longer;
};

class CsvSource : public RowSource {
public:
    CsvSource(const std::string& path, const std::string& called, std::shared_ptr<FileOfRows> fileOfRows)
        : reader(path, called), onlyFile(std::move(fileOfRows)) {
        if (!reader.next(header)) return;
        kindColumn = columnNamed("kind");
        lineColumn = columnNamed("line");
        fileColumn = static_cast<std::size_t>(std::ranges::find(header, cli::fileColumn) - header.begin());
        for (auto name = header.begin(); name != header.end(); ++name)
            if (std::find(header.begin(), name, *name) != name)
                reader.refuse(isField(*name) ? fmt::format("duplicate column \"{}\"", *name)
                                             : named("duplicate column", *name, std::to_string(name - header.begin() + 1)));
    }

    bool next(TableRow& row) override {
        do {
            if (!reader.next(cells)) return false;
            if (cells.size() != header.size())
                reader.refuse(fmt::format(
                    "{} in this row, {} in the first line", counted(cells.size(), "cell"), counted(header.size(), "name")));
        } while (cells[kindColumn] == findingTable().name);
        const Table* table = tableNamed(cells[kindColumn]);
        if (!table) reader.refuse(named("kind: unknown kind", cells[kindColumn]));
        if (fileColumn < cells.size())
            if (std::string reason = onlyFile->whyUnfit(cells[fileColumn]); !reason.empty()) reader.refuse(std::move(reason));
        if (table != known) learn(*table);
        row = {table};
        row.line = lineNumber();
        row.cells.resize(table->columns.size());
        for (std::size_t i = 0; i < cells.size(); ++i) {
            if (isLead(i) || cells[i].empty()) continue;
            if (i == reader.longColumn()) {
                row.longText = longTextAt(i, *table);
                continue;
            }
            auto text = unescaped(cells[i]);
            if (!text) refuseText(i);
            row.cells[places[i]] = std::move(*text);
        }
        return true;
    }

    std::string place(std::size_t) const override { return reader.place(); }

private:
    std::size_t columnNamed(std::string_view name) const {
        const auto found = std::ranges::find(header, name);
        if (found == header.end())
            reader.refuse(fmt::format("there is no column \"{}\"; the file is not an export of records", name));
        return static_cast<std::size_t>(found - header.begin());
    }

    // Whether a column is not one of the fields.
    bool isLead(std::size_t i) const { return i == kindColumn || i == lineColumn || i == fileColumn; }

    static bool isField(std::string_view name) {
        return std::ranges::any_of(tables(),
            [&](const Table& table) { return std::ranges::find(table.columns, name, &Column::name) != table.columns.end(); });
    }

    // Where the cells of this table's rows belong.
    void learn(const Table& table) {
        known = &table;
        places.assign(header.size(), 0);
        for (std::size_t i = 0; i < header.size(); ++i) {
            if (isLead(i)) continue;
            const auto column = std::ranges::find(table.columns, header[i], &Column::name);
            if (column == table.columns.end())
                reader.refuse(
                    fmt::format("{} of {}", named("unknown field", header[i], fmt::format("in column {}", i + 1)), table.name));
            places[i] = static_cast<std::size_t>(column - table.columns.begin());
        }
    }

    std::shared_ptr<const LongText> longTextAt(std::size_t i, const Table& table) const {
        if (!isPlaceOfLine(table, places[i])) reader.refuse(tooLongFor(table.columns[places[i]].name));
        auto text = std::make_shared<EscapedText>(reader.longCell(), takeCellEscape);
        if (text->firstFault()) refuseText(i);
        return text;
    }

    [[noreturn]] void refuseText(std::size_t i) const {
        reader.refuse(
            fmt::format("{}: not UTF-8, or an invalid escape after a backslash", printable(std::string_view(header[i]))));
    }

    long long lineNumber() const {
        const std::optional<std::wstring> text = utf8::decodeValid(cells[lineColumn]);
        const std::optional<long long> number = text ? wholeNumber(*text) : std::nullopt;
        if (!number) reader.refuse(named("line: invalid integer", cells[lineColumn]));
        return *number;
    }

    CsvReader reader;
    std::vector<std::string> header, cells;
    std::size_t kindColumn = 0, lineColumn = 0, fileColumn = 0;
    std::shared_ptr<FileOfRows> onlyFile;
    const Table* known = nullptr;
    std::vector<std::size_t> places;
};

/// Returns the rows of all tables by their line numbers.
class CsvFolderReader : public RowSource {
public:
    explicit CsvFolderReader(const std::string& path) {
        std::vector<std::string> files = tablesIn(path);
        if (files.empty()) throw Unreadable{"is a folder without tables (*.csv)"};
        std::ranges::sort(files);
        for (const std::string& file : files) {
            Open& open = tables.emplace_back(Open{file, nullptr, {}});
            const std::string place = (pathOf(path) / pathOf(file)).string();
            namingFile(
                open, [&] { open.source = std::make_unique<CsvSource>(place, printable(std::string_view(place)), onlyFile); });
            advance(open);
        }
    }

    bool next(TableRow& row) override {
        if (last && last->source) advance(*last);
        last = nullptr;
        for (Open& open : tables)
            if (open.source && (!last || open.row.line < last->row.line)) last = &open;
        if (last) row = std::move(last->row);  // all but its number
        return last != nullptr;
    }

    std::string place(std::size_t column) const override { return last->source->place(column); }

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
        TableRow row;
    };

    void advance(Open& open) {
        namingFile(open, [&] {
            const long long before = open.row.line;
            if (!open.source->next(open.row)) open.source.reset();
            else if (open.row.line < before)
                throw BadRow{open.source->place(0), "line: the rows of a folder must be in the order of this column"};
        });
    }

    // Names the file of the folder that cannot be read.
    template <class Work> void namingFile(const Open& open, Work work) {
        try {
            work();
        } catch (const Unreadable& failure) { throw Unreadable{printable(std::string_view(open.name)) + ": " + failure.reason}; }
    }

    const std::shared_ptr<FileOfRows> onlyFile = std::make_shared<FileOfRows>();
    std::vector<Open> tables;
    Open* last = nullptr;
};

}  // namespace

std::unique_ptr<RowSource> makeCsvSource(const std::string& path) {
    std::error_code error;
    const bool isFolder = path != "-" && fs::is_directory(pathOf(path), error);
    if (error) throw Unreadable{error.message()};
    if (isFolder) return std::make_unique<CsvFolderReader>(path);
    return std::make_unique<CsvSource>(path, printable(nameOf(path)), std::make_shared<FileOfRows>());
}

}  // namespace tramo::cli
