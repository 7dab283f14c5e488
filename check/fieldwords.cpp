// What is wrong with a field, in words.
#include "common/concat.h"
#include "common/printable.h"
#include "tramostream/check.h"
#include <algorithm>
#include <array>

namespace tramo {

namespace {

const Rule* ruleOf(TE::errorType code) {
    const auto found = std::ranges::find(rules(), static_cast<int>(code), &Rule::code);
    return found == rules().end() ? nullptr : &*found;
}

// The text of a field without its trailing blanks, as the models cut it.
std::wstring_view cut(std::wstring_view line, const Field& field) {
    const auto first = std::min(static_cast<std::size_t>(std::max(field.column - 1, 0)), line.size());
    std::wstring_view text = line.substr(first, static_cast<std::size_t>(field.width));
    while (!text.empty() && (text.back() == L' ' || (text.back() >= L'\t' && text.back() <= L'\r'))) text.remove_suffix(1);
    return text;
}

bool isDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

std::wstring_view withoutBlanks(std::wstring_view text) {
    const std::size_t first = text.find_first_not_of(L" \t\n\v\f\r");
    return first == std::wstring_view::npos ? std::wstring_view{} : text.substr(first);
}

// "what" and "why" of a text that is no number. A number that begins well can only be out of range.
struct Words {
    std::string what, why;
};

Words numberWords(std::wstring_view text, bool decimal) {
    std::wstring_view number = withoutBlanks(text);
    if (number.starts_with(L'-') || number.starts_with(L'+')) number.remove_prefix(1);
    const std::wstring_view digits =
        decimal && (number.starts_with(L'.') || number.starts_with(L',')) ? number.substr(1) : number;
    if (digits.empty() || !isDigit(digits.front()))
        return {decimal ? "is no number" : "is no whole number",
            "a digit was expected, " + (number.empty() ? "nothing" : quoted(number.substr(0, 1))) + " found"};

    return {"is out of range", {}};
}

std::string whyNoDate(std::wstring_view text, std::string_view pattern, int column) {
    const auto stray = std::ranges::find_if_not(text, isDigit);
    if (stray != text.end())
        return concat(pattern.size(), " digits ", pattern, " expected, ", quoted({stray, stray + 1}), " found at column ",
            column + (stray - text.begin()));
    if (text.size() != pattern.size()) return concat(pattern.size(), " digits ", pattern, " expected, ", text.size(), " found");

    auto number = [&](std::size_t first, std::size_t count) {
        int value = 0;
        for (const wchar_t c : text.substr(first, count)) value = value * 10 + static_cast<int>(c - L'0');
        return value;
    };
    const int year = number(0, 4), month = number(4, 2), day = number(6, 2);
    if (month < 1 || month > 12) return "month " + padded(month, 2);
    static constexpr const char* names[] = {
        "January", "February", "March", "April", "May", "June", "July", "August", "September", "October", "November", "December"};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const std::array days{31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const auto index = static_cast<std::size_t>(month - 1);
    if (day < 1) return "day 00";
    if (day > days[index] && month == 2) return concat("February ", padded(year, 4), " has ", days[index], " days");
    if (day > days[index]) return concat(names[index], " has ", days[index], " days");
    if (pattern.size() > 8 && number(8, 2) > 23) return "hour " + padded(number(8, 2), 2);
    if (pattern.size() > 8 && number(10, 2) > 59) return "minute " + padded(number(10, 2), 2);
    return year < 2000 ? "it is before 1970-01-01 00:00 UTC" : "it is after 2038-01-19 03:14 UTC";
}

std::string codeList(std::wstring_view codes) {
    std::string list;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        if (i > 0) list += i + 1 == codes.size() ? " or " : ", ";
        list += printable(codes.substr(i, 1));
    }
    return list;
}

Words parseWords(const Field& field, std::wstring_view text) {
    switch (field.kind) {
    case FieldKind::Text: break;
    case FieldKind::Integer: return numberWords(text, false);
    case FieldKind::Decimal: return numberWords(text, true);
    case FieldKind::Date: return {"is no date", whyNoDate(text, "YYYYMMDD", field.column)};
    case FieldKind::DateTime: return {"is no date and time", whyNoDate(text, "YYYYMMDDhhmm", field.column)};
    case FieldKind::Year: return {"is no year", "4 digits YYYY expected"};
    case FieldKind::Code: return {"is no code of this field", codeList(field.codes) + " expected"};
    case FieldKind::Flag: return {"is no flag", "1 or 0 expected"};
    case FieldKind::AlarmFlags: return {"is no set of alarm flags", "4 hexadecimal digits expected"};
    }
    return {"cannot be read", {}};
}

}  // namespace

Finding findingOf(const TE::FieldError& error, const RecordKind& kind, std::wstring_view line) {
    const Field* field = kind.fieldOf(error);
    const Rule* const rule = ruleOf(error.code);
    Finding finding{.rule = rule,
        .severity = rule->severity,
        .kind = kind.name,
        .field = field ? std::string_view(field->name) : std::string_view()};
    if (!field || field->column == 0) {
        finding.column = error.column;
        finding.endColumn = error.column + (error.column > 0);
        finding.sentence = field ? field->name : kind.name;
        return finding;
    }
    finding.column = field->column;
    finding.endColumn = field->column + field->width;
    if (error.column != field->column) finding.reportedColumn = error.column;
    finding.found = cut(line, *field);
    if (error == field->mandatoryError) {
        const bool missing = error.code == TE::MandatoryMissing;
        finding.sentence = field->name + (missing ? ": is missing" : ": is inconsistent");
        finding.reason = field->mandatory;
        if (field->reportedOnGoodLines) finding.reason += "; the format reports this on good lines";
    } else {
        const Words words = parseWords(*field, finding.found);
        finding.sentence = concat(field->name, ": ", quoted(finding.found), ' ', words.what);
        finding.reason = words.why;
    }
    return finding;
}

}  // namespace tramo
