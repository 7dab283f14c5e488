// The meters of sample rounds: how they have been used, and how they are read.
#pragma once
#include "cli/commands/sample_calendar.h"
#include "cli/commands/sample_town.h"
#include <array>
#include <cstdint>
#include <vector>

namespace tramo::cli::sample {

/// When and how an agent comes to a meter.
struct Visit {
    Day day;
    std::int32_t minute;      ///< of the day
    std::int32_t sentMinute;  ///< of the same day: when the agent sends the day's work
    std::uint32_t agent;
    bool readByRadio, isRead;
};

/// A meter, its use and the visit to it: the same whether the round is returned or not.
struct Meter {
    struct Reading {
        Day day;
        std::int64_t litres;  ///< since the meter was new
    };

    std::uint64_t number;  ///< in the file, from 1
    std::uint32_t order;   ///< in its round, from 1
    User user;
    Day installed;
    std::uint32_t wheels;
    std::int64_t capacity;            ///< the cubic metres at which the wheels are back at 0
    std::array<Reading, 5> readings;  ///< the previous one first
    std::size_t readingCount;         ///< 2 or more: the earliest only begins the history
    std::int64_t litresNow;           ///< at the visit
    std::int64_t litresExpected;      ///< from the previous reading to the visit
    bool leaks, isBlocked, hasRadio;
    Day radioInstalled;
    Visit visit;

    std::int64_t previousIndex() const { return readings[0].litres / 1000 % capacity; }
    std::int64_t index() const { return litresNow / 1000 % capacity; }
    std::int64_t consumption() const { return litresNow / 1000 - readings[0].litres / 1000; }
    /// The consumption before a reading, since the one before it.
    std::int64_t consumptionBefore(std::size_t reading) const {
        return readings[reading].litres / 1000 - readings[reading + 1].litres / 1000;
    }
};

/// Keeps meters from having the previous index and the consumption of another one. Of so many meters only as are in `most`:
/// then it starts again, because it would take more and more memory.
class Pairs {
public:
    /// False: another meter has them.
    bool take(std::int64_t previousIndex, std::int64_t consumption) {
        const std::uint64_t pair = static_cast<std::uint64_t>(previousIndex) << 32 | static_cast<std::uint64_t>(consumption);
        const std::uint64_t hash = pair * 0x9E3779B97F4A7C15;
        const auto mark = static_cast<std::uint16_t>(hash >> 20 | 1);  // a few pairs share theirs: they pass for the same
        if (count == most) {
            taken.assign(taken.size(), 0);
            count = 0;
        }
        std::size_t at = hash >> (64 - bits);
        for (; taken[at] != 0; at = (at + 1) % taken.size())
            if (taken[at] == mark) return false;
        taken[at] = mark;
        ++count;
        return true;
    }

private:
    static constexpr int bits = 17;
    static constexpr std::size_t most = std::size_t{1} << (bits - 1);
    std::vector<std::uint16_t> taken = std::vector<std::uint16_t>(2 * most);  ///< 0: nothing there
    std::size_t count = 0;
};

/// The meters of one round. Two agents share its streets.
class MetersOfRound {
public:
    MetersOfRound(const Calendar& knownCalendar, std::uint64_t chosenSeed, std::uint32_t number);

    Day importedOn() const { return imported; }

    /// The meter at a home. Valid until the next call.
    const Meter& next(const Home& home, std::uint64_t number, std::uint32_t order, Pairs& pairs);

private:
    class Agent {
    public:
        Agent(const Calendar& days, std::uint64_t chosenSeed, std::uint32_t round, std::uint32_t number, Day firstDay);
        void spend(const Calendar& days, std::int32_t seconds);
        Visit visit() const { return {day, second / 60, sentMinute, number, false, false}; }

    private:
        void begin(Day onDay);

        Random random;
        std::uint32_t number;
        Day day = 0;
        std::int32_t second = 0, sentMinute = 0;
    };

    void equip();
    void visit(const Home& home);
    void use();
    void turnOver(Random& random);
    void addBefore(std::int64_t cubicMetres);

    const Calendar& calendar;
    const std::uint64_t seed;
    const Day imported;
    std::array<Agent, 2> agents;
    Meter meter{};
};

}  // namespace tramo::cli::sample
