// The whole format as data: one JSON document.
#include "cli/commands/explain_print.h"
#include "cli/report/jsonwriter.h"
#include "common/utf8.h"
#include <tramostream/diagnosis.h>
#include <tramostream/linekind.h>
#include <tramostream/linemodel.h>
#include <tramostream/round.h>

namespace tramo::cli {

namespace {

class FormatDocument {
public:
    explicit FormatDocument(Output& to) : stream(to), json(stream) {}

    void print() {
        json.beginDocument();
        json.newLine();
        json.beginArray("kinds");
        for (const RecordKind* kind : allKinds()) add(*kind);
        addKeyLine();
        json.newLine();
        json.EndArray();
        addAreas();
        addErrors();
        addRules();
        json.EndObject();
        json.end();
    }

private:
    // Members that would be empty are left out.
    void some(std::string_view name, std::string_view text) {
        if (!text.empty()) json.member(name, text);
    }

    void beginKind(std::string_view name, std::string_view model, LineKind line) {
        json.newLine();
        json.StartObject();
        json.member("kind", name);
        json.member("model", model);
        json.member("line", shapeOf(line).name);
    }

    void add(const RecordKind& kind) {
        const LineKind line = kind.letter                         ? LineKind::Record
                              : &kind == &kindOf<TagTramoModel>() ? LineKind::Tag
                                                                  : LineKind::Parameter;
        beginKind(kind.name, kind.model, line);
        if (kind.letter) json.member("letter", letterOf(kind));
        json.member("length", kind.length);
        json.beginArray("fields");
        for (const Field& field : kind.fields) {
            json.newLine();
            add(kind, field);
        }
        json.EndArray();
        json.EndObject();
    }

    void add(const RecordKind& kind, const Field& field) {
        json.StartObject();
        json.member("field", field.name);
        some("label", field.label);
        json.member("type", nameOf(field.kind));
        if (field.column > 0) {
            json.member("column", field.column);
            json.member("width", field.width);
        }
        if (field.writtenWidth != field.width) json.member("writtenWidth", field.writtenWidth);
        if (field.kind == FieldKind::Decimal && field.decimals >= 0) json.member("decimals", field.decimals);
        some("codes", utf8::encode(field.codes));
        if (field.codesWritten != field.codes) some("codesWritten", shownCodes(field.codesWritten));
        some("blank", utf8::encode(field.blank));
        some("readInto", field.readInto);
        if (field.overlaid) json.member("sharesColumns", true);
        json.member("written", whenWritten(field));
        some("required", field.mandatory);
        const std::vector<ErrorReport> reports = reportsOf(kind, field);
        if (!reports.empty()) {
            json.beginArray("errors");
            for (const ErrorReport& report : reports) {
                json.StartObject();
                json.member("code", static_cast<int>(report.error.code));
                json.member("name", errorName(report.error.code));
                json.member("reportedColumn", report.error.column);
                json.member("when", report.when);
                json.EndObject();
            }
            json.EndArray();
        }
        json.EndObject();
    }

    // A code that cannot be written is a space.
    static std::string shownCodes(std::wstring codes) {
        for (wchar_t& code : codes)
            if (code == 0) code = L' ';
        return utf8::encode(codes);
    }

    void addKeyLine() {
        beginKind(shapeOf(LineKind::Key).name, keyModel, LineKind::Key);
        json.beginArray("fields");
        for (const KeyValue& value : keyValues) {
            json.newLine();
            json.StartObject();
            json.member("field", value.name);
            json.member("type", value.text ? "text" : "integer");
            if (value.secret) json.member("secret", true);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
    }

    void addAreas() {
        json.newLine();
        json.beginArray("areas");
        for (const AreaDefinition& area : areaDefinitions()) {
            json.newLine();
            json.StartObject();
            json.member("of", area.text->name);
            json.member("number", area.number);
            json.member("label", area.label->name);
            json.member("position", area.position->name);
            json.member("length", area.length->name);
            json.member("type", area.type->name);
            json.EndObject();
        }
        json.EndArray();
    }

    void addErrors() {
        json.newLine();
        json.beginArray("errors");
        for (const ErrorCode& error : errorCodes()) {
            json.newLine();
            json.StartObject();
            json.member("code", static_cast<int>(error.code));
            json.member("name", error.name);
            json.member("phase", error.phase);
            json.member("meaning", error.meaning);
            json.EndObject();
        }
        json.EndArray();
    }

    void addRules() {
        json.newLine();
        json.beginArray("rules");
        for (const Rule& rule : rules()) {
            json.newLine();
            json.StartObject();
            json.member("rule", rule.name);
            if (rule.code) json.member("code", rule.code);
            json.member("severity", rule.severity == Severity::Error     ? "error"
                                    : rule.severity == Severity::Warning ? "warning"
                                                                         : "hint");
            json.member("description", rule.description);
            if (isAboutFile(rule)) json.member("about", "file");
            if (isAboutRounds(rule)) json.member("about", "rounds");
            if (!rule.remedy.empty()) json.member("remedy", rule.remedy);
            json.EndObject();
        }
        json.EndArray();
    }

    JsonStream stream;
    JsonWriter json;
};

}  // namespace

void printFormat(Output& out) { FormatDocument(out).print(); }

}  // namespace tramo::cli
