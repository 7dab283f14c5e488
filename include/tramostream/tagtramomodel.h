// The line of one tag: a code and what it stands for.
#pragma once
#include "export.h"
#include "modelparts.h"
#include <string>
#include <vector>

/// A code of two characters and its label of up to twenty. A tag line has 23 characters and no letter: every line is
/// taken for one.
///
/// A value; every operation but getMandatoryErrors and toTagLine is const, and none throws for bad content. An absent
/// text is empty.
///
/// @snippet docs/examples.cpp TagTramoModel
class TRAMO_EXPORT TagTramoModel {
public:
    /// Parses a line, which is copied. Nothing can fail.
    TagTramoModel(const TagLine::tagLine_t& line);

    // clang-format off
    std::wstring getCode() const  { return code.of(line); }   void setCode(const std::wstring& v)  { code = v; }
    std::wstring getLabel() const { return label.of(line); }  void setLabel(const std::wstring& v) { label = v; }
    // clang-format on

    /// The line parsed.
    TagLine::tagLine_t getTagLine() const { return line; }

    /// Builds the line from the values. Texts too long are left out and listed in getBuildErrors.
    TagLine::tagLine_t toTagLine();

    /// "TagTramoModel[code:...,label:...]".
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< those of the constructor: none
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< those of the last toTagLine

    /// Checks that there are a code and a label.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::Layouts;
    TRAMO_HIDDEN static const tramo::Record<TagTramoModel>& layout();

    tramo::FieldText code, label;

    TagLine::tagLine_t line;
    tramo::ErrorLists errors;
};
