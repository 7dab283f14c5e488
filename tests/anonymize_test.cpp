#include "tramostream/anonymize.h"
#include "common/secret.h"
#include "common/sha256.h"
#include "round/anonymizedkey.h"
#include "round/pseudonyms.h"
#include "support/build.h"
#include "support/timezone.h"
#include "tramostream/check.h"
#include "tramostream/columns.h"
#include "tramostream/keyline.h"
#include "tramostream/linemodel.h"
#include "tramostream/messages.h"
#include "tramostream/reader.h"
#include "tramostream/round.h"
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <random>
#include <set>

namespace {

using namespace tramo;
using namespace std::string_literals;

constexpr std::string_view secret = "0123456789abcdef";

std::string hexadecimal(const Digest& digest) {
    std::string text;
    for (const std::uint8_t byte : digest)
        for (const int shift : {4, 0}) text += "0123456789abcdef"[byte >> shift & 15];
    return text;
}

// The examples of FIPS 180-4, and others whose lengths are around those of blocks.
TEST(Sha256, has_the_values_of_its_definition) {
    EXPECT_EQ(hexadecimal(sha256("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hexadecimal(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hexadecimal(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
        "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(
        hexadecimal(sha256(std::string(1'000'000, 'a'))), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

// Test cases 1, 2, 3 and 6 of RFC 4231.
TEST(HmacSha256, has_the_values_of_its_definition) {
    EXPECT_EQ(hexadecimal(hmacSha256(std::string(20, '\x0b'), "Hi There")),
        "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
    EXPECT_EQ(hexadecimal(hmacSha256("Jefe", "what do ya want for nothing?")),
        "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
    EXPECT_EQ(hexadecimal(hmacSha256(std::string(20, '\xaa'), std::string(50, '\xdd'))),
        "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe");
    EXPECT_EQ(hexadecimal(hmacSha256(std::string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First")),
        "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

Pseudonyms pseudonyms(std::uint64_t key = 1) { return {{key, 2}, {3, 4}}; }

std::wstring replaced(std::wstring text, std::uint64_t key = 1) {
    pseudonyms(key).replace(text);
    return text;
}

TEST(Pseudonyms, no_text_gets_the_text_of_another_or_its_own) {
    const auto expectPermutation = [](const std::vector<std::wstring>& texts) {
        std::set<std::wstring> made;
        for (const std::wstring& text : texts) {
            const std::wstring other = replaced(text);
            EXPECT_NE(other, text);
            EXPECT_EQ(other.size(), text.size());
            made.insert(other);
        }
        EXPECT_EQ(made, std::set<std::wstring>(texts.begin(), texts.end()));  // all texts of this form
    };
    std::vector<std::wstring> digits, four, mixed, letters;
    for (int i = 0; i < 10; ++i) digits.push_back(std::to_wstring(i));
    for (int i = 0; i < 10000; ++i) four.push_back(std::to_wstring(10000 + i).substr(1));
    for (int i = 0; i < 26 * 100; ++i)
        mixed.push_back(std::wstring(1, static_cast<wchar_t>(L'A' + i % 26)) + L'-' + std::to_wstring(100 + i / 26).substr(1));
    for (int i = 0; i < 26 * 26 * 24; ++i)
        letters.push_back({static_cast<wchar_t>(L'a' + i % 26), static_cast<wchar_t>(L'A' + i / 26 % 26),
            static_cast<wchar_t>(0xDF + i / 676)});
    for (const auto& texts : {digits, four, mixed, letters}) expectPermutation(texts);
}

TEST(Pseudonyms, keep_the_class_of_each_character_and_white_space_around_does_not_count) {
    const std::wstring name = L"  \xC9lo\xEFse d'Ab-12 \x2019\x3B1\x3A9 ", made = replaced(name);
    ASSERT_EQ(made.size(), name.size());
    EXPECT_EQ(made.substr(2, name.size() - 3), replaced(name.substr(2, name.size() - 3)));
    for (std::size_t i = 0; i < name.size(); ++i) {
        const Alphabet from = alphabetOf(name, i), to = alphabetOf(made, i);
        EXPECT_EQ(from.first, to.first);
        EXPECT_EQ(from.size, to.size);
        EXPECT_TRUE(from.size != 0 || made[i] == name[i]);
    }
}

TEST(Pseudonyms, every_class_is_closed) {
    for (unsigned c = 0x20; c < 0x10000; ++c) {
        const std::wstring text(2, static_cast<wchar_t>(c));  // two, because a single sign stays
        const Alphabet alphabet = alphabetOf(text, 0);
        if (alphabet.size == 0) continue;
        ASSERT_GE(c, alphabet.first);
        ASSERT_LT(c, alphabet.first + alphabet.size);
        for (unsigned other = alphabet.first; other < alphabet.first + unsigned{alphabet.size}; ++other)
            ASSERT_EQ(alphabetOf(std::wstring(2, static_cast<wchar_t>(other)), 0).first, alphabet.first)
                << std::hex << c << ' ' << other;
        ASSERT_NE(c, 0xFFFFU);
        ASSERT_FALSE(c >= 0xD800 && c <= 0xDFFF);
    }
    EXPECT_EQ(alphabetOf(L"\xD83D\xDE00", 1).first, 0xDC00);
    EXPECT_EQ(alphabetOf(L"a\xDE00", 1).size, 0);
}

TEST(Words, have_four_letters_or_digits_in_a_row) {
    const auto words = [](const std::wstring& text) {
        std::vector<std::wstring> found;
        forEachWord(text, [&](std::size_t first, std::size_t size) { found.push_back(text.substr(first, size)); });
        EXPECT_EQ(hasWord(text), !found.empty());
        return found;
    };
    using Found = std::vector<std::wstring>;
    for (const wchar_t* const none : {L"", L"abc", L"-abc", L"abc-", L"-abc-", L"abc-123", L"a b c d", L"----"})
        EXPECT_EQ(words(none), Found()) << none;
    EXPECT_EQ(words(L"abcd"), Found{L"abcd"});
    EXPECT_EQ(words(L"-abcd-abc-"), Found{L"abcd"});
    EXPECT_EQ(words(L"a1B2 abc 12345"), (Found{L"a1B2", L"12345"}));
}

// Letters of other code pages and single signs share their characters.
TEST(Words, signs_are_letters_beside_others) {
    const auto sizes = [](const std::wstring& text) {
        std::vector<int> all;
        for (std::size_t at = 0; at < text.size(); ++at) all.push_back(alphabetOf(text, at).size);
        return all;
    };
    using Sizes = std::vector<int>;
    EXPECT_EQ(sizes(L"\x80"), Sizes{0});
    EXPECT_EQ(sizes(L"\x80\x9F"), (Sizes{32, 32}));
    EXPECT_EQ(sizes(L"\xA1\xBF"), (Sizes{31, 31}));
    EXPECT_EQ(sizes(L"\x80\xBF-"), (Sizes{32, 31, 0}));
    EXPECT_EQ(sizes(L"\x9F-\xA1"), (Sizes{0, 0, 0}));
    EXPECT_EQ(sizes(L"-\x9F\xA1"), (Sizes{0, 32, 31}));
    EXPECT_EQ(sizes(L"-\x9F-"), (Sizes{0, 0, 0}));
    EXPECT_EQ(sizes(L"\x9F-\x9F\x9F"), (Sizes{0, 0, 32, 32}));
    EXPECT_EQ(sizes(L"\xA0\xA0\x7F\x7F"), (Sizes{0, 0, 0, 0}));
    EXPECT_EQ(sizes(L"\x80\xA0\xC0\xA1"), (Sizes{0, 0, 23, 0}));
    EXPECT_EQ(sizes(L"\xBF\xC0\xD6\xD7\xD8\xDE\xDF\xF6\xF7\xF8\xFF"), (Sizes{0, 23, 23, 0, 7, 7, 24, 24, 0, 8, 8}));
    EXPECT_EQ(sizes(L"/09:@AZ[`az{"), (Sizes{0, 10, 10, 0, 0, 26, 26, 0, 0, 26, 26, 0}));
}

// Every word of four characters changes, also in a text of many.
TEST(Pseudonyms, no_word_stays_in_its_place) {
    std::mt19937 random(1);
    for (int i = 0; i < (testsOptimised ? 100'000 : 10'000); ++i) {
        const std::wstring text =
            std::to_wstring(1000 + random() % 9000) + L' ' + std::to_wstring(1000 + random() % 9000) + L"/AB";
        const std::wstring made = replaced(text);
        ASSERT_NE(made.substr(0, 4), text.substr(0, 4)) << i;
        ASSERT_NE(made.substr(5, 4), text.substr(5, 4)) << i;
    }
}

// Each character of replacements occurs as often as any other, whatever the text.
TEST(Pseudonyms, spread_evenly) {
    std::map<std::pair<std::size_t, wchar_t>, int> counts;
    for (int i = 0; i < 10'000; ++i) {
        const std::wstring made = replaced(L"C" + std::to_wstring(100'000 + i));
        for (std::size_t at = 1; at < made.size(); ++at) ++counts[{at, made[at]}];
    }
    EXPECT_EQ(counts.size(), 60U);
    for (const auto& [place, count] : counts) EXPECT_NEAR(count, 1000, 200);  // more than six deviations
}

TEST(Pseudonyms, another_key_makes_other_texts) {
    int same = 0;
    for (int i = 0; i < 1000; ++i) same += replaced(std::to_wstring(100'000 + i), 1) == replaced(std::to_wstring(100'000 + i), 2);
    EXPECT_LE(same, 1);
}

TEST(Pseudonyms, hexadecimal_digits_stay_hexadecimal) {
    for (const std::wstring text : {L"0A1B2C3D4E5F", L"00ff", L"A0"}) {
        std::wstring made = text;
        pseudonyms().replaceHexadecimal(made);
        EXPECT_NE(made, text);
        EXPECT_TRUE(
            std::ranges::all_of(made, [](wchar_t c) { return std::wstring_view(L"0123456789ABCDEFabcdef").find(c) < 22; }));
    }
    for (const std::wstring text : {L"123456", L"OK", L"ab XY", L"aB"}) {  // texts like any other
        std::wstring made = text;
        pseudonyms().replaceHexadecimal(made);
        EXPECT_EQ(made, replaced(text));
    }
}

TEST(Pseudonyms, long_texts) {
    for (const std::size_t size : {511U, 512U, 513U, 5000U}) {
        std::wstring text;
        for (std::size_t i = 0; i < size; ++i) text += static_cast<wchar_t>(L'a' + i * i % 26);
        EXPECT_NE(replaced(text), text);
        EXPECT_EQ(replaced(text).size(), size);
    }
}

// Lines ---------------------------------------------------------------------------------------------------------------

struct Anonymized {
    std::vector<std::wstring> before, after;
    std::vector<std::optional<LineKind>> kinds;
    bool isProven = false;
    std::string failure;
};

// All passes over lines.
Anonymized anonymized(const std::vector<std::wstring>& lines, LineKind prevailing = LineKind::Record,
    std::string_view key = secret, const AnonymizeOptions& options = {}) {
    Anonymized all{lines, {}, {}, true, {}};
    Anonymizer anonymizer(key, options);
    for (const std::wstring& line : lines) all.kinds.push_back(kindOfLine({.text = line}, prevailing));
    const auto pass = [&](auto use) {
        anonymizer.begin();
        for (std::size_t i = 0; i < lines.size(); ++i) use(i);
    };
    pass([&](std::size_t i) { anonymizer.learnLabels(lines[i], all.kinds[i]); });
    pass([&](std::size_t i) { anonymizer.learnWords(lines[i], all.kinds[i]); });
    pass([&](std::size_t i) { anonymizer.replace(lines[i], all.kinds[i], all.after.emplace_back()); });
    AnonymizeProof proof(options);
    proof.begin();
    for (std::size_t i = 0; i < lines.size(); ++i) all.isProven &= proof.compare(lines[i], all.after[i], all.kinds[i]);
    proof.begin();
    for (std::size_t i = 0; i < lines.size(); ++i) all.isProven &= proof.search(lines[i], all.kinds[i]);
    all.failure = proof.failure();
    return all;
}

std::vector<std::wstring> linesOf(const std::string& sample) {
    std::vector<std::wstring> lines;
    for (const LineView& line : Reader(std::string(SAMPLES) + "/" + sample)) lines.push_back(line.wide());
    return lines;
}

LineKind kindOfFile(const std::vector<std::wstring>& lines) {
    KindCensus census;
    for (const std::wstring& line : lines) census.add(line);
    return census.prevailing().value_or(LineKind::Record);
}

using Places = std::multiset<std::tuple<std::int64_t, std::string_view, std::string_view>>;

Places findingsOf(const std::vector<std::wstring>& lines) {
    const LineKind prevailing = kindOfFile(lines);
    Checker checker({.prevailing = prevailing});
    std::vector<Finding> findings;
    std::int64_t number = 0;
    for (const std::wstring& line : lines)
        checker.line({.text = line, .carriageReturn = true, .lineFeed = true, .number = ++number}, findings);
    Places places;
    for (const Finding& finding : findings) places.emplace(finding.line, finding.rule->name, finding.field);
    return places;
}

class Samples : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override { setMessages(Messages::Silent); }
};

TEST_P(Samples, keep_their_findings_and_nothing_personal) {
    const std::vector<std::wstring> lines = linesOf(GetParam());
    for (const bool shift : {false, true}) {
        const Anonymized all = anonymized(lines, kindOfFile(lines), secret, {.shiftDates = shift});
        EXPECT_TRUE(all.isProven) << all.failure;
        EXPECT_EQ(findingsOf(all.after), findingsOf(all.before));
        EXPECT_NE(all.after, all.before);
        for (std::size_t i = 0; i < lines.size(); ++i)
            EXPECT_TRUE(all.kinds[i] == LineKind::Key || all.after[i].size() == lines[i].size()) << i;
    }
}
INSTANTIATE_TEST_SUITE_P(All, Samples,
    testing::Values("round-exported.txt", "round-returned.txt", "round-returned-utf16.txt", "round-broken.txt",
        "round-damaged.txt", "amr-keys.txt", "tags.txt", "parameters.txt"),
    [](const auto& sample) {
        std::string name = sample.param;
        std::ranges::replace_if(
            name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
        return name;
    });

// A text field that nobody has classified is kept: here they are listed a second time.
TEST(Personal, texts_that_are_kept) {
    std::set<std::string> kept;
    for (const RecordKind* kind : allKinds())
        for (const Field& field : kind->fields)
            if (field.kind == FieldKind::Text && field.column > 0 && personalDataIn(*kind, field) == Personal::No) {
                std::string name = field.name;
                std::erase_if(name, [](char c) { return c >= '0' && c <= '9'; });
                if (name.starts_with("label") && name.size() == 6) name.back() = '?';
                kept.insert(kind->name + ": " + name);
            }
    EXPECT_EQ(
        kept, (std::set<std::string>{"AMR: externalAMRText", "AMR: previousReadingDateStr", "AMR: pulseWeightStr",
                  "enquiry definition: areaLabel", "enquiry definition: areaList", "enquiry definition: label?",
                  "enquiry definition: orderStr", "enquiry definition: pageNumber", "enquiry result: areaCode",
                  "enquiry result: pageNumber", "extended AMR: reservedAlarm", "extended data: scoreType",
                  "extended data: scoreValue", "meter subscriber: meterHistoryReadingType", "meter subscriber: meterMarkingCode",
                  "meter subscriber: subscriberMarkingCode", "parameter: key", "round: consumtionLimit",
                  "round: meterInformationLabelArea", "round: subscriberInformationLabelArea", "tag: code"}));
}

TEST(Personal, numbers_that_are_replaced) {
    std::set<std::string> replacedNumbers;
    for (const RecordKind* kind : allKinds())
        for (const Field& field : kind->fields)
            if (field.kind != FieldKind::Text && personalDataIn(*kind, field) != Personal::No) replacedNumbers.insert(field.name);
    EXPECT_EQ(replacedNumbers, (std::set<std::string>{"latitude", "longitude", "altitude"}));
}

TEST(Anonymizer, refuses_a_short_key) {
    EXPECT_THROW(Anonymizer("fifteen bytes.."), std::invalid_argument);
    EXPECT_NO_THROW(Anonymizer("sixteen bytes..."));
    EXPECT_THROW(Anonymizer(""), std::invalid_argument);
}

// Capital and small letters are the same, in all alphabets of the code page.
TEST(Anonymizer, words_of_labels_are_found_in_capital_and_small_letters) {
    const auto isReplaced = [](const std::wstring& label, const std::wstring& name) {
        std::wstring page = linesOf("round-returned.txt")[1], named = linesOf("round-returned.txt")[3];
        page.replace(2, 20, std::wstring(L"at " + label).append(17 - label.size(), L' '));
        named.replace(5, 30, std::wstring(name).append(30 - name.size(), L' '));
        const Anonymized all = anonymized({linesOf("round-returned.txt")[0], page, named});
        EXPECT_TRUE(all.isProven) << all.failure;
        return all.after[1] != page;
    };
    for (const auto& [one, other] : {std::pair(L"AMZ@", L"amz@"), {L"AZAZ", L"azaz"}, {L"Dupont", L"dUPONT"}, {L"1234", L"1234"},
             {L"\xC0\xC1\xD6\xD8", L"\xE0\xE1\xF6\xF8"}, {L"\xDE\xDD\xC0\xC0", L"\xFE\xFD\xE0\xE0"}}) {
        const bool isWord = std::wstring_view(one).find(L'@') == std::wstring_view::npos;
        EXPECT_EQ(isReplaced(one, other), isWord) << one;
        EXPECT_EQ(isReplaced(other, one), isWord) << one;
    }
    EXPECT_FALSE(isReplaced(L"\xDF\xDF\xDF\xDF", L"\xFF\xFF\xFF\xFF"));
    EXPECT_FALSE(isReplaced(L"abcd", L"abce"));
    EXPECT_FALSE(isReplaced(L"abc", L"ABC"));
}

TEST(Anonymizer, replaces_single_texts_as_in_a_line) {
    const std::vector<std::wstring> lines = linesOf("round-returned.txt");
    const Anonymized all = anonymized(lines);
    const Anonymizer anonymizer(secret);
    const std::wstring serial = lines[3].substr(351, 12), made = all.after[3].substr(351, 12);
    EXPECT_EQ(anonymizer.pseudonymOf(std::string(serial.begin(), serial.end())), std::string(made.begin(), made.end()));
    EXPECT_EQ(anonymizer.pseudonymOf(""), "");
    EXPECT_EQ(anonymizer.pseudonymOf("- . -"), "- . -");
}

// Earlier replacements ------------------------------------------------------------------------------------------------
// With the same key, a file of this year belongs to one of last year: what was replaced by a version of this library has the same
// replacement in every later one.

std::string digestOf(const std::vector<std::wstring>& lines) {
    std::string bytes;
    for (const std::wstring& line : lines) {
        for (const wchar_t c : line) (bytes += static_cast<char>(c & 0xFF)) += static_cast<char>(c >> 8 & 0xFF);
        bytes += "\n"s;
    }
    return hexadecimal(sha256(bytes)).substr(0, 16);
}

struct EarlierText {
    const wchar_t *text, *replaced, *asHexadecimal, *asKey;
};

TEST(EarlierReplacements, of_texts) {
    const EarlierText texts[] = {
        {L"DUPONT Jean", L"OKAJQP Glvc", L"OKAJQP Glvc", L"0XXXXX X93X"},
        {L"12 rue de la Poste, 75001 Paris", L"24 jhv wh oi Mnepu, 06182 Qyvig", L"24 jhv wh oi Mnepu, 06182 Qyvig",
            L"29 XX5 c7 X1 XXXX1, 74dab XcXXX"},
        {L"00012345", L"39020806", L"39020806", L"86FB1EB0"},
        {L"7", L"5", L"5", L"C"},
        {L" -12.5 ", L" -31.8 ", L" -31.8 ", L" -02.0 "},
        {L"a1B2c3D4", L"l6R4s1Y3", L"l6R4s1Y3", L"9ddcb0b8"},
        {L"0A1B2C3D4E5F60718293A4B5C6D7E8F9", L"8Z7U7L7P2W3M21794680F0A5Y0P4A5K9", L"6E9903FCFE9530425504F67B4AE89F31",
            L"784C07437D41CB9941EB70488892AA25"},
        {L"0a1b2c3d4e5f60718293a4b5c6d7e8f90", L"0l3s4w7z7f3w14011458o3t9g4s6w6t33", L"4033a6bca44085bdd15d430dc07167759",
            L"6e98fda3225ca82c4f9972cdbc78c8000"},
        {L"AB", L"PV", L"EA", L"63"},
        {L"9F", L"5Q", L"47", L"53"},
        {L"12", L"44", L"44", L"4F"},
        {L"\xC9lo\xEFse",
            L"\xC4"
            L"dy\xE8ud",
            L"\xC4"
            L"dy\xE8ud",
            L"XXXXXb"},
        {L"key of the module: 00ff", L"xqy tc bey lkqnvp: 82ch", L"xqy tc bey lkqnvp: 82ch", L"X3X X5 XX6 XX5XXd: aa36"},
    };
    for (const auto& [text, expected, expectedHexadecimal, expectedKey] : texts) {
        std::wstring made = text, hexadecimal = text, key = text;
        pseudonyms().replace(made);
        pseudonyms().replaceHexadecimal(hexadecimal);
        pseudonyms().replaceKey(key);
        EXPECT_EQ(made, expected);
        EXPECT_EQ(hexadecimal, expectedHexadecimal);
        EXPECT_EQ(key, expectedKey);
    }
}

struct EarlierKeyLine {
    const wchar_t *line, *replaced;
    std::size_t texts;  // that identify somebody or are keys, wherever they are
};

TEST(EarlierReplacements, of_key_lines) {
    const EarlierKeyLine lines[] = {
        {LR"({})", LR"({})", 0},
        {LR"({"serialNumber":"4C30000000","hardwareVersion":"2.0","wmBusAddress_MeterId":12345678,"wmBusAddress_Version":21})",
            LR"({"serialNumber":"5F53403641","hardwareVersion":"2.0","wmBusAddress_MeterId":68283185,"wmBusAddress_Version":21})",
            2},
        {LR"({"wmBusKey_Mode5":"5627BD973F6190D6FFA4AA3918619D1B","wmBusKey_Mode7":"38580d7b156a0e694db81a9d50161b10"})",
            LR"({"wmBusKey_Mode5":"9EBD773FFC3DE5BED40AACA620551C09","wmBusKey_Mode7":"5f7a153021891f579a699ae89d7d3895"})", 2},
        {LR"( { "serialNumber" : "A\u00e9B\\\"\n\u0041\u2019\u000112345" , "firmwareVersion":"of Dupont" } )",
            LR"( { "serialNumber" : "N)"
            L"\u00e6"
            LR"(X\\\"\u000aX\u2019\u000167190" , "firmwareVersion":"aw Gehjer" } )",
            2},
        {LR"({"serialNumber":"\ud7ff\ud83d\ude00\ue000\u00ff\u0100\u001f\u0020"})",
            LR"({"serialNumber":"\ud7f3\ud83d\udc0f\ue01d)"
            L"\u00fb"
            LR"(\u0133\u001f "})",
            1},
        {LR"({"serialNumber":"\b\f\n\r\t\/7","hardwareVersion":"1.0\t"})",
            LR"({"serialNumber":"\u0008\u000c\u000a\u000d\u0009/5","hardwareVersion":"1.0\u0009"})", 1},
        {LR"({"wmBusAddress_MeterId":-1,"wmBusAddress_Version":-1,"wmBusAddress_DeviceType":123456})",
            LR"({"wmBusAddress_MeterId":-1,"wmBusAddress_Version":-1,"wmBusAddress_DeviceType":999999})", 1},
        {LR"({"wmBusAddress_MeterId":2147483647,"wmBusAddress_Version":12345,"wmBusAddress_ManufacturerId":-7})",
            LR"({"wmBusAddress_MeterId":1856329088,"wmBusAddress_Version":12345,"wmBusAddress_ManufacturerId":-7})", 1},
        {LR"({"wmBusAddress_MeterId":2147483648})", LR"({"wmBusAddress_MeterId":9999999999})", 1},
        {LR"({"wmBusAddress_MeterId":7,"wmBusAddress_Version":1.5e3})",
            LR"({"wmBusAddress_MeterId":5,"wmBusAddress_Version":1.5e3})", 1},
        {LR"({"wmBusAddress_MeterId":"12345678","wmBusKey_Mode5":"ZZ27BD97","other":"A 1","5627BD97":true})",
            LR"({"wmBusAddress_MeterId":"68283185","wmBusKey_Mode5":"XXED0B05","kfxeh":"C 5","1389HA26":true})", 5},
        {LR"({"hardwareVersion":["2.0","2.1",{"a":"3.0"}],"firmwareVersion":"2.0"})",
            LR"({"hardwareVersion":["1.8","0.2",{"m":"6.2"}],"firmwareVersion":"2.0"})", 4},
        {LR"({"a":{"hardwareVersion":"2.0","wmBusAddress_Version":21},"firmwareVersion":"2.0","b":[1,"x"],"hardwareVersion":"1"})",
            LR"({"m":{"hardwareVersion":"1.8","wmBusAddress_Version":99},"firmwareVersion":"2.0","n":[9,"j"],"hardwareVersion":"1"})",
            6},
        {LR"({"a":[{"b":[["c","d"],null]},"hardwareVersion"],"hardwareVersion":"2.0"})",
            LR"({"m":[{"n":[["o","p"],null]},"plwfjahkLrxjwdv"],"hardwareVersion":"2.0"})", 5},
    };
    for (const auto& [line, expected, texts] : lines) {
        std::vector<SecretText> noted;
        const auto made = anonymizedKeyLine(line, pseudonyms(), &noted);
        ASSERT_TRUE(made) << line;
        EXPECT_EQ(*made, expected);
        EXPECT_EQ(noted.size(), texts) << line;
    }
    EXPECT_FALSE(anonymizedKeyLine(L"{", pseudonyms()));
}

// Of a number, in the form that it has in a key line.
TEST(KeyLines, addresses_of_modules_stay_different) {
    for (std::uint64_t key = 1; key <= 24; ++key)
        for (const auto& [first, step] : {std::pair(10'000'019LL, 89'999LL), {1'000'000'007LL, 3'824'900LL}, {10'400LL, 211LL}}) {
            std::set<std::wstring> before, after;
            for (int i = 0; i < 300; ++i) {
                const std::wstring number = std::to_wstring(first + i * step),
                                   line = L"{\"wmBusAddress_MeterId\":" + number + L"}";
                const auto made = anonymizedKeyLine(line, pseudonyms(key));
                ASSERT_TRUE(made);
                EXPECT_NE(*made, line);
                EXPECT_EQ(made->size(), line.size());
                EXPECT_LE(std::stoll(made->substr(24)), 2'147'483'647LL);
                EXPECT_NE((*made)[24], L'0');
                before.insert(line);
                after.insert(*made);
            }
            EXPECT_EQ(after.size(), before.size()) << key << ' ' << first;
        }
}

// Damaged in every way that a line can be: characters lost, gained and changed, spaces cut.
std::vector<std::wstring> damagedLines(const std::string& name, unsigned turn) {
    std::mt19937 random(turn);
    std::vector<std::wstring> lines = linesOf(name);
    for (std::wstring& line : lines) {
        const std::size_t place = random() % (line.size() + 1), count = 1 + random() % 3;
        switch (random() % 6) {
        case 0: line.erase(std::min(place, line.size()), count); break;
        case 1: line.insert(place, count, L"7 aX"[random() % 4]); break;
        case 2: line.resize(place); break;
        case 3: line.resize(line.find_last_not_of(L' ') + 1); break;
        case 4: std::fill_n(line.begin() + static_cast<std::ptrdiff_t>(place), std::min(count, line.size() - place), L'?'); break;
        default: break;
        }
    }
    return lines;
}

struct EarlierFile {
    const char *name, *plain, *withDates, *damaged;
};

class EarlierFiles : public testing::TestWithParam<EarlierFile> {};
TEST_P(EarlierFiles, have_the_same_replacements) {
    const TimeZone zone("UTC");
    setMessages(Messages::Silent);
    const auto& [name, plain, withDates, damaged] = GetParam();
    const std::vector<std::wstring> lines = linesOf(name);
    const LineKind kind = kindOfFile(lines);
    EXPECT_EQ(digestOf(anonymized(lines, kind).after), plain);
    EXPECT_EQ(digestOf(anonymized(lines, kind, secret, {.shiftDates = true}).after), withDates);
    std::vector<std::wstring> all;
    for (unsigned turn = 0; turn < 10; ++turn) {
        const Anonymized some = anonymized(damagedLines(name, turn), kind, secret, {.shiftDates = turn % 2 == 1});
        EXPECT_TRUE(some.isProven) << some.failure;
        all.insert(all.end(), some.after.begin(), some.after.end());
    }
    EXPECT_EQ(digestOf(all), damaged);
}
INSTANTIATE_TEST_SUITE_P(All, EarlierFiles,
    testing::Values(EarlierFile{"round-returned.txt", "f8ed2c009d218e51", "158dc0b647a6d8e2", "a1bd3039d29bc098"},
        EarlierFile{"round-returned-utf16.txt", "f8ed2c009d218e51", "158dc0b647a6d8e2", "a1bd3039d29bc098"},
        EarlierFile{"round-broken.txt", "4a26e779f54e2465", "fdab45a0c2bf48fe", "fd4140df7e927dee"},
        EarlierFile{"amr-keys.txt", "19fad4d5bd4cdb0f", "19fad4d5bd4cdb0f", "ba2f98590a09b664"},
        EarlierFile{"tags.txt", "b52d29e01df0b0df", "b52d29e01df0b0df", "9e7d9b1cdf217e91"},
        EarlierFile{"parameters.txt", "8db3cb29af54c8ff", "8db3cb29af54c8ff", "a3bd934d76c9724e"}),
    [](const auto& test) {
        std::string name = test.param.name;
        std::ranges::replace_if(
            name, [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
        return name;
    });

// Writes a text into the columns of a field.
void put(std::wstring& line, std::string_view name, std::wstring text) {
    const Field& field = *recordKind(line.front())->field(name);
    const auto width = static_cast<std::size_t>(field.width);
    text.resize(width, L' ');
    line.replace(static_cast<std::size_t>(field.column - 1), width, text);
}

// Of each day of the years at both ends of what the format can hold, with several keys.
TEST(EarlierReplacements, of_dates) {
    const TimeZone zone("UTC");
    setMessages(Messages::Silent);
    using namespace std::chrono;
    const std::vector<std::wstring> sample = linesOf("round-returned.txt");
    std::vector<std::wstring> all;
    for (const std::string_view key : {"0123456789abcdef", "0123456789abcdeg", "0123456789abcdeh"}) {
        std::vector<std::wstring> lines{sample[0]};
        for (const int first : {1969, 2024, 2037})
            for (sys_days day = year(first) / 12 / 1; day < sys_days(year(first + 1) / 12 / 31); day += days(1)) {
                const year_month_day date = day;
                std::wstring line = sample[3], text;
                for (const auto& [number, digits] :
                    {std::pair(static_cast<int>(date.year()), 4), {static_cast<int>(static_cast<unsigned>(date.month())), 2},
                        {static_cast<int>(static_cast<unsigned>(date.day())), 2}})
                    text += std::to_wstring(10000 + number).substr(static_cast<std::size_t>(5 - digits));
                put(line, "meterPreviousReadingDate", text);
                put(line, "meterReadingDate", text + L"2359");
                put(line, "meterInstallationYear", text.substr(0, 4));
                lines.push_back(line);
            }
        const Anonymized made = anonymized(lines, LineKind::Record, key, {.shiftDates = true});
        EXPECT_TRUE(made.isProven) << made.failure;
        all.insert(all.end(), made.after.begin(), made.after.end());
    }
    EXPECT_EQ(digestOf(all), "d3b3d077fe22104a");
}

TEST(EarlierReplacements, of_positions) {
    setMessages(Messages::Silent);
    const std::vector<std::wstring> sample = linesOf("round-returned.txt");
    std::vector<std::wstring> lines{sample[0]};
    const wchar_t* const degrees[] = {L"0", L"48.85", L"-48.85", L"89.9999", L"-89.9999", L"90", L"-90", L"91", L"179.999",
        L"-179.999", L"180", L"-180", L"180.5", L"-180.5", L"90.5", L"1e5", L"-1e5", L"nan", L"inf", L"", L"x", L"0.01999",
        L"0.02001"};
    for (const wchar_t* const latitude : degrees)
        for (const wchar_t* const longitude : degrees) {
            std::wstring line = *std::ranges::find(sample, L'7', [](const std::wstring& each) { return each.front(); });
            put(line, "latitude", latitude);
            put(line, "longitude", longitude);
            put(line, "altitude", latitude);
            lines.push_back(line);
        }
    const Anonymized made = anonymized(lines);
    EXPECT_TRUE(made.isProven) << made.failure;
    EXPECT_EQ(digestOf(made.after), "1a8684f37cd12838");
}

// Areas that overlap, are empty, or have no place.
TEST(EarlierReplacements, of_areas) {
    setMessages(Messages::Silent);
    const std::vector<std::wstring> sample = linesOf("round-returned.txt");
    std::mt19937 random(7);
    const wchar_t* const numbers[] = {
        L"", L"  0", L"  1", L" -1", L"  x", L"  5", L" 30", L"118", L"119", L"120", L"149", L"150", L"999"};
    std::vector<std::wstring> lines;
    for (int turn = 0; turn < 150; ++turn) {
        std::wstring header = sample[0];
        for (const std::string of : {"subscriber", "meter"})
            for (const std::string area : {"1", "2", "3", "4", "5"})
                for (const std::string what : {"InformationPositionArea", "InformationLenghtArea"})
                    if (recordKind(L'0')->field(of + what + area))
                        put(header, (of + what + area).c_str(), numbers[random() % 13]);
        lines.insert(lines.end(), {header, sample[3], sample[4]});
    }
    const Anonymized made = anonymized(lines);
    EXPECT_TRUE(made.isProven) << made.failure;
    EXPECT_EQ(digestOf(made.after), "d465610286f83376");
}

// Lines that lost or gained characters ------------------------------------------------------------------------------

// The text in which it happened gets another replacement, and all that follows the one that it has in the whole line.
TEST(ShiftedLines, have_the_replacements_of_the_whole_line) {
    setMessages(Messages::Silent);
    const std::vector<std::wstring> lines = linesOf("round-returned.txt");
    const std::wstring meter = lines[3], whole = anonymized({lines[0], meter}).after[1];
    for (const int characters : {-3, -1, 1, 3}) {
        std::wstring shifted = meter;
        const std::size_t place = 40, count = static_cast<std::size_t>(std::abs(characters)), behind = 155;  // in the free text
        if (characters < 0) shifted.erase(place, count);
        else shifted.insert(place, count, L'x');
        const Anonymized all = anonymized({lines[0], shifted});
        EXPECT_TRUE(all.isProven) << all.failure;
        const std::wstring& made = all.after[1];
        ASSERT_EQ(made.size(), shifted.size());
        EXPECT_EQ(made.substr(0, 5), whole.substr(0, 5)) << characters;
        const auto moved = static_cast<std::size_t>(static_cast<int>(behind) + characters);
        EXPECT_EQ(made.substr(moved), whole.substr(behind)) << characters;
        EXPECT_NE(made.substr(35, 45), shifted.substr(35, 45)) << characters;
    }
}

// The proof compares lines, however they were made.
class Proof : public testing::Test {
protected:
    const std::wstring header = linesOf("round-returned.txt")[0], meter = linesOf("round-returned.txt")[3];

    std::string failureOf(const std::wstring& before, const std::wstring& after, LineKind kind = LineKind::Record) const {
        AnonymizeProof proof;
        proof.begin();
        EXPECT_TRUE(proof.compare(header, anonymized({header}).after[0], LineKind::Record));
        const bool isProven = proof.compare(before, after, kind);
        EXPECT_EQ(isProven, proof.failure().empty());
        return proof.failure();
    }
};

TEST_F(Proof, fails_if_a_column_was_not_replaced) {
    const std::wstring made = anonymized({header, meter}).after[1];
    EXPECT_EQ(failureOf(meter, made), "");
    EXPECT_NE(failureOf(meter, meter), "");
    for (const auto& [column, size] : {std::pair(6U, 30U), {36U, 45U}, {352U, 12U}}) {  // a name, a street, the serial number
        std::wstring leaky = made;
        leaky.replace(column - 1, size, meter.substr(column - 1, size));
        EXPECT_NE(failureOf(meter, leaky), "") << column;
    }
}

TEST_F(Proof, fails_if_a_kept_column_was_changed_or_the_length) {
    std::wstring made = anonymized({header, meter}).after[1];
    EXPECT_NE(failureOf(meter, made.substr(0, 511)), "");
    made[438] = made[438] == L'1' ? L'2' : L'1';  // a digit of the reading
    EXPECT_EQ(failureOf(meter, made), "column 439 has changed, though it is kept");
}

TEST_F(Proof, fails_if_a_word_of_a_name_is_in_a_label) {
    std::wstring page = linesOf("round-returned.txt")[1];
    page.replace(2, 20, L"Access of dupont    ");
    std::wstring named = meter;
    named.replace(5, 30, L"DUPONT                        ");
    const std::vector<std::wstring> lines{header, page, named};
    EXPECT_TRUE(anonymized(lines).isProven);
    AnonymizeProof proof;
    proof.begin();
    EXPECT_TRUE(proof.compare(page, page, LineKind::Record));  // the label is kept
    EXPECT_TRUE(proof.search(page, LineKind::Record));
    EXPECT_FALSE(proof.search(named, LineKind::Record));
    EXPECT_EQ(proof.failure(), "a word that was replaced in this line is in a text that was kept");
}

TEST_F(Proof, says_where_a_text_is_left) {
    std::wstring named = meter;
    named.replace(5, 30, L"DUPONT Jean-Marc              ");
    std::wstring made = anonymized({header, named}).after[1];
    EXPECT_EQ(failureOf(named, made), "");
    std::wstring leaky = made;
    leaky.replace(12, 4, L"Jean");
    EXPECT_EQ(failureOf(named, leaky), "columns 13 to 16 still hold a text that should have been replaced");
    leaky = made;
    leaky.replace(5, 6, L"DUPONT").replace(12, 4, L"Jean");
    EXPECT_EQ(failureOf(named, leaky), "columns 6 to 11 still hold a text that should have been replaced");
    EXPECT_EQ(failureOf(named, made + L' '), "the line has another length");
    EXPECT_EQ(failureOf(L"DUPONT 12", L"QQQQQQ 99"), "");
    EXPECT_EQ(failureOf(L"- DUPONT 12", L"- DUPONT 99"), "columns 3 to 8 still hold a text that should have been replaced");
    EXPECT_EQ(failureOf(L"- DUPONT 12", L"- QQQQQQ 999"), "the line has another length");
    EXPECT_EQ(failureOf(L"9999 QqXA aaaa", L"9999 QqXA aaaa"), "");
    EXPECT_EQ(
        failureOf(L"9999 QqXA aaab", L"9999 QqXA aaab"), "columns 11 to 14 still hold a text that should have been replaced");
    EXPECT_EQ(failureOf(L"abc 123", L"abc 123"), "");
}

TEST_F(Proof, says_what_is_left_in_key_lines) {
    const std::wstring keys = LR"({"serialNumber":"4C30000000","wmBusAddress_MeterId":12345678,"wmBusKey_Mode5":"5627BD973F61"})";
    const auto with = [&](std::wstring text, const std::wstring& from, const std::wstring& to) {
        return text.replace(text.find(from), from.size(), to);
    };
    const std::wstring made = anonymized({keys}, LineKind::Key).after[0];
    EXPECT_EQ(failureOf(keys, made, LineKind::Key), "");
    const char* const remains = "the key line still holds a text that should have been replaced";
    EXPECT_EQ(failureOf(keys, keys, LineKind::Key), remains);
    EXPECT_EQ(failureOf(keys, made.substr(0, 17) + L"4C30000000" + made.substr(27), LineKind::Key), remains);
    EXPECT_EQ(failureOf(keys, made.substr(0, 17) + L"4C3000000" + made.substr(27), LineKind::Key), remains);
    EXPECT_EQ(failureOf(keys, with(made, L"\"wmBusKey_Mode5\":\"", L"\"wmBusKey_Mode5\":\"5"), LineKind::Key), remains);
    EXPECT_EQ(failureOf(keys, made.substr(0, made.size() - 1), LineKind::Key), "the key line has other members");
    EXPECT_EQ(failureOf(keys, L"{}", LineKind::Key), "the key line has other members");
    // A key line that cannot be read.
    const std::wstring broken = keys.substr(0, keys.size() - 1), masked = anonymized({broken}, LineKind::Key).after[0];
    EXPECT_EQ(failureOf(broken, masked, LineKind::Key), "");
    EXPECT_EQ(failureOf(broken, masked + L' ', LineKind::Key), "the line has another length");
    EXPECT_EQ(failureOf(broken, broken, LineKind::Key), "columns 18 to 27 still hold a text that should have been replaced");
}

TEST_F(Proof, dates_change_only_if_they_are_shifted) {
    const std::wstring made = anonymized({header, meter}, LineKind::Record, secret, {.shiftDates = true}).after[1];
    EXPECT_EQ(failureOf(meter, made).substr(0, 7), "column ");
    AnonymizeProof proof({.shiftDates = true});
    proof.begin();
    EXPECT_TRUE(proof.compare(meter, made, LineKind::Record)) << proof.failure();
}

TEST_F(Proof, the_first_failure_remains) {
    AnonymizeProof proof;
    proof.begin();
    EXPECT_FALSE(proof.compare(L"DUPONT", L"DUPONT", LineKind::Record));
    EXPECT_FALSE(proof.compare(L"DUPONT", L"DUPON", LineKind::Record));
    EXPECT_EQ(proof.failure(), "columns 1 to 6 still hold a text that should have been replaced");
}

TEST_F(Proof, fails_for_malformed_and_key_lines) {
    const std::wstring malformed = L"DUPONT Jean, 12 Rue", keys = linesOf("amr-keys.txt")[0];
    EXPECT_NE(failureOf(malformed, malformed), "");
    EXPECT_NE(failureOf(keys, keys, LineKind::Key), "");
    EXPECT_NE(failureOf(keys.substr(0, 300), keys.substr(0, 300), LineKind::Key), "");
    EXPECT_EQ(failureOf(keys, anonymized({keys}, LineKind::Key).after[0], LineKind::Key), "");
}

}  // namespace
