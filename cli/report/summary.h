// What a run of check has read and found, in numbers.
#pragma once
#include <chrono>
#include <cstdint>
#include <tramostream/check.h>

namespace tramo::cli {

/// One file's numbers.
struct Summary {
    CheckSummary checked;
    std::uint64_t bytes = 0;
    std::uint64_t fileBytes = 0;  ///< also those that were not looked at
    bool utf16 = false;
    std::uint64_t notListed = 0;  ///< findings beyond the greatest number to be listed
    std::chrono::duration<double> time{};
};

/// All files of a run.
struct RunTotal {
    std::uint64_t files = 0, unreadable = 0;
    FindingCount total{};
    int exitCode = 0;
};

}  // namespace tramo::cli
