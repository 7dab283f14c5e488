#include "tramostream/diagnosis.h"
#include "support/allocations.h"
#include "support/console.h"
#include "support/damages.h"
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace tramo;
using namespace damaging;

namespace {

Rules rulesOf(const std::vector<Finding>& findings) {
    Rules names;
    for (const Finding& finding : findings) names.emplace_back(finding.rule->name);
    std::ranges::sort(names);
    return names;
}

std::string inWords(const std::vector<Finding>& findings) {
    std::string words;
    for (const Finding& finding : findings) words += sentenceOf(finding) + "\n";
    return words;
}

std::vector<Finding> diagnosed(const std::string& bytes) {
    const Silence quiet;
    return diagnose(bytes);
}

class FileLevel : public testing::TestWithParam<Damage> {};

TEST_P(FileLevel, IsDiagnosedExactly) {
    const Damage& damage = GetParam();
    int wrong = 0;
    const int count = files(40);
    for (int i = 0; i < count; ++i) {
        Generator from(static_cast<unsigned>(i));
        const std::vector<Finding> findings = diagnosed(damage.make(from));
        if (rulesOf(findings) == damage.expected) continue;
        if (++wrong < 4) ADD_FAILURE() << "file " << i << ":\n" << inWords(findings);
    }
    EXPECT_EQ(wrong, 0) << "of " << count;
}

INSTANTIATE_TEST_SUITE_P(Damages, FileLevel, testing::ValuesIn(fileDamages),
    [](const testing::TestParamInfo<Damage>& damage) { return std::string(damage.param.name); });

TEST(Diagnosis, SaysNothingAboutGoodFiles) {
    const int count = files(40) * 3;
    for (int i = 0; i < count; ++i) {
        Generator from(static_cast<unsigned>(i) + 100000);
        const Lines lines = i % 6 == 0   ? from.tags()
                            : i % 6 == 1 ? from.parameters()
                            : i % 6 == 2 ? from.keys()
                                         : from.round(i % 2 == 0);
        const std::string bytes = joined(lines);
        const std::vector<Finding> findings = diagnosed(i % 5 == 0 ? utf16(bytes) : bytes);
        EXPECT_TRUE(findings.empty()) << "file " << i << ":\n" << inWords(findings);
    }
}

// Other formats

struct Sample {
    std::string bytes, name;
};

TEST(Diagnosis, NamesTheFormatOfOtherFiles) {
    using namespace std::string_literals;
    const Sample samples[] = {
        {"PK\3\4\x14\0\6\0[Content_Types].xml xl/workbook.xml\n"s, "an Excel workbook (xlsx)"},
        {"PK\3\4\x14\0\6\0word/document.xml"s, "a Word document (docx)"},
        {"PK\3\4\x14\0\0\0\b\0round.txt"s, "a ZIP archive"},
        {"\x1F\x8B\b\0\0\0\0\0"s, "a gzip archive"},
        {"BZh91AY&SY"s, "a bzip2 archive"},
        {"\xFD"
         "7zXZ\0\0"s,
            "an xz archive"},
        {"7z\xBC\xAF\x27\x1C\0\4"s, "a 7z archive"},
        {"Rar!\x1A\7\0"s, "a RAR archive"},
        {"\x28\xB5\x2F\xFD\4"s, "a Zstandard archive"},
        {"round.txt"s + std::string(248, '\0') + "ustar\0"s, "a tar archive"},
        {"%PDF-1.7\n"s, "a PDF document"},
        {"%!PS-Adobe\n"s, "a PostScript document"},
        {"{\\rtf1\\ansi"s, "an RTF document"},
        {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"s, "an old Microsoft Office document or message"},
        {"\x89PNG\r\n\x1A\n\0"s, "a PNG image"},
        {"\xFF\xD8\xFF\xE0"s, "a JPEG image"},
        {"GIF89a"s, "a GIF image"},
        {"II*\0"s, "a TIFF image"},
        {"SQLite format 3\0"s, "an SQLite database"},
        {"\x7F"
         "ELF\2\1"s,
            "a program (ELF)"},
        {"MZ\x90\0This program cannot be run in DOS mode"s, "a program for Windows"},
        {"<?xml version=\"1.0\"?>\n<a/>"s, "an XML document"},
        {"\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<a/>"s, "an XML document"},
        {"\r\n<!DOCTYPE html>\n<html>"s, "an HTML page"},
        {"<HTML><body>"s, "an HTML page"},
        {"<svg xmlns="s, "an SVG image"},
        {"{\n  \"meters\": []\n}\n"s, "a JSON document"},
        {"[{\"meter\": 1}]"s, "a JSON document"},
        {"[1, 2]"s, "a JSON document"},
        {"-----BEGIN CERTIFICATE-----\n"s, "a PEM or PGP file"},
    };
    for (const Sample& sample : samples) {
        const std::vector<Finding> findings = diagnosed(sample.bytes);
        ASSERT_EQ(rulesOf(findings), Rules{"NotExchangeFile"}) << sample.name;
        EXPECT_EQ(findings.front().sentence, "this is " + sample.name + ", not an exchange file");
        EXPECT_FALSE(findings.front().hint.empty());
        EXPECT_EQ(findings.front().line, 0);
    }
}

TEST(Diagnosis, LinesOfTheFormatMayBeginLikeOtherFormats) {
    for (const char* text :
        {"%PDF-", "<html", "{\\rtf", "BZh1AY&SY", "GIF89a", "[1, 2]", "{\"a\"", "-----BEGIN ", "MZ This program "}) {
        std::string line = text;
        line.resize(tag, ' ');
        EXPECT_EQ(rulesOf(diagnosed(joined({line}))), Rules{}) << text;
    }
}

TEST(Diagnosis, AnEmptyFileHasNothingToDiagnose) {
    EXPECT_EQ(rulesOf(diagnosed("")), Rules{});
    EXPECT_EQ(rulesOf(diagnosed("\xFF\xFE")), Rules{});
    EXPECT_EQ(inWords(diagnosed("\r\n\r\n")), "the file contains only blank lines [BlankLines]\n");
}

// Characters that were lost or added inside a line

std::string meterLine() {
    for (const std::string& line : sampleLines("round-returned.txt"))
        if (line[0] == '1') return line;
    return {};
}

// A place inside a text of the line that is not blank: 0-based.
std::size_t placeInText(Generator& from, const std::string& line) {
    std::vector<std::size_t> places;
    for (const Field& field : recordKind(static_cast<wchar_t>(line[0]))->fields) {
        if (field.kind != FieldKind::Text || field.column < 2 || field.width < 8) continue;
        for (int i = 0; i < field.width; ++i)
            if (const auto at = static_cast<std::size_t>(field.column - 1 + i); line[at] != ' ') places.push_back(at);
    }
    return places[static_cast<std::size_t>(from.below(places.size()))];
}

enum Shape { shorter, padded, inTrimmedFile };

struct Shifted {
    std::string bytes;
    int line;
};

// A round with one meter line that lost characters (`count` below zero) or gained some.
Shifted shiftedFile(Generator& from, int count, Shape shape) {
    Lines lines = from.round(from.isOneOf(2));
    std::vector<std::size_t> meters;
    for (std::size_t i = 0; i + 1 < lines.size(); ++i)
        if (lines[i][0] == '1') meters.push_back(i);
    const std::size_t chosen = meters[static_cast<std::size_t>(from.below(meters.size()))];
    std::string& line = lines[chosen];
    const std::size_t place = std::min(placeInText(from, line), std::size_t{340});  // before the serial number and dates
    if (count < 0) line.erase(place, static_cast<std::size_t>(-count));
    else line.insert(place, std::string(static_cast<std::size_t>(count), 'x'));
    if (shape == padded) line.resize(record, ' ');
    if (shape == inTrimmedFile) lines = each(lines, trimmed);
    return {joined(lines), static_cast<int>(chosen) + 1};
}

void expectShift(const char* rule, bool isLoss, Shape shape) {
    int wrong = 0;
    const int count = files(60);
    for (int i = 0; i < count; ++i) {
        Generator from(static_cast<unsigned>(i) + 5000);
        const int characters = 1 + from.below(3);
        const Shifted file = shiftedFile(from, isLoss ? -characters : characters, shape);
        const std::vector<Finding> findings = diagnosed(file.bytes);
        const Rules expected = shape == inTrimmedFile ? Rules{rule, "Trimmed"} : Rules{rule};
        const auto found = std::ranges::find_if(findings, [&](const Finding& finding) { return finding.rule->name == rule; });
        if (rulesOf(findings) == expected && found->line == file.line && found->lines.count == 1) continue;
        if (++wrong < 4) ADD_FAILURE() << "file " << i << ", line " << file.line << ":\n" << inWords(findings);
    }
    EXPECT_EQ(wrong, 0) << "of " << count;
}

TEST(Diagnosis, FindsLostCharacters) { expectShift("CharacterLost", true, shorter); }
TEST(Diagnosis, FindsAddedCharacters) { expectShift("CharacterAdded", false, shorter); }

TEST(Diagnosis, TrapAShiftInsideALineThatStillHas512Characters) {
    expectShift("CharacterLost", true, padded);
    expectShift("CharacterAdded", false, padded);
}

TEST(Diagnosis, TrapTrimmedLinesThatAlsoLostACharacter) { expectShift("CharacterLost", true, inTrimmedFile); }

TEST(Diagnosis, NamesTheFieldThatLostACharacter) {
    Lines lines = sampleLines("round-returned.txt");
    std::string& line = lines[3];
    ASSERT_EQ(line[0], '1');
    line.erase(40, 1);
    EXPECT_EQ(inWords(diagnosed(joined(lines))),
        "line 4 lacks 1 character, most likely in subscriberInformation: every field after column 6 is shifted [CharacterLost]\n");
}

// Traps

TEST(Diagnosis, TrapLinesThatLostTheirRightHalfLookWrapped) {
    for (int i = 0; i < files(40); ++i) {
        Generator from(static_cast<unsigned>(i));
        Lines lines = from.round();
        if (lines.size() % 2) lines.pop_back();  // every two halves together have the length of a line
        const std::string halves = joined(each(lines, [](const std::string& line) { return line.substr(0, record / 2); }));
        EXPECT_EQ(rulesOf(diagnosed(halves)), Rules{"RightPartLost"}) << "file " << i;
        EXPECT_EQ(rulesOf(diagnosed(wrapped(lines, record / 2))), Rules{"Wrapped"}) << "file " << i;
    }
}

TEST(Diagnosis, TrapBlankLinesAtTheEndBelongToAWrappedLine) {
    Lines lines = sampleLines("round-returned.txt");
    lines.back().resize(200);
    lines.back().resize(record, ' ');  // its last parts are blank
    for (const bool isTrimmed : {false, true}) {
        const std::vector<Finding> findings = diagnosed(wrapped(lines, 100, isTrimmed));
        EXPECT_EQ(rulesOf(findings), Rules{"Wrapped"}) << inWords(findings);
        EXPECT_EQ(findings.front().sentence, "every line was broken after 100 characters");
    }
}

TEST(Diagnosis, BlankPartsOfWrappedLinesBelongToThem) {
    const Lines lines = sampleLines("round-returned.txt");
    const std::size_t parts = 2 * lines.size();
    const std::vector<Finding> findings = diagnosed(wrapped(lines, record / 2));
    EXPECT_EQ(
        inWords(findings), "every line was broken after 256 characters [Wrapped]: all " + std::to_string(parts) + " lines\n");
}

TEST(Diagnosis, TrapALineEndingAfterATornLineHidesTheCut) {
    Lines lines = sampleLines("round-returned.txt");
    lines.back().resize(422, 'x');
    for (const char* end : {"", "\r\n", "\n"}) {
        std::string bytes = joined(lines);
        bytes.replace(bytes.size() - 2, 2, end);
        const std::vector<Finding> findings = diagnosed(bytes);
        EXPECT_EQ(inWords(findings), "the last line ends after 422 of 512 characters: the file was cut off [CutOff]\n");
        EXPECT_EQ(findings.front().line, static_cast<std::int64_t>(lines.size()));
    }
}

TEST(Diagnosis, ATornLineOfATrimmedFileIsShorterThanTheOthers) {
    Lines lines = each(sampleLines("round-returned.txt"), trimmed);
    while (lines.back()[0] != '1') lines.pop_back();
    lines.back().resize(150);
    std::string bytes = joined(lines);
    EXPECT_EQ(rulesOf(diagnosed(bytes.substr(0, bytes.size() - 2))), (Rules{"CutOff", "Trimmed"}));
}

// Parts, memory and hostile contents

TEST(Diagnosis, PartsMakeTheSameFindings) {
    const Silence quiet;
    for (const char* ending : {"\r\n", "\n", "\r\n\r\n"}) {
        Generator from(7);
        const std::string bytes = joined(each(from.round(), trimmed), ending);
        const auto head = std::make_shared<const FileHead>(bytes, true);
        std::wstring text;
        for (const char c : bytes) text += static_cast<wchar_t>(static_cast<unsigned char>(c));
        const std::string expected = inWords(diagnose(bytes));
        for (const std::size_t size : {1U, 2U, 3U, 7U}) {
            Diagnosis whole(head), part(head);
            std::int64_t number = 0;
            std::size_t begin = 0;
            for (std::size_t end = 0; (end = text.find(L'\n', begin)) != std::wstring::npos; begin = end + 1) {
                const bool hasReturn = end > begin && text[end - 1] == L'\r';
                part.line({.text = std::wstring_view(text).substr(begin, end - begin - hasReturn),
                    .carriageReturn = hasReturn,
                    .lineFeed = true,
                    .number = ++number});
                if (number % static_cast<std::int64_t>(size)) continue;
                whole += part;
                part = Diagnosis(head);
            }
            whole += part;
            EXPECT_EQ(inWords(whole.findings()), expected) << size;
        }
    }
}

TEST(Diagnosis, ACleanLineAllocatesNothing) {
    const std::string line = meterLine();
    const auto head = std::make_shared<const FileHead>(joined({line, line}), true);
    Diagnosis diagnosis(head);
    diagnosis.clean(line, 1);  // memory for letters is taken once
    EXPECT_EQ(allocationsOf([&] {
        for (int i = 2; i < 1000; ++i) diagnosis.clean(line, i);
    }),
        0);
    EXPECT_TRUE(diagnosis.findings().empty());
}

TEST(Diagnosis, AnyBytesAreDiagnosed) {
    for (int i = 0; i < files(300); ++i) {
        Generator from(static_cast<unsigned>(i));
        std::string bytes(static_cast<std::size_t>(from.below(3000)), ' ');
        const std::string some("01 9\r\n\0\xFF\xFE\xC3\xA9\t\"{[\x1A\xA0", 18);
        for (char& c : bytes)
            c = from.isOneOf(3) ? static_cast<char>(from.below(256)) : some[static_cast<std::size_t>(from.below(some.size()))];
        for (const Finding& finding : diagnosed(bytes)) EXPECT_TRUE(isAboutFile(*finding.rule));
    }
}

TEST(Diagnosis, EveryRuleOfAFileHasARemedy) {
    std::size_t count = 0;
    for (const Rule& rule : rules()) {
        if (!isAboutFile(rule)) continue;
        ++count;
        EXPECT_EQ(rule.code, 0) << rule.name;
    }
    EXPECT_EQ(count, 26u);
}

}  // namespace
