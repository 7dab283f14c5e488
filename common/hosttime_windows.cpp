// Windows provides the time zone of the user. The C runtime's TZ supports neither zone names nor rules other than those of
// the United States, and no time before 1970, so TZ is implemented here with its usual meaning. Named zones are read from
// the folder TZDIR of compiled zone files. Without TZ, or if the zone is not found, the zone of the user applies.
#include "common/bytebuffer.h"
#include "common/file.h"
#include "common/hosttime.h"
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>
#include <windows.h>

namespace tramo::hosttime {

namespace {

using namespace std::chrono;

constexpr std::int64_t dayLength = 86400;

struct Offset {
    std::int32_t seconds = 0;
    bool summer = false;
};

// Returns the UTC offset of a zone at an instant.
using Zone = std::function<Offset(std::int64_t)>;

std::int64_t secondsOf(sys_days day) { return sys_seconds{day}.time_since_epoch().count(); }

year yearOf(std::int64_t time) { return year_month_day{floor<days>(sys_seconds{seconds{time}})}.year(); }

// ---- Years of summer time -------------------------------------------------------------------------------------------

// When the clocks change in a year, in the local time before the change.
struct Change {
    enum class Day { Weekday, JulianWithoutLeapDay, Julian, Date } by = Day::Weekday;
    unsigned month = 0, week = 0, day = 0;
    std::int32_t time = 7200;  // of the day, in seconds

    std::int64_t localTime(year of) const {
        sys_days date{};
        switch (by) {
        case Day::Weekday: {
            const std::chrono::month in{month};
            const weekday on{day};
            date = week < 5 ? sys_days{of / in / on[week]} : sys_days{of / in / on[last]};
            break;
        }
        case Day::JulianWithoutLeapDay:
            date = sys_days{of / 1 / 1} + days{day - 1};
            if (of.is_leap() && day >= 60) date += days{1};
            break;
        case Day::Julian: date = sys_days{of / 1 / 1} + days{day}; break;
        case Day::Date: date = sys_days{of / std::chrono::month{month} / std::chrono::day{day}}; break;
        }
        return secondsOf(date) + time;
    }
};

struct YearOfChanges {
    std::int32_t winter = 0, summer = 0;  // offsets
    bool changes = false;
    Change begin, end;  // of summer time

    Offset at(std::int64_t instant, year of) const {
        if (!changes) return {winter, false};
        const std::int64_t from = begin.localTime(of) - winter, to = end.localTime(of) - summer;
        const bool isSummer = from < to ? instant >= from && instant < to : instant >= from || instant < to;
        return isSummer ? Offset{summer, true} : Offset{winter, false};
    }
};

// ---- TZ as a rule: "CET-1CEST,M3.5.0,M10.5.0/3" ---------------------------------------------------------------------

bool skip(std::string_view& text, char c) {
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
    return true;
}

bool takeName(std::string_view& text) {
    const bool quoted = skip(text, '<');
    const auto isPart = [&](char c) { return quoted ? c != '>' : (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
    const auto size = static_cast<std::size_t>(std::ranges::find_if_not(text, isPart) - text.begin());
    text.remove_prefix(size);
    return size >= 3 && (!quoted || skip(text, '>'));
}

bool takeNumber(std::string_view& text, unsigned most, unsigned& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || value > most) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

// Hours, with optional minutes and seconds.
bool takeTime(std::string_view& text, std::int32_t& value) {
    const bool negative = skip(text, '-');
    if (!negative) skip(text, '+');
    unsigned hour = 0, minute = 0, second = 0;
    if (!takeNumber(text, 167, hour)) return false;
    if (skip(text, ':') && !takeNumber(text, 59, minute)) return false;
    if (skip(text, ':') && !takeNumber(text, 59, second)) return false;
    value = static_cast<std::int32_t>(hour * 3600 + minute * 60 + second) * (negative ? -1 : 1);
    return true;
}

bool takeChange(std::string_view& text, Change& change) {
    if (!skip(text, ',')) return false;
    if (skip(text, 'M')) {
        change.by = Change::Day::Weekday;
        if (!takeNumber(text, 12, change.month) || change.month == 0 || !skip(text, '.')) return false;
        if (!takeNumber(text, 5, change.week) || change.week == 0 || !skip(text, '.')) return false;
        if (!takeNumber(text, 6, change.day)) return false;
    } else {
        change.by = skip(text, 'J') ? Change::Day::JulianWithoutLeapDay : Change::Day::Julian;
        if (!takeNumber(text, 365, change.day)) return false;
        if (change.by == Change::Day::JulianWithoutLeapDay && change.day == 0) return false;
    }
    return !skip(text, '/') || takeTime(text, change.time);
}

std::optional<Zone> zoneOfRule(std::string_view text) {
    YearOfChanges rule;
    if (!takeName(text)) return std::nullopt;
    std::int32_t west = 0;
    if (!takeTime(text, west)) return std::nullopt;
    rule.winter = -west;
    if (!text.empty()) {
        rule.changes = true;
        if (!takeName(text)) return std::nullopt;
        rule.summer = rule.winter + 3600;
        if (!text.empty() && text[0] != ',') {
            if (!takeTime(text, west)) return std::nullopt;
            rule.summer = -west;
        }
        if (text.empty()) text = ",M3.2.0,M11.1.0";
        if (!takeChange(text, rule.begin) || !takeChange(text, rule.end) || !text.empty()) return std::nullopt;
    }
    return [rule](std::int64_t instant) { return rule.at(instant, yearOf(instant + rule.winter)); };
}

// ---- A compiled zone file -------------------------------------------------------------------------------------------

// Reads numbers from the bytes of the file, the high byte first. Returns zeros after the end.
class Bytes {
public:
    explicit Bytes(std::string_view all) : bytes(all) {}

    std::int64_t number(std::size_t size) {
        if (bytes.size() < size) bytes = {};
        if (bytes.empty()) return 0;
        std::uint64_t value = static_cast<unsigned char>(bytes[0]) < 0x80 ? 0 : ~std::uint64_t{0};
        for (const char byte : bytes.substr(0, size)) value = value << 8 | static_cast<unsigned char>(byte);
        bytes.remove_prefix(size);
        return static_cast<std::int64_t>(value);
    }
    std::size_t count() { return static_cast<std::size_t>(number(4)) & 0xFFFF; }
    void pass(std::size_t size) { bytes.remove_prefix(std::min(size, bytes.size())); }
    std::string_view rest() const { return bytes; }

private:
    std::string_view bytes;
};

struct Counts {
    std::size_t utcFlags, standardFlags, leapSeconds, changes, offsets, names;

    explicit Counts(Bytes& file)
        : utcFlags(file.count()), standardFlags(file.count()), leapSeconds(file.count()), changes(file.count()),
          offsets(file.count()), names(file.count()) {}

    std::size_t bytes(std::size_t timeSize) const {
        return changes * (timeSize + 1) + offsets * 6 + names + leapSeconds * (timeSize + 4) + standardFlags + utcFlags;
    }
};

constexpr std::size_t sizeOfMarkAndVersion = 20;

std::optional<Zone> zoneOfFile(std::string_view content) {
    if (!content.starts_with("TZif") || content.size() < sizeOfMarkAndVersion || content[4] < '2') return std::nullopt;
    Bytes file(content);
    file.pass(sizeOfMarkAndVersion);
    file.pass(Counts(file).bytes(4));  // the same data with 32-bit times
    file.pass(sizeOfMarkAndVersion);
    const Counts counts(file);

    struct Table {
        std::vector<std::int64_t> changes;
        std::vector<std::size_t> offsetOfChange;
        std::vector<Offset> offsets;
        std::optional<Zone> afterwards;
    } table;
    for (std::size_t i = 0; i < counts.changes; ++i) table.changes.push_back(file.number(8));
    for (std::size_t i = 0; i < counts.changes; ++i)
        table.offsetOfChange.push_back(static_cast<std::size_t>(file.number(1)) & 0xFF);
    for (std::size_t i = 0; i < counts.offsets; ++i) {
        const auto seconds = static_cast<std::int32_t>(file.number(4));
        table.offsets.push_back({seconds, file.number(1) != 0});
        file.pass(1);
    }
    const auto isKnown = [&](std::size_t offset) { return offset < counts.offsets; };
    if (counts.offsets == 0 || !std::ranges::all_of(table.offsetOfChange, isKnown)) return std::nullopt;
    file.pass(counts.names + counts.leapSeconds * 12 + counts.standardFlags + counts.utcFlags);
    std::string_view rule = file.rest();
    if (skip(rule, '\n')) table.afterwards = zoneOfRule(rule.substr(0, rule.find('\n')));

    return [table](std::int64_t instant) {
        const auto next = std::ranges::upper_bound(table.changes, instant);
        if (next == table.changes.begin()) {
            const auto first = std::ranges::find(table.offsets, false, &Offset::summer);
            return first != table.offsets.end() ? *first : table.offsets[0];
        }
        if (next == table.changes.end() && table.afterwards) return (*table.afterwards)(instant);
        return table.offsets[table.offsetOfChange[static_cast<std::size_t>(next - table.changes.begin()) - 1]];
    };
}

std::optional<Zone> zoneOfName(std::string_view name) {
    const char* const folder = std::getenv("TZDIR");
    if (folder == nullptr) return std::nullopt;
    const File file((std::string(folder) + '/' + std::string(name)).c_str(), File::Access::Read);
    ByteBuffer bytes;
    if (!file.isOpen() || !file.readAll(bytes)) return std::nullopt;
    return zoneOfFile({bytes.data(), bytes.size()});
}

// ---- The user's zone ------------------------------------------------------------------------------------------------

Change changeOf(const SYSTEMTIME& t) {
    Change change;
    change.by = t.wYear == 0 ? Change::Day::Weekday : Change::Day::Date;
    change.month = t.wMonth;
    change.week = t.wDay;
    change.day = t.wYear == 0 ? t.wDayOfWeek : t.wDay;
    change.time = t.wHour * 3600 + t.wMinute * 60 + t.wSecond;
    return change;
}

YearOfChanges changesOf(year of, const DYNAMIC_TIME_ZONE_INFORMATION& zone) {
    DYNAMIC_TIME_ZONE_INFORMATION copy = zone;
    TIME_ZONE_INFORMATION rules{};
    if (!GetTimeZoneInformationForYear(static_cast<USHORT>(static_cast<int>(of)), &copy, &rules)) return {};
    YearOfChanges year;
    year.winter = -60 * (rules.Bias + rules.StandardBias);
    year.summer = -60 * (rules.Bias + rules.DaylightBias);
    year.changes = rules.StandardDate.wMonth != 0 && rules.DaylightDate.wMonth != 0;
    if (!year.changes) year.winter = -60 * rules.Bias;
    year.begin = changeOf(rules.DaylightDate);
    year.end = changeOf(rules.StandardDate);
    return year;
}

Zone usersZone() {
    static constexpr int firstYear = 1900, lastYear = 2040;
    DYNAMIC_TIME_ZONE_INFORMATION zone{};
    GetDynamicTimeZoneInformation(&zone);
    std::vector<YearOfChanges> years;
    for (int of = firstYear; of <= lastYear; ++of) years.push_back(changesOf(year{of}, zone));
    return [years](std::int64_t instant) {
        const auto rulesOf = [&](year of) -> const YearOfChanges& {
            return years[static_cast<std::size_t>(std::clamp(static_cast<int>(of), firstYear, lastYear) - firstYear)];
        };
        const year about = yearOf(instant + rulesOf(yearOf(instant)).winter);
        return rulesOf(about).at(instant, about);
    };
}

// ---- The current zone -----------------------------------------------------------------------------------------------

Zone zoneOf(const char* variable) {
    if (variable == nullptr) return usersZone();
    std::string_view text = variable;
    skip(text, ':');
    if (auto zone = zoneOfName(text)) return *zone;
    if (auto zone = zoneOfRule(text)) return *zone;
    if (text == "UTC" || text == "GMT" || text.empty()) return [](std::int64_t) { return Offset{}; };
    return usersZone();
}

class CurrentZone {
public:
    static CurrentZone& get() {
        static CurrentZone zone;
        return zone;
    }

    void refresh() {
        const char* const now = std::getenv("TZ");
        const std::lock_guard lock(mutex);
        if (zone && hasVariable == (now != nullptr) && (now == nullptr || variable == now)) return;
        zone = zoneOf(now);
        hasVariable = now != nullptr;
        variable = now != nullptr ? now : "";
    }

    Offset at(std::int64_t instant) {
        const std::lock_guard lock(mutex);
        return zone(instant);
    }

private:
    CurrentZone() { refresh(); }

    std::mutex mutex;
    Zone zone;
    bool hasVariable = false;
    std::string variable;
};

Offset offsetAt(std::int64_t instant) { return CurrentZone::get().at(instant); }

std::tm fieldsOf(std::int64_t localTime, bool summer) {
    const auto day = floor<days>(sys_seconds{seconds{localTime}});
    const year_month_day date{day};
    const auto ofDay = static_cast<int>(localTime - secondsOf(day));
    std::tm t{};
    t.tm_year = static_cast<int>(date.year()) - 1900;
    t.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    t.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    t.tm_hour = ofDay / 3600;
    t.tm_min = ofDay / 60 % 60;
    t.tm_sec = ofDay % 60;
    t.tm_wday = static_cast<int>(weekday{day}.c_encoding());
    t.tm_yday = static_cast<int>((day - sys_days{date.year() / 1 / 1}).count());
    t.tm_isdst = summer;
    return t;
}

}  // namespace

void refresh() { CurrentZone::get().refresh(); }

std::tm local(std::int64_t instant) {
    const Offset offset = offsetAt(instant);
    return fieldsOf(instant + offset.seconds, offset.summer);
}

}  // namespace tramo::hosttime
