// The record of one reading of a radio module, with its history.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <array>
#include <string>
#include <vector>

/// A reading of a radio module (AMR): the meter and the module, the index, six alarms, and eighteen earlier readings,
/// each with a time, an index and an alarm code. Record kind '4'.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTramoLine change it; nothing throws for bad content.
/// Times are seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: empty texts; -1 for the
/// sensor port and the index of a history slot, but 0 for the two indexes of the reading; 0 for times; false for alarms;
/// TF::AmrAlarms::Unset.
///
/// @snippet docs/examples.cpp ExtendedAMRTramoModel
class TRAMO_EXPORT ExtendedAMRTramoModel {
public:
    ExtendedAMRTramoModel() = default;  ///< every value is absent

    /// Copies and parses a line. An invalid field keeps its absent value and is listed in getParseErrors. A line of another
    /// record kind leaves every value absent and adds the error {0, TE::WrongLineType}.
    ExtendedAMRTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The reading
    /// The meter index is written if it is above -1, the backflow index always, both with three decimals.
    /// @{
    std::wstring getMeterReference() const    { return meterReference.text(line); }     void setMeterReference(const std::wstring& v)    { meterReference = v; }
    std::wstring getMeterSerialNumber() const { return meterSerialNumber.text(line); }  void setMeterSerialNumber(const std::wstring& v) { meterSerialNumber = v; }
    std::wstring getAmrReference() const      { return amrReference.text(line); }       void setAmrReference(const std::wstring& v)      { amrReference = v; }
    std::wstring getAmrSerialNumber() const   { return amrSerialNumber.text(line); }    void setAmrSerialNumber(const std::wstring& v)   { amrSerialNumber = v; }
    int getAmrSensorPort() const              { return amrSensorPort; }                 void setAmrSensorPort(int v)                     { amrSensorPort = v; }
    long32 getReadingDate() const             { return readingDate; }                   void setReadingDate(const long32& v)             { readingDate = v; }
    double getMeterIndex() const              { return meterIndex; }                    void setMeterIndex(double v)                     { meterIndex = v; }
    double getBackflowIndex() const           { return backflowIndex; }                 void setBackflowIndex(double v)                  { backflowIndex = v; }
    /// @}

    /// @name Its alarms
    /// Always written. The reserved alarm is a text of two characters.
    /// @{
    bool getFraudAlarm() const            { return fraudAlarm; }                void setFraudAlarm(bool v)            { fraudAlarm = v; }
    bool getLeakAlarm() const             { return leakAlarm; }                 void setLeakAlarm(bool v)             { leakAlarm = v; }
    bool getBackflowAlarm() const         { return backflowAlarm; }             void setBackflowAlarm(bool v)         { backflowAlarm = v; }
    bool getBattryAlarm() const           { return battryAlarm; }               void setBattryAlarm(bool v)           { battryAlarm = v; }
    bool getModuleDefectAlarm() const     { return moduleDefectAlarm; }         void setModuleDefectAlarm(bool v)     { moduleDefectAlarm = v; }
    bool getClockFaultAlarm() const       { return clockFaultAlarm; }           void setClockFaultAlarm(bool v)       { clockFaultAlarm = v; }
    std::wstring getReservedAlarm() const { return reservedAlarm.text(line); }  void setReservedAlarm(std::wstring v) { reservedAlarm = v; }
    /// @}

    /// @name Earlier readings
    /// A slot is written if its time is above 0 and its index is above -1.
    /// @{
    long32 getHistory1DateTime() const       { return history[0].dateTime; }   void setHistory1DateTime(const long32& v)       { history[0].dateTime = v; }
    double getHistory1Index() const          { return history[0].index; }      void setHistory1Index(double v)                 { history[0].index = v; }
    TF::AmrAlarms getHistory1Alarms() const  { return history[0].alarms; }     void setHistory1Alarms(const TF::AmrAlarms& v)  { history[0].alarms = v; }
    long32 getHistory2DateTime() const       { return history[1].dateTime; }   void setHistory2DateTime(const long32& v)       { history[1].dateTime = v; }
    double getHistory2Index() const          { return history[1].index; }      void setHistory2Index(double v)                 { history[1].index = v; }
    TF::AmrAlarms getHistory2Alarms() const  { return history[1].alarms; }     void setHistory2Alarms(const TF::AmrAlarms& v)  { history[1].alarms = v; }
    long32 getHistory3DateTime() const       { return history[2].dateTime; }   void setHistory3DateTime(const long32& v)       { history[2].dateTime = v; }
    double getHistory3Index() const          { return history[2].index; }      void setHistory3Index(double v)                 { history[2].index = v; }
    TF::AmrAlarms getHistory3Alarms() const  { return history[2].alarms; }     void setHistory3Alarms(const TF::AmrAlarms& v)  { history[2].alarms = v; }
    long32 getHistory4DateTime() const       { return history[3].dateTime; }   void setHistory4DateTime(const long32& v)       { history[3].dateTime = v; }
    double getHistory4Index() const          { return history[3].index; }      void setHistory4Index(double v)                 { history[3].index = v; }
    TF::AmrAlarms getHistory4Alarms() const  { return history[3].alarms; }     void setHistory4Alarms(const TF::AmrAlarms& v)  { history[3].alarms = v; }
    long32 getHistory5DateTime() const       { return history[4].dateTime; }   void setHistory5DateTime(const long32& v)       { history[4].dateTime = v; }
    double getHistory5Index() const          { return history[4].index; }      void setHistory5Index(double v)                 { history[4].index = v; }
    TF::AmrAlarms getHistory5Alarms() const  { return history[4].alarms; }     void setHistory5Alarms(const TF::AmrAlarms& v)  { history[4].alarms = v; }
    long32 getHistory6DateTime() const       { return history[5].dateTime; }   void setHistory6DateTime(const long32& v)       { history[5].dateTime = v; }
    double getHistory6Index() const          { return history[5].index; }      void setHistory6Index(double v)                 { history[5].index = v; }
    TF::AmrAlarms getHistory6Alarms() const  { return history[5].alarms; }     void setHistory6Alarms(const TF::AmrAlarms& v)  { history[5].alarms = v; }
    long32 getHistory7DateTime() const       { return history[6].dateTime; }   void setHistory7DateTime(const long32& v)       { history[6].dateTime = v; }
    double getHistory7Index() const          { return history[6].index; }      void setHistory7Index(double v)                 { history[6].index = v; }
    TF::AmrAlarms getHistory7Alarms() const  { return history[6].alarms; }     void setHistory7Alarms(const TF::AmrAlarms& v)  { history[6].alarms = v; }
    long32 getHistory8DateTime() const       { return history[7].dateTime; }   void setHistory8DateTime(const long32& v)       { history[7].dateTime = v; }
    double getHistory8Index() const          { return history[7].index; }      void setHistory8Index(double v)                 { history[7].index = v; }
    TF::AmrAlarms getHistory8Alarms() const  { return history[7].alarms; }     void setHistory8Alarms(const TF::AmrAlarms& v)  { history[7].alarms = v; }
    long32 getHistory9DateTime() const       { return history[8].dateTime; }   void setHistory9DateTime(const long32& v)       { history[8].dateTime = v; }
    double getHistory9Index() const          { return history[8].index; }      void setHistory9Index(double v)                 { history[8].index = v; }
    TF::AmrAlarms getHistory9Alarms() const  { return history[8].alarms; }     void setHistory9Alarms(const TF::AmrAlarms& v)  { history[8].alarms = v; }
    long32 getHistory10DateTime() const      { return history[9].dateTime; }   void setHistory10DateTime(const long32& v)      { history[9].dateTime = v; }
    double getHistory10Index() const         { return history[9].index; }      void setHistory10Index(double v)                { history[9].index = v; }
    TF::AmrAlarms getHistory10Alarms() const { return history[9].alarms; }     void setHistory10Alarms(const TF::AmrAlarms& v) { history[9].alarms = v; }
    long32 getHistory11DateTime() const      { return history[10].dateTime; }  void setHistory11DateTime(const long32& v)      { history[10].dateTime = v; }
    double getHistory11Index() const         { return history[10].index; }     void setHistory11Index(double v)                { history[10].index = v; }
    TF::AmrAlarms getHistory11Alarms() const { return history[10].alarms; }    void setHistory11Alarms(const TF::AmrAlarms& v) { history[10].alarms = v; }
    long32 getHistory12DateTime() const      { return history[11].dateTime; }  void setHistory12DateTime(const long32& v)      { history[11].dateTime = v; }
    double getHistory12Index() const         { return history[11].index; }     void setHistory12Index(double v)                { history[11].index = v; }
    TF::AmrAlarms getHistory12Alarms() const { return history[11].alarms; }    void setHistory12Alarms(const TF::AmrAlarms& v) { history[11].alarms = v; }
    long32 getHistory13DateTime() const      { return history[12].dateTime; }  void setHistory13DateTime(const long32& v)      { history[12].dateTime = v; }
    double getHistory13Index() const         { return history[12].index; }     void setHistory13Index(double v)                { history[12].index = v; }
    TF::AmrAlarms getHistory13Alarms() const { return history[12].alarms; }    void setHistory13Alarms(const TF::AmrAlarms& v) { history[12].alarms = v; }
    long32 getHistory14DateTime() const      { return history[13].dateTime; }  void setHistory14DateTime(const long32& v)      { history[13].dateTime = v; }
    double getHistory14Index() const         { return history[13].index; }     void setHistory14Index(double v)                { history[13].index = v; }
    TF::AmrAlarms getHistory14Alarms() const { return history[13].alarms; }    void setHistory14Alarms(const TF::AmrAlarms& v) { history[13].alarms = v; }
    long32 getHistory15DateTime() const      { return history[14].dateTime; }  void setHistory15DateTime(const long32& v)      { history[14].dateTime = v; }
    double getHistory15Index() const         { return history[14].index; }     void setHistory15Index(double v)                { history[14].index = v; }
    TF::AmrAlarms getHistory15Alarms() const { return history[14].alarms; }    void setHistory15Alarms(const TF::AmrAlarms& v) { history[14].alarms = v; }
    long32 getHistory16DateTime() const      { return history[15].dateTime; }  void setHistory16DateTime(const long32& v)      { history[15].dateTime = v; }
    double getHistory16Index() const         { return history[15].index; }     void setHistory16Index(double v)                { history[15].index = v; }
    TF::AmrAlarms getHistory16Alarms() const { return history[15].alarms; }    void setHistory16Alarms(const TF::AmrAlarms& v) { history[15].alarms = v; }
    long32 getHistory17DateTime() const      { return history[16].dateTime; }  void setHistory17DateTime(const long32& v)      { history[16].dateTime = v; }
    double getHistory17Index() const         { return history[16].index; }     void setHistory17Index(double v)                { history[16].index = v; }
    TF::AmrAlarms getHistory17Alarms() const { return history[16].alarms; }    void setHistory17Alarms(const TF::AmrAlarms& v) { history[16].alarms = v; }
    long32 getHistory18DateTime() const      { return history[17].dateTime; }  void setHistory18DateTime(const long32& v)      { history[17].dateTime = v; }
    double getHistory18Index() const         { return history[17].index; }     void setHistory18Index(double v)                { history[17].index = v; }
    TF::AmrAlarms getHistory18Alarms() const { return history[17].alarms; }    void setHistory18Alarms(const TF::AmrAlarms& v) { history[17].alarms = v; }
    /// @}
    // clang-format on

    /// The parsed line; spaces with CR LF if the model was default-constructed.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. Numbers that are too long are truncated on the right without an error; texts that
    /// are too long are left out and listed in getBuildErrors.
    TramoLine::tramoLine_t toTramoLine();

    /// Returns the values as "ExtendedAMRTramoModel[meterReference:...,...]", times in seconds.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that the meter, the module and the reading are present, and that each history slot is complete or empty.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    struct TRAMO_HIDDEN TableParts;
    TRAMO_HIDDEN static const tramo::Record<ExtendedAMRTramoModel>& table();

    struct HistorySlot {
        long32 dateTime = 0;
        double index = -1.0;
        TF::AmrAlarms alarms = TF::AmrAlarms::Unset;
    };

    tramo::FieldText meterReference, meterSerialNumber, amrReference, amrSerialNumber;
    int amrSensorPort = -1;
    long32 readingDate = 0;
    double meterIndex = 0.0, backflowIndex = 0.0;
    bool fraudAlarm = false, leakAlarm = false, backflowAlarm = false;
    bool battryAlarm = false, moduleDefectAlarm = false, clockFaultAlarm = false;
    tramo::FieldText reservedAlarm;
    std::array<HistorySlot, 18> history;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    tramo::ErrorLists errors;
};
