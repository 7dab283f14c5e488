// Numbers of sample rounds: the same on every machine.
#pragma once
#include <cstddef>
#include <cstdint>

namespace tramo::cli::sample {

/// What numbers are drawn for.
// clang-format off
enum class Purpose : std::uint64_t {
    Town, Crossing, Street, House, Place,                                   // of a Quarter
    Agent, Radio, Visit, Use, Pair,                                         // of the MetersOfRound
    Round, Subscriber, Reading, Module, Change, Months, Answers, Position,  // of RoundLines
    Faults,
    Differences,
};
// clang-format on

/// SplitMix64. Every purpose has a sequence of its own for every meter, house and line. So what is drawn for one of them, or
/// left out, changes nothing of the others.
class Random {
public:
    Random(std::uint64_t seed, Purpose purpose, std::uint64_t thing)
        : state(mixed(mixed(seed + static_cast<std::uint64_t>(purpose) * step) + thing * step)) {}

    std::uint64_t next() { return mixed(state += step); }
    /// 0 to limit - 1. Draw once in an expression: compilers differ in which part they take first.
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(((next() >> 32) * limit) >> 32); }
    std::int32_t between(std::int32_t least, std::int32_t most) {
        return least + static_cast<std::int32_t>(below(static_cast<std::uint32_t>(most - least + 1)));
    }
    bool oneIn(std::uint32_t many) { return below(many) == 0; }
    template <class T, std::size_t N> const T& among(const T (&all)[N]) { return all[below(N)]; }

private:
    static constexpr std::uint64_t step = 0x9E3779B97F4A7C15;
    static std::uint64_t mixed(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }

    std::uint64_t state;
};

}  // namespace tramo::cli::sample
