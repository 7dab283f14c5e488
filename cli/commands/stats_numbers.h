// The numbers of a round: what `tramo stats` counts.
#pragma once
#include "cli/lines/input.h"
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <tramostream/fields.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tramo::cli {

using Number = std::uint64_t;
using Numbers = std::map<std::string, Number>;

/// A number of lines, and the number of meters or radio modules in them.
struct Lines {
    Number all = 0;
    Number meters = 0;  ///< different serial numbers
};

/// What is known about the meters (or radio modules) of each serial number.
class SerialNumbers {
public:
    enum About : unsigned char { Known, Read, Located, Changed, Enquired };

    void add(const std::string& serialNumber, About what);
    SerialNumbers& operator+=(const SerialNumbers& other);

    const Lines& operator[](About what) const { return found[what]; }

    /// Whether all serial numbers with this fact are known ones, so that they are a share of these.
    bool isShareOfKnown(About what) const;

    /// The known serial numbers that are not read, sorted.
    std::vector<std::string> unread() const;

private:
    static constexpr unsigned bit(std::size_t what) { return 1U << what; }
    void note(const std::string& serialNumber, unsigned notes);

    std::array<Lines, 5> found{};
    std::unordered_map<std::string, unsigned char> said;  ///< a bit for each About
};

/// The consumption of the readings of one fluid. Fluids are never added up: their units may differ.
struct Consumption {
    Number readings = 0;
    long long total = 0;
};

struct Stats {
    bool isWhole = true;  ///< the file was read to its end
    Number lines = 0, notRead = 0, unreadableFields = 0;
    Numbers byKind;
    std::map<std::string, std::string> rounds;  ///< code and name

    SerialNumbers meters, modules;
    Number linesWithoutMeter = 0, linesWithoutModule = 0;
    Numbers methods, states;                         ///< of readings; "" is none
    std::map<std::string, Numbers> agents;           ///< readings by user code and day
    std::map<std::string, Consumption> consumption;  ///< by fluid; "" is none
    Number belowEstimate = 0, withinEstimate = 0, aboveEstimate = 0, notCompared = 0;
    std::map<const Field*, Number> alarms;
    Number areasAnswered = 0;
    std::string first, last;  ///< times of readings
    Numbers days;

    Stats& operator+=(const Stats& other);
    void addTime(const std::string& time);
};

/// Counts the lines of a file.
Stats statsOf(Input& input);

/// The alarms that were raised, the most frequent first.
std::vector<std::pair<const Field*, Number>> raisedAlarms(const Stats& stats);

/// The record kind that an alarm is a field of.
const std::string& kindOfAlarm(const Field* alarm);

/// The readings of each agent, by user code.
Numbers readingsByAgent(const Stats& stats);

}  // namespace tramo::cli
