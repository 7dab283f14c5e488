// The numbers of a round for programs: one JSON document a run.
#include "cli/commands/stats_report.h"
#include "cli/io/text.h"
#include "cli/report/jsonwriter.h"
#include <vector>

namespace tramo::cli {

namespace {

class JsonStats : public StatsReport {
public:
    explicit JsonStats(Output& to) : stream(to), json(stream) {
        json.beginDocument();
        json.newLine();
        json.beginArray("files");
    }

    void file(const std::string& name, const Stats& stats) override {
        json.newLine();
        json.StartObject();
        json.member("file", utf8::valid(nameOf(name)));
        members(stats);
        json.EndObject();
    }

    void end(const Stats& total) override {
        json.newLine();
        json.EndArray();
        json.newLine();
        json.beginObject("total");
        members(total);
        json.EndObject();
        json.EndObject();
        json.end();
    }

private:
    void members(const Stats& stats) {
        json.beginArray("rounds");
        for (const auto& [code, name] : stats.rounds) {
            json.StartObject();
            json.member("code", code);
            json.member("name", name);
            json.EndObject();
        }
        json.EndArray();
        json.member("lines", stats.lines);
        numbers("linesByKind", stats.byKind);
        json.member("linesNotRead", stats.notRead);
        json.member("unreadableValues", stats.unreadableFields);
        const Lines &known = stats.meters[SerialNumbers::Known], &read = stats.meters[SerialNumbers::Read];
        object("meters", {{"lines", known.all}, {"meters", known.meters}, {"read", read.meters},
                             {"unread", known.meters - read.meters}, {"readLines", read.all}});
        numbers("readingsByMethod", stats.methods);
        numbers("readingsByStatus", stats.states);
        object("consumption", {{"belowEstimate", stats.belowEstimate}, {"withinEstimate", stats.withinEstimate},
                                  {"aboveEstimate", stats.aboveEstimate}, {"notCompared", stats.notCompared}});
        object("consumptionAsComputed", {{"same", stats.asComputed}, {"other", stats.notAsComputed},
                                            {"notCompared", stats.notComputed}, {"rollOvers", stats.rollOvers}});
        json.beginArray("consumptionByFluid");
        for (const auto& [fluid, sum] : stats.consumption) {
            json.StartObject();
            json.member("fluid", fluid);
            json.member("readings", sum.readings);
            json.member("total", sum.total);
            json.EndObject();
        }
        json.EndArray();
        numbers("readingsByUserCode", readingsByAgent(stats));
        const Lines &modules = stats.modules[SerialNumbers::Known], &modulesRead = stats.modules[SerialNumbers::Read];
        object("radioModules",
            {{"lines", modules.all}, {"modules", modules.meters}, {"read", modulesRead.meters}, {"readLines", modulesRead.all}});
        json.beginArray("alarms");
        for (const auto& [alarm, count] : raisedAlarms(stats)) {
            json.StartObject();
            json.member("kind", kindOfAlarm(alarm));
            json.member("field", alarm->name);
            json.member("lines", count);
            json.EndObject();
        }
        json.EndArray();
        const Lines &located = stats.meters[SerialNumbers::Located], &changed = stats.meters[SerialNumbers::Changed],
                    &enquired = stats.meters[SerialNumbers::Enquired];
        object("located", {{"lines", located.all}, {"meters", located.meters}});
        object("changed", {{"lines", changed.all}, {"meters", changed.meters}});
        object("enquiryResults", {{"lines", enquired.all}, {"meters", enquired.meters}, {"areasAnswered", stats.areasAnswered}});
        if (!stats.first.empty()) {
            json.member("firstReading", stats.first);
            json.member("lastReading", stats.last);
        }
        numbers("readingsByDay", stats.days);
    }

    void object(const char* name, const std::vector<std::pair<const char*, Number>>& counts) {
        json.beginObject(name);
        for (const auto& [what, count] : counts) json.member(what, count);
        json.EndObject();
    }

    void numbers(const char* name, const Numbers& counts) {
        json.beginObject(name);
        for (const auto& [what, count] : counts) json.member(what, count);
        json.EndObject();
    }

    JsonStream stream;
    JsonWriter json;
};

}  // namespace

std::unique_ptr<StatsReport> makeJsonStats(Output& output) { return std::make_unique<JsonStats>(output); }

}  // namespace tramo::cli
