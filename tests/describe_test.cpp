// The words that describe the conditions of a record, and numbered names.
#include "model/describe.h"
#include <gtest/gtest.h>

using namespace tramo;

namespace {

struct {
    FieldKind kind;
    tramo::Test test;
    const char* words;
} const conditions[] = {
    {FieldKind::Text, filled, "it is not empty"},
    {FieldKind::Text, atLeast(1), "it is not empty"},
    {FieldKind::Text, empty, "it is empty"},
    {FieldKind::Code, filled, "it is set"},
    {FieldKind::Code, empty, "it is not set"},
    {FieldKind::Date, above(0), "it has a date"},
    {FieldKind::Date, below(1), "it has no date"},
    {FieldKind::DateTime, atLeast(0), "it has a date"},
    {FieldKind::DateTime, below(1), "it has no date"},
    {FieldKind::Year, known, "it is a representable year"},
    {FieldKind::Year, below(1), "it has no date"},
    {FieldKind::Integer, above(3), "it is above 3"},
    {FieldKind::Integer, atLeast(0), "it is 0 or more"},
    {FieldKind::Integer, below(-1), "it is below -1"},
    {FieldKind::Integer, notAbove(3), "it is not above 3"},
    {FieldKind::Integer, otherThan(-1), "it is not -1"},
    {FieldKind::Decimal, above(-1), "it is above -1"},
    {FieldKind::Decimal, atLeast(2), "it is 2 or more"},
    {FieldKind::Decimal, below(0), "it is below 0"},
    {FieldKind::AlarmFlags, above(0), "it is above 0"},
    {FieldKind::Flag, above(0), "it is above 0"},
};

}  // namespace

TEST(Words, DescribeWhenAFieldIsWritten) {
    for (const auto& row : conditions) {
        EXPECT_EQ(wordsOfWriting(row.kind, row.test, ""), row.words);
        EXPECT_EQ(wordsOfWriting(row.kind, row.test, "there is a rule"), std::string("there is a rule and ") + row.words);
    }
    EXPECT_EQ(wordsOfWriting(FieldKind::Text, always, ""), "always");
    EXPECT_EQ(wordsOfWriting(FieldKind::Text, always, "there is a rule"), "there is a rule");
    EXPECT_EQ(wordsOfWriting(FieldKind::Text, never, ""), "never");
    EXPECT_EQ(wordsOfWriting(FieldKind::Text, never, "there is a rule"), "never");
}

TEST(Words, DescribeWhenAFieldIsReported) {
    for (const auto& row : conditions) {
        EXPECT_EQ(wordsOfMissing(row.kind, row.test, ""), row.words);
        EXPECT_EQ(wordsOfMissing(row.kind, row.test, "a rule holds"), std::string(row.words) + " or a rule holds");
    }
    EXPECT_EQ(wordsOfMissing(FieldKind::Text, never, ""), "");
    EXPECT_EQ(wordsOfMissing(FieldKind::Text, never, "a rule holds"), "a rule holds");
    EXPECT_EQ(wordsOfMissing(FieldKind::Integer, always, ""), "") << "no field is missing whatever it holds";
}

TEST(Names, ContainTheNumberOfTheirGroup) {
    struct {
        const char* name;
        int slot;
        const char* numbered;
    } const rows[] = {{"code", 3, "code"}, {"area#Label", 5, "area5Label"}, {"#", 18, "18"}, {"a#b#", 0, "a0b0"}, {"", 7, ""}};
    for (const auto& row : rows) {
        EXPECT_EQ(numbered(row.name, row.slot), row.numbered);
        std::wstring appended = L"[";
        appendNumbered(row.name, row.slot, appended);
        EXPECT_EQ(appended, L'[' + std::wstring(row.numbered, row.numbered + std::char_traits<char>::length(row.numbered)));
    }
}
