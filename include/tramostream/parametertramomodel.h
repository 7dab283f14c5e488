// The line of one parameter: a key and its value.
#pragma once
#include "export.h"
#include "modelparts.h"
#include <string>
#include <vector>

/// A key of up to eight characters and its value of up to 32. A parameter line has 40 characters and no letter: every
/// line is taken for one.
///
/// A value; every operation but getMandatoryErrors and toParameterLine is const, and none throws for bad content. An
/// absent text is empty.
///
/// @snippet docs/examples.cpp ParameterTramoModel
class TRAMO_EXPORT ParameterTramoModel {
public:
    ParameterTramoModel() = default;  ///< every value is absent

    /// Parses a line, which is copied. Nothing can fail.
    ParameterTramoModel(const ParameterLine::parameterLine_t& line);

    // clang-format off
    std::wstring getKey() const   { return key.of(line); }    void setKey(const std::wstring& v)   { key = v; }
    std::wstring getValue() const { return value.of(line); }  void setValue(const std::wstring& v) { value = v; }
    // clang-format on

    /// The line parsed; blanks where there was none.
    ParameterLine::parameterLine_t getParameterLine() const { return line; }

    /// Builds the line from the values. Texts too long are left out and listed in getBuildErrors.
    ParameterLine::parameterLine_t toParameterLine();

    /// "ParameterTramoModel[key:...,value:...]".
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< those of the constructor: none
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< those of the last toParameterLine

    /// Checks that there are a key and a value.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::Layouts;
    TRAMO_HIDDEN static const tramo::Record<ParameterTramoModel>& layout();

    tramo::FieldText key, value;

    ParameterLine::parameterLine_t line = tramo::blankLine<ParameterLine::parameterLine_t>();
    tramo::ErrorLists errors;
};
