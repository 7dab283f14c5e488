// Rows from the tables of a SQLite database, by the numbers of their lines.
#include "cli/io/notedinput.h"
#include "cli/io/sourcefile.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/tables/celltext.h"
#include "cli/tables/database.h"
#include "cli/tables/rowsource.h"
#include <algorithm>
#include <deque>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <new>
#include <sqlite3.h>
#include <system_error>
#include <utility>

namespace tramo::cli {

namespace {

class SqliteSource : public RowSource {
public:
    explicit SqliteSource(const std::string& path)
        : file(printable(nameOf(path))), state(stateOf(path)), noted(path), source(state.place, path),
          database(path, path, state.access()) {
        // One transaction: all tables are read as they are now. Nothing is mapped into memory, which a file that becomes shorter
        // would take away.
        database.run("PRAGMA mmap_size = 0; BEGIN");
        for (const char* suffix : {"-wal", "-shm", "-journal"}) companions.emplace_back(state.place + suffix);
        Statement names(database, "SELECT name FROM sqlite_schema WHERE type = 'table'");
        while (names.step()) {
            const std::string name = textAt(names.handle(), 0);
            const auto table = std::ranges::find(tables(), name, &Table::identifier);
            if (table != tables().end()) open(*table);
        }
        if (readers.empty()) throw Unreadable{"has no table of records; the database is not an export of records"};
    }

    bool next(TableRow& row) override {
        if (last) advance(*last);
        last = nullptr;
        for (Reader& reader : readers)
            if (reader.hasRow && (!last || reader.line < last->line)) last = &reader;
        if (!last) {
            Progress::wipe();
            confirm();
            return false;
        }
        if (++taken % 4096 == 0) progress.show(file, taken, all);
        fill(row);
        return true;
    }

    std::string place(std::size_t) const override {
        return fmt::format("{}: {}, line {}", file, last->table->identifier, last->line);
    }

private:
    struct Reader {
        Reader(Database& database, const Table& of)
            : table(&of), statement(database, fmt::format("SELECT line, * FROM \"{}\" ORDER BY line", of.identifier)) {}

        const Table* table;
        Statement statement;
        std::vector<std::size_t> places;  ///< where the result's columns belong, the number of the line left out
        int fileColumn = 0;               ///< 0: there is none
        bool hasRow = false;
        long long line = 0;
    };

    // Programs that respect SQLite's locks write to the file only while nobody reads it, unless its log is in use. Notices what
    // other programs have written.
    void confirm() {
        if (state.isShared || std::exchange(confirmed, true)) return;
        const std::optional<FileState> now = cli::stateOf(source.stream()), named = cli::stateOf(state.place);
        const bool isSame = now && opened && now->size == opened->size && now->modified == opened->modified;
        if (!isSame || State::sizeOf(state.place + "-wal") != state.log) source.hasChanged();
        if (named && !named->isSameFile(*now)) complain(file + ": was replaced while it was read; the old file was read");
    }

    // Shows whether a program writes to a database with a write-ahead log: while it is in use, two files are beside it, and
    // they remain if the program was killed. If there are none, SQLite would create them to read the database, and leave them
    // there.
    struct State {
        explicit State(const std::string& path)
            : place(std::filesystem::canonical(pathOf(path)).string()), withLog(hasLog(place)), size(sizeOf(place)),
              log(sizeOf(place + "-wal")), isShared(exists(place + "-wal") && exists(place + "-shm")),
              written(std::filesystem::last_write_time(pathOf(place))) {}

        bool operator==(const State&) const = default;

        Database::Access access() const {
            if (!withLog || isShared) return Database::Read;
            return log == 0 ? Database::Unchanging : Database::Alone;
        }

        static bool exists(const std::string& file) { return std::filesystem::exists(pathOf(file)); }
        static std::uintmax_t sizeOf(const std::string& file) {
            std::error_code error;
            const std::uintmax_t size = std::filesystem::file_size(pathOf(file), error);
            return error ? 0 : size;
        }

        std::string place;  ///< links followed
        bool withLog;
        std::uintmax_t size, log;
        bool isShared;
        std::filesystem::file_time_type written;
    };

    static State stateOf(const std::string& path) {
        try {
            return State(checked(path));
        } catch (const std::filesystem::filesystem_error& failure) { throw Unreadable{failure.code().message()}; }
    }

    // SQLite's own message often gives no reason.
    static const std::string& checked(const std::string& path) {
        if (path == "-") throw Unreadable{"a database cannot be read from a stream; name its file"};
        std::error_code error;
        if (!std::filesystem::exists(pathOf(path), error)) throw Unreadable{error ? error.message() : reasonOf(ENOENT)};
        return path;
    }

    static std::string textAt(sqlite3_stmt* statement, int column) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
        if (!text && sqlite3_errcode(sqlite3_db_handle(statement)) == SQLITE_NOMEM) throw std::bad_alloc();
        return text ? std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))) : std::string();
    }

    static std::string nameAt(sqlite3_stmt* statement, int column) {
        const char* name = sqlite3_column_name(statement, column);
        if (!name) throw std::bad_alloc();
        return name;
    }

    void open(const Table& table) {
        Reader& reader = readers.emplace_back(database, table);
        for (int i = 1; i < sqlite3_column_count(reader.statement.handle()); ++i) {
            const std::string name = nameAt(reader.statement.handle(), i);
            const auto column = std::ranges::find(table.columns, name, &Column::name);
            if (name == fileColumn) reader.fileColumn = i;
            if (column == table.columns.end() && name != "line" && name != fileColumn)
                throw Unreadable{
                    fmt::format("{}: {}", table.identifier, named("unknown field", name, fmt::format("in column {}", i)))};
            reader.places.push_back(static_cast<std::size_t>(column - table.columns.begin()));
        }
        Statement count(database, fmt::format("SELECT count(*) FROM \"{}\"", table.identifier));
        if (count.step()) all += static_cast<std::uint64_t>(sqlite3_column_int64(count.handle(), 0));
        advance(reader);
    }

    static void advance(Reader& reader) {
        reader.hasRow = reader.statement.step();
        if (reader.hasRow) reader.line = sqlite3_column_int64(reader.statement.handle(), 0);
    }

    void fill(TableRow& row) {
        if (last->fileColumn > 0)
            if (std::string reason = onlyFile.whyUnfit(textAt(last->statement.handle(), last->fileColumn)); !reason.empty())
                throw BadRow{place(0), std::move(reason)};
        row = {last->table, last->line, std::vector<Cell>(last->table->columns.size())};
        for (std::size_t i = 0; i < last->places.size(); ++i)
            if (last->places[i] < row.cells.size()) fill(row, last->places[i], static_cast<int>(i) + 1);
    }

    void fill(TableRow& row, std::size_t place, int column) const {
        sqlite3_stmt* statement = last->statement.handle();
        const int type = sqlite3_column_type(statement, column);
        const bool isText = type == SQLITE_TEXT || type == SQLITE_BLOB;
        if (!isText || sqlite3_column_bytes(statement, column) <= static_cast<int>(longestValue)) {
            row.cells[place] = cellAt(column);
            return;
        }
        if (!isPlaceOfLine(*row.table, place)) throw BadRow{this->place(0), tooLongFor(row.table->columns[place].name)};
        // Valid until the next step. A blob is what an export has made of a line that is too long for a text.
        const void* bytes = type == SQLITE_BLOB ? sqlite3_column_blob(statement, column) : sqlite3_column_text(statement, column);
        if (!bytes) throw std::bad_alloc();
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
        const auto text = std::make_shared<EscapedText>(std::string_view(static_cast<const char*>(bytes), size), takeCellEscape);
        if (text->firstFault()) refuseText(column);
        row.longText = text;
    }

    [[noreturn]] void refuseText(int column) const {
        throw BadRow{place(0), printable(std::string_view(nameAt(last->statement.handle(), column))) +
                                   ": not UTF-8, or an invalid escape after a backslash"};
    }

    Cell cellAt(int column) const {
        sqlite3_stmt* statement = last->statement.handle();
        switch (sqlite3_column_type(statement, column)) {
        case SQLITE_NULL: return {};
        case SQLITE_INTEGER: return static_cast<long long>(sqlite3_column_int64(statement, column));
        case SQLITE_FLOAT: return sqlite3_column_double(statement, column);
        default: break;
        }
        std::optional<std::wstring> text = unescaped(textAt(statement, column));
        if (!text) refuseText(column);
        return std::move(*text);
    }

    Progress progress;
    std::string file;
    State state;
    NotedInput noted;
    SourceFile source;  ///< must be closed after the database: closing it removes SQLite's locks
    const std::optional<FileState> opened = cli::stateOf(source.stream());
    bool confirmed = false;
    std::deque<NotedInput> companions;
    std::uint64_t taken = 0, all = 0;  ///< rows
    Database database;
    FileOfRows onlyFile;
    std::deque<Reader> readers;
    Reader* last = nullptr;
};

}  // namespace

std::unique_ptr<RowSource> makeSqliteSource(const std::string& path) { return std::make_unique<SqliteSource>(path); }

}  // namespace tramo::cli
