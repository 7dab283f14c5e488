// Compares BlankMap with a scan of the text.
#include "model/blankmap.h"
#include <array>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace {

void agrees(auto extent, const std::wstring& field) {
    const wchar_t* blanks = L" \t\n\v\f\r";
    const std::size_t last = field.find_last_not_of(blanks);
    ASSERT_EQ(extent.size, last == std::wstring::npos ? 0 : last + 1);
    if (extent.size == 0) return;
    const std::size_t before = field.find_first_not_of(blanks);
    ASSERT_EQ(extent.blanks, field.size() < 58 ? before : 0);
}

template <std::size_t Size> void agreesWithScan(const std::wstring& line) {
    const tramo::BlankMap<Size> map(line.data());
    for (std::uint32_t first = 0; first < Size; ++first)
        for (std::uint32_t width = 1; first + width <= Size; ++width)
            ASSERT_NO_FATAL_FAILURE(agrees(map.text(first, width), line.substr(first, width))) << first << ' ' << width;
}

template <std::size_t Size> void agreesOnRandomLines(unsigned seed, double filledShare) {
    std::mt19937 random(seed);
    // White space, neighboring codes, zero, and characters whose low bytes look like white space.
    const std::wstring blanks = L" \t\n\v\f\r";
    std::wstring others{L'\0', L'\x08', L'\x0E', L'!', L'\x1F', L'A', L'0', L'\xA0', L'\xFF', L'\x0120', L'\x2003', L'\x2020',
        L'\x7FFF', L'\x8020', L'\xFF20', L'\xFFFF'};
    if constexpr (sizeof(wchar_t) == 4)
        for (const unsigned c : {0x10020U, 0x80000U, 0x7FFFFFFFU, 0x80000020U, 0xFFFF0009U, 0xFFFFFF20U, 0xFFFFFFFFU})
            others += static_cast<wchar_t>(c);
    std::wstring line(Size, L' ');
    for (wchar_t& c : line) {
        const auto& from = std::bernoulli_distribution(filledShare)(random) ? others : blanks;
        c = from[random() % from.size()];
    }
    agreesWithScan<Size>(line);
}

TEST(BlankMap, AllBlank) { agreesWithScan<512>(std::wstring(512, L' ')); }
TEST(BlankMap, AllFilled) { agreesWithScan<512>(std::wstring(512, L'x')); }
TEST(BlankMap, HalfFilled) { agreesOnRandomLines<512>(1, 0.5); }
TEST(BlankMap, MostlyFilled) { agreesOnRandomLines<512>(2, 0.95); }
TEST(BlankMap, MostlyBlank) { agreesOnRandomLines<512>(3, 0.02); }
TEST(BlankMap, TagLine) {
    for (unsigned seed = 0; seed < 50; ++seed) agreesOnRandomLines<23>(seed, 0.3);
}
TEST(BlankMap, ParameterLine) {
    for (unsigned seed = 0; seed < 50; ++seed) agreesOnRandomLines<40>(seed, 0.3);
}

TEST(BlankMap, OneFilledColumnAtEveryPosition) {
    for (std::size_t column = 0; column < 512; ++column) {
        std::wstring line(512, L' ');
        line[column] = L'7';
        const tramo::BlankMap<512> map(line.data());
        EXPECT_EQ(map.text(0, 512).size, column + 1);
        EXPECT_EQ(map.text(static_cast<std::uint32_t>(column), 1).size, 1U);
        if (column == 0) continue;
        EXPECT_EQ(map.text(0, static_cast<std::uint32_t>(column)).size, 0U);
    }
}

}  // namespace
