// The line buffers that travel between the streams and the record models.
#pragma once
#include <array>
#include <cstdint>
#include <string>

/// A record line: 512 characters, the first of which tells the record's kind.
///
/// The buffer of a line, of this kind and the next two, holds its characters, one UTF-16 code unit each, and its line end,
/// CR LF. Columns are 1-based: column c is index c - 1. Buffers are values; whoever has one owns it.
///
/// A line that iFileStream::getline has read keeps its CR and has a zero in place of the LF. Models never look at these two
/// places, but oFileStream::putLine writes them. To write a buffer that was read: `line.back() = 0x0A;`
///
/// @snippet docs/examples.cpp TramoLine
struct TramoLine {
    using tramoLine_t = std::array<wchar_t, 514>;  ///< the buffer
};

/// A parameter line: 40 characters. As TramoLine for the rest.
struct ParameterLine {
    using parameterLine_t = std::array<wchar_t, 42>;  ///< the buffer
};

/// A tag line: 23 characters, the last of which is always blank. As TramoLine for the rest.
struct TagLine {
    using tagLine_t = std::array<wchar_t, 25>;  ///< the buffer
};

/// A key line: the text of one JSON object, and the ten values that its host has taken out of it.
/// iFileStream::getline writes `line` only. Absent texts are empty, absent parts of the address are -1.
///
/// @snippet docs/examples.cpp AMRKeyLine
struct AMRKeyLine {
    wchar_t lead = L';';                                       ///< what stands before the text, or does not
    std::wstring line;                                         ///< the text
    std::wstring serialNumber;                                 ///< of the module
    std::wstring hardwareVersion;                              ///< of the module
    std::wstring firmwareVersion;                              ///< of the module
    std::array<std::int32_t, 4> wmBusAddress{-1, -1, -1, -1};  ///< meter identification, manufacturer, version, device type
    std::wstring wmBusKeyMode5;                                ///< a secret
    std::wstring wmBusKeyMode7;                                ///< a secret
    std::wstring wmBusKeyExchangeKey;                          ///< a secret
};
