// The line buffers that the streams and the record models exchange.
#pragma once
#include <array>
#include <cstdint>
#include <string>

/// A record line: 512 characters; the first is the letter of the record kind.
///
/// The buffer of a record, parameter or tag line holds its characters, one UTF-16 code unit each, and its line ending, CR
/// LF. Columns are 1-based: column c is index c - 1. Buffers are value types.
///
/// A line that iFileStream::getline has read keeps its CR and has a zero instead of the LF. Models ignore these two
/// elements, but oFileStream::putLine writes them. To write a buffer that was read: `line.back() = 0x0A;`
///
/// @snippet docs/examples.cpp TramoLine
struct TramoLine {
    using tramoLine_t = std::array<wchar_t, 514>;  ///< the buffer
};

/// A parameter line: 40 characters. Otherwise as TramoLine.
struct ParameterLine {
    using parameterLine_t = std::array<wchar_t, 42>;  ///< the buffer
};

/// A tag line: 23 characters; the last is always written as a space. Otherwise as TramoLine.
struct TagLine {
    using tagLine_t = std::array<wchar_t, 25>;  ///< the buffer
};

/// A key line: the text of one JSON object, and its ten values. iFileStream::getline sets only `line`; tramo::parseKeyLine
/// reads the values. Absent values: empty texts, -1 for the parts of the address.
///
/// @snippet docs/examples.cpp AMRKeyLine
struct AMRKeyLine {
    wchar_t lead = L';';                                       ///< the optional character before the text
    std::wstring line;                                         ///< the text
    std::wstring serialNumber;                                 ///< of the module
    std::wstring hardwareVersion;                              ///< of the module
    std::wstring firmwareVersion;                              ///< of the module
    std::array<std::int32_t, 4> wmBusAddress{-1, -1, -1, -1};  ///< meter ID, manufacturer, version, device type
    std::wstring wmBusKeyMode5;                                ///< a secret
    std::wstring wmBusKeyMode7;                                ///< a secret
    std::wstring wmBusKeyExchangeKey;                          ///< a secret
};
