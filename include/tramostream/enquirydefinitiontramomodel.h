// The record of one page of an enquiry.
#pragma once
#include "codes.h"
#include "export.h"
#include "modelparts.h"
#include <array>
#include <optional>
#include <string>
#include <vector>

/// A page of questions to the agent: sixteen labels, A to P, and five answer areas, each with a label, a type, a size in
/// characters and a list of choices. Record kind '5'.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTramoLine change it; nothing throws for bad content.
/// Absent values: empty texts, -1 for numbers, TF::EnquiryAreaType::Unset.
///
/// @snippet docs/examples.cpp EnquiryDefinitionTramoModel
class TRAMO_EXPORT EnquiryDefinitionTramoModel {
public:
    EnquiryDefinitionTramoModel() = default;  ///< every value is absent

    /// Copies and parses a line. An invalid field keeps its absent value and is listed in getParseErrors (the type of an
    /// area at the column of its size). A line of another record kind leaves every value absent and adds the error
    /// {0, TE::WrongLineType}.
    EnquiryDefinitionTramoModel(const TramoLine::tramoLine_t& line);

    // clang-format off
    /// @name The page
    /// @{
    TF::TramoLineType getType() const  { return type; }                   void setType(const TF::TramoLineType& v)  { type = v; }  ///< the letter in column 1
    std::wstring getPageNumber() const { return pageNumber.text(line); }  void setPageNumber(const std::wstring& v) { pageNumber = v; }
    std::wstring getLabelA() const { return labels[0].text(line); }   void setLabelA(const std::wstring& v) { labels[0] = v; }
    std::wstring getLabelB() const { return labels[1].text(line); }   void setLabelB(const std::wstring& v) { labels[1] = v; }
    std::wstring getLabelC() const { return labels[2].text(line); }   void setLabelC(const std::wstring& v) { labels[2] = v; }
    std::wstring getLabelD() const { return labels[3].text(line); }   void setLabelD(const std::wstring& v) { labels[3] = v; }
    std::wstring getLabelE() const { return labels[4].text(line); }   void setLabelE(const std::wstring& v) { labels[4] = v; }
    std::wstring getLabelF() const { return labels[5].text(line); }   void setLabelF(const std::wstring& v) { labels[5] = v; }
    std::wstring getLabelG() const { return labels[6].text(line); }   void setLabelG(const std::wstring& v) { labels[6] = v; }
    std::wstring getLabelH() const { return labels[7].text(line); }   void setLabelH(const std::wstring& v) { labels[7] = v; }
    std::wstring getLabelI() const { return labels[8].text(line); }   void setLabelI(const std::wstring& v) { labels[8] = v; }
    std::wstring getLabelJ() const { return labels[9].text(line); }   void setLabelJ(const std::wstring& v) { labels[9] = v; }
    std::wstring getLabelK() const { return labels[10].text(line); }  void setLabelK(const std::wstring& v) { labels[10] = v; }
    std::wstring getLabelL() const { return labels[11].text(line); }  void setLabelL(const std::wstring& v) { labels[11] = v; }
    std::wstring getLabelM() const { return labels[12].text(line); }  void setLabelM(const std::wstring& v) { labels[12] = v; }
    std::wstring getLabelN() const { return labels[13].text(line); }  void setLabelN(const std::wstring& v) { labels[13] = v; }
    std::wstring getLabelO() const { return labels[14].text(line); }  void setLabelO(const std::wstring& v) { labels[14] = v; }
    std::wstring getLabelP() const { return labels[15].text(line); }  void setLabelP(const std::wstring& v) { labels[15] = v; }
    /// @}

    /// @name Five areas
    /// TypeStr and SizeStr are the texts that type and size were parsed from; they are not written. A list is read from 8
    /// columns but written to 16: characters 9 to 16 go into the label of the next area if that label is empty, those of
    /// area 5 into columns 458 to 465.
    /// @{
    std::wstring getArea1Label() const       { return areas[0].label.text(line); }     void setArea1Label(const std::wstring& v)       { areas[0].label = v; }
    TF::EnquiryAreaType getArea1Type() const { return areas[0].type; }                 void setArea1Type(const TF::EnquiryAreaType& v) { areas[0].type = v; }
    std::wstring getArea1TypeStr() const     { return areas[0].typeText.text(line); }  void setArea1TypeStr(const std::wstring& v)     { areas[0].typeText = v; }  ///< the text of the type
    int getArea1Size() const                 { return areas[0].size; }                 void setArea1Size(int v)                        { areas[0].size = v; }
    std::wstring getArea1SizeStr() const     { return areas[0].sizeText.text(line); }  void setArea1SizeStr(const std::wstring& v)     { areas[0].sizeText = v; }  ///< the text of the size
    std::wstring getArea1List() const        { return areas[0].list.text(line); }      void setArea1List(const std::wstring& v)        { areas[0].list = v; }
    std::wstring getArea2Label() const       { return areas[1].label.text(line); }     void setArea2Label(const std::wstring& v)       { areas[1].label = v; }
    TF::EnquiryAreaType getArea2Type() const { return areas[1].type; }                 void setArea2Type(const TF::EnquiryAreaType& v) { areas[1].type = v; }
    std::wstring getArea2TypeStr() const     { return areas[1].typeText.text(line); }  void setArea2TypeStr(const std::wstring& v)     { areas[1].typeText = v; }  ///< the text of the type
    int getArea2Size() const                 { return areas[1].size; }                 void setArea2Size(int v)                        { areas[1].size = v; }
    std::wstring getArea2SizeStr() const     { return areas[1].sizeText.text(line); }  void setArea2SizeStr(const std::wstring& v)     { areas[1].sizeText = v; }  ///< the text of the size
    std::wstring getArea2List() const        { return areas[1].list.text(line); }      void setArea2List(const std::wstring& v)        { areas[1].list = v; }
    std::wstring getArea3Label() const       { return areas[2].label.text(line); }     void setArea3Label(const std::wstring& v)       { areas[2].label = v; }
    TF::EnquiryAreaType getArea3Type() const { return areas[2].type; }                 void setArea3Type(const TF::EnquiryAreaType& v) { areas[2].type = v; }
    std::wstring getArea3TypeStr() const     { return areas[2].typeText.text(line); }  void setArea3TypeStr(const std::wstring& v)     { areas[2].typeText = v; }  ///< the text of the type
    int getArea3Size() const                 { return areas[2].size; }                 void setArea3Size(int v)                        { areas[2].size = v; }
    std::wstring getArea3SizeStr() const     { return areas[2].sizeText.text(line); }  void setArea3SizeStr(const std::wstring& v)     { areas[2].sizeText = v; }  ///< the text of the size
    std::wstring getArea3List() const        { return areas[2].list.text(line); }      void setArea3List(const std::wstring& v)        { areas[2].list = v; }
    std::wstring getArea4Label() const       { return areas[3].label.text(line); }     void setArea4Label(const std::wstring& v)       { areas[3].label = v; }
    TF::EnquiryAreaType getArea4Type() const { return areas[3].type; }                 void setArea4Type(const TF::EnquiryAreaType& v) { areas[3].type = v; }
    std::wstring getArea4TypeStr() const     { return areas[3].typeText.text(line); }  void setArea4TypeStr(const std::wstring& v)     { areas[3].typeText = v; }  ///< the text of the type
    int getArea4Size() const                 { return areas[3].size; }                 void setArea4Size(int v)                        { areas[3].size = v; }
    std::wstring getArea4SizeStr() const     { return areas[3].sizeText.text(line); }  void setArea4SizeStr(const std::wstring& v)     { areas[3].sizeText = v; }  ///< the text of the size
    std::wstring getArea4List() const        { return areas[3].list.text(line); }      void setArea4List(const std::wstring& v)        { areas[3].list = v; }
    std::wstring getArea5Label() const       { return areas[4].label.text(line); }     void setArea5Label(const std::wstring& v)       { areas[4].label = v; }
    TF::EnquiryAreaType getArea5Type() const { return areas[4].type; }                 void setArea5Type(const TF::EnquiryAreaType& v) { areas[4].type = v; }
    std::wstring getArea5TypeStr() const     { return areas[4].typeText.text(line); }  void setArea5TypeStr(const std::wstring& v)     { areas[4].typeText = v; }  ///< the text of the type
    int getArea5Size() const                 { return areas[4].size; }                 void setArea5Size(int v)                        { areas[4].size = v; }
    std::wstring getArea5SizeStr() const     { return areas[4].sizeText.text(line); }  void setArea5SizeStr(const std::wstring& v)     { areas[4].sizeText = v; }  ///< the text of the size
    std::wstring getArea5List() const        { return areas[4].list.text(line); }      void setArea5List(const std::wstring& v)        { areas[4].list = v; }
    /// @}

    /// @name The page's place in the enquiry
    /// The line holds the text. setOrder also sets the text, with a leading "0" up to 9: 7 becomes "07".
    /// @{
    int getOrder() const             { return order; }                 void setOrder(int v);
    std::wstring getOrderStr() const { return orderText.text(line); }  void setOrderStr(const std::wstring& v) { orderText = v; }
    /// @}
    // clang-format on

    /// The last line that toTramoLine built; before that the parsed line; without either, spaces with CR LF.
    TramoLine::tramoLine_t getTramoLine() const { return builtLine ? *builtLine : line; }

    /// Builds the line from the values, the order from its text. Sizes that are too long are truncated on the right without
    /// an error; texts that are too long are left out and listed in getBuildErrors (a list at the column of its area's
    /// label).
    TramoLine::tramoLine_t toTramoLine();

    /// Returns the values as "EnquiryDefinitionTramoModel[pageNumber:...,...]".
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTramoLine

    /// Checks that the page number and the order are present, and that each area with a label and a type has a size and,
    /// for type C, a list.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    struct TRAMO_HIDDEN TableParts;
    TRAMO_HIDDEN static const tramo::Record<EnquiryDefinitionTramoModel>& table();

    struct Area {
        tramo::FieldText label, typeText, sizeText, list;
        TF::EnquiryAreaType type = TF::EnquiryAreaType::Unset;
        int size = -1;
    };

    TF::TramoLineType type = TF::TramoLineType::EnquiryDefinition;
    tramo::FieldText pageNumber;
    std::array<tramo::FieldText, 16> labels;
    std::array<Area, 5> areas;
    int order = -1;
    tramo::FieldText orderText;

    TramoLine::tramoLine_t line = tramo::blankLine<TramoLine::tramoLine_t>();
    std::optional<TramoLine::tramoLine_t> builtLine;
    tramo::ErrorLists errors;
};
