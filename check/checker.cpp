#include "check/cleanlines.h"
#include "common/concat.h"
#include "tramostream/check.h"
#include <algorithm>

namespace tramo {

void Checker::line(const SourceLine& line, std::vector<Finding>& findings) {
    const std::optional<LineKind> kind = options.kind ? options.kind : kindOfLine(line, options.prevailing);
    const std::size_t first = findings.size();
    counted.add(line.text, kind);
    if (checkShape(line, kind, findings)) checkFields(*kind, line.text, options.all, findings);
    if (findings.size() == first) return;
    if (kind == LineKind::Key || line.mayHoldKeys())
        for (std::size_t i = first; i < findings.size(); ++i) findings[i].excerpt = false;
    finish(first, line.number, findings);
}

bool Checker::countIfClean(const RecordKind& kind, std::string_view line) {
    if ((options.kind ? options.kind : options.prevailing) != LineKind::Record) return false;
    if (!memory.lines) memory.lines = std::make_shared<CleanLines>();
    if (!memory.lines->has(kind, line, options.all)) return false;
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
}

// Places, sorts and counts the findings from `first` on.
void Checker::finish(std::size_t first, std::int64_t number, std::vector<Finding>& findings) {
    const auto begin = findings.begin() + static_cast<std::ptrdiff_t>(first);
    std::ranges::stable_sort(begin, findings.end(), {}, &Finding::column);
    for (auto finding = begin; finding != findings.end(); ++finding) {
        finding->line = number;
        if (finding->rule->isError(options.strict)) finding->severity = Severity::Error;
        counted.add(*finding);
    }
}

}  // namespace tramo
