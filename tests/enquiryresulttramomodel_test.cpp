#include "tramostream/enquiryresulttramomodel.h"
#include "support/accessors.h"
#include "support/records.h"
#include "support/samples.h"

using namespace records;
using M = EnquiryResultTramoModel;

namespace {

void check(const State& state, Faults& mandatory, Faults&) {
    if (state.text("pageNumber").empty()) mandatory.push_back({2, 0x201});
    if (state.text("meterSerialNumber").empty()) mandatory.push_back({3, 0x201});
}

const Table& table() {
    // clang-format off
    static const Table all{
        .letter = L'6',
        .model = "EnquiryResultTramoModel",
        .rows = {
            {  2,  1, "pageNumber",           "pageNumber",           Text, L"",   {},          {2, 0x102},   {.mandatory = {2, 0x201}}},
            {  3, 12, "meterSerialNumber",    "meterSerialNumber",    Text, L"",   {},          {3, 0x102},   {.mandatory = {3, 0x201}}},
            { 15,  8, "lastModificationDate", "lastModificationDate", Date, 0LL,   {15, 0x1B},  {15, 0x115},  {.written = {above(0)}}},
            { 23,  1, "area1Mode",            "area1Mode",            Code, unset, {23, 0x19},  {23, 0x11C},  {.codes = &enquiryAreaModes}},
            { 24,  1, "area1Code",            "area1Code",            Text, L"",   {},          {24, 0x102}},
            { 25, 30, "area1Result",          "area1Result",          Text, L"",   {},          {25, 0x102}},
            { 55,  1, "area2Mode",            "area2Mode",            Code, unset, {55, 0x19},  {55, 0x11C},  {.codes = &enquiryAreaModes}},
            { 56,  1, "area2Code",            "area2Code",            Text, L"",   {},          {56, 0x102}},
            { 57, 30, "area2Result",          "area2Result",          Text, L"",   {},          {57, 0x102}},
            { 87,  1, "area3Mode",            "area3Mode",            Code, unset, {87, 0x19},  {87, 0x11C},  {.codes = &enquiryAreaModes}},
            { 88,  1, "area3Code",            "area3Code",            Text, L"",   {},          {88, 0x102}},
            { 89, 30, "area3Result",          "area3Result",          Text, L"",   {},          {89, 0x102}},
            {119,  1, "area4Mode",            "area4Mode",            Code, unset, {119, 0x19}, {119, 0x11C}, {.codes = &enquiryAreaModes}},
            {120,  1, "area4Code",            "area4Code",            Text, L"",   {},          {120, 0x102}},
            {121, 30, "area4Result",          "area4Result",          Text, L"",   {},          {121, 0x102}},
            {151,  1, "area5Mode",            "area5Mode",            Code, unset, {151, 0x19}, {151, 0x11C}, {.codes = &enquiryAreaModes}},
            {152,  1, "area5Code",            "area5Code",            Text, L"",   {},          {152, 0x102}},
            {153, 30, "area5Result",          "area5Result",          Text, L"",   {},          {153, 0x102}},
        },
        .check = check,
        .inDump = "EnquiryDefinitionTramoModel",
    };
    // clang-format on
    return all;
}

std::wstring line(std::initializer_list<std::pair<int, const wchar_t*>> fields) {
    std::wstring text = blankText(L'6');
    for (const auto& [column, characters] : fields) put(text, column, characters);
    return text;
}

const std::wstring full = line(
    {{2, L"1"}, {3, L"C12AB0100000"}, {15, L"20240116"}, {23, L"HA"}, {25, L"first answer"}, {55, L"NB"}, {57, L"second answer"},
        {87, L"RC"}, {89, L" third"}, {119, L"UD"}, {121, L"4"}, {151, L"HE"}, {153, L"abcdefghijklmnopqrstuvwxyz0123"}});

const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, PageNumber),
    ACCESSORS(M, MeterSerialNumber),
    ACCESSORS(M, LastModificationDate),
    ACCESSORS(M, Area1Mode),
    ACCESSORS(M, Area1Code),
    ACCESSORS(M, Area1Result),
    ACCESSORS(M, Area2Mode),
    ACCESSORS(M, Area2Code),
    ACCESSORS(M, Area2Result),
    ACCESSORS(M, Area3Mode),
    ACCESSORS(M, Area3Code),
    ACCESSORS(M, Area3Result),
    ACCESSORS(M, Area4Mode),
    ACCESSORS(M, Area4Code),
    ACCESSORS(M, Area4Result),
    ACCESSORS(M, Area5Mode),
    ACCESSORS(M, Area5Code),
    ACCESSORS(M, Area5Result),
};

}  // namespace

TEST_EVERY_FIELD(EnquiryResultTramoModel, table)

TEST(EnquiryResult, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

TEST(EnquiryResult, ReadsALine) {
    M model = parsed<M>(full);
    EXPECT_EQ(model.getPageNumber(), L"1");
    EXPECT_EQ(model.getMeterSerialNumber(), L"C12AB0100000");
    EXPECT_EQ(model.getLastModificationDate(), *seconds(2024, 1, 16));
    EXPECT_EQ(model.getArea1Mode(), TF::EnquiryAreaMode::ModeH);
    EXPECT_EQ(model.getArea1Code(), L"A");
    EXPECT_EQ(model.getArea1Result(), L"first answer");
    EXPECT_EQ(model.getArea2Mode(), TF::EnquiryAreaMode::ModeN);
    EXPECT_EQ(model.getArea2Code(), L"B");
    EXPECT_EQ(model.getArea2Result(), L"second answer");
    EXPECT_EQ(model.getArea3Mode(), TF::EnquiryAreaMode::ModeR);
    EXPECT_EQ(model.getArea3Code(), L"C");
    EXPECT_EQ(model.getArea3Result(), L" third");
    EXPECT_EQ(model.getArea4Mode(), TF::EnquiryAreaMode::ModeU);
    EXPECT_EQ(model.getArea4Code(), L"D");
    EXPECT_EQ(model.getArea4Result(), L"4");
    EXPECT_EQ(model.getArea5Mode(), TF::EnquiryAreaMode::ModeH);
    EXPECT_EQ(model.getArea5Code(), L"E");
    EXPECT_EQ(model.getArea5Result(), L"abcdefghijklmnopqrstuvwxyz0123");
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    EXPECT_EQ(textOf(model.toTramoLine()), full);
}

TEST(EnquiryResult, IsShownUnderTheNameOfTheDefinition) {
    EXPECT_EQ(parsed<M>(full).toString(),
        L"EnquiryDefinitionTramoModel[pageNumber:1,meterSerialNumber:C12AB0100000,lastModificationDate:1705359600,"
        L"area1Mode:H,area1Code:A,area1Result:first answer,area2Mode:N,area2Code:B,area2Result:second answer,"
        L"area3Mode:R,area3Code:C,area3Result: third,area4Mode:U,area4Code:D,area4Result:4,"
        L"area5Mode:H,area5Code:E,area5Result:abcdefghijklmnopqrstuvwxyz0123]");
    EXPECT_EQ(parsed<M>(line({})).toString(),
        L"EnquiryDefinitionTramoModel[pageNumber:,meterSerialNumber:,lastModificationDate:0,area1Mode:!,area1Code:,"
        L"area1Result:,area2Mode:!,area2Code:,area2Result:,area3Mode:!,area3Code:,area3Result:,area4Mode:!,area4Code:,"
        L"area4Result:,area5Mode:!,area5Code:,area5Result:]");
}

TEST(EnquiryResult, AssignsTheColumnsOfTheFormatAndNoOthers) {
    std::wstring text = blankText(L'6');
    for (const Row& row : table().rows) put(text, row.column, std::wstring(static_cast<std::size_t>(row.width), L'x'));
    EXPECT_EQ(text, L"6" + std::wstring(181, L'x') + blanks(330));  // blank from column 183 on
}

TEST(EnquiryResult, RejectsALineOfAnotherKindUnderItsOwnName) {
    const Console console;
    const M model = parsed<M>(blankText(L'5'));
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x203}}));
    EXPECT_EQ(console.narrow(), "EnquiryResultTramoModel : unvalidLineType(5 != 6), Parse failed\n");
    EXPECT_EQ(console.wide(), L"");
}

TEST(EnquiryResult, ReportsAnUnknownLetterTwice) {
    const Console console;
    std::wstring text = full;
    text[0] = L'8';
    M model = parsed<M>(text);
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x15}, {0, 0x203}}));
    EXPECT_EQ(console.narrow(), "EnquiryResultTramoModel : unvalidLineType(8 != 6), Parse failed\n");
    EXPECT_EQ(console.wide(), L"toLineType (8), Parse failed\n\n");
    expectValues(model, absentState(table()));
    EXPECT_EQ(textOf(model.getTramoLine()), text);
    EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'6'));
}

TEST(EnquiryResult, ReportsAnUnknownModeAndWritesItBlank) {
    for (const int column : {23, 55, 87, 119, 151}) {
        const Console console;
        std::wstring text = blankText(L'6');
        put(text, column, L"X");
        M model = parsed<M>(text);
        EXPECT_EQ(faults(model.getParseErrors()), (Faults{{column, 0x19}}));
        EXPECT_EQ(console.wide(), L"toEnquiryAreaMode (X), Parse failed\n\n");
        expectValues(model, absentState(table()));
        EXPECT_EQ(textOf(model.toTramoLine()), blankText(L'6'));
        EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    }
}

TEST(EnquiryResult, ReadsUpperCaseModesOnly) {
    const Silence quiet;
    for (int c = 0x21; c < 0x200; ++c) {
        std::wstring text = blankText(L'6');
        put(text, 23, std::wstring(1, static_cast<wchar_t>(c)));
        const bool known = std::wstring(L"HNRU").find(static_cast<wchar_t>(c)) != std::wstring::npos;
        EXPECT_EQ(faults(parsed<M>(text).getParseErrors()), known ? Faults() : (Faults{{23, 0x19}})) << c;
    }
}

TEST(EnquiryResult, ReportsAModeWithoutACode) {
    const Console console;
    M model = parsed<M>(line({}));
    const auto none = static_cast<TF::EnquiryAreaMode>(L'X');
    model.setArea1Mode(none), model.setArea2Mode(none), model.setArea3Mode(none), model.setArea4Mode(none),
        model.setArea5Mode(none);
    EXPECT_EQ(textOf(model.toTramoLine()), line({}));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{23, 0x11C}, {55, 0x11C}, {87, 0x11C}, {119, 0x11C}, {151, 0x11C}}));
    std::wstring messages;
    for (int k = 0; k < 5; ++k) messages += L"fromEnquiryAreaMode (X), Parse failed\n\n";
    EXPECT_EQ(console.wide(), messages);
}

TEST(EnquiryResult, LeavesOutAnAnswerOf31Characters) {
    M model = parsed<M>(full);
    model.setArea3Result(std::wstring(31, L'x'));
    std::wstring expected = full;
    put(expected, 89, blanks(30));
    EXPECT_EQ(textOf(model.toTramoLine()), expected);
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{89, 0x102}}));
}

TEST(EnquiryResult, WritesItsDateFrom1) {
    M model = parsed<M>(line({}));
    for (const long32 date : {long32{0}, long32{-1}, std::numeric_limits<long32>::min()}) {
        model.setLastModificationDate(date);
        EXPECT_EQ(textOf(model.toTramoLine()), line({})) << date;
    }
    model.setLastModificationDate(1);
    EXPECT_EQ(textOf(model.toTramoLine()), line({{15, L"19700101"}}));
}

TEST(EnquiryResult, ReportsABadDate) {
    const Silence quiet;
    for (const wchar_t* bad : {L"20240230", L"2024011", L"2024 1 1", L"+2024011", L"abcdefgh"}) {
        const M model = parsed<M>(line({{15, bad}}));
        EXPECT_EQ(faults(model.getParseErrors()), (Faults{{15, 0x1B}}));
        EXPECT_EQ(model.getLastModificationDate(), 0);
    }
}

TEST(EnquiryResult, MustHaveAPageAndAMeter) {
    M model = parsed<M>(line({}));
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{2, 0x201}, {3, 0x201}}));
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{2, 0x201}, {3, 0x201}}));  // not repeated
    model.setPageNumber(L"1");
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{3, 0x201}}));
    model.setMeterSerialNumber(L"M");
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
}

TEST(EnquiryResult, KeepsTheParsedLine) {
    M model = parsed<M>(full);
    model.setPageNumber(L"2");
    EXPECT_NE(model.toTramoLine(), model.getTramoLine());
    EXPECT_EQ(textOf(model.getTramoLine()), full);
}

TEST(EnquiryResult, ReportsEveryTooLongTextInOrder) {
    M model = parsed<M>(line({}));
    Faults expected;
    for (const Row& row : table().rows) {
        if (row.kind != Text) continue;
        setValue(model, row.name, std::wstring(static_cast<std::size_t>(row.width) + 1, L'x'));
        expected.push_back(row.build);
    }
    EXPECT_EQ(expected.size(), 12u);
    const auto built = model.toTramoLine();
    EXPECT_EQ(textOf(built), line({}));
    EXPECT_EQ(lineEndOf(built), L"\r\n");
    EXPECT_EQ(faults(model.getBuildErrors()), expected);
}

// ---- Samples --------------------------------------------------------------------------------------------------------

TEST(EnquiryResult, ReadsTheSamplesAndWritesThemBack) { samplesAreReadAndWrittenBack<M>(table(), 15); }

TEST(EnquiryResult, ReportsNothingInTheSamples) {
    for (const char* file : {"round-exported.txt", "round-returned.txt"})
        for (const std::wstring& each : sampleLines(file, table().letter))
            EXPECT_EQ(faults(parsed<M>(each).getMandatoryErrors()), Faults());
}
