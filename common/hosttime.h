// The time zones of the host. Results are not cached here: see common/zone.h.
#pragma once
#include <cstdint>
#include <ctime>

namespace tramo::hosttime {

// Applies the current value of TZ; local() may use an older one.
void refresh();

// Returns the local time of an instant, with its tm_isdst.
std::tm local(std::int64_t instant);

}  // namespace tramo::hosttime
