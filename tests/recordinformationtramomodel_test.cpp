#include "tramostream/recordinformationtramomodel.h"
#include "support/accessors.h"
#include "support/samples.h"

using namespace records;
using M = RecordInformationTramoModel;

namespace {

void check(const State& state, Faults& mandatory, Faults&) {
    if (state.number("roundNumber") < 0) mandatory.push_back({2, 0x201});
    if (state.number("meterNumber") < 0) mandatory.push_back({7, 0x201});
}

const Table& table() {
    static const Table made = [] {
        // clang-format off
        Table all{L'9', "RecordInformationTramoModel", {
            {2, 5, "roundNumber", "roundNumber", Integer,  1LL, {2, 0x01}, {2, 0x101}, {.written = {atLeast(0)}, .mandatory = {2, 0x201}}},
            {7, 5, "meterNumber", "meterNumber", Integer, -1LL, {7, 0x01}, {7, 0x101}, {.written = {atLeast(0)}, .mandatory = {7, 0x201}, .into = "roundNumber"}},
        }};
        // clang-format on
        all.check = check;
        all.turns = 2;  // a round number below 0 is written blank, which is read as 1
        all.asymmetries = {
            {"a meter number is read into the round number",
                [](const Row& row, const State& state) { return row.name == "roundNumber" && state.number("meterNumber") >= 0; },
                {}, [](const Row&, const State& state) { return state.values.at("meterNumber"); }},
            {"a meter number is never read", [](const Row& row, const State&) { return row.name == "meterNumber"; }},
            {"a round number below 0 is not written",
                [](const Row& row, const State& state) { return row.name == "roundNumber" && state.number(row.name) < 0; }},
        };
        return all;
    }();
    return made;
}

M having(const std::wstring& round, const std::wstring& meter) { return parsed<M>(L"9" + round + meter + blanks(501)); }
std::wstring builtText(M& model) { return textOf(model.toTramoLine()); }

const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, RoundNumber),
    ACCESSORS(M, MeterNumber),
};

}  // namespace

TEST_EVERY_FIELD(RecordInformationTramoModel, table)

TEST(RecordInformation, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

TEST(RecordInformation, HasNoDefaultConstructor) { EXPECT_FALSE(std::is_default_constructible_v<M>); }

TEST(RecordInformation, ReadsTheMeterNumberIntoTheRoundNumber) {
    M model = having(L"   12", L"   34");
    EXPECT_EQ(model.getRoundNumber(), 34);
    EXPECT_EQ(model.getMeterNumber(), -1);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{7, 0x201}}));
    EXPECT_EQ(builtText(model), L"9   34" + blanks(506));
}

TEST(RecordInformation, KeepsTheRoundNumberIfTheMeterNumberIsBlankOrInvalid) {
    EXPECT_EQ(having(L"   12", L"     ").getRoundNumber(), 12);
    const Silence quiet;
    const M bad = having(L"   12", L"  x34");
    EXPECT_EQ(bad.getRoundNumber(), 12);
    EXPECT_EQ(faults(bad.getParseErrors()), (Faults{{7, 0x01}}));
}

TEST(RecordInformation, ReadsTheMeterNumberEvenIfTheRoundNumberIsBlankOrInvalid) {
    EXPECT_EQ(having(L"     ", L"   34").getRoundNumber(), 34);
    const Silence quiet;
    const M bad = having(L"   x2", L"34   ");
    EXPECT_EQ(bad.getRoundNumber(), 34);
    EXPECT_EQ(faults(bad.getParseErrors()), (Faults{{2, 0x01}}));
}

TEST(RecordInformation, KeepsItsInitialNumbersIfBothAreBlank) {
    M model = having(L"     ", L"     ");
    EXPECT_EQ(model.getRoundNumber(), 1);
    EXPECT_EQ(model.getMeterNumber(), -1);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(builtText(model), L"9    1" + blanks(506));
}

TEST(RecordInformation, ListsBothErrorsInOrder) {
    const Silence quiet;
    EXPECT_EQ(faults(having(L"xxxxx", L"-    ").getParseErrors()), (Faults{{2, 0x01}, {7, 0x01}}));
}

TEST(RecordInformation, WritesOnlyTheRoundNumberWithoutAMeterNumber) {
    M model = having(L"     ", L"     ");
    model.setRoundNumber(5);
    EXPECT_EQ(builtText(model), L"9    5" + blanks(506));
    model.setMeterNumber(0);
    EXPECT_EQ(builtText(model), L"9    5    0" + blanks(501));
    model.setRoundNumber(-1);
    EXPECT_EQ(builtText(model), L"9         0" + blanks(501));
}

TEST(RecordInformation, TruncatesNumbersOfMoreThanFiveDigitsOnTheRight) {
    M model = having(L"     ", L"     ");
    model.setRoundNumber(123456);
    model.setMeterNumber(2147483647);
    EXPECT_EQ(builtText(model), L"91234521474" + blanks(501));
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(RecordInformation, ReportsEachNumberBelow0AsMissing) {
    M model = having(L"     ", L"     ");
    for (const int round : {-2, -1, 0, 1})
        for (const int meter : {-2, -1, 0, 1}) {
            model.setRoundNumber(round);
            model.setMeterNumber(meter);
            Faults expected;
            if (round < 0) expected.push_back({2, 0x201});
            if (meter < 0) expected.push_back({7, 0x201});
            EXPECT_EQ(faults(model.getMandatoryErrors()), expected) << round << ' ' << meter;
            EXPECT_EQ(faults(model.getMandatoryErrors()), expected);
        }
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
}

TEST(RecordInformation, IsDescribedToReportCorrectLines) {
    EXPECT_FALSE(fieldOf<M>("roundNumber").reportedOnGoodLines);
    EXPECT_TRUE(fieldOf<M>("meterNumber").reportedOnGoodLines);
}

TEST(RecordInformation, ShowsItsNumbers) {
    M model = having(L"    7", L"     ");
    EXPECT_EQ(model.toString(), L"RecordInformationTramoModel[roundNumber:7,meterNumber:-1]");
    model.setMeterNumber(123456);
    EXPECT_EQ(model.toString(), L"RecordInformationTramoModel[roundNumber:7,meterNumber:123456]");
}

// ---- Samples --------------------------------------------------------------------------------------------------------

TEST(RecordInformation, ReadsTheSamplesAndWritesThemBack) {
    // round 1, 60 meters: the 60 is read into the round number
    samplesAreReadAndWrittenBack<M>(table(), 2, [](std::wstring& line) {
        EXPECT_EQ(columns(line, 2, 10), L"    1   60");
        put(line, 2, L"   60     ");
    });
}
