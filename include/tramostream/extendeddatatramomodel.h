// The record of a meter's position.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <string>
#include <vector>

/// The position of a meter: latitude and longitude in degrees, altitude, accuracy, when they were determined, and a score.
/// Record kind '7'.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTramoLine change it; nothing throws for bad content.
/// The date is in seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: 0 for numbers and
/// the date, empty texts. A value that was neither read nor set is not written; a 0 that was set is written.
///
/// @snippet docs/examples.cpp ExtendedDataTramoModel
class TRAMO_EXPORT ExtendedDataTramoModel {
public:
    ExtendedDataTramoModel() = default;  ///< every value is absent

    /// Copies and parses a line. An invalid field keeps its absent value and is listed in getParseErrors. A line of another
    /// record kind leaves every value absent and adds the error {0, TE::WrongLineType}.
    ExtendedDataTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The place
    /// Latitude and longitude are written with twelve decimals, altitude and accuracy with three.
    /// @{
    std::wstring getMeterSerialNumber() const { return meterSerialNumber.text(line); }  void setMeterSerialNumber(const std::wstring& v) { meterSerialNumber = v; }
    double getLatitude() const                { return latitude; }                      void setLatitude(double v)                       { latitude = v; latitudeSet = true; }
    double getLongitude() const               { return longitude; }                     void setLongitude(double v)                      { longitude = v; longitudeSet = true; }
    double getAltitude() const                { return altitude; }                      void setAltitude(double v)                       { altitude = v; altitudeSet = true; }
    double getAccuracy() const                { return accuracy; }                      void setAccuracy(double v)                       { accuracy = v; accuracySet = true; }
    long32 getUpdateDate() const              { return updateDate; }                    void setUpdateDate(long32 v)                     { updateDate = v; updateDateSet = true; }
    std::wstring getScoreType() const         { return scoreType.text(line); }          void setScoreType(const std::wstring& v)         { scoreType = v; scoreTypeSet = true; }
    std::wstring getScoreValue() const        { return scoreValue.text(line); }         void setScoreValue(const std::wstring& v)        { scoreValue = v; scoreValueSet = true; }
    /// @}
    // clang-format on

    /// The parsed line; spaces with CR LF if the model was default-constructed.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. Numbers that are too long are truncated on the right without an error; texts that
    /// are too long are left out and listed in getBuildErrors.
    TramoLine::tramoLine_t toTramoLine();

    /// Returns the values as "ExtendedDataTramoModel[meterSerialNumber:...,...]", the date in seconds.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that the meter's serial number is present.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    TRAMO_HIDDEN static const tramo::Record<ExtendedDataTramoModel>& table();

    tramo::FieldText meterSerialNumber, scoreType, scoreValue;
    double latitude = 0.0, longitude = 0.0, altitude = 0.0, accuracy = 0.0;
    long32 updateDate = 0;
    bool latitudeSet = false, longitudeSet = false, altitudeSet = false, accuracySet = false;
    bool updateDateSet = false, scoreTypeSet = false, scoreValueSet = false;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    tramo::ErrorLists errors;
};
