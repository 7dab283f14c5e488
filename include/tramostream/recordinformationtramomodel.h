// The record with the counters of a round.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include <string>
#include <vector>

/// Two counters: a round number and a meter number. Record kind '9'.
///
/// The format reads both fields into the round number, the meter number last. The meter number of a parsed line is -1, and
/// is reported as missing until it is set. A value type; nothing throws for bad content.
///
/// @snippet docs/examples.cpp RecordInformationTramoModel
class TRAMO_EXPORT RecordInformationTramoModel {
public:
    /// Copies and parses a line. An invalid field is listed in getParseErrors. A line of another record kind leaves the
    /// round number 1 and the meter number -1, and adds the error {0, TE::WrongLineType}.
    RecordInformationTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    int getRoundNumber() const { return roundNumber; }  void setRoundNumber(int v) { roundNumber = v; }
    int getMeterNumber() const { return meterNumber; }  void setMeterNumber(int v) { meterNumber = v; }
    // clang-format on

    /// The parsed line.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. A number below 0 is left blank; one of more than five digits is truncated on the
    /// right without an error.
    TramoLine::tramoLine_t toTramoLine();

    /// Returns "RecordInformationTramoModel[roundNumber:...,meterNumber:...]".
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that neither number is below 0.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    TRAMO_HIDDEN static const tramo::Record<RecordInformationTramoModel>& table();

    int roundNumber = 1;
    int meterNumber = -1;

    TramoLine::tramoLine_t line;
    tramo::ErrorLists errors;
};
