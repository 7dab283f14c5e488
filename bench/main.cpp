// Measures the library and the tool, compared with the machine and with a program for this one purpose. Started by bench/run;
// see its help.
#include "bench/table.h"
#include <cstdio>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

namespace {

// TOOL FOLDER [--quick] [--large] [--strict] [speed|linear|memory|all] [FILTER]
bool parse(std::span<char*> words, Options& options) {
    std::vector<std::string> plain;
    for (const std::string_view word : words) {
        if (word == "--quick") options.quick = true;
        else if (word == "--large") options.large = true;
        else if (word == "--strict") options.strict = true;
        else if (word.starts_with("--")) return false;
        else plain.emplace_back(word);
    }
    if (plain.size() < 2) return false;
    options.tramo = plain[0];
    options.folder = plain[1];
    std::size_t place = 2;
    if (place < plain.size()) {
        const std::string& what = plain[place];
        if (what == "speed" || what == "linear" || what == "memory" || what == "all") {
            options.what = what;
            ++place;
        }
    }
    if (place < plain.size()) options.filter = plain[place++];
    return place == plain.size();
}

bool showSpeed(const Options& options) {
    std::vector<Row> rows;
    addReferences(rows, options);
    addStreams(rows, options);
    addColumns(rows, options);
    addReader(rows, options);
    addCodecs(rows);
    addRewriting(rows, options);
    addPrograms(rows, options);
    addExports(rows, options);
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
    if (!bench::parse(std::span(words + 1, words + count), options)) {
        std::fputs("usage: bench/run [--quick] [--large] [--strict] [speed|linear|memory|all] [FILTER]\n", stderr);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // prints each row immediately, even into a pipe
    // Measurements of different rows alternate, so that a disturbance affects all of them equally.
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
