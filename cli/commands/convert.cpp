// tramo convert: the same text in another encoding.
#include "cli/lines/encodedtext.h"
#include "cli/lines/filewalk.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"

namespace tramo::cli {

namespace {

constexpr const char* help = R"(tramo convert writes a file in another encoding, character for character.

Examples:
  tramo convert samples/round-returned.txt --encoding utf16le -o round16.txt
  tramo convert samples/round-returned-utf16.txt --encoding ansi -o round.txt
  tramo convert round16.txt --encoding ansi -o - | ssh office 'cat > round.txt'

Usage: tramo convert --encoding WHAT [OPTION]... FILE -o OUT

Every character is kept, also those of damaged lines, and so is every line end.
ANSI holds the characters up to U+00FF, one byte each; UTF-16 is little-endian
and begins with its mark FF FE.

What cannot be kept is refused, and nothing is written then, also not to the
standard output: characters above U+00FF that ANSI does not hold (each is named
with its line, column and field), half a character at the end of a UTF-16 file,
and what stands behind a line that begins with U+FFFF, which ends the text.

Options:
  --encoding WHAT     of OUT: ansi, utf16le
  --from WHAT         of FILE: auto (by the byte order mark), ansi, utf16le
  -o, --output OUT    where it goes; "-" is the standard output. OUT appears
                      whole or not at all, and may be FILE itself
  --force             replaces OUT even if it is read-only or has hard links
  -h, --help          this page

"-" is the standard input. What is no plain file, and what is meant for the
standard output, stands in TMPDIR, or /tmp, for a while.

Exit codes:
  0  the file has been converted
  1  something cannot be kept; nothing was written
  2  the command line is wrong, or a file cannot be read
  3  something could not be written
)";

struct Options {
    std::string file, out;
    bool force = false;
    EncodingChoice from = EncodingChoice::Auto, to = EncodingChoice::Ansi;
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
    if (to.empty()) throw WrongUsage{"--encoding is missing: ansi or utf16le"};
    if (options.out.empty()) throw WrongUsage{"-o OUT is missing (\"-\" is the standard output)"};
    options.to = chosen<EncodingChoice>("--encoding", to, {{"ansi", EncodingChoice::Ansi}, {"utf16le", EncodingChoice::Utf16le}});
    options.from = encodingChoice("--from", from);
    return options;
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    Input input(options.file, options.from);
    EncodedText text(options.out, options.to == EncodingChoice::Utf16le, input.name(), options.force);
    const bool isWhole = forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) { text.add(line, kind); });
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
