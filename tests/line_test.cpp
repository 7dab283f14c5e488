// Values and changes of single lines, against the models.
#include "common/utf8.h"
#include "round/kindfields.h"
#include "support/build.h"
#include "support/console.h"
#include "support/randomfiles.h"
#include "support/timezone.h"
#include "tramostream/reader.h"
#include "tramostream/wording.h"
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <set>
#include <span>
#include <stdexcept>

using namespace records;
using namespace std::chrono;
using tramo::Encoding, tramo::FieldView, tramo::Line, tramo::LineEnding, tramo::LineFault, tramo::LineModel, tramo::LineView,
    tramo::NewValue, tramo::Reader, tramo::RecordKind, tramo::SetResult;

namespace {

const RecordKind& meter() { return tramo::kindOf<MeterSubscriberTramoModel>(); }
const RecordKind& module() { return tramo::kindOf<AMRTramoModel>(); }

std::string encoded(const std::wstring& text, Encoding encoding) {
    if (encoding == Encoding::Ansi) return {text.begin(), text.end()};
    return streams::utf16(std::u16string(text.begin(), text.end()));
}

// The only line of a file.
Line lineOfText(const std::wstring& text, Encoding encoding = Encoding::Ansi, std::optional<tramo::LineKind> kind = {}) {
    const std::string bytes = encoded(text, encoding);
    Reader reader = Reader::ofBytes(bytes, {.encoding = encoding, .kind = kind});
    Line line(*reader.next());
    EXPECT_EQ(reader.next(), nullptr);
    return line;
}

Line sample(wchar_t letter) { return lineOfText(sampleLines("round-returned.txt", letter).at(0)); }

// ---- Values ---------------------------------------------------------------------------------------------------------

std::tm localTime(long long instant) {
    const auto time = static_cast<std::time_t>(instant);
    std::tm local{};
    localtime_r(&time, &local);
    return local;
}

// Expects the value that the model has; `absent` is that of a blank line.
void expectValue(const FieldView& view, const Field& field, const FieldValue& value, const FieldValue& absent) {
    const auto integer = [](const FieldValue& of) { return std::get<long long>(of); };
    switch (field.kind) {
    case FieldKind::Text: EXPECT_EQ(view.text().value_or(""), tramo::utf8::encode(std::get<std::wstring>(value))); break;
    case FieldKind::Integer:
        EXPECT_EQ(view.integer().value_or(integer(absent)), integer(value));
        EXPECT_EQ(view.real().has_value(), view.integer().has_value());
        break;
    case FieldKind::Decimal: EXPECT_TRUE(equal(view.real().value_or(std::get<double>(absent)), value)); break;
    case FieldKind::Code:
        EXPECT_EQ(view.code().value_or(static_cast<char32_t>(std::get<wchar_t>(absent))), std::get<wchar_t>(value));
        break;
    case FieldKind::Flag: EXPECT_EQ(view.flag().value_or(std::get<bool>(absent)), std::get<bool>(value)); break;
    case FieldKind::AlarmFlags: EXPECT_EQ(view.alarms().value_or(integer(absent)), integer(value)); break;
    case FieldKind::Year:
        EXPECT_EQ(view.year().has_value(), integer(value) != noYear);
        if (view.year()) { EXPECT_EQ(static_cast<int>(*view.year()), localTime(integer(value)).tm_year + 1900); }
        break;
    case FieldKind::Date:
    case FieldKind::DateTime: {
        EXPECT_EQ(view.time().value_or(sys_seconds{std::chrono::seconds{integer(absent)}}),
            sys_seconds{std::chrono::seconds{integer(value)}});
        EXPECT_EQ(view.time().has_value(), view.day().has_value());
        EXPECT_EQ(view.time().has_value(), view.year().has_value());
        if (!view.day()) break;
        const std::tm time = localTime(integer(value));
        EXPECT_EQ(year_month_day{*view.day()}, year{time.tm_year + 1900} / (time.tm_mon + 1) / time.tm_mday);
        EXPECT_EQ(*view.year(), year_month_day{*view.day()}.year());
    }
    }
}

// Expects that values of other types are absent.
void expectOnlyItsType(const FieldView& view, const Field& field) {
    const bool isDate = field.kind == FieldKind::Date || field.kind == FieldKind::DateTime;
    const auto expectNone = [&](bool mayHave, bool has) { EXPECT_TRUE(mayHave || !has) << field.name; };
    expectNone(field.kind == FieldKind::Integer, view.integer().has_value());
    expectNone(field.kind == FieldKind::Integer || field.kind == FieldKind::Decimal, view.real().has_value());
    expectNone(field.kind == FieldKind::Flag, view.flag().has_value());
    expectNone(field.kind == FieldKind::Code, view.code().has_value());
    expectNone(field.kind == FieldKind::AlarmFlags, view.alarms().has_value());
    expectNone(isDate, view.time().has_value());
    expectNone(isDate, view.day().has_value());
    expectNone(isDate || field.kind == FieldKind::Year, view.year().has_value());
}

// The value of a field that is not a text.
FieldValue valueOf(const Field& field, const tramo::DecodedValue& value) {
    switch (field.kind) {
    case FieldKind::Decimal: return value.real;
    case FieldKind::Code: return static_cast<wchar_t>(value.integer);
    case FieldKind::Flag: return value.integer != 0;
    default: return value.integer;
    }
}

void expectAsTheModel(const LineView& line) {
    const RecordKind& kind = *line.kind();
    const std::wstring text = line.wide();
    const LineModel model = LineModel::of(kind, text), blank = LineModel::blank(kind);
    std::vector<Fault> unreadable;
    std::string buffer = "what another field has left";
    std::vector<tramo::DecodedValue> values(kind.fields.size());
    EXPECT_TRUE(line.decode(values));
    for (const Field& field : kind.fields) {
        SCOPED_TRACE(kind.name + ", " + field.name);
        const FieldView view = line[field];
        if (field.column == 0) {
            EXPECT_FALSE(view.text());
            EXPECT_TRUE(view.blank());
            EXPECT_TRUE(view.valid());
            EXPECT_EQ(view.raw(), "");
            continue;
        }
        expectValue(view, field, model.get(field), blank.get(field));
        EXPECT_EQ(view.text(buffer), view.text());
        const tramo::DecodedValue& value = values[field.index];
        EXPECT_EQ(value.unreadable, !view.valid());
        if (field.kind == FieldKind::Text) {
            EXPECT_EQ(value.present, view.text().has_value());
            if (value.present && value.size > 0) { EXPECT_EQ(line.text(value, buffer), view.text()); }
        } else {
            expectValue(view, field, value.present ? valueOf(field, value) : model.get(field), blank.get(field));
        }
        expectOnlyItsType(view, field);
        if (!view.valid()) unreadable.push_back(faultOf(field.parseError));
        const std::wstring columns(tramo::rawText(text, field));
        EXPECT_EQ(view.raw(), tramo::utf8::encode(columns));
        EXPECT_EQ(view.rawBytes(), line.encoding() == Encoding::Ansi
                                       ? std::string(columns.begin(), columns.end())
                                       : streams::utf16(std::u16string(columns.begin(), columns.end()), false));
        EXPECT_EQ(view.blank(), columns.find_first_not_of(L" \t\n\v\f\r") == std::wstring::npos);
        if (field.kind != FieldKind::Text && view.text()) {
            EXPECT_EQ(*view.text(), tramo::utf8::encode(tramo::textOf(field, model.get(field))));
        }
    }
    const auto order = [](const Fault& a, const Fault& b) { return std::pair(a.column, a.code) < std::pair(b.column, b.code); };
    std::vector<Fault> expected = faults(model.parseErrors());
    std::ranges::sort(unreadable, order);
    std::ranges::sort(expected, order);
    EXPECT_EQ(unreadable, expected);
}

TEST(FieldView, values_are_those_of_the_models) {
    const Silence quiet;
    std::map<const RecordKind*, int> count;
    for (const char* zone : {"CET-1CEST,M3.5.0,M10.5.0/3", "UTC0", "AAA12BBB,J90/0,J300/0"}) {
        const TimeZone local(zone);
        Random random(11);
        for (int i = 0; i < (testsOptimised ? 400 : 100) && !testing::Test::HasFailure(); ++i) {
            const std::string bytes = randomFile(random, i % 2 == 0, 12);
            for (const LineView& line : Reader::ofBytes(bytes)) {
                if (!line.kind()) continue;
                SCOPED_TRACE("file " + std::to_string(i) + ", line " + std::to_string(line.number()));
                expectAsTheModel(line);
                ++count[line.kind()];
            }
        }
    }
    EXPECT_EQ(count.size(), tramo::allKinds().size());
}

TEST(FieldView, values_of_the_samples_are_those_of_the_models) {
    const Silence quiet;
    for (const std::string& file : sampleFiles)
        for (const LineView& line : Reader(std::string(SAMPLES) + "/" + file))
            if (line.kind() && !testing::Test::HasFailure()) expectAsTheModel(line);
}

TEST(FieldView, value_has_the_type_that_is_asked_for) {
    const TimeZone local("CET-1CEST,M3.5.0,M10.5.0/3");
    const Line line = sample(L'1');
    EXPECT_EQ(line.text("meterSerialNumber"), "C12AB0100000");
    EXPECT_EQ(line.value<std::string>("meterSerialNumber"), "C12AB0100000");
    EXPECT_EQ(line.value<long long>("meterReadingIndex"), 6054);
    EXPECT_EQ(line.value<int>("meterReadingIndex"), 6054);
    EXPECT_EQ(line.value<unsigned char>("meterReadingIndex"), std::nullopt);  // too large for it
    EXPECT_EQ(line.value<double>("meterReadingIndex"), 6054.0);
    EXPECT_EQ(line.value<float>("meterReadingIndex"), 6054.0F);
    EXPECT_EQ(line.value<char32_t>("meterReadingMethod"), U'A');
    EXPECT_EQ(line.value<sys_seconds>("meterReadingDate"), sys_days{2024y / January / 16} + 7h + 35min);
    EXPECT_EQ(line.value<local_days>("meterReadingDate"), local_days{2024y / January / 16});
    EXPECT_EQ(line.value<year>("meterReadingDate"), 2024y);
    EXPECT_EQ(line.time("meterReadingDate"), line.value<sys_seconds>("meterReadingDate"));
    EXPECT_EQ(line.day("meterReadingDate"), local_days{2024y / January / 16});
    EXPECT_EQ(line.raw("meterReadingIndex"), "      6054");
    const Field& index = *meter().field("meterReadingIndex");
    EXPECT_EQ(line[index].integer(), 6054);
    EXPECT_EQ(line.value<int>(index), 6054);
    EXPECT_EQ(line.text(index), "6054");
    EXPECT_EQ(line.raw(index), "      6054");
    EXPECT_FALSE(line.time(index));
    EXPECT_FALSE(line.day(index));
}

TEST(FieldView, texts_of_other_kinds_are_those_for_people) {
    const TimeZone local("CET-1CEST,M3.5.0,M10.5.0/3");
    const Line line = sample(L'1');
    EXPECT_EQ(line.text("meterReadingDate"), "2024-01-16T08:35");
    EXPECT_EQ(line.text("meterReadingIndex"), "6054");
    EXPECT_EQ(line.text("meterReadingMethod"), "A");
}

TEST(FieldView, absent_and_unreadable_differ) {
    std::wstring text = blankText(L'1');
    const Field& index = *meter().field("meterReadingIndex");
    EXPECT_TRUE(lineOfText(text)[index].blank());
    EXPECT_TRUE(lineOfText(text)[index].valid());
    EXPECT_FALSE(lineOfText(text)[index].integer());
    put(text, index.column, L"VA");
    EXPECT_FALSE(lineOfText(text)[index].blank());
    EXPECT_FALSE(lineOfText(text)[index].valid());
    EXPECT_FALSE(lineOfText(text)[index].integer());
    EXPECT_FALSE(lineOfText(text)[index].text());
    EXPECT_EQ(lineOfText(text)[index].raw(), "VA        ");
}

TEST(FieldView, blank_field_that_is_read_as_a_text_has_its_value) {
    const Line line(meter());
    EXPECT_TRUE(line["meterAuthorizedChange"].blank());
    EXPECT_EQ(line["meterAuthorizedChange"].flag(), true);
    EXPECT_EQ(Line(meter(), Encoding::Utf16)["meterAuthorizedChange"].flag(), true);
}

TEST(FieldView, value_that_is_read_into_another_field_belongs_to_that_one) {
    std::wstring text = blankText(L'9');
    const auto values = [&] {
        const Line line = lineOfText(text);
        return std::pair(line["roundNumber"].integer(), line["meterNumber"].integer());
    };
    const auto none = std::optional<long long>();
    EXPECT_EQ(values(), std::pair(none, none));
    put(text, 2, L"   12   34");
    EXPECT_EQ(values(), std::pair(std::optional(34LL), none));
    put(text, 2, L"   12    x");
    EXPECT_EQ(values(), std::pair(std::optional(12LL), none));
    EXPECT_FALSE(lineOfText(text)["meterNumber"].valid());
    EXPECT_TRUE(lineOfText(text)["roundNumber"].valid());
    put(text, 2, L"    x   34");
    EXPECT_EQ(values(), std::pair(std::optional(34LL), none));
    EXPECT_FALSE(lineOfText(text)["roundNumber"].valid());
}

TEST(FieldView, texts_are_utf8) {
    std::wstring text = blankText(L'1');
    put(text, 464, L"caf\xE9 \xFF");
    EXPECT_EQ(lineOfText(text).text("meterMessage"), "caf\xC3\xA9 \xC3\xBF");
    EXPECT_EQ(lineOfText(text, Encoding::Utf16).text("meterMessage"), "caf\xC3\xA9 \xC3\xBF");
    put(text, 464, L"\xD83D\xDE00\x20AC\xD83D-\xDE00");
    EXPECT_EQ(lineOfText(text, Encoding::Utf16).text("meterMessage"), "\xF0\x9F\x98\x80\xE2\x82\xAC\xEF\xBF\xBD-\xEF\xBF\xBD");
    EXPECT_EQ(lineOfText(text, Encoding::Utf16).raw("meterMessage").substr(0, 7), "\xF0\x9F\x98\x80\xE2\x82\xAC");
}

TEST(FieldView, text_with_a_buffer_is_in_the_line_if_it_can_be) {
    std::wstring text = blankText(L'1');
    put(text, 464, L"cafe");
    std::string buffer;
    const Line plain = lineOfText(text);
    EXPECT_EQ(plain["meterMessage"].text(buffer)->data(), plain["meterMessage"].rawBytes().data());
    EXPECT_EQ(buffer, "");
    put(text, 464, L"caf\xE9");
    EXPECT_EQ(lineOfText(text)["meterMessage"].text(buffer), "caf\xC3\xA9");
    EXPECT_EQ(buffer, "caf\xC3\xA9");
}

TEST(FieldView, copy_of_a_line_keeps_its_values_when_the_reader_goes_on) {
    for (const Encoding encoding : {Encoding::Ansi, Encoding::Utf16}) {
        std::wstring first = blankText(L'1'), second = blankText(L'1');
        put(first, 464, L"first");
        put(second, 464, L"second");
        const std::string bytes = encoded(first + L"\r\n" + second + L"\r\n", encoding);
        Reader reader = Reader::ofBytes(bytes, {.encoding = encoding});
        const LineView& line = *reader.next();
        EXPECT_EQ(line.text("meterMessage"), "first");
        const Line copy(line);
        ASSERT_NE(reader.next(), nullptr);
        EXPECT_EQ(line.text("meterMessage"), "second");
        EXPECT_EQ(copy.text("meterMessage"), "first");
        Line moved = lineOfText(blankText(L'1'), encoding);
        EXPECT_EQ(moved.text("meterMessage"), std::nullopt);
        moved = copy;
        EXPECT_EQ(moved.text("meterMessage"), "first");
    }
}

TEST(LineView, decodes_all_fields_of_short_lines_and_wide_characters) {
    const RecordKind& tag = tramo::kindOf<TagTramoModel>();
    const Field& text = tag.fields.at(1);
    std::vector<tramo::DecodedValue> values(tag.fields.size());
    std::string buffer;
    for (const Encoding encoding : {Encoding::Ansi, Encoding::Utf16}) {
        const Line line = lineOfText(L"FUFuite                ", encoding);
        ASSERT_EQ(line.kind(), &tag);
        ASSERT_TRUE(line.decode(values));
        EXPECT_EQ(line.text(values[text.index], buffer), line.text(text));
    }
    const Line line = lineOfText(L"FU\x20ACuite                ", Encoding::Utf16);
    ASSERT_TRUE(line.decode(values));
    EXPECT_EQ(line.text(values[text.index], buffer), line.text(text));
    EXPECT_NE(line.text(text).value().find("\xE2\x82\xAC"), std::string::npos);
    EXPECT_FALSE(line.decode(std::span(values).first(values.size() - 1)));
    EXPECT_FALSE(lineOfText(L"x").decode(values));
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

TEST(LineView, unknown_name_is_an_error_that_names_the_closest_one) {
    const Line line = sample(L'1');
    const auto messageFor = [&](std::string_view name) {
        return streams::thrownBy<std::invalid_argument>([&] { static_cast<void>(line[name]); });
    };
    EXPECT_EQ(messageFor("meterReadingIdex"),
        "tramo: a meter subscriber line has no field \"meterReadingIdex\"; did you mean \"meterReadingIndex\"?");
    EXPECT_EQ(messageFor("nothing like it"), "tramo: a meter subscriber line has no field \"nothing like it\"");
    EXPECT_EQ(messageFor(""), "tramo: a meter subscriber line has no field \"\"");
    EXPECT_EQ(messageFor("\x1B"), "tramo: a meter subscriber line has no field \"\\x1b\"");
    Line changed = line;
    EXPECT_NE(streams::thrownBy<std::invalid_argument>([&] { static_cast<void>(changed.set("x", 1)); }), "");
}

TEST(LineView, line_of_another_kind_has_no_such_field) {
    const Field& index = *meter().field("meterReadingIndex");
    const Line change = sample(L'3');
    EXPECT_FALSE(change[index].integer());
    EXPECT_TRUE(change[index].blank());
    EXPECT_TRUE(change[index].valid());
    EXPECT_EQ(change[index].raw(), "");
    EXPECT_EQ(change[index].rawBytes(), "");
    EXPECT_FALSE(change.is<MeterSubscriberTramoModel>());
    EXPECT_TRUE(change.is<MeterChangeTramoModel>());
}

TEST(LineView, malformed_line_and_key_line_have_no_fields) {
    for (const std::wstring& text : {std::wstring(L"x"), std::wstring(511, L'1'), std::wstring(L"{\"serialNumber\":\"1\"}")}) {
        const Line line = lineOfText(text);
        EXPECT_EQ(line.kind(), nullptr);
        EXPECT_FALSE(line["meterReadingIndex"].integer());
        EXPECT_FALSE(line.text("no such field"));
        EXPECT_EQ(line.utf8(), std::string(text.begin(), text.end()));
        Line changed = line;
        EXPECT_EQ(changed.set("meterReadingIndex", 5).code, SetResult::NoField);
        EXPECT_EQ(changed.set("meterReadingIndex", 5).reason, "meterReadingIndex: the line does not have this field");
        EXPECT_EQ(changed.bytes(), line.bytes());
    }
}

TEST(LineView, whole_text_is_there) {
    const std::wstring text = L"caf\xE9\xD83D\xDE00\xD83D";
    const Line line = lineOfText(text, Encoding::Utf16);
    EXPECT_EQ(line.wide(), text);
    EXPECT_EQ(line.size(), text.size());
    EXPECT_EQ(line.utf8(), "caf\xC3\xA9\xF0\x9F\x98\x80\xEF\xBF\xBD");
    EXPECT_EQ(lineOfText(L"\xE9").utf8(), "\xC3\xA9");
}

TEST(LineView, gives_the_classic_model) {
    const Line line = sample(L'1');
    EXPECT_EQ(line.as<MeterSubscriberTramoModel>().getMeterReadingIndex(), 6054);
    EXPECT_EQ(line.as<tramo::AnyRecord>().kind(), &meter());
    const TramoLine::tramoLine_t kept = line.as<MeterSubscriberTramoModel>().getTramoLine();
    EXPECT_EQ(records::textOf(kept), line.wide());
    EXPECT_EQ(lineEndOf(kept), L"\r\n");
    EXPECT_EQ(lineOfText(std::wstring(23, L't')).as<TagTramoModel>().getCode(), L"tt");
    EXPECT_EQ(lineOfText(std::wstring(40, L'p')).as<ParameterTramoModel>().getKey(), L"pppppppp");
}

TEST(LineView, model_of_another_line_has_errors) {
    const Silence quiet;
    EXPECT_FALSE(sample(L'3').as<MeterSubscriberTramoModel>().getParseErrors().empty());
    const auto fromShort = lineOfText(L"1   5abc").as<MeterSubscriberTramoModel>();
    EXPECT_EQ(fromShort.getSubscriberCardOrder(), 5);
    EXPECT_EQ(fromShort.getSubscriberInformation(), L"abc");
    const auto fromLong = lineOfText(std::wstring(600, L'1')).as<MeterSubscriberTramoModel>();
    EXPECT_EQ(lineEndOf(fromLong.getTramoLine()), L"\r\n");
}

TEST(Line, blank_line_is_that_of_its_kind) {
    for (const RecordKind* kind : tramo::allKinds())
        for (const Encoding encoding : {Encoding::Ansi, Encoding::Utf16}) {
            const Line line(*kind, encoding);
            EXPECT_EQ(line.kind(), kind);
            EXPECT_EQ(line.fault(), LineFault::None);
            EXPECT_EQ(line.number(), 0);
            EXPECT_EQ(line.offset(), 0u);
            EXPECT_EQ(line.ending(), LineEnding::CrLf);
            EXPECT_EQ(line.encoding(), encoding);
            std::wstring expected(static_cast<std::size_t>(kind->length), L' ');
            if (kind->letter) expected.front() = kind->letter;
            EXPECT_EQ(line.wide(), expected);
            EXPECT_EQ(lineOfText(expected, encoding).lineKind(), line.lineKind());
            expectAsTheModel(line);
        }
}

TEST(Line, copies_and_moves_own_their_text) {
    const auto bytes = std::make_unique<std::string>("x\r\n1" + std::string(511, ' ') + "\n");
    Reader reader = Reader::ofBytes(*bytes);
    const Line small(*reader.next()), large(*reader.next());
    std::ranges::fill(*bytes, '#');
    EXPECT_EQ(small.bytes(), "x");
    EXPECT_EQ(large.bytes(), "1" + std::string(511, ' '));
    EXPECT_EQ(large.number(), 2);
    EXPECT_EQ(large.offset(), 3u);
    EXPECT_EQ(large.ending(), LineEnding::Lf);
    for (const Line& line : {small, large}) {
        auto first = std::make_unique<Line>(line);
        Line copy(*first), assigned(meter());
        assigned = *first;
        Line moved(std::move(*first));
        EXPECT_EQ(first->bytes(), "");  // NOLINT
        EXPECT_EQ(first->kind(), nullptr);
        first.reset();
        Line movedTo(meter());
        movedTo = std::move(moved);
        for (const Line* each : {&copy, &assigned, &movedTo}) {
            EXPECT_EQ(each->bytes(), line.bytes());
            EXPECT_EQ(each->kind(), line.kind());
            EXPECT_EQ(each->number(), line.number());
        }
        Line& same = movedTo;
        movedTo = same;
        EXPECT_EQ(movedTo.bytes(), line.bytes());
        movedTo = std::move(same);
        EXPECT_EQ(movedTo.bytes(), line.bytes());
    }
}

// ---- Changes --------------------------------------------------------------------------------------------------------

using Code = SetResult::Code;

bool says(const Field& field, const char* words) { return field.written.find(words) != std::string::npos; }

// What becomes of a number, by the description of the field.
Code codeOfNumber(const Field& field, double number, std::size_t figures) {
    if (figures > static_cast<std::size_t>(field.width)) return Code::TooWide;
    if (field.name == "order") return number < 0 ? Code::TooWide : Code::Done;  // written with a zero before it
    if (says(field, "it is above 3") && number <= 3) return Code::NotWritable;
    if (says(field, "it is above 0") && number <= 0) return Code::NotWritable;
    if (says(field, "it is above -1") && number <= -1) return Code::NotWritable;
    if (says(field, "it is 0 or more") && number < 0) return Code::NotWritable;
    return Code::Done;
}

struct Case {
    std::string text{};  // that the value refers to
    NewValue value;
    Code expected;
};

// Values of every type, with what becomes of them in this field.
std::vector<Case> casesOf(const Field& field, Encoding encoding) {
    std::vector<Case> cases;
    const auto add = [&](NewValue value, Code expected) { cases.push_back({"", value, expected}); };
    const auto addText = [&](std::string text, Code expected) { cases.push_back({std::move(text), std::nullopt, expected}); };
    const auto width = static_cast<std::size_t>(field.width);
    const bool isText = field.kind == FieldKind::Text, isInteger = field.kind == FieldKind::Integer,
               isDecimal = field.kind == FieldKind::Decimal, isYear = field.kind == FieldKind::Year,
               isTime = field.kind == FieldKind::DateTime, isDate = isTime || field.kind == FieldKind::Date;
    const auto ifIs = [](bool is, Code expected) { return is ? expected : Code::WrongType; };

    const Code text = ifIs(isText, field.written == "never" ? Code::NotWritable : Code::Done);
    addText("A", text);
    addText(std::string(width, 'x'), text);
    addText("\xC3\xA9", text);
    addText(std::string(width + 1, 'x'), ifIs(isText, Code::TooWide));
    addText("a\nb", ifIs(isText, Code::NotInField));
    addText("\r", ifIs(isText, Code::NotInField));
    addText("\x80", ifIs(isText, Code::NotInEncoding));
    addText("\xE2\x82\xAC", ifIs(isText, encoding == Encoding::Ansi ? Code::NotInEncoding : text));
    addText("\xF0\x9F\x98\x80", ifIs(isText, encoding == Encoding::Ansi ? Code::NotInEncoding
                                             : width < 2                ? Code::TooWide
                                                                        : text));
    if (width > 1) addText("a ", ifIs(isText, Code::NotWritable));
    if (width > 1) addText(" b", text);
    addText(" ", ifIs(isText, Code::NotWritable));
    addText("", isText ? Code::Done : Code::WrongType);
    if (field.column == 1) addText("\xEF\xBF\xBF", encoding == Encoding::Ansi ? Code::NotInEncoding : Code::NotInField);

    const auto addInteger = [&](long long number) {
        const std::size_t figures = std::to_string(number).size();
        if (isInteger || isDecimal) add(number, codeOfNumber(field, static_cast<double>(number), figures));
        else if (field.kind == FieldKind::AlarmFlags) add(number, number >= 0 && number < 4096 ? Code::Done : Code::NotInField);
        else add(number, Code::WrongType);
    };
    for (const long long number : {7LL, 5LL, 4LL, 3LL, 1LL, 0LL, -1LL}) addInteger(number);
    if (width < 10) addInteger(std::stoll(std::string(width, '9')));
    add(std::numeric_limits<long long>::max(), isInteger || isDecimal ? (width < 19 ? Code::TooWide : Code::NotInField)
                                               : field.kind == FieldKind::AlarmFlags ? Code::NotInField
                                                                                     : Code::WrongType);
    add(std::numeric_limits<unsigned long long>::max(), ifIs(isInteger || isDecimal, Code::TooWide));
    if (field.kind == FieldKind::AlarmFlags) {
        add(4095, Code::Done);
        add(4096, Code::NotInField);
    }

    add(7.5, ifIs(isDecimal, Code::Done));
    add(-0.5, ifIs(isDecimal, codeOfNumber(field, -0.5, 2)));
    add(1.0 / 3, ifIs(isDecimal, Code::NotWritable));
    if (isDecimal) {
        add(std::pow(10.0, width), Code::TooWide);
        add(-std::pow(10.0, width - 1), Code::TooWide);
        add((1LL << 53) + 1, width < 16 ? Code::TooWide : Code::NotInField);
        add(1e300, Code::TooWide);
        for (const double number : {std::nan(""), HUGE_VAL, -HUGE_VAL}) add(number, Code::NotInField);
    }

    add(true, ifIs(field.kind == FieldKind::Flag, Code::Done));
    add(false, ifIs(field.kind == FieldKind::Flag, Code::Done));

    for (std::size_t i = 0; i < field.codes.size(); ++i)
        add(static_cast<char32_t>(field.codes[i]), field.codesWritten[i] == field.codes[i] ? Code::Done : Code::NotWritable);
    for (const char32_t code : {U'~', U'!', U' ', U'\0', U'\u20AC', char32_t{0x110000}, char32_t{0xFFFFFFFF}})
        add(code, ifIs(field.kind == FieldKind::Code, Code::NotInField));
    add('~', ifIs(field.kind == FieldKind::Code, Code::NotInField));

    const local_days day{2024y / January / 31};
    add(day, ifIs(isDate, Code::Done));
    add(local_days{2037y / December / 31}, ifIs(isDate, Code::Done));
    add(local_days{1969y / December / 30}, ifIs(isDate, Code::NotWritable));
    add(local_days{2038y / January / 20}, ifIs(isDate, Code::NotInField));
    add(local_days{1901y / January / 1}, ifIs(isDate, Code::NotInField));
    add(local_days::max(), ifIs(isDate, Code::NotInField));
    add(local_days::min(), ifIs(isDate, Code::NotInField));
    const sys_seconds midnight{day.time_since_epoch() - 1h};  // in the zone of these tests
    add(midnight, ifIs(isDate, Code::Done));
    add(midnight + 14h + 5min, ifIs(isDate, isTime ? Code::Done : Code::NotWritable));
    add(midnight + 1s, ifIs(isDate, Code::NotWritable));
    const sys_seconds repeated = sys_days{2024y / October / 27} + 0h + 30min;
    add(repeated, ifIs(isDate, isTime ? Code::Done : Code::NotWritable));
    add(repeated + 1h, ifIs(isDate, Code::NotWritable));  // the clock shows the same time again
    add(sys_seconds{std::chrono::seconds{1LL << 31}}, ifIs(isDate, Code::NotInField));
    add(sys_seconds{std::chrono::seconds{-(1LL << 31) - 1}}, ifIs(isDate, Code::NotInField));
    add(sys_seconds::max(), ifIs(isDate, Code::NotInField));

    add(2013y, ifIs(isYear, Code::Done));
    add(1902y, ifIs(isYear, Code::Done));
    add(2038y, ifIs(isYear, Code::Done));
    for (const year number : {1901y, 2039y, 9999y, 0y, year{-5}, year::min(), year::max()})
        add(number, ifIs(isYear, Code::NotInField));
    return cases;
}

// Expects that the field has this value, by the new interface and by the classic one.
void expectSet(const Line& line, const Field& field, const NewValue::Held& value) {
    const Field& of = field.readInto.empty() ? field : *line.kind()->field(field.readInto);
    const FieldView view = line[of];
    const Silence quiet;
    const FieldValue classic = tramo::valueRead(*line.kind(), field, line.wide());
    const auto expectTime = [&](sys_seconds time) {
        EXPECT_EQ(view.time(), time);
        EXPECT_EQ(std::get<long long>(classic), time.time_since_epoch().count());
    };
    if (const auto* text = std::get_if<std::string_view>(&value)) {
        EXPECT_EQ(view.text().value_or(""), *text);
        EXPECT_EQ(tramo::utf8::encode(std::get<std::wstring>(classic)), *text);
    } else if (const auto* integer = std::get_if<long long>(&value)) {
        if (field.kind == FieldKind::AlarmFlags) {
            EXPECT_EQ(view.alarms(), *integer);
        } else {
            EXPECT_EQ(view.real(), static_cast<double>(*integer));
        }
        EXPECT_TRUE(
            equal(classic, field.kind == FieldKind::Decimal ? FieldValue(static_cast<double>(*integer)) : FieldValue(*integer)));
    } else if (const auto* real = std::get_if<double>(&value)) {
        EXPECT_EQ(view.real(), *real);
        EXPECT_TRUE(equal(classic, *real));
    } else if (const auto* flag = std::get_if<bool>(&value)) {
        EXPECT_EQ(view.flag(), *flag);
        EXPECT_TRUE(equal(classic, *flag));
    } else if (const auto* code = std::get_if<char32_t>(&value)) {
        EXPECT_EQ(view.code(), *code);
        EXPECT_TRUE(equal(classic, static_cast<wchar_t>(*code)));
    } else if (const auto* time = std::get_if<sys_seconds>(&value)) {
        expectTime(*time);
    } else if (const auto* day = std::get_if<local_days>(&value)) {
        EXPECT_EQ(view.day(), *day);
        if (view.time()) expectTime(*view.time());
    } else if (const auto* number = std::get_if<year>(&value)) {
        EXPECT_EQ(view.year(), *number);
        EXPECT_EQ(localTime(std::get<long long>(classic)).tm_year + 1900, static_cast<int>(*number));
    }
}

// The columns that the model writes, if it writes the value on an otherwise blank line.
std::wstring writtenByModel(const RecordKind& kind, const Field& field, const Line& line) {
    const Silence quiet;
    LineModel model = LineModel::blank(kind);
    if (!model.set(field, tramo::valueRead(kind, field, line.wide()))) return {};
    const std::wstring columns(tramo::rawText(model.built(), field));
    return columns.find_first_not_of(L' ') == std::wstring::npos ? std::wstring() : columns;
}

void tryCase(const Line& before, const Field& field, const Case& one) {
    const NewValue value = one.text.empty() && !std::holds_alternative<std::nullopt_t>(one.value.get())
                               ? one.value
                               : NewValue(std::string_view(one.text));
    const RecordKind& kind = *before.kind();
    Line line = before;
    const SetResult result = [&] {
        const Console console;
        const SetResult made = line.set(field, value);
        EXPECT_EQ(console.narrow(), "");
        EXPECT_EQ(console.wide(), L"");
        return made;
    }();
    ASSERT_EQ(result.code, one.expected) << result.reason;
    EXPECT_EQ(static_cast<bool>(result), one.expected == Code::Done);
    if (!result) {
        EXPECT_TRUE(result.reason.starts_with(field.name + ": ")) << result.reason;
        EXPECT_EQ(line.bytes(), before.bytes());
        return;
    }
    EXPECT_EQ(result.reason, "");
    std::wstring outside = line.wide(), expected = before.wide();
    const auto first = static_cast<std::size_t>(field.column - 1), width = static_cast<std::size_t>(field.width);
    outside.replace(first, width, width, L'#');
    expected.replace(first, width, width, L'#');
    EXPECT_EQ(outside, expected);
    Line alone(kind, before.encoding());
    ASSERT_TRUE(alone.set(field, value));
    EXPECT_EQ(alone[field].raw(), line[field].raw());
    expectSet(alone, field, value.get());
    const std::wstring written = writtenByModel(kind, field, alone);
    if (!written.empty()) { EXPECT_EQ(alone[field].raw(), tramo::utf8::encode(written)); }
}

TEST(Line, every_value_is_written_or_refused_in_every_field) {
    Random random(13);
    std::map<Code, int> count;
    std::map<FieldKind, std::set<Code>> codes;
    for (const RecordKind* kind : tramo::allKinds())
        for (const Encoding encoding : {Encoding::Ansi, Encoding::Utf16}) {
            std::wstring text =
                kind->letter ? randomLine(*kind, random) : std::wstring(static_cast<std::size_t>(kind->length), L'q');
            for (wchar_t& c : text) c = c == L'\n' || c == L'\r' ? L'.' : c & 0xFF;
            const Line before = lineOfText(text, encoding);
            ASSERT_EQ(before.kind(), kind);
            for (const Field& field : kind->fields) {
                if (field.column == 0) {
                    Line line = before;
                    EXPECT_EQ(line.set(field, true).code, Code::NoField) << field.name;
                    continue;
                }
                const std::vector<Case> cases = casesOf(field, encoding);
                for (std::size_t i = 0; i < cases.size(); ++i) {
                    SCOPED_TRACE(kind->name + ", " + field.name + ", case " + std::to_string(i) + " \"" + cases[i].text + "\"");
                    tryCase(before, field, cases[i]);
                    ++count[cases[i].expected];
                    codes[field.kind].insert(cases[i].expected);
                }
            }
        }
    EXPECT_EQ(count.size(), 6u);  // without NoField
    using enum tramo::SetResult::Code;
    EXPECT_EQ(codes[FieldKind::Text], (std::set<Code>{Done, WrongType, TooWide, NotInField, NotWritable, NotInEncoding}));
    EXPECT_EQ(codes[FieldKind::Integer], (std::set<Code>{Done, WrongType, TooWide, NotWritable}));
    EXPECT_EQ(codes[FieldKind::Decimal], (std::set<Code>{Done, WrongType, TooWide, NotInField, NotWritable}));
    for (const FieldKind kind : {FieldKind::Date, FieldKind::DateTime, FieldKind::Code})
        EXPECT_EQ(codes[kind], (std::set<Code>{Done, WrongType, NotInField, NotWritable}));
    for (const FieldKind kind : {FieldKind::Year, FieldKind::AlarmFlags})
        EXPECT_EQ(codes[kind], (std::set<Code>{Done, WrongType, NotInField}));
    EXPECT_EQ(codes[FieldKind::Flag], (std::set<Code>{Done, WrongType}));
}

TEST(Line, no_value_makes_the_columns_blank) {
    for (const RecordKind* kind : tramo::allKinds())
        for (const Encoding encoding : {Encoding::Ansi, Encoding::Utf16})
            for (const Field& field : kind->fields) {
                if (field.column == 0) continue;
                std::wstring text(static_cast<std::size_t>(kind->length), L'q');
                if (kind->letter) text.front() = kind->letter;
                Line line = lineOfText(text, encoding);
                EXPECT_TRUE(line.set(field, std::nullopt));
                EXPECT_TRUE(line[field].blank());
                put(text, field.column, std::wstring(static_cast<std::size_t>(field.width), L' '));
                EXPECT_EQ(line.wide(), text) << field.name;
            }
}

TEST(Line, optional_value_is_a_value_or_none) {
    Line line = sample(L'1');
    EXPECT_TRUE(line.set("meterReadingIndex", std::optional(7)));
    EXPECT_EQ(line["meterReadingIndex"].integer(), 7);
    EXPECT_TRUE(line.set("meterReadingIndex", std::optional<int>()));
    EXPECT_TRUE(line["meterReadingIndex"].blank());
    const std::optional<std::string> message = "Ring the bell twice, please";
    EXPECT_TRUE(line.set("meterMessage", message));
    EXPECT_EQ(line.text("meterMessage"), message);
    EXPECT_TRUE(line.set("meterReadingMethod", 'M'));
    EXPECT_EQ(line["meterReadingMethod"].code(), U'M');
}

TEST(Line, reason_names_the_field_and_the_cause) {
    const auto reason = [](const RecordKind& kind, const char* field, const NewValue& value) {
        return Line(kind).set(field, value).reason;
    };
    EXPECT_EQ(
        reason(meter(), "meterReadingIndex", 12345678901), "meterReadingIndex: the value needs 11 columns; the field has 10");
    EXPECT_EQ(reason(meter(), "meterReadingIndex", "6"), "meterReadingIndex: expected an integer, found a text");
    EXPECT_EQ(
        reason(meter(), "meterReadingIndex", -1), "meterReadingIndex: the format does not write \"-1\": the field is written " +
                                                      tramo::whenWritten(*meter().field("meterReadingIndex")));
    EXPECT_EQ(reason(meter(), "meterMessage", "a\nb"), "meterMessage: the text contains a line ending (CR or LF)");
    EXPECT_EQ(reason(meter(), "meterMessage", "\xE2\x82\xAC"), "meterMessage: ANSI has no character U+20AC");
    EXPECT_EQ(reason(meter(), "meterMessage", "\xF0\x9F\x98\x80"), "meterMessage: ANSI has no character U+1F600");
    EXPECT_EQ(reason(meter(), "meterMessage", "a "),
        "meterMessage: \"a \" is written as \"a                             \", which is read without the white space at its end");
    EXPECT_EQ(reason(meter(), "meterReadingMethod", 'T'), "meterReadingMethod: the format does not write the code \"T\"");
    EXPECT_EQ(reason(meter(), "meterReadingMethod", 'x'), "meterReadingMethod: unknown code \"x\"; expected M, T, A");
    EXPECT_EQ(reason(meter(), "meterReadingDate", local_days{2040y / 1 / 1}),
        "meterReadingDate: the date is outside the 32-bit range of the format");
    EXPECT_EQ(
        reason(module(), "meterUnit", 0.12345), "meterUnit: \"0.12345\" is written as \"0.1234\", which is read as \"0.1234\"");
    EXPECT_EQ(reason(module(), "previousAlarms", 4096), "previousAlarms: there are 12 alarm flags; expected 0 to 4095");
    EXPECT_EQ(reason(module(), "previousAlarms", "1000"), "previousAlarms: there are 12 alarm flags; expected 0 to 4095");
    for (const char* text : {"82", "008G", "+082", "-082", "00082"})
        EXPECT_EQ(reason(module(), "previousAlarms", text),
            "previousAlarms: expected alarm flags (an integer or four hexadecimal digits), found a text");
    EXPECT_EQ(
        reason(module(), "previousReadingDateStr", "20240131"), "previousReadingDateStr: the format never writes the field");
}

TEST(Line, several_fields_are_set_or_none) {
    Line line = Line::of<MeterSubscriberTramoModel>(
        {{"meterSerialNumber", "C12"}, {"meterReadingIndex", 6055}, {"meterAuthorizedChange", false}});
    EXPECT_EQ(line.kind(), &meter());
    EXPECT_EQ(line.text("meterSerialNumber"), "C12");
    EXPECT_EQ(line["meterReadingIndex"].integer(), 6055);
    EXPECT_EQ(line["meterAuthorizedChange"].flag(), false);
    EXPECT_EQ(Line::of<RoundTramoModel>({{"name", "\xE2\x82\xAC"}}, Encoding::Utf16).text("name"), "\xE2\x82\xAC");
    const std::string before(line.bytes());
    const auto fill = [&](std::initializer_list<tramo::NamedValue> values) {
        return streams::thrownBy<std::invalid_argument>([&] { line.fill(values); });
    };
    EXPECT_EQ(fill({{"meterSerialNumber", "N24"}, {"meterReadingIndex", 12345678901}}),
        "meterReadingIndex: the value needs 11 columns; the field has 10");
    EXPECT_TRUE(fill({{"meterSerialNumber", "N24"}, {"meterReadingIndx", 1}}).ends_with("did you mean \"meterReadingIndex\"?"));
    EXPECT_EQ(line.bytes(), before);
    EXPECT_EQ(fill({{"meterSerialNumber", std::nullopt}, {"meterReadingIndex", 1}}), "");
    EXPECT_TRUE(line["meterSerialNumber"].blank());
    EXPECT_EQ(line["meterReadingIndex"].integer(), 1);
}

TEST(Line, result_that_is_not_done_can_be_thrown) {
    Line line(meter());
    EXPECT_NO_THROW(line.set("meterReadingIndex", 1).orThrow());
    EXPECT_EQ(streams::thrownBy<std::invalid_argument>([&] { line.set("meterReadingIndex", "x").orThrow(); }),
        line.set("meterReadingIndex", "x").reason);
}

TEST(Line, reason_names_the_type_that_the_field_has_and_the_one_that_was_given) {
    const auto reason = [](const RecordKind& kind, const char* field, const NewValue& value) {
        const SetResult result = Line(kind).set(field, value);
        EXPECT_EQ(result.code, SetResult::WrongType) << field;
        return result.reason.substr(result.reason.find(": ") + 2);
    };
    const std::pair<NewValue, std::string> values[] = {{"text", "a text"}, {1.5, "a decimal number"}, {true, "a flag"},
        {U'c', "a character"}, {sys_seconds(1s), "a time"}, {local_days(days(1)), "a day"}, {year(2020), "a year"}};
    for (const auto& [value, words] : values)
        EXPECT_EQ(reason(meter(), "meterReadingIndex", value), "expected an integer, found " + words);
    EXPECT_EQ(reason(meter(), "meterMessage", 5), "expected a text, found an integer");
    EXPECT_EQ(reason(module(), "meterUnit", "5"), "expected a number, found a text");
    EXPECT_EQ(reason(meter(), "meterReadingDate", 5), "expected a day or a time, found an integer");
    EXPECT_EQ(reason(meter(), "meterPreviousReadingDate", 5), "expected a day or a time, found an integer");
    EXPECT_EQ(reason(meter(), "meterReadingMethod", 5), "expected a character, found an integer");
    EXPECT_EQ(
        reason(module(), "previousAlarms", true), "expected alarm flags (an integer or four hexadecimal digits), found a flag");
    std::set<std::string> others;
    for (const RecordKind* kind : tramo::allKinds())
        for (const tramo::Field& field : kind->fields)
            if (field.column > 0 && (field.kind == tramo::FieldKind::Year || field.kind == tramo::FieldKind::Flag))
                others.insert(reason(*kind, field.name.c_str(), 5));
    EXPECT_EQ(others, (std::set<std::string>{"expected a flag, found an integer", "expected a year, found an integer"}));
}

TEST(KindFields, read_at_most_two_fields_into_one_value) {
    std::vector<tramo::FieldReading> readings(3, tramo::kindFieldsOf(meter()).sources[1].own[0]);
    EXPECT_NO_THROW(tramo::KindFields(meter(), std::span(readings).first(2)));
    try {
        const tramo::KindFields fields(meter(), readings);
        ADD_FAILURE();
    } catch (const std::logic_error& error) {
        EXPECT_EQ(error.what(), "tramo: more than two fields are read into " + meter().fields[1].name);
    }
}

TEST(Line, field_of_another_kind_cannot_be_set) {
    Line line = sample(L'3');
    const std::string before(line.bytes());
    const SetResult result = line.set(*meter().field("meterReadingIndex"), 5);
    EXPECT_EQ(result.code, SetResult::NoField);
    EXPECT_EQ(result.reason, "meterReadingIndex: the line does not have this field");
    EXPECT_EQ(line.bytes(), before);
}

TEST(Line, field_that_another_one_writes_is_written_like_that) {
    Line page(tramo::kindOf<EnquiryDefinitionTramoModel>());
    EXPECT_TRUE(page.set("order", 7));
    EXPECT_EQ(page.raw("order"), "07");
    Line with(module());
    EXPECT_TRUE(with.set("externalAMR", true));
    EXPECT_EQ(with.raw("externalAMR"), "1");
}

}  // namespace

TEST(Line, alarm_flags_are_set_by_their_text) {
    Line line(tramo::kindOf<AMRTramoModel>());
    ASSERT_TRUE(line.set("currentAlarms", "0082"));
    EXPECT_EQ(line["currentAlarms"].alarms(), 0x82);
    EXPECT_EQ(line.text("currentAlarms"), "0082");
    ASSERT_TRUE(line.set("currentAlarms", std::nullopt));
    EXPECT_TRUE(line["currentAlarms"].blank());
}
