// tramo check: checks exchange files and summarizes their contents.
#include "cli/io/console.h"
#include "cli/io/inorder.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/report/findinglist.h"
#include "cli/report/report.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "common/suggestion.h"
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <tramostream/check.h>
#include <tramostream/diagnosis.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Check exchange files and summarize their contents.

Examples:
  tramo check samples/round-broken.txt      every finding, and a summary
  tramo check -q samples/round-*.txt        one line for each file
  tramo check --strict samples/tags.txt     a missing value is an error
  tramo check --rule CardOrder=off round.txt
  tramo check --max-findings 9 round.txt    the first 9; the summary counts all
  tramo check --lines 1000-1999 round.txt   these lines, with their numbers
  tramo check --format sarif round.txt > round.sarif
  tramo check -q round.txt && send round.txt
  ssh reader cat round.txt | tramo check -

Usage: tramo check [OPTION]... FILE...

Every finding is one line, in the form that compilers use:

  FILE:LINE:COLUMN: error: FIELD: MESSAGE

COLUMN is the first column of the field. The format reports some fields at the
column of another field; then a note line gives that column. A finding about a
whole line may have no column. The fields of a malformed line (too short, too
long or of unknown type) are not checked, because they are not in their columns.
Values of key lines are never shown.

Findings about the whole file come first: what happened to it on its way, such
as another encoding, other line endings or removed spaces, and what to do about
it ("help:"). The findings of single lines that this explains are neither listed
nor counted. Of more than 10 findings of one rule and field, the first is
listed, with the number of the others. With --lines, only single lines are
checked.

Rules about rounds look at several lines: a line without its meter, a meter that
is in a round twice, a missing end. Others ask whether a reading is plausible.
Both do not apply with --lines. Hints are findings that are often right: they do
not change the exit code.

Options:
  --each              lists every finding of every line, also those that a
                      finding about the file explains
  --all               like --each, and adds what the format reports on valid
                      lines: a complete history slot of a meter subscriber
                      (0x202), and the meter number of a record information line
                      (0x201), which is never read
  --strict            reports warnings as errors
  --rule RULE=WHAT    changes the severity of the findings of a rule: off, hint,
                      warning, error; can be repeated. "tramo explain" lists
                      the rules, "tramo explain RULE" describes one
  --encoding WHAT     auto (by the byte order mark), ansi, utf16le
  --kind WHAT         auto (each line by its length and first character),
                      record, parameter, tag, key
  --lines FROM-TO     checks only these lines of each file: 3, 3-5, 3-. Findings
                      about the end of a file come with its last line
  --seek              jumps to these lines without counting line endings; every
                      line before them must have the length of the format
  --format WHAT       text, json (one document a run, one finding a line),
                      sarif (2.1.0)
  --max-findings N    lists at most N findings of each file; all are counted
  -q, --quiet         lists no findings; prints one line for each file
  -j, --threads N     works on N threads; default 0: as many as there are
                      processors. The report is the same with any number
  --color WHEN        auto (on a terminal, unless NO_COLOR is set), always,
                      never
  -h, --help          show this page

Invisible characters (control characters, no-break spaces, directional marks)
are printed as \x1b or \u202e; in excerpts, as one character for each column.
"-" is the standard input. Pipes and devices are copied to TMPDIR, or /tmp,
first.

Exit codes:
  0  no errors or warnings
  1  errors or warnings were found
  2  the command line is invalid, or a file cannot be read (the others are still
     checked)
  3  the output could not be written
)";

struct Options {
    std::vector<std::string> files;
    EncodingChoice encoding = std::nullopt;
    std::optional<LineKind> kind;
    LineRange lines;
    std::uint64_t maxFindings = std::numeric_limits<std::uint64_t>::max();
    unsigned threads = 1;
    bool all = false;
    bool each = false;
    ReportStyle style;

    // Of the checkers of a file or of its parts.
    CheckOptions checks(const std::optional<LineKind>& prevailing, bool isPart) const {
        return {.strict = style.strict,
            .all = all,
            .kind = kind,
            .prevailing = prevailing,
            .severities = style.severities,
            .rounds = lines.isWhole(),
            .isPart = isPart};
    }
};

// RULE=off, RULE=hint, RULE=warning, RULE=error
void setSeverity(Severities& severities, const std::string& word) {
    using Choice = std::pair<std::string_view, std::optional<Severity>>;
    const std::size_t sign = word.find('=');
    const std::string name = word.substr(0, sign);
    const Rule* const rule = ruleNamed(name);
    if (!rule) {
        std::vector<std::string_view> names;
        for (const Rule& one : rules()) names.push_back(one.name);
        const std::string near = didYouMean(name, names);
        throw WrongUsage{fmt::format("--rule: unknown rule \"{}\"{}", printable(std::string_view(name)),
            near.empty() ? "; \"tramo explain\" lists the rules" : near)};
    }
    if (sign == std::string::npos)
        throw WrongUsage{
            fmt::format("--rule: the severity is missing; expected {0}=off, {0}=hint, {0}=warning or {0}=error", name)};
    severities.set(*rule, chosen<std::optional<Severity>>("--rule", word.substr(sign + 1),
                              {Choice("off", std::nullopt), Choice("hint", Severity::Hint), Choice("warning", Severity::Warning),
                                  Choice("error", Severity::Error)}));
}

Options parse(std::vector<std::string> arguments) {
    Options options;
    bool seek = false;
    std::string encoding = "auto", kind = "auto", format = "text", colour = "auto", lines, most, threads = "0";
    std::vector<std::string> ruleWords;
    Arguments given;
    given.flag("--all", options.all);
    given.flag("--each", options.each);
    given.flag("--strict", options.style.strict);
    given.options("--rule", ruleWords);
    given.flag("-q,--quiet", options.style.quiet);
    given.option("--encoding", encoding);
    given.option("--kind", kind);
    given.option("--lines", lines);
    given.flag("--seek", seek);
    given.option("--format", format);
    given.option("--max-findings", most);
    given.option("-j,--threads", threads);
    given.option("--color,--colour", colour);
    options.files = given.parseFiles(std::move(arguments));

    options.each |= options.all;
    for (const std::string& word : ruleWords) setSeverity(options.style.severities, word);
    options.encoding = encodingChoice("--encoding", encoding);
    options.kind = kindChoice(kind);
    options.style.format =
        chosen<Format>("--format", format, {{"text", Format::Text}, {"json", Format::Json}, {"sarif", Format::Sarif}});
    options.style.colour = wantsColour(colourChoice(colour), stdout);
    if (!lines.empty()) options.lines = lineRange("--lines", lines);
    else if (seek) throw WrongUsage{"--seek: needs --lines"};
    options.lines.seek = seek;
    if (!most.empty()) options.maxFindings = number("--max-findings", most, "number of findings");
    if (options.style.quiet) options.maxFindings = 0;
    options.threads = threadCount(threads);
    return options;
}

// A file, as those who look at its lines see it.
struct CheckedFile {
    std::string path, label;
    std::chrono::steady_clock::time_point start;
    std::optional<LineKind> prevailing{};
    bool utf16 = false;
    std::uint64_t bytes = 0;
    std::shared_ptr<const FileHead> head{};  ///< null: no diagnosis

    bool hasLines() const { return !head || head->hasLines(); }
};

// Some lines of a file, and what was found in them.
struct Task {
    std::shared_ptr<CheckedFile> file;
    bool isFirst, isLast;  ///< of its file
    bool isWhole;          ///< the whole file, which is still to be opened
    KeptPiece piece;
    std::uint64_t position;  ///< in the file, after the piece

    // At the end of the file, if that has been reached.
    bool endsFile, hasOddByte;
    std::uint64_t charactersUnread;

    std::optional<Unreadable> failure;
    std::string refusal;  ///< the file cannot be read in its encoding
    std::string note;     ///< what somebody has done to the file meanwhile
    Summary summary;
    std::optional<Checker> checker;  ///< of a file that has lines
    std::optional<Diagnosis> diagnosis;
    FindingGroups groups;
    fmt::memory_buffer described;
    struct Place {
        std::int64_t line;
        std::size_t group, end;
    };
    std::vector<Place> places;  ///< of the findings in `described`

    void clear() {
        isFirst = isLast = isWhole = endsFile = hasOddByte = false;
        position = charactersUnread = 0;
        piece.keep({});
        failure.reset();
        refusal.clear();
        note.clear();
        summary = {};
        checker.reset();
        diagnosis.reset();
        groups.clear();
        described.clear();
        places.clear();
    }

    void add(const Report& report, const Finding& finding, const Line& line, std::size_t group) {
        report.describe(finding, line, file->label, described);
        places.push_back({finding.line, group, described.size()});
    }
};

// Cuts files into tasks.
class Tasks {
public:
    Tasks(const Options& chosenOptions, const Report& to) : options(chosenOptions), report(to) {}

    /// False: there are no more.
    bool take(Task& task) {
        task.clear();
        if (!input) {
            if (taken == options.files.size()) return false;
            const std::string& path = options.files[taken++];
            file = std::make_shared<CheckedFile>(CheckedFile{path, report.label(path), std::chrono::steady_clock::now()});
            task.isFirst = true;
            task.isWhole = task.isLast = isSmall(path);
        }
        task.file = file;
        if (!task.isWhole) load(task);
        return true;
    }

    static void opened(const Input& input, CheckedFile& file) {
        file.prevailing = input.prevailingKind();
        file.utf16 = input.isUtf16();
        file.bytes = input.bytes();
        file.head = input.diagnosis();
    }

    // Part of a file cannot be diagnosed.
    static std::unique_ptr<Input> open(const std::string& path, const Options& options) {
        if (options.lines.isWhole()) return Input::diagnosed(path, options.encoding);
        return std::make_unique<Input>(path, options.encoding, options.lines);
    }

    static void closed(Input& input, Task& task) {
        input.confirm();
        task.note = input.note();
        task.refusal = input.refusal();
        task.endsFile = input.atEndOfFile();
        task.hasOddByte = input.hasOddByte();
        task.charactersUnread = input.charactersUnread();
    }

private:
    // Such a file is opened and read by whoever checks it.
    static bool isSmall(const std::string& path) {
        namespace fs = std::filesystem;
        std::error_code error;
        return path != "-" && fs::is_regular_file(pathOf(path), error) &&
               fs::file_size(pathOf(path), error) <= TextFile::usualPiece;
    }

    void load(Task& task) {
        try {
            if (!input) {
                input = open(file->path, options);
                opened(*input, *file);
            }
            Piece piece;
            input->nextPiece(piece);
            task.piece.keep(piece);
            task.position = input->bytesRead();
            task.isLast = input->atEndOfRange();
            if (!task.isLast) return;
            closed(*input, task);
        } catch (const Unreadable& failure) { task.failure = failure; }
        input.reset();
    }

    const Options& options;
    const Report& report;
    std::size_t taken = 0;
    std::shared_ptr<CheckedFile> file;
    std::unique_ptr<Input> input;
};

// Checks the lines of one task.
class TaskChecker {
public:
    TaskChecker(const Options& chosenOptions, const Report& to, Task& on) : options(chosenOptions), report(to), task(on) {}

    void run() {
        if (task.isWhole) checkFile();
        else checkLines(task.piece, task.isLast);
        if (task.endsFile && !task.failure) checkEnd();
    }

private:
    void checkFile() {
        try {
            const std::unique_ptr<Input> input = Tasks::open(task.file->path, options);
            Tasks::opened(*input, *task.file);
            for (Piece piece; input->nextPiece(piece);)
                checkLines(piece, input->bytesRead() + input->hasOddByte() == input->bytes());
            Tasks::closed(*input, task);
        } catch (const Unreadable& failure) { task.failure = failure; }
    }

    void checkLines(const Piece& piece, bool isLastPiece) {
        task.summary.bytes += piece.size();
        reader.start(piece);
        if (task.file->head && !task.diagnosis) task.diagnosis.emplace(task.file->head);
        while (nextToCheck()) {
            if (task.diagnosis) task.diagnosis->line(line);
            use().line(line, findings);
            describe(isLastPiece && reader.bytesLeft() == 0);
        }
    }

    // Reads the next line that is not certainly clean.
    bool nextToCheck() {
        for (PlainRecord record; reader.nextPlain(record);) {
            line.number = record.number;
            if (use().countIfClean(*record.kind, record.text, record.number)) {
                if (task.diagnosis) task.diagnosis->clean(record.text, record.number);
                continue;
            }
            reader.readAgain(line);
            return true;
        }
        return reader.next(line);
    }

    void checkEnd() {
        if (!task.file->hasLines()) return;
        use().end({line.number, task.charactersUnread, task.hasOddByte}, findings);
        if (task.charactersUnread) {
            const long long number = line.number + 1;
            line = {};
            line.number = number;
        }
        describe(false);
    }

    // Made when the file has been opened.
    Checker& use() {
        if (!task.checker) task.checker.emplace(options.checks(task.file->prevailing, true));
        return *task.checker;
    }

    void describe(bool isLastLine) {
        for (const Finding& finding : findings) {
            const std::uint32_t explanations = task.diagnosis ? task.diagnosis->explanations(finding, isLastLine) : 0;
            const std::size_t group = task.groups.add(finding, explanations);
            if (task.places.size() >= options.maxFindings && options.each) continue;
            if (options.maxFindings == 0 || (!options.each && task.groups[group].lines.count > mostAlike)) continue;
            task.add(report, finding, line, group);
        }
        findings.clear();
    }

    const Options& options;
    const Report& report;
    Task& task;
    PieceReader reader;
    Line line;
    std::vector<Finding> findings;
};

// Writes the findings of the tasks into the report, in the order of the tasks.
class ReportWriter {
public:
    ReportWriter(const Options& chosenOptions, Report& to, Output& through)
        : options(chosenOptions), report(to), out(through), found(to, chosenOptions.each, chosenOptions.maxFindings) {
        total.files = options.files.size();
    }

    void add(const Task& task) {
        if (task.failure) return addUnreadable(task);
        if (task.isFirst) {
            report.beginFile(task.file->path);
            summary = {};
            found.start();
            checker.reset();
            diagnosis.reset();
        }
        collect(task);
        if (task.isLast) endFile(task, true);
        if (!task.refusal.empty()) {
            ++total.unreadable;
            complain(printable(nameOf(task.file->path)) + ": " + task.refusal);
        }
        if (!task.note.empty()) complain(printable(nameOf(task.file->path)) + ": " + task.note);
        if (!task.isLast) progress.show(printable(nameOf(task.file->path)), task.position, task.file->bytes);
        out.settle();
    }

    /// The exit code.
    int endRun() {
        if (total.unreadable) total.exitCode = notUsable;
        else total.exitCode = total.total.all() ? somethingFound : nothingFound;
        report.endRun(total);
        out.flush();
        return total.exitCode;
    }

private:
    void collect(const Task& task) {
        summary.bytes += task.summary.bytes;
        if (task.diagnosis) {
            if (!diagnosis) diagnosis.emplace(task.file->head);
            *diagnosis += *task.diagnosis;
        }
        std::vector<DescribedFinding> described;
        std::size_t begin = 0;
        for (const auto& [line, group, end] : task.places) {
            described.push_back({line, group, {task.described.data() + begin, end - begin}});
            begin = end;
        }
        found.add(task.groups, described);
        if (!task.checker) return;
        if (!checker) checker.emplace(options.checks(task.file->prevailing, false));
        checker->add(*task.checker, [&](Finding&& finding) { add(finding, *task.file); });
    }

    // Adds a finding about several lines.
    void add(const Finding& finding, const CheckedFile& file) {
        FindingGroups one;
        one.add(finding, 0);
        Line line;
        line.number = finding.line;
        text.clear();
        if (found.wants(one.all().front())) report.describe(finding, line, file.label, text);
        const DescribedFinding described{finding.line, 0, {text.data(), text.size()}};
        found.add(one, std::span(&described, text.size() > 0));
    }

    void endFile(const Task& task, bool isWhole) {
        const CheckedFile& file = *task.file;
        std::vector<Finding> diagnosed;
        if (isWhole && diagnosis) diagnosed = diagnosis->findings();
        else if (isWhole && !file.hasLines()) diagnosed.assign(file.head->findings().begin(), file.head->findings().end());
        std::erase_if(diagnosed, [&](Finding& finding) {
            const std::optional<Severity> severity = options.style.severities.of(*finding.rule, options.style.strict);
            if (severity) finding.severity = *severity;
            return !severity;
        });
        if (checker && isWhole) checker->end([&](Finding&& finding) { add(finding, file); });
        if (checker) summary.checked = checker->summary();
        summary.notListed = found.end(diagnosed, file.label, summary.checked);
        summary.utf16 = file.utf16;
        summary.fileBytes = file.bytes;
        if (options.lines.isWhole()) summary.bytes = file.bytes;
        summary.time = std::chrono::steady_clock::now() - file.start;
        report.endFile(summary);
        out.flush();
        total.total += summary.checked.total;
    }

    void addUnreadable(const Task& task) {
        if (!task.isFirst) endFile(task, false);
        ++total.unreadable;
        report.unreadable(task.file->path, task.failure->reason);
        out.flush();
        complain(printable(nameOf(task.file->path)) + ": " + task.failure->reason);
    }

    const Options& options;
    Report& report;
    Output& out;
    FindingList found;
    // Of the current file:
    std::optional<Checker> checker;
    std::optional<Diagnosis> diagnosis;
    fmt::memory_buffer text;  // of a finding
    Progress progress;
    Summary summary;
    RunTotal total;
};

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    Output out;
    const std::unique_ptr<Report> report = Report::make(out, options.style);
    Tasks tasks(options, *report);
    ReportWriter writer(options, *report, out);
    inOrder<Task>(
        usefulThreads(options.threads, options.files), [&](Task& task) { return tasks.take(task); },
        [&](Task& task) { TaskChecker(options, *report, task).run(); }, [&](const Task& task) { writer.add(task); });
    return writer.endRun();
}

}  // namespace

const Command checkCommand{"check", "check exchange files and summarize their contents", help, run};

}  // namespace tramo::cli
