#include "tramostream/check.h"
#include "support/allocations.h"
#include "support/console.h"
#include "tramostream/diagnosis.h"
#include "tramostream/keyline.h"
#include "tramostream/wording.h"
#include <algorithm>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <utility>

using namespace tramo;

namespace {

std::string bytesOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    EXPECT_TRUE(in) << path;
    return {std::istreambuf_iterator<char>(in), {}};
}

// The lines of a file in ANSI, or in UTF-16 after a byte order mark.
struct File {
    std::wstring text;
    std::vector<SourceLine> lines;

    explicit File(const std::string& bytes) {
        auto byte = [&](std::size_t i) { return static_cast<wchar_t>(static_cast<unsigned char>(bytes[i])); };
        if (bytes.starts_with("\xFF\xFE"))
            for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) text += static_cast<wchar_t>(byte(i) | byte(i + 1) << 8);
        else
            for (std::size_t i = 0; i < bytes.size(); ++i) text += byte(i);
        std::wstring_view rest = text;
        while (!rest.empty()) {
            SourceLine line{.text = rest.substr(0, rest.find(L'\n')), .number = static_cast<long long>(lines.size() + 1)};
            line.lineFeed = line.text.size() < rest.size();
            rest.remove_prefix(line.text.size() + line.lineFeed);
            line.carriageReturn = line.text.ends_with(L'\r');
            line.text.remove_suffix(line.carriageReturn);
            lines.push_back(line);
        }
    }

    std::optional<LineKind> prevailing() const {
        KindCensus census;
        for (const SourceLine& line : lines) census.add(line.text);
        EXPECT_EQ(census.lines(), lines.size());
        return census.prevailing();
    }
};

// "12:195: error: ...", as reports have it.
std::string inWords(const Finding& finding) {
    std::string text;
    if (finding.line) text += std::to_string(finding.line) + ":";
    if (finding.column) text += std::to_string(finding.column) + ":";
    text += finding.severity == Severity::Error ? " error: " : finding.severity == Severity::Warning ? " warning: " : " hint: ";
    return text + sentenceOf(finding);
}

std::vector<std::string> inWords(const std::vector<Finding>& findings) {
    std::vector<std::string> all;
    for (const Finding& finding : findings) all.push_back(inWords(finding));
    return all;
}

struct Checked {
    std::vector<Finding> findings;
    CheckSummary summary;
};

Checked check(const File& file, CheckOptions options = {}, std::size_t first = 0, std::size_t last = std::string::npos) {
    const Silence quiet;
    Checked checked;
    if (!options.prevailing) options.prevailing = file.prevailing();
    Checker checker(options);
    for (std::size_t i = first; i < std::min(last, file.lines.size()); ++i) checker.line(file.lines[i], checked.findings);
    if (last >= file.lines.size()) checker.end({static_cast<long long>(file.lines.size()), 0, false}, checked.findings);
    checked.summary = checker.summary();
    return checked;
}

std::string sampleNamed(const std::string& name) { return bytesOf(std::string(SAMPLES) + "/" + name); }

class Samples : public testing::TestWithParam<const char*> {};

// As the text report prints them: where the format reports another column, a line of its own says so.
std::vector<std::string> inReport(std::vector<Finding> findings) {
    std::vector<std::string> all;
    for (Finding& finding : findings) {
        const int reported = std::exchange(finding.reportedColumn, 0);
        all.push_back(inWords(finding));
        if (reported)
            all.push_back(std::to_string(finding.line) + ":" + std::to_string(finding.column) +
                          ": note: the format reports this error at column " + std::to_string(reported));
    }
    return all;
}

// What the report of each sample lists is kept on file.
TEST_P(Samples, HaveTheFindingsOnFile) {
    const std::string name = GetParam();
    std::vector<std::string> expected;
    std::istringstream report(bytesOf(std::string(SAMPLES) + "/../tests/cli/expected/" + name));
    const std::regex finding("samples/[^:]+:((?:\\d+:)* (?:error|warning|note): .*)\\r?");
    std::smatch match;
    for (std::string line; std::getline(report, line);)
        if (std::regex_match(line, match, finding)) expected.push_back(match[1]);
    const Silence quiet;
    std::vector<Finding> findings = diagnose(sampleNamed(name));
    for (const Finding& one : check(File(sampleNamed(name))).findings) findings.push_back(one);
    EXPECT_EQ(inReport(findings), expected);
}

TEST_P(Samples, HaveTheSameFindingsInPieces) {
    const File file(sampleNamed(GetParam()));
    const Checked whole = check(file);
    const Silence quiet;
    CheckOptions options{.prevailing = file.prevailing()};
    Checker joined(options);
    options.isPart = true;
    Checked pieces;
    const auto take = [&](Finding&& finding) { pieces.findings.push_back(std::move(finding)); };
    for (std::size_t i = 0; i < file.lines.size() + 1; i += 7) {
        Checker piece(options);
        for (std::size_t at = i; at < std::min(i + 7, file.lines.size()); ++at) piece.line(file.lines[at], pieces.findings);
        if (i + 7 > file.lines.size()) piece.end({static_cast<long long>(file.lines.size()), 0, false}, pieces.findings);
        joined.add(piece, take);
    }
    joined.end(take);
    pieces.summary = joined.summary();
    // Findings about several lines come when they are certain: earlier if the parts are smaller.
    const auto sorted = [](std::vector<std::string> words) {
        std::ranges::sort(words);
        return words;
    };
    EXPECT_EQ(sorted(inWords(pieces.findings)), sorted(inWords(whole.findings)));
    EXPECT_EQ(pieces.summary.lines, whole.summary.lines);
    EXPECT_EQ(pieces.summary.total.errors, whole.summary.total.errors);
    EXPECT_EQ(pieces.summary.total.warnings, whole.summary.total.warnings);
    ASSERT_EQ(pieces.summary.findingCounts().size(), whole.summary.findingCounts().size());
    for (std::size_t i = 0; i < whole.summary.findingCounts().size(); ++i)
        EXPECT_EQ(pieces.summary.findingCounts()[i].count.all(), whole.summary.findingCounts()[i].count.all());
}

TEST_P(Samples, AreCountedLineByLine) {
    const File file(sampleNamed(GetParam()));
    const Checked checked = check(file);
    EXPECT_EQ(checked.summary.lines, file.lines.size());
    std::uint64_t lines = 0, findings = 0;
    for (const LinesOfKind& kind : checked.summary.lineKinds()) lines += kind.lines;
    for (const FindingsOfField& field : checked.summary.findingCounts()) findings += field.count.all();
    EXPECT_EQ(lines, file.lines.size());
    EXPECT_EQ(findings, checked.findings.size());
}

INSTANTIATE_TEST_SUITE_P(, Samples,
    testing::Values("round-broken.txt", "round-damaged.txt", "round-exported.txt", "round-returned.txt",
        "round-returned-utf16.txt", "amr-keys.txt", "parameters.txt", "tags.txt"));

// ---- Rules ----------------------------------------------------------------------------------------------------------

// A subscriber line of the sample with a text in some columns, and its line ending.
std::string lineWith(int column, const std::string& text, const std::string& ending = "\r\n") {
    const std::string sample = sampleNamed("round-returned.txt");
    std::string line = sample.substr(3 * 514, 512);
    return line.replace(static_cast<std::size_t>(column - 1), text.size(), text) + ending;
}

const std::string key = "00112233445566778899AABBCCDDEEFF";

struct Case {
    const char* name;
    std::string file;
    std::vector<std::string> findings;
    CheckOptions options{};
};

const std::string returned = sampleNamed("round-returned.txt").substr(0, 3 * 514);

const Case cases[] = {
    {"FileEmpty", "", {" warning: the file is empty [FileEmpty]"}},
    {"LineEmpty", returned + "\r\n", {"4: error: line is empty [LineEmpty]"}},
    {"LineKindUnknown", "abc\r\n",
        {"1: error: line has 3 characters [LineKindUnknown]: expected 512 (record), 40 (parameter) or 23 (tag)"}},
    {"LineLetterUnknown", returned + lineWith(1, "8"),
        {"4:1: error: unknown record letter \"8\" [LineLetterUnknown]: expected 0, 1, 2, 3, 4, 5, 6, 7 or 9"}},
    {"LineEndWithoutCR", returned + lineWith(1, "1", "\n"),
        {"4: error: line ends with LF alone [LineEndWithoutCR]: expected CR LF"}},
    {"LineEndWithAnotherCharacter", returned + lineWith(1, "1", "x\n"),
        {"4: error: line ends with LF alone [LineEndWithoutCR]: expected CR LF, found \"x\" in place of the CR"}},
    {"LineEndMissing", returned + lineWith(1, "1", ""),
        {"4: error: the last line has no line ending [LineEndMissing]: expected CR LF"}},
    {"LineEndInPart", returned + lineWith(1, "1", "\r"),
        {"4: error: the last line ends with CR alone [LineEndMissing]: expected CR LF"}},
    {"ZeroCharacter", returned + lineWith(60, std::string(2, '\0')),
        {"4:60: error: line contains 2 zero characters, the first at column 60 [ZeroCharacter]: fields with a zero character are not checked"}},
    {"WholeNumber", returned + lineWith(2, " VA "),
        {"4:2: error: subscriberCardOrder: invalid integer \" VA\" [ParseInteger 0x001]: expected a digit, found \"V\""}},
    {"StrictWarning", returned + lineWith(438, std::string(10, ' ')),
        {"4:426: error: meterReadingDate: inconsistent values [MandatoryInconsistent 0x202]: the reading has a date but lacks an "
         "index, a status, a method or (after a previous index) a consumption, or has one of the first three without a date"},
        {.strict = true}},
    {"KeyLineUnreadable", "{\"wmBusKey_Mode5\":\"" + key + "\r\n",
        {"1:52: error: malformed key line [KeyLineUnreadable]: Missing a closing quotation mark in string."}},
    {"KeyMemberIgnored", "{\"wmBusKey_Mode5\":\"" + key + "\",\"other\":1}\r\n",
        {"1: warning: unknown member \"other\" is ignored [KeyMemberIgnored]: key lines have no member of this name"}},
};

void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }

class Rules : public testing::TestWithParam<Case> {};

TEST_P(Rules, AreFound) {
    CheckOptions options = GetParam().options;
    options.rounds = false;  // the files are parts of rounds
    std::vector<std::string> found = inWords(check(File(GetParam().file), options).findings);
    if (std::string(GetParam().name).starts_with("KeyMember")) found.resize(std::min<std::size_t>(found.size(), 1));
    EXPECT_EQ(found, GetParam().findings);
}

TEST_P(Rules, NameNoKey) {
    for (const Finding& finding : check(File(GetParam().file), GetParam().options).findings) {
        EXPECT_EQ(sentenceOf(finding).find(key), std::string::npos);
        if (std::string(GetParam().name).starts_with("Key")) { EXPECT_FALSE(finding.excerpt); }
    }
}

INSTANTIATE_TEST_SUITE_P(, Rules, testing::ValuesIn(cases), [](const auto& one) { return std::string(one.param.name); });

// The findings of key lines in several files, each line after its file's number.
std::vector<std::string> inKeyFiles(const std::vector<std::vector<std::wstring>>& files) {
    KeyFileChecker checker;
    std::vector<Finding> findings;
    for (const std::vector<std::wstring>& lines : files) {
        checker.file("file " + std::to_string(&lines - files.data() + 1));
        for (const std::wstring& line : lines) {
            const ParsedKeyLine parsed = parseKeyLine(line);
            EXPECT_FALSE(parsed.error);
            checker.line(parsed.line, &line - lines.data() + 1, findings);
        }
    }
    for (const Finding& finding : findings) EXPECT_FALSE(finding.excerpt);
    return inWords(findings);
}

TEST(KeyFileChecker, ReportsKeysThatAreNot32HexadecimalDigits) {
    const std::string start =
        "1: warning: wmBusKey_Mode7: invalid key [KeyNotHexadecimal]: expected 32 hexadecimal digits, found ";
    auto keyFile = [](const std::wstring& mode7) {
        return inKeyFiles({{LR"({"wmBusKey_Mode5":"0123456789abcdefABCDEF0123456789","wmBusKey_Mode7":")" + mode7 + LR"("})"}});
    };
    using Texts = std::vector<std::string>;
    EXPECT_EQ(keyFile(L""), Texts());  // absent
    EXPECT_EQ(keyFile(std::wstring(32, L'f')), Texts());
    EXPECT_EQ(keyFile(std::wstring(31, L'0')), Texts{start + "31 characters"});
    EXPECT_EQ(keyFile(std::wstring(33, L'0')), Texts{start + "33 characters"});
    EXPECT_EQ(keyFile(std::wstring(31, L'0') + L'g'), Texts{start + "32 characters, not all hexadecimal"});
    EXPECT_EQ(keyFile(L"S"), Texts{start + "1 character, not all hexadecimal"});
}

TEST(KeyFileChecker, ReportsModulesThatOccurTwice) {
    const std::wstring a = LR"({"serialNumber":"A","wmBusAddress_MeterId":1})";
    const std::wstring address = LR"("wmBusAddress_MeterId":1,"wmBusAddress_ManufacturerId":2,"wmBusAddress_Version":3)";
    const std::wstring whole = L"{" + address + LR"(,"wmBusAddress_DeviceType":4})";
    EXPECT_EQ(inKeyFiles({{a, whole, L"{" + address + L"}", whole}, {L"{}", L"{}", a, whole}}),
        (std::vector<std::string>{"4: warning: wmBusAddress: same value as in line 2 [KeyLineDuplicate]",
            "3: warning: serialNumber: same value as in line 1 of file 1 [KeyLineDuplicate]",
            "4: warning: wmBusAddress: same value as in line 2 of file 1 [KeyLineDuplicate]"}));
}

TEST(Rule, HasANameOfItsOwnAndASentence) {
    std::set<std::string_view> names;
    for (const Rule& rule : rules()) {
        EXPECT_TRUE(names.insert(rule.name).second) << rule.name;
        EXPECT_TRUE(rule.description.ends_with('.')) << rule.name;
        EXPECT_EQ(ruleNamed(rule.name), &rule);
        EXPECT_EQ(rule.code == 0, errorName(static_cast<TE::errorType>(rule.code)).empty()) << rule.name;
    }
    EXPECT_EQ(names.size(), rules().size());
    EXPECT_EQ(ruleNamed("Nonsense"), nullptr);
}

TEST(Rule, IsAnErrorIfItsWarningsAreTakenForErrors) {
    const Rule warning{"", 0, "", Severity::Warning}, error{"", 0, "", Severity::Error}, hint{"", 0, "", Severity::Hint};
    EXPECT_FALSE(warning.isError(false));
    EXPECT_TRUE(warning.isError(true));
    EXPECT_TRUE(error.isError(false));
    EXPECT_FALSE(hint.isError(true));
}

TEST(Checker, ReportsTheEndOfTheText) {
    std::vector<Finding> findings;
    Checker().end({.lines = 3, .charactersUnread = 1, .isLastByteOdd = true}, findings);
    EXPECT_EQ(inWords(findings),
        (std::vector<std::string>{
            "4: error: the file ends with half of a UTF-16 character [LastByteOdd]: its last byte is ignored",
            "4:1: error: line begins with U+FFFF, which ends the text [TextUnread]: 1 character from here on cannot be read"}));
}

TEST(Checker, ReportsWhatTheFormatFindsInValidLinesOnlyIfAsked) {
    const File file(sampleNamed("round-returned.txt"));
    const auto some = check(file).findings.size(), all = check(file, {.all = true}).findings.size();
    EXPECT_GT(all, some);
}

TEST(Checker, TakesNoMemoryForAValidLine) {
    const Silence quiet;
    const File file(sampleNamed("round-returned.txt"));
    std::vector<Finding> findings;
    // What a checker of rounds keeps, it takes at the lines that begin and end them.
    for (const bool rounds : {false, true}) {
        Checker checker({.prevailing = LineKind::Record, .rounds = rounds});
        for (const SourceLine& line : file.lines) checker.line(line, findings);  // what is made once
        std::map<wchar_t, long> fewest;
        for (const SourceLine& line : file.lines) {
            const std::size_t before = findings.size();
            const long count = allocationsOf([&] { checker.line(line, findings); });
            if (findings.size() > before) continue;
            const auto entry = fewest.try_emplace(line.text.front(), count).first;
            entry->second = std::min(entry->second, count);
        }
        ASSERT_GE(fewest.size(), 7U);
        EXPECT_TRUE(fewest.contains(L'9')) << "a kind with mandatory errors that say nothing";
        for (const auto& [letter, count] : fewest)
            if (!rounds || (letter != L'0' && letter != L'9')) { EXPECT_EQ(count, 0) << static_cast<char>(letter); }
    }
}

// ---- Kinds of lines -------------------------------------------------------------------------------------------------

TEST(Line, IsOfTheKindThatItsLengthAndFirstCharactersShow) {
    const std::wstring record(512, L'x'), subscriber = L'1' + std::wstring(511, L' '), tag(shapeOf(LineKind::Tag).length, L'1');
    const auto none = std::nullopt;
    auto kindOf = [](std::wstring_view text, std::optional<LineKind> prevailing) {
        return kindOfLine({.text = text}, prevailing);
    };
    EXPECT_EQ(kindOf(record, none), LineKind::Record);
    EXPECT_EQ(kindOf(std::wstring(40, L' '), none), LineKind::Parameter);
    EXPECT_EQ(kindOf(tag, none), LineKind::Tag);
    EXPECT_EQ(kindOf(tag, LineKind::Record), LineKind::Record) << "cut short";
    EXPECT_EQ(kindOf(L"{\"a\"", LineKind::Record), LineKind::Key);
    EXPECT_EQ(kindOf(subscriber, LineKind::Record), LineKind::Record);
    EXPECT_EQ(kindOf(L"abc", none), none);
    EXPECT_EQ(kindOf(L"abc", LineKind::Parameter), LineKind::Parameter);
}

TEST(Line, ThatIsNotHeldIsJudgedByItsFacts) {
    const std::wstring begin = L'1' + std::wstring(longestHeld - 1, L' '), last(4096, L' ');
    const LongLineFacts blank{begin.size() + 9, 1, begin.size() + 9, last, false}, returns{begin.size() + 9, 1, 512, last, false},
        keys{begin.size() + 9, 1, begin.size(), last, true};
    auto found = [&](const LongLineFacts& facts) {
        const Silence quiet;
        std::vector<Finding> findings;
        Checker({.prevailing = LineKind::Record})
            .line({.text = begin, .carriageReturn = true, .lineFeed = true, .number = 1, .facts = &facts}, findings);
        EXPECT_EQ(findings.size(), 1U);
        return findings.at(0);
    };
    EXPECT_EQ(found(blank).sentence, "line has 262153 characters, expected 512");
    EXPECT_TRUE(
        found(blank).reason.starts_with("261641 too many, all of them spaces; without its last 261641 characters, it has "))
        << found(blank).reason;
    EXPECT_EQ(found(blank).endColumn, 262154);
    EXPECT_TRUE(found(blank).excerpt);
    EXPECT_EQ(found(keys).sentence, "line has 262153 characters");
    EXPECT_EQ(found(keys).reason, "key lines are read up to 262144 characters");
    EXPECT_FALSE(found(keys).excerpt);
    EXPECT_NE(found(returns).reason, "");
}

TEST(Line, MayHoldKeys) {
    for (const wchar_t* text : {L"{", L";{", L"x\"}", L"a\":\"b", L"wmBusKey_Mode5"}) EXPECT_TRUE(mayHoldKeys(text));
    for (const wchar_t* text : {L"", L"1 2", L"serialNumber"}) EXPECT_FALSE(mayHoldKeys(text));
}

// ---- Models of lines ------------------------------------------------------------------------------------------------

TEST(LineModels, AreOfEveryKindOfFixedColumns) {
    const Silence quiet;
    EXPECT_EQ(allKinds().size(), recordKinds().size() + 2);
    for (const RecordKind* kind : allKinds()) {
        LineModel blank = LineModel::blank(*kind);
        EXPECT_EQ(&blank.kind(), kind);
        EXPECT_EQ(blank.built().size(), static_cast<std::size_t>(kind->length)) << kind->name;
        for (const Field& field : kind->fields)
            if (field.column && field.readInto.empty()) {
                EXPECT_TRUE(isAbsent(field, blank.get(field)) || !field.blank.empty()) << field.name;
            }
    }
    EXPECT_FALSE(LineModel::of(LineKind::Key, L"{}"));
    EXPECT_FALSE(LineModel::of(LineKind::Record, std::wstring(512, L'x')));
}

TEST(LineModels, AreFoundByAnyNameOfTheirKind) {
    for (const char* word : {"1", "meter subscriber", "Meter-Subscriber", "MeterSubscriberTramoModel", "METERSUBSCRIBER"})
        EXPECT_EQ(kindNamed(word), recordKind(L'1')) << word;
    for (const char* word : {"", "8", "meter", " 1"}) EXPECT_EQ(kindNamed(word), nullptr) << word;
}

TEST(TextOfAValue, HasTheFewestDigitsThatReadBack) {
    const Field& latitude = *recordKind(L'7')->field("latitude");
    for (const auto& [value, text] :
        std::map<double, std::wstring>{{0, L"0"}, {48.5, L"48.5"}, {-0.1, L"-0.1"}, {1e15, L"1000000000000000"}, {1e16, L"1e+16"},
            {0.0001, L"0.0001"}, {0.00001, L"1e-05"}, {1e300, L"1e+300"}, {9007199254740994, L"9007199254740994"}})
        EXPECT_EQ(textOf(latitude, FieldValue(value)), text);
}

}  // namespace
