#include "page/reconciled.h"
#include "common/concat.h"
#include "common/utf8.h"
#include "page/column.h"
#include <chrono>
#include <map>

namespace tramo::page {

namespace {

std::string nameOf(const std::string& text) { return text; }
std::string nameOf(char32_t code) {
    std::string text;
    if (code != 0) utf8::append(text, code);
    return text;
}
std::string nameOf(std::chrono::local_days day) {
    const std::chrono::year_month_day date(day);
    return concat(padded(static_cast<int>(date.year()), 4), '-', padded(static_cast<int>(static_cast<unsigned>(date.month())), 2),
        '-', padded(static_cast<int>(static_cast<unsigned>(date.day())), 2));
}

template <class Key> void writeCounts(JsonText& json, std::string_view name, const std::map<Key, std::size_t>& counts) {
    json.beginObject(name);
    for (const auto& [what, count] : counts) json.member(nameOf(what), count);
    json.endObject();
}

void writeMeters(JsonText& json, const ReconciledRound& round) {
    static constexpr std::string_view states[] = {"read", "unread", "missing", "added"};
    TextColumn serials, ofStates, newSerials;
    IntegerColumn differences;
    for (const ReconciledMeter& meter : round.meters) {
        serials.add(meter.serial);
        ofStates.add(states[meter.state]);
        newSerials.addIfAny(meter.newSerial());
        differences.add(static_cast<long long>(meter.differences));
    }
    json.beginObject("meters");
    json.member("n", round.meters.size());
    writeColumn(json, "serial", serials);
    writeColumn(json, "state", ofStates);
    writeColumn(json, "newSerial", newSerials);
    writeColumn(json, "differences", differences);
    json.endObject();
}

void writeRound(JsonText& json, const ReconciledRound& round) {
    const Round& known = round.exported ? *round.exported : *round.returned;
    json.beginObject();
    json.member("code", known.code());
    json.member("name", known.name());
    json.member("wasExported", round.exported != nullptr);
    json.member("cameBack", round.returned != nullptr);
    const std::pair<std::string_view, std::size_t> numbers[] = {{"exportedMeters", round.exportedMeters},
        {"returnedMeters", round.returnedMeters}, {"missing", round.missing}, {"added", round.added}, {"read", round.read},
        {"unread", round.unread}, {"replaced", round.replaced}, {"corrected", round.corrected}, {"located", round.located},
        {"answered", round.answered}, {"answers", round.answers}};
    for (const auto& [name, number] : numbers) json.member(name, number);
    writeCounts(json, "byStatus", round.byStatus);
    writeCounts(json, "byMethod", round.byMethod);
    writeCounts(json, "unreadByMarkingCode", round.unreadByReason);
    writeCounts(json, "byDay", round.byDay);
    writeCounts(json, "byAgent", round.byAgent);
    writeMeters(json, round);
    json.endObject();
}

struct DifferenceColumns {
    TextColumn what, serials, kinds, fields, before, after, rules, sentences;
    IntegerColumn exported, returned;

    void add(const Difference& difference) {
        const auto number = [](IntegerColumn& to, std::int64_t line) { line > 0 ? to.add(line) : to.addNone(); };
        what.add(tramo::nameOf(difference.what));
        serials.addIfAny(difference.serial);
        kinds.addIfAny(difference.kind);
        fields.addIfAny(difference.field ? std::string_view(difference.field->name) : std::string_view());
        before.addIfAny(difference.before);
        after.addIfAny(difference.after);
        rules.addIfAny(difference.finding ? difference.finding->rule->name : std::string_view());
        number(exported, difference.exportedLine);
        number(returned, difference.returnedLine);
        sentences.add(sentenceOf(difference));
    }
    void write(JsonText& json) const {
        json.beginObject("differences");
        json.member("n", what.rows());
        writeColumn(json, "what", what);
        writeColumn(json, "meter", serials);
        writeColumn(json, "kind", kinds);
        writeColumn(json, "field", fields);
        writeColumn(json, "before", before);
        writeColumn(json, "after", after);
        writeColumn(json, "rule", rules);
        writeColumn(json, "exportedLine", exported);
        writeColumn(json, "returnedLine", returned);
        writeColumn(json, "sentence", sentences);
        json.endObject();
    }
};

}  // namespace

std::string reconciledJson(const Reconciliation& reconciled) {
    return jsonOf([&](JsonText& json) {
        DifferenceColumns differences;
        json.beginObject();
        json.beginArray("rounds");
        for (const ReconciledRound& round : reconciled.rounds()) {
            writeRound(json, round);
            for (const Difference& difference : round.differences) differences.add(difference);
        }
        json.endArray();
        for (const Difference& difference : reconciled.differences()) differences.add(difference);
        differences.write(json);
        json.endObject();
    });
}

}  // namespace tramo::page
