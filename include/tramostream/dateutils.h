// Dates as text and as time values.
#pragma once
#include "tramostream/export.h"
#include "tramostream/types.h"

/// Dates as text and as time values.
namespace DateUtils {

/// Parses a date in the host's local time and returns the seconds since 1970-01-01 00:00:00 UTC.
///
/// `format` consists of %Y (four digits), %m, %d, %H and %M (two digits each) and literal characters. The whole text must
/// match, digit by digit: no sign, no space, nothing after it. Month and day default to 1, hour and minute to 0.
///
/// A local time that occurs twice, because the clock is set back, means the first occurrence, in every zone and on every
/// thread. A local time that is skipped, because the clock is set forward, moves by the length of the gap: if only one
/// direction leads into summer time, in that direction, as mktime moves it; otherwise forward (in Paris, 02:30 becomes
/// 03:30). It never moves to the previous day: where midnight is skipped, the result is on the given day.
///
/// Returns the lowest 32-bit value if the text does not match, the format has another directive or no %Y, the date is not
/// in the calendar, or the time does not fit in 32 bits (before 1901-12-13, after 2038-01-19). Other negative results
/// are times before 1970. Neither argument may be null.
///
/// @snippet docs/examples.cpp DateUtils
TRAMO_EXPORT long32 strToTime(const char* format, const char* text);

}  // namespace DateUtils
