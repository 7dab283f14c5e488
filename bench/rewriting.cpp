// tramo rewrite and convert: of a file that is already as the library writes it, and of files that are not.
#include "bench/data.h"
#include "bench/process.h"
#include "bench/table.h"
#include <cstdio>
#include <stdexcept>

namespace bench {

void addRewriting(std::vector<Row>& rows, const Options& options) {
    const struct {
        const char* name;
        std::vector<std::string> ofAnsi, ofUtf16;
        double limit;
    } commands[] = {
        {"tramo rewrite, mixed", {"rewrite"}, {"rewrite"}, 4},
        {"tramo convert, mixed", {"convert", "--encoding", "utf16le"}, {"convert", "--encoding", "ansi"}, 2},
    };
    const std::string section = "rewriting";
    const auto add = [&](const std::string& name, const std::vector<std::string>& words, const std::string& kind, int encoding,
                         const Goal& goal) {
        auto measured = [&options, encoding, words, kind](benchmark::State& state) {
            const DataFile file = dataFile(options, kind, encoding);
            const std::string written = options.folder + "/written";
            std::vector<std::string> whole{options.tramo};
            whole.insert(whole.end(), words.begin(), words.end());
            whole.insert(whole.end(), {file.path, "-o", written});
            for (auto _ : state) {
                std::remove(written.c_str());
                warmUpMemory(2 * file.bytes);
                const Usage usage = runProgram(whole);
                // Lines with a loss are copied and reported.
                if (usage.status != 0 && usage.status != 1) throw std::runtime_error("exit code " + std::to_string(usage.status));
                state.SetIterationTime(usage.seconds);
            }
            std::remove(written.c_str());
            setWork(state, file.records, file.bytes, file.characters);
        };
        rows.push_back({.section = section, .name = name, .run = measured, .goal = goal, .tellsTime = true});
    };
    for (const auto& command : commands) {
        const std::string name = command.name;
        const Goal ofUtf16{1.5, fullName(section, name), Goal::Record};
        add(name, command.ofAnsi, "mixed", StrConv::ENCODING_ANSI,
            {command.limit, fullName(references, "hand-tuned"), Goal::Record});
        add(name + ", UTF-16", command.ofUtf16, "mixed", StrConv::ENCODING_UTF16LE, ofUtf16);
    }
    for (const std::string kind : {"random dates", "every field bad"})
        add("tramo rewrite, " + kind, {"rewrite"}, kind, StrConv::ENCODING_ANSI,
            {4, fullName(section, "tramo rewrite, mixed"), Goal::Record});
}

}  // namespace bench
