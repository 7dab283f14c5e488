// The format's fields and errors in words, for programs that explain them.
#pragma once
#include "export.h"
#include "fields.h"
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

/// "195-202", "23"; empty for a field that is not in the line.
TRAMO_EXPORT std::string columnsOf(const Field& field);

/// "date", "code 1234": in a word or two; and in full: "whole number of 32 bits", "date YYYYMMDD".
TRAMO_EXPORT std::string typeOf(const Field& field);
TRAMO_EXPORT std::string formOf(const RecordKind& kind, const Field& field);

/// The value of a field that nothing is said of: "empty", "-1", "no date".
TRAMO_EXPORT std::string defaultOf(const Field& field);

/// How any field of this kind is read and written: one sentence each.
TRAMO_EXPORT std::string_view readingOf(FieldKind kind);
TRAMO_EXPORT std::string_view writingOf(FieldKind kind);

/// What a blank field means, and what else sets its reading and writing apart from others of its kind. May be empty.
TRAMO_EXPORT std::string blankOf(const Field& field);
TRAMO_EXPORT std::string particularsOf(const Field& field);

/// When it is written: "always", "never", "when it is above 3".
TRAMO_EXPORT std::string whenWritten(const Field& field);

/// "N is written as 1, T cannot be written"; empty when every code is written as it is read.
TRAMO_EXPORT std::string codeChanges(const Field& field);

/// Codes as a list: "1, 2, 3".
TRAMO_EXPORT std::string listed(std::wstring_view codes);

/// The names of the twelve flags of an alarm field, as its shown fields have them, in order.
TRAMO_EXPORT std::vector<std::string_view> flagsOf(const RecordKind& kind, const Field& field);

/// One way in which a field reports an error.
///
/// @snippet docs/examples.cpp ErrorReport
struct ErrorReport {
    TE::FieldError error;
    std::string when;           ///< "its text cannot be read"
    std::string neighbours{};   ///< the fields that stand at the column reported, where it is not the field's own
    std::string particulars{};  ///< "never happens: any text is a flag"; may be empty
};
TRAMO_EXPORT std::vector<ErrorReport> reportsOf(const RecordKind& kind, const Field& field);

/// An error of the format.
struct ErrorCode {
    TE::errorType code;
    std::string_view name;
    std::string_view phase;    ///< "while a line is read"
    std::string_view meaning;  ///< a clause
};

/// All of them, by code.
TRAMO_EXPORT const std::vector<ErrorCode>& errorCodes();

/// "0x01B".
TRAMO_EXPORT std::string hex(TE::errorType code);

/// The letter in column 1 of the kind's lines; "-" when they have none.
TRAMO_EXPORT std::string letterOf(const RecordKind& kind);

}  // namespace tramo
