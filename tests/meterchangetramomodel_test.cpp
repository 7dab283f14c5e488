#include "tramostream/meterchangetramomodel.h"
#include "support/accessors.h"
#include "support/records.h"

using namespace records;
using M = MeterChangeTramoModel;

namespace {

// The check looks for wheels and index in the parsed texts, not in the values.
void check(const State& state, Faults& mandatory, Faults&) {
    if (state.text("oldMeterSerialNumber").empty()) mandatory.push_back({2, 0x201});
    if (state.text("newMeterSerialNumber").empty()) mandatory.push_back({14, 0x201});
    if (state.texts.at("newMeterWheelsNumber").empty()) mandatory.push_back({26, 0x201});
    if (state.texts.at("newMeterIndex").empty()) mandatory.push_back({28, 0x201});
    if (state.number("newMeterInstallationDate") < 1) mandatory.push_back({38, 0x201});
}

const Table& table() {
    // clang-format off
    static const Table made{
        .letter = L'3',
        .model = "MeterChangeTramoModel",
        .rows = {
            { 2, 12, "oldMeterSerialNumber",     "oldMeterSerialNumber",     Text,    L"",  {},         {2, 0x102},  {.mandatory = {2, 0x201}}},
            {14, 12, "newMeterSerialNumber",     "newMeterSerialNumber",     Text,    L"",  {},         {14, 0x101}, {.mandatory = {14, 0x201}}},
            {26,  2, "newMeterWheelsNumber",     "newMeterWheelsNumber",     Integer, -1LL, {26, 0x01}, {26, 0x101}, {.written = {above(3)}, .mandatory = {26, 0x201}}},
            {28, 10, "newMeterIndex",            "newMeterIndex",            Integer, 0LL,  {28, 0x01}, {28, 0x102}, {.written = {atLeast(0)}, .mandatory = {28, 0x201}}},
            {38,  8, "newMeterInstallationDate", "newMeterInstallationDate", Date,    0LL,  {38, 0x1B}, {38, 0x115}, {.mandatory = {38, 0x201}}},
        },
        .check = check,
        .asymmetries = {
            {"3 wheels or fewer, or an index below 0, are not written", [](const Row& row, const State& state) { return !isWritten(row, state); }},
            {.reason = "a date of 0 is written as a day that begins before 1970, and cannot be read",
             .applies = [](const Row& row, const State& state) { return row.kind == Date && state.number(row.name) == 0; },
             .reported = {38, 0x1B}},
        },
        .turns = 2,   // an index below 0 is written blank, which is read as 0
    };
    // clang-format on
    return made;
}

// clang-format off
const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, OldMeterSerialNumber),
    ACCESSORS(M, NewMeterSerialNumber),
    ACCESSORS(M, NewMeterWheelsNumber),
    ACCESSORS(M, NewMeterIndex),
    ACCESSORS(M, NewMeterInstallationDate),
};
// clang-format on

std::wstring blankLine() { return blankText(L'3'); }
std::wstring wholeLine() {
    std::wstring line = blankLine();
    put(line, 2, L"C12AB0100000");
    put(line, 14, L"D24AB0100777");
    put(line, 26, L" 5");
    put(line, 28, L"        12");
    put(line, 38, L"20240116");
    return line;
}

}  // namespace

TEST_EVERY_FIELD(MeterChangeTramoModel, table)

TEST(MeterChange, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(MeterChange, ReadsAWholeLine) {
    M model = parsed<M>(wholeLine());
    EXPECT_EQ(model.getOldMeterSerialNumber(), L"C12AB0100000");
    EXPECT_EQ(model.getNewMeterSerialNumber(), L"D24AB0100777");
    EXPECT_EQ(model.getNewMeterWheelsNumber(), 5);
    EXPECT_EQ(model.getNewMeterIndex(), 12);
    EXPECT_EQ(model.getNewMeterInstallationDate(), *seconds(2024, 1, 16));
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
}

TEST(MeterChange, RejectsALineOfAnotherKind) {
    std::wstring line = wholeLine();
    line[0] = L'1';
    const Console console;
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x203}}));
    EXPECT_EQ(console.narrow(), "MeterChangeTramoModel : unvalidLineType(1 != 3), Parse failed\n");
    EXPECT_EQ(console.wide(), L"");
    expectValues(model, absentState(table()));
    EXPECT_EQ(textOf(model.getTramoLine()), line);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 1, 1), L"3");
}

TEST(MeterChange, RejectsALineWithAnUnknownLetter) {
    const Console console;
    EXPECT_EQ(faults(parsed<M>(blankText(L'8')).getParseErrors()), (Faults{{0, 0x15}, {0, 0x203}}));
    EXPECT_EQ(console.narrow(), "MeterChangeTramoModel : unvalidLineType(8 != 3), Parse failed\n");
    EXPECT_EQ(console.wide(), L"toLineType (8), Parse failed\n\n");
}

TEST(MeterChange, ListsEveryErrorInTheOrderOfTheColumns) {
    std::wstring line = blankLine();
    put(line, 26, L"VA");
    put(line, 28, L"douze");
    put(line, 38, L"20240230");
    const Console console;
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{26, 0x01}, {28, 0x01}, {38, 0x1B}}));
    EXPECT_EQ(console.wide(), L"toInt: VA cannot be converted.\ntoLongLong: douze cannot be converted.\n");
    expectValues(model, absentState(table()));
}

TEST(MeterChange, IgnoresTheColumnsAfterTheDate) {
    std::wstring line = wholeLine();
    put(line, 46, std::wstring(512 - 45, L'x'));
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(textOf(model.getTramoLine()), line);
    EXPECT_EQ(textOf(model.toTramoLine()), wholeLine());
}

TEST(MeterChange, ReadsAShortLineAsZerosThatAreNotBlank) {
    std::wstring line = wholeLine().substr(0, 30);
    line.resize(512, L'\0');
    const Silence quiet;
    const M model = parsed<M>(line);
    EXPECT_EQ(model.getNewMeterSerialNumber(), L"D24AB0100777");
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{28, 0x01}, {38, 0x1B}}));
}

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST(MeterChange, WritesAWholeLine) {
    M model;
    model.setOldMeterSerialNumber(L"C12AB0100000");
    model.setNewMeterSerialNumber(L"D24AB0100777");
    model.setNewMeterWheelsNumber(5);
    model.setNewMeterIndex(12);
    model.setNewMeterInstallationDate(static_cast<long32>(*seconds(2024, 1, 16)));
    EXPECT_EQ(textOf(model.toTramoLine()), wholeLine());
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(MeterChange, WritesWheelsFrom4) {
    M model;
    for (const int wheels : {-2, -1, 0, 3}) {
        model.setNewMeterWheelsNumber(wheels);
        EXPECT_EQ(columns(textOf(model.toTramoLine()), 26, 2), L"  ") << wheels;
    }
    model.setNewMeterWheelsNumber(4);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 26, 2), L" 4");
}

TEST(MeterChange, WritesAnIndexFrom0AndTruncatesItOnTheRight) {
    M model;
    model.setNewMeterIndex(-1);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 28, 10), blanks(10));
    model.setNewMeterIndex(0);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 28, 10), L"         0");
    model.setNewMeterIndex(98765432101);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 28, 10), L"9876543210");
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(MeterChange, AlwaysWritesTheDate) { EXPECT_EQ(textOf(M().toTramoLine()), L"3" + blanks(35) + L"019700101" + blanks(467)); }

TEST(MeterChange, ReportsATooLongNewSerialNumberWithTheCodeOfAnInteger) {
    M model;
    model.setNewMeterSerialNumber(std::wstring(13, L'x'));
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 14, 12), blanks(12));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{14, 0x101}}));
    model.setOldMeterSerialNumber(std::wstring(13, L'x'));
    const auto line = model.toTramoLine();
    EXPECT_EQ(columns(textOf(line), 2, 24), blanks(24));
    EXPECT_EQ(lineEndOf(line), L"\r\n");
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{2, 0x102}, {14, 0x101}}));
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{2, 0x102}, {14, 0x101}}));  // replaced, not appended
}

TEST(MeterChange, KeepsTheParsedLine) {
    EXPECT_EQ(textOf(M().getTramoLine()), blanks(512));
    EXPECT_EQ(lineEndOf(M().getTramoLine()), L"\r\n");
    M model = parsed<M>(wholeLine());
    model.setNewMeterIndex(13);
    model.setOldMeterSerialNumber(L"other");
    model.toTramoLine();
    EXPECT_EQ(textOf(model.getTramoLine()), wholeLine());
}

// ---- Checking -------------------------------------------------------------------------------------------------------

TEST(MeterChange, ReportsBlankWheelsAndABlankIndex) {
    std::wstring line = wholeLine();
    put(line, 26, blanks(12));
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{26, 0x201}, {28, 0x201}}));
}

TEST(MeterChange, ReportsEveryMissingValueOfABlankLineInOrderAndOnce) {
    M model = parsed<M>(blankLine());
    const Faults all = {{2, 0x201}, {14, 0x201}, {26, 0x201}, {28, 0x201}, {38, 0x201}};
    EXPECT_EQ(faults(model.getMandatoryErrors()), all);
    EXPECT_EQ(faults(model.getMandatoryErrors()), all);
    EXPECT_EQ(faults(M().getMandatoryErrors()), all);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
}

TEST(MeterChange, ReportsWheelsAndIndexThatWereOnlySet) {
    M model;
    model.setOldMeterSerialNumber(L"old");
    model.setNewMeterSerialNumber(L"new");
    model.setNewMeterWheelsNumber(5);
    model.setNewMeterIndex(12);
    model.setNewMeterInstallationDate(1);
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{26, 0x201}, {28, 0x201}}));
}

TEST(MeterChange, AcceptsParsedWheelsAndIndexAfterSetters) {
    M model = parsed<M>(wholeLine());
    model.setNewMeterWheelsNumber(-1);
    model.setNewMeterIndex(-1);
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    model.setNewMeterInstallationDate(0);
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{38, 0x201}}));
}

TEST(MeterChange, AcceptsInvalidNumbersAsPresent) {
    std::wstring line = wholeLine();
    put(line, 26, L"VA     douze");
    const Silence quiet;
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{26, 0x01}, {28, 0x01}}));
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
}

TEST(MeterChange, KeepsTheParsedTextsInACopy) {
    M copy;
    {
        const M model = parsed<M>(wholeLine());
        copy = model;
    }
    EXPECT_EQ(copy.getOldMeterSerialNumber(), L"C12AB0100000");
    EXPECT_EQ(faults(copy.getMandatoryErrors()), Faults());
}

// ---- Showing --------------------------------------------------------------------------------------------------------

TEST(MeterChange, ShowsADefaultModel) {
    EXPECT_EQ(M().toString(), L"MeterChangeTramoModel[oldMeterSerialNumber:,newMeterSerialNumber:,newMeterWheelsNumber:-1,"
                              L"newMeterIndex:0,newMeterInstallationDate:0]");
}

TEST(MeterChange, ShowsAParsedModel) {
    EXPECT_EQ(parsed<M>(wholeLine()).toString(),
        L"MeterChangeTramoModel[oldMeterSerialNumber:C12AB0100000,newMeterSerialNumber:D24AB0100777,newMeterWheelsNumber:5,"
        L"newMeterIndex:12,newMeterInstallationDate:1705359600]");  // midnight one hour east of Greenwich, in seconds
}
