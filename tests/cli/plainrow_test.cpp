// The fast path of an export, PlainRow, against the slow path that defines it: the same rows in every form, for valid, random
// and damaged lines of all record kinds. TRAMO_PLAIN_ROWS=10 tries ten times as many lines.
#include "cli/tables/plainrow.h"
#include "cli/tables/forms.h"
#include "support/console.h"
#include "support/randomlines.h"
#include "support/samples.h"
#include "support/timezone.h"
#include <cstdlib>
#include <gtest/gtest.h>
#include <thread>

using namespace tramo::cli;
using records::Random, tramo::RecordKind;

namespace {

std::size_t timesMore() {
    const char* const given = std::getenv("TRAMO_PLAIN_ROWS");
    return given ? std::strtoul(given, nullptr, 10) : 1;
}

// A sink of each form. It only describes rows: the files never appear.
const std::vector<std::unique_ptr<Sink>>& sinks() {
    static const auto all = [] {
        std::vector<std::unique_ptr<Sink>> some;
        for (const TableForm& form : tableForms())
            if (!form.holdsOnly)
                some.push_back(form.makeSink(testing::TempDir() + "plainrow_test" + std::string(form.suffixes.front()), {}, {}));
        return some;
    }();
    return all;
}

std::string bytesOf(const std::wstring& line, std::size_t width) {
    std::string bytes;
    for (const wchar_t c : line + L"\r\n") bytes.append({static_cast<char>(c), '\0'}, 0, width);
    return bytes;
}

using Runs = std::vector<std::tuple<const Table*, long long, std::string>>;
Runs runsOf(const DescribedRows& rows) {
    Runs runs{{nullptr, 0, {rows.text.data(), rows.text.size()}}};
    rows.forEachRun([&](const Table& table, long long line, std::string_view text) { runs.emplace_back(&table, line, text); });
    return runs;
}

// What an export takes from a line.
struct Result {
    bool unread, holdsMore;
    std::vector<Runs> forms;
    bool operator==(const Result&) const = default;
};

Result slowly(const std::wstring& text) {
    const Silence quiet;
    Line line;
    line.text = text;
    line.carriageReturn = line.lineFeed = line.plain = true;
    line.number = 17;
    std::optional<tramo::LineModel> model = tramo::LineModel::of(tramo::LineKind::Record, text);
    const TableRow row = rowOf(line, tramo::LineKind::Record, &*model, Keys::Masked);
    Result result{row.unread, holdsMore(*model, text), {}};
    for (const auto& sink : sinks()) {
        DescribedRows described;
        EXPECT_TRUE(sink->describe(row, described));
        result.forms.push_back(runsOf(described));
    }
    return result;
}

Result fast(const std::wstring& text, std::size_t width) {
    const std::string bytes = bytesOf(text, width);
    PieceReader reader(Piece{bytes, width, 17});
    PlainRecord record;
    PlainRow row;
    if (!reader.nextPlain(record)) throw std::runtime_error("not a plain record");
    if (!row.read(record)) throw std::runtime_error("left to the slow path");
    Result result{row.unread(), row.holdsMore(), {}};
    for (const auto& sink : sinks()) {
        DescribedRows described;
        sink->describe(row, described);
        result.forms.push_back(runsOf(described));
    }
    return result;
}

void expectTheSame(const std::wstring& text) {
    const Result expected = slowly(text);
    for (const std::size_t width : {std::size_t{1}, std::size_t{2}}) {
        const Result found = fast(text, width);
        EXPECT_EQ(found.unread, expected.unread) << records::display(text);
        EXPECT_EQ(found.holdsMore, expected.holdsMore) << records::display(text);
        for (std::size_t i = 0; i < sinks().size(); ++i)
            EXPECT_EQ(std::get<2>(found.forms[i][0]), std::get<2>(expected.forms[i][0]))
                << tableForms()[i].name << ": " << records::display(text);
        EXPECT_TRUE(found == expected) << records::display(text);
    }
}

// Replaces characters that no plain record has.
std::wstring plain(std::wstring line) {
    for (wchar_t& c : line) c = static_cast<wchar_t>((c & 0xFF) < 0x20 ? (c & 0xFF) + 0x30 : c & 0xFF);
    return line;
}

std::vector<std::wstring> samples() {
    std::vector<std::wstring> all;
    for (const char* file : {"round-exported.txt", "round-returned.txt", "round-broken.txt", "round-damaged.txt"})
        for (std::wstring& line : records::sampleLinesOf(file, 512))
            if (tramo::recordKind(line[0])) all.push_back(plain(line));
    return all;
}

// A valid line with some other characters.
std::wstring damaged(std::wstring line, Random& random) {
    static const std::wstring others = L" 0123456789.,-+=@\"\\<&_;aeExX~\x7F\xA0\xE9\xFF";
    for (unsigned count = 1 + random.below(12); count > 0; --count) {
        const wchar_t other = others[random.below(static_cast<unsigned>(others.size()))];
        for (unsigned i = 1 + random.below(511), left = 1 + random.below(4); left > 0 && i < 512; --left) line[i++] = other;
    }
    return line;
}

// All zones in one process: each on its own thread, because a thread keeps what it knows of the days of a zone.
void inEachZone(void (*test)()) {
    for (const char* zone :
        {"UTC0", "CET-1CEST,M3.5.0,M10.5.0/3", "<-03>3<-02>,M11.1.0/0,M2.3.0/0", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0"}) {
        const TimeZone local(zone);
        std::thread(test).join();
        if (testing::Test::HasFailure()) FAIL() << zone;
    }
}

TEST(PlainRow, samples_have_the_rows_of_the_slow_path) {
    inEachZone([] {
        const std::vector<std::wstring> lines = samples();
        EXPECT_GT(lines.size(), 500u);
        for (const std::wstring& line : lines) expectTheSame(line);
    });
}

TEST(PlainRow, blank_lines_have_the_rows_of_the_slow_path) {
    for (const RecordKind* kind : tramo::recordKinds()) expectTheSame(records::blankText(kind->letter));
}

TEST(PlainRow, fields_with_one_value_have_the_rows_of_the_slow_path) {
    static const std::vector<std::wstring> texts = {L"0", L"1", L"-1", L"7", L"00", L"0000", L"0.0", L"-0.0", L".5", L"5.",
        L"0.50", L"1234567890.12345", L"123456789012.345", L"0.00009", L"0.0001", L"1,5", L"1 2", L"1x", L"=1", L"\"", L"a,b",
        L"\\", L"19700101", L"197001010000", L"20240331", L"202403310230", L"202410270230", L"20240218", L"202402180030",
        L"202411030030", L"1999", L"1901", L"9999", L"0801", L"080F", L"ffff", L"nan", L"\xE9", L"\x7F", L"A", L"W", L"_x0041_"};
    inEachZone([] {
        for (const RecordKind* kind : tramo::recordKinds())
            for (const tramo::Field& field : kind->fields)
                for (const std::wstring& text : texts) {
                    if (field.column == 0 || std::ssize(text) > field.width) continue;
                    std::wstring line = records::blankText(kind->letter);
                    records::put(line, field.column, text);
                    expectTheSame(line);
                    records::put(line, field.column, records::blanks(field.width - static_cast<int>(text.size())) + text);
                    expectTheSame(line);
                    if (testing::Test::HasFailure()) return;
                }
    });
}

// Each field reads a time from its text if the day has no clock change. Other times, and those that no calendar has, are decoded.
TEST(PlainRow, times_have_the_rows_of_the_slow_path) {
    inEachZone([] {
        Random random(3);
        const auto number = [&](unsigned digits, unsigned below) {
            std::wstring text = std::to_wstring(random.below(below));
            return std::wstring(digits - text.size(), L'0') + text;
        };
        const RecordKind& kind = *tramo::recordKind(L'1');
        for (const tramo::FieldKind form : {tramo::FieldKind::Year, tramo::FieldKind::Date, tramo::FieldKind::DateTime}) {
            const auto field = std::ranges::find(kind.fields, form, &tramo::Field::kind);
            ASSERT_NE(field, kind.fields.end());
            for (int i = 0; i < 2000 && !testing::Test::HasFailure(); ++i) {
                const std::wstring year = number(4, i % 8 == 0 ? 10000 : 140), day = number(2, 14) + number(2, 33);
                std::wstring text =
                    (i % 8 == 0 ? year : std::to_wstring(1900 + std::stoi(year))) + day + number(2, 26) + number(2, 62);
                std::wstring line = records::blankText(kind.letter);
                records::put(line, field->column, text.substr(0, static_cast<std::size_t>(field->width)));
                expectTheSame(line);
            }
        }
    });
}

TEST(PlainRow, random_lines_have_the_rows_of_the_slow_path) {
    inEachZone([] {
        Random random(1);
        for (const RecordKind* kind : tramo::recordKinds())
            for (std::size_t i = 0; i < 1000 * timesMore() && !testing::Test::HasFailure(); ++i)
                expectTheSame(plain(randomLine(*kind, random)));
    });
}

TEST(PlainRow, damaged_lines_have_the_rows_of_the_slow_path) {
    inEachZone([] {
        Random random(2);
        const std::vector<std::wstring> lines = samples();
        for (std::size_t i = 0; i < 15000 * timesMore() && !testing::Test::HasFailure(); ++i)
            expectTheSame(damaged(random.of(lines), random));
    });
}

}  // namespace
