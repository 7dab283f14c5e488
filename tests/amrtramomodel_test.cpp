#include "tramostream/amrtramomodel.h"
#include "support/accessors.h"
#include "support/records.h"

using namespace records;
using M = AMRTramoModel;

namespace {

// The twelve flags in the order of their bits: names and labels of the previous and the current snapshot.
struct AlarmNames {
    std::string previous, current, previousLabel, currentLabel;
};
// clang-format off
const std::vector<AlarmNames> alarmNames = {
    {"previousAlarmFraudPastOrCurrent",        "currentAlarmFraudPastOrCurrent",        "amrPreviousAlarm_Fraud_PastOrCurrent",        "amrCurrentAlarm_Fraud_PastOrCurrent"},
    {"previousAlarmLeakPastOrCurrent",         "currentAlarmLeakPastOrCurrent",         "amrPreviousAlarm_Leak_PastOrCurrent",         "amrCurrentAlarm_Leak_PastOrCurrent"},
    {"previousAlarmBackFlowPastOrCurrent",     "currentAlarmBackFlowPastOrCurrent",     "amrPreviousAlarm_Backflow_PastOrCurrent",     "amrCurrentAlarm_Backflow_PastOrCurrent"},
    {"previousAlarmEndOfBattryCurrent",        "currentAlarmEndOfBattryCurrent",        "amrPreviousAlarm_EndOfBattry_Current",        "amrCurrentAlarm_EndOfBattry_Current"},
    {"previousAlarmModuleDefectCurrent",       "currentAlarmModuleDefectCurrent",       "amrPreviousAlarm_ModuleDefect_Current",       "LamrCurrentAlarm_ModuleDefect_Current"},
    {"previousAlarmClockfaultCurrent",         "currentAlarmClockFaultCurrent",         "amrPreviousAlarm_ClockFault_Current",         "amrCurrentAlarm_ClockFault_Current"},
    {"previousAlarmFraudCurrent",              "currentAlarmFraudCurrent",              "amrPreviousAlarm_Fraud_Current",              "amrCurrentAlarm_Fraud_Current"},
    {"previousAlarmLeakCurrent",               "currentAlarmLeakCurrent",               "amrPreviousAlarm_Leak_Current",               "amrCurrentAlarm_Leak_Current"},
    {"previousAlarmBackFlowCurrent",           "currentAlarmBackFlowCurrent",           "amrPreviousAlarm_Backflow_Current",           "amrCurrentAlarm_Backflow_Current"},
    {"previousAlarmMeterBlockedPastOrCurrent", "currentAlarmMeterBlockedPastOrCurrent", "amrPreviousAlarm_MeterBlocked_PastOrCurrent", "amrCurrentAlarm_MeterBlocked_PastOrCurrent"},
    {"previousAlarmUnderFlowPastOrCurrent",    "currentAlarmUnderFlowPastOrCurrent",    "amrPreviousAlarm_Underflow_PastOrCurrent",    "amrCurrentAlarm_Underflow_PastOrCurrent"},
    {"previousAlarmOverFlowPastOrCurrent",     "currentAlarmOverFlowPastOrCurrent",     "amrPreviousAlarm_OverFlow_PastOrCurrent",     "amrCurrentAlarm_OverFlow_PastOrCurrent"},
};
// clang-format on

void check(const State& state, Faults& mandatory, Faults&) {
    auto missing = [&](int column, bool is) {
        if (is) mandatory.push_back({column, 0x201});
    };
    missing(2, state.number("installationDate") < 1);
    missing(26, state.text("meterSerialNumber").empty());
    missing(38, state.texts.at("sensorPort").empty());  // the parsed text, not the number
    missing(40, state.number("meterMaxIndex") < 0);
    missing(50, state.decimal("meterUnit") < 0);
    missing(56, state.text("referance").empty());
    missing(72, state.text("serialNumber").empty());
    missing(88, state.text("internalSerialNumber").empty());
    missing(104, state.text("data").empty());
    missing(232, state.decimal("pulseWeight") < 0);
    missing(242, state.number("maxIndex") < 0);
    missing(252, state.number("previousReadingDate") < 1);
    missing(260, state.decimal("previousMeterIndex") < 0);
    missing(276, state.number("previousAmrIndex") < 0);
    missing(286, state.decimal("previousMeterIndex") < 0);  // checks the index again, not the alarms
    missing(290, state.text("previousAmrStatus").empty());
}

// toString shows the flags of a snapshot one by one, and the text that they were read from.
void showFlags(State& state, const std::string& all, std::string AlarmNames::*each) {
    const long long bits = state.number(all);
    for (std::size_t k = 0; k < alarmNames.size(); ++k) state.values[alarmNames[k].*each] = (bits >> k & 1) != 0;
}
void collectFlags(State& state, const std::string& all, std::string AlarmNames::*each) {
    long long bits = 0;
    for (std::size_t k = 0; k < alarmNames.size(); ++k) bits |= static_cast<long long>(state.get<bool>(alarmNames[k].*each)) << k;
    state.values[all] = bits;
}
void onRead(State& state) {
    showFlags(state, "previousAlarms", &AlarmNames::previous);
    showFlags(state, "currentAlarms", &AlarmNames::current);
    state.values["previousAlarmText"] = state.texts["previousAlarms"];
    state.values["currentAlarmText"] = state.texts["currentAlarms"];
}
void onSet(State& state, const std::string& name) {
    if (name == "previousAlarms") showFlags(state, name, &AlarmNames::previous);
    else if (name == "currentAlarms") showFlags(state, name, &AlarmNames::current);
    else if (name.starts_with("previousAlarm")) collectFlags(state, "previousAlarms", &AlarmNames::previous);
    else if (name.starts_with("currentAlarm")) collectFlags(state, "currentAlarms", &AlarmNames::current);
    else if (name == "externalAMR") state.values["externalAMRText"] = std::wstring(state.get<bool>(name) ? L"1" : L"0");
}

const std::wstring zero(1, L'\0');

const Table& table();

// The text of a field in the built line.
std::wstring cutWritten(const Row& row, const State& state) {
    std::wstring line = blankText(L'2');
    for (const Row& each : table().rows)
        if (each.column == row.column && isWritten(each, state)) writeInto(line, each, state.values.at(each.name));
    return trimmed(columns(line, row.column, row.width));
}

// The row that holds the columns of a field: single flags have no columns of their own.
const Row& carrier(const Row& row) {
    if (row.width != 0) return row;
    return table().row(row.name.starts_with("previous") ? "previousAlarms" : "currentAlarms");
}

Table makeTable() {
    const Needs previous = {isNot("previousReadingDate", -1)}, current = {isNot("currentReadingDate", -1)};
    const Needs fails = {atLeast("lastReadFailDate", 1), atLeast("readFailCount", 1)};
    // clang-format off
    Table all{
        .letter = L'2',
        .model = "AMRTramoModel",
        .rows = {
            {  2,   8, "installationDate",       "amrInstallationDate",     Date,       0LL,   {2, 0x1B},   {2, 0x115},   {.mandatory = {2, 0x201}}},
            { 10,  16, "meterReference",         "amrMeterReferance",       Text,       L"",   {},          {10, 0x102}},
            { 26,  12, "meterSerialNumber",      "amrMeterSerialNumber",    Text,       L"",   {},          {26, 0x102},  {.mandatory = {26, 0x201}}},
            { 38,   2, "sensorPort",             "amrSensorPort",           Integer,    -1LL,  {38, 0x01},  {38, 0x102},  {.written = {atLeast(0)}, .mandatory = {38, 0x201}, .asCharacter = true}},
            { 40,  10, "meterMaxIndex",          "amrMeterMaxIndex",        Integer,    -1LL,  {40, 0x01},  {40, 0x101},  {.written = {atLeast(0)}, .mandatory = {40, 0x201}}},
            { 50,   6, "meterUnit",              "amrMeterUnit",            Decimal,    -1.0,  {50, 0x04},  {50, 0x104},  {.written = {above(0)}, .mandatory = {50, 0x201}, .decimals = -1}},
            { 56,  16, "referance",              "amrReferance",            Text,       L"",   {},          {56, 0x102},  {.mandatory = {56, 0x201}}},
            { 72,  16, "serialNumber",           "amrSerialNumber",         Text,       L"",   {},          {72, 0x102},  {.mandatory = {72, 0x201}}},
            { 88,  16, "internalSerialNumber",   "amrInternalSerialNumber", Text,       L"",   {},          {88, 0x102},  {.mandatory = {88, 0x201}}},
            {104, 128, "data",                   "amrData",                 Text,       L"",   {},          {104, 0x102}, {.mandatory = {104, 0x201}}},
            {232,  10, "pulseWeight",            "amrPulseWeight",          Decimal,    -1.0,  {232, 0x04}, {232, 0x104}, {.written = {above(0)}, .mandatory = {232, 0x201}, .decimals = -1}},
            {232,  10, "pulseWeightStr",         "",                        Text,       L"",   {},          {232, 0x102}, {.written = {atMost("pulseWeight", 0)}, .overlaid = true, .example = L"1234567.25"}},
            {242,  10, "maxIndex",               "amrMaxIndex",             Integer,    -1LL,  {242, 0x01}, {242, 0x101}, {.written = {atLeast(0)}, .mandatory = {242, 0x201}}},
            {252,   8, "previousReadingDate",    "amrPreviousReadingDate",  Date,       -1LL,  {252, 0x1B}, {252, 0x115}, {.written = previous, .mandatory = {252, 0x201}}},
            {252,   8, "previousReadingDateStr", "",                        Text,       L"",   {},          {},           {.written = {never()}, .overlaid = true, .example = L"20230712"}},
            {260,  16, "previousMeterIndex",     "amrPreviousMeterIndex",   Decimal,    -1.0,  {260, 0x04}, {260, 0x104}, {.written = {above(-1), previous[0]}, .mandatory = {260, 0x201}, .decimals = -1}},
            {276,  10, "previousAmrIndex",       "",                        Integer,    -1LL,  {276, 0x04}, {276, 0x101}, {.written = {atLeast(0), previous[0]}, .mandatory = {276, 0x201}}},
            {286,   4, "previousAlarms",         "",                        AlarmFlags, 0LL,   {286, 0x16}, {286, 0x11A}, {.written = previous, .mandatory = {286, 0x201}}},
        },
    };
    auto append = [&](std::initializer_list<Row> rows) { all.rows.insert(all.rows.end(), rows); };
    append({{  0,   0, "previousAlarmText",      "amrPreviousAlarmStr",     Text,       L""}});
    for (const AlarmNames& alarm : alarmNames) append({{0, 0, alarm.previous, alarm.previousLabel, Flag, false}});
    append({{290,  64, "previousAmrStatus",      "amrPreviousAmrStatus",    Text,       L"",   {},          {290, 0x102}, {.written = previous, .mandatory = {290, 0x201}}},
            {354,   8, "currentReadingDate",     "amrCurrentReadingDate",   Date,       -1LL,  {354, 0x1B}, {354, 0x115}, {.written = current}},
            {362,  16, "currentMeterIndex",      "amrCurrentMeterIndex",    Decimal,    -1.0,  {362, 0x04}, {362, 0x104}, {.written = {above(-1), current[0]}, .decimals = -1}},
            {378,  10, "currentAmrIndex",        "",                        Integer,    -1LL,  {378, 0x04}, {378, 0x101}, {.written = {atLeast(0), current[0]}}},
            {388,   4, "currentAlarms",          "",                        AlarmFlags, 0LL,   {388, 0x16}, {286, 0x11A}, {.written = current}}});
    append({{  0,   0, "currentAlarmText",       "amrCurrentAlarmStr",      Text,       L""}});
    for (const AlarmNames& alarm : alarmNames) append({{0, 0, alarm.current, alarm.currentLabel, Flag, false}});
    append({{392,  64, "currentAmrStatus",       "amrCurrentAmrStatus",     Text,       L"",   {},          {392, 0x102}, {.written = current}},
            {456,   1, "externalAMR",            "isExternamAMR",           Flag,       false, {},          {},           {.written = {never()}, .asCharacter = true}},
            {456,   1, "externalAMRText",        "",                        Text,       L"",   {},          {456, 0x102}, {.overlaid = true, .example = L"1"}},
            {457,  12, "lastReadFailDate",       "",                        DateTime,   0LL,   {457, 0x1A}, {457, 0x115}, {.written = fails}},
            {469,   2, "readFailCount",          "",                        Integer,    0LL,   {469, 0x01}, {469, 0x101}, {.written = fails}}});

    auto is = [](const char* name, bool (*when)(const State&) = [](const State&) { return true; }) {
        return [name, when](const Row& row, const State& state) { return row.name == name && when(state); };
    };
    auto readBack = [](const Row& row, const State& state) { return FieldValue(cutWritten(carrier(row), state)); };
    all.asymmetries = {
        {.reason = "an installation date of 0 is written as a day that begins before 1970, and cannot be read",
         .applies = is("installationDate", [](const State& s) { return s.number("installationDate") == 0; }), .reported = {2, 0x1B}},
        {.reason = "a meter unit is cut to six characters",
         .applies = is("meterUnit", [](const State& s) { return s.decimal("meterUnit") >= 0; }),
         .becomesBy = [](const Row& row, const State& s) { const auto text = cutWritten(row, s); return text.empty() ? row.absent : *valueIn(row, text); }},
        {.reason = "a pulse weight of 0 or less is read from the text that is written instead",
         .applies = is("pulseWeight", [](const State& s) { return s.decimal("pulseWeight") <= 0; }),
         .becomesBy = [](const Row& row, const State& s) { const auto text = s.text("pulseWeightStr"); return text.empty() ? row.absent : *valueIn(row, text); }},
        {.reason = "the text of the pulse weight is that of the number", .applies = is("pulseWeightStr"), .becomesBy = readBack},
        {.reason = "the text of the previous reading date is that of the date", .applies = is("previousReadingDateStr"), .becomesBy = readBack},
        {.reason = "the text of the previous alarms is that of the flags", .applies = is("previousAlarmText"),
         .becomesBy = readBack},
        {.reason = "the text of the current alarms is that of the flags", .applies = is("currentAlarmText"),
         .becomesBy = readBack},
        {.reason = "the zero behind the previous alarms is read as a status",
         .applies = is("previousAmrStatus", [](const State& s) { return s.number("previousReadingDate") != -1 && s.text("previousAmrStatus").empty(); }), .becomes = zero},
        {.reason = "the zero behind the current alarms is read as a status",
         .applies = is("currentAmrStatus", [](const State& s) { return s.number("currentReadingDate") != -1 && s.text("currentAmrStatus").empty(); }), .becomes = zero},
        {.reason = "the external flag is read from its text", .applies = is("externalAMR"),
         .becomesBy = [](const Row&, const State& s) { return FieldValue(s.text("externalAMRText") == L"1"); }},
        {.reason = "what is not written is not read", .applies = [](const Row& row, const State& s) { return !isWritten(carrier(row), s); }},
    };
    // clang-format on
    all.check = check;
    all.onRead = onRead;
    all.onSet = onSet;
    all.inMessages = all.inDump = "AMR";
    all.turns = 2;  // a small meter unit is truncated to 0, which is not written
    return all;
}
const Table& table() {
    static const Table made = makeTable();
    return made;
}

// clang-format off
const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, InstallationDate),
    ACCESSORS(M, MeterReference),
    ACCESSORS(M, MeterSerialNumber),
    ACCESSORS(M, SensorPort),
    {"meterMaxIndex", [](const M& m) { return FieldValue(m.getMeterMaxIndex()); }, [](M& m, const FieldValue& v) { m.setMeterMaxIndex(static_cast<int>(std::get<long long>(v))); }},
    ACCESSORS(M, MeterUnit),
    ACCESSORS(M, Referance),
    ACCESSORS(M, SerialNumber),
    ACCESSORS(M, InternalSerialNumber),
    ACCESSORS(M, Data),
    ACCESSORS(M, PulseWeight),
    ACCESSORS(M, PulseWeightStr),
    ACCESSORS(M, MaxIndex),
    ACCESSORS(M, PreviousReadingDate),
    ACCESSORS(M, PreviousReadingDateStr),
    ACCESSORS(M, PreviousMeterIndex),
    ACCESSORS(M, PreviousAmrIndex),
    ACCESSORS(M, PreviousAlarmFraudPastOrCurrent),
    ACCESSORS(M, PreviousAlarmLeakPastOrCurrent),
    ACCESSORS(M, PreviousAlarmBackFlowPastOrCurrent),
    ACCESSORS(M, PreviousAlarmEndOfBattryCurrent),
    ACCESSORS(M, PreviousAlarmModuleDefectCurrent),
    ACCESSORS(M, PreviousAlarmClockfaultCurrent),
    ACCESSORS(M, PreviousAlarmFraudCurrent),
    ACCESSORS(M, PreviousAlarmLeakCurrent),
    ACCESSORS(M, PreviousAlarmBackFlowCurrent),
    ACCESSORS(M, PreviousAlarmMeterBlockedPastOrCurrent),
    ACCESSORS(M, PreviousAlarmUnderFlowPastOrCurrent),
    ACCESSORS(M, PreviousAlarmOverFlowPastOrCurrent),
    ACCESSORS(M, PreviousAmrStatus),
    {"currentReadingDate", [](const M& m) { return FieldValue(m.getCurrentReadingDate() == 0 ? -1LL : m.getCurrentReadingDate()); }, [](M& m, const FieldValue& v) { m.setCurrentReadingDate(static_cast<long32>(std::get<long long>(v))); }},
    ACCESSORS(M, CurrentMeterIndex),
    ACCESSORS(M, CurrentAmrIndex),
    ACCESSORS(M, CurrentAlarmFraudPastOrCurrent),
    ACCESSORS(M, CurrentAlarmLeakPastOrCurrent),
    ACCESSORS(M, CurrentAlarmBackFlowPastOrCurrent),
    ACCESSORS(M, CurrentAlarmEndOfBattryCurrent),
    ACCESSORS(M, CurrentAlarmModuleDefectCurrent),
    ACCESSORS(M, CurrentAlarmClockFaultCurrent),
    ACCESSORS(M, CurrentAlarmFraudCurrent),
    ACCESSORS(M, CurrentAlarmLeakCurrent),
    ACCESSORS(M, CurrentAlarmBackFlowCurrent),
    ACCESSORS(M, CurrentAlarmMeterBlockedPastOrCurrent),
    ACCESSORS(M, CurrentAlarmUnderFlowPastOrCurrent),
    ACCESSORS(M, CurrentAlarmOverFlowPastOrCurrent),
    ACCESSORS(M, CurrentAmrStatus),
    {"externalAMR", [](const M& m) { return FieldValue(m.isExternalAMR()); }, [](M& m, const FieldValue& v) { m.setExternamAMR(std::get<bool>(v)); }},
    ACCESSORS(M, LastReadFailDate),
    ACCESSORS(M, ReadFailCount),
};
// clang-format on

std::wstring blankLine() { return blankText(L'2'); }

// A typical module with a previous and a current snapshot.
std::wstring wholeLine() {
    std::wstring line = blankLine();
    put(line, 2, L"20190304");
    put(line, 10, L"REF000000");
    put(line, 26, L"C12AB0100000");
    put(line, 38, L" 1");
    put(line, 40, L"     99999");
    put(line, 50, L"1.0000");
    put(line, 56, L"MODRADIO0000");
    put(line, 72, L"4C30000000");
    put(line, 88, L"0081000000");
    put(line, 104, L"D31758BF81018EEA8E1BBEF67E70C180");
    put(line, 232, L"  0.010000");
    put(line, 242, L"   9999999");
    put(line, 252, L"20230712");
    put(line, 260, L"     5998.250000");
    put(line, 276, L"    599825");
    put(line, 286, L"0108OK");
    put(line, 354, L"20240116");
    put(line, 362, L"     6062.500000");
    put(line, 378, L"    606250");
    put(line, 388, L"2002LOW BATTERY");
    put(line, 456, L"1");
    put(line, 457, L"202401100930");
    put(line, 469, L" 3");
    return line;
}
M complete() { return parsed<M>(wholeLine()); }
Faults mandatoryErrors(M model) { return faults(model.getMandatoryErrors()); }
Faults parseErrors(const std::wstring& line) {
    const Silence quiet;
    return faults(parsed<M>(line).getParseErrors());
}
std::wstring built(M model, int column, int width) { return columns(textOf(model.toTramoLine()), column, width); }
long32 date(int year, int month, int day, int hour = 0, int minute = 0) {
    return static_cast<long32>(*seconds(year, month, day, hour, minute));
}
M readFlags(int column, const std::wstring& text) {
    std::wstring line = blankLine();
    put(line, column, text);
    return parsed<M>(line);
}

}  // namespace

TEST_EVERY_FIELD(AMRTramoModel, table)

TEST(AMR, AccessorsBelongToTheirFields) {
    accessorsBelongToTheirFields(
        table(), accessors, {"previousAlarms", "previousAlarmText", "currentAlarms", "currentAlarmText", "externalAMRText"});
}

TEST(AMR, AssignsEveryColumnUpTo470) {
    std::wstring line = blankLine();
    for (const Row& row : table().rows)
        if (row.width != 0) put(line, row.column, std::wstring(static_cast<std::size_t>(row.width), L'x'));
    EXPECT_EQ(line, L"2" + std::wstring(469, L'x') + blanks(42));
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(AMR, ReadsAWholeLine) {
    M model = complete();
    EXPECT_EQ(model.getType(), TF::TramoLineType::Amr);
    EXPECT_EQ(model.getInstallationDate(), date(2019, 3, 4));
    EXPECT_EQ(model.getMeterReference(), L"REF000000");
    EXPECT_EQ(model.getMeterSerialNumber(), L"C12AB0100000");
    EXPECT_EQ(model.getSensorPort(), 1);
    EXPECT_EQ(model.getMeterMaxIndex(), 99999);
    EXPECT_EQ(model.getMeterUnit(), 1.0);
    EXPECT_EQ(model.getReferance(), L"MODRADIO0000");
    EXPECT_EQ(model.getSerialNumber(), L"4C30000000");
    EXPECT_EQ(model.getInternalSerialNumber(), L"0081000000");
    EXPECT_EQ(model.getData(), L"D31758BF81018EEA8E1BBEF67E70C180");
    EXPECT_EQ(model.getPulseWeightStr(), L"  0.010000");
    EXPECT_EQ(model.getPulseWeight(), 0.01);
    EXPECT_EQ(model.getMaxIndex(), 9999999);
    EXPECT_EQ(model.getPreviousReadingDateStr(), L"20230712");
    EXPECT_EQ(model.getPreviousReadingDate(), date(2023, 7, 12));
    EXPECT_EQ(model.getPreviousMeterIndex(), 5998.25);
    EXPECT_EQ(model.getPreviousAmrIndex(), 599825);
    EXPECT_TRUE(model.getPreviousAlarmFraudPastOrCurrent());
    EXPECT_TRUE(model.getPreviousAlarmOverFlowPastOrCurrent());
    EXPECT_TRUE(equal(valueOf(model, "previousAlarms"), 0x801LL));
    EXPECT_EQ(model.getPreviousAmrStatus(), L"OK");
    EXPECT_EQ(model.getCurrentReadingDate(), date(2024, 1, 16));
    EXPECT_EQ(model.getCurrentMeterIndex(), 6062.5);
    EXPECT_EQ(model.getCurrentAmrIndex(), 606250);
    EXPECT_TRUE(model.getCurrentAlarmClockFaultCurrent());
    EXPECT_TRUE(model.getCurrentAlarmMeterBlockedPastOrCurrent());
    EXPECT_TRUE(equal(valueOf(model, "currentAlarms"), 0x220LL));
    EXPECT_EQ(model.getCurrentAmrStatus(), L"LOW BATTERY");
    EXPECT_TRUE(model.isExternalAMR());
    EXPECT_EQ(model.getLastReadFailDate(), date(2024, 1, 10, 9, 30));
    EXPECT_EQ(model.getReadFailCount(), 3);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), wholeLine());
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(AMR, RejectsALineOfAnotherKind) {
    std::wstring line = wholeLine();
    line[0] = L'4';
    const Console console;
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x203}}));
    EXPECT_EQ(console.narrow(), "AMR : unvalidLineType(4 != 2), Parse failed\n");
    EXPECT_EQ(console.wide(), L"");
    expectValues(model, absentState(table()));
    EXPECT_EQ(model.getType(), TF::TramoLineType::Amr);
    EXPECT_EQ(textOf(model.getTramoLine()), line);
}

TEST(AMR, RejectsALineWithAnUnknownLetter) {
    const Console console;
    EXPECT_EQ(parsed<M>(blankText(L'8')).getParseErrors().size(), 2u);
    EXPECT_EQ(parseErrors(blankText(L'8')), (Faults{{0, 0x15}, {0, 0x203}}));
    EXPECT_EQ(console.narrow(), "AMR : unvalidLineType(8 != 2), Parse failed\n");
    EXPECT_EQ(console.wide(), L"toLineType (8), Parse failed\n\n");
}

TEST(AMR, ListsEveryErrorInTheOrderOfTheColumns) {
    const Faults expected = {{2, 0x1B}, {38, 0x01}, {40, 0x01}, {50, 0x04}, {232, 0x04}, {242, 0x01}, {252, 0x1B}, {260, 0x04},
        {276, 0x04}, {354, 0x1B}, {362, 0x04}, {378, 0x04}, {457, 0x1A}, {469, 0x01}};
    EXPECT_EQ(parseErrors(L"2" + std::wstring(511, L'x')), expected);
}

TEST(AMR, ReportsInvalidAmrIndexesAsDecimals) {
    std::wstring line = blankLine();
    put(line, 276, L"n/a");
    put(line, 378, L"n/a");
    const Console console;
    const M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{276, 0x04}, {378, 0x04}}));
    EXPECT_EQ(console.wide(), L"toLongLong: n/a cannot be converted.\ntoLongLong: n/a cannot be converted.\n");
}

TEST(AMR, ReadsSnapshotsIndependentOfTheirDates) {
    std::wstring line = wholeLine();
    put(line, 252, blanks(8));
    put(line, 354, blanks(8));
    put(line, 469, L" 0");
    M model = parsed<M>(line);
    EXPECT_EQ(model.getPreviousReadingDate(), -1);
    EXPECT_EQ(model.getPreviousMeterIndex(), 5998.25);
    EXPECT_EQ(model.getPreviousAmrStatus(), L"OK");
    EXPECT_EQ(model.getCurrentAmrIndex(), 606250);
    EXPECT_EQ(model.getLastReadFailDate(), date(2024, 1, 10, 9, 30));
    std::wstring expected = wholeLine();
    put(expected, 252, blanks(102));
    put(expected, 354, blanks(102));
    put(expected, 457, blanks(14));
    EXPECT_EQ(textOf(model.toTramoLine()), expected);
}

TEST(AMR, KeepsTheTextOfAnInvalidDate) {
    std::wstring line = blankLine();
    put(line, 252, L"20230229");
    const M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{252, 0x1B}}));
    EXPECT_EQ(model.getPreviousReadingDateStr(), L"20230229");
    EXPECT_EQ(model.getPreviousReadingDate(), -1);
}

TEST(AMR, IsExternalOnlyWithA1) {
    for (const wchar_t c : {L'0', L' ', L'2', L'Y', L'\0', L'1'}) {
        const M model = readFlags(456, std::wstring(1, c));
        EXPECT_EQ(model.isExternalAMR(), c == L'1');
        EXPECT_EQ(faults(model.getParseErrors()), Faults());
        EXPECT_EQ(built(model, 456, 1), std::wstring(1, c));  // written unchanged
    }
}

TEST(AMR, IgnoresTheColumnsAfterTheFailedReadings) {
    std::wstring line = wholeLine();
    put(line, 471, std::wstring(42, L'x'));
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), wholeLine());
}

// ---- Alarm flags ----------------------------------------------------------------------------------------------------

TEST(AMR, WritesEachFlagAsItsBitLowByteFirst) {
    const wchar_t* const digits[] = {
        L"0100", L"0200", L"0400", L"0800", L"1000", L"2000", L"4000", L"8000", L"0001", L"0002", L"0004", L"0008"};
    for (std::size_t bit = 0; bit < alarmNames.size(); ++bit) {
        M model;
        model.setPreviousReadingDate(1);
        model.setCurrentReadingDate(1);
        setValue(model, alarmNames[bit].previous, true);
        EXPECT_EQ(built(model, 286, 4), digits[bit]);
        EXPECT_EQ(built(model, 388, 4), L"0000");
        setValue(model, alarmNames[bit].previous, false);
        setValue(model, alarmNames[bit].current, true);
        EXPECT_EQ(built(model, 286, 4), L"0000");
        EXPECT_EQ(built(model, 388, 4), digits[bit]);

        const M previous = readFlags(286, digits[bit]), current = readFlags(388, digits[bit]);
        for (std::size_t other = 0; other < alarmNames.size(); ++other) {
            EXPECT_TRUE(equal(valueOf(previous, alarmNames[other].previous), other == bit));
            EXPECT_TRUE(equal(valueOf(previous, alarmNames[other].current), false));
            EXPECT_TRUE(equal(valueOf(current, alarmNames[other].current), other == bit));
            EXPECT_TRUE(equal(valueOf(current, alarmNames[other].previous), false));
        }
    }
}

TEST(AMR, RoundTripsEveryCombinationOfFlags) {
    for (long long bits = 0; bits < 4096; ++bits) {
        const long long others = bits ^ 0xA5F;
        M model;
        model.setPreviousReadingDate(date(2023, 7, 12));
        model.setCurrentReadingDate(date(2024, 1, 16));
        for (std::size_t k = 0; k < alarmNames.size(); ++k) {
            setValue(model, alarmNames[k].previous, (bits >> k & 1) != 0);
            setValue(model, alarmNames[k].current, (others >> k & 1) != 0);
        }
        const M again(model.toTramoLine());
        for (std::size_t k = 0; k < alarmNames.size(); ++k) {
            ASSERT_TRUE(equal(valueOf(again, alarmNames[k].previous), (bits >> k & 1) != 0)) << bits << " " << k;
            ASSERT_TRUE(equal(valueOf(again, alarmNames[k].current), (others >> k & 1) != 0)) << others << " " << k;
        }
    }
}

TEST(AMR, WritesFraudAndOverflowAs0108) {
    M model;
    model.setPreviousReadingDate(1);
    model.setPreviousAlarmFraudPastOrCurrent(true);
    model.setPreviousAlarmOverFlowPastOrCurrent(true);
    EXPECT_EQ(built(model, 286, 4), L"0108");
    EXPECT_TRUE(equal(valueOf(readFlags(286, L"0108"), "previousAlarms"), 0x801LL));
}

// The two bytes of the number are exchanged; bits 12 to 15 are unused.
TEST(AMR, ReadsFlagsUpToTheFirstNonHexadecimalCharacter) {
    const std::pair<const wchar_t*, long long> texts[] = {
        {L"FF0F", 0xFFF},
        {L"ff0f", 0xFFF},
        {L"00F0", 0},
        {L"FFFF", 0xFFF},
        {L"0000", 0},
        {L"80", 0x80},
        {L"8", 0x8},
        {L"801", 0x180},
        {L"xx10", 0x10},
        {L"1 00", 0x1},
        {L"100x", 0x10},
        {L"00-1", 0xF00},
        {L" 100", 0},
    };
    for (const auto& [text, bits] : texts) {
        const M model = readFlags(286, text);
        EXPECT_TRUE(equal(valueOf(model, "previousAlarms"), bits)) << display(std::wstring(text));
        EXPECT_EQ(faults(model.getParseErrors()), Faults());
    }
}

TEST(AMR, NeverReportsInvalidFlags) {
    std::wstring line = wholeLine();
    put(line, 286, L"WXYZ");
    const Console console;
    const M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(console.wide(), L"hexStrToInt (YZWX), Parse failed\n\n");
    EXPECT_TRUE(equal(valueOf(model, "previousAlarms"), 0LL));
    EXPECT_NE(model.toString().find(L",amrPreviousAlarmStr:WXYZ,"), std::wstring::npos);
}

TEST(AMR, ShowsTheFlagTextAsReadAfterSetters) {
    M model = complete();
    model.setPreviousAlarmFraudPastOrCurrent(false);
    model.setCurrentAlarmFraudCurrent(true);
    EXPECT_NE(model.toString().find(L",amrPreviousAlarmStr:0108,amrPreviousAlarm_Fraud_PastOrCurrent:0,"), std::wstring::npos);
    EXPECT_NE(model.toString().find(L",amrCurrentAlarmStr:2002,amrCurrentAlarm_Fraud_PastOrCurrent:0,"), std::wstring::npos);
    EXPECT_EQ(built(model, 286, 4), L"0008");
    EXPECT_EQ(built(model, 388, 4), L"6002");
}

TEST(AMR, WritesAZeroAfterTheFlagsOfASnapshotWithoutStatus) {
    M model;
    model.setPreviousReadingDate(date(2023, 7, 12));
    model.setPreviousAlarmLeakCurrent(true);
    EXPECT_EQ(built(model, 286, 68), L"8000" + zero + blanks(63));
    model.setPreviousAmrStatus(L"OK");
    EXPECT_EQ(built(model, 286, 68), L"8000OK" + blanks(62));
    model.setPreviousAmrStatus(std::wstring(65, L'x'));  // too long: left out, so the zero stays
    EXPECT_EQ(built(model, 286, 68), L"8000" + zero + blanks(63));

    model.setCurrentReadingDate(date(2024, 1, 16));
    model.setCurrentAlarmBackFlowCurrent(true);
    EXPECT_EQ(built(model, 388, 68), L"0001" + zero + blanks(63));
    model.setCurrentAmrStatus(L"OK");
    EXPECT_EQ(built(model, 388, 68), L"0001OK" + blanks(62));
}

TEST(AMR, ReadsTheZeroAfterTheFlagsAsAStatus) {
    M model;
    model.setPreviousReadingDate(date(2023, 7, 12));
    model.setCurrentReadingDate(date(2024, 1, 16));
    const auto line = model.toTramoLine();
    M again(line);
    EXPECT_EQ(faults(again.getParseErrors()), (Faults{{2, 0x1B}}));  // the installation date of 0
    EXPECT_EQ(again.getPreviousAmrStatus(), zero);
    EXPECT_EQ(again.getCurrentAmrStatus(), zero);
    EXPECT_EQ(textOf(again.toTramoLine()), textOf(line));
    EXPECT_EQ(std::count(line.begin(), line.end(), L'\0'), 2);
    EXPECT_EQ(line[290 - 1], L'\0');
    EXPECT_EQ(line[392 - 1], L'\0');
    EXPECT_EQ(mandatoryErrors(model).back(), (Fault{290, 0x201}));  // no status in this model, one in the parsed one
    EXPECT_EQ(mandatoryErrors(again).back(), (Fault{286, 0x201}));
}

// ---- Pulse weight ---------------------------------------------------------------------------------------------------

TEST(AMR, KeepsThePulseWeightTextWithItsComma) {
    std::wstring line = blankLine();
    put(line, 232, L"0,5");
    M model = parsed<M>(line);
    EXPECT_EQ(model.getPulseWeight(), 0.5);
    EXPECT_EQ(model.getPulseWeightStr(), L"0,5");
    EXPECT_EQ(built(model, 232, 10), L"  0.500000");
    model.setPulseWeight(0);
    EXPECT_EQ(model.getPulseWeightStr(), L"0,5");
    EXPECT_EQ(built(model, 232, 10), L"0,5       ");
}

TEST(AMR, WritesThePulseWeightTextIfTheWeightIsNotAbove0) {
    M model;
    model.setPulseWeight(0.0);
    EXPECT_EQ(built(model, 232, 10), blanks(10));
    model.setPulseWeightStr(L"ABC");
    EXPECT_EQ(model.getPulseWeight(), 0.0);
    for (const double weight : {0.0, -0.0, -1.0, -1e300, std::numeric_limits<double>::quiet_NaN()}) {
        model.setPulseWeight(weight);
        EXPECT_EQ(built(model, 232, 10), L"ABC       ") << weight;
    }
    model.setPulseWeight(1e-9);
    EXPECT_EQ(built(model, 232, 10), L"  0.000000");
    EXPECT_EQ(model.getPulseWeightStr(), L"ABC");
}

TEST(AMR, ReportsATooLongPulseWeightTextOnlyIfItIsWritten) {
    M model;
    model.setPulseWeightStr(std::wstring(11, L'9'));
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 232, 10), blanks(10));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{232, 0x102}}));
    model.setPulseWeight(12345678.9);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 232, 10), L"12345678.9");  // truncated on the right
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(AMR, KeepsAnInvalidPulseWeightText) {
    std::wstring line = blankLine();
    put(line, 232, L"ten");
    const Silence quiet;
    const M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{232, 0x04}}));
    EXPECT_EQ(model.getPulseWeight(), -1.0);
    EXPECT_EQ(model.getPulseWeightStr(), L"ten");
    EXPECT_EQ(built(model, 232, 10), L"ten       ");
}

// ---- Setting and getting --------------------------------------------------------------------------------------------

TEST(AMR, Returns0ForACurrentDateOrLastFailOfMinus1) {
    M model;
    EXPECT_EQ(model.getCurrentReadingDate(), 0);
    EXPECT_TRUE(equal(valueOf(model, "currentReadingDate"), -1LL));
    model.setCurrentReadingDate(1);
    EXPECT_EQ(model.getCurrentReadingDate(), 1);
    model.setLastReadFailDate(-1);
    EXPECT_EQ(model.getLastReadFailDate(), 0);
    EXPECT_TRUE(equal(valueOf(model, "lastReadFailDate"), -1LL));
    model.setLastReadFailDate(-2);
    EXPECT_EQ(model.getLastReadFailDate(), -2);
}

TEST(AMR, ReturnsThePreviousDateAndTheInstallationUnchanged) {
    M model;
    EXPECT_EQ(model.getPreviousReadingDate(), -1);
    model.setInstallationDate(-1);
    EXPECT_EQ(model.getInstallationDate(), -1);
}

TEST(AMR, HoldsAMeterMaxIndexOf64BitsDespiteIts32BitSetter) {
    M model;
    static_assert(requires(void(M::*set)(int)) { set = &M::setMeterMaxIndex; });
    model.setMeterMaxIndex(std::numeric_limits<int>::min());
    EXPECT_EQ(model.getMeterMaxIndex(), -2147483648LL);
    std::wstring line = blankLine();
    put(line, 40, L"9876543210");
    EXPECT_EQ(parsed<M>(line).getMeterMaxIndex(), 9876543210LL);
    EXPECT_EQ(built(parsed<M>(line), 40, 10), L"9876543210");
}

TEST(AMR, HoldsTheRawValuesInMemoryOnly) {
    M model;
    EXPECT_EQ(model.getPreviousManufacturerRawAlarm(), 0u);
    EXPECT_EQ(model.getPreviousManufacturerRawStatus(), 0u);
    EXPECT_EQ(model.getCurrentManufacturerRawAlarm(), 0u);
    EXPECT_EQ(model.getCurrentManufacturerRawStatus(), 0u);
    model.setPreviousManufacturerRawAlarm(1);
    model.setPreviousManufacturerRawStatus(2);
    model.setCurrentManufacturerRawAlarm(3);
    model.setCurrentManufacturerRawStatus(0xFFFFFFFF);
    EXPECT_EQ(model.getPreviousManufacturerRawAlarm(), 1u);
    EXPECT_EQ(model.getPreviousManufacturerRawStatus(), 2u);
    EXPECT_EQ(model.getCurrentManufacturerRawAlarm(), 3u);
    EXPECT_EQ(model.getCurrentManufacturerRawStatus(), 0xFFFFFFFFu);
    EXPECT_EQ(textOf(model.toTramoLine()), textOf(M().toTramoLine()));
    EXPECT_EQ(model.toString(), M().toString());
    EXPECT_EQ(mandatoryErrors(model), mandatoryErrors(M()));
}

TEST(AMR, WritesTheExternalFlagOnceItIsSet) {
    M model;
    EXPECT_EQ(built(model, 456, 1), L" ");
    model.setExternamAMR(true);
    EXPECT_TRUE(model.isExternalAMR());
    EXPECT_EQ(built(model, 456, 1), L"1");
    model.setExternamAMR(false);
    EXPECT_FALSE(model.isExternalAMR());
    EXPECT_EQ(built(model, 456, 1), L"0");
}

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST(AMR, WritesADefaultModel) {
    M model;
    const auto line = model.toTramoLine();
    EXPECT_EQ(textOf(line), L"219700101" + blanks(503));
    EXPECT_EQ(lineEndOf(line), L"\r\n");
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(AMR, DoesNotWriteASnapshotWithADateOfMinus1) {
    M model = complete();
    model.setPreviousReadingDate(-1);
    EXPECT_EQ(built(model, 252, 102), blanks(102));
    EXPECT_EQ(built(model, 354, 102), columns(wholeLine(), 354, 102));
    model.setPreviousReadingDate(-2);  // every other date counts
    EXPECT_EQ(built(model, 252, 102), L"19700101" + columns(wholeLine(), 260, 94));
    model.setCurrentReadingDate(-1);
    EXPECT_EQ(built(model, 354, 102), blanks(102));
    model.setCurrentReadingDate(0);
    EXPECT_EQ(built(model, 354, 102), L"19700101" + columns(wholeLine(), 362, 94));
}

TEST(AMR, WritesFailedReadingsWithADateAndACountOf1OrMore) {
    for (const int fails : {-1, 0, 1, 99})
        for (const int when : {-1, 0, 1, 60}) {
            M model;
            model.setReadFailCount(fails);
            model.setLastReadFailDate(when);
            const std::wstring time = when == 60 ? L"197001010101" : L"197001010100", count = fails == 1 ? L" 1" : L"99";
            EXPECT_EQ(built(model, 457, 14), fails >= 1 && when >= 1 ? time + count : blanks(14)) << fails << " " << when;
        }
}

TEST(AMR, WritesIndexesOfSnapshotsAboveMinus1AndFrom0) {
    M model;
    model.setPreviousReadingDate(1);
    model.setCurrentReadingDate(1);
    EXPECT_EQ(built(model, 260, 26), blanks(26));
    EXPECT_EQ(built(model, 362, 26), blanks(26));
    model.setPreviousMeterIndex(-0.5);
    model.setPreviousAmrIndex(0);
    model.setCurrentMeterIndex(123456789012.25);
    model.setCurrentAmrIndex(12345678901);
    EXPECT_EQ(built(model, 260, 26), L"       -0.500000         0");
    EXPECT_EQ(built(model, 362, 26), L"123456789012.2501234567890");
}

TEST(AMR, TruncatesTheMeterUnitToSixCharacters) {
    M model;
    model.setMeterUnit(0.001);
    EXPECT_EQ(built(model, 50, 6), L"0.0010");
    model.setMeterUnit(1e20);
    EXPECT_EQ(built(model, 50, 6), L"100000");
    model.setMeterUnit(0);
    EXPECT_EQ(built(model, 50, 6), blanks(6));
}

TEST(AMR, ListsTooLongTextsInTheOrderOfWriting) {
    M model;
    const std::wstring tooLong(129, L'x');
    model.setCurrentReadingDate(1);
    model.setPreviousReadingDate(1);
    for (const Row& row : table().rows)
        if (row.kind == Text) setValue(model, row.name, tooLong);
    const Faults all = {{10, 0x102}, {26, 0x102}, {56, 0x102}, {72, 0x102}, {88, 0x102}, {104, 0x102}, {232, 0x102}, {290, 0x102},
        {392, 0x102}, {456, 0x102}};
    const auto line = model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), all);
    EXPECT_EQ(lineEndOf(line), L"\r\n");
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), all);  // replaced, not appended
}

// Writing flags never fails; if it did, the format would report the error at the columns of the previous flags.
TEST(AMR, ReportsErrorsOfTheCurrentFlagsAtThePreviousOnes) {
    EXPECT_EQ(faultOf(fieldOf<M>("currentAlarms").buildError), (Fault{286, 0x11A}));
    EXPECT_EQ(faultOf(fieldOf<M>("currentAlarms").parseError), (Fault{388, 0x16}));
}

TEST(AMR, WritesTheTypeSet) {
    M model;
    model.setType(TF::TramoLineType::ExtendedAmr);
    EXPECT_EQ(model.getType(), TF::TramoLineType::ExtendedAmr);
    EXPECT_EQ(built(model, 1, 1), L"4");
}

TEST(AMR, KeepsTheParsedLine) {
    EXPECT_EQ(textOf(M().getTramoLine()), blanks(512));
    EXPECT_EQ(lineEndOf(M().getTramoLine()), L"\r\n");
    M model = complete();
    model.setData(L"other");
    model.setExternamAMR(false);
    model.toTramoLine();
    EXPECT_EQ(textOf(model.getTramoLine()), wholeLine());
}

// ---- Checking -------------------------------------------------------------------------------------------------------

const Faults everythingMissing = {{2, 0x201}, {26, 0x201}, {38, 0x201}, {40, 0x201}, {50, 0x201}, {56, 0x201}, {72, 0x201},
    {88, 0x201}, {104, 0x201}, {232, 0x201}, {242, 0x201}, {252, 0x201}, {260, 0x201}, {276, 0x201}, {286, 0x201}, {290, 0x201}};

TEST(AMR, ReportsEveryMissingValueOfADefaultModelInOrderAndOnce) {
    M model;
    EXPECT_EQ(faults(model.getMandatoryErrors()), everythingMissing);
    EXPECT_EQ(faults(model.getMandatoryErrors()), everythingMissing);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(mandatoryErrors(parsed<M>(blankLine())), everythingMissing);
}

TEST(AMR, ReportsEachMissingFieldSeparately) {
    struct Missing {
        const char* field;
        FieldValue value;
        Faults expected;
    };
    // clang-format off
    const Missing all[] = {
        {"installationDate",     0LL,    {{2, 0x201}}},
        {"meterSerialNumber",    L"",    {{26, 0x201}}},
        {"meterMaxIndex",        -1LL,   {{40, 0x201}}},
        {"meterUnit",            -0.001, {{50, 0x201}}},
        {"referance",            L"",    {{56, 0x201}}},
        {"serialNumber",         L"",    {{72, 0x201}}},
        {"internalSerialNumber", L"",    {{88, 0x201}}},
        {"data",                 L"",    {{104, 0x201}}},
        {"pulseWeight",          -0.001, {{232, 0x201}}},
        {"maxIndex",             -1LL,   {{242, 0x201}}},
        {"previousReadingDate",  0LL,    {{252, 0x201}}},
        {"previousMeterIndex",   -0.001, {{260, 0x201}, {286, 0x201}}},
        {"previousAmrIndex",     -1LL,   {{276, 0x201}}},
        {"previousAmrStatus",    L"",    {{290, 0x201}}},
        {"installationDate",     1LL,    {}},
        {"meterMaxIndex",        0LL,    {}},
        {"meterUnit",            0.0,    {}},
        {"pulseWeight",          0.0,    {}},
        {"pulseWeightStr",       L"",    {}},
        {"maxIndex",             0LL,    {}},
        {"previousReadingDate",  1LL,    {}},
        {"previousMeterIndex",   0.0,    {}},
        {"previousAmrIndex",     0LL,    {}},
        {"previousAlarms",       0LL,    {}},
        {"meterReference",       L"",    {}},
        {"currentReadingDate",   -1LL,   {}},
        {"currentMeterIndex",    -1.0,   {}},
        {"currentAmrIndex",      -1LL,   {}},
        {"currentAlarms",        0LL,    {}},
        {"currentAmrStatus",     L"",    {}},
        {"externalAMR",          false,  {}},
        {"lastReadFailDate",     0LL,    {}},
        {"readFailCount",        0LL,    {}},
    };
    // clang-format on
    EXPECT_EQ(mandatoryErrors(complete()), Faults());
    for (const Missing& each : all) {
        M model = complete();
        setValue(model, each.field, each.value);
        EXPECT_EQ(mandatoryErrors(model), each.expected) << each.field;
    }
}

TEST(AMR, ChecksTheSensorPortInTheParsedText) {
    M model = complete();
    model.setSensorPort(-1);
    EXPECT_EQ(mandatoryErrors(model), Faults());
    std::wstring line = wholeLine();
    put(line, 38, L"  ");
    M blank = parsed<M>(line);
    blank.setSensorPort(1);
    EXPECT_EQ(built(blank, 38, 2), L" 1");
    EXPECT_EQ(mandatoryErrors(blank), (Faults{{38, 0x201}}));
    put(line, 38, L"VA");
    EXPECT_EQ(parseErrors(line), (Faults{{38, 0x01}}));
    const Silence quiet;
    EXPECT_EQ(mandatoryErrors(parsed<M>(line)), Faults());
}

// ---- Showing --------------------------------------------------------------------------------------------------------

std::wstring shownFlags(const std::wstring& which, const std::wstring& bits) {
    const std::wstring alarm = L",amr" + which + L"Alarm_";
    return alarm + L"Fraud_PastOrCurrent:" + bits[0] + alarm + L"Leak_PastOrCurrent:" + bits[1] + alarm +
           L"Backflow_PastOrCurrent:" + bits[2] + alarm + L"EndOfBattry_Current:" + bits[3] +
           (which == L"Current" ? L",LamrCurrentAlarm_" : alarm) + L"ModuleDefect_Current:" + bits[4] + alarm +
           L"ClockFault_Current:" + bits[5] + alarm + L"Fraud_Current:" + bits[6] + alarm + L"Leak_Current:" + bits[7] + alarm +
           L"Backflow_Current:" + bits[8] + alarm + L"MeterBlocked_PastOrCurrent:" + bits[9] + alarm +
           L"Underflow_PastOrCurrent:" + bits[10] + alarm + L"OverFlow_PastOrCurrent:" + bits[11];
}

TEST(AMR, ShowsADefaultModel) {
    std::wstring expected = L"AMR[amrInstallationDate:0,amrMeterReferance:,amrMeterSerialNumber:,amrSensorPort:\uFFFF,"
                            L"amrMeterMaxIndex:-1,amrMeterUnit:-1.000000,amrReferance:,amrSerialNumber:,amrInternalSerialNumber:,"
                            L"amrData:,amrPulseWeight:-1.000000,amrMaxIndex:-1,amrPreviousReadingDate:-1,"
                            L"amrPreviousMeterIndex:-1.000000,amrPreviousAlarmStr:";
    expected += shownFlags(L"Previous", L"000000000000");
    expected += L",amrPreviousAmrStatus:,amrCurrentReadingDate:-1,amrCurrentMeterIndex:-1.000000,amrCurrentAlarmStr:";
    expected += shownFlags(L"Current", L"000000000000");
    expected += L",amrCurrentAmrStatus:,isExternamAMR:" + zero + L"]";
    EXPECT_EQ(M().toString(), expected);
}

TEST(AMR, ShowsAParsedModel) {
    std::wstring expected =
        L"AMR[amrInstallationDate:1551654000,amrMeterReferance:REF000000,amrMeterSerialNumber:C12AB0100000,amrSensorPort:\x01,"
        L"amrMeterMaxIndex:99999,amrMeterUnit:1.000000,amrReferance:MODRADIO0000,amrSerialNumber:4C30000000,"
        L"amrInternalSerialNumber:0081000000,amrData:D31758BF81018EEA8E1BBEF67E70C180,amrPulseWeight:0.010000,"
        L"amrMaxIndex:9999999,amrPreviousReadingDate:1689112800,amrPreviousMeterIndex:5998.250000,amrPreviousAlarmStr:0108";
    expected += shownFlags(L"Previous", L"100000000001");
    expected +=
        L",amrPreviousAmrStatus:OK,amrCurrentReadingDate:1705359600,amrCurrentMeterIndex:6062.500000,amrCurrentAlarmStr:2002";
    expected += shownFlags(L"Current", L"000001000100");
    expected += L",amrCurrentAmrStatus:LOW BATTERY,isExternamAMR:\x01]";
    EXPECT_EQ(complete().toString(), expected);
}

TEST(AMR, ShowsTheSensorPortAsTheCharacterOfItsLow16Bits) {
    const std::pair<int, wchar_t> ports[] = {{3, 3}, {0, 0}, {65, L'A'}, {-1, 0xFFFF}, {0x10041, L'A'}, {0x20AC, 0x20AC}};
    for (const auto& [port, character] : ports) {
        M model;
        model.setSensorPort(port);
        const std::wstring shownText = model.toString();
        EXPECT_EQ(shownText.substr(shownText.find(L"amrSensorPort:") + 14, 2), std::wstring(1, character) + L",") << port;
    }
}
