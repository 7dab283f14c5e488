// The modules of key lines for programs: one JSON document a run.
#include "cli/commands/keys_report.h"
#include "cli/io/text.h"
#include "cli/report/jsonwriter.h"
#include "cli/report/report.h"

namespace tramo::cli {

namespace {

class JsonKeys : public KeysReport {
public:
    explicit JsonKeys(Output& to) : out(to), stream(to), json(stream) {
        json.beginDocument();
        json.newLine();
        json.beginArray("files");
    }

    void file(const std::string& name, const Contents& contents) override {
        json.newLine();
        json.StartObject();
        json.member("file", utf8::valid(nameOf(name)));
        json.beginArray("modules");
        for (const Module& module : contents.modules) {
            add(module);
            out.settle();
        }
        json.newLine();
        json.EndArray();
        json.beginArray("findings");
        for (const Finding& finding : contents.findings) {
            add(finding);
            out.settle();
        }
        json.newLine();
        json.EndArray();
        json.member("errors", contents.total.errors);
        json.member("warnings", contents.total.warnings);
        json.EndObject();
    }

    void end() override {
        json.newLine();
        json.EndArray();
        json.EndObject();
        json.end();
    }

private:
    void add(const Module& module) {
        json.newLine();
        json.StartObject();
        json.member("line", module.line);
        for (const KeyValue& value : keyValues) {
            if (module.isAbsent(value)) continue;
            if (value.secret) addKey(module, value);
            else if (value.text) json.member(value.name, utf8::encode(module.values().*value.text));
            else addPart(value, module.values().wmBusAddress[value.part]);
        }
        json.EndObject();
    }

    void addKey(const Module& module, const KeyValue& key) {
        json.beginObject(key.name);
        json.member("length", std::uint64_t{module.form(key).length});
        json.member("hexadecimal", module.form(key).hexadecimal);
        if (!module.isMasked(key)) json.member("key", utf8::encode(module.values().*key.text));
        json.EndObject();
    }

    void addPart(const KeyValue& part, std::int32_t number) {
        json.member(part.name, int{number});
        const AddressMeaning* meaning = meaningOf(part);
        const std::string words = meaning ? meaning->of(number) : "";
        if (!words.empty()) json.member(meaning->name, words);
    }

    void add(const Finding& finding) {
        json.newLine();
        json.StartObject();
        json.member("severity", nameOf(finding.severity));
        json.member("rule", finding.rule->name);
        if (finding.line) json.member("line", finding.line);
        if (finding.column) json.member("column", finding.column);
        if (!finding.field.empty()) json.member("field", finding.field);
        json.member("message", sentenceOf(finding));
        json.EndObject();
    }

    Output& out;
    JsonStream stream;
    JsonWriter json;
};

}  // namespace

std::unique_ptr<KeysReport> makeJsonKeys(Output& output) { return std::make_unique<JsonKeys>(output); }

}  // namespace tramo::cli
