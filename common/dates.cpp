#include "common/dates.h"
#include "common/perthread.h"
#include "tramostream/dateutils.h"
#include <chrono>
#include <cstdint>
#include <iterator>

namespace tramo::dates {

namespace {

using namespace std::chrono;

// Reads exactly `count` digits and advances the text.
bool takeDigits(const char*& text, int count, unsigned& value) {
    value = 0;
    for (; count > 0; --count, ++text) {
        const auto digit = static_cast<unsigned char>(*text - '0');
        if (digit > 9) return false;
        value = value * 10 + digit;
    }
    return true;
}

long32 findInstant(const year_month_day& date, unsigned hour, unsigned minute, const zone::Clock& clock) {
    const sys_seconds local = sys_days{date} + hours{hour} + minutes{minute};
    const std::int64_t instant = clock.toInstant(local.time_since_epoch().count());
    const bool fits = instant >= std::numeric_limits<long32>::min() && instant <= std::numeric_limits<long32>::max();
    return fits ? static_cast<long32>(instant) : noTime;
}

// Returns the date of a day as digits.
std::array<char, 8> findDigits(std::int32_t day) {
    const year_month_day date{sys_days{days{day}}};
    unsigned number = static_cast<unsigned>(static_cast<int>(date.year())) * 10000 + static_cast<unsigned>(date.month()) * 100 +
                      static_cast<unsigned>(date.day());
    std::array<char, 8> digits;
    for (std::size_t i = digits.size(); i-- > 0; number /= 10) digits[i] = static_cast<char>('0' + number % 10);
    return digits;
}

struct KnownDay {
    std::int32_t day;  // initially zeros: 1970-01-01 without digits
    std::array<char, 8> digits;
};

// The same with a cache per thread, of nearly six years of days.
std::array<char, 8> digitsOf(std::int32_t day) {
    using Memory = std::array<KnownDay, 2048>;
    auto* const memory = ownOfThread<Memory>();
    if (!memory) return findDigits(day);
    KnownDay& known = (*memory)[static_cast<std::uint32_t>(day) % memory->size()];
    if (known.day != day || known.digits[0] == 0) known = {day, findDigits(day)};
    return known.digits;
}

constexpr bool canExist(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute) {
    if (year < 1901 || year > 2038) return false;  // outside 32 bits in every zone
    return month - 1 <= 11 && day - 1 <= 30 && hour <= 23 && minute <= 59;
}
constexpr long32 secondsOf(unsigned hour, unsigned minute) { return static_cast<long32>(hour * 3600 + minute * 60); }

}  // namespace

long32 read(const char* format, const char* text) {
    unsigned yearNumber = 0, monthNumber = 1, dayNumber = 1, hour = 0, minute = 0;  // year 0 does not fit
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

long32 toSteadyInstant(unsigned year, unsigned month, unsigned day, unsigned hour, unsigned minute, const zone::Clock& clock) {
    if (!canExist(year, month, day, hour, minute)) return noTime;
    const long32 midnight = clock.midnightOf(year, month, day);
    return midnight == zone::unsteady ? noTime : midnight + secondsOf(hour, minute);
}

long32 toInstant(
    unsigned yearNumber, unsigned monthNumber, unsigned dayNumber, unsigned hour, unsigned minute, const zone::Clock& clock) {
    if (!canExist(yearNumber, monthNumber, dayNumber, hour, minute)) return noTime;
    const long32 midnight = clock.midnightOf(yearNumber, monthNumber, dayNumber);
    if (midnight != zone::unsteady) return midnight + secondsOf(hour, minute);
    const year_month_day date{year{static_cast<int>(yearNumber)}, month{monthNumber}, day{dayNumber}};
    return date.ok() ? findInstant(date, hour, minute, clock) : noTime;
}

LocalTime toLocal(long32 instant) {
    constexpr std::int64_t dayLength = 86400, early = 30000;  // days: makes every 32-bit time positive in every zone
    const auto local = static_cast<std::uint64_t>(zone::toLocal(instant) + early * dayLength);
    const std::uint64_t day = local / dayLength;
    const auto ofDay = static_cast<unsigned>(local - day * dayLength);
    return {digitsOf(static_cast<std::int32_t>(day) - static_cast<std::int32_t>(early)), ofDay / 60};
}

}  // namespace tramo::dates

namespace DateUtils {

long32 strToTime(const char* format, const char* text) { return tramo::dates::read(format, text); }

}  // namespace DateUtils
