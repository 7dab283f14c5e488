#include "tramostream/keyline.h"
#include "common/secretkeyline.h"
#include "common/utf8.h"
#include "tramostream/amrkeytramomodel.h"
#include "tramostream/check.h"
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <malloc.h>
#include <new>
#include <pthread.h>
#include <random>
#include <rapidjson/document.h>

using namespace tramo;
using Remark = KeyLineRemark;

// ---- Memory that this program frees ---------------------------------------------------------------------------------

namespace {

// While it is not empty, all memory is searched for it when it is freed.
std::string watched;
int sightings = 0;

// The number of allocations, and of the one that fails.
long allocations = 0, failing = 0;

void giveBack(void* memory) {
    if (!watched.empty() && memory) {
        const std::string_view bytes(static_cast<const char*>(memory), malloc_usable_size(memory));
        if (bytes.find(watched) != std::string_view::npos) ++sightings;
    }
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
    if (++allocations == failing) throw std::bad_alloc();
    void* memory = std::malloc(size ? size : 1);
    if (!memory) throw std::bad_alloc();
    // What others have left in it, also beyond the size, is not what this program frees.
    if (!watched.empty()) std::fill_n(static_cast<volatile char*>(memory), malloc_usable_size(memory), '\0');
    return memory;
}
void operator delete(void* memory) noexcept { giveBack(memory); }
void operator delete(void* memory, std::size_t) noexcept { giveBack(memory); }

namespace {

const std::wstring full =
    LR"({"serialNumber":"4C30000000","hardwareVersion":"2.0","firmwareVersion":"1.0.0","wmBusAddress_MeterId":12345678,)"
    LR"("wmBusAddress_ManufacturerId":11290,"wmBusAddress_Version":21,"wmBusAddress_DeviceType":7,)"
    LR"("wmBusKey_Mode5":"5627BD973F6190D6FFA4AA3918619D1B","wmBusKey_Mode7":"38580D7B156A0E694DB81A9D50161B10",)"
    LR"("wmBusKeyExchangeKey":"4CA4643132A9B56864484AE545470CAD"})";

bool sameValues(const AMRKeyLine& a, const AMRKeyLine& b) {
    for (const KeyValue& value : keyValues)
        if (value.text && a.*value.text != b.*value.text) return false;
    return a.wmBusAddress == b.wmBusAddress;
}
void expectFull(const ParsedKeyLine& parsed) {
    EXPECT_FALSE(parsed.error) << parsed.error->text;
    EXPECT_EQ(parsed.line.serialNumber, L"4C30000000");
    EXPECT_EQ(parsed.line.hardwareVersion, L"2.0");
    EXPECT_EQ(parsed.line.firmwareVersion, L"1.0.0");
    EXPECT_EQ(parsed.line.wmBusAddress, (std::array<std::int32_t, 4>{12345678, 11290, 21, 7}));
    EXPECT_EQ(parsed.line.wmBusKeyMode5, L"5627BD973F6190D6FFA4AA3918619D1B");
    EXPECT_EQ(parsed.line.wmBusKeyMode7, L"38580D7B156A0E694DB81A9D50161B10");
    EXPECT_EQ(parsed.line.wmBusKeyExchangeKey, L"4CA4643132A9B56864484AE545470CAD");
    EXPECT_EQ(parsed.remarks, std::vector<Remark>());
}
void expectError(const std::wstring& text, std::size_t offset, const std::string& words) {
    const ParsedKeyLine parsed = parseKeyLine(text);
    ASSERT_TRUE(parsed.error) << utf8::encode(text.substr(0, 80));
    EXPECT_EQ(parsed.error->offset, offset) << utf8::encode(text.substr(0, 80));
    EXPECT_EQ(parsed.error->column(), offset + 1);
    EXPECT_EQ(parsed.error->text, words);
    EXPECT_TRUE(sameValues(parsed.line, AMRKeyLine()));
    EXPECT_EQ(parsed.line.line, text);
    EXPECT_EQ(parsed.remarks, std::vector<Remark>());
}
std::vector<Remark> remarksOf(const std::wstring& text) {
    const ParsedKeyLine parsed = parseKeyLine(text);
    EXPECT_FALSE(parsed.error);
    return parsed.remarks;
}

}  // namespace

// ---- Values ---------------------------------------------------------------------------------------------------------

TEST(KeyLine, ReturnsTheTenValuesAndTheText) {
    const ParsedKeyLine parsed = parseKeyLine(full);
    expectFull(parsed);
    EXPECT_EQ(parsed.line.lead, L';');
    EXPECT_EQ(parsed.line.line, full);
}

TEST(KeyLine, AcceptsALeadingSemicolonAndACarriageReturn) {
    for (const std::wstring& text : {L";" + full, full + L"\r", L";" + full + L"\r", L"; " + full + L" \r"}) {
        const ParsedKeyLine parsed = parseKeyLine(text);
        expectFull(parsed);
        EXPECT_EQ(parsed.line.line, text);
    }
}

TEST(KeyLine, ReadsEverySampleAsTheModelDoes) {
    std::ifstream file(SAMPLES "/amr-keys.txt", std::ios::binary);
    int lines = 0;
    for (std::string text; std::getline(file, text); ++lines) {
        ParsedKeyLine parsed = parseKeyLine(utf8::decode(text));
        EXPECT_FALSE(parsed.error);
        EXPECT_EQ(parsed.remarks, std::vector<Remark>());
        EXPECT_EQ(AMRKeyTramoModel(parsed.line).getMandatoryErrors().size(), 0u);
        rapidjson::Document document;
        document.Parse(text.data(), text.size());
        EXPECT_EQ(AMRKeyTramoModel(parsed.line).toString(), AMRKeyTramoModel(document).toString());
    }
    EXPECT_EQ(lines, 8);
}

TEST(KeyLine, LeavesMissingValuesAbsent) {
    const ParsedKeyLine parsed = parseKeyLine(L"{}");
    EXPECT_FALSE(parsed.error);
    EXPECT_TRUE(sameValues(parsed.line, AMRKeyLine()));
    for (const KeyValue& value : keyValues) EXPECT_TRUE(value.isAbsent(parsed.line)) << value.name;
    for (const KeyValue& value : keyValues) EXPECT_FALSE(value.isAbsent(parseKeyLine(full).line)) << value.name;
}

TEST(KeyLine, ReadsEveryCharacterUnchanged) {
    for (unsigned c = 0x20; c <= 0xFFFF; ++c) {
        if (c == '"' || c == '\\' || (c >= 0xD800 && c < 0xE000)) continue;
        const std::wstring text(3, static_cast<wchar_t>(c));
        EXPECT_EQ(parseKeyLine(L"{\"serialNumber\":\"" + text + L"\"}").line.serialNumber, text) << c;
    }
    EXPECT_EQ(parseKeyLine(L"{\"serialNumber\":\"\xD83D\xDE00\xDBFF\xDFFF\"}").line.serialNumber, L"\xD83D\xDE00\xDBFF\xDFFF");
}

TEST(KeyLine, ReadsEscapes) {
    EXPECT_EQ(parseKeyLine(LR"({"serialNumber":"\u0041\u00e9\u20AC\ud83d\ude00\"\\\/\b\f\n\r\t"})").line.serialNumber,
        L"A\u00E9\u20AC\xD83D\xDE00\"\\/\b\f\n\r\t");
    EXPECT_EQ(parseKeyLine(LR"({"serialNumber":"a\u0000b"})").line.serialNumber, std::wstring(L"a\0b", 3));
    EXPECT_EQ(parseKeyLine(LR"({"serialNumber":"\udc00"})").line.serialNumber, L"\uFFFD\uFFFD\uFFFD");
}

// ---- Remarks --------------------------------------------------------------------------------------------------------

TEST(KeyLine, ReportsUnknownMembers) {
    EXPECT_EQ(remarksOf(LR"({"SerialNumber":"1","serialNumber":"2","":0,"x\u00e9\u0000y":{"serialNumber":3}})"),
        (std::vector<Remark>{
            {Remark::Unknown, L"SerialNumber"}, {Remark::Unknown, L""}, {Remark::Unknown, std::wstring(L"x\u00E9\0y", 4)}}));
}

TEST(KeyLine, ReportsDuplicateMembers) {
    const ParsedKeyLine parsed = parseKeyLine(
        LR"({"serialNumber":"1","wmBusAddress_Version":5,"serialNumber":"2","wmBusAddress_Version":"x","serialNumber":3})");
    EXPECT_EQ(parsed.remarks, (std::vector<Remark>{{Remark::Duplicate, L"serialNumber"},
                                  {Remark::Duplicate, L"wmBusAddress_Version"}, {Remark::Duplicate, L"serialNumber"}}));
    EXPECT_EQ(parsed.line.serialNumber, L"1");
    EXPECT_EQ(parsed.line.wmBusAddress[2], 5);
}

TEST(KeyLine, ReportsMembersOfAnotherType) {
    for (const KeyValue& value : keyValues) {
        const std::wstring name(value.name.begin(), value.name.end());
        for (const std::wstring json :
            {L"true", L"null", L"[]", L"{}", L"1.5", L"21.0", L"-1e2", L"2147483647.0", L"-2147483648.0"})
            EXPECT_EQ(remarksOf(L"{\"" + name + L"\":" + json + L"}"), (std::vector<Remark>{{Remark::WrongType, name}}));
        const std::wstring other = value.text ? L"123" : L"\"12345678\"";
        EXPECT_EQ(remarksOf(L"{\"" + name + L"\":" + other + L"}"), (std::vector<Remark>{{Remark::WrongType, name}}));
    }
}

TEST(KeyLine, ReportsNumbersOutOfRange) {
    const std::wstring name = L"wmBusAddress_MeterId";
    for (const std::wstring json :
        {L"2147483648", L"3000000000", L"-2147483649", L"18446744073709551615", L"99999999999999999999", L"1e300", L"-1e10"})
        EXPECT_EQ(remarksOf(L"{\"" + name + L"\":" + json + L"}"), (std::vector<Remark>{{Remark::OutOfRange, name}}));
    for (const std::wstring json : {L"2147483647", L"-2147483648", L"0", L"-0", L"-1"})
        EXPECT_EQ(remarksOf(L"{\"" + name + L"\":" + json + L"}"), std::vector<Remark>());
    EXPECT_EQ(remarksOf(L"{\"serialNumber\":3000000000}"), (std::vector<Remark>{{Remark::WrongType, L"serialNumber"}}));
}

// ---- Errors ---------------------------------------------------------------------------------------------------------

TEST(KeyLine, RejectsInvalidJsonWithItsPosition) {
    expectError(L"", 0, "The document is empty.");
    expectError(L";", 1, "The document is empty.");
    expectError(L"\r", 0, "The document is empty.");
    expectError(L"   ", 3, "The document is empty.");
    expectError(L"serialNumber=1", 0, "Invalid value.");
    expectError(L";;{}", 1, "Invalid value.");
    expectError(L" ;{}", 1, "Invalid value.");
    expectError(L"{\"a\":tru}", 8, "Invalid value.");
    expectError(L"{\"a\" 1}", 5, "Missing a colon after a name of object member.");
    expectError(L"{\"a\":1 \"b\":2}", 7, "Missing a comma or '}' after an object member.");
    expectError(L"{\"a\":[1 2]}", 8, "Missing a comma or ']' after an array element.");
    expectError(L"{a:1}", 1, "Missing a name for object member.");
    expectError(L"{\"a\":1,}", 7, "Missing a name for object member.");
    expectError(L"{\"a\":\"x", 7, "Missing a closing quotation mark in string.");
    expectError(L"{\"a\":\"\\x\"}", 6, "Invalid escape character in string.");
    expectError(L"{\"a\":\"x\ty\"}", 7, "Invalid escape character in string.");
    expectError(L"{\"a\":\"\\u12G4\"}", 6, "Incorrect hex digit after \\u escape in string.");
    expectError(L"{\"a\":\"\\ud800\"}", 6, "The surrogate pair in string is invalid.");
    expectError(L"{\"a\":1e999}", 5, "Number too big to be stored in double.");
    expectError(L"{\"a\":1.}", 7, "Miss fraction part in number.");
    expectError(L"{\"a\":1e}", 7, "Miss exponent in number.");
    expectError(L"{\"a\":NaN}", 5, "Invalid value.");
    expectError(L"{'a':1}", 1, "Missing a name for object member.");
    expectError(L"{}//", 2, "The document root must not be followed by other values.");
}

TEST(KeyLine, RejectsTextAfterTheObject) {
    for (const std::wstring behind : {L"x", L";", L"{}", L",", L"}"}) {
        expectError(full + behind, full.size(), "The document root must not be followed by other values.");
        expectError(
            L";" + full + L" " + behind + L"\r", full.size() + 2, "The document root must not be followed by other values.");
    }
}

TEST(KeyLine, RejectsOtherJsonValues) {
    for (const std::wstring json : {L"null", L"true", L"12", L"\"serialNumber\"", L"[]", L"[{}]"}) {
        expectError(json, 0, "The line is not a JSON object.");
        expectError(L";" + json, 1, "The line is not a JSON object.");
    }
}

TEST(KeyLine, CountsTheOffsetInCharacters) {
    expectError(L"{\"\u00E9\u20AC\xD83D\xDE00\" 1}", 8, "Missing a colon after a name of object member.");
    expectError(L";{\"\\u00e9\\ud83d\\ude00\":\"\\n\\n\\n\u20AC\",}", 33, "Missing a name for object member.");
}

TEST(KeyLine, CountsTheOffsetInCharactersOfEveryLength) {
    for (const wchar_t c : {L'\x7F', L'\x80', L'\x7FF', L'\x800', L'\xD7FF', L'\xE000', L'\xFFFF'})
        for (const std::size_t count : {1U, 2U, 40U})
            expectError(L"{\"" + std::wstring(count, c) + L"\" 1}", count + 4, "Missing a colon after a name of object member.");
    for (const std::wstring pair : {L"\xD800\xDC00", L"\xDBFF\xDFFF"})
        expectError(L"{\"" + pair + pair + L"\" 1}", 8, "Missing a colon after a name of object member.");
}

TEST(KeyLine, RejectsInvalidCharacters) {
    const std::string words = "Invalid character: a zero, or an unpaired surrogate.";
    const std::wstring start = L"{\"serialNumber\":\"";
    std::vector<std::wstring> all{std::wstring(1, L'\0'), L"\xD800", L"\xDC00", L"\xDBFF\xD83D\xDE00", L"\xDFFF\xD83D"};
    if (sizeof(wchar_t) > 2)
        for (const auto above : {0x10000, -1}) all.emplace_back(1, static_cast<wchar_t>(above));
    for (const std::wstring& bad : all) {
        expectError(start + bad + L"\"}", start.size(), words);
        expectError(L";" + start + L"\"}" + bad, start.size() + 3, words);
    }
    expectError(full + std::wstring(1, L'\0'), full.size(), words);  // does not end the text
    expectError(full + L'\0' + full, full.size(), words);
    expectError(full + L"\xD800", full.size(), words);
}

TEST(KeyLine, NeverReadsPastItsText) {
    const std::wstring followed = full + L"\xD83D\xDE00";
    expectFull(parseKeyLine(std::wstring_view(followed).substr(0, full.size())));
    const ParsedKeyLine parsed = parseKeyLine(std::wstring_view(followed).substr(0, full.size() + 1));
    ASSERT_TRUE(parsed.error);
    EXPECT_EQ(parsed.error->offset, full.size());
    EXPECT_EQ(parsed.error->text, "Invalid character: a zero, or an unpaired surrogate.");
}

TEST(KeyLine, RejectsMoreThan64KiB) {
    auto ofSize = [](std::size_t bytes) { return L"{\"serialNumber\":\"" + std::wstring(bytes - 19, L'x') + L"\"}"; };
    const std::wstring longest = ofSize(65536), tooLong = ofSize(65537);
    ASSERT_EQ(longest.size(), longestKeyLine);
    EXPECT_FALSE(parseKeyLine(longest).error);
    EXPECT_EQ(parseKeyLine(longest).line.serialNumber.size(), 65536u - 19);
    EXPECT_FALSE(parseKeyLine(L";" + longest + L"\r").error);
    expectError(tooLong, 0, "The line is longer than 65536 bytes.");
    expectError(L";" + longest + L" ", 0, "The line is longer than 65536 bytes.");
    expectError(std::wstring(1000000, L'['), 0, "The line is longer than 65536 bytes.");
}

TEST(KeyLine, CountsTheLengthInUtf8) {
    for (const auto& [character, bytes] :
        std::vector<std::pair<std::wstring, std::size_t>>{{L"\u00E9", 2}, {L"\u20AC", 3}, {L"\xD83D\xDE00", 4}}) {
        std::wstring text = L"{\"serialNumber\":\"";
        const std::size_t count = (65536 - 19) / bytes;
        for (std::size_t k = 0; k < count; ++k) text += character;
        text += std::wstring(65536 - 19 - count * bytes, L'x');
        EXPECT_FALSE(parseKeyLine(text + L"\"}").error);
        expectError(text + L"x\"}", 0, "The line is longer than 65536 bytes.");
    }
}

// ---- Hostile texts --------------------------------------------------------------------------------------------------

namespace {

// Runs on a stack that is too small for recursion.
ParsedKeyLine parseOnSmallStack(const std::wstring& text) {
    struct Work {
        const std::wstring& text;
        ParsedKeyLine answer;
    } work{text, {}};
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 * 1024);
    pthread_t thread;
    auto run = [](void* of) -> void* {
        auto* each = static_cast<Work*>(of);
        each->answer = parseKeyLine(each->text);
        return nullptr;
    };
    EXPECT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    return work.answer;
}
std::wstring repeated(const std::wstring& text, std::size_t times) {
    std::wstring all;
    while (times-- > 0) all += text;
    return all;
}

}  // namespace

TEST(KeyLine, SurvivesDeepNesting) {
    const std::size_t deep = 32000;
    const ParsedKeyLine arrays =
        parseOnSmallStack(L"{\"x\":" + std::wstring(deep, L'[') + std::wstring(deep, L']') + L",\"serialNumber\":\"1\"}");
    EXPECT_FALSE(arrays.error);
    EXPECT_EQ(arrays.line.serialNumber, L"1");
    const ParsedKeyLine objects = parseOnSmallStack(repeated(L"{\"\":", 13000) + L"0" + std::wstring(13000, L'}'));
    EXPECT_FALSE(objects.error);
    EXPECT_EQ(parseOnSmallStack(std::wstring(65536, L'[')).error->offset, 65536u);
    EXPECT_EQ(parseOnSmallStack(repeated(L"{\"\":", 16384)).error->offset, 65536u);
    EXPECT_EQ(
        parseOnSmallStack(std::wstring(32768, L'[') + std::wstring(32768, L']')).error->text, "The line is not a JSON object.");
}

TEST(KeyLine, IsFastWithManyMembers) {
    const ParsedKeyLine parsed = parseKeyLine(L"{" + repeated(L"\"\":0,", 13000) + L"\"serialNumber\":\"1\"}");
    EXPECT_FALSE(parsed.error);
    EXPECT_EQ(parsed.remarks.size(), 13000u);
    EXPECT_EQ(parsed.line.serialNumber, L"1");
    EXPECT_EQ(parseKeyLine(L"{" + repeated(L"\"serialNumber\":\"1\",", 3000) + L"\"\":0}").remarks.size(), 3000u);
}

TEST(KeyLine, SurvivesHugeNumbers) {
    expectError(L"{\"wmBusAddress_MeterId\":" + std::wstring(60000, L'9') + L"}", 24, "Number too big to be stored in double.");
    EXPECT_EQ(remarksOf(L"{\"wmBusAddress_MeterId\":0." + std::wstring(60000, L'1') + L"}"),
        (std::vector<Remark>{{Remark::WrongType, L"wmBusAddress_MeterId"}}));
    EXPECT_EQ(remarksOf(L"{\"wmBusAddress_MeterId\":1e-" + std::wstring(60000, L'9') + L"}"),
        (std::vector<Remark>{{Remark::WrongType, L"wmBusAddress_MeterId"}}));
}

// For every malformed line, the result is consistent and agrees with RapidJSON's own parser and the model.
TEST(KeyLine, AgreesWithTheModelOnMalformedLines) {
    std::mt19937 random(1);
    auto below = [&](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
    static constexpr wchar_t odd[] = L"\"\\{}[]:,;019-+.eEtrufalsn \t\r\x1F\x7F\u00E9\u20AC\xD800\xDC00\xFFFF";
    int errors = 0;
    for (int i = 0; i < 10000; ++i) {
        std::wstring text = full;
        for (std::size_t damages = below(4); damages-- > 0;) {
            const std::size_t place = below(text.size());
            switch (below(5)) {
            case 0: text[place] = odd[below(std::size(odd) - 1)]; break;
            case 1: text.erase(place, below(20)); break;
            case 2: text.insert(place, 1, odd[below(std::size(odd) - 1)]); break;
            case 3: text.insert(place, text.substr(below(text.size()), below(60))); break;
            case 4: text[place] = static_cast<wchar_t>(below(0x10000)); break;
            }
        }
        ParsedKeyLine parsed = parseKeyLine(text);
        EXPECT_EQ(parsed.line.line, text);
        std::string bytes = utf8::encode(text.starts_with(L';') ? text.substr(1) : text);
        rapidjson::Document document;
        document.Parse(bytes.c_str(), bytes.size());
        if (parsed.error) {
            ++errors;
            EXPECT_LE(parsed.error->offset, text.size());
            EXPECT_FALSE(parsed.error->text.empty());
            EXPECT_TRUE(sameValues(parsed.line, AMRKeyLine()));
            const bool noCharacter = parsed.error->text.starts_with("Invalid character");
            EXPECT_TRUE(noCharacter || document.HasParseError() || !document.IsObject());
        } else {
            EXPECT_FALSE(document.HasParseError());
            EXPECT_EQ(AMRKeyTramoModel(parsed.line).toString(), AMRKeyTramoModel(document).toString());
        }
        if (testing::Test::HasFailure()) {
            ADD_FAILURE() << "that was line " << i << ": " << utf8::encode(text);
            return;
        }
    }
    EXPECT_GT(errors, 3000);
    EXPECT_LT(errors, 9000);
}

TEST(KeyLine, SurvivesRandomTexts) {
    std::mt19937 random(2);
    static constexpr wchar_t pieces[] = L"{}[]\"\\:,;0-1.e+tnu \t\r\n\0\xD83D\xDE00\u00E9";
    for (int i = 0; i < 10000; ++i) {
        std::wstring text(random() % 60, L' ');
        for (wchar_t& c : text)
            c = random() % 8 == 0 ? static_cast<wchar_t>(random()) : pieces[random() % (std::size(pieces) - 1)];
        const ParsedKeyLine parsed = parseKeyLine(text);
        EXPECT_EQ(parsed.line.line, text);
        if (parsed.error) { EXPECT_LE(parsed.error->offset, text.size()); }
    }
}

TEST(KeyLine, RejectsEveryTruncationWithoutQuotingTheLine) {
    for (std::size_t size = 0; size < full.size(); ++size) {
        const ParsedKeyLine parsed = parseKeyLine(std::wstring_view(full).substr(0, size));
        ASSERT_TRUE(parsed.error) << size;
        EXPECT_LE(parsed.error->offset, size);
        for (std::size_t from = 0; from + 4 <= 32; ++from)
            EXPECT_EQ(
                parsed.error->text.find(std::string("5627BD973F6190D6FFA4AA3918619D1B").substr(from, 4)), std::string::npos);
    }
}

// ---- Secrets --------------------------------------------------------------------------------------------------------

TEST(KeyLine, HeapIsWatchedInThisTest) {
    watched = "a secret that is long enough for the heap";
    sightings = 0;
    { const std::string copy = watched; }
    EXPECT_EQ(sightings, 1);
    watched.clear();
}

TEST(KeyLine, LeavesNoBytesOfAKeyInMemory) {
    const std::wstring opened = full.substr(0, full.size() - 1),
                       longer = opened + L",\"x\":\"" + std::wstring(5000, L'x') + L"\"}";
    for (const std::wstring& text :
        {full, L";" + full + L"\r", full + L"x", opened, longer, L"{\"\u20AC\":0," + full.substr(1)}) {
        for (const char* key :
            {"5627BD973F6190D6FFA4AA3918619D1B", "38580D7B156A0E694DB81A9D50161B10", "4CA4643132A9B56864484AE545470CAD"}) {
            watched = key;
            sightings = 0;
            { const ParsedKeyLine parsed = parseKeyLine(text); }
            EXPECT_EQ(sightings, 0) << key;
            watched.clear();
        }
    }
}

TEST(KeyLine, LeavesNotEvenTheFirstByteInMemory) {
    watched = std::string("{\0\0\0\0\0\0\0", 8);
    sightings = 0;
    { const ParsedKeyLine parsed = parseKeyLine(full); }
    EXPECT_EQ(sightings, 0);
    watched.clear();
}

// ---- Memory that held keys, when an exception passes ----------------------------------------------------------------

namespace {

// Runs `work` with its first allocation failing, then with its second, and so on. Returns how often freed memory held the
// first characters of a key as wide text.
int sightingsWithoutMemory(auto work) {
    const std::wstring key = L"5627BD97";
    watched.assign(reinterpret_cast<const char*>(key.data()), key.size() * sizeof(wchar_t));
    sightings = 0;
    long number = 0;
    do {
        failing = allocations + ++number;
        try {
            work();
        } catch (const std::bad_alloc&) {}
    } while (failing <= allocations);
    failing = 0;
    watched.clear();
    EXPECT_GT(number, 3);
    return sightings;
}

}  // namespace

TEST(KeyLine, LeavesNoKeyWhenMemoryRunsOut) {
    EXPECT_EQ(sightingsWithoutMemory([] { SecretKeyLine parsed(full); }), 0);
}

TEST(KeyLine, ChecksLeaveNoKeyWhenMemoryRunsOut) {
    const std::wstring opened = full.substr(0, full.size() - 1);
    for (const std::wstring& text : {full, opened + L",\"x\":1}", opened + L",\"serialNumber\":1}", opened}) {
        EXPECT_EQ(sightingsWithoutMemory([&] {
            std::vector<Finding> findings;
            checkFields(LineKind::Key, text, false, findings);
        }),
            0);
    }
}
