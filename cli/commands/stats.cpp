// tramo stats: summarizes a round.
#include "cli/commands/stats_report.h"
#include "cli/lines/filewalk.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include <utility>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Summarize a round: meters, readings, alarms and dates.

Examples:
  tramo stats samples/round-returned.txt      how far the round is
  tramo stats samples/round-*.txt             each file, and a total
  tramo stats --format json round.txt         the same for programs

Usage: tramo stats [OPTION]... FILE...

The first line shows how many meters are read. A share of 100 % means all, and
0 % means none. Up to 20 meters that are not read are listed by serial number.

Meters are counted by serial number: a number that appears in several lines,
also of several files, is one meter. Where the counts of lines and meters
differ, both are shown; a line without a serial number is only counted as a
line. Radio modules are counted the same way. A meter is read when one of its
subscriber lines has a reading date. A meter is located when an extended data
line has its latitude and longitude.

Readings, alarms and answered areas are counted by lines. The format gives no
meaning to methods, statuses and fluids, and no unit to a consumption: they are
shown by their codes, and the consumption is added up for each fluid. It is
compared with the estimate where it and both bounds are present, and with the
difference of the two indexes where all three are present. If the index has
become smaller, the meter has rolled over. Agents are the user codes of
readings, with the days on which they read. An area of an enquiry is answered
when it has a code or a result. The days are those of the readings in subscriber
lines, in local time; when there are many, they are grouped by month or year.

Empty lines and malformed lines (wrong length, unknown type) are counted and not
read. A value that cannot be read counts as absent. "tramo check" reports both.

Options:
  --encoding WHAT     auto (by the byte order mark), ansi, utf16le
  --format WHAT       text, json
  -h, --help          show this page

"-" is the standard input.

Exit codes:
  0  all files were read
  2  the command line is invalid, or a file cannot be read to its end (the
     others are still counted)
  3  the output could not be written
)";

struct Options {
    std::vector<std::string> files;
    EncodingChoice encoding = std::nullopt;
    bool json = false;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", format = "text";
    Arguments given;
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

    const std::unique_ptr<StatsReport> report = options.json ? makeJsonStats(out) : makeTextStats(out);
    Stats total;
    bool isFirst = true;
    const bool allRead = forEachFile(options.files, [&](const std::string& file) {
        Input input(file, options.encoding);
        Stats stats = statsOf(input);
        report->file(file, stats);
        out.flush();
        if (std::exchange(isFirst, false)) total = std::move(stats);  // the serial numbers of one file need no copy
        else total += stats;
    });
    report->end(total);
    out.flush();
    return allRead && total.isWhole ? nothingFound : notUsable;
}

}  // namespace

const Command statsCommand{"stats", "summarize a round", help, run};

}  // namespace tramo::cli
