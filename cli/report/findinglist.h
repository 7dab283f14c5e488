// The findings of one file on their way into a report: in the order of the lines, those of many lines as one. If each is listed,
// those that are known only at the end of a round come later.
#pragma once
#include "cli/report/report.h"
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <tramostream/diagnosis.h>
#include <vector>

namespace tramo::cli {

/// Findings of one rule and field, with the same explanations.
struct AlikeFindings {
    FindingsOfField field;
    const Rule* rule;
    std::uint32_t explanations;  ///< Diagnosis::explanations
    SomeLines lines{};
};

/// Findings in groups. The groups of a file are few: their number does not grow with the file.
class FindingGroups {
public:
    /// Adds a finding or some of them; returns the index of their group.
    std::size_t add(const Finding& finding, std::uint32_t explanations);
    std::size_t add(const AlikeFindings& more);

    /// Returns how many findings are like these.
    std::uint64_t countLike(const AlikeFindings& like) const;

    const AlikeFindings& operator[](std::size_t index) const { return groups[index]; }
    const std::vector<AlikeFindings>& all() const { return groups; }
    void clear() { groups.clear(); }

private:
    AlikeFindings& groupOf(const AlikeFindings& like);

    std::vector<AlikeFindings> groups;
    std::size_t next = 0;  // the group that probably comes next
};

/// A finding that a report has described.
struct DescribedFinding {
    std::int64_t line;
    std::size_t group;
    std::string_view text;
};

/// More than so many findings that are alike are listed as one.
inline constexpr std::uint64_t mostAlike = 10;

/// The findings of one file. Holds little text unless each finding is to be listed; then, findings of large files are written as
/// they come, and the diagnosis after them.
class FindingList {
public:
    /// `listsEach`: also those that a diagnosis explains, and those that are alike. At most `most` are listed.
    FindingList(Report& to, bool listsEach, std::uint64_t most) : report(to), isEach(listsEach), mostListed(most) {}

    /// Begins a file.
    void start();

    /// Adds the findings of the next lines: the groups of all of them, and as many descriptions as are needed.
    void add(const FindingGroups& more, std::span<const DescribedFinding> described);

    /// Returns whether a description of another finding like these is needed.
    bool wants(const AlikeFindings& like);

    /// Ends the file: writes the diagnosis, and then the other findings. Removes from `counted` what the diagnosis explains, and
    /// adds the diagnosis. Returns the number of findings that are counted, but not listed.
    std::uint64_t end(const std::vector<Finding>& diagnosed, std::string_view label, CheckSummary& counted);

private:
    struct Entry {
        std::int64_t line;
        std::size_t group;
        std::string text;
    };
    void write(std::uint32_t diagnosed);
    void writeDiagnosis(const std::vector<Finding>& diagnosed, std::string_view label, CheckSummary& counted);
    bool isHidden(const AlikeFindings& group, std::uint32_t diagnosed) const {
        return !isEach && (group.explanations & diagnosed);
    }

    Report& report;
    const bool isEach;
    const std::uint64_t mostListed;
    FindingGroups groups;
    std::vector<Entry> entries;
    std::vector<bool> hasEntry;  // by group
    std::size_t held = 0;        // bytes of the entries
    std::uint64_t listed = 0, represented = 0;
};

}  // namespace tramo::cli
