// Findings about whole lines: their length, kind, characters and line ending.
#include "common/concat.h"
#include "common/printable.h"
#include "common/secret.h"
#include "common/utf16.h"
#include "common/utf8.h"
#include "tramostream/check.h"
#include <algorithm>
#include <vector>

namespace tramo {

namespace {

// "0, 1, 2 or 3".
std::string recordLetters() {
    std::string letters, list;
    for (wchar_t c = 0; c < 128; ++c)
        if (isRecordLetter(c)) letters += static_cast<char>(c);
    for (std::size_t i = 0; i < letters.size(); ++i) {
        if (i > 0) list += i + 1 == letters.size() ? " or " : ", ";
        list += letters[i];
    }
    return list;
}

bool isBlank(std::wstring_view text) { return text.find_first_not_of(L' ') == std::wstring_view::npos; }

// The field in the middle of which this line ends. Text fields do not count: they may end anywhere.
const Field* fieldCutAt(std::wstring_view text) {
    const RecordKind* kind = recordKind(text.front());
    if (!kind) return nullptr;
    const int last = static_cast<int>(text.size());
    const auto found = std::ranges::find_if(kind->fields, [&](const Field& field) {
        return field.kind != FieldKind::Text && field.column <= last && last < field.column + field.width - 1;
    });
    return found == kind->fields.end() ? nullptr : &*found;
}

std::string joined(const std::vector<std::string>& clauses) {
    std::string all;
    for (const std::string& clause : clauses) all += (all.empty() ? "" : "; ") + clause;
    return all;
}

constexpr const char* endsWithLf = "it ends with LF alone";

// The findings of this text, which has the length of its kind.
std::vector<Finding> findingsIn(std::wstring_view text, LineKind kind) {
    std::vector<Finding> findings;
    const SourceLine line{.text = text, .carriageReturn = true, .lineFeed = true};
    if (checkShape(line, kind, findings)) checkFields(kind, text, false, findings);
    std::ranges::stable_sort(findings, {}, &Finding::column);
    return findings;
}

std::size_t errorsAmong(const std::vector<Finding>& findings) {
    return static_cast<std::size_t>(
        std::ranges::count_if(findings, [](const Finding& finding) { return finding.rule->isError(false); }));
}

const Finding* firstOf(const std::vector<Finding>& findings) {
    const auto error = std::ranges::find_if(findings, [](const Finding& finding) { return finding.rule->isError(false); });
    if (error != findings.end()) return &*error;
    return findings.empty() ? nullptr : &findings.front();
}

// "no errors or warnings"; "2 errors and 1 warning, the first at columns 195-202 (meterHistory3ReadingDate)".
std::string inWords(const std::vector<Finding>& findings) {
    const std::size_t errors = errorsAmong(findings), warnings = findings.size() - errors;
    if (findings.empty()) return "no errors or warnings";
    std::string words;
    if (errors) words = counted(errors, "error");
    if (warnings) words += (errors ? " and " : "") + counted(warnings, "warning");
    const Finding& first = *firstOf(findings);
    words += concat(", ", findings.size() > 1 ? "the first " : "", "at column", first.endColumn - first.column > 1 ? "s" : "",
        ' ', columnsOf(first));
    return first.field.empty() ? words : concat(words, " (", first.field, ')');
}

// Appends each tab as spaces up to the next multiple of 8 columns, as terminals show it.
void appendExpanded(std::wstring_view text, SecretText& to) {
    for (const wchar_t c : text)
        if (c == L'\t') to.resize(to.size() / 8 * 8 + 8, L' ');
        else to += c;
}

Finding tooShort(const SourceLine& line, const LineShape& shape) {
    const auto tabs = static_cast<std::size_t>(std::ranges::count(line.text, L'\t'));
    SecretText restored;
    restored.reserve(8 * shape.length);
    appendExpanded(line.text, restored);
    const bool isExpanded = tabs && restored.size() == shape.length;
    if (!isExpanded) {
        restored = line.text;
        restored.resize(shape.length, L' ');
    }
    const std::vector<Finding> findings = findingsIn(restored, shape.kind);

    std::vector<std::string> why;
    if (!line.lineFeed) why.emplace_back("the file ends here");
    else if (!line.carriageReturn) why.emplace_back(endsWithLf);
    if (tabs)
        why.push_back(concat("it contains ", counted(tabs, "tab character"), tabs > 1 ? ", the first at column" : ", at column",
            ' ', line.text.find(L'\t') + 1));
    const Field* field = shape.kind == LineKind::Record ? fieldCutAt(line.text) : nullptr;
    if (field && (errorsAmong(findings) == 0 || firstOf(findings)->field == field->name))
        why.push_back(concat("it ends inside ", field->name, " (", field->column, '-', field->column + field->width - 1, ')'));
    why.push_back(isExpanded
                      ? concat("with tab stops every 8 columns, it has ", shape.length, " characters and ", inWords(findings))
                      : concat("padded with ", counted(shape.length - line.text.size(), "space"), " at its end, it has ",
                            inWords(findings)));
    return findingOf(
        "LineTooShort", concat("line has ", counted(line.text.size(), "character"), ", expected ", shape.length), joined(why));
}

// How many fewer characters the line has if its characters are read as bytes of UTF-8; 0 if that is impossible.
std::size_t utf8Surplus(std::wstring_view text) {
    std::string bytes;
    for (const wchar_t c : text) {
        if (c > 0xFF) return 0;
        bytes += static_cast<char>(c);
    }
    return text.size() - utf8::length(bytes);
}

// Describes the line without its surplus characters: the last ones, or the first ones if only that leaves no errors.
std::string withoutExtra(const SourceLine& line, const LineShape& shape) {
    const std::size_t count = line.size() - shape.length;
    auto left = [&](const char* which, const std::vector<Finding>& findings) {
        const std::string extra = count > 1 ? concat(which, ' ', count, " characters") : concat(which, " character");
        return concat("without its ", extra, ", it has ", inWords(findings));
    };
    const std::wstring_view end = line.facts ? line.facts->last : line.text;
    const std::vector<Finding> findings = findingsIn(line.text.substr(0, shape.length), shape.kind);
    if (errorsAmong(findings) > 0)
        if (const auto others = findingsIn(end.substr(end.size() - shape.length), shape.kind); errorsAmong(others) == 0)
            return left("first", others);
    return left("last", findings);
}

Finding tooLong(const SourceLine& line, const LineShape& shape) {
    const std::wstring_view extra = line.text.substr(shape.length);
    std::string why = concat(line.size() - shape.length, " too many");
    const bool isUtf8 = !line.facts && line.text.size() - utf8Surplus(line.text) == shape.length;
    const bool blank = line.facts ? line.facts->filledSize <= shape.length : isBlank(extra);
    const bool returns =
        line.facts ? line.facts->unreturnedSize <= shape.length : extra.find_first_not_of(L'\r') == std::wstring_view::npos;
    if (isUtf8) why += concat("; read as UTF-8, it has ", shape.length, " characters");
    else if (blank) why += extra.size() == 1 ? ", a space" : ", all of them spaces";
    else if (returns) why += ", more than one CR before the LF";
    else if (extra.front() == L'\r') why += concat(", after a CR without LF at column ", shape.length + 1);
    if (!isUtf8) why += "; " + withoutExtra(line, shape);
    if (!line.lineFeed) why += "; it has no line ending";
    else if (!line.carriageReturn) why += concat("; ", endsWithLf);
    Finding finding =
        findingOf("LineTooLong", concat("line has ", counted(line.size(), "character"), ", expected ", shape.length), why,
            static_cast<int>(shape.length + 1));
    finding.endColumn = static_cast<int>(std::min<std::size_t>(line.size() + 1, 1 << 30));
    return finding;
}

// Key lines have any length, but no real one comes near this.
Finding tooLongForKeys(const SourceLine& line) {
    Finding finding = findingOf("LineTooLong", concat("line has ", counted(line.size(), "character")),
        concat("key lines are read up to ", longestHeld, " characters"));
    finding.excerpt = false;
    return finding;
}

Finding unknownKind(const SourceLine& line) {
    std::string lengths = "expected ";
    for (const LineKind kind : {LineKind::Record, LineKind::Parameter, LineKind::Tag}) {
        const LineShape& shape = shapeOf(kind);
        if (kind == LineKind::Parameter) lengths += ", ";
        if (kind == LineKind::Tag) lengths += " or ";
        lengths += concat(shape.length, " (", shape.name, ')');
    }
    return findingOf("LineKindUnknown", concat("line has ", counted(line.size(), "character")), lengths);
}

// The alarm flags that end directly before this place, where the format writes a zero character.
const Field* alarmFlagsBefore(std::wstring_view text, std::size_t at) {
    const RecordKind* kind = recordKind(text.front());
    if (!kind) return nullptr;
    const auto found = std::ranges::find_if(kind->fields, [&](const Field& field) {
        return field.kind == FieldKind::AlarmFlags && static_cast<std::size_t>(field.column + field.width) == at + 1;
    });
    return found == kind->fields.end() ? nullptr : &*found;
}

// Characters that are invalid in any line: one finding for all zeros and one for all unpaired surrogates, at the first of them.
void findCharacters(std::wstring_view text, LineKind kind, std::vector<Finding>& findings) {
    std::size_t zeros = 0, firstZero = 0, halves = 0, firstHalf = 0;
    for (std::size_t i = text.size(); i-- > 0;) {
        if (text[i] == 0) {
            if (const Field* flags = kind == LineKind::Record ? alarmFlagsBefore(text, i) : nullptr)
                findings.push_back(findingOf("ZeroBehindAlarmFlags", "line contains a zero character after " + flags->name,
                    "the format writes one there when nothing follows, and reads it back as text", static_cast<int>(i + 1)));
            else {
                ++zeros;
                firstZero = i;
            }
        } else if (utf16::isLoneSurrogate(text, i)) {
            ++halves;
            firstHalf = i;
        }
    }
    auto add = [&](const char* rule, std::size_t count, std::size_t first, const char* what, const char* detail) {
        if (count == 0) return;
        std::string message = concat("line contains ", counted(count, what));
        if (count > 1) message += concat(", the first at column ", first + 1);
        findings.push_back(findingOf(rule, std::move(message), detail, static_cast<int>(first + 1)));
    };
    add("ZeroCharacter", zeros, firstZero, "zero character", "fields with a zero character are not checked");
    add("SurrogateAlone", halves, firstHalf, "unpaired surrogate", "surrogates are valid in pairs only");
}

void findLineEnd(const SourceLine& line, std::wstring_view insteadOfCr, std::vector<Finding>& findings) {
    if (line.lineFeed && line.carriageReturn) return;
    Finding finding =
        !line.lineFeed
            ? findingOf("LineEndMissing",
                  line.carriageReturn ? "the last line ends with CR alone" : "the last line has no line ending", "expected CR LF")
            : findingOf("LineEndWithoutCR", "line ends with LF alone", "expected CR LF");
    if (!insteadOfCr.empty()) finding.reason += concat(", found ", quoted(insteadOfCr), " in place of the CR");
    finding.excerpt = false;
    findings.push_back(std::move(finding));
}

}  // namespace

bool checkShape(const SourceLine& line, std::optional<LineKind> kind, std::vector<Finding>& findings) {
    const std::wstring_view text = line.text;
    auto refuse = [&](Finding finding) {
        findings.push_back(std::move(finding));
        return false;
    };
    if (text.empty()) return refuse(findingOf("LineEmpty", "line is empty"));
    if (!kind) return refuse(unknownKind(line));
    const LineShape& shape = shapeOf(*kind);
    if (text.size() < shape.length) return refuse(tooShort(line, shape));
    if (line.facts) return refuse(shape.length ? tooLong(line, shape) : tooLongForKeys(line));
    const std::wstring_view extra = shape.length ? text.substr(shape.length) : std::wstring_view{};
    const bool insteadOfCr = extra.size() == 1 && line.lineFeed && !line.carriageReturn;
    if (!extra.empty() && !insteadOfCr) return refuse(tooLong(line, shape));

    // From here on, every field is in its columns.
    findLineEnd(line, extra, findings);
    if (shape.kind == LineKind::Key) return true;
    if (!line.plain) findCharacters(text, shape.kind, findings);
    if (shape.kind != LineKind::Record || isRecordLetter(text.front())) return true;
    if (text.front() == 0) return false;  // the zero character is already reported
    return refuse(findingOf(
        "LineLetterUnknown", concat("unknown record letter ", quoted(text.substr(0, 1))), "expected " + recordLetters(), 1));
}

}  // namespace tramo
