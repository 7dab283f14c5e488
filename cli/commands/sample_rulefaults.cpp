#include "cli/commands/sample_rulefaults.h"
#include "cli/commands/sample_form.h"
#include "cli/commands/sample_random.h"
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <fmt/format.h>
#include <functional>
#include <optional>

namespace tramo::cli::sample {

namespace {

using namespace std::chrono;

constexpr std::size_t none = std::string::npos;

// The lines of a round, and what was put into them. Lines are counted from 0.
class Place {
public:
    Place(std::vector<Written>& all, std::uint64_t seed, std::uint64_t number, std::string_view of)
        : lines(all), random(seed, Purpose::Faults, std::uint64_t{1} << 62 | number), rule(of) {}

    std::vector<Written>& lines;
    Random random;
    std::string expected{};

    std::uint32_t below(std::size_t limit) { return random.below(static_cast<std::uint32_t>(limit)); }

    // --- Fields

    static char letter(const Written& line) { return static_cast<char>(line.kind->letter); }
    static const Field& field(const Written& line, std::string_view name) { return fieldCalled(*line.kind, name); }

    std::string text(std::size_t line, std::string_view name) const {
        const Field& of = field(lines[line], name);
        std::string columns =
            lines[line].text.substr(static_cast<std::size_t>(of.column - 1), static_cast<std::size_t>(of.width));
        columns.erase(columns.find_last_not_of(' ') + 1);
        return columns.erase(0, std::min(columns.find_first_not_of(' '), columns.size()));
    }
    std::optional<std::int64_t> integer(std::size_t line, std::string_view name) const {
        const std::string digits = text(line, name);
        std::int64_t value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return error == std::errc{} && end == digits.data() + digits.size() ? std::optional(value) : std::nullopt;
    }
    double decimal(std::size_t line, std::string_view name) const {
        const std::string digits = text(line, name);
        double value = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return value;
    }
    // The day of a date; nullopt: blank.
    std::optional<sys_days> day(std::size_t line, std::string_view name) const {
        const std::string digits = text(line, name);
        if (digits.size() < 8) return std::nullopt;
        const int number = std::stoi(digits.substr(0, 8));
        return sys_days(year(number / 10000) / (number / 100 % 100) / (number % 100));
    }

    void put(std::size_t line, std::string_view name, std::string_view content) {
        const Field& of = field(lines[line], name);
        const auto width = static_cast<std::size_t>(of.width);
        std::string columns(content.substr(0, width));
        if (of.kind == FieldKind::Integer || of.kind == FieldKind::Decimal) columns.insert(0, width - columns.size(), ' ');
        columns.resize(width, ' ');
        lines[line].text.replace(static_cast<std::size_t>(of.column - 1), width, columns);
    }
    void put(std::size_t line, std::string_view name, std::int64_t number) { put(line, name, fmt::format("{}", number)); }
    void putDay(std::size_t line, std::string_view name, sys_days day) {
        const year_month_day date(day);
        const std::string clock = text(line, name).substr(std::min<std::size_t>(8, text(line, name).size()));
        put(line, name,
            fmt::format("{:04}{:02}{:02}{}", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), clock));
    }

    // --- Lines

    bool is(std::size_t line, char kind) const { return line < lines.size() && letter(lines[line]) == kind; }

    // A line of this kind of which something is true.
    std::size_t pick(char kind, const std::function<bool(std::size_t)>& isUsable) {
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < lines.size(); ++i)
            if (is(i, kind) && isUsable(i)) found.push_back(i);
        return found.empty() ? none : found[below(found.size())];
    }
    std::size_t pick(char kind) {
        return pick(kind, [](std::size_t) { return true; });
    }
    bool isOfMeter(std::size_t line) const {
        return line < lines.size() && std::string_view("23467").find(letter(lines[line])) != std::string_view::npos;
    }
    // The line after those of a meter.
    std::size_t endOfMeter(std::size_t meter) const {
        std::size_t end = meter + 1;
        while (isOfMeter(end)) ++end;
        return end;
    }
    std::size_t lineOfMeter(std::size_t meter, char kind) const {
        for (std::size_t i = meter + 1; i < endOfMeter(meter); ++i)
            if (is(i, kind)) return i;
        return none;
    }
    std::size_t meterOf(std::size_t line) const {
        while (line > 0 && !is(line, '1')) --line;
        return line;
    }
    bool isRead(std::size_t meter) const { return !text(meter, "meterReadingDate").empty(); }
    bool isUnchanged(std::size_t meter) const { return lineOfMeter(meter, '3') == none; }
    // Its index has grown, by what is written.
    bool hasGrown(std::size_t meter) const {
        const auto index = integer(meter, "meterReadingIndex"), previous = integer(meter, "meterPreviousReadingIndex");
        return isRead(meter) && index && previous && *index >= *previous;
    }
    void erase(std::size_t line) { lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(line)); }
    void insert(std::size_t before, Written line) {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(before), std::move(line));
    }
    void countMeters(std::int64_t more) {
        if (const std::size_t line = pick('9'); line != none)
            put(line, "meterNumber", integer(line, "meterNumber").value_or(0) + more);
    }

    // --- What is to be found

    bool expect(std::size_t line) {
        expected += fmt::format("{{\"line\":{},\"rule\":\"{}\"}}\n", line + 1, rule);
        return true;
    }
    bool expect(std::size_t line, std::string_view name) {
        const Field& of = field(lines[line], name);
        expected += fmt::format(
            "{{\"line\":{},\"column\":{},\"rule\":\"{}\",\"kind\":\"{}\"}}\n", line + 1, of.column, rule, lines[line].kind->name);
        return true;
    }

private:
    std::string_view rule;
};

std::string serialName(const Written& line) {
    return line.kind->field("meterSerialNumber") ? "meterSerialNumber" : "oldMeterSerialNumber";
}

// Any line of a meter other than its first.
std::size_t pickOfMeter(Place& in) {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < in.lines.size(); ++i)
        if (in.isOfMeter(i)) found.push_back(i);
    return found.empty() ? none : found[in.below(found.size())];
}

bool missRound(Place& in) {
    const std::size_t round = in.pick('0');
    if (round == none || in.pick('1') == none) return false;
    in.erase(round);
    const auto meter = std::ranges::find(in.lines, '1', &Place::letter);
    return in.expect(static_cast<std::size_t>(meter - in.lines.begin()));
}

bool moveRound(Place& in) {
    if (!in.is(0, '0') || in.lines.size() < 2) return false;
    const std::size_t behind = 1 + in.below(std::min<std::size_t>(in.lines.size() - 1, 12));
    std::rotate(in.lines.begin(), in.lines.begin() + 1, in.lines.begin() + static_cast<std::ptrdiff_t>(behind) + 1);
    return in.expect(0);
}

bool repeatMeters(Place& in) {
    const std::size_t round = in.pick('0'), information = in.pick('9');
    if (round == none || information == none || in.pick('1') == none) return false;
    std::vector<Written> more{in.lines[round]};
    for (const Written& line : in.lines)
        if (Place::letter(line) == '5') more.push_back(line);
    std::int64_t meters = 0;
    std::size_t first = none;
    const std::size_t certain = in.pick('1');
    for (std::size_t i = 0; i < in.lines.size(); ++i) {
        if (!in.is(i, '1') || (i != certain && !in.random.oneIn(3))) continue;
        if (meters++ == 0) first = in.lines.size() + more.size();
        more.insert(more.end(), in.lines.begin() + static_cast<std::ptrdiff_t>(i),
            in.lines.begin() + static_cast<std::ptrdiff_t>(in.endOfMeter(i)));
    }
    more.push_back(in.lines[information]);
    in.lines.insert(in.lines.end(), more.begin(), more.end());
    in.put(in.lines.size() - 1, "meterNumber", meters);
    // Fewer positions may be together in another way.
    for (std::size_t i = first; i < in.lines.size(); ++i)
        if (in.is(i, '7'))
            for (const char* coordinate : {"latitude", "longitude"}) in.put(i, coordinate, "");
    return in.expect(first, "meterSerialNumber");
}

bool doubleMeter(Place& in) {
    const std::size_t meter = in.pick('1');
    if (meter == none) return false;
    const std::size_t end = in.endOfMeter(meter);
    in.insert(end, in.lines[meter]);
    in.countMeters(1);
    return in.expect(end, "meterSerialNumber");
}

bool loseMeter(Place& in) {
    const std::size_t line = pickOfMeter(in);
    if (line == none) return false;
    const std::string name = serialName(in.lines[line]);
    in.put(line, name, fmt::format("ZZ{:06}", in.below(1000000)));
    return in.expect(line, name);
}

bool moveLine(Place& in) {
    std::size_t ofMeters = 0, meters = 0;
    for (std::size_t i = 0; i < in.lines.size(); ++i) (in.isOfMeter(i) ? ofMeters : meters) += in.isOfMeter(i) || in.is(i, '1');
    if (ofMeters < 5 || meters < 2) return false;
    const std::size_t from = pickOfMeter(in), own = in.meterOf(from);
    const std::size_t other = in.pick('1', [&](std::size_t meter) { return meter != own; });
    const Written line = in.lines[from];
    std::size_t to = in.endOfMeter(other);
    in.erase(from);
    if (from < to) --to;
    in.insert(to, line);
    return in.expect(to);
}

bool missInformation(Place& in) {
    const std::size_t line = in.pick('9');
    if (line == none || in.pick('1') == none) return false;
    in.erase(line);
    if (in.random.oneIn(2)) {  // more is lost
        const std::size_t meter = in.pick('1');
        in.lines.resize(in.endOfMeter(meter));
    }
    return in.expect(in.lines.size() - 1);
}

bool miscount(Place& in) {
    const std::size_t line = in.pick('9');
    if (line == none) return false;
    in.countMeters(1 + in.below(40));
    return in.expect(line, "meterNumber");
}

bool disorder(Place& in) {
    std::size_t before = none;
    std::vector<std::pair<std::size_t, std::int64_t>> found;
    for (std::size_t i = 0; i < in.lines.size(); ++i) {
        if (!in.is(i, '1')) continue;
        if (before != none) found.emplace_back(i, in.integer(before, "subscriberCardOrder").value_or(0));
        before = i;
    }
    std::erase_if(found, [](const auto& one) { return one.second < 1; });
    if (found.empty()) return false;
    const auto [line, order] = found[in.below(found.size())];
    in.put(line, "subscriberCardOrder", std::int64_t{in.below(static_cast<std::size_t>(order))});
    return in.expect(line, "subscriberCardOrder");
}

// An area that the sample rounds do not define, after others of the same text.
struct FreeArea {
    std::string stem, number;
    std::int64_t width, free;  // of its text, and its first character that no area has
    std::string name(std::string_view what) const { return fmt::format("{}Information{}Area{}", stem, what, number); }
};
FreeArea freeArea(Place& in) {
    if (in.random.oneIn(2)) return {"subscriber", "5", 150, 119};
    return {"meter", in.random.oneIn(2) ? "4" : "5", 120, 50};
}
bool putArea(Place& in, const FreeArea& area, std::int64_t position, std::int64_t length) {
    const std::size_t round = in.pick('0');
    if (round == none) return false;
    in.put(round, area.name("Label"), "Zone");
    in.put(round, area.name("Position"), position);
    in.put(round, area.name("Lenght"), length);
    in.put(round, area.name("Type"), "2");
    return in.expect(round, area.name("Label"));
}

bool defineHalf(Place& in) {
    const std::size_t round = in.pick('0');
    const FreeArea area = freeArea(in);
    if (round == none) return false;
    in.put(round, area.name("Label"), "Zone");
    return in.expect(round, area.name("Label"));
}
bool leaveText(Place& in) {
    const FreeArea area = freeArea(in);
    const std::int64_t position = area.free + in.below(static_cast<std::size_t>(area.width - area.free));
    return putArea(in, area, position, area.width - position + 1 + in.below(20));
}
bool overlap(Place& in) {
    const FreeArea area = freeArea(in);
    return putArea(in, area, in.below(static_cast<std::size_t>(area.free)), 1 + in.below(20));
}

bool misname(Place& in) {
    const std::size_t line = in.pick('6');
    if (line == none) return false;
    in.put(line, "pageNumber", std::int64_t{3} + in.below(7));
    return in.expect(line, "pageNumber");
}
bool answerMore(Place& in) {
    const std::size_t line = in.pick('6');
    const std::string area = in.random.oneIn(2) ? "area4Result" : "area5Result";
    if (line == none) return false;
    in.put(line, area, "RAS");
    return in.expect(line, area);
}
bool answerLong(Place& in) {
    const std::size_t line = in.pick('6');
    if (line == none) return false;
    in.put(line, "area2Result", std::string(5 + in.below(26), '7'));
    return in.expect(line, "area2Result");
}
bool answerOther(Place& in) {
    const std::size_t line = in.pick('6');
    if (line == none) return false;
    in.put(line, "area1Code", std::string(1, static_cast<char>('E' + in.below(22))));
    return in.expect(line, "area1Code");
}

// A day of the last years that the format can hold.
sys_days farDay(Place& in) { return sys_days(year(2036) / 1 / 1) + days(in.below(700)); }

bool enterFuture(Place& in) {
    const bool isReturned = in.pick('1', [&](std::size_t meter) { return in.isRead(meter); }) != none;
    if (isReturned && in.random.oneIn(2)) {
        const std::size_t meter = in.pick('1', [&](std::size_t one) { return !in.text(one, "meterLastUpdateDate").empty(); });
        in.putDay(meter, "meterLastUpdateDate", farDay(in));
        return in.expect(meter, "meterLastUpdateDate");
    }
    const std::size_t module = in.pick('2', [&](std::size_t one) { return !in.text(one, "currentReadingDate").empty(); });
    if (module != none && in.random.oneIn(2)) {
        in.putDay(module, "currentReadingDate", farDay(in));
        return in.expect(module, "currentReadingDate");
    }
    const std::size_t round = in.pick('0');
    if (round == none) return false;
    in.putDay(round, "roundImportDate", farDay(in));
    return in.expect(round, "roundImportDate");
}

std::size_t pickRead(Place& in) {
    return in.pick('1', [&](std::size_t meter) { return in.isRead(meter) && !in.text(meter, "meterLastUpdateDate").empty(); });
}

bool updateBefore(Place& in) {
    const std::size_t meter = pickRead(in);
    if (meter == none) return false;
    in.putDay(meter, "meterLastUpdateDate", *in.day(meter, "meterReadingDate") - days(2 + in.below(60)));
    return in.expect(meter, "meterReadingDate");
}
bool readBefore(Place& in) {
    const auto earliest = [&](std::size_t meter) {
        return sys_days(year(static_cast<int>(in.integer(meter, "meterInstallationYear").value_or(0))) / 1 / 1);
    };
    const std::size_t meter = in.pick('1', [&](std::size_t one) {
        const auto previous = in.day(one, "meterPreviousReadingDate");
        return in.isRead(one) && previous && *previous - days(1) >= earliest(one);
    });
    if (meter == none) return false;
    const sys_days previous = *in.day(meter, "meterPreviousReadingDate");
    const auto most = std::min<std::int64_t>((previous - earliest(meter)).count(), 1000);
    in.putDay(meter, "meterReadingDate", previous - days(1 + in.below(static_cast<std::size_t>(most))));
    return in.expect(meter, "meterReadingDate");
}
bool installLater(Place& in) {
    const std::size_t module = in.pick('2', [&](std::size_t one) { return !in.text(one, "currentReadingDate").empty(); });
    if (module != none && in.random.oneIn(3)) {
        in.putDay(module, "installationDate", *in.day(module, "currentReadingDate") + days(1 + in.below(300)));
        return in.expect(module, "currentReadingDate");
    }
    const std::size_t meter = pickRead(in);
    if (meter == none) return false;
    const year_month_day read(*in.day(meter, "meterReadingDate"));
    in.put(meter, "meterInstallationYear", static_cast<int>(read.year()) + 1 + std::int64_t{in.below(5)});
    return in.expect(meter, "meterReadingDate");
}

std::int64_t limitOf(const Place& in, std::size_t meter) {
    const std::int64_t corrected = in.integer(meter, "meterCorrectedWheels").value_or(0);
    const std::int64_t wheels = corrected > 0 ? corrected : in.integer(meter, "meterWheels").value_or(0);
    std::int64_t limit = 1;
    for (std::int64_t i = 0; i < wheels; ++i) limit *= 10;
    return limit;
}

bool showTooMuch(Place& in) {
    const std::size_t change = in.pick('3');
    if (change != none && in.random.oneIn(4)) {
        in.put(change, "newMeterIndex", std::int64_t{1000000} + in.below(1000000));
        in.put(change, "newMeterWheelsNumber", std::int64_t{5} + in.below(2));
        return in.expect(change, "newMeterIndex");
    }
    const std::size_t meter = in.pick('1', [&](std::size_t one) { return in.isRead(one); });
    if (meter == none) return false;
    const std::int64_t limit = limitOf(in, meter);
    in.put(meter, "meterReadingIndex", limit * (1 + in.below(9)) + in.below(static_cast<std::size_t>(limit)));
    return in.expect(meter, "meterReadingIndex");
}
bool readLess(Place& in) {
    const std::size_t meter = in.pick('1', [&](std::size_t one) {
        return in.hasGrown(one) && in.isUnchanged(one) && *in.integer(one, "meterPreviousReadingIndex") > 0 &&
               *in.integer(one, "meterPreviousReadingIndex") < limitOf(in, one);
    });
    if (meter == none) return false;
    const std::int64_t previous = *in.integer(meter, "meterPreviousReadingIndex");
    const std::int64_t most = std::min(previous, limitOf(in, meter) / 10);
    in.put(meter, "meterReadingIndex", previous - 1 - in.below(static_cast<std::size_t>(most)));
    return in.expect(meter, "meterReadingIndex");
}
bool miscompute(Place& in) {
    const std::size_t meter = in.pick('1', [&](std::size_t one) { return in.hasGrown(one) && in.isUnchanged(one); });
    if (meter == none) return false;
    in.put(meter, "meterReadingConsumption", *in.integer(meter, "meterReadingConsumption") + 1 + in.below(9));
    return in.expect(meter, "meterReadingConsumption");
}
bool exceedEstimate(Place& in) {
    const std::size_t meter = in.pick(
        '1', [&](std::size_t one) { return in.hasGrown(one) && in.integer(one, "meterReadingConsumption").value_or(0) >= 10; });
    if (meter == none) return false;
    const std::int64_t used = *in.integer(meter, "meterReadingConsumption"),
                       most = (used - 1) / 5 - (used > 40 ? in.below(5) : 0);
    in.put(meter, "meterMinEstimatedConsumption", "1.000000");
    in.put(meter, "meterMaxEstimatedConsumption", fmt::format("{}.000000", most));
    return in.expect(meter, "meterReadingConsumption");
}
bool invertEstimate(Place& in) {
    const std::size_t meter = in.pick('1', [&](std::size_t one) { return in.decimal(one, "meterMaxEstimatedConsumption") > 0; });
    if (meter == none) return false;
    const double most = in.decimal(meter, "meterMaxEstimatedConsumption");
    in.put(meter, "meterMinEstimatedConsumption", fmt::format("{:.6f}", most + 1 + in.below(100)));
    return in.expect(meter, "meterMinEstimatedConsumption");
}
bool mixHistory(Place& in) {
    const std::size_t meter = in.pick('1', [&](std::size_t one) { return !in.text(one, "meterHistory3ReadingDate").empty(); });
    if (meter == none) return false;
    const bool isFirst = in.random.oneIn(2);
    const std::string one = isFirst ? "meterHistory1ReadingDate" : "meterHistory2ReadingDate",
                      other = isFirst ? "meterHistory2ReadingDate" : "meterHistory3ReadingDate";
    const std::string day = in.text(meter, one);
    in.put(meter, one, in.text(meter, other));
    in.put(meter, other, day);
    return in.expect(meter, "meterHistory1ReadingDate");
}

// Nothing was consumed, and the module has this alarm. Flags are written with the low byte first.
bool alarm(Place& in, char digit, std::string_view flag) {
    const std::size_t meter = in.pick('1', [&](std::size_t one) {
        const std::size_t module = in.lineOfMeter(one, '2'), months = in.lineOfMeter(one, '4');
        return in.hasGrown(one) && module != none && in.text(module, "currentAlarms").size() == 4 &&
               (months == none || in.text(months, "leakAlarm") != "1");
    });
    if (meter == none) return false;
    in.put(meter, "meterReadingIndex", in.text(meter, "meterPreviousReadingIndex"));
    in.put(meter, "meterReadingConsumption", "0");
    const std::size_t module = in.lineOfMeter(meter, '2'), months = in.lineOfMeter(meter, '4');
    in.put(module, "currentMeterIndex", in.text(module, "previousMeterIndex"));
    std::string alarms = in.text(module, "currentAlarms");
    alarms.front() = '0';
    in.put(module, "currentAlarms", alarms);
    if (months != none && in.random.oneIn(2)) {
        in.put(months, flag, "1");
        return in.expect(months, flag);
    }
    alarms.front() = digit;
    in.put(module, "currentAlarms", alarms);
    return in.expect(module, "currentAlarms");
}
bool leak(Place& in) { return alarm(in, '8', "leakAlarm"); }
bool fraud(Place& in) { return alarm(in, '4', "fraudAlarm"); }

bool changeToSame(Place& in) {
    const std::size_t change = in.pick('3');
    if (change == none) return false;
    in.put(change, "newMeterSerialNumber", in.text(change, "oldMeterSerialNumber"));
    return in.expect(change, "newMeterSerialNumber");
}
bool changeBefore(Place& in) {
    const std::size_t change = in.pick('3');
    if (change == none) return false;
    const auto previous = in.day(in.meterOf(change), "meterPreviousReadingDate");
    if (!previous) return false;
    in.putDay(change, "newMeterInstallationDate", *previous - days(1 + in.below(400)));
    return in.expect(change, "newMeterInstallationDate");
}

bool placeAt(Place& in, double latitude, double longitude) {
    const std::size_t position = in.pick('7');
    if (position == none) return false;
    in.put(position, "latitude", fmt::format("{:.12f}", latitude));
    in.put(position, "longitude", fmt::format("{:.12f}", longitude));
    return in.expect(position, "latitude");
}
bool placeAtZero(Place& in) { return placeAt(in, 0, 0); }
bool placeOutside(Place& in) {
    const double more = 0.5 + in.below(80);
    return in.random.oneIn(2) ? placeAt(in, 90 + more, 2) : placeAt(in, 48, -180 - more);
}
bool placeFar(Place& in) {
    std::size_t positions = 0;
    for (std::size_t i = 0; i < in.lines.size(); ++i) positions += in.is(i, '7');
    const std::size_t position = in.pick('7');
    if (positions < 5) return false;
    const std::string latitude = in.text(position, "latitude"), longitude = in.text(position, "longitude");
    switch (in.below(3)) {
    case 0:  // exchanged
        in.put(position, "latitude", longitude);
        in.put(position, "longitude", latitude);
        break;
    case 1: in.put(position, "latitude", fmt::format("{:.12f}", -in.decimal(position, "latitude"))); break;
    default: in.put(position, "latitude", fmt::format("{:.12f}", in.decimal(position, "latitude") - 1 - in.below(9))); break;
    }
    return in.expect(position, "latitude");
}

struct RuleFault {
    std::string_view rule;
    bool (*add)(Place&);
};

constexpr RuleFault ruleFaults[] = {
    {"RoundMissing", missRound},
    {"LineBeforeRound", moveRound},
    {"MeterInTwoRounds", repeatMeters},
    {"MeterDuplicate", doubleMeter},
    {"LineWithoutMeter", loseMeter},
    {"LineMoved", moveLine},
    {"InformationMissing", missInformation},
    {"InformationUnlike", miscount},
    {"CardOrder", disorder},
    {"AreaIncomplete", defineHalf},
    {"AreaOutside", leaveText},
    {"AreaOverlap", overlap},
    {"PageUndefined", misname},
    {"AnswerAreaUndefined", answerMore},
    {"AnswerTooLong", answerLong},
    {"AnswerNotInList", answerOther},
    {"DateInFuture", enterFuture},
    {"ReadingAfterUpdate", updateBefore},
    {"ReadingBeforePrevious", readBefore},
    {"ReadingBeforeInstallation", installLater},
    {"IndexAboveWheels", showTooMuch},
    {"ReadingBelowPrevious", readLess},
    {"ConsumptionUnlike", miscompute},
    {"ConsumptionFarFromEstimate", exceedEstimate},
    {"EstimateInverted", invertEstimate},
    {"HistoryUnordered", mixHistory},
    {"LeakWithoutConsumption", leak},
    {"FraudWithoutConsumption", fraud},
    {"ChangeToSameMeter", changeToSame},
    {"ChangeBeforePrevious", changeBefore},
    {"PositionAtZero", placeAtZero},
    {"PositionOutside", placeOutside},
    {"PositionFar", placeFar},
};

}  // namespace

std::vector<std::string_view> rulesWithFaults() {
    std::vector<std::string_view> names;
    for (const RuleFault& fault : ruleFaults) names.push_back(fault.rule);
    return names;
}

std::string addFault(std::string_view rule, std::uint64_t seed, std::vector<Written>& lines) {
    const auto* const fault = std::ranges::find(ruleFaults, rule, &RuleFault::rule);
    Place place(lines, seed, static_cast<std::uint64_t>(fault - ruleFaults), rule);
    return fault != std::end(ruleFaults) && fault->add(place) ? place.expected : std::string();
}

}  // namespace tramo::cli::sample
