// Findings about files of key lines.
#include "common/concat.h"
#include "tramostream/check.h"
#include "tramostream/keyline.h"
#include <algorithm>

namespace tramo {

namespace {

constexpr std::size_t keyLength = 32;

bool isHexadecimal(std::wstring_view key) { return key.find_first_not_of(L"0123456789ABCDEFabcdef") == std::wstring_view::npos; }

Finding invalidKey(const KeyValue& value, std::wstring_view key) {
    Finding finding = findingOf("KeyNotHexadecimal", concat(value.name, ": invalid key"),
        concat("expected ", keyLength, " hexadecimal digits, found ", counted(key.size(), "character"),
            isHexadecimal(key) ? "" : ", not all hexadecimal"));
    finding.kind = shapeOf(LineKind::Key).name;
    finding.field = value.name;
    return finding;
}

}  // namespace

template <class Values> void KeyFileChecker::findDuplicate(std::map<Values, Place>& places, const Values& values,
    const char* name, const Place& here, std::vector<Finding>& findings) const {
    const auto [first, isNew] = places.try_emplace(values, here);
    if (isNew) return;
    const Place& other = first->second;
    std::string sentence = concat(name, ": same value as in line ", other.line);
    if (other.file != here.file) sentence += concat(" of ", files[other.file]);
    findings.push_back(findingOf("KeyLineDuplicate", std::move(sentence)));
}

void KeyFileChecker::line(const AMRKeyLine& values, std::int64_t number, std::vector<Finding>& findings) {
    const std::size_t before = findings.size();
    for (const KeyValue& value : keyValues) {
        if (!value.secret || value.isAbsent(values)) continue;
        const std::wstring_view key = values.*value.text;
        if (key.size() != keyLength || !isHexadecimal(key)) findings.push_back(invalidKey(value, key));
    }
    if (files.empty()) files.emplace_back();
    const Place here{files.size() - 1, number};
    if (!values.serialNumber.empty()) findDuplicate(serialNumbers, values.serialNumber, "serialNumber", here, findings);
    if (std::ranges::find(values.wmBusAddress, -1) == values.wmBusAddress.end())
        findDuplicate(addresses, values.wmBusAddress, "wmBusAddress", here, findings);
    for (std::size_t i = before; i < findings.size(); ++i) {
        findings[i].line = number;
        findings[i].excerpt = false;
    }
}

}  // namespace tramo
