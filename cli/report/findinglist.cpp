#include "cli/report/findinglist.h"
#include <algorithm>
#include <utility>

namespace tramo::cli {

namespace {

constexpr std::size_t mostHeld = 4 * 1024 * 1024;  // bytes of descriptions

// Names of kinds and fields are never copied: one name is one address.
bool areAlike(const AlikeFindings& one, const AlikeFindings& other) {
    return one.field.field.data() == other.field.field.data() && one.rule == other.rule && one.explanations == other.explanations;
}

}  // namespace

AlikeFindings& FindingGroups::groupOf(const AlikeFindings& like) {
    for (std::size_t i = 0; i < groups.size(); ++i, ++next) {
        if (next >= groups.size()) next = 0;
        if (areAlike(groups[next], like)) return groups[next++];
    }
    next = groups.size() + 1;
    return groups.emplace_back(
        AlikeFindings{{like.field.kind, like.field.field, like.field.rule, {}}, like.rule, like.explanations});
}

std::size_t FindingGroups::add(const Finding& finding, std::uint32_t explanations) {
    const Rule* rule = finding.field.empty() ? finding.rule : nullptr;
    AlikeFindings& group = groupOf({{finding.kind, finding.field, rule, {}}, finding.rule, explanations});
    group.field.count += finding.severity;
    group.lines.add(finding.line);
    return static_cast<std::size_t>(&group - groups.data());
}

std::uint64_t FindingGroups::countLike(const AlikeFindings& like) const {
    const auto group = std::ranges::find_if(groups, [&](const AlikeFindings& one) { return areAlike(one, like); });
    return group == groups.end() ? 0 : group->lines.count;
}

std::size_t FindingGroups::add(const AlikeFindings& more) {
    AlikeFindings& group = groupOf(more);
    group.field.count += more.field.count;
    group.lines.add(more.lines);
    return static_cast<std::size_t>(&group - groups.data());
}

void FindingList::start() {
    groups.clear();
    entries.clear();
    hasEntry.clear();
    held = 0;
    listed = represented = 0;
}

bool FindingList::wants(const AlikeFindings& like) {
    if (mostListed == 0) return false;
    return isEach || groups.countLike(like) < mostAlike;
}

void FindingList::add(const FindingGroups& more, std::span<const DescribedFinding> described) {
    std::vector<std::size_t> groupHere;
    for (const AlikeFindings& group : more.all()) groupHere.push_back(groups.add(group));
    for (const DescribedFinding& finding : described) {
        const std::size_t group = groupHere[finding.group];
        if (hasEntry.size() <= group) hasEntry.resize(group + 1);
        if (!isEach && hasEntry[group] && groups[group].lines.count > mostAlike) continue;
        hasEntry[group] = true;
        entries.push_back({finding.line, group, std::string(finding.text)});
        held += finding.text.size();
    }
    if (isEach && held > mostHeld) write(0);
}

std::uint64_t FindingList::end(const std::vector<Finding>& diagnosed, std::string_view label, CheckSummary& counted) {
    const std::uint32_t rules = Diagnosis::bitsOf(diagnosed);
    for (const AlikeFindings& group : groups.all())
        if (isHidden(group, rules)) counted.remove(group.field);
    writeDiagnosis(diagnosed, label, counted);
    write(rules);
    return counted.total.withHints() - represented;
}

void FindingList::writeDiagnosis(const std::vector<Finding>& diagnosed, std::string_view label, CheckSummary& counted) {
    fmt::memory_buffer described;
    for (const Finding& finding : diagnosed) {
        counted.add(finding);
        if (listed == mostListed) continue;
        Line line;
        line.number = finding.line;
        described.clear();
        report.describe(finding, line, label, described);
        report.finding({described.data(), described.size()});
        ++listed;
        ++represented;
    }
}

void FindingList::write(std::uint32_t diagnosed) {
    std::ranges::stable_sort(entries, {}, &Entry::line);
    std::vector<bool> isWritten(groups.all().size());  // of groups that are listed as one
    for (const Entry& entry : entries) {
        const AlikeFindings& group = groups[entry.group];
        const bool isOne = !isEach && group.lines.count > mostAlike;
        if (listed == mostListed) break;
        if (isHidden(group, diagnosed) || (isOne && isWritten[entry.group])) continue;
        isWritten[entry.group] = true;
        ++listed;
        represented += isOne ? group.lines.count : 1;
        if (isOne) report.findings(entry.text, group.lines);
        else report.finding(entry.text);
    }
    entries.clear();
    held = 0;
}

}  // namespace tramo::cli
