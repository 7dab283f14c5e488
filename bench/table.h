// The rows of the table, and its output.
#pragma once
#include "bench/options.h"
#include <benchmark/benchmark.h>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// The name of a row in filters and goals.
inline std::string fullName(const std::string& section, const std::string& name) { return section + "/" + name; }

/// The goal of a row: at most `limit` times the time of another row, per record or per character.
struct Goal {
    double limit = 0;  ///< 0: none
    std::string against;
    enum Per { Record, Character } per = Record;
};

struct Row {
    std::string section, name;
    std::function<void(benchmark::State&)> run;
    Goal goal = {};
    /// Runs once per measurement; other rows run as often as a good measurement needs.
    bool isLong = true;
    /// The function measures the time itself.
    bool tellsTime = false;
    Goal secondGoal = {};

    std::string fullName() const { return bench::fullName(section, name); }
};

inline const std::string references = "references";

/// Sets the amount of work of an iteration; a row's function calls it once.
inline void setWork(benchmark::State& state, std::size_t records, std::size_t bytes, std::size_t characters) {
    state.counters["records"] = static_cast<double>(records);
    state.counters["bytes"] = static_cast<double>(bytes);
    state.counters["characters"] = static_cast<double>(characters);
}

/// Measures the rows whose full names match the filter, a regular expression, and the references; prints the table. Returns
/// whether nothing failed; a missed goal counts only if the options say so.
bool measure(const std::vector<Row>& rows, const Options& options);

// The rows.
void addReferences(std::vector<Row>& rows, const Options& options);
void addStreams(std::vector<Row>& rows, const Options& options);
void addColumns(std::vector<Row>& rows, const Options& options);
void addReader(std::vector<Row>& rows, const Options& options);
void addCodecs(std::vector<Row>& rows);
void addRewriting(std::vector<Row>& rows, const Options& options);
void addPrograms(std::vector<Row>& rows, const Options& options);
void addExports(std::vector<Row>& rows, const Options& options);

/// Print how time grows with the input, and how much memory a large file needs. Return whether the goals are met.
bool showGrowth(const Options& options);
bool showMemory(const Options& options);

}  // namespace bench
