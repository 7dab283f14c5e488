#include "tramostream/wording.h"
#include "common/concat.h"
#include "common/printable.h"
#include "tramostream/linemodel.h"
#include <algorithm>

namespace tramo {

namespace {

// clang-format off
constexpr struct { TE::errorType code; std::string_view meaning; } meanings[] = {
    {TE::ParseInteger,          "invalid integer, or an integer out of range"},
    {TE::ParseBool,             "invalid flag"},
    {TE::ParseDouble,           "invalid decimal number, or a number out of range"},
    {TE::ParseFluidType,        "invalid code of a fluid"},
    {TE::ParseReadStatus,       "invalid code of a reading's status"},
    {TE::ParseReadMethod,       "invalid code of a reading's method"},
    {TE::ParseTramoType,        "invalid code of an information area's type"},
    {TE::ParseLineType,         "unknown record letter in column 1"},
    {TE::ParseAmrAlarmFlags,    "invalid alarm flags"},
    {TE::ParseAmrAlarm,         "invalid code of an alarm"},
    {TE::ParseEnquiryAreaType,  "invalid code of an enquiry area's type"},
    {TE::ParseEnquiryAreaMode,  "invalid code of an enquiry area's mode"},
    {TE::ParseDateTime,         "invalid date and time (YYYYMMDDhhmm)"},
    {TE::ParseDate,             "invalid date (YYYYMMDD)"},
    {TE::BuildInteger,          "the number cannot be written"},
    {TE::BuildText,             "the text is longer than its field"},
    {TE::BuildBool,             "the flag cannot be written"},
    {TE::BuildDouble,           "the decimal number cannot be written"},
    {TE::BuildFluidType,        "the fluid has no code"},
    {TE::BuildReadStatus,       "the reading's status has no code"},
    {TE::BuildReadMethod,       "the reading's method cannot be written"},
    {TE::BuildDate,             "the date cannot be written"},
    {TE::BuildTramoType,        "the information area's type has no code"},
    {TE::BuildAmrAlarm,         "the alarm has no code"},
    {TE::BuildAmrAlarmFlags,    "the alarm flags cannot be written"},
    {TE::BuildEnquiryAreaType,  "the enquiry area's type has no code"},
    {TE::BuildEnquiryAreaMode,  "the enquiry area's mode has no code"},
    {TE::MandatoryMissing,      "a mandatory value is missing"},
    {TE::MandatoryInconsistent, "values that belong together are inconsistent"},
    {TE::WrongLineType,         "the line is of another record kind than expected"},
};

constexpr struct { FieldKind kind; std::string_view type, reading, writing; } kinds[] = {
    {FieldKind::Text, "text",
        "The characters as they are: trailing white space is removed, leading white space is kept.",
        "Left-justified, padded with spaces. A text that is too long is not written at all; an empty text writes nothing."},
    {FieldKind::Integer, "integer",
        "Optional white space, an optional sign, decimal digits; everything after the digits is ignored.",
        "Right-justified, padded with spaces. Values that are too long are truncated on the right without an error."},
    {FieldKind::Decimal, "decimal",
        "Optional white space, an optional sign, digits with a point or comma, an optional exponent; everything after that is ignored.",
        "With a point, right-justified, padded with spaces. Values that are too long are truncated on the right without an error."},
    {FieldKind::Date, "date",
        "8 digits YYYYMMDD and nothing else: a calendar day in local time, from 1970-01-01 00:00 UTC to 2038-01-19 03:14 UTC.",
        "8 digits YYYYMMDD in local time."},
    {FieldKind::DateTime, "date and time",
        "12 digits YYYYMMDDhhmm and nothing else: a calendar day and time in local time, from 1970-01-01 00:00 UTC to 2038-01-19 03:14 UTC.",
        "12 digits YYYYMMDDhhmm in local time."},
    {FieldKind::Year, "year",
        "Read as an integer. If its text is 4 digits YYYY, the value is that year in local time, otherwise no year, without an error.",
        "4 digits YYYY."},
    {FieldKind::Code, "code",
        "One character of a list; upper and lower case differ.",
        "That character; a code that is not set writes nothing."},
    {FieldKind::Flag, "flag",
        "1 means yes, every other character means no.",
        "1 or 0."},
    {FieldKind::AlarmFlags, "alarm flags",
        "4 hexadecimal digits: the first two are flags 1 to 8 (flag 1 is the lowest bit), the last two are flags 9 to 12. Any other text is read without an error.",
        "4 hexadecimal digits in upper case, and a zero character in the next column, which stays there when the next field writes nothing."},
};
// clang-format on

const auto& wordsOf(FieldKind kind) {
    return *std::ranges::find(kinds, kind, [](const auto& row) { return row.kind; });
}

bool isDate(const Field& field) { return field.kind == FieldKind::Date || field.kind == FieldKind::DateTime; }

bool neverFailsToRead(const Field& field) { return field.kind == FieldKind::Flag || field.kind == FieldKind::AlarmFlags; }

bool neverFailsToBeWritten(const Field& field) {
    return neverFailsToRead(field) || field.kind == FieldKind::Integer || field.kind == FieldKind::Decimal ||
           (field.kind == FieldKind::Code && field.codesWritten.find(L'\0') == std::wstring::npos);
}

std::string neighboursAt(const RecordKind& kind, const Field& field, int column) {
    if (column == field.column) return {};
    std::string names;
    for (const Field* other : fieldsAt(kind, column))
        if (other != &field) names += (names.empty() ? "" : " and ") + other->name;
    return names.empty() ? "no field" : names;
}

}  // namespace

std::string columnsOf(const Field& field) {
    if (field.column == 0) return {};
    const int last = field.column + field.width - 1;
    return last > field.column ? concat(field.column, '-', last) : std::to_string(field.column);
}

std::string typeOf(const Field& field) {
    const std::string_view type = wordsOf(field.kind).type;
    return field.kind == FieldKind::Code ? concat(type, ' ', printable(field.codes)) : std::string(type);
}

std::string formOf(const RecordKind& kind, const Field& field) {
    switch (field.kind) {
    case FieldKind::Text: return concat("text of up to ", field.width, " character", field.width == 1 ? "" : "s");
    case FieldKind::Integer: {
        LineModel model = LineModel::blank(kind);
        return concat("integer of ", model.set(field, 1LL << 31) ? 64 : 32, " bits");
    }
    case FieldKind::Decimal: return concat("decimal number, written with ", field.decimals < 0 ? 6 : field.decimals, " decimals");
    case FieldKind::Date: return "date YYYYMMDD";
    case FieldKind::DateTime: return "date and time YYYYMMDDhhmm";
    case FieldKind::Year: return "year YYYY";
    case FieldKind::Code: return "code: " + listed(field.codes);
    case FieldKind::Flag: return "flag: 1 or 0";
    case FieldKind::AlarmFlags: return "12 alarm flags as 4 hexadecimal digits";
    }
    return {};
}

std::string defaultOf(const Field& field) {
    const FieldValue& value = field.defaultValue;
    if (isDate(field)) return concat("no date (", std::get<long long>(value), ')');
    switch (field.kind) {
    case FieldKind::Text: return std::get<std::wstring>(value).empty() ? "empty" : quoted(std::get<std::wstring>(value));
    case FieldKind::Year: return "no year";
    case FieldKind::Flag: return std::get<bool>(value) ? "yes" : "no";
    case FieldKind::AlarmFlags: return std::get<long long>(value) ? printable(textOf(field, value)) : "none set";
    case FieldKind::Code: {
        const wchar_t code = std::get<wchar_t>(value);
        if (code == L'!') return "not set";
        return code == L' ' ? "a space" : printable(std::wstring_view(&code, 1));
    }
    default: return printable(textOf(field, value));
    }
}

std::string_view readingOf(FieldKind kind) { return wordsOf(kind).reading; }
std::string_view writingOf(FieldKind kind) { return wordsOf(kind).writing; }

std::string blankOf(const Field& field) {
    if (!field.blank.empty()) return concat("A blank field is read as ", quoted(field.blank), '.');
    return field.kind == FieldKind::Text ? "" : "A blank field keeps its default.";
}

std::string particularsOf(const Field& field) {
    std::string words;
    if (!field.readInto.empty())
        words += concat("Its text is read into ", field.readInto, "; the field itself never gets a value from a line. ");
    if (field.writtenWidth != field.width)
        words += concat("It is written ", field.writtenWidth,
            " characters wide, over the next columns, whose own fields then overwrite it. ");
    if (const std::string changes = codeChanges(field); !changes.empty()) words += changes + ". ";
    if (field.overlaid) words += "It shares its columns with the previous field. ";
    if (!words.empty()) words.pop_back();
    return words;
}

std::string whenWritten(const Field& field) {
    const bool isClause = field.written != "always" && field.written != "never";
    return isClause ? "when " + field.written : field.written;
}

std::string codeChanges(const Field& field) {
    std::string words;
    for (std::size_t i = 0; i < field.codes.size(); ++i) {
        const std::string read = printable(field.codes.substr(i, 1));
        if (field.codesWritten[i] == field.codes[i]) continue;
        if (!words.empty()) words += ", ";
        if (field.codesWritten[i] == 0) words += read + " cannot be written";
        else words += concat(read, " is written as ", printable(field.codesWritten.substr(i, 1)));
    }
    return words;
}

std::string listed(std::wstring_view codes) {
    std::string list;
    for (std::size_t i = 0; i < codes.size(); ++i) list += (i ? ", " : "") + printable(codes.substr(i, 1));
    return list;
}

std::vector<std::string_view> flagsOf(const RecordKind& kind, const Field& field) {
    std::vector<std::string_view> names;
    if (field.kind != FieldKind::AlarmFlags) return names;
    for (std::size_t i = field.index + 1; i < kind.fields.size() && kind.fields[i].column == 0; ++i)
        if (kind.fields[i].kind == FieldKind::Flag) names.push_back(kind.fields[i].name);
    return names;
}

std::vector<ErrorReport> reportsOf(const RecordKind& kind, const Field& field) {
    std::vector<ErrorReport> all;
    auto add = [&](const TE::FieldError& error, std::string when, std::string particulars) {
        if (error.code != TE::errorType{})
            all.push_back({error, std::move(when), neighboursAt(kind, field, error.column), std::move(particulars)});
    };
    add(field.parseError, "its text is invalid", neverFailsToRead(field) ? "never happens: any text is valid" : "");
    add(field.buildError, "it cannot be written", neverFailsToBeWritten(field) ? "never happens: any value can be written" : "");
    std::string particulars = field.reportedInParseList ? "listed among the parse errors" : "";
    if (field.reportedOnGoodLines) particulars += (particulars.empty() ? "" : "; ") + std::string("valid lines report it, too");
    add(field.mandatoryError, field.mandatory, particulars);
    return all;
}

namespace {

const char* whenReported(TE::errorType code) {
    if (code < 0x100 || code == TE::WrongLineType) return "while a line is read";
    return code < 0x200 ? "while a line is written" : "when a record is checked";
}

}  // namespace

const std::vector<ErrorCode>& errorCodes() {
    static const std::vector<ErrorCode> all = [] {
        std::vector<ErrorCode> codes;
        for (const auto& [code, meaning] : meanings) { codes.push_back({code, errorName(code), whenReported(code), meaning}); }
        return codes;
    }();
    return all;
}

std::string hex(TE::errorType code) {
    std::string digits = "0x000";
    for (std::size_t i = 0; i < 3; ++i) digits[4 - i] = "0123456789ABCDEF"[static_cast<unsigned>(code) >> (4 * i) & 0xF];
    return digits;
}

std::string letterOf(const RecordKind& kind) {
    return kind.letter ? printable(std::wstring_view(&kind.letter, 1)) : std::string("-");
}

}  // namespace tramo
