// Rounds, meters and what belongs to them: from lines that are made with names, and from the samples.
#include "tramostream/round.h"
#include "support/streamfiles.h"
#include "support/timezone.h"
#include "tramostream/anyrecord.h"
#include "tramostream/filecheck.h"
#include "tramostream/messages.h"
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <utility>

using tramo::Area, tramo::Finding, tramo::Line, tramo::LineView, tramo::Meter, tramo::NewValue, tramo::Reader, tramo::Round,
    tramo::RoundFile;
using namespace std::chrono_literals;

namespace {

std::string sample(const std::string& name) { return std::string(SAMPLES) + '/' + name; }

using Values = std::vector<std::pair<std::string, NewValue>>;

// A line of the kind of M with these values, and its line ending.
template <class M> std::string lineOf(const Values& values) {
    Line line(tramo::kindOf<M>());
    for (const auto& [name, value] : values) {
        const auto result = line.set(name, value);
        EXPECT_TRUE(result) << name << ": " << result.reason;
    }
    return std::string(line.bytes()) + "\r\n";
}

std::string roundLine(const Values& values = {{"code", "T1"}}) { return lineOf<RoundTramoModel>(values); }
std::string meterLine(const char* serial, Values more = {}) {
    more.emplace_back("meterSerialNumber", serial);
    return lineOf<MeterSubscriberTramoModel>(more);
}
std::string endLine() { return lineOf<RecordInformationTramoModel>({}); }
std::string moduleLine(const char* serial, Values more = {}) {
    more.emplace_back("meterSerialNumber", serial);
    return lineOf<AMRTramoModel>(more);
}

// The rounds of a text. The text is kept, because the lines refer to it only until they are read.
RoundFile fileOf(const std::string& text) {
    Reader reader = Reader::ofBytes(text);
    return RoundFile::read(reader);
}

std::vector<std::int64_t> numbersOf(std::span<const LineView* const> lines) {
    std::vector<std::int64_t> numbers;
    for (const LineView* line : lines) numbers.push_back(line->number());
    return numbers;
}
using Numbers = std::vector<std::int64_t>;

std::vector<std::string> rulesOf(const RoundFile& file) {
    std::vector<std::string> rules;
    for (const Finding& finding : file.findings()) rules.emplace_back(finding.rule->name);
    return rules;
}
using Rules = std::vector<std::string>;

}  // namespace

// --- Which line belongs to which meter -------------------------------------------------------------------------------

TEST(Joining, LinesBelongToTheMeterAboveThem) {
    const RoundFile file = fileOf(roundLine() + meterLine("A") + moduleLine("A") + meterLine("B") + moduleLine("B"));
    ASSERT_EQ(file.rounds().size(), 1U);
    const Round& round = file.rounds().front();
    ASSERT_EQ(round.meters().size(), 2U);
    EXPECT_EQ(numbersOf(round.meters()[0].lines()), (Numbers{2, 3}));
    EXPECT_EQ(numbersOf(round.meters()[1].lines()), (Numbers{4, 5}));
    EXPECT_TRUE(file.orphans().empty());
}

TEST(Joining, OfTwoMetersWithOneNumberTheNearestAbove) {
    const RoundFile file =
        fileOf(roundLine() + meterLine("A") + moduleLine("A") + meterLine("A") + moduleLine("A") + moduleLine("A"));
    EXPECT_EQ(numbersOf(file.rounds()[0].meters()[0].lines()), (Numbers{2, 3}));
    EXPECT_EQ(numbersOf(file.rounds()[0].meters()[1].lines()), (Numbers{4, 5, 6}));
}

TEST(Joining, WithoutMeterAboveTheFirstBelow) {
    const RoundFile file = fileOf(roundLine() + moduleLine("A") + meterLine("B") + meterLine("A") + meterLine("A"));
    EXPECT_EQ(numbersOf(file.rounds()[0].meters()[1].lines()), (Numbers{4, 2}));
    EXPECT_EQ(numbersOf(file.rounds()[0].meters()[2].lines()), (Numbers{5}));
}

TEST(Joining, NeverToAMeterOfAnotherRound) {
    const RoundFile file = fileOf(roundLine() + meterLine("A") + roundLine() + moduleLine("A") + endLine());
    ASSERT_EQ(file.rounds().size(), 2U);
    EXPECT_EQ(numbersOf(file.rounds()[0].meters()[0].lines()), (Numbers{2}));
    ASSERT_EQ(file.orphans().size(), 1U);
    EXPECT_EQ(file.orphans()[0].line->number(), 4);
    EXPECT_EQ(file.orphans()[0].serial, "A");
    EXPECT_EQ(file.orphans()[0].reason, "its round has no meter subscriber line with the serial number \"A\"");
    EXPECT_EQ(rulesOf(file), Rules{"LineWithoutMeter"});
}

TEST(Joining, BlankSerialNumbersBelongToNobody) {
    const RoundFile file = fileOf(roundLine() + lineOf<MeterSubscriberTramoModel>({}) + lineOf<AMRTramoModel>({}));
    EXPECT_EQ(numbersOf(file.rounds()[0].meters()[0].lines()), (Numbers{2}));
    ASSERT_EQ(file.orphans().size(), 1U);
    EXPECT_EQ(file.orphans()[0].serial, "");
    EXPECT_EQ(file.orphans()[0].reason, "the line has no serial number of a meter");
}

TEST(Joining, ChangesByTheOldNumberOtherwiseByTheNewOne) {
    const auto change = [](const char* before, const char* after) {
        return lineOf<MeterChangeTramoModel>({{"oldMeterSerialNumber", before}, {"newMeterSerialNumber", after}});
    };
    const RoundFile file =
        fileOf(roundLine() + meterLine("A") + meterLine("B") + change("A", "B") + change("X", "B") + change("X", "Y"));
    EXPECT_EQ(numbersOf(file.rounds()[0].meters()[0].lines()), (Numbers{2, 4}));
    EXPECT_EQ(numbersOf(file.rounds()[0].meters()[1].lines()), (Numbers{3, 5}));
    ASSERT_EQ(file.orphans().size(), 1U);
    EXPECT_EQ(file.orphans()[0].line->number(), 6);
}

TEST(Joining, RecordsBeforeTheFirstRoundLineAreARoundWithoutHeader) {
    const RoundFile file = fileOf(meterLine("A") + roundLine() + meterLine("B"));
    ASSERT_EQ(file.rounds().size(), 2U);
    EXPECT_EQ(file.rounds()[0].header(), nullptr);
    EXPECT_EQ(file.rounds()[0].code(), "");
    EXPECT_EQ(file.rounds()[0].meters().size(), 1U);
    EXPECT_EQ(file.rounds()[1].code(), "T1");
}

TEST(Joining, LinesBeforeTheFirstRecordAreNoRound) {
    const RoundFile file = fileOf("malformed\r\n" + roundLine());
    ASSERT_EQ(file.rounds().size(), 1U);
    EXPECT_EQ(file.rounds()[0].code(), "T1");
    EXPECT_EQ(file.lines().size(), 2U);
}

TEST(Joining, FilesWithoutRecordsHaveNoRounds) {
    for (const char* name : {"tags.txt", "parameters.txt", "amr-keys.txt"}) {
        const RoundFile file = RoundFile::read(sample(name));
        EXPECT_TRUE(file.rounds().empty()) << name;
        EXPECT_FALSE(file.lines().empty()) << name;
        EXPECT_TRUE(file.orphans().empty()) << name;
    }
    EXPECT_TRUE(fileOf("").lines().empty());
}

TEST(Joining, FindsTheFirstMeterOfASerialNumber) {
    const RoundFile file = fileOf(roundLine() + meterLine("B") + meterLine("A") + meterLine("B"));
    const Round& round = file.rounds()[0];
    ASSERT_NE(round.meter("B"), nullptr);
    EXPECT_EQ(round.meter("B")->subscriber().number(), 2);
    EXPECT_EQ(round.meter("A")->subscriber().number(), 3);
    EXPECT_EQ(round.meter("C"), nullptr);
    EXPECT_EQ(round.meter(""), nullptr);
}

TEST(Joining, PartsStayWhereTheyAreWhenTheFileIsMoved) {
    RoundFile file = fileOf(roundLine() + meterLine("A"));
    const Meter* meter = file.rounds()[0].meter("A");
    const RoundFile moved = std::move(file);
    EXPECT_EQ(moved.rounds()[0].meter("A"), meter);
    EXPECT_EQ(meter->serial(), "A");
}

// --- Areas -----------------------------------------------------------------------------------------------------------

namespace {

Values areas(const Values& more = {}) {
    Values values{{"code", "T1"}, {"subscriberInformationLabelArea1", "Name"}, {"subscriberInformationPositionArea1", 0},
        {"subscriberInformationLenghtArea1", 4}, {"subscriberInformationTypeArea1", '2'}, {"meterInformationLabelArea2", "Floor"},
        {"meterInformationPositionArea2", 5}, {"meterInformationLenghtArea2", 3}, {"meterInformationTypeArea2", '1'}};
    values.insert(values.end(), more.begin(), more.end());
    return values;
}

std::vector<std::string> textsOf(const Meter& meter) {
    std::vector<std::string> texts;
    for (const tramo::AreaText& text : meter.areas())
        texts.push_back((text.area ? text.area->label : "-") + "=" + text.text + "@" + std::to_string(text.origin.column) + "+" +
                        std::to_string(text.origin.width));
    return texts;
}
using Texts = std::vector<std::string>;

}  // namespace

TEST(Areas, GiveThePartsOfTheFreeTexts) {
    const RoundFile file = fileOf(roundLine(areas()) + meterLine("A", {{"subscriberInformation", "ANNAMaple Street"},
                                                                          {"meterInformation", "west 3rd left"}}));
    const Meter& meter = file.rounds()[0].meters()[0];
    EXPECT_EQ(meter.area("Name"), "ANNA");
    EXPECT_EQ(meter.area("Floor"), "3rd");
    EXPECT_EQ(meter.area("Cellar"), std::nullopt);
    EXPECT_EQ(
        textsOf(meter), (Texts{"Name=ANNA@6+4", "Floor=3rd@237+3", "-=Maple Street@10+146", "-=west@232+5", "-= left@240+112"}));
}

TEST(Areas, BlankOnesHaveNoText) {
    const RoundFile file = fileOf(roundLine(areas()) + meterLine("A"));
    EXPECT_EQ(file.rounds()[0].meters()[0].area("Name"), "");
    EXPECT_EQ(textsOf(file.rounds()[0].meters()[0]), Texts{});
}

TEST(Areas, OutsideOfTheirTextAreCutAtItsEnd) {
    const RoundFile file =
        fileOf(roundLine(areas({{"subscriberInformationLabelArea5", "End"}, {"subscriberInformationPositionArea5", 148},
                   {"subscriberInformationLenghtArea5", 10}})) +
               meterLine("A", {{"subscriberInformation", std::string(148, ' ') + "xy"}, {"meterHistory1ReadingType", "R"}}));
    const Meter& meter = file.rounds()[0].meters()[0];
    EXPECT_EQ(meter.area("End"), "xy");
    EXPECT_EQ(textsOf(meter), Texts{"End=xy@154+2"});
}

TEST(Areas, WithoutPositionHaveNoText) {
    const RoundFile file =
        fileOf(roundLine({{"subscriberInformationLabelArea1", "Name"}}) + meterLine("A", {{"subscriberInformation", "ANNA"}}));
    EXPECT_EQ(file.rounds()[0].areas()[0].position, -1);
    EXPECT_EQ(file.rounds()[0].meters()[0].area("Name"), "");
    EXPECT_EQ(textsOf(file.rounds()[0].meters()[0]), Texts{"-=ANNA@6+150"});
}

TEST(Areas, KnowWhereTheyAreDefined) {
    const RoundFile file = fileOf(roundLine(areas()));
    ASSERT_EQ(file.rounds()[0].areas().size(), 2U);
    const Area& area = file.rounds()[0].areas()[1];
    EXPECT_EQ(area.of, Area::Meter);
    EXPECT_EQ(area.number, 2);
    EXPECT_EQ(area.type, '1');
    EXPECT_EQ(area.origin, (tramo::Origin{1, 278, 22}));
}

struct AreaCase {
    const char* what;
    Values more;
    Rules rules;
};

class AreaFindings : public testing::TestWithParam<AreaCase> {};
TEST_P(AreaFindings, AreThose) {
    const RoundFile file = fileOf(roundLine(areas(GetParam().more)));
    EXPECT_EQ(rulesOf(file), GetParam().rules);
    for (const Finding& finding : file.findings()) {
        EXPECT_EQ(finding.line, 1);
        EXPECT_GT(finding.column, 0);
        EXPECT_FALSE(finding.sentence.empty());
    }
}
INSTANTIATE_TEST_SUITE_P(All, AreaFindings,
    testing::Values(AreaCase{"None", {}, {}},
        AreaCase{"NoPosition", {{"subscriberInformationLabelArea3", "x"}, {"subscriberInformationLenghtArea3", 3}},
            {"AreaIncomplete"}},
        AreaCase{"NoLength", {{"meterInformationPositionArea3", 3}}, {"AreaIncomplete"}},
        AreaCase{"LastCharacter", {{"subscriberInformationPositionArea3", 149}, {"subscriberInformationLenghtArea3", 1}}, {}},
        AreaCase{
            "OneTooFar", {{"subscriberInformationPositionArea3", 149}, {"subscriberInformationLenghtArea3", 2}}, {"AreaOutside"}},
        AreaCase{
            "OneTooFarInMeter", {{"meterInformationPositionArea3", 119}, {"meterInformationLenghtArea3", 2}}, {"AreaOutside"}},
        AreaCase{"Adjacent", {{"subscriberInformationPositionArea3", 4}, {"subscriberInformationLenghtArea3", 2}}, {}},
        AreaCase{
            "Overlap", {{"subscriberInformationPositionArea3", 3}, {"subscriberInformationLenghtArea3", 2}}, {"AreaOverlap"}},
        AreaCase{"SameColumnsOfTheOtherText", {{"meterInformationPositionArea3", 0}, {"meterInformationLenghtArea3", 4}}, {}},
        AreaCase{"NoCharacters", {{"subscriberInformationPositionArea3", 1}, {"subscriberInformationLenghtArea3", 0}}, {}}),
    [](const auto& test) { return test.param.what; });

// --- Readings --------------------------------------------------------------------------------------------------------

struct DifferenceCase {
    const char* what;
    Values values;
    std::optional<long long> difference;
};

class Difference : public testing::TestWithParam<DifferenceCase> {};
TEST_P(Difference, CountsARollOver) {
    const RoundFile file = fileOf(roundLine() + meterLine("A", GetParam().values));
    EXPECT_EQ(file.rounds()[0].meters()[0].difference(), GetParam().difference);
}
INSTANTIATE_TEST_SUITE_P(All, Difference,
    testing::Values(DifferenceCase{"More", {{"meterPreviousReadingIndex", 5998}, {"meterReadingIndex", 6054}}, 56},
        DifferenceCase{"Same", {{"meterPreviousReadingIndex", 7}, {"meterReadingIndex", 7}}, 0},
        DifferenceCase{"RolledOver", {{"meterPreviousReadingIndex", 9990}, {"meterReadingIndex", 5}, {"meterWheels", 4}}, 15},
        DifferenceCase{"RolledOverByCorrectedWheels",
            {{"meterPreviousReadingIndex", 9990}, {"meterReadingIndex", 5}, {"meterWheels", 6}, {"meterCorrectedWheels", 4}}, 15},
        DifferenceCase{"RolledOverWithoutWheels", {{"meterPreviousReadingIndex", 9990}, {"meterReadingIndex", 5}}, std::nullopt},
        DifferenceCase{"MoreThanTheWheelsShow",
            {{"meterPreviousReadingIndex", 99900}, {"meterReadingIndex", 5}, {"meterWheels", 4}}, std::nullopt},
        DifferenceCase{"NoPrevious", {{"meterReadingIndex", 5}}, std::nullopt},
        DifferenceCase{"NoReading", {{"meterPreviousReadingIndex", 5}}, std::nullopt}),
    [](const auto& test) { return test.param.what; });

TEST(Readings, DifferByTheConsumptionBetweenThem) {
    EXPECT_EQ(tramo::consumptionBetween(9990, 5, 4), 15);
    EXPECT_EQ(tramo::consumptionBetween(9990, 5, 4, 0), 15);
    EXPECT_EQ(tramo::consumptionBetween(9990, 5, 4, 5), 90015);
    EXPECT_EQ(tramo::consumptionBetween(9990, 5, 4, 3), std::nullopt);
    EXPECT_EQ(tramo::consumptionBetween(9990, 0, 4), 10);
    EXPECT_EQ(tramo::consumptionBetween(0, 0, 4), 0);
    EXPECT_EQ(tramo::consumptionBetween(9990, 5, 19), std::nullopt);
    EXPECT_EQ(tramo::consumptionBetween(-1, 5, 4), std::nullopt);
    EXPECT_EQ(tramo::consumptionBetween(5, -1, 4), std::nullopt);
}

TEST(Readings, OfAMeterThatHasBeenRead) {
    const TimeZone zone("UTC");
    const RoundFile file =
        fileOf(roundLine() +
               meterLine("A", {{"meterReadingDate", std::chrono::sys_seconds(1705394100s)}, {"meterReadingIndex", 6054},
                                  {"meterReadingConsumption", 56}, {"meterReadingStatus", '1'}, {"meterReadingMethod", 'A'},
                                  {"meterReadingUserCode", "AG07"}, {"meterPreviousReadingIndex", 5998},
                                  {"meterPreviousReadingDate", std::chrono::local_days(std::chrono::days(19550))}}));
    const Meter& meter = file.rounds()[0].meters()[0];
    EXPECT_EQ(meter.state(), Meter::State::Read);
    const auto reading = meter.reading();
    ASSERT_TRUE(reading);
    EXPECT_EQ(reading->at, std::chrono::sys_seconds(1705394100s));
    EXPECT_EQ(reading->index, 6054);
    EXPECT_EQ(reading->consumption, 56);
    EXPECT_EQ(reading->status, U'1');
    EXPECT_EQ(reading->method, U'A');
    EXPECT_EQ(reading->agent, "AG07");
    EXPECT_EQ(reading->origin, (tramo::Origin{2, 426, 12}));
    const auto previous = meter.previous();
    ASSERT_TRUE(previous);
    EXPECT_EQ(previous->at, std::chrono::sys_seconds(std::chrono::days(19550)));
    EXPECT_EQ(previous->index, 5998);
    EXPECT_EQ(previous->consumption, std::nullopt);
}

TEST(Readings, OfAMeterThatHasNotBeenRead) {
    const RoundFile file = fileOf(roundLine() + meterLine("A", {{"meterReadingIndex", 5}}));
    const Meter& meter = file.rounds()[0].meters()[0];
    EXPECT_EQ(meter.state(), Meter::State::Unread);
    EXPECT_FALSE(meter.reading());
    EXPECT_FALSE(meter.previous());
    EXPECT_TRUE(meter.history().empty());
}

TEST(Readings, HaveTheseFields) {
    const auto fields = tramo::readingFields();
    std::vector<std::string> names;
    for (const tramo::Field* field : fields) names.push_back(field->name);
    EXPECT_EQ(names, (std::vector<std::string>{"meterReadingDate", "meterReadingIndex", "meterReadingStatus",
                         "meterReadingConsumption", "meterReadingMethod", "meterReadingUserCode"}));
    EXPECT_TRUE(std::ranges::is_sorted(fields, {}, &tramo::Field::index));
}

TEST(Readings, HistoryHasTheSlotsThatAreFilled) {
    const RoundFile file =
        fileOf(roundLine() + meterLine("A", {{"meterHistory2Consumption", 69}, {"meterHistory4ReadingType", "E"}}));
    const auto history = file.rounds()[0].meters()[0].history();
    ASSERT_EQ(history.size(), 2U);
    EXPECT_EQ(history[0].slot, 2);
    EXPECT_EQ(history[0].consumption, 69);
    EXPECT_EQ(history[0].day, std::nullopt);
    EXPECT_EQ(history[1].slot, 4);
    EXPECT_EQ(history[1].type, "E");
    EXPECT_EQ(history[1].origin, (tramo::Origin{2, 214, 8}));
}

TEST(Readings, OfModulesAreASeries) {
    const RoundFile file =
        fileOf(roundLine() + meterLine("A") + moduleLine("A", {{"currentMeterIndex", 12.5}, {"previousMeterIndex", 7.25}}) +
               lineOf<ExtendedAMRTramoModel>(
                   {{"meterSerialNumber", "A"}, {"meterIndex", 13.5}, {"history18Index", 3.5}, {"history18Alarms", '4'}}));
    const auto readings = file.rounds()[0].meters()[0].moduleReadings();
    ASSERT_EQ(readings.size(), 4U);
    const auto is = [&](std::size_t i, int slot, double index, std::int64_t line) {
        EXPECT_EQ(readings[i].slot, slot);
        EXPECT_EQ(readings[i].index, index);
        EXPECT_EQ(readings[i].origin.line, line);
    };
    is(0, 0, 12.5, 3);
    is(1, 1, 7.25, 3);
    is(2, 0, 13.5, 4);
    is(3, 18, 3.5, 4);
    EXPECT_EQ(readings[3].alarms, U'4');
}

// --- Alarms, changes, answers, places --------------------------------------------------------------------------------

TEST(Alarms, HaveTheNamesOfTheirFields) {
    const RoundFile file =
        fileOf(roundLine() + meterLine("A") + moduleLine("A", {{"currentAlarms", 0x81}, {"previousAlarms", 0x800}}) +
               lineOf<ExtendedAMRTramoModel>({{"meterSerialNumber", "A"}, {"leakAlarm", true}, {"fraudAlarm", false}}));
    std::vector<std::string> alarms;
    for (const tramo::Alarm& alarm : file.rounds()[0].meters()[0].alarms())
        alarms.push_back(std::string(alarm.name) + (alarm.isPrevious ? " before, " : ", ") + std::string(alarm.field) + " @" +
                         std::to_string(alarm.origin.line) + ":" + std::to_string(alarm.origin.column));
    EXPECT_EQ(alarms, (Texts{"OverFlowPastOrCurrent before, previousAlarmOverFlowPastOrCurrent @3:286",
                          "FraudPastOrCurrent, currentAlarmFraudPastOrCurrent @3:388",
                          "LeakCurrent, currentAlarmLeakCurrent @3:388", "leak, leakAlarm @4:95"}));
}

// Every bit of the alarm flags is the flag that the model has.
TEST(Alarms, AreThoseOfTheModel) {
    for (int bit = 0; bit < 12; ++bit) {
        const RoundFile file = fileOf(roundLine() + meterLine("A") + moduleLine("A", {{"currentAlarms", 1 << bit}}));
        const Meter& meter = file.rounds()[0].meters()[0];
        ASSERT_EQ(meter.alarms().size(), 1U) << bit;
        const auto model = meter.lines()[1]->as<tramo::AnyRecord>();
        const tramo::Field* field = model.kind()->field(meter.alarms()[0].field);
        EXPECT_TRUE(std::get<bool>(model.get(*field))) << bit;
    }
}

TEST(Changes, AreOldAndNew) {
    const RoundFile file = fileOf(roundLine() + meterLine("OLD") +
                                  lineOf<MeterChangeTramoModel>({{"oldMeterSerialNumber", "OLD"}, {"newMeterSerialNumber", "NEW"},
                                      {"newMeterIndex", 3}, {"newMeterWheelsNumber", 5}}));
    const auto changes = file.rounds()[0].meters()[0].changes();
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].oldSerial, "OLD");
    EXPECT_EQ(changes[0].newSerial, "NEW");
    EXPECT_EQ(changes[0].newIndex, 3);
    EXPECT_EQ(changes[0].newWheels, 5);
    EXPECT_EQ(changes[0].day, std::nullopt);
    EXPECT_EQ(changes[0].origin, (tramo::Origin{3, 2, 12}));
}

TEST(Answers, StandBesideTheirQuestions) {
    const RoundFile file = fileOf(roundLine() +
                                  lineOf<EnquiryDefinitionTramoModel>(
                                      {{"pageNumber", "1"}, {"area1Label", "Access"}, {"area1Type", 'C'}, {"area1List", "HB"}}) +
                                  meterLine("A") +
                                  lineOf<EnquiryResultTramoModel>({{"pageNumber", "1"}, {"meterSerialNumber", "A"},
                                      {"area1Mode", 'H'}, {"area1Code", "B"}, {"area3Result", "21"}}) +
                                  endLine());
    const auto answers = file.rounds()[0].meters()[0].answers();
    ASSERT_EQ(answers.size(), 2U);
    EXPECT_EQ(answers[0].page, "1");
    EXPECT_EQ(answers[0].area, 1);
    EXPECT_EQ(answers[0].question, "Access");
    EXPECT_EQ(answers[0].type, "C");
    EXPECT_EQ(answers[0].list, "HB");
    EXPECT_EQ(answers[0].mode, U'H');
    EXPECT_EQ(answers[0].code, "B");
    EXPECT_EQ(answers[0].definition, &file.lines()[1]);
    EXPECT_EQ(answers[1].area, 3);
    EXPECT_EQ(answers[1].question, "");
    EXPECT_EQ(answers[1].result, "21");
    EXPECT_EQ(rulesOf(file), Rules{"AnswerAreaUndefined"});
}

TEST(Answers, OfAnUndefinedPageHaveNoQuestion) {
    const RoundFile file = fileOf(
        roundLine() + meterLine("A") +
        lineOf<EnquiryResultTramoModel>({{"pageNumber", "7"}, {"meterSerialNumber", "A"}, {"area1Code", "B"}}) + endLine());
    const auto answers = file.rounds()[0].meters()[0].answers();
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].definition, nullptr);
    ASSERT_EQ(rulesOf(file), Rules{"PageUndefined"});
    EXPECT_EQ(file.findings()[0].sentence, "enquiry page \"7\" is not defined");
    EXPECT_EQ(file.findings()[0].line, 3);
    EXPECT_EQ(file.findings()[0].column, 2);
}

TEST(Places, NeedBothCoordinates) {
    const auto place = [](const Values& values) {
        Values all = values;
        all.emplace_back("meterSerialNumber", "A");
        return lineOf<ExtendedDataTramoModel>(all);
    };
    const RoundFile none = fileOf(roundLine() + meterLine("A") + place({{"latitude", 48.5}}));
    EXPECT_FALSE(none.rounds()[0].meters()[0].place());
    const RoundFile file =
        fileOf(roundLine() + meterLine("A") + place({{"latitude", 1.0}, {"longitude", 2.0}}) +
               place({{"latitude", 48.5}, {"longitude", -1.25}, {"altitude", 112.5}}) + place({{"latitude", 3.0}}));
    const auto found = file.rounds()[0].meters()[0].place();
    ASSERT_TRUE(found);
    EXPECT_EQ(found->latitude, 48.5);
    EXPECT_EQ(found->longitude, -1.25);
    EXPECT_EQ(found->altitude, 112.5);
    EXPECT_EQ(found->accuracy, std::nullopt);
    EXPECT_EQ(found->origin, (tramo::Origin{4, 14, 16}));
}

TEST(Places, NeedFiniteNumbers) {
    constexpr std::size_t latitude = 13, longitude = 29, altitude = 45;  // 0-based
    const auto placeWith = [&](std::size_t column, const char* number) {
        std::string line = lineOf<ExtendedDataTramoModel>(
            {{"meterSerialNumber", "A"}, {"latitude", 48.5}, {"longitude", -1.25}, {"altitude", 112.5}});
        line.replace(column, std::char_traits<char>::length(number), number);
        return fileOf(roundLine() + meterLine("A") + line).rounds()[0].meters()[0].place();
    };
    for (const char* number : {"nan ", "inf ", "-inf", "1e999"}) {
        EXPECT_FALSE(placeWith(latitude, number)) << number;
        EXPECT_FALSE(placeWith(longitude, number)) << number;
        const auto place = placeWith(altitude, number);
        ASSERT_TRUE(place) << number;
        EXPECT_EQ(place->altitude, std::nullopt) << number;
    }
}

// --- Whole files -----------------------------------------------------------------------------------------------------

TEST(RoundFiles, TheReturnedSample) {
    for (const char* name : {"round-returned.txt", "round-returned-utf16.txt"}) {
        const RoundFile file = RoundFile::read(sample(name));
        ASSERT_EQ(file.rounds().size(), 1U) << name;
        const Round& round = file.rounds()[0];
        EXPECT_EQ(round.code(), "T0412");
        EXPECT_EQ(round.name(), "TOURNÉE CENTRE 04-12");
        EXPECT_EQ(round.meters().size(), 60U);
        EXPECT_EQ(round.read(), 54U);
        EXPECT_EQ(round.unread(), 6U);
        EXPECT_EQ(round.pages().size(), 2U);
        ASSERT_NE(round.information(), nullptr);
        EXPECT_EQ(round.information()->number(), 172);
        EXPECT_TRUE(file.orphans().empty());
        EXPECT_TRUE(file.findings().empty());
        const Meter* meter = round.meter("C12AB0100000");
        ASSERT_NE(meter, nullptr);
        EXPECT_EQ(meter->area("Adresse"), "126 Rue des Érables");
        EXPECT_EQ(meter->area("Calibre"), "015");
        EXPECT_EQ(meter->difference(), 56);
        ASSERT_TRUE(meter->place());
        EXPECT_EQ(meter->lines().size(), 4U);
    }
}

// Each line is a round line, a page, the record information or of a meter, or of nobody; none is there twice.
// A rule can be off, or have another severity, and a strict check has no warnings.
TEST(RoundFiles, FindingsHaveTheSeveritiesThatAreChosen) {
    const std::string text = roundLine() + meterLine("A", {{"meterPreviousReadingIndex", 10}, {"meterReadingIndex", 5}}) +
                             meterLine("A") + moduleLine("B") + endLine();
    const RoundFile file = fileOf(text);
    using tramo::Severity;
    std::map<std::string_view, Severity> usual;
    for (const Finding& finding : file.findings()) {
        usual.emplace(finding.rule->name, finding.severity);
        EXPECT_EQ(finding.severity, finding.rule->severity) << finding.rule->name;
    }
    ASSERT_GE(usual.size(), 2U);
    EXPECT_TRUE(std::ranges::any_of(usual, [](const auto& each) { return each.second == Severity::Warning; }));
    for (const Finding& finding : file.findings({.strict = true}))
        EXPECT_EQ(finding.severity, finding.rule->severity == Severity::Hint ? Severity::Hint : Severity::Error)
            << finding.rule->name;
    for (const auto& [name, severity] : usual) {
        const tramo::Rule& rule = *std::ranges::find(tramo::rules(), name, &tramo::Rule::name);
        tramo::CheckOptions options;
        options.severities.set(rule, std::nullopt);
        for (const Finding& finding : file.findings(options)) EXPECT_NE(finding.rule, &rule);
        EXPECT_LT(file.findings(options).size(), file.findings().size());
        options.severities.set(rule, Severity::Hint);
        EXPECT_EQ(file.findings(options).size(), file.findings().size());
        for (const Finding& finding : file.findings(options))
            EXPECT_EQ(finding.severity, finding.rule == &rule ? Severity::Hint : usual.at(finding.rule->name)) << name;
    }
}

// The rules about rounds find the same in a file that is in memory as in one that is read line by line.
TEST(RoundFiles, HaveTheFindingsOfTheirChecks) {
    const auto contentOf = [](const std::string& name) {
        std::ifstream file(sample(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    const std::string wide = contentOf("round-returned-utf16.txt"), whole = contentOf("round-returned.txt");
    std::string malformed = whole;  // one line in seven lost its end
    for (std::size_t at = 514 * 3; at + 514 < malformed.size(); at += 514 * 7) malformed.replace(at + 100, 412, "");
    for (const std::string& text :
        {contentOf("round-broken.txt"), contentOf("round-damaged.txt"), whole, wide, malformed, wide.substr(0, wide.size() - 1),
            wide + "x", wide + std::string("2\0\n", 3), whole + "2\r\n", contentOf("tags.txt")}) {
        const auto found = [](const std::vector<Finding>& findings) {
            std::vector<std::string> sentences;
            for (const Finding& finding : findings)
                if (tramo::isAboutRounds(*finding.rule))
                    sentences.push_back(std::to_string(finding.line) + ' ' + tramo::sentenceOf(finding));
            std::ranges::sort(sentences);
            return sentences;
        };
        Reader reader = Reader::ofBytes(text, {.diagnose = true});
        tramo::FileChecker checker(reader, {.each = true});
        while (checker.check(1000)) {}
        EXPECT_EQ(found(fileOf(text).findings()), found(checker.result().findings));
    }
}

TEST(RoundFiles, EveryLineHasItsPlace) {
    for (const char* name : {"round-exported.txt", "round-returned.txt", "round-broken.txt", "round-damaged.txt"}) {
        const RoundFile file = RoundFile::read(sample(name));
        std::vector<const LineView*> placed;
        for (const Round& round : file.rounds()) {
            if (round.header()) placed.push_back(round.header());
            if (round.information()) placed.push_back(round.information());
            placed.insert(placed.end(), round.pages().begin(), round.pages().end());
            for (const Meter& meter : round.meters()) placed.insert(placed.end(), meter.lines().begin(), meter.lines().end());
        }
        for (const auto& orphan : file.orphans()) placed.push_back(orphan.line);
        for (const LineView& line : file.lines())
            if (!line.kind()) placed.push_back(&line);
        std::ranges::sort(placed);
        std::vector<const LineView*> all;
        for (const LineView& line : file.lines()) all.push_back(&line);
        EXPECT_EQ(placed, all) << name;
    }
}

TEST(RoundFiles, AreWrittenAsTheyWere) {
    const streams::TempFolder folder;
    for (const char* name : {"round-returned.txt", "round-returned-utf16.txt", "round-damaged.txt", "tags.txt", "amr-keys.txt"}) {
        const RoundFile file = RoundFile::read(sample(name));
        const bool isUtf16 = std::string(name).find("utf16") != std::string::npos;
        tramo::Writer writer(folder.path(name), isUtf16 ? tramo::Encoding::Utf16 : tramo::Encoding::Ansi);
        file.write(writer);
        writer.commit();
        const auto bytesOf = [](const std::string& path) {
            std::ifstream in(path, std::ios::binary);
            return std::string(std::istreambuf_iterator<char>(in), {});
        };
        EXPECT_EQ(bytesOf(folder.path(name)), bytesOf(sample(name))) << name;
    }
}

TEST(RoundFiles, CanBeInterruptedWhileTheyAreRead) {
    std::string text(514, ' ');
    text.front() = '1';
    text.replace(512, 2, "\r\n");
    std::string all;
    while (all.size() < 10000 * text.size()) all += text;
    int calls = 0;
    tramo::Reader whole = tramo::Reader::ofBytes(all);
    EXPECT_EQ(RoundFile::read(whole, [&] { ++calls; }).rounds().front().meters().size(), 10000u);
    EXPECT_GE(calls, 6);  // while lines are read, found and joined

    struct Enough {};
    for (int last = 1; last <= calls; ++last) {
        tramo::Reader reader = tramo::Reader::ofBytes(all);
        int done = 0;
        const auto stop = [&] {
            if (++done == last) throw Enough();
        };
        EXPECT_THROW(RoundFile::read(reader, stop), Enough);
        EXPECT_EQ(done, last);
    }
}

TEST(RoundFiles, WhatCannotBeReadIsAnError) { EXPECT_THROW(RoundFile::read(sample("does-not-exist.txt")), std::system_error); }
