// What has changed between an exported and a returned round: of lines that are made with names, and of the samples.
#include "tramostream/reconcile.h"
#include "support/timezone.h"
#include "tramostream/anyrecord.h"
#include "tramostream/linemodel.h"
#include "tramostream/messages.h"
#include <chrono>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace tramo;
using std::chrono::local_days;

// ---- Files ----------------------------------------------------------------------------------------------------------

using Values = std::vector<std::pair<std::string, NewValue>>;

// A line of the kind of M with these values, and its line ending.
template <class M> std::string lineOf(const Values& values) {
    Line line(kindOf<M>());
    for (const auto& [name, value] : values) {
        const auto result = line.set(name, value);
        EXPECT_TRUE(result) << name << ": " << result.reason;
    }
    return std::string(line.bytes()) + "\r\n";
}

Values with(Values more, const char* name, const char* value) {
    more.emplace_back(name, value);
    return more;
}
std::string roundLine(const char* code = "T1") { return lineOf<RoundTramoModel>({{"code", code}}); }
std::string meterLine(const char* serial, const Values& more = {}) {
    return lineOf<MeterSubscriberTramoModel>(with(more, "meterSerialNumber", serial));
}
std::string moduleLine(const char* serial, const Values& more = {}) {
    return lineOf<AMRTramoModel>(with(more, "meterSerialNumber", serial));
}
std::string changeLine(const char* before, const char* after) {
    return lineOf<MeterChangeTramoModel>({{"oldMeterSerialNumber", before}, {"newMeterSerialNumber", after}});
}
std::string extendedLine(const char* serial, const Values& more = {}) {
    return lineOf<ExtendedAMRTramoModel>(with(more, "meterSerialNumber", serial));
}
std::string pageLine(const char* number, const Values& more = {}) {
    return lineOf<EnquiryDefinitionTramoModel>(with(more, "pageNumber", number));
}
std::string answerLine(const char* serial, const Values& more = {}) {
    return lineOf<EnquiryResultTramoModel>(with(with(more, "meterSerialNumber", serial), "pageNumber", "1"));
}
std::string placeLine(const char* serial, double latitude = 48.5) {
    return lineOf<ExtendedDataTramoModel>(with({{"latitude", latitude}, {"longitude", 2.25}}, "meterSerialNumber", serial));
}

// A line with a text in the columns of a field, as it stands.
std::string put(std::string line, const char* name, std::string text) {
    const Field& field = *recordKind(static_cast<wchar_t>(line.front()))->field(name);
    text.resize(static_cast<std::size_t>(field.width), ' ');
    return line.replace(static_cast<std::size_t>(field.column - 1), text.size(), text);
}

std::string utf16(const std::string& ansi) {
    std::string bytes = "\xFF\xFE";
    for (const char c : ansi) bytes.append({c, '\0'});
    return bytes;
}

RoundFile fileOf(const std::string& text) {
    setMessages(Messages::Silent);
    Reader reader = Reader::ofBytes(text);
    return RoundFile::read(reader);
}

// ---- Differences as texts -------------------------------------------------------------------------------------------

using Texts = std::vector<std::string>;

// "fieldChanged A meter subscriber 2>3: meterWheels [5]>[6]"
std::string textOf(const Difference& difference) {
    std::string text(nameOf(difference.what));
    if (!difference.serial.empty()) text += ' ' + difference.serial;
    if (!difference.kind.empty()) text += ' ' + std::string(difference.kind);
    text += ' ' + std::to_string(difference.exportedLine) + '>' + std::to_string(difference.returnedLine);
    if (difference.field) text += ": " + difference.field->name;
    if (difference.field) text += " [" + difference.before + "]>[" + difference.after + ']';
    if (difference.finding) text += ": " + std::string(difference.finding->rule->name);
    return text;
}

Texts textsOf(std::span<const Difference> differences) {
    Texts texts;
    for (const Difference& difference : differences) texts.push_back(textOf(difference));
    return texts;
}

// "read A 2>3": its serial number and the lines of both files.
Texts textsOf(std::span<const ReconciledMeter> meters) {
    Texts texts;
    for (const ReconciledMeter& meter : meters) {
        static const std::map<ReconciledMeter::State, std::string> states{{ReconciledMeter::Read, "read"},
            {ReconciledMeter::Unread, "unread"}, {ReconciledMeter::Missing, "missing"}, {ReconciledMeter::Added, "added"}};
        const auto numberOf = [](const Meter* of) { return std::to_string(of ? of->subscriber().number() : 0); };
        texts.push_back(
            states.at(meter.state) + ' ' + meter.serial + ' ' + numberOf(meter.exported) + '>' + numberOf(meter.returned));
    }
    return texts;
}

struct Pair {
    Pair(const std::string& before, const std::string& after)
        : exported(fileOf(before)), returned(fileOf(after)), reconciled(exported, returned) {}

    const ReconciledRound& round(std::size_t at = 0) const { return reconciled.rounds()[at]; }

    RoundFile exported, returned;
    Reconciliation reconciled;
};

// All differences: of the rounds, then of no round.
Texts differences(const std::string& before, const std::string& after) {
    const Pair pair(before, after);
    Texts texts;
    for (const ReconciledRound& round : pair.reconciled.rounds())
        for (const std::string& text : textsOf(round.differences)) texts.push_back(text);
    for (const std::string& text : textsOf(pair.reconciled.differences())) texts.push_back(text);
    EXPECT_EQ(pair.reconciled.count(), texts.size());
    return texts;
}

Texts metersOf(const std::string& before, const std::string& after) {
    const Pair pair(before, after);
    EXPECT_EQ(pair.reconciled.rounds().size(), 1U);
    return textsOf(pair.round().meters);
}

}  // namespace

// ---- Fields ---------------------------------------------------------------------------------------------------------

// The fields that the field work may change, listed a second time.
TEST(Reconcile, fields_that_may_change) {
    std::set<std::string> fields;
    for (const RecordKind* kind : recordKinds())
        for (const Field& field : kind->fields)
            if (field.column > 0 && mayChangeInField(*kind, field) && (kind->letter == L'1' || kind->letter == L'2'))
                fields.insert(kind->name + ": " + field.name);
    EXPECT_EQ(fields,
        (std::set<std::string>{"AMR: currentAlarms", "AMR: currentAmrIndex", "AMR: currentAmrStatus", "AMR: currentMeterIndex",
            "AMR: currentReadingDate", "AMR: lastReadFailDate", "AMR: readFailCount",
            "meter subscriber: meterCorrectedSerialNumber", "meter subscriber: meterCorrectedWheels",
            "meter subscriber: meterLastUpdateDate", "meter subscriber: meterMarkingCode", "meter subscriber: meterMessage",
            "meter subscriber: meterReadingConsumption", "meter subscriber: meterReadingDate",
            "meter subscriber: meterReadingIndex", "meter subscriber: meterReadingMethod", "meter subscriber: meterReadingStatus",
            "meter subscriber: meterReadingUserCode"}));
    for (const wchar_t letter : {L'0', L'5', L'9'})
        for (const Field& field : recordKind(letter)->fields)
            EXPECT_FALSE(mayChangeInField(*recordKind(letter), field)) << field.name;
    for (const wchar_t letter : {L'3', L'4', L'6', L'7'})
        for (const Field& field : recordKind(letter)->fields)
            EXPECT_TRUE(mayChangeInField(*recordKind(letter), field)) << field.name;
}

namespace {

struct Form {
    const char* what;
    char letter;  // of the line
    const char* field;
    std::string before, after;
    const char* shown;  // nullptr: it is the same
};

class Forms : public testing::TestWithParam<Form> {};

}  // namespace

// Whatever the encodings of the files.
TEST_P(Forms, are_compared_as_values) {
    const auto& [what, letter, field, before, after, shown] = GetParam();
    const Texts whole{roundLine(), pageLine("1"), meterLine("A"), moduleLine("A")};
    std::string exported, returned;
    Texts expected;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        const bool isIt = whole[i].front() == letter;
        exported += isIt ? put(whole[i], field, before) : whole[i];
        returned += isIt ? put(whole[i], field, after) : whole[i];
        const std::string number = std::to_string(i + 1), serial = i < 2 ? "" : "A ";
        if (isIt && shown)
            expected = {"fieldChanged " + serial + recordKind(static_cast<wchar_t>(letter))->name + ' ' + number + '>' + number +
                        ": " + field + ' ' + shown};
    }
    EXPECT_EQ(differences(exported, returned), expected);
    EXPECT_EQ(differences(utf16(exported), utf16(returned)), expected);
    EXPECT_EQ(differences(utf16(exported), returned), expected);
    EXPECT_EQ(differences(exported, utf16(returned)), expected);
    EXPECT_EQ(differences(exported, utf16(exported)), Texts());
}

INSTANTIATE_TEST_SUITE_P(Texts, Forms,
    testing::Values(Form{"Same", '1', "meterInformation", "Elm 5", "Elm 5", nullptr},
        Form{"BeyondAscii", '1', "meterInformation", "\xE9t\xE9", "\xE9t\xE9", nullptr},
        Form{"Changed", '1', "meterInformation", "Elm 5", "Elm 6", "[Elm 5]>[Elm 6]"},
        Form{"ChangedBeyondAscii", '1', "meterInformation", "\xE9t\xE9", "\xE8", "[\xC3\xA9t\xC3\xA9]>[\xC3\xA8]"},
        Form{"InCapitals", '1', "meterInformation", "elm", "ELM", "[elm]>[ELM]"},
        Form{"WhiteSpaceBehind", '1', "meterInformation", "Elm 5", "Elm 5\t\v", nullptr},
        Form{"WhiteSpaceBefore", '1', "meterInformation", "Elm 5", " Elm 5", "[Elm 5]>[ Elm 5]"},
        Form{"WhiteSpaceBehindIsNotShown", '1', "meterInformation", "\t Elm 5 \f\v\t", "Oak  7", "[\t Elm 5]>[Oak  7]"},
        Form{"OtherSignsAreShown", '1', "meterInformation", "~Elm~", "-Elm-", "[~Elm~]>[-Elm-]"},
        Form{"Added", '1', "meterInformation", "", "x", "[]>[x]"}, Form{"Removed", '1', "meterInformation", "x", "", "[x]>[]"},
        Form{"NothingButWhiteSpace", '1', "meterInformation", "", "\t", nullptr},
        Form{"DigitsAreNoNumber", '1', "subscriberMarkingCode", "5", "05", "[5]>[05]"},
        Form{"OfTheRound", '0', "name", "North", "South", "[North]>[South]"},
        Form{"OfAPage", '5', "labelP", "Dog", "Cat", "[Dog]>[Cat]"}, Form{"OfAModule", '2', "data", "0A", "0B", "[0A]>[0B]"},
        Form{"OfTheAgent", '1', "meterMessage", "before", "after", nullptr},
        Form{"ReadByTheAgent", '2', "currentAmrStatus", "before", "after", nullptr}),
    [](const auto& test) { return test.param.what; });

INSTANTIATE_TEST_SUITE_P(Numbers, Forms,
    testing::Values(Form{"Same", '1', "meterWheels", "5", "5", nullptr}, Form{"WithZero", '1', "meterWheels", "5", "05", nullptr},
        Form{"WithSpace", '1', "meterWheels", "5 ", " 5", nullptr},
        Form{"WithSign", '1', "meterPreviousReadingIndex", "+7", "7", nullptr},
        Form{"Other", '1', "meterWheels", "5", "6", "[5]>[6]"}, Form{"OtherForm", '1', "meterWheels", "05", " 6", "[05]>[6]"},
        Form{"Zero", '1', "meterPreviousReadingIndex", "", "0", "[]>[0]"},
        Form{"Removed", '1', "meterPreviousReadingIndex", "12", "", "[12]>[]"},
        Form{"Invalid", '1', "meterWheels", "5", "VA", "[5]>[VA]"},
        Form{"InvalidBefore", '1', "meterWheels", "VA", "5", "[VA]>[5]"},
        Form{"InvalidThenBlank", '1', "meterWheels", "VA", "", "[VA]>[]"},
        Form{"BlankThenInvalid", '1', "meterWheels", "", "VA", "[]>[VA]"},
        Form{"BothInvalid", '1', "meterWheels", "VA", "VB", "[VA]>[VB]"},
        Form{"InvalidSame", '1', "meterWheels", "VA", "VA", nullptr},
        Form{"InvalidMoved", '1', "meterWheels", "V", " V", nullptr},
        Form{"Decimals", '1', "meterMinEstimatedConsumption", "32", "   32.000000", nullptr},
        Form{"DecimalComma", '1', "meterMinEstimatedConsumption", "1.5", "1,50", nullptr},
        Form{"OtherDecimal", '1', "meterMinEstimatedConsumption", "32", "32.000001", "[32]>[32.000001]"},
        Form{"DecimalInvalid", '1', "meterMinEstimatedConsumption", "", "x", "[]>[x]"},
        Form{"OverlaidForm", '2', "pulseWeight", "1.5", "1.50", nullptr},  // its text is no other field
        Form{"OverlaidOther", '2', "pulseWeight", "1.5", "2.5", "[1.5]>[2.5]"},
        Form{"OverlaidInvalid", '2', "pulseWeight", "a", "b", "[a]>[b]"},
        Form{"ReadByTheAgent", '1', "meterReadingIndex", "1", "2", nullptr},
        Form{"OfTheRound", '0', "defaultMeterWheels", "5", "6", "[5]>[6]"}),
    [](const auto& test) { return test.param.what; });

INSTANTIATE_TEST_SUITE_P(Codes, Forms,
    testing::Values(Form{"FlagSame", '1', "meterAuthorizedChange", "1", "1", nullptr},
        Form{"FlagBlankIsOne", '1', "meterAuthorizedChange", "", "1", nullptr},
        Form{"FlagBlankIsNotZero", '1', "meterAuthorizedChange", "", "0", "[]>[0]"},
        Form{"FlagOther", '1', "meterAuthorizedChange", "1", "0", "[1]>[0]"},
        Form{"FlagNotOne", '1', "meterAuthorizedChange", "N", "0", nullptr},
        Form{"Alarms", '2', "previousAlarms", "00FF", "00ff", nullptr},
        Form{"AlarmsOther", '2', "previousAlarms", "00FF", "00FE", "[00FF]>[00FE]"},
        Form{"AlarmsAdded", '2', "previousAlarms", "", "0000", "[]>[0000]"},
        Form{"CurrentAlarms", '2', "currentAlarms", "0001", "0002", nullptr},
        Form{"CodeSame", '0', "meterInformationTypeArea1", "B", "B", nullptr},
        Form{"CodeWrittenAsOther", '0', "meterInformationTypeArea1", "A", "2", nullptr},
        Form{"CodeIsWrittenForOther", '0', "meterInformationTypeArea1", "1", "N", nullptr},
        Form{"CodeOther", '0', "meterInformationTypeArea1", "A", "1", "[A]>[1]"},
        Form{"CodeOtherCase", '0', "meterInformationTypeArea1", "D", "d", "[D]>[d]"},
        Form{"CodeAdded", '0', "meterInformationTypeArea1", "", "A", "[]>[A]"},
        Form{"CodeRemoved", '0', "meterInformationTypeArea1", "A", "", "[A]>[]"},
        Form{"CodeUnknown", '0', "meterInformationTypeArea1", "A", "x", "[A]>[x]"},
        Form{"CodeUnknownThenBlank", '0', "meterInformationTypeArea1", "x", "", "[x]>[]"},
        Form{"CodeOfAMeter", '1', "meterFluidType", "W", "G", "[W]>[G]"},
        Form{"CodeOfAPage", '5', "area5Type", "C", "N", "[C]>[N]"},
        Form{"CodeOfTheAgent", '1', "meterReadingMethod", "T", "M", nullptr}),
    [](const auto& test) { return test.param.what; });

INSTANTIATE_TEST_SUITE_P(Dates, Forms,
    testing::Values(Form{"Same", '1', "meterPreviousReadingDate", "20230101", "20230101", nullptr},
        Form{"Other", '1', "meterPreviousReadingDate", "20230101", "20230102", "[20230101]>[20230102]"},
        Form{"Added", '1', "meterPreviousReadingDate", "", "20230101", "[]>[20230101]"},
        Form{"Removed", '2', "installationDate", "20230101", "", "[20230101]>[]"},
        Form{"Invalid", '1', "meterPreviousReadingDate", "20231340", "20231341", "[20231340]>[20231341]"},
        Form{"OfTheRound", '0', "roundImportDate", "20230101", "20240101", "[20230101]>[20240101]"},
        Form{"OfTheAgent", '1', "meterLastUpdateDate", "202301010830", "202301010831", nullptr},
        Form{"YearSame", '1', "meterInstallationYear", "1999", "1999", nullptr},
        Form{"YearOther", '1', "meterInstallationYear", "1999", "2000", "[1999]>[2000]"},
        Form{"YearRemoved", '1', "meterInstallationYear", "1999", "", "[1999]>[]"},
        Form{"YearInvalid", '1', "meterInstallationYear", "1999", "19x9", "[1999]>[19x9]"}),
    [](const auto& test) { return test.param.what; });

// The format looks at the low half of each character only, so that a date in UTF-16 has several forms.
TEST(Reconcile, dates_are_compared_as_values) {
    const std::string exported = roundLine() + put(meterLine("A"), "meterPreviousReadingDate", "20230101");
    const std::size_t last = 2 + 2 * (exported.find("20230101") + 7);
    std::string returned = utf16(exported);
    returned[last + 1] = '\1';
    EXPECT_EQ(differences(exported, returned), Texts());
    returned[last] = '2';
    EXPECT_EQ(differences(exported, returned),
        Texts{"fieldChanged A meter subscriber 2>2: meterPreviousReadingDate [20230101]>[2023010\xC4\xB2]"});
}

TEST(Reconcile, all_changed_fields_of_a_line_are_differences) {
    EXPECT_EQ(differences(roundLine() + meterLine("A", {{"meterWheels", 5}, {"meterInformation", "Elm"}}),
                  roundLine() + moduleLine("A") + meterLine("A", {{"meterWheels", 6}, {"meterReadingIndex", 7}})),
        (Texts{"fieldChanged A meter subscriber 2>3: meterInformation [Elm]>[]",
            "fieldChanged A meter subscriber 2>3: meterWheels [5]>[6]", "lineAdded A AMR 0>2"}));
}

// ---- Lines of a meter -----------------------------------------------------------------------------------------------

TEST(LinesOfAMeter, of_the_field_work_may_be_added_and_replaced) {
    const std::string start = roundLine() + pageLine("1") + meterLine("A");
    for (const auto& [one, other] : {std::pair(changeLine("A", "N1"), changeLine("A", "N2")),
             std::pair(extendedLine("A"), extendedLine("A", {{"amrSerialNumber", "M2"}})),
             std::pair(answerLine("A"), answerLine("A", {{"lastModificationDate", local_days(std::chrono::days(19750))}})),
             std::pair(placeLine("A"), placeLine("A", 49.5))}) {
        EXPECT_EQ(differences(start, start + one), Texts()) << one;
        EXPECT_EQ(differences(start + one, start + other), Texts()) << one;
        EXPECT_EQ(differences(start + one, start + other + one), Texts()) << one;
        const std::string kind = recordKind(static_cast<wchar_t>(one.front()))->name;
        EXPECT_EQ(differences(start + one, start), Texts{"lineMissing A " + kind + " 4>0"});
        EXPECT_EQ(differences(start + one + other, start + other), Texts{"lineMissing A " + kind + " 5>0"});
    }
}

TEST(LinesOfAMeter, of_modules_must_all_come_back_and_no_others) {
    const std::string start = roundLine() + meterLine("A"), module = moduleLine("A", {{"serialNumber", "M1"}}),
                      other = moduleLine("A", {{"serialNumber", "M2"}});
    EXPECT_EQ(differences(start + module, start + module), Texts());
    EXPECT_EQ(differences(start + module, start), Texts{"lineMissing A AMR 3>0"});
    EXPECT_EQ(differences(start, start + module), Texts{"lineAdded A AMR 0>3"});
    EXPECT_EQ(differences(start + module + other, start + other), Texts{"lineMissing A AMR 3>0"});
    EXPECT_EQ(differences(start + other, start + module + other), Texts{"lineAdded A AMR 0>3"});
    EXPECT_EQ(differences(start + other, start + other + module), Texts{"lineAdded A AMR 0>4"});
}

TEST(LinesOfAMeter, of_modules_are_paired_by_their_serial_numbers) {
    const auto module = [](const char* serial, double weight) {
        return moduleLine("A", {{"serialNumber", serial}, {"pulseWeight", weight}});
    };
    const std::string start = roundLine() + meterLine("A");
    EXPECT_EQ(differences(start + module("M1", 1) + module("M2", 2), start + module("M2", 2) + module("M1", 1)), Texts());
    EXPECT_EQ(differences(start + module("M1", 1) + module("M2", 2), start + module("M2", 3) + module("M1", 1)),
        Texts{"fieldChanged A AMR 4>3: pulseWeight [2.000000]>[3.000000]"});
    EXPECT_EQ(differences(start + module("M1", 1) + module("M1", 2), start + module("M1", 1) + module("M1", 3)),
        Texts{"fieldChanged A AMR 4>4: pulseWeight [2.000000]>[3.000000]"});
    EXPECT_EQ(differences(start + module("M1", 1) + module("M2", 2),
                  start + put(module("M2", 2), "serialNumber", " M2") + put(module("M1", 1), "serialNumber", " M1")),
        (Texts{"fieldChanged A AMR 3>4: serialNumber [M1]>[ M1]", "fieldChanged A AMR 4>3: serialNumber [M2]>[ M2]"}));
}

TEST(LinesOfAMeter, that_are_left_over_are_paired_in_order) {
    const auto modules = [](std::initializer_list<const char*> serials) {
        std::string lines = roundLine() + meterLine("A");
        for (const char* serial : serials) lines += moduleLine("A", {{"serialNumber", serial}});
        return lines;
    };
    EXPECT_EQ(differences(modules({"M1"}), modules({"N1"})), Texts{"fieldChanged A AMR 3>3: serialNumber [M1]>[N1]"});
    EXPECT_EQ(differences(modules({"M1", "M2"}), modules({"N1", "M1"})), Texts{"fieldChanged A AMR 4>3: serialNumber [M2]>[N1]"});
    EXPECT_EQ(differences(modules({"M1", "M2", "M3"}), modules({"M2", "N1", "N2"})),
        (Texts{"fieldChanged A AMR 3>4: serialNumber [M1]>[N1]", "fieldChanged A AMR 5>5: serialNumber [M3]>[N2]"}));
    EXPECT_EQ(differences(modules({"M1", "M2", "M3"}), modules({"N1", "M3"})),
        (Texts{"fieldChanged A AMR 3>3: serialNumber [M1]>[N1]", "lineMissing A AMR 4>0"}));
    EXPECT_EQ(differences(modules({"M1", "M2"}), modules({"N1", "N2", "M2", "N3"})),
        (Texts{"fieldChanged A AMR 3>3: serialNumber [M1]>[N1]", "lineAdded A AMR 0>4", "lineAdded A AMR 0>6"}));
    EXPECT_EQ(differences(modules({"M1", "M1", "M2"}), modules({"M2", "M1"})), (Texts{"lineMissing A AMR 4>0"}));
    EXPECT_EQ(differences(modules({"M1", "M1"}), modules({"M1", "N1"})), Texts{"fieldChanged A AMR 4>4: serialNumber [M1]>[N1]"});
}

// ---- Lines of a round -----------------------------------------------------------------------------------------------

TEST(LinesOfARound, the_round_line) {
    const std::string meter = meterLine("A");
    EXPECT_EQ(differences(meter, meter), Texts());
    EXPECT_EQ(differences(roundLine() + meter, meter), Texts{"lineMissing round 1>0"});
    EXPECT_EQ(differences(meter, roundLine() + meter), Texts{"lineAdded round 0>1"});
    EXPECT_EQ(differences(roundLine() + meter, roundLine("T2") + meter), Texts{"fieldChanged round 1>1: code [T1]>[T2]"});
}

TEST(LinesOfARound, pages_are_paired_by_their_numbers_only) {
    const auto page = [](const char* number, const char* label) { return pageLine(number, {{"labelA", label}}); };
    const std::string start = roundLine();
    EXPECT_EQ(differences(start + page("1", "a"), start), Texts{"lineMissing enquiry definition 2>0"});
    EXPECT_EQ(differences(start, start + page("1", "a")), Texts{"lineAdded enquiry definition 0>2"});
    EXPECT_EQ(differences(start + page("1", "a"), start + page("2", "a")),
        (Texts{"lineMissing enquiry definition 2>0", "lineAdded enquiry definition 0>2"}));
    EXPECT_EQ(differences(start + page("1", "a") + page("2", "b"), start + page("2", "b") + page("1", "a")), Texts());
    EXPECT_EQ(differences(start + page("1", "a") + page("2", "b"), start + page("2", "c") + page("1", "a")),
        Texts{"fieldChanged enquiry definition 3>2: labelA [b]>[c]"});
    EXPECT_EQ(differences(start + page("1", "a") + page("1", "b"), start + page("1", "a") + page("1", "c")),
        Texts{"fieldChanged enquiry definition 3>3: labelA [b]>[c]"});
}

TEST(LinesOfARound, its_information_is_not_compared) {
    EXPECT_EQ(differences(roundLine() + lineOf<RecordInformationTramoModel>({{"roundNumber", 1}}), roundLine()), Texts());
}

// ---- Meters ---------------------------------------------------------------------------------------------------------

TEST(Meters, are_paired_by_their_serial_numbers_only) {
    const std::string start = roundLine(), a = meterLine("A"), b = meterLine("B"), c = meterLine("C");
    EXPECT_EQ(metersOf(start + b + a + c, start + c + a), (Texts{"missing B 2>0", "unread A 3>3", "unread C 4>2"}));
    EXPECT_EQ(metersOf(start + a + b, start + c + a + b), (Texts{"unread A 2>3", "unread B 3>4", "added C 0>2"}));
    EXPECT_EQ(metersOf(start + a, start + b), (Texts{"missing A 2>0", "added B 0>2"}));
    EXPECT_EQ(
        differences(start + a, start + b), (Texts{"meterMissing A meter subscriber 2>0", "meterAdded B meter subscriber 0>2"}));
    EXPECT_EQ(metersOf(start + a, start), Texts{"missing A 2>0"});
    EXPECT_EQ(metersOf(start, start + a + b), (Texts{"added A 0>2", "added B 0>3"}));
}

TEST(Meters, with_the_same_serial_number_are_paired_in_order) {
    const std::string start = roundLine(), a = meterLine("A"), b = meterLine("B");
    EXPECT_EQ(metersOf(start + a + b + a, start + a + a + b), (Texts{"unread A 2>2", "unread B 3>4", "unread A 4>3"}));
    EXPECT_EQ(metersOf(start + a + a + a, start + a + a), (Texts{"unread A 2>2", "unread A 3>3", "missing A 4>0"}));
    EXPECT_EQ(metersOf(start + a, start + a + a), (Texts{"unread A 2>2", "added A 0>3"}));
}

TEST(Meters, without_serial_number_are_paired_in_order) {
    const std::string start = roundLine(), blank = meterLine("");
    EXPECT_EQ(metersOf(start + blank + blank, start + blank), (Texts{"unread  2>2", "missing  3>0"}));
    EXPECT_EQ(differences(start + blank, start), Texts{"meterMissing meter subscriber 2>0"});
}

TEST(Meters, know_their_differences) {
    const std::string exported = roundLine() + meterLine("A", {{"meterWheels", 4}}) + moduleLine("A") + meterLine("B") +
                                 meterLine("C", {{"meterWheels", 5}}),
                      returned = roundLine("T2") + meterLine("A") + meterLine("B") + meterLine("C") + meterLine("D");
    const Pair pair(exported, returned);
    Texts found;
    for (const ReconciledMeter& meter : pair.round().meters)
        found.push_back(meter.serial + ' ' + std::to_string(meter.firstDifference) + '+' + std::to_string(meter.differences));
    EXPECT_EQ(found, (Texts{"A 1+2", "B 3+0", "C 3+1", "D 4+1"}));
    EXPECT_EQ(textsOf(pair.round().differences),
        (Texts{"fieldChanged round 1>1: code [T1]>[T2]", "fieldChanged A meter subscriber 2>2: meterWheels [4]>[]",
            "lineMissing A AMR 3>0", "fieldChanged C meter subscriber 5>4: meterWheels [5]>[]",
            "meterAdded D meter subscriber 0>5"}));
    EXPECT_EQ(pair.reconciled.count(), 5U);
    EXPECT_EQ(pair.round().meters[1].exported, &pair.exported.rounds()[0].meters()[1]);
    EXPECT_EQ(pair.round().meters[1].returned, &pair.returned.rounds()[0].meters()[1]);
}

// ---- Replaced meters ------------------------------------------------------------------------------------------------

TEST(ReplacedMeters, may_come_back_under_their_new_serial_numbers) {
    const std::string exported = roundLine() + meterLine("A", {{"meterWheels", 5}}) + meterLine("B") + meterLine("C"),
                      returned = roundLine() + meterLine("N", {{"meterWheels", 5}}) + changeLine("A", "N") + meterLine("B") +
                                 meterLine("M") + changeLine("C", "M");
    EXPECT_EQ(metersOf(exported, returned), (Texts{"unread A 2>2", "unread B 3>4", "unread C 4>5"}));
    EXPECT_EQ(differences(exported, returned), Texts());
}

TEST(ReplacedMeters, keep_their_other_fields) {
    EXPECT_EQ(differences(roundLine() + meterLine("A", {{"meterWheels", 5}}),
                  roundLine() + meterLine("N", {{"meterWheels", 6}}) + changeLine("A", "N")),
        Texts{"fieldChanged A meter subscriber 2>2: meterWheels [5]>[6]"});
}

TEST(ReplacedMeters, without_a_line_that_says_so_are_missing_and_added) {
    const std::string exported = roundLine() + meterLine("A");
    const Texts unlike{"missing A 2>0", "added N 0>2"};
    EXPECT_EQ(metersOf(exported, roundLine() + meterLine("N")), unlike);
    EXPECT_EQ(metersOf(exported, roundLine() + meterLine("N") + changeLine("X", "N")), unlike);
    EXPECT_EQ(metersOf(exported, roundLine() + meterLine("N") + changeLine("N", "A")), unlike);
    EXPECT_EQ(metersOf(exported, roundLine() + meterLine("N") + changeLine("A", "Z")), unlike);  // a line of nobody
}

TEST(ReplacedMeters, may_have_other_lines_of_changes) {
    EXPECT_EQ(metersOf(roundLine() + meterLine("A"),
                  roundLine() + meterLine("N") + changeLine("X", "N") + changeLine("N", "Z") + changeLine("A", "N")),
        Texts{"unread A 2>2"});
}

TEST(ReplacedMeters, that_are_also_back_explain_no_new_one) {
    const std::string exported = roundLine() + meterLine("A");
    EXPECT_EQ(metersOf(exported, roundLine() + meterLine("A") + changeLine("A", "N") + meterLine("N")),
        (Texts{"unread A 2>2", "added N 0>4"}));
    // The first of them has taken its place.
    EXPECT_EQ(metersOf(exported + meterLine("A"),
                  roundLine() + meterLine("N1") + changeLine("A", "N1") + meterLine("N2") + changeLine("A", "N2")),
        (Texts{"unread A 2>2", "missing A 3>0", "added N2 0>4"}));
}

TEST(ReplacedMeters, by_a_meter_that_was_exported_are_missing) {
    EXPECT_EQ(metersOf(roundLine() + meterLine("A") + meterLine("N"), roundLine() + meterLine("N") + changeLine("A", "N")),
        (Texts{"missing A 2>0", "unread N 3>2"}));
}

TEST(ReplacedMeters, have_the_last_new_serial_number) {
    const Pair pair(roundLine() + meterLine("A") + meterLine("B") + meterLine("C"),
        roundLine() + meterLine("A") + changeLine("A", "N1") + changeLine("A", "N2") + meterLine("B"));
    ASSERT_EQ(pair.round().meters.size(), 3U);
    EXPECT_EQ(pair.round().meters[0].newSerial(), "N2");
    EXPECT_EQ(pair.round().meters[1].newSerial(), "");
    EXPECT_EQ(pair.round().meters[2].newSerial(), "");
    EXPECT_EQ(pair.round().replaced, 1U);
}

// ---- Numbers --------------------------------------------------------------------------------------------------------

namespace {

constexpr local_days firstDay{std::chrono::days(19754)}, secondDay = firstDay + std::chrono::days(1);

using Counts = std::map<std::string, std::size_t>;
Counts countsOf(const ReconciledRound& round) {
    return {{"exported", round.exportedMeters}, {"returned", round.returnedMeters}, {"read", round.read},
        {"unread", round.unread}, {"missing", round.missing}, {"added", round.added}, {"replaced", round.replaced},
        {"corrected", round.corrected}, {"located", round.located}, {"answered", round.answered}, {"answers", round.answers}};
}

}  // namespace

TEST(Numbers, of_a_round) {
    const TimeZone zone("UTC");
    const std::string start = roundLine() + pageLine("1", {{"area1Label", "a"}, {"area2Label", "b"}});
    std::string exported = start;
    for (const char* serial : {"A", "B", "C", "D", "E", "F", "G"}) exported += meterLine(serial);
    const std::string returned =
        start +
        meterLine("A", {{"meterReadingDate", firstDay}, {"meterReadingStatus", '1'}, {"meterReadingMethod", 'M'},
                           {"meterReadingUserCode", "AG07"}, {"meterMarkingCode", "ZZ"}}) +
        placeLine("A") + placeLine("A", 49.5) + answerLine("A", {{"area1Result", "x"}}) +
        meterLine("B", {{"meterReadingDate", firstDay}, {"meterReadingStatus", '1'}, {"meterReadingMethod", 'A'},
                           {"meterReadingUserCode", "AG08"}, {"meterCorrectedSerialNumber", "B2"}}) +
        answerLine("B", {{"area1Result", "y"}, {"area2Result", "z"}}) + answerLine("B", {{"area2Result", "w"}}) +
        meterLine("C", {{"meterReadingDate", secondDay}, {"meterCorrectedSerialNumber", "C2"}}) + changeLine("C", "N") +
        changeLine("C", "N2") + meterLine("D", {{"meterMarkingCode", "AB"}}) + changeLine("D", "") +
        meterLine("E", {{"meterMarkingCode", "AB"}}) + placeLine("E") + answerLine("E") +
        meterLine("F", {{"meterMessage", "closed"}, {"meterReadingUserCode", "AG09"}}) +
        meterLine("X", {{"meterReadingDate", secondDay}, {"meterReadingStatus", '4'}, {"meterReadingUserCode", "AG07"}}) +
        meterLine("Y");
    const Pair pair(exported, returned);
    ASSERT_EQ(pair.reconciled.rounds().size(), 1U);
    const ReconciledRound& round = pair.round();
    EXPECT_EQ(countsOf(round), (Counts{{"exported", 7}, {"returned", 8}, {"read", 4}, {"unread", 4}, {"missing", 1}, {"added", 2},
                                   {"replaced", 1}, {"corrected", 2}, {"located", 2}, {"answered", 2}, {"answers", 4}}));
    EXPECT_EQ(round.byStatus, (std::map<char32_t, std::size_t>{{0, 1}, {U'1', 2}, {U'4', 1}}));
    EXPECT_EQ(round.byMethod, (std::map<char32_t, std::size_t>{{0, 2}, {U'A', 1}, {U'M', 1}}));
    EXPECT_EQ(round.byDay, (std::map<local_days, std::size_t>{{firstDay, 2}, {secondDay, 2}}));
    EXPECT_EQ(round.byAgent, (Counts{{"", 1}, {"AG07", 2}, {"AG08", 1}}));
    EXPECT_EQ(round.unreadByReason, (Counts{{"", 2}, {"AB", 2}}));
    EXPECT_EQ(textsOf(round.meters), (Texts{"read A 3>3", "read B 4>7", "read C 5>10", "unread D 6>13", "unread E 7>15",
                                         "unread F 8>18", "missing G 9>0", "added X 0>19", "added Y 0>20"}));
}

TEST(Numbers, of_an_exported_round_that_did_not_come_back) {
    const TimeZone zone("UTC");
    const Pair pair(roundLine() + pageLine("1") + meterLine("A", {{"meterReadingDate", firstDay}}) + placeLine("A"), "");
    ASSERT_EQ(pair.reconciled.rounds().size(), 1U);
    EXPECT_EQ(pair.round().exported, &pair.exported.rounds()[0]);
    EXPECT_EQ(pair.round().returned, nullptr);
    Counts expected = countsOf({});
    expected["exported"] = expected["missing"] = 1;
    EXPECT_EQ(countsOf(pair.round()), expected);
    EXPECT_TRUE(pair.round().byAgent.empty());
    EXPECT_TRUE(pair.round().unreadByReason.empty());
    EXPECT_EQ(textsOf(pair.round().differences), Texts{"meterMissing A meter subscriber 3>0"});
}

TEST(Numbers, of_a_round_that_was_not_exported) {
    const TimeZone zone("UTC");
    const Pair pair("", roundLine() + pageLine("1") + meterLine("A", {{"meterReadingDate", firstDay}}) + meterLine("B"));
    ASSERT_EQ(pair.reconciled.rounds().size(), 1U);
    EXPECT_EQ(pair.round().exported, nullptr);
    EXPECT_EQ(pair.round().returned, &pair.returned.rounds()[0]);
    Counts expected = countsOf({});
    expected["returned"] = expected["added"] = 2;
    expected["read"] = expected["unread"] = 1;
    EXPECT_EQ(countsOf(pair.round()), expected);
    EXPECT_EQ(
        textsOf(pair.round().differences), (Texts{"meterAdded A meter subscriber 0>3", "meterAdded B meter subscriber 0>4"}));
}

TEST(Numbers, of_empty_files) {
    const Pair pair("", "");
    EXPECT_TRUE(pair.reconciled.rounds().empty());
    EXPECT_EQ(pair.reconciled.count(), 0U);
}

// ---- Plausibility ---------------------------------------------------------------------------------------------------

TEST(Plausibility, of_returned_readings) {
    const TimeZone zone("UTC");
    const auto meter = [](const char* serial, long long index, long long most = 1000) {
        return meterLine(serial,
            {{"meterPreviousReadingDate", firstDay}, {"meterPreviousReadingIndex", 100}, {"meterMaxEstimatedConsumption", most},
                {"meterReadingDate", secondDay}, {"meterReadingIndex", index}, {"meterWheels", 5}});
    };
    const std::string good = roundLine() + meter("A", 200);
    EXPECT_EQ(differences(good, good), Texts());
    EXPECT_EQ(differences(good, roundLine() + meter("A", 50)), Texts{"implausible A meter subscriber 0>2: ReadingBelowPrevious"});
    EXPECT_EQ(differences(roundLine() + meter("A", 50), good), Texts());  // the exported one is not looked at
    EXPECT_EQ(differences(good, good + meter("B", 50)),
        (Texts{"meterAdded B meter subscriber 0>3", "implausible B meter subscriber 0>3: ReadingBelowPrevious"}));

    // A hint is no difference.
    const std::string doubtful = roundLine() + meter("A", 200, 10);
    const RoundFile file = fileOf(doubtful);
    const std::vector<Finding> findings = file.rounds()[0].meters()[0].findings();
    ASSERT_EQ(findings.size(), 1U);
    EXPECT_EQ(findings[0].severity, Severity::Hint);
    EXPECT_EQ(differences(doubtful, doubtful), Texts());
}

TEST(Plausibility, is_of_the_line_that_is_not_plausible) {
    const std::string exported = roundLine() + meterLine("A"), returned = exported + placeLine("A", 91) + placeLine("A", 92);
    const Pair pair(exported, returned);
    ASSERT_EQ(pair.round().differences.size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        const Difference& difference = pair.round().differences[i];
        EXPECT_EQ(difference.what, Difference::Implausible);
        EXPECT_EQ(difference.kind, "extended data");
        EXPECT_EQ(difference.returnedLine, static_cast<std::int64_t>(3 + i));
        ASSERT_TRUE(difference.finding);
        EXPECT_EQ(difference.finding->rule->name, "PositionOutside");
        EXPECT_EQ(sentenceOf(difference), sentenceOf(*difference.finding));
        EXPECT_FALSE(sentenceOf(difference).empty());
    }
    EXPECT_EQ(pair.round().meters[0].differences, 2U);
}

// ---- Files ----------------------------------------------------------------------------------------------------------

namespace {

// "T2>T1": the codes of each round in both files.
Texts roundsOf(const std::string& before, const std::string& after) {
    const Pair pair(before, after);
    Texts texts;
    for (const ReconciledRound& round : pair.reconciled.rounds())
        texts.push_back((round.exported ? round.exported->code() : "-") + '>' + (round.returned ? round.returned->code() : "-"));
    return texts;
}

}  // namespace

TEST(Files, have_their_rounds_paired_by_code_then_in_order) {
    const auto rounds = [](std::initializer_list<const char*> codes) {
        std::string text;
        for (const char* code : codes) text += roundLine(code);
        return text;
    };
    EXPECT_EQ(roundsOf(rounds({"T1", "T2"}), rounds({"T2", "T1"})), (Texts{"T1>T1", "T2>T2"}));
    EXPECT_EQ(roundsOf(rounds({"T1", "T2", "T3"}), rounds({"T3", "X", "T1"})), (Texts{"T1>T1", "T2>X", "T3>T3"}));
    EXPECT_EQ(roundsOf(rounds({"T1", "T2"}), rounds({"X", "Y"})), (Texts{"T1>X", "T2>Y"}));
    EXPECT_EQ(roundsOf(rounds({"T1", "T2"}), rounds({"T2"})), (Texts{"T1>-", "T2>T2"}));
    EXPECT_EQ(roundsOf(rounds({"T2"}), rounds({"T1", "T2", "T3"})), (Texts{"T2>T2", "->T1", "->T3"}));

    const Pair pair(rounds({"T1", "T1"}), rounds({"T1", "T1", "T1"}));
    ASSERT_EQ(pair.reconciled.rounds().size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(pair.round(i).exported, i < 2 ? &pair.exported.rounds()[i] : nullptr);
        EXPECT_EQ(pair.round(i).returned, &pair.returned.rounds()[i]);
    }
}

TEST(Files, with_several_rounds_have_the_differences_of_each) {
    const std::string one = roundLine("T1") + meterLine("A") + meterLine("B"), other = roundLine("T2") + meterLine("A");
    const Pair pair(one + other, other + meterLine("C") + roundLine("T1") + meterLine("A", {{"meterWheels", 5}}));
    ASSERT_EQ(pair.reconciled.rounds().size(), 2U);
    EXPECT_EQ(textsOf(pair.round(0).differences),
        (Texts{"fieldChanged A meter subscriber 2>5: meterWheels []>[5]", "meterMissing B meter subscriber 3>0"}));
    EXPECT_EQ(textsOf(pair.round(1).differences), Texts{"meterAdded C meter subscriber 0>3"});
    EXPECT_TRUE(pair.reconciled.differences().empty());
    EXPECT_EQ(pair.reconciled.count(), 3U);
}

TEST(Files, with_lines_of_nobody) {
    const std::string exported = roundLine() + meterLine("A");
    EXPECT_EQ(differences(exported, exported + placeLine("Z")), Texts{"lineOfNobody Z extended data 0>3"});
    EXPECT_EQ(differences(exported, exported + moduleLine("")), Texts{"lineOfNobody AMR 0>3"});
    EXPECT_EQ(differences(exported + placeLine("Z"), exported), Texts());                   // the exported one is not looked at
    EXPECT_EQ(differences("", placeLine("Z")), Texts{"lineOfNobody Z extended data 0>1"});  // a round without round line
    EXPECT_EQ(differences(exported, roundLine("T2") + placeLine("Z") + meterLine("B")),
        (Texts{"lineOfNobody Z extended data 0>2", "fieldChanged round 1>1: code [T1]>[T2]",
            "meterMissing A meter subscriber 2>0", "meterAdded B meter subscriber 0>3"}));
}

TEST(Files, with_lines_of_nobody_in_several_rounds) {
    const std::string exported = roundLine("T1") + roundLine("T2") + roundLine("T3");
    const Pair pair(exported, placeLine("W") + roundLine("T4") + placeLine("X") + roundLine("T3") + roundLine("T1") +
                                  placeLine("Y") + placeLine("Y2") + roundLine("T5") + placeLine("Z"));
    std::vector<std::pair<std::string, Texts>> found;
    for (const ReconciledRound& round : pair.reconciled.rounds())
        found.emplace_back(round.returned ? round.returned->code() : "-", textsOf(round.differences));
    EXPECT_EQ(found, (std::vector<std::pair<std::string, Texts>>{
                         {"T1", {"lineOfNobody Y extended data 0>6", "lineOfNobody Y2 extended data 0>7"}},
                         {"", {"lineOfNobody W extended data 0>1", "lineMissing round 2>0"}}, {"T3", {}},
                         {"T4", {"lineOfNobody X extended data 0>3"}}, {"T5", {"lineOfNobody Z extended data 0>9"}}}));
    EXPECT_TRUE(pair.reconciled.differences().empty());
    EXPECT_EQ(pair.reconciled.count(), 6U);
}

TEST(Files, with_malformed_lines) {
    const std::string exported = roundLine() + meterLine("A"), tooShort = placeLine("A").substr(0, 100) + "x\r\n";
    std::string unknownLetter = placeLine("A");
    unknownLetter.front() = 'x';
    EXPECT_EQ(differences(exported, exported + "\r\n"), Texts());
    EXPECT_EQ(differences(exported + tooShort, exported), Texts());  // the exported one is not looked at
    const Pair pair(exported, tooShort + exported + "\r\n" + unknownLetter + meterLine("B"));
    EXPECT_EQ(textsOf(pair.round().differences), Texts{"meterAdded B meter subscriber 0>6"});
    EXPECT_EQ(textsOf(pair.reconciled.differences()), (Texts{"malformed 0>1", "malformed 0>5"}));
    EXPECT_EQ(pair.reconciled.count(), 3U);
    EXPECT_EQ(differences("", tooShort), Texts{"malformed 0>1"});
}

TEST(Files, without_rounds_have_no_differences) {
    for (const char* name : {"/tags.txt", "/parameters.txt", "/amr-keys.txt"}) {
        const RoundFile file = RoundFile::read(std::string(SAMPLES) + name);
        const Reconciliation reconciled(file, file);
        EXPECT_TRUE(reconciled.rounds().empty()) << name;
        EXPECT_EQ(reconciled.count(), 0U) << name;
    }
}

// ---- Words ----------------------------------------------------------------------------------------------------------

TEST(Words, names) {
    Texts names;
    for (const Difference::What what :
        {Difference::MeterMissing, Difference::MeterAdded, Difference::FieldChanged, Difference::LineMissing,
            Difference::LineAdded, Difference::LineOfNobody, Difference::Implausible, Difference::Malformed})
        names.emplace_back(nameOf(what));
    EXPECT_EQ(names, (Texts{"meterMissing", "meterAdded", "fieldChanged", "lineMissing", "lineAdded", "lineOfNobody",
                         "implausible", "malformed"}));
}

TEST(Words, sentences) {
    const Field* wheels = kindOf<MeterSubscriberTramoModel>().field("meterWheels");
    const auto changed = [&](const char* before, const char* after) {
        return sentenceOf({.what = Difference::FieldChanged, .field = wheels, .before = before, .after = after});
    };
    EXPECT_EQ(changed("5", "6"), "meterWheels has changed from \"5\" to \"6\"");
    EXPECT_EQ(changed("", "6"), "meterWheels was blank and is now \"6\"");
    EXPECT_EQ(changed("5", ""), "meterWheels was \"5\" and is now blank");
    EXPECT_EQ(changed("\x1B[1m", "\xC3\xA9"), "meterWheels has changed from \"\\x1b[1m\" to \"\xC3\xA9\"");

    EXPECT_EQ(sentenceOf({.what = Difference::MeterMissing, .kind = "meter subscriber"}), "the meter did not come back");
    EXPECT_EQ(
        sentenceOf({.what = Difference::MeterAdded, .kind = "meter subscriber"}), "the meter came back, but was not exported");
    EXPECT_EQ(sentenceOf({.what = Difference::LineMissing, .kind = "AMR"}), "the AMR line did not come back");
    EXPECT_EQ(sentenceOf({.what = Difference::LineMissing}), "the line did not come back");
    EXPECT_EQ(sentenceOf({.what = Difference::LineAdded, .kind = "AMR"}), "the AMR line came back, but was not exported");
    EXPECT_EQ(sentenceOf({.what = Difference::LineAdded}), "the line came back, but was not exported");
    EXPECT_EQ(sentenceOf({.what = Difference::LineOfNobody, .kind = "AMR"}), "the AMR line belongs to no meter");
    EXPECT_EQ(sentenceOf({.what = Difference::LineOfNobody}), "the line belongs to no meter");
    EXPECT_EQ(sentenceOf({.what = Difference::Malformed}), "the line is malformed and was not compared");
    EXPECT_EQ(sentenceOf({.what = Difference::Implausible}), "");
    const Finding finding = findingOf("ReadingBelowPrevious", "the reading is 50");
    EXPECT_EQ(sentenceOf({.what = Difference::Implausible, .finding = finding}), sentenceOf(finding));
}

// ---- Samples --------------------------------------------------------------------------------------------------------

TEST(Reconcile, a_difference_has_its_lines_and_texts) {
    setMessages(Messages::Silent);
    const RoundFile exported = RoundFile::read(SAMPLES "/round-exported.txt"),
                    returned = RoundFile::read(SAMPLES "/round-broken.txt");
    const Reconciliation reconciled(exported, returned);
    ASSERT_EQ(reconciled.rounds().size(), 1U);
    const ReconciledRound& round = reconciled.rounds().front();
    EXPECT_EQ(round.exportedMeters, 60U);
    EXPECT_EQ(round.read + round.unread + round.missing, 60U);
    std::size_t ofMeters = 0;
    for (const ReconciledMeter& meter : round.meters)
        for (std::size_t i = 0; i < meter.differences; ++i, ++ofMeters)
            EXPECT_EQ(round.differences[meter.firstDifference + i].serial, meter.serial);
    EXPECT_GT(ofMeters, 0U);
    bool isFound = false;
    for (const Difference& difference : round.differences)
        if (difference.field && difference.field->name == "meterWheels") {
            isFound = true;
            EXPECT_EQ(difference.exportedLine, 11);
            EXPECT_EQ(difference.returnedLine, 16);
            EXPECT_EQ(sentenceOf(difference), "meterWheels has changed from \"5\" to \"VA\"");
        }
    EXPECT_TRUE(isFound);
}

TEST(Reconcile, a_file_has_no_difference_from_itself) {
    for (const char* name : {"/round-exported.txt", "/round-returned.txt", "/round-returned-utf16.txt"}) {
        const RoundFile file = RoundFile::read(std::string(SAMPLES) + name);
        EXPECT_EQ(Reconciliation(file, file).count(), 0U) << name;
    }
}
