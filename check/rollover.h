// Wheels that roll over: what a meter with so many wheels can show.
#pragma once
#include <optional>

namespace tramo::rollover {

inline constexpr long long mostWheels = 18;

// Returns the first number that the wheels cannot show; nullopt: without wheels, or with too many.
inline std::optional<long long> limitOf(std::optional<long long> wheels) {
    if (!wheels || *wheels < 1 || *wheels > mostWheels) return std::nullopt;
    long long limit = 1;
    for (long long i = 0; i < *wheels; ++i) limit *= 10;
    return limit;
}

// Returns the corrected number of wheels if there is one.
inline std::optional<long long> inEffect(std::optional<long long> wheels, std::optional<long long> correctedWheels) {
    return correctedWheels && *correctedWheels > 0 ? correctedWheels : wheels;
}

}  // namespace tramo::rollover
