// The host's local time. A local time is held as the seconds that its calendar date and clock time would be in UTC.
#pragma once
#include "tramostream/types.h"
#include <cstdint>
#include <ctime>

namespace tramo::zone {

// The instant of a local time. A repeated local time is its first occurrence. A skipped one is moved by what was skipped:
// into summer time where only one of the two ways leads there, but not to the day before; otherwise forward.
std::int64_t toInstant(std::int64_t local);

// The midnight at which a day between 1902 and 2037 begins, if the whole day has one offset; else `unsteady`, also for a
// date that does not exist, and without memory to remember days in. Months are 1 to 12, days 1 to 31.
inline constexpr std::int32_t unsteady = INT32_MAX;
long32 midnightOf(unsigned year, unsigned month, unsigned day);

std::int64_t toLocal(long32 instant);

// Broken-down local time, as localtime gives it.
std::tm brokenDown(long32 instant);

}  // namespace tramo::zone
