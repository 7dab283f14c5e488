// tramo convert: the same text in another encoding.
#include "cli/lines/encodedtext.h"
#include "cli/lines/filewalk.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Convert a file to another encoding, character for character.

Examples:
  tramo convert samples/round-returned.txt --encoding utf16le -o round16.txt
  tramo convert samples/round-returned-utf16.txt --encoding ansi -o round.txt
  tramo convert round16.txt --encoding ansi -o - | ssh office 'cat > round.txt'

Usage: tramo convert --encoding WHAT [OPTION]... FILE -o OUT

Every character and every line ending is kept, also those of malformed lines.
ANSI holds the characters up to U+00FF, one byte each. UTF-16 is little-endian
and begins with the byte order mark FF FE.

A file with characters that cannot be kept is refused, and nothing is written,
not even to the standard output. Such characters are: those above U+00FF in an
ANSI file (each is listed with its line, column and field), half a character at
the end of a UTF-16 file, and all text after a line that begins with U+FFFF,
which ends the text.

Options:
  --encoding WHAT     of OUT: ansi, utf16le
  --from WHAT         of FILE: auto (by the byte order mark), ansi, utf16le
  -o, --output OUT    writes to the file OUT; "-" is the standard output. OUT
                      appears as a whole or not at all, and may be FILE itself
  --force             replaces OUT even if it is read-only or has hard links
  -h, --help          show this page

"-" is the standard input. Input from pipes and devices, and output for the
standard output, is kept in TMPDIR, or /tmp, while the command runs.

Exit codes:
  0  the file was converted
  1  some characters cannot be kept; nothing was written
  2  the command line is invalid, or a file cannot be read
  3  the output could not be written
)";

struct Options {
    std::string file, out;
    bool force = false;
    EncodingChoice from = std::nullopt;
    Encoding to = Encoding::Ansi;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string to, from = "auto";
    Arguments given;
    given.option("--encoding", to);
    given.option("--from", from);
    given.option("-o,--output", options.out);
    given.flag("--force", options.force);
    options.file = given.parseFile(std::move(arguments));
    if (to.empty()) throw WrongUsage{"--encoding is missing; expected ansi or utf16le"};
    if (options.out.empty()) throw WrongUsage{"-o OUT is missing (\"-\" is the standard output)"};
    options.to = chosenEncoding("--encoding", to);
    options.from = encodingChoice("--from", from);
    return options;
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    Input input(options.file, options.from);
    EncodedText text(options.out, options.to == Encoding::Utf16le, input.name(), options.force);
    text.expect(input.characters());
    const bool isWhole = forEachLine(
        input, [&](const PlainRecord& record) { text.add(record); },
        [&](const Line& line, std::optional<LineKind> kind) { text.add(line, kind); });
    text.complain();
    if (isWhole && text.fits()) {
        text.commit();
        return nothingFound;
    }
    complain(input.name() + ": nothing was written");
    return somethingFound;
}

}  // namespace

const Command convertCommand{"convert", "convert a file to another encoding", help, run};

}  // namespace tramo::cli
