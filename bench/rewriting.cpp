// tramo rewrite and convert, of a file that is already as the library writes it.
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
    for (const auto& command : commands)
        for (const int encoding : {StrConv::ENCODING_ANSI, StrConv::ENCODING_UTF16LE}) {
            const bool isAnsi = encoding == StrConv::ENCODING_ANSI;
            auto measured = [&options, encoding, words = isAnsi ? command.ofAnsi : command.ofUtf16](benchmark::State& state) {
                const DataFile file = dataFile(options, "mixed", encoding);
                const std::string written = options.folder + "/written";
                std::vector<std::string> whole{options.tramo};
                whole.insert(whole.end(), words.begin(), words.end());
                whole.insert(whole.end(), {file.path, "-o", written});
                for (auto _ : state) {
                    std::remove(written.c_str());
                    warmUpMemory(2 * file.bytes);
                    const Usage usage = runProgram(whole);
                    // Lines with a loss are copied and reported.
                    if (usage.status != 0 && usage.status != 1)
                        throw std::runtime_error("exit code " + std::to_string(usage.status));
                    state.SetIterationTime(usage.seconds);
                }
                std::remove(written.c_str());
                setWork(state, file.records, file.bytes, file.characters);
            };
            const std::string section = "rewriting", name = command.name;
            const Goal goal = isAnsi ? Goal{command.limit, fullName(references, "hand-tuned"), Goal::Record}
                                     : Goal{1.5, fullName(section, name), Goal::Record};
            rows.push_back({.section = section,
                .name = name + (isAnsi ? "" : ", UTF-16"),
                .run = measured,
                .goal = goal,
                .tellsTime = true});
        }
}

}  // namespace bench
