// The record of a replaced meter.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <string>
#include <vector>

/// A meter change: the old meter, and the new one with its number of wheels, its initial index and the date of its
/// installation. Record kind '3'.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTramoLine change it; nothing throws for bad content.
/// The date is in seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: empty texts, -1
/// wheels, an index of 0, a date of 0.
///
/// @snippet docs/examples.cpp MeterChangeTramoModel
class TRAMO_EXPORT MeterChangeTramoModel {
public:
    MeterChangeTramoModel() = default;  ///< every value is absent

    /// Copies and parses a line. An invalid field keeps its absent value and is listed in getParseErrors. A line of another
    /// record kind leaves every value absent and adds the error {0, TE::WrongLineType}.
    MeterChangeTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The meters
    /// The wheels are written if they are above 3, the index if it is 0 or more, the date always.
    /// @{
    std::wstring getOldMeterSerialNumber() const { return oldMeterSerialNumber.text(line); }  void setOldMeterSerialNumber(const std::wstring& v) { oldMeterSerialNumber = v; }
    std::wstring getNewMeterSerialNumber() const { return newMeterSerialNumber.text(line); }  void setNewMeterSerialNumber(const std::wstring& v) { newMeterSerialNumber = v; }
    int getNewMeterWheelsNumber() const          { return newMeterWheelsNumber; }             void setNewMeterWheelsNumber(int v)                 { newMeterWheelsNumber = v; }
    long long getNewMeterIndex() const           { return newMeterIndex; }                    void setNewMeterIndex(long long v)                  { newMeterIndex = v; }
    long32 getNewMeterInstallationDate() const   { return newMeterInstallationDate; }         void setNewMeterInstallationDate(const long32& v)   { newMeterInstallationDate = v; }
    /// @}
    // clang-format on

    /// The parsed line; spaces with CR LF if the model was default-constructed.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. Numbers that are too long are truncated on the right without an error; texts that
    /// are too long are left out and listed in getBuildErrors.
    TramoLine::tramoLine_t toTramoLine();

    /// Returns the values as "MeterChangeTramoModel[oldMeterSerialNumber:...,...]", the date in seconds.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that every value is present. Wheels and index must be in the parsed line; setters alone do not satisfy the
    /// check.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    TRAMO_HIDDEN static const tramo::Record<MeterChangeTramoModel>& table();

    tramo::FieldText oldMeterSerialNumber, newMeterSerialNumber;
    int newMeterWheelsNumber = -1;
    long long newMeterIndex = 0;
    long32 newMeterInstallationDate = 0;
    tramo::FieldText wheelsText, indexText;  // as read from the line, for the mandatory check

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    tramo::ErrorLists errors;
};
