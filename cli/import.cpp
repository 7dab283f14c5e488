// tramo import: an exchange file from the values that an export has written.
#include "arguments.h"
#include "bufferedfile.h"
#include "command.h"
#include "console.h"
#include "input.h"
#include "rowsource.h"
#include "text.h"
#include <filesystem>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(tramo import makes an exchange file of what "tramo export" has written.

Examples:
  tramo export samples/round-returned.txt --to jsonl |
      tramo import - --from jsonl --encoding utf16le -o round16.txt
  tramo export samples/round-damaged.txt --to jsonl | grep -v '"kind":"text"' |
      tramo import - --from jsonl --encoding ansi -o whole-lines-only.txt
  tramo import tables --from csv --encoding ansi -o round.txt

Usage: tramo import FILE --from WHAT --encoding WHAT [-o OUT]

Each row becomes a line as the library writes it, with CR LF behind it. A field
that a row does not have is what it is on a blank line; "tramo help export"
tells how values are written. The rows of one file come in the order in which
they stand there, those of a folder (of csv) and of a database by the numbers of
their lines. Rows of the kind "finding" are passed over. A workbook (xlsx) is
for people: there is no way back from it.

An import ends at a row that is not understood: a kind or field that does not
exist, a value that is none of its field or longer than the field, a text that
the encoding cannot hold, a key line whose keys are masked. A file OUT then
stays as it was.

Options:
  --from WHAT         jsonl, csv, sqlite
  --encoding WHAT     of OUT: ansi (a byte for each character up to U+00FF),
                      utf16le
  -o, --output OUT    a file; "-", which is also what goes without -o, is the
                      standard output. A new file that begins with a key line is
                      for its owner only
  -h, --help          this page

"-" as FILE is the standard input (not for sqlite).

Exit codes:
  0  every row is a line
  1  every row is a line, but there are values that the format cannot write
  2  the command line is wrong, or FILE cannot be read or is not understood
  3  OUT could not be written
)";

enum class Form { Jsonl, Csv, Sqlite };
enum class Encoding { Ansi, Utf16le };

struct Options {
    std::string file, output = "-";
    Form form{};
    Encoding encoding{};
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string form, encoding;
    Arguments given;
    given.option("--from", form);
    given.option("--encoding", encoding);
    given.option("-o,--output", options.output);
    options.file = given.parseFile(std::move(arguments));
    if (form.empty()) throw WrongUsage{"--from is missing: jsonl, csv, sqlite"};
    if (encoding.empty()) throw WrongUsage{"--encoding is missing: ansi, utf16le"};

    options.form = chosen<Form>("--from", form, {{"jsonl", Form::Jsonl}, {"csv", Form::Csv}, {"sqlite", Form::Sqlite}});
    options.encoding = chosen<Encoding>("--encoding", encoding, {{"ansi", Encoding::Ansi}, {"utf16le", Encoding::Utf16le}});
    return options;
}

std::unique_ptr<RowSource> sourceFor(const Options& options) {
    std::error_code error;
    const bool isFolder = options.file != "-" && std::filesystem::is_directory(pathOf(options.file), error);
    if (isFolder && options.form != Form::Csv) throw Unreadable{"is a directory"};
    if (options.form == Form::Sqlite) return makeSqliteSource(options.file);
    return options.form == Form::Jsonl ? makeJsonlSource(options.file) : makeCsvSource(options.file);
}

class Importer {
public:
    explicit Importer(const Options& chosenOptions) : options(chosenOptions), rows(sourceFor(options)) {}

    /// The exit code.
    int run() {
        Row row;
        while (rows->next(row)) {
            if (!file) open(row.table == &keyTable() ? OutFile::Mode::Secret : OutFile::Mode::Usual);
            std::wstring line = lineOf(row);
            append(line);
            if (row.table == &keyTable()) wipe(line), wipe(row);
            file->settle();
        }
        if (!file) open(OutFile::Mode::Usual);
        file->commit();
        if (faults > listed) complain(fmt::format("{} more of them", faults - listed));
        return faults ? somethingFound : nothingFound;
    }

private:
    void open(OutFile::Mode mode) {
        file = std::make_unique<BufferedFile>(options.output, mode);
        if (options.encoding == Encoding::Utf16le) put(0xFEFF);
    }

    [[noreturn]] void refuse(const std::string& reason) const { throw Unreadable{rows->place() + ": " + reason}; }

    std::wstring lineOf(const Row& row) {
        std::vector<std::string> unwritten;
        try {
            std::wstring line = cli::lineOf(row, unwritten);
            for (const std::string& fault : unwritten)
                if (++faults <= listed) complain(fmt::format("{}: {}: the format cannot write this value", rows->place(), fault));
            return line;
        } catch (const Unfit& unfit) { refuse(unfit.reason); }
    }

    void append(std::wstring_view line) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            if (options.encoding == Encoding::Ansi && line[i] > 0xFF)
                refuse(fmt::format(
                    "U+{:04X} in column {} of the line cannot be written in ANSI", static_cast<unsigned>(line[i]), i + 1));
            put(line[i]);
        }
        put(L'\r');
        put(L'\n');
    }

    void put(wchar_t c) {
        file->text.push_back(static_cast<char>(c & 0xFF));
        if (options.encoding == Encoding::Utf16le) file->text.push_back(static_cast<char>(c >> 8 & 0xFF));
    }

    static constexpr std::uint64_t listed = 20;

    const Options& options;
    std::unique_ptr<RowSource> rows;
    std::unique_ptr<BufferedFile> file;
    std::uint64_t faults = 0;
};

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    try {
        return Importer(options).run();
    } catch (Unreadable& failure) {
        failure.file = options.file;
        throw;
    }
}

}  // namespace

const Command importCommand{"import", "makes a file of exported values", help, run};

}  // namespace tramo::cli
