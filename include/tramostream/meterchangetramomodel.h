// The line that tells of a replaced meter.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <string>
#include <vector>

/// A meter change: the old meter, and the new one with its number of wheels, the index that it starts from and the date
/// of its installation. Line letter '3'.
///
/// A value; every operation but getMandatoryErrors and toTramoLine is const, and none throws for bad content. The date is
/// in seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: empty texts, -1 wheels, an
/// index of 0, a date of 0.
///
/// @snippet docs/examples.cpp MeterChangeTramoModel
class TRAMO_EXPORT MeterChangeTramoModel {
public:
    MeterChangeTramoModel() = default;  ///< every value is absent

    /// Parses a line, which is copied. A field that cannot be read keeps its absent value and is listed in
    /// getParseErrors; a line of another kind is refused with the error {0, TE::WrongLineType}.
    MeterChangeTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The meters
    /// The wheels are written when above 3, the index when 0 or more, the date always.
    /// @{
    std::wstring getOldMeterSerialNumber() const { return oldMeterSerialNumber.of(line); }  void setOldMeterSerialNumber(const std::wstring& v) { oldMeterSerialNumber = v; }
    std::wstring getNewMeterSerialNumber() const { return newMeterSerialNumber.of(line); }  void setNewMeterSerialNumber(const std::wstring& v) { newMeterSerialNumber = v; }
    int getNewMeterWheelsNumber() const          { return newMeterWheelsNumber; }           void setNewMeterWheelsNumber(int v)                 { newMeterWheelsNumber = v; }
    long long getNewMeterIndex() const           { return newMeterIndex; }                  void setNewMeterIndex(long long v)                  { newMeterIndex = v; }
    long32 getNewMeterInstallationDate() const   { return newMeterInstallationDate; }       void setNewMeterInstallationDate(const long32& v)   { newMeterInstallationDate = v; }
    /// @}
    // clang-format on

    /// The line parsed; blanks for a model that was built from none.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. Numbers too wide for their columns are cut on the right, texts too long are left
    /// out and listed in getBuildErrors.
    TramoLine::tramoLine_t toTramoLine();

    /// The values as "MeterChangeTramoModel[oldMeterSerialNumber:...,...]", the date in seconds.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< those of the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< those of the last toTramoLine

    /// Checks that every field is there. Wheels and index are looked for in the line parsed: a model filled by its setters
    /// alone is reported for both.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::Layouts;
    TRAMO_HIDDEN static const tramo::Record<MeterChangeTramoModel>& layout();

    tramo::FieldText oldMeterSerialNumber, newMeterSerialNumber;
    int newMeterWheelsNumber = -1;
    long long newMeterIndex = 0;
    long32 newMeterInstallationDate = 0;
    tramo::FieldText wheelsText, indexText;  // as cut from the line; the mandatory check looks at them

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    tramo::ErrorLists errors;
};
