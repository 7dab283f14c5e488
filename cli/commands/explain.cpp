// tramo explain: what the kinds of lines, their fields and the errors are.
#include "cli/io/colours.h"
#include "cli/io/console.h"
#include "cli/io/outfile.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/io/wrap.h"
#include "cli/lines/columns.h"
#include "cli/lines/filewalk.h"
#include "cli/lines/input.h"
#include "cli/lines/lineplace.h"
#include "cli/report/report.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "cli/shell/reference.h"
#include "cli/shell/suggestion.h"
#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <tramostream/check.h>
#include <tramostream/keyline.h>
#include <tramostream/linemodel.h>
#include <tramostream/wording.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Describe record kinds, fields and error codes.

Examples:
  tramo explain meter-subscriber:195             the field at this column
  tramo explain samples/round-broken.txt:10:195  the field at this place of a
                                                 file, and its value there
  tramo explain samples/round-broken.txt:10      the line and its findings
  tramo explain 0x01B                            an error, and every field that
                                                 reports it
  tramo explain 1:meterReadingDate               a field by its name; 1 is the
                                                 letter of its kind
  tramo explain meterReadingDate                 the same field, in every kind
                                                 that has it
  tramo explain AMR                              all fields of a kind
  tramo explain                                  all kinds and all errors

Usage: tramo explain [OPTION]... [WHAT]...

WHAT is KIND, KIND:COLUMN, KIND:FIELD, FIELD, FILE:LINE[:COLUMN] or ERROR.

A KIND is a letter, a name ("meter subscriber", "meter-subscriber", "tag",
"key") or the name of its class. An ERROR is a code (0x01B) or a name
(ParseDate, or LineTooShort, which only "tramo check" reports). The format
reports some fields at the column of another field; then both are shown.

Options:
  --markdown       prints the reference page of the whole format, in Markdown
  --color WHEN     auto (on a terminal, unless NO_COLOR is set), always, never
  -h, --help       show this page

Exit codes:
  0  success
  2  the command line is invalid, or a file cannot be read
  3  the output could not be written
)";

constexpr std::string_view keyModel = "AMRKeyTramoModel";
bool isKeyKind(std::string_view word) {
    return plainWord(word) == shapeOf(LineKind::Key).name || plainWord(word) == plainWord(keyModel);
}

std::optional<int> number(std::string_view word) {
    int value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (word.empty() || error != std::errc{} || end != word.data() + word.size()) return std::nullopt;
    return value;
}

const Field* fieldNamed(const RecordKind& kind, std::string_view word) {
    const auto found =
        std::ranges::find_if(kind.fields, [&](const Field& field) { return plainWord(field.name) == plainWord(word); });
    return plainWord(word).empty() || found == kind.fields.end() ? nullptr : &*found;
}

std::vector<std::string_view> fieldNames(const RecordKind& kind) {
    std::vector<std::string_view> names;
    for (const Field& field : kind.fields) names.push_back(field.name);
    return names;
}

// What a word without a colon may be.
std::vector<std::string_view> allNames() {
    std::vector<std::string_view> names{shapeOf(LineKind::Key).name};
    for (const RecordKind* kind : allKinds()) names.push_back(kind->name), names.push_back(kind->model);
    for (const Rule& rule : rules()) names.push_back(rule.name);
    for (const ErrorCode& error : errorCodes()) names.push_back(error.name);
    for (const RecordKind* kind : allKinds())
        for (const Field& field : kind->fields) names.push_back(field.name);
    return names;
}

class Explainer {
public:
    Explainer(Output& to, bool colour) : out(to), colours(coloursIf(colour)), width(terminalWidth(stdout)) {}

    void overview() {
        heading("Record kinds");
        for (const RecordKind* kind : allKinds())
            out.print("  {}  {:<18}  {:<27}  {:>3} characters, {} fields\n", letterOf(*kind), kind->name, kind->model,
                kind->length, kind->fields.size());
        out.print(
            "  -  {:<18}  {:<27}  one JSON object, {} values\n", shapeOf(LineKind::Key).name, keyModel, std::size(keyValues));
        out.print("\n");
        heading("Errors");
        for (const ErrorCode& error : errorCodes()) {
            const std::string name = fmt::format("  {}  {:<21}  ", hex(error.code), error.name);
            wrapped(name, error.meaning);
        }
    }

    void kind(const RecordKind& kind) {
        const std::string letter = kind.letter ? ", letter " + letterOf(kind) + " in column 1" : "";
        heading(fmt::format("{}: {}, {} characters{}", kind.name, kind.model, kind.length, letter));
        std::size_t nameWidth = 0, shownWidth = 0, typeWidth = 0;
        for (const Field& field : kind.fields) {
            std::size_t& longest = field.column ? nameWidth : shownWidth;
            longest = std::max(longest, field.name.size());
            typeWidth = std::max(typeWidth, typeOf(field).size());
        }
        out.print("\n{}  {:>7}  {:<{}}  {:<{}}  written{}\n", colours.faint, "columns", "field", nameWidth, "type", typeWidth,
            colours.off);
        for (const Field& field : kind.fields) {
            if (field.column)
                wrapped(
                    fmt::format("  {:>7}  {:<{}}  {:<{}}  ", columnsOf(field), field.name, nameWidth, typeOf(field), typeWidth),
                    whenWritten(field));
            else out.print("        -  {:<{}}  {}, only shown\n", field.name, shownWidth, typeOf(field));
        }
    }

    void keyKind() {
        heading(fmt::format("{}: {}, one JSON object a line", shapeOf(LineKind::Key).name, keyModel));
        out.print("\n{}  index  member                       type{}\n", colours.faint, colours.off);
        for (std::size_t i = 0; const KeyValue& value : keyValues)
            out.print("  {:>5}  {:<27}  {}\n", i++, value.name, keyType(value));
        out.print("\n");
        entry("reading",
            "The text is one JSON object, with a \";\" before it or not. Members with other names are ignored, and so are values of "
            "other types and all but the first member of a name.");
        entry("missing", "Every value that is absent is reported as MandatoryMissing 0x201, with its index instead of a column.");
        entry("absent", "An absent text is empty, an absent number is -1.");
    }

    void field(const RecordKind& kind, const Field& field) {
        if (field.column == 0) heading(fmt::format("{}: {}, not in the line, only shown", kind.name, field.name));
        else heading(fmt::format("{}, column{} {}: {}", kind.name, field.width > 1 ? "s" : "", columnsOf(field), field.name));
        out.print("\n");
        entry("type", formOf(kind, field));
        entry("default", defaultOf(field));
        if (field.column == 0) {
            neighbours(kind, field);
            return;
        }
        const std::string blank = blankOf(field), particulars = particularsOf(field);
        entry("reading", std::string(readingOf(field.kind)) + (blank.empty() ? "" : " " + blank));
        entry("writing", std::string(writingOf(field.kind)));
        entry("written", whenWritten(field));
        entry("special", particulars);
        for (std::size_t number = 0; const std::string_view flag : flagsOf(kind, field))
            ++number, entry(number == 1 ? "flags" : "", fmt::format("{:>2} {}", number, flag));
        entry("missing", field.mandatory.empty() ? "is not an error" : "");
        for (const ErrorReport& report : reportsOf(kind, field)) entry(hex(report.error.code), words(field, report));
        if (!field.label.empty() && field.label != field.name) entry("label", fmt::format("{} in dumps", field.label));
        neighbours(kind, field);
    }

    void column(const RecordKind& kind, int column) {
        if (column < 1 || column > kind.length)
            throw WrongUsage{fmt::format("{} lines have the columns 1 to {}", kind.name, kind.length)};
        const std::vector<const Field*> fields = fieldsAt(kind, column);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            if (i) out.print("\n");
            field(kind, *fields[i]);
        }
        if (!fields.empty()) return;
        const bool isLetter = column == 1 && kind.letter != 0;
        heading(fmt::format("{}, column {}: {}", kind.name, column, isLetter ? "the letter of its kind" : "no field"));
        out.print("\n");
        if (isLetter) entry("letter", letterOf(kind) + "; \"tramo explain\" lists the letters of all kinds");
        else entry("writing", "a blank");
        neighbours(kind, column, column + 1);
    }

    void place(const LinePlace& place) {
        Input input(place.file, std::nullopt, {.first = place.line, .last = place.line});
        Line line;
        if (!input.next(line)) throw input.hasNoLine(place.line);
        input.confirm();
        sayChange(input);
        // Among key lines every line may be a piece of one, whatever its length.
        const auto prevailing = input.prevailingKind();
        const auto lineKind = prevailing == LineKind::Key ? prevailing : kindOfLine(line, prevailing);
        std::vector<Finding> findings;
        const bool sound = checkShape(line, lineKind, findings);
        if (sound) checkFields(*lineKind, line.text, place.column > 0, findings);
        heading(fmt::format("{}:{}{}", input.name(), place.line, place.column ? fmt::format(":{}", place.column) : ""));
        out.print("\n");
        if (sound && lineKind == LineKind::Key) {
            for (const Finding& finding : findings) found(finding);
            entry("key line", "its values have names, not columns");
            out.print("\n");
            return keyKind();
        }
        const auto model = sound ? LineModel::of(*lineKind, line.text) : std::nullopt;
        const RecordKind* kind = model ? &model->kind() : line.text.empty() ? nullptr : recordKind(line.text.front());
        if (!sound)
            for (const Finding& finding : findings) found(finding);
        if (!kind || (!sound && lineKind != LineKind::Record)) return;
        if (place.column == 0) {
            if (sound)
                for (const Finding& finding : findings) found(finding);
            if (findings.empty()) entry("check", "no errors or warnings");
            out.print("\n");
            return this->kind(*kind);
        }
        if (place.column > kind->length) {
            if (!sound) return;  // a place after the last field: the finding about the line says so
            throw Unreadable{fmt::format("{} lines have the columns 1 to {}", kind->name, kind->length), place.file};
        }
        if (sound) {
            for (const Finding& finding : findings)
                if (finding.field.empty() && finding.column <= place.column && place.column < finding.endColumn) found(finding);
            for (const Field* field : fieldsAt(*kind, place.column)) value(*field, line.text, findings);
        }
        out.print("\n");
        column(*kind, place.column);
    }

    void error(const ErrorCode& error) {
        heading(fmt::format("{} {}: {}", hex(error.code), error.name, error.meaning));
        out.print("\n");
        entry("found", std::string(error.phase));
        bool any = false;
        for (const RecordKind* kind : allKinds()) {
            bool anyOfKind = false;
            for (const Field& field : kind->fields)
                for (const ErrorReport& report : reportsOf(*kind, field)) {
                    if (report.error.code != error.code) continue;
                    if (!anyOfKind) out.print("\n{}{}{}\n", colours.heading, kind->name, colours.off);
                    anyOfKind = any = true;
                    wrapped(fmt::format("  {:>7}  {:<32}  ", columnsOf(field), field.name), elsewhere(field, report));
                }
        }
        if (!any) entry("reported", "at column 0, for the whole line, not for a field");
    }

    void rule(const Rule& rule) {
        heading(std::string(rule.name));
        out.print("\n");
        entry("meaning", rule.description);
        entry("found", "only by tramo check; the format has no code for it");
    }

    void gap() {
        if (anything) out.print("\n");
    }

private:
    void heading(const std::string& text) {
        anything = true;
        for (const std::string& line : brokenWords(text, width)) out.print("{}{}{}\n", colours.heading, line, colours.off);
    }

    // Words behind a label; nothing where there are none.
    void entry(std::string_view label, const std::string& words) {
        if (!words.empty()) wrapped(fmt::format("  {:<8}  ", label), words);
    }

    void wrapped(const std::string& before, std::string_view words) {
        if (words.empty()) out.print("{}\n", before.substr(0, before.find_last_not_of(' ') + 1));
        if (words.empty()) return;
        const auto indent = static_cast<int>(before.size());
        bool first = true;
        for (const std::string& line : brokenWords(words, widthBehind(indent, width))) {
            if (first) out.print("{}{}\n", before, line);
            else out.print("{:>{}}{}\n", "", indent, line);
            first = false;
        }
    }

    static std::string keyType(const KeyValue& value) {
        if (!value.text) return "integer of 32 bits";
        return value.secret ? "text, a key: masked by default" : "text";
    }

    // Where an error is reported, if not at the field's own column.
    static std::string elsewhere(const Field& field, const ErrorReport& report) {
        std::string words;
        if (report.error.column != field.column)
            words = fmt::format("reported at column {}, the column of {}", report.error.column, report.neighbours);
        if (!report.particulars.empty()) words += (words.empty() ? "" : "; ") + report.particulars;
        return words;
    }

    static std::string words(const Field& field, const ErrorReport& report) {
        const std::string other = elsewhere(field, report);
        const bool isOwn = report.error.column == field.column;
        return fmt::format("{}, when {}{}{}{}", errorName(report.error.code), report.when,
            isOwn ? fmt::format("; reported at column {}", report.error.column) : "", other.empty() ? "" : "; ", other);
    }

    void value(const Field& field, std::wstring_view line, const std::vector<Finding>& findings) {
        entry("text", quoted(trimmed(rawText(line, field))));
        for (const Finding& finding : findings)
            if (finding.field == field.name) found(finding);
    }

    void found(const Finding& finding) { entry(finding.rule->isError(false) ? "error" : "warning", sentenceOf(finding)); }

    void neighbours(const RecordKind& kind, const Field& field) {
        if (field.column) neighbours(kind, field.column, field.column + field.width);
        else if (field.index > 0) {
            std::size_t held = field.index;
            while (held > 0 && kind.fields[held].column == 0) --held;
            entry("part of", kind.fields[held].name + ", columns " + columnsOf(kind.fields[held]));
        }
    }

    // The fields before the column `first` and from `end` on.
    void neighbours(const RecordKind& kind, int first, int end) {
        const Field *previous = nullptr, *next = nullptr;
        for (const Field& field : kind.fields) {
            if (field.column == 0) continue;
            if (field.column < first && (!previous || field.column > previous->column)) previous = &field;
            if (field.column >= end && (!next || field.column < next->column)) next = &field;
        }
        if (previous) entry("previous", fmt::format("{:<7}  {}", columnsOf(*previous), previous->name));
        if (next) entry("next", fmt::format("{:<7}  {}", columnsOf(*next), next->name));
    }

    Output& out;
    const Colours colours;
    const int width;
    bool anything = false;
};

const ErrorCode* errorNamed(std::string_view word) {
    int code = -1;
    if (word.starts_with("0x") || word.starts_with("0X")) {
        const std::string_view digits = word.substr(2);
        const auto [end, failure] = std::from_chars(digits.data(), digits.data() + digits.size(), code, 16);
        if (failure != std::errc{} || end != digits.data() + digits.size())
            throw WrongUsage{fmt::format("invalid error code \"{}\"; expected a code such as 0x01B", printable(word))};
    }
    for (const ErrorCode& error : errorCodes())
        if (static_cast<int>(error.code) == code || (!plainWord(word).empty() && plainWord(error.name) == plainWord(word)))
            return &error;
    if (code >= 0) throw WrongUsage{fmt::format("unknown error code {}; \"tramo explain\" lists all codes", printable(word))};
    return nullptr;
}

// KIND:COLUMN or KIND:FIELD; false: no kind has this name.
bool explainInKind(std::string_view kindWord, std::string_view what, Explainer& explainer) {
    if (isKeyKind(kindWord)) {
        if (std::ranges::none_of(keyValues, [&](const KeyValue& value) { return plainWord(value.name) == plainWord(what); }))
            throw WrongUsage{
                fmt::format("unknown value \"{}\" of a key line; \"tramo explain key\" lists all values", printable(what))};
        explainer.keyKind();
        return true;
    }
    const RecordKind* kind = kindNamed(kindWord);
    if (!kind) return false;
    if (const auto column = number(what)) explainer.column(*kind, *column);
    else if (const Field* field = fieldNamed(*kind, what)) explainer.field(*kind, *field);
    else
        throw WrongUsage{
            fmt::format("unknown field \"{}\" of {} lines{}", printable(what), kind->name, didYouMean(what, fieldNames(*kind)))};
    return true;
}

bool explainField(std::string_view word, Explainer& explainer) {
    bool found = false;
    for (const RecordKind* kind : allKinds())
        if (const Field* field = fieldNamed(*kind, word)) {
            if (found) explainer.gap();
            explainer.field(*kind, *field);
            found = true;
        }
    return found;
}

void explainWord(std::string_view word, Explainer& explainer) {
    if (const std::size_t colon = word.find(':'); colon != std::string_view::npos) {
        if (explainInKind(word.substr(0, colon), word.substr(colon + 1), explainer)) return;
        const LinePlace place = placeOf(std::string(word), true);
        if (place.column || (place.line && isFile(place.file))) return explainer.place(place);
        if (isFile(std::string(word)))
            throw WrongUsage{fmt::format("\"{}\" is a file; expected FILE:LINE[:COLUMN]", printable(word))};
        std::vector<std::string_view> kinds{shapeOf(LineKind::Key).name};
        for (const RecordKind* kind : allKinds()) kinds.push_back(kind->name), kinds.push_back(kind->model);
        const std::string near = didYouMean(word.substr(0, colon), kinds);
        throw WrongUsage{fmt::format("unknown record kind \"{}\"{}", printable(word.substr(0, colon)),
            near.empty() && place.line ? ", and there is no such file; expected KIND:COLUMN, KIND:FIELD or FILE:LINE[:COLUMN]"
                                       : near)};
    }
    if (const RecordKind* kind = kindNamed(word)) return explainer.kind(*kind);
    if (isKeyKind(word)) return explainer.keyKind();
    if (const ErrorCode* error = errorNamed(word)) return explainer.error(*error);
    for (const Rule& rule : rules())
        if (plainWord(rule.name) == plainWord(word)) return explainer.rule(rule);
    if (!explainField(word, explainer))
        throw WrongUsage{
            fmt::format("\"{}\" is not a record kind, a field or an error{}", printable(word), didYouMean(word, allNames()))};
}

int run(std::vector<std::string> arguments) {
    Output out;
    bool markdown = false;
    std::string colour = "auto";
    Arguments given;
    given.flag("--markdown", markdown);
    given.option("--color,--colour", colour);
    const std::vector<std::string> words = given.parse(std::move(arguments));
    if (markdown && !words.empty()) throw WrongUsage{"--markdown describes the whole format; it takes no argument"};

    Explainer explainer(out, wantsColour(colourChoice(colour), stdout));
    try {
        if (markdown) printReference(out);
        else if (words.empty()) explainer.overview();
        for (const std::string& word : words) {
            explainer.gap();
            explainWord(word, explainer);
        }
    } catch (const Unreadable&) {
        out.flush();  // what the words before it are
        throw;
    }
    out.flush();
    return nothingFound;
}

std::vector<std::string> kinds() {
    std::vector<std::string> words;
    for (const RecordKind* kind : allKinds()) words.push_back(hyphenated(kind->name));
    words.emplace_back(shapeOf(LineKind::Key).name);
    return words;
}

}  // namespace

const Command explainCommand{"explain", "describe record kinds, fields and error codes", help, run, kinds};

}  // namespace tramo::cli
