// The header record of a round.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <array>
#include <optional>
#include <string>
#include <vector>

/// A round: its code and name, a message for the agent, and how the information texts of its meter subscriber records are
/// divided into areas. Record kind '0'. The model holds the areas and never applies them to a line.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTramoLine change it; nothing throws for bad content.
/// Absent values: empty texts, -1 for numbers, TF::TramoType::Unset, a date of 0.
///
/// @snippet docs/examples.cpp RoundTramoModel
class TRAMO_EXPORT RoundTramoModel {
public:
    RoundTramoModel() = default;  ///< every value is absent

    /// Copies and parses a line. An invalid field keeps its absent value and is listed in getParseErrors. A line of another
    /// record kind leaves every value absent and adds the error {0, TE::WrongLineType}.
    RoundTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The round
    /// @{
    TF::TramoLineType getType() const        { return type; }                         void setType(const TF::TramoLineType& v)        { type = v; }  ///< the letter in column 1
    std::wstring getCode() const             { return code.text(line); }              void setCode(const std::wstring& v)             { code = v; }
    std::wstring getName() const             { return name.text(line); }              void setName(const std::wstring& v)             { name = v; }
    int getDefaultMeterWheels() const        { return defaultMeterWheels; }           void setDefaultMeterWheels(int v)               { defaultMeterWheels = v; }
    std::wstring getMessage() const          { return message.text(line); }           void setMessage(const std::wstring& v)          { message = v; }
    std::wstring getConsumtionLimit() const  { return consumtionLimit.text(line); }   void setConsumtionLimit(const std::wstring& v)  { consumtionLimit = v; }
    long32 getRoundImportDate() const        { return roundImportDate; }              void setRoundImportDate(const long32& v)        { roundImportDate = v; }
    std::wstring getReservedUserCode() const { return reservedUserCode.text(line); }  void setReservedUserCode(const std::wstring& v) { reservedUserCode = v; }
    /// @}

    /// @name Areas of the meter information
    /// Five areas, each with a label, the position and length of the area in the text (in characters), and its type. An
    /// area is written if its position is 0 or more.
    /// @{
    std::wstring getMeterInformationLabelArea1() const { return meterAreas[0].label.text(line); }  void setMeterInformationLabelArea1(const std::wstring& v) { meterAreas[0].label = v; }
    int getMeterInformationPositionArea1() const       { return meterAreas[0].position; }          void setMeterInformationPositionArea1(int v)              { meterAreas[0].position = v; }
    int getMeterInformationLenghtArea1() const         { return meterAreas[0].lenght; }            void setMeterInformationLenghtArea1(int v)                { meterAreas[0].lenght = v; }
    TF::TramoType getMeterInformationTypeArea1() const { return meterAreas[0].type; }              void setMeterInformationTypeArea1(const TF::TramoType& v) { meterAreas[0].type = v; }
    std::wstring getMeterInformationLabelArea2() const { return meterAreas[1].label.text(line); }  void setMeterInformationLabelArea2(const std::wstring& v) { meterAreas[1].label = v; }
    int getMeterInformationPositionArea2() const       { return meterAreas[1].position; }          void setMeterInformationPositionArea2(int v)              { meterAreas[1].position = v; }
    int getMeterInformationLenghtArea2() const         { return meterAreas[1].lenght; }            void setMeterInformationLenghtArea2(int v)                { meterAreas[1].lenght = v; }
    TF::TramoType getMeterInformationTypeArea2() const { return meterAreas[1].type; }              void setMeterInformationTypeArea2(const TF::TramoType& v) { meterAreas[1].type = v; }
    std::wstring getMeterInformationLabelArea3() const { return meterAreas[2].label.text(line); }  void setMeterInformationLabelArea3(const std::wstring& v) { meterAreas[2].label = v; }
    int getMeterInformationPositionArea3() const       { return meterAreas[2].position; }          void setMeterInformationPositionArea3(int v)              { meterAreas[2].position = v; }
    int getMeterInformationLenghtArea3() const         { return meterAreas[2].lenght; }            void setMeterInformationLenghtArea3(int v)                { meterAreas[2].lenght = v; }
    TF::TramoType getMeterInformationTypeArea3() const { return meterAreas[2].type; }              void setMeterInformationTypeArea3(const TF::TramoType& v) { meterAreas[2].type = v; }
    std::wstring getMeterInformationLabelArea4() const { return meterAreas[3].label.text(line); }  void setMeterInformationLabelArea4(const std::wstring& v) { meterAreas[3].label = v; }
    int getMeterInformationPositionArea4() const       { return meterAreas[3].position; }          void setMeterInformationPositionArea4(int v)              { meterAreas[3].position = v; }
    int getMeterInformationLenghtArea4() const         { return meterAreas[3].lenght; }            void setMeterInformationLenghtArea4(int v)                { meterAreas[3].lenght = v; }
    TF::TramoType getMeterInformationTypeArea4() const { return meterAreas[3].type; }              void setMeterInformationTypeArea4(const TF::TramoType& v) { meterAreas[3].type = v; }
    std::wstring getMeterInformationLabelArea5() const { return meterAreas[4].label.text(line); }  void setMeterInformationLabelArea5(const std::wstring& v) { meterAreas[4].label = v; }
    int getMeterInformationPositionArea5() const       { return meterAreas[4].position; }          void setMeterInformationPositionArea5(int v)              { meterAreas[4].position = v; }
    int getMeterInformationLenghtArea5() const         { return meterAreas[4].lenght; }            void setMeterInformationLenghtArea5(int v)                { meterAreas[4].lenght = v; }
    TF::TramoType getMeterInformationTypeArea5() const { return meterAreas[4].type; }              void setMeterInformationTypeArea5(const TF::TramoType& v) { meterAreas[4].type = v; }
    /// @}

    /// @name Areas of the subscriber information
    /// @{
    std::wstring getSubscriberInformationLabelArea1() const { return subscriberAreas[0].label.text(line); }  void setSubscriberInformationLabelArea1(const std::wstring& v) { subscriberAreas[0].label = v; }
    int getSubscriberInformationPositionArea1() const       { return subscriberAreas[0].position; }          void setSubscriberInformationPositionArea1(int v)              { subscriberAreas[0].position = v; }
    int getSubscriberInformationLenghtArea1() const         { return subscriberAreas[0].lenght; }            void setSubscriberInformationLenghtArea1(int v)                { subscriberAreas[0].lenght = v; }
    TF::TramoType getSubscriberInformationTypeArea1() const { return subscriberAreas[0].type; }              void setSubscriberInformationTypeArea1(const TF::TramoType& v) { subscriberAreas[0].type = v; }
    std::wstring getSubscriberInformationLabelArea2() const { return subscriberAreas[1].label.text(line); }  void setSubscriberInformationLabelArea2(const std::wstring& v) { subscriberAreas[1].label = v; }
    int getSubscriberInformationPositionArea2() const       { return subscriberAreas[1].position; }          void setSubscriberInformationPositionArea2(int v)              { subscriberAreas[1].position = v; }
    int getSubscriberInformationLenghtArea2() const         { return subscriberAreas[1].lenght; }            void setSubscriberInformationLenghtArea2(int v)                { subscriberAreas[1].lenght = v; }
    TF::TramoType getSubscriberInformationTypeArea2() const { return subscriberAreas[1].type; }              void setSubscriberInformationTypeArea2(const TF::TramoType& v) { subscriberAreas[1].type = v; }
    std::wstring getSubscriberInformationLabelArea3() const { return subscriberAreas[2].label.text(line); }  void setSubscriberInformationLabelArea3(const std::wstring& v) { subscriberAreas[2].label = v; }
    int getSubscriberInformationPositionArea3() const       { return subscriberAreas[2].position; }          void setSubscriberInformationPositionArea3(int v)              { subscriberAreas[2].position = v; }
    int getSubscriberInformationLenghtArea3() const         { return subscriberAreas[2].lenght; }            void setSubscriberInformationLenghtArea3(int v)                { subscriberAreas[2].lenght = v; }
    TF::TramoType getSubscriberInformationTypeArea3() const { return subscriberAreas[2].type; }              void setSubscriberInformationTypeArea3(const TF::TramoType& v) { subscriberAreas[2].type = v; }
    std::wstring getSubscriberInformationLabelArea4() const { return subscriberAreas[3].label.text(line); }  void setSubscriberInformationLabelArea4(const std::wstring& v) { subscriberAreas[3].label = v; }
    int getSubscriberInformationPositionArea4() const       { return subscriberAreas[3].position; }          void setSubscriberInformationPositionArea4(int v)              { subscriberAreas[3].position = v; }
    int getSubscriberInformationLenghtArea4() const         { return subscriberAreas[3].lenght; }            void setSubscriberInformationLenghtArea4(int v)                { subscriberAreas[3].lenght = v; }
    TF::TramoType getSubscriberInformationTypeArea4() const { return subscriberAreas[3].type; }              void setSubscriberInformationTypeArea4(const TF::TramoType& v) { subscriberAreas[3].type = v; }
    std::wstring getSubscriberInformationLabelArea5() const { return subscriberAreas[4].label.text(line); }  void setSubscriberInformationLabelArea5(const std::wstring& v) { subscriberAreas[4].label = v; }
    int getSubscriberInformationPositionArea5() const       { return subscriberAreas[4].position; }          void setSubscriberInformationPositionArea5(int v)              { subscriberAreas[4].position = v; }
    int getSubscriberInformationLenghtArea5() const         { return subscriberAreas[4].lenght; }            void setSubscriberInformationLenghtArea5(int v)                { subscriberAreas[4].lenght = v; }
    TF::TramoType getSubscriberInformationTypeArea5() const { return subscriberAreas[4].type; }              void setSubscriberInformationTypeArea5(const TF::TramoType& v) { subscriberAreas[4].type = v; }
    /// @}
    // clang-format on

    /// The last line that toTramoLine built; before that the parsed line; without either, spaces with CR LF.
    TramoLine::tramoLine_t getTramoLine() const { return builtLine ? *builtLine : line; }

    /// Builds the line from the values. Numbers that are too long are truncated on the right without an error; texts that
    /// are too long are left out and listed in getBuildErrors.
    TramoLine::tramoLine_t toTramoLine();

    /// Returns the values as "RoundTramoModel[roundCode:...,...]", dates in seconds.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that the round has a code and that its areas are complete.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    struct TRAMO_HIDDEN TableParts;
    TRAMO_HIDDEN static const tramo::Record<RoundTramoModel>& table();

    struct Area {
        tramo::FieldText label;
        int position = -1;
        int lenght = -1;
        TF::TramoType type = TF::TramoType::Unset;
    };

    TF::TramoLineType type = TF::TramoLineType::Round;
    tramo::FieldText code, name, message, consumtionLimit, reservedUserCode;
    int defaultMeterWheels = -1;
    long32 roundImportDate = 0;
    std::array<Area, 5> meterAreas, subscriberAreas;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    std::optional<TramoLine::tramoLine_t> builtLine;
    tramo::ErrorLists errors;
};
