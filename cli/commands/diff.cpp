// tramo diff: what differs between two files, by meter and by field.
#include "cli/io/console.h"
#include "cli/io/text.h"
#include "cli/lines/filewalk.h"
#include "cli/lines/linediff.h"
#include "cli/report/jsonwriter.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include <algorithm>
#include <map>
#include <tramostream/check.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Compare two files by meter and field.

Examples:
  tramo diff samples/round-exported.txt samples/round-returned.txt
  tramo diff --summary samples/round-returned.txt samples/round-broken.txt
  tramo diff exported.txt returned.txt          what the field agent changed

Usage: tramo diff [OPTION]... OLD NEW

Lines are paired by their kind and the serial number of their meter (for a meter
change, of the old meter), enquiry results and definitions also by their page,
tags and parameters by code and key, key lines by serial number. Lines without
such values, and lines that share them, are paired in their order. The position
of a line in the file does not matter.

A field differs when its value differs. Padding, line endings, and changes of
form that "tramo rewrite" makes are not differences, unless --exact is given.
Malformed lines (see "tramo check") are compared character by character. The
files may have different encodings.

Options:
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

struct Options {
    std::string oldFile, newFile;
    DiffOptions diff;
    bool full = false, summary = false, json = false, colour = false;
    EncodingChoice encoding = EncodingChoice::Auto;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", format = "text", colour = "auto";
    Arguments given;
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

enum What : unsigned char { Changed, Added, Removed };
constexpr const char* whatNames[] = {"changed", "added", "removed"};

// One line of either file, or of both, that differs.
struct LineChange {
    What what;
    const KeptLine *before, *after;
    std::vector<FieldChange> fields;

    const KeptLine& line() const { return after ? *after : *before; }
};

struct Counts {
    std::array<std::uint64_t, 3> lines{};
    std::uint64_t all() const { return lines[Changed] + lines[Added] + lines[Removed]; }
};

// JSON keeps these two names for the programs that read them.
std::string_view inWords(std::string_view name) {
    return name == "damaged line" ? "malformed line" : name == "line end" ? "line ending" : name;
}

struct Totals {
    Counts all;
    std::uint64_t meters = 0;
    std::map<std::string_view, Counts> kinds;
    std::map<std::pair<std::string_view, std::string>, std::uint64_t> fields;  // of changed lines

    void count(const LineChange& change) {
        const std::string_view kind = kindName(change.line());
        ++all.lines[change.what];
        ++kinds[kind].lines[change.what];
        if (change.what == Changed)
            for (const FieldChange& field : change.fields) ++fields[{kind, field.name}];
    }
};

// Where the result goes, piece by piece.
class DiffReport {
public:
    virtual ~DiffReport() = default;
    virtual void change(const DiffGroup& group, bool isFirst, const LineChange& change) = 0;
    virtual void end(const Totals& totals) = 0;
};

struct Colours {
    const char *title, *changed, *added, *removed, *off;
};
constexpr Colours none{"", "", "", "", ""}, terminal{"\x1b[1m", "\x1b[33m", "\x1b[32m", "\x1b[31m", "\x1b[0m"};

class TextReport : public DiffReport {
public:
    TextReport(Output& to, const Options& chosenOptions)
        : out(to), options(chosenOptions), colours(options.colour ? terminal : none) {}

    void change(const DiffGroup& group, bool isFirst, const LineChange& change) override {
        if (options.summary) return;
        if (isFirst) {
            const std::string title = group.meter.empty() ? std::string(inWords(group.kind)) : "meter " + printable(group.meter);
            out.print("{}{}{}\n", colours.title, title, colours.off);
        }
        const char* colour = change.what == Changed ? colours.changed : change.what == Added ? colours.added : colours.removed;
        out.print("  {}{:<7}{}  {}, {}\n", colour, whatNames[change.what], colours.off, inWords(kindName(change.line())),
            place(change));
        if (!change.line().sound) damaged(change.line());
        else if (change.what == Changed || options.full) fields(change);
    }

    void end(const Totals& totals) override {
        if (!options.summary && totals.all.all()) out.print("\n");
        out.print(
            "{}{} -> {}:{} ", colours.title, printable(nameOf(options.oldFile)), printable(nameOf(options.newFile)), colours.off);
        if (totals.all.all() == 0) {
            out.print("no differences\n");
            return;
        }
        out.print("{}, {} added, {} removed; {}\n", counted(totals.all.lines[Changed], "line") + " changed",
            totals.all.lines[Added], totals.all.lines[Removed],
            counted(totals.meters, "meter") + (totals.meters == 1 ? " differs" : " differ"));
        out.print("   changed     added   removed\n");
        for (const auto& [kind, counts] : totals.kinds)
            out.print(
                "  {:>8}  {:>8}  {:>8}  {}\n", counts.lines[Changed], counts.lines[Added], counts.lines[Removed], inWords(kind));
        if (!totals.fields.empty()) out.print("  fields of changed lines:\n");
        for (const auto& [field, lines] : totals.fields)
            out.print("  {:>8}  {} ({})\n", lines, inWords(field.second), inWords(field.first));
    }

private:
    static std::string place(const LineChange& change) {
        if (change.what == Changed) return fmt::format("line {} -> {}", change.before->number, change.after->number);
        return fmt::format("line {}", change.line().number);
    }

    void damaged(const KeptLine& line) {
        constexpr std::size_t most = 60;
        if (line.kind == LineKind::Key) return;
        const SecretText text = line.text();
        out.print("      {}{}\n", quoted(std::wstring_view(text).substr(0, most)), line.whole || text.size() > most ? "..." : "");
    }

    void fields(const LineChange& change) {
        std::size_t width = 0;
        for (const FieldChange& field : change.fields) width = std::max(width, inWords(field.name).size());
        for (const FieldChange& field : change.fields) {
            out.print("      {:<{}}  ", fmt::format("{}:", inWords(field.name)), width + 1);
            if (change.what != Changed) out.print("{}\n", words(field, change.what == Added ? field.after : field.before));
            else if (field.secret && field.before == field.after) out.print("differs\n");
            else transition(words(field, field.before), words(field, field.after), width + 9);
        }
    }

    // Long texts are easier to compare one below the other.
    void transition(const std::string& before, const std::string& after, std::size_t indent) {
        constexpr std::size_t mostOfRow = 70;
        if (before.size() + after.size() <= mostOfRow) out.print("{} -> {}\n", before, after);
        else out.print("{}\n{:>{}}{}\n", before, "-> ", indent, after);
    }

    static std::string words(const FieldChange& field, const ShownValue& value) {
        switch (value.what) {
        case ShownValue::Absent: return "absent";
        case ShownValue::Plain: return field.secret ? "present" : printable(value.text);
        case ShownValue::Quoted: return quoted(std::wstring_view(value.text));
        case ShownValue::Unreadable: return "unreadable " + quoted(std::wstring_view(value.text));
        }
        return {};
    }

    Output& out;
    const Options& options;
    const Colours colours;
};

class JsonReport : public DiffReport {
public:
    JsonReport(Output& to, const Options& chosenOptions) : out(to), options(chosenOptions), stream(to), json(stream) {
        json.StartObject();
        json.member("tool", "tramo");
        json.member("version", TRAMO_VERSION);
        json.member("old", utf8::valid(nameOf(options.oldFile)));
        json.member("new", utf8::valid(nameOf(options.newFile)));
        json.member("exact", options.diff.exact);
        if (options.summary) return;
        json.newLine();
        json.beginArray("changes");
    }

    void change(const DiffGroup& group, bool, const LineChange& change) override {
        if (options.summary) return;
        json.newLine();
        json.StartObject();
        json.member("what", whatNames[change.what]);
        json.member("kind", kindName(change.line()));
        if (!group.meter.empty()) json.member("meter", utf8::encode(group.meter));
        if (change.before) json.member("oldLine", change.before->number);
        if (change.after) json.member("newLine", change.after->number);
        if (!change.line().sound && change.line().kind != LineKind::Key) text(change.line());
        json.beginArray("fields");
        for (const FieldChange& field : change.fields) {
            json.StartObject();
            json.member("field", field.name);
            if (field.column) json.member("column", field.column);
            if (field.secret) json.member("masked", true);
            value("old", "oldUnreadable", field.before, field.secret);
            value("new", "newUnreadable", field.after, field.secret);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
    }

    void end(const Totals& totals) override {
        if (!options.summary) {
            json.newLine();
            json.EndArray();
        }
        json.beginObject("summary");
        counts(totals.all);
        json.member("meters", totals.meters);
        json.newLine();
        json.beginArray("byKind");
        for (const auto& [kind, count] : totals.kinds) {
            json.StartObject();
            json.member("kind", kind);
            counts(count);
            json.EndObject();
        }
        json.EndArray();
        json.newLine();
        json.beginArray("byField");
        for (const auto& [field, lines] : totals.fields) {
            json.StartObject();
            json.member("kind", field.first);
            json.member("field", field.second);
            json.member("lines", lines);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
        json.EndObject();
        json.end();
    }

private:
    void text(const KeptLine& line) {
        if (!line.whole) return json.member("text", utf8::encode(line.text()));
        json.key("text");
        json.beginText();
        line.whole->forEachPiece([&](std::wstring_view piece) {
            json.addToText(utf8::encode(piece));
            out.settle();
        });
        json.endText();
    }

    void value(const char* name, const char* unreadable, const ShownValue& value, bool secret) {
        if (value.what == ShownValue::Absent || secret) return;
        json.member(value.what == ShownValue::Unreadable ? unreadable : name, utf8::encode(value.text));
    }

    void counts(const Counts& count) {
        for (const What what : {Changed, Added, Removed}) json.member(whatNames[what], count.lines[what]);
    }

    Output& out;
    const Options& options;
    JsonStream stream;
    JsonWriter json;
};

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    LineDiff lines(options.diff.exact);
    bool complete = true;
    {
        Input input(options.oldFile, options.encoding);
        complete &= forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) { lines.addOld(line, kind); });
    }
    {
        Input input(options.newFile, options.encoding);
        complete &= forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) { lines.addNew(line, kind); });
    }

    Output out;
    std::unique_ptr<DiffReport> report;
    if (options.json) report = std::make_unique<JsonReport>(out, options);
    else report = std::make_unique<TextReport>(out, options);

    const bool tellsAll = (options.full || options.json) && !options.summary;
    Totals totals;
    Progress progress;
    std::uint64_t compared = 0;
    const std::vector<DiffGroup> groups = lines.groups();
    for (const DiffGroup& group : groups) {
        if (++compared % 1024 == 0) progress.show("comparing", compared, groups.size());
        bool isFirst = true;
        for (const auto& [before, after] : group.pairs) {
            LineChange change{before && after ? Changed : after ? Added : Removed, before, after, {}};
            if (change.what == Changed || tellsAll) change.fields = compare(before, after, options.diff);
            if (change.what == Changed && change.fields.empty()) continue;
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
    return !complete ? notUsable : totals.all.all() ? somethingFound : nothingFound;
}

}  // namespace

const Command diffCommand{"diff", "compare two files by meter and field", help, run};

}  // namespace tramo::cli
