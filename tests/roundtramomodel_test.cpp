#include "tramostream/roundtramomodel.h"
#include "support/accessors.h"
#include "support/samples.h"

using namespace records;
using M = RoundTramoModel;

namespace {

// One area: the columns of its four fields, and the columns that its errors name if they differ.
struct AreaColumns {
    std::string stem;
    int number, label, position, lenght, type;
    int labelError = label, positionError = position, lenghtError = lenght, typeError = type, typeParse = typeError;
};
// clang-format off
const std::vector<AreaColumns> areas = {
    {"meterInformation",      1, 256, 272, 275, 277},
    {"meterInformation",      2, 278, 294, 297, 299},
    {"meterInformation",      3, 300, 316, 319, 321},
    {"meterInformation",      4, 322, 338, 341, 343},
    {"meterInformation",      5, 344, 360, 363, 365},
    {"subscriberInformation", 1, 366, 382, 385, 387},
    {"subscriberInformation", 2, 388, 404, 407, 409},
    {"subscriberInformation", 3, 410, 426, 429, 431},
    {"subscriberInformation", 4, 432, 448, 451, 453, 431, 432, 448, 451},
    {"subscriberInformation", 5, 454, 470, 473, 475, 454, 470, 473, 475, 473},
};
// clang-format on

std::string fieldName(const AreaColumns& area, const std::string& what) {
    return area.stem + what + "Area" + std::to_string(area.number);
}
std::string labelName(const AreaColumns& area) { return fieldName(area, "Label"); }
std::string positionName(const AreaColumns& area) { return fieldName(area, "Position"); }
std::string lenghtName(const AreaColumns& area) { return fieldName(area, "Lenght"); }
std::string typeName(const AreaColumns& area) { return fieldName(area, "Type"); }
std::string shownAs(std::string name) {
    name[0] = static_cast<char>(name[0] - 'a' + 'A');
    return "round" + name;
}

// Returns whether an area is incomplete, but not empty; checks type 'A' in `typeA`.
bool incomplete(const State& state, const AreaColumns& area, wchar_t typeA) {
    const long long position = state.number(positionName(area)), lenght = state.number(lenghtName(area));
    const wchar_t type = state.code(typeName(area));
    if (position >= 0 && lenght >= 0 && type != unset) return false;
    return position > 0 || lenght > 0 || typeA == L'A' || type == L'N';
}

void check(const State& state, Faults& mandatory, Faults&) {
    if (state.text("code").empty()) mandatory.push_back({2, 0x201});
    for (const AreaColumns& area : areas) {
        const wchar_t typeA = state.code(area.label == 366 ? "meterInformationTypeArea5" : typeName(area));
        if (incomplete(state, area, typeA)) mandatory.push_back({area.labelError, 0x202});
    }
}

const Table& table() {
    static const Table made = [] {
        // clang-format off
        std::vector<Row> rows = {
            {  2,   8, "code",               "roundCode",               Text,    L"",  {},         {2, 0x102},   {.mandatory = {2, 0x201}}},
            { 10,  20, "name",               "roundName",               Text,    L"",  {},         {10, 0x102}},
            { 30,   2, "defaultMeterWheels", "roundDefaultMeterWheels", Integer, -1LL, {30, 0x01}, {30, 0x101},  {.written = {above(3)}}},
            { 32, 160, "message",            "roundMessage",            Text,    L"",  {},         {32, 0x102}},
            {192,  64, "consumtionLimit",    "roundConsumtionLimit",    Text,    L"",  {},         {192, 0x102}},
        };
        for (const AreaColumns& area : areas) {
            const Needs placed = {atLeast(positionName(area), 0)};
            rows.push_back({area.label,    16, labelName(area),    shownAs(labelName(area)),    Text,    L"",   {},                         {area.labelError, 0x102},    {.written = placed, .mandatory = {area.labelError, 0x202}}});
            rows.push_back({area.position,  3, positionName(area), shownAs(positionName(area)), Integer, -1LL,  {area.positionError, 0x01}, {area.positionError, 0x101}, {.written = placed}});
            rows.push_back({area.lenght,    2, lenghtName(area),   shownAs(lenghtName(area)),   Integer, -1LL,  {area.lenghtError, 0x01},   {area.lenghtError, 0x101},   {.written = placed}});
            rows.push_back({area.type,      1, typeName(area),     shownAs(typeName(area)),     Code,    unset, {area.typeParse, 0x14},     {area.typeError, 0x117},     {.written = placed, .codes = &tramoTypes}});
        }
        rows.push_back({499, 8, "roundImportDate",  "roundImportDate",       Date, 0LL, {8, 0x1B}, {499, 0x115}, {.written = {above(0)}}});
        rows.push_back({511, 2, "reservedUserCode", "roundReservedUserCode", Text, L"", {},        {511, 0x102}});

        Table all{L'0', "RoundTramoModel", rows};
        all.check = check;
        all.asymmetries = {
            {"an area without a position is not written",   [](const Row& row, const State& state) { return row.name.find("Area") != std::string::npos && !isWritten(row, state); }},
            {"3 default wheels or fewer are not written",   [](const Row& row, const State& state) { return row.name == "defaultMeterWheels" && state.number(row.name) <= 3; }},
            {"a type N is written as 1",                  [](const Row& row, const State& state) { return row.kind == Code && state.code(row.name) == L'N'; }, L'1'},
            {"a type A is written as 2",                  [](const Row& row, const State& state) { return row.kind == Code && state.code(row.name) == L'A'; }, L'2'},
        };
        // clang-format on
        return all;
    }();
    return made;
}

std::wstring blankLine() { return blankText(L'0'); }

Faults parseErrors(const std::wstring& line) {
    const Silence quiet;
    return faults(parsed<M>(line).getParseErrors());
}
Faults mandatoryErrors(M& model) { return faults(model.getMandatoryErrors()); }

// A round with a code, so that only its areas can have errors.
M coded() {
    M model;
    model.setCode(L"C");
    return model;
}

const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, Code),
    ACCESSORS(M, Name),
    ACCESSORS(M, DefaultMeterWheels),
    ACCESSORS(M, Message),
    ACCESSORS(M, ConsumtionLimit),
    ACCESSORS(M, MeterInformationLabelArea1),
    ACCESSORS(M, MeterInformationPositionArea1),
    ACCESSORS(M, MeterInformationLenghtArea1),
    ACCESSORS(M, MeterInformationTypeArea1),
    ACCESSORS(M, MeterInformationLabelArea2),
    ACCESSORS(M, MeterInformationPositionArea2),
    ACCESSORS(M, MeterInformationLenghtArea2),
    ACCESSORS(M, MeterInformationTypeArea2),
    ACCESSORS(M, MeterInformationLabelArea3),
    ACCESSORS(M, MeterInformationPositionArea3),
    ACCESSORS(M, MeterInformationLenghtArea3),
    ACCESSORS(M, MeterInformationTypeArea3),
    ACCESSORS(M, MeterInformationLabelArea4),
    ACCESSORS(M, MeterInformationPositionArea4),
    ACCESSORS(M, MeterInformationLenghtArea4),
    ACCESSORS(M, MeterInformationTypeArea4),
    ACCESSORS(M, MeterInformationLabelArea5),
    ACCESSORS(M, MeterInformationPositionArea5),
    ACCESSORS(M, MeterInformationLenghtArea5),
    ACCESSORS(M, MeterInformationTypeArea5),
    ACCESSORS(M, SubscriberInformationLabelArea1),
    ACCESSORS(M, SubscriberInformationPositionArea1),
    ACCESSORS(M, SubscriberInformationLenghtArea1),
    ACCESSORS(M, SubscriberInformationTypeArea1),
    ACCESSORS(M, SubscriberInformationLabelArea2),
    ACCESSORS(M, SubscriberInformationPositionArea2),
    ACCESSORS(M, SubscriberInformationLenghtArea2),
    ACCESSORS(M, SubscriberInformationTypeArea2),
    ACCESSORS(M, SubscriberInformationLabelArea3),
    ACCESSORS(M, SubscriberInformationPositionArea3),
    ACCESSORS(M, SubscriberInformationLenghtArea3),
    ACCESSORS(M, SubscriberInformationTypeArea3),
    ACCESSORS(M, SubscriberInformationLabelArea4),
    ACCESSORS(M, SubscriberInformationPositionArea4),
    ACCESSORS(M, SubscriberInformationLenghtArea4),
    ACCESSORS(M, SubscriberInformationTypeArea4),
    ACCESSORS(M, SubscriberInformationLabelArea5),
    ACCESSORS(M, SubscriberInformationPositionArea5),
    ACCESSORS(M, SubscriberInformationLenghtArea5),
    ACCESSORS(M, SubscriberInformationTypeArea5),
    ACCESSORS(M, RoundImportDate),
    ACCESSORS(M, ReservedUserCode),
};

}  // namespace

TEST_EVERY_FIELD(RoundTramoModel, table)

TEST(Round, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

TEST(Round, AssignsTheColumnsOfTheFormatAndNoOthers) {
    std::wstring line = blankLine();
    for (const Row& row : table().rows) put(line, row.column, std::wstring(static_cast<std::size_t>(row.width), L'x'));
    EXPECT_EQ(columns(line, 476, 23), blanks(23));
    EXPECT_EQ(columns(line, 507, 4), blanks(4));
    EXPECT_EQ(std::count(line.begin(), line.end(), L' '), 23 + 4);
}

TEST(Round, IgnoresUnassignedColumnsAndWritesThemBlank) {
    std::wstring line = blankLine();
    put(line, 476, std::wstring(23, L'x'));
    put(line, 507, std::wstring(4, L'x'));
    M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    expectValues(model, absentState(table()));
    EXPECT_EQ(textOf(model.toTramoLine()), blankLine());
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(Round, ReportsABadImportDateAtColumn8) {
    std::wstring line = blankLine();
    put(line, 499, L"20240230");
    EXPECT_EQ(parseErrors(line), (Faults{{8, 0x1B}}));
}

TEST(Round, ReportsSubscriberArea4OneFieldToTheLeft) {
    std::wstring line = blankLine();
    put(line, 448, L"xxx");
    EXPECT_EQ(parseErrors(line), (Faults{{432, 0x01}}));
    put(line, 451, L"xx");
    EXPECT_EQ(parseErrors(line), (Faults{{432, 0x01}, {448, 0x01}}));
    put(line, 453, L"x");
    EXPECT_EQ(parseErrors(line), (Faults{{432, 0x01}, {448, 0x01}, {451, 0x14}}));
}

TEST(Round, ReportsTheTypeOfSubscriberArea5AtItsLenght) {
    std::wstring line = blankLine();
    put(line, 475, L"x");
    EXPECT_EQ(parseErrors(line), (Faults{{473, 0x14}}));
}

TEST(Round, ListsEveryErrorInTheOrderOfTheFields) {
    std::wstring line = blankLine();
    put(line, 30, L"xx");
    Faults expected = {{30, 0x01}};
    for (const AreaColumns& area : areas) {
        put(line, area.position, L"xxxxxx");  // position, length and type
        expected.insert(expected.end(), {{area.positionError, 0x01}, {area.lenghtError, 0x01}, {area.typeParse, 0x14}});
    }
    put(line, 499, L"xxxxxxxx");
    expected.push_back({8, 0x1B});
    EXPECT_EQ(parseErrors(line), expected);
    expectAlike<M>(table(), blankLine());
}

TEST(Round, ReadsNumbersUpToTheFirstNonDigit) {
    std::wstring line = blankLine();
    put(line, 30, L"7x");
    put(line, 272, L" -4");
    put(line, 294, L"+5 ");
    put(line, 316, L"\t6x");
    const M model = parsed<M>(line);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(model.getDefaultMeterWheels(), 7);
    EXPECT_EQ(model.getMeterInformationPositionArea1(), -4);
    EXPECT_EQ(model.getMeterInformationPositionArea2(), 5);
    EXPECT_EQ(model.getMeterInformationPositionArea3(), 6);
}

TEST(Round, KeepsLeadingSpacesOfTextsAndRemovesTrailingOnes) {
    std::wstring line = blankLine();
    put(line, 2, L"  AB\t \r ");
    EXPECT_EQ(parsed<M>(line).getCode(), L"  AB");
    EXPECT_EQ(parsed<M>(line).getName(), L"");
}

TEST(Round, ReadsTypesCaseSensitively) {
    std::wstring line = blankLine();
    put(line, 277, L"D");
    put(line, 299, L"d");
    put(line, 321, L"N");
    put(line, 343, L"n");
    const M model = parsed<M>(line);
    EXPECT_EQ(model.getMeterInformationTypeArea1(), TF::TramoType::TypeD);
    EXPECT_EQ(model.getMeterInformationTypeArea2(), TF::TramoType::TypeLowerD);
    EXPECT_EQ(model.getMeterInformationTypeArea3(), TF::TramoType::TypeN);
    EXPECT_EQ(model.getMeterInformationTypeArea4(), TF::TramoType::TypeLowerN);
}

TEST(Round, ReportsEveryUnknownType) {
    const Silence quiet;
    for (int c = 0; c <= 0x200; ++c) {
        const auto code = static_cast<wchar_t>(c);
        std::wstring line = blankLine();
        line[277 - 1] = code;
        const bool known = tramoTypes.read.find(code) != std::wstring::npos, blank = trimmed(std::wstring(1, code)).empty();
        EXPECT_EQ(parseErrors(line), known || blank ? Faults() : (Faults{{277, 0x14}})) << c;
        EXPECT_EQ(parsed<M>(line).getMeterInformationTypeArea1(), known ? TF::TramoType{code} : TF::TramoType::Unset) << c;
    }
}

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST(Round, WritesDefaultWheelsFrom4) {
    for (int wheels = -2; wheels <= 12; ++wheels) {
        M model;
        model.setDefaultMeterWheels(wheels);
        const std::wstring expected = wheels <= 3   ? L"  "
                                      : wheels < 10 ? L" " + std::to_wstring(wheels)
                                                    : std::to_wstring(wheels);
        EXPECT_EQ(columns(textOf(model.toTramoLine()), 30, 2), expected);
    }
}

TEST(Round, WritesATypeNAs1AndATypeAAs2) {
    M model;
    model.setMeterInformationPositionArea1(0);
    model.setMeterInformationTypeArea1(TF::TramoType::TypeN);
    model.setSubscriberInformationPositionArea5(0);
    model.setSubscriberInformationTypeArea5(TF::TramoType::TypeA);
    const std::wstring line = textOf(model.toTramoLine());
    EXPECT_EQ(columns(line, 277, 1), L"1");
    EXPECT_EQ(columns(line, 475, 1), L"2");
}

TEST(Round, WritesAnAreaWithoutAPositionBlank) {
    for (const AreaColumns& area : areas) {
        M model;
        setValue(model, labelName(area), std::wstring(L"label"));
        setValue(model, lenghtName(area), 5LL);
        setValue(model, typeName(area), L'B');
        EXPECT_EQ(textOf(model.toTramoLine()), blankLine()) << labelName(area);
        setValue(model, positionName(area), 0LL);
        EXPECT_EQ(columns(textOf(model.toTramoLine()), area.label, 22), L"label             0 5B");
        EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    }
}

TEST(Round, IgnoresTheTooLongLabelOfAnAreaWithoutAPosition) {
    M model;
    model.setSubscriberInformationLabelArea4(std::wstring(17, L'x'));
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    model.setSubscriberInformationPositionArea4(1);
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{431, 0x102}}));
}

TEST(Round, ReportsATypeWithoutACode) {
    void (M::*const setters[])(const TF::TramoType&) = {
        &M::setMeterInformationTypeArea1,
        &M::setMeterInformationTypeArea2,
        &M::setMeterInformationTypeArea3,
        &M::setMeterInformationTypeArea4,
        &M::setMeterInformationTypeArea5,
        &M::setSubscriberInformationTypeArea1,
        &M::setSubscriberInformationTypeArea2,
        &M::setSubscriberInformationTypeArea3,
        &M::setSubscriberInformationTypeArea4,
        &M::setSubscriberInformationTypeArea5,
    };
    const int expected[] = {277, 299, 321, 343, 365, 387, 409, 431, 451, 475};
    for (std::size_t i = 0; i < areas.size(); ++i) {
        const Silence quiet;
        M model;
        setValue(model, positionName(areas[i]), 0LL);
        (model.*setters[i])(TF::TramoType{L'Z'});
        const auto line = model.toTramoLine();
        EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{expected[i], 0x117}}));
        EXPECT_EQ(columns(textOf(line), areas[i].type, 1), L" ");
        EXPECT_EQ(lineEndOf(line), L"\r\n");
    }
}

TEST(Round, ListsBuildErrorsInTheOrderOfWriting) {
    M model;
    const std::wstring tooLong(161, L'x');
    model.setReservedUserCode(tooLong);
    model.setConsumtionLimit(tooLong);
    model.setMessage(tooLong);
    model.setName(tooLong);
    model.setCode(tooLong);
    Faults expected = {{2, 0x102}, {10, 0x102}, {32, 0x102}, {192, 0x102}};
    for (const AreaColumns& area : areas) {
        setValue(model, labelName(area), tooLong);
        setValue(model, positionName(area), 0LL);
        expected.push_back({area.labelError, 0x102});
    }
    expected.push_back({511, 0x102});
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), expected);
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), expected);  // replaced, not appended
}

TEST(Round, WritesAWholeLine) {
    M model;
    model.setCode(L"R1");
    model.setName(L"North");
    model.setDefaultMeterWheels(5);
    model.setMessage(L"Mind the dog");
    model.setConsumtionLimit(L"10");
    model.setMeterInformationLabelArea2(L"Place");
    model.setMeterInformationPositionArea2(12);
    model.setMeterInformationLenghtArea2(30);
    model.setMeterInformationTypeArea2(TF::TramoType::TypeLowerD);
    model.setSubscriberInformationPositionArea5(100);
    model.setRoundImportDate(static_cast<long32>(*seconds(2024, 1, 15)));
    model.setReservedUserCode(L"7");
    std::wstring expected = blankLine();
    put(expected, 2, L"R1");
    put(expected, 10, L"North");
    put(expected, 30, L" 5");
    put(expected, 32, L"Mind the dog");
    put(expected, 192, L"10");
    put(expected, 278, L"Place            1230d");
    put(expected, 454, L"                100-1 ");  // a length of -1 is written, too
    put(expected, 499, L"20240115");
    put(expected, 511, L"7 ");
    EXPECT_EQ(textOf(model.toTramoLine()), expected);
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

// ---- Checking -------------------------------------------------------------------------------------------------------

TEST(Round, MustHaveACode) {
    M model;
    EXPECT_EQ(mandatoryErrors(model), (Faults{{2, 0x201}}));
    model.setCode(L" ");
    EXPECT_EQ(mandatoryErrors(model), Faults());  // a space that was set is a text
}

// Every combination of the values of an area, by the rule: complete, empty, or incomplete.
TEST(Round, ChecksEveryCombinationInEveryArea) {
    static constexpr wchar_t types[] = L"!12ABDHNYdn";
    for (const AreaColumns& area : areas) {
        const bool first = area.label == 366;  // checks type A in the last meter area
        for (const long long position : {-2, -1, 0, 1, 999})
            for (const long long lenght : {-2, -1, 0, 1, 99})
                for (const wchar_t type : std::wstring(types)) {
                    M model = coded();
                    setValue(model, positionName(area), position);
                    setValue(model, lenghtName(area), lenght);
                    setValue(model, typeName(area), type);
                    const bool complete = position >= 0 && lenght >= 0 && type != unset;
                    const bool something = position > 0 || lenght > 0 || type == L'N' || (type == L'A' && !first);
                    Faults expected;
                    if (!complete && something) expected.push_back({area.labelError, 0x202});
                    if (area.label == 344 && type == L'A') expected.push_back({366, 0x202});  // checked by that area, too
                    EXPECT_EQ(mandatoryErrors(model), expected)
                        << labelName(area) << " " << position << " " << lenght << " " << display(type);
                }
    }
}

TEST(Round, AcceptsAnAreaWithOnlyPosition0) {
    M model = coded();
    model.setMeterInformationPositionArea1(0);
    EXPECT_EQ(mandatoryErrors(model), Faults());
    model.setMeterInformationPositionArea1(5);
    EXPECT_EQ(mandatoryErrors(model), (Faults{{256, 0x202}}));
}

// The cross-reference from both sides: type A of meter area 5 also applies to subscriber area 1.
TEST(Round, ChecksTypeAOfSubscriberArea1InMeterArea5) {
    M model = coded();
    model.setSubscriberInformationTypeArea1(TF::TramoType::TypeA);
    EXPECT_EQ(mandatoryErrors(model), Faults());  // its own A is ignored
    model.setSubscriberInformationTypeArea1(TF::TramoType::TypeN);
    EXPECT_EQ(mandatoryErrors(model), (Faults{{366, 0x202}}));  // its own N counts
    model.setSubscriberInformationTypeArea1(TF::TramoType::Unset);

    model.setMeterInformationTypeArea5(TF::TramoType::TypeA);
    EXPECT_EQ(mandatoryErrors(model), (Faults{{344, 0x202}, {366, 0x202}}));
    model.setMeterInformationPositionArea5(0);
    model.setMeterInformationLenghtArea5(0);
    EXPECT_EQ(mandatoryErrors(model), (Faults{{366, 0x202}}));  // even if meter area 5 is complete
    model.setSubscriberInformationPositionArea1(0);
    model.setSubscriberInformationLenghtArea1(0);
    EXPECT_EQ(mandatoryErrors(model), (Faults{{366, 0x202}}));
    model.setSubscriberInformationTypeArea1(TF::TramoType::Type1);
    EXPECT_EQ(mandatoryErrors(model), Faults());  // a complete area passes
    model.setMeterInformationTypeArea5(TF::TramoType::TypeN);
    EXPECT_EQ(mandatoryErrors(model), Faults());
    model.setSubscriberInformationTypeArea1(TF::TramoType::Unset);
    EXPECT_EQ(mandatoryErrors(model), Faults());  // N of meter area 5 is ignored
}

TEST(Round, ChecksOtherAreasByTheirOwnTypes) {
    for (const AreaColumns& area : areas) {
        if (area.label == 344 || area.label == 366) continue;
        M model = coded();
        setValue(model, typeName(area), L'A');
        EXPECT_EQ(mandatoryErrors(model), (Faults{{area.labelError, 0x202}}));
    }
}

TEST(Round, ListsMandatoryErrorsInOrderAndOnce) {
    M model;
    Faults expected = {{2, 0x201}};
    for (const AreaColumns& area : areas) {
        setValue(model, positionName(area), 1LL);
        expected.push_back({area.labelError, 0x202});
    }
    EXPECT_EQ(mandatoryErrors(model), expected);
    EXPECT_EQ(mandatoryErrors(model), expected);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
}

// ---- Showing --------------------------------------------------------------------------------------------------------

TEST(Round, ShowsADefaultModel) {
    std::wstring expected =
        L"RoundTramoModel[roundCode:,roundName:,roundDefaultMeterWheels:-1,roundMessage:,roundConsumtionLimit:,";
    for (const std::wstring which : {L"Meter", L"Subscriber"})
        for (const std::wstring k : {L"1", L"2", L"3", L"4", L"5"})
            expected += L"round" + which + L"InformationLabelArea" + k + L":,round" + which + L"InformationPositionArea" + k +
                        L":-1,round" + which + L"InformationLenghtArea" + k + L":-1,round" + which + L"InformationTypeArea" + k +
                        L":!,";
    EXPECT_EQ(M().toString(), expected + L"roundImportDate:0,roundReservedUserCode:]");
}

TEST(Round, ShowsAParsedModel) {
    std::wstring line = blankLine();
    put(line, 2, L"R1");
    put(line, 10, L" North");
    put(line, 30, L" 2");
    put(line, 256, L"Place           010 7N");
    put(line, 366, L"Name");
    put(line, 499, L"20240115");
    put(line, 511, L"99");
    EXPECT_EQ(parsed<M>(line).toString(),
        L"RoundTramoModel[roundCode:R1,roundName: North,roundDefaultMeterWheels:2,roundMessage:,roundConsumtionLimit:,"
        L"roundMeterInformationLabelArea1:Place,roundMeterInformationPositionArea1:10,roundMeterInformationLenghtArea1:7,"
        L"roundMeterInformationTypeArea1:N,"
        L"roundMeterInformationLabelArea2:,roundMeterInformationPositionArea2:-1,roundMeterInformationLenghtArea2:-1,"
        L"roundMeterInformationTypeArea2:!,"
        L"roundMeterInformationLabelArea3:,roundMeterInformationPositionArea3:-1,roundMeterInformationLenghtArea3:-1,"
        L"roundMeterInformationTypeArea3:!,"
        L"roundMeterInformationLabelArea4:,roundMeterInformationPositionArea4:-1,roundMeterInformationLenghtArea4:-1,"
        L"roundMeterInformationTypeArea4:!,"
        L"roundMeterInformationLabelArea5:,roundMeterInformationPositionArea5:-1,roundMeterInformationLenghtArea5:-1,"
        L"roundMeterInformationTypeArea5:!,"
        L"roundSubscriberInformationLabelArea1:Name,roundSubscriberInformationPositionArea1:-1,"
        L"roundSubscriberInformationLenghtArea1:-1,roundSubscriberInformationTypeArea1:!,"
        L"roundSubscriberInformationLabelArea2:,roundSubscriberInformationPositionArea2:-1,"
        L"roundSubscriberInformationLenghtArea2:-1,roundSubscriberInformationTypeArea2:!,"
        L"roundSubscriberInformationLabelArea3:,roundSubscriberInformationPositionArea3:-1,"
        L"roundSubscriberInformationLenghtArea3:-1,roundSubscriberInformationTypeArea3:!,"
        L"roundSubscriberInformationLabelArea4:,roundSubscriberInformationPositionArea4:-1,"
        L"roundSubscriberInformationLenghtArea4:-1,roundSubscriberInformationTypeArea4:!,"
        L"roundSubscriberInformationLabelArea5:,roundSubscriberInformationPositionArea5:-1,"
        L"roundSubscriberInformationLenghtArea5:-1,roundSubscriberInformationTypeArea5:!,"
        L"roundImportDate:1705273200,roundReservedUserCode:99]");  // midnight one hour east of Greenwich, in seconds
}

TEST(Round, ShowsTextsAndNumbersThatNoLineCouldHold) {
    M model;
    model.setCode(L" longer than its columns,]\u00E9 ");
    model.setDefaultMeterWheels(-123456);
    model.setRoundImportDate(-1);
    const std::wstring shownText = model.toString();
    EXPECT_EQ(shownText.find(
                  L"RoundTramoModel[roundCode: longer than its columns,]\u00E9 ,roundName:,roundDefaultMeterWheels:-123456,"),
        0u);
    EXPECT_NE(shownText.find(L",roundImportDate:-1,roundReservedUserCode:]"), std::wstring::npos);
}

// ---- Lines of other lengths -----------------------------------------------------------------------------------------

TEST(Round, ReadsAShortLineAsZerosThatAreNotBlank) {
    std::wstring line = blankLine();
    put(line, 2, L"R1");
    line.replace(40, std::wstring::npos, 512 - 40, L'\0');
    const Silence quiet;
    const M model = parsed<M>(line);
    EXPECT_EQ(model.getCode(), L"R1");
    EXPECT_EQ(model.getMessage(), blanks(9) + std::wstring(151, L'\0'));  // columns 32 to 191, blank up to column 40
    EXPECT_EQ(model.getReservedUserCode(), std::wstring(2, L'\0'));
    Faults expected;
    for (const AreaColumns& area : areas)
        expected.insert(expected.end(), {{area.positionError, 0x01}, {area.lenghtError, 0x01}, {area.typeParse, 0x14}});
    expected.push_back({8, 0x1B});
    EXPECT_EQ(faults(model.getParseErrors()), expected);
}

// ---- Samples --------------------------------------------------------------------------------------------------------

TEST(Round, ReadsTheSamplesAndWritesThemBack) { samplesAreReadAndWrittenBack<M>(table(), 2); }
