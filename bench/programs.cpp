// The commands of the tool as whole programs, including their start.
#include "bench/data.h"
#include "bench/process.h"
#include "bench/table.h"
#include <cstdio>
#include <stdexcept>

namespace bench {

void addPrograms(std::vector<Row>& rows, const Options& options) {
    auto add = [&](const char* name, const char* kind, std::vector<std::string> words, bool writes, Goal goal = {}) {
        auto measured = [&options, kind = std::string(kind), words, writes](benchmark::State& state) {
            const DataFile file = dataFile(options, kind, StrConv::ENCODING_ANSI);
            std::vector<std::string> command{options.tramo};
            command.insert(command.end(), words.begin(), words.end());
            command.push_back(file.path);
            const std::string written = options.folder + "/exported";
            if (writes) command.insert(command.end(), {"-o", written});
            for (auto _ : state) {
                std::remove(written.c_str());
                warmUpMemory(2 * file.bytes);
                const Usage usage = runProgram(command);
                // Lines without their related lines are not an error here.
                if (usage.status != 0) throw std::runtime_error("exit code " + std::to_string(usage.status));
                state.SetIterationTime(usage.seconds);
            }
            std::remove(written.c_str());
            setWork(state, file.records, file.bytes, file.characters);
        };
        rows.push_back({.section = "programs", .name = name, .run = measured, .goal = goal, .tellsTime = true});
    };
    const char* subscriber = "meter subscriber";
    add("tramo check, one thread", subscriber, {"check", "-j", "1"}, false,
        {1.5, "meter subscriber, ANSI/(b) and model, all getters", Goal::Record});
    add("tramo export --to jsonl", subscriber, {"export", "--to", "jsonl"}, true);
    add("tramo export --to sqlite", subscriber, {"export", "--to", "sqlite"}, true);
    add("tramo check, mixed", "mixed", {"check"}, false);
    add("tramo export --to jsonl, mixed", "mixed", {"export", "--to", "jsonl"}, true);
    add("tramo export --to sqlite, mixed", "mixed", {"export", "--to", "sqlite"}, true);
}

}  // namespace bench
