// The zone of the browser, which knows its rules.
#include "common/host_wasi.h"
#include "common/hosttime.h"
#include <chrono>

namespace tramo::hosttime {

void refresh() {}

std::tm local(std::int64_t instant) {
    using namespace std::chrono;
    const auto at = static_cast<double>(instant);
    const sys_seconds time{seconds{instant + host::offsetAt(at)}};
    const sys_days day = floor<days>(time);
    const year_month_day date{day};
    const hh_mm_ss clock{time - day};
    std::tm result{};
    result.tm_year = static_cast<int>(date.year()) - 1900;
    result.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    result.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    result.tm_hour = static_cast<int>(clock.hours().count());
    result.tm_min = static_cast<int>(clock.minutes().count());
    result.tm_sec = static_cast<int>(clock.seconds().count());
    result.tm_wday = static_cast<int>(weekday{day}.c_encoding());
    result.tm_yday = static_cast<int>((day - sys_days{date.year() / January / 1}).count());
    result.tm_isdst = host::isSummerAt(at);
    return result;
}

}  // namespace tramo::hosttime
