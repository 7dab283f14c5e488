// The parts of the page that are about meters: their lines as tables, and what the library says about each meter.
#pragma once
#include "page/column.h"
#include "page/fieldtable.h"
#include "page/pagedata.h"
#include <array>
#include <cstdint>
#include <string>
#include <tramostream/tables.h>
#include <vector>

namespace tramo::page {

// The lines of a kind, each with its meter.
class MeterLines {
public:
    MeterLines(const RecordKind& kind, std::span<const ColumnOf> columns, bool hasPersonal)
        : fields(kind, columns, hasPersonal) {}

    // `meter`: its row among all meters; -1: none.
    void add(const LineView& line, std::size_t file, long long meter);
    std::size_t count() const { return fields.count(); }

    // Writes the columns as members.
    void write(JsonText& json, bool hasFiles) const;

private:
    IntegerColumn lines, files, meters;
    FieldTable fields;
};

class MeterParts {
public:
    MeterParts(std::span<const PageFile> all, const PageOptions& options);

    // Adds the meters of a file.
    void add(std::size_t file);
    // Notes the findings of a file whose meters were added.
    void addFindings(std::size_t file);

    // Writes all parts that have rows.
    void write(const PageSink& sink);
    // Writes the numbers of meters in each state as members.
    void writeCounts(JsonText& json) const;

    std::uint64_t orphans(std::size_t file) const { return orphansOf[file]; }

private:
    struct Texts {
        std::string label, source;
        char type;
        TextColumn texts{};
        void fill(std::size_t rows) {
            while (texts.rows() < rows) texts.addNone();
        }
    };
    // Several rows for a row of another table.
    struct Slots {
        IntegerColumn rows{};
        TextColumn types{};
        TimeColumn times{};
        IntegerColumn numbers{};
        RealColumn reals{};
    };
    // The answers of an enquiry result line.
    struct Answers {
        IntegerColumn rows{}, areas{};
        TextColumn questions{}, modes{}, codes{}, names{}, results{};
    };

    void add(const Round& of, const Meter& meter, std::size_t file, const std::vector<std::size_t>& columns);
    void addAreas(const Round& round, const Meter& meter, const std::vector<std::size_t>& columns);
    void addHistory(const LineView& line, std::size_t meter);
    void addModuleHistory(const LineView& line);
    void addAnswers(const Meter& meter, std::size_t firstRow);
    void writeAnswers(JsonText& json) const;
    void writeAreas(JsonText& json);
    MeterLines* tableOf(const RecordKind* kind);
    void note(std::size_t file, const LineView& line, long long meter);

    std::span<const PageFile> files;
    const PageOptions& options;
    bool hasFiles;
    MeterLines meters;
    IntegerColumn states{}, roundsOf{}, differences{};
    std::array<MeterLines, 5> others;
    IntegerColumn flags{};  // of extended AMR lines
    Slots history{}, moduleHistory{};
    Answers answers{};
    AreaColumns areaNames{{}};
    std::vector<Texts> areas;
    std::array<Texts, 2> rest;
    long long rounds = 0;
    std::string buffer{};
    std::vector<std::uint64_t> orphansOf;
    std::vector<std::vector<std::int32_t>> meterOfLine;  // by file and line: the row of the meter, -1: none
};

}  // namespace tramo::page
