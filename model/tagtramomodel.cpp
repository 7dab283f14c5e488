#include "tramostream/tagtramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = TagTramoModel;

const Record<M>& M::layout() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr Row rows[] = {
        Row{1,  2, "code",  text<&M::code>,  {.missing = empty}},
        Row{3, 20, "label", text<&M::label>, {.missing = empty}},
    };
    // clang-format on
    static constexpr Record<M> record{L'\0', "TagTramoModel", "tag", rows};
    return checked<record>();
}

M::TagTramoModel(const TagLine::tagLine_t& from) : line(from) { layout().parse(*this); }
TagLine::tagLine_t M::toTagLine() { return layout().build(*this); }
std::wstring M::toString() const { return layout().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return layout().check(*this); }

TRAMO_PUBLISH(TagTramoModel);
