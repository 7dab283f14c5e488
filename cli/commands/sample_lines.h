// The lines of sample rounds, as the library writes them.
#pragma once
#include "cli/commands/sample_meters.h"
#include "cli/commands/sample_town.h"
#include <cstdint>
#include <memory>
#include <string_view>
#include <tramostream/fields.h>

namespace tramo::cli::sample {

/// Where lines go.
class LineSink {
public:
    virtual ~LineSink() = default;
    /// `text` has a byte a character and no line ending. `name` is the line's own number: it is the same whichever other
    /// lines the file has.
    virtual void write(const RecordKind& kind, std::string_view text, std::uint64_t name) = 0;
};

/// The lines of rounds, as exported or as returned.
class RoundLines {
public:
    RoundLines(const Calendar& calendar, std::uint64_t seed, bool isReturned, LineSink& sink);
    ~RoundLines();
    RoundLines(const RoundLines&) = delete;
    RoundLines& operator=(const RoundLines&) = delete;

    void begin(std::uint32_t round, const Quarter& quarter, Day imported);
    void meter(const Meter& meter, const Home& home);
    void end(std::uint32_t meters);

private:
    struct Forms;
    std::unique_ptr<Forms> forms;
    const std::uint64_t seed;
    const bool returned;
    LineSink& out;
};

}  // namespace tramo::cli::sample
