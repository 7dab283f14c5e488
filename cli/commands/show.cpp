// tramo show: shows lines as tables, field by field.
#include "cli/commands/show_meter.h"
#include "cli/commands/show_table.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/lines/filewalk.h"
#include "cli/lines/lineplace.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include <fmt/format.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Show lines as tables, field by field.

Examples:
  tramo show samples/round-broken.txt 10         line 10, without blank fields
  tramo show --all samples/round-broken.txt 3-5  lines 3 to 5, with every field
  tramo show --raw samples/round-broken.txt 10   the line itself, below a ruler
  tramo show samples/round-broken.txt:10:195     a place as tramo check prints
                                                 it: line 10, column 195
  tramo show --meter C12AB0100000 samples/round-returned.txt
                                                 a meter with all its lines
  tramo show round.txt                           the whole file
  tramo show - 172 < round.txt                   line 172 of the standard input

Usage: tramo show [OPTION]... FILE [LINE|FROM-TO|FROM-]
       tramo show [OPTION]... FILE:LINE[:COLUMN]
       tramo show --meter SERIAL [OPTION]... FILE

Each field is shown with its columns, its value, its text in the line and its
findings. Dates are in local time. Alarm flags are listed by name below the
field that holds them. Texts are quoted, without trailing spaces. A field is
"unreadable" when its text cannot be read; its value is then that of a blank
field. "read into" marks a field whose text is read into another one. A
malformed line (too short, too long, of unknown type) is shown as text, because
its fields are not in their columns. The keys in a key line are masked. With
COLUMN, only the field at that column is shown, even if it is blank; below a
ruler, the column is marked.

With --meter, a meter is shown as a whole: the labelled areas of its texts, text
outside of them, readings, radio modules, alarms, changes, answers and place.
Before each is the line and column that it comes from. The consumption is shown
as written and as computed from the readings; if the index has become smaller,
the meter has rolled over. The findings in its lines and in the areas of its
round follow, and notes about lines that belong to no meter. A corrected or a
new serial number is found, too. The whole file is read into memory.

Options:
  --meter SERIAL    shows each meter with this serial number as a whole
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
  0  no errors or warnings in the lines or meters shown
  1  errors or warnings were found
  2  the command line is invalid, the file cannot be read, or it has no such
     line or meter
  3  the output could not be written
)";

ShowOptions parse(std::vector<std::string> arguments) {
    ShowOptions options;
    std::string encoding = "auto", kind = "auto", colour = "auto";
    Arguments given;
    given.option("--meter", options.meter);
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
    if (given.has("--meter")) {
        if (operands.size() == 2) throw WrongUsage{"--meter shows all lines of a meter; it takes no line numbers"};
        if (options.all || options.raw) throw WrongUsage{"--meter cannot be combined with --all or --raw"};
        if (options.meter.empty()) throw WrongUsage{"--meter: expected a serial number"};
    } else if (operands.size() == 2) {
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

// Among key lines, a line of any length may be a piece of one.
std::optional<LineKind> kindOf(const Line& line, const Input& input) {
    const auto prevailing = input.prevailingKind();
    return prevailing == LineKind::Key ? prevailing : kindOfLine(line, prevailing);
}

int run(std::vector<std::string> arguments) {
    const ShowOptions options = parse(std::move(arguments));
    if (!options.meter.empty()) return showMeter(options);
    const LineRange range = options.lines.value_or(LineRange());
    const bool toTheEnd = range.last == LineRange::open;
    Input input(options.file, options.encoding, range);
    Output out;
    LineTable table(out, options, terminalWidth(stdout));
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
        if (line.number == 0) {
            complain(input.name() + " is empty");
            clean = false;
        }
        if (const std::string rest = input.unreadRest(); !rest.empty()) {
            complain(input.name() + ": " + rest);
            clean = false;
        }
    }
    return clean ? nothingFound : somethingFound;
}

}  // namespace

const Command showCommand{"show", "show lines as tables, field by field", help, run};

}  // namespace tramo::cli
