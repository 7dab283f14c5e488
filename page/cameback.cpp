#include "page/cameback.h"
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace tramo::page {

namespace {

// The number of meters of rounds of these codes that are read; nullopt: not all rounds have a code, or there is none.
std::optional<std::size_t> readIn(const RoundFile& file, std::vector<std::string>& codes) {
    std::size_t read = 0;
    for (const Round& round : file.rounds()) {
        codes.push_back(round.code());
        read += round.read();
    }
    std::ranges::sort(codes);
    return codes.empty() || codes.front().empty() ? std::nullopt : std::optional(read);
}

}  // namespace

bool cameBack(const RoundFile& exported, const RoundFile& returned) {
    std::vector<std::string> before, after;
    const auto read = readIn(exported, before), readAfter = readIn(returned, after);
    return read && readAfter && before == after && *read < *readAfter;
}

}  // namespace tramo::page
