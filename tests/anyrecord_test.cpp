#include "tramostream/anyrecord.h"
#include "support/records.h"

using namespace records;
using tramo::AnyRecord;

namespace {

AnyRecord recordOf(const std::wstring& text) { return AnyRecord(lineOf<TramoLine::tramoLine_t>(text)); }

// Lines of three record kinds, each with valid and invalid fields.
std::wstring lineWith(wchar_t letter, int column, const std::wstring& text) {
    std::wstring line = blankText(letter);
    put(line, column, text);
    return line;
}
const std::wstring aRound = lineWith(L'0', 2, L"R1      North               xx");
const std::wstring aMeter = lineWith(L'1', 2, L"xx  Mrs Smith");
const std::wstring anInformation = lineWith(L'9', 2, L"   12   x3");

template <class M> void isAsTheModel(const std::wstring& text) {
    const Silence quiet;
    AnyRecord record = recordOf(text);
    M model = parsed<M>(text);
    ASSERT_TRUE(std::holds_alternative<M>(record.model()));
    EXPECT_EQ(record.kind(), &tramo::kindOf<M>());
    EXPECT_EQ(record.getParseErrors(), model.getParseErrors());
    EXPECT_EQ(record.toString(), model.toString());
    EXPECT_EQ(record.toTramoLine(), model.toTramoLine());
    EXPECT_EQ(record.getBuildErrors(), model.getBuildErrors());
    EXPECT_EQ(record.getMandatoryErrors(), model.getMandatoryErrors());
    EXPECT_EQ(record.getParseErrors(), model.getParseErrors());
    for (const Field& field : record.kind()->fields) {
        EXPECT_TRUE(equal(record.get(field), tramo::get(model, field)));
        const FieldValue value = field.kind == Text ? FieldValue(std::wstring(200, L'x')) : field.defaultValue;
        EXPECT_TRUE(record.set(field, value));
        EXPECT_FALSE(record.set(field, field.kind == Text ? FieldValue(1LL) : FieldValue(std::wstring(L"x"))));
        tramo::set(model, field, value);
    }
    EXPECT_EQ(record.toString(), model.toString());
    EXPECT_EQ(record.toTramoLine(), model.toTramoLine());
    EXPECT_EQ(record.getBuildErrors(), model.getBuildErrors());
}

}  // namespace

TEST(AnyRecord, BehavesLikeTheModelOfItsLetter) {
    isAsTheModel<RoundTramoModel>(aRound);
    isAsTheModel<MeterSubscriberTramoModel>(aMeter);
    isAsTheModel<RecordInformationTramoModel>(anInformation);
    EXPECT_FALSE(recordOf(blankText(L'0')).getMandatoryErrors().empty());
}

TEST(AnyRecord, SupportsEveryRecordKind) {
    for (const tramo::RecordKind* kind : tramo::recordKinds()) EXPECT_EQ(recordOf(blankText(kind->letter)).kind(), kind);
}

TEST(AnyRecord, IsEmptyAndSilentForEveryOtherLetter) {
    const Field& someField = tramo::kindOf<RoundTramoModel>().fields[0];
    for (int c = 0; c <= 0xFFFF; c += c < 0x200 ? 1 : 257) {
        const auto letter = static_cast<wchar_t>(c);
        if (tramo::recordKind(letter)) continue;
        const Console console;
        AnyRecord record = recordOf(std::wstring(1, letter) + std::wstring(511, L'x'));
        EXPECT_EQ(record.kind(), nullptr);
        EXPECT_TRUE(std::holds_alternative<std::monostate>(record.model()));
        EXPECT_TRUE(record.getParseErrors().empty());
        EXPECT_EQ(textOf(record.toTramoLine()), blanks(512));
        EXPECT_EQ(lineEndOf(record.toTramoLine()), L"\r\n");
        EXPECT_TRUE(record.getBuildErrors().empty());
        EXPECT_TRUE(record.getMandatoryErrors().empty());
        EXPECT_EQ(record.toString(), L"");
        EXPECT_FALSE(record.set(someField, std::wstring(L"x")));
        EXPECT_TRUE(equal(record.get(someField), FieldValue()));
        EXPECT_EQ(console.narrow(), "");
        EXPECT_EQ(console.wide(), L"");
    }
}

TEST(AnyRecord, PrintsNothingForAValidLine) {
    const Console console;
    recordOf(blankText(L'0'));
    recordOf(blankText(L'1'));
    recordOf(blankText(L'9'));
    EXPECT_EQ(console.narrow(), "");
    EXPECT_EQ(console.wide(), L"");
}

TEST(AnyRecord, IsAValueType) {
    const Silence quiet;
    AnyRecord round = recordOf(aRound), meter = recordOf(aMeter);
    const std::wstring roundText = round.toString(), meterText = meter.toString();
    AnyRecord copy = round;
    round = meter;
    EXPECT_EQ(round.toString(), meterText);
    EXPECT_EQ(round.kind()->letter, L'1');
    EXPECT_EQ(copy.toString(), roundText);
    std::swap(round, copy);
    EXPECT_EQ(round.toString(), roundText);
    std::vector<AnyRecord> many;
    for (int i = 0; i < 10; ++i) many.push_back(recordOf(i % 2 ? aRound : aMeter));
    for (std::size_t i = 0; i < many.size(); ++i) EXPECT_EQ(many[i].toString(), i % 2 ? roundText : meterText);
}

TEST(AnyRecord, GivesAccessToTheModel) {
    AnyRecord record = recordOf(blankText(L'1'));
    auto* meter = std::get_if<MeterSubscriberTramoModel>(&record.model());
    ASSERT_NE(meter, nullptr);
    meter->setMeterMessage(L"Mind the dog");
    EXPECT_EQ(columns(textOf(record.toTramoLine()), 464, 12), L"Mind the dog");
    const AnyRecord& same = record;
    EXPECT_EQ(std::get<MeterSubscriberTramoModel>(same.model()).getMeterMessage(), L"Mind the dog");
}
