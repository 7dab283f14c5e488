#include "support/records.h"
#include "tramostream/anyrecord.h"
#include <algorithm>

using namespace records;

namespace {

const tramo::RecordKind& roundKind = tramo::kindOf<RoundTramoModel>();
const tramo::RecordKind& meterKind = tramo::kindOf<MeterSubscriberTramoModel>();
const tramo::RecordKind& informationKind = tramo::kindOf<RecordInformationTramoModel>();

// The name of the field of an error; "" if there is none.
std::string about(const tramo::RecordKind& kind, int column, int code) {
    const Field* field = kind.fieldOf({column, static_cast<TE::errorType>(code)});
    return field ? field->name : "";
}

}  // namespace

// ---- Kinds ----------------------------------------------------------------------------------------------------------

TEST(RecordKinds, AreThoseOfAnyRecordSortedByLetter) {
    const auto kinds = tramo::recordKinds();
    EXPECT_EQ(kinds.size(), std::variant_size_v<tramo::AnyRecord::Model> - 1);
    std::wstring letters;
    for (const tramo::RecordKind* kind : kinds) letters += kind->letter;
    EXPECT_TRUE(std::is_sorted(letters.begin(), letters.end()));
    for (const wchar_t letter : {L'0', L'1', L'9'}) EXPECT_EQ(std::count(letters.begin(), letters.end(), letter), 1);
    EXPECT_EQ(letters.find_first_not_of(L"012345679"), std::wstring::npos);
}

TEST(RecordKinds, AreFoundByTheirLetters) {
    EXPECT_EQ(tramo::recordKind(L'0'), &roundKind);
    EXPECT_EQ(tramo::recordKind(L'1'), &meterKind);
    EXPECT_EQ(tramo::recordKind(L'9'), &informationKind);
    for (int c = 0; c <= 0xFFFF; ++c) {
        const auto letter = static_cast<wchar_t>(c);
        const tramo::RecordKind* kind = tramo::recordKind(letter);
        if (kind) { EXPECT_EQ(kind->letter, letter); }
        if (c < L'0' || c > L'9' || c == L'8') { EXPECT_EQ(kind, nullptr) << c; }
    }
}

TEST(RecordKinds, HaveNamesModelsAndLengths) {
    EXPECT_EQ(roundKind.name, "round");
    EXPECT_EQ(roundKind.model, "RoundTramoModel");
    EXPECT_EQ(meterKind.name, "meter subscriber");
    EXPECT_EQ(meterKind.model, "MeterSubscriberTramoModel");
    EXPECT_EQ(informationKind.name, "record information");
    EXPECT_EQ(informationKind.model, "RecordInformationTramoModel");
    for (const tramo::RecordKind* kind : tramo::recordKinds()) EXPECT_EQ(kind->length, 512);
}

TEST(RecordKinds, HaveTheNumberOfFieldsOfTheFormat) {
    EXPECT_EQ(roundKind.fields.size(), 5u + 10 * 4 + 2);
    EXPECT_EQ(meterKind.fields.size(), 36u);
    EXPECT_EQ(informationKind.fields.size(), 2u);
}

// ---- Fields ---------------------------------------------------------------------------------------------------------

TEST(Fields, AreFoundByTheirNames) {
    for (const tramo::RecordKind* kind : tramo::recordKinds())
        for (const Field& field : kind->fields) {
            EXPECT_EQ(kind->field(field.name), &field);
            EXPECT_EQ(&kind->fields[field.index], &field);
        }
    for (const char* name : {"", "Code", "codes", "code ", "roundCode"}) EXPECT_EQ(roundKind.field(name), nullptr) << name;
}

TEST(Fields, HaveUniqueNamesAndAPlaceInTheLine) {
    for (const tramo::RecordKind* kind : tramo::recordKinds()) {
        std::set<std::string> names;
        for (const Field& field : kind->fields) {
            EXPECT_TRUE(names.insert(field.name).second) << field.name;
            EXPECT_EQ(field.name.find('#'), std::string::npos);
            EXPECT_EQ(field.label.find('#'), std::string::npos);
            EXPECT_TRUE(field.name[0] >= 'a' && field.name[0] <= 'z') << field.name;
            EXPECT_GE(field.column, 0);
            if (field.column != 0) {
                EXPECT_GE(field.column, 2) << field.name;
                EXPECT_GE(field.width, 1) << field.name;
                EXPECT_LE(field.column + field.width - 1, kind->length) << field.name;
            }
            EXPECT_EQ(field.codes.empty(), field.kind != Code) << field.name;
        }
    }
}

TEST(Fields, DescribeWhenTheyAreWritten) {
    EXPECT_EQ(roundKind.field("code")->written, "always");
    EXPECT_EQ(roundKind.field("defaultMeterWheels")->written, "it is above 3");
    EXPECT_EQ(meterKind.field("subscriberCardOrder")->written, "it is 0 or more");
    EXPECT_EQ(meterKind.field("meterMessage")->written, "it is not empty");
    EXPECT_EQ(meterKind.field("meterLastUpdateDate")->written, "it has a date");
    EXPECT_EQ(meterKind.field("meterMinEstimatedConsumption")->written, "it is above -1");
    EXPECT_EQ(meterKind.field("meterSerialNumber")->written, "there is meter information");
    EXPECT_EQ(meterKind.field("meterReadingIndex")->written, "there is a reading date and it is 0 or more");
}

TEST(Fields, DescribeWhenTheyAreReported) {
    EXPECT_EQ(roundKind.field("code")->mandatory, "it is empty");
    EXPECT_EQ(roundKind.field("name")->mandatory, "");
    EXPECT_EQ(informationKind.field("meterNumber")->mandatory, "it is below 0");
    EXPECT_EQ(meterKind.field("meterAuthorizedChange")->mandatory, "it is empty");
    for (const tramo::RecordKind* kind : tramo::recordKinds())
        for (const Field& field : kind->fields) EXPECT_EQ(field.mandatory.empty(), field.mandatoryError.code == TE::errorType{});
}

TEST(Fields, ListTheWrittenCodes) {
    const Field* type = roundKind.field("meterInformationTypeArea1");
    EXPECT_EQ(type->codes, L"12ABDHNYdn");
    EXPECT_EQ(type->codesWritten, L"122BDH1Ydn");
    const Field* method = meterKind.field("meterReadingMethod");
    EXPECT_EQ(method->codes, L"MTA");
    EXPECT_EQ(method->codesWritten, std::wstring({L'M', 0, L'A'}));
    EXPECT_EQ(meterKind.field("meterFluidType")->codesWritten, meterKind.field("meterFluidType")->codes);
    EXPECT_EQ(meterKind.field("meterMessage")->codesWritten, L"");
}

TEST(Fields, DescribeTheirReadingAndWriting) {
    const tramo::RecordKind& enquiryKind = tramo::kindOf<EnquiryDefinitionTramoModel>();
    for (const tramo::RecordKind* kind : tramo::recordKinds())
        for (const Field& field : kind->fields) {
            const bool runsOn = kind == &enquiryKind && field.name.ends_with("List");
            EXPECT_EQ(field.writtenWidth, runsOn ? 16 : field.width) << field.name;
            EXPECT_EQ(field.blank, field.name == "meterAuthorizedChange" ? L"1" : L"") << field.name;
            EXPECT_EQ(field.readInto, kind == &informationKind && field.name == "meterNumber" ? "roundNumber" : "") << field.name;
        }
    EXPECT_EQ(enquiryKind.field("area1List")->width, 8);
}

// ---- The field of an error ------------------------------------------------------------------------------------------

TEST(FieldOfError, IsFoundIfTheFormatReportsTheColumnOfANeighbor) {
    EXPECT_EQ(about(roundKind, 8, 0x1B), "roundImportDate");
    EXPECT_EQ(about(roundKind, 499, 0x115), "roundImportDate");
    EXPECT_EQ(about(roundKind, 431, 0x102), "subscriberInformationLabelArea4");
    EXPECT_EQ(about(roundKind, 431, 0x202), "subscriberInformationLabelArea4");
    EXPECT_EQ(about(roundKind, 431, 0x14), "subscriberInformationTypeArea3");
    EXPECT_EQ(about(roundKind, 431, 0x117), "subscriberInformationTypeArea3");
    EXPECT_EQ(about(roundKind, 432, 0x01), "subscriberInformationPositionArea4");
    EXPECT_EQ(about(roundKind, 448, 0x01), "subscriberInformationLenghtArea4");
    EXPECT_EQ(about(roundKind, 451, 0x14), "subscriberInformationTypeArea4");
    EXPECT_EQ(about(roundKind, 473, 0x01), "subscriberInformationLenghtArea5");
    EXPECT_EQ(about(roundKind, 473, 0x14), "subscriberInformationTypeArea5");
    EXPECT_EQ(about(roundKind, 475, 0x117), "subscriberInformationTypeArea5");
    EXPECT_EQ(about(meterKind, 194, 0x1B), "meterHistory3ReadingDate");
    EXPECT_EQ(about(meterKind, 195, 0x115), "meterHistory3ReadingDate");
    EXPECT_EQ(about(meterKind, 194, 0x102), "meterHistory3ReadingType");
    EXPECT_EQ(about(meterKind, 194, 0x202), "meterHistory3ReadingType");
    EXPECT_EQ(about(meterKind, 352, 0x01), "meterWheels");
    EXPECT_EQ(about(meterKind, 352, 0x101), "meterWheels");
    EXPECT_EQ(about(meterKind, 352, 0x102), "meterSerialNumber");
    EXPECT_EQ(about(meterKind, 352, 0x201), "meterSerialNumber");
    EXPECT_EQ(about(meterKind, 392, 0x115), "meterPreviousReadingIndex");
    EXPECT_EQ(about(meterKind, 384, 0x115), "meterPreviousReadingDate");
}

TEST(FieldOfError, IsNullForTheWholeLineAndForErrorsOfNoField) {
    for (const tramo::RecordKind* kind : tramo::recordKinds()) {
        EXPECT_EQ(kind->fieldOf({0, TE::ParseLineType}), nullptr);
        EXPECT_EQ(kind->fieldOf({0, TE::WrongLineType}), nullptr);
        EXPECT_EQ(kind->fieldOf({}), nullptr);
        EXPECT_EQ(kind->fieldOf({512, TE::MandatoryMissing}), nullptr);
        EXPECT_EQ(kind->fieldOf({-1, TE::ParseInteger}), nullptr);
    }
    EXPECT_EQ(about(roundKind, 2, 0x01), "");
    EXPECT_EQ(about(roundKind, 499, 0x1B), "");  // the field's own column, but not the reported one
}

TEST(FieldOfError, IsUnique) {
    for (const tramo::RecordKind* kind : {&roundKind, &meterKind, &informationKind})
        for (const Field& field : kind->fields)
            for (const TE::FieldError& error : {field.parseError, field.buildError, field.mandatoryError})
                if (error.code != TE::errorType{}) { EXPECT_EQ(kind->fieldOf(error), &field) << field.name; }
}

// ---- Values by field ------------------------------------------------------------------------------------------------

namespace {

// Values of every type that a FieldValue can hold, including the field's own.
const FieldValue oneOfEach[] = {std::wstring(L"t"), 1LL, 1.5, true, L'1'};
std::size_t typeOf(FieldKind kind) {
    switch (kind) {
    case Text: return 0;
    case Decimal: return 2;
    case Flag: return 3;
    case Code: return 4;
    default: return 1;
    }
}

template <class M> void refusesOtherTypes() {
    for (const Field& field : tramo::kindOf<M>().fields)
        for (std::size_t type = 0; type < std::size(oneOfEach); ++type) {
            if (type == typeOf(field.kind)) continue;
            M model = empty<M>();
            const std::wstring before = model.toString();
            EXPECT_FALSE(tramo::set(model, field, oneOfEach[type])) << field.name << ' ' << display(oneOfEach[type]);
            EXPECT_EQ(model.toString(), before);
            EXPECT_EQ(tramo::get(model, field).index(), typeOf(field.kind));
        }
}

template <class M> bool takes(const char* name, const FieldValue& value) {
    M model = empty<M>();
    const FieldValue before = valueOf(model, name);
    const bool taken = setValue(model, name, value);
    EXPECT_TRUE(equal(valueOf(model, name), taken ? value : before)) << name;
    return taken;
}

constexpr long long largest32 = std::numeric_limits<std::int32_t>::max(), lowest32 = std::numeric_limits<std::int32_t>::min();

}  // namespace

TEST(FieldValues, OfAnotherTypeAreRejected) {
    refusesOtherTypes<RoundTramoModel>();
    refusesOtherTypes<MeterSubscriberTramoModel>();
    refusesOtherTypes<AMRTramoModel>();
    refusesOtherTypes<MeterChangeTramoModel>();
    refusesOtherTypes<ExtendedAMRTramoModel>();
    refusesOtherTypes<EnquiryDefinitionTramoModel>();
    refusesOtherTypes<EnquiryResultTramoModel>();
    refusesOtherTypes<ExtendedDataTramoModel>();
    refusesOtherTypes<RecordInformationTramoModel>();
}

TEST(FieldValues, ThatTheFieldCannotHoldAreRejected) {
    for (const char* name :
        {"subscriberCardOrder", "meterWheels", "meterReadingDate", "meterPreviousReadingDate", "meterInstallationYear"}) {
        EXPECT_TRUE(takes<MeterSubscriberTramoModel>(name, largest32));
        EXPECT_TRUE(takes<MeterSubscriberTramoModel>(name, lowest32));
        EXPECT_FALSE(takes<MeterSubscriberTramoModel>(name, largest32 + 1));
        EXPECT_FALSE(takes<MeterSubscriberTramoModel>(name, lowest32 - 1));
        EXPECT_FALSE(takes<MeterSubscriberTramoModel>(name, std::numeric_limits<long long>::min()));
    }
    for (const char* name : {"meterReadingIndex", "meterHistory4Consumption"}) {
        EXPECT_TRUE(takes<MeterSubscriberTramoModel>(name, std::numeric_limits<long long>::max()));
        EXPECT_TRUE(takes<MeterSubscriberTramoModel>(name, std::numeric_limits<long long>::min()));
    }
    for (const char* name : {"previousAlarms", "currentAlarms"}) {  // twelve flags
        for (const long long fits : {0x000LL, 0x001LL, 0x800LL, 0xFFFLL}) EXPECT_TRUE(takes<AMRTramoModel>(name, fits));
        for (const long long other :
            {-1LL, 0x1000LL, 0x1001LL, std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()})
            EXPECT_FALSE(takes<AMRTramoModel>(name, other)) << other;
    }
}

TEST(FieldValues, OfACodeAreThoseOfItsTableAndUnset) {
    const struct {
        const char* name;
        std::wstring codes;
    } fields[] = {{"meterFluidType", L"WCEGHT !"}, {"meterReadingStatus", L"1234!"}, {"meterReadingMethod", L"MTA!"}};
    for (const auto& field : fields)
        for (int c = 0; c <= 0x200; ++c) {
            const auto code = static_cast<wchar_t>(c);
            EXPECT_EQ(takes<MeterSubscriberTramoModel>(field.name, code), field.codes.find(code) != std::wstring::npos)
                << field.name << c;
        }
    for (int c = 0; c <= 0x200; ++c) {
        const auto code = static_cast<wchar_t>(c);
        const bool known = std::wstring(L"12ABDHNYdn!").find(code) != std::wstring::npos;
        EXPECT_EQ(takes<RoundTramoModel>("meterInformationTypeArea2", code), known) << c;
        EXPECT_EQ(takes<RoundTramoModel>("subscriberInformationTypeArea5", code), known) << c;
    }
}

// ---- Names of errors ------------------------------------------------------------------------------------------------

TEST(ErrorNames, AreThoseOfTheCodesInUse) {
    const std::map<int, std::string> names = {
        {0x001, "ParseInteger"},
        {0x003, "ParseBool"},
        {0x004, "ParseDouble"},
        {0x011, "ParseFluidType"},
        {0x012, "ParseReadStatus"},
        {0x013, "ParseReadMethod"},
        {0x014, "ParseTramoType"},
        {0x015, "ParseLineType"},
        {0x016, "ParseAmrAlarmFlags"},
        {0x017, "ParseAmrAlarm"},
        {0x018, "ParseEnquiryAreaType"},
        {0x019, "ParseEnquiryAreaMode"},
        {0x01A, "ParseDateTime"},
        {0x01B, "ParseDate"},
        {0x101, "BuildInteger"},
        {0x102, "BuildText"},
        {0x103, "BuildBool"},
        {0x104, "BuildDouble"},
        {0x111, "BuildFluidType"},
        {0x112, "BuildReadStatus"},
        {0x113, "BuildReadMethod"},
        {0x115, "BuildDate"},
        {0x117, "BuildTramoType"},
        {0x119, "BuildAmrAlarm"},
        {0x11A, "BuildAmrAlarmFlags"},
        {0x11B, "BuildEnquiryAreaType"},
        {0x11C, "BuildEnquiryAreaMode"},
        {0x201, "MandatoryMissing"},
        {0x202, "MandatoryInconsistent"},
        {0x203, "WrongLineType"},
    };
    for (int code = -1; code <= 0x400; ++code) {
        const auto name = names.find(code);
        EXPECT_EQ(tramo::errorName(static_cast<TE::errorType>(code)), name == names.end() ? "" : name->second) << code;
    }
}

TEST(ErrorNames, AreEnumeratorsThatCompareWithNumbers) {
    EXPECT_TRUE(TE::ParseDate == 0x01B);
    EXPECT_TRUE(TE::BuildEnquiryAreaMode == 284);
    EXPECT_TRUE(TE::BuildInteger == 257 && TE::BuildDouble == 260 && TE::BuildFluidType == 273);
    EXPECT_TRUE(TE::MandatoryMissing == 513 && TE::MandatoryInconsistent == 514 && TE::WrongLineType == 515);
    static_assert(sizeof(TE::errorType) == 4);
    static_assert(std::is_same_v<decltype(TE::FieldError::column), std::int32_t>);
    EXPECT_EQ((TE::FieldError{2, TE::BuildText}), (TE::FieldError{2, TE::BuildText}));
    EXPECT_NE((TE::FieldError{2, TE::BuildText}), (TE::FieldError{3, TE::BuildText}));
}

TEST(FieldKinds, HaveNames) {
    std::string names;
    for (int kind = 0; kind <= static_cast<int>(tramo::FieldKind::AlarmFlags); ++kind)
        names.append(tramo::nameOf(static_cast<tramo::FieldKind>(kind))) += ' ';
    EXPECT_EQ(names, "text integer decimal date dateTime year code flag alarmFlags ");
}
