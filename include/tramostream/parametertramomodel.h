// A parameter line: a key and its value.
#pragma once
#include "export.h"
#include "modelparts.h"
#include <string>
#include <vector>

/// A key of up to 8 characters and its value of up to 32. A parameter line has 40 characters and no letter: every line is
/// accepted.
///
/// A value type. Besides the setters, only getMandatoryErrors and toParameterLine change it; nothing throws for bad
/// content. Absent values: empty texts.
///
/// @snippet docs/examples.cpp ParameterTramoModel
class TRAMO_EXPORT ParameterTramoModel {
public:
    ParameterTramoModel() = default;  ///< every value is absent

    /// Copies and parses a line. Cannot fail.
    ParameterTramoModel(const ParameterLine::parameterLine_t& line);

    // clang-format off
    std::wstring getKey() const   { return key.text(line); }    void setKey(const std::wstring& v)   { key = v; }
    std::wstring getValue() const { return value.text(line); }  void setValue(const std::wstring& v) { value = v; }
    // clang-format on

    /// The parsed line; spaces with CR LF if the model was default-constructed.
    ParameterLine::parameterLine_t getParameterLine() const { return line; }

    /// Builds the line from the values. Texts that are too long are left out and listed in getBuildErrors.
    ParameterLine::parameterLine_t toParameterLine();

    /// Returns "ParameterTramoModel[key:...,value:...]".
    std::wstring toString() const;

    std::vector<TE::FieldError> getParseErrors() const { return errors.parse; }  ///< from the constructor; always empty
    std::vector<TE::FieldError> getBuildErrors() const { return errors.build; }  ///< from the last toParameterLine

    /// Checks that the key and the value are present.
    std::vector<TE::FieldError> getMandatoryErrors();

private:
    friend struct tramo::ModelAccess;
    TRAMO_HIDDEN static const tramo::Record<ParameterTramoModel>& table();

    tramo::FieldText key, value;

    ParameterLine::parameterLine_t line = tramo::blankLine<ParameterLine::parameterLine_t>();
    tramo::ErrorLists errors;
};
