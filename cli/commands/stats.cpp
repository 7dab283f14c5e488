// tramo stats: a round in numbers.
#include "cli/lines/filewalk.h"
#include "cli/report/jsonwriter.h"
#include "cli/report/summary.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <tramostream/linemodel.h>
#include <unordered_map>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Summarize a round: meters, readings, alarms and dates.

Examples:
  tramo stats samples/round-returned.txt      how many meters are read, and when
  tramo stats samples/round-*.txt             each file, and a total
  tramo stats --format json round.txt         the same for programs

Usage: tramo stats [OPTION]... FILE...

Meters are counted by serial number: a number that appears in several lines,
also of several files, is one meter. Where the counts of lines and meters
differ, both are shown; a line without a serial number is only counted as a
line. Radio modules are counted the same way. A meter is read when one of its
subscriber lines has a reading date.

Readings, alarms and answered areas are counted by lines. The consumption of a
reading is compared with the estimate where it and both bounds are present. A
meter is located when an extended data line has its latitude and longitude. An
area of an enquiry is answered when it has a code or a result. The days are
those of the readings in subscriber lines, in local time; when there are many,
they are grouped by month or year.

Empty lines and malformed lines (wrong length, unknown type) are counted and not
read. A value that cannot be read counts as absent. "tramo check" reports both.

Options:
  --encoding WHAT     auto (by the byte order mark), ansi, utf16le
  --format WHAT       text, json
  -h, --help          show this page

"-" is the standard input.

Exit codes:
  0  all files were read
  2  the command line is invalid, or a file cannot be read to its end (the
     others are still counted)
  3  the output could not be written
)";

using Number = std::uint64_t;
using Numbers = std::map<std::string, Number>;

void addTo(Numbers& sum, const Numbers& others) {
    for (const auto& [name, count] : others) sum[name] += count;
}

// Lines, and how many meters or modules these are about.
struct Lines {
    Number all = 0, meters = 0;  ///< meters: serial numbers
};

// What has been said of the meters (or radio modules) of each serial number.
class SerialNumbers {
public:
    enum About : unsigned char { Known, Read, Located, Changed, Enquired };

    void add(const std::string& serialNumber, About what) {
        ++found[what].all;
        if (!serialNumber.empty()) note(serialNumber, bit(what));
    }

    SerialNumbers& operator+=(const SerialNumbers& other) {
        for (std::size_t what = 0; what < found.size(); ++what) found[what].all += other.found[what].all;
        for (const auto& [serialNumber, notes] : other.said) note(serialNumber, notes);
        return *this;
    }

    const Lines& operator[](About what) const { return found[what]; }

private:
    static unsigned char bit(std::size_t what) { return static_cast<unsigned char>(1U << what); }

    void note(const std::string& serialNumber, unsigned char notes) {
        unsigned char& known = said[serialNumber];
        for (std::size_t what = 0; what < found.size(); ++what) found[what].meters += (notes & ~known & bit(what)) != 0;
        known |= notes;
    }

    std::array<Lines, 5> found{};
    std::unordered_map<std::string, unsigned char> said;  ///< a bit for each About
};

struct Stats {
    bool isWhole = true;  ///< nothing was left unread
    Number lines = 0, notRead = 0, unreadableFields = 0;
    Numbers byKind;

    SerialNumbers meters, modules;
    Number linesWithoutMeter = 0, linesWithoutModule = 0;
    Numbers methods, states;  ///< of readings; "" is none
    Number belowEstimate = 0, withinEstimate = 0, aboveEstimate = 0, notCompared = 0;
    std::map<const Field*, Number> alarms;
    Number areasAnswered = 0;
    std::string first, last;  ///< times of readings
    Numbers days;

    Stats& operator+=(const Stats& other) {
        isWhole &= other.isWhole;
        lines += other.lines, notRead += other.notRead, unreadableFields += other.unreadableFields;
        addTo(byKind, other.byKind);
        meters += other.meters, modules += other.modules;
        linesWithoutMeter += other.linesWithoutMeter, linesWithoutModule += other.linesWithoutModule;
        addTo(methods, other.methods), addTo(states, other.states);
        belowEstimate += other.belowEstimate, withinEstimate += other.withinEstimate;
        aboveEstimate += other.aboveEstimate, notCompared += other.notCompared;
        for (const auto& [field, count] : other.alarms) alarms[field] += count;
        areasAnswered += other.areasAnswered;
        if (!other.first.empty()) addTime(other.first), addTime(other.last);
        addTo(days, other.days);
        return *this;
    }

    void addTime(const std::string& time) {
        if (first.empty() || time < first) first = time;
        last = std::max(last, time);
    }
};

// A record and the values in it that mean something here.
class Values {
public:
    explicit Values(const LineModel& record) : model(record), kind(record.kind()) {}

    bool hasField(std::string_view name) const { return kind.field(name); }

    /// nullopt: the record has no such field, or the field no value.
    std::optional<FieldValue> value(std::string_view name) const {
        const Field* field = kind.field(name);
        if (!field) return std::nullopt;
        FieldValue found = model.get(*field);
        return isAbsent(*field, found) ? std::nullopt : std::optional(std::move(found));
    }
    bool has(std::string_view name) const { return value(name).has_value(); }

    std::wstring text(std::string_view name) const {
        const auto found = value(name);
        return found ? textOf(*kind.field(name), *found) : std::wstring();
    }
    std::string word(std::string_view name) const { return utf8::encode(text(name)); }

    /// NaN: absent.
    double decimal(std::string_view name) const {
        const auto found = value(name);
        if (!found) return std::nan("");
        const auto* whole = std::get_if<long long>(&*found);
        return whole ? static_cast<double>(*whole) : std::get<double>(*found);
    }

    const LineModel& model;
    const RecordKind& kind;
};

void countMeter(const Values& meter, Stats& stats) {
    const std::string serialNumber = meter.word("meterSerialNumber");
    stats.meters.add(serialNumber, SerialNumbers::Known);
    stats.linesWithoutMeter += serialNumber.empty();
    if (!meter.has("meterReadingDate")) return;
    stats.meters.add(serialNumber, SerialNumbers::Read);
    ++stats.methods[meter.word("meterReadingMethod")];
    ++stats.states[meter.word("meterReadingStatus")];

    const double consumption = meter.decimal("meterReadingConsumption");
    const double least = meter.decimal("meterMinEstimatedConsumption"), most = meter.decimal("meterMaxEstimatedConsumption");
    if (std::isnan(consumption) || std::isnan(least) || std::isnan(most)) ++stats.notCompared;
    else if (consumption < least) ++stats.belowEstimate;
    else if (consumption > most) ++stats.aboveEstimate;
    else ++stats.withinEstimate;

    const std::string time = meter.word("meterReadingDate");
    stats.addTime(time);
    ++stats.days[time.substr(0, time.find('T'))];
}

void countModule(const Values& module, Stats& stats) {
    const std::string serialNumber = module.word("serialNumber");
    stats.modules.add(serialNumber, SerialNumbers::Known);
    stats.linesWithoutModule += serialNumber.empty();
    if (module.has("currentReadingDate")) stats.modules.add(serialNumber, SerialNumbers::Read);
}

void countEnquiry(const Values& enquiry, Stats& stats) {
    stats.meters.add(enquiry.word("meterSerialNumber"), SerialNumbers::Enquired);
    for (int area = 1; enquiry.hasField(fmt::format("area{}Mode", area)); ++area)
        stats.areasAnswered += enquiry.has(fmt::format("area{}Code", area)) || enquiry.has(fmt::format("area{}Result", area));
}

// The alarms of a kind of record: its flags that are called so.
const std::vector<const Field*>& alarmsOf(const RecordKind& kind) {
    static const auto all = [] {
        std::map<const RecordKind*, std::vector<const Field*>> alarms;
        for (const RecordKind* one : allKinds()) {
            auto& fields = alarms[one];
            for (const Field& field : one->fields)
                if (field.kind == FieldKind::Flag && field.name.find("Alarm") != std::string::npos) fields.push_back(&field);
        }
        return alarms;
    }();
    return all.at(&kind);
}

void countRecord(const LineModel& model, Stats& stats) {
    stats.unreadableFields += model.parseErrors().size();
    const Values record(model);
    for (const Field* alarm : alarmsOf(record.kind)) stats.alarms[alarm] += std::get<bool>(model.get(*alarm));
    if (record.hasField("meterReadingDate")) countMeter(record, stats);
    if (record.hasField("currentReadingDate")) countModule(record, stats);
    if (record.hasField("oldMeterSerialNumber")) stats.meters.add(record.word("oldMeterSerialNumber"), SerialNumbers::Changed);
    if (record.hasField("area1Mode")) countEnquiry(record, stats);
    if (std::isfinite(record.decimal("latitude")) && std::isfinite(record.decimal("longitude")))
        stats.meters.add(record.word("meterSerialNumber"), SerialNumbers::Located);
}

Stats statsOf(Input& input) {
    Stats stats;
    CheckSummary summary;
    std::vector<Finding> damage;
    stats.isWhole = forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) {
        ++stats.lines;
        summary.add(line.text, kind);
        damage.clear();
        if (!checkShape(line, kind, damage)) ++stats.notRead;
        else if (const auto model = LineModel::of(*kind, line.text)) countRecord(*model, stats);
    });
    for (const LinesOfKind& kind : summary.lineKinds()) stats.byKind[kind.name] = kind.lines;
    return stats;
}

// The alarms that were raised, most frequent first.
std::vector<std::pair<const Field*, Number>> raised(const Stats& stats) {
    std::vector<std::pair<const Field*, Number>> alarms;
    for (const RecordKind* kind : allKinds())
        for (const Field* alarm : alarmsOf(*kind))
            if (const auto found = stats.alarms.find(alarm); found != stats.alarms.end() && found->second)
                alarms.emplace_back(alarm, found->second);
    std::ranges::stable_sort(alarms, std::greater{}, [](const auto& alarm) { return alarm.second; });
    return alarms;
}

const std::string& kindOfAlarm(const Field* alarm) {
    const auto found = std::ranges::find_if(
        allKinds(), [&](const RecordKind* kind) { return std::ranges::find(alarmsOf(*kind), alarm) != alarmsOf(*kind).end(); });
    return (*found)->name;
}

// The readings by days, or by months or years when that makes more than a screen of them.
Numbers periods(const Numbers& days) {
    constexpr std::size_t mostRows = 31;
    Numbers rows = days;
    for (const std::size_t length : {std::size_t{7}, std::size_t{4}}) {
        if (rows.size() <= mostRows) break;
        rows.clear();
        for (const auto& [day, count] : days) rows[day.substr(0, length)] += count;
    }
    return rows;
}

bool isUtf8Locale() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(name);
        if (!value || !*value) continue;
        const std::string_view locale = value;
        return locale.find("UTF-8") != std::string_view::npos || locale.find("utf8") != std::string_view::npos;
    }
    return false;
}

// A bar of 40 characters for the greatest count, with eighths of a character where they can be shown.
std::string bar(Number count, Number most, bool blocks) {
    constexpr Number width = 40;
    std::string text;
    if (!blocks) return std::string((count * width + most - 1) / most, '#');
    static constexpr const char* eighths[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    const Number length = std::max<Number>(count * width * 8 / most, 1);
    for (Number i = 0; i < length / 8; ++i) text += "█";
    return text + eighths[length % 8];
}

class TextStats {
public:
    explicit TextStats(Output& to) : out(to) {}

    void print(const std::string& title, const Stats& stats) {
        if (!isFirst) out.print("\n");
        isFirst = false;
        out.print("{}\n  lines {}\n", title, stats.lines);
        for (const auto& [name, count] : stats.byKind) row(count, name);
        if (stats.notRead) row(stats.notRead, "of them malformed, not read");
        if (stats.unreadableFields) row(stats.unreadableFields, "unreadable values, taken as absent");
        if (stats.meters[SerialNumbers::Known].all) printMeters(stats);
        if (stats.modules[SerialNumbers::Known].all) {
            out.print("  radio modules {}\n", meters(stats.modules[SerialNumbers::Known]));
            printLines(stats.modules[SerialNumbers::Read], "with a current reading");
            printWithout(stats.linesWithoutModule);
        }
        const auto alarms = raised(stats);
        if (!alarms.empty()) out.print("  alarms\n");
        for (const auto& [alarm, count] : alarms) row(count, fmt::format("{} ({})", alarm->name, kindOfAlarm(alarm)));
        const Lines &located = stats.meters[SerialNumbers::Located], &changed = stats.meters[SerialNumbers::Changed],
                    &enquired = stats.meters[SerialNumbers::Enquired];
        if (located.all + changed.all + enquired.all) out.print("  about meters\n");
        if (located.all) printLines(located, "located");
        if (changed.all) printLines(changed, "changed");
        if (enquired.all) {
            printLines(enquired, "with enquiry results");
            row(stats.areasAnswered, "areas answered");
        }
        if (!stats.first.empty()) printDays(stats);
    }

private:
    void row(Number count, const std::string& what) { out.print("  {:>8}  {}\n", count, what); }

    void printMeters(const Stats& stats) {
        const Lines &known = stats.meters[SerialNumbers::Known], &read = stats.meters[SerialNumbers::Read];
        out.print("  meters {}\n", meters(known));
        printLines(read, "read");
        row(known.meters - read.meters, "not read");
        printWithout(stats.linesWithoutMeter);
        if (read.all == 0) return;
        out.print("  readings\n");
        printCodes(stats.methods, "method");
        printCodes(stats.states, "status");
        row(stats.belowEstimate, "consumption below the estimate");
        row(stats.withinEstimate, "consumption within the estimate");
        row(stats.aboveEstimate, "consumption above the estimate");
        if (stats.notCompared) row(stats.notCompared, "consumption or estimate missing");
    }

    void printCodes(const Numbers& codes, const char* what) {
        for (const auto& [code, count] : codes)
            row(count, code.empty() ? fmt::format("without {}", what) : fmt::format("{} {}", what, printable(code)));
    }

    static std::string inLines(const Lines& found) {
        return found.all == found.meters ? std::string() : ", in " + counted(found.all, "line");
    }
    static std::string meters(const Lines& found) { return std::to_string(found.meters) + inLines(found); }

    void printLines(const Lines& found, const char* what) { row(found.meters, what + inLines(found)); }
    void printWithout(Number lines) {
        if (lines) row(lines, fmt::format("line{} without a serial number", lines == 1 ? "" : "s"));
    }

    void printDays(const Stats& stats) {
        out.print("  read from {} to {}\n", stats.first, stats.last);
        const Numbers rows = periods(stats.days);
        const auto most = std::ranges::max_element(rows, {}, [](const auto& row) { return row.second; });
        for (const auto& [period, count] : rows)
            out.print("  {:>8}  {:<10}  {}\n", count, period, bar(count, most->second, blocks));
    }

    Output& out;
    const bool blocks = isUtf8Locale();
    bool isFirst = true;
};

class JsonStats {
public:
    explicit JsonStats(Output& to) : stream(to), json(stream) {
        json.beginDocument();
        json.newLine();
        json.beginArray("files");
    }

    void file(const std::string& name, const Stats& stats) {
        json.newLine();
        json.StartObject();
        json.member("file", utf8::valid(nameOf(name)));
        members(stats);
        json.EndObject();
    }

    void end(const Stats& total) {
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
        const Lines &modules = stats.modules[SerialNumbers::Known], &modulesRead = stats.modules[SerialNumbers::Read];
        object("radioModules",
            {{"lines", modules.all}, {"modules", modules.meters}, {"read", modulesRead.meters}, {"readLines", modulesRead.all}});
        json.beginArray("alarms");
        for (const auto& [alarm, count] : raised(stats)) {
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

struct Options {
    std::vector<std::string> files;
    EncodingChoice encoding = std::nullopt;
    bool json = false;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", format = "text";
    Arguments given;
    given.option("--encoding", encoding);
    given.option("--format", format);
    options.files = given.parseFiles(std::move(arguments));
    options.encoding = encodingChoice("--encoding", encoding);
    options.json = chosen<bool>("--format", format, {{"text", false}, {"json", true}});
    return options;
}

int run(std::vector<std::string> arguments) {
    Output out;
    const Options options = parse(std::move(arguments));

    std::optional<JsonStats> json;
    if (options.json) json.emplace(out);
    TextStats text(out);
    Stats total;
    const bool allRead = forEachFile(options.files, [&](const std::string& file) {
        Input input(file, options.encoding);
        const Stats stats = statsOf(input);
        if (json) json->file(file, stats);
        else text.print(input.name(), stats);
        out.flush();
        total += stats;
    });
    if (json) json->end(total);
    else if (options.files.size() > 1) text.print(fmt::format("in all {} files", options.files.size()), total);
    out.flush();
    return allRead && total.isWhole ? nothingFound : notUsable;
}

}  // namespace

const Command statsCommand{"stats", "summarize a round", help, run};

}  // namespace tramo::cli
