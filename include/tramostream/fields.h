// The fields of each record kind as plain data, and access to their values: for programs that list, explain, export or
// compare records without naming every accessor.
#pragma once
#include "codes.h"
#include "export.h"
#include "fielderror.h"
#include "types.h"
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// Records as data: their fields, and access to values by field. Key lines.
namespace tramo {

/// How the text of a field is read and written, and the type that its FieldValue holds.
enum class FieldKind : char {
    Text,        ///< std::wstring, without trailing white space
    Integer,     ///< long long
    Decimal,     ///< double
    Date,        ///< long long: seconds since 1970-01-01 00:00 UTC of the local midnight; written YYYYMMDD
    DateTime,    ///< long long: seconds since 1970-01-01 00:00 UTC; written YYYYMMDDhhmm in local time
    Year,        ///< long long: seconds since 1970-01-01 00:00 UTC of the local New Year; written YYYY
    Code,        ///< wchar_t: the code character, L'!' if unset
    Flag,        ///< bool
    AlarmFlags,  ///< long long: flag k is bit k - 1; written as four hexadecimal digits
};

/// Returns the name of a kind: "text", "dateTime", "alarmFlags".
TRAMO_EXPORT std::string_view nameOf(FieldKind kind);

/// The value of a field. An absent value is that of a default-constructed model (Field::defaultValue).
using FieldValue = std::variant<std::wstring, long long, double, bool, wchar_t>;

/// One field of a record kind. Owned by its RecordKind; valid until the program ends.
///
/// @snippet docs/examples.cpp Field
struct Field {
    std::string name;               ///< the accessors' name without get or set, first letter lower case: "meterReadingDate"
    std::string label;              ///< the label in toString, without the colon; empty: not shown
    std::int32_t column;            ///< of the first character, 1-based; 0: not in the line, only shown
    int width;                      ///< in characters
    int writtenWidth;               ///< in characters; above `width` if the text continues into the next columns
    FieldKind kind;                 ///< how it is read and written
    int decimals;                   ///< digits written after the decimal point; -1: as "%f" does
    std::wstring codes;             ///< Code only: the characters that can be read
    std::wstring codesWritten;      ///< Code only: the character written for each of `codes`; zero: cannot be written
    std::wstring blank;             ///< a blank field is read as this text; empty: blank fields are not read
    std::string readInto;           ///< the field that receives the value; empty: this one
    TE::FieldError parseError;      ///< reported if the text is invalid; code 0: cannot fail
    TE::FieldError buildError;      ///< reported if the value cannot be written; code 0: cannot fail
    TE::FieldError mandatoryError;  ///< reported by getMandatoryErrors; code 0: not checked
    std::string written;            ///< when the value is written: "always", "never" or a clause, "it is above 3"
    std::string mandatory;          ///< when getMandatoryErrors reports it, a clause: "it is empty"; empty: never
    bool reportedInParseList;       ///< getMandatoryErrors adds its error to the parse errors
    bool reportedOnGoodLines;       ///< getMandatoryErrors reports it on correct lines, too
    bool overlaid;                  ///< shares its columns with the previous field
    FieldValue defaultValue;        ///< in a default-constructed model or, without a default constructor, from a blank line
    std::size_t index;              ///< the index in RecordKind::fields
};

/// One record kind. Owned by the library; valid until the program ends.
///
/// @snippet docs/examples.cpp RecordKind
struct RecordKind {
    wchar_t letter;             ///< in column 1; 0: none
    std::string name;           ///< "meter subscriber"
    std::string model;          ///< the class: "MeterSubscriberTramoModel"
    int length;                 ///< characters in a line, without the line ending
    std::vector<Field> fields;  ///< in the order of writing

    /// Returns the field of that name, or nullptr.
    TRAMO_EXPORT const Field* field(std::string_view fieldName) const;

    /// Returns the field of an error of this record kind; nullptr for errors of the whole line. The error may name a column
    /// of another field, because the format reports some fields at a neighbor's column.
    TRAMO_EXPORT const Field* fieldOf(const TE::FieldError& error) const;
};

/// Returns the kinds of record lines, sorted by letter.
TRAMO_EXPORT std::span<const RecordKind* const> recordKinds();

/// Returns the kind of the record lines that begin with this letter, or nullptr.
TRAMO_EXPORT const RecordKind* recordKind(wchar_t letter);

/// Returns the record kind of model class M.
template <class M> TRAMO_EXPORT_TEMPLATE const RecordKind& kindOf();

/// Returns the value of a field. `field` must be one of kindOf<M>().fields.
template <class M> TRAMO_EXPORT_TEMPLATE FieldValue get(const M& model, const Field& field);

/// Sets a field as M's setter does. `field` must be one of kindOf<M>().fields. Returns false and changes nothing if the
/// value has the wrong type, is a number that the field cannot hold, or is not one of the field's codes.
template <class M> TRAMO_EXPORT_TEMPLATE bool set(M& model, const Field& field, const FieldValue& value);

/// Returns the field's columns in a line unchanged; fewer if the line ends earlier. The field must be in the line (column > 0).
TRAMO_EXPORT std::wstring_view rawText(std::wstring_view line, const Field& field);

/// Returns the fields that a column belongs to, in the order in which they are written.
TRAMO_EXPORT std::vector<const Field*> fieldsAt(const RecordKind& kind, int column);

/// A part of a line that no value preserves.
struct IgnoredText {
    const Field* field;   ///< the field that ignores it; nullptr: the columns belong to no field
    std::int32_t column;  ///< of the first character, 1-based
    int width;            ///< in characters, without surrounding white space and zero characters
};

/// Returns the text that is lost if only the values of a line are kept: text after a number ("6O54" is read as 6, "O54" is
/// ignored), digits beyond the precision of a double, a year that is read as absent, a flag other than 0 and 1, characters
/// that set no alarm flag, and text outside all fields. Fields come in their order, then columns outside all fields. Text
/// that cannot be parsed is a parse error instead.
///
/// `line` is a line of this kind; characters after the first `length` are ignored, missing ones count as spaces.
///
/// @snippet docs/examples.cpp ignoredTexts
TRAMO_EXPORT std::vector<IgnoredText> ignoredTexts(const RecordKind& kind, std::wstring_view line);

/// Returns the name of an error in TE::errorType ("ParseDateTime"); empty for an unknown code.
TRAMO_EXPORT std::string_view errorName(TE::errorType code);

}  // namespace tramo
