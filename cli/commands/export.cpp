// tramo export: the lines of an exchange file as values, for other programs.
#include "cli/io/console.h"
#include "cli/io/inorder.h"
#include "cli/io/text.h"
#include "cli/lines/filewalk.h"
#include "cli/lines/input.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "cli/shell/helppage.h"
#include "cli/tables/forms.h"
#include <algorithm>
#include <fmt/format.h>
#include <tramostream/check.h>

namespace tramo::cli {

namespace {

constexpr const char* beginningOfHelp = R"(

Examples:
  tramo export samples/round-returned.txt --to csv --only meter-change
  tramo export samples/round-returned.txt --to sqlite -o round.db
  tramo export round.txt --to jsonl | jq 'select(.kind == "meter subscriber")'
  tramo export round.txt --to csv -o tables      a folder, one file a kind
  tramo export round.txt -o round.xlsx           the suffix selects the form
  tramo export round.txt --to jsonl -o round.jsonl --findings findings.jsonl

Usage: tramo export [OPTION]... FILE [--to WHAT] [-o OUT]

The export holds the values that the library reads. "tramo import" builds a file
from it that is the same as if the library had read and written the original
file, in the same order. Every line has a number, a kind and the fields of that
kind, with the names that they have in the library. A field with its default
value is left out (an empty cell in a table).

  dates            local time: "2024-01-31", "2024-01-31T14:05", "2024". A time
                   that these forms cannot express is a number of seconds since
                   1970, UTC: "1706709901 s"
  codes            their character
  alarm flags      four hexadecimal digits; flag k is bit k - 1
  special numbers  "nan", "-nan", "inf", "-inf" and "-zero"
  texts            in JSON, characters beyond ASCII are \u20ac, and an unpaired
                   surrogate is \ud83d. In tables a backslash is \\, control
                   characters and unpaired surrogates are \u0000, and so is in
                   csv a first = + - or @ of a text, which a spreadsheet would
                   take for a formula. An import reverses this
  malformed lines  (wrong length or unknown type) have the kind "text" and one
                   value, "text", the whole line; an import writes it unchanged
  key lines        the ten values, and "text", the whole line; an import writes
                   that. Without --show-keys, keys are "***" and there is no
                   "text"

The view "meters" has one row for each subscriber line, with the AMR, extended
AMR, meter change and extended data line of its meter. The view "answers" has
one row for each enquiry result line, with the subscriber line of its meter.
Lines belong together by serial number: where meters share one, the first lines
belong to the first meter, the second ones to the second. If a meter has more
lines of a kind, "meters" shows the first; the tables hold all.

After an export, the standard error lists how many lines hold more than their
values: text after a number ("6O54" is exported as 6), a flag that is neither
1 nor 0, digits that a decimal number cannot hold, text in columns outside of
fields, unknown members of a key line. "tramo check" lists all of them. The two
numbers of a record information line are not counted: the format reads both into
one value, and the second one counts; "tramo rewrite --dry-run" shows it.

Options:
)";

constexpr const char* restOfHelp = R"(  --only KIND         only the lines of one kind: meter-subscriber, AMR, key,
                      text...
  --lines FROM-TO     only these lines: 3, 3-5, 3-
  --seek              jumps to these lines without counting line endings; every
                      line before them must have the length of the format
  --show-keys         writes the keys of key lines in clear text; only its owner
                      can read a new OUT
  --force             replaces a file even if it is read-only or has hard links.
                      csv: also the tables in a folder; tables of kinds that
                      FILE does not have are left without rows, and other files
                      are kept. A .csv file that is not a table of an export is
                      refused
  --encoding WHAT     of FILE: auto (by the byte order mark), ansi, utf16le
  -j, --threads N     works on N threads; default 0: as many as there are
                      processors. The output is the same with any number
  -h, --help          show this page

Exit codes:
  0  everything was exported as values
  1  some lines are malformed, hold texts that could not be read as values, or
     hold more than their values
  2  the command line is invalid, or the file cannot be read
  3  the output could not be written
)";

// The names of the forms with a property.
template <class Property> std::vector<std::string_view> namesWith(Property hasProperty) {
    std::vector<std::string_view> names;
    for (const TableForm& form : tableForms())
        if (hasProperty(form)) names.push_back(form.name);
    return names;
}

bool hasFindings(const TableForm& form) { return !form.findings.empty(); }
bool takesMark(const TableForm& form) { return form.takesMark; }

std::string titles() {
    std::vector<std::string_view> titles;
    for (const TableForm& form : tableForms()) titles.push_back(form.title);
    return listOf(titles, "or");
}

std::string formsOfHelp() {
    std::string text;
    for (const TableForm& form : tableForms())
        text += fmt::format("{}{} ({}; {})", text.empty() ? "" : ", ", form.name, fmt::join(form.suffixes, ", "), form.contents);
    return text;
}

// The options whose text depends on the forms.
std::string optionsOfForms() {
    const auto goesToOutput = [](const TableForm& form) { return form.output == TableForm::Output::Any; };
    const auto needsFile = [](const TableForm& form) { return form.output == TableForm::Output::RegularFile; };
    return optionRow("--to WHAT", "form of OUT; by default, that of its suffix: " + formsOfHelp()) +
           optionRow("-o, --output OUT",
               fmt::format("a file, or \"-\" for the standard output, but not for {}; {} go there without -o, csv only with one "
                           "kind. For csv, a folder with a file KIND.csv for each kind, which must not hold any yet, unless OUT "
                           "ends with .csv or is a stream",
                   listOf(namesWith(needsFile), "or"), listOf(namesWith(goesToOutput), "and"))) +
           optionRow("--findings FILE",
               fmt::format(
                   "writes what \"tramo check\" finds, in the same form; only its owner can read a new FILE. Not with {}, "
                   "which include it",
                   listOf(namesWith(hasFindings), "or"))) +
           optionRow("--bom",
               fmt::format(
                   "{}: begins files with a byte order mark (BOM), by which spreadsheets recognize UTF-8; an import reads "
                   "both",
                   listOf(namesWith(takesMark), "and")));
}

struct Options {
    std::string file, output = "-", findings;
    const TableForm* form = nullptr;
    EncodingChoice encoding{};
    const Table* only = nullptr;
    LineRange lines;
    unsigned threads = 1;
    Keys keys = Keys::Masked;
    bool force = false, bom = false;
};

const Table* chosenTable(const std::string& name) {
    if (name.empty()) return nullptr;
    std::vector<std::string_view> names;
    for (const Table& table : tables()) {
        if (plainWord(table.name) == plainWord(name)) return &table;
        names.push_back(table.name);
    }
    throw WrongUsage{"--only: " + invalidValue(name, names)};
}

std::vector<std::string> kinds() {
    std::vector<std::string> words;
    for (const Table& table : tables()) words.push_back(hyphenated(table.name));
    return words;
}

// Throws WrongUsage for options that do not go with the form.
void checkOptions(const Options& options, bool namesOutput) {
    const TableForm& form = *options.form;
    const bool isUnnamed = form.output == TableForm::Output::Named && !namesOutput;
    const bool isStream = form.output == TableForm::Output::RegularFile && options.output == "-";
    if (isUnnamed || isStream) throw WrongUsage{fmt::format("a {} needs a file: -o FILE", form.document)};
    if (options.bom && !form.takesMark)
        throw WrongUsage{fmt::format("--bom: only with --to {}", listOf(namesWith(takesMark), "or"))};
    if (hasFindings(form) && !options.findings.empty())
        throw WrongUsage{
            fmt::format("--findings: not with --to {}: the {} has a {} of findings", form.name, form.document, form.findings)};
    if (options.output == "-" && options.findings == "-")
        throw WrongUsage{"--findings and -o are both the standard output; name a file for one of them"};
}

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string form, encoding = "auto", only, lines, threads = "0";
    bool showsKeys = false, seek = false;
    Arguments given;
    given.option("--to", form);
    given.option("-o,--output", options.output);
    given.option("--only", only);
    given.option("--lines", lines);
    given.flag("--seek", seek);
    given.option("--findings", options.findings);
    given.flag("--force", options.force);
    given.flag("--bom", options.bom);
    given.flag("--show-keys", showsKeys);
    given.option("--encoding", encoding);
    given.option("-j,--threads", threads);
    options.file = given.parseFile(std::move(arguments));
    options.form = form.empty() ? formBySuffix(options.output) : chosen("--to", form, exportForms());
    if (!options.form) throw WrongUsage{"--to is missing; expected " + listOf(namesOf(exportForms()), "or")};
    options.encoding = encodingChoice("--encoding", encoding);
    options.only = chosenTable(only);
    if (!lines.empty()) options.lines = lineRange("--lines", lines);
    else if (seek) throw WrongUsage{"--seek: needs --lines"};
    options.lines.seek = seek;
    options.threads = threadCount(threads);
    options.keys = showsKeys ? Keys::Shown : Keys::Masked;
    checkOptions(options, given.has("--output"));
    return options;
}

// Rows on their way from the threads that make them to the sink.
class RowBatch {
public:
    void clear() {
        described.resize(1);
        described.front().clear();
        others.clear();
    }

    void add(TableRow row, const Sink& sink) {
        if (sink.describe(row, described.back())) return;
        others.push_back(std::move(row));
        described.emplace_back();
    }
    void add(const PlainRow& row, const Sink& sink) { sink.describe(row, described.back()); }

    void putInto(Sink& sink) {
        for (std::size_t i = 0; i < described.size(); ++i) {
            sink.put(described[i]);
            if (i < others.size()) sink.put(others[i]);
        }
    }

private:
    std::vector<DescribedRows> described{1};  ///< before, between and after the others
    std::vector<TableRow> others;
};

// Some lines of the file, and what becomes of them.
struct Task {
    KeptPiece piece;
    std::uint64_t position = 0;  ///< in the file, after the piece
    RowBatch rows, beside;
    Checker checker{{.prevailing = LineKind::Record}};  ///< recognizes lines without findings; of plain records only
    std::uint64_t damaged = 0, unread = 0, ignored = 0;
};

class Exporter {
public:
    explicit Exporter(const Options& chosenOptions)
        : options(chosenOptions), input(options.file, options.encoding, options.lines),
          rows(options.form->makeSink(options.output,
              {.secret = options.keys == Keys::Shown, .keys = options.keys == Keys::Shown, .force = options.force},
              {.oneKind = options.only != nullptr, .bom = options.bom})) {
        // Findings show a customer's data: only their owner may read them.
        if (!options.findings.empty())
            beside = options.form->makeSink(options.findings, {.secret = true, .force = options.force},
                {.mayBeFolder = false, .oneKind = true, .bom = options.bom});
    }

    /// The exit code.
    int run() {
        inOrder<Task>(
            usefulThreads(options.threads, std::span(&options.file, 1)), [this](Task& task) { return take(task); },
            [this](Task& task) { work(task); }, [this](Task& task) { finish(task); });
        Progress::wipe();
        const Source source{nameOf(options.file), input.isUtf16(), input.bytes(), input.linesRead() - options.lines.first + 1};
        rows->finish(source);
        if (beside) beside->finish(source);
        return reportLosses();
    }

private:
    bool take(Task& task) {
        Piece piece;
        if (!input.nextPiece(piece)) return false;
        task.piece.keep(piece);
        task.position = input.bytesRead();
        return true;
    }

    void work(Task& task) const {
        task.rows.clear();
        task.beside.clear();
        task.damaged = task.unread = task.ignored = 0;
        PieceReader reader(task.piece);
        const bool mayBePlain = input.prevailingKind() == LineKind::Record;
        PlainRecord record;
        PlainRow row;
        Line line;
        while (true) {
            if (mayBePlain && reader.nextPlain(record)) add(record, row, reader, task);
            else if (reader.next(line)) add(line, task);
            else break;
        }
    }

    // The fast path: does the same as for the line of the record.
    void add(const PlainRecord& record, PlainRow& row, PieceReader& reader, Task& task) const {
        if (options.only && options.only != &tableOfKind(*record.kind)) return;
        Line line;
        if (!row.read(record)) {
            reader.readAgain(line);
            return add(line, task);
        }
        task.unread += row.unread();
        task.ignored += row.holdsMore();
        task.rows.add(row, *rows);
        if (!showsFindings() || task.checker.countIfClean(*record.kind, record.text)) return;
        std::vector<Finding> findings;
        reader.readAgain(line);
        checkFields(LineKind::Record, line.text, false, findings);
        addFindings(findings, record.number, task);
    }

    // The slow path, which defines the result.
    void add(const Line& line, Task& task) const {
        std::vector<Finding> findings;
        const std::optional<LineKind> kind = kindOfLine(line, input.prevailingKind());
        const bool isReadable = checkShape(line, kind, findings);
        std::optional<LineModel> model = isReadable ? LineModel::of(*kind, line.text) : std::nullopt;
        TableRow row = rowOf(line, kind, model ? &*model : nullptr, options.keys);
        if (options.only && row.table != options.only) return;
        task.damaged += row.table == &textTable();
        task.unread += row.unread;
        task.ignored += row.lacksMembers || (model && holdsMore(*model, line.text));
        task.rows.add(std::move(row), *rows);
        if (!showsFindings()) return;
        if (model) checkFields(*model, line.text, false, findings);
        else if (isReadable) checkFields(*kind, line.text, false, findings);
        addFindings(findings, line.number, task);
    }

    bool showsFindings() const { return beside || hasFindings(*options.form); }

    void addFindings(const std::vector<Finding>& findings, long long number, Task& task) const {
        for (const Finding& finding : findings) {
            if (beside) task.beside.add(rowOf(finding, number), *beside);
            else task.rows.add(rowOf(finding, number), *rows);
        }
    }

    void finish(Task& task) {
        damaged += task.damaged;
        unread += task.unread;
        ignored += task.ignored;
        task.rows.putInto(*rows);
        if (beside) task.beside.putInto(*beside);
        progress.show(input.name(), task.position, input.bytes());
    }

    int reportLosses() const {
        sayChange(input);
        auto say = [&](std::uint64_t count, const char* is, const char* are, const char* what) {
            if (count) complain(fmt::format("{}: {} {} {}", input.name(), counted(count, "line"), count == 1 ? is : are, what));
        };
        say(damaged, "is", "are", "malformed and exported as text");
        say(unread, "has", "have", "fields whose text cannot be read and is not exported; see \"tramo check\"");
        say(ignored, "holds", "hold", "text that the exported values do not; see \"tramo check\"");
        const std::string rest = input.unreadRest();
        if (!rest.empty()) complain(input.name() + ": " + rest);
        return damaged || unread || ignored || !rest.empty() ? somethingFound : nothingFound;
    }

    const Options& options;
    Input input;
    std::unique_ptr<Sink> rows, beside;
    Progress progress;
    std::uint64_t damaged = 0, unread = 0, ignored = 0;
};

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    return Exporter(options).run();
}

// Made from the list of forms when the program starts.
const std::string purpose = "export records to " + titles();
const std::string help = "Export records to " + titles() + "." + beginningOfHelp + optionsOfForms() + restOfHelp;

}  // namespace

const Command exportCommand{"export", purpose.c_str(), help.c_str(), run, kinds};

}  // namespace tramo::cli
