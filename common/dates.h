// Dates as text, in the host's local time.
#pragma once
#include "tramostream/types.h"
#include <array>
#include <limits>

namespace tramo::dates {

inline constexpr long32 noTime = std::numeric_limits<long32>::lowest();

// Implements DateUtils::strToTime.
long32 read(const char* format, const char* text);

// Returns the instant of a local time, or noTime if the date or the clock time is invalid or the instant does not fit.
long32 toInstant(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute);

struct LocalTime {
    std::array<char, 8> date;  // YYYYMMDD
    unsigned minuteOfDay;
};
LocalTime toLocal(long32 instant);

}  // namespace tramo::dates
