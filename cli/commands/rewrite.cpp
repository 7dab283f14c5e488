// tramo rewrite: normalizes a file, or shows what would change.
#include "cli/commands/rewrite_report.h"
#include "cli/lines/filewalk.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Normalize a file, or show what would change.

Examples:
  tramo rewrite --dry-run samples/round-returned.txt   what would change
  tramo rewrite samples/round-returned.txt -o new.txt  changes the form; copies
                                                       lines with a loss
  tramo rewrite --force round.txt -o new.txt           every line that can be
                                                       read, with its losses

Usage: tramo rewrite --dry-run [OPTION]... FILE
       tramo rewrite [OPTION]... FILE -o OUT

The library reads each line and writes it again. The result is not always the
same line: numbers and decimals have one form, some codes become others or are
lost, some values are not written. A dry run compares the new line with the old
one, column by column, and counts the lines that differ by field and by the kind
of change:

  is written in another form    the same value in other characters
  "N" becomes "1"               another code, or another value
  is not written                the field becomes blank
  is written                    a blank field is filled
  a zero is written after it    alarm flags bring one along
  cannot be read                the text is not a value of the field
  is read in part               the rest of the text vanishes
  columns outside of fields     the text there is not read

A change is a loss if reading the new line gives another value, or if text
disappears that no value holds. A line with a loss is reported and copied
unchanged, unless --force is given. Lines that only change their form are
rewritten, and end with CR LF. Malformed lines (see "tramo check") are reported
and copied unchanged, even with --force; key lines are always copied unchanged.

Options:
  --dry-run           only shows what would change; writes nothing
  -o, --output OUT    writes to the file OUT; "-" is the standard output. OUT
                      appears as a whole or not at all, and may be FILE itself
  --force             rewrites lines with a loss, too, and replaces OUT even if
                      it is read-only or has hard links
  --encoding WHAT     of OUT: same (as FILE), ansi, utf16le
  --from WHAT         of FILE: auto (by the byte order mark), ansi, utf16le
  --format WHAT       of a dry run: text, json
  -h, --help          show this page

"-" is the standard input. Input from pipes and devices, and output for the
standard output, is kept in TMPDIR, or /tmp, while the command runs.

Exit codes:
  0  the file was rewritten; of a dry run: nothing would change
  1  lines were copied because of a loss, or because they are malformed; or
     something cannot be copied, and nothing was written; of a dry run: changes
     were found
  2  the command line is invalid, or a file cannot be read
  3  the output could not be written
)";

struct Options {
    std::string file, out;
    bool dryRun = false, force = false, json = false;
    EncodingChoice from = std::nullopt;
    EncodingChoice to;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string to = "same", from = "auto", format = "text";
    Arguments given;
    given.flag("--dry-run", options.dryRun);
    given.flag("--force", options.force);
    given.option("--encoding", to);
    given.option("--from", from);
    given.option("--format", format);
    given.option("-o,--output", options.out);
    options.file = given.parseFile(std::move(arguments));
    if (options.dryRun == !options.out.empty()) throw WrongUsage{"expected either --dry-run or -o OUT"};
    options.json = chosen<bool>("--format", format, {{"text", false}, {"json", true}});
    options.to = chosen<EncodingChoice>(
        "--encoding", to, {{"same", std::nullopt}, {"ansi", Encoding::Ansi}, {"utf16le", Encoding::Utf16le}});
    options.from = encodingChoice("--from", from);
    return options;
}

int reportChanges(const Options& options, const Rewriter& done, const Input& input, bool keepsAll) {
    Output out;
    if (options.json) printJson(out, done, options.file, input.isUtf16());
    else printText(out, done);
    out.flush();
    return done.changed || done.losses.count || !keepsAll ? somethingFound : nothingFound;
}

int write(const Rewriter& done, EncodedText& text, bool keepsAll) {
    if (!keepsAll) {
        complain(fmt::format("{}: nothing was written", done.name));
        return somethingFound;
    }
    text.commit();
    for (const std::string& message : done.losses.first) complain(message);
    if (done.losses.noted > done.losses.first.size())
        complain(fmt::format("... and {} more", done.losses.noted - done.losses.first.size()));
    std::string summary = fmt::format("{}: {} of {} changed", done.name, done.changed, counted(done.lines, "line"));
    if (done.lossy) summary += fmt::format(", {} with a loss", done.lossy);
    if (done.damaged) summary += fmt::format(", {} copied", counted(done.damaged, "malformed line"));
    if (done.copied)
        summary +=
            fmt::format(", {} copied because of a loss; --force rewrites {}", done.copied, done.copied == 1 ? "it" : "them");
    complain(summary);
    return done.copied || done.damaged ? somethingFound : nothingFound;
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    Input input(options.file, options.from);
    EncodedText text(options.out, options.to ? *options.to == Encoding::Utf16le : input.isUtf16(), input.name(), options.force);
    text.expect(input.characters());
    Rewriter rewriter(input.name(), text, options.force);
    const bool isWhole = forEachLine(
        input, [&](const PlainRecord& record) { rewriter.take(record); },
        [&](const Line& line, std::optional<LineKind> kind) { rewriter.take(line, kind); });
    text.complain();
    const bool keepsAll = isWhole && text.fits();
    return options.dryRun ? reportChanges(options, rewriter, input, keepsAll) : write(rewriter, text, keepsAll);
}

}  // namespace

const Command rewriteCommand{"rewrite", "normalize a file, or show what would change", help, run};

}  // namespace tramo::cli
