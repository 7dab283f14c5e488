// Meters and malformed lines as tables, against the objects that they are made of.
#include "tramostream/tables.h"
#include "support/arrowtable.h"
#include "support/streamfiles.h"
#include "support/timezone.h"
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <map>

using tramo::AreaText, tramo::LineView, tramo::Meter, tramo::MeterTable, tramo::Reader, tramo::Round, tramo::RoundFile;

namespace {

std::string sample(const std::string& name) { return std::string(SAMPLES) + '/' + name; }

Table metersOf(const RoundFile& file, std::size_t rowsPerBatch = 65536) {
    MeterTable meters(file, {rowsPerBatch});
    Table table;
    ArrowSchema schema;
    meters.exportSchema(&schema);
    table.setSchema(schema);
    EXPECT_EQ(table.names, meters.names());
    for (ArrowArray rows; meters.exportRows(&rows);) table.add(rows);
    return table;
}

Table linesOf(const std::string& path) {
    tramo::LineTable lines;
    Table table;
    ArrowSchema schema;
    lines.exportSchema(&schema);
    table.setSchema(schema);
    Reader reader(path);
    for (const LineView& line : reader)
        if (!line.kind()) { EXPECT_TRUE(lines.add(line)); }
    ArrowArray rows;
    lines.exportRows(&rows);
    table.add(rows);
    return table;
}

std::optional<std::string> orNone(const auto& value) { return value ? std::optional(std::to_string(*value)) : std::nullopt; }

}  // namespace

TEST(MeterTable, has_the_values_of_the_meters) {
    const TimeZone local("Europe/Paris");
    for (const char* name : {"round-returned.txt", "round-returned-utf16.txt", "round-exported.txt"}) {
        const RoundFile file = RoundFile::read(sample(name));
        Table table = metersOf(file);
        std::size_t row = 0;
        for (const Round& round : file.rounds())
            for (const Meter& meter : round.meters()) {
                EXPECT_EQ(table.cells["line"][row], std::to_string(meter.subscriber().number()));
                EXPECT_EQ(table.cells["round"][row].value_or(""), round.code());
                EXPECT_EQ(table.cells["meterSerialNumber"][row].value_or(""), meter.serial());
                EXPECT_EQ(table.cells["state"][row], meter.state() == Meter::State::Read ? "read" : "unread");
                EXPECT_EQ(
                    table.cells["meterReadingIndex"][row], orNone(meter.subscriber().value<long long>("meterReadingIndex")));
                EXPECT_EQ(table.cells["difference"][row], orNone(meter.difference()));
                EXPECT_EQ(table.cells["alarms"][row], std::to_string(meter.alarms().size()));
                const auto place = meter.place();
                EXPECT_EQ(table.cells["latitude"][row], place ? std::optional(std::to_string(place->latitude)) : std::nullopt);
                std::size_t labelled = 0;
                for (const AreaText& area : meter.areas())
                    if (area.area && table.cells.contains(area.area->label)) {
                        EXPECT_EQ(table.cells[area.area->label][row], area.text);
                        ++labelled;
                    }
                EXPECT_GT(labelled, 0u);
                ++row;
            }
        EXPECT_GT(row, 20u) << name;
        EXPECT_EQ(table.cells["line"].size(), row);
    }
}

TEST(MeterTable, batches_have_all_rows) {
    const RoundFile file = RoundFile::read(sample("round-returned.txt"));
    const Table whole = metersOf(file), parts = metersOf(file, 7);
    EXPECT_EQ(whole.batches.size(), 1u);
    EXPECT_GT(parts.batches.size(), 3u);
    EXPECT_LE(std::ranges::max(parts.batches), 7);
    EXPECT_TRUE(whole.cells == parts.cells);
}

TEST(MeterTable, without_meters_has_columns_and_no_rows) {
    const RoundFile file = RoundFile::read(sample("tags.txt"));
    const Table table = metersOf(file);
    EXPECT_EQ(table.names.front(), "line");
    EXPECT_EQ(table.names.back(), "outsideOfAreas");
    EXPECT_TRUE(table.batches.empty());
}

TEST(LineTable, holds_the_text_of_malformed_lines) {
    Table table = linesOf(sample("round-damaged.txt"));
    Reader reader(sample("round-damaged.txt"));
    std::size_t row = 0;
    for (const LineView& line : reader) {
        if (line.kind()) continue;
        EXPECT_EQ(table.cells["line"][row], std::to_string(line.number()));
        EXPECT_EQ(table.cells["fault"][row], tramo::describe(line.fault()));
        EXPECT_EQ(table.cells["text"][row], line.utf8());
        ++row;
    }
    EXPECT_GT(row, 0u);
}

TEST(LineTable, holds_no_keys) {
    Table table = linesOf(sample("amr-keys.txt"));
    EXPECT_GT(table.cells["line"].size(), 2u);
    for (const auto& text : table.cells["text"]) EXPECT_EQ(text, std::nullopt);
}

TEST(LineTable, without_rows_has_offsets) {
    tramo::LineTable lines;
    ArrowArray rows;
    lines.exportRows(&rows);
    EXPECT_EQ(rows.length, 0);
    ASSERT_NE(rows.children[1]->buffers[1], nullptr);
    EXPECT_EQ(*static_cast<const std::int32_t*>(rows.children[1]->buffers[1]), 0);
    rows.release(&rows);
}
