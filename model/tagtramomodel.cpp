#include "tramostream/tagtramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = TagTramoModel;

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr Row rows[] = {
        Row{1,  2, "code",  text<&M::code>,  {.missing = empty}},
        Row{3, 20, "label", text<&M::label>, {.missing = empty, .holds = Personal::Setting}},
    };
    // clang-format on
    static constexpr Record<M> record{L'\0', "TagTramoModel", "tag", rows};
    return checked<record>();
}

M::TagTramoModel(const TagLine::tagLine_t& from) : line(from) { table().parse(*this); }
TagLine::tagLine_t M::toTagLine() { return table().build(*this); }
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(TagTramoModel);
