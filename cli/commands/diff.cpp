// tramo diff: compares two files by meter and field.
#include "cli/commands/diff_report.h"
#include "cli/lines/filewalk.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Compare two files by meter and field.

Examples:
  tramo diff samples/round-exported.txt samples/round-returned.txt
  tramo diff --summary samples/round-returned.txt samples/round-broken.txt
  tramo diff exported.txt returned.txt          what the field agent changed
  tramo diff --only-readings exported.txt returned.txt
                                                only what was read

Usage: tramo diff [OPTION]... OLD NEW

Lines are paired by their kind and the serial number of their meter (for a meter
change, of the old meter), enquiry results and definitions also by their page,
tags and parameters by code and key, key lines by serial number. Lines without
such values, and lines that share them, are paired in their order. The position
of a line in the file does not matter.

A field differs when its value differs. Padding, line endings, and changes of
form that "tramo rewrite" makes are not differences, unless --exact is given.
Malformed lines (see "tramo check") are compared character by character. The
files may have different encodings. If both files have meters and no meter in
common, the first line says so: these are different rounds.

With --only-readings, only these fields of meter subscriber lines are compared:
meterReadingDate, meterReadingIndex, meterReadingStatus,
meterReadingConsumption, meterReadingMethod and meterReadingUserCode. A line
that only one file has is listed if it has a reading. Malformed lines are listed
as well, because their readings cannot be compared.

Options:
  --only-readings     compares only the readings of meters
  --exact             compares the characters of every column, and line endings
  --full              lists also the fields of lines that only one file has
  --summary           prints only the counts
  --show-keys         shows the keys of key lines; by default, only that they
                      differ
  --encoding WHAT     of both files: auto (by the byte order mark), ansi,
                      utf16le
  --format WHAT       text, json (with every field)
  --color WHEN        auto (on a terminal, unless NO_COLOR is set), always,
                      never
  -h, --help          show this page

One of the files may be "-", the standard input. Pipes and devices are copied to
TMPDIR, or /tmp, first.

Exit codes:
  0  no differences
  1  differences were found
  2  the command line is invalid, or a file cannot be read to its end
  3  the output could not be written
)";

DiffChoice parse(std::vector<std::string> arguments) {
    DiffChoice options;
    std::string encoding = "auto", format = "text", colour = "auto";
    Arguments given;
    given.flag("--only-readings", options.diff.onlyReadings);
    given.flag("--exact", options.diff.exact);
    given.flag("--full", options.full);
    given.flag("--summary", options.summary);
    given.flag("--show-keys", options.diff.showKeys);
    given.option("--encoding", encoding);
    given.option("--format", format);
    given.option("--color,--colour", colour);
    const std::vector<std::string> files = given.parse(std::move(arguments));
    if (files.size() != 2) throw WrongUsage{"expected two files, OLD and NEW"};
    if (files[0] == "-" && files[1] == "-") throw WrongUsage{"only one of the files can be the standard input"};
    options.oldFile = files[0];
    options.newFile = files[1];
    options.encoding = encodingChoice("--encoding", encoding);
    options.json = chosen<bool>("--format", format, {{"text", false}, {"json", true}});
    options.colour = wantsColour(colourChoice(colour), stdout);
    return options;
}

LineChangeKind kindOfChange(const KeptLine* before, const KeptLine* after) {
    if (before && after) return Changed;
    return after ? Added : Removed;
}

int run(std::vector<std::string> arguments) {
    const DiffChoice options = parse(std::move(arguments));
    Input oldFile(options.oldFile, options.encoding);
    LineDiff lines(oldFile, options.diff.exact);
    bool complete = forEachLine(
        oldFile, [&](const PlainRecord& record) { lines.addOld(record); },
        [&](const Line& line, std::optional<LineKind> kind) { lines.addOld(line, kind); });
    {
        Input newFile(options.newFile, options.encoding);
        complete &= forEachLine(
            newFile, [&](const PlainRecord& record) { lines.addNew(record); },
            [&](const Line& line, std::optional<LineKind> kind) { lines.addNew(line, kind); });
    }
    lines.end();

    Output out;
    const std::unique_ptr<DiffReport> report = options.json ? makeJsonDiff(out, options) : makeTextDiff(out, options);

    const bool onlyReadings = options.diff.onlyReadings;
    const bool needsFields = ((options.full || options.json) && !options.summary) || onlyReadings;
    Totals totals;
    Progress progress;
    std::uint64_t compared = 0;
    const std::vector<DiffGroup> groups = lines.groups();
    report->begin(lines.hasNoCommonMeter(groups));
    for (const DiffGroup& group : groups) {
        if (++compared % 1024 == 0) progress.show("comparing", compared, groups.size());
        bool isFirst = true;
        for (const auto& [before, after] : group.pairs) {
            LineChange change{kindOfChange(before, after), before, after, {}};
            if (change.what == Changed || needsFields) change.fields = compare(before, after, options.diff);
            if ((change.what == Changed || (onlyReadings && change.line().sound)) && change.fields.empty()) continue;
            report->change(group, isFirst, change);
            totals.count(change);
            if (isFirst) totals.meters += !group.meter.empty();
            isFirst = false;
        }
        out.settle();
    }
    Progress::wipe();
    report->end(totals);
    out.flush();
    if (!complete) return notUsable;
    return totals.all.all() ? somethingFound : nothingFound;
}

}  // namespace

const Command diffCommand{"diff", "compare two files by meter and field", help, run};

}  // namespace tramo::cli
