#include "tramostream/enquirydefinitiontramomodel.h"
#include "model/frame.h"

using namespace tramo;
using M = EnquiryDefinitionTramoModel;

struct EnquiryDefinitionTramoModel::TableParts {
    using Row = tramo::Row<M>;

    template <int K> static constexpr Condition<M> incomplete{
        "its area has a label and a type, but no size or (for type C) no list", [](const M& m) {
            const Area& area = m.areas[K - 1];
            if (area.label.view(m.line).empty() || area.type == TF::EnquiryAreaType::Unset) return false;
            return area.size < 0 || (area.type == TF::EnquiryAreaType::AreaC && area.list.view(m.line).empty());
        }};

    static void setOrder(M& m) { m.setOrder(m.order); }

    // The four fields of one area. The list is written into the next columns, too, where the label of the next area follows.
    template <int K> static consteval auto area(std::int32_t column) {
        // clang-format off
        return fields<M>({
            Row{column,      16, "area#Label", text           <&M::areas, K - 1, &Area::label>, {.inconsistentIf = &incomplete<K>}},
            Row{column + 16,  1, "area#Type",  enquiryAreaType<&M::areas, K - 1, &Area::type>,  {.kept = keptText<&M::areas, K - 1, &Area::typeText>, .parseColumn = column + 17}},
            Row{column + 17,  2, "area#Size",  number         <&M::areas, K - 1, &Area::size>,  {.written = atLeast(0), .kept = keptText<&M::areas, K - 1, &Area::sizeText>}},
            Row{column + 19,  8, "area#List",  text           <&M::areas, K - 1, &Area::list>,  {.buildColumn = column, .buildWidth = 16}},
        }, K);
        // clang-format on
    }
};

const Record<M>& M::table() {
    using Row = tramo::Row<M>;
    // clang-format off
    static constexpr auto rows = joined(
        fields<M>({
            Row{  2,  1, "pageNumber", text<&M::pageNumber>, {.missing = empty}},
            Row{  3, 20, "labelA",     text<&M::labels, 0>},
            Row{ 23, 20, "labelB",     text<&M::labels, 1>},
            Row{ 43, 20, "labelC",     text<&M::labels, 2>},
            Row{ 63, 20, "labelD",     text<&M::labels, 3>},
            Row{ 83, 20, "labelE",     text<&M::labels, 4>},
            Row{103, 20, "labelF",     text<&M::labels, 5>},
            Row{123, 20, "labelG",     text<&M::labels, 6>},
            Row{143, 20, "labelH",     text<&M::labels, 7>},
            Row{163, 20, "labelI",     text<&M::labels, 8>},
            Row{183, 20, "labelJ",     text<&M::labels, 9>},
            Row{203, 20, "labelK",     text<&M::labels, 10>},
            Row{223, 20, "labelL",     text<&M::labels, 11>},
            Row{243, 20, "labelM",     text<&M::labels, 12>},
            Row{263, 20, "labelN",     text<&M::labels, 13>},
            Row{283, 20, "labelO",     text<&M::labels, 14>},
            Row{303, 20, "labelP",     text<&M::labels, 15>},
        }),
        TableParts::area<1>(323),
        TableParts::area<2>(350),
        TableParts::area<3>(377),
        TableParts::area<4>(404),
        TableParts::area<5>(431),
        fields<M>({
            Row{511, 2, "order",    number<&M::order>,     {.written = never, .missing = below(0), .set = TableParts::setOrder}},
            Row{511, 2, "orderStr", text  <&M::orderText>, {.label = notShown, .overlaid = true}},
        }));
    // clang-format on
    static constexpr Record<M> record{L'5', "EnquiryDefinitionTramoModel", "enquiry definition", rows};
    return checked<record>();
}

M::EnquiryDefinitionTramoModel(const TramoLine::tramoLine_t& from) : line(from) { table().parse(*this); }
TramoLine::tramoLine_t M::toTramoLine() {
    auto built = table().build(*this);
    builtLine = built;
    return built;
}
std::wstring M::toString() const { return table().print(*this); }
std::vector<TE::FieldError> M::getMandatoryErrors() { return table().check(*this); }

void M::setOrder(int v) {
    order = v;
    orderText = (v <= 9 ? L"0" : L"") + std::to_wstring(v);
}

TRAMO_PUBLISH(EnquiryDefinitionTramoModel);
