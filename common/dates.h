// Dates as text, in the host's local time.
#pragma once
#include "common/zone.h"
#include "tramostream/types.h"
#include <array>
#include <limits>

namespace tramo::dates {

inline constexpr long32 noTime = std::numeric_limits<long32>::lowest();

// Implements DateUtils::strToTime.
long32 read(const char* format, const char* text);

// Returns the instant of a local time, or noTime if the date or the clock time is invalid or the instant does not fit.
long32 toInstant(
    unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute, const zone::Clock& clock = zone::Clock());

// The same, but noTime if the clock changes on that day, too: otherwise, the instant has this local time.
long32 toSteadyInstant(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute, const zone::Clock& clock);

struct LocalTime {
    std::array<char, 8> date;  // YYYYMMDD
    unsigned minuteOfDay;
};
LocalTime toLocal(long32 instant);

}  // namespace tramo::dates
