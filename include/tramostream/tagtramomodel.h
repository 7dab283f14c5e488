// A tag line: a code and its label.
#pragma once
#include "export.h"
#include "modelparts.h"
#include <string>
#include <vector>

/// A code of 2 characters and its label of up to 20. A tag line has 23 characters and no letter: every line is accepted.
///
/// A value type. Besides the setters, only getMandatoryErrors and toTagLine change it; nothing throws for bad content.
/// Absent values: empty texts.
///
/// @snippet docs/examples.cpp TagTramoModel
class TRAMO_EXPORT TagTramoModel {
public:
    /// Copies and parses a line. Cannot fail.
    TagTramoModel(const TagLine::tagLine_t& line);

    // clang-format off
    std::wstring getCode() const  { return code.text(line); }   void setCode(const std::wstring& v)  { code = v; }
    std::wstring getLabel() const { return label.text(line); }  void setLabel(const std::wstring& v) { label = v; }
    // clang-format on

    /// The parsed line.
    TagLine::tagLine_t getTagLine() const { return line; }

    /// Builds the line from the values. Texts that are too long are left out and listed in getBuildErrors.
    TagLine::tagLine_t toTagLine();

    /// Returns "TagTramoModel[code:...,label:...]".
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor; always empty
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toTagLine

    /// Checks that the code and the label are present.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    TRAMO_HIDDEN static const tramo::Record<TagTramoModel>& table();

    tramo::FieldText code, label;

    TagLine::tagLine_t line;
    tramo::ErrorLists errors;
};
