// tramo sample: made-up rounds, with faults on demand and word of every one of them.
#include "arguments.h"
#include "command.h"
#include "console.h"
#include "findings.h"
#include "linemodel.h"
#include "outfile.h"
#include "text.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <tramostream/dateutils.h>
#include <utility>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(tramo sample writes a made-up round, as large as wanted.

Examples:
  tramo sample --meters 1000 --returned -o round.txt      as it comes back
  tramo sample --meters 1000 --faults 0.02 -o broken.txt  one line in fifty is
                                                          damaged
  tramo sample --seed 7 -o - | tramo check -              another round; nothing
                                                          is wrong with it

Usage: tramo sample [OPTION]... -o FILE

A round has up to 1000 meters; more of them make more rounds, one behind the
other. The same options give the same bytes, on any machine and in any time
zone. All names, places and numbers are invented.

With --faults, FILE.expected.jsonl says what is wrong: one JSON object for each
finding of "tramo check", in the order of the lines, with line, column, rule,
code, kind and field, as "tramo check --format json" calls them.

Options:
  -o, --output FILE   where the round goes; "-" is the standard output
  --meters N          how many meters, 1 to 9999999; 60 if not given
  --seed S            another number, another round; 0 if not given
  --returned          as it comes back: with readings, changes, positions,
                      enquiry results
  --faults RATE       damages this share of the lines, 0 to 1
  --kinds KIND,...    only lines of these kinds, by names or letters
  --encoding WHAT     ansi, utf16le
  -h, --help          this page

Exit codes:
  0  the file was written
  2  the command line is wrong, or the round has no line of these kinds, and
     nothing was written
  3  something could not be written
)";

// SplitMix64: the same numbers everywhere.
class Random {
public:
    explicit Random(std::uint64_t seed) : state(seed) {}
    std::uint64_t next() {
        std::uint64_t z = state += 0x9E3779B97F4A7C15;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }
    /// 0 to limit - 1. Never twice among one call's arguments: compilers differ in which they take first.
    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(((next() >> 32) * limit) >> 32); }
    bool oneIn(std::uint32_t many) { return below(many) == 0; }
    template <class T, std::size_t N> const T& among(const T (&all)[N]) { return all[below(N)]; }

private:
    std::uint64_t state;
};

const RecordKind& ownKind(std::string_view name) {
    const auto kinds = recordKinds();
    const auto found = std::ranges::find(kinds, name, [](const RecordKind* kind) { return std::string_view(kind->name); });
    if (found == kinds.end()) throw std::logic_error("no such kind of record");
    return **found;
}

const Field& fieldNamed(const RecordKind& kind, std::string_view name) {
    const Field* field = kind.field(name);
    if (!field) throw std::logic_error("no such field");
    return *field;
}

// The bytes of a record line, one a character, without its line end.
using Bytes = std::string;

// A record that the library builds. Dates are given by their digits, so that the host's zone, which the library reads and
// writes them in, makes no difference.
class Draft {
public:
    explicit Draft(std::string_view kind) : model(LineModel::blank(ownKind(kind))) {}

    Draft& put(std::string_view name, std::string_view text) {
        const Field& field = fieldNamed(model.kind(), name);
        if (!model.set(field, valueOf(field, text))) throw std::logic_error("not a value of this field");
        return *this;
    }
    Draft& put(std::string_view name, std::uint64_t number) { return put(name, fmt::format("{}", number)); }

    Bytes built() {
        const std::wstring line = model.built();
        if (!model.buildErrors().empty()) throw std::logic_error("a value that cannot be written");
        Bytes bytes;
        for (const wchar_t c : line) bytes += static_cast<char>(c);
        return bytes;
    }

private:
    static FieldValue valueOf(const Field& field, std::string_view text) {
        auto time = [&](const char* format) {
            return static_cast<long long>(DateUtils::strToTime(format, std::string(text).c_str()));
        };
        long long whole = 0;
        double decimal = 0;
        switch (field.kind) {
        case FieldKind::Text: break;
        case FieldKind::Integer:
        case FieldKind::AlarmFlags: std::from_chars(text.data(), text.data() + text.size(), whole); return whole;
        case FieldKind::Decimal: std::from_chars(text.data(), text.data() + text.size(), decimal); return decimal;
        case FieldKind::Date: return time("%Y%m%d");
        case FieldKind::DateTime: return time("%Y%m%d%H%M");
        case FieldKind::Year: return time("%Y");
        case FieldKind::Code: return static_cast<wchar_t>(text.front());
        case FieldKind::Flag: return text == "1";
        }
        std::wstring wide;
        for (const char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
        return wide;
    }

    LineModel model;
};

// Text in the format's narrow encoding: \351 is an e with an acute accent.
constexpr const char* streets[] = {"All\351e du Ch\342teau", "Avenue de la Gare", "Chemin des Pr\351s", "Impasse du Puits",
    "Place de l'\311glise", "Quai de l'\316le", "Route de la Fort\352t", "Rue des \311rables", "Rue du March\351",
    "Sentier des Vignes"};
constexpr const char* spots[] = {"CAVE", "GARAGE", "JARDIN", "PLACARD 2e \311TAGE", "REGARD TROTTOIR", "SOUS-SOL"};

std::string dayOf(int year, int month, std::uint32_t day) { return fmt::format("{}{:02}{:02}", year, month, day); }
std::string halves(std::uint64_t twice) { return fmt::format("{}.{}", twice / 2, twice % 2 ? 5 : 0); }

// The lines about one meter, all but what tells it from other meters. Empty lines: the meter has none of this kind.
struct MeterLines {
    struct OneLine {
        const RecordKind* kind;
        Bytes text;
    };
    std::vector<OneLine> lines;
};

class MeterDraft {
public:
    MeterDraft(Random& numbers, bool isReturned) : random(numbers), returned(isReturned) {
        hasRadio = !random.oneIn(3);
        readByRadio = returned && hasRadio && !random.oneIn(8);
        isRead = returned && (readByRadio || !random.oneIn(8));
        before = 500 + random.below(9000);
        usual = 20 + random.below(200);
        used = random.oneIn(12) ? usual / 4 : random.oneIn(12) ? usual * 3 : usual;
        readOn = dayOf(2024, 1, 16 + random.below(4));
        leaks = random.oneIn(4);
    }

    MeterLines lines() {
        MeterLines all;
        auto add = [&](const char* kind, const Bytes& text) { all.lines.push_back({&ownKind(kind), text}); };
        add("meter subscriber", subscriber());
        if (hasRadio) add("AMR", amr());
        if (!returned) return all;
        if (random.oneIn(20)) add("meter change", change());
        if (readByRadio && !random.oneIn(3)) add("extended AMR", extendedAmr());
        if (random.oneIn(4)) add("enquiry result", enquiryResult());
        if (!random.oneIn(2)) add("extended data", position());
        return all;
    }

private:
    Bytes subscriber() {
        Draft line("meter subscriber");
        const std::string name = "ABONN\311";
        const std::uint32_t house = 1 + random.below(140);
        const std::string address = fmt::format("{} {}", house, random.among(streets));
        const std::uint32_t last = random.below(10000);
        const std::string phone = fmt::format("00 00 00 {:02} {:02}", last / 100, last % 100);
        line.put("subscriberInformation",
                fmt::format("{:<30}{:<45}{:<30}{}", latin(name, 30), latin(address, 45), "VILLE EXEMPLE", phone))
            .put("meterInformation", latin(random.among(spots), 30) + "015 COMPTEUR MOD\310LE")
            .put("meterSerialNumber", "-")
            .put("subscriberCardOrder", 1)
            .put("meterWheels", 4 + random.below(3))
            .put("meterInstallationYear", 2008 + random.below(12))
            .put("meterPreviousReadingDate", "20230712")
            .put("meterPreviousReadingIndex", before)
            .put("meterMinEstimatedConsumption", halves(usual))
            .put("meterMaxEstimatedConsumption", halves(usual * 3))
            .put("meterAuthorizedChange", random.oneIn(3) ? "0" : "1")
            .put("meterFluidType", random.oneIn(8) ? "H" : "W");
        for (int slot = 1; slot <= 4; ++slot) {
            line.put(fmt::format("meterHistory{}ReadingType", slot), "R")
                .put(fmt::format("meterHistory{}ReadingDate", slot),
                    dayOf(2023 - (slot - 1) / 2, slot % 2 ? 7 : 1, 10 + random.below(10)))
                .put(fmt::format("meterHistory{}Consumption", slot), usual + random.below(9));
        }
        if (isRead) {
            const auto minute = 8 * 60 + random.below(9 * 60);
            line.put("meterReadingDate", fmt::format("{}{:02}{:02}", readOn, minute / 60, minute % 60))
                .put("meterReadingIndex", before + used)
                .put("meterReadingStatus", random.oneIn(6) ? "2" : "1")
                .put("meterReadingConsumption", used)
                .put("meterReadingMethod", readByRadio ? "A" : "M")
                .put("subscriberMarkingCode", "AB")
                .put("meterLastUpdateDate", readOn + "1830")
                .put("meterReadingUserCode", "AG07");
        }
        return line.built();
    }

    Bytes amr() {
        Draft line("AMR");
        std::string data;
        for (int i = 0; i < 2; ++i) data += fmt::format("{:016X}", random.next());
        line.put("installationDate", dayOf(2019, 3, 4 + random.below(20)))
            .put("sensorPort", 1)
            .put("meterMaxIndex", 99999)
            .put("meterUnit", "1")
            .put("data", data)
            .put("pulseWeight", "0.01")
            .put("maxIndex", 99999999)
            .put("previousReadingDate", "20230712")
            .put("previousMeterIndex", fmt::format("{}.25", before))
            .put("previousAmrIndex", before * 100 + 25)
            .put("previousAlarms", leaks ? 2 : 0)
            .put("previousAmrStatus", "OK")
            .put("externalAMRText", random.oneIn(5) ? "0" : "1");
        for (const char* name : {"meterReference", "meterSerialNumber", "referance", "serialNumber", "internalSerialNumber"})
            line.put(name, "-");
        if (readByRadio)
            line.put("currentReadingDate", readOn)
                .put("currentMeterIndex", fmt::format("{}.5", before + used))
                .put("currentAmrIndex", (before + used) * 100 + 50)
                .put("currentAlarms", leaks ? 2 + 128 : 0)
                .put("currentAmrStatus", "LU");
        else if (returned) line.put("lastReadFailDate", readOn + "1020").put("readFailCount", 1 + random.below(9));
        return line.built();
    }

    Bytes change() {
        Draft line("meter change");
        line.put("oldMeterSerialNumber", "-")
            .put("newMeterSerialNumber", "-")
            .put("newMeterWheelsNumber", 4 + random.below(3))
            .put("newMeterIndex", random.below(4))
            .put("newMeterInstallationDate", readOn);
        return line.built();
    }

    Bytes extendedAmr() {
        Draft line("extended AMR");
        for (const char* name : {"meterReference", "meterSerialNumber", "amrReference", "amrSerialNumber"}) line.put(name, "-");
        line.put("amrSensorPort", 1)
            .put("readingDate", readOn + "0905")
            .put("meterIndex", fmt::format("{}.5", before + used))
            .put("backflowIndex", random.oneIn(4) ? "0.12" : "0")
            .put("leakAlarm", leaks ? "1" : "0");
        const int slots = 1 + static_cast<int>(random.below(18));
        for (int slot = 1; slot <= slots; ++slot) {
            const int month = 5 + slot;  // from July 2022 on; at an hour that no zone skips
            line.put(fmt::format("history{}DateTime", slot), dayOf(2022 + month / 12, 1 + month % 12, 1) + "0600")
                .put(fmt::format("history{}Index", slot),
                    fmt::format("{}.{:03}", before + used * static_cast<unsigned>(slot) / 18, random.below(1000)))
                .put(fmt::format("history{}Alarms", slot), leaks ? "2" : "0");
        }
        return line.built();
    }

    Bytes enquiryResult() {
        Draft line("enquiry result");
        line.put("pageNumber", "1")
            .put("meterSerialNumber", "-")
            .put("lastModificationDate", readOn)
            .put("area1Mode", "H")
            .put("area1Code", random.oneIn(2) ? "A" : "B")
            .put("area2Mode", "N")
            .put("area2Result", fmt::format("{}", 20 + random.below(40)))
            .put("area3Mode", "U")
            .put("area3Result", random.oneIn(3) ? "" : "RAS");
        return line.built();
    }

    Bytes position() {
        Draft line("extended data");
        line.put("meterSerialNumber", "-")
            .put("latitude", fmt::format("48.{:05}", 48000 + random.below(4000)))
            .put("longitude", fmt::format("-1.{:05}", 58000 + random.below(4000)))
            .put("altitude", halves(180 + random.below(120)))
            .put("accuracy", fmt::format("{}.5", 2 + random.below(9)))
            .put("updateDate", readOn)
            .put("scoreType", "GP")
            .put("scoreValue", fmt::format("{:03}", 60 + random.below(40)));
        return line.built();
    }

    // Padded by bytes, which are its characters.
    static std::string latin(std::string text, std::size_t width) {
        text.resize(width, ' ');
        return text;
    }

    Random& random;
    const bool returned;
    bool hasRadio, readByRadio, isRead, leaks;
    std::uint32_t before, usual, used;
    std::string readOn;
};

Bytes roundLine() {
    Draft line("round");
    line.put("code", "T0001")
        .put("name", "TOURN\311E CENTRE")
        .put("message", "Cl\351s du local technique \340 retirer \340 l'accueil. Chien m\351chant au 14.")
        .put("consumtionLimit", "0000000050 0000000500")
        .put("roundImportDate", "20240115")
        .put("reservedUserCode", "07");
    struct Area {
        const char *of, *label;
        int position, length;
        const char* type;
    };
    // clang-format off
    constexpr Area areas[] = {
        {"meter1",      "Emplacement",      0,  30, "2"},
        {"meter2",      "Calibre",          30,  4, "1"},
        {"meter3",      "Marque",           34, 16, "2"},
        {"subscriber1", "Nom",              0,  30, "2"},
        {"subscriber2", "Adresse",          30, 45, "2"},
        {"subscriber3", "Commune",          75, 30, "2"},
        {"subscriber4", "T\351l\351phone", 105, 14, "1"},
    };
    // clang-format on
    for (const Area& area : areas) {
        const std::string of = area.of, owner = of.substr(0, of.size() - 1), number = of.substr(of.size() - 1);
        auto name = [&](const char* what) { return fmt::format("{}Information{}Area{}", owner, what, number); };
        line.put(name("Label"), area.label)
            .put(name("Position"), fmt::format("{}", area.position))
            .put(name("Lenght"), fmt::format("{}", area.length))
            .put(name("Type"), area.type);
    }
    return line.built();
}

Bytes enquiryLine(int page) {
    Draft line("enquiry definition");
    line.put("pageNumber", fmt::format("{}", page))
        .put("labelA", "Acc\350s au compteur")
        .put("labelB", "\311tat du regard")
        .put("labelC", "Remarque")
        .put("orderStr", fmt::format("{:02}", page));
    if (page == 1) line.put("labelD", "Pr\351sence abonn\351");
    line.put("area1Label", "Acc\350s").put("area1Type", "C").put("area1Size", 1).put("area1List", "ABCD");
    line.put("area2Label", "Pression").put("area2Type", "N").put("area2Size", 4);
    line.put("area3Label", "Remarque").put("area3Type", "A").put("area3Size", 30);
    return line.built();
}

Bytes informationLine(std::uint64_t meters) {
    return Draft("record information").put("roundNumber", 1).put("meterNumber", meters).built();
}

// What tells a meter from all others, and the fields that hold it.
enum Identity { Serial, NewSerial, MeterReference, ModuleReference, ModuleSerial, InternalSerial, Order, identities };
struct IdentityField {
    const char* name;
    Identity identity;
};
constexpr IdentityField identityFields[] = {
    {"meterSerialNumber", Serial},
    {"oldMeterSerialNumber", Serial},
    {"newMeterSerialNumber", NewSerial},
    {"meterReference", MeterReference},
    {"referance", ModuleReference},
    {"amrReference", ModuleReference},
    {"serialNumber", ModuleSerial},
    {"amrSerialNumber", ModuleSerial},
    {"internalSerialNumber", InternalSerial},
    {"subscriberCardOrder", Order},
};

struct Identities {
    struct Text {
        char characters[16];
        std::uint32_t size, digits;  ///< the number's, at the end
    };
    std::array<Text, identities> texts{};

    Identities() {
        // clang-format off
        start(Serial,          "C12AB", 7);
        start(NewSerial,       "N24AB", 7);
        start(MeterReference,  "REF",   7);
        start(ModuleReference, "MODRADIO", 7);
        start(ModuleSerial,    "4C3",   7);
        start(InternalSerial,  "0081",  7);
        start(Order,           "",      4);
        // clang-format on
    }

    void set(std::uint64_t meter, std::uint64_t order) {
        for (int i = 0; i < Order; ++i) write(texts[static_cast<std::size_t>(i)], meter, '0');
        write(texts[Order], order, ' ');
    }

private:
    void start(Identity identity, std::string_view prefix, std::uint32_t digits) {
        Text& text = texts[identity];
        std::ranges::copy(prefix, text.characters);
        text.digits = digits;
        text.size = static_cast<std::uint32_t>(prefix.size()) + digits;
    }
    static void write(Text& text, std::uint64_t number, char fill) {
        char* at = text.characters + text.size;
        for (std::uint32_t i = 0; i < text.digits; ++i, number /= 10)
            *--at = number || i == 0 ? static_cast<char>('0' + number % 10) : fill;
    }
};

// The places of identities in a kind's lines.
class Places {
public:
    explicit Places(const RecordKind& kind) {
        for (const IdentityField& one : identityFields)
            if (const Field* field = kind.field(one.name))
                all.push_back({static_cast<std::size_t>(field->column - 1), one.identity});
    }
    void put(const Identities& identity, char* line) const {
        for (const auto& [at, what] : all) {
            const Identities::Text& text = identity.texts[what];
            std::copy_n(text.characters, text.size, line + at);
        }
    }

private:
    std::vector<std::pair<std::size_t, Identity>> all;
};

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

// A line on its way into the file.
struct Written {
    const RecordKind* kind;
    Bytes text;
    bool carriageReturn = true;
    std::optional<std::size_t> halfPair{};  ///< where half of a surrogate pair takes the place of the character
};

// Damages lines and notes what is to be found in them.
class Faults {
public:
    Faults(double rateOfLines, bool isUtf16, std::uint64_t seed)
        : limit(static_cast<std::uint64_t>(rateOfLines * 4294967296.0)), utf16(isUtf16), random(~seed) {
        for (const FieldFault& fault : fieldFaults) {
            const RecordKind& kind = ownKind(fault.kind);
            of(kind).fields.push_back(
                {&fieldNamed(kind, fault.field), fault.follower ? &fieldNamed(kind, fault.follower) : nullptr, fault.blanked});
        }
        for (const RecordKind* kind : recordKinds())
            for (const Field& field : kind->fields)
                if (!of(*kind).harmless && field.kind == FieldKind::Text && field.column > 0 && field.mandatoryError.code == 0)
                    of(*kind).harmless = &field;
    }

    void meet(Written& line, std::uint64_t number) {
        if (random.next() >> 32 >= limit) return;
        if (random.oneIn(4) && damageLine(line, number)) return;
        const auto& fields = of(*line.kind).fields;
        for (int attempt = 0; attempt < 20; ++attempt)
            if (damageField(fields[random.below(static_cast<std::uint32_t>(fields.size()))], line, number)) return;
    }

    /// The findings to expect, as JSON lines; handed over once.
    std::string taken() { return std::exchange(expected, {}); }

private:
    struct Fault {
        const Field *field, *follower;
        bool blanked;
    };
    struct Possible {
        const RecordKind* kind;
        std::vector<Fault> fields{};
        const Field* harmless = nullptr;  ///< a text that may hold anything
    };

    Possible& of(const RecordKind& kind) {
        const auto found = std::ranges::find(possible, &kind, &Possible::kind);
        return found == possible.end() ? possible.emplace_back(Possible{&kind}) : *found;
    }

    bool damageField(const Fault& fault, Written& line, std::uint64_t number) {
        const Field& field = *fault.field;
        const auto first = static_cast<std::size_t>(field.column - 1), width = static_cast<std::size_t>(field.width);
        const std::string_view old = std::string_view(line.text).substr(first, width);
        if (old.find_first_not_of(' ') == std::string_view::npos) return false;
        Bytes text(fault.blanked ? std::string_view{} : unreadable(field.kind, random));
        text.resize(width, ' ');
        line.text.replace(first, width, text);
        if (!fault.blanked) expect(number, *line.kind, field, field.parseError);
        if (fault.follower) expect(number, *line.kind, *fault.follower, fault.follower->mandatoryError);
        return true;
    }

    // Most lines must keep their length: it tells what the file is made of.
    bool mayChangeLength(std::uint64_t number) {
        if ((lengthsChanged + 1) * 4 > number) return false;
        ++lengthsChanged;
        return true;
    }

    bool damageLine(Written& line, std::uint64_t number) {
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

    void expect(std::uint64_t line, std::string_view rule, std::size_t column) {
        expected += fmt::format("{{\"line\":{}", line);
        if (column) expected += fmt::format(",\"column\":{}", column);
        expected += fmt::format(",\"rule\":\"{}\"}}\n", rule);
    }
    void expect(std::uint64_t line, const RecordKind& kind, const Field& field, const TE::FieldError& error) {
        expected += fmt::format("{{\"line\":{},\"column\":{},\"rule\":\"{}\",\"code\":{},\"kind\":\"{}\",\"field\":\"{}\"}}\n",
            line, field.column, errorName(error.code), static_cast<int>(error.code), kind.name, field.name);
    }

    const std::uint64_t limit;
    const bool utf16;
    Random random;
    std::vector<Possible> possible;
    std::uint64_t lengthsChanged = 0;
    std::string expected;
};

enum class Encoding { Ansi, Utf16le };

struct Options {
    std::string path;
    std::uint64_t meters = 60, seed = 0;
    bool returned = false;
    double faults = 0;
    std::vector<const RecordKind*> kinds;  ///< empty: all
    Encoding encoding = Encoding::Ansi;

    bool wants(const RecordKind& kind) const { return kinds.empty() || std::ranges::find(kinds, &kind) != kinds.end(); }
};

// Lines as bytes of the file.
class LineWriter {
public:
    LineWriter(const Options& chosenOptions, OutFile& file, OutFile* findings)
        : options(chosenOptions), out(file), expected(findings),
          faults(options.faults, options.encoding == Encoding::Utf16le, options.seed) {
        if (options.encoding == Encoding::Utf16le) buffer = "\xFF\xFE";
    }

    void write(const RecordKind& kind, std::string_view text) {
        if (!options.wants(kind)) return;
        ++number;
        if (!options.kinds.empty()) ++lines[&kind];
        if (!expected) return append(text, true);
        Written line{.kind = &kind, .text = Bytes(text)};
        faults.meet(line, number);
        append(line.text, line.carriageReturn);
        if (line.halfPair) {
            const std::size_t end = buffer.size() - 2 * (line.text.size() - *line.halfPair + 2);
            buffer.replace(end, 2, std::string_view("\x00\xD8", 2));
        }
    }

    std::uint64_t linesOf(const RecordKind& kind) const {
        const auto found = lines.find(&kind);
        return found == lines.end() ? 0 : found->second;
    }

    void flush() {
        out.write(buffer);
        buffer.clear();
        if (expected) expected->write(faults.taken());
    }
    void settle(std::uint64_t metersDone) {
        if (buffer.size() < 1 << 18) return;
        progress.show("writing", metersDone, options.meters);
        flush();
    }

private:
    void append(std::string_view text, bool carriageReturn) {
        const std::string_view lineEnd = carriageReturn ? "\r\n" : "\n";
        if (options.encoding == Encoding::Ansi) {
            buffer += text;
            buffer += lineEnd;
            return;
        }
        std::size_t at = buffer.size();
        buffer.resize(at + 2 * (text.size() + lineEnd.size()));
        for (const std::string_view part : {text, lineEnd})
            for (const char c : part) buffer[at] = c, at += 2;
    }

    const Options& options;
    OutFile& out;
    OutFile* expected;
    Progress progress;
    Faults faults;
    std::string buffer;
    std::uint64_t number = 0;
    std::map<const RecordKind*, std::uint64_t> lines;  ///< of the chosen kinds
};

// The meters of a file differ by their identities; of what else is in their lines there are as many versions as here.
constexpr std::uint32_t versions = 512;
constexpr std::uint64_t metersOfARound = 1000;

void writeRounds(const Options& options, LineWriter& writer) {
    Random random(options.seed);
    std::vector<MeterLines> meters;
    for (std::uint64_t i = 0; i < std::min<std::uint64_t>(versions, options.meters); ++i)
        meters.push_back(MeterDraft(random, options.returned).lines());
    std::vector<std::pair<const RecordKind*, Places>> places;
    for (const RecordKind* kind : recordKinds()) places.emplace_back(kind, Places(*kind));
    auto placesOf = [&](const RecordKind* kind) -> const Places& {
        return std::ranges::find(places, kind, &std::pair<const RecordKind*, Places>::first)->second;
    };

    const RecordKind &round = ownKind("round"), &enquiry = ownKind("enquiry definition");
    const RecordKind& information = ownKind("record information");
    const Bytes header = roundLine(), pages[] = {enquiryLine(1), enquiryLine(2)};
    Identities identity;
    for (std::uint64_t meter = 0; meter < options.meters; ++meter) {
        const std::uint64_t order = meter % metersOfARound;
        const std::uint64_t inRound = std::min(metersOfARound, options.meters - (meter - order));
        if (order == 0) {
            writer.write(round, header);
            for (const Bytes& page : pages) writer.write(enquiry, page);
        }
        identity.set(meter + 1, order + 1);
        MeterLines& lines = meters[random.below(static_cast<std::uint32_t>(meters.size()))];
        for (MeterLines::OneLine& line : lines.lines) {
            placesOf(line.kind).put(identity, line.text.data());
            writer.write(*line.kind, line.text);
        }
        if (order + 1 == inRound) writer.write(information, informationLine(inRound));
        writer.settle(meter);
    }
}

std::vector<const RecordKind*> kindsOf(std::string_view list) {
    std::vector<const RecordKind*> kinds;
    while (!list.empty()) {
        const std::string_view word = list.substr(0, list.find(','));
        list.remove_prefix(std::min(list.size(), word.size() + 1));
        const RecordKind* kind = cli::kindNamed(word);
        if (!kind || kind->letter == 0) {
            std::vector<std::string_view> names;
            for (const RecordKind* one : recordKinds()) names.emplace_back(one->name);
            throw WrongUsage{"--kinds: " + noneOf(word, names)};
        }
        kinds.push_back(kind);
    }
    return kinds;
}

double rateOf(const std::string& word) {
    double rate = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), rate);
    if (error != std::errc{} || end != word.data() + word.size() || !(rate >= 0 && rate <= 1))
        throw WrongUsage{fmt::format("--faults: \"{}\" is no share from 0 to 1", printable(std::string_view(word)))};
    return rate;
}

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string meters, seed, faults, kinds, encoding = "ansi";
    Arguments given;
    given.option("-o,--output", options.path);
    given.option("--meters", meters);
    given.option("--seed", seed);
    given.flag("--returned", options.returned);
    given.option("--faults", faults);
    given.option("--kinds", kinds);
    given.option("--encoding", encoding);
    const std::vector<std::string> others = given.parse(std::move(arguments));
    if (!others.empty())
        throw WrongUsage{fmt::format("\"{}\" is too much; nothing is read", printable(std::string_view(others[0])))};
    if (options.path.empty()) throw WrongUsage{"-o FILE is missing (\"-\" is the standard output)"};
    if (!meters.empty()) options.meters = number("--meters", meters, "number of meters");
    if (options.meters < 1 || options.meters > 9999999) throw WrongUsage{"--meters: from 1 to 9999999"};
    if (!seed.empty()) options.seed = number("--seed", seed, "seed");
    if (!faults.empty()) options.faults = rateOf(faults);
    if (options.faults > 0 && options.path == "-")
        throw WrongUsage{"--faults needs a FILE, for what is to be found stands beside it"};
    options.kinds = kindsOf(kinds);
    options.encoding = chosen<Encoding>("--encoding", encoding, {{"ansi", Encoding::Ansi}, {"utf16le", Encoding::Utf16le}});
    return options;
}

// What was asked for and does not come. True: something else does.
bool tellMissing(const Options& options, const LineWriter& writer) {
    std::vector<std::string_view> missing;
    for (const RecordKind* kind : options.kinds)
        if (writer.linesOf(*kind) == 0) missing.push_back(kind->name);
    const bool anything = missing.size() < options.kinds.size() || options.kinds.empty();
    if (!missing.empty())
        complain(fmt::format("this round has no line of the kind {}{}{}", fmt::join(missing, ", "),
            options.returned ? "" : "; --returned or more --meters may bring some", anything ? "" : ": nothing was written"));
    return anything;
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    OutFile file(options.path);
    std::optional<OutFile> expected;
    if (options.faults > 0) expected.emplace(options.path + ".expected.jsonl");
    LineWriter writer(options, file, expected ? &*expected : nullptr);
    writeRounds(options, writer);
    if (!tellMissing(options, writer)) return notUsable;
    writer.flush();
    file.commit();
    if (expected) expected->commit();
    return nothingFound;
}

std::vector<std::string> kinds() {
    std::vector<std::string> words;
    for (const RecordKind* kind : recordKinds()) words.push_back(hyphenated(kind->name));
    return words;
}

}  // namespace

const Command sampleCommand{"sample", "writes a made-up round", help, run, kinds};

}  // namespace tramo::cli
