// tramo rewrite: a file as the library writes it, or what that would change.
#include "arguments.h"
#include "columns.h"
#include "command.h"
#include "console.h"
#include "encodedtext.h"
#include "filewalk.h"
#include "findings.h"
#include "jsonwriter.h"
#include "platform.h"
#include "rewriting.h"
#include "text.h"
#include "wrap.h"
#include <algorithm>
#include <map>
#include <tuple>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(tramo rewrite tells what changes in a file when the library reads and writes it,
or does that.

Examples:
  tramo rewrite --dry-run samples/round-returned.txt   what would change
  tramo rewrite samples/round-returned.txt -o new.txt  does it
  tramo rewrite --force round.txt -o new.txt           as far as it can be read

Usage: tramo rewrite --dry-run [OPTION]... FILE
       tramo rewrite [OPTION]... FILE -o OUT

Whoever reads a record and writes it again does not always get the same line:
numbers and decimals are written in one form, some codes become others or are
lost, some values are not written. A dry run compares what would be written with
what is there, column by column, and counts the lines that differ by field and
by what happens to it:

  is written in another form    the same value in other characters
  "N" becomes "1"               another code, or another value
  is not written                the field becomes blank
  is written                    a blank field is filled
  a zero is written behind it   alarm flags bring one along
  cannot be read                a loss: the text is no value of the field
  columns outside of fields     what stands there is not read

Losses are unreadable fields and damaged lines (see "tramo check"). A file with
losses is not rewritten, unless --force is given: then lines with a loss are
copied as they are. Key lines are always copied as they are. Every other line
gets CR LF behind it. Of a file that is refused nothing is written, also not to
the standard output.

Options:
  --dry-run           only tells; writes nothing
  -o, --output OUT    where it goes; "-" is the standard output. OUT appears
                      whole or not at all, and may be FILE itself
  --force             copies lines with a loss instead of refusing the file, and
                      replaces OUT even if it is read-only or has hard links
  --encoding WHAT     of OUT: same (as FILE), ansi, utf16le
  --from WHAT         of FILE: auto (by the byte order mark), ansi, utf16le
  --format WHAT       of a dry run: text, json
  -h, --help          this page

"-" is the standard input. What is no plain file, and what is meant for the
standard output, stands in TMPDIR, or /tmp, for a while.

Exit codes:
  0  the file has been rewritten; of a dry run: nothing would change
  1  a dry run has found changes; or there are losses, and nothing was written
  2  the command line is wrong, or a file cannot be read
  3  something could not be written
)";

struct Options {
    std::string file, out;
    bool dryRun = false, force = false, json = false;
    EncodingChoice from = EncodingChoice::Auto;
    std::optional<EncodingChoice> to;
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
    if (options.dryRun == !options.out.empty()) throw WrongUsage{"either --dry-run or -o OUT is expected"};
    options.json = chosen<bool>("--format", format, {{"text", false}, {"json", true}});
    options.to = chosen<std::optional<EncodingChoice>>(
        "--encoding", to, {{"same", std::nullopt}, {"ansi", EncodingChoice::Ansi}, {"utf16le", EncodingChoice::Utf16le}});
    options.from = encodingChoice("--from", from);
    return options;
}

// What is told of a piece: its name for programs, and the words for people.
struct Wording {
    const char *name, *words;
};
// In the order of Rewriting::What.
constexpr Wording wordings[] = {
    {"unreadable", "cannot be read"},
    {"lost", "is not written"},
    {"filled", "is written"},
    {"changed", "becomes another value"},
    {"respelled", "is written in another form"},
    {"zeroBehind", "a zero is written behind it"},
    {"outsideFields", "what stands there is not read"},
};

// Changes of one sort, counted.
struct Sort {
    std::uint64_t lines = 0;
    long long line = 0;  // the first one's
    const RecordKind* kind = nullptr;
    Rewriting example{};
};

// Whole lines of one sort: damage, by the rule's name, or line ends.
struct LineSort {
    std::uint64_t lines = 0;
    long long line = 0;
    std::string example;
};

struct Losses {
    std::uint64_t count = 0;
    std::vector<std::string> first;
};

class Rewriter {
public:
    Rewriter(std::string nameOfFile, EncodedText& to, bool copiesLosses)
        : name(std::move(nameOfFile)), out(to), copies(copiesLosses) {}

    void take(const Line& line, std::optional<LineKind> kind) {
        ++lines;
        std::vector<Finding> damage;
        const bool sound = judge(line, kind, damage);
        std::optional<LineModel> model;
        if (sound) model = LineModel::of(*kind, line.text);
        if (!model && !(sound && kind == LineKind::Key)) damaged(line, damage.front());
        if (!model) {
            out.add(line.text, lineEndOf(line), line, kind);
            return;
        }
        bool loses = false, changes = !line.carriageReturn || !line.lineFeed;
        for (Rewriting& piece : rewritings(*kind, line.text, *model)) {
            changes = true;
            if (piece.what == Rewriting::Unreadable) loses = true, note(line, *model, piece);
            count(line, model->kind(), std::move(piece));
        }
        if (!line.carriageReturn || !line.lineFeed) lineEnd(line);
        changed += changes && !(loses && copies);
        copied += loses;
        if (loses && copies) out.add(line.text, lineEndOf(line), line, kind);
        else out.add(model->built(), L"\r\n", line, kind);
    }

    const std::string name;
    std::uint64_t lines = 0, changed = 0, copied = 0;  // copied: lines with a loss
    Losses losses;
    std::map<std::tuple<std::size_t, std::size_t, int, std::wstring>, Sort> sorts;
    std::map<std::string, LineSort> damages, lineEnds;

private:
    void lose(std::string message) {
        constexpr std::size_t most = 10;
        if (++losses.count <= most) losses.first.push_back(std::move(message));
    }

    void damaged(const Line& line, const Finding& finding) {
        ++copied;
        LineSort& sort = damages[std::string(finding.rule->name)];
        if (sort.lines++ == 0) sort.line = line.number, sort.example = finding.message;
        lose(fmt::format("{}:{}: {}", name, line.number, finding.message));
    }

    void lineEnd(const Line& line) {
        const char* what = line.lineFeed ? "LF alone" : line.carriageReturn ? "CR alone" : "no line end";
        LineSort& sort = lineEnds[what];
        if (sort.lines++ == 0) sort.line = line.number;
    }

    void note(const Line& line, const LineModel& model, const Rewriting& piece) {
        lose(fmt::format("{}:{}:{}: {} ({}): {} cannot be read", name, line.number, piece.column, piece.field->name,
            model.kind().name, quoted(trimmed(piece.before))));
    }

    // By kind, field and what happens; codes also by what becomes of which.
    void count(const Line& line, const RecordKind& kind, Rewriting piece) {
        const auto& kinds = allKinds();
        const auto place = static_cast<std::size_t>(std::ranges::find(kinds, &kind) - kinds.begin());
        const bool isCode = piece.field && piece.field->kind == FieldKind::Code && piece.what != Rewriting::Unreadable;
        Sort& sort = sorts[{place, piece.field ? piece.field->index : kind.fields.size(), piece.what,
            isCode ? piece.before + piece.after : std::wstring()}];
        if (sort.lines++ == 0) sort.line = line.number, sort.kind = &kind, sort.example = std::move(piece);
    }

    EncodedText& out;
    const bool copies;
};

std::string columnsOf(const Rewriting& piece) {
    const auto last = piece.column + static_cast<int>(piece.before.size()) - 1;
    return last > piece.column ? fmt::format("columns {}-{}", piece.column, last) : fmt::format("column {}", piece.column);
}

std::string excerpt(std::wstring_view text) {
    constexpr std::size_t most = 40;
    if (text.find_first_not_of(L' ') == std::wstring_view::npos) return "blank";
    return quoted(text.substr(0, most)) + (text.size() > most ? "..." : "");
}

std::string sentence(const Sort& sort) {
    const Rewriting& piece = sort.example;
    std::string what = wordings[piece.what].words;
    if (piece.what == Rewriting::Changed && piece.field->kind == FieldKind::Code)
        what = fmt::format("{} becomes {}", excerpt(piece.before), excerpt(piece.after));
    if (piece.what == Rewriting::Lost && piece.field->kind == FieldKind::Code) what = excerpt(piece.before) + " is not written";
    if (piece.what == Rewriting::Lost && piece.field->written != "always")
        what += fmt::format(" unless {}", piece.field->written);
    if (piece.field && !piece.field->readInto.empty()) what = "is read as " + piece.field->readInto + ", and not written";
    const std::string whose = piece.field ? piece.field->name : "outside of fields";
    return fmt::format("{} ({}), {}: {}; line {}: {} becomes {}", whose, sort.kind->name, columnsOf(piece), what, sort.line,
        excerpt(piece.before), excerpt(piece.after));
}

void printText(Output& out, const Rewriter& done) {
    out.print("{}: ", done.name);
    if (done.changed == 0 && done.losses.count == 0) {
        out.print("nothing would change in {}\n", counted(done.lines, "line"));
        return;
    }
    out.print("{} of {} would change", done.changed, counted(done.lines, "line"));
    if (done.losses.count)
        out.print(", with {}", done.losses.count == 1 ? "1 loss" : fmt::format("{} losses", done.losses.count));
    out.print("\n");
    const int width = terminalWidth(stdout);
    auto section = [&](bool losses) {
        bool begun = false;
        auto row = [&](std::uint64_t lines, const std::string& words) {
            if (!begun) out.print("  {}\n", losses ? "losses:" : "changes:");
            begun = true;
            out.print("  {:>8}  {}\n", lines, fmt::join(brokenWords(words, widthBehind(12, width)), "\n            "));
        };
        if (losses)
            for (const auto& [rule, sort] : done.damages)
                row(sort.lines, fmt::format("{}; line {}: {}", rule, sort.line, sort.example));
        for (const auto& [key, sort] : done.sorts)
            if ((sort.example.what == Rewriting::Unreadable) == losses) row(sort.lines, sentence(sort));
        if (!losses)
            for (const auto& [end, sort] : done.lineEnds)
                row(sort.lines, fmt::format("{} becomes CR LF; line {}", end, sort.line));
    };
    section(true);
    section(false);
}

void printJson(Output& out, const Rewriter& done, const Options& options, bool utf16) {
    JsonStream stream(out);
    JsonWriter json(stream);
    json.StartObject();
    json.member("tool", "tramo");
    json.member("version", TRAMO_VERSION);
    json.member("file", validUtf8(nameOf(options.file)));
    json.member("encoding", utf16 ? "UTF-16LE" : "ANSI");
    json.member("lines", done.lines);
    json.member("linesChanged", done.changed);
    json.member("losses", done.losses.count);
    json.newLine();
    json.beginArray("changes");
    for (const auto& [key, sort] : done.sorts) {
        const Rewriting& piece = sort.example;
        json.newLine();
        json.StartObject();
        json.member("kind", sort.kind->name);
        if (piece.field) json.member("field", piece.field->name);
        json.member("column", piece.column);
        json.member("endColumn", piece.column + static_cast<int>(piece.before.size()));
        json.member("what", wordings[piece.what].name);
        json.member("loss", piece.what == Rewriting::Unreadable);
        json.member("lines", sort.lines);
        json.beginObject("example");
        json.member("line", sort.line);
        json.member("before", toUtf8(piece.before));
        json.member("after", toUtf8(piece.after));
        json.EndObject();
        json.EndObject();
    }
    json.newLine();
    json.EndArray();
    json.beginArray("damagedLines");
    for (const auto& [rule, sort] : done.damages) {
        json.newLine();
        json.StartObject();
        json.member("rule", rule);
        json.member("lines", sort.lines);
        json.member("firstLine", sort.line);
        json.member("message", sort.example);
        json.EndObject();
    }
    json.newLine();
    json.EndArray();
    json.beginArray("lineEnds");
    for (const auto& [end, sort] : done.lineEnds) {
        json.newLine();
        json.StartObject();
        json.member("found", end);
        json.member("lines", sort.lines);
        json.member("firstLine", sort.line);
        json.EndObject();
    }
    json.newLine();
    json.EndArray();
    json.EndObject();
    json.end();
}

int tell(const Options& options, const Rewriter& done, const Input& input, bool keepsAll) {
    Output out;
    if (options.json) printJson(out, done, options, input.isUtf16());
    else printText(out, done);
    out.flush();
    return done.changed || done.losses.count || !keepsAll ? somethingFound : nothingFound;
}

int write(const Rewriter& done, EncodedText& text, bool refused, bool keepsAll) {
    if (refused) {
        for (const std::string& message : done.losses.first) complain(message);
        if (done.losses.count > done.losses.first.size())
            complain(fmt::format("... and {} more", done.losses.count - done.losses.first.size()));
    }
    if (refused || !keepsAll) {
        complain(fmt::format("{}: nothing was written{}", done.name, refused ? "; --force copies such lines as they are" : ""));
        return somethingFound;
    }
    text.commit();
    std::string summary = fmt::format("{}: {} of {} changed", done.name, done.changed, counted(done.lines, "line"));
    if (done.copied) summary += fmt::format(", {} copied as {}", done.copied, done.copied == 1 ? "it is" : "they are");
    complain(summary);
    return nothingFound;
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    Input input(options.file, options.from);
    EncodedText text(
        options.out, options.to ? *options.to == EncodingChoice::Utf16le : input.isUtf16(), input.name(), options.force);
    Rewriter rewriter(input.name(), text, options.force);
    const bool isWhole = forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) { rewriter.take(line, kind); });
    text.complain();
    const bool keepsAll = isWhole && text.fits(), refused = rewriter.losses.count && !options.force;
    return options.dryRun ? tell(options, rewriter, input, keepsAll) : write(rewriter, text, refused, keepsAll);
}

}  // namespace

const Command rewriteCommand{"rewrite", "writes a file anew, or tells what that would change", help, run};

}  // namespace tramo::cli
