// How lines of sample rounds are written: one form for each kind of line.
#pragma once
#include "cli/commands/sample_calendar.h"
#include "cli/commands/sample_meters.h"
#include <algorithm>
#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <tramostream/fields.h>
#include <tramostream/linemodel.h>

namespace tramo::cli::sample {

const RecordKind& kindCalled(std::string_view name);
const Field& fieldCalled(const RecordKind& kind, std::string_view name);

/// A line that the library builds, for what all lines of its kind have in common.
class Draft {
public:
    explicit Draft(std::string_view kind) : model(LineModel::blank(kindCalled(kind))) {}

    Draft& put(std::string_view name, std::string_view text);
    Draft& put(std::string_view name, std::uint64_t number) { return put(name, fmt::format("{}", number)); }

    std::string built();

    const RecordKind& kind() const { return model.kind(); }

private:
    static FieldValue valueOf(const Field& field, std::string_view text);

    LineModel model;
};

/// Writes two digits.
void putTwo(char* at, unsigned number);

/// A kind of line: what all have in common, and the columns of what differs. Text is written at once into the columns, as the
/// library would write it, because a model for each line would take most of the time.
class Form {
public:
    explicit Form(Draft constants) : kind(constants.kind()), blank(constants.built()) {}

    const RecordKind& kind;
    std::string text{};

protected:
    struct Column {
        std::size_t at, width;
    };
    Column column(std::string_view name) const;
    static Column part(Column column, std::size_t from, std::size_t width) { return {column.at + from, width}; }

    void begin() { text = blank; }

    // The columns are still blank, or get a text of the same size or a longer one.
    void put(Column column, std::string_view content) { std::ranges::copy(content, room(column, content.size())); }
    void put(Column column, char code) { *room(column, 1) = code; }
    /// As "%lld" is written: on the right.
    void put(Column column, std::int64_t number) { putOnTheRight(column, number, 0, 0); }
    /// As "%f" is written: number / 10^scale, with so many decimals.
    void putDecimal(Column column, std::int64_t number, int scale, int decimals);
    void putDate(Column column, const Calendar& calendar, Day day) { put(column, calendar.digits(day)); }
    void putTime(Column column, const Calendar& calendar, Day day, std::int32_t minute);

private:
    char* room(Column column, std::size_t size);
    void putOnTheRight(Column column, std::int64_t number, int scale, int decimals);

    const std::string blank;
};

/// Distinguishes a meter from all others: a prefix, and a number of 7 digits that no other meter has there.
class Identity {
public:
    enum Mark { Serial, Corrected, NewSerial, Reference, ModuleReference, ModuleSerial, InternalSerial, Customer };

    Identity(const Calendar& knownCalendar, std::uint64_t seed) : calendar(knownCalendar) {
        Random random(seed, Purpose::Subscriber, 0);
        for (std::size_t mark = 0; mark < texts.size(); ++mark) {
            starts[mark] = mark == Corrected ? starts[Serial] : random.below(numbers);
            texts[mark] = std::string(prefixes[mark]) + "0000000";
        }
    }

    void set(const Meter& newMeter) { meter = &newMeter; }

    std::string_view operator[](Mark mark);

private:
    static constexpr std::uint32_t numbers = 10000000;
    static constexpr std::string_view prefixes[] = {"C00AB", "X00AB", "N24AB", "REF", "MODRADIO", "4C3", "0081", ""};
    // None has a factor in common with how many numbers there are: each goes through all of them.
    static constexpr std::uint64_t steps[] = {7368787, 7368787, 3141593, 5772157, 2718281, 1618033, 4669201, 9460731};

    const Calendar& calendar;
    const Meter* meter = nullptr;
    std::array<std::uint32_t, std::size(steps)> starts{};
    std::array<std::string, std::size(steps)> texts{};
    std::array<std::uint64_t, std::size(steps)> writtenFor{};  ///< the numbers of the meters that the texts are of
};

}  // namespace tramo::cli::sample
