#include "check/checkermemory.h"
#include "common/concat.h"
#include "tramostream/check.h"
#include <algorithm>

namespace tramo {

namespace {

// Joined at once: many enough that their memory is used again and again, few enough for a cache.
constexpr std::size_t linesAtOnce = 64;

// Returns whether the values of the line may be others than those that were read.
bool makesDoubtful(const Finding& finding) {
    static const Rule *const ignored = ruleNamed("TextIgnored"), *const withoutCr = ruleNamed("LineEndWithoutCR"),
                             *const withoutEnd = ruleNamed("LineEndMissing");
    return finding.rule == ignored ||
           (finding.rule->severity == Severity::Error && finding.rule != withoutCr && finding.rule != withoutEnd);
}

// The format itself reports most incomplete areas.
void removeReportedAreas(std::vector<Finding>& findings, std::size_t first) {
    const Rule* const reported = ruleNamed("MandatoryInconsistent");
    const Rule* const incomplete = &ruleOf(RoundRule::AreaIncomplete);
    const auto begin = findings.begin() + static_cast<std::ptrdiff_t>(first);
    const auto isReported = [&](const Finding& finding) {
        return finding.rule == incomplete && std::any_of(begin, findings.end(), [&](const Finding& other) {
            return other.rule == reported && other.column == finding.column;
        });
    };
    std::vector<bool> remove;
    for (auto finding = begin; finding != findings.end(); ++finding) remove.push_back(isReported(*finding));
    std::size_t at = 0;
    findings.erase(std::remove_if(begin, findings.end(), [&](const Finding&) { return remove[at++]; }), findings.end());
}

}  // namespace

Checker::Memory::Memory(const Memory& other) : kept(other.kept ? std::make_shared<CheckerMemory>(*other.kept) : nullptr) {}

Checker::Memory& Checker::Memory::operator=(const Memory& other) {
    if (this != &other) *this = Memory(other);
    return *this;
}

CheckerMemory& Checker::use() {
    if (!memory.kept) memory.kept = std::make_shared<CheckerMemory>(options);
    return *memory.kept;
}

void Checker::line(const SourceLine& line, std::vector<Finding>& findings) {
    const std::optional<LineKind> kind = options.kind ? options.kind : kindOfLine(line, options.prevailing);
    const std::size_t first = findings.size();
    counted.add(line.text, kind);
    const bool hasFields = checkShape(line, kind, findings);
    if (hasFields) checkFields(*kind, line.text, options.all, findings);
    if (options.rounds && (!kind || kind == LineKind::Record || line.text.empty())) note(line, hasFields, first, findings);
    if (findings.size() == first) return;
    if (kind == LineKind::Key || line.mayHoldKeys())
        for (std::size_t i = first; i < findings.size(); ++i) findings[i].excerpt = false;
    finish(first, line.number, findings);
}

void Checker::note(const SourceLine& line, bool hasFields, std::size_t first, std::vector<Finding>& findings) {
    CheckerMemory& own = use();
    own.lastNumber = line.number;
    if (own.examiner.isOff()) return;
    if (!hasFields) {
        if (!line.mayHoldKeys()) LineExaminer::addMalformed(line.text, line.number, own.notes);
    } else {
        const RecordKind& kind = *recordKind(line.text.front());
        bool isDoubtful = false;
        const FilledModel& values = own.lines.values(kind, line.text.data(), isDoubtful);
        const std::size_t before = findings.size();
        isDoubtful |= std::any_of(findings.begin() + static_cast<std::ptrdiff_t>(first), findings.end(), makesDoubtful);
        own.examiner.add(kind, values, line.text.data(), line.number, isDoubtful, own.notes, findings);
        for (std::size_t i = before; i < findings.size(); ++i) findings[i].excerpt = true;
        if (findings.size() > before) removeReportedAreas(findings, first);
    }
    if (!options.isPart && own.notes.lines.size() >= linesAtOnce) own.join();
}

bool Checker::countIfClean(const RecordKind& kind, std::string_view line, std::int64_t number) {
    if ((options.kind ? options.kind : options.prevailing) != LineKind::Record) return false;
    CheckerMemory& own = use();
    const FilledModel* const values = own.lines.valuesIfClean(kind, line, options.all);
    if (!values) return false;
    const std::int64_t here = number ? number : own.lastNumber + 1;
    if (options.rounds && !own.examiner.isOff()) {
        if (!options.isPart && own.notes.lines.size() >= linesAtOnce) own.join();
        if (!own.examiner.addIfClean(kind, *values, line.data(), here, own.notes)) return false;
    }
    own.lastNumber = here;
    counted.add(std::wstring_view(&kind.letter, 1), LineKind::Record);
    return true;
}

void Checker::end(const End& end, std::vector<Finding>& findings) {
    const std::size_t first = findings.size();
    std::int64_t line = end.lines;
    if (end.charactersUnread) {
        ++line;
        findings.push_back(findingOf("TextUnread", "line begins with U+FFFF, which ends the text",
            tramo::counted(end.charactersUnread, "character") + " from here on cannot be read", 1));
    }
    if (end.isLastByteOdd)
        findings.push_back(findingOf("LastByteOdd", "the file ends with half of a UTF-16 character", "its last byte is ignored"));
    if (line == 0) findings.push_back(findingOf("FileEmpty", "the file is empty"));
    finish(first, line, findings);
    if (!options.isPart) this->end([&](Finding&& finding) { findings.push_back(std::move(finding)); });
}

void Checker::add(const Checker& part, const Sink& sink) {
    counted += part.counted;
    if (!options.rounds || !part.memory.kept) return;
    CheckerMemory& own = use();
    std::size_t first = 0;
    own.add(part.memory.kept->notes, first);
    take(sink);
}

void Checker::end(const Sink& sink) {
    if (!options.rounds) return;
    CheckerMemory& own = use();
    own.join();
    own.joined.end();
    take(sink);
}

void Checker::take(const Sink& sink) {
    memory.kept->joined.take([&](Finding&& finding) {
        if (accept(finding)) sink(std::move(finding));
    });
}

// Sets the severity of a finding and counts it. Returns false if its rule is off.
bool Checker::accept(Finding& finding) {
    const std::optional<Severity> severity = options.severities.of(*finding.rule, options.strict);
    if (!severity) return false;
    finding.severity = *severity;
    counted.add(finding);
    return true;
}

// Places, sorts and counts the findings from `first` on, and removes those of rules that are off.
void Checker::finish(std::size_t first, std::int64_t number, std::vector<Finding>& findings) {
    const auto begin = findings.begin() + static_cast<std::ptrdiff_t>(first);
    std::ranges::stable_sort(begin, findings.end(), {}, &Finding::column);
    findings.erase(std::remove_if(begin, findings.end(),
                       [&](Finding& finding) {
                           finding.line = number;
                           return !accept(finding);
                       }),
        findings.end());
}

void Severities::set(const Rule& rule, std::optional<Severity> severity) {
    const auto found = std::ranges::find(changed, &rule, [](const auto& entry) { return entry.first; });
    if (found != changed.end()) found->second = severity;
    else changed.emplace_back(&rule, severity);
}

}  // namespace tramo
