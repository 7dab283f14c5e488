// Key lines. The first byte selects whether a character is one byte of the rest or two.
#include "support.h"
#include <algorithm>
#include <array>
#include <tramostream/amrkeytramomodel.h>
#include <tramostream/keyline.h>

namespace {

using tramo::KeyValue;
using tramo::ParsedKeyLine;

// The JSON object of the values of the line, every character of a text as an escape.
std::wstring jsonOf(const AMRKeyLine& line) {
    std::string json;
    for (const KeyValue& value : tramo::keyValues) {
        if (value.isAbsent(line)) continue;
        if (!json.empty()) json += ',';
        json.append("\"").append(value.name).append("\":");
        if (!value.text) {
            json += std::to_string(line.wmBusAddress[value.part]);
            continue;
        }
        json += '"';
        for (const wchar_t c : line.*value.text) {
            std::array<char, 8> escape;
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(c) & 0xFFFF);
            json += escape.data();
        }
        json += '"';
    }
    return L";{" + std::wstring(json.begin(), json.end()) + L"}\r";
}

void checkSameValues(const AMRKeyLine& a, const AMRKeyLine& b) {
    FUZZ_CHECK(a.wmBusAddress == b.wmBusAddress);
    for (const KeyValue& value : tramo::keyValues)
        if (value.text) FUZZ_CHECK(a.*value.text == b.*value.text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool silent = fuzz::silenceLibrary();
    fuzz::Bytes bytes(data, size);
    const bool wide = fuzz::takeByte(bytes) & 1;
    const std::wstring text = fuzz::textOf(bytes, wide);
    ParsedKeyLine parsed = tramo::parseKeyLine(text);
    FUZZ_CHECK(parsed.line.line == text);
    if (parsed.error) {
        FUZZ_CHECK(!parsed.error->text.empty() && parsed.error->offset <= text.size());
        FUZZ_CHECK(parsed.remarks.empty());
        checkSameValues(parsed.line, AMRKeyLine());
        return 0;
    }

    // Values that were read are read again.
    const ParsedKeyLine again = tramo::parseKeyLine(jsonOf(parsed.line));
    FUZZ_CHECK(!again.error && again.remarks.empty());
    checkSameValues(parsed.line, again.line);

    const AMRKeyTramoModel model(parsed.line);
    FUZZ_CHECK(model.toString().starts_with(L"AMRKeyTramoModel["));
    const auto absent =
        std::ranges::count_if(tramo::keyValues, [&](const KeyValue& value) { return value.isAbsent(parsed.line); });
    FUZZ_CHECK(model.getMandatoryErrors().size() == static_cast<std::size_t>(absent));
    return 0;
}
