#include "cli/commands/sample_differences.h"
#include "cli/commands/sample_form.h"
#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tramo::cli::sample {

namespace {

enum class Sort : std::uint32_t { MeterMissing, MeterAdded, MeterChanged, ModuleChanged, ModuleMissing, LineOfNobody };
constexpr std::uint32_t sorts = 6;

constexpr const char* ofMeter[] = {"subscriberInformation", "meterInformation", "meterWheels", "meterInstallationYear",
    "meterPreviousReadingDate", "meterPreviousReadingIndex", "meterMinEstimatedConsumption", "meterMaxEstimatedConsumption",
    "meterHistory1Consumption", "subscriberCardOrder", "meterAuthorizedChange", "meterFluidType"};
constexpr const char* ofModule[] = {"installationDate", "meterReference", "meterMaxIndex", "referance", "internalSerialNumber",
    "data", "pulseWeight", "previousMeterIndex", "previousAmrIndex"};

std::string textOf(const RecordKind& kind, std::string_view text, std::string_view field) {
    const Field& columns = fieldCalled(kind, field);
    std::string found(text.substr(static_cast<std::size_t>(columns.column - 1), static_cast<std::size_t>(columns.width)));
    found.resize(found.find_last_not_of(' ') + 1);
    return found;
}

void putText(std::string& line, const Field& field, std::string text) {
    text.resize(static_cast<std::size_t>(field.width), ' ');
    line.replace(static_cast<std::size_t>(field.column - 1), text.size(), text);
}

}  // namespace

Differences::Differences(double rate, std::uint64_t chosenSeed)
    : limit(static_cast<std::uint64_t>(rate * 4294967296.0)), seed(chosenSeed) {}

// Another value: the first letter or digit that is not zero becomes another one.
void Differences::change(
    const RecordKind& kind, std::string_view text, std::string_view field, const std::string& ofSerial, const Write& write) {
    const Field& columns = fieldCalled(kind, field);
    std::string changed(text);
    const auto first = changed.begin() + columns.column - 1, end = first + columns.width;
    const auto at = std::find_if(first, end, [](char c) { return (c >= '1' && c <= '9') || (c >= 'A' && c <= 'Z'); });
    if (at == end) return write(kind, text);
    const bool isCode = columns.kind == FieldKind::Code;
    if (isCode) *at = *at == 'W' ? 'G' : 'W';
    else if (*at <= '9') *at = *at == '1' ? '2' : '1';
    else *at = *at == 'X' ? 'Y' : 'X';
    expect("fieldChanged", ofSerial, kind, field);
    write(kind, changed);
}

void Differences::meet(const RecordKind& kind, std::string_view text, std::uint64_t name, const Write& write) {
    const bool isOfMeter = name >> 63 == 0;
    Random random(seed, Purpose::Differences, isOfMeter ? name >> 4 : name);
    if (kind.letter == L'1') serial = textOf(kind, text, "meterSerialNumber");
    if (random.next() >> 32 >= limit) return write(kind, text);
    if (!isOfMeter) {
        if (kind.letter == L'0') return change(kind, text, "name", {}, write);
        if (kind.letter != L'5') return write(kind, text);
        expect("lineMissing", {}, kind);
        return;
    }
    const auto sort = static_cast<Sort>(random.below(sorts));
    const bool isMeter = kind.letter == L'1', isModule = kind.letter == L'2';
    if (sort == Sort::MeterMissing) {
        if (isMeter) expect("meterMissing", serial, kind);
        return;
    }
    if (sort == Sort::MeterChanged && isMeter) return change(kind, text, random.among(ofMeter), serial, write);
    if (sort == Sort::ModuleChanged && isModule) return change(kind, text, random.among(ofModule), serial, write);
    if (sort == Sort::ModuleMissing && isModule) return expect("lineMissing", serial, kind);
    write(kind, text);
    if (!isMeter || (sort != Sort::MeterAdded && sort != Sort::LineOfNobody)) return;
    std::string other = serial;
    other.front() = 'Z';
    const RecordKind& place = kindCalled("extended data");
    const RecordKind& added = sort == Sort::MeterAdded ? kind : place;
    std::string line(text);
    if (sort == Sort::LineOfNobody) {
        line.assign(line.size(), ' ');
        line.front() = '7';
    }
    putText(line, fieldCalled(added, "meterSerialNumber"), other);
    expect(sort == Sort::MeterAdded ? "meterAdded" : "lineOfNobody", other, added);
    write(added, line);
}

std::string Differences::taken() { return std::exchange(expected, {}); }

void Differences::expect(std::string_view what, const std::string& ofSerial, const RecordKind& kind, std::string_view field) {
    expected += fmt::format("{{\"what\":\"{}\"", what);
    if (!ofSerial.empty()) expected += fmt::format(",\"meter\":\"{}\"", ofSerial);
    expected += fmt::format(",\"kind\":\"{}\"", kind.name);
    if (!field.empty()) expected += fmt::format(",\"field\":\"{}\"", field);
    expected += "}\n";
}

}  // namespace tramo::cli::sample
