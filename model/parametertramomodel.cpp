#include "tramostream/parametertramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = ParameterTramoModel;

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr Row rows[] = {
        Row{1,  8, "key",   text<&M::key>,   {.missing = empty}},
        Row{9, 32, "value", text<&M::value>, {.missing = empty, .holds = Personal::Setting}},
    };
    // clang-format on
    static constexpr Record<M> record{L'\0', "ParameterTramoModel", "parameter", rows};
    return checked<record>();
}

M::ParameterTramoModel(const ParameterLine::parameterLine_t& from) : line(from) { table().parse(*this); }
ParameterLine::parameterLine_t M::toParameterLine() { return table().build(*this); }
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(ParameterTramoModel);
