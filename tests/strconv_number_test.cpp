// Numbers read and written, each with its message.
#include "support/console.h"
#include "tramostream/stringconverter.h"
#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace std::string_literals;

constexpr int intMax = std::numeric_limits<int>::max(), intMin = std::numeric_limits<int>::min();
constexpr long long longLongMax = std::numeric_limits<long long>::max(), longLongMin = std::numeric_limits<long long>::min();

// ---- Integers -------------------------------------------------------------------------------------------------------

struct Whole {
    std::wstring text;
    long long value;
};

const Whole wholeNumbers[] = {
    {L"0", 0},
    {L"-0", 0},
    {L"7", 7},
    {L"+7", 7},
    {L"-42", -42},
    {L" -42x", -42},
    {L"12AB", 12},
    {L"  7  ", 7},
    {L" \t\n\v\f\r7", 7},
    {L"0012", 12},
    {L"0x1F", 0},
    {L"1,5", 1},
    {L"1.5", 1},
    {L"1e3", 1},
    {L"1 000", 1},
    {L"1\x661", 1},
    {L"00000000000000000000000000000000000000000042", 42},
    {L"2147483647", intMax},
    {L"-2147483648", intMin},
    {L"2147483647.9", intMax},
    {L"12\0\x33\x34"s, 12},
};

const std::wstring noNumbers[] = {
    L"",
    L"   ",
    L"ABC",
    L"-",
    L"+",
    L"+-1",
    L"- 1",
    L"--1",
    L".5",
    L",5",
    L"x7",
    L"\0\x37"s,
    L" \0 7"s,
    L"\x661",
    L"\xA0\x37",
    L"\x2003\x37",
    L"é",
};

const std::wstring beyondInt[] = {
    L"2147483648", L"-2147483649", L"4294967296", L"3000000000", L"9223372036854775807", L"18446744073709551617"};
const std::wstring beyondLongLong[] = {
    L"9223372036854775808",
    L"-9223372036854775809",
    L"18446744073709551616",
    L"18446744073709551617",
    L"-18446744073709551615",
    L"99999999999999999999999999999999999999",
};

template <class Value, class Convert> void expectReads(Convert convert, std::wstring text, Value expected) {
    const std::wstring before = text;
    Value value = 99;
    Console console;
    EXPECT_TRUE(convert(text, value));
    EXPECT_EQ(value, expected) << testing::PrintToString(before);
    EXPECT_EQ(text, before);
    EXPECT_EQ(console.wide(), L"");
}

template <class Value, class Convert> void expectFails(Convert convert, std::wstring text, const std::wstring& label) {
    const std::wstring before = text;
    Value value = 99;
    Console console;
    EXPECT_FALSE(convert(text, value));
    EXPECT_EQ(value, Value{99}) << testing::PrintToString(before);
    EXPECT_EQ(text, before);
    EXPECT_EQ(console.wide(), label + before + L" cannot be converted.\n");
    EXPECT_EQ(console.narrow(), "");
}

const auto toInt = [](std::wstring& s, int& v) { return StrConv::toInt(s, v); };
const auto toLong = [](std::wstring& s, long32& v) { return StrConv::toLong(s, v); };
const auto toWiderLong = [](std::wstring& s, long& v) { return StrConv::toLong(s, v); };
const auto toLongLong = [](std::wstring& s, long long& v) { return StrConv::toLongLong(s, v); };

TEST(WholeNumbers, AreReadUpToTheFirstNonDigit) {
    for (const auto& [text, value] : wholeNumbers) {
        expectReads<int>(toInt, text, static_cast<int>(value));
        expectReads<long32>(toLong, text, static_cast<long32>(value));
        expectReads<long>(toWiderLong, text, static_cast<long>(value));
        expectReads<long long>(toLongLong, text, value);
    }
}

TEST(WholeNumbers, FailWithoutADigit) {
    for (const std::wstring& text : noNumbers) {
        expectFails<int>(toInt, text, L"toInt: ");
        expectFails<long32>(toLong, text, L"toLong: ");
        expectFails<long>(toWiderLong, text, L"toLong: ");
        expectFails<long long>(toLongLong, text, L"toLongLong: ");
    }
}

TEST(WholeNumbers, OfIntAndLongHave32Bits) {
    for (const std::wstring& text : beyondInt) {
        expectFails<int>(toInt, text, L"toInt: ");
        expectFails<long32>(toLong, text, L"toLong: ");
        expectFails<long>(toWiderLong, text, L"toLong: ");
    }
}

TEST(WholeNumbers, OfLongLongHave64Bits) {
    expectReads<long long>(toLongLong, L"9223372036854775807", longLongMax);
    expectReads<long long>(toLongLong, L"-9223372036854775808", longLongMin);
    expectReads<long long>(toLongLong, L"3000000000", 3000000000LL);
    for (const std::wstring& text : beyondLongLong) expectFails<long long>(toLongLong, text, L"toLongLong: ");
}

TEST(WholeNumbers, DoNotChangeErrnoOnSuccess) {
    std::wstring text = L"12";
    int value = 0;
    errno = EDOM;
    EXPECT_TRUE(StrConv::toInt(text, value));
    EXPECT_EQ(errno, EDOM);
}

// ---- Hexadecimal numbers --------------------------------------------------------------------------------------------

struct Hex {
    std::wstring text;
    bool good;
    int value;
};

const Hex hexNumbers[] = {
    {L"1F", true, 31},
    {L"1f", true, 31},
    {L"0x1f", true, 31},
    {L"0X1F", true, 31},
    {L"0", true, 0},
    {L"00", true, 0},
    {L"00x1F", true, 0},
    {L"aBcDeF", true, 0xABCDEF},
    {L"  \t\n\v\f\r2A  ", true, 42},
    {L"12G4", true, 0x12},
    {L"0F0F", true, 0x0F0F},
    {L"+1f", true, 31},
    {L"-1", true, -1},
    {L"-0x1f", true, -31},
    {L"7FFFFFFF", true, intMax},
    {L"-7FFFFFFF", true, -intMax},
    {L"-80000000", true, intMin},
    {L"000000000000000000007FFFFFFF", true, intMax},
    {L"12\0\x33\x34"s, true, 0x12},
    {L"80000000", false, intMax},
    {L"FFFFFFFF", false, intMax},
    {L"FFFFFFFFFFFFFFFFFFFFFFFFFFFFFFFF", false, intMax},
    {L"10000000000000000", false, intMax},
    {L"-80000001", false, intMin},
    {L"-FFFFFFFF", false, intMin},
    {L"-FFFFFFFFFFFFFFFFFFFF", false, intMin},
    {L"G1", false, 0},
    {L"0x", false, 0},
    {L"0xG", false, 0},
    {L"0x 1", false, 0},
    {L"0x-1", false, 0},
    {L"x1F", false, 0},
    {L"    ", false, 0},
    {L"-", false, 0},
    {L"+-1", false, 0},
    {L"- 1", false, 0},
    {L"\0\x31"s, false, 0},
    {L"\x2003\x31", false, 0},
    {L"é", false, 0},
};

TEST(HexStrToInt, ReturnsTheNumberOrTheNearestLimitAndPrintsFailures) {
    for (const auto& [text, good, expected] : hexNumbers) {
        std::wstring copy = text;
        int value = 99;
        Console console;
        EXPECT_EQ(StrConv::hexStrToInt(copy, value), good) << testing::PrintToString(text);
        EXPECT_EQ(value, expected) << testing::PrintToString(text);
        EXPECT_EQ(copy, text);
        EXPECT_EQ(console.wide(), good ? L""s : L"hexStrToInt (" + text + L"), Parse failed\n\n");
    }
}

TEST(HexStrToInt, KeepsTheValueForAnEmptyText) {
    std::wstring text;
    int value = 99;
    Console console;
    EXPECT_TRUE(StrConv::hexStrToInt(text, value));
    EXPECT_EQ(value, 99);
    EXPECT_EQ(console.wide(), L"");
}

// ---- Decimal numbers ------------------------------------------------------------------------------------------------

struct Decimal {
    std::wstring text;
    double value;
};

const double infinity = std::numeric_limits<double>::infinity();

const Decimal decimals[] = {
    {L"0", 0},
    {L"3.25", 3.25},
    {L"3,25", 3.25},
    {L"-3,25", -3.25},
    {L"+3.25", 3.25},
    {L" \t\n\v\f\r3.25  ", 3.25},
    {L"5.", 5},
    {L".5", 0.5},
    {L",5", 0.5},
    {L"-.5", -0.5},
    {L"1.2.3", 1.2},
    {L"1,2,3", 1.2},
    {L"1.2,3", 1.2},
    {L"12AB", 12},
    {L"1e3", 1000},
    {L"1E+3", 1000},
    {L"1,5e-3", 0.0015},
    {L"1e", 1},
    {L"1e+", 1},
    {L"1e+x", 1},
    {L"1p3", 1},
    {L"0x", 0},
    {L"0x1A", 26},
    {L"0X1.8p1", 3},
    {L"0x1,8", 1.5},
    {L"-0x.8p-1", -0.25},
    {L"0xg", 0},
    {L"00x1", 0},
    {L"inf", infinity},
    {L"-INF", -infinity},
    {L"Infinity", infinity},
    {L"infinit", infinity},
    {L"1\0.5"s, 1},
    {L"1\x661", 1},
    {L"123456789012345678", 123456789012345678.0},
    {L"9007199254740993", 9007199254740992.0},
    {L"0.1", 0.1},
    {L",000000000000000001", 1e-18},
    {L",0000000000000000001", 1e-19},
    {L",00000000000000000001", 1e-20},
    {L"0.30000000000000004", 0.30000000000000004},
    {L"179769313486231570000000000000000000000e270", std::numeric_limits<double>::max()},
    {L"2.2250738585072014e-308", std::numeric_limits<double>::min()},
    {L"0e-999999", 0},
    {L"0x1p-1074", std::numeric_limits<double>::denorm_min()},
};

const std::wstring noDecimals[] = {
    L"", L"   ", L"ABC", L"-", L".", L",", L"-.", L"+-1", L"- 1", L"e5", L".e5", L"in", L"na", L"\0\x31"s, L"\x661",
    L"\x2003\x31", L"1e309", L"-1e309", L"1,8e308", L"1e999999999999999999999", L"0x1p1024",   // overflow
    L"1e-310", L"-1e-310", L"1e-400", L"1e-999999999999999999999", L"0x1p-1075", L"4.9e-324",  // underflow
};

TEST(ToDouble, ReadsTheSameAsTheStandardConversion) {
    for (const auto& [text, expected] : decimals) {
        std::wstring copy = text;
        double value = 99;
        Console console;
        EXPECT_TRUE(StrConv::toDouble(copy, value)) << testing::PrintToString(text);
        EXPECT_EQ(value, expected) << testing::PrintToString(text);
        EXPECT_EQ(console.wide(), L"");
    }
}

TEST(ToDouble, ReadsNotANumber) {
    for (std::wstring text : {L"nan", L"NaN", L"-nan", L"nan(7)", L"nan(", L"nano"}) {
        double value = 99;
        EXPECT_TRUE(StrConv::toDouble(text, value));
        EXPECT_TRUE(std::isnan(value));
    }
}

TEST(ToDouble, KeepsTheSignOfZero) {
    for (std::wstring text : {L"-0", L"-0,00", L"-.0", L"-0x0", L"-0e5"}) {
        double value = 99;
        EXPECT_TRUE(StrConv::toDouble(text, value));
        EXPECT_EQ(value, 0);
        EXPECT_TRUE(std::signbit(value));
    }
}

TEST(ToDouble, ReplacesCommasWithPointsInTheCallersText) {
    double value = 0;
    std::wstring text = L"3,25";
    EXPECT_TRUE(StrConv::toDouble(text, value));
    EXPECT_EQ(value, 3.25);
    EXPECT_EQ(text, L"3.25");

    Console console;
    text = L"A,B,1";
    EXPECT_FALSE(StrConv::toDouble(text, value));
    EXPECT_EQ(text, L"A.B.1");
    EXPECT_EQ(console.wide(), L"toDouble: A.B.1 cannot be converted.\n");
}

TEST(ToDouble, FailsWithoutANumberAndOutOfRange) {
    for (const std::wstring& text : noDecimals) {
        std::wstring copy = text, shown = text;
        std::ranges::replace(shown, L',', L'.');
        double value = 99;
        Console console;
        EXPECT_FALSE(StrConv::toDouble(copy, value)) << testing::PrintToString(text);
        EXPECT_EQ(value, 99);
        EXPECT_EQ(copy, shown);
        EXPECT_EQ(console.wide(), L"toDouble: " + shown + L" cannot be converted.\n");
        EXPECT_EQ(console.narrow(), "");
    }
}

TEST(ToDouble, ReadsTextsOfAnyLength) {
    double value = 0;
    std::wstring zeros = std::wstring(100000, L'0') + L"1,5";
    EXPECT_TRUE(StrConv::toDouble(zeros, value));
    EXPECT_EQ(value, 1.5);
    std::wstring blanks = std::wstring(100000, L' ') + L"2,5";
    EXPECT_TRUE(StrConv::toDouble(blanks, value));
    EXPECT_EQ(value, 2.5);
    std::wstring third = L"0," + std::wstring(5000, L'3');
    EXPECT_TRUE(StrConv::toDouble(third, value));
    EXPECT_EQ(value, 1.0 / 3);
    std::wstring balanced = L"0," + std::wstring(5000, L'0') + L"1e5001";
    EXPECT_TRUE(StrConv::toDouble(balanced, value));
    EXPECT_EQ(value, 1.0);
}

TEST(ToDouble, DoesNotChangeErrnoOnSuccess) {
    for (std::wstring text : {L"1,5", L"1e5", L"0x1A"}) {
        double value = 0;
        errno = EDOM;
        EXPECT_TRUE(StrConv::toDouble(text, value));
        EXPECT_EQ(errno, EDOM);
    }
}

TEST(ToDouble, SetsTheNumericLocaleToCOnlyOnFailure) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    ASSERT_TRUE(std::setlocale(LC_NUMERIC, "C.UTF-8") || std::setlocale(LC_NUMERIC, "German"));
    const std::string set = std::setlocale(LC_NUMERIC, nullptr);
    ASSERT_NE(set, "C");

    double value = 0;
    std::wstring good = L"1,5e3";
    EXPECT_TRUE(StrConv::toDouble(good, value));
    EXPECT_EQ(std::setlocale(LC_NUMERIC, nullptr), set);

    Console console;
    std::wstring bad = L"x";
    EXPECT_FALSE(StrConv::toDouble(bad, value));
    EXPECT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
    std::setlocale(LC_ALL, before.c_str());
}

// ---- Writing numbers ------------------------------------------------------------------------------------------------

// Returns the field that `write` wrote; checks that nothing around it has changed.
template <class Write> std::wstring written(unsigned width, Write write) {
    std::wstring line(width + 2, L'#');
    EXPECT_TRUE(write(line.data() + 1, width));
    EXPECT_EQ(line.front(), L'#');
    EXPECT_EQ(line.back(), L'#');
    return line.substr(1, width);
}

std::wstring fromInt(int v, unsigned width) {
    return written(width, [&](wchar_t* d, unsigned w) { return StrConv::fromInt(v, d, w); });
}
std::wstring fromLong(long32 v, unsigned width) {
    return written(width, [&](wchar_t* d, unsigned w) { return StrConv::fromLong(v, d, w); });
}
std::wstring fromLongLong(long long v, unsigned width) {
    return written(width, [&](wchar_t* d, unsigned w) { return StrConv::fromLongLong(v, d, w); });
}
std::wstring fromDouble(double v, unsigned width, int places) {
    return written(width, [&](wchar_t* d, unsigned w) { return StrConv::fromDouble(v, d, w, places); });
}

struct WrittenWhole {
    int value;
    unsigned width;
    std::wstring text;
};

const WrittenWhole writtenWholes[] = {
    {7, 4, L"   7"},
    {-7, 4, L"  -7"},
    {0, 3, L"  0"},
    {123456, 4, L"1234"},
    {12345, 3, L"123"},
    {-12345, 3, L"-12"},
    {-5, 1, L"-"},
    {1234, 4, L"1234"},
    {5, 0, L""},
    {intMax, 12, L"  2147483647"},
    {intMin, 12, L" -2147483648"},
    {intMin, 5, L"-2147"},
};

TEST(FromWhole, JustifiesAndTruncatesOnTheRight) {
    for (const auto& [value, width, text] : writtenWholes) {
        EXPECT_EQ(fromInt(value, width), text);
        EXPECT_EQ(fromLong(value, width), text);
        EXPECT_EQ(fromLongLong(value, width), text);
    }
}

TEST(FromWhole, WritesAll64Bits) {
    EXPECT_EQ(fromLongLong(longLongMax, 21), L"  9223372036854775807");
    EXPECT_EQ(fromLongLong(longLongMin, 21), L" -9223372036854775808");
    EXPECT_EQ(fromLongLong(longLongMin, 3), L"-92");
}

struct WrittenDecimal {
    double value;
    unsigned width;
    int places;
    std::wstring text;
};

const WrittenDecimal writtenDecimals[] = {
    {2.5, 6, 2, L"  2.50"},
    {2.5, 10, -1, L"  2.500000"},
    {2.5, 10, -7, L"  2.500000"},
    {-1.5, 2, 1, L"-1"},
    {0.5, 3, 0, L"  0"},  // ties go to even
    {1.5, 3, 0, L"  2"},
    {2.5, 3, 0, L"  2"},
    {0.125, 5, 2, L" 0.12"},
    {0.375, 5, 2, L" 0.38"},
    {2.675, 5, 2, L" 2.67"},  // the binary value is below the tie
    {1.005, 6, 2, L"  1.00"},
    {0.9999, 6, 3, L" 1.000"},
    {-0.0, 6, 2, L" -0.00"},
    {-0.001, 6, 2, L" -0.00"},
    {1e20, 5, -1, L"10000"},
    {1e20, 22, 0, L" 100000000000000000000"},
    {1e23, 24, 0, L" 99999999999999991611392"},
    {1e308, 6, 2, L"100000"},
    {123456.789, 8, 3, L"123456.7"},
    {123456.789, 0, 3, L""},
    {infinity, 6, 2, L"   inf"},
    {-infinity, 6, 2, L"  -inf"},
    {infinity, 2, 2, L"in"},
    {std::numeric_limits<double>::quiet_NaN(), 6, 2, L"   nan"},
    {std::copysign(std::numeric_limits<double>::quiet_NaN(), -1.0), 6, -1, L"  -nan"},
    {std::numeric_limits<double>::denorm_min(), 6, -1, L"0.0000"},
    {1.0, 8, intMax, L"1.000000"},
    {infinity, 8, intMax, L"     inf"},
};

TEST(FromDouble, RoundsJustifiesAndTruncates) {
    for (const auto& [value, width, places, text] : writtenDecimals) {
        EXPECT_EQ(fromDouble(value, width, places), text) << value << ' ' << places;
    }
}

}  // namespace
