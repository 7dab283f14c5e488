// The report for code scanning services and editors: SARIF 2.1.0.
#include "cli/io/text.h"
#include "cli/report/jsonwriter.h"
#include "cli/report/report.h"
#include <fmt/format.h>
#include <optional>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace {

std::string_view levelOf(Severity severity) { return severity == Severity::Hint ? "note" : nameOf(severity); }

class SarifReport : public Report {
public:
    SarifReport(Output& to, const ReportStyle& style) : stream(to), json(stream) {
        json.StartObject();
        json.member("$schema", "https://json.schemastore.org/sarif-2.1.0.json");
        json.member("version", "2.1.0");
        json.beginArray("runs");
        json.StartObject();
        json.beginObject("tool");
        json.beginObject("driver");
        json.member("name", "tramo");
        json.member("version", TRAMO_VERSION);
        json.beginArray("rules");
        for (const Rule& rule : rules()) describe(rule, style.severities.of(rule, style.strict));
        json.newLine();
        json.EndArray();
        json.EndObject();
        json.EndObject();
        json.newLine();
        json.member("columnKind", "utf16CodeUnits");
        json.beginArray("results");
    }

    std::string label(const std::string& file) const override { return uriOf(nameOf(file)); }

    void beginFile(const std::string& file) override { uri = label(file); }

    void finding(std::string_view described) override { json.element(described, !std::exchange(anyFinding, true)); }

    void findings(std::string_view described, const SomeLines& lines) override {
        finding(fmt::format(R"({},"occurrenceCount":{}}})", described.substr(0, described.size() - 1), lines.count));
    }

    void describe(const Finding& finding, const Line& line, std::string_view label, fmt::memory_buffer& to) const override {
        JsonStream target(to);
        JsonWriter one(target);
        one.StartObject();
        one.member("ruleId", finding.rule->name);
        one.member("ruleIndex", finding.rule - rules().data());
        one.member("level", levelOf(finding.severity));
        message(one, sentenceOf(finding));
        if (finding.lines.count) one.member("occurrenceCount", finding.lines.count);
        one.beginArray("locations");
        one.StartObject();
        one.beginObject("physicalLocation");
        artifactLocation(one, label);
        if (line.number) region(one, finding, line);
        one.EndObject();
        if (!finding.field.empty()) logicalLocation(one, finding);
        one.EndObject();
        one.EndArray();
        one.EndObject();
    }

    void endFile(const Summary& summary) override {
        artifacts.push_back({uri, summary.fileBytes});
        if (summary.notListed) notes.push_back({uri, counted(summary.notListed, "more finding") + " not listed", "note"});
    }

    void unreadable(const std::string& file, const std::string& reason) override {
        notes.push_back({uriOf(nameOf(file)), "The file cannot be read: " + utf8::valid(reason), "error"});
    }

    void endRun(const RunTotal& total) override {
        json.newLine();
        json.EndArray();
        json.newLine();
        json.beginArray("artifacts");
        for (const Artifact& artifact : artifacts) {
            json.StartObject();
            json.beginObject("location");
            json.member("uri", artifact.uri);
            json.EndObject();
            json.member("length", artifact.length);
            json.EndObject();
        }
        json.EndArray();
        json.newLine();
        json.beginArray("invocations");
        json.StartObject();
        json.member("executionSuccessful", total.unreadable == 0);
        json.member("exitCode", total.exitCode);
        json.beginArray("toolExecutionNotifications");
        for (const Note& note : notes) {
            json.StartObject();
            json.member("level", note.level);
            message(json, note.text);
            json.beginArray("locations");
            json.StartObject();
            json.beginObject("physicalLocation");
            artifactLocation(json, note.uri);
            json.EndObject();
            json.EndObject();
            json.EndArray();
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
        json.EndArray();
        json.EndObject();
        json.EndArray();
        json.EndObject();
        json.end();
    }

private:
    void describe(const Rule& rule, std::optional<Severity> severity) {
        json.newLine();
        json.StartObject();
        json.member("id", rule.name);
        json.beginObject("shortDescription");
        json.member("text", rule.description);
        json.EndObject();
        if (!rule.remedy.empty()) {
            json.beginObject("help");
            json.member("text", rule.remedy);
            json.EndObject();
        }
        json.beginObject("defaultConfiguration");
        if (!severity) json.member("enabled", false);
        else json.member("level", levelOf(*severity));
        json.EndObject();
        json.EndObject();
    }

    static void message(JsonWriter& to, std::string_view words) {
        to.beginObject("message");
        to.member("text", words);
        to.EndObject();
    }

    static void artifactLocation(JsonWriter& to, std::string_view of) {
        to.beginObject("artifactLocation");
        to.member("uri", of);
        to.EndObject();
    }

    // A column of 0 is invalid here: what concerns the whole line has none.
    static void region(JsonWriter& to, const Finding& finding, const Line& line) {
        to.beginObject("region");
        to.member("startLine", line.number);
        if (finding.column) {
            to.member("startColumn", finding.column);
            to.member("endColumn", finding.endColumn);
        }
        to.EndObject();
    }

    static void logicalLocation(JsonWriter& to, const Finding& finding) {
        to.beginArray("logicalLocations");
        to.StartObject();
        to.member("name", finding.field);
        to.member("fullyQualifiedName", fmt::format("{}.{}", finding.kind, finding.field));
        to.member("kind", "member");
        to.EndObject();
        to.EndArray();
    }

    struct Artifact {
        std::string uri;
        std::uint64_t length;
    };
    struct Note {
        std::string uri, text;
        const char* level;
    };

    JsonStream stream;
    JsonWriter json;
    bool anyFinding = false;
    std::string uri;
    std::vector<Artifact> artifacts;
    std::vector<Note> notes;
};

}  // namespace

std::unique_ptr<Report> makeSarifReport(Output& output, const ReportStyle& style) {
    return std::make_unique<SarifReport>(output, style);
}

}  // namespace tramo::cli
