#include "tramostream/meterchangetramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = MeterChangeTramoModel;

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr Row rows[] = {
        Row{ 2, 12, "oldMeterSerialNumber",     text  <&M::oldMeterSerialNumber>,     {.missing = empty, .holds = Personal::SerialNumber}},
        Row{14, 12, "newMeterSerialNumber",     text  <&M::newMeterSerialNumber>,     {.missing = empty, .buildCode = TE::BuildInteger, .holds = Personal::SerialNumber}},
        Row{26,  2, "newMeterWheelsNumber",     number<&M::newMeterWheelsNumber>,     {.written = above(3), .missing = empty, .kept = keptText<&M::wheelsText>}},
        Row{28, 10, "newMeterIndex",            number<&M::newMeterIndex>,            {.written = atLeast(0), .missing = empty, .kept = keptText<&M::indexText>, .buildCode = TE::BuildText}},
        Row{38,  8, "newMeterInstallationDate", date  <&M::newMeterInstallationDate>, {.missing = below(1)}},
    };
    // clang-format on
    static constexpr Record<M> record{L'3', "MeterChangeTramoModel", "meter change", rows};
    return checked<record>();
}

M::MeterChangeTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() { return table().build(*this); }
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(MeterChangeTramoModel);
