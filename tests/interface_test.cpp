// The interface that callers compile against: names, types and constness, and a round trip through the whole library.
#include <tramostream/tramostream.h>

#include <concepts>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <locale>
#include <type_traits>

namespace {

using std::is_same_v;

static_assert(sizeof(long32) == 4 && std::is_signed_v<long32>);
static_assert(is_same_v<TramoLine::tramoLine_t, std::array<wchar_t, 514>>);
static_assert(is_same_v<ParameterLine::parameterLine_t, std::array<wchar_t, 42>>);
static_assert(is_same_v<TagLine::tagLine_t, std::array<wchar_t, 25>>);
static_assert(is_same_v<decltype(AMRKeyLine::wmBusAddress), std::array<std::int32_t, 4>>);

static_assert(is_same_v<std::underlying_type_t<TE::errorType>, std::int32_t> && std::is_convertible_v<TE::errorType, int>);
static_assert(std::is_aggregate_v<TE::FieldError> && std::equality_comparable<TE::FieldError>);
static_assert(is_same_v<decltype(TE::FieldError::column), std::int32_t>);
static_assert(is_same_v<std::underlying_type_t<io::log::Level>, int> && std::is_convertible_v<io::log::Level, int>);
static_assert(is_same_v<decltype(io::log::initializer::m_logFileName), std::string>);

template <class E> constexpr bool isCode =
    is_same_v<std::underlying_type_t<E>, wchar_t> && !std::is_convertible_v<E, wchar_t> && E::Unset == static_cast<E>(L'!');
static_assert(isCode<TF::TramoLineType> && isCode<TF::TramoType> && isCode<TF::MeterFluid> && isCode<TF::ReadMethod>);
static_assert(isCode<TF::ReadStatus> && isCode<TF::AmrAlarms> && isCode<TF::EnquiryAreaType> && isCode<TF::EnquiryAreaMode>);
static_assert(static_cast<wchar_t>(TF::MeterFluid::Blank) == L' ');

static_assert(StrConv::ENCODING_ANSI == 0 && StrConv::ENCODING_UTF8BOM == 1 && StrConv::ENCODING_UTF16LE == 2 &&
              StrConv::ENCODING_UTF16BE == 3);
static_assert(is_same_v<std::remove_cv_t<decltype(StrConv::DATEFORMAT)>, const wchar_t*>);

static_assert(std::is_base_of_v<std::runtime_error, TramoStreamExceptions::read_exception>);
static_assert(std::is_base_of_v<std::runtime_error, TramoStreamExceptions::write_exception>);
static_assert(std::is_base_of_v<std::exception, TramoStreamExceptions::bad_line_length> &&
              !std::is_base_of_v<std::runtime_error, TramoStreamExceptions::bad_line_length>);
static_assert(is_same_v<decltype(TramoStreamExceptions::bad_line_length::given), std::uint32_t>);
static_assert(std::has_virtual_destructor_v<iFileStream> && std::has_virtual_destructor_v<oFileStream>);

// The functions of every model of a record line, and which of them are const.
template <class M>
concept RecordModel = requires(M m, const M c, TramoLine::tramoLine_t line) {
    M(line);
    { c.getTramoLine() } -> std::same_as<TramoLine::tramoLine_t>;
    { m.toTramoLine() } -> std::same_as<TramoLine::tramoLine_t>;
    { c.toString() } -> std::same_as<std::wstring>;
    { c.getParseErrors() } -> std::same_as<std::vector<TE::FieldError>>;
    { c.getBuildErrors() } -> std::same_as<std::vector<TE::FieldError>>;
    { m.getMandatoryErrors() } -> std::same_as<std::vector<TE::FieldError>>;
};
template <class M>
concept Typed = requires(M m, const M c) {
    { c.getType() } -> std::same_as<TF::TramoLineType>;
    m.setType(TF::TramoLineType::Round);
};
static_assert(RecordModel<RoundTramoModel> && RecordModel<MeterSubscriberTramoModel> && RecordModel<AMRTramoModel>);
static_assert(RecordModel<ExtendedAMRTramoModel> && RecordModel<MeterChangeTramoModel> && RecordModel<ExtendedDataTramoModel>);
static_assert(
    RecordModel<EnquiryDefinitionTramoModel> && RecordModel<EnquiryResultTramoModel> && RecordModel<RecordInformationTramoModel>);
static_assert(
    Typed<RoundTramoModel> && Typed<MeterSubscriberTramoModel> && Typed<AMRTramoModel> && Typed<EnquiryDefinitionTramoModel>);

static_assert(std::is_default_constructible_v<RoundTramoModel> && std::is_default_constructible_v<MeterSubscriberTramoModel>);
static_assert(std::is_default_constructible_v<AMRTramoModel> && std::is_default_constructible_v<ExtendedAMRTramoModel>);
static_assert(std::is_default_constructible_v<MeterChangeTramoModel> && std::is_default_constructible_v<ExtendedDataTramoModel>);
static_assert(
    std::is_default_constructible_v<EnquiryDefinitionTramoModel> && std::is_default_constructible_v<ParameterTramoModel>);
static_assert(
    !std::is_default_constructible_v<RecordInformationTramoModel> && !std::is_default_constructible_v<EnquiryResultTramoModel>);
static_assert(!std::is_default_constructible_v<TagTramoModel>);

TEST(Interface, KeyLineIsFilledMemberByMember) {
    const AMRKeyLine line{L';', L"{}", L"S", L"H", L"F", {1, 2, 3, 4}, L"5", L"7", L"X"};
    EXPECT_EQ(line.lead, L';');
    EXPECT_EQ(line.line, L"{}");
    EXPECT_EQ(line.serialNumber + line.hardwareVersion + line.firmwareVersion, L"SHF");
    EXPECT_EQ(line.wmBusAddress[3], 4);
    EXPECT_EQ(line.wmBusKeyMode5 + line.wmBusKeyMode7 + line.wmBusKeyExchangeKey, L"57X");
    EXPECT_EQ(AMRKeyLine().lead, L';');
    EXPECT_EQ(AMRKeyLine().wmBusAddress, (std::array<std::int32_t, 4>{-1, -1, -1, -1}));
}

TEST(Interface, CallersWithA64BitLongCompileAndKeepTheRange) {
    std::wstring text = L"2147483648";
    long value = 5;
    EXPECT_FALSE(StrConv::toLong(text, value));
    EXPECT_EQ(value, 5);
    text = L"-2147483648";
    EXPECT_TRUE(StrConv::toLong(text, value));
    EXPECT_EQ(value, -2147483648L);
    text = L"20240131";
    EXPECT_TRUE(StrConv::toDate(text, value));
    EXPECT_GT(value, 1700000000L);
}

TEST(Interface, ErrorCodesCompareWithNumbers) {
    TramoLine::tramoLine_t line{};
    line.fill(L' ');
    line[0] = L'0';
    line[29] = line[30] = L'x';
    const RoundTramoModel round(line);
    ASSERT_EQ(round.getParseErrors().size(), 1U);
    EXPECT_TRUE(round.getParseErrors().front().code == 0x001);
}

class Files : public testing::Test {
protected:
    Files() {
        std::string pattern = (std::filesystem::temp_directory_path() / "tramostream-XXXXXX").string();
        folder = mkdtemp(pattern.data());
    }
    ~Files() override {
        std::filesystem::remove_all(folder);
        std::locale::global(before);
    }
    std::filesystem::path folder;

private:
    std::locale before = std::locale::global(std::locale::classic());  // it defines ANSI
};

// A caller writes a round, reads it back, adds a reading and writes it again, in both encodings.
TEST_F(Files, ARoundIsWrittenAndReadBack) {
    for (const int encoding : {StrConv::ENCODING_ANSI, StrConv::ENCODING_UTF16LE}) {
        const std::string path = (folder / std::to_string(encoding)).string();
        {
            oFileStream out(path.c_str(), encoding);
            RoundTramoModel round;
            round.setCode(L"T0412");
            round.setName(L"TOURN\xC9"
                          L"E");
            MeterSubscriberTramoModel meter;
            meter.setSubscriberInformation(L"12 rue du Ch\xE2teau");
            meter.setMeterInformation(L"Cave");
            meter.setMeterSerialNumber(L"C12AB010000");
            meter.setMeterReadingDate(1705392000);
            meter.setMeterReadingIndex(12345);
            meter.setMeterReadingStatus(TF::ReadStatus::Status1);
            meter.setMeterReadingMethod(TF::ReadMethod::MethodM);
            EXPECT_EQ(out.putLine(round.toTramoLine(), 514), 514U);
            EXPECT_EQ(out.putLine(meter.toTramoLine(), 514), 514U);
            EXPECT_TRUE(round.getBuildErrors().empty() && meter.getBuildErrors().empty());
            out.close();
            EXPECT_EQ(out.rdstate(), 0);
            EXPECT_EQ(out.getLineNumber(), 2);
        }
        EXPECT_EQ(std::filesystem::file_size(path), encoding == StrConv::ENCODING_ANSI ? 2 * 514U : 2 + 2 * 1028U);

        iFileStream in;
        in.open(path.c_str(), encoding);
        TramoLine::tramoLine_t line;
        ASSERT_FALSE(in.eof());
        in.getline(514, line);
        const RoundTramoModel round(line);
        EXPECT_TRUE(round.getParseErrors().empty());
        EXPECT_EQ(round.getName(), L"TOURN\xC9"
                                   L"E");
        in.getline(514, line);
        const MeterSubscriberTramoModel meter(line);
        EXPECT_TRUE(meter.getParseErrors().empty());
        EXPECT_EQ(meter.getSubscriberInformation(), L"12 rue du Ch\xE2teau");
        EXPECT_EQ(meter.getMeterReadingDate(), 1705392000);
        EXPECT_EQ(meter.getMeterReadingIndex(), 12345);
        EXPECT_TRUE(in.eof());
    }
}

}  // namespace
