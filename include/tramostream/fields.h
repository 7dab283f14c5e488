// What the fields of a record kind are, as plain data, and their values by field: for programs that list, explain,
// export or compare records without naming every accessor.
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

/// Records as data: what their fields are, and their values by field. And key lines.
namespace tramo {

/// How a field's text is read and written, and what a FieldValue of it holds.
enum class FieldKind : char {
    Text,        ///< std::wstring; trailing blanks are not part of it
    Integer,     ///< long long
    Decimal,     ///< double
    Date,        ///< long long: seconds since 1970-01-01 00:00 UTC of the local midnight; written YYYYMMDD
    DateTime,    ///< long long: seconds since 1970-01-01 00:00 UTC; written YYYYMMDDhhmm in local time
    Year,        ///< long long: seconds since 1970-01-01 00:00 UTC of the local New Year; written YYYY
    Code,        ///< wchar_t: the code character, L'!' when unset
    Flag,        ///< bool
    AlarmFlags,  ///< long long: flag k is bit k - 1; written as four hexadecimal digits
};

/// A field's value. Absent values are those of a default-constructed model (Field::defaultValue).
using FieldValue = std::variant<std::wstring, long long, double, bool, wchar_t>;

/// One field of a record kind. Owned by its RecordKind; lives as long as the program.
///
/// @snippet docs/examples.cpp Field
struct Field {
    std::string name;               ///< its accessors' name without get and set, first letter lower: "meterReadingDate"
    std::string label;              ///< its label in toString, without the colon; empty when it is not shown
    std::int32_t column;            ///< of its first character, 1-based; 0: not in the line, only shown
    int width;                      ///< in characters
    int writtenWidth;               ///< in characters; more than `width` where its text runs on over the columns behind it
    FieldKind kind;                 ///< how it is read and written
    int decimals;                   ///< written behind the point; -1: as many as "%f" gives
    std::wstring codes;             ///< of a Code: every character that can be read
    std::wstring codesWritten;      ///< of a Code: what each of these is written as; zero: it cannot be written
    std::wstring blank;             ///< the text that a blank field is read as; empty: blank fields are not read
    std::string readInto;           ///< the field that its text is read into; empty: its own
    TE::FieldError parseError;      ///< as reported when its text cannot be read; code 0: cannot fail
    TE::FieldError buildError;      ///< as reported when its value cannot be written
    TE::FieldError mandatoryError;  ///< as reported by getMandatoryErrors; code 0: it has no such check
    std::string written;            ///< when its value is written: "always", "never" or a clause, "it is above 3"
    std::string mandatory;          ///< when getMandatoryErrors reports it, a clause: "it is empty"; empty: never
    bool reportedInParseList;       ///< getMandatoryErrors adds its finding to the parse errors
    bool reportedOnGoodLines;       ///< getMandatoryErrors reports it on lines that nothing is wrong with
    bool overlaid;                  ///< shares its columns with the field before it
    FieldValue defaultValue;        ///< of a default-constructed model; where there is none, of a blank line's
    std::size_t index;              ///< its place in RecordKind::fields
};

/// One kind of line. Owned by the library; lives as long as the program.
///
/// @snippet docs/examples.cpp RecordKind
struct RecordKind {
    wchar_t letter;             ///< in column 1; 0: the kind has none
    std::string name;           ///< "meter subscriber"
    std::string model;          ///< the class: "MeterSubscriberTramoModel"
    int length;                 ///< characters in a line, without its line end
    std::vector<Field> fields;  ///< in the order in which they are written

    /// The field of that name; nullptr when there is none.
    TRAMO_EXPORT const Field* field(std::string_view fieldName) const;

    /// The field that an error of this record is about. It may stand in other columns than the error names: the
    /// format reports some fields at a neighbour's column. nullptr for errors of the whole line.
    TRAMO_EXPORT const Field* fieldOf(const TE::FieldError& error) const;
};

/// The kinds of record lines, by their letters.
TRAMO_EXPORT std::span<const RecordKind* const> recordKinds();

/// The kind of the record lines that begin with this letter; nullptr when there is none.
TRAMO_EXPORT const RecordKind* recordKind(wchar_t letter);

/// The kind of the lines that model class M is about.
template <class M> const RecordKind& kindOf();

/// The value of a field of M's kind, as M's accessors hold it. `field` must be one of kindOf<M>().fields.
template <class M> FieldValue get(const M& model, const Field& field);

/// Sets a field as M's setter does. False, and nothing is changed, when the value is of another type than the
/// field's, is a number that the field cannot hold, or a Code character that the field has no value for.
template <class M> bool set(M& model, const Field& field, const FieldValue& value);

/// A piece of a line that no value comes from.
struct IgnoredText {
    const Field* field;   ///< whose value ignores it; nullptr: its columns belong to no field
    std::int32_t column;  ///< of its first character, 1-based
    int width;            ///< in characters, without blanks and zeros around it
};

/// The text that is lost when the values of a line go on without the line: what follows a number ("6O54" is read as 6, "O54"
/// is ignored), digits beyond the precision of a double, a year that is read as none, a flag other than 0 and 1, characters
/// that give no alarm flag, and what columns of no field hold. Fields in their order, then columns of no field. A text that
/// cannot be read is a parse error instead.
///
/// `line`: a line of this kind; what follows its `length` characters is not looked at, and missing ones are blank.
///
/// @snippet docs/examples.cpp ignoredTexts
TRAMO_EXPORT std::vector<IgnoredText> ignoredTexts(const RecordKind& kind, std::wstring_view line);

/// The error's name in TE::errorType ("ParseDateTime"); empty for a code that is not used.
TRAMO_EXPORT std::string_view errorName(TE::errorType code);

}  // namespace tramo
