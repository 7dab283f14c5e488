// tramo import: an exchange file from the values that an export has written.
#include "cli/io/bufferedfile.h"
#include "cli/io/console.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "cli/tables/rowsource.h"
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Build an exchange file from exported records.

Examples:
  tramo export samples/round-returned.txt --to jsonl |
      tramo import - --from jsonl --encoding utf16le -o round16.txt
  tramo export samples/round-damaged.txt --to jsonl | grep -v '"kind":"text"' |
      tramo import - --from jsonl --encoding ansi -o whole-lines-only.txt
  tramo import tables --from csv --encoding ansi -o round.txt

Usage: tramo import FILE --from WHAT --encoding WHAT [-o OUT]

Each row becomes a line as the library writes it, with the line ending CR LF. A
field that a row does not have gets its default value; "tramo help export"
describes how values are written. Rows of one file keep their order; rows of a
folder (of csv) and of a database are ordered by their line numbers. Rows of the
kind "finding" are skipped. A workbook (xlsx) cannot be imported.

An integer may have decimals that are zero ("6054.0", as data frames write a
column with gaps). Data frames must read csv as texts, or leading zeros are lost
("0082" becomes 82): with pandas, read_csv(FILE, dtype=str) and
to_csv(FILE, index=False). csv may begin with a byte order mark, and its lines
may end with CR LF, LF or CR.

Every line is read again, and each value is compared with its row. A value that
differs is reported with its place and the reason: a number with more digits
than the field keeps, a reading without its date, which the format does not
write. Its line is written nevertheless, unless --strict is given, and the exit
code is 1.

An import stops at an invalid row: an unknown kind or field, a value that is
invalid for its field or longer than it, a text that the encoding cannot hold,
two columns of one name, a key line whose keys are masked. A file OUT is then
left unchanged.

Options:
  --from WHAT         jsonl, csv, sqlite
  --encoding WHAT     of OUT: ansi (a byte for each character up to U+00FF),
                      utf16le
  -o, --output OUT    writes to the file OUT; "-", the default, is the standard
                      output. Only its owner can read a new file with a key line
  --force             replaces OUT even if it is read-only or has hard links
  --strict            stops at the first value that does not come back as it was
                      given, with exit code 2
  -h, --help          show this page

"-" as FILE is the standard input (not for sqlite).

Exit codes:
  0  every row became a line
  1  every row became a line, but some values do not come back as they were
     given
  2  the command line is invalid, or FILE cannot be read or is invalid
  3  OUT could not be written
)";

enum class Form { Jsonl, Csv, Sqlite };
enum class Encoding { Ansi, Utf16le };

struct Options {
    std::string file, output = "-";
    bool force = false;
    Form form{};
    Encoding encoding{};
    bool strict = false;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string form, encoding;
    Arguments given;
    given.option("--from", form);
    given.option("--encoding", encoding);
    given.option("-o,--output", options.output);
    given.flag("--strict", options.strict);
    given.flag("--force", options.force);
    options.file = given.parseFile(std::move(arguments));
    if (form.empty()) throw WrongUsage{"--from is missing; expected jsonl, csv or sqlite"};
    if (encoding.empty()) throw WrongUsage{"--encoding is missing; expected ansi or utf16le"};

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

// Characters of a first line that are taken for a byte order mark, in whatever encoding the file is.
bool beginsLikeMark(std::wstring_view line, Encoding encoding) {
    using namespace std::literals;
    if (encoding == Encoding::Utf16le) return line.starts_with(L'\0');  // that of UTF-32
    return line.starts_with(L"\xFF\xFE"sv) || line.starts_with(L"\xFE\xFF"sv) || line.starts_with(L"\xEF\xBB\xBF"sv) ||
           line.starts_with(L"\0\0\xFE\xFF"sv);
}

class Importer {
public:
    explicit Importer(const Options& chosenOptions) : options(chosenOptions), rows(sourceFor(options)) {}

    /// The exit code.
    int run() {
        Row row;
        while (rows->next(row)) {
            if (!file) open();
            if (row.table == &keyTable()) file->keepSecret();
            if (row.longText) {
                appendLong(row);
            } else {
                const SecretText line = lineOf(row);
                checkCharacters(line, row);
                append(line);
            }
            put(L"\r\n");
            ++lines;
        }
        if (!file) open();
        file->commit();
        if (losses > listed) complain(fmt::format("{} more values do not come back as they were given", losses - listed));
        return losses ? somethingFound : nothingFound;
    }

private:
    void open() {
        file = std::make_unique<BufferedFile>(options.output, OutFile::Mode{.force = options.force});
        if (options.encoding == Encoding::Utf16le) put(L"\xFEFF");
    }

    std::string messageOf(const RowFault& fault) const { return rows->place(fault.column) + ": " + fault.reason; }
    [[noreturn]] void refuse(const RowFault& fault) const { throw BadRow{rows->place(fault.column), fault.reason}; }

    void report(const RowFault& loss) {
        if (options.strict) refuse(loss);
        if (++losses <= listed) complain(messageOf(loss));
    }

    SecretText lineOf(const Row& row) {
        std::vector<RowFault> lost;
        try {
            SecretText line = cli::lineOf(row, lost);
            for (const RowFault& loss : lost) report(loss);
            return line;
        } catch (const Unfit& unfit) { refuse(unfit.fault); }
    }

    // A line is its text; no key line that is read is as long as this, and none has values.
    void appendLong(const Row& row) {
        for (std::size_t i = 0; i < row.cells.size(); ++i)
            if (!std::holds_alternative<std::monostate>(row.cells[i]))
                report({i, row.table->columns[i].name + ": is not a value of a line of this length"});
        bool isFirst = true;
        row.longText->forEachPiece([&](std::wstring_view piece) {
            if (piece.find(L'\n') != std::wstring_view::npos)
                refuse({row.cells.size() - 1, "text: the text holds a line ending"});
            checkCharacters(piece, row, std::exchange(isFirst, false));
            append(piece);
        });
    }

    // What would make the file another one for those who read it.
    void checkCharacters(std::wstring_view line, const Row& row, bool isBeginning = true) {
        if (options.encoding == Encoding::Ansi) {
            unsigned bits = 0;  // no early exit: this way the compiler looks at several characters at once
            for (const wchar_t c : line) bits |= static_cast<unsigned>(c);
            if (bits > 0xFF) refuseCharacter(*std::ranges::find_if(line, [](wchar_t c) { return c > 0xFF; }), row);
        } else if (isBeginning && line.starts_with(L'\xFFFF')) {
            refuse(
                {0, "U+FFFF at the beginning of a line ends a UTF-16 file: this line and all lines after it could not be read"});
        }
        if (lines == 0 && isBeginning && beginsLikeMark(line, options.encoding))
            report({0, "the file begins with characters that are taken for a byte order mark of another encoding"});
    }

    [[noreturn]] void refuseCharacter(wchar_t c, const Row& row) const {
        // The text of a line that is nothing else is not in its row any more.
        std::size_t column = row.cells.size() - 1;
        for (std::size_t i = 0; i < row.cells.size(); ++i)
            if (const auto* text = std::get_if<std::wstring>(&row.cells[i]); text && text->find(c) != std::wstring::npos)
                column = i;
        refuse({column,
            fmt::format("{}: U+{:04X} cannot be written in ANSI", row.table->columns[column].name, static_cast<unsigned>(c))});
    }

    // Piece by piece, for a line can be as long as a file.
    void append(std::wstring_view line) {
        for (; !line.empty(); file->settle()) {
            const std::wstring_view piece = line.substr(0, 1 << 12);
            put(piece);
            line.remove_prefix(piece.size());
        }
    }

    void put(std::wstring_view text) {
        const std::size_t width = options.encoding == Encoding::Utf16le ? 2 : 1, before = file->text.size();
        file->text.resize(before + text.size() * width);
        char* to = file->text.data() + before;
        for (std::size_t i = 0; i < text.size(); ++i) to[i * width] = static_cast<char>(text[i] & 0xFF);
        if (width == 2)
            for (std::size_t i = 0; i < text.size(); ++i) to[i * 2 + 1] = static_cast<char>(text[i] >> 8 & 0xFF);
    }

    static constexpr std::uint64_t listed = 20;

    const Options& options;
    std::unique_ptr<RowSource> rows;
    std::unique_ptr<BufferedFile> file;
    std::uint64_t lines = 0, losses = 0;
};

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    try {
        return Importer(options).run();
    } catch (const BadRow& bad) { throw Unreadable{bad.place + ": " + bad.reason}; } catch (Unreadable& failure) {
        failure.file = options.file;
        throw;
    }
}

}  // namespace

const Command importCommand{"import", "build an exchange file from exported records", help, run};

}  // namespace tramo::cli
