#include "common/dates.h"
#include "common/zone.h"
#include "tramostream/dateutils.h"
#include <chrono>
#include <cstdint>

namespace tramo::dates {

namespace {

using namespace std::chrono;

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
    if (yearNumber < 1901 || yearNumber > 2038) return noTime;  // far from what 32 bits hold, in every zone
    const year_month_day date{year{yearNumber}, month{static_cast<unsigned>(monthNumber)}, day{static_cast<unsigned>(dayNumber)}};
    if (!date.ok() || hour > 23 || minute > 59) return noTime;
    const sys_seconds local = sys_days{date} + hours{hour} + minutes{minute};
    const std::int64_t instant = zone::toInstant(local.time_since_epoch().count());
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

ClockTime toLocal(long32 instant) {
    const sys_seconds local{seconds{zone::toLocal(instant)}};
    const auto midnight = floor<days>(local);
    const year_month_day date{midnight};
    const auto minuteOfDay = static_cast<unsigned>(floor<minutes>(local - midnight).count());
    return {static_cast<unsigned>(static_cast<int>(date.year())), static_cast<unsigned>(date.month()),
        static_cast<unsigned>(date.day()), minuteOfDay / 60, minuteOfDay % 60};
}

}  // namespace tramo::dates

namespace DateUtils {

long32 strToTime(const char* format, const char* text) { return tramo::dates::read(format, text); }

}  // namespace DateUtils
