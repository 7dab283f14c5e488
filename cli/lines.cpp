#include "lines.h"
#include "fieldcheck.h"
#include "text.h"
#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <tramostream/keyline.h>
#include <tramostream/stringconverter.h>
#include <tramostream/tramoline.h>
#include <tuple>
#include <type_traits>

namespace tramo::cli {

namespace {

template <class Buffer> constexpr std::size_t lengthOf = std::tuple_size_v<Buffer> - 2;  // CR LF

// In the order of LineKind.
constexpr LineShape shapes[] = {
    {LineKind::Record, "record", lengthOf<TramoLine::tramoLine_t>},
    {LineKind::Parameter, "parameter", lengthOf<ParameterLine::parameterLine_t>},
    {LineKind::Tag, "tag", lengthOf<TagLine::tagLine_t>},
    {LineKind::Key, "key", 0},
};

std::optional<LineKind> kindByLength(std::size_t length) {
    for (const LineShape& shape : shapes)
        if (shape.length == length) return shape.kind;
    return std::nullopt;
}

std::array<bool, 128> makeRecordLetters() {
    std::array<bool, 128> known{};
    for (std::size_t i = 0; i < known.size(); ++i) {
        auto c = static_cast<wchar_t>(i);
        TF::TramoLineType type{};
        known[i] = StrConv::toLineType(c, type);
    }
    return known;
}

std::string recordLetters() {
    std::string list;
    for (wchar_t c = 0; c < 128; ++c)
        if (isRecordLetter(c)) list += std::string(list.empty() ? "" : ", ") + static_cast<char>(c);
    return list;
}

bool isBlank(std::wstring_view text) { return text.find_first_not_of(L' ') == std::wstring_view::npos; }

// The field that a line of this text ends inside of, other than a text, which may end anywhere.
const Field* fieldCutAt(std::wstring_view text) {
    const RecordKind* kind = recordKind(text.front());
    if (!kind) return nullptr;
    const int last = static_cast<int>(text.size());
    const auto found = std::ranges::find_if(kind->fields, [&](const Field& field) {
        return field.kind != FieldKind::Text && field.column <= last && last < field.column + field.width - 1;
    });
    return found == kind->fields.end() ? nullptr : &*found;
}

constexpr const char* endsWithLf = "it ends with LF alone";

// What the check would find in this text, which has its kind's length.
std::vector<Finding> findingsIn(std::wstring_view text, LineKind kind) {
    std::vector<Finding> findings;
    const Line line{.text = text, .carriageReturn = true, .lineFeed = true};
    if (judge(line, kind, findings)) checkFields(kind, text, false, findings);
    std::ranges::stable_sort(findings, {}, &Finding::column);
    return findings;
}

std::size_t errorsAmong(const std::vector<Finding>& findings) {
    return static_cast<std::size_t>(
        std::ranges::count_if(findings, [](const Finding& finding) { return finding.rule->isError(false); }));
}

const Finding* firstOf(const std::vector<Finding>& findings) {
    const auto error = std::ranges::find_if(findings, [](const Finding& finding) { return finding.rule->isError(false); });
    return error != findings.end() ? &*error : findings.empty() ? nullptr : &findings.front();
}

// "no errors or warnings"; "2 errors and 1 warning, the first at columns 195-202 (meterHistory3ReadingDate)".
std::string inWords(const std::vector<Finding>& findings) {
    const std::size_t errors = errorsAmong(findings), warnings = findings.size() - errors;
    if (findings.empty()) return "no errors or warnings";
    std::string words;
    if (errors) words = counted(errors, "error");
    if (warnings) words += (errors ? " and " : "") + counted(warnings, "warning");
    const Finding& first = *firstOf(findings);
    words += fmt::format(", {}at column{} {}", findings.size() > 1 ? "the first " : "",
        first.endColumn - first.column > 1 ? "s" : "", columnsOf(first));
    return first.field.empty() ? words : fmt::format("{} ({})", words, first.field);
}

// Appends each tab as spaces up to the next multiple of 8 columns, as terminals show it.
void appendExpanded(std::wstring_view text, std::wstring& to) {
    for (const wchar_t c : text)
        if (c == L'\t') to.resize(to.size() / 8 * 8 + 8, L' ');
        else to += c;
}

Finding tooShort(const Line& line, const LineShape& shape) {
    const auto tabs = static_cast<std::size_t>(std::ranges::count(line.text, L'\t'));
    std::wstring restored;
    restored.reserve(8 * shape.length);  // it may hold keys, and growing would leave copies of them
    appendExpanded(line.text, restored);
    const bool isExpanded = tabs && restored.size() == shape.length;
    if (!isExpanded) restored = line.text, restored.resize(shape.length, L' ');
    const std::vector<Finding> findings = findingsIn(restored, shape.kind);
    wipe(restored);

    std::vector<std::string> why;
    if (!line.lineFeed) why.emplace_back("the file ends here");
    else if (!line.carriageReturn) why.emplace_back(endsWithLf);
    if (tabs)
        why.push_back(fmt::format("it holds {}{} {}", counted(tabs, "tab character"),
            tabs > 1 ? ", the first at column" : ", at column", line.text.find(L'\t') + 1));
    const Field* field = shape.kind == LineKind::Record ? fieldCutAt(line.text) : nullptr;
    if (field && (errorsAmong(findings) == 0 || firstOf(findings)->field == field->name))
        why.push_back(fmt::format("it ends inside {} ({}-{})", field->name, field->column, field->column + field->width - 1));
    why.push_back(
        isExpanded ? fmt::format("with tab stops every 8 columns, it has {} characters and {}", shape.length, inWords(findings))
                   : fmt::format("padded with {} at its end, it has {}", counted(shape.length - line.text.size(), "space"),
                         inWords(findings)));
    return lineFinding("LineTooShort",
        fmt::format("line has {}, {} expected", counted(line.text.size(), "character"), shape.length),
        fmt::format("{}", fmt::join(why, "; ")));
}

// How many characters less a line would have if its characters were bytes of UTF-8; 0 when they are none.
std::size_t utf8Surplus(std::wstring_view text) {
    std::string bytes;
    for (const wchar_t c : text) {
        if (c > 0xFF) return 0;
        bytes += static_cast<char>(c);
    }
    return text.size() - charactersOfUtf8(bytes);
}

// What is left when the characters that are too many are taken from the end of the line; or from its beginning, where only
// that leaves a line without errors.
std::string withoutExtra(const Line& line, const LineShape& shape) {
    const std::size_t count = line.size() - shape.length;
    auto left = [&](const char* which, const std::vector<Finding>& findings) {
        const std::string extra = count > 1 ? fmt::format("{} {} characters", which, count) : fmt::format("{} character", which);
        return fmt::format("without its {}, it has {}", extra, inWords(findings));
    };
    const std::wstring_view end = line.whole ? line.whole->last() : line.text;
    const std::vector<Finding> findings = findingsIn(line.text.substr(0, shape.length), shape.kind);
    if (errorsAmong(findings) > 0)
        if (const auto others = findingsIn(end.substr(end.size() - shape.length), shape.kind); errorsAmong(others) == 0)
            return left("first", others);
    return left("last", findings);
}

Finding tooLong(const Line& line, const LineShape& shape) {
    const std::wstring_view extra = line.text.substr(shape.length);
    std::string why = fmt::format("{} too many", line.size() - shape.length);
    const bool isUtf8 = !line.whole && line.text.size() - utf8Surplus(line.text) == shape.length;
    const bool blank = line.whole ? line.whole->isBlankFrom(shape.length) : isBlank(extra);
    const bool returns =
        line.whole ? line.whole->isReturnsFrom(shape.length) : extra.find_first_not_of(L'\r') == std::wstring_view::npos;
    if (isUtf8) why += fmt::format("; read as UTF-8, it has {} characters", shape.length);
    else if (blank) why += extra.size() == 1 ? ", a space" : ", all of them spaces";
    else if (returns) why += ", more than one CR before the LF";
    else if (extra.front() == L'\r') why += fmt::format(", after a CR without LF at column {}", shape.length + 1);
    if (!isUtf8) why += "; " + withoutExtra(line, shape);
    if (!line.lineFeed) why += "; it has no line ending";
    else if (!line.carriageReturn) why += fmt::format("; {}", endsWithLf);
    Finding finding =
        lineFinding("LineTooLong", fmt::format("line has {}, {} expected", counted(line.size(), "character"), shape.length), why,
            static_cast<int>(shape.length + 1));
    finding.endColumn = static_cast<int>(std::min<std::size_t>(line.size() + 1, 1 << 30));
    return finding;
}

// A line of any length is a key line, but a very long one is none of a file of keys.
Finding tooLongForKeys(const Line& line) {
    Finding finding = lineFinding("LineTooLong", fmt::format("line has {}", counted(line.size(), "character")),
        fmt::format("key lines are read up to {} characters", longestHeld));
    finding.excerpt = false;
    return finding;
}

Finding unknownKind(const Line& line) {
    std::string lengths;
    for (const LineShape& shape : shapes)
        if (shape.length) lengths += fmt::format("{}a {} has {}", lengths.empty() ? "" : ", ", shape.name, shape.length);
    return lineFinding("LineKindUnknown", fmt::format("line has {}", counted(line.size(), "character")), lengths);
}

// The field of alarm flags that ends right before this place. The format's writer puts a zero there.
const Field* alarmFlagsBefore(std::wstring_view text, std::size_t at) {
    const RecordKind* kind = recordKind(text.front());
    if (!kind) return nullptr;
    const auto found = std::ranges::find_if(kind->fields, [&](const Field& field) {
        return field.kind == FieldKind::AlarmFlags && static_cast<std::size_t>(field.column + field.width) == at + 1;
    });
    return found == kind->fields.end() ? nullptr : &*found;
}

// What no character of a line should be: one finding for all of them, at the first.
void findCharacters(std::wstring_view text, LineKind kind, std::vector<Finding>& findings) {
    std::size_t zeros = 0, firstZero = 0, halves = 0, firstHalf = 0;
    for (std::size_t i = text.size(); i-- > 0;) {
        if (text[i] == 0) {
            if (const Field* flags = kind == LineKind::Record ? alarmFlagsBefore(text, i) : nullptr)
                findings.push_back(lineFinding("ZeroBehindAlarmFlags", "line holds a zero character behind " + flags->name,
                    "the format writes one there when nothing follows, and reads it as a text", static_cast<int>(i + 1)));
            else ++zeros, firstZero = i;
        } else if (isLoneSurrogate(text, i)) ++halves, firstHalf = i;
    }
    auto add = [&](const char* rule, std::size_t count, std::size_t first, const char* what, const char* detail) {
        if (count == 0) return;
        std::string message = fmt::format("line holds {}", counted(count, what));
        if (count > 1) message += fmt::format(", the first at column {}", first + 1);
        findings.push_back(lineFinding(rule, std::move(message), detail, static_cast<int>(first + 1)));
    };
    add("ZeroCharacter", zeros, firstZero, "zero character", "fields with a zero are not checked");
    add("SurrogateAlone", halves, firstHalf, "half surrogate pair", "each needs its other half beside it");
}

void findLineEnd(const Line& line, std::wstring_view insteadOfCr, std::vector<Finding>& findings) {
    if (line.lineFeed && line.carriageReturn) return;
    Finding finding =
        !line.lineFeed
            ? lineFinding("LineEndMissing",
                  line.carriageReturn ? "the last line ends with CR alone" : "the last line has no line end", "CR LF expected")
            : lineFinding("LineEndWithoutCR", "line ends with LF alone", "CR LF expected");
    if (!insteadOfCr.empty()) finding.detail += fmt::format(", {} stands in the place of the CR", quoted(insteadOfCr));
    finding.excerpt = false;
    findings.push_back(std::move(finding));
}

}  // namespace

bool mayHoldKeys(std::wstring_view text) { return text.starts_with(L'{') || text.starts_with(L";{") || holdsKeyMarks(text); }

bool Line::mayHoldKeys() const { return whole ? whole->mayHoldKeys() : cli::mayHoldKeys(text); }

bool holdsKeyMarks(std::wstring_view text) {
    auto has = [&](std::wstring_view part) { return text.find(part) != std::wstring_view::npos; };
    return has(L"\"}") || has(L"\":\"") || has(L"\",\"") || std::ranges::any_of(keyValues, [&](const KeyValue& value) {
        return value.secret && has(std::wstring(value.name.begin(), value.name.end()));
    });
}

const LineShape& shapeOf(LineKind kind) { return shapes[static_cast<std::size_t>(kind)]; }

bool isRecordLetter(wchar_t c) {
    static const std::array<bool, 128> known = makeRecordLetters();
    const auto place = static_cast<std::make_unsigned_t<wchar_t>>(c);
    return place < known.size() && known[place];
}

std::optional<LineKind> kindOfLine(const Line& line, std::optional<LineKind> prevailing) {
    const std::wstring_view text = line.text;
    const std::optional<LineKind> byLength = kindByLength(line.size());
    const bool amongRecords = prevailing == LineKind::Record;
    const bool hasLetter = !text.empty() && isRecordLetter(text.front());
    if (byLength == LineKind::Record && amongRecords && hasLetter) return byLength;
    if (line.mayHoldKeys()) return LineKind::Key;
    if (amongRecords && hasLetter) return LineKind::Record;
    return byLength ? byLength : prevailing;
}

void KindCensus::add(std::wstring_view line) {
    const auto kind = mayHoldKeys(line) ? LineKind::Key : kindByLength(line.size());
    if (kind) ++ofKind[static_cast<std::size_t>(*kind)];
    ++all;
    longest = std::max(longest, line.size());
    letters += !line.empty() && isRecordLetter(line.front());
}

std::optional<LineKind> KindCensus::prevailing() const {
    const auto most = std::ranges::max_element(ofKind);
    if (*most > 0 && *most * 2 >= all) return static_cast<LineKind>(most - ofKind.begin());
    const bool tooLongForOthers = longest > shapeOf(LineKind::Parameter).length;
    return tooLongForOthers && letters * 2 >= all ? std::optional(LineKind::Record) : std::nullopt;
}

bool judge(const Line& line, std::optional<LineKind> kind, std::vector<Finding>& findings) {
    const std::wstring_view text = line.text;
    auto refuse = [&](Finding finding) {
        findings.push_back(std::move(finding));
        return false;
    };
    if (text.empty()) return refuse(lineFinding("LineEmpty", "line is empty"));
    if (!kind) return refuse(unknownKind(line));
    const LineShape& shape = shapeOf(*kind);
    if (text.size() < shape.length) return refuse(tooShort(line, shape));
    if (line.whole) return refuse(shape.length ? tooLong(line, shape) : tooLongForKeys(line));
    const std::wstring_view extra = shape.length ? text.substr(shape.length) : std::wstring_view{};
    const bool insteadOfCr = extra.size() == 1 && line.lineFeed && !line.carriageReturn;
    if (!extra.empty() && !insteadOfCr) return refuse(tooLong(line, shape));

    // From here on every field stands in its columns.
    findLineEnd(line, extra, findings);
    if (shape.kind == LineKind::Key) return true;
    if (!line.plain) findCharacters(text, shape.kind, findings);
    if (shape.kind != LineKind::Record || isRecordLetter(text.front())) return true;
    if (text.front() == 0) return false;  // that has been told
    return refuse(lineFinding("LineLetterUnknown", fmt::format("unknown record letter {}", quoted(text.substr(0, 1))),
        "one of " + recordLetters() + " expected", 1));
}

}  // namespace tramo::cli
