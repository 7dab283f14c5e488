// The references: the speed of the machine and of a program for this one purpose.
#include "bench/data.h"
#include "bench/handtuned.h"
#include "bench/process.h"
#include "bench/table.h"
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace bench {

namespace {

class Mapping {
public:
    Mapping(const DataFile& file, int flags) : size(file.bytes) {
        const int descriptor = ::open(file.path.c_str(), O_RDONLY | O_CLOEXEC);
        start = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE | flags, descriptor, 0);
        ::close(descriptor);
        if (start == MAP_FAILED) throw std::runtime_error("cannot map " + file.path);
    }
    ~Mapping() { ::munmap(start, size); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    std::uint64_t sum() const {
        std::uint64_t result = 0, word;
        for (std::size_t at = 0; at + sizeof word <= size; at += sizeof word) {
            std::memcpy(&word, static_cast<const char*>(start) + at, sizeof word);
            result += word;
        }
        return result;
    }

private:
    void* start;
    std::size_t size;
};

}  // namespace

void addReferences(std::vector<Row>& rows, const Options& options) {
    const DataFile file = dataFile(options, "meter subscriber", StrConv::ENCODING_ANSI);
    rows.push_back({references, "memory read", [file](benchmark::State& state) {
                        const Mapping mapping(file, MAP_POPULATE);
                        for (auto _ : state) benchmark::DoNotOptimize(mapping.sum());
                        setWork(state, file.records, file.bytes, file.characters);
                    }});
    rows.push_back({references, "memory read, mapped each time", [file](benchmark::State& state) {
                        for (auto _ : state) benchmark::DoNotOptimize(Mapping(file, 0).sum());
                        setWork(state, file.records, file.bytes, file.characters);
                    }});
    auto byHand = [&](const char* name, Loading loading) {
        rows.push_back({references, name, [file, loading](benchmark::State& state) {
                            const Sums expected = readByHand(file.path.c_str());
                            warmUpMemory(file.bytes);
                            for (auto _ : state)
                                if (readByHand(file.path.c_str(), loading) != expected) throw std::runtime_error("other values");
                            setWork(state, file.records, file.bytes, file.characters);
                        }});
    };
    byHand("hand-tuned", Loading::InBlocks);
    byHand("hand-tuned, file read whole", Loading::Whole);
}

}  // namespace bench
