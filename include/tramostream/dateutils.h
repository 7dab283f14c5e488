// Dates as text and as time values.
#pragma once
#include "tramostream/export.h"
#include "tramostream/types.h"

/// Dates as text and as time values.
namespace DateUtils {

/// Reads a date in the host's local time and gives the seconds since 1970-01-01 00:00:00 UTC.
///
/// `format` is made of %Y (four digits), %m, %d, %H and %M (two digits each) and characters that stand for themselves.
/// The whole text must match, digit by digit: no sign, no blank, nothing behind it. What the format does not name is
/// day 1, month 1, 00:00.
///
/// A local time that comes twice, because the clock is set back, is its first occurrence: in every zone, on every thread.
/// A local time that is skipped, because the clock is set forward, is moved by what is skipped: into summer time, as
/// mktime moves it, where only one of the two ways leads there, otherwise forward (in Paris, 02:30 becomes 03:30). It is
/// never moved to the day before: where midnight is skipped, the result is on the day that was asked for.
///
/// Gives the lowest 32-bit value when the text does not match, the format has another directive, the date is not in the
/// calendar, or the time does not fit in 32 bits (before 1901-12-13, after 2038-01-19). Other negative results are
/// times before 1970. Neither argument may be null.
///
/// @snippet docs/examples.cpp DateUtils
TRAMO_EXPORT long32 strToTime(const char* format, const char* text);

}  // namespace DateUtils
