// The numbers of a round: what `tramo stats` counts.
#pragma once
#include "cli/lines/input.h"
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <tramostream/fields.h>
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

/// A byte of notes for each of many short texts, in little more memory than the texts need.
class NotedTexts {
public:
    /// Returns the notes of a text of less than 64 KB, initially 0. Valid until the next call.
    unsigned char& operator[](std::string_view text);

    /// Calls `use(text, notes)` for each text.
    template <class Use> void forEach(Use use) const {
        for (const Block& block : blocks)
            for (std::size_t at = 0; at < block.used; at += headSize + textAt(block, at).size())
                use(textAt(block, at), static_cast<unsigned char>(block.bytes[at]));
    }

private:
    // Entries: the notes, two bytes for the size of the text, the text.
    struct Block {
        std::unique_ptr<char[]> bytes;
        std::size_t used = 0;
    };
    static constexpr std::size_t headSize = 3, blockSize = 1 << 16;
    static std::string_view textAt(const Block& block, std::size_t at);
    void grow();
    std::uint32_t append(std::string_view text);
    std::uint32_t& slotOf(std::string_view text);

    std::vector<Block> blocks;
    std::vector<std::uint32_t> slots;  ///< hash table of the entries: 1 + block * blockSize + place in the block; 0: free
    std::size_t count = 0;
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
    void note(std::string_view serialNumber, unsigned notes);

    std::array<Lines, 5> found{};
    NotedTexts said;  ///< a bit for each About
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
    Number asComputed = 0, notAsComputed = 0, notComputed = 0, rollOvers = 0;  ///< consumption; see consumptionBetween()
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
