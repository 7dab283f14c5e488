// What the lines of a file mean together: the rules about rounds that need several lines.
#pragma once
#include "check/linenote.h"
#include "check/roundrules.h"
#include "check/serialtable.h"
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

namespace tramo {

// Takes the notes of the lines of a file in their order. Holds little of a meter (serialtable.h), and until its round ends, facts
// of fixed size about the meters, positions and answers of the round; findings, too, are numbers until they are taken.
//
// A line that may be the cause of other findings is reported, and they are not: where a meter subscriber line cannot be read, no
// line of the round lacks its meter.
class RoundJoin {
public:
    explicit RoundJoin(const RoundRuleSet& switchedOn) : on(switchedOn) {}

    // Without memory, has no effect.
    void add(const LineNote& note, const LineNotes& notes);

    // Call it after the last line.
    void end();

    // Hands over the findings that are certain, those of a round in the order of its lines.
    void take(const std::function<void(Finding&&)>& sink);

private:
    using Index = std::uint32_t;  // of a meter in the round
    static constexpr Index noMeter = ~Index{0};

    struct Meter {
        SerialKey serial;
        std::int64_t line;
        long32 previousDate;
        bool isDoubtful, hasZeroConsumption;
        bool isChanged = false, hasModuleMoved = false;
    };
    struct OfMeter {
        Index meter;
        char letter;
        bool isLeak, isFraud;
        long32 date;
        std::int64_t line;
    };
    struct Contradicting {
        Index meter;
        Contradiction numbers;
    };
    struct Position {
        PositionNote at;
        std::int64_t line;
    };
    struct Moved {
        std::int64_t line, meterLine;
        char letter;
    };

    // A finding, as numbers.
    struct Candidate {
        std::int64_t line = 0;
        RoundRule rule{};
        char letter = 0;
        std::int8_t small = 0;  // an area from 0, a number of wheels
        std::int64_t a = 0, b = 0, c = 0;
    };

    // Of one round.
    struct Round {
        std::uint32_t firstOrdinal = 0;  // of its meters
        std::vector<Meter> meters{};
        Index entered = 0;        // so many of them are in the table of serial numbers
        Index current = noMeter;  // the meter whose lines come now
        std::int64_t previousOrder = -1;
        std::int64_t previousOrderLine = 0;
        std::uint64_t inPlace = 0;
        std::vector<Moved> moved{};
        bool mayLackMeter = false, mayLackPage = false;
        std::map<char16_t, PageNote> pages{};
        std::vector<LineNote> early{}, earlyAnswers{};  // whose meter or page did not come before them
        std::vector<OfMeter> alarms{}, changes{};
        std::vector<Contradicting> contradictions{};
        std::vector<Position> positions{};
        SomeLines repeated{};          // meters that are in a round before
        std::uint32_t repeatedIn = 0;  // the ordinal of the first of them there

        void clear();
    };

    // Of the file.
    struct RoundStart {
        std::uint32_t firstOrdinal;
        std::int64_t line;
    };

    void addMalformed(const LineNote& note);
    void addPage(const PageNote& page);
    void addRound(const LineNote& note);
    void addMeter(const LineNote& note, const LineNotes& notes);
    void addOfMeter(const LineNote& note, Index meter);
    void addInformation(const LineNote& note);
    void addAnswers(const LineNote& note, const PageNote& page);
    void join(const LineNote& note);
    void enterMeters();
    Index meterOf(const LineNote& note);
    Index meterOf(const SerialKey& serial);
    void endRound();
    void endPositions();
    void endMeters();
    void found(Candidate candidate) {
        if (on.has(candidate.rule)) candidates.push_back(candidate);
    }
    Finding findingOf(const Candidate& candidate) const;
    Finding findingOfContradiction(const Candidate& candidate) const;

    RoundRuleSet on;
    SerialTable serials;         // see enterMeters()
    std::uint32_t ordinals = 0;  // of meters in the file
    std::vector<RoundStart> starts;
    Round round;
    std::vector<Candidate> candidates;  // of the round
    std::vector<Candidate> ready;
    std::vector<SomeLines> several;  // the lines of candidates with several

    std::uint64_t roundLines = 0;
    SomeLines beforeRound{};
    bool mayLackRound = false, isPartOfRound = false;
    std::int64_t firstMeter = 0, lastLine = 0;
    bool mayLackInformation = true;  // as long as no meter came
    std::uint64_t metersSince = 0;   // the last record information line
    bool isCountDoubtful = false;    // of these
};

}  // namespace tramo
