// What the format's fields and errors are, in words.
#pragma once
#include <string>
#include <string_view>
#include <tramostream/fields.h>
#include <vector>

namespace tramo::cli {

/// "195-202", "23"; empty for a field that is not in the line.
std::string columnsOf(const Field& field);

/// "date", "code 1234": in a word or two; and in full: "whole number of 32 bits", "date YYYYMMDD".
std::string typeOf(const Field& field);
std::string formOf(const RecordKind& kind, const Field& field);

/// The value of a field that nothing is said of: "empty", "-1", "no date".
std::string defaultOf(const Field& field);

/// How any field of this kind is read and written: one sentence each.
std::string_view readingOf(FieldKind kind);
std::string_view writingOf(FieldKind kind);

/// What a blank field means, and what else sets its reading and writing apart from others of its kind. May be empty.
std::string blankOf(const Field& field);
std::string particularsOf(const Field& field);

/// When it is written: "always", "never", "when it is above 3".
std::string whenWritten(const Field& field);

/// "N is written as 1, T cannot be written"; empty when every code is written as it is read.
std::string codeChanges(const Field& field);

/// Codes as a list: "1, 2, 3".
std::string listed(std::wstring_view codes);

/// The names of the twelve flags of an alarm field, as its shown fields have them, in order.
std::vector<std::string_view> flagsOf(const RecordKind& kind, const Field& field);

/// One way in which a field reports an error.
struct ErrorReport {
    TE::FieldError error;
    std::string when;           ///< "its text cannot be read"
    std::string neighbours{};   ///< the fields that stand at the column reported, where it is not the field's own
    std::string particulars{};  ///< "never happens: any text is a flag"; may be empty
};
std::vector<ErrorReport> reportsOf(const RecordKind& kind, const Field& field);

/// An error of the format.
struct ErrorCode {
    TE::errorType code;
    std::string_view name;
    std::string_view phase;    ///< "while a line is read"
    std::string_view meaning;  ///< a clause
};

/// All of them, by code.
const std::vector<ErrorCode>& errorCodes();

/// "0x01B".
std::string hex(TE::errorType code);

/// The letter in column 1 of the kind's lines; "-" when they have none.
std::string letterOf(const RecordKind& kind);

}  // namespace tramo::cli
