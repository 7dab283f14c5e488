#include "common/dates.h"
#include "common/zone.h"
#include "tramostream/dateutils.h"
#include <chrono>
#include <cstdint>

namespace tramo::dates {

namespace {

using namespace std::chrono;

constexpr std::int64_t minuteSeconds = 60, hourSeconds = 60 * minuteSeconds, daySeconds = 24 * hourSeconds;

// Takes exactly `count` digits off the text.
bool takeDigits(const char*& text, int count, int& value) {
    value = 0;
    for (; count > 0; --count, ++text) {
        const auto digit = static_cast<unsigned char>(*text - '0');
        if (digit > 9) return false;
        value = value * 10 + digit;
    }
    return true;
}

long32 toSeconds(int yearNumber, int monthNumber, int dayNumber, int hour, int minute) {
    if (yearNumber < 1901 || yearNumber > 2038) return noTime;  // far from what 32 bits hold
    const year_month_day date{year{yearNumber}, month{static_cast<unsigned>(monthNumber)}, day{static_cast<unsigned>(dayNumber)}};
    if (!date.ok() || hour > 23 || minute > 59) return noTime;
    const std::int64_t days = sys_days{date}.time_since_epoch().count();
    const std::int64_t instant = zone::toInstant(days * daySeconds + hour * hourSeconds + minute * minuteSeconds);
    const bool fits = instant >= std::numeric_limits<long32>::min() && instant <= std::numeric_limits<long32>::max();
    return fits ? static_cast<long32>(instant) : noTime;
}

}  // namespace

long32 read(const char* format, const char* text) {
    int yearNumber = 0, monthNumber = 1, dayNumber = 1, hour = 0, minute = 0;  // no year: one that does not fit
    for (; *format; ++format) {
        bool matches = false;
        if (*format != '%') {
            matches = *format == *text++;
        } else {
            switch (*++format) {
            case 'Y': matches = takeDigits(text, 4, yearNumber); break;
            case 'm': matches = takeDigits(text, 2, monthNumber); break;
            case 'd': matches = takeDigits(text, 2, dayNumber); break;
            case 'H': matches = takeDigits(text, 2, hour); break;
            case 'M': matches = takeDigits(text, 2, minute); break;
            default: break;
            }
        }
        if (!matches) return noTime;
    }
    return *text ? noTime : toSeconds(yearNumber, monthNumber, dayNumber, hour, minute);
}

ClockTime toLocal(long32 seconds) {
    const std::int64_t local = zone::toLocal(seconds);
    const sys_days date = floor<days>(sys_seconds{std::chrono::seconds{local}});
    const year_month_day calendar{date};
    const auto minuteOfDay = static_cast<unsigned>((local - date.time_since_epoch().count() * daySeconds) / minuteSeconds);
    return {static_cast<unsigned>(static_cast<int>(calendar.year())), static_cast<unsigned>(calendar.month()),
        static_cast<unsigned>(calendar.day()), minuteOfDay / 60, minuteOfDay % 60};
}

}  // namespace tramo::dates

namespace DateUtils {

long32 strToTime(const char* format, const char* text) { return tramo::dates::read(format, text); }

}  // namespace DateUtils
