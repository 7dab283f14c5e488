// The record of one radio module.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <array>
#include <string>
#include <vector>

/// A radio module (AMR) on a meter: its identity and wiring, a previous and a current snapshot, and how often it could not
/// be read. Record kind '2'.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTramoLine change it; nothing throws for bad content.
/// Dates are seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: empty texts; -1 for
/// numbers, but 0 for the count of failed readings and the raw values; 0 for the dates of installation and of the last
/// failed reading, -1 for those of the snapshots; false for flags.
///
/// @snippet docs/examples.cpp AMRTramoModel
class TRAMO_EXPORT AMRTramoModel {
public:
    AMRTramoModel() = default;  ///< every value is absent

    /// Copies and parses a line. An invalid field keeps its absent value and is listed in getParseErrors. A line of another
    /// record kind leaves every value absent and adds the error {0, TE::WrongLineType}.
    AMRTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The module
    /// getMandatoryErrors checks the sensor port in the parsed line only. The pulse weight is written if it is above 0,
    /// otherwise its text, unchanged. Each of their setters leaves the other value alone.
    /// @{
    TF::TramoLineType getType() const            { return type; }                             void setType(const TF::TramoLineType& v)            { type = v; }  ///< the letter in column 1
    long32 getInstallationDate() const           { return installationDate; }                 void setInstallationDate(const long32& v)           { installationDate = v; }
    std::wstring getMeterReference() const       { return meterReference.text(line); }        void setMeterReference(const std::wstring& v)       { meterReference = v; }
    std::wstring getMeterSerialNumber() const    { return meterSerialNumber.text(line); }     void setMeterSerialNumber(const std::wstring& v)    { meterSerialNumber = v; }
    int getSensorPort() const                    { return sensorPort; }                       void setSensorPort(int v)                           { sensorPort = v; }
    long long getMeterMaxIndex() const           { return meterMaxIndex; }                    void setMeterMaxIndex(int v)                        { meterMaxIndex = v; }
    double getMeterUnit() const                  { return meterUnit; }                        void setMeterUnit(double v)                         { meterUnit = v; }
    std::wstring getReferance() const            { return referance.text(line); }             void setReferance(const std::wstring& v)            { referance = v; }
    std::wstring getSerialNumber() const         { return serialNumber.text(line); }          void setSerialNumber(const std::wstring& v)         { serialNumber = v; }
    std::wstring getInternalSerialNumber() const { return internalSerialNumber.text(line); }  void setInternalSerialNumber(const std::wstring& v) { internalSerialNumber = v; }
    std::wstring getData() const                 { return data.text(line); }                  void setData(const std::wstring& v)                 { data = v; }
    std::wstring getPulseWeightStr() const       { return pulseWeightStr.text(line); }        void setPulseWeightStr(const std::wstring& v)       { pulseWeightStr = v; }
    double getPulseWeight() const                { return pulseWeight; }                      void setPulseWeight(double v)                       { pulseWeight = v; }
    long long getMaxIndex() const                { return maxIndex; }                         void setMaxIndex(long long v)                       { maxIndex = v; }
    /// @}

    /// @name The previous snapshot
    /// Not written if its date is -1. The manufacturer's raw values are neither read nor written; the text of the date is
    /// read but never written.
    /// @{
    std::wstring getPreviousReadingDateStr() const        { return previousReadingDateStr.text(line); }  void setPreviousReadingDateStr(const std::wstring& v) { previousReadingDateStr = v; }
    long32 getPreviousReadingDate() const                 { return previousReadingDate; }                void setPreviousReadingDate(const long32& v)          { previousReadingDate = v; }
    double getPreviousMeterIndex() const                  { return previousMeterIndex; }                 void setPreviousMeterIndex(double v)                  { previousMeterIndex = v; }
    long long getPreviousAmrIndex() const                 { return previousAmrIndex; }                   void setPreviousAmrIndex(long long v)                 { previousAmrIndex = v; }
    std::wstring getPreviousAmrStatus() const             { return previousAmrStatus.text(line); }       void setPreviousAmrStatus(const std::wstring& v)      { previousAmrStatus = v; }
    unsigned int getPreviousManufacturerRawAlarm() const  { return previousManufacturerRawAlarm; }       void setPreviousManufacturerRawAlarm(unsigned int v)  { previousManufacturerRawAlarm = v; }  ///< neither read nor written
    unsigned int getPreviousManufacturerRawStatus() const { return previousManufacturerRawStatus; }      void setPreviousManufacturerRawStatus(unsigned int v) { previousManufacturerRawStatus = v; }  ///< neither read nor written

    bool getPreviousAlarmFraudPastOrCurrent() const        { return previousAlarms[0]; }   void setPreviousAlarmFraudPastOrCurrent(bool v)        { previousAlarms[0] = v; }
    bool getPreviousAlarmLeakPastOrCurrent() const         { return previousAlarms[1]; }   void setPreviousAlarmLeakPastOrCurrent(bool v)         { previousAlarms[1] = v; }
    bool getPreviousAlarmBackFlowPastOrCurrent() const     { return previousAlarms[2]; }   void setPreviousAlarmBackFlowPastOrCurrent(bool v)     { previousAlarms[2] = v; }
    bool getPreviousAlarmEndOfBattryCurrent() const        { return previousAlarms[3]; }   void setPreviousAlarmEndOfBattryCurrent(bool v)        { previousAlarms[3] = v; }
    bool getPreviousAlarmModuleDefectCurrent() const       { return previousAlarms[4]; }   void setPreviousAlarmModuleDefectCurrent(bool v)       { previousAlarms[4] = v; }
    bool getPreviousAlarmClockfaultCurrent() const         { return previousAlarms[5]; }   void setPreviousAlarmClockfaultCurrent(bool v)         { previousAlarms[5] = v; }
    bool getPreviousAlarmFraudCurrent() const              { return previousAlarms[6]; }   void setPreviousAlarmFraudCurrent(bool v)              { previousAlarms[6] = v; }
    bool getPreviousAlarmLeakCurrent() const               { return previousAlarms[7]; }   void setPreviousAlarmLeakCurrent(bool v)               { previousAlarms[7] = v; }
    bool getPreviousAlarmBackFlowCurrent() const           { return previousAlarms[8]; }   void setPreviousAlarmBackFlowCurrent(bool v)           { previousAlarms[8] = v; }
    bool getPreviousAlarmMeterBlockedPastOrCurrent() const { return previousAlarms[9]; }   void setPreviousAlarmMeterBlockedPastOrCurrent(bool v) { previousAlarms[9] = v; }
    bool getPreviousAlarmUnderFlowPastOrCurrent() const    { return previousAlarms[10]; }  void setPreviousAlarmUnderFlowPastOrCurrent(bool v)    { previousAlarms[10] = v; }
    bool getPreviousAlarmOverFlowPastOrCurrent() const     { return previousAlarms[11]; }  void setPreviousAlarmOverFlowPastOrCurrent(bool v)     { previousAlarms[11] = v; }
    /// @}

    /// @name The current snapshot
    /// Not written if its date is -1; the getter returns 0 for that date.
    /// @{
    long32 getCurrentReadingDate() const                 { return currentReadingDate == -1 ? 0 : currentReadingDate; }  void setCurrentReadingDate(const long32& v)          { currentReadingDate = v; }
    double getCurrentMeterIndex() const                  { return currentMeterIndex; }                                  void setCurrentMeterIndex(double v)                  { currentMeterIndex = v; }
    long long getCurrentAmrIndex() const                 { return currentAmrIndex; }                                    void setCurrentAmrIndex(long long v)                 { currentAmrIndex = v; }
    std::wstring getCurrentAmrStatus() const             { return currentAmrStatus.text(line); }                        void setCurrentAmrStatus(const std::wstring& v)      { currentAmrStatus = v; }
    unsigned int getCurrentManufacturerRawAlarm() const  { return currentManufacturerRawAlarm; }                        void setCurrentManufacturerRawAlarm(unsigned int v)  { currentManufacturerRawAlarm = v; }  ///< neither read nor written
    unsigned int getCurrentManufacturerRawStatus() const { return currentManufacturerRawStatus; }                       void setCurrentManufacturerRawStatus(unsigned int v) { currentManufacturerRawStatus = v; }  ///< neither read nor written

    bool getCurrentAlarmFraudPastOrCurrent() const        { return currentAlarms[0]; }   void setCurrentAlarmFraudPastOrCurrent(bool v)        { currentAlarms[0] = v; }
    bool getCurrentAlarmLeakPastOrCurrent() const         { return currentAlarms[1]; }   void setCurrentAlarmLeakPastOrCurrent(bool v)         { currentAlarms[1] = v; }
    bool getCurrentAlarmBackFlowPastOrCurrent() const     { return currentAlarms[2]; }   void setCurrentAlarmBackFlowPastOrCurrent(bool v)     { currentAlarms[2] = v; }
    bool getCurrentAlarmEndOfBattryCurrent() const        { return currentAlarms[3]; }   void setCurrentAlarmEndOfBattryCurrent(bool v)        { currentAlarms[3] = v; }
    bool getCurrentAlarmModuleDefectCurrent() const       { return currentAlarms[4]; }   void setCurrentAlarmModuleDefectCurrent(bool v)       { currentAlarms[4] = v; }
    bool getCurrentAlarmClockFaultCurrent() const         { return currentAlarms[5]; }   void setCurrentAlarmClockFaultCurrent(bool v)         { currentAlarms[5] = v; }
    bool getCurrentAlarmFraudCurrent() const              { return currentAlarms[6]; }   void setCurrentAlarmFraudCurrent(bool v)              { currentAlarms[6] = v; }
    bool getCurrentAlarmLeakCurrent() const               { return currentAlarms[7]; }   void setCurrentAlarmLeakCurrent(bool v)               { currentAlarms[7] = v; }
    bool getCurrentAlarmBackFlowCurrent() const           { return currentAlarms[8]; }   void setCurrentAlarmBackFlowCurrent(bool v)           { currentAlarms[8] = v; }
    bool getCurrentAlarmMeterBlockedPastOrCurrent() const { return currentAlarms[9]; }   void setCurrentAlarmMeterBlockedPastOrCurrent(bool v) { currentAlarms[9] = v; }
    bool getCurrentAlarmUnderFlowPastOrCurrent() const    { return currentAlarms[10]; }  void setCurrentAlarmUnderFlowPastOrCurrent(bool v)    { currentAlarms[10] = v; }
    bool getCurrentAlarmOverFlowPastOrCurrent() const     { return currentAlarms[11]; }  void setCurrentAlarmOverFlowPastOrCurrent(bool v)     { currentAlarms[11] = v; }
    /// @}

    /// @name External modules and failed readings
    /// The external flag is left blank unless it was read or set. The failed readings are written if both the date and the
    /// count are 1 or more; the getter returns 0 for a date of -1.
    /// @{
    bool isExternalAMR() const         { return externalAMR; }                                    void setExternamAMR(bool v)               { externalAMR = v; externalText = v ? L"1" : L"0"; }
    long32 getLastReadFailDate() const { return lastReadFailDate == -1 ? 0 : lastReadFailDate; }  void setLastReadFailDate(const long32& v) { lastReadFailDate = v; }
    int getReadFailCount() const       { return readFailCount; }                                  void setReadFailCount(int v)              { readFailCount = v; }
    /// @}
    // clang-format on

    /// The parsed line; spaces with CR LF if the model was default-constructed.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. Numbers that are too long are truncated on the right without an error; texts that
    /// are too long are left out and listed in getBuildErrors. If a snapshot has no status, a zero character follows its
    /// alarm flags, as the format requires.
    TramoLine::tramoLine_t toTramoLine();

    /// Returns the values as "AMR[amrInstallationDate:...,...]", dates in seconds, the sensor port and the external flag as
    /// the character of that code, without the AMR indexes and the failed readings.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that every value is present except the meter reference, the current snapshot, the external flag and the
    /// failed readings. The sensor port must be in the parsed line; the previous alarms are reported if the previous meter
    /// index is missing.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    struct TRAMO_HIDDEN TableParts;
    TRAMO_HIDDEN static const tramo::Record<AMRTramoModel>& table();

    TF::TramoLineType type = TF::TramoLineType::Amr;
    long32 installationDate = 0;
    tramo::FieldText meterReference, meterSerialNumber;
    int sensorPort = -1;
    tramo::FieldText sensorPortText;  // as read from the line, for the mandatory check
    long long meterMaxIndex = -1;
    double meterUnit = -1.0;
    tramo::FieldText referance, serialNumber, internalSerialNumber, data;
    double pulseWeight = -1.0;
    tramo::FieldText pulseWeightStr;
    long long maxIndex = -1;

    long32 previousReadingDate = -1;
    tramo::FieldText previousReadingDateStr;
    double previousMeterIndex = -1.0;
    long long previousAmrIndex = -1;
    std::array<bool, 12> previousAlarms{};  // in the order of their bits in the line
    tramo::FieldText previousAlarmText;     // as read from the line, for toString
    tramo::FieldText previousAmrStatus;
    unsigned int previousManufacturerRawAlarm = 0, previousManufacturerRawStatus = 0;

    long32 currentReadingDate = -1;
    double currentMeterIndex = -1.0;
    long long currentAmrIndex = -1;
    std::array<bool, 12> currentAlarms{};
    tramo::FieldText currentAlarmText;
    tramo::FieldText currentAmrStatus;
    unsigned int currentManufacturerRawAlarm = 0, currentManufacturerRawStatus = 0;

    bool externalAMR = false;
    tramo::FieldText externalText;  // written for the flag
    long32 lastReadFailDate = 0;
    int readFailCount = 0;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    tramo::ErrorLists errors;
};
