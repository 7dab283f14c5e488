#include "cli/commands/sample_faults.h"
#include "cli/commands/sample_form.h"
#include "cli/commands/sample_lines.h"
#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tramo::cli::sample {

namespace {

// A fault that a field can have, and what follows from it where the field was filled. Flags and sets of alarm flags have none:
// the format reads any text as one.
struct FieldFault {
    const char *kind, *field;
    const char* follower = nullptr;  ///< the field whose mandatory error it brings about
    bool blanked = false;            ///< the field loses its text; else it gets one that cannot be read
};

// clang-format off
constexpr FieldFault fieldFaults[] = {
    {"round",              "code",                               "code", true},
    {"round",              "roundImportDate"},
    {"round",              "meterInformationPositionArea2",      "meterInformationLabelArea2"},
    {"round",              "subscriberInformationTypeArea3",     "subscriberInformationLabelArea3"},
    {"meter subscriber",   "subscriberCardOrder"},
    {"meter subscriber",   "meterHistory2ReadingDate"},
    {"meter subscriber",   "meterHistory4Consumption"},
    {"meter subscriber",   "meterWheels"},
    {"meter subscriber",   "meterInstallationYear"},
    {"meter subscriber",   "meterPreviousReadingDate",           "meterPreviousReadingDate"},
    {"meter subscriber",   "meterPreviousReadingIndex",          "meterPreviousReadingDate"},
    {"meter subscriber",   "meterMinEstimatedConsumption",       "meterMinEstimatedConsumption"},
    {"meter subscriber",   "meterMaxEstimatedConsumption",       "meterMinEstimatedConsumption"},
    {"meter subscriber",   "meterReadingDate",                   "meterReadingDate"},
    {"meter subscriber",   "meterReadingIndex",                  "meterReadingDate"},
    {"meter subscriber",   "meterReadingStatus",                 "meterReadingDate"},
    {"meter subscriber",   "meterReadingConsumption",            "meterReadingDate"},
    {"meter subscriber",   "meterReadingMethod",                 "meterReadingDate"},
    {"meter subscriber",   "meterLastUpdateDate"},
    {"meter subscriber",   "meterFluidType"},
    {"AMR",                "installationDate",                   "installationDate"},
    {"AMR",                "meterMaxIndex",                      "meterMaxIndex"},
    {"AMR",                "meterUnit",                          "meterUnit"},
    {"AMR",                "pulseWeight",                        "pulseWeight"},
    {"AMR",                "previousReadingDate",                "previousReadingDate"},
    {"AMR",                "currentReadingDate"},
    {"AMR",                "currentMeterIndex"},
    {"AMR",                "lastReadFailDate"},
    {"AMR",                "readFailCount"},
    {"AMR",                "serialNumber",                       "serialNumber", true},
    {"AMR",                "data",                               "data", true},
    {"meter change",       "oldMeterSerialNumber",               "oldMeterSerialNumber", true},
    {"meter change",       "newMeterWheelsNumber"},
    {"meter change",       "newMeterInstallationDate",           "newMeterInstallationDate"},
    {"extended AMR",       "amrReference",                       "amrReference", true},
    {"extended AMR",       "readingDate",                        "readingDate"},
    {"extended AMR",       "history1Index",                      "history1DateTime"},
    {"extended AMR",       "history2DateTime",                   "history2DateTime"},
    {"enquiry definition", "area1Type"},
    {"enquiry definition", "area2Size",                          "area2Label"},
    {"enquiry definition", "pageNumber",                         "pageNumber", true},
    {"enquiry result",     "lastModificationDate"},
    {"enquiry result",     "area2Mode"},
    {"enquiry result",     "meterSerialNumber",                  "meterSerialNumber", true},
    {"extended data",      "latitude"},
    {"extended data",      "longitude"},
    {"extended data",      "updateDate"},
    {"extended data",      "meterSerialNumber",                  "meterSerialNumber", true},
    {"record information", "roundNumber"},
};
// clang-format on

// A text of every kind of field that cannot be read as such.
std::string_view unreadable(FieldKind kind, Random& random) {
    static constexpr const char* dates[] = {"20240231", "20231340", "2024AB01", "2024011"};
    static constexpr const char* times[] = {"202402300900", "202401012930", "20240101", "hier matin"};
    static constexpr const char* others[] = {"?", "x1", "ZZZZ"};
    switch (kind) {
    case FieldKind::Date: return random.among(dates);
    case FieldKind::DateTime: return random.among(times);
    case FieldKind::Year: return "ABCD";
    default: return random.among(others);
    }
}

}  // namespace

Faults::Faults(double rateOfLines, bool isUtf16, std::uint64_t chosenSeed)
    : limit(static_cast<std::uint64_t>(rateOfLines * 4294967296.0)), utf16(isUtf16), seed(chosenSeed) {
    for (const FieldFault& fault : fieldFaults) {
        const RecordKind& kind = kindCalled(fault.kind);
        of(kind).fields.push_back(
            {&fieldCalled(kind, fault.field), fault.follower ? &fieldCalled(kind, fault.follower) : nullptr, fault.blanked});
    }
    for (const RecordKind* kind : recordKinds())
        for (const Field& field : kind->fields)
            if (!of(*kind).harmless && field.kind == FieldKind::Text && field.column > 0 && field.mandatoryError.code == 0)
                of(*kind).harmless = &field;
}

void Faults::meet(Written& line, std::uint64_t number, std::uint64_t name) {
    Random random(seed, Purpose::Faults, name);
    if (random.next() >> 32 >= limit) return;
    if (random.oneIn(4) && damageLine(random, line, number)) return;
    const auto& fields = of(*line.kind).fields;
    for (int attempt = 0; attempt < 20; ++attempt)
        if (damageField(random, fields[random.below(static_cast<std::uint32_t>(fields.size()))], line, number)) return;
}

std::string Faults::taken() { return std::exchange(expected, {}); }

Faults::Possible& Faults::of(const RecordKind& kind) {
    const auto found = std::ranges::find(possible, &kind, &Possible::kind);
    return found == possible.end() ? possible.emplace_back(Possible{&kind}) : *found;
}

bool Faults::damageField(Random& random, const Fault& fault, Written& line, std::uint64_t number) {
    const Field& field = *fault.field;
    const auto first = static_cast<std::size_t>(field.column - 1), width = static_cast<std::size_t>(field.width);
    const std::string_view old = std::string_view(line.text).substr(first, width);
    if (old.find_first_not_of(' ') == std::string_view::npos) return false;
    std::string text(fault.blanked ? std::string_view{} : unreadable(field.kind, random));
    text.resize(width, ' ');
    line.text.replace(first, width, text);
    if (!fault.blanked) expect(number, *line.kind, field, field.parseError);
    if (fault.follower) expect(number, *line.kind, *fault.follower, fault.follower->mandatoryError);
    return true;
}

// Most lines must keep their length, because the kind of the file is recognized by it.
bool Faults::mayChangeLength(std::uint64_t number) {
    if ((lengthsChanged + 1) * 4 > number) return false;
    ++lengthsChanged;
    return true;
}

bool Faults::damageLine(Random& random, Written& line, std::uint64_t number) {
    const Field* harmless = of(*line.kind).harmless;
    const auto place = harmless ? static_cast<std::size_t>(harmless->column + harmless->width - 2) : 0;
    switch (random.below(7)) {
    case 0:
        if (!mayChangeLength(number)) return false;
        line.text.resize(1 + random.below(static_cast<std::uint32_t>(line.text.size()) - 1));
        expect(number, "LineTooShort", 0);
        return true;
    case 1:
        if (!mayChangeLength(number)) return false;
        expect(number, "LineTooLong", line.text.size() + 1);
        line.text.append(1 + random.below(20), ' ');
        return true;
    case 2:
        if (!mayChangeLength(number)) return false;
        line.text.clear();
        expect(number, "LineEmpty", 0);
        return true;
    case 3:
        line.carriageReturn = false;
        expect(number, "LineEndWithoutCR", 0);
        return true;
    case 4:
        line.text.front() = random.oneIn(2) ? '8' : 'M';
        expect(number, "LineLetterUnknown", 1);
        return true;
    case 5:
        if (!harmless) return false;
        line.text[place] = '\0';
        expect(number, "ZeroCharacter", place + 1);
        return true;
    default:
        if (!harmless || !utf16) return false;
        line.halfPair = place;
        expect(number, "SurrogateAlone", place + 1);
        return true;
    }
}

void Faults::expect(std::uint64_t line, std::string_view rule, std::size_t column) {
    expected += fmt::format("{{\"line\":{}", line);
    if (column) expected += fmt::format(",\"column\":{}", column);
    expected += fmt::format(",\"rule\":\"{}\"}}\n", rule);
}

void Faults::expect(std::uint64_t line, const RecordKind& kind, const Field& field, const TE::FieldError& error) {
    expected += fmt::format("{{\"line\":{},\"column\":{},\"rule\":\"{}\",\"code\":{},\"kind\":\"{}\",\"field\":\"{}\"}}\n", line,
        field.column, errorName(error.code), static_cast<int>(error.code), kind.name, field.name);
}

}  // namespace tramo::cli::sample
