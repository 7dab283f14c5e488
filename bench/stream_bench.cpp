// Measures reading and writing through the public interface, beside what the machine and a hand-tuned reader can do.
//
//     tramostream_bench FILE FOLDER [Google Benchmark's options]
//
// FILE holds meter-subscriber lines in ANSI; FOLDER is where lines are written to.
#include "bench/handtuned.h"
#include "bench/sums.h"
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <tramostream/tramostream.h>
#include <unistd.h>

namespace bench {

namespace {

Sums& operator<<(Sums& sums, const MeterSubscriberTramoModel& m) {
    ++sums.records;
    // clang-format off
    return sums
        << m.getType() << m.getSubscriberCardOrder() << m.getSubscriberInformation() << m.getSubscriberMarkingCode()
        << m.getMeterHistory1ReadingType() << m.getMeterHistory1ReadingDate() << m.getMeterHistory1Consumption()
        << m.getMeterHistory2ReadingType() << m.getMeterHistory2ReadingDate() << m.getMeterHistory2Consumption()
        << m.getMeterHistory3ReadingType() << m.getMeterHistory3ReadingDate() << m.getMeterHistory3Consumption()
        << m.getMeterHistory4ReadingType() << m.getMeterHistory4ReadingDate() << m.getMeterHistory4Consumption()
        << m.getMeterInformation() << m.getMeterSerialNumber() << m.getMeterWheels()
        << m.getMeterCorrectedSerialNumber() << m.getMeterCorrectedWheels() << m.getMeterInstallationYear()
        << m.getMeterPreviousReadingDate() << m.getMeterPreviousReadingIndex()
        << m.getMeterMinEstimatedConsumption() << m.getMeterMaxEstimatedConsumption()
        << m.getMeterReadingDate() << m.getMeterReadingIndex() << m.getMeterReadingStatus()
        << m.getMeterReadingConsumption() << m.getMeterReadingMethod() << m.getMeterMarkingCode() << m.getMeterMessage()
        << m.getMeterLastUpdateDate() << m.getMeterAuthorizedChange() << m.getMeterFluidType() << m.getMeterReadingUserCode();
    // clang-format on
}

std::string path, output;
std::size_t size = 0;

// The machine's memory: eight bytes at a time, of a file that is mapped already.
void memoryRead(benchmark::State& state) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    void* mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file, 0);
    ::close(file);
    if (mapped == MAP_FAILED) return state.SkipWithError("the file cannot be mapped");
    for (auto _ : state) {
        std::uint64_t sum = 0, word;
        for (std::size_t at = 0; at + 8 <= size; at += 8) {
            std::memcpy(&word, static_cast<const char*>(mapped) + at, 8);
            sum += word;
        }
        benchmark::DoNotOptimize(sum);
    }
    ::munmap(mapped, size);
}

// The same, but the file is mapped anew.
void mapAndRead(benchmark::State& state) {
    for (auto _ : state) {
        const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        void* mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
        ::close(file);
        if (mapped == MAP_FAILED) return state.SkipWithError("the file cannot be mapped");
        std::uint64_t sum = 0, word;
        for (std::size_t at = 0; at + 8 <= size; at += 8) {
            std::memcpy(&word, static_cast<const char*>(mapped) + at, 8);
            sum += word;
        }
        benchmark::DoNotOptimize(sum);
        ::munmap(mapped, size);
    }
}

void handTuned(benchmark::State& state) {
    static const Sums expected = readByHand(path.c_str());
    for (auto _ : state)
        if (readByHand(path.c_str()) != expected) state.SkipWithError("the sums differ from run to run");
}

// (a) Lines only.
void lines(benchmark::State& state) {
    for (auto _ : state) {
        iFileStream in;
        in.open(path.c_str(), StrConv::ENCODING_ANSI);
        std::uint64_t sum = 0;
        for (TramoLine::tramoLine_t line; !in.eof();) {
            in.getline(line.size(), line);
            benchmark::DoNotOptimize(line.data());
            benchmark::ClobberMemory();
            ++sum;
        }
        if (sum * 514 != size) state.SkipWithError("not all lines were read");
    }
}

// (b) The values of all fields.
void values(benchmark::State& state) {
    const Sums expected = readByHand(path.c_str());
    for (auto _ : state) {
        Sums sums;
        iFileStream in;
        in.open(path.c_str(), StrConv::ENCODING_ANSI);
        for (TramoLine::tramoLine_t line; !in.eof();) {
            in.getline(line.size(), line);
            sums << MeterSubscriberTramoModel(line);
        }
        if (sums != expected) state.SkipWithError("the sums are not those of the hand-tuned reader");
    }
}

// (c) And written again.
void rewritten(benchmark::State& state) {
    const Sums expected = readByHand(path.c_str());
    for (auto _ : state) {
        Sums sums;
        iFileStream in;
        in.open(path.c_str(), StrConv::ENCODING_ANSI);
        oFileStream out(output.c_str(), StrConv::ENCODING_ANSI);
        for (TramoLine::tramoLine_t line; !in.eof();) {
            in.getline(line.size(), line);
            MeterSubscriberTramoModel model(line);
            sums << model;
            out.putLine(model.toTramoLine(), line.size());
        }
        out.close();
        if (out.rdstate() != 0) state.SkipWithError("the lines could not be written");
        if (sums != expected) state.SkipWithError("the sums are not those of the hand-tuned reader");
        state.PauseTiming();
        std::remove(output.c_str());
        state.ResumeTiming();
    }
}

struct Row {
    const char* name;
    void (*run)(benchmark::State&);
};
constexpr Row rows[] = {{"memory read", memoryRead}, {"map and read", mapAndRead}, {"hand-tuned", handTuned},
    {"(a) getline", lines}, {"(b) getters", values}, {"(c) putLine", rewritten}};

class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(), run.error_message.c_str());
                failed = true;
            } else if (run.run_type == Run::RT_Aggregate ? run.aggregate_name == "median" : run.repetitions == 1) {
                medians.push_back({run.run_name.function_name, run.GetAdjustedCPUTime() * 1e6});
            }
        }
    }
    void Finalize() override {
        const double records = static_cast<double>(size) / 514;
        std::printf("%-14s %10s %10s %14s %12s %12s\n", "", "ns/record", "MB/s", "records/s", "x memory", "x hand-tuned");
        for (const auto& [name, time] : medians)
            std::printf("%-14s %10.1f %10.0f %14.0f %12.2f %12.2f\n", name.c_str(), time / records,
                static_cast<double>(size) / time * 1e3, records / time * 1e9, time / of("memory read"), time / of("hand-tuned"));
    }
    bool failed = false;

private:
    struct Median {
        std::string name;
        double time;  ///< of an iteration, in ns
    };
    double of(std::string_view name) const {
        for (const Median& median : medians)
            if (median.name == name) return median.time;
        return 0;
    }
    std::vector<Median> medians;
};

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
    using namespace bench;
    benchmark::Initialize(&argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: tramostream_bench FILE FOLDER [Google Benchmark's options]\n");
        return 2;
    }
    path = argv[1];
    output = std::string(argv[2]) + "/written.txt";
    std::remove(output.c_str());
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        std::perror(path.c_str());
        return 2;
    }
    size = static_cast<std::size_t>(status.st_size);
    for (const Row& row : rows)
        benchmark::RegisterBenchmark(row.name, row.run)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);
    Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return table.failed ? 1 : 0;
}
