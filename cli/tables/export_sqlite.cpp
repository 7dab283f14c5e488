// Rows as tables of a SQLite database: a table for each kind, one for findings, one for the exported file, and views of whole
// meters and of answers.
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/tables/celltext.h"
#include "cli/tables/database.h"
#include "cli/tables/rowbytes.h"
#include "cli/tables/sink.h"
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

// The field with the serial number of the record's meter: of two meters, of the one that the round knows.
const Column* meterOf(const Table& table) {
    for (const char* name : {"meterSerialNumber", "oldMeterSerialNumber"})
        if (const auto found = std::ranges::find(table.columns, name, &Column::name); found != table.columns.end())
            return &*found;
    return nullptr;
}

bool isSerialNumberOfMeter(const Column& column) {
    return column.name.ends_with("MeterSerialNumber") ||
           (column.name.starts_with("meter") && column.name.ends_with("SerialNumber"));
}

// `lineColumn`: the column of line numbers, empty for none.
std::string definitionOf(const Table& table, std::string_view lineColumn) {
    std::string columns(lineColumn);
    for (const Column& column : table.columns)
        columns += fmt::format("{}\"{}\" {}", columns.empty() ? "" : ", ", column.name, typeOf(column));
    return fmt::format("CREATE TABLE \"{}\" ({})", table.identifier, columns);
}

std::string insertionInto(const Table& table, bool hasLine) {
    std::string places = hasLine ? "?" : "";
    for (std::size_t i = 0; i < table.columns.size(); ++i) places += places.empty() ? "?" : ", ?";
    return fmt::format("INSERT INTO \"{}\" VALUES ({})", table.identifier, places);
}

std::string indexesOf(const Table& table) {
    std::string sql;
    for (const Column& column : table.columns)
        if (isSerialNumberOfMeter(column))
            sql += fmt::format("CREATE INDEX \"{0}_{1}\" ON \"{0}\" (\"{1}\");", table.identifier, column.name);
    return sql;
}

const Column* pageOf(const Table& table) {
    const auto found = std::ranges::find(table.columns, "pageNumber", &Column::name);
    return found == table.columns.end() ? nullptr : &*found;
}

/// A view with a row for each row of one table, and at most one row of any other beside it.
class View {
public:
    View(const Table& of, const Table& meters) : first(of), meter(meters), joins(quoted(of.identifier)) { add(of, ""); }

    /// Adds a row of the same meter; the names of its columns begin with the name of its table. If one meter has the serial
    /// number, it is the first such row. If several have it, the first row belongs to the first meter, the second row to the
    /// second.
    void join(const Table& table) {
        joins += fmt::format(" LEFT JOIN {0} ON {0}.\"line\" = coalesce(CASE WHEN {1} < {2} THEN ({3}) ELSE {4} END{5})",
            quoted(table.identifier), lineOf("min", meter), lineOf("max", meter), counterpartIn(table), lineOf("min", table),
            // A page that was answered once more than there are meters still is an answer of this meter.
            &table == &meter ? ", " + lineOf("max", meter) : ", NULL");
        add(table, table.identifier + "_");
    }

    std::string definition(std::string_view name) const {
        return fmt::format("CREATE VIEW {} AS SELECT {} FROM {}", quoted(name), columns, joins);
    }

private:
    static std::string quoted(std::string_view name) { return fmt::format("\"{}\"", name); }

    std::string serial() const { return fmt::format("\"{}\".\"{}\"", first.identifier, meterOf(first)->name); }

    // One line of this meter.
    std::string lineOf(const char* which, const Table& table) const {
        return fmt::format("(SELECT {}(\"line\") FROM \"{}\" AS same WHERE same.\"{}\" = {})", which, table.identifier,
            meterOf(table)->name, serial());
    }

    // Reads both tables as a whole, but only once for all rows, and not at all if no serial number is repeated.
    std::string counterpartIn(const Table& table) const {
        return fmt::format("SELECT other.\"line\" FROM ({}) AS own JOIN ({}) AS other ON own.serial = other.serial AND "
                           "own.nth = other.nth WHERE own.\"line\" = \"{}\".\"line\"",
            numbered(first), numbered(table), first.identifier);
    }

    static std::string numbered(const Table& table) {
        const Column* page = pageOf(table);
        return fmt::format("SELECT \"line\", \"{0}\" AS serial, row_number() OVER (PARTITION BY \"{0}\"{1} ORDER BY \"line\") "
                           "AS nth FROM \"{2}\"",
            meterOf(table)->name, page ? ", " + quoted(page->name) : "", table.identifier);
    }

    void add(const Table& table, const std::string& prefix) {
        columns += fmt::format("{0}\"{1}\".\"line\" AS \"{2}line\"", columns.empty() ? "" : ", ", table.identifier, prefix);
        for (const Column& column : table.columns)
            columns += fmt::format(", \"{0}\".\"{1}\" AS \"{2}{1}\"", table.identifier, column.name, prefix);
    }

    const Table& first;
    const Table& meter;
    std::string columns, joins;
};

// One row for each meter, so that sums over the view are sums over the tables.
std::string viewOfMeters(const Table& meter) {
    View view(meter, meter);
    for (const Table& table : tables())
        if (&table != &meter && meterOf(table) && !pageOf(table)) view.join(table);
    return view.definition("meters");
}

// One row for each answered page.
std::string viewOfAnswers(const Table& meter) {
    View view(*std::ranges::find_if(tables(), [](const Table& table) { return meterOf(table) && pageOf(table); }), meter);
    view.join(meter);
    return view.definition("answers");
}

/// Inserts rows into a table. A value that the next row has, too, is only replaced: removing all of them takes longer.
class Insertion {
public:
    Insertion(Database& database, const Table& table, bool hasLine)
        : statement(database, insertionInto(table, hasLine)), before(hasLine ? 1 : 0), rowOf(table.columns.size() + 2) {}

    void line(long long number) { bind(1, number); }
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
    SqliteSink(const std::string& path, OutFile::Mode mode)
        : name(path), file(path, mode), database(begun(), path, Database::Write) {
        // The file is not visible before it is complete, so no journal is needed.
        database.run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; BEGIN");
        for (const Table& table : tables()) create(table, "\"line\" INTEGER PRIMARY KEY");
        create(findingTable(), "\"line\" INTEGER");
        create(fileTable(), "");
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

    void finish(const Source& source) override {
        insert(insertions.at(&fileTable()), rowOf(source));
        for (const Table& table : tables()) database.run(indexesOf(table).c_str());
        const Table& meter = *std::ranges::find_if(tables(), [](const Table& table) { return meterOf(table) != nullptr; });
        database.run(viewOfMeters(meter).c_str());
        database.run(viewOfAnswers(meter).c_str());
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

    void create(const Table& table, const char* lineColumn) {
        database.run(definitionOf(table, lineColumn).c_str());
        insertions.try_emplace(&table, database, table, *lineColumn != '\0');
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
        BlobWriter blob(database, row.table->identifier, row.table->columns.back().name, row.line);
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
    std::map<const Table*, Insertion> insertions;
};

}  // namespace

std::unique_ptr<Sink> makeSqliteSink(const std::string& path, OutFile::Mode mode, const SinkOptions&) {
    return std::make_unique<SqliteSink>(path, mode);
}

}  // namespace tramo::cli
