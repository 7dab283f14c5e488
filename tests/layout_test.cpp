// Mistakes in a table: the compiler rejects columns outside the line and columns of two fields. Most of these tests run at
// compile time.
#include "model/frame.h"
#include <gtest/gtest.h>

using namespace tramo;

namespace {

// A record of 23 characters, and one of 512 that begins with a letter.
template <class Line> struct Model {
    FieldText label;
    int number = 0;
    bool isSet = false;
    TF::MeterFluid fluidType = TF::MeterFluid::Unset;
    codec::AlarmFlags alarmFlags{};
    Line line{};
    ErrorLists errors;
};
using Short = Model<TagLine::tagLine_t>;
using Long = Model<TramoLine::tramoLine_t>;

template <class M> constexpr Row<M> textAt(std::int32_t column, int width, RowOptions<M> options = {}) {
    return {column, width, "label", text<&M::label>, options};
}
constexpr Row<Short> inShort(std::int32_t column, int width, RowOptions<Short> options = {}) {
    return textAt<Short>(column, width, options);
}
constexpr Row<Long> inLong(std::int32_t column, int width, RowOptions<Long> options = {}) {
    return textAt<Long>(column, width, options);
}

template <std::size_t N> constexpr int outside(const Row<Short> (&rows)[N]) {
    return detail::columnOutsideLine(Record<Short>{0, "Short", "short", rows});
}
template <std::size_t N> constexpr int outside(const Row<Long> (&rows)[N]) {
    return detail::columnOutsideLine(Record<Long>{L'0', "Long", "long", rows});
}
template <std::size_t N> constexpr int shared(const Row<Long> (&rows)[N]) {
    return detail::columnOfTwoFields(Record<Long>{L'0', "Long", "long", rows});
}

// ---- Inside the line ------------------------------------------------------------------------------------------------

static_assert(outside({inLong(2, 511)}) == detail::noColumn);
static_assert(outside({inLong(512, 1)}) == detail::noColumn);
static_assert(outside({inShort(1, 23)}) == detail::noColumn);

static_assert(outside({inLong(1, 5)}) == 1, "column 1 is the letter's");
static_assert(outside({inLong(0, 5)}) == 0);
static_assert(outside({inLong(-3, 5)}) == -3);
static_assert(outside({inLong(2, 512)}) == 2);
static_assert(outside({inLong(2, 5), inLong(512, 2), inLong(600, 1)}) == 512, "the first of several is named");
static_assert(outside({inLong(513, 1)}) == 513, "column 513 is the line end's");
static_assert(outside({inLong(100, -2)}) == 100);
static_assert(outside({inLong(505, 8, {.buildWidth = 16})}) == 505, "what is written counts, too");
static_assert(outside({inLong(497, 8, {.buildWidth = 16})}) == detail::noColumn);
static_assert(outside({inShort(1, 24)}) == 1);
static_assert(outside({inShort(0, 1)}) == 0);
static_assert(outside({inLong(900, 0)}) == detail::noColumn, "a field that is only shown lies nowhere");

// ---- One field per column -------------------------------------------------------------------------------------------

static_assert(shared({inLong(2, 10), inLong(12, 10)}) == detail::noColumn);
static_assert(shared({inLong(12, 10), inLong(2, 10)}) == detail::noColumn, "in any order");
static_assert(shared({inLong(2, 10), inLong(11, 10)}) == 11);
static_assert(shared({inLong(11, 10), inLong(2, 10)}) == 11);
static_assert(shared({inLong(20, 5), inLong(10, 30)}) == 20, "the first column of both");
static_assert(shared({inLong(2, 1), inLong(2, 1)}) == 2);
static_assert(shared({inLong(512, 1), inLong(500, 13)}) == 512);
static_assert(shared({inLong(2, 10), inLong(2, 10, {.overlaid = true})}) == detail::noColumn, "deliberately");
static_assert(shared({inLong(2, 10), inLong(2, 11, {.overlaid = true})}) == 12, "but only where there is another field");
static_assert(shared({inLong(2, 10, {.overlaid = true})}) == 2);
static_assert(
    shared({inLong(2, 10), inLong(5, 0), inLong(12, 1)}) == detail::noColumn, "a field that is only shown takes no column");

}  // namespace

TEST(Table, ReportsAColumnOfTwoFieldsAtRunTime) {
    const Row<Long> rows[] = {inLong(2, 10), inLong(11, 502)};
    const Record<Long> record{L'0', "Long", "long", rows};
    EXPECT_EQ(detail::columnOutsideLine(record), detail::noColumn);
    EXPECT_EQ(detail::columnOfTwoFields(record), 11);
}

TEST(Table, JoinsTablesInOrder) {
    static constexpr auto all = joined(
        fields<Long>({inLong(2, 1), inLong(3, 1)}), fields<Long>({inLong(9, 1)}), fields<Long>({inLong(4, 1), inLong(5, 1)}));
    std::vector<int> columns;
    for (const Row<Long>& row : all) columns.push_back(row.column);
    EXPECT_EQ(columns, (std::vector<int>{2, 3, 9, 4, 5}));
}

TEST(Row, ReportsAtItsOwnColumnWithTheCodeOfItsKind) {
    const Row<Long> row{7, 5, "number", number<&Long::number>};
    EXPECT_EQ(row.parseError(), (TE::FieldError{7, TE::ParseInteger}));
    EXPECT_EQ(row.buildError(), (TE::FieldError{7, TE::BuildInteger}));
    EXPECT_EQ(row.missingColumn(), 7);
}

TEST(Row, ReportsAtTheColumnsAndWithTheCodesStated) {
    const Row<Long> row{7, 5, "number", number<&Long::number>,
        {.parseColumn = 1, .buildColumn = 2, .missingColumn = 3, .parseCode = TE::ParseBool, .buildCode = TE::BuildText}};
    EXPECT_EQ(row.parseError(), (TE::FieldError{1, TE::ParseBool}));
    EXPECT_EQ(row.buildError(), (TE::FieldError{2, TE::BuildText}));
    EXPECT_EQ(row.missingColumn(), 3);
}

// ---- Labels ---------------------------------------------------------------------------------------------------------

namespace {

constexpr Row<Long> rowsWithLabels[] = {
    {2, 5, "number", number<&Long::number>},
    {7, 5, "area#Number", number<&Long::number>, {.slot = 4}},
    {12, 5, "total", number<&Long::number>, {.label = "sum#Of", .slot = 18}},
    {17, 5, "hidden", number<&Long::number>, {.label = notShown}},
    {22, 1, "x", flag<&Long::isSet>},
};
constexpr Record<Long> plainLabels{.letter = L'0', .model = "Long", .name = "long", .rows = rowsWithLabels};
constexpr Record<Long> prefixedLabels{
    .letter = L'0', .model = "Long", .name = "long", .rows = rowsWithLabels, .labelPrefix = "amr"};

}  // namespace

TEST(Label, IsTheNameOrTheStatedLabel) {
    EXPECT_EQ(checked<plainLabels>().print(Long()), L"Long[number:0,area4Number:0,sum18Of:0,x:0]");
}

TEST(Label, FollowsThePrefixOfTheRecordUnlessItIsStated) {
    EXPECT_EQ(checked<prefixedLabels>().print(Long()), L"Long[amrNumber:0,amrArea4Number:0,sum18Of:0,amrX:0]");
}

TEST(Table, ReportsAColumnOutsideTheLineAtRunTime) {
    const Row<Long> low[] = {inLong(1, 1)}, high[] = {inLong(512, 2)}, negative[] = {inLong(9, -1)};
    EXPECT_EQ(outside(low), 1);
    EXPECT_EQ(outside(high), 512);
    EXPECT_EQ(outside(negative), 9);
    const Row<Short> whole[] = {inShort(1, 23)};
    EXPECT_EQ(outside(whole), detail::noColumn);
    const Row<Long> apart[] = {inLong(2, 10), inLong(12, 501)};
    EXPECT_EQ(shared(apart), detail::noColumn);
}

TEST(Value, HasAMeasureForConditions) {
    Long model;
    EXPECT_EQ(text<&Long::label>.measure(model), 0);
    model.label = std::wstring(L"four");
    EXPECT_EQ(text<&Long::label>.measure(model), 4);
    model.number = -7;
    EXPECT_EQ(number<&Long::number>.measure(model), -7);
    EXPECT_EQ(flag<&Long::isSet>.measure(model), 0);
    model.isSet = true;
    EXPECT_EQ(flag<&Long::isSet>.measure(model), 1);
    EXPECT_EQ(fluid<&Long::fluidType>.measure(model), 0) << "unset";
    model.fluidType = TF::MeterFluid::Blank;
    EXPECT_EQ(fluid<&Long::fluidType>.measure(model), 1);
    EXPECT_EQ(alarms<&Long::alarmFlags>.measure(model), 0);
    model.alarmFlags[0] = model.alarmFlags[11] = true;
    EXPECT_EQ(alarms<&Long::alarmFlags>.measure(model), 2049);
}

TEST(Value, OfAlarmFlagsIsShownAsANumber) {
    Long model;
    model.alarmFlags[1] = model.alarmFlags[10] = true;
    std::wstring shown = L"alarms:";
    alarms<&Long::alarmFlags>.print(model, shown);
    EXPECT_EQ(shown, L"alarms:1026");
}

TEST(Condition, ComparesWithItsLimit) {
    struct {
        tramo::Test test;
        bool below, at, above;
    } const rows[] = {{always, true, true, true}, {never, false, false, false}, {above(3), false, false, true},
        {atLeast(3), false, true, true}, {below(3), true, false, false}, {notAbove(3), true, true, false},
        {otherThan(3), true, false, true}};
    for (const auto& row : rows) {
        EXPECT_EQ(passes(row.test, [] { return 2.999; }), row.below);
        EXPECT_EQ(passes(row.test, [] { return 3.0; }), row.at);
        EXPECT_EQ(passes(row.test, [] { return 3.001; }), row.above);
    }
    const auto noNumber = [] { return std::numeric_limits<double>::quiet_NaN(); };
    EXPECT_TRUE(passes(notAbove(3), noNumber));
    EXPECT_FALSE(passes(below(3), noNumber));
    EXPECT_TRUE(passes(filled, [] { return 1.0; }) && passes(empty, [] { return 0.0; }));
    EXPECT_FALSE(passes(filled, [] { return 0.0; }) || passes(empty, [] { return 1.0; }));
}

TEST(Condition, MeasuresOnlyIfTheResultDependsOnIt) {
    const auto measure = []() -> double { throw std::logic_error("measured"); };
    EXPECT_TRUE(passes(always, measure));
    EXPECT_FALSE(passes(never, measure));
}
