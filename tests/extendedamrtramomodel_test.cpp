#include "tramostream/extendedamrtramomodel.h"
#include "support/accessors.h"
#include "support/records.h"

using namespace records;
using M = ExtendedAMRTramoModel;

namespace {

struct Slot {
    int number, dateTime, index, alarms;  // columns
    std::string name(const char* field) const { return "history" + std::to_string(number) + field; }
};
// clang-format off
const Slot slots[] = {
    {1, 102, 114, 123},  {2, 124, 136, 145},  {3, 146, 158, 167},  {4, 168, 180, 189},  {5, 190, 202, 211},  {6, 212, 224, 233},
    {7, 234, 246, 255},  {8, 256, 268, 277},  {9, 278, 290, 299},  {10, 300, 312, 321}, {11, 322, 334, 343}, {12, 344, 356, 365},
    {13, 366, 378, 387}, {14, 388, 400, 409}, {15, 410, 422, 431}, {16, 432, 444, 453}, {17, 454, 466, 475}, {18, 476, 488, 497},
};
// clang-format on

// A slot is complete or empty.
bool consistent(long long dateTime, double index, wchar_t alarms) {
    return (dateTime >= 1 && index >= 0 && alarms != L'!') || (dateTime < 1 && index < 0 && alarms == L'!');
}

void check(const State& state, Faults& mandatory, Faults&) {
    if (state.text("meterSerialNumber").empty()) mandatory.push_back({18, 0x201});
    if (state.text("amrReference").empty()) mandatory.push_back({30, 0x201});
    if (state.text("amrSerialNumber").empty()) mandatory.push_back({46, 0x201});
    if (state.number("amrSensorPort") < 0) mandatory.push_back({62, 0x201});
    if (state.number("readingDate") < 1) mandatory.push_back({64, 0x201});
    if (state.decimal("meterIndex") < 0) mandatory.push_back({76, 0x201});
    if (state.decimal("backflowIndex") < 0) mandatory.push_back({96, 0x201});
    for (const Slot& slot : slots)
        if (!consistent(state.number(slot.name("DateTime")), state.decimal(slot.name("Index")), state.code(slot.name("Alarms"))))
            mandatory.push_back({slot.dateTime, 0x202});
}

Table makeTable() {
    // clang-format off
    Table all{
        .letter = L'4',
        .model = "ExtendedAMRTramoModel",
        .rows = {
            {  2, 16, "meterReference",    "meterReference",    Text,     L"",   {},         {2, 0x102}},
            { 18, 12, "meterSerialNumber", "meterSerialNumber", Text,     L"",   {},         {18, 0x102},  {.mandatory = {18, 0x201}}},
            { 30, 16, "amrReference",      "amrReference",      Text,     L"",   {},         {30, 0x102},  {.mandatory = {30, 0x201}}},
            { 46, 16, "amrSerialNumber",   "amrSerialNumber",   Text,     L"",   {},         {46, 0x102},  {.mandatory = {46, 0x201}}},
            { 62,  2, "amrSensorPort",     "amrSensorPort",     Integer,  -1LL,  {62, 0x01}, {62, 0x101},  {.written = {atLeast(0)}, .mandatory = {62, 0x201}}},
            { 64, 12, "readingDate",       "readingDate",       DateTime, 0LL,   {64, 0x1A}, {64, 0x115},  {.mandatory = {64, 0x201}}},
            { 76,  9, "meterIndex",        "meterIndex",        Decimal,  0.0,   {76, 0x04}, {76, 0x104},  {.written = {above(-1)}, .mandatory = {76, 0x201}, .decimals = 3}},
            { 85,  9, "backflowIndex",     "backflowIndex",     Decimal,  0.0,   {96, 0x04}, {85, 0x104},  {.mandatory = {96, 0x201}, .decimals = 3}},
            { 94,  1, "fraudAlarm",        "fraudAlarm",        Flag,     false, {96, 0x03}, {94, 0x103}},
            { 95,  1, "leakAlarm",         "leakAlarm",         Flag,     false, {95, 0x03}, {95, 0x103}},
            { 96,  1, "backflowAlarm",     "backflowAlarm",     Flag,     false, {96, 0x03}, {96, 0x103}},
            { 97,  1, "battryAlarm",       "battryAlarm",       Flag,     false, {97, 0x03}, {97, 0x103}},
            { 98,  1, "moduleDefectAlarm", "moduleDefectAlarm", Flag,     false, {98, 0x01}, {98, 0x103}},
            { 99,  1, "clockFaultAlarm",   "clockFaultAlarm",   Flag,     false, {99, 0x03}, {99, 0x103}},
            {100,  2, "reservedAlarm",     "reservedAlarm",     Text,     L"",   {},         {100, 0x102}},
        },
        .check = check,
        .asymmetries = {
            {"a meter index of -1 is not written",                   [](const Row& row, const State& state) { return row.name == "meterIndex" && !isWritten(row, state); }},
            {"a history slot without a time or an index is not written", [](const Row& row, const State& state) { return row.name.starts_with("history") && !isWritten(row, state); }},
        },
        .turns = 2,   // a meter index of -1 is written blank, which is read as 0
    };
    for (const Slot& slot : slots) {
        const std::string dateTime = slot.name("DateTime"), index = slot.name("Index"), alarms = slot.name("Alarms");
        const Needs filled = {above(dateTime, 0), above(index, -1)};
        all.rows.push_back({slot.dateTime, 12, dateTime, dateTime, DateTime, 0LL,   {slot.dateTime, 0x1A}, {slot.dateTime, 0x115}, {.written = filled, .mandatory = {slot.dateTime, 0x202}}});
        all.rows.push_back({slot.index,     9, index,    index,    Decimal,  -1.0,  {slot.index, 0x01},    {slot.index, 0x101},    {.written = filled, .decimals = 3}});
        all.rows.push_back({slot.alarms,    1, alarms,   alarms,   Code,     unset, {slot.index, 0x17},    {slot.alarms, 0x119},   {.written = filled, .codes = &alarmCodes}});
    }
    // clang-format on
    return all;
}
const Table& table() {
    static const Table made = makeTable();
    return made;
}

// clang-format off
const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, MeterReference),
    ACCESSORS(M, MeterSerialNumber),
    ACCESSORS(M, AmrReference),
    ACCESSORS(M, AmrSerialNumber),
    ACCESSORS(M, AmrSensorPort),
    ACCESSORS(M, ReadingDate),
    ACCESSORS(M, MeterIndex),
    ACCESSORS(M, BackflowIndex),
    ACCESSORS(M, FraudAlarm),
    ACCESSORS(M, LeakAlarm),
    ACCESSORS(M, BackflowAlarm),
    ACCESSORS(M, BattryAlarm),
    ACCESSORS(M, ModuleDefectAlarm),
    ACCESSORS(M, ClockFaultAlarm),
    ACCESSORS(M, ReservedAlarm),
    ACCESSORS(M, History1DateTime),       ACCESSORS(M, History1Index),       ACCESSORS(M, History1Alarms),
    ACCESSORS(M, History2DateTime),       ACCESSORS(M, History2Index),       ACCESSORS(M, History2Alarms),
    ACCESSORS(M, History3DateTime),       ACCESSORS(M, History3Index),       ACCESSORS(M, History3Alarms),
    ACCESSORS(M, History4DateTime),       ACCESSORS(M, History4Index),       ACCESSORS(M, History4Alarms),
    ACCESSORS(M, History5DateTime),       ACCESSORS(M, History5Index),       ACCESSORS(M, History5Alarms),
    ACCESSORS(M, History6DateTime),       ACCESSORS(M, History6Index),       ACCESSORS(M, History6Alarms),
    ACCESSORS(M, History7DateTime),       ACCESSORS(M, History7Index),       ACCESSORS(M, History7Alarms),
    ACCESSORS(M, History8DateTime),       ACCESSORS(M, History8Index),       ACCESSORS(M, History8Alarms),
    ACCESSORS(M, History9DateTime),       ACCESSORS(M, History9Index),       ACCESSORS(M, History9Alarms),
    ACCESSORS(M, History10DateTime),      ACCESSORS(M, History10Index),      ACCESSORS(M, History10Alarms),
    ACCESSORS(M, History11DateTime),      ACCESSORS(M, History11Index),      ACCESSORS(M, History11Alarms),
    ACCESSORS(M, History12DateTime),      ACCESSORS(M, History12Index),      ACCESSORS(M, History12Alarms),
    ACCESSORS(M, History13DateTime),      ACCESSORS(M, History13Index),      ACCESSORS(M, History13Alarms),
    ACCESSORS(M, History14DateTime),      ACCESSORS(M, History14Index),      ACCESSORS(M, History14Alarms),
    ACCESSORS(M, History15DateTime),      ACCESSORS(M, History15Index),      ACCESSORS(M, History15Alarms),
    ACCESSORS(M, History16DateTime),      ACCESSORS(M, History16Index),      ACCESSORS(M, History16Alarms),
    ACCESSORS(M, History17DateTime),      ACCESSORS(M, History17Index),      ACCESSORS(M, History17Alarms),
    ACCESSORS(M, History18DateTime),      ACCESSORS(M, History18Index),      ACCESSORS(M, History18Alarms),
};
// clang-format on

std::wstring blankLine() { return blankText(L'4'); }

// A reading without history.
std::wstring readingLine() {
    std::wstring line = blankLine();
    put(line, 2, L"REF000000");
    put(line, 18, L"C12AB0100000");
    put(line, 30, L"MODRADIO0000");
    put(line, 46, L"4C30000000");
    put(line, 62, L" 1");
    put(line, 64, L"202401160905");
    put(line, 76, L" 6062.500");
    put(line, 85, L"    0.120");
    put(line, 94, L"010000");
    return line;
}
void putSlot(
    std::wstring& line, const Slot& slot, const std::wstring& dateTime, const std::wstring& index, const std::wstring& alarms) {
    put(line, slot.dateTime, dateTime);
    put(line, slot.index, index);
    put(line, slot.alarms, alarms);
}

// A complete model, except for its history.
M complete() {
    const Silence quiet;
    return parsed<M>(readingLine());
}
Faults mandatoryErrors(M model) { return faults(model.getMandatoryErrors()); }
Faults parseErrors(const std::wstring& line) {
    const Silence quiet;
    return faults(parsed<M>(line).getParseErrors());
}

}  // namespace

TEST_EVERY_FIELD(ExtendedAMRTramoModel, table)

TEST(ExtendedAMR, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

TEST(ExtendedAMR, AssignsEveryColumnUpTo497) {
    std::wstring line = blankLine();
    for (const Row& row : table().rows) put(line, row.column, std::wstring(static_cast<std::size_t>(row.width), L'x'));
    EXPECT_EQ(line, L"4" + std::wstring(496, L'x') + blanks(15));
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(ExtendedAMR, ReadsAWholeLine) {
    std::wstring line = readingLine();
    putSlot(line, slots[0], L"202307010000", L" 6008.667", L"0");
    putSlot(line, slots[16], L"202407010000", L" 6200.250", L"7");
    put(line, 100, L"R2");
    M model = parsed<M>(line);
    EXPECT_EQ(model.getMeterReference(), L"REF000000");
    EXPECT_EQ(model.getMeterSerialNumber(), L"C12AB0100000");
    EXPECT_EQ(model.getAmrReference(), L"MODRADIO0000");
    EXPECT_EQ(model.getAmrSerialNumber(), L"4C30000000");
    EXPECT_EQ(model.getAmrSensorPort(), 1);
    EXPECT_EQ(model.getReadingDate(), *seconds(2024, 1, 16, 9, 5));
    EXPECT_EQ(model.getMeterIndex(), 6062.5);
    EXPECT_EQ(model.getBackflowIndex(), 0.12);
    EXPECT_FALSE(model.getFraudAlarm());
    EXPECT_TRUE(model.getLeakAlarm());
    EXPECT_FALSE(model.getBackflowAlarm());
    EXPECT_FALSE(model.getBattryAlarm());
    EXPECT_FALSE(model.getModuleDefectAlarm());
    EXPECT_FALSE(model.getClockFaultAlarm());
    EXPECT_EQ(model.getReservedAlarm(), L"R2");
    EXPECT_EQ(model.getHistory1DateTime(), *seconds(2023, 7, 1));
    EXPECT_EQ(model.getHistory1Index(), 6008.667);
    EXPECT_EQ(model.getHistory1Alarms(), TF::AmrAlarms::Alarm0);
    EXPECT_EQ(model.getHistory17DateTime(), *seconds(2024, 7, 1));
    EXPECT_EQ(model.getHistory17Index(), 6200.25);
    EXPECT_EQ(model.getHistory17Alarms(), TF::AmrAlarms::Alarm7);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), line);
}

TEST(ExtendedAMR, RejectsALineOfAnotherKind) {
    std::wstring line = readingLine();
    line[0] = L'2';
    const Console console;
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x203}}));
    EXPECT_EQ(console.narrow(), "ExtendedAMRTramoModel : unvalidLineType(2 != 4), Parse failed\n");
    EXPECT_EQ(console.wide(), L"");
    expectValues(model, absentState(table()));
    EXPECT_EQ(textOf(model.getTramoLine()), line);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 1, 1), L"4");
}

TEST(ExtendedAMR, RejectsALineWithAnUnknownLetter) {
    const Console console;
    EXPECT_EQ(faults(parsed<M>(blankText(L'8')).getParseErrors()), (Faults{{0, 0x15}, {0, 0x203}}));
    EXPECT_EQ(console.narrow(), "ExtendedAMRTramoModel : unvalidLineType(8 != 4), Parse failed\n");
    EXPECT_EQ(console.wide(), L"toLineType (8), Parse failed\n\n");
}

TEST(ExtendedAMR, ReportsABadBackflowIndexAtColumn96) {
    std::wstring line = readingLine();
    put(line, 85, L"none     ");
    const Console console;
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{96, 0x04}}));
    EXPECT_EQ(console.wide(), L"toDouble: none cannot be converted.\n");
    EXPECT_EQ(model.getBackflowIndex(), 0.0);
}

TEST(ExtendedAMR, ReportsABadHistoryAlarmAtTheIndexAndABadIndexAsAnInteger) {
    for (const Slot& slot : slots) {
        std::wstring line = blankLine();
        putSlot(line, slot, L"202302290000", L"x", L"8");
        EXPECT_EQ(parseErrors(line), (Faults{{slot.dateTime, 0x1A}, {slot.index, 0x01}, {slot.index, 0x17}})) << slot.number;
    }
}

TEST(ExtendedAMR, PrintsTheUnknownHistoryAlarm) {
    std::wstring line = readingLine();
    put(line, 123, L"!");  // the value of Unset is not a code
    const Console console;
    const M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{114, 0x17}}));
    EXPECT_EQ(console.wide(), L"toAmrAlarms (!), Parse failed\n\n");
    EXPECT_EQ(model.getHistory1Alarms(), TF::AmrAlarms::Unset);
}

TEST(ExtendedAMR, ReadsEveryFlagOtherThan1AsFalse) {
    for (const wchar_t c : {L'0', L' ', L'Y', L'2', L'\0', L'\uFF11'}) {
        const M model = parsed<M>(L"4" + blanks(92) + std::wstring(6, c) + blanks(413));
        EXPECT_EQ(faults(model.getParseErrors()), Faults());
        for (const char* name :
            {"fraudAlarm", "leakAlarm", "backflowAlarm", "battryAlarm", "moduleDefectAlarm", "clockFaultAlarm"})
            EXPECT_TRUE(equal(valueOf(model, name), false)) << name;
    }
}

TEST(ExtendedAMR, ListsEveryErrorInTheOrderOfTheColumns) {
    Faults expected = {{62, 0x01}, {64, 0x1A}, {76, 0x04}, {96, 0x04}};
    for (const Slot& slot : slots)
        expected.insert(expected.end(), {{slot.dateTime, 0x1A}, {slot.index, 0x01}, {slot.index, 0x17}});
    EXPECT_EQ(parseErrors(L"4" + std::wstring(511, L'x')), expected);
}

TEST(ExtendedAMR, IgnoresTheColumnsAfterTheHistory) {
    std::wstring line = readingLine();
    put(line, 498, std::wstring(15, L'x'));
    EXPECT_EQ(parseErrors(line), Faults());
    M model = parsed<M>(line);
    EXPECT_EQ(textOf(model.toTramoLine()), readingLine());
}

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST(ExtendedAMR, WritesADefaultModel) {
    M model;
    std::wstring expected = blankLine();
    put(expected, 64, L"197001010100");  // the time 0, one hour east of Greenwich
    put(expected, 76, L"    0.000");
    put(expected, 85, L"    0.000");
    put(expected, 94, L"000000");
    EXPECT_EQ(textOf(model.toTramoLine()), expected);
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    EXPECT_EQ(mandatoryErrors(model), (Faults{{18, 0x201}, {30, 0x201}, {46, 0x201}, {62, 0x201}, {64, 0x201}}));
}

TEST(ExtendedAMR, WritesAMeterIndexAboveMinus1AndEveryBackflowIndex) {
    M model;
    model.setMeterIndex(-1);
    model.setBackflowIndex(-1);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 76, 18), blanks(9) + L"   -1.000");
    model.setMeterIndex(-0.9994);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 76, 9), L"   -0.999");
    model.setMeterIndex(1234567.891);
    model.setBackflowIndex(-123456.789);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 76, 18), L"1234567.8-123456.7");  // truncated on the right
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(ExtendedAMR, WritesOnlySlotsWithATimeAndAnIndex) {
    for (const Slot& slot : slots)
        for (const long long dateTime : {-1LL, 0LL, 1LL})
            for (const double index : {-1.5, -1.0, -0.5, 0.0, 6.25})
                for (const wchar_t alarms : {unset, L'3'}) {
                    M model;
                    setValue(model, slot.name("DateTime"), dateTime);
                    setValue(model, slot.name("Index"), index);
                    setValue(model, slot.name("Alarms"), alarms);
                    std::wstring expected = textOf(M().toTramoLine());
                    if (dateTime == 1 && index > -1)
                        putSlot(expected, slot, L"197001010100",
                            index < 0    ? L"   -0.500"
                            : index == 0 ? L"    0.000"
                                         : L"    6.250",
                            alarms == unset ? L" " : L"3");
                    EXPECT_EQ(textOf(model.toTramoLine()), expected) << slot.number << " " << dateTime << " " << index;
                    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
                }
}

TEST(ExtendedAMR, ReportsAHistoryAlarmWithoutACode) {
    const Console console;
    M model;
    model.setHistory18DateTime(1);
    model.setHistory18Index(0);
    model.setHistory18Alarms(TF::AmrAlarms{L'8'});
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 497, 1), L" ");
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{497, 0x119}}));
    EXPECT_EQ(console.wide(), L"fromAmrAlarm (8), Parse failed\n\n");
}

TEST(ExtendedAMR, LeavesOutTooLongTexts) {
    M model;
    model.setMeterReference(std::wstring(17, L'x'));
    model.setMeterSerialNumber(std::wstring(13, L'x'));
    model.setAmrReference(std::wstring(17, L'x'));
    model.setAmrSerialNumber(std::wstring(17, L'x'));
    model.setReservedAlarm(L"xxx");
    const auto line = model.toTramoLine();
    EXPECT_EQ(textOf(line), textOf(M().toTramoLine()));
    EXPECT_EQ(lineEndOf(line), L"\r\n");
    const Faults all = {{2, 0x102}, {18, 0x102}, {30, 0x102}, {46, 0x102}, {100, 0x102}};
    EXPECT_EQ(faults(model.getBuildErrors()), all);
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), all);  // replaced, not appended
}

TEST(ExtendedAMR, KeepsTheParsedLine) {
    EXPECT_EQ(textOf(M().getTramoLine()), blanks(512));
    EXPECT_EQ(lineEndOf(M().getTramoLine()), L"\r\n");
    M model = parsed<M>(readingLine());
    model.setMeterIndex(1);
    model.setLeakAlarm(false);
    model.toTramoLine();
    EXPECT_EQ(textOf(model.getTramoLine()), readingLine());
}

// ---- Checking -------------------------------------------------------------------------------------------------------

TEST(ExtendedAMR, ReportsEachMissingFieldSeparately) {
    EXPECT_EQ(mandatoryErrors(complete()), Faults());
    const std::pair<std::string, std::pair<FieldValue, Fault>> missing[] = {
        {"meterSerialNumber", {L"", {18, 0x201}}},
        {"amrReference", {L"", {30, 0x201}}},
        {"amrSerialNumber", {L"", {46, 0x201}}},
        {"amrSensorPort", {-1LL, {62, 0x201}}},
        {"readingDate", {0LL, {64, 0x201}}},
        {"meterIndex", {-0.001, {76, 0x201}}},
        {"backflowIndex", {-0.001, {96, 0x201}}},
    };
    for (const auto& [name, what] : missing) {
        M model = complete();
        setValue(model, name, what.first);
        EXPECT_EQ(mandatoryErrors(model), Faults{what.second}) << name;
    }
    M model = complete();
    model.setMeterReference(L"");
    model.setLeakAlarm(false);
    model.setReservedAlarm(L"");
    model.setReadingDate(1);
    model.setAmrSensorPort(0);
    model.setMeterIndex(0);
    EXPECT_EQ(mandatoryErrors(model), Faults());
}

// A slot is complete (a time, an index of 0 or more, an alarm code) or empty.
TEST(ExtendedAMR, RequiresEachSlotCompleteOrEmpty) {
    for (const Slot& slot : slots)
        for (const long long dateTime : {-1LL, 0LL, 1LL})
            for (const double index : {-1.5, -1.0, -0.5, 0.0, 6.25})
                for (const wchar_t alarms : {unset, L'0', L'7'}) {
                    M model = complete();
                    setValue(model, slot.name("DateTime"), dateTime);
                    setValue(model, slot.name("Index"), index);
                    setValue(model, slot.name("Alarms"), alarms);
                    const int given = (dateTime > 0) + (index >= 0) + (alarms != unset);
                    const bool good = given == 0 || given == 3;
                    EXPECT_EQ(mandatoryErrors(model), good ? Faults() : (Faults{{slot.dateTime, 0x202}}))
                        << slot.number << " " << dateTime << " " << index << " " << display(alarms);
                }
}

TEST(ExtendedAMR, WritesAndReportsASlotWithoutAlarmCode) {
    M model = complete();
    model.setHistory2DateTime(static_cast<long32>(*seconds(2023, 8, 1)));
    model.setHistory2Index(6019.333);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 124, 22), L"202308010000 6019.333 ");
    EXPECT_EQ(mandatoryErrors(model), (Faults{{124, 0x202}}));
}

TEST(ExtendedAMR, ReportsASlotWithoutIndexAndDoesNotWriteIt) {
    M model = complete();
    model.setHistory3DateTime(static_cast<long32>(*seconds(2023, 8, 1)));
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 146, 22), blanks(22));
    EXPECT_EQ(mandatoryErrors(model), (Faults{{146, 0x202}}));
}

TEST(ExtendedAMR, ListsMandatoryErrorsInTheOrderOfTheRulesAndOnce) {
    M model;
    model.setMeterIndex(-1);
    model.setBackflowIndex(-1);
    Faults expected = {{18, 0x201}, {30, 0x201}, {46, 0x201}, {62, 0x201}, {64, 0x201}, {76, 0x201}, {96, 0x201}};
    for (const Slot& slot : slots) {
        setValue(model, slot.name("Alarms"), L'0');
        expected.push_back({slot.dateTime, 0x202});
    }
    EXPECT_EQ(faults(model.getMandatoryErrors()), expected);
    EXPECT_EQ(faults(model.getMandatoryErrors()), expected);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
}

// ---- Showing --------------------------------------------------------------------------------------------------------

TEST(ExtendedAMR, ShowsADefaultModel) {
    std::wstring expected =
        L"ExtendedAMRTramoModel[meterReference:,meterSerialNumber:,amrReference:,amrSerialNumber:,amrSensorPort:-1,"
        L"readingDate:0,meterIndex:0.000000,backflowIndex:0.000000,fraudAlarm:0,leakAlarm:0,backflowAlarm:0,"
        L"battryAlarm:0,moduleDefectAlarm:0,clockFaultAlarm:0,reservedAlarm:";
    for (int k = 1; k <= 18; ++k) {
        const std::wstring slot = L",history" + std::to_wstring(k);
        expected += slot + L"DateTime:0" + slot + L"Index:-1.000000" + slot + L"Alarms:!";
    }
    EXPECT_EQ(M().toString(), expected + L"]");
}

TEST(ExtendedAMR, ShowsAParsedModel) {
    std::wstring line = readingLine();
    putSlot(line, slots[0], L"202307010000", L" 6008.667", L"0");
    putSlot(line, slots[17], L"202407010000", L" 6200.250", L"7");
    put(line, 100, L"R2");
    std::wstring expected =
        L"ExtendedAMRTramoModel[meterReference:REF000000,meterSerialNumber:C12AB0100000,amrReference:MODRADIO0000,"
        L"amrSerialNumber:4C30000000,amrSensorPort:1,readingDate:1705392300,meterIndex:6062.500000,backflowIndex:0.120000,"
        L"fraudAlarm:0,leakAlarm:1,backflowAlarm:0,battryAlarm:0,moduleDefectAlarm:0,clockFaultAlarm:0,reservedAlarm:R2,"
        L"history1DateTime:1688162400,history1Index:6008.667000,history1Alarms:0";
    for (int k = 2; k <= 17; ++k) {
        const std::wstring slot = L",history" + std::to_wstring(k);
        expected += slot + L"DateTime:0" + slot + L"Index:-1.000000" + slot + L"Alarms:!";
    }
    expected += L",history18DateTime:1719784800,history18Index:6200.250000,history18Alarms:7]";
    EXPECT_EQ(parsed<M>(line).toString(), expected);
}
