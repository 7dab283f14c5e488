#include "cli/tables/sqliteviews.h"
#include <algorithm>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

const Column* columnOf(const Table& table, std::string_view name) {
    const auto found = std::ranges::find(table.columns, name, &Column::name);
    return found == table.columns.end() ? nullptr : &*found;
}

const Column* pageOf(const Table& table) { return columnOf(table, "pageNumber"); }

/// A view with a row for each row of one table, and at most one row of any other beside it.
class View {
public:
    View(const Table& of, const Table& meters, bool isOfFiles)
        : first(of), meter(meters), ofFiles(isOfFiles), joins(quotedName(of.identifier)) {
        if (ofFiles) columns = quotedName(of.identifier) + ".\"file\"";
        add(of, "");
    }

    /// Adds a row of the same meter; the names of its columns begin with the name of its table. If one meter has the serial
    /// number, it is the first such row. If several have it, the first row belongs to the first meter, the second row to the
    /// second.
    void join(const Table& table) {
        joins += fmt::format(" LEFT JOIN {0} ON {0}.\"line\" = coalesce(CASE WHEN {1} < {2} THEN ({3}) ELSE {4} END{5}){6}",
            quotedName(table.identifier), lineOf("min", meter), lineOf("max", meter), counterpartIn(table), lineOf("min", table),
            // A page that was answered once more than there are meters still is an answer of this meter.
            &table == &meter ? ", " + lineOf("max", meter) : ", NULL", sameFile(quotedName(table.identifier)));
        add(table, table.identifier + "_");
    }

    /// Adds the row of the same line, without the columns that the view has already.
    void joinLine(const Table& table) {
        joins += fmt::format(" LEFT JOIN {0} ON {0}.\"line\" = \"{1}\".\"line\"{2}", quotedName(table.identifier),
            first.identifier, sameFile(quotedName(table.identifier)));
        for (const Column& column : table.columns)
            if (column.name != "file" && column.name != "line" && !columnOf(first, column.name))
                columns += fmt::format(", {}.{}", quotedName(table.identifier), quotedName(column.name));
    }

    std::string definition(std::string_view name) const {
        return fmt::format("CREATE VIEW {} AS SELECT {} FROM {};", quotedName(name), columns, joins);
    }

private:
    std::string serial() const { return fmt::format("\"{}\".\"{}\"", first.identifier, meterOf(first)->name); }

    // The condition that a row is of the same file as that of the first table.
    std::string sameFile(std::string_view of) const {
        return ofFiles ? fmt::format(" AND {}.\"file\" = \"{}\".\"file\"", of, first.identifier) : std::string();
    }

    // One line of this meter.
    std::string lineOf(const char* which, const Table& table) const {
        return fmt::format("(SELECT {}(\"line\") FROM \"{}\" AS same WHERE same.\"{}\" = {}{})", which, table.identifier,
            meterOf(table)->name, serial(), sameFile("same"));
    }

    // Reads both tables as a whole, but only once for all rows, and not at all if no serial number is repeated.
    std::string counterpartIn(const Table& table) const {
        return fmt::format("SELECT other.\"line\" FROM ({}) AS own JOIN ({}) AS other ON own.serial = other.serial AND "
                           "own.nth = other.nth{} WHERE own.\"line\" = \"{}\".\"line\"{}",
            numbered(first), numbered(table), ofFiles ? " AND own.\"file\" = other.\"file\"" : "", first.identifier,
            sameFile("own"));
    }

    std::string numbered(const Table& table) const {
        const Column* page = pageOf(table);
        return fmt::format("SELECT {3}\"line\", \"{0}\" AS serial, row_number() OVER (PARTITION BY {3}\"{0}\"{1} ORDER BY "
                           "\"line\") AS nth FROM \"{2}\"",
            meterOf(table)->name, page ? ", " + quotedName(page->name) : "", table.identifier, ofFiles ? "\"file\", " : "");
    }

    void add(const Table& table, const std::string& prefix) {
        columns += fmt::format("{0}\"{1}\".\"line\" AS \"{2}line\"", columns.empty() ? "" : ", ", table.identifier, prefix);
        for (const Column& column : table.columns)
            columns += fmt::format(", \"{0}\".\"{1}\" AS \"{2}{1}\"", table.identifier, column.name, prefix);
    }

    const Table& first;
    const Table& meter;
    bool ofFiles;
    std::string columns, joins;
};

}  // namespace

std::string quotedName(std::string_view name) { return fmt::format("\"{}\"", name); }

const Column* meterOf(const Table& table) {
    for (const char* name : {"meterSerialNumber", "oldMeterSerialNumber"})
        if (const Column* column = columnOf(table, name)) return column;
    return nullptr;
}

std::string definitionsOfViews(const ViewOptions& options) {
    const Table& meter = *std::ranges::find_if(tables(), [](const Table& table) { return meterOf(table) != nullptr; });
    // One row for each meter, so that sums over the view are sums over the tables.
    View meters(meter, meter, options.ofFiles);
    for (const Table& table : tables())
        if (&table != &meter && meterOf(table) && !pageOf(table)) meters.join(table);
    if (options.summary) meters.joinLine(*options.summary);
    // One row for each answered page.
    View pages(*std::ranges::find_if(tables(), [](const Table& table) { return meterOf(table) && pageOf(table); }), meter,
        options.ofFiles);
    pages.join(meter);
    return meters.definition("meters") + pages.definition("answered_pages");
}

}  // namespace tramo::cli
