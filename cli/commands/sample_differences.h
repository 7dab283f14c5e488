// Puts differences from the exported round into a returned one, and notes them.
#pragma once
#include "cli/commands/sample_random.h"
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <tramostream/fields.h>

namespace tramo::cli::sample {

class Differences {
public:
    using Write = std::function<void(const RecordKind& kind, std::string_view text)>;

    /// In this share of the meters and rounds.
    Differences(double rate, std::uint64_t chosenSeed);

    /// Writes the line, another one, several or none. What it does depends on its name alone; see LineSink.
    void meet(const RecordKind& kind, std::string_view text, std::uint64_t name, const Write& write);

    /// The differences to expect, as JSON lines; handed over once.
    std::string taken();

private:
    void change(
        const RecordKind& kind, std::string_view text, std::string_view field, const std::string& serial, const Write& write);
    void expect(std::string_view what, const std::string& serial, const RecordKind& kind, std::string_view field = {});

    const std::uint64_t limit, seed;
    std::string serial{};  ///< of the last meter
    std::string expected{};
};

}  // namespace tramo::cli::sample
