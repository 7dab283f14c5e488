// Rows as tables of a SQLite database: one a kind, what was found, the file they are from, and a view of whole meters.
#include "celltext.h"
#include "database.h"
#include "platform.h"
#include "sink.h"
#include "text.h"
#include <algorithm>
#include <map>
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

// The field by which a kind of line tells its meter: that of the meter that the round knows.
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

// The subscriber's line of each meter under the names of its fields, the others' fields behind the name of their table.
std::string viewOfMeters() {
    const Table* meter = nullptr;
    std::string columns, joins;
    for (const Table& table : tables()) {
        const Column* serial = meterOf(table);
        if (!serial) continue;
        const bool isFirst = !std::exchange(meter, meter ? meter : &table);
        const std::string prefix = isFirst ? "" : table.identifier + "_";
        columns += fmt::format("{0}\"{1}\".\"line\" AS \"{2}line\"", isFirst ? "" : ", ", table.identifier, prefix);
        for (const Column& column : table.columns)
            columns += fmt::format(", \"{}\".\"{}\" AS \"{}{}\"", table.identifier, column.name, prefix, column.name);
        if (isFirst) joins = fmt::format("\"{}\"", table.identifier);
        else
            joins += fmt::format(" LEFT JOIN \"{}\" ON \"{}\".\"{}\" = \"{}\".\"{}\"", table.identifier, table.identifier,
                serial->name, meter->identifier, meterOf(*meter)->name);
    }
    return fmt::format("CREATE VIEW \"meters\" AS SELECT {} FROM {}", columns, joins);
}

class SqliteSink : public Sink {
public:
    SqliteSink(const std::string& path, OutFile::Mode mode)
        : file(path, mode), database(file.temporaryPath(), path, Database::Write) {
        // Nobody sees the file before it is complete, so that nothing needs to be taken back.
        database.run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; BEGIN");
        for (const Table& table : tables()) create(table, "\"line\" INTEGER PRIMARY KEY");
        create(findingTable(), "\"line\" INTEGER");
        create(fileTable(), "");
    }

    void put(const Row& row) override {
        Statement& insertion = insertions.at(row.table);
        insertion.bind(1, row.line);
        insert(insertion, 2, row);
    }

    void finish(const Source& source) override {
        insert(insertions.at(&fileTable()), 1, rowOf(source));
        for (const Table& table : tables()) database.run(indexesOf(table).c_str());
        database.run(viewOfMeters().c_str());
        insertions.clear();
        database.run("COMMIT");
        database.close();
        file.commit();
    }

private:
    void create(const Table& table, const char* lineColumn) {
        database.run(definitionOf(table, lineColumn).c_str());
        insertions.try_emplace(&table, database, insertionInto(table, *lineColumn != '\0'));
    }

    void insert(Statement& insertion, int place, const Row& row) {
        texts.clear();
        texts.reserve(row.cells.size());
        for (std::size_t i = 0; i < row.cells.size(); ++i, ++place) {
            if (const auto* text = std::get_if<std::wstring>(&row.cells[i]))
                insertion.bind(place, texts.emplace_back(escaped(*text, false)));
            else if (const auto* number = std::get_if<long long>(&row.cells[i])) insertion.bind(place, *number);
            else if (const auto* real = std::get_if<double>(&row.cells[i])) insertion.bind(place, *real);
            else if (const auto* flag = std::get_if<bool>(&row.cells[i])) insertion.bind(place, static_cast<long long>(*flag));
        }
        insertion.step();
        insertion.reset();
    }

    OutFile file;
    Database database;
    std::map<const Table*, Statement> insertions;
    std::vector<std::string> texts;  ///< of the row that is being inserted
};

}  // namespace

std::unique_ptr<Sink> makeSqliteSink(const std::string& path, OutFile::Mode mode) {
    return std::make_unique<SqliteSink>(path, mode);
}

}  // namespace tramo::cli
