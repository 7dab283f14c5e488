// tramo rewrite: a file as the library writes it, or what that would change.
#include "cli/io/console.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/io/wrap.h"
#include "cli/lines/columns.h"
#include "cli/lines/encodedtext.h"
#include "cli/lines/filewalk.h"
#include "cli/lines/rewriting.h"
#include "cli/report/jsonwriter.h"
#include "cli/report/report.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include <algorithm>
#include <map>
#include <tramostream/check.h>
#include <tuple>

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
  a zero is written after it   alarm flags bring one along
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

// A last line without a line ending, as JSON names it.
constexpr const char* noLineEnd = "no line end";

// A kind of change: its name for programs, and the words for people.
struct Wording {
    const char *name, *words;
};
// In the order of Rewriting::What.
constexpr Wording wordings[] = {
    {"unreadable", "cannot be read"},
    {"ignored", "is read in part"},
    {"notWritten", "is not written"},
    {"filled", "is written"},
    {"changed", "becomes another value"},
    {"respelled", "is written in another form"},
    {"zeroBehind", "a zero is written after it"},
    {"outsideFields", "the text there is not read"},
};

// Changes of one sort, counted.
struct Sort {
    std::uint64_t lines = 0;
    long long line = 0;  // the first one's
    const RecordKind* kind = nullptr;
    Rewriting example{};
    std::string reason{};  // what a check says of the example
};

// Whole lines of one sort: damage, by the rule's name, or line ends.
struct LineSort {
    std::uint64_t lines = 0;
    long long line = 0;
    std::string example;
};

struct Losses {
    std::uint64_t count = 0, told = 0;
    std::vector<std::string> first;
};

std::string excerpt(std::wstring_view text) {
    constexpr std::size_t most = 40;
    if (text.find_first_not_of(L' ') == std::wstring_view::npos) return "blank";
    return quoted(text.substr(0, most)) + (text.size() > most ? "..." : "");
}

std::string notWritten(const Field& field) {
    if (!field.readInto.empty()) return "is read as " + field.readInto + ", and not written";
    const bool isConditional = field.written != "always" && field.written != "never";
    return isConditional ? "is not written unless " + field.written : "is not written";
}

// What happens to a piece, with its text.
std::string happening(const Rewriting& piece) {
    switch (piece.what) {
    case Rewriting::NotWritten: return excerpt(piece.before) + ' ' + notWritten(*piece.field);
    case Rewriting::Unreadable: return excerpt(piece.before) + " cannot be read";
    case Rewriting::Ignored: return excerpt(piece.before) + " is read in part";
    case Rewriting::OutsideFields: return excerpt(piece.before) + " is outside of fields, and not read";
    case Rewriting::ZeroBehind: return wordings[piece.what].words;
    case Rewriting::Filled:
    case Rewriting::Changed:
    case Rewriting::Respelled: break;
    }
    return fmt::format("{} becomes {}", excerpt(piece.before), excerpt(piece.after));
}

// A finding without the name of its field.
std::string reasonOf(const Finding& finding) {
    std::string words = finding.sentence + (finding.reason.empty() ? "" : ": " + finding.reason);
    const std::string field = std::string(finding.field) + ": ";
    return words.starts_with(field) ? words.substr(field.size()) : words;
}

class Rewriter {
public:
    Rewriter(std::string nameOfFile, EncodedText& to, bool writesLosses)
        : name(std::move(nameOfFile)), out(to), forced(writesLosses) {}

    void take(const Line& line, std::optional<LineKind> kind) {
        ++lines;
        std::vector<Finding> damage;
        const bool sound = checkShape(line, kind, damage);
        std::optional<LineModel> model;
        if (sound) model = LineModel::of(*kind, line.text);
        if (!model && !(sound && kind == LineKind::Key)) malformed(line, damage.front());
        if (!model) return out.add(line, kind);
        std::vector<Rewriting> pieces = rewritings(*kind, line.text, *model);
        const bool loses = std::ranges::any_of(pieces, &Rewriting::loses), copies = loses && !forced;
        std::vector<Finding> findings;
        if (loses) checkFields(*model, line.text, false, findings);
        for (Rewriting& piece : pieces) {
            if (copies && !piece.loses) continue;
            const Finding* finding = piece.loses ? findingOf(piece, findings) : nullptr;
            if (copies) note(line, *model, piece, finding);
            losses.count += piece.loses;
            count(line, model->kind(), std::move(piece), finding);
        }
        copied += copies;
        lossy += loses && !copies;
        if (copies) return out.add(line, kind);
        const bool hasLineEnd = line.carriageReturn && line.lineFeed;
        if (!hasLineEnd) lineEnd(line);
        changed += !pieces.empty() || !hasLineEnd;
        out.add(model->built(), L"\r\n", line, kind);
    }

    const std::string name;
    std::uint64_t lines = 0, changed = 0;
    std::uint64_t copied = 0, lossy = 0, damaged = 0;  // lines with a loss, copied and rewritten; malformed lines
    Losses losses;
    std::map<std::tuple<std::size_t, std::size_t, int, bool, std::wstring>, Sort> sorts;
    std::map<std::string, LineSort> damages, lineEnds;

private:
    // Says why a line is copied.
    void tell(std::string message) {
        constexpr std::size_t most = 10;
        if (++losses.told <= most) losses.first.push_back(std::move(message));
    }

    void malformed(const Line& line, const Finding& finding) {
        ++damaged;
        LineSort& sort = damages[std::string(finding.rule->name)];
        if (sort.lines++ == 0) sort.line = line.number, sort.example = finding.sentence;
        ++losses.count;
        tell(fmt::format("{}:{}: {}", name, line.number, sentenceOf(finding)));
    }

    void lineEnd(const Line& line) {
        const char* what = line.lineFeed ? "LF alone" : line.carriageReturn ? "CR alone" : noLineEnd;
        LineSort& sort = lineEnds[what];
        if (sort.lines++ == 0) sort.line = line.number;
    }

    // What a check says of a piece that cannot be read, or not wholly.
    static const Finding* findingOf(const Rewriting& piece, const std::vector<Finding>& findings) {
        const auto end = piece.column + static_cast<int>(piece.before.size());
        const auto found = std::ranges::find_if(findings, [&](const Finding& finding) {
            if (piece.what == Rewriting::Unreadable)
                return finding.rule->code == piece.field->parseError.code && finding.field == piece.field->name;
            const bool isAbout = piece.field ? finding.field == piece.field->name : finding.field.empty();
            return isAbout && finding.rule->name == "TextIgnored" && finding.column >= piece.column && finding.column < end;
        });
        return found == findings.end() ? nullptr : &*found;
    }

    void note(const Line& line, const LineModel& model, const Rewriting& piece, const Finding* finding) {
        const int column = finding ? finding->column : piece.column;
        const std::string words = finding ? sentenceOf(*finding)
                                  : piece.field
                                      ? fmt::format("{} ({}): {}", piece.field->name, model.kind().name, happening(piece))
                                      : happening(piece);
        tell(fmt::format("{}:{}:{}: {}", name, line.number, column, words));
    }

    // By kind, field and what happens; codes also by what becomes of which.
    void count(const Line& line, const RecordKind& kind, Rewriting piece, const Finding* finding) {
        const auto& kinds = allKinds();
        const auto place = static_cast<std::size_t>(std::ranges::find(kinds, &kind) - kinds.begin());
        const bool isCode = piece.field && piece.field->kind == FieldKind::Code && piece.what != Rewriting::Unreadable;
        Sort& sort = sorts[{place, piece.field ? piece.field->index : kind.fields.size(), piece.what, piece.loses,
            isCode ? piece.before + piece.after : std::wstring()}];
        if (sort.lines++ != 0) return;
        sort.line = line.number, sort.kind = &kind, sort.example = std::move(piece);
        if (finding) sort.reason = reasonOf(*finding);
    }

    EncodedText& out;
    const bool forced;
};

std::string columnsOf(const Rewriting& piece) {
    const auto last = piece.column + static_cast<int>(piece.before.size()) - 1;
    return last > piece.column ? fmt::format("columns {}-{}", piece.column, last) : fmt::format("column {}", piece.column);
}

std::string sentence(const Sort& sort) {
    const Rewriting& piece = sort.example;
    std::string what = wordings[piece.what].words;
    if (piece.what == Rewriting::Changed && piece.field->kind == FieldKind::Code)
        what = fmt::format("{} becomes {}", excerpt(piece.before), excerpt(piece.after));
    if (piece.what == Rewriting::NotWritten) {
        what = notWritten(*piece.field);
        if (piece.field->kind == FieldKind::Code) what = excerpt(piece.before) + ' ' + what;
    }
    const std::string whose = piece.field ? piece.field->name : "outside of fields";
    const std::string example =
        sort.reason.empty() ? fmt::format("{} becomes {}", excerpt(piece.before), excerpt(piece.after)) : sort.reason;
    return fmt::format("{} ({}), {}: {}; line {}: {}", whose, sort.kind->name, columnsOf(piece), what, sort.line, example);
}

void printText(Output& out, const Rewriter& done) {
    if (done.changed == 0 && done.losses.count == 0) {
        out.print("{}: nothing would change in {}\n", done.name, counted(done.lines, "line"));
        return;
    }
    out.print("{}: {} of {} would change", done.name, done.changed, counted(done.lines, "line"));
    if (done.lossy) out.print(", {} with a loss", done.lossy);
    out.print("\n");
    if (done.damaged) out.print("  {} would be copied\n", counted(done.damaged, "malformed line"));
    if (done.copied) out.print("  {} would be copied because of a loss\n", counted(done.copied, "line"));
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
            if (sort.example.loses == losses) row(sort.lines, sentence(sort));
        if (!losses)
            for (const auto& [end, sort] : done.lineEnds)
                row(sort.lines, fmt::format("{} becomes CR LF; line {}", end == noLineEnd ? "no line ending" : end, sort.line));
    };
    section(true);
    section(false);
}

void printJson(Output& out, const Rewriter& done, const Options& options, bool utf16) {
    JsonStream stream(out);
    JsonWriter json(stream);
    json.beginDocument();
    json.member("file", utf8::valid(nameOf(options.file)));
    json.member("encoding", utf16 ? "UTF-16LE" : "ANSI");
    json.member("lines", done.lines);
    json.member("linesChanged", done.changed);
    json.member("linesCopied", done.copied + done.damaged);
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
        json.member("loss", piece.loses);
        json.member("lines", sort.lines);
        json.beginObject("example");
        json.member("line", sort.line);
        json.member("before", utf8::encode(piece.before));
        json.member("after", utf8::encode(piece.after));
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

int write(const Rewriter& done, EncodedText& text, bool keepsAll) {
    if (!keepsAll) {
        complain(fmt::format("{}: nothing was written", done.name));
        return somethingFound;
    }
    text.commit();
    for (const std::string& message : done.losses.first) complain(message);
    if (done.losses.told > done.losses.first.size())
        complain(fmt::format("... and {} more", done.losses.told - done.losses.first.size()));
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
    Rewriter rewriter(input.name(), text, options.force);
    const bool isWhole = forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) { rewriter.take(line, kind); });
    text.complain();
    const bool keepsAll = isWhole && text.fits();
    return options.dryRun ? tell(options, rewriter, input, keepsAll) : write(rewriter, text, keepsAll);
}

}  // namespace

const Command rewriteCommand{"rewrite", "normalize a file, or show what would change", help, run};

}  // namespace tramo::cli
