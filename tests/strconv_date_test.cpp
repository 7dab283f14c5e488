// Date fields: valid and invalid dates, no change on failure, and round trips.
#include "support/build.h"
#include "support/console.h"
#include "support/timezone.h"
#include "tramostream/dateutils.h"
#include "tramostream/stringconverter.h"
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <random>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

constexpr long32 lowest = std::numeric_limits<long32>::lowest();
constexpr long32 newYear2024 = 1704063600;  // in Paris

class DateFields : public testing::Test {
    TimeZone paris{"Europe/Paris"};
};

std::wstring written(long32 t, const wchar_t* format, std::size_t width) {
    std::wstring line(width + 2, L'#');
    EXPECT_TRUE(StrConv::fromDate(t, line.data() + 1, format));
    EXPECT_EQ(line.front(), L'#');
    EXPECT_EQ(line.back(), L'#');
    return line.substr(1, width);
}
std::wstring date(long32 t) { return written(t, StrConv::DATEFORMAT, 8); }
std::wstring dateTime(long32 t) { return written(t, StrConv::DATETIMEFORMAT, 12); }
std::wstring year(long32 t) { return written(t, StrConv::YEARFORMAT, 4); }

TEST_F(DateFields, AreReadInLocalTime) {
    long32 t = 0;
    std::wstring text = L"20240131";
    EXPECT_TRUE(StrConv::toDate(text, t));
    EXPECT_EQ(t, 1706655600);
    text = L"202401311405";
    EXPECT_TRUE(StrConv::toDateTime(text, t));
    EXPECT_EQ(t, 1706706300);
    text = L"2024";
    EXPECT_TRUE(StrConv::toYear(text, t));
    EXPECT_EQ(t, newYear2024);
}

TEST_F(DateFields, AreReadIntoA64BitLong) {
    long t = 0;
    std::wstring text = L"20240131";
    EXPECT_TRUE(StrConv::toDate(text, t));
    EXPECT_EQ(t, 1706655600);
    text = L"202401311405";
    EXPECT_TRUE(StrConv::toDateTime(text, t));
    EXPECT_EQ(t, 1706706300);
    text = L"2024";
    EXPECT_TRUE(StrConv::toYear(text, t));
    EXPECT_EQ(t, newYear2024);
    text = L"2039";
    EXPECT_TRUE(StrConv::toYear(text, t));
    EXPECT_EQ(t, lowest);
    text = L"20380120";
    t = 7;
    EXPECT_FALSE(StrConv::toDate(text, t));
    text = L"203801200000";
    EXPECT_FALSE(StrConv::toDateTime(text, t));
    EXPECT_EQ(t, 7);
}

const std::wstring noDates[] = {
    L"", L"        ", L"20241301", L"20240230", L"20230229", L"19000229", L"00000000", L"2024013", L"202401310", L"2024 131",
    L" 2024131", L"+2024131", L"2024-131", L"20240131 ", L"20240131\0"s, L"2024\0131"s, L"ABCDEFGH", L"19700101", L"19691231",
    L"19011231", L"20380120", L"99991231",  // negative in Paris, or beyond 32 bits
};
const std::wstring noDateTimes[] = {
    L"",
    L"            ",
    L"20240131",
    L"202401312400",
    L"202401311460",
    L"202413011405",
    L"2024013114050",
    L"20240131140",
    L"20240131 405",
    L"20240131140x",
    L"202401311405\0"s,
    L"197001010059",
    L"203801190415",
};

TEST_F(DateFields, ThatAreInvalidFailSilentlyAndKeepTheValue) {
    Console console;
    for (std::wstring text : noDates) {
        long32 t = 99;
        EXPECT_FALSE(StrConv::toDate(text, t)) << testing::PrintToString(text);
        EXPECT_EQ(t, 99);
    }
    for (std::wstring text : noDateTimes) {
        long32 t = 99;
        EXPECT_FALSE(StrConv::toDateTime(text, t)) << testing::PrintToString(text);
        EXPECT_EQ(t, 99);
    }
    EXPECT_EQ(console.wide(), L"");
    EXPECT_EQ(console.narrow(), "");
}

TEST_F(DateFields, ReachFromTheEpochToTheEndOf32Bits) {
    long32 t = 99;
    std::wstring text = L"197001010100";
    EXPECT_TRUE(StrConv::toDateTime(text, t));
    EXPECT_EQ(t, 0);
    text = L"203801190414";
    EXPECT_TRUE(StrConv::toDateTime(text, t));
    EXPECT_EQ(t, 2147483640);
}

TEST_F(DateFields, OfTheEpochItselfDependOnTheZone) {
    std::wstring text = L"19700101";
    long32 t = 99;
    EXPECT_FALSE(StrConv::toDate(text, t));
    const TimeZone newYork("America/New_York");
    EXPECT_TRUE(StrConv::toDate(text, t));
    EXPECT_EQ(t, 18000);
}

TEST_F(DateFields, UseTheLowEightBitsOfACharacter) {
    std::wstring text = L"20240\x131\x2033\x431";  // low bytes 31, 33, 31 are the digits 1, 3, 1
    long32 t = 0;
    EXPECT_TRUE(StrConv::toDate(text, t));
    EXPECT_EQ(t, 1706655600);
    text = L"202\x134";
    EXPECT_TRUE(StrConv::toYear(text, t));
    EXPECT_EQ(t, newYear2024);
    text = L"2024013\x100";  // a zero
    EXPECT_FALSE(StrConv::toDate(text, t));
}

TEST_F(DateFields, YearsNeverFail) {
    Console console;
    for (std::wstring text :
        {L""s, L"ABCD"s, L"    "s, L"202"s, L"20244"s, L"-024"s, L"0000"s, L"1900"s, L"1901"s, L"2039"s, L"9999"s, L"2106"s}) {
        long32 t = 99;
        EXPECT_TRUE(StrConv::toYear(text, t));
        EXPECT_EQ(t, lowest) << testing::PrintToString(text);
    }
    long32 t = 99;
    EXPECT_TRUE(StrConv::toYear(L"1970", t));
    EXPECT_EQ(t, -3600);
    EXPECT_TRUE(StrConv::toYear(L"1969", t));
    EXPECT_EQ(t, -3600 - 365 * 86400);
    EXPECT_TRUE(StrConv::toYear(L"1902", t));
    EXPECT_LT(t, -2000000000);
    EXPECT_GT(t, lowest);
    EXPECT_EQ(console.wide(), L"");
}

TEST_F(DateFields, AreWrittenDigitByDigit) {
    EXPECT_EQ(date(1706706300), L"20240131");
    EXPECT_EQ(dateTime(1706706300), L"202401311405");
    EXPECT_EQ(year(1706706300), L"2024");
    EXPECT_EQ(dateTime(1706706359), L"202401311405");
    EXPECT_EQ(dateTime(0), L"197001010100");
    EXPECT_EQ(dateTime(-1), L"197001010059");
    EXPECT_EQ(dateTime(-3601), L"196912312359");
    EXPECT_EQ(dateTime(std::numeric_limits<long32>::max()), L"203801190414");
    EXPECT_EQ(year(lowest), L"1901");
    EXPECT_EQ(date(951782400), L"20000229");
}

TEST_F(DateFields, OfTheValueZeroAreTheEpochInLocalTime) {
    EXPECT_EQ(date(0), L"19700101");
    const TimeZone newYork("America/New_York");
    EXPECT_EQ(date(0), L"19691231");
}

TEST_F(DateFields, AreWrittenAsByTheStandardFormatting) {
    std::mt19937 random(7);
    std::uniform_int_distribution<long32> any(lowest);
    for (int i = 0; i < 20000; ++i) {
        const long32 t = any(random);
        const std::time_t time = t;
        std::tm local{};
        localtime_r(&time, &local);
        wchar_t expected[16];
        std::wcsftime(expected, std::size(expected), StrConv::DATETIMEFORMAT, &local);
        ASSERT_EQ(dateTime(t), expected) << t;
        ASSERT_EQ(date(t), std::wstring(expected, 8)) << t;
        ASSERT_EQ(year(t), std::wstring(expected, 4)) << t;
    }
}

TEST_F(DateFields, RoundTripToMidnightAndToTheMinute) {
    std::mt19937 random(8);
    std::uniform_int_distribution<long32> any(86400);
    for (int i = 0; i < 20000; ++i) {
        const long32 t = any(random);
        std::wstring text = date(t);
        long32 back = 0;
        ASSERT_TRUE(StrConv::toDate(text, back));
        ASSERT_EQ(dateTime(back), text + L"0000");
        ASSERT_LT(t - back, 25 * 3600);
        ASSERT_LE(back - t, 3600);  // midnight occurred twice on 1976-09-26
        std::wstring full = dateTime(t);
        ASSERT_TRUE(StrConv::toDateTime(full, back));
        ASSERT_EQ(dateTime(back), full);
    }
}

// ---- Custom formats -------------------------------------------------------------------------------------------------

TEST_F(DateFields, AcceptAnyStandardFormat) {
    const long32 t = 1706706305;
    EXPECT_EQ(written(t, L"%d/%m/%Y %H:%M:%S", 19), L"31/01/2024 14:05:05");
    EXPECT_EQ(written(t, L"%Y%m%d%H%M%S", 14), L"20240131140505");
    EXPECT_EQ(written(t, L"%j", 3), L"031");
    EXPECT_EQ(written(t, L"%Y%m", 6), L"202401");
    EXPECT_EQ(written(t, L"%%Y", 2), L"%Y");
    EXPECT_EQ(written(t, L"été", 3), L"été");
    EXPECT_EQ(written(t, L"", 0), L"");
}

TEST_F(DateFields, CompareFormatsByTextNotAddress) {
    const std::wstring copy = StrConv::DATEFORMAT;
    EXPECT_EQ(written(1706706300, copy.c_str(), 8), L"20240131");
}

TEST_F(DateFields, FollowAChangeOfTheZone) {
    EXPECT_EQ(dateTime(newYear2024), L"202401010000");
    EXPECT_EQ(written(newYear2024, L"%H", 2), L"00");
    setenv("TZ", "America/New_York", 1);
    EXPECT_EQ(dateTime(newYear2024), L"202312311800");
    EXPECT_EQ(written(newYear2024, L"%H", 2), L"18");
    std::wstring text = L"20240101";
    long32 t = 0;
    EXPECT_TRUE(StrConv::toDate(text, t));
    EXPECT_EQ(t, newYear2024 + 6 * 3600);
}

// A time facet that prints only a question mark, or fails.
struct OddClock : std::time_put<wchar_t> {
    bool fails;
    explicit OddClock(bool failing) : fails(failing) {}
    iter_type do_put(iter_type to, std::ios_base&, char_type, const std::tm*, char, char) const override {
        if (fails) throw std::runtime_error("no clock");
        *to = L'?';
        return ++to;
    }
};

TEST_F(DateFields, InTheFormatsOfTheFileIgnoreTheLocale) {
    for (const bool fails : {false, true}) {
        const std::locale before = std::locale::global(std::locale(std::locale::classic(), new OddClock(fails)));
        EXPECT_EQ(date(1706706300), L"20240131");
        EXPECT_EQ(dateTime(1706706300), L"202401311405");
        EXPECT_EQ(year(1706706300), L"2024");
        std::locale::global(before);
    }
}

TEST_F(DateFields, InCustomFormatsFailIfTheLocaleFails) {
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new OddClock(false)));
    EXPECT_EQ(written(1706706300, L"%d", 1), L"?");
    std::locale::global(std::locale(std::locale::classic(), new OddClock(true)));
    std::wstring line(4, L'#');
    EXPECT_FALSE(StrConv::fromDate(1706706300, line.data(), L"%d"));
    EXPECT_EQ(line, L"####");
    std::locale::global(before);
}

std::vector<std::string> zonesOfTheTable() {
    std::ifstream table("/usr/share/zoneinfo/zone.tab");
    std::vector<std::string> names;
    for (std::string line; std::getline(table, line);) {
        std::istringstream columns(line);
        std::string country, position, name;
        if (!line.starts_with('#') && columns >> country >> position >> name) names.push_back(name);
    }
    return names;
}

// Days that a zone skipped because it moved across the date line.
const std::set<std::string> skippedDays{
    "Pacific/Apia 20111230",
    "Pacific/Fakaofo 20111230",
    "Pacific/Kanton 19941231",
    "Pacific/Kiritimati 19941231",
    "Pacific/Kwajalein 19930821",
};

TEST(EveryZoneOfTheTable, GivesEveryDayBackExceptThoseItSkipped) {
#ifdef _WIN32
    GTEST_SKIP() << "that system knows no zones by name";
#elif TESTS_SANITIZED
    GTEST_SKIP() << "ten million dates take long, and hold nothing for the sanitizer that the other tests do not";
#endif
    using namespace std::chrono;
    const std::vector<std::string> zones = zonesOfTheTable();
    ASSERT_GT(zones.size(), 300U) << "no table of zones";
    std::set<std::string> different;
    for (const std::string& name : zones) {
        const TimeZone zone(name);
        for (sys_days day = 1971y / January / 1; day <= sys_days{2037y / December / 31}; day += days{1}) {
            const year_month_day date{day};
            const int number = static_cast<int>(date.year()) * 10000 +
                               static_cast<int>(static_cast<unsigned>(date.month()) * 100 + static_cast<unsigned>(date.day()));
            const std::wstring text = std::to_wstring(number);
            std::wstring read = text, built(8, L' ');
            long32 seconds{};
            if (!StrConv::toDate(read, seconds) || !StrConv::fromDate(seconds, built.data(), StrConv::DATEFORMAT) ||
                built != text)
                different.insert(name + " " + std::to_string(number));
        }
    }
    EXPECT_EQ(different, skippedDays);
}

}  // namespace
