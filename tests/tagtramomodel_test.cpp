#include "tramostream/tagtramomodel.h"
#include "support/accessors.h"
#include "support/records.h"
#include "support/samples.h"

using namespace records;
using M = TagTramoModel;

namespace {

void check(const State& state, Faults& mandatory, Faults&) {
    if (state.text("code").empty()) mandatory.push_back({1, 0x201});
    if (state.text("label").empty()) mandatory.push_back({3, 0x201});
}

const Table& table() {
    static const Table all{
        .letter = 0,
        .model = "TagTramoModel",
        // clang-format off
        .rows = {
            {1,  2, "code",  "code",  Text, L"", {}, {1, 0x102}, {.mandatory = {1, 0x201}}},
            {3, 20, "label", "label", Text, L"", {}, {3, 0x102}, {.mandatory = {3, 0x201}}},
        },
        // clang-format on
        .check = check,
        .length = 23,
    };
    return all;
}

std::wstring line(const std::wstring& content) {
    std::wstring text = blankText(0, 23);
    put(text, 1, content);
    return text;
}

const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, Code),
    ACCESSORS(M, Label),
};

}  // namespace

TEST_EVERY_FIELD(TagTramoModel, table)

TEST(Tag, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

TEST(Tag, ReadsALine) {
    M model = parsed<M>(line(L"FUFuite"));
    EXPECT_EQ(model.getCode(), L"FU");
    EXPECT_EQ(model.getLabel(), L"Fuite");
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    EXPECT_EQ(model.toString(), L"TagTramoModel[code:FU,label:Fuite]");
    EXPECT_EQ(textOf(model.toTagLine()), line(L"FUFuite"));
}

TEST(Tag, ReportsBothValuesOfABlankLineAsMissing) {
    M model = parsed<M>(line(L""));
    EXPECT_EQ(model.getCode(), L"");
    EXPECT_EQ(model.getLabel(), L"");
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{1, 0x201}, {3, 0x201}}));
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{1, 0x201}, {3, 0x201}}));  // not repeated
    EXPECT_EQ(model.toString(), L"TagTramoModel[code:,label:]");
}

TEST(Tag, ReportsTheBlankValueAsMissing) {
    EXPECT_EQ(faults(parsed<M>(line(L"  label")).getMandatoryErrors()), (Faults{{1, 0x201}}));
    EXPECT_EQ(faults(parsed<M>(line(L"AB")).getMandatoryErrors()), (Faults{{3, 0x201}}));
}

TEST(Tag, KeepsLeadingSpacesOnly) {
    EXPECT_EQ(parsed<M>(line(L" A")).getCode(), L" A");
    EXPECT_EQ(parsed<M>(line(L"A ")).getCode(), L"A");
    EXPECT_EQ(parsed<M>(line(L"AB  a  b ")).getLabel(), L"  a  b");
}

TEST(Tag, AcceptsEveryLine) {
    M model = parsed<M>(line(L"1234567890123456789012?"));
    EXPECT_EQ(model.getCode(), L"12");
    EXPECT_EQ(model.getLabel(), L"34567890123456789012");
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
}

TEST(Tag, IgnoresColumn23AndWritesItBlank) {
    std::wstring text = line(L"AB");
    put(text, 23, L"x");
    M model = parsed<M>(text);
    EXPECT_EQ(model.getLabel(), L"");
    EXPECT_EQ(textOf(model.toTagLine()), line(L"AB"));
}

TEST(Tag, LeavesOutATooLongText) {
    M model = parsed<M>(line(L"ABLabel"));
    model.setLabel(L"123456789012345678901");
    EXPECT_EQ(textOf(model.toTagLine()), line(L"AB"));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{3, 0x102}}));
    model.setCode(L"ABC");
    EXPECT_EQ(textOf(model.toTagLine()), line(L""));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{1, 0x102}, {3, 0x102}}));
    model.setCode(L"XY");
    model.setLabel(L"12345678901234567890");
    EXPECT_EQ(textOf(model.toTagLine()), line(L"XY12345678901234567890"));
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(Tag, KeepsTheParsedLineAfterSetters) {
    M model = parsed<M>(line(L"FUFuite"));
    model.setCode(L"AB");
    model.toTagLine();
    EXPECT_EQ(textOf(model.getTagLine()), line(L"FUFuite"));
}

TEST(Tag, IgnoresTheLineEnding) {
    const M model(lineOf<TagLine::tagLine_t>(line(L"FUFuite"), L"\r"));  // as a stream returns it: CR and a zero
    EXPECT_EQ(model.getLabel(), L"Fuite");
    EXPECT_EQ(lineEndOf(model.getTagLine()), std::wstring(L"\r\0", 2));
}

TEST(Tag, ReadsTheSamplesAndWritesThemBack) {
    std::vector<std::pair<std::wstring, std::wstring>> found;
    for (const std::wstring& each : sampleLinesOf("tags.txt", table().length)) {
        M model = parsed<M>(each);
        found.emplace_back(model.getCode(), model.getLabel());
        EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
        EXPECT_EQ(textOf(build(model)), each);
    }
    const std::vector<std::pair<std::wstring, std::wstring>> expected = {{L"FU", L"Fuite"}, {L"AB", L"Absent"},
        {L"IN", L"Compteur inaccessibl"}, {L"GE", L"Compteur gel\u00E9"}, {L"CA", L"Cass\u00E9"}};
    EXPECT_EQ(found, expected);
}
