#include "findings.h"
#include "text.h"
#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <vector>

namespace tramo::cli {

namespace {

constexpr int firstParseCode = 0x001, firstBuildCode = 0x101;

std::vector<RuleInfo> makeRules() {
    // clang-format off
    std::vector<RuleInfo> all{
        {"FileEmpty",            0, "The file holds no line.", true},
        {"LineEmpty",            0, "A line holds no character.", false},
        {"LineTooShort",         0, "A line has fewer characters than its kind has.", false},
        {"LineTooLong",          0, "A line has more characters than its kind has.", false},
        {"LineKindUnknown",      0, "A line has the length of no kind of line.", false},
        {"LineLetterUnknown",    0, "A record line begins with a character that no kind of record has.", false},
        {"LineEndWithoutCR",     0, "A line ends with a line feed that no carriage return stands before.", false},
        {"LineEndMissing",       0, "The last line has no line end.", false},
        {"ZeroCharacter",        0, "A line holds characters of value zero.", false},
        {"ZeroBehindAlarmFlags", 0, "The field behind alarm flags holds the zero character that their writer leaves there.", true},
        {"SurrogateAlone",       0, "A line holds half of a UTF-16 surrogate pair without the other half.", false},
        {"KeyLineUnreadable",    0, "A key line is no JSON object that can be read.", false},
        {"KeyMemberIgnored",     0, "A member of a key line's object is not taken.", true},
        {"TextIgnored",          0, "A line holds text that no value comes from: after a number, or outside of all fields.", true},
        {"TextUnread",           0, "A line that begins with U+FFFF ends the text; nothing behind it is read.", false},
        {"LastByteOdd",          0, "A UTF-16 file ends with half of a character.", false},
    };
    // clang-format on
    auto add = [&](int code, const char* words, bool warning) {
        if (const std::string_view name = errorName(static_cast<TE::errorType>(code)); !name.empty())
            all.push_back({name, code, fmt::format("{} ({} 0x{:03X}).", words, name, static_cast<unsigned>(code)), warning});
    };
    for (int code = firstParseCode; code < firstBuildCode; ++code) add(code, "A field's text cannot be read", false);
    add(TE::MandatoryMissing, "A mandatory value is missing", true);
    add(TE::MandatoryInconsistent, "Values that belong together contradict each other", true);
    add(TE::WrongLineType, "A line is of another kind than it was taken for", false);
    return all;
}

const RuleInfo* ruleOf(TE::errorType code) {
    const auto found = std::ranges::find(rules(), static_cast<int>(code), &RuleInfo::code);
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
        return fmt::format("{} digits {} expected, {} found at column {}", pattern.size(), pattern, quoted({stray, stray + 1}),
            column + (stray - text.begin()));
    if (text.size() != pattern.size())
        return fmt::format("{} digits {} expected, {} found", pattern.size(), pattern, text.size());

    auto number = [&](std::size_t first, std::size_t count) {
        int value = 0;
        for (const wchar_t c : text.substr(first, count)) value = value * 10 + static_cast<int>(c - L'0');
        return value;
    };
    const int year = number(0, 4), month = number(4, 2), day = number(6, 2);
    if (month < 1 || month > 12) return fmt::format("month {:02}", month);
    static constexpr const char* names[] = {
        "January", "February", "March", "April", "May", "June", "July", "August", "September", "October", "November", "December"};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    const std::array days{31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const auto index = static_cast<std::size_t>(month - 1);
    if (day < 1) return "day 00";
    if (day > days[index] && month == 2) return fmt::format("February {:04} has {} days", year, days[index]);
    if (day > days[index]) return fmt::format("{} has {} days", names[index], days[index]);
    if (pattern.size() > 8 && number(8, 2) > 23) return fmt::format("hour {:02}", number(8, 2));
    if (pattern.size() > 8 && number(10, 2) > 59) return fmt::format("minute {:02}", number(10, 2));
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

std::span<const RuleInfo> rules() {
    static const std::vector<RuleInfo> all = makeRules();
    return all;
}

std::string counted(unsigned long long count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string quoted(std::wstring_view text) { return '"' + printable(text) + '"'; }

Finding explain(const TE::FieldError& error, const RecordKind& kind, std::wstring_view line) {
    const Field* field = kind.fieldOf(error);
    Finding finding{.rule = ruleOf(error.code), .kind = kind.name, .field = field ? std::string_view(field->name) : ""};
    if (!field || field->column == 0) {
        finding.column = error.column;
        finding.endColumn = error.column + (error.column > 0);
        finding.message = field ? field->name : kind.name;
        return finding;
    }
    finding.column = field->column;
    finding.endColumn = field->column + field->width;
    if (error.column != field->column) finding.reportedColumn = error.column;
    finding.found = cut(line, *field);
    if (error == field->mandatoryError) {
        const bool missing = error.code == TE::MandatoryMissing;
        finding.message = field->name + (missing ? ": is missing" : ": is inconsistent");
        finding.detail = field->mandatory;
        if (field->reportedOnGoodLines) finding.detail += "; the format reports this on good lines";
    } else {
        const Words words = parseWords(*field, finding.found);
        finding.message = fmt::format("{}: {} {}", field->name, quoted(finding.found), words.what);
        finding.detail = words.why;
    }
    return finding;
}

std::string columnsOf(const Finding& finding) {
    const int last = finding.endColumn - 1;
    return last > finding.column ? fmt::format("{}-{}", finding.column, last) : std::to_string(finding.column);
}

Finding lineFinding(std::string_view rule, std::string message, std::string detail, int column) {
    const auto found = std::ranges::find(rules(), rule, &RuleInfo::name);
    return {.rule = &*found,
        .column = column,
        .endColumn = column + (column > 0),
        .message = std::move(message),
        .detail = std::move(detail)};
}

}  // namespace tramo::cli
