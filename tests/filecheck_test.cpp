// Checks of whole files, against a checker and a diagnosis that are fed by hand.
#include "tramostream/filecheck.h"
#include "common/concat.h"
#include "support/records.h"
#include "support/streamfiles.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <map>

using streams::TempFolder;
using tramo::CheckedFile, tramo::checkFile, tramo::Checker, tramo::concat, tramo::Diagnosis, tramo::FileChecker, tramo::Finding,
    tramo::Reader;

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

// The numbers of findings by field, or by rule of whole lines.
std::map<std::string, std::uint64_t> countsOf(const CheckedFile& file) {
    std::map<std::string, std::uint64_t> counts;
    for (const auto* list : {&file.findings, &file.diagnosis})
        for (const Finding& finding : *list)
            ++counts[finding.field.empty() ? std::string(finding.rule->name) : concat(finding.kind, '/', finding.field)];
    return counts;
}

std::map<std::string, std::uint64_t> countsOf(const tramo::CheckSummary& summary) {
    std::map<std::string, std::uint64_t> counts;
    for (const tramo::FindingsOfField& found : summary.findingCounts()) {
        EXPECT_EQ(found.field.empty(), found.rule != nullptr);
        counts[found.rule ? std::string(found.rule->name) : concat(found.kind, '/', found.field)] += found.count.all();
    }
    std::erase_if(counts, [](const auto& count) { return count.second == 0; });
    return counts;
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

// The summary counts what is found, by field and by rule, and nothing of what is hidden.
TEST(FileChecker, counts_what_it_finds) {
    const Silence quiet;
    std::string withoutReturns = contentOf(sample("round-broken.txt")), text = contentOf(sample("round-broken.txt"));
    std::erase(withoutReturns, '\r');
    const std::string utf16 = contentOf(sample("round-returned-utf16.txt")), returned = contentOf(sample("round-returned.txt")),
                      cut = returned.substr(0, returned.size() - 700), damaged = contentOf(sample("round-damaged.txt"));
    std::string trimmed;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end + 2) {
        end = text.find("\r\n", at);
        std::string line = text.substr(at, end - at);
        line.erase(line.find_last_not_of(' ') + 1);
        trimmed += line + "\r\n";
    }
    for (const std::string& bytes : {text, withoutReturns, utf16, utf16.substr(0, utf16.size() - 1), cut, damaged, trimmed,
             returned + returned, std::string("PK\x03\x04 something else"), std::string()})
        for (const bool each : {false, true}) {
            const CheckedFile file = checkBytes(bytes, {.each = each});
            EXPECT_EQ(countsOf(file.summary), countsOf(file)) << each << ' ' << bytes.size();
            tramo::FindingCount count;
            for (const auto* list : {&file.findings, &file.diagnosis})
                for (const Finding& finding : *list) count += finding.severity;
            EXPECT_EQ(file.summary.total.errors, count.errors);
            EXPECT_EQ(file.summary.total.warnings, count.warnings);
            EXPECT_EQ(file.summary.total.hints, count.hints);
        }
}

// The half of a character after a carriage return belongs to no line.
TEST(FileChecker, half_a_character_after_a_line_ending) {
    const Silence quiet;
    const auto found = [](const std::string& bytes) { return sentences(checkBytes(bytes, {.each = true}).findings); };
    const std::string line = contentOf(sample("round-returned-utf16.txt")).substr(0, 2 + 2 * 512), carriageReturn("\r\0", 2);
    for (const std::string& bytes : {line, line + carriageReturn}) {
        std::vector<std::string> expected = found(bytes);
        expected.push_back("1: the file ends with half of a UTF-16 character [LastByteOdd]: its last byte is ignored");
        EXPECT_EQ(found(bytes + 'x'), expected);
    }
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
