// The line buffers that travel between the streams and the record models.
//
// A buffer holds the line's characters, one UTF-16 code unit each, and its line end, CR LF. Columns are 1-based:
// column c is index c - 1. A line that iFileStream::getline has read keeps its CR and has a zero in place of the LF;
// models never look at these two places.
#pragma once
#include <array>
#include <cstdint>
#include <string>

/// A record line: 512 characters, the first of which tells the record's kind.
struct TramoLine {
    using tramoLine_t = std::array<wchar_t, 514>;
};

/// A parameter line: 40 characters.
struct ParameterLine {
    using parameterLine_t = std::array<wchar_t, 42>;
};

/// A tag line: 23 characters, the last of which is always blank.
struct TagLine {
    using tagLine_t = std::array<wchar_t, 25>;
};

/// A key line: the text of one JSON object, and the ten values that its host has taken out of it.
/// iFileStream::getline writes `line` only. Absent texts are empty, absent parts of the address are -1.
struct AMRKeyLine {
    wchar_t lead = L';';
    std::wstring line;
    std::wstring serialNumber;
    std::wstring hardwareVersion;
    std::wstring firmwareVersion;
    std::array<std::int32_t, 4> wmBusAddress{-1, -1, -1, -1};  ///< meter identification, manufacturer, version, device type
    std::wstring wmBusKeyMode5;
    std::wstring wmBusKeyMode7;
    std::wstring wmBusKeyExchangeKey;
};
