#include "bench/table.h"
#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <regex>

namespace bench {

namespace {

// The results of one row; times in nanoseconds of processor time.
struct Result {
    double time, records, bytes, characters;
    double perRecord() const { return time / records; }
    double perCharacter() const { return time / characters; }
};

// Stores the medians.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const std::string& name = run.run_name.function_name;
            const bool isOnly = run.run_type == Run::RT_Iteration && run.repetitions == 1;
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", name.c_str(), run.error_message.c_str());
                failed = true;
            } else if (isOnly || (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")) {
                const bool told = run.run_name.time_type == "manual_time";
                const double time = told ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
                auto counter = [&](const char* which) { return run.counters.at(which).value; };
                results[name] = {time, counter("records"), counter("bytes"), counter("characters")};
            }
        }
    }
    const Result* of(const std::string& name) const {
        const auto found = results.find(name);
        return found == results.end() ? nullptr : &found->second;
    }

    bool failed = false;

private:
    std::map<std::string, Result> results;
};

std::string formatted(const char* format, double value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string ratio(const Result& result, const Result* reference) {
    return reference && result.characters > 0 ? formatted("%.2f", result.perCharacter() / reference->perCharacter()) : "-";
}

class Table {
public:
    explicit Table(const Collector& all) : results(all) {}

    void print(const Row& row) {
        const Result* result = results.of(row.fullName());
        if (!result) return;
        if (row.section != section) {
            section = row.section;
            std::printf("\n%-36s%10s%9s%13s%10s%10s   %s\n", section.c_str(), "ns/record", "MB/s", "records/s", "x memory",
                "x by hand", "goal");
        }
        std::printf("  %-34s%10.1f%9.0f%13.0f%10s%10s   %s\n", row.name.c_str(), result->perRecord(),
            result->bytes / result->time * 1e3, 1e9 / result->perRecord(), ratio(*result, memory).c_str(),
            ratio(*result, byHand).c_str(), verdicts(row, *result).c_str());
    }
    int missed = 0, met = 0;

private:
    std::string verdicts(const Row& row, const Result& result) {
        const std::string first = verdict(row.goal, result), second = verdict(row.secondGoal, result);
        return first + (second.empty() ? "" : "; ") + second;
    }
    std::string verdict(const Goal& goal, const Result& result) {
        const Result* against = results.of(goal.against);
        if (goal.limit == 0 || !against) return "";
        const double times = goal.per == Goal::Record ? result.perRecord() / against->perRecord()
                                                      : result.perCharacter() / against->perCharacter();
        const bool good = times <= goal.limit;
        ++(good ? met : missed);
        return formatted("%.2f", times) + (good ? " <= " : " >  ") + formatted("%.1f", goal.limit) + (good ? "" : "  missed");
    }

    const Collector& results;
    const Result *memory = results.of(fullName(references, "memory read")),
                 *byHand = results.of(fullName(references, "hand-tuned, file read whole"));
    std::string section;
};

}  // namespace

bool measure(const std::vector<Row>& rows, const Options& options) {
    const std::regex filter(options.filter);
    if (std::ranges::none_of(rows, [&](const Row& row) { return std::regex_search(row.fullName(), filter); })) {
        std::fprintf(stderr, "bench/run: no row matches \"%s\"\n", options.filter.c_str());
        return false;
    }
    for (const Row& row : rows) {
        auto guarded = [&row](benchmark::State& state) {
            try {
                row.run(state);
            } catch (const std::exception& error) { state.SkipWithError(error.what()); }
        };
        auto* added = benchmark::RegisterBenchmark(row.fullName().c_str(), guarded)->Repetitions(options.repetitions());
        if (row.isLong) added->Iterations(1);
        else added->MinTime(options.quick ? 0.001 : 0.05);
        if (row.tellsTime) added->UseManualTime();
        else added->MeasureProcessCPUTime();
    }
    Collector results;
    benchmark::RunSpecifiedBenchmarks(&results, "^" + references + "/|" + (options.filter.empty() ? "." : options.filter));
    Table table(results);
    for (const Row& row : rows) table.print(row);
    std::printf("\nProcessor time, the median of %d. x memory, x by hand: a character's time by that of the references.\n"
                "Goals: %d met, %d missed.\n",
        options.repetitions(), table.met, table.missed);
    return !results.failed && (table.missed == 0 || !options.strict);
}

}  // namespace bench
