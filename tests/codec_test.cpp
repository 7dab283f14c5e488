// Compares the codecs with the standard conversions, in every locale, on every thread, and without allocations.
#include "convert/codec.h"
#include "common/dates.h"
#include "support/allocations.h"
#include "support/console.h"
#include "support/numbers.h"
#include "support/timezone.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstring>
#include <cwchar>
#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <new>
#include <random>
#include <sstream>
#include <thread>

namespace {

using namespace std::string_literals;
namespace codec = tramo::codec;

// ---- Eight digits at once -------------------------------------------------------------------------------------------

// Characters whose low byte is a digit, or that saturate to one byte.
template <class Char> std::basic_string<Char> digitsAndOthers(std::mt19937& random) {
    static const std::u32string others = U" -+.,:/?@\x7F\x80\xB0\xFF";
    static const std::u32string wide = U"\x130\x239\x7FFF\x8000\x8030\xFF30\xFFFF";
    std::basic_string<Char> text;
    const unsigned rareness = 2 + static_cast<unsigned>(random() % 40);
    for (int i = 0; i < 20; ++i) {
        auto c = static_cast<char32_t>(U'0' + random() % 10);
        if (random() % rareness == 0)
            c = sizeof(Char) > 1 && random() % 2 ? wide[random() % wide.size()] : others[random() % others.size()];
        text += static_cast<Char>(c);
    }
    return text;
}

template <class Char> class EightDigits : public testing::Test {};
using CharacterTypes = testing::Types<char, char16_t, wchar_t>;
TYPED_TEST_SUITE(EightDigits, CharacterTypes);

TYPED_TEST(EightDigits, are_read_as_one_by_one) {
    if (!codec::readsEightDigits) GTEST_SKIP() << "digits are read one by one there";
    std::mt19937 random(1);
    int plain = 0, decimals = 0;
    for (int i = 0; i < 100000; ++i) {
        const auto text = digitsAndOthers<TypeParam>(random);
        const unsigned count = 1 + static_cast<unsigned>(random() % 16);
        const TypeParam* end = text.data() + text.size();
        std::basic_string_view<TypeParam> last = text;
        last.remove_prefix(text.size() - count);
        const bool isPlain = std::ranges::all_of(last, [](TypeParam c) { return c >= '0' && c <= '9'; });
        const auto points = std::ranges::count_if(last, [](TypeParam c) { return c == '.' || c == ','; });
        const auto digits = std::ranges::count_if(last, [](TypeParam c) { return c >= '0' && c <= '9'; });
        ASSERT_EQ(codec::areDigits(end, count), isPlain);
        ASSERT_EQ(codec::areDigitsAndPoint(end, count), points <= 1 && digits <= 15 && points + digits == count);
        plain += isPlain;
        decimals += points == 1 && digits + 1 == count;
        int narrow = -7;
        long long wide = -7;
        ASSERT_EQ(codec::readPlainInteger(end, count, 20, narrow), isPlain && count <= 9);
        ASSERT_EQ(codec::readPlainInteger(end, count, 20, wide), isPlain);
        const bool isDecimal = FLT_EVAL_METHOD == 0 && points <= 1 && digits > 0 && digits <= 15 && points + digits == count;
        double decimal = -7, expectedDecimal = -7;
        ASSERT_EQ(codec::readPlainDecimal(end, count, 20, decimal), isDecimal);
        if (isDecimal) codec::plainDecimal(last, expectedDecimal);
        EXPECT_EQ(decimal, expectedDecimal);
        long long expected = -7;
        if (isPlain) codec::takeInteger(last, expected);
        EXPECT_EQ(wide, expected);
        EXPECT_EQ(narrow, isPlain && count <= 9 ? expected : -7);
    }
    EXPECT_GT(plain, 1000);
    EXPECT_GT(decimals, 1000);
}

TYPED_TEST(EightDigits, need_enough_characters_before_their_end) {
    const std::basic_string<TypeParam> text(16, '7');
    int narrow = 0;
    long long wide = 0;
    EXPECT_FALSE(codec::readPlainInteger(text.data() + 7, 3, 7, narrow));
    EXPECT_FALSE(codec::readPlainInteger(text.data() + 15, 9, 15, wide));
    EXPECT_FALSE(codec::readPlainInteger(text.data() + 16, 0, 16, narrow));
    double decimal = 0;
    EXPECT_FALSE(codec::readPlainDecimal(text.data() + 7, 3, 7, decimal));
    EXPECT_FALSE(codec::readPlainDecimal(text.data() + 15, 9, 15, decimal));
    EXPECT_FALSE(codec::readPlainDecimal(text.data() + 16, 0, 16, decimal));
    EXPECT_EQ(codec::readPlainInteger(text.data() + 8, 3, 8, narrow), codec::readsEightDigits);
    EXPECT_EQ(codec::readPlainInteger(text.data() + 16, 9, 16, wide), codec::readsEightDigits);
}

// ---- Texts to try ---------------------------------------------------------------------------------------------------

class Texts {
public:
    explicit Texts(unsigned seed) : random(seed) {}

    // Random characters of those that numbers consist of.
    std::wstring soup() {
        static const std::wstring alphabet =
            L"0011223456789..,,eE+-xXpPabcdefABCDEFinfINFnan()_ \t\n\v\f\r"s + L'\0' + L'\x661' + L'\x2003' + L'\xA0' + L'\xFF11';
        std::wstring text(below(14), L' ');
        for (wchar_t& c : text) c = alphabet[below(alphabet.size())];
        return text;
    }

    // A number, often near a limit, with other text around it.
    std::wstring number() {
        std::wstring text = pick({L"", L"", L" ", L"  \t", L"\n"});
        text += pick({L"", L"", L"-", L"+"});
        if (below(8) == 0)
            return text + pick({L"0x", L"0X"}) + hexDigits(below(18)) + pick({L"", L".", L","}) + hexDigits(below(18)) +
                   hexExponent() + tail();
        text += digits(below(below(6) == 0 ? 400 : 20)) + pick({L"", L".", L","});
        text += digits(below(below(6) == 0 ? 400 : 8));
        if (below(2) == 0)
            text += pick({L"e", L"E", L"e-", L"e+", L"E-"}) + std::to_wstring(below(2) == 0 ? below(30) : 290 + below(60));
        return text + tail();
    }

    // A number with all digits of a double, or with one digit changed.
    std::wstring exact() {
        const auto bits = (std::uint64_t{random()} << 32 | random()) & (below(3) == 0 ? 0x801FFFFFFFFFFFFF : ~std::uint64_t{0});
        const CLocale plain;
        wchar_t text[1200];
        std::swprintf(
            text, std::size(text), pick({L"%.17g", L"%.20g", L"%.780g", L"%a", L"%f"}).c_str(), std::bit_cast<double>(bits));
        std::wstring result = text;
        if (const std::size_t place = below(result.size()); below(3) == 0 && result[place] >= L'1' && result[place] <= L'8')
            ++result[place];
        return result;
    }

    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random() % limit; }

private:
    std::wstring pick(std::initializer_list<const wchar_t*> choices) { return *(choices.begin() + below(choices.size())); }
    std::wstring from(const wchar_t* alphabet, std::size_t count) {
        std::wstring text(count, L' ');
        for (wchar_t& c : text) c = alphabet[below(std::wcslen(alphabet))];
        return text;
    }
    std::wstring digits(std::size_t count) { return from(below(4) == 0 ? L"0" : below(4) == 0 ? L"9" : L"0123456789", count); }
    std::wstring hexDigits(std::size_t count) { return from(L"0123456789abcdefABCDEF", count); }
    std::wstring hexExponent() { return below(2) == 0 ? L"" : pick({L"p", L"P-", L"p+"}) + std::to_wstring(below(1200)); }
    std::wstring tail() { return pick({L"", L"", L"", L" ", L"e", L"e+", L"x", L".1", L",1", L"A"}); }

    std::mt19937 random;
};

// ---- The standard conversions ---------------------------------------------------------------------------------------

bool standardDouble(std::wstring text, double& value) {
    std::ranges::replace(text, L',', L'.');
    std::size_t used = 0;
    errno = 0;
    const double result = ::standardDouble(text.c_str(), used);
    if (used == 0 || errno == ERANGE) return false;
    value = result;
    return true;
}

template <class T> bool standardInteger(const std::wstring& text, T& value) {
    std::size_t used = 0;
    errno = 0;
    const long long result = ::standardInteger(text.c_str(), used);
    if (used == 0 || errno == ERANGE || result < std::numeric_limits<T>::min() || result > std::numeric_limits<T>::max())
        return false;
    value = static_cast<T>(result);
    return true;
}

bool sameDouble(double a, double b) {
    return std::isnan(a) ? std::isnan(b) : std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

void expectSameDouble(const std::wstring& text) {
    double expected = 99, value = 99;
    const bool good = standardDouble(text, expected);
    ASSERT_EQ(codec::toDouble(text, value), good) << testing::PrintToString(text);
    ASSERT_TRUE(sameDouble(value, expected)) << testing::PrintToString(text) << ' ' << value << ' ' << expected;
}

template <class T, class Convert> void expectSameInteger(Convert convert, const std::wstring& text) {
    T expected = 99, value = 99;
    const bool good = standardInteger(text, expected);
    ASSERT_EQ(convert(text, value), good) << testing::PrintToString(text);
    ASSERT_EQ(value, expected) << testing::PrintToString(text);
}

// ---- Comparison with them -------------------------------------------------------------------------------------------

TEST(ToDouble, AgreesWithTheStandardConversion) {
    const Silence silence;
    Texts texts(1);
    for (int i = 0; i < 40000; ++i) {
        ASSERT_NO_FATAL_FAILURE(expectSameDouble(texts.soup()));
        ASSERT_NO_FATAL_FAILURE(expectSameDouble(texts.number()));
        ASSERT_NO_FATAL_FAILURE(expectSameDouble(texts.exact()));
    }
}

TEST(ToDouble, AgreesWithTheStandardConversionOnPlainDecimals) {
    std::mt19937_64 random(2);
    for (int i = 0; i < 100000; ++i) {
        std::wstring text = std::to_wstring(static_cast<std::int64_t>(random()) >> random() % 64);
        if (random() % 4 != 0) text.insert(text.size() - random() % text.size(), 1, L',');
        if (text[0] == L',' && random() % 2 == 0) text.insert(0, L"-");
        ASSERT_NO_FATAL_FAILURE(expectSameDouble(text));
    }
}

// The values around which the standard conversion starts to report a number out of range, with all digits.
TEST(ToDouble, AgreesWithTheStandardConversionAtTheLimits) {
    const Silence silence;
    for (const double limit : {std::numeric_limits<double>::max(), std::numeric_limits<double>::min(),
             std::numeric_limits<double>::denorm_min(), 9007199254740992.0, 1.0}) {
        for (const double value : {limit, std::nextafter(limit, 0.0), std::nextafter(limit, HUGE_VAL)}) {
            const CLocale plain;
            wchar_t text[1500];
            std::swprintf(text, std::size(text), L"%.1100f", value);
            const std::wstring exact = text;
            ASSERT_NO_FATAL_FAILURE(expectSameDouble(exact));
            ASSERT_NO_FATAL_FAILURE(expectSameDouble(L"-" + exact + L"1"));
            for (std::size_t place = 0; place < exact.size(); ++place)
                for (const int step : {-1, 1}) {
                    std::wstring off = exact;
                    off[place] = static_cast<wchar_t>(off[place] + step);
                    if (off[place] >= L'0' && off[place] <= L'9') { ASSERT_NO_FATAL_FAILURE(expectSameDouble(off)); }
                }
        }
    }
    for (const wchar_t* text : {L"0x1p-1022", L"0x1p-1023", L"0x1p-1074", L"0x1p-1075", L"0x1.8p-1074",
             L"0x1.fffffffffffffp-1023", L"0x1.fffffffffffff8p-1023", L"0x1.ffffffffffffe8p-1023", L"0x1.fffffffffffffffp-1023",
             L"0x1.fffffffffffffp1023", L"0x1.fffffffffffff8p1023", L"0x1.fffffffffffff7p1023", L"0x1p1024"})
        ASSERT_NO_FATAL_FAILURE(expectSameDouble(text));
}

TEST(ToDouble, AgreesWithTheStandardConversionAtTheEndOfTheFastPath) {
    const Silence silence;
    for (const std::wstring& text : {L",0000000000000000001"s, L",000000000000000001"s, L"0,0000000000000000001"s,
             L"9007199254740993"s, L"9007199254740992,0"s, L"90071992547409,93"s, L"1\x131"s, L"1e\x131"s, L"0x1\x161"s,
             L"0x1\x80"s, L"0x1/8"s, L"1e1\x01"s + L'1'})
        ASSERT_NO_FATAL_FAILURE(expectSameDouble(text));
}

TEST(ToDouble, ReadsOnlyTheTextAroundTheSizeOfTheStackBuffer) {
    for (std::size_t size = 1020; size < 1030; ++size)
        ASSERT_NO_FATAL_FAILURE(expectSameDouble(std::wstring(size - 4, L'0') + L"12e1"));
}

TEST(ToDouble, ShowsAPointForACommaWhenItFails) {
    Console console;
    double value = 99;
    EXPECT_FALSE(codec::toDouble(L"a,b.c,", value));
    EXPECT_EQ(console.wide(), L"toDouble: a.b.c. cannot be converted.\n");
}

TEST(Integers, AgreeWithTheStandardConversion) {
    const Silence silence;
    Texts texts(3);
    for (int i = 0; i < 20000; ++i)
        for (const std::wstring& text : {texts.soup(), texts.number()}) {
            ASSERT_NO_FATAL_FAILURE(expectSameInteger<int>([](auto&&... a) { return codec::toInt(a...); }, text));
            ASSERT_NO_FATAL_FAILURE(expectSameInteger<long32>(codec::toLong, text));
            ASSERT_NO_FATAL_FAILURE(expectSameInteger<long long>([](auto&&... a) { return codec::toLongLong(a...); }, text));
        }
}

TEST(HexStrToInt, AgreesWithAWideStream) {
    const Silence silence;
    Texts texts(4);
    for (int i = 0; i < 20000; ++i)
        for (const std::wstring& text : {texts.soup(), texts.number()}) {
            std::wistringstream stream(forStandardStream(text));
            stream.imbue(std::locale::classic());
            int expected = 0, value = 99;
            const bool good = static_cast<bool>(stream >> std::hex >> expected);
            if (text.empty()) continue;
            ASSERT_EQ(codec::hexStrToInt(text, value), good) << testing::PrintToString(text);
            ASSERT_EQ(value, expected) << testing::PrintToString(text);
        }
}

// A field is a part of its line: the text after it does not belong to it.
TEST(Numbers, EndAtTheEndOfTheirField) {
    const Silence silence;
    for (const std::wstring& line : {L"  -12+7"s, L" +7-0X1F"s, L"-0x2A,5"s, L"\t 3.25e1"s, L"-.5"s, L"00000000000000000000"s})
        for (std::size_t first = 0; first <= line.size(); ++first)
            for (std::size_t size = 0; first + size <= line.size(); ++size) {
                const auto field = std::wstring_view(line).substr(first, size);
                const std::wstring alone(field);
                int number = 99, expectedNumber = 99;
                ASSERT_EQ(codec::toInt(field, number), standardInteger(alone, expectedNumber)) << testing::PrintToString(alone);
                ASSERT_EQ(number, expectedNumber) << testing::PrintToString(alone);
                double decimal = 99, expectedDecimal = 99;
                ASSERT_EQ(codec::toDouble(field, decimal), standardDouble(alone, expectedDecimal))
                    << testing::PrintToString(alone);
                ASSERT_EQ(decimal, expectedDecimal) << testing::PrintToString(alone);
                int hex = 99, expectedHex = 99;
                ASSERT_EQ(codec::hexStrToInt(field, hex), codec::hexStrToInt(alone, expectedHex))
                    << testing::PrintToString(alone);
                ASSERT_EQ(hex, expectedHex) << testing::PrintToString(alone);
            }
}

TEST(FromInteger, AgreesWithPrintf) {
    std::mt19937_64 random(9);
    const long long special[] = {
        0, 1, -1, 9, 10, -10, std::numeric_limits<long long>::max(), std::numeric_limits<long long>::min()};
    for (int i = 0; i < 100000; ++i) {
        const auto any = static_cast<long long>(random() >> random() % 64);
        const long long value = i % 10 == 0 ? special[random() % std::size(special)] : i % 2 == 0 ? any : -any;
        const int width = static_cast<int>(random() % 24) - 1;

        char text[32];
        const int length = std::snprintf(text, sizeof text, "%lld", value);
        const auto columns = static_cast<std::size_t>(std::max(width, 0)), size = static_cast<std::size_t>(length);
        std::wstring expected(columns - std::min(columns, size), L' ');
        expected.append(text, text + columns - expected.size());

        std::wstring field(columns + 2, L'#');
        codec::fromInteger(value, field.data() + 1, width);
        ASSERT_EQ(field, L"#" + expected + L"#") << value << ' ' << width;
    }
}

TEST(FromDouble, AgreesWithPrintf) {
    std::mt19937_64 random(5);
    const double special[] = {0.0, -0.0, 0.5, 1.5, 2.5, 0.125, 1e20, 1e23, 1e308, 5e-324, std::numeric_limits<double>::max(),
        HUGE_VAL, -HUGE_VAL, std::nan(""), std::copysign(std::nan(""), -1.0)};
    for (int i = 0; i < 30000; ++i) {
        double value = std::bit_cast<double>(random());
        if (i % 3 == 1) value = static_cast<double>(static_cast<std::int64_t>(random() % 2000000000) - 1000000000) / 1000;
        if (i % 30 == 2) value = special[random() % std::size(special)];
        const int decimals = static_cast<int>(random() % (i % 50 == 0 ? 1400 : 8)) - 1;
        const int width = static_cast<int>(random() % (i % 20 == 0 ? 2000 : 16));

        std::string text(2000, '\0');
        const int length = std::snprintf(text.data(), text.size(), "%.*f", decimals < 0 ? 6 : decimals, value);
        text.resize(static_cast<std::size_t>(length));
        if (std::isnan(value)) text = std::signbit(value) ? "-nan" : "nan";  // not all libraries print the sign
        const auto columns = static_cast<std::size_t>(width);
        std::wstring expected(columns - std::min(columns, text.size()), L' ');
        expected.append(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(columns - expected.size()));

        std::wstring field(columns + 2, L'#');
        codec::fromDouble(value, field.data() + 1, width, decimals);
        ASSERT_EQ(field, L"#" + expected + L"#") << value << ' ' << width << ' ' << decimals;
    }
}

// Values in the middle between two texts, their neighbors, and values near the limit of the fast path.
TEST(FromDouble, AgreesWithPrintfInHardRoundingCases) {
    std::mt19937_64 random(8);
    for (int i = 0; i < 200000; ++i) {
        const int decimals = static_cast<int>(random() % 8);
        const double scale = std::pow(10, decimals);
        const std::uint64_t digits = random() >> (i % 4 == 0 ? 20 : 24 + random() % 40);
        double value = (static_cast<double>(digits) + (i % 2 == 0 ? 0.5 : 0.51)) / scale;
        if (i % 5 == 0) value = std::ldexp(static_cast<double>(digits), -static_cast<int>(random() % 12));
        for (int steps = static_cast<int>(random() % 4); steps > 0; --steps)
            value = std::nextafter(value, i % 3 == 0 ? 0 : HUGE_VAL);
        if (i % 7 == 0) value = -value;

        char text[64];
        const int length = std::snprintf(text, sizeof text, "%40.*f", decimals, value);
        ASSERT_EQ(length, 40);
        std::wstring field(40, L'#');
        codec::fromDouble(value, field.data(), 40, decimals);
        ASSERT_EQ(field, std::wstring(text, text + 40)) << value << ' ' << decimals;
    }
}

// Zeros follow the last decimal that can differ from 0, as far as there are columns.
TEST(FromDouble, AgreesWithPrintfForTheLongestTexts) {
    const double lowest = std::numeric_limits<double>::lowest();
    for (const double value : {lowest, -5e-324, 0.1})
        for (const int decimals : {1073, 1074, 1075, 1076, 1100}) {
            std::string text(1500, '\0');
            text.resize(static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%.*f", decimals, value)));
            for (const std::size_t width : {text.size() - 2, text.size() - 1, text.size(), text.size() + 1}) {
                std::wstring expected(width - std::min(width, text.size()), L' ');
                expected.append(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(width - expected.size()));
                std::wstring field(width + 2, L'#');
                codec::fromDouble(value, field.data() + 1, static_cast<int>(width), decimals);
                ASSERT_EQ(field, L"#" + expected + L"#") << value << ' ' << decimals << ' ' << width;
            }
        }
}

TEST(Append, PrintsAsPrintfDoes) {
    std::mt19937_64 random(6);
    for (int i = 0; i < 5000; ++i) {
        const double value = std::bit_cast<double>(random());
        const auto whole = static_cast<long long>(random());
        char expected[400];
        std::snprintf(expected, sizeof expected, "A%fB%lldC", value, whole);
        std::wstring out = L"A";
        codec::appendDouble(value, out);
        out += L'B';
        codec::appendInteger(whole, out);
        out += L'C';
        ASSERT_EQ(out, std::wstring(expected, expected + std::strlen(expected)));
    }
}

// ---- Dates ----------------------------------------------------------------------------------------------------------

// Only the low eight bits of a character above 255 count.
TEST(Dates, ContainDigitsOnly) {
    const TimeZone zone("UTC");
    const std::wstring text = L"202401010101";
    for (std::size_t place = 0; place < text.size(); ++place)
        for (unsigned c = 1; c < 0x400; ++c) {
            std::wstring tried = text;
            tried[place] = static_cast<wchar_t>(c);
            if ((c & 0xFF) >= '0' && (c & 0xFF) <= '9') continue;
            long32 time = 99;
            ASSERT_FALSE(codec::toDateTime(tried, time)) << place << ' ' << c;
            if (place < 8) { ASSERT_FALSE(codec::toDate(tried.substr(0, 8), time)) << place << ' ' << c; }
            ASSERT_EQ(time, 99);
            if (place >= 4) continue;
            codec::toYear(tried.substr(0, 4), time);
            ASSERT_EQ(time, tramo::dates::noTime) << place << ' ' << c;
        }
}

// A day that was read before is found by its digits.
TEST(Dates, AreTheSameWhenTheirDayIsKnown) {
    for (const char* const zone : {"UTC", "Europe/Brussels", "America/Sao_Paulo", "Pacific/Apia"}) {
        const TimeZone here(zone);
        std::mt19937 random(7);
        const auto upTo = [&](unsigned most) { return static_cast<unsigned>(random() % (most + 1)); };
        int good = 0, bad = 0;
        for (int i = 0; i < 50000; ++i) {
            // Few days, some of which do not exist or are outside 32 bits; a few clock times that do not exist.
            const unsigned years[] = {2023, 2024, 2011, 2032, 1902, 1901, 2037, 2038, 2124, 0};
            const unsigned year = years[upTo(9)], month = upTo(3) ? 1 + upTo(11) : upTo(13),
                           day = upTo(3) ? 1 + upTo(30) : upTo(32);
            const unsigned hour = upTo(24), minute = upTo(9) ? upTo(59) : upTo(99);
            std::array<char, 64> text{};
            std::snprintf(text.data(), text.size(), "%04u%02u%02u%02u%02u", year, month, day, hour, minute);
            if (upTo(20) == 0) text[upTo(11)] = " /:A\xB0"[upTo(4)];
            const codec::DateFormat formats[] = {codec::DateFormat::Year, codec::DateFormat::Date, codec::DateFormat::DateTime};
            const codec::DateFormat format = formats[upTo(2)];
            const std::string_view all(text.data(), codec::widthOf(format));
            const long32 expected = codec::readAnyDate(all.data(), format, tramo::zone::Clock());
            ASSERT_EQ(expected, codec::readDate(all, format)) << zone << ": " << all;
            ASSERT_EQ(expected, codec::readDate(all, format)) << zone << ": " << all << ", again";
            ++(expected == tramo::dates::noTime ? bad : good);
        }
        EXPECT_GT(good, 10000) << zone;
        EXPECT_GT(bad, 5000) << zone;
    }
}

TEST(Dates, OfAKnownDayAreFoundByTheirDigits) {
    if (!codec::readsEightDigits) GTEST_SKIP() << "digits are read one by one there";
    {
        const TimeZone other("UTC");
        tramo::zone::Clock().knownMidnight(0);  // forgets the days of before
    }
    const TimeZone here("Europe/Brussels");
    const tramo::zone::Clock clock;
    for (const char* const text : {"202401311259", "190201020000", "203712302359", "199910190807", "196806150640"}) {
        EXPECT_EQ(codec::readKnownDate(text, codec::DateFormat::DateTime, clock), tramo::dates::noTime)
            << text << ", not read yet";
        const long32 read = codec::readAnyDate(text, codec::DateFormat::DateTime, clock);
        EXPECT_NE(read, tramo::dates::noTime) << text;
        EXPECT_EQ(codec::readKnownDate(text, codec::DateFormat::DateTime, clock), read) << text;
        const long32 midnight = codec::readKnownDate(text, codec::DateFormat::Date, clock);
        EXPECT_EQ(midnight, codec::readAnyDate(text, codec::DateFormat::Date, clock)) << text;
        EXPECT_EQ(codec::readKnownDate(text, codec::DateFormat::Year, clock), tramo::dates::noTime) << text << ": 1 January";
    }
}

// ---- Nothing beside the field ---------------------------------------------------------------------------------------

TEST(FromDate, WritesOnlyItsColumns) {
    const TimeZone zone("UTC");
    struct {
        codec::DateFormat format;
        std::wstring line;
    } const rows[] = {{codec::DateFormat::Year, L"#2024#########"}, {codec::DateFormat::Date, L"#20240131#####"},
        {codec::DateFormat::DateTime, L"#202401311305#"}};
    for (const auto& row : rows) {
        std::wstring line(14, L'#');
        EXPECT_TRUE(codec::fromDate(1706706300, line.data() + 1, row.format));
        EXPECT_EQ(line, row.line);
    }
}

TEST(AlarmFlags, UseTwelveElementsOnly) {
    struct {
        codec::AlarmFlags flags{};
        std::array<bool, 4> behind{};
    } some;
    static_assert(sizeof some == 16);
    codec::toAlarmFlags(L"FFFF", some.flags);
    EXPECT_EQ(std::ranges::count(some.flags, true), 12);
    EXPECT_EQ(std::ranges::count(some.behind, true), 0);
    codec::toAlarmFlags(L"", some.flags);
    EXPECT_EQ(std::ranges::count(some.flags, true), 0);

    std::wstring line(6, L'#');
    some.behind.fill(true);
    codec::fromAlarmFlags(some.flags, line.data());
    EXPECT_EQ(line, L"0000"s + L'\0' + L'#');
}

// ---- What a value does not hold --------------------------------------------------------------------------------------

bool isNothing(wchar_t c) { return codec::isBlank(c) || c == 0; }

// The text after the characters that were read, without surrounding white space and zero characters.
std::wstring behind(const std::wstring& text, std::size_t used) {
    std::size_t end = text.size();
    while (end > used && isNothing(text[end - 1])) --end;
    while (used < end && isNothing(text[used])) ++used;
    return text.substr(used, end - used);
}

TEST(Ignored, TextAfterAnInteger) {
    Texts texts(11);
    for (int i = 0; i < 40000; ++i) {
        const std::wstring text = i % 2 == 0 ? texts.soup() : texts.number();
        std::size_t used = 0;
        ::standardInteger(text.c_str(), used);
        ASSERT_EQ(codec::ignoredByInteger(text), used == 0 ? L"" : behind(text, used)) << testing::PrintToString(text);
    }
    EXPECT_EQ(codec::ignoredByInteger(L"      6O54"), L"O54");
    EXPECT_EQ(codec::ignoredByInteger(L"60 54"), L"54");
    EXPECT_EQ(codec::ignoredByInteger(L"6\0 54 "s), L"54");
    EXPECT_EQ(codec::ignoredByInteger(L"6\0\0\0"s), L"");
    EXPECT_EQ(codec::ignoredByInteger(L"  7  "), L"");
    EXPECT_EQ(codec::ignoredByInteger(L"O6"), L"") << "no number: an error";
}

TEST(Ignored, TextAfterADecimal) {
    Texts texts(12);
    for (int i = 0; i < 40000; ++i) {
        const std::wstring text = i % 3 == 0 ? texts.soup() : i % 3 == 1 ? texts.number() : texts.exact() + texts.soup();
        std::wstring points = text;
        std::ranges::replace(points, L',', L'.');
        std::size_t used = 0;
        errno = 0;
        ::standardDouble(points.c_str(), used);
        const bool isNumber = used > 0 && errno != ERANGE;
        const std::wstring expected = isNumber ? behind(text, used) : L"";
        if (isNumber && expected.empty()) continue;  // except with too many digits
        ASSERT_EQ(codec::ignoredByDouble(text), expected) << testing::PrintToString(text);
    }
    EXPECT_EQ(codec::ignoredByDouble(L"1,5 m3"), L"m3");
    EXPECT_EQ(codec::ignoredByDouble(L"1.234,5"), L",5");
    EXPECT_EQ(codec::ignoredByDouble(L"12e"), L"e");
    EXPECT_EQ(codec::ignoredByDouble(L" 0x1A "), L"");
    EXPECT_EQ(codec::ignoredByDouble(L"1e5"), L"");
    EXPECT_EQ(codec::ignoredByDouble(L"inf"), L"");
    EXPECT_EQ(codec::ignoredByDouble(L"nan(1234567890123456789)"), L"");
}

// The digits of a decimal from the first to the last that is not zero.
std::string significant(const std::wstring& text) {
    std::string digits;
    for (const wchar_t c : text)
        if (c >= L'0' && c <= L'9' && (c != L'0' || !digits.empty())) digits += static_cast<char>(c);
    while (!digits.empty() && digits.back() == '0') digits.pop_back();
    return digits;
}

TEST(Ignored, DigitsBeyondThePrecisionOfADouble) {
    EXPECT_EQ(codec::ignoredByDouble(L"9007199254740993"), L"3");
    EXPECT_EQ(codec::ignoredByDouble(L"-90071992547409935e0 "), L"5");
    EXPECT_EQ(codec::ignoredByDouble(L"9007199254740992"), L"");
    EXPECT_EQ(codec::ignoredByDouble(L"123456789012345000000"), L"");
    EXPECT_EQ(codec::ignoredByDouble(L"0,1234567890123456789"), L"89");
    EXPECT_EQ(codec::ignoredByDouble(L"12345678901234567.125"), L"7.125") << "12345678901234568";
    EXPECT_EQ(codec::ignoredByDouble(L"0.10000000000000001"), L"") << "17 digits that are those of 0.1";

    std::mt19937_64 random(13);
    int lost = 0, kept = 0;
    for (int i = 0; i < 20000; ++i) {
        std::wstring text = std::to_wstring(random() >> random() % 20);
        if (random() % 2 == 0) text.insert(random() % text.size() + 1, 1, L'.');
        double value = 0;
        ASSERT_TRUE(codec::toDouble(text, value));
        const std::string digits = significant(text);
        char printed[64];
        std::snprintf(printed, sizeof printed, "%.*e", static_cast<int>(digits.size()) - 1, value);
        std::string same(printed, std::strchr(printed, 'e'));
        std::erase(same, '.');
        const std::wstring_view piece = codec::ignoredByDouble(text);
        ASSERT_EQ(piece.empty(), same == digits) << testing::PrintToString(text);
        (piece.empty() ? kept : lost) += 1;
        if (piece.empty()) continue;
        const auto before = significant(text.substr(0, static_cast<std::size_t>(piece.data() - text.data())) + L"1").size() - 1;
        ASSERT_EQ(digits.substr(0, before), same.substr(0, before)) << testing::PrintToString(text);
        ASSERT_NE(digits[before], same[before]) << testing::PrintToString(text);
    }
    EXPECT_GT(lost, 1000);
    EXPECT_GT(kept, 1000);
}

TEST(Ignored, YearsReadAsAbsent) {
    const TimeZone zone("Europe/Paris");
    for (const wchar_t* text : {L"20x4", L"224", L"20 4", L" 202", L"2O24", L"0000", L"1901", L"2039", L"-202"})
        EXPECT_EQ(codec::ignoredByYear(text), behind(text, 0)) << testing::PrintToString(text);
    for (const wchar_t* text : {L"", L"    ", L"1902", L"2024", L"2024 ", L"2038", L"ABCD"})
        EXPECT_EQ(codec::ignoredByYear(text), L"") << testing::PrintToString(text);
}

TEST(Ignored, FlagsOtherThanZeroAndOne) {
    for (const wchar_t* text : {L"", L" ", L"0", L"1"}) EXPECT_EQ(codec::ignoredByFlag(text), L"");
    EXPECT_EQ(codec::ignoredByFlag(L"\0"s), L"");
    for (const wchar_t* text : {L"Y", L"2", L"O", L"-"}) EXPECT_EQ(codec::ignoredByFlag(text), text);
}

TEST(Ignored, CharactersThatSetNoAlarmFlag) {
    for (const auto& [text, piece] : {std::pair(L"010G", L"010G"), {L"01G0", L"01G0"}, {L"0G00", L"G"}, {L"G000", L"G0"},
             {L"00F0", L"F"}, {L"ZZZZ", L"ZZZZ"}, {L" 100", L"1"}, {L"0x10", L"x"}, {L"FF1F", L"1"}, {L"-", L"-"}})
        EXPECT_EQ(codec::ignoredByAlarmFlags(text), piece) << testing::PrintToString(text);

    // Nothing is ignored if the standard conversion reads the whole word and every bit has a flag.
    const Silence silence;
    const std::wstring alphabet = L"01fFgGxX-+ \t"s + L'\0';
    for (std::size_t n = 0; n < alphabet.size() * alphabet.size() * alphabet.size() * alphabet.size(); ++n) {
        std::wstring text;
        for (std::size_t i = 0, rest = n; i < 4; ++i, rest /= alphabet.size()) text += alphabet[rest % alphabet.size()];
        std::wstring field = text;
        while (!field.empty() && codec::isBlank(field.back())) field.pop_back();
        if (field.empty()) continue;
        std::wstring word = field.size() <= 2 ? field : field.substr(2) + field.substr(0, 2);
        const auto hasContent = [](wchar_t c) { return !isNothing(c); };
        std::wistringstream in(word);
        int bits = 0;
        const bool good = static_cast<bool>(in >> std::hex >> bits);
        const auto used = !good ? 0 : in.eof() ? word.size() : static_cast<std::size_t>(in.tellg());
        const bool isWhole =
            std::none_of(word.begin() + static_cast<std::ptrdiff_t>(used), word.end(), hasContent) && bits < 4096;
        ASSERT_EQ(codec::ignoredByAlarmFlags(text).empty(), isWhole) << testing::PrintToString(text);
    }
}

// ---- Locales --------------------------------------------------------------------------------------------------------

struct CommaAndGroups : std::numpunct<wchar_t> {
    wchar_t do_decimal_point() const override { return L','; }
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
};
struct NarrowCommaAndGroups : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

// All results and messages of the codecs for some texts and values.
std::wstring answers() {
    const TimeZone zone("Europe/Paris");
    Console console;
    std::wstring all;
    Texts texts(7);
    const auto note = [&](bool good, auto value) {
        all += good ? L'+' : L'-';
        if constexpr (std::is_floating_point_v<decltype(value)>) codec::appendDouble(value, all);
        else codec::appendInteger(value, all);
    };
    std::vector<std::wstring> read = {L"1.234.567", L"1,234,567", L"1.234,5", L"\x2003\x31", L"\xA0\x31", L"\x661", L"FF.FF",
        L"F,FFF", L"20240131", L"202401311405", L"2024"};
    for (int i = 0; i < 500; ++i) read.push_back(i % 2 == 0 ? texts.soup() : texts.number());
    for (const std::wstring& text : read) {
        int number = 9, hex = 9;
        long32 time = 9;
        long long large = 9;
        double decimal = 9;
        codec::AlarmFlags flags{};
        note(codec::toInt(text, number), number);
        note(codec::toLongLong(text, large), large);
        note(codec::toDouble(text, decimal), decimal);
        note(codec::hexStrToInt(text, hex), hex);
        note(codec::toDate(text, time), time);
        note(codec::toDateTime(text, time), time);
        codec::toYear(text, time);
        note(true, time);
        codec::toAlarmFlags(text, flags);
        for (const bool flag : flags) note(flag, 0);
    }
    std::array<wchar_t, 40> field{};
    for (const double value : {0.5, 1234567.891, -1e20, HUGE_VAL}) {
        codec::fromDouble(value, field.data(), 30, 3);
        codec::fromInteger(static_cast<long long>(std::clamp(value, -1e15, 1e15)), field.data() + 30, 10);
        all.append(field.begin(), field.end());
    }
    codec::fromDate(1706706300, field.data(), codec::DateFormat::DateTime);
    all.append(field.begin(), field.end());
    return all + console.wide();
}

TEST(Locales, ChangeNoResult) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    const std::wstring expected = answers();
    ASSERT_GT(expected.size(), 10000U);
    const std::locale commas(std::locale(std::locale::classic(), new CommaAndGroups), new NarrowCommaAndGroups);
    int tried = 0;
    for (const char* process : {"C", "C.UTF-8", "POSIX", "de_DE.UTF-8", "fr_FR.UTF-8", "tr_TR.UTF-8", "German", "Turkish"}) {
        if (!std::setlocale(LC_ALL, process)) continue;  // not installed
        ++tried;
        for (const std::locale& global : {std::locale::classic(), commas}) {
            const std::locale previous = std::locale::global(global);
            std::setlocale(LC_ALL, process);  // a named global locale sets this one, too
            EXPECT_TRUE(answers() == expected) << process << ' ' << global.name();
            std::locale::global(previous);
        }
    }
    EXPECT_GE(tried, 3);
    std::setlocale(LC_ALL, before.c_str());
}

// ---- No allocation, no shared state ---------------------------------------------------------------------------------

struct Work {
    long long whole = 0;
    double decimal = 0;
    long32 time = 0;
    std::array<wchar_t, 64> field{};

    // One successful conversion of every kind.
    bool once(int i) {
        int number = 0, hex = 0;
        codec::AlarmFlags flags{};
        auto fluid = TF::MeterFluid::Unset;
        const bool good =
            codec::toInt(L"  42", number) && codec::toLongLong(L"123456789012", whole) && codec::toDouble(L"3,25", decimal) &&
            codec::toDouble(L"1e22", decimal) && codec::toDouble(L"0x1.8p-3", decimal) &&
            codec::toDouble(L"0,1234567890123456789012345", decimal) && codec::toDouble(L"inf", decimal) &&
            codec::hexStrToInt(L"0F0F", hex) && codec::toDate(i % 2 == 0 ? L"20240331" : L"20240131", time) &&
            codec::toDateTime(L"202410270230", time) && codec::toCode(L'W', fluid) && codec::fromCode(fluid, field.data());
        codec::toYear(L"2024", time);
        codec::toAlarmFlags(L"FF0F", flags);
        codec::fromInteger(whole, field.data(), 12);
        codec::fromDouble(1e308 / (i + 1), field.data(), 20, 3);
        codec::fromDouble(12.5, field.data(), 20, 1400);
        codec::fromAlarmFlags(flags, field.data());
        return good && codec::fromText(L"text", field.data(), 12) &&
               codec::fromDate(1706706300 + i * 86400, field.data(), codec::DateFormat::DateTime);
    }
};

TEST(Success, AllocatesNothing) {
    const TimeZone zone("Europe/Paris");
    Work work;
    bool good = true;
    std::thread([&] {  // its cache does not count: calloc allocates it
        const long before = allocations;
        for (int i = 0; i < 100; ++i) good = work.once(i) && good;
        EXPECT_EQ(allocations - before, 0);
    })
        .join();
    EXPECT_TRUE(good);
}

TEST(Success, PrintsNothing) {
    Console console;
    Work work;
    EXPECT_TRUE(work.once(1));
    EXPECT_EQ(console.wide(), L"");
    EXPECT_EQ(console.narrow(), "");
}

TEST(Success, IsTheSameOnManyThreads) {
    const TimeZone zone("Europe/Paris");
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n)
        threads.emplace_back([&, n] {
            Work work;
            for (int i = 0; i < 5000; ++i) {
                double decimal = 0;
                long32 time = 0, expected = 1704063600 + ((i + n) % 28) * 86400;
                const std::wstring day = L"202401" + std::to_wstring(101 + (i + n) % 28).substr(1);
                if (!work.once(i) || !codec::toDouble(L"1e22", decimal) || decimal != 1e22 || !codec::toDate(day, time) ||
                    time != expected)
                    ++wrong;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

// ---- Hostile texts --------------------------------------------------------------------------------------------------

TEST(Garbage, NeverThrows) {
    const Silence silence;
    std::mt19937 random(8);
    for (int i = 0; i < 50000; ++i) {
        std::wstring text(random() % 20, L' ');
        for (wchar_t& c : text) c = static_cast<wchar_t>(random() % 4 == 0 ? random() : random() % 128);
        ASSERT_NO_THROW({
            int number = 0;
            long32 time = 0;
            long long large = 0;
            double decimal = 0;
            codec::AlarmFlags flags{};
            codec::toInt(text, number);
            codec::toLong(text, time);
            codec::toLongLong(text, large);
            codec::toDouble(text, decimal);
            codec::hexStrToInt(text, number);
            codec::toDate(text, time);
            codec::toDateTime(text, time);
            codec::toYear(text, time);
            codec::toAlarmFlags(text, flags);
            for (auto* ignored : {codec::ignoredByInteger, codec::ignoredByDouble, codec::ignoredByYear, codec::ignoredByFlag,
                     codec::ignoredByAlarmFlags}) {
                const std::wstring_view piece = ignored(text);
                EXPECT_TRUE(
                    piece.empty() || (piece.data() >= text.data() && piece.data() + piece.size() <= text.data() + text.size()));
            }
        });
    }
}

TEST(Garbage, ExtremeWidthsAndDecimalsAreSafe) {
    std::array<wchar_t, 4> field{L'#', L'#', L'#', L'#'};
    for (const int width : {0, -1, std::numeric_limits<int>::min()}) {
        codec::fromInteger(42, field.data(), width);
        codec::fromDouble(4.2, field.data(), width, std::numeric_limits<int>::max());
        EXPECT_FALSE(codec::fromText(L"x", field.data(), width));
        EXPECT_TRUE(codec::fromText(L"", field.data(), width));
    }
    EXPECT_EQ(field, (std::array<wchar_t, 4>{L'#', L'#', L'#', L'#'}));
    codec::fromDouble(4.2, field.data(), 4, std::numeric_limits<int>::max());
    EXPECT_EQ(field, (std::array<wchar_t, 4>{L'4', L'.', L'2', L'0'}));
}

}  // namespace
