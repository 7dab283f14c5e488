// The record of one meter in a round.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <array>
#include <limits>
#include <optional>
#include <string>
#include <vector>

/// A meter and its subscriber: the subscriber's information, the identity of the meter, its previous readings, its expected
/// consumption, and the new reading. Record kind '1'.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTramoLine change it; nothing throws for bad content.
/// Dates and times are seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: empty
/// texts; -1 for numbers, but 0 for the consumption of a history slot; 0 for dates; -2147483648 for the year;
/// `Unset` for codes; false for the flag.
///
/// @snippet docs/examples.cpp MeterSubscriberTramoModel
class TRAMO_EXPORT MeterSubscriberTramoModel {
public:
    MeterSubscriberTramoModel() = default;  ///< every value is absent

    /// Copies and parses a line. An invalid field keeps its absent value and is listed in getParseErrors. A line of another
    /// record kind leaves every value absent and adds the error {0, TE::WrongLineType}.
    MeterSubscriberTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The subscriber
    /// @{
    TF::TramoLineType getType() const             { return type; }                              void setType(const TF::TramoLineType& v)             { type = v; }  ///< the letter in column 1
    int getSubscriberCardOrder() const            { return subscriberCardOrder; }               void setSubscriberCardOrder(int v)                   { subscriberCardOrder = v; }
    std::wstring getSubscriberInformation() const { return subscriberInformation.text(line); }  void setSubscriberInformation(const std::wstring& v) { subscriberInformation = v; }
    std::wstring getSubscriberMarkingCode() const { return subscriberMarkingCode.text(line); }  void setSubscriberMarkingCode(const std::wstring& v) { subscriberMarkingCode = v; }
    /// @}

    /// @name Four earlier readings
    /// A slot is written if it has a date and its consumption is 0 or more.
    /// @{
    std::wstring getMeterHistory1ReadingType() const { return history[0].readingType.text(line); }  void setMeterHistory1ReadingType(const std::wstring& v) { history[0].readingType = v; }
    long32 getMeterHistory1ReadingDate() const       { return history[0].readingDate; }             void setMeterHistory1ReadingDate(const long32& v)       { history[0].readingDate = v; }
    long long getMeterHistory1Consumption() const    { return history[0].consumption; }             void setMeterHistory1Consumption(long long v)           { history[0].consumption = v; }
    std::wstring getMeterHistory2ReadingType() const { return history[1].readingType.text(line); }  void setMeterHistory2ReadingType(const std::wstring& v) { history[1].readingType = v; }
    long32 getMeterHistory2ReadingDate() const       { return history[1].readingDate; }             void setMeterHistory2ReadingDate(const long32& v)       { history[1].readingDate = v; }
    long long getMeterHistory2Consumption() const    { return history[1].consumption; }             void setMeterHistory2Consumption(long long v)           { history[1].consumption = v; }
    std::wstring getMeterHistory3ReadingType() const { return history[2].readingType.text(line); }  void setMeterHistory3ReadingType(const std::wstring& v) { history[2].readingType = v; }
    long32 getMeterHistory3ReadingDate() const       { return history[2].readingDate; }             void setMeterHistory3ReadingDate(const long32& v)       { history[2].readingDate = v; }
    long long getMeterHistory3Consumption() const    { return history[2].consumption; }             void setMeterHistory3Consumption(long long v)           { history[2].consumption = v; }
    std::wstring getMeterHistory4ReadingType() const { return history[3].readingType.text(line); }  void setMeterHistory4ReadingType(const std::wstring& v) { history[3].readingType = v; }
    long32 getMeterHistory4ReadingDate() const       { return history[3].readingDate; }             void setMeterHistory4ReadingDate(const long32& v)       { history[3].readingDate = v; }
    long long getMeterHistory4Consumption() const    { return history[3].consumption; }             void setMeterHistory4Consumption(long long v)           { history[3].consumption = v; }
    /// @}

    /// @name The meter
    /// The serial number is written if there is meter information, the corrected wheels if they are above 3.
    /// @{
    std::wstring getMeterInformation() const           { return meterInformation.text(line); }            void setMeterInformation(const std::wstring& v)           { meterInformation = v; }
    std::wstring getMeterSerialNumber() const          { return meterSerialNumber.text(line); }           void setMeterSerialNumber(const std::wstring& v)          { meterSerialNumber = v; }
    int getMeterWheels() const                         { return meterWheels; }                            void setMeterWheels(int v)                                { meterWheels = v; }
    std::wstring getMeterCorrectedSerialNumber() const { return meterCorrectedSerialNumber.text(line); }  void setMeterCorrectedSerialNumber(const std::wstring& v) { meterCorrectedSerialNumber = v; }
    int getMeterCorrectedWheels() const                { return meterCorrectedWheels; }                   void setMeterCorrectedWheels(int v)                       { meterCorrectedWheels = v; }
    long32 getMeterInstallationYear() const            { return meterInstallationYear; }                  void setMeterInstallationYear(const long32& v)            { meterInstallationYear = v; }
    long32 getMeterPreviousReadingDate() const         { return meterPreviousReadingDate; }               void setMeterPreviousReadingDate(const long32& v)         { meterPreviousReadingDate = v; }
    long long getMeterPreviousReadingIndex() const     { return meterPreviousReadingIndex; }              void setMeterPreviousReadingIndex(long long v)            { meterPreviousReadingIndex = v; }
    double getMeterMinEstimatedConsumption() const     { return meterMinEstimatedConsumption; }           void setMeterMinEstimatedConsumption(double v)            { meterMinEstimatedConsumption = v; }
    double getMeterMaxEstimatedConsumption() const     { return meterMaxEstimatedConsumption; }           void setMeterMaxEstimatedConsumption(double v)            { meterMaxEstimatedConsumption = v; }
    /// @}

    /// @name The new reading
    /// Index, status, consumption and method are written only with a reading date, the consumption only with a previous
    /// reading date, too. The authorized change (may the agent change the meter's data?) is read as true from a blank column.
    /// @{
    long32 getMeterReadingDate() const           { return meterReadingDate; }                 void setMeterReadingDate(const long32& v)           { meterReadingDate = v; }
    long long getMeterReadingIndex() const       { return meterReadingIndex; }                void setMeterReadingIndex(long long v)              { meterReadingIndex = v; }
    TF::ReadStatus getMeterReadingStatus() const { return meterReadingStatus; }               void setMeterReadingStatus(const TF::ReadStatus& v) { meterReadingStatus = v; }
    long long getMeterReadingConsumption() const { return meterReadingConsumption; }          void setMeterReadingConsumption(long long v)        { meterReadingConsumption = v; }
    TF::ReadMethod getMeterReadingMethod() const { return meterReadingMethod; }               void setMeterReadingMethod(const TF::ReadMethod& v) { meterReadingMethod = v; }
    std::wstring getMeterMarkingCode() const     { return meterMarkingCode.text(line); }      void setMeterMarkingCode(const std::wstring& v)     { meterMarkingCode = v; }
    std::wstring getMeterMessage() const         { return meterMessage.text(line); }          void setMeterMessage(const std::wstring& v)         { meterMessage = v; }
    long32 getMeterLastUpdateDate() const        { return meterLastUpdateDate; }              void setMeterLastUpdateDate(const long32& v)        { meterLastUpdateDate = v; }
    bool getMeterAuthorizedChange() const        { return meterAuthorizedChange; }            void setMeterAuthorizedChange(bool v)               { meterAuthorizedChange = v; authorizedChangeText = v ? L"1" : L"0"; }
    TF::MeterFluid getMeterFluidType() const     { return meterFluidType; }                   void setMeterFluidType(const TF::MeterFluid& v)     { meterFluidType = v; }
    std::wstring getMeterReadingUserCode() const { return meterReadingUserCode.text(line); }  void setMeterReadingUserCode(const std::wstring& v) { meterReadingUserCode = v; }
    /// @}
    // clang-format on

    /// The last line that toTramoLine built; before that the parsed line; without either, spaces with CR LF.
    TramoLine::tramoLine_t getTramoLine() const { return builtLine ? *builtLine : line; }

    /// Builds the line from the values. Numbers that are too long are truncated on the right without an error; texts that
    /// are too long, and TF::ReadMethod::MethodT, are left out and listed in getBuildErrors.
    TramoLine::tramoLine_t toTramoLine();

    /// Returns the values as "MeterSubscriberTramoModel[subscriberCardOrder:...,...]", dates in seconds.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that mandatory values are present and consistent. Returns the errors of the reading and of the authorized
    /// change; each call adds all others to getParseErrors again. A complete history slot is reported, too.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    struct TRAMO_HIDDEN TableParts;
    TRAMO_HIDDEN static const tramo::Record<MeterSubscriberTramoModel>& table();

    struct HistorySlot {
        tramo::FieldText readingType;
        long32 readingDate = 0;
        long long consumption = 0;
    };

    TF::TramoLineType type = TF::TramoLineType::MeterSubscriber;
    int subscriberCardOrder = -1;
    tramo::FieldText subscriberInformation, subscriberMarkingCode;
    std::array<HistorySlot, 4> history;
    tramo::FieldText meterInformation, meterSerialNumber, meterCorrectedSerialNumber;
    int meterWheels = -1, meterCorrectedWheels = -1;
    long32 meterInstallationYear = (std::numeric_limits<long32>::min)();
    long32 meterPreviousReadingDate = 0;
    long long meterPreviousReadingIndex = -1;
    double meterMinEstimatedConsumption = -1.0, meterMaxEstimatedConsumption = -1.0;
    long32 meterReadingDate = 0;
    long long meterReadingIndex = -1, meterReadingConsumption = -1;
    TF::ReadStatus meterReadingStatus = TF::ReadStatus::Unset;
    TF::ReadMethod meterReadingMethod = TF::ReadMethod::Unset;
    tramo::FieldText meterMarkingCode, meterMessage, meterReadingUserCode;
    long32 meterLastUpdateDate = 0;
    bool meterAuthorizedChange = false;
    tramo::FieldText authorizedChangeText;  // as read from the line, for the mandatory check
    TF::MeterFluid meterFluidType = TF::MeterFluid::Unset;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    std::optional<TramoLine::tramoLine_t> builtLine;
    tramo::ErrorLists errors;
};
