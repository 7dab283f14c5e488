#include "check/lineexaminer.h"
#include "check/linerules.h"
#include "check/rulefields.h"
#include "common/concat.h"
#include <algorithm>
#include <chrono>
#include <limits>

namespace tramo {

namespace {

using namespace rulefields;

long32 clockOf(const CheckOptions& options) {
    const auto now = options.now.value_or(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
    const std::int64_t seconds = now.time_since_epoch().count();
    return static_cast<long32>(std::clamp<std::int64_t>(seconds, 0, std::numeric_limits<long32>::max()));
}

ReadingNumbers numbersIn(const LineValues& line) { return line.kind.letter == L'1' ? ReadingNumbers(line) : ReadingNumbers(); }

}  // namespace

const Rule& ruleOf(RoundRule rule) {
    static const Rule* const first = ruleNamed(roundRules[0].name);
    return first[static_cast<std::size_t>(rule)];
}

bool isAboutRounds(const Rule& rule) {
    const Rule* const first = &ruleOf(RoundRule{});
    return &rule >= first && &rule < first + roundRuleCount;
}

Finding roundFinding(RoundRule rule, std::int64_t line, std::string sentence, std::string reason) {
    Finding finding = findingOf(ruleOf(rule), std::move(sentence), std::move(reason));
    finding.line = line;
    if (finding.severity != Severity::Hint) finding.hint = finding.rule->remedy;
    finding.excerpt = false;
    return finding;
}

void setPlace(Finding& finding, const RecordKind& kind, int column, int width, std::wstring found) {
    finding.kind = kind.name;
    finding.column = column;
    finding.endColumn = column + width;
    finding.found = std::move(found);
}

LineExaminer::LineExaminer(const CheckOptions& options) : rules(options.severities), now(clockOf(options)) {}

void LineExaminer::find(const LineValues& line, const ReadingNumbers& numbers, LineReport& report) const {
    switch (line.kind.letter) {
    case L'0': return findInRound(line, now, report);
    case L'1': return findInSubscriber(line, numbers, now, report);
    case L'2': return findInModule(line, now, report);
    case L'3': return findInChange(line, report);
    case L'7': return findInPosition(line, report);
    default: return;
    }
}

void LineExaminer::add(
    const LineValues& line, const ReadingNumbers& numbers, std::int64_t number, bool isDoubtful, LineNotes& notes) {
    const auto add = [&](const SerialKey& serial, auto of) {
        constexpr std::size_t usual = 256;  // of a part of a file
        if (notes.lines.capacity() == 0) notes.lines.reserve(usual);
        LineNote& note = notes.lines.emplace_back();
        note.serial = serial;
        note.number = number;
        note.letter = static_cast<char>(line.kind.letter);
        note.isDoubtful = isDoubtful;
        note.of.emplace<decltype(of)>(of);
    };
    switch (line.kind.letter) {
    case L'1': return add(line.serial(of<Subscriber>().serial), noteOfSubscriber(line, numbers, notes));
    case L'2': return add(line.serial(of<Module>().serial), noteOfModule(line));
    case L'3': return add(line.serial(of<Change>().oldSerial), noteOfChange(line));
    case L'4': return add(line.serial(of<ExtendedModule>().serial), noteOfExtendedModule(line));
    case L'5':
        notes.pages.push_back(noteOfDefinition(line));
        return add({}, DefinitionNote{static_cast<std::uint32_t>(notes.pages.size() - 1)});
    case L'6': return add(line.serial(of<Answers>().serial), noteOfAnswers(line));
    case L'7': {
        const SerialKey serial = line.serial(of<Position>().serial);
        PositionNote position;
        return notePosition(line, position) ? add(serial, position) : add(serial, std::monostate{});
    }
    case L'9': return add({}, noteOfInformation(line));
    default: return add({}, std::monostate{});
    }
}

bool LineExaminer::addIfClean(
    const RecordKind& kind, const FilledModel& values, const char* line, std::int64_t number, LineNotes& notes) const {
    const LineValues of(kind, values, line);
    const ReadingNumbers numbers = numbersIn(of);
    LineReport report(rules, number, nullptr);
    find(of, numbers, report);
    if (!report.isEmpty()) return false;
    add(of, numbers, number, false, notes);
    return true;
}

void LineExaminer::add(const RecordKind& kind, const FilledModel& values, const wchar_t* line, std::int64_t number,
    bool isDoubtful, LineNotes& notes, std::vector<Finding>& findings) const {
    const LineValues of(kind, values, line);
    const ReadingNumbers numbers = numbersIn(of);
    LineReport report(rules, number, &findings);
    if (!isDoubtful || kind.letter == L'0') find(of, numbers, report);
    add(of, numbers, number, isDoubtful, notes);
}

// The first character that is not a space may still be the letter.
void LineExaminer::addMalformed(std::wstring_view text, std::int64_t number, LineNotes& notes) {
    const std::size_t first = text.find_first_not_of(L" \"");
    const wchar_t letter = first == std::wstring_view::npos ? L'\0' : text[first];
    notes.lines.push_back(
        {.number = number, .letter = isRecordLetter(letter) ? static_cast<char>(letter) : '\0', .isMalformed = true});
}

}  // namespace tramo
