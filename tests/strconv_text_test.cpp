// Extracting, trimming and writing text; the digit test; flags.
#include "support/console.h"
#include "tramostream/stringconverter.h"
#include <algorithm>
#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

constexpr wchar_t whiteSpace[] = {L' ', L'\t', L'\n', L'\v', L'\f', L'\r'};

// White space in some locales, but not in the format.
constexpr wchar_t otherSpaces[] = {0x85, 0xA0, 0x2003, 0x3000, L'\0'};

TEST(Trim, RtrimRemovesTrailingWhiteSpaceFromResultAndArgument) {
    std::wstring s = L"  A B  \t\r\n";
    EXPECT_EQ(StrConv::rtrim(s), L"  A B");
    EXPECT_EQ(s, L"  A B");
}

TEST(Trim, LtrimRemovesLeadingWhiteSpaceFromResultAndArgument) {
    std::wstring s = L" \t\r\n A B  ";
    EXPECT_EQ(StrConv::ltrim(s), L"A B  ");
    EXPECT_EQ(s, L"A B  ");
}

TEST(Trim, RemovesEachOfTheSixWhiteSpaceCharacters) {
    for (const wchar_t c : whiteSpace) {
        std::wstring right{L'A', c}, left{c, L'A'};
        EXPECT_EQ(StrConv::rtrim(right), L"A") << static_cast<int>(c);
        EXPECT_EQ(StrConv::ltrim(left), L"A") << static_cast<int>(c);
    }
}

TEST(Trim, KeepsEveryOtherCharacter) {
    for (wchar_t c = 0; c <= 0x3000; ++c) {
        if (std::ranges::find(whiteSpace, c) != std::end(whiteSpace)) continue;
        std::wstring right{L'A', c}, left{c, L'A'};
        ASSERT_EQ(StrConv::rtrim(right).size(), 2U) << static_cast<int>(c);
        ASSERT_EQ(StrConv::ltrim(left).size(), 2U) << static_cast<int>(c);
    }
}

TEST(Trim, BlankAndEmptyTextsBecomeEmpty) {
    for (std::wstring text : {L""s, L"   "s, L" \t\n\v\f\r"s}) {
        std::wstring copy = text;
        EXPECT_EQ(StrConv::rtrim(text), L"");
        EXPECT_EQ(StrConv::ltrim(copy), L"");
    }
}

TEST(Resize, TrimsTrailingWhiteSpaceOnly) {
    std::wstring line = L"  AB    XY";
    EXPECT_EQ(StrConv::resize(line.data(), 8, true), L"  AB");
    EXPECT_EQ(StrConv::resize(line.data(), 8, false), L"  AB    ");
    EXPECT_EQ(StrConv::resize(line.data() + 2, 2, true), L"AB");
    EXPECT_EQ(StrConv::resize(line.data() + 4, 4, true), L"");
    EXPECT_EQ(StrConv::resize(line.data(), 0, true), L"");
}

TEST(Resize, KeepsZeroCharacters) {
    std::wstring line = L"A\0B \0  "s;
    EXPECT_EQ(StrConv::resize(line.data(), 7, false), line);
    EXPECT_EQ(StrConv::resize(line.data(), 7, true), L"A\0B \0"s);
    EXPECT_EQ(StrConv::resize(line.data() + 4, 1, true), L"\0"s);
}

TEST(Resize, KeepsSpacesOfOtherAlphabets) {
    for (const wchar_t c : otherSpaces) {
        std::wstring line{L'A', c, L' '};
        EXPECT_EQ(StrConv::resize(line.data(), 3, true), (std::wstring{L'A', c})) << static_cast<int>(c);
    }
}

TEST(FromWString, PadsTheFieldWithSpacesAndNothingAfterIt) {
    std::wstring line(7, L'#');
    EXPECT_TRUE(StrConv::fromWString(L"ABC", line.data(), 5));
    EXPECT_EQ(line, L"ABC  ##");
}

TEST(FromWString, WritesATextOfTheFullWidth) {
    std::wstring line(7, L'#');
    EXPECT_TRUE(StrConv::fromWString(L"ABCDE", line.data(), 5));
    EXPECT_EQ(line, L"ABCDE##");
}

TEST(FromWString, RejectsALongerTextAndKeepsTheLine) {
    Console console;
    std::wstring line(7, L'#');
    EXPECT_FALSE(StrConv::fromWString(L"ABCDEF", line.data(), 5));
    EXPECT_FALSE(StrConv::fromWString(L"ABC   ", line.data(), 5));
    EXPECT_FALSE(StrConv::fromWString(L"A", line.data(), 0));
    EXPECT_EQ(line, L"#######");
    EXPECT_EQ(console.wide(), L"");
}

TEST(FromWString, KeepsTheLineForAnEmptyText) {
    std::wstring line(7, L'#');
    EXPECT_TRUE(StrConv::fromWString(L"", line.data(), 5));
    EXPECT_TRUE(StrConv::fromWString(L"", line.data(), 0));
    EXPECT_EQ(line, L"#######");
}

TEST(FromWString, WritesEveryCharacterUnchanged) {
    const std::wstring text = L"é\0\xD83D €\n"s;
    std::wstring line(text.size() + 1, L'#');
    EXPECT_TRUE(StrConv::fromWString(text, line.data(), static_cast<unsigned>(text.size())));
    EXPECT_EQ(line, text + L'#');
}

TEST(IsNumber, IsTrueForDigitsOnly) {
    for (const char* text : {"0", "7", "0012", "12345678901234567890123"}) {
        EXPECT_TRUE(StrConv::is_number(std::string(text))) << text;
        EXPECT_TRUE(StrConv::is_number(std::wstring(text, text + std::char_traits<char>::length(text)))) << text;
    }
}

TEST(IsNumber, IsFalseForEverythingElse) {
    for (const std::string& text :
        {""s, "-1"s, "+1"s, " 1"s, "1 "s, "1.0"s, "1,0"s, "0x1"s, "A"s, "1\0"s, "\0"s, "/"s, ":"s, "\xB2"s}) {
        EXPECT_FALSE(StrConv::is_number(text)) << text;
        EXPECT_FALSE(StrConv::is_number(std::wstring(text.begin(), text.end()))) << text;
    }
}

TEST(IsNumber, IsFalseForDigitsOfOtherAlphabets) {
    EXPECT_FALSE(StrConv::is_number(L"\x661\x662"s));
    EXPECT_FALSE(StrConv::is_number(L"\xFF11"s));
    EXPECT_FALSE(StrConv::is_number(L"1\x131"s));
}

TEST(Flags, ToBoolIsTrueForOneOnly) {
    for (wchar_t c = 0; c < 0x400; ++c) {
        bool flag = c != L'1';
        ASSERT_TRUE(StrConv::toBool(c, flag));
        ASSERT_EQ(flag, c == L'1') << static_cast<int>(c);
    }
}

TEST(Flags, FromBoolWritesOneCharacterForEveryWidth) {
    for (const int width : {0, 1, 5, -1}) {
        std::wstring line(3, L'#');
        EXPECT_TRUE(StrConv::fromBool(true, line.data() + 1, width));
        EXPECT_EQ(line, L"#1#");
        EXPECT_TRUE(StrConv::fromBool(false, line.data() + 1, width));
        EXPECT_EQ(line, L"#0#");
    }
}

TEST(Flags, FromBoolReplacesAText) {
    std::wstring text = L"before";
    EXPECT_TRUE(StrConv::fromBool(true, text));
    EXPECT_EQ(text, L"1");
    EXPECT_TRUE(StrConv::fromBool(false, text));
    EXPECT_EQ(text, L"0");
}

TEST(Constants, AreTheFormats) {
    EXPECT_EQ(StrConv::ENCODING_ANSI, 0);
    EXPECT_EQ(StrConv::ENCODING_UTF8BOM, 1);
    EXPECT_EQ(StrConv::ENCODING_UTF16LE, 2);
    EXPECT_EQ(StrConv::ENCODING_UTF16BE, 3);
    EXPECT_EQ(StrConv::DATEFORMAT, L"%Y%m%d"s);
    EXPECT_EQ(StrConv::DATETIMEFORMAT, L"%Y%m%d%H%M"s);
    EXPECT_EQ(StrConv::YEARFORMAT, L"%Y"s);
}

}  // namespace
