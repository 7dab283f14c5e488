// Tests of a record model from a table of its fields (recordtable.h), which the test of the record states independently of
// the model.
//
// TEST_EVERY_FIELD adds one test per field and property (default, columns, blank, invalid text, conditions, too long, ...), and
// the comparison with the reference model on random lines and values. Properties that a table cannot express (truth tables of
// rules, special cases of a record) are tested separately in the test of the record.
//
// These tests know a model only as a Model (model.h), so that they are compiled once and not for every record.
#pragma once
#include "support/console.h"
#include "support/model.h"
#include "support/recordtable.h"
#include <cstddef>
#include <gtest/gtest.h>
#include <iterator>
#include <random>

namespace records {

testing::AssertionResult equal(const FieldValue& found, const FieldValue& expected);

// ---- Values to try --------------------------------------------------------------------------------------------------

// A valid text that fills a field from its first column to its last.
std::wstring fullText(const Row& row);

// A value other than the default that fits into its columns and can be written and read back unchanged.
FieldValue goodValue(const Row& row);

// Random characters of one kind, or a valid line with random changes. Deterministic.
class Lines {
public:
    Lines(const Table& of, unsigned seed) : table(of), random(seed) {}

    std::wstring next();

    int below(auto limit) { return static_cast<int>(random() % static_cast<std::uint64_t>(limit)); }

    // A value of the kind of the row: often an ordinary one that a line can hold, otherwise (unless `ordinary`) any value.
    FieldValue value(const Row& row, bool ordinary);

private:
    FieldValue time(const Row& row, bool any);
    long long numberOf(int figures);
    template <class Character> void scatter(std::wstring& line, int oneIn, Character character);
    void good(std::wstring& line);
    void damage(std::wstring& line);

    const Table& table;
    std::mt19937_64 random;
};

// Reports a failure in a long loop once, with its cause.
#define STOP_AT_FAILURE(...)                         \
    if (testing::Test::HasFailure()) {               \
        ADD_FAILURE() << "that was " << __VA_ARGS__; \
        return;                                      \
    }

// How many random lines a test reads: fewer if the support was compiled without optimization.
extern const int manyTimes;

// ---- Comparison with the reference model ----------------------------------------------------------------------------

// Expects that the model holds exactly the values of the state.
void expectValuesOf(const Values& values, const State& state);
template <class M> void expectValues(const M& model, const State& state) { expectValuesOf(ValuesOf<M>(model), state); }

// Parses a line with the letter of the table and compares all results with the reference model.
void expectAlike(const Models& models, const Table& table, const std::wstring& line);
template <class M> void expectAlike(const Table& table, const std::wstring& line) { expectAlike(modelsOf<M>, table, line); }

// ---- The tests of a whole record ------------------------------------------------------------------------------------

// Adds all tests that follow from the table of a record.
bool testEveryField(const std::string& model, const Models& models, const Table& table, const char* file, int line);

}  // namespace records

// TABLE is a function that returns the table of the model.
#define TEST_EVERY_FIELD(MODEL, TABLE)                   \
    [[maybe_unused]] const bool MODEL##IsTestedByTable = \
        records::testEveryField(#MODEL, records::modelsOf<MODEL>, TABLE(), __FILE__, __LINE__);
