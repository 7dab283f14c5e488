// The clocks of the current zone: the local time of every instant, and the instant of each local time. Uses only the C
// library's conversion of instants to local time, never the reverse.
#pragma once
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <vector>

namespace clocks {

constexpr std::int64_t dayLength = 86400;

// The instant, or the end of the range of std::time_t, which may have 32 bits: beyond it, the clocks go on as at its end.
inline std::int64_t withinRange(std::int64_t instant) {
    using Host = std::numeric_limits<std::time_t>;
    return std::clamp<std::int64_t>(instant, Host::min(), Host::max());
}

inline std::tm localtime(std::int64_t instant) {
    const auto time = static_cast<std::time_t>(withinRange(instant));
    std::tm result{};
    localtime_r(&time, &result);
    return result;
}

// The local time of an instant, as the seconds that it would be in UTC.
inline std::int64_t shownAt(std::int64_t instant) {
    using namespace std::chrono;
    const std::tm time = localtime(instant);
    const sys_days date = year{time.tm_year + 1900} / (time.tm_mon + 1) / time.tm_mday;
    const std::int64_t ofDay = time.tm_hour * 3600 + time.tm_min * 60 + time.tm_sec;
    return date.time_since_epoch().count() * dayLength + ofDay + (instant - withinRange(instant));
}

inline std::int64_t offsetAt(std::int64_t instant) { return shownAt(instant) - instant; }
inline bool isSummer(std::int64_t instant) { return localtime(instant).tm_isdst > 0; }
inline std::int64_t dayOf(std::int64_t local) { return (local >= 0 ? local : local - dayLength + 1) / dayLength; }

// A skipped local time moves by the length of the gap: into summer time if only one direction leads there, but not to the
// previous day; otherwise forward.
inline std::int64_t moved(std::int64_t local, std::int64_t offsetBefore, std::int64_t offsetAfter) {
    const std::int64_t forward = local - offsetBefore, back = local - offsetAfter;
    const bool onlyBackIsSummer = isSummer(back) && !isSummer(forward);
    return onlyBackIsSummer && dayOf(shownAt(back)) == dayOf(local) ? back : forward;
}

// A period with one offset.
struct Period {
    std::int64_t begin, end, offset;
};

// All periods of the 32-bit range and some days around it.
class Table {
public:
    Table() {
        tzset();
        constexpr std::int64_t first = std::numeric_limits<std::int32_t>::min() - 4 * dayLength;
        constexpr std::int64_t last = std::numeric_limits<std::int32_t>::max() + 4 * dayLength;
        all.push_back({first, last, offsetAt(first)});
        constexpr std::int64_t step = 3 * dayLength;  // no zone has changed twice in that time
        for (std::int64_t before = first; before + step < last; before += step)
            if (offsetAt(before + step) != all.back().offset) add(before, before + step);
    }

    const std::vector<Period>& periods() const { return all; }

    // The first instant of each new offset.
    std::vector<std::int64_t> changes() const {
        std::vector<std::int64_t> found;
        for (const Period& period : all) found.push_back(period.begin);
        found.erase(found.begin());
        return found;
    }

    // Returns the first instant of a local time, or the one that a skipped time moves to.
    std::int64_t instantOf(std::int64_t local) const {
        constexpr std::int64_t mostOffset = 26 * 3600;
        auto period = std::ranges::lower_bound(all, local - mostOffset, {}, &Period::end);
        for (; period != all.end(); ++period) {
            const std::int64_t instant = local - period->offset;
            if (instant >= period->begin && instant < period->end) return instant;
            const auto next = period + 1;
            if (next == all.end()) break;
            const bool skips = local >= next->begin + period->offset && local < next->begin + next->offset;
            if (skips) return moved(local, period->offset, next->offset);
        }
        return std::numeric_limits<std::int64_t>::max();  // beyond the table
    }

private:
    void add(std::int64_t before, std::int64_t after) {
        while (after - before > 1) {
            const std::int64_t middle = before + (after - before) / 2;
            (offsetAt(middle) == all.back().offset ? before : after) = middle;
        }
        const std::int64_t end = all.back().end;
        all.back().end = after;
        all.push_back({after, end, offsetAt(after)});
    }

    std::vector<Period> all;
};

// The first instant of each local time around a change, found by reading the clocks at every instant.
class Scan {
public:
    static constexpr std::int64_t margin = 600;

    explicit Scan(std::int64_t changeAt) : change(changeAt), before(offsetAt(change - 1)), after(offsetAt(change)) {
        const std::int64_t size = std::abs(after - before);
        step = change % 60 == 0 && before % 60 == 0 && after % 60 == 0 ? 60 : 1;
        const std::int64_t begin = change - size - 2 * margin, end = change + size + 2 * margin;
        lowest = begin + std::min(before, after);
        first.resize(static_cast<std::size_t>((end + std::max(before, after) - lowest) / step + 1), none);
        for (std::int64_t instant = begin; instant < end; instant += step) {
            std::int64_t& known = first[static_cast<std::size_t>((shownAt(instant) - lowest) / step)];
            if (known == none) known = instant;
        }
    }

    // The local times that the change repeats or skips; the table also covers the margins on both sides.
    std::int64_t firstLocalTime() const { return change + std::min(before, after); }
    std::int64_t lastLocalTime() const { return change + std::max(before, after); }

    bool isSkipped(std::int64_t local) const { return firstInstant(local) == none; }

    bool isRepeated(std::int64_t local) const {
        return !isSkipped(local) && shownAt(local - before) == local && shownAt(local - after) == local;
    }

    std::int64_t instantOf(std::int64_t local) const {
        return isSkipped(local) ? moved(local, before, after) : firstInstant(local);
    }

private:
    static constexpr std::int64_t none = std::numeric_limits<std::int64_t>::max();

    std::int64_t firstInstant(std::int64_t local) const {
        return (local - lowest) % step == 0 ? first[static_cast<std::size_t>((local - lowest) / step)] : none;
    }

    std::int64_t change, before, after, step = 0, lowest = 0;
    std::vector<std::int64_t> first;
};

}  // namespace clocks
