// common/encoding.h, common/utf16.h, common/utf8.h: text and its bytes.
#include "common/encoding.h"
#include "common/utf16.h"
#include "common/utf8.h"
#include <gtest/gtest.h>
#include <string>

using namespace tramo;

namespace {

constexpr wchar_t wide[] = {L'a', 0x00FF, 0x0100, 0x20AC, 0xD83D, 0xFFFF};
constexpr std::wstring_view text(wide, std::size(wide));
constexpr wchar_t above = sizeof(wchar_t) > 2 ? static_cast<wchar_t>(0x1F600) : L'\0';

std::string written(std::wstring_view characters, bool isUtf16) {
    std::string bytes = "x";
    encoding::append(bytes, characters, isUtf16);
    return bytes.substr(1);
}

// Long enough for a loop that takes many characters at once.
std::wstring longText(wchar_t last) { return std::wstring(1000, L'7') + last; }

}  // namespace

TEST(Encoding, BytesOfAnsi) {
    EXPECT_EQ(written(text.substr(0, 2), false), "a\xFF");
    EXPECT_EQ(written(longText(0xE9), false), std::string(1000, '7') + '\xE9');
    EXPECT_EQ(written(L"", false), "");
}

TEST(Encoding, BytesOfUtf16) {
    EXPECT_EQ(written(text, true), std::string("a\0\xFF\0\0\1\xAC\x20\x3D\xD8\xFF\xFF", 12));
    const std::string bytes = written(longText(0x20AC), true);
    EXPECT_EQ(bytes.size(), 2002U);
    EXPECT_EQ(bytes.substr(1998), std::string("7\0\xAC\x20", 4));
}

TEST(Encoding, BytesOfNarrowTextAreCharactersOfTheirValue) {
    std::string bytes;
    encoding::append(bytes, std::string_view("a\xE9"), true);
    EXPECT_EQ(bytes, std::string("a\0\xE9\0", 4));
}

TEST(Encoding, BitsTellWhetherTextFits) {
    std::string bytes(4096, ' ');
    EXPECT_LE(encoding::writeAnsi(std::wstring_view(longText(0xFF)), bytes.data()), encoding::mostOfAnsi);
    EXPECT_GT(encoding::writeAnsi(std::wstring_view(longText(0x100)), bytes.data()), encoding::mostOfAnsi);
    EXPECT_LE(encoding::writeUtf16(std::wstring_view(longText(0xFFFF)), bytes.data()), encoding::mostOfUtf16);
    if (above) { EXPECT_GT(encoding::writeUtf16(std::wstring_view(longText(above)), bytes.data()), encoding::mostOfUtf16); }
}

TEST(Encoding, FirstCharacterAboveTheLimit) {
    EXPECT_EQ(encoding::findAbove(encoding::mostOfAnsi, text), 2U);
    EXPECT_EQ(encoding::findAbove(encoding::mostOfUtf16, text), std::wstring_view::npos);
    EXPECT_EQ(encoding::findAbove(encoding::mostOfAnsi, L""), std::wstring_view::npos);
    EXPECT_EQ(encoding::findAbove(encoding::mostOfAnsi, longText(0x100) + L"\x200"), 1000U);
}

TEST(Encoding, ReadsWhatItWrites) {
    for (const bool isUtf16 : {false, true}) {
        const std::wstring_view all = isUtf16 ? text : text.substr(0, 2);
        const std::string bytes = written(all, isUtf16);
        std::wstring again(all.size(), L' ');
        encoding::read(reinterpret_cast<const unsigned char*>(bytes.data()), all.size(), isUtf16, again.data());
        EXPECT_EQ(again, all);
    }
}

TEST(Encoding, MarksAtTheBeginningOfText) {
    EXPECT_TRUE(encoding::beginsWithMark(L"\xEF\xBB\xBF", encoding::utf8Mark));
    EXPECT_TRUE(encoding::beginsWithMark(std::wstring_view(L"\0\0\xFE\xFFx", 5), encoding::utf32BigMark));
    EXPECT_FALSE(encoding::beginsWithMark(L"\xFF", encoding::utf16Mark));
    EXPECT_FALSE(encoding::beginsWithMark(L"\x1FF\xFE", encoding::utf16Mark));
}

TEST(Utf16, UnitsOfACharacter) {
    std::wstring units;
    for (const char32_t c : {0x41U, 0xD800U, 0xFFFFU, 0x10000U, 0x1F600U, 0x10FFFFU}) utf16::append(units, c);
    constexpr wchar_t expected[] = {0x41, 0xD800, 0xFFFF, 0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF};
    EXPECT_EQ(units, std::wstring(expected, std::size(expected)));
    EXPECT_EQ(utf16::first(std::wstring_view(units).substr(5)).code, 0x1F600U);
}

TEST(Utf8, DecodesValidBytes) {
    constexpr wchar_t expected[] = {L'a', 0xE9, 0x20AC, 0xD83D, 0xDE00};
    EXPECT_EQ(utf8::decodeValid("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), std::wstring(expected, std::size(expected)));
    EXPECT_EQ(utf8::decodeValid("plain"), L"plain");
    EXPECT_EQ(utf8::decodeValid(""), L"");
}

TEST(Utf8, RefusesOtherBytes) {
    for (const char* bytes : {"a\xC3", "\x80", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF", "x\xE2\x82y"})
        EXPECT_EQ(utf8::decodeValid(bytes), std::nullopt) << bytes;
}

TEST(Utf8, ContinuationBytes) {
    for (const char c : {'\x80', '\xBF'}) EXPECT_TRUE(utf8::isContinuation(c));
    for (const char c : {'a', '\xC3', '\xF0', '\0'}) EXPECT_FALSE(utf8::isContinuation(c));
}
