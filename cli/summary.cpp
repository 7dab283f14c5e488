#include "summary.h"
#include <algorithm>

namespace tramo::cli {

void Summary::count(const Line& line, std::optional<LineKind> kind) {
    ++lines;
    if (line.text.empty()) ++empty;
    else if (kind && kind != LineKind::Record) ++byKind[static_cast<std::size_t>(*kind)];
    else if (kind && isRecordLetter(line.text.front())) ++byLetter[static_cast<std::size_t>(line.text.front())];
    else ++unknown;
}

void Summary::count(const Finding& finding, bool isError) {
    const RuleInfo* lineRule = finding.field.empty() ? finding.rule : nullptr;
    // The names of kinds and fields are never copied: one name is one address.
    auto found = std::ranges::find_if(
        counts, [&](const FindingCount& c) { return c.field.data() == finding.field.data() && c.rule == lineRule; });
    if (found == counts.end()) found = counts.insert(found, {finding.kind, finding.field, lineRule, {}});
    const Count one = isError ? Count{1, 0} : Count{0, 1};
    found->count += one;
    total += one;
}

std::vector<KindCount> Summary::lineKinds() const {
    std::vector<KindCount> kinds;
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

std::vector<FindingCount> Summary::findingCounts() const {
    std::vector<FindingCount> sorted = counts;
    std::ranges::stable_sort(sorted, std::greater{}, [](const FindingCount& c) { return c.count.all(); });
    return sorted;
}

}  // namespace tramo::cli
