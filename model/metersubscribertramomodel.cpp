#include "tramostream/metersubscribertramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = MeterSubscriberTramoModel;

struct MeterSubscriberTramoModel::TableParts {
    using Row = tramo::Row<M>;

    template <int K> static constexpr Condition<M> slotIsFilled{"its history slot has a date and a consumption of 0 or more",
        {&date<&M::history, K - 1, &HistorySlot::readingDate>, above(0)},
        {&number<&M::history, K - 1, &HistorySlot::consumption>, atLeast(0)}};
    template <int K>
    static constexpr Condition<M> slotIsComplete{"its history slot has a type, a date and a consumption of 0 or more",
        [](const M& m) { return !m.history[K - 1].readingType.view(m.line).empty() && slotIsFilled<K>.holds(m); }};

    static constexpr Condition<M> hasInformation{"there is meter information", {&text<&M::meterInformation>, filled}};
    static constexpr Condition<M> hasPreviousReading{
        "there is a previous reading date", {&date<&M::meterPreviousReadingDate>, above(0)}};
    static constexpr Condition<M> hasReading{"there is a reading date", {&dateTime<&M::meterReadingDate>, above(0)}};
    static constexpr Condition<M> hasBothReadings{"there is both a reading date and a previous reading date",
        {&dateTime<&M::meterReadingDate>, above(0)}, {&date<&M::meterPreviousReadingDate>, above(0)}};

    static constexpr Condition<M> previousReadingIsHalf{"the previous reading has a date but no index, or an index but no date",
        [](const M& m) { return (m.meterPreviousReadingDate > 0) != (m.meterPreviousReadingIndex >= 0); }};
    static constexpr Condition<M> estimateIsHalf{
        "the minimum of the estimated consumption is above 0 without a maximum, or there is a maximum and the minimum is not above 0",
        [](const M& m) { return (m.meterMinEstimatedConsumption > 0) == (m.meterMaxEstimatedConsumption < 0); }};
    static constexpr Condition<M> readingIsHalf{
        "the reading has a date but lacks an index, a status, a method or (after a previous index) a consumption, or has one of the first three without a date",
        [](const M& m) {
            const bool noStatus = m.meterReadingStatus == TF::ReadStatus::Unset,
                       noMethod = m.meterReadingMethod == TF::ReadMethod::Unset;
            if (m.meterReadingDate <= 0) return !(m.meterReadingIndex < 0 && noStatus && noMethod);
            return m.meterReadingIndex < 0 || noStatus || noMethod ||
                   (m.meterReadingConsumption < 0 && m.meterPreviousReadingIndex > 0);
        }};

    static void setAuthorizedChange(M& m) { m.setMeterAuthorizedChange(m.meterAuthorizedChange); }

    // The three fields of one history slot, written together. A complete slot is reported deliberately.
    template <int K> static consteval auto historySlot(std::int32_t column, std::int32_t dateParseColumn = 0) {
        constexpr auto* group = &slotIsFilled<K>;
        // clang-format off
        return fields<M>({
            Row{column,      1, "meterHistory#ReadingType", text  <&M::history, K - 1, &HistorySlot::readingType>, {.group = group, .inconsistentIf = &slotIsComplete<K>, .toParseList = true, .onGoodLines = true}},
            Row{column + 1,  8, "meterHistory#ReadingDate", date  <&M::history, K - 1, &HistorySlot::readingDate>, {.group = group, .parseColumn = dateParseColumn}},
            Row{column + 9, 10, "meterHistory#Consumption", number<&M::history, K - 1, &HistorySlot::consumption>, {.group = group}},
        }, K);
        // clang-format on
    }
};

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    using P = TableParts;
    // clang-format off
    static constexpr auto rows = joined(
        fields<M>({
            Row{  2,   4, "subscriberCardOrder",   number<&M::subscriberCardOrder>,   {.written = atLeast(0)}},
            Row{  6, 150, "subscriberInformation", text  <&M::subscriberInformation>, {.missing = empty, .toParseList = true, .holds = Personal::Home}},
            Row{460,   2, "subscriberMarkingCode", text  <&M::subscriberMarkingCode>, {.written = filled}},
        }),
        TableParts::historySlot<1>(156),
        TableParts::historySlot<2>(175),
        TableParts::historySlot<3>(194, 194),
        TableParts::historySlot<4>(213),
        fields<M>({
            Row{232, 120, "meterInformation",             text       <&M::meterInformation>,             {.missing = empty, .toParseList = true, .holds = Personal::Meter}},
            Row{352,  12, "meterSerialNumber",            text       <&M::meterSerialNumber>,            {.group = &P::hasInformation, .missing = empty, .toParseList = true, .holds = Personal::SerialNumber}},
            Row{364,   2, "meterWheels",                  number     <&M::meterWheels>,                  {.written = atLeast(0), .parseColumn = 352, .buildColumn = 352}},
            Row{366,  12, "meterCorrectedSerialNumber",   text       <&M::meterCorrectedSerialNumber>,   {.written = filled, .holds = Personal::SerialNumber, .returned = true}},
            Row{378,   2, "meterCorrectedWheels",         number     <&M::meterCorrectedWheels>,         {.written = above(3), .returned = true}},
            Row{380,   4, "meterInstallationYear",        year       <&M::meterInstallationYear>,        {.written = known}},
            Row{384,   8, "meterPreviousReadingDate",     date       <&M::meterPreviousReadingDate>,     {.written = above(0), .inconsistentIf = &P::previousReadingIsHalf, .toParseList = true}},
            Row{392,  10, "meterPreviousReadingIndex",    number     <&M::meterPreviousReadingIndex>,    {.written = atLeast(0), .group = &P::hasPreviousReading, .buildCode = TE::BuildDate}},
            Row{402,  12, "meterMinEstimatedConsumption", sixDecimals<&M::meterMinEstimatedConsumption>, {.written = above(-1), .inconsistentIf = &P::estimateIsHalf, .toParseList = true}},
            Row{414,  12, "meterMaxEstimatedConsumption", sixDecimals<&M::meterMaxEstimatedConsumption>, {.written = above(-1)}},
            Row{426,  12, "meterReadingDate",             dateTime   <&M::meterReadingDate>,             {.written = above(0), .inconsistentIf = &P::readingIsHalf, .returned = true}},
            Row{438,  10, "meterReadingIndex",            number     <&M::meterReadingIndex>,            {.written = atLeast(0), .group = &P::hasReading, .returned = true}},
            Row{448,   1, "meterReadingStatus",           readStatus <&M::meterReadingStatus>,           {.group = &P::hasReading, .returned = true}},
            Row{449,  10, "meterReadingConsumption",      number     <&M::meterReadingConsumption>,      {.written = atLeast(0), .group = &P::hasBothReadings, .returned = true}},
            Row{459,   1, "meterReadingMethod",           readMethod <&M::meterReadingMethod>,           {.group = &P::hasReading, .returned = true}},
            Row{462,   2, "meterMarkingCode",             text       <&M::meterMarkingCode>,             {.written = filled, .returned = true}},
            Row{464,  30, "meterMessage",                 text       <&M::meterMessage>,                 {.written = filled, .holds = Personal::Message, .returned = true}},
            Row{494,  12, "meterLastUpdateDate",          dateTime   <&M::meterLastUpdateDate>,          {.written = above(0), .returned = true}},
            Row{506,   1, "meterAuthorizedChange",        flag       <&M::meterAuthorizedChange>,        {.missing = empty, .kept = keptText<&M::authorizedChangeText>, .blank = L"1", .set = P::setAuthorizedChange}},
            Row{507,   1, "meterFluidType",               fluid      <&M::meterFluidType>},
            Row{508,   5, "meterReadingUserCode",         text       <&M::meterReadingUserCode>,         {.label = "meterReadingUsierId", .written = filled, .holds = Personal::Agent, .returned = true}},
        }));
    // clang-format on
    static constexpr Record<M> record{L'1', "MeterSubscriberTramoModel", "meter subscriber", rows};
    return checked<record>();
}

M::MeterSubscriberTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() {
    auto built = table().build(*this);
    builtLine = built;
    return built;
}
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(MeterSubscriberTramoModel);
