// Dates read from text: strict syntax, calendar, limits of 32 bits, and the local time of the host.
#include "tramostream/dateutils.h"
#include "common/dates.h"
#include "common/zone.h"
#include "support/build.h"
#include "support/clocks.h"
#include "support/timezone.h"
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <sstream>
#include <thread>
#include <vector>

namespace {

constexpr long32 none = std::numeric_limits<long32>::lowest();
constexpr long32 highest = std::numeric_limits<long32>::max();

using DateUtils::strToTime;

// ---- Syntax and calendar, in UTC ------------------------------------------------------------------------------------

class StrToTime : public testing::Test {
    TimeZone utc{"UTC"};
};

struct Reading {
    const char* format;
    const char* text;
    long32 seconds;
};

const Reading good[] = {
    {"%Y%m%d", "19700101", 0},
    {"%Y%m%d", "20240131", 1706659200},
    {"%Y%m%d%H%M", "202401311405", 1706709900},
    {"%Y", "1970", 0},
    {"%Y", "2024", 1704067200},
    {"%Y%m", "202402", 1706745600},
    {"%Y-%m-%d %H:%M", "2024-01-31 14:05", 1706709900},
    {"%d/%m/%Y", "31/01/2024", 1706659200},
    {"on %Y%m%d.", "on 20240131.", 1706659200},
    {"%Y%m%d", "20000229", 951782400},
    {"%Y%m%d", "20240229", 1709164800},
    {"%Y%m%d%H%M", "202401312359", 1706745540},
    {"%Y%m%d", "19691231", -86400},
    {"%Y", "1960", -315619200},
    {"%Y%m%d", "19011214", -2147472000},
    {"%Y%m%d", "20380119", 2147472000},
    {"%Y%m%d%H%M", "203801190314", 2147483640},
};

TEST_F(StrToTime, ReadsTheFormat) {
    for (const auto& [format, text, seconds] : good) EXPECT_EQ(strToTime(format, text), seconds) << text;
}

const Reading bad[] = {
    {"%Y%m%d", "", none},
    {"%Y%m%d", "        ", none},
    {"%Y%m%d", "ABCDEFGH", none},
    {"%Y%m%d", "2024013", none},
    {"%Y%m%d", "202401311", none},
    {"%Y%m%d", "20240131 ", none},
    {"%Y%m%d", " 20240131", none},
    {"%Y%m%d", "2024 1 1", none},
    {"%Y%m%d", "2024-1-1", none},
    {"%Y%m%d", "+2240131", none},
    {"%Y%m%d", "-2240131", none},
    {"%Y%m%d", "2024+131", none},
    {"%Y%m%d", "2024013x", none},
    {"%Y%m%d", "2024/131", none},
    {"%Y%m%d", "2024:131", none},
    {"%Y%m%d",
        "2024\xB9"
        "131",
        none},
    {"%Y%m%d%H%M", "20240131", none},
    {"%Y%m%d%H%M", "2024013114 5", none},
    {"%Y", "202", none},
    {"%Y", "20244", none},
    {"%Y-%m", "2024/01", none},
    {"%Y-%m", "2024-", none},
    {"%Y-", "2024", none},
    {"%Y", "2024-", none},
    // dates outside the calendar
    {"%Y%m%d", "20240001", none},
    {"%Y%m%d", "20241301", none},
    {"%Y%m%d", "20240100", none},
    {"%Y%m%d", "20240132", none},
    {"%Y%m%d", "20240231", none},
    {"%Y%m%d", "20240230", none},
    {"%Y%m%d", "20230229", none},
    {"%Y%m%d", "20240431", none},
    {"%Y%m%d", "20240631", none},
    {"%Y%m%d", "20240931", none},
    {"%Y%m%d", "20241131", none},
    {"%Y%m%d", "19000229", none},
    {"%Y%m%d", "21000229", none},
    {"%Y%m%d%H%M", "202401312400", none},
    {"%Y%m%d%H%M", "202401311460", none},
    // outside 32 bits
    {"%Y%m%d", "19011213", none},
    {"%Y%m%d", "20380120", none},
    {"%Y%m%d%H%M", "203801190315", none},
    {"%Y", "0000", none},
    {"%Y", "0001", none},
    {"%Y", "1899", none},
    {"%Y", "1900", none},
    {"%Y", "1901", none},
    {"%Y", "2039", none},
    {"%Y", "2106", none},  // would be 1970 in unsigned 32 bits
    {"%Y", "9999", none},
    // invalid formats
    {"%y%m%d", "240131", none},
    {"%Y%m%d%S", "2024013100", none},
    {"%Y%", "2024", none},
    {"%%%Y", "%2024", none},
    {"%", "", none},
    {"", "", none},  // no year
    {"%m%d", "0131", none},
};

TEST_F(StrToTime, ReturnsTheLowestValueForEverythingElse) {
    for (const auto& [format, text, seconds] : bad) EXPECT_EQ(strToTime(format, text), seconds) << format << ' ' << text;
}

TEST_F(StrToTime, ReadsEveryDayOfTheCalendar) {
    constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    std::int64_t expected = -25202 * std::int64_t{86400};  // 1901-01-01
    for (int year = 1901; year <= 2038; ++year)
        for (int month = 0; month <= 13; ++month)
            for (int day = 0; day <= 32; ++day) {
                char text[40];
                std::snprintf(text, sizeof text, "%04d%02d%02d", year, month, day);
                const bool leap = year % 4 == 0 && year != 1900;
                const bool exists =
                    month >= 1 && month <= 12 && day >= 1 && day <= lengths[month - 1] + (leap && month == 2 ? 1 : 0);
                const bool fits = expected >= none && expected <= highest;
                ASSERT_EQ(strToTime("%Y%m%d", text), exists && fits ? static_cast<long32>(expected) : none) << text;
                if (exists) expected += 86400;
            }
}

// ---- Local time -----------------------------------------------------------------------------------------------------

const char* const zones[] = {
    "UTC",
    "Europe/Paris",
    "America/New_York",
    "America/Sao_Paulo",  // midnights skipped
    "America/St_Johns",   // -3:30, changes at 00:01
    "America/Asuncion",
    "Africa/Casablanca",  // no summer time in Ramadan
    "Africa/Cairo",
    "Africa/Monrovia",  // -0:44:30 until 1972
    "Asia/Kathmandu",   // +5:45
    "Asia/Tehran",
    "Asia/Gaza",
    "Australia/Lord_Howe",  // half an hour of summer time
    "Antarctica/Troll",     // two hours of it
    "Pacific/Apia",         // no 2011-12-30
    "Pacific/Kwajalein",    // no 1993-08-21, and 1969-09-30 nearly twice
    "Pacific/Chatham",      // +12:45
    "CET-1CEST,M3.5.0,M10.5.0/3",
    "IST-1GMT0,M10.5.0,M3.5.0/1",  // summer time with the lower offset
    "AAA3BBB,J100/0,J104/0",       // four days of summer time, changed at midnight
    "AAA-14BBB-16,M2.1.0,M2.2.0",
};

class LocalTime : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const std::string name = GetParam();
        if (name.find(',') == std::string::npos) {
            ASSERT_TRUE(std::filesystem::exists("/usr/share/zoneinfo/" + name)) << "no data of this zone";
        }
    }
    TimeZone zone{GetParam()};
    const clocks::Table table;
};
INSTANTIATE_TEST_SUITE_P(Zones, LocalTime, testing::ValuesIn(zones), [](const auto& zone) {
    std::string name = zone.param;
    std::erase_if(name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); });
    return name;
});

std::string format(const char* pattern, std::time_t time) {
    const std::tm t = clocks::localtime(time);
    char text[64];
    std::strftime(text, sizeof text, pattern, &t);
    return text;
}

std::int64_t sinceEpoch(int year, unsigned month, unsigned day) {
    using namespace std::chrono;
    return sys_days{std::chrono::year{year} / std::chrono::month{month} / std::chrono::day{day}}.time_since_epoch().count();
}

TEST_P(LocalTime, EveryDayRoundTrips) {
    for (std::int64_t day = 366; day < 25000; ++day) {  // 1971-01-02 to 2038-06
        const auto noonUtc = static_cast<std::time_t>(day * 86400 + 43200);
        if (noonUtc > highest - 86400) break;
        const std::string text = format("%Y%m%d", noonUtc);
        const long32 seconds = strToTime("%Y%m%d", text.c_str());
        ASSERT_NE(seconds, none) << text;
        ASSERT_EQ(format("%Y%m%d", seconds), text);
    }
}

TEST_P(LocalTime, EveryMinuteAroundAChangeRoundTrips) {
    for (const std::int64_t change : table.changes()) {
        if ((clocks::offsetAt(change) - clocks::offsetAt(change - 1)) % 60 != 0)
            continue;  // an early change that skipped a part of a minute
        for (std::int64_t minute = change - 4 * 3600; minute < change + 4 * 3600; minute += 60) {
            const std::string text = format("%Y%m%d%H%M", minute);
            const long32 seconds = strToTime("%Y%m%d%H%M", text.c_str());
            ASSERT_EQ(format("%Y%m%d%H%M", seconds), text);
        }
    }
}

// Cached results must never differ from the zone.
void expectAsShown(const clocks::Table& table, std::int64_t instant, std::int64_t local) {
    ASSERT_EQ(tramo::zone::toLocal(static_cast<long32>(instant)), clocks::shownAt(instant)) << instant;
    ASSERT_EQ(tramo::zone::toInstant(local), table.instantOf(local)) << local;
}

TEST_P(LocalTime, MatchesTheZoneAtRandomTimes) {
    std::mt19937 random(20240131);
    std::uniform_int_distribution<std::int64_t> any(-2147000000, 2147000000);
    for (int i = 0; i < 5000; ++i) ASSERT_NO_FATAL_FAILURE(expectAsShown(table, any(random), any(random) / 60 * 60));
}

TEST_P(LocalTime, MatchesTheZoneAroundEveryChange) {
    for (const std::int64_t change : table.changes()) {
        const std::int64_t offset = clocks::offsetAt(change - 1);
        for (std::int64_t instant = change - 30 * 3600; instant < change + 30 * 3600; instant += 1799)
            ASSERT_NO_FATAL_FAILURE(expectAsShown(table, instant, (instant + offset) / 60 * 60));
        for (std::int64_t instant = change - 4 * 3600; instant < change + 4 * 3600; instant += 300) {
            ASSERT_NO_FATAL_FAILURE(expectAsShown(table, instant, (instant + offset) / 60 * 60));  // also skipped times
            ASSERT_NO_FATAL_FAILURE(expectAsShown(table, instant - 1, instant + offset - 60));
        }
    }
}

// Days are cached separately from the offsets; each is requested twice, to compute it and to find it in the cache.
TEST_P(LocalTime, MatchesTheZoneOnEveryDay) {
    const std::int64_t last = sinceEpoch(2037, 12, 31);
    for (std::int64_t day = sinceEpoch(1902, 1, 2); day <= last; ++day)
        for (const std::int64_t minute : {0, 1439, 0, 721}) {
            const std::int64_t local = day * 86400 + minute * 60;
            const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{day}}};
            const long32 seconds =
                tramo::dates::toInstant(static_cast<unsigned>(static_cast<int>(date.year())), static_cast<unsigned>(date.month()),
                    static_cast<unsigned>(date.day()), static_cast<unsigned>(minute / 60), static_cast<unsigned>(minute % 60));
            ASSERT_EQ(seconds, table.instantOf(local)) << day << ' ' << minute;
        }
}

TEST(Dates, InvalidDaysAreNotCached) {
    const TimeZone zone("Europe/Paris");
    for (int turn = 0; turn < 2; ++turn)
        for (const unsigned year : {1901U, 1902U, 2023U, 2024U, 2037U, 2038U})
            for (unsigned month = 0; month < 100; ++month)
                for (unsigned day = 0; day < 100; ++day) {
                    const std::chrono::year_month_day date{
                        std::chrono::year{static_cast<int>(year)}, std::chrono::month{month}, std::chrono::day{day}};
                    const bool inRange = (year > 1901 || month * 100 + day > 1213) && (year < 2038 || month * 100 + day < 119);
                    ASSERT_EQ(tramo::dates::toInstant(year, month, day, 12, 0) != none, date.ok() && inRange)
                        << year << ' ' << month << ' ' << day;
                }
}

#ifndef _WIN32  // whose mktime has other zones
std::int64_t byMktime(std::int64_t local) {
    const auto time = static_cast<std::time_t>(local);
    std::tm t{};
    gmtime_r(&time, &t);
    t.tm_isdst = -1;
    return std::mktime(&t);
}

// If both candidates are in summer time, or neither is, mktime may return either.
TEST_P(LocalTime, MovesSkippedTimesIntoSummerTimeAsMktimeDoes) {
    for (const std::int64_t change : table.changes()) {
        const std::int64_t before = clocks::offsetAt(change - 1), after = clocks::offsetAt(change);
        if (clocks::isSummer(change - 1) == clocks::isSummer(change)) continue;
        for (std::int64_t local = change + before; local < change + after; local += 60) {
            const std::int64_t instant = byMktime(local);
            if (clocks::dayOf(clocks::shownAt(instant)) < clocks::dayOf(local)) continue;
            ASSERT_EQ(tramo::zone::toInstant(local), instant) << local;
        }
    }
}
#endif

TEST(SkippedTime, MovesAsMktimeDoes) {
    const TimeZone zone("America/Sao_Paulo");
    const long32 midnight = strToTime("%Y%m%d", "20181104");
    EXPECT_EQ(midnight, 1541300400);
    EXPECT_EQ(format("%Y%m%d%H%M", midnight), "201811040100");
}

TEST(SkippedTime, OfAWholeDayMovesToTheNextDay) {
    const TimeZone zone("Pacific/Apia");
    EXPECT_EQ(strToTime("%Y%m%d", "20111230"), strToTime("%Y%m%d", "20111231"));
    EXPECT_EQ(format("%Y%m%d", strToTime("%Y%m%d", "20111230")), "20111231");
    EXPECT_EQ(strToTime("%Y%m%d", "20111231") - strToTime("%Y%m%d", "20111229"), 86400);
}

TEST(SkippedTime, NeverMovesToThePreviousDay) {
    const TimeZone zone("Asia/Kathmandu");  // 15 minutes were skipped, without summer time
    EXPECT_EQ(format("%Y%m%d%H%M", strToTime("%Y%m%d", "19860101")), "198601010015");
}

TEST(SkippedTime, InSummerTimeMovesForward) {
    const TimeZone zone("Europe/Paris");
    EXPECT_EQ(format("%Y%m%d%H%M", strToTime("%Y%m%d%H%M", "202403310230")), "202403310330");
}

// The C library starts from the offset of its last conversion.
TEST(RepeatedTime, DoesNotDependOnEarlierConversions) {
    const TimeZone zone("Europe/Paris");
    for (const char* const before : {"202407141200", "202401311200", "202410270130", "202410270330", "202410270230"}) {
        strToTime("%Y%m%d%H%M", before);
        std::tm hosts{};
        hosts.tm_year = 124, hosts.tm_mon = std::stoi(std::string(before).substr(4, 2)) - 1, hosts.tm_mday = 27,
        hosts.tm_isdst = -1;
        std::mktime(&hosts);
        EXPECT_EQ(strToTime("%Y%m%d%H%M", "202410270230"), 1729989000) << before;
    }
}

struct TimeInZone {
    const char* zone;
    const char* text;
    long32 seconds;
};

const TimeInZone repeated[] = {
    {"Europe/Paris", "202410270200", 1729987200},
    {"Europe/Paris", "202410270259", 1729990740},
    {"Europe/Paris", "202410270300", 1729994400},  // shown once
    {"Europe/Dublin", "202410270130", 1729989000},
    {"Australia/Lord_Howe", "202404070145", 1712414700},  // half an hour
    {"Europe/Paris", "197609260000", 212536800},          // midnight
    {"America/Havana", "202411030000", 1730606400},       // midnight
    {"America/Sao_Paulo", "201902162330", 1550367000},    // before midnight
    {"Europe/Moscow", "201410260130", 1414272600},        // not from summer time
    {"Pacific/Kwajalein", "196909301200", -8031600},      // 23 hours
    {"CET-1CEST,M3.5.0,M10.5.0/3", "203710250230", 2140043400},
};

TEST(RepeatedTime, MeansItsFirstOccurrence) {
    for (const auto& [name, text, seconds] : repeated) {
        const TimeZone zone(name);
        EXPECT_EQ(strToTime("%Y%m%d%H%M", text), seconds) << name << ' ' << text;
        EXPECT_EQ(format("%Y%m%d%H%M", seconds), text);
        if (!std::string_view(text).ends_with("0000")) continue;
        EXPECT_EQ(strToTime("%Y%m%d", std::string(text, 8).c_str()), seconds) << name;
    }
}

const TimeInZone skipped[] = {
    {"Europe/Paris", "202403310230", 1711848600},   // forward, into summer time
    {"Europe/Dublin", "202403310130", 1711845000},  // back: summer time is the one with the lower offset
    {"Europe/Moscow", "201103270230", 1301182200},
    {"Asia/Kathmandu", "198601010010", 504902400},   // summer time on neither side: forward
    {"Asia/Pyongyang", "201805042340", 1525446600},  // the same across midnight
};

TEST(SkippedTime, MovesIntoSummerTimeOrForward) {
    for (const auto& [name, text, seconds] : skipped) {
        const TimeZone zone(name);
        EXPECT_EQ(strToTime("%Y%m%d%H%M", text), seconds) << name << ' ' << text << ' ' << format("%Y%m%d%H%M", seconds);
    }
}

std::vector<std::string> zonesOfTheTable() {
    std::ifstream lines("/usr/share/zoneinfo/zone1970.tab");
    std::vector<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream columns(line);
        std::string countries, position, name;
        if (!line.starts_with('#') && columns >> countries >> position >> name) names.push_back(name);
    }
    return names;
}

void expectRead(std::int64_t local, std::int64_t instant) {
    ASSERT_EQ(tramo::zone::toInstant(local), instant) << local;
    const std::int64_t ofDay = local - clocks::dayOf(local) * clocks::dayLength;
    if (ofDay % 900 != 0) return;
    const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{clocks::dayOf(local)}}};
    const bool fits = instant >= none && instant <= highest;
    ASSERT_EQ(tramo::dates::toInstant(static_cast<unsigned>(static_cast<int>(date.year())), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<unsigned>(ofDay / 3600), static_cast<unsigned>(ofDay / 60 % 60)),
        fits ? static_cast<long32>(instant) : none)
        << local;
}

// The local times that a zone repeats or skips, the latest first, so that the offset after the change was the last one
// used. Every fifth minute, and all near the ends.
TEST(EveryZone, ReadsTheFirstOccurrenceOfRepeatedTimesAndMovesSkippedOnes) {
    std::vector<std::string> names = zonesOfTheTable();
    ASSERT_GT(names.size(), 300U) << "no table of zones";
#if TESTS_SANITIZED  // would take long
    names.resize(10);
#endif
    names.insert(names.end(), std::begin(zones), std::end(zones));
    int repeatedTimes = 0, skippedTimes = 0;
    for (const std::string& name : names) {
        const TimeZone zone(name);
        SCOPED_TRACE(name);
        const clocks::Table table;
        for (const std::int64_t change : table.changes()) {
            const clocks::Scan scan(change);
            const std::int64_t first = scan.firstLocalTime(), last = scan.lastLocalTime();
            for (std::int64_t local = (last + scan.margin) / 60 * 60; local > first - scan.margin; local -= 60) {
                const bool nearEnd = std::abs(local - first) <= 120 || std::abs(local - last) <= 120;
                if (local % 300 != 0 && !nearEnd) continue;
                ASSERT_NO_FATAL_FAILURE(expectRead(local, scan.instantOf(local)));
                ASSERT_EQ(table.instantOf(local), scan.instantOf(local));
                repeatedTimes += scan.isRepeated(local);
                skippedTimes += scan.isSkipped(local);
            }
        }
    }
    EXPECT_GT(repeatedTimes, TESTS_SANITIZED ? 10'000 : 100'000);
    EXPECT_GT(skippedTimes, TESTS_SANITIZED ? 10'000 : 100'000);
}

TEST(Limits, Are32BitsInEveryZone) {
    const TimeZone east("UTC-14"), west("UTC+12");
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "203801181514"), 2147483640);
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "203801181515"), none);
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "190112130845"), none);
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "190112130846"), none + 8);
}

// Offsets that differ at the two ends of the range: std::time_t may have 32 bits and wrap around.
TEST(Limits, OfARangeWithSeveralOffsetsAreRead) {
    const TimeZone zone("Europe/Paris");
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "190112132055"), none);
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "190112132056"), none + 47);  // at +0:09:21
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "190112132140"), none + 47 + 44 * 60);
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "203801190414"), 2147483640);  // at +1:00
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "203801190415"), none);
}

// ---- A change of the zone while the process runs --------------------------------------------------------------------

long32 newYear() { return strToTime("%Y%m%d", "20240101"); }
constexpr long32 newYearUtc = 1704067200, newYearParis = newYearUtc - 3600, newYearNewYork = newYearUtc + 5 * 3600;

class ZoneChange : public testing::Test {
    TimeZone restores{"UTC"};
};

TEST_F(ZoneChange, IsDetectedWithAndWithoutTzset) {
    for (int turn = 0; turn < 3; ++turn) {
        setenv("TZ", "Europe/Paris", 1);
        EXPECT_EQ(newYear(), newYearParis);
        setenv("TZ", "America/New_York", 1);
        tzset();
        EXPECT_EQ(newYear(), newYearNewYork);
        setenv("TZ", "UTC", 1);
        EXPECT_EQ(newYear(), newYearUtc);
        setenv("TZ", "CET-1", 1);
        EXPECT_EQ(newYear(), newYearParis);
    }
}

TEST_F(ZoneChange, IsDetectedInBothDirections) {
    setenv("TZ", "Europe/Paris", 1);
    EXPECT_EQ(tramo::zone::toLocal(newYearParis), newYearUtc);
    EXPECT_EQ(tramo::zone::brokenDown(newYearParis).tm_hour, 0);
    setenv("TZ", "America/New_York", 1);
    EXPECT_EQ(tramo::zone::toLocal(newYearParis), newYearParis - 5 * 3600);
    EXPECT_EQ(tramo::zone::brokenDown(newYearParis).tm_hour, 18);
}

TEST_F(ZoneChange, IsDetectedIfTheVariableIsRemovedAndSetAgain) {
    setenv("TZ", "Asia/Tokyo", 1);
    EXPECT_EQ(newYear(), newYearUtc - 9 * 3600);
    unsetenv("TZ");
    const std::int64_t host = clocks::Table().instantOf(newYearUtc);
    EXPECT_EQ(newYear(), host);
    setenv("TZ", "Europe/Paris", 1);
    EXPECT_EQ(newYear(), newYearParis);
}

TEST_F(ZoneChange, IsDetectedIfTheVariableReplacesAnother) {
    setenv("TRAMO_TEST_LAST", "1", 1);
    unsetenv("TZ");
    const long32 host = newYear();
    unsetenv("TRAMO_TEST_LAST");
    setenv("TZ", "Asia/Tokyo", 1);  // the number of variables stays the same
    EXPECT_EQ(newYear(), newYearUtc - 9 * 3600);
    unsetenv("TZ");
    EXPECT_EQ(newYear(), host);
}

#ifndef _WIN32  // whose environment holds copies
TEST_F(ZoneChange, IsDetectedIfTheEntryIsOverwritten) {
    static char entry[] = "TZ=UTC-01";
    putenv(entry);
    EXPECT_EQ(newYear(), newYearParis);
    entry[8] = '9';
    EXPECT_EQ(newYear(), newYearUtc - 9 * 3600);
    setenv("TZ", "UTC", 1);
}
#endif

TEST_F(ZoneChange, IsSafeIfTheCLibraryHasAnotherZone) {
    setenv("TZ", "Europe/Paris", 1);
    EXPECT_EQ(newYear(), newYearParis);
    setenv("TZ", "Asia/Tokyo", 1);
    tzset();
    setenv("TZ", "Europe/Paris", 1);  // without tzset: the C library still has Tokyo
    EXPECT_EQ(strToTime("%Y%m%d", "20100101"), 1262300400);
    EXPECT_EQ(strToTime("%Y%m%d%H%M", "202403310130"), 1711845000);
    EXPECT_EQ(tramo::zone::toLocal(1711846799), 1711850399);
    setenv("TZ", "Asia/Tokyo", 1);
    tzset();
    setenv("TZ", "Europe/Paris", 1);
    EXPECT_EQ(tramo::zone::brokenDown(newYearParis).tm_hour, 0);
}

TEST_F(ZoneChange, IsDetectedForANameTooLongForTheCache) {
    const std::string longName(300, 'A');
    setenv("TZ", (longName + "-1").c_str(), 1);
    const std::int64_t first = clocks::Table().instantOf(newYearUtc);
    EXPECT_EQ(newYear(), first);
    setenv("TZ", (longName + "-9").c_str(), 1);
    const std::int64_t second = clocks::Table().instantOf(newYearUtc);
    EXPECT_EQ(newYear(), second);
    EXPECT_EQ(first - second, 8 * 3600);
}

TEST_F(ZoneChange, IsDetectedInEveryThread) {
    const auto inThread = [] {
        long32 seconds = 0;
        std::thread([&] { seconds = newYear(); }).join();
        return seconds;
    };
    setenv("TZ", "Europe/Paris", 1);
    EXPECT_EQ(newYear(), newYearParis);
    EXPECT_EQ(inThread(), newYearParis);
    setenv("TZ", "UTC", 1);
    EXPECT_EQ(inThread(), newYearUtc);
    EXPECT_EQ(newYear(), newYearUtc);
}

}  // namespace
