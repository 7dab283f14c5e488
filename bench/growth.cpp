// Measures how time and memory grow with the input.
#include "bench/data.h"
#include "bench/getters.h"
#include "bench/process.h"
#include "bench/table.h"
#include <algorithm>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace bench {

namespace {

// Skips lines that are too long.
template <class Use> void readFile(const std::string& path, int encoding, Use use) {
    iFileStream in;
    in.open(path.c_str(), encoding);
    for (TramoLine::tramoLine_t line; !in.eof();) {
        try {
            in.getline(std::tuple_size_v<TramoLine::tramoLine_t>, line);
        } catch (const TramoStreamExceptions::read_exception&) { continue; }
        use(line);
    }
}

void readLines(const std::string& path) {
    readFile(path, StrConv::ENCODING_ANSI, [](auto& line) { benchmark::DoNotOptimize(&line); });
}

void readAnyLength(const std::string& path) {
    iFileStream in;
    in.open(path.c_str(), StrConv::ENCODING_ANSI);
    for (AMRKeyLine line; !in.eof();) in.getline(line);
}

void readValues(const std::string& path) {
    Sums sums;
    readFile(path, StrConv::ENCODING_ANSI, [&](auto& line) { sums << tramo::AnyRecord(line); });
    benchmark::DoNotOptimize(sums);
}

// The minimum of five: a disturbance can only add to it, and affects small measurements most.
double secondsOf(const std::function<Usage()>& run) {
    double least = std::numeric_limits<double>::max();
    for (int i = 0; i < 5; ++i) {
        const Usage usage = run();
        if (usage.status != 0 && usage.status != 1) throw std::runtime_error("exit code " + std::to_string(usage.status));
        least = std::min(least, usage.seconds);
    }
    return least;
}

const char* verdict(bool good) { return good ? "met" : "missed"; }

}  // namespace

bool showGrowth(const Options& options) {
    struct Input {
        const char* name;
        Shape shape;
        std::size_t bytes;  ///< of the smaller file
    };
    const std::size_t unit = options.quick ? 20000 : options.large ? 100000000 : 10000000;
    const Input inputs[] = {{"meter subscribers", Shape::Normal, unit}, {"one line", Shape::OneLine, unit},
        {"line feeds only", Shape::LineFeeds, unit / 10}, {"every field bad", Shape::AllBad, unit / 10}};
    const struct {
        const char* name;
        std::function<Usage(const std::string&)> run;
    } tasks[] = {
        {"getline", [](const std::string& path) { return runApart([&] { readLines(path); }); }},
        {"getline, any length", [](const std::string& path) { return runApart([&] { readAnyLength(path); }); }},
        {"getline, model, all getters", [](const std::string& path) { return runApart([&] { readValues(path); }); }},
        {"tramo check",
            [&](const std::string& path) {
                return runProgram({options.tramo, "check", path});
            }},
    };

    bool allGood = true;
    for (const Input& input : inputs) {
        const ShapedFile small(options, input.shape, input.bytes), large(options, input.shape, 10 * input.bytes);
        std::printf("\n%-32s%9.0f MB%9.0f MB%9s   goal\n", input.name, static_cast<double>(input.bytes) / 1e6,
            static_cast<double>(input.bytes) / 1e5, "times");
        for (const auto& task : tasks) {
            const double before = secondsOf([&] { return task.run(small.path); }),
                         after = secondsOf([&] { return task.run(large.path); });
            const bool good = after <= 12 * before;
            allGood = allGood && good;
            std::printf("  %-30s%10.3f s%10.3f s%9.1f   <= 12  %s\n", task.name, before, after, after / before, verdict(good));
        }
    }
    std::printf("\nProcessor time of whole processes, the least of 5.\n");
    return allGood || !options.strict;
}

bool showMemory(const Options& options) {
    const std::size_t bytes = options.quick ? std::size_t{1} << 20 : std::size_t{1} << 30;
    const ShapedFile ansi(options, Shape::Normal, bytes), utf16(options, Shape::Utf16, bytes);
    auto reading = [](const std::string& path, int encoding) {
        return runApart([&] { readFile(path, encoding, [](auto& line) { benchmark::DoNotOptimize(&line); }); });
    };
    const struct {
        const char* name;
        Usage usage;
    } rows[] = {
        {"getline, ANSI", reading(ansi.path, StrConv::ENCODING_ANSI)},
        {"getline, UTF-16", reading(utf16.path, StrConv::ENCODING_UTF16LE)},
        {"tramo check, ANSI", runProgram({options.tramo, "check", ansi.path})},
        {"tramo check, UTF-16", runProgram({options.tramo, "check", utf16.path})},
    };
    auto megabytes = [](double size) { return size / (1 << 20); };
    const double limit = 1.05 * static_cast<double>(bytes) + (16 << 20);
    std::printf("\n%-32s%12s%12s   goal\n", "memory at its peak", "file, MiB", "MiB");
    bool allGood = true;
    for (const auto& row : rows) {
        const auto peak = static_cast<double>(row.usage.memory);
        allGood = allGood && peak <= limit;
        std::printf("  %-30s%12.0f%12.1f   <= %.1f  %s\n", row.name, megabytes(static_cast<double>(bytes)), megabytes(peak),
            megabytes(limit), verdict(peak <= limit));
    }
    return allGood || !options.strict;
}

}  // namespace bench
