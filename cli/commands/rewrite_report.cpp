#include "cli/commands/rewrite_report.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/io/wrap.h"
#include "cli/report/jsonwriter.h"
#include <fmt/ranges.h>

namespace tramo::cli {

namespace {

std::string columnsOf(const Rewriting& piece) {
    const auto last = piece.column + static_cast<int>(piece.before.size()) - 1;
    return last > piece.column ? fmt::format("columns {}-{}", piece.column, last) : fmt::format("column {}", piece.column);
}

std::string sentence(const FieldChanges& group) {
    const Rewriting& piece = group.example;
    std::string what = wordings[piece.what].words;
    if (piece.what == Rewriting::Changed && piece.field->kind == FieldKind::Code)
        what = fmt::format("{} becomes {}", excerpt(piece.before), excerpt(piece.after));
    if (piece.what == Rewriting::NotWritten) {
        what = whyNotWritten(*piece.field);
        if (piece.field->kind == FieldKind::Code) what = excerpt(piece.before) + ' ' + what;
    }
    const std::string whose = piece.field ? piece.field->name : "outside of fields";
    const std::string example =
        group.reason.empty() ? fmt::format("{} becomes {}", excerpt(piece.before), excerpt(piece.after)) : group.reason;
    return fmt::format("{} ({}), {}: {}; line {}: {}", whose, group.kind->name, columnsOf(piece), what, group.line, example);
}

}  // namespace

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
            out.print("  {:>8}  {}\n", lines, fmt::join(brokenWords(words, widthAfter(12, width)), "\n            "));
        };
        if (losses)
            for (const auto& [rule, group] : done.damages)
                row(group.lines, fmt::format("{}; line {}: {}", rule, group.line, group.example));
        for (const auto& [key, group] : done.fieldChanges)
            if (group.example.loses == losses) row(group.lines, sentence(group));
        if (!losses)
            for (const auto& [end, group] : done.lineEnds)
                row(group.lines, fmt::format("{} becomes CR LF; line {}", end == noLineEnd ? "no line ending" : end, group.line));
    };
    section(true);
    section(false);
}

void printJson(Output& out, const Rewriter& done, const std::string& file, bool utf16) {
    JsonStream stream(out);
    JsonWriter json(stream);
    json.beginDocument();
    json.member("file", utf8::valid(nameOf(file)));
    json.member("encoding", utf16 ? "UTF-16LE" : "ANSI");
    json.member("lines", done.lines);
    json.member("linesChanged", done.changed);
    json.member("linesCopied", done.copied + done.damaged);
    json.member("losses", done.losses.count);
    json.newLine();
    json.beginArray("changes");
    for (const auto& [key, group] : done.fieldChanges) {
        const Rewriting& piece = group.example;
        json.newLine();
        json.StartObject();
        json.member("kind", group.kind->name);
        if (piece.field) json.member("field", piece.field->name);
        json.member("column", piece.column);
        json.member("endColumn", piece.column + static_cast<int>(piece.before.size()));
        json.member("what", wordings[piece.what].name);
        json.member("loss", piece.loses);
        json.member("lines", group.lines);
        json.beginObject("example");
        json.member("line", group.line);
        json.member("before", utf8::encode(piece.before));
        json.member("after", utf8::encode(piece.after));
        json.EndObject();
        json.EndObject();
    }
    json.newLine();
    json.EndArray();
    json.beginArray("damagedLines");
    for (const auto& [rule, group] : done.damages) {
        json.newLine();
        json.StartObject();
        json.member("rule", rule);
        json.member("lines", group.lines);
        json.member("firstLine", group.line);
        json.member("message", group.example);
        json.EndObject();
    }
    json.newLine();
    json.EndArray();
    json.beginArray("lineEnds");
    for (const auto& [end, group] : done.lineEnds) {
        json.newLine();
        json.StartObject();
        json.member("found", end);
        json.member("lines", group.lines);
        json.member("firstLine", group.line);
        json.EndObject();
    }
    json.newLine();
    json.EndArray();
    json.EndObject();
    json.end();
}

}  // namespace tramo::cli
