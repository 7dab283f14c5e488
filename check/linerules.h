// The rules about rounds that a line breaks by itself, and what is kept of the line for the other rules.
#pragma once
#include "check/linenote.h"
#include "check/linereport.h"
#include "check/linevalues.h"
#include <limits>

namespace tramo {

// The numbers of a reading; -1 or NaN: absent. The consumption between the readings is known if they do not contradict each
// other.
struct ReadingNumbers {
    long long index = -1, previous = -1, consumption = -1, wheels = -1;
    long long limit = 0, previousLimit = 0;  // what the wheels cannot show; 0: unknown
    double mostExpected = std::numeric_limits<double>::quiet_NaN();

    ReadingNumbers() = default;
    explicit ReadingNumbers(const LineValues& line);

    bool isIndexAboveWheels = false, isPreviousAboveWheels = false, isBelowPrevious = false;
    long long between = -1;  // the readings, if the wheels show both

    bool isConsumptionUnlike() const { return consumption >= 0 && between >= 0 && between != consumption; }
    // -1: unknown.
    long long used() const { return consumption >= 0 ? consumption : between; }

private:
    bool isExplainedByRollOver(long long rolledOver) const;
};

// `now`: dates after it are in the future.
void findInSubscriber(const LineValues& line, const ReadingNumbers& numbers, long32 now, LineReport& report);
void findInModule(const LineValues& line, long32 now, LineReport& report);
void findInChange(const LineValues& line, LineReport& report);
void findInPosition(const LineValues& line, LineReport& report);
void findInRound(const LineValues& line, long32 now, LineReport& report);

// Return what the rules about several lines need.
SubscriberNote noteOfSubscriber(const LineValues& line, const ReadingNumbers& numbers, LineNotes& notes);
ModuleNote noteOfModule(const LineValues& line);
ModuleNote noteOfExtendedModule(const LineValues& line);
ChangeNote noteOfChange(const LineValues& line);
PageNote noteOfDefinition(const LineValues& line);
AnswersNote noteOfAnswers(const LineValues& line);
InformationNote noteOfInformation(const LineValues& line);

// Returns whether a position can be compared with others, which findInPosition() does not report.
bool notePosition(const LineValues& line, PositionNote& note);

}  // namespace tramo
