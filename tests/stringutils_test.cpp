// Conversion between UTF-8 and wide text, and the reversal of blocks.
#include "tramostream/stringutils.h"
#include "common/utf8.h"
#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;
using StringUtils::reverseByBlock;
using StringUtils::to_wstring;
using tramo::utf8::encode;

struct Pair {
    std::string utf8;
    std::wstring wide;
};

const Pair texts[] = {
    {"", L""},
    {"ABC", L"ABC"},
    {"\x7F", L"\x7F"},
    {"\xC2\x80", L"\x80"},
    {"\xC3\xA9", L"\xE9"},
    {"\xDF\xBF", L"\x7FF"},
    {"\xE0\xA0\x80", L"\x800"},
    {"\xE2\x82\xAC", L"\x20AC"},
    {"\xED\x9F\xBF", L"\xD7FF"},
    {"\xEE\x80\x80", L"\xE000"},
    {"\xEF\xBF\xBF", L"\xFFFF"},
    {"\xF0\x90\x80\x80", L"\xD800\xDC00"},
    {"\xF0\x9F\x98\x80", L"\xD83D\xDE00"},
    {"\xF4\x8F\xBF\xBF", L"\xDBFF\xDFFF"},
    {"A\0B\0"s, L"A\0B\0"s},
};

TEST(Utf8, RoundTripsThroughUtf16) {
    for (const auto& [utf8, wide] : texts) {
        EXPECT_EQ(to_wstring(utf8), wide);
        EXPECT_EQ(encode(wide), utf8);
    }
}

const Pair invalid[] = {
    {"\x80", L"\xFFFD"},  // a continuation byte alone
    {"A\xBF"
     "B",
        L"A\xFFFD"
        L"B"},
    {"\xC3", L"\xFFFD"},  // a lead byte alone
    {"\xC3"
     "A",
        L"\xFFFD"
        L"A"},
    {"\xE2\x82", L"\xFFFD\xFFFD"},
    {"\xE2\x82"
     "A",
        L"\xFFFD\xFFFD"
        L"A"},
    {"\xF0\x9F\x98", L"\xFFFD\xFFFD\xFFFD"},
    {"\xE2\xC3\xA9", L"\xFFFD\xE9"},  // a character after an incomplete one
    {"\xC0\x80", L"\xFFFD\xFFFD"},    // overlong
    {"\xC1\xBF", L"\xFFFD\xFFFD"},
    {"\xE0\x9F\xBF", L"\xFFFD\xFFFD\xFFFD"},
    {"\xF0\x8F\xBF\xBF", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
    {"\xED\xA0\x80", L"\xFFFD\xFFFD\xFFFD"},  // surrogates
    {"\xED\xBF\xBF", L"\xFFFD\xFFFD\xFFFD"},
    {"\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},  // above U+10FFFF
    {"\xF8\x88\x80\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"},
    {"\xFE\xFF", L"\xFFFD\xFFFD"},
};

TEST(Utf8, InvalidBytesBecomeOneReplacementEach) {
    for (const auto& [utf8, wide] : invalid) EXPECT_EQ(to_wstring(utf8), wide) << testing::PrintToString(utf8);
}

TEST(Utf8, RoundTripsEveryCodePoint) {
    for (char32_t c = 0; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c < 0xE000) continue;
        std::wstring wide;
        if (c < 0x10000) wide = static_cast<wchar_t>(c);
        else wide = {static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)), static_cast<wchar_t>(0xDC00 + (c & 0x3FF))};
        const std::string utf8 = encode(wide);
        ASSERT_EQ(utf8.size(), c < 0x80 ? 1U : c < 0x800 ? 2U : c < 0x10000 ? 3U : 4U) << static_cast<unsigned>(c);
        ASSERT_EQ(to_wstring(utf8), wide) << static_cast<unsigned>(c);
    }
}

TEST(Utf8, LoneSurrogatesAndInvalidCodeUnitsAreReplaced) {
    EXPECT_EQ(encode(std::wstring{0xD83D}), "\xEF\xBF\xBD");
    EXPECT_EQ(encode(std::wstring{0xDE00}), "\xEF\xBF\xBD");
    EXPECT_EQ(encode(std::wstring{0xD83D, L'A'}), "\xEF\xBF\xBD"
                                                  "A");
    EXPECT_EQ(encode(std::wstring{0xDE00, 0xD83D}), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(encode(std::wstring{0xD83D, 0xD83D, 0xDE00}), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
    if (sizeof(wchar_t) == 2) return;  // every value is a code unit
    EXPECT_EQ(encode(std::wstring{static_cast<wchar_t>(0x1F600)}), "\xEF\xBF\xBD");
    EXPECT_EQ(encode(std::wstring{static_cast<wchar_t>(-1)}), "\xEF\xBF\xBD");
}

struct Blocks {
    std::wstring text;
    std::size_t size;
    std::wstring reversed;
};

const Blocks blocks[] = {
    {L"AB12", 2, L"12AB"},
    {L"0100", 2, L"0001"},
    {L"ABC", 2, L"CAB"},
    {L"ABCDE", 2, L"ECDAB"},
    {L"ABCDEFG", 3, L"GDEFABC"},
    {L"ABCD", 1, L"DCBA"},
    {L"ABCD", 4, L"ABCD"},
    {L"ABCD", 5, L"ABCD"},
    {L"ABCD", 0, L"ABCD"},
    {L"ABCD", static_cast<std::size_t>(-1), L"ABCD"},
    {L"A", 2, L"A"},
    {L"", 2, L""},
    {L"", 0, L""},
    {L"A\0B\0"s, 2, L"B\0A\0"s},
};

TEST(ReverseByBlock, ReversesTheOrderOfTheBlocks) {
    for (const auto& [text, size, reversed] : blocks) EXPECT_EQ(reverseByBlock(text, size), reversed) << size;
}

}  // namespace
