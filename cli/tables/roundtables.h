// What people mean by a round, as tables: one row for a meter, an answer, an alarm.
#pragma once
#include "cli/tables/rows.h"
#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <tramostream/round.h>
#include <tramostream/tables.h>
#include <vector>

namespace tramo::cli {

/// In the order of their names.
enum class RoundTable { Meters, Answers, Alarms, Unread, Locations };
inline constexpr std::array<std::string_view, 5> roundTableNames{"meters", "answers", "alarms", "unread", "locations"};

/// The identifier of the table of meters in a database, where the view of whole meters has its name.
inline constexpr const char* summaryOfMeters = "meter_summary";

/// The lines of files that belong to rounds, and the tables made of them. All of them stay in memory.
class RoundTables {
public:
    /// `namesFiles`: the first column is the file.
    explicit RoundTables(bool namesFiles);
    RoundTables(const RoundTables&) = delete;
    RoundTables& operator=(const RoundTables&) = delete;

    /// Adds the lines of a file; `numbers` are those of its lines. Returns the number of lines that belong to no meter.
    std::size_t add(std::wstring file, RoundFile lines, std::vector<long long> numbers);

    /// All files have been added: the tables have all their columns now.
    void complete();

    Table& table(RoundTable which) { return all[static_cast<std::size_t>(which)].table; }

    /// Calls `use(row)` for each row. The rows of several tables have the order of their lines.
    void forEachRow(RoundTable which, const std::function<void(TableRow)>& use) const;

    /// The number of meters whose coordinates are no place on earth.
    std::uint64_t misplaced() const;

private:
    struct File {
        std::wstring name;
        RoundFile lines;
        std::vector<long long> numbers;
        std::vector<std::vector<std::size_t>> areas;  ///< the column of each area of each round

        long long numberOf(std::int64_t line) const { return numbers[static_cast<std::size_t>(line - 1)]; }
    };
    struct Place;
    using Value = std::function<Cell(const Place&)>;

    /// Its first columns have a value each; those of areas follow.
    struct Shape {
        Table table;
        std::vector<Value> values{};
        std::size_t firstArea = 0;
    };

    void makeMeters();
    void makeAnswers();
    void makeAlarms();
    void makeUnread();
    void makeLocations();
    Shape& begin(RoundTable which);
    static void addColumn(Shape& shape, std::string name, Column::Type type, Value value);
    template <class Model> static void addField(Shape& shape, const char* name);
    void addAreas(Shape& shape);
    void fillAreas(const Place& place, std::size_t firstArea, TableRow& row) const;

    bool ofFiles;
    std::deque<File> files;
    std::array<Shape, roundTableNames.size()> all;
    AreaColumns areas;
};

}  // namespace tramo::cli
