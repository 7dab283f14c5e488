// What anonymizing does with the columns of a line: data, from which lines are changed and the change is proven.
#pragma once
#include "tramostream/linekind.h"
#include "tramostream/personal.h"
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tramo {

struct LinePart {
    enum Kind : char {
        Kept,       // a value, or a text without words
        Label,      // a text that is kept unless one of its words is replaced elsewhere
        Text,       // is replaced
        RadioData,  // is replaced; hexadecimal digits stay hexadecimal
        Masked,     // cannot be read: nobody knows what it is
        Date,       // a valid date, or date and time
        Year,       // a valid one
        Latitude,   // a finite number
        Longitude,  // a finite number
        Altitude,   // a finite number
    };
    Kind kind;
    std::uint16_t first, size;  // an index in the line, and characters
    bool identifies = false;    // of Text: a name, an address or a number, no word of which may be in a text that is kept

    bool isReplaced() const { return kind == Text || kind == RadioData || kind == Masked; }
    std::wstring_view of(std::wstring_view line) const { return line.substr(first, size); }
};

// Finds the parts of lines. The areas are those of the last round line.
class LineParts {
public:
    void begin() { areas.clear(); }

    // The line has columns: all its filled ones are in one of parts(). Otherwise, it is masked as a whole, or a key line. A line
    // that lost or gained characters has columns if all fields but the one where that happened are valid after the shift.
    enum class Shape : char { Columns, Malformed, Key };
    Shape take(std::wstring_view text, std::optional<LineKind> kind);

    std::span<const LinePart> parts() const { return found; }

    // The line, with at least the length of its kind; valid until the next call.
    std::wstring_view padded() const { return {line.data(), line.size()}; }

private:
    struct AreaColumns {
        int first, end;  // indices in the line
    };
    struct Sink;

    void takeRecord(const RecordKind& kind);
    bool takeShifted(const RecordKind& kind, std::wstring_view text);
    void takeAreas();
    void addText(std::uint16_t first, std::uint16_t size, Personal holds);
    void addFreeText(std::uint16_t first, std::uint16_t width, Personal holds);
    void addGaps(const RecordKind& kind);

    std::vector<wchar_t> line{};
    std::vector<LinePart> found{};
    std::vector<AreaColumns> areas{};
};

}  // namespace tramo
