#include "tramostream/metersubscribertramomodel.h"
#include "support/accessors.h"
#include "support/samples.h"
#include <algorithm>

using namespace records;
using M = MeterSubscriberTramoModel;

namespace {

constexpr int slotColumns[] = {156, 175, 194, 213};

std::string inSlot(int k, const std::string& what) { return "meterHistory" + std::to_string(k) + what; }

// Rules 1 to 8; all except the last two report to the parse errors.
void check(const State& state, Faults& mandatory, Faults& parse) {
    if (state.text("subscriberInformation").empty()) parse.push_back({6, 0x201});
    for (int k = 1; k <= 4; ++k)
        if (!state.text(inSlot(k, "ReadingType")).empty() && state.number(inSlot(k, "ReadingDate")) > 0 &&
            state.number(inSlot(k, "Consumption")) >= 0)
            parse.push_back({slotColumns[k - 1], 0x202});
    if (state.text("meterInformation").empty()) parse.push_back({232, 0x201});
    if (state.text("meterSerialNumber").empty()) parse.push_back({352, 0x201});

    const bool previousDate = state.number("meterPreviousReadingDate") > 0;
    const bool previousIndex = state.number("meterPreviousReadingIndex") >= 0;
    if (previousDate != previousIndex) parse.push_back({384, 0x202});

    const bool someMinimum = state.decimal("meterMinEstimatedConsumption") > 0;
    const bool noMaximum = state.decimal("meterMaxEstimatedConsumption") < 0;
    if (someMinimum == noMaximum) parse.push_back({402, 0x202});

    const bool noIndex = state.number("meterReadingIndex") < 0;
    const bool noStatus = state.code("meterReadingStatus") == unset, noMethod = state.code("meterReadingMethod") == unset;
    const bool noConsumption = state.number("meterReadingConsumption") < 0 && state.number("meterPreviousReadingIndex") > 0;
    const bool passes = state.number("meterReadingDate") > 0 ? !noIndex && !noStatus && !noMethod && !noConsumption
                                                             : noIndex && noStatus && noMethod;
    if (!passes) mandatory.push_back({426, 0x202});
    if (state.texts.at("meterAuthorizedChange").empty()) mandatory.push_back({506, 0x201});
}

const Table& table() {
    static const Table made = [] {
        const auto slot = [](int k) { return Needs{above(inSlot(k, "ReadingDate"), 0), atLeast(inSlot(k, "Consumption"), 0)}; };
        const Needs slot1 = slot(1), slot2 = slot(2), slot3 = slot(3), slot4 = slot(4);
        const Need previous = above("meterPreviousReadingDate", 0), reading = above("meterReadingDate", 0);
        // clang-format off
        const std::vector<Row> rows = {
            {  2,   4, "subscriberCardOrder",          "subscriberCardOrder",          Integer,  -1LL,   {2, 0x01},   {2, 0x101},   {.written = {atLeast(0)}}},
            {  6, 150, "subscriberInformation",        "subscriberInformation",        Text,     L"",    {},          {6, 0x102},   {.mandatory = {6, 0x201}, .toParseList = true}},
            {156,   1, "meterHistory1ReadingType",     "meterHistory1ReadingType",     Text,     L"",    {},          {156, 0x102}, {.written = slot1, .mandatory = {156, 0x202}, .toParseList = true}},
            {157,   8, "meterHistory1ReadingDate",     "meterHistory1ReadingDate",     Date,     0LL,    {157, 0x1B}, {157, 0x115}, {.written = slot1}},
            {165,  10, "meterHistory1Consumption",     "meterHistory1Consumption",     Integer,  0LL,    {165, 0x01}, {165, 0x101}, {.written = slot1}},
            {175,   1, "meterHistory2ReadingType",     "meterHistory2ReadingType",     Text,     L"",    {},          {175, 0x102}, {.written = slot2, .mandatory = {175, 0x202}, .toParseList = true}},
            {176,   8, "meterHistory2ReadingDate",     "meterHistory2ReadingDate",     Date,     0LL,    {176, 0x1B}, {176, 0x115}, {.written = slot2}},
            {184,  10, "meterHistory2Consumption",     "meterHistory2Consumption",     Integer,  0LL,    {184, 0x01}, {184, 0x101}, {.written = slot2}},
            {194,   1, "meterHistory3ReadingType",     "meterHistory3ReadingType",     Text,     L"",    {},          {194, 0x102}, {.written = slot3, .mandatory = {194, 0x202}, .toParseList = true}},
            {195,   8, "meterHistory3ReadingDate",     "meterHistory3ReadingDate",     Date,     0LL,    {194, 0x1B}, {195, 0x115}, {.written = slot3}},
            {203,  10, "meterHistory3Consumption",     "meterHistory3Consumption",     Integer,  0LL,    {203, 0x01}, {203, 0x101}, {.written = slot3}},
            {213,   1, "meterHistory4ReadingType",     "meterHistory4ReadingType",     Text,     L"",    {},          {213, 0x102}, {.written = slot4, .mandatory = {213, 0x202}, .toParseList = true}},
            {214,   8, "meterHistory4ReadingDate",     "meterHistory4ReadingDate",     Date,     0LL,    {214, 0x1B}, {214, 0x115}, {.written = slot4}},
            {222,  10, "meterHistory4Consumption",     "meterHistory4Consumption",     Integer,  0LL,    {222, 0x01}, {222, 0x101}, {.written = slot4}},
            {232, 120, "meterInformation",             "meterInformation",             Text,     L"",    {},          {232, 0x102}, {.mandatory = {232, 0x201}, .toParseList = true}},
            {352,  12, "meterSerialNumber",            "meterSerialNumber",            Text,     L"",    {},          {352, 0x102}, {.written = {filled("meterInformation")}, .mandatory = {352, 0x201}, .toParseList = true}},
            {364,   2, "meterWheels",                  "meterWheels",                  Integer,  -1LL,   {352, 0x01}, {352, 0x101}, {.written = {atLeast(0)}}},
            {366,  12, "meterCorrectedSerialNumber",   "meterCorrectedSerialNumber",   Text,     L"",    {},          {366, 0x102}, {.written = {filled()}}},
            {378,   2, "meterCorrectedWheels",         "meterCorrectedWheels",         Integer,  -1LL,   {378, 0x01}, {378, 0x101}, {.written = {above(3)}}},
            {380,   4, "meterInstallationYear",        "meterInstallationYear",        Year,     noYear, {380, 0x01}, {380, 0x115}, {.written = {isNot(noYear)}}},
            {384,   8, "meterPreviousReadingDate",     "meterPreviousReadingDate",     Date,     0LL,    {384, 0x1B}, {384, 0x115}, {.written = {above(0)}, .mandatory = {384, 0x202}, .toParseList = true}},
            {392,  10, "meterPreviousReadingIndex",    "meterPreviousReadingIndex",    Integer,  -1LL,   {392, 0x01}, {392, 0x115}, {.written = {previous, atLeast(0)}}},
            {402,  12, "meterMinEstimatedConsumption", "meterMinEstimatedConsumption", Decimal,  -1.0,   {402, 0x04}, {402, 0x104}, {.written = {above(-1)}, .mandatory = {402, 0x202}, .toParseList = true, .decimals = -1}},
            {414,  12, "meterMaxEstimatedConsumption", "meterMaxEstimatedConsumption", Decimal,  -1.0,   {414, 0x04}, {414, 0x104}, {.written = {above(-1)}, .decimals = -1}},
            {426,  12, "meterReadingDate",             "meterReadingDate",             DateTime, 0LL,    {426, 0x1A}, {426, 0x115}, {.written = {above(0)}, .mandatory = {426, 0x202}}},
            {438,  10, "meterReadingIndex",            "meterReadingIndex",            Integer,  -1LL,   {438, 0x01}, {438, 0x101}, {.written = {reading, atLeast(0)}}},
            {448,   1, "meterReadingStatus",           "meterReadingStatus",           Code,     unset,  {448, 0x12}, {448, 0x112}, {.written = {reading}, .codes = &readStatuses}},
            {449,  10, "meterReadingConsumption",      "meterReadingConsumption",      Integer,  -1LL,   {449, 0x01}, {449, 0x101}, {.written = {reading, atLeast(0), previous}}},
            {459,   1, "meterReadingMethod",           "meterReadingMethod",           Code,     unset,  {459, 0x13}, {459, 0x113}, {.written = {reading}, .codes = &readMethods}},
            {460,   2, "subscriberMarkingCode",        "subscriberMarkingCode",        Text,     L"",    {},          {460, 0x102}, {.written = {filled()}}},
            {462,   2, "meterMarkingCode",             "meterMarkingCode",             Text,     L"",    {},          {462, 0x102}, {.written = {filled()}}},
            {464,  30, "meterMessage",                 "meterMessage",                 Text,     L"",    {},          {464, 0x102}, {.written = {filled()}}},
            {494,  12, "meterLastUpdateDate",          "meterLastUpdateDate",          DateTime, 0LL,    {494, 0x1A}, {494, 0x115}, {.written = {above(0)}}},
            {506,   1, "meterAuthorizedChange",        "meterAuthorizedChange",        Flag,     false,  {506, 0x03}, {506, 0x103}, {.mandatory = {506, 0x201}, .blank = true, .blankText = L"1"}},
            {507,   1, "meterFluidType",               "meterFluidType",               Code,     unset,  {507, 0x11}, {507, 0x111}, {.codes = &fluids}},
            {508,   5, "meterReadingUserCode",         "meterReadingUsierId",          Text,     L"",    {},          {508, 0x102}, {.written = {filled()}}},
        };
        // clang-format on

        Table all{L'1', "MeterSubscriberTramoModel", rows};
        // The marking code of the subscriber is written with the subscriber's fields, although its columns come much later.
        for (const Row& row : rows)
            if (row.name != "subscriberMarkingCode") all.writingOrder.push_back(row.name);
        all.writingOrder.insert(all.writingOrder.begin() + 2, "subscriberMarkingCode");
        all.check = check;
        all.onSet = [](State& state, const std::string& name) {
            if (name == "meterAuthorizedChange") state.texts[name] = state.get<bool>(name) ? L"1" : L"0";
        };
        all.asymmetries = {
            {"3 corrected wheels or fewer are not written",
                [](const Row& row, const State& state) {
                    return row.name == "meterCorrectedWheels" && state.number(row.name) <= 3;
                }},
            {"a history slot without a date or with a negative consumption, a serial number without information, a previous index "
             "without its date, a reading without its date, and its consumption without a previous date are not written",
                [](const Row& row, const State& state) {
                    return !isWritten(row, state) &&
                           std::ranges::any_of(row.options.written, [](const Need& need) { return !need.field.empty(); });
                }},
            {"the method T is not written",
                [](const Row& row, const State& state) {
                    return row.name == "meterReadingMethod" && state.code(row.name) == L'T';
                }},
        };
        return all;
    }();
    return made;
}

std::wstring blankLine() { return blankText(L'1'); }
long32 on(int year, int month, int day, int hour = 0, int minute = 0) {
    return static_cast<long32>(*seconds(year, month, day, hour, minute));
}

Faults parseErrors(const std::wstring& line) {
    const Silence quiet;
    return faults(parsed<M>(line).getParseErrors());
}
std::wstring builtText(M& model) { return textOf(model.toTramoLine()); }

// The result of one getMandatoryErrors, and the errors that it adds to the parse errors.
struct Findings {
    Faults mandatory, parse;
    bool operator==(const Findings&) const = default;
};
void PrintTo(const Findings& found, std::ostream* out) {
    *out << "mandatory " << testing::PrintToString(found.mandatory) << ", parse " << testing::PrintToString(found.parse);
}
Findings findings(M& model) {
    const auto before = model.getParseErrors().size();
    const Faults mandatory = faults(model.getMandatoryErrors()), parse = faults(model.getParseErrors());
    return {mandatory, Faults(parse.begin() + static_cast<std::ptrdiff_t>(before), parse.end())};
}
const Findings nothing;

// A model that passes every rule.
M clean() {
    M model;
    model.setSubscriberInformation(L"S");
    model.setMeterInformation(L"M");
    model.setMeterSerialNumber(L"N");
    model.setMeterAuthorizedChange(true);
    return model;
}

const std::wstring aWholeLine = [] {
    std::wstring line = blankLine();
    put(line, 2, L"  42");
    put(line, 6, L"Mrs Smith, 1 High Street");
    put(line, 156, L"R20230711        69");
    put(line, 175, L"E20230117       120");
    put(line, 194, L"R20220716         0");
    put(line, 213, L" 20220101  12345678");
    put(line, 232, L"CELLAR     015");
    put(line, 352, L"C12AB0100000 6C12AB0100001 52008");
    put(line, 384, L"20230712      5998");
    put(line, 402, L"   32,500000   96.000000");
    put(line, 426, L"202401160835      60541        56A");
    put(line, 460, L"ABCDMind the dog");
    put(line, 494, L"202401161730");
    put(line, 506, L"0GAG07 ");
    return line;
}();

const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, SubscriberCardOrder),
    ACCESSORS(M, SubscriberInformation),
    ACCESSORS(M, MeterHistory1ReadingType),
    ACCESSORS(M, MeterHistory1ReadingDate),
    ACCESSORS(M, MeterHistory1Consumption),
    ACCESSORS(M, MeterHistory2ReadingType),
    ACCESSORS(M, MeterHistory2ReadingDate),
    ACCESSORS(M, MeterHistory2Consumption),
    ACCESSORS(M, MeterHistory3ReadingType),
    ACCESSORS(M, MeterHistory3ReadingDate),
    ACCESSORS(M, MeterHistory3Consumption),
    ACCESSORS(M, MeterHistory4ReadingType),
    ACCESSORS(M, MeterHistory4ReadingDate),
    ACCESSORS(M, MeterHistory4Consumption),
    ACCESSORS(M, MeterInformation),
    ACCESSORS(M, MeterSerialNumber),
    ACCESSORS(M, MeterWheels),
    ACCESSORS(M, MeterCorrectedSerialNumber),
    ACCESSORS(M, MeterCorrectedWheels),
    ACCESSORS(M, MeterInstallationYear),
    ACCESSORS(M, MeterPreviousReadingDate),
    ACCESSORS(M, MeterPreviousReadingIndex),
    ACCESSORS(M, MeterMinEstimatedConsumption),
    ACCESSORS(M, MeterMaxEstimatedConsumption),
    ACCESSORS(M, MeterReadingDate),
    ACCESSORS(M, MeterReadingIndex),
    ACCESSORS(M, MeterReadingStatus),
    ACCESSORS(M, MeterReadingConsumption),
    ACCESSORS(M, MeterReadingMethod),
    ACCESSORS(M, SubscriberMarkingCode),
    ACCESSORS(M, MeterMarkingCode),
    ACCESSORS(M, MeterMessage),
    ACCESSORS(M, MeterLastUpdateDate),
    ACCESSORS(M, MeterAuthorizedChange),
    ACCESSORS(M, MeterFluidType),
    ACCESSORS(M, MeterReadingUserCode),
};

}  // namespace

TEST_EVERY_FIELD(MeterSubscriberTramoModel, table)

TEST(MeterSubscriber, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

TEST(MeterSubscriber, AssignsEveryColumn) {
    std::wstring line = blankLine();
    for (const Row& row : table().rows) put(line, row.column, std::wstring(static_cast<std::size_t>(row.width), L'x'));
    EXPECT_EQ(line, L"1" + std::wstring(511, L'x'));
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST(MeterSubscriber, ReadsAWholeLine) {
    const M model = parsed<M>(aWholeLine);
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(model.getSubscriberCardOrder(), 42);
    EXPECT_EQ(model.getSubscriberInformation(), L"Mrs Smith, 1 High Street");
    EXPECT_EQ(model.getSubscriberMarkingCode(), L"AB");
    EXPECT_EQ(model.getMeterHistory1ReadingType(), L"R");
    EXPECT_EQ(model.getMeterHistory1ReadingDate(), on(2023, 7, 11));
    EXPECT_EQ(model.getMeterHistory1Consumption(), 69);
    EXPECT_EQ(model.getMeterHistory2ReadingType(), L"E");
    EXPECT_EQ(model.getMeterHistory2ReadingDate(), on(2023, 1, 17));
    EXPECT_EQ(model.getMeterHistory2Consumption(), 120);
    EXPECT_EQ(model.getMeterHistory3ReadingDate(), on(2022, 7, 16));
    EXPECT_EQ(model.getMeterHistory3Consumption(), 0);
    EXPECT_EQ(model.getMeterHistory4ReadingType(), L"");
    EXPECT_EQ(model.getMeterHistory4Consumption(), 12345678);
    EXPECT_EQ(model.getMeterInformation(), L"CELLAR     015");
    EXPECT_EQ(model.getMeterSerialNumber(), L"C12AB0100000");
    EXPECT_EQ(model.getMeterWheels(), 6);
    EXPECT_EQ(model.getMeterCorrectedSerialNumber(), L"C12AB0100001");
    EXPECT_EQ(model.getMeterCorrectedWheels(), 5);
    EXPECT_EQ(model.getMeterInstallationYear(), on(2008, 1, 1));
    EXPECT_EQ(model.getMeterPreviousReadingDate(), on(2023, 7, 12));
    EXPECT_EQ(model.getMeterPreviousReadingIndex(), 5998);
    EXPECT_EQ(model.getMeterMinEstimatedConsumption(), 32.5);
    EXPECT_EQ(model.getMeterMaxEstimatedConsumption(), 96.0);
    EXPECT_EQ(model.getMeterReadingDate(), on(2024, 1, 16, 8, 35));
    EXPECT_EQ(model.getMeterReadingIndex(), 6054);
    EXPECT_EQ(model.getMeterReadingStatus(), TF::ReadStatus::Status1);
    EXPECT_EQ(model.getMeterReadingConsumption(), 56);
    EXPECT_EQ(model.getMeterReadingMethod(), TF::ReadMethod::MethodA);
    EXPECT_EQ(model.getMeterMarkingCode(), L"CD");
    EXPECT_EQ(model.getMeterMessage(), L"Mind the dog");
    EXPECT_EQ(model.getMeterLastUpdateDate(), on(2024, 1, 16, 17, 30));
    EXPECT_FALSE(model.getMeterAuthorizedChange());
    EXPECT_EQ(model.getMeterFluidType(), TF::MeterFluid::G);
    EXPECT_EQ(model.getMeterReadingUserCode(), L"AG07");
}

TEST(MeterSubscriber, ReportsABadDateOfHistorySlot3AtItsType) {
    std::wstring line = blankLine();
    put(line, 195, L"20241301");
    EXPECT_EQ(parseErrors(line), (Faults{{194, 0x1B}}));
}

TEST(MeterSubscriber, ReportsBadWheelsAtTheSerialNumber) {
    std::wstring line = blankLine();
    put(line, 364, L"xx");
    EXPECT_EQ(parseErrors(line), (Faults{{352, 0x01}}));
}

TEST(MeterSubscriber, ListsEveryErrorInTheOrderOfTheColumns) {
    const std::wstring line = L"1" + std::wstring(511, L'x');
    EXPECT_EQ(parseErrors(line),
        (Faults{{2, 0x01}, {157, 0x1B}, {165, 0x01}, {176, 0x1B}, {184, 0x01}, {194, 0x1B}, {203, 0x01}, {214, 0x1B}, {222, 0x01},
            {352, 0x01}, {378, 0x01}, {380, 0x01}, {384, 0x1B}, {392, 0x01}, {402, 0x04}, {414, 0x04}, {426, 0x1A}, {438, 0x01},
            {448, 0x12}, {449, 0x01}, {459, 0x13}, {494, 0x1A}, {507, 0x11}}));
}

TEST(MeterSubscriber, ReportsAnInvalidYearAndLeavesItAbsent) {
    const Silence quiet;
    for (const wchar_t* text : {L"xxxx", L"x013", L" x  ", L"-"}) {
        std::wstring line = blankLine();
        put(line, 380, text);
        M model = parsed<M>(line);
        EXPECT_EQ(faults(model.getParseErrors()), (Faults{{380, 0x01}}));
        EXPECT_EQ(model.getMeterInstallationYear(), noYear);
        EXPECT_EQ(columns(builtText(model), 380, 4), L"    ");
    }
}

TEST(MeterSubscriber, ReadsANumberThatIsNoYearAsAbsentWithoutAnError) {
    for (const wchar_t* text : {L"20  ", L" 201", L"+201", L"-201", L"201x", L"0000", L"1900", L"2039", L"9999"}) {
        std::wstring line = blankLine();
        put(line, 380, text);
        M model = parsed<M>(line);
        EXPECT_EQ(faults(model.getParseErrors()), Faults()) << testing::PrintToString(std::wstring(text));
        EXPECT_EQ(model.getMeterInstallationYear(), noYear);
        EXPECT_EQ(columns(builtText(model), 380, 4), L"    ");  // the text is lost
    }
}

TEST(MeterSubscriber, HoldsAndWritesEveryYearOf32Bits) {
    for (int year = 1902; year <= 2038; ++year) {
        std::wstring line = blankLine();
        put(line, 380, std::to_wstring(year));
        M model = parsed<M>(line);
        EXPECT_EQ(model.getMeterInstallationYear(), on(year, 1, 1));
        EXPECT_EQ(columns(builtText(model), 380, 4), std::to_wstring(year));
    }
}

TEST(MeterSubscriber, ReadsABlankAuthorizedChangeAsTrueAndKeepsA1) {
    M model = parsed<M>(blankLine());
    EXPECT_TRUE(model.getMeterAuthorizedChange());
    EXPECT_EQ(findings(model).mandatory, Faults());
    EXPECT_EQ(columns(builtText(model), 506, 1), L"1");
}

TEST(MeterSubscriber, ReadsAnAuthorizedChangeOtherThan1AsFalse) {
    for (const wchar_t c : {L'0', L'1', L'2', L'Y', L'x', L'\0', L'\x131'}) {
        std::wstring line = blankLine();
        put(line, 506, std::wstring(1, c));
        M model = parsed<M>(line);
        EXPECT_EQ(faults(model.getParseErrors()), Faults());
        EXPECT_EQ(model.getMeterAuthorizedChange(), c == L'1');
        EXPECT_EQ(findings(model).mandatory, Faults());  // any text counts as present
        EXPECT_EQ(columns(builtText(model), 506, 1), c == L'1' ? L"1" : L"0");
    }
}

TEST(MeterSubscriber, LeavesABlankFluidUnsetAndBlank) {
    M model = parsed<M>(blankLine());
    EXPECT_EQ(model.getMeterFluidType(), TF::MeterFluid::Unset);
    EXPECT_EQ(columns(builtText(model), 507, 1), L" ");
    model.setMeterFluidType(TF::MeterFluid::Blank);
    EXPECT_EQ(columns(builtText(model), 507, 1), L" ");
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(MeterSubscriber, ReadsConsumptionsWithACommaOrAPoint) {
    for (const auto& [text, value] :
        {std::pair(L"3,25        ", 3.25), {L"        3.25", 3.25}, {L"1e3", 1000.0}, {L"-0,5", -0.5}}) {
        std::wstring line = blankLine();
        put(line, 402, text);
        const M model = parsed<M>(line);
        EXPECT_EQ(faults(model.getParseErrors()), Faults());
        EXPECT_EQ(model.getMeterMinEstimatedConsumption(), value);
    }
}

TEST(MeterSubscriber, ReadsAShortLineAsZerosThatAreNotBlank) {
    std::wstring line = aWholeLine;
    line.replace(300, std::wstring::npos, 512 - 300, L'\0');
    const Silence quiet;
    const M model = parsed<M>(line);
    EXPECT_EQ(model.getSubscriberCardOrder(), 42);
    EXPECT_EQ(model.getMeterSerialNumber(), std::wstring(12, L'\0'));
    EXPECT_FALSE(model.getMeterAuthorizedChange());
    EXPECT_EQ(faults(model.getParseErrors()),
        (Faults{{352, 0x01}, {378, 0x01}, {380, 0x01}, {384, 0x1B}, {392, 0x01}, {402, 0x04}, {414, 0x04}, {426, 0x1A},
            {438, 0x01}, {448, 0x12}, {449, 0x01}, {459, 0x13}, {494, 0x1A}, {507, 0x11}}));
}

TEST(MeterSubscriber, DescribesThatCompleteHistorySlotsAreReportedOnCorrectLines) {
    for (const Field& field : tramo::kindOf<M>().fields)
        EXPECT_EQ(field.reportedOnGoodLines, field.name.ends_with("ReadingType")) << field.name;
}

// ---- Writing --------------------------------------------------------------------------------------------------------

TEST(MeterSubscriber, WritesAWholeLineBack) {
    std::wstring expected = aWholeLine;
    put(expected, 402, L"   32.500000");  // always with a decimal point
    M model = parsed<M>(aWholeLine);
    EXPECT_EQ(builtText(model), expected);
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(MeterSubscriber, DoesNotWriteASerialNumberWithoutInformation) {
    M model;
    model.setMeterSerialNumber(L"C12AB0100000");
    EXPECT_EQ(columns(builtText(model), 352, 12), blanks(12));
    model.setMeterSerialNumber(L"C12AB0100000 too long");
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    model.setMeterInformation(L"M");
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{352, 0x102}}));
    model.setMeterSerialNumber(L"C12AB0100000");
    EXPECT_EQ(columns(builtText(model), 352, 12), L"C12AB0100000");
}

TEST(MeterSubscriber, WritesWheelsFrom0AndCorrectedWheelsFrom4) {
    for (int wheels = -2; wheels <= 12; ++wheels) {
        M model;
        model.setMeterWheels(wheels);
        model.setMeterCorrectedWheels(wheels);
        const std::wstring text = (wheels < 10 ? L" " : L"") + std::to_wstring(wheels), line = builtText(model);
        EXPECT_EQ(columns(line, 364, 2), wheels >= 0 ? text : L"  ");
        EXPECT_EQ(columns(line, 378, 2), wheels > 3 ? text : L"  ");
    }
}

TEST(MeterSubscriber, DoesNotWriteAReadingWithoutItsDate) {
    M model = parsed<M>(aWholeLine);
    for (const long32 none : {0, -1}) {
        model.setMeterReadingDate(none);
        EXPECT_EQ(columns(builtText(model), 426, 34), blanks(34));
    }
    model.setMeterReadingMethod(TF::ReadMethod::MethodT);
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(MeterSubscriber, DoesNotWriteAConsumptionWithoutAPreviousDate) {
    M model = parsed<M>(aWholeLine);
    model.setMeterPreviousReadingDate(0);
    const std::wstring line = builtText(model);
    EXPECT_EQ(columns(line, 384, 18), blanks(18));
    EXPECT_EQ(columns(line, 426, 34), L"202401160835      60541          A");
}

TEST(MeterSubscriber, WritesAHistorySlotCompletelyOrNotAtAll) {
    for (int k = 1; k <= 4; ++k)
        for (const wchar_t* type : {L"", L"R"})
            for (const long long date : {-1LL, 0LL, 1LL})
                for (const long long consumption : {-1LL, 0LL, 7LL}) {
                    M model;
                    setValue(model, inSlot(k, "ReadingType"), std::wstring(type));
                    setValue(model, inSlot(k, "ReadingDate"), date);
                    setValue(model, inSlot(k, "Consumption"), consumption);
                    std::wstring expected = blankLine();
                    put(expected, 506, L"0");
                    if (date > 0 && consumption >= 0) {
                        put(expected, slotColumns[k - 1], *type ? type : L" ");
                        put(expected, slotColumns[k - 1] + 1, L"19700101         " + std::to_wstring(consumption));
                    }
                    EXPECT_EQ(builtText(model), expected);
                }
}

TEST(MeterSubscriber, ReportsCodesThatCannotBeWritten) {
    const Silence quiet;
    M model = parsed<M>(aWholeLine);
    model.setMeterReadingStatus(TF::ReadStatus{L'5'});
    model.setMeterReadingMethod(TF::ReadMethod::MethodT);
    model.setMeterFluidType(TF::MeterFluid{L'X'});
    const std::wstring line = builtText(model);
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{448, 0x112}, {459, 0x113}, {507, 0x111}}));
    EXPECT_EQ(columns(line, 448, 12), L"         56 ");
    EXPECT_EQ(columns(line, 507, 1), L" ");
}

TEST(MeterSubscriber, ListsBuildErrorsInTheOrderOfWriting) {
    const std::wstring tooLong(151, L'x');
    M model;
    for (const Row& row : table().rows) {
        if (row.kind == Text) setValue(model, row.name, tooLong);
        if (row.kind == Date) setValue(model, row.name, 1LL);
    }
    const Faults expected = {{6, 0x102}, {460, 0x102}, {156, 0x102}, {175, 0x102}, {194, 0x102}, {213, 0x102}, {232, 0x102},
        {352, 0x102}, {366, 0x102}, {462, 0x102}, {464, 0x102}, {508, 0x102}};
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), expected);
    model.toTramoLine();
    EXPECT_EQ(faults(model.getBuildErrors()), expected);  // replaced, not appended
}

TEST(MeterSubscriber, WritesADefaultModelWithoutAuthorizedChange) {
    M model;
    std::wstring expected = blankLine();
    put(expected, 506, L"0");
    EXPECT_EQ(builtText(model), expected);
}

// ---- Checking -------------------------------------------------------------------------------------------------------

TEST(MeterSubscriber, AcceptsACleanModel) {
    M model = clean();
    EXPECT_EQ(findings(model), nothing);
}

TEST(MeterSubscriber, ReportsTheMissingValuesOfADefaultModel) {
    M model;
    EXPECT_EQ(findings(model), (Findings{{{506, 0x201}}, {{6, 0x201}, {232, 0x201}, {352, 0x201}}}));
}

TEST(MeterSubscriber, ReportsEachMissingTextSeparately) {
    M model = clean();
    model.setSubscriberInformation(L"");
    EXPECT_EQ(findings(model), (Findings{{}, {{6, 0x201}}}));
    model = clean();
    model.setMeterInformation(L"");
    EXPECT_EQ(findings(model), (Findings{{}, {{232, 0x201}}}));
    model = clean();
    model.setMeterSerialNumber(L"");
    EXPECT_EQ(findings(model), (Findings{{}, {{352, 0x201}}}));
}

TEST(MeterSubscriber, ReportsACompleteHistorySlotAndNoOther) {
    for (int k = 1; k <= 4; ++k)
        for (const wchar_t* type : {L"", L" ", L"R"})
            for (const long long date : {-1LL, 0LL, 1LL})
                for (const long long consumption : {-1LL, 0LL, 1LL}) {
                    M model = clean();
                    setValue(model, inSlot(k, "ReadingType"), std::wstring(type));
                    setValue(model, inSlot(k, "ReadingDate"), date);
                    setValue(model, inSlot(k, "Consumption"), consumption);
                    const bool complete = *type != 0 && date > 0 && consumption >= 0;
                    EXPECT_EQ(findings(model), complete ? (Findings{{}, {{slotColumns[k - 1], 0x202}}}) : nothing);
                }
}

TEST(MeterSubscriber, RequiresThePreviousReadingCompleteOrAbsent) {
    for (const long32 date : {-1, 0, 1})
        for (const long long index : {-1, 0, 1}) {
            M model = clean();
            model.setMeterPreviousReadingDate(date);
            model.setMeterPreviousReadingIndex(index);
            EXPECT_EQ(findings(model), (date > 0) != (index >= 0) ? (Findings{{}, {{384, 0x202}}}) : nothing)
                << date << ' ' << index;
        }
}

TEST(MeterSubscriber, RequiresAMinimumAbove0OrNoMaximum) {
    for (const double minimum : {-1.0, -0.5, 0.0, 0.000001, 5.0, std::numeric_limits<double>::quiet_NaN()})
        for (const double maximum : {-1.0, -0.000001, 0.0, 5.0, std::numeric_limits<double>::quiet_NaN()}) {
            M model = clean();
            model.setMeterMinEstimatedConsumption(minimum);
            model.setMeterMaxEstimatedConsumption(maximum);
            const bool a = minimum > 0, b = maximum < 0;
            EXPECT_EQ(findings(model), (a && b) || (!a && !b) ? (Findings{{}, {{402, 0x202}}}) : nothing)
                << minimum << ' ' << maximum;
        }
}

// All combinations of the values that the rule on the reading checks. It reports in the result, not in the parse errors.
TEST(MeterSubscriber, RequiresTheReadingCompleteOrAbsent) {
    for (const long32 date : {-1, 0, 1})
        for (const long long index : {-1, 0, 1})
            for (const auto status : {TF::ReadStatus::Unset, TF::ReadStatus::Status1})
                for (const auto method : {TF::ReadMethod::Unset, TF::ReadMethod::MethodM, TF::ReadMethod::MethodT})
                    for (const long long consumption : {-1, 0, 1})
                        for (const long long previousIndex : {-1, 0, 1}) {
                            M model = clean();
                            model.setMeterPreviousReadingIndex(previousIndex);
                            model.setMeterPreviousReadingDate(previousIndex >= 0 ? 1 : 0);  // so that only one rule applies
                            model.setMeterReadingDate(date);
                            model.setMeterReadingIndex(index);
                            model.setMeterReadingStatus(status);
                            model.setMeterReadingMethod(method);
                            model.setMeterReadingConsumption(consumption);
                            bool found = false;
                            if (date > 0) {
                                if (index < 0) found = true;
                                if (status == TF::ReadStatus::Unset) found = true;
                                if (method == TF::ReadMethod::Unset) found = true;
                                if (consumption < 0 && previousIndex > 0) found = true;
                            } else {
                                if (index >= 0) found = true;
                                if (status != TF::ReadStatus::Unset) found = true;
                                if (method != TF::ReadMethod::Unset) found = true;
                            }
                            EXPECT_EQ(findings(model), found ? (Findings{{{426, 0x202}}, {}}) : nothing)
                                << date << ' ' << index << ' ' << consumption << ' ' << previousIndex;
                        }
}

TEST(MeterSubscriber, RequiresTheAuthorizedChange) {
    M model = clean();
    model.setMeterAuthorizedChange(false);
    EXPECT_EQ(findings(model), nothing);
    M unsaid;
    EXPECT_EQ(findings(unsaid).mandatory, (Faults{{506, 0x201}}));
    EXPECT_TRUE(tramo::set(unsaid, *tramo::kindOf<M>().field("meterAuthorizedChange"), false));  // same effect as the setter
    EXPECT_EQ(findings(unsaid).mandatory, Faults());
}

TEST(MeterSubscriber, ListsMandatoryErrorsInTheOrderOfTheRules) {
    M model;
    for (int k = 1; k <= 4; ++k) {
        setValue(model, inSlot(k, "ReadingType"), std::wstring(L"R"));
        setValue(model, inSlot(k, "ReadingDate"), 1LL);
    }
    model.setMeterPreviousReadingDate(1);
    model.setMeterMinEstimatedConsumption(1);
    model.setMeterReadingDate(1);
    const Findings expected = {{{426, 0x202}, {506, 0x201}}, {{6, 0x201}, {156, 0x202}, {175, 0x202}, {194, 0x202}, {213, 0x202},
                                                                 {232, 0x201}, {352, 0x201}, {384, 0x202}, {402, 0x202}}};
    EXPECT_EQ(findings(model), expected);
}

TEST(MeterSubscriber, AddsToTheParseErrorsAgainAtEachCheck) {
    std::wstring line = blankLine();
    put(line, 364, L"xx");
    const Silence quiet;
    M model = parsed<M>(line);
    Faults expected = {{352, 0x01}};
    const Faults added = {{6, 0x201}, {232, 0x201}, {352, 0x201}};
    for (int times = 1; times <= 3; ++times) {
        EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
        expected.insert(expected.end(), added.begin(), added.end());
        EXPECT_EQ(faults(model.getParseErrors()), expected);
    }
    M incomplete;
    EXPECT_EQ(faults(incomplete.getMandatoryErrors()), (Faults{{506, 0x201}}));
    EXPECT_EQ(faults(incomplete.getMandatoryErrors()), (Faults{{506, 0x201}}));  // this list is replaced
}

// ---- Showing --------------------------------------------------------------------------------------------------------

TEST(MeterSubscriber, ShowsADefaultModel) {
    EXPECT_EQ(M().toString(),
        L"MeterSubscriberTramoModel[subscriberCardOrder:-1,subscriberInformation:,subscriberMarkingCode:,"
        L"meterHistory1ReadingType:,meterHistory1ReadingDate:0,meterHistory1Consumption:0,"
        L"meterHistory2ReadingType:,meterHistory2ReadingDate:0,meterHistory2Consumption:0,"
        L"meterHistory3ReadingType:,meterHistory3ReadingDate:0,meterHistory3Consumption:0,"
        L"meterHistory4ReadingType:,meterHistory4ReadingDate:0,meterHistory4Consumption:0,"
        L"meterInformation:,meterSerialNumber:,meterWheels:-1,meterCorrectedSerialNumber:,meterCorrectedWheels:-1,"
        L"meterInstallationYear:-2147483648,meterPreviousReadingDate:0,meterPreviousReadingIndex:-1,"
        L"meterMinEstimatedConsumption:-1.000000,meterMaxEstimatedConsumption:-1.000000,"
        L"meterReadingDate:0,meterReadingIndex:-1,meterReadingStatus:!,meterReadingConsumption:-1,meterReadingMethod:!,"
        L"meterMarkingCode:,meterMessage:,meterLastUpdateDate:0,meterAuthorizedChange:0,meterFluidType:!,meterReadingUsierId:]");
}

TEST(MeterSubscriber, ShowsAParsedModel) {
    EXPECT_EQ(parsed<M>(aWholeLine).toString(),
        L"MeterSubscriberTramoModel[subscriberCardOrder:42,subscriberInformation:Mrs Smith, 1 High Street,subscriberMarkingCode:AB,"
        L"meterHistory1ReadingType:R,meterHistory1ReadingDate:1689026400,meterHistory1Consumption:69,"
        L"meterHistory2ReadingType:E,meterHistory2ReadingDate:1673910000,meterHistory2Consumption:120,"
        L"meterHistory3ReadingType:R,meterHistory3ReadingDate:1657922400,meterHistory3Consumption:0,"
        L"meterHistory4ReadingType:,meterHistory4ReadingDate:1640991600,meterHistory4Consumption:12345678,"
        L"meterInformation:CELLAR     015,meterSerialNumber:C12AB0100000,meterWheels:6,"
        L"meterCorrectedSerialNumber:C12AB0100001,meterCorrectedWheels:5,"
        L"meterInstallationYear:1199142000,meterPreviousReadingDate:1689112800,meterPreviousReadingIndex:5998,"
        L"meterMinEstimatedConsumption:32.500000,meterMaxEstimatedConsumption:96.000000,"
        L"meterReadingDate:1705390500,meterReadingIndex:6054,meterReadingStatus:1,meterReadingConsumption:56,meterReadingMethod:A,"
        L"meterMarkingCode:CD,meterMessage:Mind the dog,meterLastUpdateDate:1705422600,meterAuthorizedChange:0,"
        L"meterFluidType:G,meterReadingUsierId:AG07]");
}

TEST(MeterSubscriber, ShowsValuesThatNoLineCouldHold) {
    M model;
    model.setSubscriberCardOrder(std::numeric_limits<int>::min());
    model.setMeterReadingIndex(std::numeric_limits<long long>::max());
    model.setMeterMinEstimatedConsumption(1e20);
    model.setMeterReadingMethod(TF::ReadMethod::MethodT);
    model.setMeterAuthorizedChange(true);
    const std::wstring shownText = model.toString();
    for (const wchar_t* part : {L"[subscriberCardOrder:-2147483648,", L",meterReadingIndex:9223372036854775807,",
             L",meterMinEstimatedConsumption:100000000000000000000.000000,", L",meterReadingMethod:T,",
             L",meterAuthorizedChange:1,"})
        EXPECT_NE(shownText.find(part), std::wstring::npos) << testing::PrintToString(std::wstring(part));
}

// ---- Samples --------------------------------------------------------------------------------------------------------

TEST(MeterSubscriber, ReadsTheSamplesAndWritesThemBack) { samplesAreReadAndWrittenBack<M>(table(), 120); }

TEST(MeterSubscriber, ReportsOnlyCompleteHistorySlotsInTheSamples) {
    std::size_t found = 0;
    for (const char* file : {"round-exported.txt", "round-returned.txt"})
        for (const std::wstring& line : sampleLines(file, L'1')) {
            M model = parsed<M>(line);
            const Findings all = findings(model);
            EXPECT_EQ(all.mandatory, Faults());
            for (const Fault& each : all.parse)
                EXPECT_TRUE(each.code == 0x202 && std::ranges::count(slotColumns, each.column)) << each.column;
            found += all.parse.size();
        }
    EXPECT_GT(found, 0u);
}
