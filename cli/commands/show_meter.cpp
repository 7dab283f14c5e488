#include "cli/commands/show_meter.h"
#include "cli/io/colours.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/io/wrap.h"
#include "cli/lines/times.h"
#include "cli/report/report.h"
#include "cli/shell/command.h"
#include "common/suggestion.h"
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <system_error>
#include <tramostream/round.h>
#include <utility>

namespace tramo::cli {

namespace {

// A time, or only its day if the field holds no more.
std::string timeAt(const Origin& origin, std::chrono::sys_seconds time) {
    constexpr int widthOfDay = 8;
    std::string text = timeOf(time);
    std::ranges::replace(text, 'T', ' ');
    if (origin.width == widthOfDay) text.resize(text.find(' '));
    return text;
}

template <class T> std::string wordOf(const std::optional<T>& number) {
    return number ? fmt::format("{}", *number) : std::string("-");
}
std::string wordOf(const std::optional<std::chrono::local_days>& day) { return day ? dayOf(*day) : std::string("-"); }
std::string wordOf(const std::optional<char32_t>& code) {
    return code ? printable(std::wstring(1, static_cast<wchar_t>(*code))) : std::string("-");
}

std::string consumptionOf(const Meter& meter, const Reading& reading) {
    const auto written = reading.consumption, difference = meter.difference();
    std::string text = written ? fmt::format("{} as written", *written) : "not written";
    if (!difference) return text;
    text += written == difference ? " and as computed" : fmt::format(", {} as computed", *difference);
    if (reading.index < meter.subscriber().value<long long>("meterPreviousReadingIndex")) text += " with a roll-over";
    return text;
}

bool isMalformed(const LineView& line) { return line.fault() != LineFault::None && line.fault() != LineFault::Empty; }

// What is said about a meter, each part with its place in the file.
class MeterPage {
public:
    MeterPage(Output& to, const ShowOptions& chosenOptions)
        : out(to), options(chosenOptions), colours(coloursIf(options.colour)), width(terminalWidth(stdout)) {}

    void print(const Round& round, const Meter& meter, std::span<const Finding> findings) {
        if (std::exchange(anyShown, true)) out.print("\n");
        out.print("{}{}:{}  meter {}, {}{}\n", colours.heading, printable(nameOf(options.file)), meter.subscriber().number(),
            printable(meter.serial()), meter.state() == Meter::State::Read ? "read" : "not read", colours.off);
        if (const LineView* header = round.header())
            add({header->number()}, "round", round.code() + (round.name().empty() ? "" : ", " + round.name()));
        for (const AreaText& area : meter.areas()) add(area.origin, area.area ? labelOf(*area.area) : "other text", area.text);
        addMeter(meter.subscriber());
        addReadings(meter);
        addModules(meter);
        for (const MeterChange& change : meter.changes())
            add(change.origin, "meter change",
                fmt::format("{} -> {} on {}, index {}, wheels {}", change.oldSerial, change.newSerial, wordOf(change.day),
                    wordOf(change.newIndex), wordOf(change.newWheels)));
        for (const Answer& answer : meter.answers()) add(answer.origin, questionOf(answer), answerOf(answer));
        if (const auto place = meter.place()) addPlace(*place);
        addLines(meter);
        for (const Finding& finding : findings) {
            const bool isError = finding.severity == Severity::Error, isWarning = finding.severity == Severity::Warning;
            add({finding.line, finding.column}, nameOf(finding.severity), sentenceOf(finding),
                isError     ? colours.error
                : isWarning ? colours.warning
                            : colours.note);
        }
        printRows();
    }

    // Lines that may belong to a meter that was printed.
    void printNotes(const RoundFile& file, std::span<const Finding> joins) {
        for (const LineView& line : file.lines())
            if (isMalformed(line) && line.utf8().find(options.meter) != std::string::npos)
                note(line.number(), 0, fmt::format("{}; it contains \"{}\"", describe(line.fault()), options.meter));
        for (const Finding& finding : joins)
            if (finding.rule->name == "LineWithoutMeter") note(finding.line, finding.column, sentenceOf(finding));
        if (notes > mostNotes) {
            const std::size_t more = notes - mostNotes;
            out.print("{}note:{} {} more belong{} to no meter\n", colours.note, colours.off, counted(more, "line"),
                more == 1 ? "s" : "");
        }
    }

private:
    static constexpr std::size_t mostNotes = 5;

    struct Row {
        std::string place, label, text;
        const char* colour = "";  ///< of the label
    };

    void note(std::int64_t line, int column, const std::string& text) {
        if (++notes > mostNotes) return;
        if (notes == 1) out.print("\n");
        const std::string place = column ? fmt::format("{}:{}", line, column) : fmt::to_string(line);
        out.print("{}note:{} {}:{}: {}\n", colours.note, colours.off, printable(nameOf(options.file)), place, printable(text));
    }

    void add(const Origin& origin, std::string_view label, std::string_view text, const char* colour = "") {
        std::string place = fmt::to_string(origin.line);
        if (origin.column) place += fmt::format(":{}", origin.column);
        rows.push_back({std::move(place), printable(label), std::string(text), colour});
    }

    static Origin placeOf(const LineView& line, std::string_view name) {
        const Field& field = *line.kind()->field(name);
        return {line.number(), field.column, field.width};
    }

    void addField(const LineView& line, std::string_view label, std::string_view name) {
        if (line[name].blank()) return;
        if (const auto text = line.text(name)) add(placeOf(line, name), label, *text);
    }

    void addMeter(const LineView& subscriber) {
        addField(subscriber, "fluid", "meterFluidType");
        addField(subscriber, "installed", "meterInstallationYear");
        addField(subscriber, "wheels", "meterWheels");
        addField(subscriber, "corrected number", "meterCorrectedSerialNumber");
        addField(subscriber, "corrected wheels", "meterCorrectedWheels");
        addField(subscriber, "message", "meterMessage");
    }

    void addReadings(const Meter& meter) {
        const auto reading = meter.reading(), previous = meter.previous();
        if (reading) {
            add(reading->origin, "reading",
                fmt::format("{} on {}, status {}, method {}{}", wordOf(reading->index), timeAt(reading->origin, reading->at),
                    wordOf(reading->status), wordOf(reading->method),
                    reading->agent.empty() ? "" : ", user code " + reading->agent));
            if (reading->consumption || meter.difference())
                add(placeOf(meter.subscriber(), "meterReadingConsumption"), "consumption", consumptionOf(meter, *reading));
        } else {
            addField(meter.subscriber(), "index, no date", "meterReadingIndex");
        }
        if (previous)
            add(previous->origin, "previous reading",
                fmt::format("{} on {}", wordOf(previous->index), timeAt(previous->origin, previous->at)));
        else addField(meter.subscriber(), "previous, no date", "meterPreviousReadingIndex");
        for (const HistoryItem& item : meter.history())
            add(item.origin, "earlier reading",
                fmt::format("consumption {} on {}{}", wordOf(item.consumption), wordOf(item.day),
                    item.type.empty() ? "" : ", type " + item.type));
    }

    void addModules(const Meter& meter) {
        const std::vector<ModuleReading> readings = meter.moduleReadings();
        for (const LineView* line : meter.lines()) {
            const char* name = line->is<ExtendedAMRTramoModel>() ? "amrSerialNumber" : "serialNumber";
            if (!line->kind()->field(name)) continue;
            add(placeOf(*line, name), "radio module", line->text(name).value_or("-"));
            for (const ModuleReading& reading : readings)
                if (reading.origin.line == line->number())
                    add(reading.origin, reading.slot == 0 ? "  reading" : "  earlier",
                        fmt::format("{} on {}{}", wordOf(reading.index), reading.at ? timeAt(reading.origin, *reading.at) : "-",
                            reading.alarms ? ", alarms " + wordOf(reading.alarms) : std::string()));
        }
        const std::vector<Alarm> alarms = meter.alarms();
        for (auto alarm = alarms.begin(); alarm != alarms.end();) {
            std::string names(alarm->name);
            const auto first = alarm;
            while (++alarm != alarms.end() && alarm->origin.line == first->origin.line && alarm->isPrevious == first->isPrevious)
                names += ", " + std::string(alarm->name);
            add(first->origin, first->isPrevious ? "previous alarms" : "alarms", names);
        }
    }

    void addPlace(const Place& place) {
        std::string text = fmt::format("{}, {}", place.latitude, place.longitude);
        if (place.altitude) text += fmt::format(", altitude {}", *place.altitude);
        if (place.accuracy) text += fmt::format(", accuracy {}", *place.accuracy);
        if (place.day) text += ", updated on " + dayOf(*place.day);
        add(place.origin, "place", text);
    }

    void addLines(const Meter& meter) {
        std::string lines;
        for (const LineView* line : meter.lines())
            lines += fmt::format("{}{} ({})", lines.empty() ? "" : ", ", line->number(), line->kind()->name);
        rows.push_back({"", "lines", lines});
    }

    static std::string labelOf(const Area& area) { return area.label.empty() ? fmt::format("area {}", area.number) : area.label; }
    static std::string questionOf(const Answer& answer) {
        return answer.question.empty() ? fmt::format("answer {}.{}", answer.page, answer.area) : answer.question;
    }
    static std::string answerOf(const Answer& answer) {
        std::string text = answer.code;
        if (!answer.result.empty()) text += (text.empty() ? "" : " ") + answer.result;
        if (text.empty()) text = "mode " + wordOf(answer.mode);
        else if (!answer.list.empty()) text += " of " + answer.list;
        return answer.day ? text + ", on " + dayOf(*answer.day) : text;
    }

    void printRows() {
        constexpr int placeWidth = 9, gap = 2;
        std::size_t labelWidth = 0;
        for (const Row& row : rows) labelWidth = std::max(labelWidth, row.label.size());
        for (const Row& row : rows) {
            out.print("{}{:>{}}{}  {}{:<{}}{}", colours.faint, row.place, placeWidth, colours.off, row.colour, row.label,
                labelWidth, *row.colour ? colours.off : "");
            const int indent = placeWidth + gap + static_cast<int>(labelWidth);
            const char* before = "";
            for (const std::string& part : brokenWords(printable(row.text), widthAfter(indent + gap, width))) {
                out.print("{:{}}{:{}}{}\n", before, *before ? indent : 0, "", gap, part);
                before = " ";
            }
        }
        rows.clear();
        out.settle();
    }

    Output& out;
    const ShowOptions& options;
    const Colours colours;
    const int width;
    bool anyShown = false;
    std::size_t notes = 0;
    std::vector<Row> rows;
};

RoundFile roundsOf(const ShowOptions& options) {
    ReadOptions how;
    if (options.encoding) how.encoding = *options.encoding == Encoding::Utf16le ? tramo::Encoding::Utf16 : tramo::Encoding::Ansi;
    how.kind = options.kind;
    try {
        if (options.file == "-") {
            Reader input = Reader::ofDescriptor(0, nameOf(options.file), how);
            return RoundFile::read(input);
        }
        std::error_code error;
        const std::filesystem::path path = pathOf(options.file);
        if (std::filesystem::is_regular_file(path, error)) Input(options.file, options.encoding);  // may refuse its encoding
        return RoundFile::read(path, how);
    } catch (const std::system_error& failure) { throw Unreadable{failure.code().message(), options.file}; }
}

// A corrected or a new serial number is that of the meter, too.
bool hasSerial(const Meter& meter, const std::string& serial) {
    return meter.serial() == serial || meter.subscriber().text("meterCorrectedSerialNumber") == serial ||
           std::ranges::any_of(meter.changes(), [&](const MeterChange& change) { return change.newSerial == serial; });
}

[[noreturn]] void missMeter(const RoundFile& file, const ShowOptions& options) {
    std::string text = fmt::format("has no meter with the serial number \"{}\"", options.meter);
    if (const auto malformed = static_cast<std::uint64_t>(std::ranges::count_if(file.lines(), isMalformed)))
        text += fmt::format(" ({} could not be searched)", counted(malformed, "malformed line"));
    const auto orphan = std::ranges::find(file.orphans(), options.meter, &Orphan::serial);
    if (orphan != file.orphans().end()) {
        text += fmt::format(
            "; line {} ({}) has it, but no meter subscriber line", orphan->line->number(), orphan->line->kind()->name);
    } else {
        std::vector<std::string> serials;
        for (const Round& round : file.rounds())
            for (const Meter& meter : round.meters())
                if (std::string serial = meter.serial(); !serial.empty()) serials.push_back(std::move(serial));
        const auto isSameWord = [&](const std::string& serial) { return plainWord(serial) == plainWord(options.meter); };
        if (const auto same = std::ranges::find_if(serials, isSameWord); same != serials.end())
            text += fmt::format("; did you mean \"{}\"?", *same);
        else text += didYouMean(options.meter, std::vector<std::string_view>(serials.begin(), serials.end()));
    }
    throw Unreadable{printable(std::string_view(text)), options.file};
}

// The findings in the lines of a meter, and those of the areas that its texts are divided into.
std::vector<Finding> findingsOf(const Round& round, const Meter& meter, const std::vector<Finding>& joins) {
    std::vector<Finding> findings;
    const auto addJoins = [&](const LineView& line) {
        std::ranges::copy_if(
            joins, std::back_inserter(findings), [&](const Finding& finding) { return finding.line == line.number(); });
    };
    if (round.header()) addJoins(*round.header());
    for (const LineView* line : meter.lines()) {
        std::ranges::move(line->findings(), std::back_inserter(findings));
        addJoins(*line);
    }
    return findings;
}

}  // namespace

int showMeter(const ShowOptions& options) {
    const RoundFile file = roundsOf(options);
    const std::vector<Finding> joins = file.findings();
    Output out;
    MeterPage page(out, options);
    bool isFound = false, clean = true;
    for (const Round& round : file.rounds())
        for (const Meter& meter : round.meters()) {
            if (!hasSerial(meter, options.meter)) continue;
            isFound = true;
            const std::vector<Finding> findings = findingsOf(round, meter, joins);
            page.print(round, meter, findings);
            clean &= std::ranges::all_of(findings, [](const Finding& finding) { return finding.severity == Severity::Hint; });
        }
    if (!isFound) missMeter(file, options);
    page.printNotes(file, joins);
    out.flush();
    if (!file.lines().empty())
        if (const LineFault fault = file.lines().back().fault();
            fault == LineFault::HalfCharacter || fault == LineFault::Unread) {
            complain(fmt::format("{}:{}: {}", printable(nameOf(options.file)), file.lines().back().number(), describe(fault)));
            clean = false;
        }
    return clean ? nothingFound : somethingFound;
}

}  // namespace tramo::cli
