// The line that says where a meter is, and how well that is known.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <string>
#include <vector>

/// Where a meter is: latitude and longitude in degrees, altitude, accuracy, when that was determined, and a score.
/// Line letter '7'.
///
/// A value; every operation but getMandatoryErrors and toTramoLine is const, and none throws for bad content. The date is
/// in seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: 0 for numbers and the date,
/// empty texts; what was neither read nor set is not written, whereas a 0 that was set is.
///
/// @snippet docs/examples.cpp ExtendedDataTramoModel
class TRAMO_EXPORT ExtendedDataTramoModel {
public:
    ExtendedDataTramoModel() = default;  ///< every value is absent

    /// Parses a line, which is copied. A field that cannot be read keeps its absent value and is listed in
    /// getParseErrors; a line of another kind is refused with the error {0, TE::WrongLineType}.
    ExtendedDataTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The place
    /// Latitude and longitude are written with twelve decimals, altitude and accuracy with three.
    /// @{
    std::wstring getMeterSerialNumber() const { return meterSerialNumber.of(line); }  void setMeterSerialNumber(const std::wstring& v) { meterSerialNumber = v; }
    double getLatitude() const                { return latitude; }                    void setLatitude(double v)                       { latitude = v; latitudeSet = true; }
    double getLongitude() const               { return longitude; }                   void setLongitude(double v)                      { longitude = v; longitudeSet = true; }
    double getAltitude() const                { return altitude; }                    void setAltitude(double v)                       { altitude = v; altitudeSet = true; }
    double getAccuracy() const                { return accuracy; }                    void setAccuracy(double v)                       { accuracy = v; accuracySet = true; }
    long32 getUpdateDate() const              { return updateDate; }                  void setUpdateDate(long32 v)                     { updateDate = v; updateDateSet = true; }
    std::wstring getScoreType() const         { return scoreType.of(line); }          void setScoreType(const std::wstring& v)         { scoreType = v; scoreTypeSet = true; }
    std::wstring getScoreValue() const        { return scoreValue.of(line); }         void setScoreValue(const std::wstring& v)        { scoreValue = v; scoreValueSet = true; }
    /// @}
    // clang-format on

    /// The line parsed; blanks for a model that was built from none.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. Numbers too wide for their columns are cut on the right, texts too long are left
    /// out and listed in getBuildErrors.
    TramoLine::tramoLine_t toTramoLine();

    /// The values as "ExtendedDataTramoModel[meterSerialNumber:...,...]", the date in seconds.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< those of the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< those of the last toTramoLine

    /// Checks that the meter's serial number is there.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::Layouts;
    TRAMO_HIDDEN static const tramo::Record<ExtendedDataTramoModel>& layout();

    tramo::FieldText meterSerialNumber, scoreType, scoreValue;
    double latitude = 0.0, longitude = 0.0, altitude = 0.0, accuracy = 0.0;
    long32 updateDate = 0;
    bool latitudeSet = false, longitudeSet = false, altitudeSet = false, accuracySet = false;
    bool updateDateSet = false, scoreTypeSet = false, scoreValueSet = false;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    tramo::ErrorLists errors;
};
