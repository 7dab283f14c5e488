// The report for programs: one JSON document a run, one finding a line.
#include "cli/io/text.h"
#include "cli/report/jsonwriter.h"
#include "cli/report/report.h"
#include <utility>

namespace tramo::cli {

namespace {

class JsonReport : public Report {
public:
    explicit JsonReport(Output& to) : stream(to), json(stream) {
        json.beginDocument();
        json.newLine();
        json.beginArray("files");
    }

    std::string label(const std::string&) const override { return {}; }

    void beginFile(const std::string& file) override {
        anyFinding = false;
        json.newLine();
        json.StartObject();
        json.member("file", utf8::valid(nameOf(file)));
        json.beginArray("findings");
    }

    void finding(std::string_view described) override { json.element(described, !std::exchange(anyFinding, true)); }

    void findings(std::string_view described, const SomeLines& lines) override {
        fmt::memory_buffer one;
        JsonStream target(one);
        target.add(described.substr(0, described.size() - 1));  // without its closing brace
        JsonWriter members(target);
        members.StartObject();
        addLines(members, lines);
        members.EndObject();
        one[described.size() - 1] = ',';  // in place of the opening brace of the members
        finding({one.data(), one.size()});
    }

    void describe(const Finding& finding, const Line& line, std::string_view, fmt::memory_buffer& to) const override {
        JsonStream target(to);
        JsonWriter one(target);
        one.StartObject();
        one.member("severity", nameOf(finding.severity));
        one.member("rule", finding.rule->name);
        if (finding.rule->code) one.member("code", finding.rule->code);
        if (line.number) one.member("line", line.number);
        if (finding.column) {
            one.member("column", finding.column);
            one.member("endColumn", finding.endColumn);
        }
        if (finding.reportedColumn) one.member("reportedColumn", finding.reportedColumn);
        if (!finding.kind.empty()) one.member("kind", finding.kind);
        if (!finding.field.empty()) {
            one.member("field", finding.field);
            if (finding.column) one.member("found", utf8::encode(finding.found));
        }
        one.member("message", sentenceOf(finding));
        if (!finding.hint.empty()) one.member("help", finding.hint);
        if (finding.lines.count) addLines(one, finding.lines);
        one.EndObject();
    }

    void endFile(const Summary& summary) override {
        json.newLine();
        json.EndArray();
        json.beginObject("summary");
        json.member("encoding", summary.utf16 ? "UTF-16LE" : "ANSI");
        json.member("bytes", summary.bytes);
        json.member("lines", summary.checked.lines);
        json.member("seconds", summary.time.count());
        count(summary.checked.total);
        json.member("findingsNotListed", summary.notListed);
        json.newLine();
        json.beginArray("linesByKind");
        for (const LinesOfKind& kind : summary.checked.lineKinds()) {
            json.StartObject();
            if (kind.letter) json.member("letter", std::string_view(&kind.letter, 1));
            json.member("kind", kind.name);
            json.member("lines", kind.lines);
            json.EndObject();
        }
        json.EndArray();
        json.newLine();
        json.beginArray("findingsByField");
        for (const FindingsOfField& found : summary.checked.findingCounts()) {
            json.StartObject();
            if (found.rule) json.member("rule", found.rule->name);
            else json.member("field", found.field);
            if (!found.kind.empty()) json.member("kind", found.kind);
            count(found.count);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
        json.EndObject();
    }

    void unreadable(const std::string& file, const std::string& reason) override {
        json.newLine();
        json.StartObject();
        json.member("file", utf8::valid(nameOf(file)));
        json.member("unreadable", utf8::valid(reason));
        json.EndObject();
    }

    void endRun(const RunTotal& total) override {
        json.newLine();
        json.EndArray();
        json.member("filesRead", total.files - total.unreadable);
        json.member("filesUnreadable", total.unreadable);
        count(total.total);
        json.member("exitCode", total.exitCode);
        json.EndObject();
        json.end();
    }

private:
    static void addLines(JsonWriter& to, const SomeLines& lines) {
        to.member("count", lines.count);
        to.beginArray("examples");
        for (std::size_t i = 0; i < lines.first.size() && i < lines.count; ++i) to.Int64(lines.first[i]);
        to.EndArray();
    }

    void count(const FindingCount& found) {
        json.member("errors", found.errors);
        json.member("warnings", found.warnings);
        json.member("hints", found.hints);
    }

    JsonStream stream;
    JsonWriter json;
    bool anyFinding = false;
};

}  // namespace

std::unique_ptr<Report> makeJsonReport(Output& output) { return std::make_unique<JsonReport>(output); }

}  // namespace tramo::cli
