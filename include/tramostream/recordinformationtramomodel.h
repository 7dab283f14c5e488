// The line that counts the records of a round.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include <string>
#include <vector>

/// Two counters: a round number and a meter number. Line letter '9'.
///
/// The format reads both columns into the round number, the meter number's last; the meter number of a parsed line is
/// -1 and reported as missing until it is set. A value; none of its operations throws for bad content.
///
/// @snippet docs/examples.cpp RecordInformationTramoModel
class TRAMO_EXPORT RecordInformationTramoModel {
public:
    /// Parses a line, which is copied. A field that cannot be read is listed in getParseErrors; a line of another kind
    /// is refused with the error {0, TE::WrongLineType}.
    RecordInformationTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    int getRoundNumber() const { return roundNumber; }  void setRoundNumber(int v) { roundNumber = v; }
    int getMeterNumber() const { return meterNumber; }  void setMeterNumber(int v) { meterNumber = v; }
    // clang-format on

    /// The line parsed.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. A number below 0 is left blank, one of more than five digits cut on the right.
    TramoLine::tramoLine_t toTramoLine();

    /// "RecordInformationTramoModel[roundNumber:...,meterNumber:...]".
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< those of the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< those of the last toTramoLine

    /// Checks that neither number is below 0.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::Layouts;
    TRAMO_HIDDEN static const tramo::Record<RecordInformationTramoModel>& layout();

    int roundNumber = 1;
    int meterNumber = -1;

    TramoLine::tramoLine_t line;
    tramo::ErrorLists errors;
};
