// The columns of a record kind against decode() and the models, and as structures of the Arrow C data interface.
#include "tramostream/columns.h"
#include "common/utf8.h"
#include "support/build.h"
#include "support/randomlines.h"
#include "support/records.h"
#include "support/samples.h"
#include "support/streamfiles.h"
#include "support/timezone.h"
#include "tramostream/anyrecord.h"
#include "tramostream/linemodel.h"
#include "tramostream/reader.h"
#include "tramostream/stringconverter.h"
#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>
#ifndef _WIN32
#include "support/fencedtext.h"
#endif

using namespace records;
using streams::TempFolder;
using tramo::AnyRecord, tramo::Column, tramo::Columns, tramo::ColumnType, tramo::FieldKind, tramo::RecordKind;

namespace {

const RecordKind& kindNamed(const std::string& name) {
    for (const RecordKind* kind : tramo::recordKinds())
        if (kind->name == name) return *kind;
    throw std::logic_error("no kind " + name);
}

template <class Char> std::basic_string<Char> as(const std::wstring& line) {
    std::basic_string<Char> out;
    for (const wchar_t c : line) out += static_cast<Char>(c);
    return out;
}

// UTF-8 as the standard library makes it.
std::string utf8Of(const std::wstring& text) {
    std::u32string characters(text.begin(), text.end());
    return std::wstring_convert<std::codecvt_utf8<char32_t>, char32_t>().to_bytes(characters);
}

std::wstring localText(long long instant, const wchar_t* format) {
    std::array<wchar_t, 16> text{};
    StrConv::fromDate(static_cast<long32>(instant), text.data(), format);
    return text.data();
}

long long daysSince1970(int year, unsigned month, unsigned day) {
    using namespace std::chrono;
    return sys_days{std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day}}.time_since_epoch().count();
}

// The value of a row as text that can be compared: nothing if absent.
std::optional<std::string> shown(const Column& column, std::size_t row) {
    if (!column.has(row)) return std::nullopt;
    switch (column.type) {
    case ColumnType::Text: return std::string(column.text(row));
    case ColumnType::Int32:
    case ColumnType::Day: return std::to_string(column.value<std::int32_t>(row));
    case ColumnType::Int64:
    case ColumnType::Time: return std::to_string(column.value<std::int64_t>(row));
    case ColumnType::Double: return std::to_string(column.value<double>(row));
    case ColumnType::Year: return std::to_string(column.value<std::int16_t>(row));
    case ColumnType::Flag: return std::to_string(column.flag(row));
    case ColumnType::Alarms: return std::to_string(column.value<std::uint16_t>(row));
    }
    return std::nullopt;
}

// The same of the value that a model has read.
std::string shown(const Field& field, const FieldValue& value) {
    const auto number = [&] { return std::get<long long>(value); };
    const auto date = [&](std::size_t from, std::size_t count) {
        return std::stoi(localText(number(), L"%Y%m%d%H%M").substr(from, count));
    };
    const auto day = [&] {
        return daysSince1970(date(0, 4), static_cast<unsigned>(date(4, 2)), static_cast<unsigned>(date(6, 2)));
    };
    switch (field.kind) {
    case FieldKind::Text: return utf8Of(std::get<std::wstring>(value));
    case FieldKind::Code: return std::string(1, static_cast<char>(std::get<wchar_t>(value)));
    case FieldKind::Decimal: return std::to_string(std::get<double>(value));
    case FieldKind::Flag: return std::to_string(std::get<bool>(value));
    case FieldKind::Date: return std::to_string(day());
    case FieldKind::DateTime: return std::to_string(day() * 86400 + date(8, 2) * 3600 + date(10, 2) * 60);
    case FieldKind::Year: return std::to_string(date(0, 4));
    default: return std::to_string(number());
    }
}

// Whether a field has a value of its own in a line, by what the format says of it.
bool isAbsent(const Field& field, const AnyRecord& model, const std::wstring& line) {
    const std::wstring raw(tramo::rawText(line, field));
    const bool isBlank = std::ranges::all_of(raw, [](wchar_t c) { return c == L' ' || (c >= L'\t' && c <= L'\r'); });
    if (!field.readInto.empty() || (isBlank && field.blank.empty())) return true;
    if (field.kind == FieldKind::Year && std::get<long long>(model.get(field)) == std::numeric_limits<long32>::min()) return true;
    const auto errors = model.getParseErrors();
    return std::ranges::find(errors, field.parseError) != errors.end();
}

template <class Char> void expectAsTheModels(const RecordKind& kind, const std::vector<std::wstring>& lines) {
    Columns columns(kind);
    for (std::size_t i = 0; i < lines.size(); ++i)
        ASSERT_TRUE(columns.add(static_cast<std::int64_t>(10 * i), std::basic_string_view<Char>(as<Char>(lines[i]))));
    ASSERT_EQ(columns.rows(), lines.size());
    for (std::size_t c = 0; c < columns.size(); ++c) {
        const Column column = columns[c];
        const Field& field = *column.field;
        std::size_t absent = 0;
        for (std::size_t row = 0; row < lines.size(); ++row) {
            absent += !column.has(row);
            if (kind.name == "record information") continue;  // two fields, one value: a test of its own
            const Silence quiet;
            const AnyRecord model(lineOf<TramoLine::tramoLine_t>(lines[row]));
            const auto expected =
                isAbsent(field, model, lines[row]) ? std::nullopt : std::optional(shown(field, model.get(field)));
            ASSERT_EQ(shown(column, row), expected) << field.name << ": " << display(lines[row]);
        }
        EXPECT_EQ(column.absent, absent) << field.name;
        EXPECT_EQ(columns.lines()[lines.size() - 1], static_cast<std::int64_t>(10 * (lines.size() - 1)));
    }
}

TEST(Columns, samples_have_the_values_of_their_models) {
    const TimeZone local("Europe/Paris");
    std::size_t count = 0;
    for (const RecordKind* kind : tramo::recordKinds()) {
        const auto lines = sampleLines("round-returned.txt", kind->letter);
        if (lines.empty()) continue;
        expectAsTheModels<char>(*kind, lines);
        expectAsTheModels<char16_t>(*kind, lines);
        count += lines.size();
    }
    EXPECT_GT(count, 100u);
}

TEST(Columns, random_lines_have_the_values_of_their_models) {
    const std::vector<std::string> zones = {"Europe/Paris", "UTC", "Australia/Lord_Howe", "America/Sao_Paulo"};
    Random random(2);
    for (const RecordKind* kind : tramo::recordKinds()) {
        const TimeZone local(random.of(zones));
        std::vector<std::wstring> lines;
        while (lines.size() < (testsOptimised ? 200 : 50)) {
            std::wstring line = randomLine(*kind, random);
            for (wchar_t& c : line)
                if (c >= 0xD800 && c < 0xE000) c = L'?';  // the standard library refuses halves of surrogate pairs
            lines.push_back(line);
        }
        expectAsTheModels<char16_t>(*kind, lines);
        std::erase_if(
            lines, [](const std::wstring& line) { return std::ranges::any_of(line, [](wchar_t c) { return c > 0xFF; }); });
        expectAsTheModels<char>(*kind, lines);
        if (HasFatalFailure()) return;
    }
}

#ifndef _WIN32
// At the end of a page, texts are also read eight characters at a time.
template <class Char> void expectSameBetweenPages(const RecordKind& kind, const std::wstring& line) {
    static FencedText fenced;
    const std::basic_string<Char> text = as<Char>(line);
    const std::basic_string_view<Char> view = text;
    Columns columns(kind);
    ASSERT_TRUE(columns.add(1, view));
    ASSERT_TRUE(columns.add(2, fenced.atEnd(view)));
    ASSERT_TRUE(columns.add(3, fenced.atBegin(view)));
    for (std::size_t i = 0; i < columns.size(); ++i)
        for (const std::size_t row : {1U, 2U}) EXPECT_EQ(shown(columns[i], row), shown(columns[i], 0)) << display(line);
}

TEST(Columns, nothing_outside_the_line_is_read) {
    Random random(3);
    for (const RecordKind* kind : tramo::recordKinds())
        for (int i = 0; i < 100; ++i) {
            const std::wstring line = randomLine(*kind, random);
            expectSameBetweenPages<char>(*kind, line);
            expectSameBetweenPages<char16_t>(*kind, line);
        }
}
#endif

TEST(Columns, type_follows_from_the_field) {
    struct Expected {
        const char* kind;
        const char* field;
        ColumnType type;
    };
    for (const Expected& row : {Expected{"meter subscriber", "meterSerialNumber", ColumnType::Text},
             Expected{"meter subscriber", "meterReadingStatus", ColumnType::Text},
             Expected{"meter subscriber", "meterReadingDate", ColumnType::Time},
             Expected{"round", "roundImportDate", ColumnType::Day},
             Expected{"meter subscriber", "meterAuthorizedChange", ColumnType::Flag},
             Expected{"extended data", "latitude", ColumnType::Double}, Expected{"AMR", "currentAlarms", ColumnType::Alarms}}) {
        const RecordKind& kind = kindNamed(row.kind);
        ASSERT_NE(kind.field(row.field), nullptr) << row.field;
        EXPECT_EQ(tramo::columnTypeOf(kind, *kind.field(row.field)), row.type) << row.field;
    }
}

TEST(Columns, chosen_fields_come_in_the_chosen_order) {
    const RecordKind& kind = kindNamed("meter change");
    const Field* chosen[] = {kind.field("newMeterIndex"), kind.field("newMeterSerialNumber")};
    ASSERT_TRUE(chosen[0] && chosen[1]);
    Columns columns(kind, chosen);
    ASSERT_EQ(columns.size(), 2u);
    EXPECT_EQ(columns[0].field, chosen[0]);
    EXPECT_EQ(columns[1].field, chosen[1]);
}

TEST(Columns, field_of_another_kind_or_outside_of_the_line_is_refused) {
    const RecordKind& change = kindNamed("meter change");
    const Field* ofAnother[] = {kindNamed("round").fields.data()};
    try {
        const Columns columns(change, ofAnother);
        ADD_FAILURE();
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(error.what(), "tramo: \"" + ofAnother[0]->name + "\" is not a field in the line of a meter change record");
    }
    const RecordKind& amr = kindNamed("AMR");
    const Field* onlyShown[] = {amr.field("currentAlarmText")};
    ASSERT_NE(onlyShown[0], nullptr);
    EXPECT_THROW(Columns(amr, onlyShown), std::invalid_argument);
    const Field* twice[] = {change.fields.data(), change.fields.data()};
    EXPECT_THROW(Columns(change, twice), std::invalid_argument);
}

TEST(Columns, second_of_two_fields_with_one_value_counts) {
    const RecordKind& kind = kindNamed("record information");
    const Field* number[] = {kind.field("roundNumber")};
    Columns columns(kind, number);
    std::string line(512, ' ');
    line[0] = '9';
    for (const char* text : {"   12   34", "   12    x", "    x   34", "    x    y"}) {
        line.replace(1, 10, text);
        ASSERT_TRUE(columns.add(1, line));
    }
    EXPECT_EQ(shown(columns[0], 0), "34");
    EXPECT_EQ(shown(columns[0], 1), "12");
    EXPECT_EQ(shown(columns[0], 2), "34");
    EXPECT_EQ(shown(columns[0], 3), std::nullopt);
    EXPECT_EQ(columns[0].absent, 1u);
    EXPECT_EQ(columns.unreadable(), 2u);
}

TEST(Columns, line_of_another_kind_or_length_is_refused) {
    Columns columns(kindNamed("meter change"));
    EXPECT_FALSE(columns.add(1, '1' + std::string(511, ' ')));
    EXPECT_FALSE(columns.add(1, '3' + std::string(510, ' ')));
    EXPECT_FALSE(columns.add(1, '3' + std::string(512, ' ')));
    EXPECT_FALSE(columns.add(1, std::string_view()));
    EXPECT_EQ(columns.rows(), 0u);
    EXPECT_TRUE(columns.add(1, '3' + std::string(511, ' ')));
    EXPECT_EQ(columns.rows(), 1u);
}

// The value of each field as text, of the columns and of the lines of a reader.
void expectAsTheReader(const std::string& bytes) {
    std::map<const RecordKind*, Columns> columns;
    for (const RecordKind* kind : tramo::allKinds()) columns.emplace(kind, Columns(*kind));
    tramo::Reader reader = tramo::Reader::ofBytes(bytes);
    std::size_t rows = 0;
    for (const tramo::LineView& line : reader)
        for (auto& [kind, table] : columns) {
            const std::size_t before = table.rows();
            ASSERT_EQ(table.add(line), line.kind() == kind);
            if (table.rows() == before) continue;
            ++rows;
            EXPECT_EQ(table.lines()[before], line.number());
            for (std::size_t i = 0; i < table.size(); ++i) {
                const Column column = table[i];
                const tramo::FieldView value = line[*column.field];
                ASSERT_EQ(column.has(before), value.text().has_value()) << column.field->name;
                if (column.type == ColumnType::Text && column.has(before)) { EXPECT_EQ(column.text(before), *value.text()); }
                if (column.type == ColumnType::Int64 && column.has(before)) {
                    EXPECT_EQ(column.value<std::int64_t>(before), *value.integer());
                }
            }
        }
    EXPECT_GE(rows, 4u);
}

TEST(Columns, lines_of_a_reader_of_all_kinds_and_encodings) {
    const TimeZone local("Europe/Paris");
    for (const char* name :
        {"round-returned.txt", "round-returned-utf16.txt", "round-damaged.txt", "tags.txt", "parameters.txt"}) {
        std::ifstream file(std::string(SAMPLES) + '/' + name, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        ASSERT_FALSE(bytes.empty()) << name;
        expectAsTheReader(bytes);
        if (HasFatalFailure()) return;
    }
}

TEST(Columns, short_lines_in_UTF_16) {
    std::ifstream file(std::string(SAMPLES) + "/tags.txt", std::ios::binary);
    std::string wide = "\xFF\xFE";
    for (char c; file.get(c);) (wide += c) += '\0';
    expectAsTheReader(wide);
}

TEST(Columns, cleared_columns_hold_nothing_of_earlier_rows) {
    const RecordKind& kind = kindNamed("meter subscriber");
    const auto lines = sampleLines("round-returned.txt", L'1');
    Columns columns(kind);
    for (const std::wstring& line : lines) columns.add(1, as<char>(line));
    columns.clear();
    EXPECT_EQ(columns.rows(), 0u);
    ASSERT_TRUE(columns.add(7, '1' + std::string(511, ' ')));
    for (std::size_t c = 0; c < columns.size(); ++c) {
        const bool isReadIfBlank = !columns[c].field->blank.empty();
        EXPECT_EQ(columns[c].has(0), isReadIfBlank) << columns[c].field->name;
        if (columns[c].type == ColumnType::Text) { EXPECT_EQ(columns[c].text(0), ""); }
    }
    EXPECT_EQ(columns.lines()[0], 7);
}

TEST(Columns, unpaired_surrogates_become_replacement_characters) {
    const RecordKind& kind = kindNamed("extended data");
    const Field* serial[] = {kind.field("meterSerialNumber")};
    Columns columns(kind, serial);
    std::u16string line(512, u' ');
    line[0] = u'7';
    const std::u16string text = u"a\xD83D\xDCA7z\xD83D-\xDCA7";
    line.replace(1, text.size(), text);
    ASSERT_TRUE(columns.add(1, line));
    EXPECT_EQ(columns[0].text(0), "a\U0001F4A7z\uFFFD-\uFFFD");
}

// Texts are copied in blocks: each kind of character at each place of a block and between blocks.
TEST(Columns, characters_have_their_UTF_8_at_every_place) {
    const RecordKind& kind = kindNamed("meter subscriber");
    const Field* information[] = {kind.field("subscriberInformation")};
    const auto place = static_cast<std::size_t>(information[0]->column - 1);
    for (const std::wstring character : {L"\x7F", L"\x80", L"\xFF", L"\x100", L"\x7FF", L"\x800", L"\xFFFD", L"\xD83D\xDCA7",
             L"\xDCA7", L"\xD83D", L"\xD83D\xD83D"})
        for (std::size_t at = 0; at < 40; ++at)
            for (const std::size_t more : {0U, 1U, 7U, 20U}) {
                const std::wstring text = std::wstring(at, L'a') + character + std::wstring(more, L'z');
                std::wstring line = blankText(L'1');
                line.replace(place, text.size(), text);
                Columns columns(kind, information);
                ASSERT_TRUE(columns.add(1, as<char16_t>(line)));
                EXPECT_EQ(columns[0].text(0), tramo::utf8::encode(text)) << at << ' ' << more;
                if (character[0] > 0xFF) continue;
                ASSERT_TRUE(columns.add(2, as<char>(line)));
                EXPECT_EQ(columns[0].text(1), tramo::utf8::encode(text)) << at << ' ' << more;
            }
}

TEST(Columns, absent_counts_the_rows_without_a_value) {
    const RecordKind& kind = kindNamed("meter change");
    const Field* index[] = {kind.field("newMeterIndex")};
    Columns columns(kind, index);
    std::string line(512, ' ');
    line[0] = '3';
    std::size_t absent = 0;
    EXPECT_EQ(columns[0].absent, 0u);
    for (int row = 0; row < 200; ++row) {
        line[33] = row % 3 == 0 ? '5' : ' ';
        ASSERT_TRUE(columns.add(row, line));
        absent += row % 3 != 0;
        EXPECT_EQ(columns[0].absent, absent);
    }
}

// ---- Arrow ----------------------------------------------------------------------------------------------------------

std::size_t bytesOf(const std::string& format, std::size_t rows) {
    if (format == "u") return (rows + 1) * 4;
    if (format == "b") return (rows + 7) / 8;
    return rows * (format == "i" || format == "tdD" ? 4 : format == "s" || format == "S" ? 2 : 8);
}

// Walks both structures and compares each value with the columns.
void expectSame(const Columns& columns, const ArrowSchema& schema, const ArrowArray& array) {
    EXPECT_STREQ(schema.format, "+s");
    ASSERT_EQ(schema.n_children, static_cast<std::int64_t>(columns.size() + 1));
    ASSERT_EQ(array.n_children, schema.n_children);
    ASSERT_EQ(array.length, static_cast<std::int64_t>(columns.rows()));
    EXPECT_STREQ(schema.children[0]->name, "line");
    for (std::int64_t i = 0; i < schema.n_children; ++i) {
        const ArrowSchema& type = *schema.children[i];
        const ArrowArray& data = *array.children[i];
        EXPECT_EQ(data.length, array.length);
        EXPECT_EQ(data.offset, 0);
        ASSERT_EQ(data.n_buffers, std::string(type.format) == "u" ? 3 : 2);
        for (std::int64_t b = 0; b < data.n_buffers; ++b)
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data.buffers[b]) % 64, 0u) << type.name;
        if (i == 0) {
            EXPECT_EQ(std::memcmp(data.buffers[1], columns.lines().data(), columns.lines().size_bytes()), 0);
            continue;
        }
        const Column column = columns[static_cast<std::size_t>(i - 1)];
        EXPECT_EQ(type.name, column.field->name);
        EXPECT_EQ(data.null_count, static_cast<std::int64_t>(column.absent));
        EXPECT_EQ(type.flags, ARROW_FLAG_NULLABLE);
        ASSERT_EQ(std::memcmp(data.buffers[0], column.validity, (column.rows + 7) / 8), 0) << type.name;
        const void* const values = column.type == ColumnType::Text ? column.offsets : column.values;
        ASSERT_EQ(std::memcmp(data.buffers[1], values, bytesOf(type.format, column.rows)), 0) << type.name;
        if (column.type == ColumnType::Text) {
            EXPECT_EQ(std::memcmp(data.buffers[2], column.values, static_cast<std::size_t>(column.offsets[column.rows])), 0);
        }
    }
}

Columns columnsOf(const RecordKind& kind, const std::vector<std::wstring>& lines) {
    Columns columns(kind);
    for (std::size_t i = 0; i < lines.size(); ++i) columns.add(static_cast<std::int64_t>(i + 1), as<char>(lines[i]));
    return columns;
}

TEST(Arrow, structures_hold_the_columns_and_outlive_them) {
    const RecordKind& kind = kindNamed("meter subscriber");
    const auto lines = sampleLines("round-returned.txt", L'1');
    ArrowSchema schema{};
    ArrowArray array{};
    {
        Columns columns = columnsOf(kind, lines);
        columns.exportSchema(&schema);
        columns.exportRows(&array);
        EXPECT_EQ(columns.rows(), 0u);
        ASSERT_TRUE(columns.add(1, as<char>(lines[0])));  // new memory
        EXPECT_EQ(columns.rows(), 1u);
    }
    expectSame(columnsOf(kind, lines), schema, array);
    array.release(&array);
    schema.release(&schema);
    EXPECT_EQ(array.release, nullptr);
    EXPECT_EQ(schema.release, nullptr);
}

TEST(Arrow, child_that_was_moved_away_outlives_its_parent) {
    const auto lines = sampleLines("round-returned.txt", L'1');
    Columns columns = columnsOf(kindNamed("meter subscriber"), lines);
    ArrowArray array{};
    columns.exportRows(&array);
    ArrowArray child = *array.children[0];
    array.children[0]->release = nullptr;
    array.release(&array);
    std::int64_t last = 0;
    std::memcpy(&last, static_cast<const char*>(child.buffers[1]) + 8 * (lines.size() - 1), 8);
    EXPECT_EQ(last, static_cast<std::int64_t>(lines.size()));
    child.release(&child);
}

TEST(Arrow, no_rows_are_an_array_with_offsets) {
    Columns columns(kindNamed("meter change"));
    ArrowArray array{};
    columns.exportRows(&array);
    EXPECT_EQ(array.length, 0);
    std::int32_t offset = 1;
    ASSERT_EQ(array.children[1]->n_buffers, 3);
    std::memcpy(&offset, array.children[1]->buffers[1], 4);
    EXPECT_EQ(offset, 0);
    array.release(&array);
}

}  // namespace
