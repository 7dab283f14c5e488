// Key lines: parses the ten values in the text of a JSON object.
#pragma once
#include "export.h"
#include "tramoline.h"
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

/// One of the ten values of a key line. Refers to constants only.
///
/// @snippet docs/examples.cpp KeyValue
struct KeyValue {
    std::string_view name;                     ///< the exact name of its JSON member
    std::string_view label;                    ///< the label in AMRKeyTramoModel::toString
    std::wstring AMRKeyLine::*text = nullptr;  ///< the member that holds it; nullptr: a part of the address
    std::size_t part = 0;                      ///< the index in AMRKeyLine::wmBusAddress
    bool secret = false;                       ///< a key: mask it unless the user asks for it
    bool identifies = false;                   ///< tells the module from all others

    /// Returns whether the value is absent in the line: an empty text, or -1.
    bool isAbsent(const AMRKeyLine& line) const { return text ? (line.*text).empty() : line.wmBusAddress[part] == -1; }
};

// clang-format off
/// The ten values. AMRKeyTramoModel::getMandatoryErrors reports their index here instead of a column.
inline constexpr KeyValue keyValues[] = {
    {.name = "serialNumber",                .label = "SerialNumber",                .text = &AMRKeyLine::serialNumber,        .identifies = true},
    {.name = "hardwareVersion",             .label = "HardwareVersion",             .text = &AMRKeyLine::hardwareVersion},
    {.name = "firmwareVersion",             .label = "FirmwareVersion",             .text = &AMRKeyLine::firmwareVersion},
    {.name = "wmBusAddress_MeterId",        .label = "WmBusAddress_MeterId",        .part = 0, .identifies = true},
    {.name = "wmBusAddress_ManufacturerId", .label = "WmBusAddress_ManufacturerId", .part = 1},
    {.name = "wmBusAddress_Version",        .label = "WmBusAddress_Version",        .part = 2},
    {.name = "wmBusAddress_DeviceType",     .label = "WmBusAddress_DeviceType",     .part = 3},
    {.name = "wmBusKey_Mode5",              .label = "WmBusKey_Mode5",              .text = &AMRKeyLine::wmBusKeyMode5,       .secret = true},
    {.name = "wmBusKey_Mode7",              .label = "WmBusKey_Mode7",              .text = &AMRKeyLine::wmBusKeyMode7,       .secret = true},
    {.name = "wmBusKeyExchangeKey",         .label = "WmBusKeyExchangeKey",         .text = &AMRKeyLine::wmBusKeyExchangeKey, .secret = true},
};
// clang-format on

/// The maximum length of the JSON text, in bytes of UTF-8.
inline constexpr std::size_t longestKeyLine = 65536;

/// Why a key line is malformed.
struct KeyLineError {
    std::string text;    ///< a sentence for people; never quotes the line
    std::size_t offset;  ///< the position in the text, in characters from its start

    /// Returns the 1-based column of that position.
    std::size_t column() const { return offset + 1; }
};

/// A member of the JSON object that was ignored. The format ignores it without an error.
struct KeyLineRemark {
    /// Why a member was ignored.
    enum Reason : char {
        Unknown,     ///< none of the ten values has this name
        Duplicate,   ///< the name occurs before; the first member counts
        WrongType,   ///< not a string, or not an integer, as the value requires
        OutOfRange,  ///< a number outside the signed 32-bit range
    };
    Reason reason;      ///< why it was ignored
    std::wstring name;  ///< the name of the member
    /// Compares both members.
    bool operator==(const KeyLineRemark&) const = default;
};

/// The result of parseKeyLine. If there is an error, there are no values and no remarks.
struct ParsedKeyLine {
    AMRKeyLine line;                     ///< the member `line` is the whole text as given
    std::optional<KeyLineError> error;   ///< why the line is malformed; none: it is valid
    std::vector<KeyLineRemark> remarks;  ///< in the order of the members
};

/// Reads the ten values of a key line as the JSON constructor of AMRKeyTramoModel does.
///
/// The text is one JSON object of at most `longestKeyLine` bytes, including surrounding white space. A ';' before it and a
/// CR after it are allowed and do not count. Errors are: any other text around it, another JSON value, a zero character,
/// and half of a surrogate pair; only a low surrogate written as an escape ("\udc00") becomes U+FFFD, three times. Nesting
/// of any depth is safe. Does not throw for bad content. Leaves no copy of the keys in memory except in the result.
///
/// @snippet docs/examples.cpp parseKeyLine
TRAMO_EXPORT ParsedKeyLine parseKeyLine(std::wstring_view text);

}  // namespace tramo
