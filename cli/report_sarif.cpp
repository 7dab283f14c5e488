// The report for code scanning services and editors: SARIF 2.1.0.
#include "jsonwriter.h"
#include "report.h"
#include "text.h"
#include <fmt/format.h>
#include <vector>

namespace tramo::cli {

namespace {

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
        for (const RuleInfo& rule : rules()) describe(rule, style.strict);
        json.newLine();
        json.EndArray();
        json.EndObject();
        json.EndObject();
        json.newLine();
        json.member("columnKind", "utf16CodeUnits");
        json.beginArray("results");
    }

    void beginFile(const std::string& file) override { uri = uriOf(nameOf(file)); }

    void finding(const Finding& finding, const Line& line, bool isError) override {
        json.newLine();
        json.StartObject();
        json.member("ruleId", finding.rule->name);
        json.member("ruleIndex", finding.rule - rules().data());
        json.member("level", isError ? "error" : "warning");
        message(sentence(finding));
        json.beginArray("locations");
        json.StartObject();
        json.beginObject("physicalLocation");
        artifactLocation(uri);
        if (line.number) region(finding, line);
        json.EndObject();
        if (!finding.field.empty()) logicalLocation(finding);
        json.EndObject();
        json.EndArray();
        json.EndObject();
    }

    void endFile(const Summary& summary) override {
        artifacts.push_back({uri, summary.bytes});
        if (summary.notListed) notes.push_back({uri, counted(summary.notListed, "more finding") + " not listed", "note"});
    }

    void unreadable(const std::string& file, const std::string& reason) override {
        notes.push_back({uriOf(nameOf(file)), "The file cannot be read: " + validUtf8(reason), "error"});
    }

    void endRun(const RunTotal& total) override {
        json.newLine();
        json.EndArray();
        json.newLine();
        json.beginArray("artifacts");
        for (const Artifact& artifact : artifacts) {
            json.StartObject();
            json.key("location"), json.StartObject(), json.member("uri", artifact.uri), json.EndObject();
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
            message(note.text);
            json.beginArray("locations");
            json.StartObject();
            json.beginObject("physicalLocation");
            artifactLocation(note.uri);
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
    void describe(const RuleInfo& rule, bool strict) {
        json.newLine();
        json.StartObject();
        json.member("id", rule.name);
        json.beginObject("shortDescription");
        json.member("text", rule.description);
        json.EndObject();
        json.beginObject("defaultConfiguration");
        json.member("level", rule.isError(strict) ? "error" : "warning");
        json.EndObject();
        json.EndObject();
    }

    void message(std::string_view words) {
        json.beginObject("message");
        json.member("text", words);
        json.EndObject();
    }

    void artifactLocation(std::string_view of) {
        json.beginObject("artifactLocation");
        json.member("uri", of);
        json.EndObject();
    }

    // A column of 0 is invalid here: what concerns the whole line has none.
    void region(const Finding& finding, const Line& line) {
        json.beginObject("region");
        json.member("startLine", line.number);
        if (finding.column) {
            json.member("startColumn", finding.column);
            json.member("endColumn", finding.endColumn);
        }
        json.EndObject();
    }

    void logicalLocation(const Finding& finding) {
        json.beginArray("logicalLocations");
        json.StartObject();
        json.member("name", finding.field);
        json.member("fullyQualifiedName", fmt::format("{}.{}", finding.kind, finding.field));
        json.member("kind", "member");
        json.EndObject();
        json.EndArray();
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
    std::string uri;
    std::vector<Artifact> artifacts;
    std::vector<Note> notes;
};

}  // namespace

std::unique_ptr<Report> makeSarifReport(Output& output, const ReportStyle& style) {
    return std::make_unique<SarifReport>(output, style);
}

}  // namespace tramo::cli
