#include "tramostream/amrtramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = AMRTramoModel;

struct AMRTramoModel::TableParts {
    using Row = tramo::Row<M>;

    static constexpr Condition<M> pulseWeightIsText{
        "the pulse weight is not above 0", {&sixDecimals<&M::pulseWeight>, notAbove(0)}};
    static constexpr Condition<M> hasPrevious{
        "the previous reading date is not -1", {&date<&M::previousReadingDate>, otherThan(-1)}};
    static constexpr Condition<M> hasCurrent{
        "the current reading date is not -1", {&date<&M::currentReadingDate>, otherThan(-1)}};
    static constexpr Condition<M> hasReadFails{"there is both a date and a count of failed readings",
        {&dateTime<&M::lastReadFailDate>, atLeast(1)}, {&number<&M::readFailCount>, atLeast(1)}};

    static constexpr Condition<M> lacksPreviousMeterIndex{
        "the previous meter index is below 0", [](const M& m) { return m.previousMeterIndex < 0; }};

    static void setExternal(M& m) { m.setExternamAMR(m.externalAMR); }

    // clang-format off
    static consteval auto previousAlarmFlags() {
        return fields<M>({
            Row{0, 0, "previousAlarmFraudPastOrCurrent",        flag<&M::previousAlarms, 0>,  {.label = "amrPreviousAlarm_Fraud_PastOrCurrent"}},
            Row{0, 0, "previousAlarmLeakPastOrCurrent",         flag<&M::previousAlarms, 1>,  {.label = "amrPreviousAlarm_Leak_PastOrCurrent"}},
            Row{0, 0, "previousAlarmBackFlowPastOrCurrent",     flag<&M::previousAlarms, 2>,  {.label = "amrPreviousAlarm_Backflow_PastOrCurrent"}},
            Row{0, 0, "previousAlarmEndOfBattryCurrent",        flag<&M::previousAlarms, 3>,  {.label = "amrPreviousAlarm_EndOfBattry_Current"}},
            Row{0, 0, "previousAlarmModuleDefectCurrent",       flag<&M::previousAlarms, 4>,  {.label = "amrPreviousAlarm_ModuleDefect_Current"}},
            Row{0, 0, "previousAlarmClockfaultCurrent",         flag<&M::previousAlarms, 5>,  {.label = "amrPreviousAlarm_ClockFault_Current"}},
            Row{0, 0, "previousAlarmFraudCurrent",              flag<&M::previousAlarms, 6>,  {.label = "amrPreviousAlarm_Fraud_Current"}},
            Row{0, 0, "previousAlarmLeakCurrent",               flag<&M::previousAlarms, 7>,  {.label = "amrPreviousAlarm_Leak_Current"}},
            Row{0, 0, "previousAlarmBackFlowCurrent",           flag<&M::previousAlarms, 8>,  {.label = "amrPreviousAlarm_Backflow_Current"}},
            Row{0, 0, "previousAlarmMeterBlockedPastOrCurrent", flag<&M::previousAlarms, 9>,  {.label = "amrPreviousAlarm_MeterBlocked_PastOrCurrent"}},
            Row{0, 0, "previousAlarmUnderFlowPastOrCurrent",    flag<&M::previousAlarms, 10>, {.label = "amrPreviousAlarm_Underflow_PastOrCurrent"}},
            Row{0, 0, "previousAlarmOverFlowPastOrCurrent",     flag<&M::previousAlarms, 11>, {.label = "amrPreviousAlarm_OverFlow_PastOrCurrent"}},
        });
    }
    static consteval auto currentAlarmFlags() {
        return fields<M>({
            Row{0, 0, "currentAlarmFraudPastOrCurrent",         flag<&M::currentAlarms, 0>,   {.label = "amrCurrentAlarm_Fraud_PastOrCurrent"}},
            Row{0, 0, "currentAlarmLeakPastOrCurrent",          flag<&M::currentAlarms, 1>,   {.label = "amrCurrentAlarm_Leak_PastOrCurrent"}},
            Row{0, 0, "currentAlarmBackFlowPastOrCurrent",      flag<&M::currentAlarms, 2>,   {.label = "amrCurrentAlarm_Backflow_PastOrCurrent"}},
            Row{0, 0, "currentAlarmEndOfBattryCurrent",         flag<&M::currentAlarms, 3>,   {.label = "amrCurrentAlarm_EndOfBattry_Current"}},
            Row{0, 0, "currentAlarmModuleDefectCurrent",        flag<&M::currentAlarms, 4>,   {.label = "LamrCurrentAlarm_ModuleDefect_Current"}},
            Row{0, 0, "currentAlarmClockFaultCurrent",          flag<&M::currentAlarms, 5>,   {.label = "amrCurrentAlarm_ClockFault_Current"}},
            Row{0, 0, "currentAlarmFraudCurrent",               flag<&M::currentAlarms, 6>,   {.label = "amrCurrentAlarm_Fraud_Current"}},
            Row{0, 0, "currentAlarmLeakCurrent",                flag<&M::currentAlarms, 7>,   {.label = "amrCurrentAlarm_Leak_Current"}},
            Row{0, 0, "currentAlarmBackFlowCurrent",            flag<&M::currentAlarms, 8>,   {.label = "amrCurrentAlarm_Backflow_Current"}},
            Row{0, 0, "currentAlarmMeterBlockedPastOrCurrent",  flag<&M::currentAlarms, 9>,   {.label = "amrCurrentAlarm_MeterBlocked_PastOrCurrent"}},
            Row{0, 0, "currentAlarmUnderFlowPastOrCurrent",     flag<&M::currentAlarms, 10>,  {.label = "amrCurrentAlarm_Underflow_PastOrCurrent"}},
            Row{0, 0, "currentAlarmOverFlowPastOrCurrent",      flag<&M::currentAlarms, 11>,  {.label = "amrCurrentAlarm_OverFlow_PastOrCurrent"}},
        });
    }
    // clang-format on
};

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    using P = TableParts;
    // clang-format off
    static constexpr auto rows = joined(   // column 0: not in the line, only shown by toString
        fields<M>({
            Row{  2,   8, "installationDate",       date         <&M::installationDate>,       {.missing = below(1)}},
            Row{ 10,  16, "meterReference",         text         <&M::meterReference>,         {.label = "amrMeterReferance", .holds = Personal::Reference}},
            Row{ 26,  12, "meterSerialNumber",      text         <&M::meterSerialNumber>,      {.missing = empty, .holds = Personal::SerialNumber}},
            Row{ 38,   2, "sensorPort",             character    <&M::sensorPort>,             {.written = atLeast(0), .missing = empty, .kept = keptText<&M::sensorPortText>, .buildCode = TE::BuildText}},
            Row{ 40,  10, "meterMaxIndex",          number       <&M::meterMaxIndex>,          {.written = atLeast(0), .missing = below(0)}},
            Row{ 50,   6, "meterUnit",              sixDecimals  <&M::meterUnit>,              {.written = above(0), .missing = below(0)}},
            Row{ 56,  16, "referance",              text         <&M::referance>,              {.missing = empty, .holds = Personal::Reference}},
            Row{ 72,  16, "serialNumber",           text         <&M::serialNumber>,           {.missing = empty, .holds = Personal::SerialNumber}},
            Row{ 88,  16, "internalSerialNumber",   text         <&M::internalSerialNumber>,   {.missing = empty, .holds = Personal::SerialNumber}},
            Row{104, 128, "data",                   text         <&M::data>,                   {.missing = empty, .holds = Personal::RadioData}},
            Row{232,  10, "pulseWeight",            sixDecimals  <&M::pulseWeight>,            {.written = above(0), .missing = below(0)}},
            Row{232,  10, "pulseWeightStr",         text         <&M::pulseWeightStr>,         {.label = notShown, .group = &P::pulseWeightIsText, .overlaid = true}},
            Row{242,  10, "maxIndex",               number       <&M::maxIndex>,               {.written = atLeast(0), .missing = below(0)}},
            Row{252,   8, "previousReadingDate",    date         <&M::previousReadingDate>,    {.group = &P::hasPrevious, .missing = below(1)}},
            Row{252,   8, "previousReadingDateStr", text         <&M::previousReadingDateStr>, {.label = notShown, .written = never, .overlaid = true}},
            Row{260,  16, "previousMeterIndex",     sixDecimals  <&M::previousMeterIndex>,     {.written = above(-1), .group = &P::hasPrevious, .missing = below(0)}},
            Row{276,  10, "previousAmrIndex",       number       <&M::previousAmrIndex>,       {.label = notShown, .written = atLeast(0), .group = &P::hasPrevious, .missing = below(0), .parseCode = TE::ParseDouble}},
            Row{286,   4, "previousAlarms",         alarms       <&M::previousAlarms>,         {.label = notShown, .group = &P::hasPrevious, .missingIf = &P::lacksPreviousMeterIndex, .kept = keptText<&M::previousAlarmText>}},
            Row{  0,   0, "previousAlarmText",      text         <&M::previousAlarmText>,      {.label = "amrPreviousAlarmStr"}},
        }),
        TableParts::previousAlarmFlags(),
        fields<M>({
            Row{290,  64, "previousAmrStatus",      text         <&M::previousAmrStatus>,      {.group = &P::hasPrevious, .missing = empty, .holds = Personal::RadioData}},
            Row{354,   8, "currentReadingDate",     date         <&M::currentReadingDate>,     {.group = &P::hasCurrent, .returned = true}},
            Row{362,  16, "currentMeterIndex",      sixDecimals  <&M::currentMeterIndex>,      {.written = above(-1), .group = &P::hasCurrent, .returned = true}},
            Row{378,  10, "currentAmrIndex",        number       <&M::currentAmrIndex>,        {.label = notShown, .written = atLeast(0), .group = &P::hasCurrent, .parseCode = TE::ParseDouble, .returned = true}},
            Row{388,   4, "currentAlarms",          alarms       <&M::currentAlarms>,          {.label = notShown, .group = &P::hasCurrent, .kept = keptText<&M::currentAlarmText>, .buildColumn = 286, .returned = true}},
            Row{  0,   0, "currentAlarmText",       text         <&M::currentAlarmText>,       {.label = "amrCurrentAlarmStr"}},
        }),
        TableParts::currentAlarmFlags(),
        fields<M>({
            Row{392,  64, "currentAmrStatus",       text         <&M::currentAmrStatus>,       {.group = &P::hasCurrent, .holds = Personal::RadioData, .returned = true}},
            Row{456,   1, "externalAMR",            characterFlag<&M::externalAMR>,            {.label = "isExternamAMR", .written = never, .set = P::setExternal}},
            Row{456,   1, "externalAMRText",        text         <&M::externalText>,           {.label = notShown, .overlaid = true}},
            Row{457,  12, "lastReadFailDate",       dateTime     <&M::lastReadFailDate>,       {.label = notShown, .group = &P::hasReadFails, .returned = true}},
            Row{469,   2, "readFailCount",          number       <&M::readFailCount>,          {.label = notShown, .group = &P::hasReadFails, .returned = true}},
        }));
    // clang-format on
    static constexpr Record<M> record{
        .letter = L'2',
        .model = "AMRTramoModel",
        .name = "AMR",
        .rows = rows,
        .inMessages = "AMR",
        .inDump = "AMR",
        .labelPrefix = "amr",
    };
    return checked<record>();
}

M::AMRTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() { return table().build(*this); }
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(AMRTramoModel);
