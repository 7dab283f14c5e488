// Wheels that roll over: what a meter with so many wheels can show.
#pragma once
#include <array>
#include <cstddef>
#include <optional>

namespace tramo::rollover {

inline constexpr long long mostWheels = 18;

// Returns the first number that the wheels cannot show; 0: without wheels, or with too many.
inline long long limitOf(long long wheels) {
    if (wheels < 1 || wheels > mostWheels) return 0;
    static constexpr auto limits = [] {
        std::array<long long, mostWheels + 1> powers{1};
        for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
        return powers;
    }();
    return limits[static_cast<std::size_t>(wheels)];
}
inline std::optional<long long> limitOf(std::optional<long long> wheels) {
    const long long limit = limitOf(wheels.value_or(0));
    return limit > 0 ? std::optional(limit) : std::nullopt;
}

// Return the corrected number of wheels if there is one.
inline long long inEffect(long long wheels, long long correctedWheels) { return correctedWheels > 0 ? correctedWheels : wheels; }
inline std::optional<long long> inEffect(std::optional<long long> wheels, std::optional<long long> correctedWheels) {
    return correctedWheels && *correctedWheels > 0 ? correctedWheels : wheels;
}

}  // namespace tramo::rollover
