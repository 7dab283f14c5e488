#include "common/zone.h"
#include "common/hosttime.h"
#include "common/perthread.h"
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>

#ifdef _WIN32
#define environ _environ
#else
#include <unistd.h>
#endif

namespace tramo::zone {

namespace {

constexpr std::int64_t hour = 3600, dayLength = 24 * hour;

// The broken-down time as if it were UTC.
std::int64_t asSeconds(const std::tm& t) {
    using namespace std::chrono;
    const sys_days date = year{t.tm_year + 1900} / (t.tm_mon + 1) / t.tm_mday;
    return sys_seconds{date + hours{t.tm_hour} + minutes{t.tm_min} + seconds{t.tm_sec}}.time_since_epoch().count();
}

// Where std::time_t has 32 bits, the offset beyond its range is the one at its end; otherwise, the first local times of 1901
// would be found again, before the first instant.
std::int32_t offsetAt(std::int64_t instant) {
    using Host = std::numeric_limits<std::time_t>;
    const std::int64_t known = std::clamp<std::int64_t>(instant, Host::min(), Host::max());
    return static_cast<std::int32_t>(asSeconds(hosttime::local(known)) - known);
}

// Offsets are cached in bins of time. No zone of the database has ever changed its offset twice within three days, so
// samples at most a day apart see every change.
struct Bin {
    std::int32_t number, offset;  // `unsteady` for a bin with more than one offset
};
constexpr Bin emptyBin{INT32_MIN, 0};

// Each bin covers two to the power of `bits` seconds.
template <int bits, std::size_t count, auto find> struct Bins {
    Bin bins[count];

    std::int32_t offset(std::int64_t time) {
        const auto number = static_cast<std::int32_t>(time >> bits);
        Bin& bin = bins[static_cast<std::uint32_t>(number) % count];
        if (bin.number != number) bin = look(number);
        return bin.offset;
    }

    [[gnu::noinline]] static Bin look(std::int64_t number) {
        hosttime::refresh();
        return {static_cast<std::int32_t>(number), find(number << bits, (number + 1) << bits)};
    }
};
constexpr int threeDays = 18, anHour = 12;  // and a little more

constexpr Days::Day noDay{0, unsteady};

constexpr std::int64_t reach = 26 * hour;  // more than any offset
constexpr std::int64_t usualChange = 3 * hour;

// Returns the offset of all times from begin to end, taken as instants or as local times.
std::int32_t findSteady(std::int64_t begin, std::int64_t end) {
    const std::int32_t offset = offsetAt(end + reach);
    for (std::int64_t instant = begin - reach; instant < end + reach; instant += dayLength)
        if (offsetAt(instant) != offset) return unsteady;
    return offset;
}

std::int32_t findOfInstants(std::int64_t begin, std::int64_t end) {
    const std::int32_t offset = offsetAt(begin);
    return offset == offsetAt(end - 1) ? offset : unsteady;
}

// Steady if each of these local times exists once: no change is close, and no larger change is within reach.
std::int32_t findOfLocalTimes(std::int64_t begin, std::int64_t end) {
    const std::int32_t offset = offsetAt(begin - offsetAt(begin));
    const auto change = [&](std::int64_t local) { return std::abs(offsetAt(local - offset) - offset); };
    const bool close = change(begin) != 0 || change(begin - usualChange) != 0 || change(end + usualChange) != 0;
    const bool large = change(begin - reach) > usualChange || change(end + reach) > usualChange;
    return close || large ? unsteady : offset;
}

// The place of TZ in the environment, to see quickly that nothing has changed: the same array, the same entry at the same
// place, with the same text. Without TZ, the end of the array and the entry before it must be the same. A text that is too
// long for the cache counts as changed each time.
class TimeZoneMark {
public:
    bool holds() const {
        if (!place || environ != environment) return false;
#ifdef _WIN32  // the C runtime uses the memory of old entries for new ones
        if (find() != place) return false;
#endif
        if (*place != entry) return false;
        if (entry) return std::strcmp(entry, text) == 0;
        return place == environ || place[-1] == last;
    }

    void set() {
        environment = place = environ;
        if (!place) return;
        place = find();
        entry = *place;
        last = place == environ ? nullptr : place[-1];
        if (entry) std::strncpy(text, entry, sizeof text - 1);
    }

private:
    // Returns the entry, or the end of the environment.
    static char** find() {
        char** at = environ;
        while (*at && std::strncmp(*at, "TZ=", 3) != 0) ++at;
        return at;
    }

    char** environment;
    char** place;
    const char* entry;
    const char* last;
    char text[128];
};

}  // namespace

// The cache of one thread. Without a constructor: it starts with zeros, for which the mark does not hold.
struct Memory : Days {
    TimeZoneMark mark;
    Bins<threeDays, 8192, findSteady> steady;  // of 68 years: all times that can be read
    Bins<anHour, 256, findOfInstants> instants;
    Bins<anHour, 256, findOfLocalTimes> localTimes;
};

// Returns null if out of memory; the host then computes each result.
Days* Clock::find() {
    auto* const memory = ownOfThread<Memory>();
    if (memory && !memory->mark.holds()) {
        memory->mark.set();
        std::ranges::fill(memory->table, noDay);
        std::ranges::fill(memory->steady.bins, emptyBin);
        std::ranges::fill(memory->instants.bins, emptyBin);
        std::ranges::fill(memory->localTimes.bins, emptyBin);
    }
    return memory;
}

Memory* Clock::all() const { return static_cast<Memory*>(memory()); }

namespace {

std::int64_t dayOf(std::int64_t local) {
    using namespace std::chrono;
    return floor<days>(seconds{local}).count();
}

// Selects the instant of a skipped local time: `forward`, by the offset before the change, or `back`, by the one after it.
std::int64_t chooseOfSkipped(std::int64_t local, std::int64_t forward, std::int64_t back) {
    const std::tm later = hosttime::local(forward), earlier = hosttime::local(back);
    const bool onlyBackIsSummer = earlier.tm_isdst > 0 && later.tm_isdst <= 0;
    return onlyBackIsSummer && dayOf(asSeconds(earlier)) == dayOf(local) ? back : forward;
}

// Uses only the local time of instants: for a repeated or skipped local time, the result of mktime depends on earlier
// conversions of the process.
std::int64_t findInstant(std::int64_t local) {
    hosttime::refresh();
    constexpr std::int64_t none = INT64_MAX;
    std::int64_t first = none, byOffsetBefore = none, byOffsetAfter = none;
    for (std::int64_t look = local - reach; look < local + reach + dayLength; look += dayLength) {
        const std::int64_t candidate = local - offsetAt(look);
        if (candidate < first && candidate + offsetAt(candidate) == local) first = candidate;
        if (look <= candidate) byOffsetBefore = candidate;
        else if (byOffsetAfter == none) byOffsetAfter = candidate;
    }
    return first != none ? first : chooseOfSkipped(local, byOffsetBefore, byOffsetAfter);
}

long32 findMidnight(std::chrono::year_month_day date, Memory& known) {
    using namespace std::chrono;
    if (!date.ok() || date.year() < year{1902} || date.year() > year{2037}) return unsteady;
    const std::int64_t midnight = sys_seconds{sys_days{date}}.time_since_epoch().count();
    const std::int32_t offset = known.steady.offset(midnight);
    if (offset == unsteady || offset != known.steady.offset(midnight + dayLength - 1)) return unsteady;
    return static_cast<long32>(midnight - offset);
}

}  // namespace

long32 Clock::midnightOf(unsigned year, unsigned month, unsigned day) const {
    Memory* const own = all();
    if (!own) return unsteady;
    const Days::Date date = year / 100 | (year % 100) << 8 | month << 16 | day << 24;
    Days::Day& bin = own->table[Days::placeOf(date)];
    if (bin.date != date) {
        const std::chrono::year_month_day asDate{
            std::chrono::year{static_cast<int>(year)}, std::chrono::month{month}, std::chrono::day{day}};
        bin = {date, findMidnight(asDate, *own)};
    }
    return bin.midnight;
}

std::int64_t Clock::toInstant(std::int64_t local) const {
    Memory* const own = all();
    if (!own) return findInstant(local);
    std::int32_t offset = own->steady.offset(local);
    if (offset == unsteady) offset = own->localTimes.offset(local);
    return offset != unsteady ? local - offset : findInstant(local);
}

std::int64_t Clock::toLocal(long32 instant) const {
    Memory* const own = all();
    if (!own) return asSeconds(brokenDown(instant));
    std::int32_t offset = own->steady.offset(instant);
    if (offset == unsteady) offset = own->instants.offset(instant);
    return offset != unsteady ? instant + std::int64_t{offset} : asSeconds(brokenDown(instant));
}

std::tm brokenDown(long32 instant) {
    hosttime::refresh();
    return hosttime::local(instant);
}

}  // namespace tramo::zone
