// Key lines: from the text of one JSON object to the ten values in it.
#pragma once
#include "export.h"
#include "tramoline.h"
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tramo {

/// One of the values of a key line. Points to constants.
///
/// @snippet docs/examples.cpp KeyValue
struct KeyValue {
    std::string_view name;                     ///< of its member in the JSON object, exactly
    std::string_view label;                    ///< in AMRKeyTramoModel::toString
    std::wstring AMRKeyLine::*text = nullptr;  ///< where it is held; nullptr: it is a part of the address
    std::size_t part = 0;                      ///< which part of AMRKeyLine::wmBusAddress
    bool secret = false;                       ///< a key: to be masked wherever the user has not asked for it

    /// Whether the line has no such value: an empty text, or -1.
    bool isAbsent(const AMRKeyLine& line) const { return text ? (line.*text).empty() : line.wmBusAddress[part] == -1; }
};

// clang-format off
/// All of them. A value's place here is what AMRKeyTramoModel::getMandatoryErrors names in the place of a column.
inline constexpr KeyValue keyValues[] = {
    {.name = "serialNumber",                .label = "SerialNumber",                .text = &AMRKeyLine::serialNumber},
    {.name = "hardwareVersion",             .label = "HardwareVersion",             .text = &AMRKeyLine::hardwareVersion},
    {.name = "firmwareVersion",             .label = "FirmwareVersion",             .text = &AMRKeyLine::firmwareVersion},
    {.name = "wmBusAddress_MeterId",        .label = "WmBusAddress_MeterId",        .part = 0},
    {.name = "wmBusAddress_ManufacturerId", .label = "WmBusAddress_ManufacturerId", .part = 1},
    {.name = "wmBusAddress_Version",        .label = "WmBusAddress_Version",        .part = 2},
    {.name = "wmBusAddress_DeviceType",     .label = "WmBusAddress_DeviceType",     .part = 3},
    {.name = "wmBusKey_Mode5",              .label = "WmBusKey_Mode5",              .text = &AMRKeyLine::wmBusKeyMode5,       .secret = true},
    {.name = "wmBusKey_Mode7",              .label = "WmBusKey_Mode7",              .text = &AMRKeyLine::wmBusKeyMode7,       .secret = true},
    {.name = "wmBusKeyExchangeKey",         .label = "WmBusKeyExchangeKey",         .text = &AMRKeyLine::wmBusKeyExchangeKey, .secret = true},
};
// clang-format on

/// The longest JSON text that is taken, in bytes of UTF-8.
inline constexpr std::size_t longestKeyLine = 65536;

/// Why a text is no key line.
struct KeyLineError {
    std::string text;    ///< a sentence for people, which quotes nothing of the line
    std::size_t offset;  ///< the place in the text, in characters from its start

    /// The 1-based column of that place.
    std::size_t column() const { return offset + 1; }
};

/// A member of the JSON object that was not taken. The format passes over it in silence.
struct KeyLineRemark {
    /// Why a member was not taken.
    enum Reason : char {
        Unknown,     ///< none of the ten values has this name
        Duplicate,   ///< the name has been there before; the first one counts
        WrongType,   ///< no string, or no whole number, where the value needs one
        OutOfRange,  ///< a number that needs more than 32 bits
    };
    Reason reason;      ///< why it was not taken
    std::wstring name;  ///< the member's
    /// Whether both tell the same.
    bool operator==(const KeyLineRemark&) const = default;
};

/// What parseKeyLine has found. With an error there are no values and no remarks.
struct ParsedKeyLine {
    AMRKeyLine line;                     ///< its member `line` is the whole text as given
    std::optional<KeyLineError> error;   ///< why it is no key line; none: it is one
    std::vector<KeyLineRemark> remarks;  ///< in the order of the members
};

/// Takes the ten values out of a key line as AMRKeyTramoModel's JSON constructor does.
///
/// The text is one JSON object of at most `longestKeyLine` bytes, blanks around it included. A ';' before it and a CR
/// behind it are allowed and not counted. Any other text around it, another JSON value, a zero character and a surrogate
/// without its partner are errors; only a low surrogate that is written as an escape ("\udc00") becomes U+FFFD, three
/// times. Nesting of any depth is harmless. Throws nothing for bad content. Leaves no copy of the keys in memory but those
/// in the answer.
///
/// @snippet docs/examples.cpp parseKeyLine
TRAMO_EXPORT ParsedKeyLine parseKeyLine(std::wstring_view text);

}  // namespace tramo
