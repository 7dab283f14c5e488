// Checker::countIfClean() against Checker::line(), which defines the findings of a line.
#include "check/cleanlines.h"
#include "support/allocations.h"
#include "support/build.h"
#include "support/console.h"
#include "support/randomlines.h"
#include "support/records.h"
#include "support/samples.h"
#include "support/timezone.h"
#include "tramostream/check.h"
#include "tramostream/linemodel.h"
#include <set>

using namespace records;
using tramo::CheckOptions, tramo::Checker, tramo::Finding, tramo::LineKind, tramo::RecordKind;

namespace {

constexpr CheckOptions ofRecords{.kind = LineKind::Record};

// The findings of a line of a file of records.
std::size_t findingsIn(const std::wstring& line, CheckOptions options) {
    const Silence quiet;
    std::vector<Finding> findings;
    Checker(options).line({.text = line, .carriageReturn = true, .lineFeed = true, .number = 1}, findings);
    return findings.size();
}

std::string bytesOf(const std::wstring& line) {
    std::string bytes;
    for (const wchar_t c : line) bytes += static_cast<char>(c);
    return bytes;
}

// The checkers of many lines, without and with the findings of valid lines.
class Checkers {
public:
    // Returns whether the line is certainly clean. Expects that it then has no findings.
    bool isClean(const std::wstring& line) {
        const RecordKind& kind = *tramo::recordKind(line[0]);
        const std::string bytes = bytesOf(line);
        const bool usually = usual.countIfClean(kind, bytes), always = all.countIfClean(kind, bytes);
        if (usually) { EXPECT_EQ(findingsIn(line, {.kind = LineKind::Record}), 0u) << display(line); }
        if (always) { EXPECT_EQ(findingsIn(line, {.all = true, .kind = LineKind::Record}), 0u) << "all: " << display(line); }
        EXPECT_LE(always, usually) << display(line);
        return usually;
    }

private:
    Checker usual{CheckOptions{.kind = LineKind::Record}}, all{CheckOptions{.all = true, .kind = LineKind::Record}};
};

bool isAnsi(const std::wstring& line) {
    return std::ranges::all_of(line, [](wchar_t c) { return c <= 0xFF; });
}

std::vector<std::wstring> samples() {
    std::vector<std::wstring> lines;
    for (const char* file : {"round-exported.txt", "round-returned.txt", "round-broken.txt", "round-damaged.txt"})
        for (const std::wstring& line : sampleLinesOf(file, 512))
            if (tramo::recordKind(line[0]) && isAnsi(line)) lines.push_back(line);
    return lines;
}

// The same lines with fields of other lines of their kind: valid in themselves, but not always together.
class Mixture {
public:
    explicit Mixture(std::vector<std::wstring> all) : lines(std::move(all)) {}

    std::wstring next(Random& random) {
        std::wstring line = random.of(lines);
        const RecordKind& kind = *tramo::recordKind(line[0]);
        for (unsigned changes = random.below(5); changes > 0; --changes) {
            const Field& field = random.of(kind.fields);
            const std::wstring& other = random.of(lines);
            if (field.column == 0 || other[0] != line[0]) continue;
            const auto first = static_cast<std::size_t>(field.column - 1), width = static_cast<std::size_t>(field.width);
            line.replace(first, width, other, first, width);
        }
        return line;
    }

private:
    std::vector<std::wstring> lines;
};

TEST(CleanLines, samples_are_clean_exactly_if_they_have_no_findings) {
    std::size_t clean = 0, others = 0;
    Checkers checkers;
    for (const std::wstring& line : samples()) {
        const bool isClean = checkers.isClean(line);
        EXPECT_EQ(isClean, findingsIn(line, ofRecords) == 0) << display(line);
        ++(isClean ? clean : others);
    }
    EXPECT_GT(clean, 400u);
    EXPECT_GT(others, 20u);
}

TEST(CleanLines, lines_mixed_from_the_fields_of_samples_are_clean_exactly_if_they_have_no_findings) {
    Mixture mixture(samples());
    Random random(1);
    Checkers checkers;
    std::size_t clean = 0;
    constexpr std::size_t many = testsOptimised ? 20000 : 4000;
    for (std::size_t i = 0; i < many && !testing::Test::HasFailure(); ++i) {
        const std::wstring line = mixture.next(random);
        const bool isClean = checkers.isClean(line);
        EXPECT_EQ(isClean, findingsIn(line, ofRecords) == 0) << display(line);
        clean += isClean;
    }
    EXPECT_GT(clean, many / 4);
    EXPECT_LT(clean, many * 9 / 10);
}

TEST(CleanLines, damaged_lines_are_not_clean_if_they_have_findings) {
    for (const char* zone : {"Europe/Paris", "UTC", "America/Sao_Paulo"}) {
        const TimeZone local(zone);
        Mixture mixture(samples());
        Random random(2);
        Checkers checkers;
        for (int i = 0; i < (testsOptimised ? 60000 : 6000) && !testing::Test::HasFailure(); ++i) {
            std::wstring line = mixture.next(random);
            const RecordKind& kind = *tramo::recordKind(line[0]);
            const Field& field = random.of(kind.fields);
            if (random.below(2) == 0) line[1 + random.below(511)] = static_cast<wchar_t>(random.below(0x100));
            else if (field.column > 0) put(line, field.column, textFor(field, random));
            checkers.isClean(line);
        }
    }
}

TEST(CleanLines, random_lines_are_not_clean_if_they_have_findings) {
    Random random(3);
    Checkers checkers;
    for (const RecordKind* kind : tramo::recordKinds())
        for (int i = 0; i < (testsOptimised ? 10000 : 1000) && !testing::Test::HasFailure(); ++i)
            if (const std::wstring line = randomLine(*kind, random); isAnsi(line)) checkers.isClean(line);
}

// A valid line of each kind that the samples have.
std::vector<std::wstring> cleanSamples() {
    std::vector<std::wstring> lines = samples();
    std::erase_if(lines, [](const std::wstring& line) { return findingsIn(line, ofRecords) > 0; });
    return lines;
}

TEST(CleanLines, every_kind_in_the_samples_has_clean_lines) {
    const auto letters = [](const std::vector<std::wstring>& lines) {
        std::set<wchar_t> all;
        for (const std::wstring& line : lines) all.insert(line[0]);
        return all;
    };
    EXPECT_EQ(letters(cleanSamples()), letters(samples()));
    EXPECT_EQ(letters(cleanSamples()).size(), 9u);
}

TEST(CleanLines, only_files_of_records_have_clean_lines) {
    const std::wstring line = cleanSamples().front();
    const RecordKind& kind = *tramo::recordKind(line[0]);
    const auto isClean = [&](CheckOptions options) { return Checker(options).countIfClean(kind, bytesOf(line)); };
    EXPECT_TRUE(isClean({.kind = LineKind::Record}));
    EXPECT_TRUE(isClean({.prevailing = LineKind::Record}));
    EXPECT_TRUE(isClean({.kind = LineKind::Record, .prevailing = LineKind::Tag}));
    EXPECT_FALSE(isClean({}));
    EXPECT_FALSE(isClean({.kind = LineKind::Key}));
    EXPECT_FALSE(isClean({.prevailing = LineKind::Parameter}));
    EXPECT_FALSE(isClean({.kind = LineKind::Tag, .prevailing = LineKind::Record}));
}

TEST(CleanLines, line_of_another_length_or_kind_is_not_clean) {
    const std::wstring line = cleanSamples().front();
    const RecordKind& kind = *tramo::recordKind(line[0]);
    Checker checker(ofRecords);
    const std::string bytes = bytesOf(line);
    EXPECT_FALSE(checker.countIfClean(kind, {}));
    EXPECT_FALSE(checker.countIfClean(kind, bytes.substr(0, 511)));
    EXPECT_FALSE(checker.countIfClean(kind, bytes + " "));
    EXPECT_FALSE(checker.countIfClean(RecordKind{}, bytes));
    for (const RecordKind* other : tramo::allKinds())
        if (other != &kind) { EXPECT_FALSE(checker.countIfClean(*other, bytes)) << other->name; }
    EXPECT_EQ(checker.summary().lines, 0u);
    EXPECT_TRUE(checker.countIfClean(kind, bytes));
}

TEST(CleanLines, clean_lines_are_counted_as_checked_lines) {
    Checker fast(ofRecords), slow(ofRecords);
    std::vector<Finding> findings;
    for (const std::wstring& line : cleanSamples()) {
        EXPECT_TRUE(fast.countIfClean(*tramo::recordKind(line[0]), bytesOf(line)));
        slow.line({.text = line, .carriageReturn = true, .lineFeed = true, .number = 1}, findings);
    }
    EXPECT_EQ(fast.summary().lines, slow.summary().lines);
    const auto kinds = fast.summary().lineKinds(), expected = slow.summary().lineKinds();
    ASSERT_EQ(kinds.size(), expected.size());
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        EXPECT_EQ(kinds[i].name, expected[i].name);
        EXPECT_EQ(kinds[i].lines, expected[i].lines);
    }
    EXPECT_EQ(fast.summary().total.all(), 0u);
}

TEST(CleanLines, checker_works_on_after_memory_was_missing) {
    const std::wstring line = cleanSamples().front();
    const RecordKind& kind = *tramo::recordKind(line[0]);
    const std::string bytes = bytesOf(line);
    Checker checker(ofRecords);
    std::uint64_t counted = 0;
    withEachAllocationFailing([&] {
        try {
            EXPECT_TRUE(checker.countIfClean(kind, bytes));
            ++counted;
        } catch (const std::bad_alloc&) {}
        EXPECT_EQ(checker.summary().lines, counted);
    });
    EXPECT_GT(counted, 0u);
}

TEST(CleanLines, copy_of_a_checker_checks_independently) {
    const std::vector<std::wstring> lines = cleanSamples();
    Checker first(ofRecords);
    EXPECT_TRUE(first.countIfClean(*tramo::recordKind(lines.front()[0]), bytesOf(lines.front())));
    Checker second = first;
    second = first;
    for (const std::wstring& line : lines) {
        EXPECT_TRUE(first.countIfClean(*tramo::recordKind(line[0]), bytesOf(line)));
        EXPECT_TRUE(second.countIfClean(*tramo::recordKind(line[0]), bytesOf(line)));
    }
    EXPECT_EQ(first.summary().lines, lines.size() + 1);
    EXPECT_EQ(second.summary().lines, lines.size() + 1);
}

TEST(CleanLines, clean_lines_cost_no_allocation) {
    const std::vector<std::wstring> lines = cleanSamples();
    std::vector<std::pair<const RecordKind*, std::string>> all;
    for (const std::wstring& line : lines) all.emplace_back(tramo::recordKind(line[0]), bytesOf(line));
    for (const bool rounds : {false, true}) {
        CheckOptions options = ofRecords;
        options.rounds = rounds;
        Checker checker(options);
        const auto check = [&] {
            for (const auto& [kind, bytes] : all) EXPECT_TRUE(checker.countIfClean(*kind, bytes));
        };
        check();
        // A checker of rounds keeps facts of each round and meter, and joins them now and then: less than one allocation a line.
        const long count = allocationsOf(check);
        if (rounds) EXPECT_LT(count, static_cast<long>(all.size()));
        else EXPECT_EQ(count, 0);
    }
}

}  // namespace
