// Dates as text, in the host's local time.
#pragma once
#include "tramostream/types.h"
#include <limits>

namespace tramo::dates {

inline constexpr long32 noTime = std::numeric_limits<long32>::lowest();

// DateUtils::strToTime under its inner name.
long32 read(const char* format, const char* text);

// YYYYMMDDhhmm.
void write(long32 seconds, char (&digits)[12]);

}  // namespace tramo::dates
