// The record of the answers to one page of an enquiry.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include "types.h"
#include <array>
#include <string>
#include <vector>

/// The answers at one meter to one page of an enquiry (EnquiryDefinitionTramoModel): for each of the five areas, how it was
/// answered, a code and the answer. Record kind '6'.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTramoLine change it; nothing throws for bad content.
/// Absent values: empty texts, a date of 0, TF::EnquiryAreaMode::Unset.
///
/// @snippet docs/examples.cpp EnquiryResultTramoModel
class TRAMO_EXPORT EnquiryResultTramoModel {
public:
    /// Copies and parses a line. An invalid field keeps its absent value and is listed in getParseErrors. A line of another
    /// record kind leaves every value absent and adds the error {0, TE::WrongLineType}.
    EnquiryResultTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The enquiry
    /// The date is the start of the day in seconds since 1970-01-01 00:00 UTC, written in the host's local time.
    /// @{
    std::wstring getPageNumber() const        { return pageNumber.text(line); }         void setPageNumber(const std::wstring& v)        { pageNumber = v; }
    std::wstring getMeterSerialNumber() const { return meterSerialNumber.text(line); }  void setMeterSerialNumber(const std::wstring& v) { meterSerialNumber = v; }
    long32 getLastModificationDate() const    { return lastModificationDate; }          void setLastModificationDate(const long32& v)    { lastModificationDate = v; }
    /// @}

    /// @name Five areas
    /// @{
    TF::EnquiryAreaMode getArea1Mode() const { return areas[0].mode; }               void setArea1Mode(const TF::EnquiryAreaMode& v) { areas[0].mode = v; }
    std::wstring getArea1Code() const        { return areas[0].code.text(line); }    void setArea1Code(const std::wstring& v)        { areas[0].code = v; }
    std::wstring getArea1Result() const      { return areas[0].result.text(line); }  void setArea1Result(const std::wstring& v)      { areas[0].result = v; }
    TF::EnquiryAreaMode getArea2Mode() const { return areas[1].mode; }               void setArea2Mode(const TF::EnquiryAreaMode& v) { areas[1].mode = v; }
    std::wstring getArea2Code() const        { return areas[1].code.text(line); }    void setArea2Code(const std::wstring& v)        { areas[1].code = v; }
    std::wstring getArea2Result() const      { return areas[1].result.text(line); }  void setArea2Result(const std::wstring& v)      { areas[1].result = v; }
    TF::EnquiryAreaMode getArea3Mode() const { return areas[2].mode; }               void setArea3Mode(const TF::EnquiryAreaMode& v) { areas[2].mode = v; }
    std::wstring getArea3Code() const        { return areas[2].code.text(line); }    void setArea3Code(const std::wstring& v)        { areas[2].code = v; }
    std::wstring getArea3Result() const      { return areas[2].result.text(line); }  void setArea3Result(const std::wstring& v)      { areas[2].result = v; }
    TF::EnquiryAreaMode getArea4Mode() const { return areas[3].mode; }               void setArea4Mode(const TF::EnquiryAreaMode& v) { areas[3].mode = v; }
    std::wstring getArea4Code() const        { return areas[3].code.text(line); }    void setArea4Code(const std::wstring& v)        { areas[3].code = v; }
    std::wstring getArea4Result() const      { return areas[3].result.text(line); }  void setArea4Result(const std::wstring& v)      { areas[3].result = v; }
    TF::EnquiryAreaMode getArea5Mode() const { return areas[4].mode; }               void setArea5Mode(const TF::EnquiryAreaMode& v) { areas[4].mode = v; }
    std::wstring getArea5Code() const        { return areas[4].code.text(line); }    void setArea5Code(const std::wstring& v)        { areas[4].code = v; }
    std::wstring getArea5Result() const      { return areas[4].result.text(line); }  void setArea5Result(const std::wstring& v)      { areas[4].result = v; }
    /// @}
    // clang-format on

    /// The parsed line.
    TramoLine::tramoLine_t getTramoLine() const { return line; }

    /// Builds the line from the values. Texts that are too long are left out and listed in getBuildErrors.
    TramoLine::tramoLine_t toTramoLine();

    /// Returns the values as "EnquiryDefinitionTramoModel[pageNumber:...,...]"; the format uses the definition's name here.
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that the page number and the meter's serial number are present.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    struct TRAMO_HIDDEN TableParts;
    TRAMO_HIDDEN static const tramo::Record<EnquiryResultTramoModel>& table();

    struct Area {
        TF::EnquiryAreaMode mode = TF::EnquiryAreaMode::Unset;
        tramo::FieldText code, result;
    };

    tramo::FieldText pageNumber, meterSerialNumber;
    long32 lastModificationDate = 0;
    std::array<Area, 5> areas;

    TramoLine::tramoLine_t line;
    tramo::ErrorLists errors;
};
