// tramo keys: lists the radio modules of key lines, with their keys masked.
#include "cli/commands/keys_report.h"
#include "cli/lines/filewalk.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include <fmt/ranges.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(List radio modules and check their key lines.

Examples:
  tramo keys samples/amr-keys.txt                 a table, the keys masked
  tramo keys --format json samples/amr-keys.txt   the same for programs
  tramo keys --show-keys --format json keys.txt   with the keys in clear text

Usage: tramo keys [OPTION]... FILE...

Each row of the table (on a narrow terminal, each list) is one module: its line,
its serial number and versions, the parts of its wireless M-Bus address, and its
keys. The manufacturer's number is followed by the three letters that it packs,
if it does, and the device type by its usual name. A key is shown as
"******** 32 hex": its number of characters, and whether all are hexadecimal
digits.

The findings follow the modules: lines that cannot be read, missing values,
serial numbers and addresses that an earlier line of any file already has, and
keys that do not have 32 hexadecimal digits. No finding shows a key. Lines of
other kinds are counted on the standard error.

Options:
  --show-keys         shows the keys in clear text
  --encoding WHAT     auto (by the byte order mark), ansi, utf16le
  --format WHAT       text, json
  -h, --help          show this page

"-" is the standard input.

Exit codes:
  0  no errors or warnings
  1  errors or warnings were found
  2  the command line is invalid, or a file cannot be read to its end (the
     others are still listed)
  3  the output could not be written
)";

// Lines of other kinds, by kind.
void complainAboutOthers(const std::string& file, const CheckSummary& others) {
    if (others.lines == 0) return;
    std::vector<std::string> kinds;
    for (const LinesOfKind& kind : others.lineKinds()) kinds.push_back(fmt::format("{} ({})", kind.name, kind.lines));
    const char* what = others.lines == 1 ? "line is not a key line" : "lines are not key lines";
    complain(fmt::format("{}: {} {}: {}", printable(nameOf(file)), others.lines, what, fmt::join(kinds, ", ")));
}

struct Options {
    std::vector<std::string> files;
    EncodingChoice encoding = std::nullopt;
    bool json = false, showKeys = false;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", format = "text";
    Arguments given;
    given.flag("--show-keys", options.showKeys);
    given.option("--encoding", encoding);
    given.option("--format", format);
    options.files = given.parseFiles(std::move(arguments));
    options.encoding = encodingChoice("--encoding", encoding);
    options.json = chosen<bool>("--format", format, {{"text", false}, {"json", true}});
    return options;
}

int run(std::vector<std::string> arguments) {
    Output out;
    const Options options = parse(std::move(arguments));

    const std::unique_ptr<KeysReport> report = options.json ? makeJsonKeys(out) : makeTextKeys(out);
    KeyReader reader(options.encoding, options.showKeys);
    FindingCount total;
    bool allWhole = true;
    const bool allRead = forEachFile(options.files, [&](const std::string& file) {
        const std::unique_ptr<Contents> contents = reader.read(file);
        report->file(file, *contents);
        out.flush();
        complainAboutOthers(file, contents->others);
        total += contents->total;
        allWhole &= contents->isWhole;
    });
    report->end();
    out.flush();
    if (!allRead || !allWhole) return notUsable;
    return total.all() ? somethingFound : nothingFound;
}

}  // namespace

const Command keysCommand{"keys", "list radio modules and check their key lines", help, run};

}  // namespace tramo::cli
