// Measures the library and the tool, beside what the machine and a program for one purpose can do. For bench/run, which
// says more.
#include "bench/table.h"
#include <cstdio>
#include <exception>
#include <string_view>

namespace bench {

namespace {

// TOOL FOLDER [--quick] [--large] [--strict] [speed|linear|memory|all] [FILTER]
bool parse(int count, char** words, Options& options) {
    int place = 0;
    for (int i = 1; i < count; ++i) {
        const std::string_view word = words[i];
        if (word == "--quick") options.quick = true;
        else if (word == "--large") options.large = true;
        else if (word == "--strict") options.strict = true;
        else if (word.starts_with("--")) return false;
        else if (place == 0) options.tramo = words[i], ++place;
        else if (place == 1) options.folder = words[i], ++place;
        else if (place == 2 && (word == "speed" || word == "linear" || word == "memory" || word == "all"))
            options.what = word, ++place;
        else if (options.filter.empty()) options.filter = word;
        else return false;
    }
    return place >= 2;
}

bool showSpeed(const Options& options) {
    std::vector<Row> rows;
    addReferences(rows, options);
    addStreams(rows, options);
    addCodecs(rows);
    addPrograms(rows, options);
    return measure(rows, options);
}

bool run(const Options& options) {
    const bool all = options.what == "all";
    bool good = true;
    if (all || options.what == "speed") good = showSpeed(options) && good;
    if (all || options.what == "linear") good = showGrowth(options) && good;
    if (all || options.what == "memory") good = showMemory(options) && good;
    return good;
}

}  // namespace

}  // namespace bench

int main(int count, char** words) {
    bench::Options options;
    if (!bench::parse(count, words, options)) {
        std::fputs(
            "usage: tramostream_bench TOOL FOLDER [--quick] [--large] [--strict] [speed|linear|memory|all] [FILTER]\n", stderr);
        return 2;
    }
    // Measurements of different rows take turns, so that a disturbance hits all alike.
    char program[] = "tramostream_bench", interleave[] = "--benchmark_enable_random_interleaving=true";
    char* settings[] = {program, interleave, nullptr};
    int settingCount = 2;
    benchmark::Initialize(&settingCount, settings);
    try {
        return bench::run(options) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tramostream_bench: %s\n", error.what());
        return 2;
    }
}
