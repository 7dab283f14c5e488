// tramo reconcile: what a round brought back, and what must be looked at.
#include "cli/commands/reconcile_report.h"
#include "cli/io/text.h"
#include "cli/lines/filewalk.h"
#include "cli/lines/input.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "common/secret.h"
#include <tramostream/reader.h>
#include <tramostream/round.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Compare an exported round with what came back.

Examples:
  tramo reconcile samples/round-exported.txt samples/round-returned.txt
  tramo reconcile samples/round-exported.txt samples/round-broken.txt
  tramo reconcile --format csv exported.txt returned.txt > meters.csv

Usage: tramo reconcile [OPTION]... EXPORTED RETURNED

First, for each round, the numbers: meters that are missing or were added, read
(by status and method) or unread (by marking code), replaced by another meter,
with a corrected serial number, located, or with answers; the readings by day
and by agent.

Then what must be looked at: meters that are missing or were added, master data
that has changed, lines that are missing, were added, belong to no meter or are
malformed, and readings that are not plausible. The field work may fill in the
reading, notes, corrected serial number and wheels of a meter, the current
reading of a radio module, and lines of meter changes, extended AMR, answers and
places. It may not change anything else. A value that is written in another form
is the same. A meter that was not read does not count as a difference.

Rounds belong together by their codes, meters by their serial numbers; a
replaced meter may come back under its new one.

JSON has the differences and the state of each meter; csv has a row for each
meter.

Options:
  --all               lists all differences; otherwise, the text lists 40
  --encoding WHAT     of both files: auto (by the byte order mark), ansi,
                      utf16le
  --format WHAT       text, json, csv
  -h, --help          show this page

"-" is the standard input. Both files are in memory while the command runs, with
three to four times their size.

Exit codes:
  0  nothing must be looked at
  1  something must be looked at
  2  the command line is invalid, or a file cannot be read
  3  the output could not be written
)";

enum class Form { Text, Json, Csv };

struct Options : ReconcileChoice {
    EncodingChoice encoding = std::nullopt;
    Form form = Form::Text;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", format = "text";
    Arguments given;
    given.flag("--all", options.all);
    given.option("--encoding", encoding);
    given.option("--format", format);
    const std::vector<std::string> files = given.parseFiles(std::move(arguments));
    options.encoding = encodingChoice("--encoding", encoding);
    options.form = chosen<Form>("--format", format, {{"text", Form::Text}, {"json", Form::Json}, {"csv", Form::Csv}});
    if (files.size() != 2)
        throw WrongUsage{fmt::format("expected EXPORTED and RETURNED, found {}", counted(files.size(), "file"))};
    options.exported = files[0];
    options.returned = files[1];
    if (options.exported == "-" && options.returned == "-") throw WrongUsage{"the standard input cannot be both files"};
    return options;
}

// All lines of a file; of a line that no round can have, only the beginning.
RoundFile roundsOf(const std::string& path, EncodingChoice encoding, bool& isWhole) {
    Input input(path, encoding);
    SecretBytes bytes;
    const std::string_view feed = input.isUtf16() ? std::string_view("\n\0", 2) : std::string_view("\n");
    for (Piece piece; input.nextPiece(piece);) {
        if (piece.longLine) bytes.append(piece.width, '?').append(feed);
        else bytes += piece.bytes;
    }
    isWhole &= isReadToItsEnd(input);
    Reader reader = Reader::ofBytes(bytes, {.encoding = input.isUtf16() ? tramo::Encoding::Utf16 : tramo::Encoding::Ansi});
    return RoundFile::read(reader);
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    bool isWhole = true;
    const RoundFile exported = roundsOf(options.exported, options.encoding, isWhole),
                    returned = roundsOf(options.returned, options.encoding, isWhole);
    const Reconciliation reconciled(exported, returned);
    Output out;
    switch (options.form) {
    case Form::Text: printReconcileText(out, reconciled, options); break;
    case Form::Json: printReconcileJson(out, reconciled, options); break;
    case Form::Csv: printReconcileCsv(out, reconciled); break;
    }
    out.flush();
    return reconciled.count() > 0 || !isWhole ? somethingFound : nothingFound;
}

}  // namespace

const Command reconcileCommand{"reconcile", "compare an exported round with what came back", help, run};

}  // namespace tramo::cli
