// The code tables: every code in both directions, every message.
#include "support/console.h"
#include "tramostream/stringconverter.h"
#include <array>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

// The tables of the format: code read, value, code written.
template <class E> struct Row {
    std::wstring read;
    E value;
    std::wstring written;
};

// How an enumeration is read and written, and the failure messages.
template <class E> struct Codec;

#define CODEC(Enumeration, toFunction, fromFunction, parse, build, ...)                      \
    template <> struct Codec<TF::Enumeration> {                                              \
        using E = TF::Enumeration;                                                           \
        static bool to(wchar_t& code, E& value) { return StrConv::toFunction(code, value); } \
        static bool from(const E& value, wchar_t* dest) {                                    \
            return StrConv::fromFunction(value, dest __VA_OPT__(, ) __VA_ARGS__);            \
        }                                                                                    \
        static constexpr const wchar_t* parseLabel = parse;                                  \
        static constexpr const wchar_t* buildLabel = build;                                  \
        static const std::vector<Row<E>> rows;                                               \
    };                                                                                       \
    const std::vector<Row<TF::Enumeration>> Codec<TF::Enumeration>::rows

// clang-format off
CODEC(TramoLineType, toLineType, fromLineType, L"toLineType (", L"fromLineType (") = {
    {L"0", E::Round,             L"0"},
    {L"1", E::MeterSubscriber,   L"1"},
    {L"2", E::Amr,               L"2"},
    {L"3", E::MeterChange,       L"3"},
    {L"4", E::ExtendedAmr,       L"4"},
    {L"5", E::EnquiryDefinition, L"5"},
    {L"6", E::EnquiryResult,     L"6"},
    {L"7", E::ExtendedData,      L"7"},
    {L"9", E::RecordInformation, L"9"},
};
CODEC(MeterFluid, toFluidType, fromFluidType, L"toFluidType (", L"toFluidType (", 1) = {
    {L"W", E::W,     L"W"},
    {L" ", E::W,     L"W"},
    {L"C", E::C,     L"C"},
    {L"E", E::E,     L"E"},
    {L"G", E::G,     L"G"},
    {L"H", E::H,     L"H"},
    {L"T", E::T,     L"T"},
    {L"",  E::Blank, L" "},
};
CODEC(TramoType, toTramoType, fromTramoType, L"toTramoType (", L"fromTramoType (", 1) = {
    {L"1", E::Type1,      L"1"},
    {L"2", E::Type2,      L"2"},
    {L"A", E::TypeA,      L"2"},
    {L"B", E::TypeB,      L"B"},
    {L"D", E::TypeD,      L"D"},
    {L"H", E::TypeH,      L"H"},
    {L"N", E::TypeN,      L"1"},
    {L"Y", E::TypeY,      L"Y"},
    {L"d", E::TypeLowerD, L"d"},
    {L"n", E::TypeLowerN, L"n"},
};
CODEC(ReadMethod, toReadMethod, fromReadMethod, L"toReadMethod (", L"fromReadMethod (", 1) = {
    {L"M", E::MethodM, L"M"},
    {L"T", E::MethodT, L""},
    {L"A", E::MethodA, L"A"},
};
CODEC(ReadStatus, toReadStatus, fromReadStatus, L"toReadStatus (", L"fromReadStatus (", 1) = {
    {L"1", E::Status1, L"1"},
    {L"2", E::Status2, L"2"},
    {L"3", E::Status3, L"3"},
    {L"4", E::Status4, L"4"},
};
CODEC(AmrAlarms, toAmrAlarms, fromAmrAlarm, L"toAmrAlarms (", L"fromAmrAlarm (", 1) = {
    {L"0", E::Alarm0, L"0"},
    {L"1", E::Alarm1, L"1"},
    {L"2", E::Alarm2, L"2"},
    {L"3", E::Alarm3, L"3"},
    {L"4", E::Alarm4, L"4"},
    {L"5", E::Alarm5, L"5"},
    {L"6", E::Alarm6, L"6"},
    {L"7", E::Alarm7, L"7"},
};
CODEC(EnquiryAreaType, toEnquryAreaType, fromEnquryAreaType, L"toEnquryAreaType (", L"fromEnquryAreaType (", 1) = {
    {L"C", E::AreaC, L"C"},
    {L"N", E::AreaN, L"N"},
    {L"A", E::AreaA, L"A"},
};
CODEC(EnquiryAreaMode, toEnquiryAreaMode, fromEnquiryAreaMode, L"toEnquiryAreaMode (", L"fromEnquiryAreaMode (", 1) = {
    {L"H", E::ModeH, L"H"},
    {L"N", E::ModeN, L"N"},
    {L"R", E::ModeR, L"R"},
    {L"U", E::ModeU, L"U"},
};
// clang-format on

std::wstring message(const std::wstring& label, const std::wstring& code) { return label + code + L"), Parse failed\n\n"; }

template <class E> class Codes : public testing::Test {};
using Enumerations = testing::Types<TF::TramoLineType, TF::MeterFluid, TF::TramoType, TF::ReadMethod, TF::ReadStatus,
    TF::AmrAlarms, TF::EnquiryAreaType, TF::EnquiryAreaMode>;
TYPED_TEST_SUITE(Codes, Enumerations);

TYPED_TEST(Codes, EveryRowIsRead) {
    Console console;
    for (const auto& row : Codec<TypeParam>::rows) {
        if (row.read.empty()) continue;
        wchar_t code = row.read[0];
        TypeParam value = TypeParam::Unset;
        EXPECT_TRUE(Codec<TypeParam>::to(code, value));
        EXPECT_EQ(value, row.value) << static_cast<char>(code);
        EXPECT_EQ(code, row.read[0]);
    }
    EXPECT_EQ(console.wide(), L"");
}

TYPED_TEST(Codes, EveryRowIsWritten) {
    for (const auto& row : Codec<TypeParam>::rows) {
        Console console;
        std::wstring line = L"###";
        EXPECT_EQ(Codec<TypeParam>::from(row.value, line.data() + 1), !row.written.empty());
        EXPECT_EQ(line, row.written.empty() ? L"###" : L"#" + row.written + L"#");
        const std::wstring shown(1, static_cast<wchar_t>(row.value));
        EXPECT_EQ(console.wide(), row.written.empty() ? message(Codec<TypeParam>::buildLabel, shown) : L"");
    }
}

TYPED_TEST(Codes, AnUnsetValueIsWrittenAsNothing) {
    Console console;
    std::wstring line = L"###";
    EXPECT_TRUE(Codec<TypeParam>::from(TypeParam::Unset, line.data() + 1));
    EXPECT_EQ(line, L"###");
    EXPECT_EQ(console.wide(), L"");
}

TYPED_TEST(Codes, EveryOtherCharacterFailsAndIsShown) {
    std::map<wchar_t, bool> known;
    for (const auto& row : Codec<TypeParam>::rows)
        if (!row.read.empty()) known[row.read[0]] = true;
    for (int number = 0; number <= 0xFFFF; number += number < 0x200 ? 1 : 97) {
        const auto character = static_cast<wchar_t>(number);
        if (known.contains(character)) continue;
        wchar_t code = character;
        auto value = static_cast<TypeParam>(L'?');
        Console console;
        ASSERT_FALSE(Codec<TypeParam>::to(code, value)) << number;
        ASSERT_EQ(value, static_cast<TypeParam>(L'?')) << number;
        ASSERT_EQ(console.wide(), message(Codec<TypeParam>::parseLabel, {character})) << number;
    }
}

TYPED_TEST(Codes, EveryValueOutsideTheTableFailsAndIsShown) {
    std::map<wchar_t, bool> known{{L'!', true}};
    for (const auto& row : Codec<TypeParam>::rows) known[static_cast<wchar_t>(row.value)] = true;
    for (wchar_t number = 0; number < 0x200; ++number) {
        if (known.contains(number)) continue;
        std::wstring line = L"###";
        Console console;
        ASSERT_FALSE(Codec<TypeParam>::from(static_cast<TypeParam>(number), line.data() + 1)) << static_cast<int>(number);
        ASSERT_EQ(line, L"###");
        ASSERT_EQ(console.wide(), message(Codec<TypeParam>::buildLabel, {number}));
    }
}

// ---- Special cases --------------------------------------------------------------------------------------------------

TEST(LineType, HasNoEight) {
    Console console;
    wchar_t code = L'8';
    auto value = TF::TramoLineType::Unset;
    EXPECT_FALSE(StrConv::toLineType(code, value));
    EXPECT_EQ(console.wide(), L"toLineType (8), Parse failed\n\n");
}

TEST(Fluid, BlankIsReadAsW) {
    wchar_t code = L' ';
    auto value = TF::MeterFluid::Unset;
    EXPECT_TRUE(StrConv::toFluidType(code, value));
    EXPECT_EQ(value, TF::MeterFluid::W);
    EXPECT_TRUE(StrConv::fromFluidType(value, &code, 1));
    EXPECT_EQ(code, L'W');
}

TEST(Fluid, FailsToBeWrittenWithTheLabelOfReading) {
    Console console;
    wchar_t dest = L'#';
    EXPECT_FALSE(StrConv::fromFluidType(static_cast<TF::MeterFluid>(L'x'), &dest, 1));
    EXPECT_EQ(dest, L'#');
    EXPECT_EQ(console.wide(), L"toFluidType (x), Parse failed\n\n");
}

TEST(Type, NAndAAreWrittenAsOneAndTwo) {
    for (const auto& [read, written] : {std::pair{L'N', L'1'}, std::pair{L'A', L'2'}}) {
        wchar_t code = read;
        auto value = TF::TramoType::Unset;
        EXPECT_TRUE(StrConv::toTramoType(code, value));
        EXPECT_TRUE(StrConv::fromTramoType(value, &code, 1));
        EXPECT_EQ(code, written);
    }
}

TEST(Method, TIsReadButNotWritten) {
    Console console;
    wchar_t code = L'T', dest = L'#';
    auto value = TF::ReadMethod::Unset;
    EXPECT_TRUE(StrConv::toReadMethod(code, value));
    EXPECT_FALSE(StrConv::fromReadMethod(value, &dest, 1));
    EXPECT_EQ(dest, L'#');
    EXPECT_EQ(console.wide(), L"fromReadMethod (T), Parse failed\n\n");
}

TEST(Width, IsIgnoredForCodes) {
    for (const int width : {-1, 0, 1, 5}) {
        std::wstring line = L"###";
        EXPECT_TRUE(StrConv::fromReadStatus(TF::ReadStatus::Status3, line.data() + 1, width));
        EXPECT_EQ(line, L"#3#");
    }
}

// ---- Codes at the start of a text -----------------------------------------------------------------------------------

template <class E, class Text> void expectRead(bool (*to)(const Text*, E&), const Text* text, E expected) {
    Console console;
    E value = E::Unset;
    EXPECT_TRUE(to(text, value));
    EXPECT_EQ(value, expected);
    EXPECT_EQ(console.wide(), L"");
}

template <class E, class Text> void expectShown(bool (*to)(const Text*, E&), const Text* text, const std::wstring& said) {
    Console console;
    E value = E::Unset;
    EXPECT_FALSE(to(text, value));
    EXPECT_EQ(value, E::Unset);
    EXPECT_EQ(console.wide(), said);
}

TEST(CodeInText, IsItsFirstCharacter) {
    expectRead<TF::MeterFluid, wchar_t>(StrConv::toFluidType, L"Gas", TF::MeterFluid::G);
    expectRead<TF::MeterFluid, wchar_t>(StrConv::toFluidType, L" ", TF::MeterFluid::W);
    expectRead<TF::TramoType, wchar_t>(StrConv::toTramoType, L"nD", TF::TramoType::TypeLowerN);
    expectRead<TF::ReadMethod, wchar_t>(StrConv::toReadMethod, L"T", TF::ReadMethod::MethodT);
    expectRead<TF::ReadStatus, char>(StrConv::toReadStatus, "42", TF::ReadStatus::Status4);
}

TEST(CodeInText, FailsWithTheWholeTextShown) {
    expectShown<TF::MeterFluid, wchar_t>(StrConv::toFluidType, L"xyz", L"toFluidType (xyz), Parse failed\n\n");
    expectShown<TF::TramoType, wchar_t>(StrConv::toTramoType, L"0é", L"toTramoType (0é), Parse failed\n\n");
    expectShown<TF::ReadMethod, wchar_t>(StrConv::toReadMethod, L"m", L"toReadMethod (m), Parse failed\n\n");
    expectShown<TF::ReadStatus, char>(StrConv::toReadStatus, "512", L"toReadStatus (512), Parse failed\n\n");
    expectShown<TF::ReadStatus, char>(StrConv::toReadStatus, "\xE9", L"toReadStatus (\xE9), Parse failed\n\n");
}

TEST(CodeInText, FailsForAnEmptyText) {
    expectShown<TF::MeterFluid, wchar_t>(StrConv::toFluidType, L"", L"toFluidType (), Parse failed\n\n");
    expectShown<TF::TramoType, wchar_t>(StrConv::toTramoType, L"", L"toTramoType (), Parse failed\n\n");
    expectShown<TF::ReadMethod, wchar_t>(StrConv::toReadMethod, L"", L"toReadMethod (), Parse failed\n\n");
    expectShown<TF::ReadStatus, char>(StrConv::toReadStatus, "", L"toReadStatus (), Parse failed\n\n");
}

// ---- A method as text -----------------------------------------------------------------------------------------------

TEST(StringFromReadMethod, ReturnsTheLetter) {
    Console console;
    std::wstring text = L"before";
    EXPECT_TRUE(StrConv::stringFromReadMethod(TF::ReadMethod::MethodM, &text));
    EXPECT_EQ(text, L"M");
    EXPECT_TRUE(StrConv::stringFromReadMethod(TF::ReadMethod::MethodA, &text));
    EXPECT_EQ(text, L"A");
    EXPECT_TRUE(StrConv::stringFromReadMethod(TF::ReadMethod::Unset, &text));
    EXPECT_EQ(text, L"A");
    EXPECT_EQ(console.wide(), L"");
}

TEST(StringFromReadMethod, FailsForOtherValuesWithItsOwnLabel) {
    std::wstring text = L"before";
    for (const wchar_t letter : {L'T', L'x'}) {
        Console console;
        EXPECT_FALSE(StrConv::stringFromReadMethod(static_cast<TF::ReadMethod>(letter), &text));
        EXPECT_EQ(text, L"before");
        EXPECT_EQ(console.wide(), message(L"stringFromReadMethod (", {letter}));
    }
}

// ---- The twelve alarm flags -----------------------------------------------------------------------------------------

using Flags = std::array<bool, 12>;

Flags flagsOf(unsigned bits) {
    Flags flags;
    for (unsigned k = 0; k < 12; ++k) flags[k] = (bits >> k & 1U) != 0;
    return flags;
}

std::wstring write(const Flags& f) {
    std::wstring line(7, L'#');
    EXPECT_TRUE(
        StrConv::fromAmrAlarms(f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11], line.data() + 1));
    EXPECT_EQ(line[0], L'#');
    EXPECT_EQ(line[5], L'\0');
    EXPECT_EQ(line[6], L'#');
    return line.substr(1, 4);
}

Flags read(const std::wstring& text) {
    Flags f = flagsOf(0xA5A);
    EXPECT_TRUE(StrConv::toAmrAlarm(text, f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8], f[9], f[10], f[11]));
    return f;
}

TEST(AlarmFlags, AreWrittenIntoTheirDigits) {
    EXPECT_EQ(write(flagsOf(0)), L"0000");
    EXPECT_EQ(write(flagsOf(0xFFF)), L"FF0F");
    const wchar_t* const single[] = {
        L"0100", L"0200", L"0400", L"0800", L"1000", L"2000", L"4000", L"8000", L"0001", L"0002", L"0004", L"0008"};
    for (unsigned k = 0; k < 12; ++k) {
        EXPECT_EQ(write(flagsOf(1U << k)), single[k]);
        EXPECT_EQ(read(single[k]), flagsOf(1U << k)) << k;
    }
}

TEST(AlarmFlags, RoundTrip) {
    for (unsigned bits = 0; bits < 4096; ++bits) ASSERT_EQ(read(write(flagsOf(bits))), flagsOf(bits)) << bits;
}

TEST(AlarmFlags, AreReadInEitherCaseAndWithUnusedBits) {
    EXPECT_EQ(read(L"fa0b"), flagsOf(0xBFA));
    EXPECT_EQ(read(L"00F0"), flagsOf(0));
    EXPECT_EQ(read(L"FFFF"), flagsOf(0xFFF));
}

struct OddAlarms {
    std::wstring text;
    unsigned bits;
    std::wstring said;
};

const OddAlarms oddAlarms[] = {
    {L"", 0, L""}, {L"1", 1, L""}, {L"01", 1, L""}, {L"010", 1, L""},  // the short block comes first: "001"
    {L"012", 0x201, L""},                                              // "201"
    {L"GG01", 1, L""},                                                 // "01GG" is read up to the G
    {L"01GG", 0, L"hexStrToInt (GG01), Parse failed\n\n"}, {L"    ", 0, L"hexStrToInt (    ), Parse failed\n\n"},
    {L"-1", 0xFFF, L""}, {L"\0\0\0\0"s, 0, L"hexStrToInt (\0\0\0\0), Parse failed\n\n"s}, {L"12345678", 0x412, L""},
    {L"000000FF", 0xFFF, L"hexStrToInt (FF000000), Parse failed\n\n"},  // too large: the highest int
};

TEST(AlarmFlags, AreSetEvenIfTheHexadecimalNumberIsInvalid) {
    for (const auto& [text, bits, said] : oddAlarms) {
        Console console;
        EXPECT_EQ(read(text), flagsOf(bits)) << testing::PrintToString(text);
        EXPECT_EQ(console.wide(), said);
    }
}

}  // namespace
