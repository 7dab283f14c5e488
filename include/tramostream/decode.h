// The values of a line straight from the bytes of a file, without a model: for programs that read many lines and few values.
#pragma once
#include "export.h"
#include "fields.h"
#include <cstdint>
#include <span>
#include <string_view>

namespace tramo {

/// The value of one field of a line, and where its text stands. A plain value; refers to nothing.
struct DecodedValue {
    bool present = false;     ///< there is a value; otherwise, a model has Field::defaultValue
    bool unreadable = false;  ///< the field's text cannot be parsed: a model reports Field::parseError
    std::uint16_t first = 0;  ///< index in the line of the text that the value is read from
    std::uint16_t size = 0;   ///< characters in this text, without trailing white space; 0: the columns are blank
    /// Integer, AlarmFlags: the value. Code: the code character. Flag: 0 or 1. Date, DateTime, Year: seconds since 1970-01-01
    /// 00:00 UTC, the lowest `long32` for a year that is read as absent. Otherwise 0.
    long long integer = 0;
    double real = 0;  ///< Decimal: the value. Otherwise 0.
};

/// @name Decode a line of a kind
/// Set `values[field.index]` for each field of the kind to what its model reads from the line; fields that are only shown
/// (column 0) and fields that are read into another one are absent. If two fields are read into one value, the second one
/// counts. The letter in column 1 is not compared.
///
/// `line` holds at least `kind.length` characters, and `values` at least `kind.fields.size()` elements; otherwise, the function
/// returns false and changes nothing. Prints nothing, does not throw, does not allocate.
///
/// @snippet docs/examples.cpp decode
/// @{
TRAMO_EXPORT bool decode(const RecordKind& kind, std::string_view line, std::span<DecodedValue> values);     ///< ANSI bytes
TRAMO_EXPORT bool decode(const RecordKind& kind, std::u16string_view line, std::span<DecodedValue> values);  ///< UTF-16 units
/// @}

}  // namespace tramo
