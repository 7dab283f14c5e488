// The line of one radio module's identity and keys.
#pragma once
#include "export.h"
#include "modelparts.h"
#include <cstdint>
#include <rapidjson/fwd.h>
#include <string>
#include <vector>

/// The identity and the wireless M-Bus keys of a radio module: ten values, which tramo::keyValues describes. It is made
/// of a key line's values or of its JSON object, cannot be changed, and builds no line.
///
/// A value; throws nothing for bad content. Absent values: empty texts, -1 for the parts of the address.
///
/// @snippet docs/examples.cpp AMRKeyTramoModel
class TRAMO_EXPORT AMRKeyTramoModel {
public:
    /// A JSON value for the constructor that takes one: rapidjson::Value. It is only declared here: code that has one
    /// includes <rapidjson/document.h> itself.
    using Json = rapidjson::GenericValue<rapidjson::UTF8<char>, rapidjson::MemoryPoolAllocator<rapidjson::CrtAllocator>>;

    /// Copies the line with the values that its host has taken out of it; its text is not looked at.
    AMRKeyTramoModel(AMRKeyLine& line);

    /// Takes the values from a JSON object's members of their names (tramo::KeyValue::name), the first of each name. A
    /// member of another type than its value, or a number that is no signed 32-bit integer, leaves the value absent
    /// without an error; so does a JSON value that is no object. Zero characters in strings are kept, a byte that is no
    /// UTF-8 becomes U+FFFD. The caller's RapidJSON must have the configuration that the library was built with.
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

    /// "AMRKeyTramoModel[SerialNumber...,HardwareVersion...,...]", without colons. The keys are in it in clear text.
    std::wstring toString() const;

    /// The errors of the constructor: none.
    std::vector<TE::FieldError> getParseErrors() const { return {}; }

    /// Checks that no value is absent. The errors name the value's place in tramo::keyValues, 0 to 9, in the place of a
    /// column.
    std::vector<TE::FieldError> getMandatoryErrors() const;

private:
    AMRKeyLine key;
};
