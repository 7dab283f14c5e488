// tramo export: the lines of an exchange file as values, for other programs.
#include "cli/io/console.h"
#include "cli/io/inorder.h"
#include "cli/io/text.h"
#include "cli/lines/filewalk.h"
#include "cli/lines/input.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "cli/tables/sink.h"
#include <algorithm>
#include <fmt/format.h>
#include <tramostream/check.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Export records to JSON Lines, CSV, SQLite or Excel.

Examples:
  tramo export samples/round-returned.txt --to csv --only meter-change
  tramo export samples/round-returned.txt --to sqlite -o round.db
  tramo export round.txt --to jsonl | jq 'select(.kind == "meter subscriber")'
  tramo export round.txt --to csv -o tables      a folder, one file a kind
  tramo export round.txt --to xlsx -o round.xlsx
  tramo export round.txt --to jsonl -o round.jsonl --findings findings.jsonl

Usage: tramo export [OPTION]... FILE --to jsonl|csv|sqlite|xlsx

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
  --to WHAT           jsonl (a JSON object a line), csv (UTF-8, with a line of
                      names), sqlite (a table for each kind, "finding" and
                      "files", and two views, "meters" and "answers"), xlsx (a
                      workbook, a sheet for each kind, "finding" and "files")
  -o, --output OUT    jsonl: a file. csv: a file when OUT ends with .csv or is a
                      stream, else a folder with a file KIND.csv for each kind,
                      which must not hold any yet. sqlite, xlsx: a file. "-" is
                      the standard output, but not for sqlite; jsonl and one
                      kind of csv go there without -o
  --bom               csv: begins files with a byte order mark (BOM), by which
                      spreadsheets recognize UTF-8; an import reads both
  --only KIND         only the lines of one kind: meter-subscriber, AMR, key,
                      text...
  --lines FROM-TO     only these lines: 3, 3-5, 3-
  --seek              jumps to these lines without counting line endings; every
                      line before them must have the length of the format
  --findings FILE     writes what "tramo check" finds, in the same form; only
                      its owner can read a new FILE. sqlite and xlsx have a
                      table
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

enum class Form { Jsonl, Csv, Sqlite, Xlsx };

/// Whether what was found stands among the rows, and not in a file of its own.
bool hasFindings(Form form) { return form == Form::Sqlite || form == Form::Xlsx; }

struct Options {
    std::string file, output = "-", findings;
    Form form{};
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
    throw WrongUsage{"--only: " + noneOf(name, names)};
}

std::vector<std::string> kinds() {
    std::vector<std::string> words;
    for (const Table& table : tables()) words.push_back(hyphenated(table.name));
    return words;
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
    if (form.empty()) throw WrongUsage{"--to is missing; expected jsonl, csv, sqlite or xlsx"};

    options.form =
        chosen<Form>("--to", form, {{"jsonl", Form::Jsonl}, {"csv", Form::Csv}, {"sqlite", Form::Sqlite}, {"xlsx", Form::Xlsx}});
    options.encoding = encodingChoice("--encoding", encoding);
    options.only = chosenTable(only);
    if (!lines.empty()) options.lines = lineRange("--lines", lines);
    else if (seek) throw WrongUsage{"--seek: needs --lines"};
    options.lines.seek = seek;
    options.threads = threadCount(threads);
    options.keys = showsKeys ? Keys::Shown : Keys::Masked;
    if (options.form == Form::Sqlite && options.output == "-") throw WrongUsage{"a database needs a file: -o FILE"};
    if (options.form == Form::Xlsx && !given.has("--output")) throw WrongUsage{"a workbook needs a file: -o FILE"};
    if (options.bom && options.form != Form::Csv) throw WrongUsage{"--bom: only with --to csv"};
    if (hasFindings(options.form) && !options.findings.empty())
        throw WrongUsage{fmt::format("--findings: not with --to {}", options.form == Form::Sqlite
                                                                         ? "sqlite: the database has a table of findings"
                                                                         : "xlsx: the workbook has a sheet of findings")};
    if (options.output == "-" && options.findings == "-")
        throw WrongUsage{"--findings and -o are both the standard output; name a file for one of them"};
    return options;
}

std::unique_ptr<Sink> sinkFor(const Options& options, const std::string& path, OutFile::Mode mode, bool mayBeFolder) {
    if (options.form == Form::Jsonl) return makeJsonlSink(path, mode);
    if (options.form == Form::Sqlite) return makeSqliteSink(path, mode);
    if (options.form == Form::Xlsx) return makeXlsxSink(path, mode);
    const bool isFolder = mayBeFolder && !path.ends_with(".csv") && !OutFile::isStream(path);
    return makeCsvSink(path, mode, {.isFolder = isFolder, .bom = options.bom, .oneKind = options.only || !mayBeFolder});
}

// Rows on their way from the threads that make them to the sink, described if the form allows it.
class RowBatch {
public:
    void clear() {
        rows.clear();
        text.clear();
    }

    void add(Row row, const Sink& sink) {
        if (!sink.describe(row, text)) rows.push_back(std::move(row));
    }

    void putInto(Sink& sink) {
        if (text.size() > 0) sink.put(std::string_view(text.data(), text.size()));
        for (const Row& row : rows) sink.put(row);
    }

private:
    std::vector<Row> rows;
    fmt::memory_buffer text;
};

// Some lines of the file, and what becomes of them.
struct Task {
    KeptPiece piece;
    std::uint64_t position = 0;  ///< in the file, behind the piece
    RowBatch rows, beside;
    std::uint64_t damaged = 0, unread = 0, ignored = 0;
};

class Exporter {
public:
    explicit Exporter(const Options& chosenOptions)
        : options(chosenOptions), input(options.file, options.encoding, options.lines),
          rows(sinkFor(options, options.output,
              {.secret = options.keys == Keys::Shown, .keys = options.keys == Keys::Shown, .force = options.force}, true)) {
        // What is wrong with a customer's data is for nobody else.
        if (!options.findings.empty())
            beside = sinkFor(options, options.findings, {.secret = true, .force = options.force}, false);
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
        return tell();
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
        Line line;
        while (reader.next(line)) add(line, task);
    }

    void add(const Line& line, Task& task) const {
        std::vector<Finding> findings;
        const std::optional<LineKind> kind = kindOfLine(line, input.prevailingKind());
        const bool judged = checkShape(line, kind, findings);
        std::optional<LineModel> model = judged ? LineModel::of(*kind, line.text) : std::nullopt;
        Row row = rowOf(line, kind, model ? &*model : nullptr, options.keys);
        if (options.only && row.table != options.only) return;
        task.damaged += row.table == &textTable();
        task.unread += row.unread;
        task.ignored += row.lacksMembers || (model && holdsMore(*model, line.text));
        task.rows.add(std::move(row), *rows);
        if (!beside && !hasFindings(options.form)) return;
        if (model) checkFields(*model, line.text, false, findings);
        else if (judged) checkFields(*kind, line.text, false, findings);
        for (const Finding& finding : findings) {
            if (beside) task.beside.add(rowOf(finding, line.number), *beside);
            else task.rows.add(rowOf(finding, line.number), *rows);
        }
    }

    // Text that no value comes from and that no other field has as text.
    static bool holdsMore(const LineModel& model, std::wstring_view line) {
        const auto isMissing = [&](const IgnoredText& text) { return !isKept(text, model.kind()); };
        return std::ranges::any_of(ignoredTexts(model, line), isMissing);
    }

    void finish(Task& task) {
        damaged += task.damaged;
        unread += task.unread;
        ignored += task.ignored;
        task.rows.putInto(*rows);
        if (beside) task.beside.putInto(*beside);
        progress.show(input.name(), task.position, input.bytes());
    }

    int tell() const {
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

}  // namespace

const Command exportCommand{"export", "export records to JSON Lines, CSV, SQLite or Excel", help, run, kinds};

}  // namespace tramo::cli
