// Days and local times as the tool shows them.
#pragma once
#include <chrono>
#include <string>

namespace tramo::cli {

/// Returns "2024-01-31".
std::string dayOf(std::chrono::local_days day);

/// Returns the local time, "2024-01-31T14:05".
std::string timeOf(std::chrono::sys_seconds time);

}  // namespace tramo::cli
