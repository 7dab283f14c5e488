// The rules about rounds that a line breaks by itself, and what is kept of the line for the other rules.
#pragma once
#include "check/linenote.h"
#include "check/linereport.h"
#include "check/linevalues.h"

namespace tramo {

// `now`: dates after it are in the future.
void findInSubscriber(const LineValues& line, long32 now, LineReport& report);
void findInModule(const LineValues& line, long32 now, LineReport& report);
void findInChange(const LineValues& line, LineReport& report);
void findInPosition(const LineValues& line, LineReport& report);
void findInRound(const LineValues& line, long32 now, LineReport& report);

// Return what the rules about several lines need.
SubscriberNote noteOfSubscriber(const LineValues& line, LineNotes& notes);
ModuleNote noteOfModule(const LineValues& line);
ModuleNote noteOfExtendedModule(const LineValues& line);
ChangeNote noteOfChange(const LineValues& line);
PageNote noteOfDefinition(const LineValues& line);
AnswersNote noteOfAnswers(const LineValues& line);
InformationNote noteOfInformation(const LineValues& line);

// Returns whether a position can be compared with others, which findInPosition() does not report.
bool notePosition(const LineValues& line, PositionNote& note);

}  // namespace tramo
