// Damages lines of sample rounds, and notes what is wrong with them.
#pragma once
#include "cli/commands/sample_random.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tramostream/fields.h>
#include <vector>

namespace tramo::cli::sample {

/// A line on its way into the file: a byte a character, without its line ending.
struct Written {
    const RecordKind* kind;
    std::string text;
    bool carriageReturn = true;
    std::optional<std::size_t> halfPair{};  ///< where half of a surrogate pair takes the place of the character
};

class Faults {
public:
    Faults(double rateOfLines, bool isUtf16, std::uint64_t chosenSeed);

    /// Damages some lines. Which ones depends on their names alone; `number` counts them in the file.
    void meet(Written& line, std::uint64_t number, std::uint64_t name);

    /// The findings to expect, as JSON lines; handed over once.
    std::string taken();

private:
    struct Fault {
        const Field *field, *follower;
        bool blanked;
    };
    struct Possible {
        const RecordKind* kind;
        std::vector<Fault> fields{};
        const Field* harmless = nullptr;  ///< a text that may hold anything
    };

    Possible& of(const RecordKind& kind);
    bool damageField(Random& random, const Fault& fault, Written& line, std::uint64_t number);
    bool damageLine(Random& random, Written& line, std::uint64_t number);
    bool mayChangeLength(std::uint64_t number);
    void expect(std::uint64_t line, std::string_view rule, std::size_t column);
    void expect(std::uint64_t line, const RecordKind& kind, const Field& field, const TE::FieldError& error);

    const std::uint64_t limit;
    const bool utf16;
    const std::uint64_t seed;
    std::vector<Possible> possible{};
    std::uint64_t lengthsChanged = 0;
    std::string expected{};
};

}  // namespace tramo::cli::sample
