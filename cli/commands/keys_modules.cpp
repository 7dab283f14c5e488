#include "cli/commands/keys_modules.h"
#include "cli/lines/filewalk.h"
#include <algorithm>
#include <map>

namespace tramo::cli {

namespace {

// The letters that a manufacturer's number packs, five bits each from A = 1; empty when it packs none.
std::string lettersOf(std::int32_t number) {
    std::string letters;
    for (const int shift : {10, 5, 0}) {
        const int letter = number >> shift & 0x1F;
        if (letter < 1 || letter > 26) return {};
        letters += static_cast<char>('A' + letter - 1);
    }
    return number >> 15 == 0 ? letters : std::string();
}

std::string deviceName(std::int32_t type) {
    static const std::map<std::int32_t, const char*> names{
        {0x00, "other"},
        {0x01, "oil"},
        {0x02, "electricity"},
        {0x03, "gas"},
        {0x04, "heat"},
        {0x05, "steam"},
        {0x06, "warm water"},
        {0x07, "water"},
        {0x08, "heat cost allocator"},
        {0x09, "compressed air"},
        {0x0A, "cooling, outlet"},
        {0x0B, "cooling, inlet"},
        {0x0C, "heat, inlet"},
        {0x0D, "heat and cooling"},
        {0x0E, "bus component"},
        {0x0F, "unknown"},
        {0x15, "hot water"},
        {0x16, "cold water"},
        {0x17, "dual register water"},
        {0x18, "pressure"},
        {0x19, "A/D converter"},
        {0x1A, "smoke detector"},
        {0x20, "breaker"},
        {0x21, "valve"},
        {0x28, "waste water"},
        {0x29, "garbage"},
    };
    const auto found = names.find(type);
    return found == names.end() ? std::string() : found->second;
}

constexpr AddressMeaning meanings[] = {
    {"wmBusAddress_ManufacturerId", "manufacturerLetters", lettersOf},
    {"wmBusAddress_DeviceType", "deviceTypeName", deviceName},
};

KeyForm formOf(std::wstring_view key) {
    return {key.size(), key.find_first_not_of(L"0123456789ABCDEFabcdef") == std::wstring_view::npos};
}

}  // namespace

const AddressMeaning* meaningOf(const KeyValue& value) {
    const auto found = std::ranges::find(meanings, value.name, &AddressMeaning::part);
    return found == std::end(meanings) ? nullptr : &*found;
}

Module::Module(SecretKeyLine&& read, long long number, bool showKeys) : line(number), parsed(std::move(read)) {
    for (std::size_t i = 0; i < forms.size(); ++i)
        if (keyValues[i].secret) forms[i] = formOf(values().*keyValues[i].text);
    parsed.forgetText();
    if (!showKeys) parsed.forgetKeys();
}

std::unique_ptr<Contents> KeyReader::read(const std::string& file) {
    auto contents = std::make_unique<Contents>();
    checker.file(printable(nameOf(file)));
    bool isEmpty = true;
    Input input(file, encoding);
    contents->isWhole = forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) {
        isEmpty = false;
        if (kind == LineKind::Key) take(line, *contents);
        else contents->others.add(line.text, kind);
    });
    if (isEmpty) contents->add(0, findingOf("FileEmpty", "the file is empty"));
    return contents;
}

void KeyReader::take(const Line& line, Contents& contents) {
    std::vector<Finding> found;
    const bool isWhole = checkShape(line, LineKind::Key, found);
    if (isWhole) {
        checkFields(LineKind::Key, line.text, false, found);
        if (SecretKeyLine parsed(line.text); !parsed.error()) {
            checker.line(parsed.values(), line.number, found);
            contents.modules.emplace_back(std::move(parsed), line.number, showKeys);
        }
    }
    for (Finding& finding : found) contents.add(line.number, std::move(finding));
}

}  // namespace tramo::cli
