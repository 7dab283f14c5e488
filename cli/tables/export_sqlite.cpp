// Rows as tables of a SQLite database: a table for each kind, one for findings, one for the exported file, and views of whole
// meters and of answers.
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/tables/celltext.h"
#include "cli/tables/database.h"
#include "cli/tables/roundtables.h"
#include "cli/tables/rowbytes.h"
#include "cli/tables/sink.h"
#include "cli/tables/sqliteviews.h"
#include <algorithm>
#include <map>
#include <memory>
#include <utility>

namespace tramo::cli {

namespace {

const char* typeOf(const Column& column) {
    switch (column.type) {
    case Column::Type::Integer:
    case Column::Type::Flag: return "INTEGER";
    case Column::Type::Real: return "REAL";
    case Column::Type::Text: break;
    }
    return "TEXT";
}

bool isSerialNumberOfMeter(const Column& column) {
    return column.name.ends_with("MeterSerialNumber") ||
           (column.name.starts_with("meter") && column.name.ends_with("SerialNumber"));
}

const Column* columnOf(const Table& table, std::string_view name) {
    const auto found = std::ranges::find(table.columns, name, &Column::name);
    return found == table.columns.end() ? nullptr : &*found;
}

// A line of a record has one row. It can have several findings, and a table that has the number among its columns any rows.
std::string definitionOf(const Table& table) {
    std::string columns;
    if (table.hasLead) columns = &table == &findingTable() ? "\"line\" INTEGER" : "\"line\" INTEGER PRIMARY KEY";
    for (const Column& column : table.columns)
        columns += fmt::format("{}\"{}\" {}", columns.empty() ? "" : ", ", column.name, typeOf(column));
    return fmt::format("CREATE TABLE \"{}\" ({})", table.identifier, columns);
}

std::string insertionInto(const Table& table) {
    std::string places = table.hasLead ? "?" : "";
    for (std::size_t i = 0; i < table.columns.size(); ++i) places += places.empty() ? "?" : ", ?";
    return fmt::format("INSERT INTO \"{}\" VALUES ({})", table.identifier, places);
}

std::string indexesOf(const Table& table) {
    std::string sql;
    const bool ofFiles = columnOf(table, "file") != nullptr;
    for (const Column& column : table.columns)
        if (isSerialNumberOfMeter(column))
            sql += fmt::format("CREATE INDEX \"{0}_{1}\" ON \"{0}\" (\"{1}\"{2});", table.identifier, column.name,
                ofFiles && columnOf(table, "line") ? ", \"file\", \"line\"" : "");
    // Otherwise, the number of the line is the key of the table.
    if (!table.hasLead && columnOf(table, "line"))
        sql += fmt::format("CREATE INDEX \"{0}_line\" ON \"{0}\" ({1}\"line\");", table.identifier, ofFiles ? "\"file\", " : "");
    return sql;
}

/// Inserts rows into a table. A value that the next row has, too, is only replaced: removing all of them takes longer.
class Insertion {
public:
    Insertion(Database& database, const Table& table)
        : statement(database, insertionInto(table)), before(table.hasLead ? 1 : 0), rowOf(table.columns.size() + 2) {}

    void line(long long number) {
        if (before) bind(1, number);
    }
    void number(std::size_t column, auto value) { bind(placeOf(column), value); }
    void flag(std::size_t column, bool value) { bind(placeOf(column), static_cast<long long>(value)); }

    /// The texts must stay until the row is finished.
    void text(std::size_t column, std::string_view escaped) { bind(placeOf(column), escaped); }

    /// A blob of so many bytes, to be filled later.
    void zeros(std::size_t column, std::uint64_t size) {
        statement.bindZeros(placeOf(column), size);
        note(placeOf(column));
    }

    void finish() {
        for (const int place : previous)
            if (rowOf[static_cast<std::size_t>(place)] != row) statement.bindNull(place);
        statement.step();
        statement.rewind();
        previous.swap(bound);
        bound.clear();
        ++row;
    }

private:
    int placeOf(std::size_t column) const { return static_cast<int>(column) + before + 1; }
    void bind(int place, auto value) {
        statement.bind(place, value);
        note(place);
    }
    void note(int place) {
        bound.push_back(place);
        rowOf[static_cast<std::size_t>(place)] = row;
    }

    Statement statement;
    int before;                        ///< places before the columns
    std::uint64_t row = 1;             ///< counts
    std::vector<std::uint64_t> rowOf;  ///< the last row that had a value at a place
    std::vector<int> bound, previous;  ///< places with a value, of this row and of the row before
};

class SqliteSink : public Sink {
public:
    SqliteSink(const std::string& path, OutFile::Mode mode, const SinkOptions& options)
        : name(path), file(path, mode), database(begun(), path, Database::Write), hasViews(options.views) {
        // The file is not visible before it is complete, so no journal is needed.
        database.run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; BEGIN");
        for (const Table* table : options.tables) add(*table);
        add(fileTable());
    }

    void add(const Table& table) override {
        if (insertions.contains(&table)) return;
        database.run(definitionOf(table).c_str());
        insertions.try_emplace(&table, database, table);
        all.push_back(&table);
    }

    bool describe(const TableRow& row, DescribedRows& to) const override { return describeAsBytes(row, to); }
    void describe(const PlainRow& row, DescribedRows& to) const override { describeAsBytes(row, to); }

    void put(const DescribedRows& rows) override {
        rows.forEachRun([&](const Table& table, long long, std::string_view run) {
            Insertion& insertion = insertions.at(&table);
            forEachRow(run, [&](long long line, std::string_view cells) {
                insertion.line(line);
                writeCells(cells, insertion);
                insertion.finish();
            });
        });
    }

    void put(const TableRow& row) override {
        Insertion& insertion = insertions.at(row.table);
        insertion.line(row.line);
        if (row.longText) putLong(insertion, row);
        else insert(insertion, row);
    }

    void finish(std::span<const Source> sources) override {
        for (const Source& source : sources) insert(insertions.at(&fileTable()), rowOf(source));
        for (const Table* table : all) database.run(indexesOf(*table).c_str());
        if (hasViews) {
            const auto summary = std::ranges::find(all, summaryOfMeters, [](const Table* table) { return table->identifier; });
            database.run(
                definitionsOfViews({.ofFiles = !all.front()->hasLead, .summary = summary == all.end() ? nullptr : *summary})
                    .c_str());
        }
        insertions.clear();
        database.run("COMMIT");
        database.close();
        const std::unique_ptr<Database> old = lockOld();
        file.commit();
    }

private:
    [[noreturn]] void refuse(const std::string& reason) const { throw WriteFailed{name, 0, reason}; }

    std::string begun() {
        if (file.isStream()) refuse("a database must be a regular file");
        lockOld();
        return file.temporaryPath();
    }

    // The files that SQLite keeps beside a database belong to its old content and would damage the new one. So would a program
    // that has the old one open and continues to write.
    std::unique_ptr<Database> lockOld() {
        Place& target = file.target();
        for (const char* suffix : {"-wal", "-shm", "-journal"})
            if (target.hasCompanion(suffix))
                refuse(fmt::format("there is also \"{}{}\": another program has the database open or has not closed it properly; "
                                   "close it there, or move both files away",
                    printable(std::string_view(target.base())), suffix));
        if (target.kind() != Place::Kind::File) return nullptr;
        const char* const inUse = "another program has the database open";
        if (target.isOpenElsewhere()) refuse(inUse);
        const std::string path = target.folder().path + '/' + target.base();
        if (hasLog(path)) return nullptr;
        auto old = std::make_unique<Database>(path, name, Database::Write);
        if (!old->lock()) refuse(inUse);
        return old;
    }

    // SQLite takes a text only as a whole, and copies it. A very long text becomes a blob of the same bytes, which is written
    // piece by piece.
    void putLong(Insertion& insertion, const TableRow& row) {
        constexpr std::uint64_t longestText = 8 << 20;
        std::uint64_t size = 0;
        row.longText->forEachPiece([&](std::wstring_view piece) { size += escaped(piece, false).size(); });
        if (size > database.longestValue())
            refuse(fmt::format("line {} would be a text of {} bytes, and a database holds up to {}; export it in another form",
                row.line, size, database.longestValue()));
        const std::size_t last = row.cells.size() - 1;
        if (size <= longestText) {
            std::string text;
            text.reserve(size);
            row.longText->forEachPiece([&](std::wstring_view piece) { text += escaped(piece, false); });
            insertion.text(last, text);
            insert(insertion, row);
            return;
        }
        insertion.zeros(last, size);
        insert(insertion, row);
        BlobWriter blob(database, row.table->identifier, row.table->columns.back().name, database.lastRow());
        row.longText->forEachPiece([&](std::wstring_view piece) { blob.write(escaped(piece, false)); });
    }

    // Binds the cells of a row and inserts it.
    struct CellsOf {
        Insertion& insertion;
        std::vector<std::string> texts{};

        void text(std::size_t column, std::wstring_view value) {
            insertion.text(column, texts.emplace_back(escaped(value, false)));
        }
        void number(std::size_t column, auto value) { insertion.number(column, value); }
        void flag(std::size_t column, bool value) { insertion.flag(column, value); }
    };
    static void insert(Insertion& insertion, const TableRow& row) {
        CellsOf cells{insertion};
        cells.texts.reserve(row.cells.size());
        writeCells(row, cells);
        insertion.finish();
    }

    std::string name;
    OutFile file;
    Database database;
    bool hasViews;
    std::vector<const Table*> all;
    std::map<const Table*, Insertion> insertions;
};

}  // namespace

std::unique_ptr<Sink> makeSqliteSink(const std::string& path, OutFile::Mode mode, const SinkOptions& options) {
    return std::make_unique<SqliteSink>(path, mode, options);
}

}  // namespace tramo::cli
