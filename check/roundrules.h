// The rules about rounds: what the lines of a file mean together, and whether readings are plausible. One row a rule.
#pragma once
#include "tramostream/check.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>

namespace tramo {

enum class RoundRule : std::uint8_t {
    // Structure
    RoundMissing,
    LineBeforeRound,
    MeterInTwoRounds,
    MeterDuplicate,
    LineWithoutMeter,
    LineMoved,
    InformationMissing,
    InformationUnlike,
    CardOrder,
    AreaIncomplete,
    AreaOutside,
    AreaOverlap,
    PageUndefined,
    AnswerAreaUndefined,
    AnswerTooLong,
    AnswerNotInList,
    // Plausibility
    DateInFuture,
    ReadingAfterUpdate,
    ReadingBeforePrevious,
    ReadingBeforeInstallation,
    IndexAboveWheels,
    ReadingBelowPrevious,
    ConsumptionUnlike,
    ConsumptionFarFromEstimate,
    EstimateInverted,
    HistoryUnordered,
    LeakWithoutConsumption,
    FraudWithoutConsumption,
    ChangeToSameMeter,
    ChangeBeforePrevious,
    PositionAtZero,
    PositionOutside,
    PositionFar,
};

struct RoundRuleRow {
    RoundRule rule;
    std::string_view name;
    Severity severity;
    std::string_view description, remedy;
};

// No rule is an error: the format allows each of these lines.
// clang-format off
inline constexpr RoundRuleRow roundRules[] = {
    {RoundRule::RoundMissing,              "RoundMissing",              Severity::Warning, "A file has enquiry definition or record information lines and meters, but no round line.", "ask the sender for the whole file; a round line belongs before its meters"},
    {RoundRule::LineBeforeRound,           "LineBeforeRound",           Severity::Warning, "Lines come before the first round line.", "move the round line before the lines of its round"},
    {RoundRule::MeterInTwoRounds,          "MeterInTwoRounds",          Severity::Warning, "Two rounds of a file have the same meters.", "check whether the same round is in the file twice, and remove one of them"},
    {RoundRule::MeterDuplicate,            "MeterDuplicate",            Severity::Warning, "A round has two meter subscriber lines with the same serial number.", "compare the two lines, and remove one or correct its serial number"},
    {RoundRule::LineWithoutMeter,          "LineWithoutMeter",          Severity::Warning, "A line belongs to a meter that its round does not have.", "correct the serial number of the line, or add its meter subscriber line"},
    {RoundRule::LineMoved,                 "LineMoved",                 Severity::Hint,    "A line is not with the other lines of its meter, although nearly all lines of the round are.", "move the line after the meter subscriber line of its meter"},
    {RoundRule::InformationMissing,        "InformationMissing",        Severity::Warning, "No record information line follows the last meter: the end of the file may be missing.", "compare the number of meters with the sender, or ask for the file again"},
    {RoundRule::InformationUnlike,         "InformationUnlike",         Severity::Hint,    "The meter number of a record information line is not the number of meters before it.", "check that no meter is missing; the format does not define the meaning of the number"},
    {RoundRule::CardOrder,                 "CardOrder",                 Severity::Hint,    "A card order is less than that of the meter before it.", "check that the meters are in the order in which they are to be read"},
    {RoundRule::AreaIncomplete,            "AreaIncomplete",            Severity::Warning, "A round line defines only some properties of an area.", "add the position and the length of the area, or remove its label"},
    {RoundRule::AreaOutside,               "AreaOutside",               Severity::Warning, "An area begins or ends outside of its text.", "correct the position or the length of the area in the round line"},
    {RoundRule::AreaOverlap,               "AreaOverlap",               Severity::Warning, "Two areas share characters of their text.", "correct the position or the length of one of the areas in the round line"},
    {RoundRule::PageUndefined,             "PageUndefined",             Severity::Warning, "An enquiry result line refers to a page that its round does not define.", "correct the page number, or add the enquiry definition line of that page"},
    {RoundRule::AnswerAreaUndefined,       "AnswerAreaUndefined",       Severity::Warning, "An enquiry result line answers an area that its page does not define.", "compare the answer with the enquiry definition line of its page"},
    {RoundRule::AnswerTooLong,             "AnswerTooLong",             Severity::Warning, "An answer is longer than the size of its area.", "shorten the answer, or correct the size in the enquiry definition line"},
    {RoundRule::AnswerNotInList,           "AnswerNotInList",           Severity::Hint,    "The code of an answer is not in the list of its area.", "compare the code with the list in the enquiry definition line"},
    {RoundRule::DateInFuture,              "DateInFuture",              Severity::Hint,    "A date is later than the clock of this computer.", "correct the date, or the clock"},
    {RoundRule::ReadingAfterUpdate,        "ReadingAfterUpdate",        Severity::Warning, "A reading is more than a day later than the last update of its line.", "correct the reading date, or check the clock of the terminal"},
    {RoundRule::ReadingBeforePrevious,     "ReadingBeforePrevious",     Severity::Warning, "A reading is earlier than the previous reading.", "correct the reading date, or check the clock of the terminal"},
    {RoundRule::ReadingBeforeInstallation, "ReadingBeforeInstallation", Severity::Warning, "A reading is earlier than the installation of its meter or radio module.", "correct the reading date or the installation date"},
    {RoundRule::IndexAboveWheels,          "IndexAboveWheels",          Severity::Warning, "An index has more digits than the meter has wheels.", "correct the index, or the number of wheels"},
    {RoundRule::ReadingBelowPrevious,      "ReadingBelowPrevious",      Severity::Warning, "A reading is below the previous one, and a roll-over of the wheels does not explain it.", "read the meter again; if it was replaced, a meter change line is missing"},
    {RoundRule::ConsumptionUnlike,         "ConsumptionUnlike",         Severity::Warning, "A consumption is not the difference of the two readings.", "compute the consumption again from the two readings"},
    {RoundRule::ConsumptionFarFromEstimate,"ConsumptionFarFromEstimate",Severity::Hint,    "A consumption is more than five times the maximum estimate.", "check the reading; look for a leak"},
    {RoundRule::EstimateInverted,          "EstimateInverted",          Severity::Warning, "The minimum estimated consumption is above the maximum.", "exchange the two estimates, or correct one"},
    {RoundRule::HistoryUnordered,          "HistoryUnordered",          Severity::Hint,    "The dates of the earlier readings are neither ascending nor descending.", "check the dates of the history slots"},
    {RoundRule::LeakWithoutConsumption,    "LeakWithoutConsumption",    Severity::Warning, "A radio module reports a current leak, but nothing was consumed.", "check the wiring of the module, and read the meter again"},
    {RoundRule::FraudWithoutConsumption,   "FraudWithoutConsumption",   Severity::Warning, "A radio module reports a current fraud, and nothing was consumed.", "inspect the meter and its module"},
    {RoundRule::ChangeToSameMeter,         "ChangeToSameMeter",         Severity::Warning, "A meter change line has the same serial number for the old and the new meter.", "correct the serial number of the new meter"},
    {RoundRule::ChangeBeforePrevious,      "ChangeBeforePrevious",      Severity::Warning, "A meter was replaced before the previous reading of the old meter.", "correct the installation date of the new meter"},
    {RoundRule::PositionAtZero,            "PositionAtZero",            Severity::Warning, "A position is at latitude 0 and longitude 0, where terminals without a fix place it.", "remove the position, or locate the meter again"},
    {RoundRule::PositionOutside,           "PositionOutside",           Severity::Warning, "A latitude is beyond 90 degrees or a longitude beyond 180 degrees.", "check whether the coordinates are in degrees, latitude first"},
    {RoundRule::PositionFar,               "PositionFar",               Severity::Warning, "A position is far from all other positions of its round.", "check whether latitude and longitude were exchanged, or a sign or digit is wrong"},
};
// clang-format on

inline constexpr std::size_t roundRuleCount = std::size(roundRules);

constexpr const RoundRuleRow& rowOf(RoundRule rule) { return roundRules[static_cast<std::size_t>(rule)]; }
constexpr std::uint64_t bitOf(RoundRule rule) { return std::uint64_t{1} << static_cast<unsigned>(rule); }
constexpr bool isAboutAnswers(RoundRule rule) { return rule >= RoundRule::PageUndefined && rule <= RoundRule::AnswerNotInList; }
constexpr bool isAboutReadings(RoundRule rule) { return rule >= RoundRule::DateInFuture; }

constexpr bool areRoundRulesInOrder() {
    for (std::size_t i = 0; i < roundRuleCount; ++i)
        if (static_cast<std::size_t>(roundRules[i].rule) != i) return false;
    return roundRuleCount <= 64;
}
static_assert(areRoundRulesInOrder());

// Returns the rule of that row.
const Rule& ruleOf(RoundRule rule);

// The rules that are switched on.
class RoundRuleSet {
public:
    RoundRuleSet() = default;
    explicit RoundRuleSet(const Severities& severities) {
        for (const RoundRuleRow& row : roundRules)
            if (!severities.of(ruleOf(row.rule))) bits &= ~bitOf(row.rule);
    }

    bool has(RoundRule rule) const { return bits & bitOf(rule); }
    bool isEmpty() const { return (bits & all) == 0; }

private:
    static constexpr std::uint64_t all = ~std::uint64_t{0} >> (64 - roundRuleCount);
    std::uint64_t bits = all;
};

}  // namespace tramo
