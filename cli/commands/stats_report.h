// The forms in which the numbers of a round are printed.
#pragma once
#include "cli/commands/stats_numbers.h"
#include "cli/io/console.h"
#include <memory>
#include <string>

namespace tramo::cli {

class StatsReport {
public:
    virtual ~StatsReport() = default;

    /// `file` is the path as the user gave it.
    virtual void file(const std::string& file, const Stats& stats) = 0;

    /// To be called after the last file that could be read.
    virtual void end(const Stats& total) = 0;
};

std::unique_ptr<StatsReport> makeTextStats(Output& output);
std::unique_ptr<StatsReport> makeJsonStats(Output& output);

}  // namespace tramo::cli
