// Dates as text, in the host's local time.
#pragma once
#include "tramostream/types.h"
#include <limits>

namespace tramo::dates {

inline constexpr long32 noTime = std::numeric_limits<long32>::lowest();

// DateUtils::strToTime under its inner name.
long32 read(const char* format, const char* text);

struct ClockTime {
    unsigned year, month, day, hour, minute;
};
ClockTime toLocal(long32 instant);

}  // namespace tramo::dates
