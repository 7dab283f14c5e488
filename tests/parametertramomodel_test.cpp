#include "tramostream/parametertramomodel.h"
#include "support/accessors.h"
#include "support/records.h"
#include "support/samples.h"

using namespace records;
using M = ParameterTramoModel;

namespace {

void check(const State& state, Faults& mandatory, Faults&) {
    if (state.text("key").empty()) mandatory.push_back({1, 0x201});
    if (state.text("value").empty()) mandatory.push_back({9, 0x201});
}

const Table& table() {
    static const Table all{
        .letter = 0,
        .model = "ParameterTramoModel",
        // clang-format off
        .rows = {
            {1,  8, "key",   "key",   Text, L"", {}, {1, 0x102}, {.mandatory = {1, 0x201}}},
            {9, 32, "value", "value", Text, L"", {}, {9, 0x102}, {.mandatory = {9, 0x201}}},
        },
        // clang-format on
        .check = check,
        .length = 40,
    };
    return all;
}

std::wstring line(const std::wstring& content) {
    std::wstring text = blankText(0, 40);
    put(text, 1, content);
    return text;
}

const std::vector<Accessors<M>> accessors = {
    ACCESSORS(M, Key),
    ACCESSORS(M, Value),
};

}  // namespace

TEST_EVERY_FIELD(ParameterTramoModel, table)

TEST(Parameter, AccessorsBelongToTheirFields) { accessorsBelongToTheirFields(table(), accessors); }

TEST(Parameter, ReadsALine) {
    M model = parsed<M>(line(L"VERSION 4.2"));
    EXPECT_EQ(model.getKey(), L"VERSION");
    EXPECT_EQ(model.getValue(), L"4.2");
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
    EXPECT_EQ(model.toString(), L"ParameterTramoModel[key:VERSION,value:4.2]");
    EXPECT_EQ(textOf(model.toParameterLine()), line(L"VERSION 4.2"));
}

TEST(Parameter, IsEmptyByDefault) {
    M model;
    EXPECT_EQ(model.getKey(), L"");
    EXPECT_EQ(model.getValue(), L"");
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    EXPECT_EQ(textOf(model.getParameterLine()), line(L""));
    EXPECT_EQ(lineEndOf(model.getParameterLine()), L"\r\n");
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{1, 0x201}, {9, 0x201}}));
    EXPECT_EQ(faults(model.getMandatoryErrors()), (Faults{{1, 0x201}, {9, 0x201}}));  // not repeated
    EXPECT_EQ(model.toString(), L"ParameterTramoModel[key:,value:]");
}

TEST(Parameter, ReportsTheBlankValueAsMissing) {
    EXPECT_EQ(faults(parsed<M>(line(L"        value")).getMandatoryErrors()), (Faults{{1, 0x201}}));
    EXPECT_EQ(faults(parsed<M>(line(L"KEY")).getMandatoryErrors()), (Faults{{9, 0x201}}));
}

TEST(Parameter, WritesAWholeLineFromItsDefault) {
    M model;
    model.setKey(L"AGENT");
    model.setValue(L"AG07");
    EXPECT_EQ(textOf(model.toParameterLine()), line(L"AGENT   AG07"));
    EXPECT_EQ(lineEndOf(model.toParameterLine()), L"\r\n");
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
    EXPECT_EQ(textOf(model.getParameterLine()), line(L""));  // the parsed line, not the built one
}

TEST(Parameter, FillsItsKeyColumnsOnly) {
    M model;
    model.setKey(L"SEUILMAX");
    model.setValue(L"500");
    EXPECT_EQ(textOf(model.toParameterLine()), line(L"SEUILMAX500"));
    model.setKey(L"SEUILMAXI");
    EXPECT_EQ(textOf(model.toParameterLine()), line(L"        500"));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{1, 0x102}}));
    model.setValue(std::wstring(33, L'x'));
    EXPECT_EQ(textOf(model.toParameterLine()), line(L""));
    EXPECT_EQ(faults(model.getBuildErrors()), (Faults{{1, 0x102}, {9, 0x102}}));
    model.setKey(L"");
    model.setValue(std::wstring(32, L'x'));
    EXPECT_EQ(textOf(model.toParameterLine()), line(L"        " + std::wstring(32, L'x')));
    EXPECT_EQ(faults(model.getBuildErrors()), Faults());
}

TEST(Parameter, KeepsInnerAndLeadingSpacesOfAValue) {
    EXPECT_EQ(parsed<M>(line(L"KEY      a  b  ")).getValue(), L" a  b");
    EXPECT_EQ(parsed<M>(line(L" K E Y  v")).getKey(), L" K E Y");
}

TEST(Parameter, AcceptsEveryLine) {
    const M model = parsed<M>(std::wstring(40, L'9'));
    EXPECT_EQ(model.getKey(), std::wstring(8, L'9'));
    EXPECT_EQ(model.getValue(), std::wstring(32, L'9'));
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
}

TEST(Parameter, KeepsTheParsedLineAfterSetters) {
    M model = parsed<M>(line(L"AGENT   AG07"));
    model.setKey(L"X");
    model.toParameterLine();
    EXPECT_EQ(textOf(model.getParameterLine()), line(L"AGENT   AG07"));
}

TEST(Parameter, IgnoresTheLineEnding) {
    const std::wstring full = line(L"KEY").replace(39, 1, L"x");
    const M model(lineOf<ParameterLine::parameterLine_t>(full, L"\r"));  // as a stream returns it: CR and a zero
    EXPECT_EQ(model.getValue(), blanks(31) + L"x");
    EXPECT_EQ(lineEndOf(model.getParameterLine()), std::wstring(L"\r\0", 2));
}

TEST(Parameter, ReadsTheSamplesAndWritesThemBack) {
    std::vector<std::pair<std::wstring, std::wstring>> found;
    for (const std::wstring& each : sampleLinesOf("parameters.txt", table().length)) {
        M model = parsed<M>(each);
        found.emplace_back(model.getKey(), model.getValue());
        EXPECT_EQ(faults(model.getMandatoryErrors()), Faults());
        EXPECT_EQ(textOf(build(model)), each);
    }
    const std::vector<std::pair<std::wstring, std::wstring>> expected = {
        {L"VERSION", L"4.2"}, {L"AGENT", L"AG07"}, {L"LANGUE", L"FR"}, {L"SEUILMAX", L"500"}};
    EXPECT_EQ(found, expected);
}
