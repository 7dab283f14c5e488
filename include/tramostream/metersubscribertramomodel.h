// The line of one meter in a round.
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

/// A meter and its subscriber: who and where, the meter's identity, what it showed before, what it is expected to have
/// consumed, and the new reading. Line letter '1'.
///
/// A value; every operation but getMandatoryErrors and toTramoLine is const, and none throws for bad content.
/// Dates and times are seconds since 1970-01-01 00:00 UTC, written in the host's local time. Absent values: empty
/// texts; -1 for numbers, but 0 for the consumption of a history slot; 0 for dates; -2147483648 for the year;
/// `Unset` for codes.
///
/// @snippet docs/examples.cpp MeterSubscriberTramoModel
class TRAMO_EXPORT MeterSubscriberTramoModel {
public:
    MeterSubscriberTramoModel() = default;  ///< every value is absent

    /// Parses a line, which is copied. A field that cannot be read keeps its absent value and is listed in
    /// getParseErrors; a line of another kind is refused with the error {0, TE::WrongLineType}.
    MeterSubscriberTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The subscriber
    /// @{
    TF::TramoLineType getType() const             { return type; }                            void setType(const TF::TramoLineType& v)             { type = v; }  ///< the letter in column 1
    int getSubscriberCardOrder() const            { return subscriberCardOrder; }             void setSubscriberCardOrder(int v)                   { subscriberCardOrder = v; }
    std::wstring getSubscriberInformation() const { return subscriberInformation.of(line); }  void setSubscriberInformation(const std::wstring& v) { subscriberInformation = v; }
    std::wstring getSubscriberMarkingCode() const { return subscriberMarkingCode.of(line); }  void setSubscriberMarkingCode(const std::wstring& v) { subscriberMarkingCode = v; }
    /// @}

    /// @name Four earlier readings
    /// A slot is written when it has a date and its consumption is 0 or more.
    /// @{
    std::wstring getMeterHistory1ReadingType() const { return history[0].readingType.of(line); }  void setMeterHistory1ReadingType(const std::wstring& v) { history[0].readingType = v; }
    long32 getMeterHistory1ReadingDate() const       { return history[0].readingDate; }           void setMeterHistory1ReadingDate(const long32& v)       { history[0].readingDate = v; }
    long long getMeterHistory1Consumption() const    { return history[0].consumption; }           void setMeterHistory1Consumption(long long v)           { history[0].consumption = v; }
    std::wstring getMeterHistory2ReadingType() const { return history[1].readingType.of(line); }  void setMeterHistory2ReadingType(const std::wstring& v) { history[1].readingType = v; }
    long32 getMeterHistory2ReadingDate() const       { return history[1].readingDate; }           void setMeterHistory2ReadingDate(const long32& v)       { history[1].readingDate = v; }
    long long getMeterHistory2Consumption() const    { return history[1].consumption; }           void setMeterHistory2Consumption(long long v)           { history[1].consumption = v; }
    std::wstring getMeterHistory3ReadingType() const { return history[2].readingType.of(line); }  void setMeterHistory3ReadingType(const std::wstring& v) { history[2].readingType = v; }
    long32 getMeterHistory3ReadingDate() const       { return history[2].readingDate; }           void setMeterHistory3ReadingDate(const long32& v)       { history[2].readingDate = v; }
    long long getMeterHistory3Consumption() const    { return history[2].consumption; }           void setMeterHistory3Consumption(long long v)           { history[2].consumption = v; }
    std::wstring getMeterHistory4ReadingType() const { return history[3].readingType.of(line); }  void setMeterHistory4ReadingType(const std::wstring& v) { history[3].readingType = v; }
    long32 getMeterHistory4ReadingDate() const       { return history[3].readingDate; }           void setMeterHistory4ReadingDate(const long32& v)       { history[3].readingDate = v; }
    long long getMeterHistory4Consumption() const    { return history[3].consumption; }           void setMeterHistory4Consumption(long long v)           { history[3].consumption = v; }
    /// @}

    /// @name The meter
    /// Its serial number is written when there is meter information; corrected wheels when above 3.
    /// @{
    std::wstring getMeterInformation() const           { return meterInformation.of(line); }            void setMeterInformation(const std::wstring& v)           { meterInformation = v; }
    std::wstring getMeterSerialNumber() const          { return meterSerialNumber.of(line); }           void setMeterSerialNumber(const std::wstring& v)          { meterSerialNumber = v; }
    int getMeterWheels() const                         { return meterWheels; }                          void setMeterWheels(int v)                                { meterWheels = v; }
    std::wstring getMeterCorrectedSerialNumber() const { return meterCorrectedSerialNumber.of(line); }  void setMeterCorrectedSerialNumber(const std::wstring& v) { meterCorrectedSerialNumber = v; }
    int getMeterCorrectedWheels() const                { return meterCorrectedWheels; }                 void setMeterCorrectedWheels(int v)                       { meterCorrectedWheels = v; }
    long32 getMeterInstallationYear() const            { return meterInstallationYear; }                void setMeterInstallationYear(const long32& v)            { meterInstallationYear = v; }
    long32 getMeterPreviousReadingDate() const         { return meterPreviousReadingDate; }             void setMeterPreviousReadingDate(const long32& v)         { meterPreviousReadingDate = v; }
    long long getMeterPreviousReadingIndex() const     { return meterPreviousReadingIndex; }            void setMeterPreviousReadingIndex(long long v)            { meterPreviousReadingIndex = v; }
    double getMeterMinEstimatedConsumption() const     { return meterMinEstimatedConsumption; }         void setMeterMinEstimatedConsumption(double v)            { meterMinEstimatedConsumption = v; }
    double getMeterMaxEstimatedConsumption() const     { return meterMaxEstimatedConsumption; }         void setMeterMaxEstimatedConsumption(double v)            { meterMaxEstimatedConsumption = v; }
    /// @}

    /// @name The new reading
    /// Nothing of it is written without its date; the consumption only with a previous reading date. Whether the agent may
    /// change the meter's data is true where a line says nothing.
    /// @{
    long32 getMeterReadingDate() const           { return meterReadingDate; }               void setMeterReadingDate(const long32& v)           { meterReadingDate = v; }
    long long getMeterReadingIndex() const       { return meterReadingIndex; }              void setMeterReadingIndex(long long v)              { meterReadingIndex = v; }
    TF::ReadStatus getMeterReadingStatus() const { return meterReadingStatus; }             void setMeterReadingStatus(const TF::ReadStatus& v) { meterReadingStatus = v; }
    long long getMeterReadingConsumption() const { return meterReadingConsumption; }        void setMeterReadingConsumption(long long v)        { meterReadingConsumption = v; }
    TF::ReadMethod getMeterReadingMethod() const { return meterReadingMethod; }             void setMeterReadingMethod(const TF::ReadMethod& v) { meterReadingMethod = v; }
    std::wstring getMeterMarkingCode() const     { return meterMarkingCode.of(line); }      void setMeterMarkingCode(const std::wstring& v)     { meterMarkingCode = v; }
    std::wstring getMeterMessage() const         { return meterMessage.of(line); }          void setMeterMessage(const std::wstring& v)         { meterMessage = v; }
    long32 getMeterLastUpdateDate() const        { return meterLastUpdateDate; }            void setMeterLastUpdateDate(const long32& v)        { meterLastUpdateDate = v; }
    bool getMeterAuthorizedChange() const        { return meterAuthorizedChange; }          void setMeterAuthorizedChange(bool v)               { meterAuthorizedChange = v; authorizedChangeText = v ? L"1" : L"0"; }
    TF::MeterFluid getMeterFluidType() const     { return meterFluidType; }                 void setMeterFluidType(const TF::MeterFluid& v)     { meterFluidType = v; }
    std::wstring getMeterReadingUserCode() const { return meterReadingUserCode.of(line); }  void setMeterReadingUserCode(const std::wstring& v) { meterReadingUserCode = v; }
    /// @}
    // clang-format on

    /// The line last built; before the first toTramoLine the line parsed; before either, blanks.
    TramoLine::tramoLine_t getTramoLine() const { return builtLine ? *builtLine : line; }

    /// Builds the line from the values. Numbers too wide for their columns are cut on the right, texts too long are left
    /// out and listed in getBuildErrors; TF::ReadMethod::MethodT cannot be written.
    TramoLine::tramoLine_t toTramoLine();

    /// The values as "MeterSubscriberTramoModel[subscriberCardOrder:...,...]", dates in seconds.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< those of the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< those of the last toTramoLine

    /// Checks what must be there and fit together. Answers the findings on the reading and on the authorized change; the
    /// others are added to getParseErrors, once more at each call. A complete history slot is reported, too.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::Layouts;
    struct TRAMO_HIDDEN Layout;
    TRAMO_HIDDEN static const tramo::Record<MeterSubscriberTramoModel>& layout();

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
    tramo::FieldText authorizedChangeText;  // as cut from the line; the mandatory check looks at it
    TF::MeterFluid meterFluidType = TF::MeterFluid::Unset;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    std::optional<TramoLine::tramoLine_t> builtLine;
    tramo::ErrorLists errors;
};
