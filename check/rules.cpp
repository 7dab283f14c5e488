#include "check/filerules.h"
#include "check/roundrules.h"
#include "common/concat.h"
#include "common/reportedcolumn.h"
#include "tramostream/check.h"
#include "tramostream/wording.h"
#include <algorithm>

namespace tramo {

namespace {

constexpr int firstParseCode = 0x001, firstBuildCode = 0x101;

std::vector<Rule> makeRules() {
    constexpr auto error = Severity::Error, warning = Severity::Warning;
    // clang-format off
    std::vector<Rule> all{
        {"FileEmpty",            0, "The file has no lines.", warning},
        {"LineEmpty",            0, "A line has no characters.", error},
        {"LineTooShort",         0, "A line has fewer characters than its kind requires.", error},
        {"LineTooLong",          0, "A line has more characters than its kind allows.", error},
        {"LineKindUnknown",      0, "The length of a line matches no kind of line.", error},
        {"LineLetterUnknown",    0, "The first character of a record line is the letter of no record kind.", error},
        {"LineEndWithoutCR",     0, "A line ends with a line feed without a carriage return before it.", error},
        {"LineEndMissing",       0, "The last line has no line ending, or only half of one.", error},
        {"ZeroCharacter",        0, "A line contains zero characters.", error},
        {"ZeroBehindAlarmFlags", 0, "The field after alarm flags contains the zero character that the format writes there.", warning},
        {"SurrogateAlone",       0, "A line contains an unpaired UTF-16 surrogate.", error},
        {"KeyLineUnreadable",    0, "A key line is not a valid JSON object.", error},
        {"KeyMemberIgnored",     0, "A member of a key line is ignored.", warning},
        {"TextIgnored",          0, "A line contains text that is part of no value: after a number, or outside all fields.", warning},
        {"TextUnread",           0, "A line begins with U+FFFF, which ends the text; nothing after it is read.", error},
        {"LastByteOdd",          0, "A UTF-16 file ends with half of a character; its last byte is ignored.", error},
    };
    // clang-format on
    auto add = [&](int code, const char* words, Severity severity) {
        if (const std::string_view name = errorName(static_cast<TE::errorType>(code)); !name.empty())
            all.push_back({name, code, concat(words, " (", name, ' ', hex(static_cast<TE::errorType>(code)), ")."), severity});
    };
    for (int code = firstParseCode; code < firstBuildCode; ++code) add(code, "The text of a field is invalid", error);
    add(TE::MandatoryMissing, "A mandatory value is missing", warning);
    add(TE::MandatoryInconsistent, "Values that belong together are inconsistent", warning);
    add(TE::WrongLineType, "A line is of another record kind than expected", error);
    all.push_back({"KeyLineDuplicate", 0, "Two key lines are about one module.", warning});
    all.push_back({"KeyNotHexadecimal", 0, "A key is not 32 hexadecimal digits.", warning});
    for (const RoundRuleRow& row : roundRules)
        all.push_back({row.name, 0, std::string(row.description), row.severity, row.remedy});
    for (const FileRuleRow& row : fileRules) all.push_back({row.name, 0, std::string(row.description), error, row.remedy});
    return all;
}

}  // namespace

std::span<const Rule> rules() {
    static const std::vector<Rule> all = makeRules();
    return all;
}

const Rule* ruleNamed(std::string_view name) {
    const auto found = std::ranges::find(rules(), name, &Rule::name);
    return found == rules().end() ? nullptr : &*found;
}

Finding findingOf(const Rule& rule, std::string sentence, std::string reason, int column) {
    return {.rule = &rule,
        .severity = rule.severity,
        .column = column,
        .endColumn = column + (column > 0),
        .sentence = std::move(sentence),
        .reason = std::move(reason)};
}

Finding findingOf(std::string_view rule, std::string sentence, std::string reason, int column) {
    return findingOf(*ruleNamed(rule), std::move(sentence), std::move(reason), column);
}

std::string columnsOf(const Finding& finding) {
    const int last = finding.endColumn - 1;
    return last > finding.column ? concat(finding.column, '-', last) : std::to_string(finding.column);
}

std::string sentenceOf(const Finding& finding) {
    std::string text = concat(finding.sentence, " [", finding.rule->name);
    if (finding.rule->code) text += ' ' + hex(static_cast<TE::errorType>(finding.rule->code));
    text += ']';
    if (!finding.reason.empty()) text += ": " + finding.reason;
    if (finding.reportedColumn) text += "; " + noteOnReportedColumn(finding.reportedColumn);
    return text;
}

}  // namespace tramo
