// What a run has read and found, in numbers.
#pragma once
#include "findings.h"
#include "lines.h"
#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace tramo::cli {

struct Count {
    std::uint64_t errors = 0, warnings = 0;
    std::uint64_t all() const { return errors + warnings; }
    Count& operator+=(const Count& other) {
        errors += other.errors;
        warnings += other.warnings;
        return *this;
    }
};

/// So many lines of one kind.
struct KindCount {
    char letter;  ///< of record lines; 0: none
    std::string name;
    std::uint64_t lines;
};

/// So many findings about one field, or of one rule about lines.
struct FindingCount {
    std::string_view kind, field;  ///< empty: lines
    const RuleInfo* rule;          ///< of lines; of fields nullptr
    Count count;
};

/// One file's numbers.
class Summary {
public:
    void count(const Line& line, std::optional<LineKind> kind);
    void count(const Finding& finding, bool isError);

    /// Adds what was counted in the lines that come next.
    Summary& operator+=(const Summary& next);

    std::uint64_t lines = 0, bytes = 0;
    std::uint64_t fileBytes = 0;  ///< also those that were not looked at
    bool utf16 = false;
    Count total;
    std::uint64_t notListed = 0;  ///< findings beyond the greatest number to be listed
    std::chrono::duration<double> time{};

    std::vector<KindCount> lineKinds() const;         ///< record lines by letter, then the others
    std::vector<FindingCount> findingCounts() const;  ///< most frequent first

private:
    Count& countOf(const FindingCount& what);

    std::array<std::uint64_t, 128> byLetter{};
    std::array<std::uint64_t, 4> byKind{};
    std::uint64_t empty = 0, unknown = 0;
    std::vector<FindingCount> counts;
};

/// All files of a run.
struct RunTotal {
    std::uint64_t files = 0, unreadable = 0;
    Count total{};
    int exitCode = 0;
};

}  // namespace tramo::cli
