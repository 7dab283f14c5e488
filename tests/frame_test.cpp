// Tests of the common behavior of all record models, on each of them.
#include "support/allocations.h"
#include "support/records.h"
#include "tramostream/anyrecord.h"
#include <memory>

using namespace records;

namespace {

// ---- What a test needs to know of a model ---------------------------------------------------------------------------

struct Facts {
    wchar_t letter;
    const char* inMessages;
    bool hasType;     // getType and setType
    bool keepsBuilt;  // getTramoLine returns the last built line
};
const Facts factsOfAll[] = {
    {L'0', "RoundTramoModel", true, true},
    {L'1', "MeterSubscriberTramoModel", true, true},
    {L'2', "AMR", true, false},
    {L'3', "MeterChangeTramoModel", false, false},
    {L'4', "ExtendedAMRTramoModel", false, false},
    {L'5', "EnquiryDefinitionTramoModel", true, true},
    {L'6', "EnquiryResultTramoModel", false, false},
    {L'7', "ExtendedDataTramoModel", false, false},
    {L'9', "RecordInformationTramoModel", false, false},
};
template <class M> const Facts& facts() {
    for (const Facts& each : factsOfAll)
        if (each.letter == tramo::kindOf<M>().letter) return each;
    throw std::logic_error("a record of no known letter");
}
bool isKnown(wchar_t letter) { return letter != 0 && std::wcschr(L"012345679", letter) != nullptr; }

template <class M> constexpr bool hasType = requires(const M& m) { m.getType(); };

template <class M> std::wstring blankLine() { return blankText(facts<M>().letter); }

// A line with all fields filled and valid; `which` varies its dates and numbers.
template <class M> std::wstring fullLine(int which = 0) {
    std::wstring line = blankLine<M>();
    for (const Field& field : tramo::kindOf<M>().fields) {
        if (field.column == 0 || field.overlaid) continue;
        const Codes codes{field.codes, field.codes};
        std::wstring text =
            fullText(Row{field.column, field.width, field.name, field.label, field.kind, {}, {}, {}, {.codes = &codes}});
        if (field.kind == Date || field.kind == DateTime) text.replace(6, 2, std::to_wstring(11 + which));  // another day
        put(line, field.column, text);
    }
    return line;
}

template <class M> State stateOf(const M& model) {
    State state;
    for (const Field& field : tramo::kindOf<M>().fields) state.values[field.name] = tramo::get(model, field);
    return state;
}
template <class M> const Field* aText() {
    for (const Field& field : tramo::kindOf<M>().fields)
        if (field.kind == Text && field.column != 0) return &field;
    return nullptr;
}

template <class> struct Alternatives;
template <class... M> struct Alternatives<std::variant<std::monostate, M...>> { using Types = testing::Types<M...>; };
struct ModelName {
    template <class M> static std::string GetName(int) { return tramo::kindOf<M>().model; }
};

}  // namespace

template <class M> class Frame : public testing::Test {};
using EveryModel = Alternatives<tramo::AnyRecord::Model>::Types;
TYPED_TEST_SUITE(Frame, EveryModel, ModelName);

// ---- Lines of another kind ------------------------------------------------------------------------------------------

TYPED_TEST(Frame, RejectsEveryOtherLetterWithAMessage) {
    const Facts& its = facts<TypeParam>();
    const State unread = stateOf(empty<TypeParam>());
    for (int c = 0; c <= (sizeof(wchar_t) > 2 ? 0x10000 : 0xFFFF); c = c < 0x300    ? c + 1
                                                                       : c < 0xFFFF ? std::min(c + 4099, 0xFFFF)
                                                                                    : c + 1) {
        const auto letter = static_cast<wchar_t>(c);
        if (letter == its.letter) continue;
        SCOPED_TRACE(c);
        std::wstring line = fullLine<TypeParam>();
        line[0] = letter;
        const Console console;
        const TypeParam model = parsed<TypeParam>(line);
        EXPECT_EQ(faults(model.getParseErrors()), isKnown(letter) ? (Faults{{0, 0x203}}) : (Faults{{0, 0x15}, {0, 0x203}}));
        EXPECT_EQ(console.narrow(), std::string(its.inMessages) + " : unvalidLineType(" +
                                        (c <= 0xFF ? static_cast<char>(c) : '?') + " != " + static_cast<char>(its.letter) +
                                        "), Parse failed\n");
        EXPECT_EQ(console.wide(), isKnown(letter) ? L"" : std::wstring(L"toLineType (") + letter + L"), Parse failed\n\n");
        expectValues(model, unread);
        EXPECT_EQ(textOf(keptLine(model)), line);
    }
}

TYPED_TEST(Frame, ReadsNothingOfALineOfTheUnusedKind8) {
    const Console console;
    const TypeParam model = parsed<TypeParam>(L"8" + fullLine<TypeParam>().substr(1));
    EXPECT_EQ(faults(model.getParseErrors()), (Faults{{0, 0x15}, {0, 0x203}}));
    EXPECT_EQ(model.toString(), empty<TypeParam>().toString());
    EXPECT_EQ(console.wide(), L"toLineType (8), Parse failed\n\n");
    EXPECT_EQ(console.narrow().find(std::string(facts<TypeParam>().inMessages) + " : unvalidLineType(8 != "), 0u);
}

TYPED_TEST(Frame, PrintsNothingForItsOwnLetter) {
    const Console console;
    const TypeParam model = parsed<TypeParam>(blankLine<TypeParam>());
    EXPECT_EQ(faults(model.getParseErrors()), Faults());
    EXPECT_EQ(console.narrow(), "");
    EXPECT_EQ(console.wide(), L"");
}

TYPED_TEST(Frame, HasItsOwnLetterAfterALineOfAnotherKind) {
    const Silence quiet;
    TypeParam model = parsed<TypeParam>(L"8" + std::wstring(511, L'7'));
    if constexpr (hasType<TypeParam>) { EXPECT_EQ(static_cast<wchar_t>(model.getType()), facts<TypeParam>().letter); }
    TypeParam unread = empty<TypeParam>();
    EXPECT_EQ(textOf(build(model)), textOf(build(unread)));
    EXPECT_EQ(textOf(build(model))[0], facts<TypeParam>().letter);
    EXPECT_EQ(model.toString(), unread.toString());
    EXPECT_EQ(faults(model.getMandatoryErrors()), faults(unread.getMandatoryErrors()));
}

// ---- The letter -----------------------------------------------------------------------------------------------------

TYPED_TEST(Frame, HasATypeIfTheFormatRequiresOne) { EXPECT_EQ(hasType<TypeParam>, facts<TypeParam>().hasType); }

TYPED_TEST(Frame, WritesTheTypeThatWasSet) {
    if constexpr (hasType<TypeParam>) {
        TypeParam model = parsed<TypeParam>(fullLine<TypeParam>());
        EXPECT_EQ(static_cast<wchar_t>(model.getType()), facts<TypeParam>().letter);
        const std::wstring before = textOf(build(model));
        for (const wchar_t letter : std::wstring(L"012345679!")) {
            model.setType(TF::TramoLineType{letter});
            EXPECT_EQ(static_cast<wchar_t>(model.getType()), letter);
            EXPECT_EQ(textOf(build(model)), (letter == unset ? L' ' : letter) + before.substr(1));
            EXPECT_EQ(faults(model.getBuildErrors()), Faults());
        }
        const Console console;
        model.setType(TF::TramoLineType{L'8'});
        EXPECT_EQ(textOf(build(model)), L' ' + before.substr(1));
        EXPECT_EQ(faults(model.getBuildErrors()), Faults());
        EXPECT_EQ(console.wide(), L"fromLineType (8), Parse failed\n\n");
    }
}

// ---- The line -------------------------------------------------------------------------------------------------------

TYPED_TEST(Frame, KeepsTheParsedLine) {
    for (const wchar_t* end : {L"\r\n", L"\r", L"", L"xy"}) {
        const auto line = lineOf<LineOf<TypeParam>>(fullLine<TypeParam>(), end);
        EXPECT_EQ(keptLine(TypeParam(line)), line);
    }
}

TYPED_TEST(Frame, ReturnsTheLastBuiltLineOnlyIfTheFormatRequiresIt) {
    TypeParam model = parsed<TypeParam>(fullLine<TypeParam>());
    for (const Field& field : tramo::kindOf<TypeParam>().fields)
        if (field.kind == Integer || field.kind == Text) tramo::set(model, field, field.defaultValue);
    const auto before = keptLine(model);
    EXPECT_EQ(textOf(before), fullLine<TypeParam>());  // not changed by setters
    const auto built = build(model);
    EXPECT_NE(built, before);
    EXPECT_EQ(keptLine(model), facts<TypeParam>().keepsBuilt ? built : before);
    const TypeParam copy = model;
    EXPECT_EQ(keptLine(copy), keptLine(model));
}

TYPED_TEST(Frame, ReturnsSpacesWithoutALine) {
    if constexpr (std::is_default_constructible_v<TypeParam>) {
        TypeParam model;
        EXPECT_EQ(textOf(keptLine(model)), blanks(512));
        EXPECT_EQ(lineEndOf(keptLine(model)), L"\r\n");
        const auto built = build(model);
        EXPECT_EQ(textOf(keptLine(model)), facts<TypeParam>().keepsBuilt ? textOf(built) : blanks(512));
    }
}

TYPED_TEST(Frame, IgnoresTheLineEnding) {
    const TypeParam usual(lineOf<LineOf<TypeParam>>(fullLine<TypeParam>()));
    for (const wchar_t* end : {L"\r", L"", L"xy", L"\n\r"}) {
        TypeParam model(lineOf<LineOf<TypeParam>>(fullLine<TypeParam>(), end));
        EXPECT_EQ(model.getParseErrors(), usual.getParseErrors());
        EXPECT_EQ(model.toString(), usual.toString());
        EXPECT_EQ(lineEndOf(build(model)), L"\r\n");
    }
}

TYPED_TEST(Frame, BuildsAWholeLineDespiteErrors) {
    TypeParam model = empty<TypeParam>();
    for (const Field& field : tramo::kindOf<TypeParam>().fields)
        if (field.kind == Text) tramo::set(model, field, std::wstring(513, L'x'));
    const auto line = build(model);
    EXPECT_EQ(model.getBuildErrors().empty(), aText<TypeParam>() == nullptr);
    EXPECT_EQ(textOf(line)[0], facts<TypeParam>().letter);
    EXPECT_EQ(lineEndOf(line), L"\r\n");
}

// ---- The lists ------------------------------------------------------------------------------------------------------

TYPED_TEST(Frame, BeginsWithEmptyLists) {
    if constexpr (std::is_default_constructible_v<TypeParam>) {
        const TypeParam model;
        EXPECT_TRUE(model.getParseErrors().empty());
        EXPECT_TRUE(model.getBuildErrors().empty());
    }
    EXPECT_TRUE(parsed<TypeParam>(fullLine<TypeParam>()).getParseErrors().empty());
}

TYPED_TEST(Frame, ReplacesTheBuildAndMandatoryErrors) {
    TypeParam model = empty<TypeParam>();
    for (const Field& field : tramo::kindOf<TypeParam>().fields)
        if (field.kind == Text) tramo::set(model, field, std::wstring(513, L'x'));
    const auto mandatory = model.getMandatoryErrors();
    EXPECT_EQ(model.getMandatoryErrors(), mandatory);
    build(model);
    const auto errors = model.getBuildErrors();
    build(model);
    EXPECT_EQ(model.getBuildErrors(), errors);
    for (const Field& field : tramo::kindOf<TypeParam>().fields)
        if (field.kind == Text) tramo::set(model, field, std::wstring());
    build(model);
    EXPECT_TRUE(model.getBuildErrors().empty());
}

// Nothing throws, and every error has a column of the line and a known code.
TYPED_TEST(Frame, StaysSaneOnAnyLineAndAnyValue) {
    Table table{facts<TypeParam>().letter, "", {}};
    std::vector<Codes> codes(tramo::kindOf<TypeParam>().fields.size());
    for (const Field& field : tramo::kindOf<TypeParam>().fields) {
        codes[field.index] = {field.codes, field.codes};
        if (field.column != 0)
            table.rows.push_back({field.column, field.width, field.name, field.label, field.kind, field.defaultValue, {}, {},
                {.codes = &codes[field.index]}});
    }
    const auto expectSane = [](const std::vector<TE::FieldError>& errors, int phase) {
        for (const TE::FieldError& error : errors) {
            EXPECT_TRUE(error.column >= 0 && error.column <= 512) << error.column;
            EXPECT_NE(tramo::errorName(error.code), "") << error.code;
            if (phase >= 0) { EXPECT_EQ(error.code >> 8, phase); }
        }
    };
    const Silence quiet;
    Lines lines(table, 5);
    for (int i = 0; i < manyTimes; ++i) {
        std::wstring line = lines.next();
        if (i % 8 == 0) line[0] = static_cast<wchar_t>(lines.below(0x10000));
        TypeParam model = parsed<TypeParam>(line);
        if (i % 2 == 0)
            for (const Row& row : table.rows) setValue(model, row.name, lines.value(row, false));
        const auto again = build(model);
        expectSane(model.getBuildErrors(), 1);
        expectSane(model.getMandatoryErrors(), 2);
        expectSane(model.getParseErrors(), -1);
        EXPECT_EQ(model.toString().back(), L']');
        EXPECT_EQ(lineEndOf(again), L"\r\n");
        STOP_AT_FAILURE("line " << i << ": " << display(line));
    }
}

// ---- Values ---------------------------------------------------------------------------------------------------------

TYPED_TEST(Frame, IsIndependentOfItsCopies) {
    auto original = std::make_unique<TypeParam>(parsed<TypeParam>(fullLine<TypeParam>()));
    build(*original);
    const State values = stateOf(*original);
    const std::wstring dump = original->toString();
    const auto kept = keptLine(*original);

    TypeParam copy(*original);
    TypeParam assigned = parsed<TypeParam>(blankLine<TypeParam>());
    assigned = *original;
    original.reset();
    for (TypeParam* model : {&copy, &assigned}) {
        expectValues(*model, values);
        EXPECT_EQ(model->toString(), dump);
        EXPECT_EQ(keptLine(*model), kept);
        EXPECT_TRUE(model->getParseErrors().empty());
    }
    for (const Field& field : tramo::kindOf<TypeParam>().fields) tramo::set(copy, field, field.defaultValue);
    expectValues(assigned, values);
}

TYPED_TEST(Frame, KeepsItsValuesWhenMoved) {
    auto original = std::make_unique<TypeParam>(parsed<TypeParam>(fullLine<TypeParam>()));
    if (const Field* text = aText<TypeParam>()) tramo::set(*original, *text, std::wstring(300, L'y'));
    const State values = stateOf(*original);

    TypeParam moved(std::move(*original));
    original.reset();
    expectValues(moved, values);
    TypeParam assigned = empty<TypeParam>();
    {
        TypeParam brief = moved;
        assigned = std::move(brief);
    }
    expectValues(assigned, values);

    std::vector<TypeParam> many;
    for (int i = 0; i < 20; ++i) many.push_back(assigned);  // moved at each growth
    for (const TypeParam& each : many) expectValues(each, values);
    std::swap(many.front(), moved);
    expectValues(many.front(), values);
    expectValues(moved, values);
}

TYPED_TEST(Frame, CanBeMovedFromAndUsedAgain) {
    TypeParam model = parsed<TypeParam>(fullLine<TypeParam>());
    const State values = stateOf(model);
    TypeParam taken = std::move(model);
    model = taken;
    expectValues(model, values);
}

TYPED_TEST(Frame, SurvivesSelfAssignment) {
    TypeParam model = parsed<TypeParam>(fullLine<TypeParam>());
    if (const Field* text = aText<TypeParam>()) tramo::set(model, *text, std::wstring(300, L'y'));
    const State values = stateOf(model);
    TypeParam& itself = model;
    model = itself;
    expectValues(model, values);
}

TYPED_TEST(Frame, ReplacesItsTextsWhenAssigned) {
    TypeParam model = parsed<TypeParam>(fullLine<TypeParam>());
    for (const Field& field : tramo::kindOf<TypeParam>().fields)
        if (field.kind == Text) tramo::set(model, field, std::wstring(L"own"));
    const TypeParam blank = parsed<TypeParam>(blankLine<TypeParam>());
    model = blank;
    expectValues(model, stateOf(blank));
    EXPECT_EQ(model.toString(), blank.toString());
}

TYPED_TEST(Frame, AcceptsItsOwnTextForAnotherField) {
    TypeParam model = parsed<TypeParam>(fullLine<TypeParam>());
    const Field* first = nullptr;
    for (const Field& field : tramo::kindOf<TypeParam>().fields) {
        if (field.kind != Text || field.column == 0) continue;
        if (!first) first = &field;
        tramo::set(model, field, tramo::get(model, *first));
        EXPECT_TRUE(equal(tramo::get(model, field), tramo::get(model, *first)));
    }
}

// ---- Allocations ----------------------------------------------------------------------------------------------------

TYPED_TEST(Frame, AllocatesNothingOnCleanLines) {
    parsed<TypeParam>(fullLine<TypeParam>());  // one-time initialization
    for (int which = 0; which < 9; ++which) {
        const auto line = lineOf<LineOf<TypeParam>>(fullLine<TypeParam>(which));
        std::optional<TypeParam> model, copy;
        EXPECT_EQ(allocationsOf([&] { model.emplace(line); }), 0);
        EXPECT_TRUE(model->getParseErrors().empty());
        EXPECT_EQ(allocationsOf([&] { build(*model); }), 0);
        EXPECT_TRUE(model->getBuildErrors().empty());
        EXPECT_EQ(allocationsOf([&] { keptLine(*model); }), 0);
        EXPECT_EQ(allocationsOf([&] { copy.emplace(*model); }), 0);
    }
}

TYPED_TEST(Frame, AllocatesAtMostOnceForAText) {
    const TypeParam model = parsed<TypeParam>(fullLine<TypeParam>());
    for (const Field& field : tramo::kindOf<TypeParam>().fields)
        EXPECT_LE(allocationsOf([&] { tramo::get(model, field); }), field.kind == Text ? 1 : 0) << field.name;
}

TEST(Allocations, AreCounted) {
    static int* volatile out;  // volatile: the compiler must not remove the allocation
    EXPECT_EQ(allocationsOf([] { out = new int; }), 1);
    delete out;
    EXPECT_EQ(allocationsOf([] {}), 0);
}

TEST(Allocations, AreAtMostOneForAGetter) {
    const auto model = parsed<MeterSubscriberTramoModel>(fullLine<MeterSubscriberTramoModel>());
    EXPECT_EQ(allocationsOf([&] { static_cast<void>(model.getSubscriberInformation()); }), 1);  // 150 characters
    EXPECT_EQ(allocationsOf([&] { static_cast<void>(model.getMeterMarkingCode()); }), 0);       // two
    EXPECT_EQ(allocationsOf([&] { static_cast<void>(model.getMeterReadingDate()); }), 0);
}
