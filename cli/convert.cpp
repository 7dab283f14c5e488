// tramo convert: the same text in another encoding.
#include "arguments.h"
#include "command.h"
#include "console.h"
#include "encodedtext.h"
#include "input.h"
#include "text.h"

namespace tramo::cli {

namespace {

constexpr const char* help = R"(tramo convert writes a file in another encoding, character for character.

Examples:
  tramo convert round.txt --encoding utf16le -o round16.txt
  tramo convert round16.txt --encoding ansi -o - | ssh office 'cat > round.txt'

Usage: tramo convert --encoding WHAT [OPTION]... FILE -o OUT

Every character is kept, also those of damaged lines, and so is every line end. ANSI holds the
characters up to U+00FF, one byte each; UTF-16 is little-endian and begins with its mark FF FE.

What cannot be kept is refused, and nothing is written then: characters above U+00FF that ANSI
does not hold (each is named with its line, column and field), half a character at the end of a
UTF-16 file, and what stands behind a line that begins with U+FFFF, which ends the text.

Options:
  --encoding WHAT     of OUT: ansi, utf16le
  --from WHAT         of FILE: auto (by the byte order mark), ansi, utf16le
  -o, --output OUT    where it goes; "-" is the standard output. OUT appears whole or not at
                      all, and may be FILE itself
  -h, --help          this page

"-" is the standard input; what is no plain file is first copied to TMPDIR, or /tmp.

Exit codes:
  0  the file has been converted
  1  something cannot be kept; nothing was written
  2  the command line is wrong, or a file cannot be read
  3  something could not be written
)";

struct Options {
    std::string file, out;
    EncodingChoice from = EncodingChoice::Auto, to = EncodingChoice::Ansi;
};

// nullopt: the user asked for help.
std::optional<Options> parse(std::vector<std::string> arguments) {
    Options options;
    std::string to, from = "auto";
    Arguments given;
    given.app.add_option("--encoding", to);
    given.app.add_option("--from", from);
    given.app.add_option("-o,--output", options.out);
    const std::vector<std::string> files = given.parse(std::move(arguments));
    if (given.wantsHelp) return std::nullopt;
    if (files.size() != 1)
        throw WrongUsage{files.empty() ? "a FILE is missing (\"-\" is the standard input)" : "one FILE is expected"};
    if (to.empty()) throw WrongUsage{"--encoding is missing: ansi or utf16le"};
    if (options.out.empty()) throw WrongUsage{"-o OUT is missing (\"-\" is the standard output)"};
    options.file = files.front();
    options.to = chosen<EncodingChoice>("--encoding", to, {{"ansi", EncodingChoice::Ansi}, {"utf16le", EncodingChoice::Utf16le}});
    options.from = chosen<EncodingChoice>(
        "--from", from, {{"auto", EncodingChoice::Auto}, {"ansi", EncodingChoice::Ansi}, {"utf16le", EncodingChoice::Utf16le}});
    return options;
}

int convert(const Options& options) {
    const std::string name = printable(nameOf(options.file));
    Progress progress;
    Input input(options.file, options.from);
    EncodedText text(options.to == EncodingChoice::Utf16le, nameOf(options.file));
    Line line;
    while (input.next(line)) {
        text.add(line.text, lineEndOf(line), line, kindOfLine(line.text, input.prevailingKind()));
        if (line.number % 4096 == 0) progress.show(name, input.bytesRead(), input.bytes());
    }
    progress.wipe();
    const std::string rest = unreadRest(input, line.number);
    if (rest.empty() && text.fits()) {
        text.writeTo(options.out);
        return nothingFound;
    }
    text.complain();
    if (!rest.empty()) complain(name + ": " + rest);
    complain(name + ": nothing was written");
    return somethingFound;
}

int run(std::vector<std::string> arguments) {
    const std::optional<Options> options = parse(std::move(arguments));
    if (!options) {
        Progress none;
        Output out(none);
        out.print("{}", help);
        out.flush();
        return nothingFound;
    }
    try {
        return convert(*options);
    } catch (const Unreadable& failure) {
        complain(printable(nameOf(options->file)) + ": " + failure.reason);
        return notUsable;
    }
}

}  // namespace

const Command convertCommand{"convert", "writes a file in another encoding", help, run};

}  // namespace tramo::cli
