// The local time of the host. A local time is held as the seconds that its date and clock time would be in UTC.
#pragma once
#include "tramostream/types.h"
#include <cstdint>
#include <ctime>

namespace tramo::zone {

inline constexpr std::int32_t unsteady = INT32_MAX;

struct Memory;

// Midnights that were looked up: in a table, by their date.
struct Days {
    // Century, year, month and day, two digits each, a byte each, the century lowest.
    using Date = std::uint32_t;
    struct Day {
        Date date;
        long32 midnight;
    };
    Day table[8 << 9];  // of eight years

    static constexpr std::size_t placeOf(Date date) { return (date >> 8 & 7) << 9 | (date >> 16 & 15) << 5 | (date >> 24 & 31); }
};

// The local time of the host. Looks once whether TZ has changed: at the first use, because a look takes as long as a conversion.
// Make one for the times of a line, and use it on one thread.
class Clock {
public:
    // Returns the instant of a local time. A repeated local time means its first occurrence. A skipped one moves by the length
    // of the gap: into summer time if only one direction leads there, but not to the previous day; otherwise forward.
    std::int64_t toInstant(std::int64_t local) const;

    // Returns the instant at which a day between 1902 and 2037 begins, if the whole day has one offset; otherwise, for an
    // invalid date, or if out of memory for the cache, `unsteady`. Years are 0 to 9999, months 1 to 12, days 1 to 31.
    long32 midnightOf(unsigned year, unsigned month, unsigned day) const;

    // The same if it was looked up before, which takes a few nanoseconds; otherwise, `unsteady`.
    long32 knownMidnight(Days::Date date) const {
        const Days* const days = memory();
        if (!days) return unsteady;
        const Days::Day& day = days->table[Days::placeOf(date)];
        return day.date == date ? day.midnight : unsteady;
    }

    std::int64_t toLocal(long32 instant) const;

private:
    Days* memory() const { return known ? known : known = find(); }
    static Days* find();
    Memory* all() const;

    mutable Days* known = nullptr;
};

// The same for a single time.
inline std::int64_t toInstant(std::int64_t local) { return Clock().toInstant(local); }
inline std::int64_t toLocal(long32 instant) { return Clock().toLocal(instant); }

// Returns broken-down local time as localtime does.
std::tm brokenDown(long32 instant);

}  // namespace tramo::zone
