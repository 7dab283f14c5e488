#include "tramostream/enquirydefinitiontramomodel.h"
#include "support/accessors.h"
#include "support/records.h"
#include "support/samples.h"

using namespace records;
using M = EnquiryDefinitionTramoModel;

namespace {

struct AreaColumns {
    int number, label, type, size, list;

    std::string field(const std::string& what) const { return "area" + std::to_string(number) + what; }
};
const std::vector<AreaColumns> areas = {
    {1, 323, 339, 340, 342}, {2, 350, 366, 367, 369}, {3, 377, 393, 394, 396}, {4, 404, 420, 421, 423}, {5, 431, 447, 448, 450}};

void check(const State& state, Faults& mandatory, Faults&) {
    if (state.text("pageNumber").empty()) mandatory.push_back({2, 0x201});
    for (const AreaColumns& area : areas) {
        if (state.text(area.field("Label")).empty() || state.code(area.field("Type")) == L'!') continue;
        const bool lacksList = state.code(area.field("Type")) == L'C' && state.text(area.field("List")).empty();
        if (state.number(area.field("Size")) < 0 || lacksList) mandatory.push_back({area.label, 0x202});
    }
    if (state.number("order") < 0) mandatory.push_back({511, 0x201});
}

// Setting the order also sets its text.
void onSet(State& state, const std::string& name) {
    if (name != "order") return;
    const std::wstring digits = std::to_wstring(state.number("order"));
    state.values["orderStr"] = state.number("order") <= 9 ? L"0" + digits : digits;
}

// The order that is read back: the number in its text, which may have been set separately.
FieldValue orderOfText(const Row& row, const State& state) {
    const std::wstring& text = state.text("orderStr");
    return text.size() > 2 ? row.absent : numberIn(text).value_or(row.absent);
}

const Table& table() {
    static const Table all{
        .letter = L'5',
        .model = "EnquiryDefinitionTramoModel",
        // clang-format off
        .rows = {
            {2,   1,  "pageNumber", "pageNumber", Text,    L"",   {},          {2, 0x102},    {.mandatory = {2, 0x201}}},
            {3,   20, "labelA",     "labelA",     Text,    L"",   {},          {3, 0x102}},
            {23,  20, "labelB",     "labelB",     Text,    L"",   {},          {23, 0x102}},
            {43,  20, "labelC",     "labelC",     Text,    L"",   {},          {43, 0x102}},
            {63,  20, "labelD",     "labelD",     Text,    L"",   {},          {63, 0x102}},
            {83,  20, "labelE",     "labelE",     Text,    L"",   {},          {83, 0x102}},
            {103, 20, "labelF",     "labelF",     Text,    L"",   {},          {103, 0x102}},
            {123, 20, "labelG",     "labelG",     Text,    L"",   {},          {123, 0x102}},
            {143, 20, "labelH",     "labelH",     Text,    L"",   {},          {143, 0x102}},
            {163, 20, "labelI",     "labelI",     Text,    L"",   {},          {163, 0x102}},
            {183, 20, "labelJ",     "labelJ",     Text,    L"",   {},          {183, 0x102}},
            {203, 20, "labelK",     "labelK",     Text,    L"",   {},          {203, 0x102}},
            {223, 20, "labelL",     "labelL",     Text,    L"",   {},          {223, 0x102}},
            {243, 20, "labelM",     "labelM",     Text,    L"",   {},          {243, 0x102}},
            {263, 20, "labelN",     "labelN",     Text,    L"",   {},          {263, 0x102}},
            {283, 20, "labelO",     "labelO",     Text,    L"",   {},          {283, 0x102}},
            {303, 20, "labelP",     "labelP",     Text,    L"",   {},          {303, 0x102}},
            {323, 16, "area1Label", "area1Label", Text,    L"",   {},          {323, 0x102},  {.mandatory = {323, 0x202}}},
            {339, 1,  "area1Type",  "area1Type",  Code,    unset, {340, 0x18}, {339, 0x11B},  {.codes = &enquiryAreaTypes}},
            {340, 2,  "area1Size",  "area1Size",  Integer, -1LL,  {340, 0x01}, {340, 0x101},  {.written = {atLeast(0)}}},
            {342, 8,  "area1List",  "area1List",  Text,    L"",   {},          {323, 0x102},  {.writtenWidth = 16}},
            {350, 16, "area2Label", "area2Label", Text,    L"",   {},          {350, 0x102},  {.mandatory = {350, 0x202}}},
            {366, 1,  "area2Type",  "area2Type",  Code,    unset, {367, 0x18}, {366, 0x11B},  {.codes = &enquiryAreaTypes}},
            {367, 2,  "area2Size",  "area2Size",  Integer, -1LL,  {367, 0x01}, {367, 0x101},  {.written = {atLeast(0)}}},
            {369, 8,  "area2List",  "area2List",  Text,    L"",   {},          {350, 0x102},  {.writtenWidth = 16}},
            {377, 16, "area3Label", "area3Label", Text,    L"",   {},          {377, 0x102},  {.mandatory = {377, 0x202}}},
            {393, 1,  "area3Type",  "area3Type",  Code,    unset, {394, 0x18}, {393, 0x11B},  {.codes = &enquiryAreaTypes}},
            {394, 2,  "area3Size",  "area3Size",  Integer, -1LL,  {394, 0x01}, {394, 0x101},  {.written = {atLeast(0)}}},
            {396, 8,  "area3List",  "area3List",  Text,    L"",   {},          {377, 0x102},  {.writtenWidth = 16}},
            {404, 16, "area4Label", "area4Label", Text,    L"",   {},          {404, 0x102},  {.mandatory = {404, 0x202}}},
            {420, 1,  "area4Type",  "area4Type",  Code,    unset, {421, 0x18}, {420, 0x11B},  {.codes = &enquiryAreaTypes}},
            {421, 2,  "area4Size",  "area4Size",  Integer, -1LL,  {421, 0x01}, {421, 0x101},  {.written = {atLeast(0)}}},
            {423, 8,  "area4List",  "area4List",  Text,    L"",   {},          {404, 0x102},  {.writtenWidth = 16}},
            {431, 16, "area5Label", "area5Label", Text,    L"",   {},          {431, 0x102},  {.mandatory = {431, 0x202}}},
            {447, 1,  "area5Type",  "area5Type",  Code,    unset, {448, 0x18}, {447, 0x11B},  {.codes = &enquiryAreaTypes}},
            {448, 2,  "area5Size",  "area5Size",  Integer, -1LL,  {448, 0x01}, {448, 0x101},  {.written = {atLeast(0)}}},
            {450, 8,  "area5List",  "area5List",  Text,    L"",   {},          {431, 0x102},  {.writtenWidth = 16}},
            {511, 2,  "order",      "order",      Integer, -1LL,  {511, 0x01}, {},            {.written = {never()}, .mandatory = {511, 0x201}}},
            {511, 2,  "orderStr",   "",           Text,    L"",   {},          {511, 0x102},  {.overlaid = true, .example = L"12"}},
        },
        .check = check,
        .onSet = onSet,
        .asymmetries = {
            {.reason = "the line holds the order's text, not its number",
             .applies = [](const Row& row, const State& s) { return row.name == "order" && !same(orderOfText(row, s), s.values.at("order")); },
             .becomesBy = orderOfText},
            {.reason = "the text of an order below 0 does not fit",
             .applies = [](const Row& row, const State& s) { return row.name == "orderStr" && s.text("orderStr").size() > 2; }},
        },
        // clang-format on
    };
    return all;
}

const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, PageNumber),
    ACCESSORS(M, LabelA),
    ACCESSORS(M, LabelB),
    ACCESSORS(M, LabelC),
    ACCESSORS(M, LabelD),
    ACCESSORS(M, LabelE),
    ACCESSORS(M, LabelF),
    ACCESSORS(M, LabelG),
    ACCESSORS(M, LabelH),
    ACCESSORS(M, LabelI),
    ACCESSORS(M, LabelJ),
    ACCESSORS(M, LabelK),
    ACCESSORS(M, LabelL),
    ACCESSORS(M, LabelM),
    ACCESSORS(M, LabelN),
    ACCESSORS(M, LabelO),
    ACCESSORS(M, LabelP),
    ACCESSORS(M, Area1Label),
    ACCESSORS(M, Area1Type),
    ACCESSORS(M, Area1Size),
    ACCESSORS(M, Area1List),
    ACCESSORS(M, Area2Label),
    ACCESSORS(M, Area2Type),
    ACCESSORS(M, Area2Size),
    ACCESSORS(M, Area2List),
    ACCESSORS(M, Area3Label),
    ACCESSORS(M, Area3Type),
    ACCESSORS(M, Area3Size),
    ACCESSORS(M, Area3List),
    ACCESSORS(M, Area4Label),
    ACCESSORS(M, Area4Type),
    ACCESSORS(M, Area4Size),
    ACCESSORS(M, Area4List),
    ACCESSORS(M, Area5Label),
    ACCESSORS(M, Area5Type),
    ACCESSORS(M, Area5Size),
    ACCESSORS(M, Area5List),
    ACCESSORS(M, Order),
    ACCESSORS(M, OrderStr),
};

std::wstring line(std::initializer_list<std::pair<int, const wchar_t*>> fields) {
    std::wstring text = blankText(L'5');
    for (const auto& [column, characters] : fields) put(text, column, characters);
    return text;
}

// clang-format off
const std::wstring full = line({{  2, L"1"}, {3, L"Label of A"}, {303, L"twenty characters, P"},
                                {323, L"Kind of meter"},    {339, L"C"}, {340, L" 3"}, {342, L"ABC"},
                                {350, L"Height"},           {366, L"N"}, {367, L" 5"},
                                {377, L"Note"},             {393, L"A"}, {394, L"30"},
                                {404, L"sixteen in label"}, {420, L"C"}, {421, L" 1"}, {423, L"eight ch"},
                                {431, L"Last"},             {447, L"A"}, {448, L" 0"}, {450, L"x"},
                                {511, L"01"}});
// clang-format on

// A complete page, so that only its areas can have errors.
M page() {
    M model;
    model.setPageNumber(L"1");
    model.setOrder(1);
    return model;
}

Faults mandatoryErrors(M model) { return faults(model.getMandatoryErrors()); }

}  // namespace

TEST_EVERY_FIELD(EnquiryDefinitionTramoModel, table)

TEST(EnquiryDefinition, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

TEST(EnquiryDefinition, IsAbsentByDefault) {
    M model;
    EXPECT_EQ(model.getType(), TF::TramoLineType::EnquiryDefinition);
    expectValues(model, absentState(table()));
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    EXPECT_EQ(textOf(model.getTramoLine()), blankText(0));
    EXPECT_EQ(lineEndOf(model.getTramoLine()), L"\r\n");
    EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'5'));
}

TEST(EnquiryDefinition, AssignsTheColumnsOfTheFormatAndNoOthers) {
    std::wstring text = blankText(L'5');
    for (const Row& row : table().rows) put(text, row.column, std::wstring(static_cast<std::size_t>(row.width), L'x'));
    EXPECT_EQ(text, L"5" + std::wstring(456, L'x') + blanks(53) + L"xx");  // columns 458 to 510 belong to no field
}

TEST(EnquiryDefinition, IgnoresUnassignedColumns) {
    std::wstring text = blankText(L'5');
    put(text, 458, std::wstring(53, L'x'));
    M model = parsed<M>(text);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    expectValues(model, absentState(table()));
    EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'5'));
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(EnquiryDefinition, ReadsALine) {
    M model = parsed<M>(full);
    EXPECT_EQ(model.getType(), TF::TramoLineType::EnquiryDefinition);
    EXPECT_EQ(model.getPageNumber(), L"1");
    EXPECT_EQ(model.getLabelA(), L"Label of A");
    EXPECT_EQ(model.getLabelB(), L"");
    EXPECT_EQ(model.getLabelP(), L"twenty characters, P");
    EXPECT_EQ(model.getArea1Label(), L"Kind of meter");
    EXPECT_EQ(model.getArea1Type(), TF::EnquiryAreaType::AreaC);
    EXPECT_EQ(model.getArea1TypeStr(), L"C");
    EXPECT_EQ(model.getArea1Size(), 3);
    EXPECT_EQ(model.getArea1SizeStr(), L" 3");
    EXPECT_EQ(model.getArea1List(), L"ABC");
    EXPECT_EQ(model.getArea2Label(), L"Height");
    EXPECT_EQ(model.getArea2Type(), TF::EnquiryAreaType::AreaN);
    EXPECT_EQ(model.getArea2Size(), 5);
    EXPECT_EQ(model.getArea2List(), L"");
    EXPECT_EQ(model.getArea3Label(), L"Note");
    EXPECT_EQ(model.getArea3Type(), TF::EnquiryAreaType::AreaA);
    EXPECT_EQ(model.getArea3Size(), 30);
    EXPECT_EQ(model.getArea4Label(), L"sixteen in label");
    EXPECT_EQ(model.getArea4List(), L"eight ch");
    EXPECT_EQ(model.getArea5Label(), L"Last");
    EXPECT_EQ(model.getArea5Size(), 0);
    EXPECT_EQ(model.getArea5List(), L"x");
    EXPECT_EQ(model.getOrder(), 1);
    EXPECT_EQ(model.getOrderStr(), L"01");
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), full);
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(EnquiryDefinition, RejectsALineOfAnotherKind) {
    const Console console;
    M model = parsed<M>(blankText(L'6'));
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x203}}));
    EXPECT_EQ(console.narrow(), "EnquiryDefinitionTramoModel : unvalidLineType(6 != 5), Parse failed\n");
    EXPECT_EQ(console.wide(), L"");
    EXPECT_EQ(model.getType(), TF::TramoLineType::EnquiryDefinition);
}

TEST(EnquiryDefinition, ReportsAnUnknownLetterTwice) {
    const Console console;
    std::wstring text = full;
    text[0] = L'8';
    M model = parsed<M>(text);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x15}, {0, 0x203}}));
    EXPECT_EQ(console.narrow(), "EnquiryDefinitionTramoModel : unvalidLineType(8 != 5), Parse failed\n");
    EXPECT_EQ(console.wide(), L"toLineType (8), Parse failed\n\n");
    expectValues(model, absentState(table()));
    EXPECT_EQ(textOf(model.getTramoLine()), text);
    EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'5'));
}

TEST(EnquiryDefinition, ReportsABadTypeAtTheSizeAndKeepsItsText) {
    for (const AreaColumns& area : areas) {
        const Console console;
        std::wstring text = blankText(L'5');
        put(text, area.type, L"X");
        M model = parsed<M>(text);
        EXPECT_EQ(faults(model.getParseErrors()), (Faults{{area.size, 0x18}}));
        EXPECT_EQ(console.wide(), L"toEnquryAreaType (X), Parse failed\n\n");
        expectValues(model, absentState(table()));
        EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'5'));  // not written back
    }
    const Silence quiet;
    EXPECT_EQ(parsed<M>(line({{339, L"X"}})).getArea1TypeStr(), L"X");
}

TEST(EnquiryDefinition, ReportsABadTypeAndABadSizeAtTheSameColumn) {
    const Silence quiet;
    const M model = parsed<M>(line({{366, L"Xyy"}}));
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{367, 0x18}, {367, 0x01}}));
    EXPECT_EQ(model.getArea2TypeStr(), L"X");
    EXPECT_EQ(model.getArea2SizeStr(), L"yy");
}

TEST(EnquiryDefinition, ReadsUpperCaseTypesOnly) {
    const Silence quiet;
    for (int c = 0x21; c < 0x200; ++c) {
        const auto code = static_cast<wchar_t>(c);
        std::wstring text = blankText(L'5');
        put(text, 447, std::wstring(1, code));
        const bool known = std::wstring(L"CNA").find(code) != std::wstring::npos;
        EXPECT_EQ(faults(parsed<M>(text).getParseErrors()), known ? Faults() : (Faults{{448, 0x18}})) << c;
    }
}

TEST(EnquiryDefinition, ReadsSizesAndOrdersUpToTheFirstNonDigit) {
    const M model = parsed<M>(line({{340, L"7x"}, {367, L"-4"}, {394, L"+5"}, {421, L"6"}, {511, L" 7"}}));
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(model.getArea1Size(), 7);
    EXPECT_EQ(model.getArea1SizeStr(), L"7x");
    EXPECT_EQ(model.getArea2Size(), -4);
    EXPECT_EQ(model.getArea3Size(), 5);
    EXPECT_EQ(model.getArea4SizeStr(), L"6");
    EXPECT_EQ(model.getOrder(), 7);
    EXPECT_EQ(model.getOrderStr(), L" 7");
}

TEST(EnquiryDefinition, KeepsTheTextOfAnInvalidOrder) {
    const Console console;
    M model = parsed<M>(line({{2, L"1"}, {511, L"xy"}}));
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{511, 0x01}}));
    EXPECT_EQ(console.wide(), L"toInt: xy cannot be converted.\n");
    EXPECT_EQ(model.getOrder(), -1);
    EXPECT_EQ(model.getOrderStr(), L"xy");
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{511, 0x201}}));
    EXPECT_EQ(textOf(model.toTramoLine()), line({{2, L"1"}, {511, L"xy"}}));
}

TEST(EnquiryDefinition, ListsEveryErrorInTheOrderOfTheFields) {
    const Silence quiet;
    std::wstring text = blankText(L'5');
    Faults expected;
    for (const AreaColumns& area : areas) {
        put(text, area.type, L"xxx");
        expected.insert(expected.end(), {{area.size, 0x18}, {area.size, 0x01}});
    }
    put(text, 511, L"x");
    expected.push_back({511, 0x01});
    EXPECT_EQ(faults(parsed<M>(text).getParseErrors()), expected);
}

// ---- Texts beside the values ----------------------------------------------------------------------------------------

struct TextPair {
    std::wstring (M::*get)() const;
    void (M::*set)(const std::wstring&);
};
const std::vector<TextPair> typeTexts = {{&M::getArea1TypeStr, &M::setArea1TypeStr}, {&M::getArea2TypeStr, &M::setArea2TypeStr},
    {&M::getArea3TypeStr, &M::setArea3TypeStr}, {&M::getArea4TypeStr, &M::setArea4TypeStr},
    {&M::getArea5TypeStr, &M::setArea5TypeStr}};
const std::vector<TextPair> sizeTexts = {{&M::getArea1SizeStr, &M::setArea1SizeStr}, {&M::getArea2SizeStr, &M::setArea2SizeStr},
    {&M::getArea3SizeStr, &M::setArea3SizeStr}, {&M::getArea4SizeStr, &M::setArea4SizeStr},
    {&M::getArea5SizeStr, &M::setArea5SizeStr}};

TEST(EnquiryDefinition, KeepsTheTextsOfTypesAndSizesPerArea) {
    for (std::size_t k = 0; k < areas.size(); ++k) {
        std::wstring text = blankText(L'5');
        put(text, areas[k].type, L"N9 ");
        const M model = parsed<M>(text);
        for (std::size_t other = 0; other < areas.size(); ++other) {
            EXPECT_EQ((model.*typeTexts[other].get)(), other == k ? L"N" : L"");
            EXPECT_EQ((model.*sizeTexts[other].get)(), other == k ? L"9" : L"");
        }
    }
}

TEST(EnquiryDefinition, SetsEachTextAlone) {
    for (std::size_t k = 0; k < areas.size(); ++k) {
        M model;
        (model.*typeTexts[k].set)(L"a longer type");
        (model.*sizeTexts[k].set)(L"a longer size");
        for (std::size_t other = 0; other < areas.size(); ++other) {
            EXPECT_EQ((model.*typeTexts[other].get)(), other == k ? L"a longer type" : L"");
            EXPECT_EQ((model.*sizeTexts[other].get)(), other == k ? L"a longer size" : L"");
        }
        expectValues(model, absentState(table()));
        EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'5'));  // they are not written
        EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    }
}

TEST(EnquiryDefinition, KeepsTheTextsIfTheValuesAreSet) {
    M model = parsed<M>(full);
    model.setArea1Type(TF::EnquiryAreaType::AreaA);
    model.setArea1Size(12);
    EXPECT_EQ(model.getArea1TypeStr(), L"C");
    EXPECT_EQ(model.getArea1SizeStr(), L" 3");
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 339, 3), L"A12");
}

// ---- The order ------------------------------------------------------------------------------------------------------

TEST(EnquiryDefinition, WritesOrdersUpTo9WithALeadingZero) {
    const std::vector<std::pair<int, std::wstring>> orders = {{0, L"00"}, {1, L"01"}, {2, L"02"}, {3, L"03"}, {4, L"04"},
        {5, L"05"}, {6, L"06"}, {7, L"07"}, {8, L"08"}, {9, L"09"}, {10, L"10"}, {11, L"11"}, {12, L"12"}, {42, L"42"},
        {99, L"99"}};
    for (const auto& [order, text] : orders) {
        M model;
        model.setOrder(order);
        EXPECT_EQ(model.getOrder(), order);
        EXPECT_EQ(model.getOrderStr(), text);
        EXPECT_EQ(columns(textOf(model.toTramoLine()), 511, 2), text);
        EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    }
}

TEST(EnquiryDefinition, LeavesOutAnOrderThatIsTooLong) {
    const std::vector<std::pair<int, std::wstring>> orders = {
        {100, L"100"}, {-1, L"0-1"}, {-42, L"0-42"}, {2147483647, L"2147483647"}, {-2147483647 - 1, L"0-2147483648"}};
    for (const auto& [order, text] : orders) {
        M model;
        model.setOrder(order);
        EXPECT_EQ(model.getOrder(), order);
        EXPECT_EQ(model.getOrderStr(), text);
        EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'5'));
        EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{511, 0x102}}));
    }
}

TEST(EnquiryDefinition, WritesTheTextOfTheOrderAndShowsAndChecksTheNumber) {
    M model = page();
    model.setOrderStr(L"Z");
    EXPECT_EQ(model.getOrder(), 1);
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 511, 2), L"Z ");
    EXPECT_NE(model.toString().find(L",order:1]"), std::wstring::npos);
    EXPECT_EQ(mandatoryErrors(model), Faults());
    M onlyText;
    onlyText.setPageNumber(L"1");
    onlyText.setOrderStr(L"12");
    EXPECT_EQ(mandatoryErrors(onlyText), (Faults{{511, 0x201}}));
}

TEST(EnquiryDefinition, SetsTheTextOfTheOrderByField) {
    M model;
    ASSERT_TRUE(setValue(model, "order", 7LL));
    EXPECT_EQ(model.getOrder(), 7);
    EXPECT_EQ(model.getOrderStr(), L"07");
}

// ---- Writing --------------------------------------------------------------------------------------------------------

// A list is written into 16 columns: its own 8 and the first 8 of the next area's label.
TEST(EnquiryDefinition, ContinuesAListIntoAnEmptyLabel) {
    for (std::size_t k = 0; k < areas.size(); ++k) {
        M model;
        setValue(model, areas[k].field("List"), std::wstring(L"123456789ABCDEFG"));
        std::wstring expected = blankText(L'5');
        put(expected, areas[k].list, L"123456789ABCDEFG");
        EXPECT_EQ(textOf(model.toTramoLine()), expected);
        EXPECT_EQ(faults(model.getBuildErrors()), Faults());
        if (k == 4) continue;
        M again = parsed<M>(expected);
        EXPECT_EQ(valueOf(again, areas[k].field("List")), FieldValue(L"12345678"));
        EXPECT_EQ(valueOf(again, areas[k + 1].field("Label")), FieldValue(L"9ABCDEFG"));
        EXPECT_EQ(textOf(again.toTramoLine()), expected);
    }
}

TEST(EnquiryDefinition, TruncatesAListAtTheNextLabel) {
    M model;
    model.setArea1List(L"123456789ABC");
    model.setArea2Label(L"L");
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 342, 24), L"12345678L" + blanks(15));
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    model.setArea4List(L"123456789");
    model.setArea5Label(L" ");  // a space that was set is written, too
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 423, 24), L"12345678" + blanks(16));
}

TEST(EnquiryDefinition, WritesTheListOfArea5OverColumns458To465) {
    M model = page();
    model.setArea5List(L"123456789ABCDEFG");
    EXPECT_EQ(columns(textOf(model.toTramoLine()), 450, 63), L"123456789ABCDEFG" + blanks(45) + L"01");
    M again(model.toTramoLine());
    EXPECT_EQ(again.getArea5List(), L"12345678");
    EXPECT_EQ(columns(textOf(again.toTramoLine()), 450, 61), L"12345678" + blanks(53));  // the rest is lost
}

TEST(EnquiryDefinition, ReportsATooLongListAtItsLabel) {
    for (const AreaColumns& area : areas) {
        M model;
        setValue(model, area.field("List"), std::wstring(17, L'x'));
        EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'5'));
        EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{area.label, 0x102}}));
    }
}

TEST(EnquiryDefinition, KeepsTheListIfTheNextLabelIsTooLong) {
    M model;
    model.setArea1List(L"123456789");
    model.setArea2Label(std::wstring(17, L'x'));
    EXPECT_EQ(textOf(model.toTramoLine()), line({{342, L"123456789"}}));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{350, 0x102}}));
}

TEST(EnquiryDefinition, WritesASizeFrom0AndTruncatesItOnTheRight) {
    const std::vector<std::pair<int, std::wstring>> sizes = {
        {-2, L"  "}, {-1, L"  "}, {0, L" 0"}, {9, L" 9"}, {10, L"10"}, {99, L"99"}, {123, L"12"}};
    for (const auto& [size, text] : sizes) {
        M model;
        model.setArea3Size(size);
        EXPECT_EQ(columns(textOf(model.toTramoLine()), 394, 2), text);
        EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    }
}

TEST(EnquiryDefinition, ReportsATypeWithoutACodeAtItsOwnColumn) {
    const Console console;
    const auto none = static_cast<TF::EnquiryAreaType>(L'X');
    M model;
    model.setArea1Type(none), model.setArea2Type(none), model.setArea3Type(none), model.setArea4Type(none),
        model.setArea5Type(none);
    EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'5'));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{339, 0x11B}, {366, 0x11B}, {393, 0x11B}, {420, 0x11B}, {447, 0x11B}}));
    std::wstring messages;
    for (int k = 0; k < 5; ++k) messages += L"fromEnquryAreaType (X), Parse failed\n\n";
    EXPECT_EQ(console.wide(), messages);
}

TEST(EnquiryDefinition, ReportsEveryTooLongTextInOrder) {
    M model;
    Faults expected;
    for (const Row& row : table().rows) {
        if (row.kind != FieldKind::Text) continue;
        setValue(model, row.name, std::wstring(21, L'x'));
        expected.push_back(row.build);
    }
    EXPECT_EQ(expected.size(), 1u + 16 + 10 + 1);
    const auto built = model.toTramoLine();
    EXPECT_EQ(textOf(built), blankText(L'5'));
    EXPECT_EQ(lineEndOf(built), L"\r\n");
    EXPECT_EQ(faults(model.getBuildErrors()), expected);
    EXPECT_EQ(model.toTramoLine(), built);
    EXPECT_EQ(faults(model.getBuildErrors()), expected);  // replaced, not appended
}

TEST(EnquiryDefinition, WritesTheTypeSet) {
    M model;
    model.setType(TF::TramoLineType::EnquiryResult);
    EXPECT_EQ(model.getType(), TF::TramoLineType::EnquiryResult);
    EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'6'));
}

TEST(EnquiryDefinition, ReturnsTheParsedLineUntilOneIsBuilt) {
    M model = parsed<M>(full);
    model.setPageNumber(L"2");
    EXPECT_EQ(textOf(model.getTramoLine()), full);
    const auto built = model.toTramoLine();
    model.setPageNumber(L"3");
    EXPECT_EQ(model.getTramoLine(), built);
    EXPECT_EQ(columns(textOf(built), 2, 1), L"2");
}

// ---- Checking -------------------------------------------------------------------------------------------------------

TEST(EnquiryDefinition, MustHaveAPageAndAnOrder) {
    M model;
    EXPECT_EQ(mandatoryErrors(model), (Faults{{2, 0x201}, {511, 0x201}}));
    model.setPageNumber(L"1");
    EXPECT_EQ(mandatoryErrors(model), (Faults{{511, 0x201}}));
    model.setOrder(0);
    EXPECT_EQ(mandatoryErrors(model), Faults());
    model.setOrder(-1);
    EXPECT_EQ(mandatoryErrors(model), (Faults{{511, 0x201}}));
}

TEST(EnquiryDefinition, ChecksEveryCombinationInEveryArea) {
    for (const AreaColumns& area : areas)
        for (const wchar_t* label : {L"", L"L"})
            for (const wchar_t type : {L'!', L'C', L'N', L'A'})
                for (const long long size : {-2LL, -1LL, 0LL, 3LL})
                    for (const wchar_t* list : {L"", L"abc"}) {
                        M model = page();
                        setValue(model, area.field("Label"), std::wstring(label));
                        setValue(model, area.field("Type"), type);
                        setValue(model, area.field("Size"), size);
                        setValue(model, area.field("List"), std::wstring(list));
                        const bool asked = *label && type != L'!';
                        const bool whole = size >= 0 && (type != L'C' || *list);
                        EXPECT_EQ(mandatoryErrors(model), asked && !whole ? (Faults{{area.label, 0x202}}) : Faults())
                            << area.number << display(std::wstring(label)) << display(type) << size
                            << display(std::wstring(list));
                    }
}

TEST(EnquiryDefinition, RequiresAListOnlyForAnAreaOfTypeC) {
    M model = page();
    model.setArea2Label(L"Choice");
    model.setArea2Type(TF::EnquiryAreaType::AreaC);
    model.setArea2Size(3);
    EXPECT_EQ(mandatoryErrors(model), (Faults{{350, 0x202}}));
    model.setArea2Type(TF::EnquiryAreaType::Unset);
    EXPECT_EQ(mandatoryErrors(model), Faults());
    model.setArea2Size(-1);
    EXPECT_EQ(mandatoryErrors(model), Faults());
}

TEST(EnquiryDefinition, ListsMandatoryErrorsInOrderAndOnce) {
    M model;
    for (const AreaColumns& area : areas) {
        setValue(model, area.field("Label"), std::wstring(L"L"));
        setValue(model, area.field("Type"), L'N');
    }
    const Faults expected = {{2, 0x201}, {323, 0x202}, {350, 0x202}, {377, 0x202}, {404, 0x202}, {431, 0x202}, {511, 0x201}};
    EXPECT_EQ(faults(model.getMandatoryErrors()), expected);
    EXPECT_EQ(faults(model.getMandatoryErrors()), expected);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
}

// ---- Showing --------------------------------------------------------------------------------------------------------

TEST(EnquiryDefinition, IsShownFieldByField) {
    EXPECT_EQ(parsed<M>(full).toString(),
        L"EnquiryDefinitionTramoModel[pageNumber:1,labelA:Label of A,labelB:,labelC:,labelD:,labelE:,labelF:,labelG:,labelH:,"
        L"labelI:,labelJ:,labelK:,labelL:,labelM:,labelN:,labelO:,labelP:twenty characters, P,"
        L"area1Label:Kind of meter,area1Type:C,area1Size:3,area1List:ABC,area2Label:Height,area2Type:N,area2Size:5,area2List:,"
        L"area3Label:Note,area3Type:A,area3Size:30,area3List:,"
        L"area4Label:sixteen in label,area4Type:C,area4Size:1,area4List:eight ch,"
        L"area5Label:Last,area5Type:A,area5Size:0,area5List:x,order:1]");
    EXPECT_EQ(M().toString(),
        L"EnquiryDefinitionTramoModel[pageNumber:,labelA:,labelB:,labelC:,labelD:,labelE:,labelF:,labelG:,labelH:,labelI:,"
        L"labelJ:,labelK:,labelL:,labelM:,labelN:,labelO:,labelP:,area1Label:,area1Type:!,area1Size:-1,area1List:,"
        L"area2Label:,area2Type:!,area2Size:-1,area2List:,area3Label:,area3Type:!,area3Size:-1,area3List:,"
        L"area4Label:,area4Type:!,area4Size:-1,area4List:,area5Label:,area5Type:!,area5Size:-1,area5List:,order:-1]");
}

// ---- Samples --------------------------------------------------------------------------------------------------------

TEST(EnquiryDefinition, ReadsTheSamplesAndWritesThemBack) { samplesAreReadAndWrittenBack<M>(table(), 4); }

TEST(EnquiryDefinition, ReportsNothingInTheSamples) {
    for (const char* file : {"round-exported.txt", "round-returned.txt"})
        for (const std::wstring& each : sampleLines(file, table().letter))
            EXPECT_EQ(faults(parsed<M>(each).getMandatoryErrors()), Faults());
}
