#include "common/hosttime.h"

namespace tramo::hosttime {

void refresh() { tzset(); }

std::tm local(std::int64_t instant) {
    const auto time = static_cast<std::time_t>(instant);
    std::tm result{};
    localtime_r(&time, &result);
    return result;
}

}  // namespace tramo::hosttime
