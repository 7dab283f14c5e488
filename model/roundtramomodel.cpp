#include "tramostream/roundtramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = RoundTramoModel;

namespace {

// The columns that the errors of an area name instead of the field's own.
struct ErrorColumns {
    std::int32_t label = 0, position = 0, lenght = 0, type = 0, typeParse = type;
};

}  // namespace

struct RoundTramoModel::TableParts {
    using Row = tramo::Row<M>;

    template <auto Areas, int K> static constexpr const Area& at(const M& m) { return (m.*Areas)[K - 1]; }

    template <auto Areas, int K> static constexpr Condition<M> placed{
        "its area has a position of 0 or more", {&number<Areas, K - 1, &Area::position>, atLeast(0)}};

    static bool incomplete(const Area& area, TF::TramoType typeA) {
        if (area.position >= 0 && area.lenght >= 0 && area.type != TF::TramoType::Unset) return false;
        return area.position > 0 || area.lenght > 0 || typeA == TF::TramoType::TypeA || area.type == TF::TramoType::TypeN;
    }
    template <auto Areas, int K>
    static constexpr Condition<M> partly{"its area has some of position, length and type, but not all of them",
        [](const M& m) { return incomplete(at<Areas, K>(m), at<Areas, K>(m).type); }};

    // For the first subscriber area, the format checks type 'A' in the last meter area.
    static constexpr Condition<M> firstSubscriberAreaPartly{
        "its area has some of position, length and type (or meter information area 5 is of type A), but not all of them",
        [](const M& m) { return incomplete(m.subscriberAreas[0], m.meterAreas[4].type); }};

    // The four fields of one area, written together if the area has a position.
    template <auto Areas, int K> static consteval auto area(
        std::int32_t column, std::array<const char*, 4> name, const Condition<M>* partly, ErrorColumns error) {
        constexpr auto* group = &placed<Areas, K>;
        // clang-format off
        return fields<M>({
            Row{column,      16, name[0], text     <Areas, K - 1, &Area::label>,    {.group = group, .inconsistentIf = partly, .buildColumn = error.label, .missingColumn = error.label}},
            Row{column + 16,  3, name[1], number   <Areas, K - 1, &Area::position>, {.group = group, .parseColumn = error.position, .buildColumn = error.position}},
            Row{column + 19,  2, name[2], number   <Areas, K - 1, &Area::lenght>,   {.group = group, .parseColumn = error.lenght, .buildColumn = error.lenght}},
            Row{column + 21,  1, name[3], tramoType<Areas, K - 1, &Area::type>,     {.group = group, .parseColumn = error.typeParse, .buildColumn = error.type}},
        }, K);
        // clang-format on
    }

    template <int K> static consteval auto meterArea(std::int32_t column) {
        return area<&M::meterAreas, K>(column,
            {"meterInformationLabelArea#", "meterInformationPositionArea#", "meterInformationLenghtArea#",
                "meterInformationTypeArea#"},
            &partly<&M::meterAreas, K>, {});
    }
    template <int K> static consteval auto subscriberArea(std::int32_t column, ErrorColumns error = {}) {
        return area<&M::subscriberAreas, K>(column,
            {"subscriberInformationLabelArea#", "subscriberInformationPositionArea#", "subscriberInformationLenghtArea#",
                "subscriberInformationTypeArea#"},
            K == 1 ? &firstSubscriberAreaPartly : &partly<&M::subscriberAreas, K>, error);
    }
};

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr auto rows = joined(
        fields<M>({
            Row{  2,   8, "code",               text  <&M::code>,               {.missing = empty, .holds = Personal::RoundName}},
            Row{ 10,  20, "name",               text  <&M::name>,               {.holds = Personal::RoundName}},
            Row{ 30,   2, "defaultMeterWheels", number<&M::defaultMeterWheels>, {.written = above(3)}},
            Row{ 32, 160, "message",            text  <&M::message>,            {.holds = Personal::Message}},
            Row{192,  64, "consumtionLimit",    text  <&M::consumtionLimit>},
        }),
        TableParts::meterArea<1>(256),
        TableParts::meterArea<2>(278),
        TableParts::meterArea<3>(300),
        TableParts::meterArea<4>(322),
        TableParts::meterArea<5>(344),
        TableParts::subscriberArea<1>(366),
        TableParts::subscriberArea<2>(388),
        TableParts::subscriberArea<3>(410),
        TableParts::subscriberArea<4>(432, {.label = 431, .position = 432, .lenght = 448, .type = 451}),   // one field to the left
        TableParts::subscriberArea<5>(454, {.typeParse = 473}),
        fields<M>({
            Row{499, 8, "roundImportDate",  date<&M::roundImportDate>, {.label = "roundImportDate", .written = above(0), .parseColumn = 8}},
            Row{511, 2, "reservedUserCode", text<&M::reservedUserCode>, {.holds = Personal::Agent}},
        }));
    // clang-format on
    static constexpr Record<M> record{
        .letter = L'0', .model = "RoundTramoModel", .name = "round", .rows = rows, .labelPrefix = "round"};
    return checked<record>();
}

M::RoundTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() {
    auto built = table().build(*this);
    builtLine = built;
    return built;
}
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(RoundTramoModel);
