// tramo import: an exchange file from the values that an export has written.
#include "cli/io/bufferedfile.h"
#include "cli/io/console.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "cli/shell/helppage.h"
#include "cli/tables/forms.h"
#include "common/encoding.h"
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

constexpr const char* beginningOfHelp = R"(Build an exchange file from exported records.

Examples:
  tramo export samples/round-returned.txt --to jsonl |
      tramo import - --from jsonl --encoding utf16le -o round16.txt
  tramo export samples/round-damaged.txt --to jsonl | grep -v '"kind":"text"' |
      tramo import - --from jsonl --encoding ansi -o whole-lines-only.txt
  tramo import tables --from csv --encoding ansi -o round.txt

Usage: tramo import FILE [--from WHAT] --encoding WHAT [-o OUT]

Each row becomes a line as the library writes it, with the line ending CR LF. A
field that a row does not have gets its default value; "tramo help export"
describes how values are written. Rows of one file keep their order; rows of a
folder (of csv) and of a database are ordered by their line numbers. Rows of the
kind "finding" are skipped.

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
)";

constexpr const char* restOfHelp = R"(  --encoding WHAT     of OUT: ansi (a byte for each character up to U+00FF),
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

std::string formRow() {
    std::string forms;
    for (const auto& [name, form] : importForms())
        forms += fmt::format("{}{} ({})", forms.empty() ? "" : ", ", name, fmt::join(form->suffixes, ", "));
    return optionRow("--from WHAT", "form of FILE; by default, that of its suffix: " + forms);
}

struct Options {
    std::string file, output = "-";
    bool force = false;
    const TableForm* form = nullptr;
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
    options.form = form.empty() ? formBySuffix(options.file) : chosen("--from", form, importForms());
    if (!options.form || !options.form->makeSource)
        throw WrongUsage{"--from is missing; expected " + listOf(namesOf(importForms()), "or")};
    if (encoding.empty()) throw WrongUsage{"--encoding is missing; expected ansi or utf16le"};
    options.encoding = chosenEncoding("--encoding", encoding);
    return options;
}

std::unique_ptr<RowSource> sourceFor(const Options& options) {
    std::error_code error;
    const bool isFolder = options.file != "-" && std::filesystem::is_directory(pathOf(options.file), error);
    if (isFolder && !options.form->readsFolder) throw Unreadable{"is a directory"};
    return options.form->makeSource(options.file);
}

// Characters of a first line that are taken for a byte order mark, in whatever encoding the file is.
bool beginsLikeMark(std::wstring_view line, Encoding chosen) {
    using namespace encoding;
    if (chosen == Encoding::Utf16le) return line.starts_with(L'\0');  // that of UTF-32
    const auto begins = [&](std::string_view mark) { return beginsWithMark(line, mark); };
    return begins(utf16Mark) || begins(utf16BigMark) || begins(utf8Mark) || begins(utf32BigMark);
}

class Importer {
public:
    explicit Importer(const Options& chosenOptions) : options(chosenOptions), rows(sourceFor(options)) {}

    /// The exit code.
    int run() {
        TableRow row;
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
        if (options.encoding == Encoding::Utf16le) file->print("{}", encoding::utf16Mark);
    }

    std::string messageOf(const RowFault& fault) const { return rows->place(fault.column) + ": " + fault.reason; }
    [[noreturn]] void refuse(const RowFault& fault) const { throw BadRow{rows->place(fault.column), fault.reason}; }

    void report(const RowFault& loss) {
        if (options.strict) refuse(loss);
        if (++losses <= listed) complain(messageOf(loss));
    }

    SecretText lineOf(const TableRow& row) {
        std::vector<RowFault> lost;
        try {
            SecretText line = cli::lineOf(row, lost);
            for (const RowFault& loss : lost) report(loss);
            return line;
        } catch (const Unfit& unfit) { refuse(unfit.fault); }
    }

    // A line is its text; no key line that is read is as long as this, and none has values.
    void appendLong(const TableRow& row) {
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
    void checkCharacters(std::wstring_view line, const TableRow& row, bool isBeginning = true) {
        if (options.encoding == Encoding::Ansi) {
            const std::size_t misfit = encoding::findAbove(encoding::mostOfAnsi, line);
            if (misfit != std::wstring_view::npos) refuseCharacter(line[misfit], row);
        } else if (isBeginning && line.starts_with(L'\xFFFF')) {
            refuse(
                {0, "U+FFFF at the beginning of a line ends a UTF-16 file: this line and all lines after it could not be read"});
        }
        if (lines == 0 && isBeginning && beginsLikeMark(line, options.encoding))
            report({0, "the file begins with characters that are taken for a byte order mark of another encoding"});
    }

    [[noreturn]] void refuseCharacter(wchar_t c, const TableRow& row) const {
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

    void put(std::wstring_view text) { encoding::append(file->text, text, options.encoding == Encoding::Utf16le); }

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

// Made from the list of forms when the program starts.
const std::string help = beginningOfHelp + formRow() + restOfHelp;

}  // namespace

const Command importCommand{"import", "build an exchange file from exported records", help.c_str(), run};

}  // namespace tramo::cli
