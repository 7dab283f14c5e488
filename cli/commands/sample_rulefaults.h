// Puts a fault into a sample round that one of the rules about rounds finds.
#pragma once
#include "cli/commands/sample_faults.h"
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli::sample {

/// The rules about rounds that a fault can be made for.
std::vector<std::string_view> rulesWithFaults();

/// Changes the lines of one round so that exactly this rule has findings, as few as possible. Returns them as JSON lines; empty:
/// the round has no place for such a fault.
std::string addFault(std::string_view rule, std::uint64_t seed, std::vector<Written>& lines);

}  // namespace tramo::cli::sample
