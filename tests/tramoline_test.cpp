#include "tramostream/tramoline.h"
#include <gtest/gtest.h>
#include <type_traits>

namespace {

template <class Line> constexpr std::size_t lengthOf = std::tuple_size_v<Line>;

TEST(LineBuffers, AreArraysOfTheirTotalLength) {
    EXPECT_TRUE((std::is_same_v<TramoLine::tramoLine_t, std::array<wchar_t, 514>>));
    EXPECT_TRUE((std::is_same_v<ParameterLine::parameterLine_t, std::array<wchar_t, 42>>));
    EXPECT_TRUE((std::is_same_v<TagLine::tagLine_t, std::array<wchar_t, 25>>));
}

TEST(LineBuffers, HoldTheirContentAndATwoCharacterLineEnding) {
    EXPECT_EQ(lengthOf<TramoLine::tramoLine_t>, 512U + 2U);
    EXPECT_EQ(lengthOf<ParameterLine::parameterLine_t>, 40U + 2U);
    EXPECT_EQ(lengthOf<TagLine::tagLine_t>, 23U + 2U);
}

TEST(LineBuffers, ContainOnlyTheirCharacters) {
    EXPECT_EQ(sizeof(TramoLine::tramoLine_t), 514 * sizeof(wchar_t));
    EXPECT_TRUE(std::is_trivially_copyable_v<TramoLine::tramoLine_t>);
    EXPECT_TRUE(std::is_trivially_copyable_v<ParameterLine::parameterLine_t>);
    EXPECT_TRUE(std::is_trivially_copyable_v<TagLine::tagLine_t>);
}

TEST(AMRKeyLine, BeginsWithASemicolonAndAbsentValues) {
    const AMRKeyLine line;
    EXPECT_EQ(line.lead, L';');
    EXPECT_EQ(line.wmBusAddress, (std::array<std::int32_t, 4>{-1, -1, -1, -1}));
    for (const std::wstring* text : {&line.line, &line.serialNumber, &line.hardwareVersion, &line.firmwareVersion,
             &line.wmBusKeyMode5, &line.wmBusKeyMode7, &line.wmBusKeyExchangeKey}) {
        EXPECT_TRUE(text->empty());
    }
}

TEST(AMRKeyLine, HasItsMembersInOrder) {
    const auto [lead, line, serial, hardware, firmware, address, mode5, mode7, exchange] =
        AMRKeyLine{L'#', L"line", L"serial", L"hardware", L"firmware", {1, 2, 3, 4}, L"mode 5", L"mode 7", L"exchange"};
    EXPECT_EQ(lead, L'#');
    EXPECT_EQ(line, L"line");
    EXPECT_EQ(serial, L"serial");
    EXPECT_EQ(hardware, L"hardware");
    EXPECT_EQ(firmware, L"firmware");
    EXPECT_EQ(address, (std::array<std::int32_t, 4>{1, 2, 3, 4}));
    EXPECT_EQ(mode5, L"mode 5");
    EXPECT_EQ(mode7, L"mode 7");
    EXPECT_EQ(exchange, L"exchange");
}

TEST(AMRKeyLine, IsCopiedMemberByMember) {
    const AMRKeyLine line{L'#', L"line", L"serial", L"hardware", L"firmware", {1, 2, 3, 4}, L"mode 5", L"mode 7", L"exchange"};
    AMRKeyLine copy = line;
    EXPECT_EQ(copy.wmBusKeyExchangeKey, L"exchange");
    EXPECT_EQ(copy.wmBusAddress, line.wmBusAddress);
    copy.line = L"another";
    EXPECT_EQ(line.line, L"line");
}

}  // namespace
