// tramo check: what is in exchange files, and what is wrong with them.
#include "arguments.h"
#include "command.h"
#include "console.h"
#include "fieldcheck.h"
#include "input.h"
#include "report.h"
#include "text.h"
#include <algorithm>
#include <fmt/format.h>
#include <limits>
#include <map>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(tramo check tells what is in exchange files, and what is wrong with them.

Examples:
  tramo check round.txt                          every finding, and a summary
  tramo check --strict *.txt                     several files; a missing value is an error
  tramo check -q round.txt && send round.txt     one line, and the exit code
  tramo check --max-findings 20 round.txt        the first 20 findings; the summary counts all
  tramo check --format sarif round.txt > r.sarif
  ssh reader cat round.txt | tramo check -       what comes in on the standard input

Usage: tramo check [OPTION]... FILE...

A finding is one line, as compilers print theirs:

  FILE:LINE:COLUMN: error: FIELD: "TEXT" is no date (ParseDate 0x01B): month 13

COLUMN is where the field stands. Some fields are reported at another one's column by the
format; then both are given: "field at 195-202, reported at 194". A finding about a whole
line may have no column. Of a line that is too short, too long or of no known kind only
that is told, for its fields do not stand in their columns. Of a key line no value is shown.

Options:
  --all               also what the format reports on good lines: a complete history slot
                      of a meter subscriber (0x202), and the meter number of a record
                      information line (0x201), which is never read
  --strict            missing and contradicting values (0x201, 0x202) are errors, not warnings
  --encoding WHAT     auto (by the byte order mark), ansi, utf16le
  --kind WHAT         auto (each line by its length and first character), record, parameter,
                      tag, key
  --format WHAT       text, json (one document a run, one finding a line), sarif (2.1.0)
  --max-findings N    lists N findings of each file at most; all are counted
  -q, --quiet         lists no findings; one line for each file
  --color WHEN        auto (on a terminal, unless NO_COLOR is set), always, never
  -h, --help          this page

What cannot be seen (control characters, directional marks) is printed as \x1b or \u202e.
"-" is the standard input; what is no plain file is first copied to TMPDIR, or /tmp.

Exit codes:
  0  nothing was found
  1  something was found
  2  the command line is wrong, or a file cannot be read (the others are still checked)
  3  something could not be written
)";

struct Options {
    std::vector<std::string> files;
    EncodingChoice encoding = EncodingChoice::Auto;
    std::optional<LineKind> kind;
    std::uint64_t maxFindings = std::numeric_limits<std::uint64_t>::max();
    bool all = false;
    ReportStyle style;
};

// nullopt: the user asked for help.
std::optional<Options> parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", kind = "auto", format = "text", colour = "auto", most;
    Arguments given;
    given.app.add_flag("--all", options.all);
    given.app.add_flag("--strict", options.style.strict);
    given.app.add_flag("-q,--quiet", options.style.quiet);
    given.app.add_option("--encoding", encoding);
    given.app.add_option("--kind", kind);
    given.app.add_option("--format", format);
    given.app.add_option("--max-findings", most);
    given.app.add_option("--color,--colour", colour);
    options.files = given.parse(std::move(arguments));
    if (given.wantsHelp) return std::nullopt;
    if (options.files.empty()) throw WrongUsage{"a FILE is missing (\"-\" is the standard input)"};

    options.encoding = chosen<EncodingChoice>("--encoding", encoding,
        {{"auto", EncodingChoice::Auto}, {"ansi", EncodingChoice::Ansi}, {"utf16le", EncodingChoice::Utf16le}});
    options.kind = chosen<std::optional<LineKind>>("--kind", kind,
        {{"auto", std::nullopt}, {"record", LineKind::Record}, {"parameter", LineKind::Parameter}, {"tag", LineKind::Tag},
            {"key", LineKind::Key}});
    options.style.format =
        chosen<Format>("--format", format, {{"text", Format::Text}, {"json", Format::Json}, {"sarif", Format::Sarif}});
    options.style.colour = wantsColour(colourChoice(colour), stdout);
    if (!most.empty()) options.maxFindings = number("--max-findings", most, "number of findings");
    if (options.style.quiet) options.maxFindings = 0;
    return options;
}

class Checker {
public:
    Checker(const Options& chosenOptions, Report& to, Output& through, Progress& shown)
        : options(chosenOptions), report(to), out(through), progress(shown) {}

    void check(const std::string& file) {
        const auto start = std::chrono::steady_clock::now();
        Input input(file, options.encoding);
        const std::string name = printable(nameOf(file));
        report.beginFile(file);
        Summary summary;
        Line line;
        while (input.next(line)) {
            const std::optional<LineKind> kind = options.kind ? options.kind : kindOfLine(line.text, input.prevailingKind());
            summary.count(line, kind);
            if (judge(line, kind, findings)) checkFields(*kind, line.text, options.all, findings);
            // What a key line holds is nobody's business.
            if (kind == LineKind::Key)
                for (Finding& finding : findings) finding.excerpt = false;
            tell(line, summary);
            if (line.number % 4096 == 0) progress.show(name, input.bytesRead(), input.bytes());
        }
        checkEnd(input, line);
        tell(line, summary);
        summary.utf16 = input.isUtf16();
        summary.bytes = input.bytes();
        summary.time = std::chrono::steady_clock::now() - start;
        report.endFile(summary);
        out.flush();
        total += summary.total;
    }

    Count total;

private:
    // What can be told only when the text has ended. `line` becomes the one that it is about.
    void checkEnd(const Input& input, Line& line) {
        if (const std::uint64_t unread = input.charactersUnread()) {
            line = {.number = line.number + 1};
            findings.push_back(lineFinding("TextUnread", "a line that begins with U+FFFF ends the text",
                counted(unread, "character") + " from here on cannot be read", 1));
        }
        if (input.hasOddByte())
            findings.push_back(
                lineFinding("LastByteOdd", "the file ends with half of a UTF-16 character", "the last byte is not read"));
        if (line.number > 0) return;
        line = {};
        findings.push_back(lineFinding("FileEmpty", "the file is empty"));
    }

    // Reports the findings of one line, by their place.
    void tell(const Line& line, Summary& summary) {
        if (findings.empty()) return;
        std::ranges::stable_sort(findings, {}, &Finding::column);
        for (const Finding& finding : findings) {
            const bool isError = finding.rule->isError(options.style.strict);
            if (summary.total.all() < options.maxFindings) report.finding(finding, line, isError);
            else ++summary.notListed;
            summary.count(finding, isError);
        }
        findings.clear();
        out.settle();
    }

    const Options& options;
    Report& report;
    Output& out;
    Progress& progress;
    std::vector<Finding> findings;
};

int run(std::vector<std::string> arguments) {
    Progress progress;
    Output out(progress);
    const std::optional<Options> options = parse(std::move(arguments));
    if (!options) {
        out.print("{}", help);
        out.flush();
        return nothingFound;
    }

    const std::unique_ptr<Report> report = Report::make(out, options->style);
    Checker checker(*options, *report, out, progress);
    RunTotal total{.files = options->files.size()};
    for (const std::string& file : options->files) {
        try {
            checker.check(file);
        } catch (const Unreadable& failure) {
            ++total.unreadable;
            report->unreadable(file, failure.reason);
            out.flush();
            complain(printable(nameOf(file)) + ": " + failure.reason);
        }
    }
    total.total = checker.total;
    total.exitCode = total.unreadable ? notUsable : total.total.all() ? somethingFound : nothingFound;
    report->endRun(total);
    out.flush();
    return total.exitCode;
}

}  // namespace

const Command checkCommand{"check", "tells what is in files, and what is wrong with them", help, run};

}  // namespace tramo::cli
