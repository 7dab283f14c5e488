// Descriptions of the fields and errors of the format, for programs that explain them.
#pragma once
#include "export.h"
#include "fields.h"
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

/// Returns the columns of a field: "195-202", "23"; empty for a field that is not in the line.
TRAMO_EXPORT std::string columnsOf(const Field& field);

/// Returns the type of a field, short: "date", "code 1234".
TRAMO_EXPORT std::string typeOf(const Field& field);

/// Returns the type of a field in full: "integer of 32 bits", "date YYYYMMDD".
TRAMO_EXPORT std::string formOf(const RecordKind& kind, const Field& field);

/// Returns the default value of a field: "empty", "-1", "no date".
TRAMO_EXPORT std::string defaultOf(const Field& field);

/// Returns how fields of this type are read.
TRAMO_EXPORT std::string_view readingOf(FieldKind kind);

/// Returns how fields of this type are written.
TRAMO_EXPORT std::string_view writingOf(FieldKind kind);

/// Returns the meaning of a blank field. May be empty.
TRAMO_EXPORT std::string blankOf(const Field& field);

/// Returns the other irregularities of a field. May be empty.
TRAMO_EXPORT std::string particularsOf(const Field& field);

/// Returns when the field is written: "always", "never", "when it is above 3".
TRAMO_EXPORT std::string whenWritten(const Field& field);

/// Returns "N is written as 1, T cannot be written"; empty if every code is written as it is read.
TRAMO_EXPORT std::string codeChanges(const Field& field);

/// Returns codes as a list: "1, 2, 3".
TRAMO_EXPORT std::string listed(std::wstring_view codes);

/// Returns the names of the twelve flags of an alarm field, in order.
TRAMO_EXPORT std::vector<std::string_view> flagsOf(const RecordKind& kind, const Field& field);

/// An error that a field reports, and when.
///
/// @snippet docs/examples.cpp ErrorReport
struct ErrorReport {
    TE::FieldError error;       ///< the reported column and the code
    std::string when;           ///< "its text is invalid"
    std::string neighbours{};   ///< the fields at the reported column, if it is not the field's own
    std::string particulars{};  ///< "never happens: any text is valid"; may be empty
};

/// Returns the errors that a field of this record kind reports.
TRAMO_EXPORT std::vector<ErrorReport> reportsOf(const RecordKind& kind, const Field& field);

/// An error of the format.
struct ErrorCode {
    TE::errorType code;        ///< 0x01B
    std::string_view name;     ///< "ParseDate"
    std::string_view phase;    ///< "while a line is read"
    std::string_view meaning;  ///< "invalid date (YYYYMMDD)"
};

/// Returns all errors of the format, by code.
TRAMO_EXPORT const std::vector<ErrorCode>& errorCodes();

/// Returns the code as "0x01B".
TRAMO_EXPORT std::string hex(TE::errorType code);

/// Returns the letter in column 1 of lines of this kind; "-" if they have none.
TRAMO_EXPORT std::string letterOf(const RecordKind& kind);

}  // namespace tramo
