// Checks of whole files, against a checker and a diagnosis that are fed by hand.
#include "tramostream/filecheck.h"
#include "support/records.h"
#include "support/streamfiles.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>

using streams::TempFolder;
using tramo::CheckedFile, tramo::checkFile, tramo::Checker, tramo::Diagnosis, tramo::FileChecker, tramo::Finding, tramo::Reader;

namespace {

std::string sample(const std::string& name) { return std::string(SAMPLES) + '/' + name; }

std::vector<std::string> sentences(const std::vector<Finding>& findings) {
    std::vector<std::string> all;
    for (const Finding& finding : findings) all.push_back(std::to_string(finding.line) + ": " + tramo::sentenceOf(finding));
    return all;
}

CheckedFile checkBytes(const std::string& bytes, const tramo::FileCheckOptions& options = {}) {
    Reader reader = Reader::ofBytes(bytes, {.diagnose = true});
    FileChecker checker(reader, options);
    while (checker.check(3)) {}
    return checker.result();
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

TEST(FileChecker, finds_what_lines_have_alone) {
    const Silence quiet;
    for (const char* name :
        {"round-broken.txt", "round-returned.txt", "round-returned-utf16.txt", "tags.txt", "parameters.txt"}) {
        std::vector<Finding> expected;
        Reader reader(sample(name));
        for (const tramo::LineView& line : reader) std::ranges::copy(line.findings(), std::back_inserter(expected));
        const CheckedFile file = checkFile(sample(name), {.each = true});
        EXPECT_EQ(sentences(file.findings), sentences(expected)) << name;
        EXPECT_EQ(file.diagnosis.size(), tramo::diagnose(contentOf(sample(name))).size()) << name;
    }
    EXPECT_GT(checkFile(sample("round-broken.txt")).findings.size(), 80u);
}

TEST(FileChecker, hides_what_the_diagnosis_explains) {
    std::string text = contentOf(sample("round-returned.txt"));
    std::erase(text, '\r');
    const CheckedFile usual = checkBytes(text), each = checkBytes(text, {.each = true});
    ASSERT_FALSE(usual.diagnosis.empty());
    EXPECT_EQ(sentences(usual.diagnosis), sentences(tramo::diagnose(text)));
    EXPECT_GT(each.findings.size(), usual.findings.size() + 100);
    EXPECT_EQ(usual.summary.total.all(), usual.findings.size() + usual.diagnosis.size());
    EXPECT_EQ(each.summary.total.all(), each.findings.size() + each.diagnosis.size());
}

// What explains the finding of a last line that is cut off need not explain it elsewhere.
TEST(FileChecker, knows_the_last_line) {
    const std::string text = contentOf(sample("round-returned.txt"));
    const CheckedFile cut = checkBytes(text.substr(0, text.size() - 200));
    ASSERT_EQ(cut.diagnosis.size(), 1u);
    EXPECT_EQ(cut.diagnosis[0].rule->name, "CutOff");
    EXPECT_TRUE(std::ranges::none_of(cut.findings, [](const Finding& f) { return f.rule->name == "LineTooShort"; }));
}

TEST(FileChecker, half_a_character_belongs_to_no_line) {
    const std::string text = contentOf(sample("round-returned-utf16.txt"));
    const CheckedFile file = checkBytes(text.substr(0, text.size() - 1), {.each = true});
    std::vector<std::string_view> rules;
    for (const Finding& finding : file.diagnosis) rules.push_back(finding.rule->name);
    for (const Finding& finding : file.findings) rules.push_back(finding.rule->name);
    EXPECT_EQ(rules, (std::vector<std::string_view>{"LastLineEnding", "LineEndMissing", "LastByteOdd"}));
}

TEST(FileChecker, other_formats_have_no_lines) {
    const CheckedFile file = checkBytes("PK\x03\x04 something else entirely, and no line at all");
    EXPECT_EQ(file.diagnosis.size(), 1u);
    EXPECT_TRUE(file.findings.empty());
}

TEST(FileChecker, refuses_a_reader_without_a_diagnosis) {
    Reader reader = Reader::ofBytes("");
    EXPECT_THROW(FileChecker checker(reader), std::invalid_argument);
}

TEST(FileChecker, empty_file) {
    const CheckedFile file = checkBytes("");
    EXPECT_EQ(sentences(file.diagnosis), sentences(tramo::diagnose("")));
}
