#include "tramostream/enquiryresulttramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = EnquiryResultTramoModel;

struct EnquiryResultTramoModel::TableParts {
    using Row = tramo::Row<M>;

    template <int K> static consteval auto area(std::int32_t column) {
        // clang-format off
        return fields<M>({
            Row{column,      1, "area#Mode",   enquiryAreaMode<&M::areas, K - 1, &Area::mode>},
            Row{column + 1,  1, "area#Code",   text           <&M::areas, K - 1, &Area::code>},
            Row{column + 2, 30, "area#Result", text           <&M::areas, K - 1, &Area::result>, {.holds = Personal::Answer}},
        }, K);
        // clang-format on
    }
};

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr auto rows = joined(
        fields<M>({
            Row{ 2,  1, "pageNumber",           text<&M::pageNumber>,           {.missing = empty}},
            Row{ 3, 12, "meterSerialNumber",    text<&M::meterSerialNumber>,    {.missing = empty, .holds = Personal::SerialNumber}},
            Row{15,  8, "lastModificationDate", date<&M::lastModificationDate>, {.written = above(0)}},
        }),
        TableParts::area<1>(23),
        TableParts::area<2>(55),
        TableParts::area<3>(87),
        TableParts::area<4>(119),
        TableParts::area<5>(151));
    // clang-format on
    static constexpr Record<M> record{
        .letter = L'6',
        .model = "EnquiryResultTramoModel",
        .name = "enquiry result",
        .rows = rows,
        .inDump = "EnquiryDefinitionTramoModel",  // deliberately the name of the definition
    };
    return checked<record>();
}

M::EnquiryResultTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() { return table().build(*this); }
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

TRAMO_PUBLISH(EnquiryResultTramoModel);
