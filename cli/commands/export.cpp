// tramo export: the lines of an exchange file as values, for other programs.
#include "cli/commands/export_files.h"
#include "cli/io/console.h"
#include "cli/io/text.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "cli/shell/helppage.h"
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

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
  tramo export round.txt --to csv --table unread     meters that are not read
  tramo export round.txt -o meters.geojson           meters on a map
  tramo export 2024/*.txt -o all.sqlite              many files, one database

Usage: tramo export [OPTION]... FILE... [--to WHAT] [-o OUT]

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

With several files, each row begins with its file, "file", as it was named. An
import reads the rows of one file.

The tables of --table show a round as people see it. Each row has its line and
the code of its round. Dates, codes and texts are written as in records. A value
that cannot be read is an empty cell; "tramo check" reports it.

  meters     each meter with its readings and their difference, which counts a
             roll-over of the wheels; "state" is "read" or "unread"
  answers    each answer of an enquiry with its question (label, type and list
             of the page's definition)
  alarms     each alarm that is set, by its name
  unread     the meters without a reading, with the status and the method
  locations  the meters with a latitude and a longitude in degrees

The labelled areas of a round are columns of meters, unread and locations. A
column has the label as its name. Control characters, quotation marks,
backslashes, commas, and = + - @ at the beginning become "_"; an area without a
label is "subscriber area 1". If another column has the name, a number is added:
"Name 2". Rounds with the same label share the column; a meter whose round does
not have the area has an empty cell. "outsideOfAreas" has the other text.

A database and a workbook have these tables besides the records. In a database,
the view "meters" has one row for each subscriber line, with the columns of the
table (which is called "meter_summary" there), and the AMR, extended AMR, meter
change and extended data line of its meter. The view "answered_pages" has one
row for each enquiry result line, with the subscriber line of its meter. In the
views, lines belong together by serial number: where meters share one, the first
lines belong to the first meter, the second ones to the second. If a meter has
more lines of a kind, "meters" shows the first; the tables hold all.

For these tables, all lines of all files are held in memory, up to 2.5 times the
size of the files. An export of records alone holds a few lines: csv and jsonl
without --table, and every form with "--table records".

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
  --table WHAT        only this table: records, meters, answers, alarms, unread,
                      locations
  --fields NAME,...   only these columns, in this order; needs --table or
                      --only. "file", "line" and "kind" are columns, too
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
     hold more than their values; with --table, also lines that belong to no
     meter
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
                           "ends with .csv or is a stream, or with a table of rounds or --fields",
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

// "records", or a table of rounds.
void chooseTable(const std::string& name, ExportOptions& options) {
    const std::optional<RoundTable> only = options.form->holdsOnly;
    if (name.empty()) {
        options.roundTable = only;
        return;
    }
    std::vector<std::pair<std::string_view, std::optional<RoundTable>>> choices;
    if (!only) choices.emplace_back("records", std::nullopt);
    for (std::size_t i = 0; i < roundTableNames.size(); ++i)
        if (const auto table = static_cast<RoundTable>(i); !only || table == *only)
            choices.emplace_back(roundTableNames[i], table);
    options.roundTable = chosen<std::optional<RoundTable>>("--table", name, choices);
    options.onlyRecords = !options.roundTable;
}

// The words of a list with commas. Throws WrongUsage for a word that is missing or comes twice.
std::vector<std::string> chosenFields(std::string_view list) {
    std::vector<std::string> names;
    for (std::size_t at = 0; at <= list.size();) {
        const std::size_t end = std::min(list.find(',', at), list.size());
        std::string name(list.substr(at, end - at));
        if (name.empty()) throw WrongUsage{"--fields: a name is missing; expected names with commas between them"};
        if (std::ranges::find(names, name) != names.end())
            throw WrongUsage{fmt::format("--fields: \"{}\" is named twice", printable(std::string_view(name)))};
        names.push_back(std::move(name));
        at = end + 1;
    }
    return names;
}

// Throws WrongUsage for a file that is named twice, by whatever path.
void checkFiles(const std::vector<std::string>& files) {
    std::vector<std::filesystem::path> places;
    for (const std::string& file : files) {
        std::error_code error;
        std::filesystem::path place =
            file == "-" ? pathOf(file) : std::filesystem::weakly_canonical(std::filesystem::absolute(pathOf(file)), error);
        if (error) place = pathOf(file);
        if (std::ranges::find(places, place) != places.end())
            throw WrongUsage{fmt::format("the file \"{}\" is named twice", printable(nameOf(file)))};
        places.push_back(std::move(place));
    }
}

// Throws WrongUsage for options that do not go with the chosen tables.
void checkTables(const ExportOptions& options) {
    if (options.roundTable && options.only) throw WrongUsage{"--only: not with a table of rounds, which has no kinds"};
    if (options.roundTable && !options.findings.empty())
        throw WrongUsage{"--findings: not with a table of rounds; see \"tramo check\""};
    if (!options.fields.empty() && !options.roundTable && !options.only)
        throw WrongUsage{"--fields: needs --table or --only KIND, because each kind has its own fields"};
    if (options.namesFiles() && !options.lines.isWhole()) throw WrongUsage{"--lines: not with several files"};
}

// Throws WrongUsage for options that do not go with the form.
void checkOptions(const ExportOptions& options, bool namesOutput) {
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

ExportOptions parse(std::vector<std::string> arguments) {
    ExportOptions options;
    std::string form, encoding = "auto", only, table, fields, lines, threads = "0";
    bool showsKeys = false, seek = false;
    Arguments given;
    given.option("--to", form);
    given.option("-o,--output", options.output);
    given.option("--only", only);
    given.option("--table", table);
    given.option("--fields", fields);
    given.option("--lines", lines);
    given.flag("--seek", seek);
    given.option("--findings", options.findings);
    given.flag("--force", options.force);
    given.flag("--bom", options.bom);
    given.flag("--show-keys", showsKeys);
    given.option("--encoding", encoding);
    given.option("-j,--threads", threads);
    options.files = given.parseFiles(std::move(arguments));
    options.form = form.empty() ? formBySuffix(options.output) : chosen("--to", form, exportForms());
    if (!options.form) throw WrongUsage{"--to is missing; expected " + listOf(namesOf(exportForms()), "or")};
    options.encoding = encodingChoice("--encoding", encoding);
    options.only = chosenTable(only);
    chooseTable(table, options);
    if (given.has("--fields")) options.fields = chosenFields(fields);
    if (!lines.empty()) options.lines = lineRange("--lines", lines);
    else if (seek) throw WrongUsage{"--seek: needs --lines"};
    options.lines.seek = seek;
    options.threads = threadCount(threads);
    options.keys = showsKeys ? Keys::Shown : Keys::Masked;
    checkFiles(options.files);
    checkTables(options);
    checkOptions(options, given.has("--output"));
    return options;
}

int run(std::vector<std::string> arguments) {
    const ExportOptions options = parse(std::move(arguments));
    return exportFiles(options);
}

// Made from the list of forms when the program starts.
const std::string purpose = "export records to " + titles();
const std::string help = "Export records to " + titles() + "." + beginningOfHelp + optionsOfForms() + restOfHelp;

}  // namespace

const Command exportCommand{"export", purpose.c_str(), help.c_str(), run, kinds};

}  // namespace tramo::cli
