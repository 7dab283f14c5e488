#include "tramostream/extendeddatatramomodel.h"
#include "support/accessors.h"
#include "support/records.h"

using namespace records;
using M = ExtendedDataTramoModel;

namespace {

const Table& table() {
    // clang-format off
    static const Table made{
        .letter = L'7',
        .model = "ExtendedDataTramoModel",
        .rows = {
            { 2, 12, "meterSerialNumber", "meterSerialNumber", Text,    L"", {},         {2, 0x102},  {.mandatory = {2, 0x201}}},
            {14, 16, "latitude",          "latitude",          Decimal, 0.0, {14, 0x04}, {14, 0x104}, {.written = {wasSet()}, .decimals = 12}},
            {30, 16, "longitude",         "longitude",         Decimal, 0.0, {30, 0x04}, {30, 0x104}, {.written = {wasSet()}, .decimals = 12}},
            {46,  8, "altitude",          "altitude",          Decimal, 0.0, {46, 0x04}, {46, 0x104}, {.written = {wasSet()}, .decimals = 3}},
            {54,  8, "accuracy",          "accuracy",          Decimal, 0.0, {54, 0x04}, {54, 0x104}, {.written = {wasSet()}, .decimals = 3}},
            {62,  8, "updateDate",        "updateDate",        Date,    0LL, {62, 0x1B}, {62, 0x115}, {.written = {wasSet()}}},
            {70,  2, "scoreType",         "scoreType",         Text,    L"", {},         {70, 0x102}, {.written = {wasSet()}}},
            {72,  8, "scoreValue",        "scoreValue",        Text,    L"", {},         {72, 0x102}, {.written = {wasSet()}}},
        },
        .check = [](const State& state, Faults& mandatory, Faults&) {
            if (state.text("meterSerialNumber").empty()) mandatory.push_back({2, 0x201});
        },
        .asymmetries = {
            {.reason = "a date of 0 that was set is written as a day that begins before 1970, and cannot be read",
             .applies = [](const Row& row, const State& state) { return row.kind == Date && state.present.contains(row.name) && state.number(row.name) == 0; },
             .reported = {62, 0x1B}},
        },
    };
    // clang-format on
    return made;
}

// clang-format off
const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, MeterSerialNumber),
    ACCESSORS(M, Latitude),
    ACCESSORS(M, Longitude),
    ACCESSORS(M, Altitude),
    ACCESSORS(M, Accuracy),
    ACCESSORS(M, UpdateDate),
    ACCESSORS(M, ScoreType),
    ACCESSORS(M, ScoreValue),
};
// clang-format on

std::wstring blankLine() { return blankText(L'7'); }
std::wstring wholeLine() {
    std::wstring line = blankLine();
    put(line, 2, L"C12AB0100000");
    put(line, 14, L" 48.500000000000");
    put(line, 30, L" -1.600150000000");
    put(line, 46, L" 112.500");
    put(line, 54, L"   2.500");
    put(line, 62, L"20240116");
    put(line, 70, L"GP");
    put(line, 72, L"080");
    return line;
}

}  // namespace

TEST_EVERY_FIELD(ExtendedDataTramoModel, table)

TEST(ExtendedData, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(ExtendedData, ReadsAWholeLine) {
    M model = parsed<M>(wholeLine());
    EXPECT_EQ(model.getMeterSerialNumber(), L"C12AB0100000");
    EXPECT_EQ(model.getLatitude(), 48.5);
    EXPECT_EQ(model.getLongitude(), -1.60015);
    EXPECT_EQ(model.getAltitude(), 112.5);
    EXPECT_EQ(model.getAccuracy(), 2.5);
    EXPECT_EQ(model.getUpdateDate(), *seconds(2024, 1, 16));
    EXPECT_EQ(model.getScoreType(), L"GP");
    EXPECT_EQ(model.getScoreValue(), L"080");
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), wholeLine());
}

TEST(ExtendedData, ReadsACommaAsADecimalPoint) {
    std::wstring line = blankLine();
    put(line, 14, L"48,5");
    put(line, 30, L"-1,60015");
    put(line, 46, L"  112,5 ");
    put(line, 54, L"2,5e-1x");
    const M model = parsed<M>(line);
    EXPECT_EQ(model.getLatitude(), 48.5);
    EXPECT_EQ(model.getLongitude(), -1.60015);
    EXPECT_EQ(model.getAltitude(), 112.5);
    EXPECT_EQ(model.getAccuracy(), 0.25);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
}

TEST(ExtendedData, RejectsALineOfAnotherKind) {
    std::wstring line = wholeLine();
    line[0] = L'4';
    const Console console;
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x203}}));
    EXPECT_EQ(console.narrow(), "ExtendedDataTramoModel : unvalidLineType(4 != 7), Parse failed\n");
    EXPECT_EQ(console.wide(), L"");
    expectValues(model, absentState(table()));
    EXPECT_EQ(textOf(model.getTramoLine()), line);
    EXPECT_EQ(textOf(model.toTramoLine()), blankLine());
}

TEST(ExtendedData, RejectsALineWithAnUnknownLetter) {
    const Console console;
    EXPECT_EQ(faults(parsed<M>(blankText(L'8')).getParseErrors()), (Faults{{0, 0x15}, {0, 0x203}}));
    EXPECT_EQ(console.narrow(), "ExtendedDataTramoModel : unvalidLineType(8 != 7), Parse failed\n");
    EXPECT_EQ(console.wide(), L"toLineType (8), Parse failed\n\n");
}

TEST(ExtendedData, LeavesOutAnInvalidLatitude) {
    std::wstring line = wholeLine();
    put(line, 14, L"abc             ");
    const Console console;
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{14, 0x04}}));
    EXPECT_EQ(console.wide(), L"toDouble: abc cannot be converted.\n");
    EXPECT_EQ(model.getLatitude(), 0.0);
    std::wstring expected = wholeLine();
    put(expected, 14, blanks(16));
    EXPECT_EQ(textOf(model.toTramoLine()), expected);
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(ExtendedData, ListsEveryErrorInTheOrderOfTheColumns) {
    const Silence quiet;
    const M model = parsed<M>(L"7" + std::wstring(511, L'x'));
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{14, 0x04}, {30, 0x04}, {46, 0x04}, {54, 0x04}, {62, 0x1B}}));
}

TEST(ExtendedData, IgnoresTheColumnsAfterTheScore) {
    std::wstring line = wholeLine();
    put(line, 80, std::wstring(512 - 79, L'x'));
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), wholeLine());
}

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST(ExtendedData, WritesOnlyTheSerialNumberIfOnlyThatWasRead) {
    std::wstring line = blankLine();
    put(line, 2, L"C12AB0100000");
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), line);
}

TEST(ExtendedData, WritesADefaultModelBlank) { EXPECT_EQ(textOf(M().toTramoLine()), blankLine()); }

// 0 is a normal value once it was set or read.
TEST(ExtendedData, WritesA0ThatWasSet) {
    M model;
    model.setLatitude(0.0);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 2, 44), blanks(12) + L"  0.000000000000" + blanks(16));
    model.setLongitude(0.0);
    model.setAltitude(0.0);
    model.setAccuracy(0.0);
    model.setUpdateDate(0);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 14, 56), L"  0.000000000000  0.000000000000   0.000   0.00019700101");
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    M read = parsed<M>(textOf(model.toTramoLine()).replace(61, 8, L"19700102"));
    EXPECT_EQ(columns(textOf(read.toTramoLine()), 14, 56), L"  0.000000000000  0.000000000000   0.000   0.00019700102");
}

TEST(ExtendedData, WritesEmptyTextsBlank) {
    M model;
    model.setScoreType(L"");
    model.setScoreValue(L"");
    EXPECT_EQ(textOf(model.toTramoLine()), blankLine());
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(ExtendedData, TruncatesCoordinatesTo16Characters) {
    M model;
    model.setLatitude(48.5);
    model.setLongitude(-123.456789);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 14, 32), L" 48.500000000000-123.45678900000");
    model.setLatitude(-89.999999999999);
    model.setLongitude(179.123456789123);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 14, 32), L"-89.999999999999179.123456789123");
    model.setLatitude(1e20);
    model.setLongitude(-1e300);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 14, 32), L"1000000000000000-100000000000000");
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(ExtendedData, TruncatesAltitudeAndAccuracyTo8Characters) {
    M model;
    model.setAltitude(-1234.5678);
    model.setAccuracy(0.0005);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 46, 16), L"-1234.56   0.001");
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(ExtendedData, RoundTripsInfinityAndNotANumber) {
    std::wstring line = blankLine();
    put(line, 14, L"             inf            -nan     nan    -inf");
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), line);
}

TEST(ExtendedData, LeavesOutTooLongTexts) {
    M model;
    model.setMeterSerialNumber(std::wstring(13, L'x'));
    model.setScoreType(L"xxx");
    model.setScoreValue(std::wstring(9, L'x'));
    const auto line = model.toTramoLine();
    EXPECT_EQ(textOf(line), blankLine());
    EXPECT_EQ(lineEndOf(line), L"\r\n");
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{2, 0x102}, {70, 0x102}, {72, 0x102}}));
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{2, 0x102}, {70, 0x102}, {72, 0x102}}));  // replaced, not appended
}

TEST(ExtendedData, KeepsTheParsedLine) {
    EXPECT_EQ(textOf(M().getTramoLine()), blanks(512));
    EXPECT_EQ(lineEndOf(M().getTramoLine()), L"\r\n");
    M model = parsed<M>(wholeLine());
    model.setLatitude(1);
    model.setScoreType(L"XX");
    model.toTramoLine();
    EXPECT_EQ(textOf(model.getTramoLine()), wholeLine());
}

// ---- Checking -------------------------------------------------------------------------------------------------------

TEST(ExtendedData, MustHaveASerialNumberAndNothingElse) {
    M model;
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{2, 0x201}}));
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{2, 0x201}}));  // once
    model.setMeterSerialNumber(L"C12AB0100000");
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    EXPECT_EQ(faults(parsed<M>(blankLine()).getMandatoryErrors()), (Faults{{2, 0x201}}));
}

// ---- Built again and again --------------------------------------------------------------------------------------------

TEST(ExtendedData, CoordinatesRoundTripUnchanged) {
    std::wstring line = wholeLine();
    for (const wchar_t* text : {L"180.000000000001", L"-179.99999999999", L"  89.99999999999", L"  0.000000000001"}) {
        put(line, 14, std::wstring(16, L' '));
        put(line, 14, text);
        M model = parsed<M>(line);
        const std::wstring built = textOf(model.toTramoLine());
        M again = parsed<M>(built);
        EXPECT_EQ(again.getLatitude(), model.getLatitude()) << testing::PrintToString(text);
        EXPECT_EQ(textOf(again.toTramoLine()), built) << testing::PrintToString(text);
    }
}

// Six digits and twelve decimals exceed the precision of a double, and digits that do not fit are truncated, not rounded.
TEST(ExtendedData, AnotherNumberLosesItsLastDecimals) {
    std::wstring line = wholeLine();
    put(line, 14, L"402308.499920000");
    M model = parsed<M>(line);
    EXPECT_EQ(textOf(model.toTramoLine()).substr(13, 16), L"402308.499919999");
    M again = parsed<M>(textOf(model.toTramoLine()));
    EXPECT_EQ(textOf(again.toTramoLine()).substr(13, 16), L"402308.499919998");
}

// ---- Showing --------------------------------------------------------------------------------------------------------

TEST(ExtendedData, ShowsADefaultModel) {
    EXPECT_EQ(M().toString(), L"ExtendedDataTramoModel[meterSerialNumber:,latitude:0.000000,longitude:0.000000,altitude:0.000000,"
                              L"accuracy:0.000000,updateDate:0,scoreType:,scoreValue:]");
}

TEST(ExtendedData, ShowsAParsedModel) {
    EXPECT_EQ(parsed<M>(wholeLine()).toString(),
        L"ExtendedDataTramoModel[meterSerialNumber:C12AB0100000,latitude:48.500000,longitude:-1.600150,altitude:112.500000,"
        L"accuracy:2.500000,updateDate:1705359600,scoreType:GP,scoreValue:080]");  // a midnight one hour east of Greenwich
}
