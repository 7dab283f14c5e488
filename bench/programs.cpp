// The commands of the tool as whole programs, including their start.
#include "bench/data.h"
#include "bench/process.h"
#include "bench/table.h"
#include <cstdio>
#include <stdexcept>
#include <tramostream/check.h>

namespace bench {

namespace {

struct Program {
    std::string name, kind;
    std::vector<std::string> words;
    bool writes = false;
    Goal goal = {};
    int encoding = StrConv::ENCODING_ANSI;
    int status = 0;
    bool byClock = false;
};

void run(benchmark::State& state, const Options& options, const Program& program) {
    const DataFile file = dataFile(options, program.kind, program.encoding);
    std::vector<std::string> command{options.tramo};
    command.insert(command.end(), program.words.begin(), program.words.end());
    command.push_back(file.path);
    const std::string written = options.folder + "/exported";
    if (program.writes) command.insert(command.end(), {"-o", written});
    for (auto _ : state) {
        std::remove(written.c_str());
        warmUpMemory(2 * file.bytes);
        const Usage usage = runProgram(command);
        if (usage.status != program.status) throw std::runtime_error("exit code " + std::to_string(usage.status));
        state.SetIterationTime(program.byClock ? usage.elapsed : usage.seconds);
    }
    std::remove(written.c_str());
    setWork(state, file.records, file.bytes, file.characters);
}

// `tramo check` of a whole file without the rules about rounds.
std::vector<std::string> checkWithoutRounds() {
    std::vector<std::string> words{"check", "-j", "1"};
    for (const tramo::Rule& rule : tramo::rules())
        if (isAboutRounds(rule)) words.insert(words.end(), {"--rule", std::string(rule.name) + "=off"});
    return words;
}

}  // namespace

void addPrograms(std::vector<Row>& rows, const Options& options) {
    const std::string section = "programs", subscriber = "meter subscriber", mixed = "mixed";
    const auto atMost = [&](double limit, const char* program) { return Goal{limit, fullName(section, program), Goal::Record}; };
    const Goal nearHandTuned{1.8, fullName(references, "hand-tuned"), Goal::Record};
    const std::vector<std::string> check{"check", "-j", "1"}, checkOnTwo{"check", "-j", "2"};
    const Program programs[] = {
        {"tramo check", subscriber, check, false, nearHandTuned},
        {"tramo check, mixed", mixed, check, false, nearHandTuned},
        {"tramo check, lines by themselves", mixed, {"check", "-j", "1", "--lines", "1-999999999999"}},
        {"tramo check, with a diagnosis", mixed, checkWithoutRounds(), false, atMost(1.1, "tramo check, lines by themselves")},
        {"tramo check, every rule", mixed, check},
        {"tramo check, mixed, UTF-16", mixed, check, false, atMost(1.5, "tramo check, mixed"), StrConv::ENCODING_UTF16LE},
        {.name = "tramo check, random dates",
            .kind = "random dates",
            .words = check,
            .goal = atMost(4, "tramo check, mixed"),
            .status = 1},
        {.name = "tramo check, every field bad",
            .kind = "every field bad",
            .words = check,
            .goal = atMost(4, "tramo check, mixed"),
            .status = 1},
        {.name = "tramo check, by the clock", .kind = subscriber, .words = check, .byClock = true},
        {.name = "tramo check on two threads, by the clock",
            .kind = subscriber,
            .words = checkOnTwo,
            .goal = atMost(1 / 1.8, "tramo check, by the clock"),
            .byClock = true},
        {"tramo stats, mixed", mixed, {"stats"}},
        {"tramo export --to jsonl", subscriber, {"export", "--to", "jsonl"}, true},
        {"tramo export --to sqlite", subscriber, {"export", "--to", "sqlite", "--table", "records"}, true},
        {"tramo export --to jsonl, mixed", mixed, {"export", "--to", "jsonl"}, true},
        {"tramo export --to sqlite, mixed", mixed, {"export", "--to", "sqlite", "--table", "records"}, true},
    };
    for (const Program& program : programs)
        rows.push_back({.section = section,
            .name = program.name,
            .run = [&options, program](benchmark::State& state) { run(state, options, program); },
            .goal = program.goal,
            .tellsTime = true});
}

}  // namespace bench
