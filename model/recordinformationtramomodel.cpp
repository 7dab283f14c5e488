#include "tramostream/recordinformationtramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = RecordInformationTramoModel;

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr Row rows[] = {   // parsing stores the columns of the meter number in the round number
        Row{2, 5, "roundNumber", number<&M::roundNumber>, {.written = atLeast(0), .missing = below(0)}},
        Row{7, 5, "meterNumber", number<&M::meterNumber>, {.written = atLeast(0), .missing = below(0), .onGoodLines = true, .into = &number<&M::roundNumber>}},
    };
    // clang-format on
    static constexpr Record<M> record{L'9', "RecordInformationTramoModel", "record information", rows};
    return checked<record>();
}

M::RecordInformationTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() { return table().build(*this); }
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(RecordInformationTramoModel);
