#include "common/zone.h"
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>

#ifdef _WIN32
#include <stdlib.h>
#define environ _environ
#define tzset _tzset
#define localtime_r(time, result) localtime_s(result, time)
#else
#include <unistd.h>
#endif

namespace tramo::zone {

namespace {

constexpr std::int64_t hour = 3600, day = 24 * hour;

std::int64_t floorDivide(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

// The broken-down time as if it were UTC.
std::int64_t asSeconds(const std::tm& t) {
    using namespace std::chrono;
    const sys_days date = year{t.tm_year + 1900} / (t.tm_mon + 1) / t.tm_mday;
    return sys_seconds{date + hours{t.tm_hour} + minutes{t.tm_min} + seconds{t.tm_sec}}.time_since_epoch().count();
}

std::tm localTime(std::int64_t instant) {
    const auto time = static_cast<std::time_t>(instant);
    std::tm result{};
    localtime_r(&time, &result);
    return result;
}

std::int32_t offsetAt(std::int64_t instant) { return static_cast<std::int32_t>(asSeconds(localTime(instant)) - instant); }

// Offsets are remembered in bins of time. No zone of the database has ever changed its offset twice within three days,
// so two looks at most a day apart see every change.
constexpr std::int32_t unsteady = INT32_MAX;  // for a bin that has more than one offset
struct Bin {
    std::int32_t number, offset;
};
constexpr Bin emptyBin{INT32_MIN, 0};

template <std::int64_t seconds, std::size_t count, auto find> struct Bins {
    Bin bins[count];

    std::int32_t offset(std::int64_t time) {
        const auto number = static_cast<std::int32_t>(floorDivide(time, seconds));
        Bin& bin = bins[static_cast<std::uint32_t>(number) % count];
        if (bin.number != number) {
            tzset();  // localtime_r need not look at TZ
            bin = {number, find(number * seconds, (number + 1) * seconds)};
        }
        return bin.offset;
    }
};

constexpr std::int64_t reach = 26 * hour;  // more than any offset
constexpr std::int64_t usualChange = 3 * hour;

// The offset of all times from begin to end, read as instants or as local times.
std::int32_t findSteady(std::int64_t begin, std::int64_t end) {
    const std::int32_t offset = offsetAt(end + reach);
    for (std::int64_t instant = begin - reach; instant < end + reach; instant += day)
        if (offsetAt(instant) != offset) return unsteady;
    return offset;
}

std::int32_t findOfInstants(std::int64_t begin, std::int64_t end) {
    const std::int32_t offset = offsetAt(begin);
    return offset == offsetAt(end - 1) ? offset : unsteady;
}

// Steady when each of these local times exists once: no change is close by, and none that large is in reach.
std::int32_t findOfLocalTimes(std::int64_t begin, std::int64_t end) {
    const std::int32_t offset = offsetAt(begin - offsetAt(begin));
    const auto change = [&](std::int64_t local) { return std::abs(offsetAt(local - offset) - offset); };
    const bool close = change(begin) != 0 || change(begin - usualChange) != 0 || change(end + usualChange) != 0;
    const bool large = change(begin - reach) > usualChange || change(end + reach) > usualChange;
    return close || large ? unsteady : offset;
}

// Where TZ stands in the environment, so that a call sees at once that nothing has changed: the same array, the same
// entry at the same place, with the same text. Without TZ, the end of the array and the entry before it must be the
// same. A text too long to be remembered counts as changed each time.
class TimeZoneMark {
public:
    bool holds() const {
        if (!place || environ != environment || *place != entry) return false;
        if (entry) return std::strcmp(entry, text) == 0;
        return place == environ || place[-1] == last;
    }

    void set() {
        environment = place = environ;
        if (!place) return;
        while (*place && std::strncmp(*place, "TZ=", 3) != 0) ++place;
        entry = *place;
        last = place == environ ? nullptr : place[-1];
        if (entry) std::strncpy(text, entry, sizeof text - 1);
    }

private:
    char** environment;
    char** place;
    const char* entry;
    const char* last;
    char text[128];
};

// What one thread remembers. It has no constructor: a thread starts with zeros, for which the mark does not hold.
struct Memory {
    TimeZoneMark mark;
    Bins<3 * day, 2048, findSteady> steady;  // 16 years
    Bins<hour, 256, findOfInstants> instants;
    Bins<hour, 256, findOfLocalTimes> localTimes;
};

Memory& memory() {
    static constinit thread_local Memory memory{};
    if (!memory.mark.holds()) {
        memory.mark.set();
        std::ranges::fill(memory.steady.bins, emptyBin);
        std::ranges::fill(memory.instants.bins, emptyBin);
        std::ranges::fill(memory.localTimes.bins, emptyBin);
    }
    return memory;
}

// mktime moves a time that does not exist by what was skipped, one way or the other. A date must not become the day before.
std::int64_t byMktime(std::int64_t local) {
    const std::int64_t days = floorDivide(local, day);
    const auto ofDay = static_cast<int>(local - days * day);
    std::tm t{};
    t.tm_year = 70;
    t.tm_mday = static_cast<int>(days) + 1;
    t.tm_hour = ofDay / 3600;
    t.tm_min = ofDay / 60 % 60;
    t.tm_sec = ofDay % 60;
    t.tm_isdst = -1;
    const std::int64_t instant = std::mktime(&t);
    const std::int64_t moved = asSeconds(t) - local;
    return moved < -ofDay ? instant - moved : instant;
}

}  // namespace

std::int64_t toInstant(std::int64_t local) {
    Memory& known = memory();
    std::int32_t offset = known.steady.offset(local);
    if (offset == unsteady) offset = known.localTimes.offset(local);
    return offset != unsteady ? local - offset : byMktime(local);
}

std::int64_t toLocal(long32 instant) {
    Memory& known = memory();
    std::int32_t offset = known.steady.offset(instant);
    if (offset == unsteady) offset = known.instants.offset(instant);
    return offset != unsteady ? instant + std::int64_t{offset} : asSeconds(brokenDown(instant));
}

std::tm brokenDown(long32 instant) {
    tzset();
    return localTime(instant);
}

}  // namespace tramo::zone
