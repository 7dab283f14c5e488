// The local time of the host. A local time is held as the seconds that its date and clock time would be in UTC.
#pragma once
#include "tramostream/types.h"
#include <cstdint>
#include <ctime>

namespace tramo::zone {

inline constexpr std::int32_t unsteady = INT32_MAX;

struct Memory;

// The local time of the host. Looks once whether TZ has changed: at the first use, because a look takes as long as a conversion.
// Make one for the times of a line, and use it on one thread.
class Clock {
public:
    // Returns the instant of a local time. A repeated local time means its first occurrence. A skipped one moves by the length
    // of the gap: into summer time if only one direction leads there, but not to the previous day; otherwise forward.
    std::int64_t toInstant(std::int64_t local) const;

    // Returns the instant at which a day between 1902 and 2037 begins, if the whole day has one offset; otherwise, for an
    // invalid date, or if out of memory for the cache, `unsteady`. Months are 1 to 12, days 1 to 31.
    long32 midnightOf(unsigned year, unsigned month, unsigned day) const;

    std::int64_t toLocal(long32 instant) const;

private:
    Memory* memory() const { return known ? known : known = find(); }
    static Memory* find();

    mutable Memory* known = nullptr;
};

// The same for a single time.
inline std::int64_t toInstant(std::int64_t local) { return Clock().toInstant(local); }
inline std::int64_t toLocal(long32 instant) { return Clock().toLocal(instant); }

// Returns broken-down local time as localtime does.
std::tm brokenDown(long32 instant);

}  // namespace tramo::zone
