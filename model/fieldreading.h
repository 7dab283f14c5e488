// Reads the values of a line without a model: what the parser needs of each row, as plain data, and the one loop that
// follows it, for lines of bytes, UTF-16 units and wide characters.
//
// The parser of the models (frame.h) defines what a line means. decodeLine() gives the same values and faults; decode_test and
// fuzz/decode.cpp hold the two together.
#pragma once
#include "convert/digits.h"
#include "convert/reading.h"
#include "model/blankmap.h"
#include "tramostream/fields.h"
#include "tramostream/personal.h"
#include <span>

namespace tramo {

// The code characters that a field can hold, all of them ASCII.
struct CodeSet {
    std::uint64_t low = 0, high = 0;  // the characters 0 to 63, 64 to 127

    constexpr void add(wchar_t code) { (code < 64 ? low : high) |= std::uint64_t{1} << (code & 63); }
    template <class Char> constexpr bool has(Char c) const {
        const std::uint32_t code = codec::codeOf(c);
        return code < 128 && ((code < 64 ? low : high) >> (code & 63) & 1) != 0;
    }
};

// How a field is read, without its model.
struct FieldReading {
    std::uint16_t first, width;  // an index, unlike a column
    std::uint16_t field, into;   // indices in RecordKind::fields: of the field, and of the one whose value it is read into
    FieldKind kind;
    bool isLong;    // Integer: 64 bits
    wchar_t blank;  // a blank field is read as this character; 0: it is absent
    CodeSet codes;  // Code only
    Personal holds = Personal::No;
    bool overlaid = false;  // shares its columns with the previous field
    bool returned = false;  // the field agent may change it
};

// The text of a field: its columns, or the text that it is read as because they are blank.
template <class Char> struct FilledText {
    const Char* text;
    std::uint32_t blanks = 0;  // leading white space characters; 0 in a wide field, where they are not counted
    std::uint32_t size = 0;    // without trailing white space
    bool isInLine = true;
    std::basic_string_view<Char> view() const { return {text, size}; }
};

namespace detail {

// Reads one field of this kind that is not blank. Returns false if its text cannot be read.
template <FieldKind kind, class Char>
bool decodeAs(const FieldReading& field, const FilledText<Char>& filled, const zone::Clock& clock, auto& sink) {
    const std::basic_string_view<Char> text = filled.view();
    const auto take = [&](auto& value) {
        auto rest = text.substr(filled.blanks);
        return codec::takeInteger(rest, value) == codec::Outcome::Good;
    };
    const unsigned before = filled.isInLine ? field.first + filled.size : 0;  // characters that are readable
    const auto readInteger = [&](auto value) {
        if (!codec::readPlainInteger(filled.text + filled.size, filled.size - filled.blanks, before, value) && !take(value))
            return false;
        sink.integer(field, value, filled);
        return true;
    };
    const auto readTime = [&](codec::DateFormat format) {
        const long32 seconds = codec::readDate(text, format, clock);
        if (seconds < 0) return false;
        sink.time(field, seconds, filled);
        return true;
    };
    if constexpr (kind == FieldKind::Text) sink.text(field, filled);
    if constexpr (kind == FieldKind::Integer) return field.isLong ? readInteger(0LL) : readInteger(0);
    if constexpr (kind == FieldKind::Decimal) {
        double value = 0;
        if (!codec::readPlainDecimal(filled.text + filled.size, filled.size - filled.blanks, before, value) &&
            !codec::readDecimal(text.substr(filled.blanks), value))
            return false;
        sink.decimal(field, value, filled);
    }
    if constexpr (kind == FieldKind::Date) return readTime(codec::DateFormat::Date);
    if constexpr (kind == FieldKind::DateTime) return readTime(codec::DateFormat::DateTime);
    if constexpr (kind == FieldKind::Year) {
        int number = 0;  // a year must be a number; which one it is never fails
        if (!take(number)) return false;
        sink.time(field, codec::readDate(text, codec::DateFormat::Year, clock), filled);
    }
    if constexpr (kind == FieldKind::Code) {
        if (!field.codes.has(*text.data())) return false;
        sink.code(field, static_cast<wchar_t>(*text.data()), filled);
    }
    if constexpr (kind == FieldKind::Flag) sink.flag(field, *text.data() == '1', filled);
    if constexpr (kind == FieldKind::AlarmFlags) sink.alarms(field, codec::readAlarmFlags(text), filled);
    return true;
}

// The same for a field of any kind.
template <class Char>
bool decodeFilled(const FieldReading& field, const FilledText<Char>& filled, const zone::Clock& clock, auto& sink) {
    switch (field.kind) {
    case FieldKind::Text: return decodeAs<FieldKind::Text>(field, filled, clock, sink);
    case FieldKind::Integer: return decodeAs<FieldKind::Integer>(field, filled, clock, sink);
    case FieldKind::Decimal: return decodeAs<FieldKind::Decimal>(field, filled, clock, sink);
    case FieldKind::Date: return decodeAs<FieldKind::Date>(field, filled, clock, sink);
    case FieldKind::DateTime: return decodeAs<FieldKind::DateTime>(field, filled, clock, sink);
    case FieldKind::Year: return decodeAs<FieldKind::Year>(field, filled, clock, sink);
    case FieldKind::Code: return decodeAs<FieldKind::Code>(field, filled, clock, sink);
    case FieldKind::Flag: return decodeAs<FieldKind::Flag>(field, filled, clock, sink);
    case FieldKind::AlarmFlags: return decodeAs<FieldKind::AlarmFlags>(field, filled, clock, sink);
    }
    return false;
}

}  // namespace detail

// Returns the readings of a record kind, in the order of its rows; nothing if the kind is not one of recordKinds().
std::span<const FieldReading> readingsOf(const RecordKind& kind);

// Hands the fields of a line that are not blank to the sink, in the order of the record's rows, each by one of these calls:
//
//     sink.text(field, filled)              sink.integer(field, value, filled)   an int or a long long
//     sink.decimal(field, value, filled)    sink.time(field, seconds, filled)    dates::noTime: a year that is read as absent
//     sink.code(field, wchar_t, filled)     sink.flag(field, bool, filled)
//     sink.alarms(field, bits, filled)      sink.faulty(field, filled)           the text cannot be read
//
// The value belongs to the field with the index `field.into`; of several values of one field, the last one counts. A field
// without a value is absent. Allocates nothing unless a number is longer than 1,000 characters.
template <std::size_t Size, class Char>
void decodeLine(std::span<const FieldReading> fields, const Char* line, const BlankMap<Size, Char>& filledColumns, auto& sink) {
    const zone::Clock clock;
    for (const FieldReading& field : fields) {
        const auto [blanks, size] = filledColumns.text(field.first, field.width);
        const auto blank = static_cast<Char>(field.blank);
        FilledText<Char> filled{line + field.first, blanks, size};
        if (size == 0) {
            if (blank == 0) continue;
            filled = {&blank, 0, 1, false};
        }
        if (!detail::decodeFilled(field, filled, clock, sink)) sink.faulty(field, filled);
    }
}

}  // namespace tramo
