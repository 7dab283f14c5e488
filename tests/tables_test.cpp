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

// --- Columns of areas ------------------------------------------------------------------------------------------------

using Labels = std::vector<std::string>;

// Names the columns of a round whose areas have these labels, the first ones of the subscriber and then one of the meter. A "^"
// stands for a space.
Labels columnsFor(tramo::AreaColumns& columns, const Labels& labels) {
    tramo::Line header(tramo::kindOf<RoundTramoModel>(), tramo::Encoding::Utf16);
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const std::string area = i < 4 ? std::to_string(i + 1) : "1", of = i < 4 ? "subscriber" : "meter";
        EXPECT_TRUE(header.set(of + "InformationPositionArea" + area, static_cast<int>(i) * 2));
        EXPECT_TRUE(header.set(of + "InformationLenghtArea" + area, 2));
        if (!labels[i].empty()) { EXPECT_TRUE(header.set(of + "InformationLabelArea" + area, labels[i])) << labels[i]; }
    }
    std::string bytes = "\xFF\xFE" + std::string(header.bytes()) + std::string("\r\0\n\0", 4);
    std::ranges::replace(bytes, '^', ' ');
    Reader reader = Reader::ofBytes(bytes);
    const RoundFile file = RoundFile::read(reader);
    if (file.rounds().empty()) throw std::logic_error("no round");
    Labels names;
    for (const std::size_t column : columns.columnsOf(file.rounds()[0])) names.push_back(columns.names().at(column));
    return names;
}

TEST(AreaColumns, have_the_names_of_labels) {
    tramo::AreaColumns columns({"Line", "state"});
    EXPECT_EQ(columnsFor(columns, {"Street", "^^City^", "", "a b", "Access"}),
        (Labels{"Street", "City", "subscriber area 3", "a b", "Access"}));
    EXPECT_EQ(columnsFor(columns, {"Street", "City", "x", "x", "x"}), (Labels{"Street", "City", "x", "x 2", "x 3"}));
    EXPECT_EQ(columnsFor(columns, {"x", "Access", "y", "y", ""}), (Labels{"x", "Access", "y", "y 2", "meter area 1"}));
    EXPECT_EQ(columns.names(),
        (Labels{"Street", "City", "subscriber area 3", "a b", "Access", "x", "x 2", "x 3", "y", "y 2", "meter area 1"}));
}

TEST(AreaColumns, have_no_name_of_another_column_in_any_case) {
    tramo::AreaColumns columns({"Line", "az", "AZ 2"});
    EXPECT_EQ(columnsFor(columns, {"LINE", "line", "AZ", "aZ", "[z"}), (Labels{"LINE 2", "line 3", "AZ 3", "aZ 4", "[z"}));
    EXPECT_EQ(columnsFor(columns, {"{z", "@A", "`a"}), (Labels{"{z", "_A", "`a"}));
}

TEST(AreaColumns, have_no_characters_that_other_programs_understand_differently) {
    tramo::AreaColumns columns({});
    EXPECT_EQ(columnsFor(columns, {"a\"b", "a\\c", "a,d", "=e", "+f"}), (Labels{"a_b", "a_c", "a_d", "_e", "_f"}));
    EXPECT_EQ(columnsFor(columns, {"-g", "h=+-@", "i;'", "\x7Fj", "\xC2\x9Fk"}), (Labels{"_g", "h=+-@", "i;'", "_j", "_k"}));
    EXPECT_EQ(columnsFor(columns, {"\xEF\xBF\xBEl", "\xEF\xBF\xBDm", "\xEE\x80\x80n", "\x1Fo", "~\xC2\xA1p"}),
        (Labels{"_l", "\xEF\xBF\xBDm", "\xEE\x80\x80n", "_o", "~\xC2\xA1p"}));
}

TEST(AreaColumns, are_not_more_than_a_database_has) {
    tramo::AreaColumns columns({});
    for (std::size_t i = 0; i < tramo::AreaColumns::mostColumns; ++i)
        EXPECT_EQ(columnsFor(columns, {std::to_string(i)}), Labels{std::to_string(i)});
    EXPECT_EQ(columnsFor(columns, {"499", "0"}), (Labels{"499", "0"}));
    EXPECT_THROW(columnsFor(columns, {"500"}), std::out_of_range);
    EXPECT_EQ(columns.names().size(), tramo::AreaColumns::mostColumns);
}

// --- Meters -----------------------------------------------------------------------------------------------------------

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

TEST(MeterTable, has_columns_of_these_types) {
    const Table table = metersOf(RoundFile::read(sample("round-returned.txt")));
    std::map<std::string, std::string> formats;
    for (std::size_t i = 0; i < table.names.size(); ++i) formats.emplace(table.names[i], table.formats[i]);
    EXPECT_EQ(formats,
        (std::map<std::string, std::string>{{"Adresse", "u"}, {"Calibre", "u"}, {"Commune", "u"}, {"Emplacement", "u"},
            {"Marque", "u"}, {"Nom", "u"}, {"T\xC3\xA9l\xC3\xA9phone", "u"}, {"alarms", "i"}, {"difference", "l"},
            {"latitude", "g"}, {"line", "l"}, {"longitude", "g"}, {"meterMessage", "u"}, {"meterPreviousReadingDate", "tdD"},
            {"meterPreviousReadingIndex", "l"}, {"meterReadingConsumption", "l"}, {"meterReadingDate", "tss:"},
            {"meterReadingIndex", "l"}, {"meterReadingMethod", "u"}, {"meterReadingStatus", "u"}, {"meterReadingUserCode", "u"},
            {"meterSerialNumber", "u"}, {"outsideOfAreas", "u"}, {"round", "u"}, {"state", "u"}}));
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
