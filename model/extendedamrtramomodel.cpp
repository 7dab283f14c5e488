#include "tramostream/extendedamrtramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = ExtendedAMRTramoModel;

struct ExtendedAMRTramoModel::TableParts {
    using Row = tramo::Row<M>;

    template <int K> static constexpr Condition<M> slotIsFilled{"its history slot has a time and an index above -1",
        {&dateTime<&M::history, K - 1, &HistorySlot::dateTime>, above(0)},
        {&decimal<3, &M::history, K - 1, &HistorySlot::index>, above(-1)}};
    template <int K> static constexpr Condition<M> slotIsPartly{
        "its history slot has some of time, index and alarm code, but not all of them", [](const M& m) {
            const HistorySlot& slot = m.history[K - 1];
            const bool whole = slot.dateTime >= 1 && slot.index >= 0 && slot.alarms != TF::AmrAlarms::Unset;
            const bool vacant = slot.dateTime < 1 && slot.index < 0 && slot.alarms == TF::AmrAlarms::Unset;
            return !whole && !vacant;
        }};

    // The three fields of one history slot, written together. An unknown alarm code is reported at the index.
    template <int K> static consteval auto historySlot(std::int32_t column) {
        constexpr auto* group = &slotIsFilled<K>;
        // clang-format off
        return fields<M>({
            Row{column,      12, "history#DateTime", dateTime<&M::history, K - 1, &HistorySlot::dateTime>, {.group = group, .inconsistentIf = &slotIsPartly<K>}},
            Row{column + 12,  9, "history#Index",    decimal <3, &M::history, K - 1, &HistorySlot::index>, {.group = group, .parseCode = TE::ParseInteger, .buildCode = TE::BuildInteger}},
            Row{column + 21,  1, "history#Alarms",   alarm   <&M::history, K - 1, &HistorySlot::alarms>,   {.group = group, .parseColumn = column + 12}},
        }, K);
        // clang-format on
    }
};

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr auto rows = joined(
        fields<M>({
            Row{  2, 16, "meterReference",    text    <&M::meterReference>,    {.holds = Personal::Reference}},
            Row{ 18, 12, "meterSerialNumber", text    <&M::meterSerialNumber>, {.missing = empty, .holds = Personal::SerialNumber}},
            Row{ 30, 16, "amrReference",      text    <&M::amrReference>,      {.missing = empty, .holds = Personal::Reference}},
            Row{ 46, 16, "amrSerialNumber",   text    <&M::amrSerialNumber>,   {.missing = empty, .holds = Personal::SerialNumber}},
            Row{ 62,  2, "amrSensorPort",     number  <&M::amrSensorPort>,     {.written = atLeast(0), .missing = below(0)}},
            Row{ 64, 12, "readingDate",       dateTime<&M::readingDate>,       {.missing = below(1)}},
            Row{ 76,  9, "meterIndex",        decimal <3, &M::meterIndex>,     {.written = above(-1), .missing = below(0)}},
            Row{ 85,  9, "backflowIndex",     decimal <3, &M::backflowIndex>,  {.missing = below(0), .parseColumn = 96, .missingColumn = 96}},
            Row{ 94,  1, "fraudAlarm",        flag    <&M::fraudAlarm>,        {.parseColumn = 96}},
            Row{ 95,  1, "leakAlarm",         flag    <&M::leakAlarm>},
            Row{ 96,  1, "backflowAlarm",     flag    <&M::backflowAlarm>},
            Row{ 97,  1, "battryAlarm",       flag    <&M::battryAlarm>},
            Row{ 98,  1, "moduleDefectAlarm", flag    <&M::moduleDefectAlarm>, {.parseCode = TE::ParseInteger}},
            Row{ 99,  1, "clockFaultAlarm",   flag    <&M::clockFaultAlarm>},
            Row{100,  2, "reservedAlarm",     text    <&M::reservedAlarm>},
        }),
        TableParts::historySlot<1>(102),
        TableParts::historySlot<2>(124),
        TableParts::historySlot<3>(146),
        TableParts::historySlot<4>(168),
        TableParts::historySlot<5>(190),
        TableParts::historySlot<6>(212),
        TableParts::historySlot<7>(234),
        TableParts::historySlot<8>(256),
        TableParts::historySlot<9>(278),
        TableParts::historySlot<10>(300),
        TableParts::historySlot<11>(322),
        TableParts::historySlot<12>(344),
        TableParts::historySlot<13>(366),
        TableParts::historySlot<14>(388),
        TableParts::historySlot<15>(410),
        TableParts::historySlot<16>(432),
        TableParts::historySlot<17>(454),
        TableParts::historySlot<18>(476));
    // clang-format on
    static constexpr Record<M> record{L'4', "ExtendedAMRTramoModel", "extended AMR", rows};
    return checked<record>();
}

M::ExtendedAMRTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() { return table().build(*this); }
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(ExtendedAMRTramoModel);
