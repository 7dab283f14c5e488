// The differences of two files for programs: one JSON document.
#include "cli/commands/diff_report.h"
#include "cli/io/text.h"
#include "cli/report/jsonwriter.h"

namespace tramo::cli {

namespace {

class JsonDiff : public DiffReport {
public:
    JsonDiff(Output& to, const DiffChoice& chosenOptions) : out(to), options(chosenOptions), stream(to), json(stream) {}

    void begin(bool areDifferentRounds) override {
        json.beginDocument();
        json.member("old", utf8::valid(nameOf(options.oldFile)));
        json.member("new", utf8::valid(nameOf(options.newFile)));
        json.member("exact", options.diff.exact);
        json.member("onlyReadings", options.diff.onlyReadings);
        json.member("differentRounds", areDifferentRounds);
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
        for (const LineChangeKind what : {Changed, Added, Removed}) json.member(whatNames[what], count.lines[what]);
    }

    Output& out;
    const DiffChoice& options;
    JsonStream stream;
    JsonWriter json;
};

}  // namespace

std::unique_ptr<DiffReport> makeJsonDiff(Output& output, const DiffChoice& options) {
    return std::make_unique<JsonDiff>(output, options);
}

}  // namespace tramo::cli
