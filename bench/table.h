// The rows of the table, and how it is printed.
#pragma once
#include "bench/options.h"
#include <benchmark/benchmark.h>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// How rows are called in filters and goals.
inline std::string fullName(const std::string& section, const std::string& name) { return section + "/" + name; }

/// What a row is held to: at most `limit` times what another row needs, for a record or for a character.
struct Goal {
    double limit = 0;  ///< 0: none
    std::string against;
    enum Per { Record, Character } per = Record;
};

struct Row {
    std::string section, name;
    std::function<void(benchmark::State&)> run;
    Goal goal = {};
    /// Runs once a measurement; the others as often as a good measurement needs.
    bool isLong = true;
    /// The function tells the time itself.
    bool tellsTime = false;

    std::string fullName() const { return bench::fullName(section, name); }
};

inline const std::string references = "references";

/// States how much an iteration does: for a row's function, to be called once.
inline void setWork(benchmark::State& state, std::size_t records, std::size_t bytes, std::size_t characters) {
    state.counters["records"] = static_cast<double>(records);
    state.counters["bytes"] = static_cast<double>(bytes);
    state.counters["characters"] = static_cast<double>(characters);
}

/// Measures the rows whose full names the filter, a regular expression, is found in, and the references; prints the table.
/// Answers whether nothing went wrong: a missed goal counts only where the options say so.
bool measure(const std::vector<Row>& rows, const Options& options);

// The rows.
void addReferences(std::vector<Row>& rows, const Options& options);
void addStreams(std::vector<Row>& rows, const Options& options);
void addCodecs(std::vector<Row>& rows);
void addPrograms(std::vector<Row>& rows, const Options& options);

/// Prints how time grows with the input, and how much memory a large file needs. Answer whether goals are met.
bool showGrowth(const Options& options);
bool showMemory(const Options& options);

}  // namespace bench
