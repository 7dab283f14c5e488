#include "common/dates.h"
#include "common/zone.h"
#include "tramostream/dateutils.h"
#include <chrono>
#include <cstdint>
#include <iterator>

namespace tramo::dates {

namespace {

using namespace std::chrono;

// Takes exactly `count` digits off the text.
bool takeDigits(const char*& text, int count, unsigned& value) {
    value = 0;
    for (; count > 0; --count, ++text) {
        const auto digit = static_cast<unsigned char>(*text - '0');
        if (digit > 9) return false;
        value = value * 10 + digit;
    }
    return true;
}

long32 findInstant(const year_month_day& date, unsigned hour, unsigned minute) {
    const sys_seconds local = sys_days{date} + hours{hour} + minutes{minute};
    const std::int64_t instant = zone::toInstant(local.time_since_epoch().count());
    const bool fits = instant >= std::numeric_limits<long32>::min() && instant <= std::numeric_limits<long32>::max();
    return fits ? static_cast<long32>(instant) : noTime;
}

// A day's date as digits, from what this thread remembers of nearly six years of days.
std::array<char, 8> digitsOf(sys_days day) {
    struct Known {
        sys_days day;  // a thread starts with zeros, that is with 1970-01-01 and no digits
        std::array<char, 8> digits;
    };
    static constinit thread_local Known memory[2048]{};
    Known& known = memory[static_cast<unsigned>(day.time_since_epoch().count()) % std::size(memory)];
    if (known.day != day || known.digits[0] == 0) {
        const year_month_day date{day};
        unsigned number = static_cast<unsigned>(static_cast<int>(date.year())) * 10000 +
                          static_cast<unsigned>(date.month()) * 100 + static_cast<unsigned>(date.day());
        known.day = day;
        for (std::size_t i = known.digits.size(); i-- > 0; number /= 10) known.digits[i] = static_cast<char>('0' + number % 10);
    }
    return known.digits;
}

}  // namespace

long32 read(const char* format, const char* text) {
    unsigned yearNumber = 0, monthNumber = 1, dayNumber = 1, hour = 0, minute = 0;  // no year: one that does not fit
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
    return *text ? noTime : toInstant(yearNumber, monthNumber, dayNumber, hour, minute);
}

long32 toInstant(unsigned yearNumber, unsigned monthNumber, unsigned dayNumber, unsigned hour, unsigned minute) {
    if (hour > 23 || minute > 59) return noTime;
    if (yearNumber < 1901 || yearNumber > 2038) return noTime;  // far from what 32 bits hold, in every zone
    const year_month_day date{year{static_cast<int>(yearNumber)}, month{monthNumber}, day{dayNumber}};
    const long32 midnight = zone::midnightOf(date);
    if (midnight != zone::unsteady) return midnight + static_cast<long32>(hour * 3600 + minute * 60);
    return date.ok() ? findInstant(date, hour, minute) : noTime;
}

LocalTime toLocal(long32 instant) {
    const sys_seconds local{seconds{zone::toLocal(instant)}};
    const auto midnight = floor<days>(local);
    const auto minuteOfDay = static_cast<unsigned>(floor<minutes>(local - midnight).count());
    return {digitsOf(midnight), minuteOfDay / 60, minuteOfDay % 60};
}

}  // namespace tramo::dates

namespace DateUtils {

long32 strToTime(const char* format, const char* text) { return tramo::dates::read(format, text); }

}  // namespace DateUtils
