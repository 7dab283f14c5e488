#include "tramostream/check.h"
#include <algorithm>

namespace tramo {

void CheckSummary::add(std::wstring_view text, std::optional<LineKind> kind) {
    ++lines;
    if (text.empty()) ++empty;
    else if (kind && kind != LineKind::Record) ++byKind[static_cast<std::size_t>(*kind)];
    else if (kind && isRecordLetter(text.front())) ++byLetter[static_cast<std::size_t>(text.front())];
    else ++unknown;
}

// The names of kinds and fields are never copied: one name is one address.
FindingCount& CheckSummary::countOf(const FindingsOfField& what) {
    auto found = std::ranges::find_if(
        counts, [&](const FindingsOfField& c) { return c.field.data() == what.field.data() && c.rule == what.rule; });
    if (found == counts.end()) found = counts.insert(found, {what.kind, what.field, what.rule, {}});
    return found->count;
}

void CheckSummary::add(const Finding& finding) {
    const bool isOfField = !finding.field.empty();
    countOf({isOfField ? finding.kind : std::string_view{}, finding.field, isOfField ? nullptr : finding.rule, {}}) +=
        finding.severity;
    total += finding.severity;
}

void CheckSummary::remove(const FindingsOfField& findings) {
    FindingCount& count = countOf(findings);
    count -= findings.count;
    total -= findings.count;
    std::erase_if(counts, [](const FindingsOfField& c) { return c.count.withHints() == 0; });
}

CheckSummary& CheckSummary::operator+=(const CheckSummary& next) {
    lines += next.lines;
    total += next.total;
    for (std::size_t i = 0; i < byLetter.size(); ++i) byLetter[i] += next.byLetter[i];
    for (std::size_t i = 0; i < byKind.size(); ++i) byKind[i] += next.byKind[i];
    empty += next.empty;
    unknown += next.unknown;
    for (const FindingsOfField& what : next.counts) countOf(what) += what.count;
    return *this;
}

std::vector<LinesOfKind> CheckSummary::lineKinds() const {
    std::vector<LinesOfKind> kinds;
    for (std::size_t letter = 0; letter < byLetter.size(); ++letter) {
        if (byLetter[letter] == 0) continue;
        const RecordKind* kind = recordKind(static_cast<wchar_t>(letter));
        kinds.push_back({static_cast<char>(letter), kind ? kind->name : std::string("record"), byLetter[letter]});
    }
    for (std::size_t i = 0; i < byKind.size(); ++i) {
        if (byKind[i] == 0) continue;
        const auto kind = static_cast<LineKind>(i);
        kinds.push_back({0, shapeOf(kind).name + std::string(" line"), byKind[i]});
    }
    if (empty > 0) kinds.push_back({0, "empty line", empty});
    if (unknown > 0) kinds.push_back({0, "unknown line", unknown});
    return kinds;
}

std::vector<FindingsOfField> CheckSummary::findingCounts() const {
    std::vector<FindingsOfField> sorted = counts;
    std::ranges::stable_sort(sorted, std::greater{}, [](const FindingsOfField& c) { return c.count.withHints(); });
    return sorted;
}

}  // namespace tramo
