// The line of one radio module.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <array>
#include <string>
#include <vector>

/// A radio module (AMR) on a meter: what it is and where it is wired, two snapshots of it, previous and current, and how
/// often it could not be read. Line letter '2'.
///
/// A value; every operation but getMandatoryErrors and toTramoLine is const, and none throws for bad content. Dates are
/// seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: empty texts; -1 for numbers, but
/// 0 for the count of failed readings; 0 for the dates of installation and of the last failed reading, -1 for those of
/// the snapshots; flags are false.
///
/// @snippet docs/examples.cpp AMRTramoModel
class TRAMO_EXPORT AMRTramoModel {
public:
    AMRTramoModel() = default;  ///< every value is absent

    /// Parses a line, which is copied. A field that cannot be read keeps its absent value and is listed in
    /// getParseErrors; a line of another kind is refused with the error {0, TE::WrongLineType}.
    AMRTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The module
    /// Its sensor port text, which getMandatoryErrors looks at, comes from a parsed line only. The pulse weight is written
    /// when above 0, else its text is, as it stands; neither setter touches the other's value.
    /// @{
    TF::TramoLineType getType() const            { return type; }                           void setType(const TF::TramoLineType& v)            { type = v; }  ///< the letter in column 1
    long32 getInstallationDate() const           { return installationDate; }               void setInstallationDate(const long32& v)           { installationDate = v; }
    std::wstring getMeterReference() const       { return meterReference.of(line); }        void setMeterReference(const std::wstring& v)       { meterReference = v; }
    std::wstring getMeterSerialNumber() const    { return meterSerialNumber.of(line); }     void setMeterSerialNumber(const std::wstring& v)    { meterSerialNumber = v; }
    int getSensorPort() const                    { return sensorPort; }                     void setSensorPort(int v)                           { sensorPort = v; }
    long long getMeterMaxIndex() const           { return meterMaxIndex; }                  void setMeterMaxIndex(int v)                        { meterMaxIndex = v; }
    double getMeterUnit() const                  { return meterUnit; }                      void setMeterUnit(double v)                         { meterUnit = v; }
    std::wstring getReferance() const            { return referance.of(line); }             void setReferance(const std::wstring& v)            { referance = v; }
    std::wstring getSerialNumber() const         { return serialNumber.of(line); }          void setSerialNumber(const std::wstring& v)         { serialNumber = v; }
    std::wstring getInternalSerialNumber() const { return internalSerialNumber.of(line); }  void setInternalSerialNumber(const std::wstring& v) { internalSerialNumber = v; }
    std::wstring getData() const                 { return data.of(line); }                  void setData(const std::wstring& v)                 { data = v; }
    std::wstring getPulseWeightStr() const       { return pulseWeightStr.of(line); }        void setPulseWeightStr(const std::wstring& v)       { pulseWeightStr = v; }
    double getPulseWeight() const                { return pulseWeight; }                    void setPulseWeight(double v)                       { pulseWeight = v; }
    long long getMaxIndex() const                { return maxIndex; }                       void setMaxIndex(long long v)                       { maxIndex = v; }
    /// @}

    /// @name The previous snapshot
    /// Nothing of it is written when its date is -1. The manufacturer's raw values never stand in a line, and the text of
    /// the date is never written.
    /// @{
    std::wstring getPreviousReadingDateStr() const        { return previousReadingDateStr.of(line); }  void setPreviousReadingDateStr(const std::wstring& v) { previousReadingDateStr = v; }
    long32 getPreviousReadingDate() const                 { return previousReadingDate; }              void setPreviousReadingDate(const long32& v)          { previousReadingDate = v; }
    double getPreviousMeterIndex() const                  { return previousMeterIndex; }               void setPreviousMeterIndex(double v)                  { previousMeterIndex = v; }
    long long getPreviousAmrIndex() const                 { return previousAmrIndex; }                 void setPreviousAmrIndex(long long v)                 { previousAmrIndex = v; }
    std::wstring getPreviousAmrStatus() const             { return previousAmrStatus.of(line); }       void setPreviousAmrStatus(const std::wstring& v)      { previousAmrStatus = v; }
    unsigned int getPreviousManufacturerRawAlarm() const  { return previousManufacturerRawAlarm; }     void setPreviousManufacturerRawAlarm(unsigned int v)  { previousManufacturerRawAlarm = v; }  ///< in no line
    unsigned int getPreviousManufacturerRawStatus() const { return previousManufacturerRawStatus; }    void setPreviousManufacturerRawStatus(unsigned int v) { previousManufacturerRawStatus = v; }  ///< in no line

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
    /// Nothing of it is written when its date is -1, which the getter answers as 0.
    /// @{
    long32 getCurrentReadingDate() const                 { return currentReadingDate == -1 ? 0 : currentReadingDate; }  void setCurrentReadingDate(const long32& v)          { currentReadingDate = v; }
    double getCurrentMeterIndex() const                  { return currentMeterIndex; }                                  void setCurrentMeterIndex(double v)                  { currentMeterIndex = v; }
    long long getCurrentAmrIndex() const                 { return currentAmrIndex; }                                    void setCurrentAmrIndex(long long v)                 { currentAmrIndex = v; }
    std::wstring getCurrentAmrStatus() const             { return currentAmrStatus.of(line); }                          void setCurrentAmrStatus(const std::wstring& v)      { currentAmrStatus = v; }
    unsigned int getCurrentManufacturerRawAlarm() const  { return currentManufacturerRawAlarm; }                        void setCurrentManufacturerRawAlarm(unsigned int v)  { currentManufacturerRawAlarm = v; }  ///< in no line
    unsigned int getCurrentManufacturerRawStatus() const { return currentManufacturerRawStatus; }                       void setCurrentManufacturerRawStatus(unsigned int v) { currentManufacturerRawStatus = v; }  ///< in no line

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
    /// Whether the module is an external one is left blank until set. A failed reading is written when there is a date of
    /// 1 or more and a count of 1 or more; a date of -1 is answered as 0.
    /// @{
    bool isExternalAMR() const         { return externalAMR; }                                    void setExternamAMR(bool v)               { externalAMR = v; externalText = v ? L"1" : L"0"; }
    long32 getLastReadFailDate() const { return lastReadFailDate == -1 ? 0 : lastReadFailDate; }  void setLastReadFailDate(const long32& v) { lastReadFailDate = v; }
    int getReadFailCount() const       { return readFailCount; }                                  void setReadFailCount(int v)              { readFailCount = v; }
    /// @}
    // clang-format on

    /// The line parsed; blanks for a model that was built from none.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. Numbers too wide for their columns are cut on the right, texts too long are left
    /// out and listed in getBuildErrors. Behind the alarm flags of a snapshot without a status the line holds a zero
    /// character, as the format has it.
    TramoLine::tramoLine_t toTramoLine();

    /// The values as "AMR[amrInstallationDate:...,...]", dates in seconds. The sensor port and the external flag are
    /// shown as the character of that code; the AMR indexes and the failed readings are not shown.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< those of the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< those of the last toTramoLine

    /// Checks that everything is there but the meter reference, the current snapshot, the external flag and the failed
    /// readings. The sensor port is looked for in the line parsed; the previous alarms are reported without a previous
    /// meter index.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::Layouts;
    struct TRAMO_HIDDEN Layout;
    TRAMO_HIDDEN static const tramo::Record<AMRTramoModel>& layout();

    TF::TramoLineType type = TF::TramoLineType::Amr;
    long32 installationDate = 0;
    tramo::FieldText meterReference, meterSerialNumber;
    int sensorPort = -1;
    tramo::FieldText sensorPortText;  // as cut from the line; the mandatory check looks at it
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
    tramo::FieldText previousAlarmText;     // as cut from the line, for toString
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
    tramo::FieldText externalText;  // what is written for the flag
    long32 lastReadFailDate = 0;
    int readFailCount = 0;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    tramo::ErrorLists errors;
};
