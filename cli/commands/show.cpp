// tramo show: lines of a file as tables for people.
#include "cli/io/console.h"
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
#include "common/secretkeyline.h"
#include <algorithm>
#include <bit>
#include <fmt/format.h>
#include <tramostream/check.h>
#include <tramostream/keyline.h>
#include <tramostream/linemodel.h>
#include <tramostream/wording.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Show lines as tables, field by field.

Examples:
  tramo show samples/round-broken.txt 10         line 10, without blank fields
  tramo show --all samples/round-broken.txt 3-5  lines 3 to 5, with every field
  tramo show --raw samples/round-broken.txt 10   the line itself, below a ruler
  tramo show samples/round-broken.txt:10:195     a place as tramo check prints
                                                 it: line 10, column 195
  tramo show round.txt                           the whole file
  tramo show - 172 < round.txt                   line 172 of the standard input

Usage: tramo show [OPTION]... FILE [LINE|FROM-TO|FROM-]
       tramo show [OPTION]... FILE:LINE[:COLUMN]

Each field is shown with its columns, its value, its text in the line and its
findings. Dates are in local time. Alarm flags are listed by name below the
field that holds them. Texts are quoted, without trailing spaces. A field is
"unreadable" when its text cannot be read; its value is then that of a blank
field. "read into" marks a field whose text is read into another one. A
malformed line (too short, too long, of unknown type) is shown as text, because
its fields are not in their columns. The keys in a key line are masked. With
COLUMN, only the field at that column is shown, even if it is blank; below a
ruler, the column is marked.

Options:
  --all             also blank fields, flags that are not set, and fields that
                    share their columns with another one
  --raw             shows the lines themselves, below a ruler of their columns
  --show-keys       shows the keys in key lines
  --encoding WHAT   auto (by the byte order mark), ansi, utf16le
  --kind WHAT       auto (each line by its length and first character), record,
                    parameter, tag, key
  --color WHEN      auto (on a terminal, unless NO_COLOR is set), always, never
  -h, --help        show this page

Invisible characters (control characters, no-break spaces, directional marks)
are printed as \x1b or \u202e; below a ruler, as one character for each column.

Exit codes:
  0  no errors or warnings in the lines shown
  1  errors or warnings were found
  2  the command line is invalid, the file cannot be read, or it has no such
     line
  3  the output could not be written
)";

struct Options {
    std::string file;
    std::optional<LineRange> lines;
    int column = 0;  ///< 0: all of them
    EncodingChoice encoding = EncodingChoice::Auto;
    std::optional<LineKind> kind;
    bool all = false, raw = false, showKeys = false, colour = false;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", kind = "auto", colour = "auto";
    Arguments given;
    given.flag("--all", options.all);
    given.flag("--raw", options.raw);
    given.flag("--show-keys", options.showKeys);
    given.option("--encoding", encoding);
    given.option("--kind", kind);
    given.option("--color,--colour", colour);
    const std::vector<std::string> operands = given.parse(std::move(arguments));
    if (operands.empty()) given.missFile();
    if (operands.size() > 2)
        throw WrongUsage{fmt::format("unexpected argument \"{}\"; expected one FILE", printable(operands[2]))};
    options.file = operands[0];
    if (operands.size() == 2) {
        options.lines = lineRange("LINE", operands[1]);
    } else if (const LinePlace place = placeOf(operands[0], false); place.line) {
        options.file = place.file;
        options.lines = {.first = place.line, .last = place.line};
        options.column = place.column;
    }

    options.encoding = encodingChoice("--encoding", encoding);
    options.kind = kindChoice(kind);
    options.colour = wantsColour(colourChoice(colour), stdout);
    return options;
}

struct Colours {
    const char *heading, *faint, *error, *warning, *off;
};
constexpr Colours none{"", "", "", "", ""}, terminal{"\x1b[1m", "\x1b[2m", "\x1b[1;31m", "\x1b[1;35m", "\x1b[0m"};

struct Row {
    std::string columns{}, name{}, value{};
    std::wstring_view text{};
    bool hasText = true;
    bool textIsValue = false;  ///< stands in the place of the value
    std::string_view field{};  ///< whose findings stand below
};

std::string placeOf(const Finding& finding) {
    return (finding.endColumn - finding.column > 1 ? "columns " : "column ") + columnsOf(finding);
}

std::string words(const Field& field, const FieldValue& value) {
    if (field.kind == FieldKind::Flag) return std::get<bool>(value) ? "yes" : "no";
    if (field.kind == FieldKind::AlarmFlags) {
        const auto set = std::popcount(static_cast<unsigned long long>(std::get<long long>(value)));
        return set ? fmt::format("{} set", set) : "none set";
    }
    if (field.kind == FieldKind::Year && isAbsent(field, value)) return "no year";
    if (field.kind == FieldKind::Code && isAbsent(field, value)) return "not set";
    std::string text = printable(textOf(field, value));
    if (field.kind == FieldKind::DateTime) std::ranges::replace(text, 'T', ' ');
    return text;
}

class Table {
public:
    Table(Output& to, const Options& chosenOptions, int columns)
        : out(to), options(chosenOptions), width(columns), colours(options.colour ? terminal : none) {}

    // Shows a line; true: nothing was found.
    bool show(const Line& line, std::optional<LineKind> kind) {
        const bool sound = checkShape(line, kind, findings);
        if (sound) checkFields(*kind, line.text, options.all, findings);
        std::ranges::stable_sort(findings, {}, &Finding::column);
        model = sound ? LineModel::of(*kind, line.text) : std::nullopt;
        const bool isSecret = !options.showKeys && (kind == LineKind::Key || (!sound && line.mayHoldKeys()));
        const bool hasColumns = model || !sound || options.raw;
        if (hasColumns && static_cast<std::size_t>(options.column) > line.size())
            throw Unreadable{fmt::format("line {} has {}; there is no column {}", line.number, counted(line.size(), "character"),
                                 options.column),
                options.file};
        if (model && !options.raw && options.column) keepFindingsAt(options.column);

        heading(line, kind, sound);
        if (options.raw || !sound) {
            if (isSecret && !line.text.empty())
                out.print(
                    "  {}its text is not shown, because it may hold keys; --show-keys shows it{}\n", colours.faint, colours.off);
            else if (line.whole) ruled(*line.whole);
            else if (!line.text.empty()) ruled(line.text, 0);
            for (const Finding& finding : findings) tell(finding, 2, true);
        } else {
            tellOfLine();
            if (model) addFields(line.text);
            else addKeyValues(line.text);
            print();
            if (model && rows.empty() && options.column)
                out.print("  column {}: {}\n", options.column,
                    options.column == 1 && model->kind().letter ? "the letter of its kind" : "no field");
        }
        const bool clean = findings.empty();
        findings.clear();
        rows.clear();
        secrets.clear();
        return clean;
    }

private:
    void heading(const Line& line, std::optional<LineKind> kind, bool sound) {
        if (anyShown) out.print("\n");
        anyShown = true;
        const std::string name = sound ? nameOfSound(*kind) : nameOfMalformed(line.text, kind);
        out.print("{}{}:{}  {}{}\n", colours.heading, printable(nameOf(options.file)), line.number, name, colours.off);
    }

    std::string nameOfSound(LineKind kind) const { return model ? model->kind().name : shapeOf(kind).name; }

    static std::string nameOfMalformed(std::wstring_view text, std::optional<LineKind> kind) {
        if (text.empty()) return "empty line";
        if (!kind) return "line of unknown type";
        const RecordKind* record = *kind == LineKind::Record ? recordKind(text.front()) : nullptr;
        return std::string("malformed ") + (record ? record->name : shapeOf(*kind).name) + " line";
    }

    bool isChosen(const Field& field) const {
        return options.column == 0 || (field.column <= options.column && options.column < field.column + field.width);
    }

    // Only those that are about a field there, or about the column itself.
    void keepFindingsAt(int column) {
        std::erase_if(findings, [&](const Finding& finding) { return column < finding.column || column >= finding.endColumn; });
    }

    // What is wrong with no field that has a row.
    void tellOfLine() {
        for (const Finding& finding : findings)
            if (finding.field.empty()) tell(finding, 2, true);
    }

    void tell(const Finding& finding, int indent, bool whole) {
        Finding told = finding;
        const std::string field = std::string(finding.field) + ": ";
        if (!whole && told.sentence.starts_with(field)) told.sentence.erase(0, field.size());
        const bool isError = finding.rule->isError(false);
        const std::string_view label = isError ? "error" : "warning";
        const int behind = indent + static_cast<int>(label.size()) + 2;
        std::string place = whole && finding.column ? placeOf(finding) + ": " : "";
        bool first = true;
        for (const std::string& part : brokenWords(place + sentenceOf(told), widthBehind(behind, width))) {
            if (first)
                out.print("{:>{}}{}{}:{} {}\n", "", indent, isError ? colours.error : colours.warning, label, colours.off, part);
            else out.print("{:>{}}{}\n", "", behind, part);
            first = false;
        }
    }

    void addFields(std::wstring_view line) {
        bool isShown = options.column == 0;  // the field that holds the flags behind it
        for (const Field& field : model->kind().fields) {
            const FieldValue value = model->get(field);
            if (field.column == 0) {
                const bool isSetFlag = field.kind == FieldKind::Flag && std::get<bool>(value);
                if ((!isSetFlag && !options.all) || !isShown) continue;
                rows.push_back({.name = "  " + field.name, .hasText = false, .field = field.name});
                Row& row = rows.back();
                row.value = field.kind == FieldKind::Text ? tramo::quoted(std::get<std::wstring>(value)) : words(field, value);
                continue;
            }
            const std::wstring_view text = trimmed(rawText(line, field));
            isShown = isChosen(field);
            if (!isShown) continue;
            if (!options.all && !options.column && (field.overlaid || text.empty()) && !isFaulty(field)) continue;
            Row row{.columns = columnsOf(field), .name = field.name, .value = {}, .text = text, .field = field.name};
            if (text.empty()) row.value = field.blank.empty() ? "-" : words(field, value) + " (default)", row.hasText = false;
            else if (!field.readInto.empty()) row.value = "read into " + field.readInto;
            else if (isUnreadable(field)) row.value = "unreadable";
            else if (field.kind == FieldKind::Text) row.textIsValue = true;
            else row.value = words(field, value);
            rows.push_back(std::move(row));
        }
    }

    void addKeyValues(std::wstring_view line) {
        const SecretKeyLine parsed(line);
        if (parsed.error()) return;
        const auto isMasked = [&](const KeyValue& value) { return value.secret && !options.showKeys; };
        // One text for all values, which the rows refer to: it must not grow.
        secrets.reserve(line.size());
        for (const KeyValue& value : keyValues) {
            const std::size_t first = secrets.size();
            if (value.text && !isMasked(value)) secrets += parsed.values().*value.text;
            Row row{.name = std::string(value.name), .value = {}, .field = value.name};
            if (value.isAbsent(parsed.values())) row.value = "-", row.hasText = false;
            else if (isMasked(value)) row.value = "******** (--show-keys)", row.hasText = false;
            else if (value.text) row.text = std::wstring_view(secrets).substr(first), row.textIsValue = true;
            else row.value = std::to_string(parsed.values().wmBusAddress[value.part]), row.hasText = false;
            rows.push_back(std::move(row));
        }
    }

    bool isFaulty(const Field& field) const {
        return std::ranges::any_of(findings, [&](const Finding& finding) { return finding.field == field.name; });
    }

    bool isUnreadable(const Field& field) const {
        return std::ranges::any_of(findings, [&](const Finding& finding) {
            return finding.field == field.name && finding.rule->code == field.parseError.code && field.parseError.code != 0;
        });
    }

    void print() {
        std::size_t longest = 0, placedWidth = 0, valueWidth = 5;
        for (const Row& row : rows) {
            longest = std::max(longest, row.name.size());
            if (row.hasText) placedWidth = std::max(placedWidth, row.name.size());
            if (row.hasText && !row.textIsValue) valueWidth = std::max(valueWidth, row.value.size());
        }
        // Where texts have no room, long names of flags stick out.
        const bool hasRoom = width == 0 || widthBehind(static_cast<int>(9 + 2 + longest + 2 + valueWidth + 2), width) > 0;
        for (const Row& row : rows) {
            const std::size_t nameWidth = hasRoom || row.columns.empty() ? longest : placedWidth;
            const std::string_view value = row.value;  // empty where the text is the value
            const std::size_t padding = row.textIsValue ? 0 : row.hasText ? valueWidth + 2 : 0;
            out.print("{}{:>9}{}  {:<{}}  {:<{}}", colours.faint, row.columns, colours.off, row.name, nameWidth, value, padding);
            const int indent = 9 + 2 + static_cast<int>(nameWidth) + 2 + static_cast<int>(padding);
            bool first = true;
            if (row.hasText)
                for (const std::string& part : brokenText(L'"' + std::wstring(row.text) + L'"', widthBehind(indent, width))) {
                    if (!first) out.print("\n{:>{}}", "", indent);
                    out.print("{}{}{}", row.textIsValue ? "" : colours.faint, part, row.textIsValue ? "" : colours.off);
                    first = false;
                }
            out.print("\n");
            for (const Finding& finding : findings)
                if (finding.field == row.field) tell(finding, 11, false);
        }
    }

    // How many whole chunks of blanks begin here, in characters.
    static std::size_t blanksAt(std::wstring_view text, std::size_t from, std::size_t chunk) {
        return (std::min(text.find_first_not_of(L' ', from), text.size()) - from) / chunk * chunk;
    }

    // How many columns stand below one ruler: as many tens as fit.
    std::size_t rulerColumns() const {
        return 10 * (width > 0 ? static_cast<std::size_t>(std::max(1, (width - rulerMargin) / 10)) : 10);
    }

    void ruled(const LongText& text) {
        SecretText waiting;
        std::size_t begin = 0;
        auto show = [&](std::size_t size) {
            ruled(std::wstring_view(waiting).substr(0, size), begin);
            waiting.erase(0, size);
            begin += size;
            out.settle();
        };
        text.forEachPiece([&](std::wstring_view piece) {
            waiting += piece;
            show(waiting.size() / rulerColumns() * rulerColumns());
        });
        show(waiting.size());
    }

    // The text under rulers that count its columns. It begins behind so many, which are whole rulers.
    void ruled(std::wstring_view text, std::size_t begin) {
        constexpr int margin = rulerMargin;
        const std::size_t tens = rulerColumns() / 10;
        for (std::size_t from = 0; from < text.size(); from += tens * 10) {
            const auto column = static_cast<std::size_t>(options.column);
            const std::size_t marked = column > begin + from ? column - begin - from : 0;
            std::size_t blanks = blanksAt(text, from, tens * 10);
            if (marked > 0 && marked <= blanks) blanks = (marked - 1) / (tens * 10) * (tens * 10);
            if (blanks > 0) {
                out.print("{}{:>6}  blank up to {}{}\n", colours.faint, begin + from + 1, begin + from + blanks, colours.off);
                from += blanks - tens * 10;
                continue;
            }
            std::string ruler, line, mark;
            const std::size_t end = std::min(text.size(), from + tens * 10);
            for (std::size_t i = from; i < end; ++i) {
                const Shown character = shown(text.substr(i, 1));
                if (i - from + 1 == marked) mark = fmt::format("{:>{}}{:^>{}}", "", ruler.size(), "", character.width);
                line += character.utf8;
                ruler += fmt::format("{:.<{}}", (i + 1) % 10 == 5 ? ':' : '.', character.width);
                if ((i + 1) % 10 != 0) continue;
                const std::string number = std::to_string(begin + i + 1);
                ruler.replace(ruler.size() - number.size(), number.size(), number);
            }
            out.print("{}{:>{}}{}{}\n", colours.faint, "", margin, ruler, colours.off);
            out.print("{}{:>6}{}  {}\n", colours.faint, begin + from + 1, colours.off, line);
            if (!mark.empty()) out.print("{:>{}}{}\n", "", margin, mark);
        }
    }

    static constexpr int rulerMargin = 8;

    Output& out;
    const Options& options;
    const int width;
    const Colours colours;
    bool anyShown = false;
    std::vector<Finding> findings;
    std::optional<LineModel> model;
    std::vector<Row> rows;
    SecretText secrets;  ///< values of a key line that rows refer to
};

// Among key lines every line may be a piece of one, whatever its length.
std::optional<LineKind> kindOf(const Line& line, const Input& input) {
    const auto prevailing = input.prevailingKind();
    return prevailing == LineKind::Key ? prevailing : kindOfLine(line, prevailing);
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    const LineRange range = options.lines.value_or(LineRange());
    const bool toTheEnd = range.last == LineRange::open;
    Input input(options.file, options.encoding, range);
    Output out;
    Table table(out, options, terminalWidth(stdout));
    bool clean = true;
    Line line;
    while (input.next(line)) {
        clean &= table.show(line, options.kind ? options.kind : kindOf(line, input));
        out.settle();
    }
    out.flush();
    sayChange(input);
    if (options.lines && input.linesRead() < (toTheEnd ? range.first : range.last)) throw input.hasNoLine(input.linesRead() + 1);
    if (toTheEnd) {
        if (line.number == 0) complain(input.name() + " is empty"), clean = false;
        if (const std::string rest = input.unreadRest(); !rest.empty()) complain(input.name() + ": " + rest), clean = false;
    }
    return clean ? nothingFound : somethingFound;
}

}  // namespace

const Command showCommand{"show", "show lines as tables, field by field", help, run};

}  // namespace tramo::cli
