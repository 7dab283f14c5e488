#include "tramostream/amrkeytramomodel.h"
#include "support/records.h"
#include "tramostream/keyline.h"
#include <rapidjson/document.h>

using namespace records;
using M = AMRKeyTramoModel;

namespace {

M model(const std::string& json) {
    rapidjson::Document document;
    document.Parse(json.data(), json.size());
    EXPECT_FALSE(document.HasParseError()) << json;
    return M(document);
}

// The ten values by index, as the getters return them.
FieldValue value(const M& of, int index) {
    switch (index) {
    case 0: return of.getSerialNumber();
    case 1: return of.getHardwareVersion();
    case 2: return of.getFirmwareVersion();
    case 3: return static_cast<long long>(of.getWmBusAddressMeterId());
    case 4: return static_cast<long long>(of.getWmBusAddressManufacturerId());
    case 5: return static_cast<long long>(of.getWmBusAddressVersion());
    case 6: return static_cast<long long>(of.getWmBusAddressDeviceType());
    case 7: return of.getWmBusKeyMode5();
    case 8: return of.getWmBusKeyMode7();
    default: return of.getWmBusKeyExchangeKey();
    }
}

struct Member {
    std::string name;
    std::wstring label;
    bool isText, secret;
};
// clang-format off
const std::vector<Member> members = {
    {"serialNumber",                L"SerialNumber",                true,  false},
    {"hardwareVersion",             L"HardwareVersion",             true,  false},
    {"firmwareVersion",             L"FirmwareVersion",             true,  false},
    {"wmBusAddress_MeterId",        L"WmBusAddress_MeterId",        false, false},
    {"wmBusAddress_ManufacturerId", L"WmBusAddress_ManufacturerId", false, false},
    {"wmBusAddress_Version",        L"WmBusAddress_Version",        false, false},
    {"wmBusAddress_DeviceType",     L"WmBusAddress_DeviceType",     false, false},
    {"wmBusKey_Mode5",              L"WmBusKey_Mode5",              true,  true},
    {"wmBusKey_Mode7",              L"WmBusKey_Mode7",              true,  true},
    {"wmBusKeyExchangeKey",         L"WmBusKeyExchangeKey",         true,  true},
};
// clang-format on

FieldValue absent(int index) { return members[static_cast<std::size_t>(index)].isText ? FieldValue(L"") : FieldValue(-1LL); }

Faults allMissing() {
    Faults all;
    for (int index = 0; index < 10; ++index) all.push_back({index, 0x201});
    return all;
}

std::string object(const std::string& name, const std::string& json) { return "{\"" + name + "\":" + json + "}"; }

// Expects that every value except the one at `index` is absent.
void expectOnly(const M& of, int index, const FieldValue& expected) {
    for (int each = 0; each < 10; ++each) EXPECT_TRUE(equal(value(of, each), each == index ? expected : absent(each))) << each;
}
void expectNothing(M of) {
    expectOnly(of, -1, {});
    EXPECT_EQ(faults(of.getMandatoryErrors()), allMissing());
    EXPECT_EQ(faults(of.getParseErrors()), Faults());
}

const std::string full =
    R"({"serialNumber":"4C30","hardwareVersion":"2.0","firmwareVersion":"1.0.0","wmBusAddress_MeterId":12345678,)"
    R"("wmBusAddress_ManufacturerId":11290,"wmBusAddress_Version":21,"wmBusAddress_DeviceType":7,)"
    R"("wmBusKey_Mode5":"5627","wmBusKey_Mode7":"3858","wmBusKeyExchangeKey":"4CA4"})";
const std::wstring fullShown =
    L"AMRKeyTramoModel[SerialNumber4C30,HardwareVersion2.0,FirmwareVersion1.0.0,WmBusAddress_MeterId12345678,"
    L"WmBusAddress_ManufacturerId11290,WmBusAddress_Version21,WmBusAddress_DeviceType7,"
    L"WmBusKey_Mode55627,WmBusKey_Mode73858,WmBusKeyExchangeKey4CA4]";

}  // namespace

TEST(AmrKey, DescribesTheTenValues) {
    ASSERT_EQ(std::size(tramo::keyValues), members.size());
    for (std::size_t k = 0; k < members.size(); ++k) {
        EXPECT_EQ(tramo::keyValues[k].name, members[k].name);
        EXPECT_EQ(wide(std::string(tramo::keyValues[k].label)), members[k].label);
        EXPECT_EQ(tramo::keyValues[k].text != nullptr, members[k].isText);
        EXPECT_EQ(tramo::keyValues[k].secret, members[k].secret);
    }
}

TEST(AmrKey, ReadsAnObject) {
    M key = model(full);
    EXPECT_EQ(key.getSerialNumber(), L"4C30");
    EXPECT_EQ(key.getHardwareVersion(), L"2.0");
    EXPECT_EQ(key.getFirmwareVersion(), L"1.0.0");
    EXPECT_EQ(key.getWmBusAddressMeterId(), 12345678);
    EXPECT_EQ(key.getWmBusAddressManufacturerId(), 11290);
    EXPECT_EQ(key.getWmBusAddressVersion(), 21);
    EXPECT_EQ(key.getWmBusAddressDeviceType(), 7);
    EXPECT_EQ(key.getWmBusKeyMode5(), L"5627");
    EXPECT_EQ(key.getWmBusKeyMode7(), L"3858");
    EXPECT_EQ(key.getWmBusKeyExchangeKey(), L"4CA4");
    EXPECT_EQ(faults(key.getParseErrors()), Faults());
    EXPECT_EQ(faults(key.getMandatoryErrors()), Faults());
    EXPECT_EQ(key.toString(), fullShown);
}

TEST(AmrKey, IsAbsentForAnEmptyObject) {
    M key = model("{}");
    expectNothing(key);
    EXPECT_EQ(faults(key.getMandatoryErrors()), allMissing());  // not repeated
    EXPECT_EQ(key.toString(), L"AMRKeyTramoModel[SerialNumber,HardwareVersion,FirmwareVersion,WmBusAddress_MeterId-1,"
                              L"WmBusAddress_ManufacturerId-1,WmBusAddress_Version-1,WmBusAddress_DeviceType-1,WmBusKey_Mode5,"
                              L"WmBusKey_Mode7,WmBusKeyExchangeKey]");
}

TEST(AmrKey, IsAbsentForOtherJsonValues) {
    for (const char* json : {"null", "true", "false", "7", "-1.5", "\"serialNumber\"", "[]", "[{\"serialNumber\":\"1\"}]"})
        expectNothing(model(json));
    expectNothing(M(rapidjson::Value()));
}

TEST(AmrKey, ReadsEachValueFromItsOwnMember) {
    for (int index = 0; index < 10; ++index) {
        const Member& member = members[static_cast<std::size_t>(index)];
        M key = model(object(member.name, member.isText ? "\"abc\"" : "42"));
        expectOnly(key, index, member.isText ? FieldValue(L"abc") : FieldValue(42LL));
        Faults expected = allMissing();
        expected.erase(expected.begin() + index);
        EXPECT_EQ(faults(key.getMandatoryErrors()), expected);
        EXPECT_NE(key.toString().find(member.label + (member.isText ? L"abc" : L"42")), std::wstring::npos);
    }
}

TEST(AmrKey, IgnoresAMemberOfAnotherType) {
    for (const Member& member : members) {
        for (const char* json : {"true", "null", "[]", "{}", "[\"abc\"]", "1.5", "{\"serialNumber\":\"1\"}"})
            expectNothing(model(object(member.name, json)));
        expectNothing(model(object(member.name, member.isText ? "123" : "\"12345678\"")));
    }
}

TEST(AmrKey, MatchesTheExactMemberName) {
    for (const Member& member : members) {
        const std::string json = member.isText ? "\"abc\"" : "42";
        std::string capital = member.name;
        capital[0] = static_cast<char>(capital[0] - 'a' + 'A');
        for (const std::string& name :
            {capital, member.name + " ", " " + member.name, member.name + "\\u0000", member.name.substr(1)})
            expectNothing(model(object(name, json)));
    }
    expectNothing(model(R"({"SerialNumber":"1"})"));
    expectNothing(model(R"({"":"1"})"));
}

TEST(AmrKey, MatchesAMemberNameWithEscapes) { expectOnly(model(R"({"serial\u004Eumber":"1"})"), 0, L"1"); }

TEST(AmrKey, ReadsTheFirstOfDuplicateMembers) {
    expectOnly(model(R"({"serialNumber":"1","serialNumber":"2"})"), 0, L"1");
    expectOnly(model(R"({"wmBusAddress_Version":1,"wmBusAddress_Version":2})"), 5, 1LL);
    expectNothing(model(R"({"serialNumber":1,"serialNumber":"2"})"));  // even if its type is wrong
}

TEST(AmrKey, ReadsSigned32BitNumbersOnly) {
    const std::vector<std::pair<std::string, long long>> numbers = {{"0", 0}, {"-0", 0}, {"12345678", 12345678},
        {"2147483647", 2147483647}, {"-2147483648", -2147483648LL}, {"-2", -2}, {"-1", -1}};
    for (const auto& [json, number] : numbers)
        for (int index = 3; index < 7; ++index)
            expectOnly(model(object(members[static_cast<std::size_t>(index)].name, json)), index, number);
    for (const char* json : {"3000000000", "2147483648", "-2147483649", "4294967295", "9223372036854775807",
             "-9223372036854775808", "18446744073709551615", "99999999999999999999", "1.5", "21.0", "1e2", "1e308", "0.0"})
        for (int index = 3; index < 7; ++index) expectNothing(model(object(members[static_cast<std::size_t>(index)].name, json)));
}

TEST(AmrKey, TreatsMinus1AsAbsent) {
    M key = model(R"({"wmBusAddress_MeterId":-1})");
    EXPECT_EQ(faults(key.getMandatoryErrors()), allMissing());
}

TEST(AmrKey, TreatsAnEmptyTextAsAbsent) {
    M key = model(R"({"serialNumber":""})");
    EXPECT_EQ(faults(key.getMandatoryErrors()), allMissing());
}

TEST(AmrKey, ReadsUtf8) {
    EXPECT_EQ(
        model("{\"serialNumber\":\"\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80\"}").getSerialNumber(), L"\u00E9 \u20AC \xD83D\xDE00");
    EXPECT_EQ(model(R"({"serialNumber":"\u00e9\ud83d\ude00\n\t\"\\\/"})").getSerialNumber(), L"\u00E9\xD83D\xDE00\n\t\"\\/");
}

TEST(AmrKey, KeepsZeroCharactersInTexts) {
    const std::wstring expected(L"a\0b\0", 4);
    M key = model(R"({"serialNumber":"a\u0000b\u0000"})");
    EXPECT_EQ(key.getSerialNumber(), expected);
    EXPECT_EQ(key.toString().substr(0, 33), L"AMRKeyTramoModel[SerialNumber" + expected);
    EXPECT_EQ(faults(model(R"({"serialNumber":"\u0000"})").getMandatoryErrors()).size(), 9u);  // a zero character is a text
}

TEST(AmrKey, ReplacesInvalidUtf8Bytes) {
    const std::vector<std::pair<std::string, std::wstring>> texts = {{"\x80", L"\uFFFD"}, {"a\xFFz", L"a\uFFFDz"},
        {"\xC3", L"\uFFFD"}, {"\xC3(", L"\uFFFD("}, {"\xC0\xAF", L"\uFFFD\uFFFD"}, {"\xE2\x82", L"\uFFFD\uFFFD"},
        {"\xF0\x9F\x98", L"\uFFFD\uFFFD\uFFFD"}, {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"}};
    for (const auto& [bytes, text] : texts)
        EXPECT_EQ(model(object("wmBusKey_Mode5", "\"" + bytes + "\"")).getWmBusKeyMode5(), text);
}

TEST(AmrKey, CopiesALineWithItsValues) {
    AMRKeyLine line;
    line.lead = L'x';
    line.line = L"{\"serialNumber\":\"not looked at\"}";
    line.serialNumber = L"4C30";
    line.hardwareVersion = L"2.0";
    line.firmwareVersion = L"1.0.0";
    line.wmBusAddress = {12345678, 11290, 21, 7};
    line.wmBusKeyMode5 = L"5627";
    line.wmBusKeyMode7 = L"3858";
    line.wmBusKeyExchangeKey = L"4CA4";
    M key(line);
    EXPECT_EQ(key.toString(), fullShown);
    EXPECT_EQ(faults(key.getMandatoryErrors()), Faults());
    EXPECT_EQ(faults(key.getParseErrors()), Faults());
    line.serialNumber = L"other";
    line.wmBusAddress[0] = 0;
    EXPECT_EQ(key.toString(), fullShown);  // its own copy
}

TEST(AmrKey, IsAbsentForALineWithoutValues) {
    AMRKeyLine line;
    line.line = L"{\"serialNumber\":\"1\"}";
    expectNothing(M(line));
}

TEST(AmrKey, AcceptsTheLimitsOfTheIntegers) {
    AMRKeyLine line;
    line.wmBusAddress = {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max(), 0, -1};
    EXPECT_NE(M(line).toString().find(
                  L"MeterId-2147483648,WmBusAddress_ManufacturerId2147483647,WmBusAddress_Version0,WmBusAddress_DeviceType-1,"),
        std::wstring::npos);
    EXPECT_EQ(faults(M(line).getMandatoryErrors()),
        (Faults{{0, 0x201}, {1, 0x201}, {2, 0x201}, {6, 0x201}, {7, 0x201}, {8, 0x201}, {9, 0x201}}));
}
