#include "tramostream/extendeddatatramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = ExtendedDataTramoModel;

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr Row rows[] = {
        Row{ 2, 12, "meterSerialNumber", text   <&M::meterSerialNumber>, {.missing = empty, .holds = Personal::SerialNumber}},
        Row{14, 16, "latitude",          decimal<12, &M::latitude>,      {.present = &M::latitudeSet, .holds = Personal::Latitude}},
        Row{30, 16, "longitude",         decimal<12, &M::longitude>,     {.present = &M::longitudeSet, .holds = Personal::Longitude}},
        Row{46,  8, "altitude",          decimal<3, &M::altitude>,       {.present = &M::altitudeSet, .holds = Personal::Altitude}},
        Row{54,  8, "accuracy",          decimal<3, &M::accuracy>,       {.present = &M::accuracySet}},
        Row{62,  8, "updateDate",        date   <&M::updateDate>,        {.present = &M::updateDateSet}},
        Row{70,  2, "scoreType",         text   <&M::scoreType>,         {.present = &M::scoreTypeSet}},
        Row{72,  8, "scoreValue",        text   <&M::scoreValue>,        {.present = &M::scoreValueSet}},
    };
    // clang-format on
    static constexpr Record<M> record{L'7', "ExtendedDataTramoModel", "extended data", rows};
    return checked<record>();
}

M::ExtendedDataTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() { return table().build(*this); }
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(ExtendedDataTramoModel);
