// A key line: the identity and keys of one radio module.
#pragma once
#include "export.h"
#include "modelparts.h"
#include <cstdint>
#include <rapidjson/fwd.h>
#include <string>
#include <vector>

/// The identity and the wireless M-Bus keys of a radio module: ten values, which tramo::keyValues describes. The model is
/// made from the values of a key line or from its JSON object. It is immutable and builds no line.
///
/// A value type; does not throw for bad content. Absent values: empty texts, -1 for the parts of the address.
///
/// @snippet docs/examples.cpp AMRKeyTramoModel
class TRAMO_EXPORT AMRKeyTramoModel {
public:
    /// The type rapidjson::Value, for the constructor that takes JSON. It is only declared here; code that uses it includes
    /// <rapidjson/document.h>.
    using Json = rapidjson::GenericValue<rapidjson::UTF8<char>, rapidjson::MemoryPoolAllocator<rapidjson::CrtAllocator>>;

    /// Copies the line with its values, which the caller has set; ignores its text.
    AMRKeyTramoModel(AMRKeyLine& line);

    /// Reads the values from the members of a JSON object by name (tramo::KeyValue::name); the first member of a name
    /// counts. A member of the wrong type, or a number that is not a signed 32-bit integer, leaves its value absent without
    /// an error; a JSON value other than an object leaves every value absent. Zero characters in strings are kept; each
    /// invalid UTF-8 byte becomes U+FFFD. The caller's RapidJSON must have the configuration that the library was built with.
    AMRKeyTramoModel(const Json& value);

    // clang-format off
    std::wstring getSerialNumber() const                { return key.serialNumber; }
    std::wstring getHardwareVersion() const             { return key.hardwareVersion; }
    std::wstring getFirmwareVersion() const             { return key.firmwareVersion; }
    std::int32_t getWmBusAddressMeterId() const         { return key.wmBusAddress[0]; }
    std::int32_t getWmBusAddressManufacturerId() const  { return key.wmBusAddress[1]; }
    std::int32_t getWmBusAddressVersion() const         { return key.wmBusAddress[2]; }
    std::int32_t getWmBusAddressDeviceType() const      { return key.wmBusAddress[3]; }
    std::wstring getWmBusKeyMode5() const               { return key.wmBusKeyMode5; }
    std::wstring getWmBusKeyMode7() const               { return key.wmBusKeyMode7; }
    std::wstring getWmBusKeyExchangeKey() const         { return key.wmBusKeyExchangeKey; }
    // clang-format on

    /// Returns "AMRKeyTramoModel[SerialNumber...,HardwareVersion...,...]", without colons, with the keys in clear text.
    std::wstring toString() const;

    /// Always empty: the constructors report no errors.
    std::vector<TE::FieldError> getParseErrors() const { return {}; }

    /// Checks that no value is absent. Instead of a column, an error holds the index of the value in tramo::keyValues, 0 to 9.
    std::vector<TE::FieldError> getMandatoryErrors() const;

private:
    AMRKeyLine key;
};
