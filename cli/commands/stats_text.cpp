// The numbers of a round for people: first how far it is, then the readings, the modules, and the lines.
#include "cli/commands/stats_report.h"
#include "cli/io/text.h"
#include "cli/io/wrap.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fmt/ranges.h>
#include <functional>
#include <vector>

namespace tramo::cli {

namespace {

// "90 %". Only all of something is 100 %, and only nothing is 0 %.
std::string shareOf(Number count, Number all) {
    if (all == 0) return {};
    // Halves go to the even side, so that 87.5 % and 12.5 % are 100 % together.
    const auto percent = static_cast<int>(std::nearbyint(100.0 * static_cast<double>(count) / static_cast<double>(all)));
    if (percent == 0 && count > 0) return "<1 %";
    if (percent >= 100 && count < all) return ">99 %";
    return fmt::format("{} %", percent);
}

// The readings by days, or by months or years if there are more days than fit on a screen.
struct Periods {
    const char* name;
    Numbers readings;
};

Periods periodsOf(const Numbers& days) {
    constexpr std::size_t mostRows = 31;
    auto grouped = [&](std::size_t length) {
        Numbers rows;
        for (const auto& [day, count] : days) rows[day.substr(0, length)] += count;
        return rows;
    };
    if (days.size() <= mostRows) return {"day", days};
    Periods months{"month", grouped(7)};
    return months.readings.size() <= mostRows ? months : Periods{"year", grouped(4)};
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

// "2024-01-16T08:15" with a space in the place of the T.
std::string shownTime(std::string time) {
    std::ranges::replace(time, 'T', ' ');
    return time;
}

// ", in 6 lines", where it is another number than that of the meters.
std::string inLines(const Lines& found) {
    return found.all == found.meters ? std::string() : ", in " + counted(found.all, "line");
}

// How far the round is.
std::string progressOf(const Stats& stats) {
    const Lines &known = stats.meters[SerialNumbers::Known], &read = stats.meters[SerialNumbers::Read];
    const Lines &modules = stats.modules[SerialNumbers::Known], &modulesRead = stats.modules[SerialNumbers::Read];
    if (known.meters > 0) {
        const Number left = known.meters - read.meters;
        return fmt::format("{} of {} read ({}){}", read.meters, counted(known.meters, "meter"),
            shareOf(read.meters, known.meters), left > 0 ? fmt::format(", {} not read", left) : "");
    }
    if (known.all > 0)
        return fmt::format("{} of {} without a serial number read ({})", read.all, counted(known.all, "meter line"),
            shareOf(read.all, known.all));
    if (modules.meters > 0)
        return fmt::format("{} of {} with a current reading ({}), no meters", modulesRead.meters,
            counted(modules.meters, "radio module"), shareOf(modulesRead.meters, modules.meters));
    return stats.lines == 0 ? "no lines" : counted(stats.lines, "line") + ", no meters";
}

class TextStats : public StatsReport {
public:
    explicit TextStats(Output& to) : out(to) {}

    void file(const std::string& file, const Stats& stats) override {
        const std::string name = printable(nameOf(file));
        print(name, printable(std::string_view(file)) == file ? shellWord(file) : "FILE", stats);
        files.push_back({name, stats.meters[SerialNumbers::Read].meters, stats.meters[SerialNumbers::Known].meters});
    }

    void end(const Stats& total) override {
        if (files.size() < 2) return;
        print(fmt::format("all {} files", files.size()), "FILE", total);
        std::erase_if(files, [](const File& file) { return file.meters == 0; });
        if (!files.empty()) heading("meters read by file");
        for (const File& file : files) row(file.read, file.meters, fmt::format("of {}: {}", file.meters, file.name));
    }

private:
    struct File {
        std::string name;
        Number read, meters;
    };

    void print(const std::string& title, const std::string& word, const Stats& stats) {
        if (!isFirst) out.print("\n");
        isFirst = false;
        out.print("{}: {}\n", title, progressOf(stats));
        printRounds(stats);
        if (stats.notRead)
            heading(fmt::format(
                "{} of {} malformed and not read; see: tramo check {}", stats.notRead, counted(stats.lines, "line"), word));
        if (stats.unreadableFields)
            heading(fmt::format("{} cannot be read and count{} as absent; see: tramo check {}",
                counted(stats.unreadableFields, "value"), stats.unreadableFields == 1 ? "s" : "", word));
        printMeters(stats);
        printReadings(stats);
        printModules(stats);
        printAlarms(stats);
        printAboutMeters(stats);
        printLines(stats);
    }

    void heading(std::string_view text) { out.print("  {}\n", text); }

    // A count, its share of `all` (0: it is no share), and what is counted.
    void row(Number count, Number all, std::string_view what) {
        out.print("  {:>8}  {:>5}  {}\n", count, shareOf(count, all), what);
    }

    void printRounds(const Stats& stats) {
        if (stats.rounds.size() > 1) heading(counted(stats.rounds.size(), "round"));
        if (stats.rounds.size() == 1) {
            const auto& [code, name] = *stats.rounds.begin();
            heading(
                "round " + printable(std::string_view(code)) + (name.empty() ? "" : ", " + printable(std::string_view(name))));
        }
        if (!stats.first.empty()) heading(fmt::format("read from {} to {}", shownTime(stats.first), shownTime(stats.last)));
    }

    void printMeters(const Stats& stats) {
        const Lines &known = stats.meters[SerialNumbers::Known], &read = stats.meters[SerialNumbers::Read];
        if (known.all == 0) return;
        heading(counted(known.meters, "meter") + inLines(known));
        row(read.meters, known.meters, "read" + inLines(read));
        row(known.meters - read.meters, known.meters, "not read");
        printWithout(stats.linesWithoutMeter);
        if (read.meters > 0) printUnread(stats.meters.unread());
    }

    // The last meters of a round by their serial numbers.
    void printUnread(const std::vector<std::string>& meters) {
        constexpr std::size_t most = 20;
        constexpr int indent = 19, width = 80;
        if (meters.empty() || meters.size() > most) return;
        std::vector<std::string> shown;
        for (const std::string& serialNumber : meters) shown.push_back(printable(std::string_view(serialNumber)));
        for (const std::string& part : brokenWords(fmt::format("{}", fmt::join(shown, ", ")), width - indent))
            out.print("{:>{}}{}\n", "", indent, part);
    }

    void printReadings(const Stats& stats) {
        const Lines& read = stats.meters[SerialNumbers::Read];
        if (read.all == 0) return;
        const std::string readings = counted(read.all, "reading");
        heading(readings + " by method");
        printCodes(stats.methods, read.all, "method");
        heading(readings + " by status");
        printCodes(stats.states, read.all, "status");
        printAgents(stats);
        if (!stats.consumption.empty()) heading("total consumption, in the unit of the meters");
        for (const auto& [fluid, sum] : stats.consumption)
            out.print("  {:>8}  {:>5}  {}, in {}\n", sum.total, "",
                fluid.empty() ? "without fluid" : "fluid " + printable(std::string_view(fluid)),
                counted(sum.readings, "reading"));
        heading(readings + " compared with the estimate");
        row(stats.belowEstimate, read.all, "below the estimate");
        row(stats.withinEstimate, read.all, "within the estimate");
        row(stats.aboveEstimate, read.all, "above the estimate");
        if (stats.notCompared) row(stats.notCompared, read.all, "without consumption or estimate");
        heading(readings + " compared with the previous reading");
        row(stats.asComputed, read.all, "consumption as computed");
        row(stats.notAsComputed, read.all, "other consumption");
        if (stats.notComputed) row(stats.notComputed, read.all, "without consumption or an index");
        if (stats.rollOvers) row(stats.rollOvers, read.all, "computed with a roll-over");
        const Periods periods = periodsOf(stats.days);
        heading(fmt::format("{} by {}", readings, periods.name));
        const auto most = std::ranges::max_element(periods.readings, {}, [](const auto& one) { return one.second; });
        for (const auto& [period, count] : periods.readings)
            row(count, read.all, fmt::format("{:<10}  {}", period, bar(count, most->second, blocks)));
    }

    void printCodes(const Numbers& codes, Number all, const char* what) {
        for (const auto& [code, count] : codes)
            row(count, all,
                code.empty() ? fmt::format("without {}", what) : fmt::format("{} {}", what, printable(std::string_view(code))));
    }

    // The user codes of the readings, the most frequent first.
    void printAgents(const Stats& stats) {
        constexpr std::size_t most = 20;
        const Numbers readings = readingsByAgent(stats);
        if (readings.empty() || (readings.size() == 1 && readings.begin()->first.empty())) return;
        std::vector<std::pair<std::string, Number>> agents(readings.begin(), readings.end());
        std::ranges::stable_sort(agents, std::greater{}, [](const auto& agent) { return agent.second; });
        const Number all = stats.meters[SerialNumbers::Read].all;
        heading(counted(all, "reading") + " by agent");
        Number others = 0;
        for (std::size_t i = 0; i < agents.size(); ++i) {
            const auto& [agent, count] = agents[i];
            if (i >= most) {
                others += count;
                continue;
            }
            const std::size_t days = stats.agents.at(agent).size();
            const std::string name = agent.empty() ? "without user code" : printable(std::string_view(agent));
            row(count, all,
                fmt::format(
                    "{}: {}, {:.1f} a day", name, counted(days, "day"), static_cast<double>(count) / static_cast<double>(days)));
        }
        if (others) row(others, all, "of " + counted(agents.size() - most, "other agent"));
    }

    void printModules(const Stats& stats) {
        const Lines &known = stats.modules[SerialNumbers::Known], &read = stats.modules[SerialNumbers::Read];
        if (known.all == 0) return;
        heading(counted(known.meters, "radio module") + inLines(known));
        row(read.meters, known.meters, "with a current reading" + inLines(read));
        row(known.meters - read.meters, known.meters, "without a current reading");
        printWithout(stats.linesWithoutModule);
    }

    void printWithout(Number lines) {
        if (lines) row(lines, 0, fmt::format("line{} without a serial number", lines == 1 ? "" : "s"));
    }

    void printAlarms(const Stats& stats) {
        const auto alarms = raisedAlarms(stats);
        if (!alarms.empty()) heading("alarms, as a share of the lines of their kind");
        for (const auto& [alarm, count] : alarms) {
            const std::string& kind = kindOfAlarm(alarm);
            row(count, stats.byKind.at(kind), fmt::format("{} ({})", alarm->name, kind));
        }
    }

    void printAboutMeters(const Stats& stats) {
        using enum SerialNumbers::About;
        const Lines &located = stats.meters[Located], &changed = stats.meters[Changed], &enquired = stats.meters[Enquired];
        if (located.all + changed.all + enquired.all > 0) heading("about meters");
        for (const auto& [about, what] :
            {std::pair(Located, "located"), {Changed, "changed"}, {Enquired, "with enquiry results"}}) {
            const Lines& found = stats.meters[about];
            const Number all = stats.meters.isShareOfKnown(about) ? stats.meters[Known].meters : 0;
            if (found.all) row(found.meters, all, what + inLines(found));
        }
        if (enquired.all) row(stats.areasAnswered, 0, "areas answered");
    }

    void printLines(const Stats& stats) {
        if (stats.lines == 0) return;
        heading(counted(stats.lines, "line"));
        for (const auto& [name, count] : stats.byKind) row(count, stats.lines, name);
    }

    Output& out;
    const bool blocks = isUtf8Locale();
    bool isFirst = true;
    std::vector<File> files;
};

}  // namespace

std::unique_ptr<StatsReport> makeTextStats(Output& output) { return std::make_unique<TextStats>(output); }

}  // namespace tramo::cli
