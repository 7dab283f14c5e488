#include "cli/commands/reconcile_report.h"
#include "cli/io/text.h"
#include "cli/lines/times.h"
#include "cli/report/jsonwriter.h"
#include "cli/tables/celltext.h"
#include "common/utf8.h"
#include <chrono>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <tramostream/linemodel.h>
#include <vector>

namespace tramo::cli {

namespace {

std::string codeOf(char32_t code) {
    return code == 0 ? std::string() : utf8::encode(std::wstring(1, static_cast<wchar_t>(code)));
}

using Counts = std::vector<std::pair<std::string, std::size_t>>;

Counts countsOf(const std::map<char32_t, std::size_t>& counts) {
    Counts all;
    for (const auto& [code, count] : counts) all.emplace_back(codeOf(code), count);
    return all;
}
Counts countsOf(const std::map<std::string, std::size_t>& counts) { return {counts.begin(), counts.end()}; }
Counts countsOf(const std::map<std::chrono::local_days, std::size_t>& counts) {
    Counts all;
    for (const auto& [day, count] : counts) all.emplace_back(dayOf(day), count);
    return all;
}

// "status 1: 46, status 2: 8"
std::string listed(const Counts& counts, const std::string& what, const std::string& blank) {
    std::vector<std::string> words;
    for (const auto& [name, count] : counts)
        words.push_back(fmt::format("{}: {}", name.empty() ? blank : what + printable(std::string_view(name)), count));
    return fmt::format("{}", fmt::join(words, ", "));
}

std::string titleOf(const ReconciledRound& round) {
    const Round& known = round.exported ? *round.exported : *round.returned;
    if (!known.header()) return "no round line";
    return printable(std::string_view(known.code() + (known.name().empty() ? "" : ", " + known.name())));
}

// Only all of something is 100 %, and only nothing is 0 %.
std::string shareOf(std::size_t count, std::size_t all) {
    if (all == 0) return {};
    const std::size_t percent = count * 100 / all;
    return fmt::format(" ({} %)", percent == 0 && count > 0 ? std::string("<1") : fmt::format("{}", percent));
}

std::string placeOf(const Difference& difference) {
    const auto number = [](std::int64_t line) { return line > 0 ? fmt::format("{}", line) : std::string("-"); };
    return number(difference.exportedLine) + " -> " + number(difference.returnedLine);
}

bool haveNoMeterInCommon(const Reconciliation& reconciled) {
    std::size_t exported = 0, returned = 0, both = 0;
    for (const ReconciledRound& round : reconciled.rounds()) {
        exported += round.exportedMeters;
        returned += round.returnedMeters;
        both += round.exportedMeters - round.missing;
    }
    return exported > 0 && returned > 0 && both == 0;
}

void printRound(Output& out, const ReconciledRound& round) {
    const auto row = [&](const char* name, std::size_t count, const std::string& details) {
        out.print("{}\n",
            details.empty() ? fmt::format("  {:<11}{:>7}", name, count) : fmt::format("  {:<11}{:>7}  {}", name, count, details));
    };
    out.print("round {}: {} of {} read{}\n", titleOf(round), round.read, counted(round.exportedMeters, "meter"),
        shareOf(std::min(round.read, round.exportedMeters), round.exportedMeters));
    if (!round.returned) out.print("  the round did not come back\n");
    if (!round.exported) out.print("  the round was not exported\n");
    row("missing", round.missing, "");
    row("added", round.added, "");
    std::string read = listed(countsOf(round.byStatus), "status ", "no status");
    if (round.read > 0) read += "; " + listed(countsOf(round.byMethod), "method ", "no method");
    row("read", round.read, read);
    row("unread", round.unread, listed(countsOf(round.unreadByReason), "", "no marking code"));
    row("replaced", round.replaced, "");
    row("corrected", round.corrected, round.corrected > 0 ? "another serial number was found" : "");
    row("located", round.located, "");
    row("answers", round.answers, round.answers > 0 ? fmt::format("of {}", counted(round.answered, "meter")) : std::string());
    row("days", round.byDay.size(), listed(countsOf(round.byDay), "", ""));
    row("agents", round.byAgent.size(), listed(countsOf(round.byAgent), "", "no user code"));
}

}  // namespace

void printReconcileText(Output& out, const Reconciliation& reconciled, const ReconcileChoice& choice) {
    constexpr std::size_t most = 40;
    out.print("{} -> {}\n", printable(nameOf(choice.exported)), printable(nameOf(choice.returned)));
    if (haveNoMeterInCommon(reconciled)) out.print("the files have no meter in common: are they the same round?\n");
    for (const ReconciledRound& round : reconciled.rounds()) {
        out.print("\n");
        printRound(out, round);
        out.settle();
    }
    std::size_t shown = 0;
    const auto print = [&](const Difference& difference) {
        if (++shown > most && !choice.all) return;
        if (shown == 1) out.print("\nto look at (meter, line exported -> returned):\n");
        const std::string serial = difference.serial.empty() ? "-" : printable(std::string_view(difference.serial));
        const bool ofField = difference.what == Difference::FieldChanged;
        out.print("  {:<12}  {:>11}  {}{}\n", serial, placeOf(difference),
            ofField ? std::string(difference.kind) + ": " : std::string(), sentenceOf(difference));
        out.settle();
    };
    for (const ReconciledRound& round : reconciled.rounds())
        for (const Difference& difference : round.differences) print(difference);
    for (const Difference& difference : reconciled.differences()) print(difference);
    if (!choice.all && shown > most) out.print("  ... and {} more; --all lists them\n", shown - most);
    const std::size_t count = reconciled.count();
    out.print("\n{}\n", count == 0 ? std::string("nothing must be looked at")
                                   : fmt::format("{} must be looked at", counted(count, "difference")));
}

namespace {

class JsonReport {
public:
    explicit JsonReport(Output& to) : out(to), stream(to), json(stream) {}

    void print(const Reconciliation& reconciled, const ReconcileChoice& choice) {
        json.beginDocument();
        json.member("exported", utf8::valid(nameOf(choice.exported)));
        json.member("returned", utf8::valid(nameOf(choice.returned)));
        json.member("differences", std::uint64_t{reconciled.count()});
        json.member("noMeterInCommon", haveNoMeterInCommon(reconciled));
        json.newLine();
        json.beginArray("rounds");
        for (const ReconciledRound& round : reconciled.rounds()) add(round);
        json.EndArray();
        json.newLine();
        json.beginArray("toLookAt");
        for (const ReconciledRound& round : reconciled.rounds())
            for (const Difference& difference : round.differences) add(difference);
        for (const Difference& difference : reconciled.differences()) add(difference);
        json.newLine();
        json.EndArray();
        json.EndObject();
        json.end();
    }

private:
    void add(const ReconciledRound& round) {
        const Round& known = round.exported ? *round.exported : *round.returned;
        json.newLine();
        json.StartObject();
        json.member("code", known.code());
        json.member("name", known.name());
        json.member("wasExported", round.exported != nullptr);
        json.member("cameBack", round.returned != nullptr);
        const std::pair<const char*, std::size_t> numbers[] = {{"exportedMeters", round.exportedMeters},
            {"returnedMeters", round.returnedMeters}, {"missing", round.missing}, {"added", round.added}, {"read", round.read},
            {"unread", round.unread}, {"replaced", round.replaced}, {"corrected", round.corrected}, {"located", round.located},
            {"answered", round.answered}, {"answers", round.answers}};
        for (const auto& [name, number] : numbers) json.member(name, std::uint64_t{number});
        addCounts("byStatus", countsOf(round.byStatus));
        addCounts("byMethod", countsOf(round.byMethod));
        addCounts("unreadByMarkingCode", countsOf(round.unreadByReason));
        addCounts("byDay", countsOf(round.byDay));
        addCounts("byAgent", countsOf(round.byAgent));
        json.beginArray("meters");
        for (const ReconciledMeter& meter : round.meters) add(meter);
        json.newLine();
        json.EndArray();
        json.EndObject();
        out.settle();
    }

    void addCounts(const char* name, const Counts& counts) {
        json.beginObject(name);
        for (const auto& [what, count] : counts) json.member(what, std::uint64_t{count});
        json.EndObject();
    }

    void add(const ReconciledMeter& meter) {
        json.newLine();
        json.StartObject();
        json.member("meter", meter.serial);
        json.member("state", stateOf(meter));
        if (const std::string serial = meter.newSerial(); !serial.empty()) json.member("newMeter", serial);
        if (meter.differences > 0) json.member("differences", std::uint64_t{meter.differences});
        json.EndObject();
        out.settle();
    }

    void add(const Difference& difference) {
        json.newLine();
        json.StartObject();
        json.member("what", nameOf(difference.what));
        if (!difference.serial.empty()) json.member("meter", difference.serial);
        if (!difference.kind.empty()) json.member("kind", difference.kind);
        if (difference.field) {
            json.member("field", difference.field->name);
            json.member("before", difference.before);
            json.member("after", difference.after);
        }
        if (difference.finding) json.member("rule", difference.finding->rule->name);
        if (difference.exportedLine) json.member("exportedLine", static_cast<long long>(difference.exportedLine));
        if (difference.returnedLine) json.member("returnedLine", static_cast<long long>(difference.returnedLine));
        json.member("sentence", sentenceOf(difference));
        json.EndObject();
        out.settle();
    }

public:
    static std::string_view stateOf(const ReconciledMeter& meter) {
        static constexpr std::string_view names[] = {"read", "unread", "missing", "added"};
        return names[meter.state];
    }

private:
    Output& out;
    JsonStream stream;
    JsonWriter json;
};

}  // namespace

void printReconcileJson(Output& out, const Reconciliation& reconciled, const ReconcileChoice& choice) {
    JsonReport(out).print(reconciled, choice);
}

void printReconcileCsv(Output& out, const Reconciliation& reconciled) {
    out.print("round,meter,state,readingDate,index,consumption,status,method,agent,markingCode,newMeter,correctedSerial,"
              "latitude,longitude,answers,toLookAt\r\n");
    for (const ReconciledRound& round : reconciled.rounds())
        for (const ReconciledMeter& meter : round.meters) {
            std::vector<std::string> cells{round.exported ? round.exported->code() : round.returned->code(), meter.serial,
                std::string(JsonReport::stateOf(meter))};
            const auto number = [](const auto& value) { return value ? fmt::format("{}", *value) : std::string(); };
            const auto reading = meter.returned ? meter.returned->reading() : std::nullopt;
            const auto text = [&](const char* field) {
                return meter.returned ? meter.returned->subscriber().text(field).value_or(std::string()) : std::string();
            };
            cells.push_back(reading ? timeOf(reading->at) : std::string());
            cells.push_back(reading ? number(reading->index) : std::string());
            cells.push_back(reading ? number(reading->consumption) : std::string());
            cells.push_back(reading ? codeOf(reading->status.value_or(0)) : std::string());
            cells.push_back(reading ? codeOf(reading->method.value_or(0)) : std::string());
            cells.push_back(text("meterReadingUserCode"));
            cells.push_back(text("meterMarkingCode"));
            cells.push_back(meter.newSerial());
            cells.push_back(text("meterCorrectedSerialNumber"));
            const auto place = meter.returned ? meter.returned->place() : std::nullopt;
            cells.push_back(place ? fmt::format("{}", place->latitude) : std::string());
            cells.push_back(place ? fmt::format("{}", place->longitude) : std::string());
            cells.push_back(meter.returned ? fmt::format("{}", meter.returned->answers().size()) : std::string());
            std::string notes;
            for (std::size_t i = 0; i < meter.differences; ++i)
                notes += (i > 0 ? "; " : "") + sentenceOf(round.differences[meter.firstDifference + i]);
            cells.push_back(std::move(notes));
            for (std::size_t i = 0; i < cells.size(); ++i) {
                if (i > 0) out.print(",");
                // A negative coordinate is a number, not a formula.
                if (i == 12 || i == 13) out.print("{}", cells[i]);
                else appendCsv(out.buffer(), utf8::decode(cells[i]));
            }
            out.print("\r\n");
            out.settle();
        }
}

}  // namespace tramo::cli
