// Time zones as the host has them. No answer is remembered here: see common/zone.h.
#pragma once
#include <cstdint>
#include <ctime>

namespace tramo::hosttime {

// Takes notice of what TZ says now; local() need not.
void refresh();

// The local time of an instant, with its tm_isdst.
std::tm local(std::int64_t instant);

}  // namespace tramo::hosttime
