// decode() against the models, which define what a line means.
#include "tramostream/decode.h"
#include "support/build.h"
#include "support/randomlines.h"
#include "support/records.h"
#include "support/samples.h"
#include "support/timezone.h"
#include "tramostream/anyrecord.h"
#include <bit>
#include <cstdlib>
#ifndef _WIN32
#include "support/fencedtext.h"
#endif

using namespace records;
using tramo::AnyRecord, tramo::DecodedValue, tramo::RecordKind;

namespace {

template <class Char> std::basic_string<Char> as(const std::wstring& line) {
    std::basic_string<Char> out;
    for (const wchar_t c : line) out += static_cast<Char>(c);
    return out;
}

using Values = std::vector<DecodedValue>;

template <class Char> Values decoded(const RecordKind& kind, const std::wstring& line) {
    const std::basic_string<Char> text = as<Char>(line);
    Values values(kind.fields.size());
    EXPECT_TRUE(tramo::decode(kind, text, values));
    return values;
}

// Also of NaN.
testing::AssertionResult same(const Values& a, const Values& b) {
    const auto bits = [](const DecodedValue& value) {
        return std::tuple(
            value.present, value.unreadable, value.first, value.size, value.integer, std::bit_cast<long long>(value.real));
    };
    for (std::size_t i = 0; i < a.size(); ++i)
        if (bits(a[i]) != bits(b[i])) return testing::AssertionFailure() << "field " << i;
    return a.size() == b.size() ? testing::AssertionSuccess() : testing::AssertionFailure() << "sizes";
}

FieldValue valueOf(const Field& field, const DecodedValue& value, const std::wstring& line) {
    switch (field.kind) {
    case tramo::FieldKind::Text: return line.substr(value.first, value.size);
    case tramo::FieldKind::Decimal: return value.real;
    case tramo::FieldKind::Code: return static_cast<wchar_t>(value.integer);
    case tramo::FieldKind::Flag: return value.integer != 0;
    default: return value.integer;
    }
}

std::vector<std::pair<int, int>> sorted(const std::vector<TE::FieldError>& errors) {
    std::vector<std::pair<int, int>> all;
    for (const TE::FieldError& error : errors) all.emplace_back(error.column, error.code);
    std::ranges::sort(all);
    return all;
}

void expectAsTheModel(const RecordKind& kind, const std::wstring& line, const Values& values) {
    const Silence quiet;
    const AnyRecord model(lineOf<TramoLine::tramoLine_t>(line));
    std::vector<TE::FieldError> unreadable;
    for (const Field& field : kind.fields) {
        if (field.column == 0) continue;
        const DecodedValue& value = values[field.index];
        if (value.unreadable) unreadable.push_back(field.parseError);
        EXPECT_TRUE(equal(value.present ? valueOf(field, value, line) : field.defaultValue, model.get(field)))
            << kind.name << ", " << field.name << ": " << display(line);
    }
    EXPECT_EQ(sorted(unreadable), sorted(model.getParseErrors())) << kind.name << ": " << display(line);
}

void expectAsTheModel(const std::wstring& line) {
    const RecordKind& kind = *tramo::recordKind(line[0]);
    const bool isAnsi = std::ranges::all_of(line, [](wchar_t c) { return c <= 0xFF; });
    const Values values = decoded<char16_t>(kind, line);
    if (isAnsi) { EXPECT_TRUE(same(decoded<char>(kind, line), values)); }
    expectAsTheModel(kind, line, values);
}

TEST(Decode, samples_have_the_values_of_their_models) {
    std::size_t count = 0;
    for (const char* file : {"round-exported.txt", "round-returned.txt", "round-broken.txt", "round-damaged.txt"})
        for (const std::wstring& line : sampleLinesOf(file, 512)) {
            if (!tramo::recordKind(line[0])) continue;
            expectAsTheModel(line);
            ++count;
        }
    EXPECT_GT(count, 500u);
}

TEST(Decode, blank_lines_have_the_values_of_their_models) {
    for (const RecordKind* kind : tramo::recordKinds()) expectAsTheModel(blankText(kind->letter));
}

// A quarter of the lines in each zone: without summer time, with it, with half an hour of it, and with clock changes at midnight.
TEST(Decode, random_lines_have_the_values_of_their_models) {
    const char* const chosen = std::getenv("TRAMO_LINES");
    const int linesOfEachKind = chosen ? std::atoi(chosen) : testsOptimised ? 4000 : 1000;
    unsigned seed = 0;
    for (const char* zone : {"UTC", "Europe/Paris", "Australia/Lord_Howe", "America/Sao_Paulo"}) {
        const TimeZone local(zone);
        Random random(++seed);
        for (const RecordKind* kind : tramo::recordKinds())
            for (int i = 0; i < linesOfEachKind / 4 && !testing::Test::HasFailure(); ++i)
                expectAsTheModel(randomLine(*kind, random));
    }
}

#ifndef _WIN32
template <class Char> void expectSameBetweenPages(const RecordKind& kind, const std::wstring& line) {
    static FencedText fenced;
    const std::basic_string<Char> text = as<Char>(line);
    const std::basic_string_view<Char> view = text;
    Values expected(kind.fields.size()), values = expected;
    ASSERT_TRUE(tramo::decode(kind, view, expected));
    ASSERT_TRUE(tramo::decode(kind, fenced.atEnd(view), values));
    EXPECT_TRUE(same(values, expected)) << display(line);
    ASSERT_TRUE(tramo::decode(kind, fenced.atBegin(view), values));
    EXPECT_TRUE(same(values, expected)) << display(line);
}

TEST(Decode, nothing_outside_the_line_is_read) {
    Random random(3);
    for (const RecordKind* kind : tramo::recordKinds())
        for (int i = 0; i < 200; ++i) {
            const std::wstring line = randomLine(*kind, random);
            expectSameBetweenPages<char>(*kind, line);
            expectSameBetweenPages<char16_t>(*kind, line);
        }
}
#endif

TEST(Decode, value_shows_where_its_text_is) {
    std::wstring line = blankText(L'3');
    const RecordKind& kind = *tramo::recordKind(L'3');
    const Field& index = *kind.field("newMeterIndex");
    put(line, index.column, L"     6O54 ");
    const DecodedValue value = decoded<char>(kind, line)[index.index];
    EXPECT_TRUE(value.present);
    EXPECT_FALSE(value.unreadable);
    EXPECT_EQ(value.integer, 6);
    EXPECT_EQ(line.substr(value.first, value.size), L"     6O54");
}

TEST(Decode, blank_field_that_is_read_as_a_text_has_no_text_in_the_line) {
    const RecordKind& kind = *tramo::recordKind(L'1');
    const DecodedValue value = decoded<char>(kind, blankText(L'1'))[kind.field("meterAuthorizedChange")->index];
    EXPECT_TRUE(value.present);
    EXPECT_EQ(value.integer, 1);
    EXPECT_EQ(value.size, 0);
}

TEST(Decode, second_of_two_fields_with_one_value_counts) {
    const RecordKind& kind = *tramo::recordKind(L'9');
    std::wstring line = blankText(L'9');
    put(line, 2, L"   12   34");
    EXPECT_EQ(decoded<char>(kind, line)[0].integer, 34);
    EXPECT_FALSE(decoded<char>(kind, line)[1].present);
    put(line, 2, L"   12    x");
    EXPECT_EQ(decoded<char>(kind, line)[0].integer, 12);
    EXPECT_TRUE(decoded<char>(kind, line)[1].unreadable);
    put(line, 2, L"    x   34");
    EXPECT_EQ(decoded<char>(kind, line)[0].integer, 34);
    EXPECT_TRUE(decoded<char>(kind, line)[0].unreadable);
}

TEST(Decode, line_or_array_that_is_too_short_changes_nothing) {
    const RecordKind& kind = *tramo::recordKind(L'1');
    const Values before(kind.fields.size(), DecodedValue{.present = true, .integer = 5});
    Values values = before;
    EXPECT_FALSE(tramo::decode(kind, std::string(511, ' '), values));
    EXPECT_FALSE(tramo::decode(kind, std::string(512, ' '), std::span(values).first(values.size() - 1)));
    EXPECT_FALSE(tramo::decode(RecordKind{}, std::string(512, ' '), values));
    EXPECT_TRUE(same(values, before));
}

}  // namespace
