// Dates as text, in the host's local time.
#pragma once
#include "tramostream/types.h"
#include <array>
#include <limits>

namespace tramo::dates {

inline constexpr long32 noTime = std::numeric_limits<long32>::lowest();

// DateUtils::strToTime under its inner name.
long32 read(const char* format, const char* text);

// The instant of a local time, or noTime when there is no such date or clock time, or when it does not fit.
long32 toInstant(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute);

struct LocalTime {
    std::array<char, 8> date;  // YYYYMMDD
    unsigned minuteOfDay;
};
LocalTime toLocal(long32 instant);

}  // namespace tramo::dates
