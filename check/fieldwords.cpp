// Findings about fields: the invalid text and why it is invalid, or the value that is missing or inconsistent.
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

// The text of a field without trailing white space, as the models trim it.
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

struct Words {
    std::string sentence, reason;
};

Words numberWords(std::wstring_view text, bool decimal) {
    const std::string type = decimal ? "decimal number" : "integer";
    std::wstring_view number = withoutBlanks(text);
    if (number.starts_with(L'-') || number.starts_with(L'+')) number.remove_prefix(1);
    const std::wstring_view digits =
        decimal && (number.starts_with(L'.') || number.starts_with(L',')) ? number.substr(1) : number;
    if (digits.empty() || !isDigit(digits.front()))
        return {concat("invalid ", type, ' ', quoted(text)),
            "expected a digit, found " + (number.empty() ? "nothing" : quoted(number.substr(0, 1)))};

    // A number that begins with a digit can only be out of range.
    return {concat(type, ' ', quoted(text), " is out of range"), {}};
}

std::string whyInvalidDate(std::wstring_view text, std::string_view pattern, int column) {
    const auto stray = std::ranges::find_if_not(text, isDigit);
    if (stray != text.end())
        return concat("expected ", pattern.size(), " digits (", pattern, "), found ", quoted({stray, stray + 1}), " at column ",
            column + (stray - text.begin()));
    if (text.size() != pattern.size()) return concat("expected ", pattern.size(), " digits (", pattern, "), found ", text.size());

    auto number = [&](std::size_t first, std::size_t count) {
        int value = 0;
        for (const wchar_t c : text.substr(first, count)) value = value * 10 + static_cast<int>(c - L'0');
        return value;
    };
    const int year = number(0, 4), month = number(4, 2), day = number(6, 2);
    if (month < 1 || month > 12) return "there is no month " + padded(month, 2);
    static constexpr const char* names[] = {
        "January", "February", "March", "April", "May", "June", "July", "August", "September", "October", "November", "December"};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const std::array days{31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const auto index = static_cast<std::size_t>(month - 1);
    if (day < 1) return "there is no day 00";
    if (day > days[index] && month == 2) return concat("February ", padded(year, 4), " has ", days[index], " days");
    if (day > days[index]) return concat(names[index], " has ", days[index], " days");
    if (pattern.size() > 8 && number(8, 2) > 23) return "there is no hour " + padded(number(8, 2), 2);
    if (pattern.size() > 8 && number(10, 2) > 59) return "there is no minute " + padded(number(10, 2), 2);
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
    auto invalid = [&](const char* type, std::string reason) -> Words {
        return {concat("invalid ", type, ' ', quoted(text)), std::move(reason)};
    };
    switch (field.kind) {
    case FieldKind::Text: break;
    case FieldKind::Integer: return numberWords(text, false);
    case FieldKind::Decimal: return numberWords(text, true);
    case FieldKind::Date: return invalid("date", whyInvalidDate(text, "YYYYMMDD", field.column));
    case FieldKind::DateTime: return invalid("date and time", whyInvalidDate(text, "YYYYMMDDhhmm", field.column));
    case FieldKind::Year: return invalid("year", "expected 4 digits (YYYY)");
    case FieldKind::Code: return invalid("code", "expected " + codeList(field.codes));
    case FieldKind::Flag: return invalid("flag", "expected 1 or 0");
    case FieldKind::AlarmFlags: return invalid("alarm flags", "expected 4 hexadecimal digits");
    }
    return invalid("text", {});
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
        finding.sentence = field->name + (missing ? ": missing value" : ": inconsistent values");
        finding.reason = field->mandatory;
        if (field->reportedOnGoodLines) finding.reason += "; the format reports this on valid lines, too";
    } else {
        Words words = parseWords(*field, finding.found);
        finding.sentence = concat(field->name, ": ", words.sentence);
        finding.reason = std::move(words.reason);
    }
    return finding;
}

}  // namespace tramo
