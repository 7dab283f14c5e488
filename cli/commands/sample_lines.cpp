#include "cli/commands/sample_lines.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <string>
#include <tramostream/linemodel.h>
#include <utility>

namespace tramo::cli::sample {

const RecordKind& kindCalled(std::string_view name) {
    const auto kinds = recordKinds();
    const auto found = std::ranges::find(kinds, name, [](const RecordKind* kind) { return std::string_view(kind->name); });
    if (found == kinds.end()) throw std::logic_error("no such kind of record");
    return **found;
}

const Field& fieldCalled(const RecordKind& kind, std::string_view name) {
    const Field* field = kind.field(name);
    if (!field) throw std::logic_error("no such field");
    return *field;
}

namespace {

// Texts in the format's narrow encoding: \351 is an e with an acute accent.
constexpr std::string_view spots[] = {"CAVE", "CAVE GAUCHE", "CHAUFFERIE", "COUR", "CUISINE", "GAINE PALI\310RE", "GARAGE",
    "JARDIN", "LOCAL V\311LOS", "PLACARD 1er \311TAGE", "PLACARD 2e \311TAGE", "REGARD ALL\311E", "REGARD TROTTOIR", "SOUS-SOL",
    "SOUS L'\311VIER", "VIDE SANITAIRE"};
constexpr std::string_view makes[] = {"COMPTEUR MOD\310LE", "COMPTEUR TYPE B", "COMPTEUR TYPE \311"};
constexpr std::string_view names[] = {
    "ABONN\311 ", "ABONN\311 ", "ABONN\311 ", "R\311SIDENCE ", "COMMERCE ", "ATELIER ", "\311COLE ", "FERME "};
constexpr std::string_view calibres[] = {"015", "015", "015", "040", "020", "030", "030", "040"};
constexpr std::string_view roundMessages[] = {
    "Cl\351s du local technique \340 retirer \340 l'accueil. Chien m\351chant au 14.",
    "Regards ferm\351s \340 cl\351: passe n\260 3. Pr\351venir les \351coles avant le passage.",
    "Travaux rue barr\351e jusqu'\340 la fin du mois: stationner place du march\351.",
    "Immeubles \340 code: la liste est au bureau. Commencer par les commerces, ferm\351s apr\350s 17 h.",
    "\300 relever \340 deux. Les fermes sont joignables t\364t le matin.",
};

struct Note {
    std::string_view code, text;
};
constexpr Note leakNote = {"FU", "Fuite apr\350s compteur signal\351e"};
constexpr Note notes[] = {
    leakNote,
    {"CH", "Chien m\351chant"},
    {"CL", "Cl\351 \340 demander au gardien"},
    {"EN", "Regard encombr\351, \340 d\351gager"},
    {"GE", "Isolation \340 refaire"},
    {"IN", "Regard inond\351"},
    {"PL", "Plomb manquant"},
    {"VI", "Vitre du compteur embu\351e"},
};
constexpr Note excuses[] = {
    {"AV", "Absent, avis de passage laiss\351"},
    {"FE", "Portail ferm\351"},
    {"GA", "V\351hicule gar\351 sur le regard"},
};
constexpr std::string_view remarks[] = {"RAS", "RAS", "RAS", "", "Acc\350s par l'arri\350re", "Compteur \340 d\351placer",
    "Pr\351venir avant le passage", "Robinet gripp\351", "Tampon cass\351", "V\351g\351tation \340 couper",
    "\311tiquette illisible"};

// A line that the library builds, for what all lines of its kind have in common.
class Draft {
public:
    explicit Draft(std::string_view kind) : model(LineModel::blank(kindCalled(kind))) {}

    Draft& put(std::string_view name, std::string_view text) {
        const Field& field = fieldCalled(model.kind(), name);
        if (!model.set(field, valueOf(field, text))) throw std::logic_error("not a value of this field");
        return *this;
    }
    Draft& put(std::string_view name, std::uint64_t number) { return put(name, fmt::format("{}", number)); }

    std::string built() {
        std::string bytes;
        for (const wchar_t c : model.built()) bytes += static_cast<char>(c);
        if (!model.buildErrors().empty()) throw std::logic_error("a value that cannot be written");
        return bytes;
    }

    const RecordKind& kind() const { return model.kind(); }

private:
    static FieldValue valueOf(const Field& field, std::string_view text) {
        long long whole = 0;
        double decimal = 0;
        switch (field.kind) {
        case FieldKind::Integer:
        case FieldKind::AlarmFlags: std::from_chars(text.data(), text.data() + text.size(), whole); return whole;
        case FieldKind::Decimal: std::from_chars(text.data(), text.data() + text.size(), decimal); return decimal;
        case FieldKind::Code: return static_cast<wchar_t>(text.front());
        case FieldKind::Flag: return text == "1";
        default: break;
        }
        std::wstring wide;
        for (const char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
        return wide;
    }

    LineModel model;
};

// The last digits of a number, before `end`; takes them off, and returns where they begin.
char* putDigits(char* end, int digits, std::uint64_t& number) {
    for (; digits > 0; --digits, number /= 10) *--end = static_cast<char>('0' + number % 10);
    return end;
}
void putTwo(char* at, unsigned number) {
    at[0] = static_cast<char>('0' + number / 10);
    at[1] = static_cast<char>('0' + number % 10);
}

// A kind of line: what all have in common, and the columns of what differs. Text is written at once into the columns, as the
// library would write it, because a model for each line would take most of the time.
class Form {
public:
    explicit Form(Draft constants) : kind(constants.kind()), blank(constants.built()) {}

    const RecordKind& kind;
    std::string text{};

protected:
    struct Column {
        std::size_t at, width;
    };
    Column column(std::string_view name) const {
        const Field& field = fieldCalled(kind, name);
        return {static_cast<std::size_t>(field.column - 1), static_cast<std::size_t>(field.width)};
    }
    static Column part(Column column, std::size_t from, std::size_t width) { return {column.at + from, width}; }

    void begin() { text = blank; }

    // The columns are still blank, or get a text of the same size or a longer one.
    void put(Column column, std::string_view content) { std::ranges::copy(content, room(column, content.size())); }
    void put(Column column, char code) { *room(column, 1) = code; }
    /// As "%lld" is written: on the right.
    void put(Column column, std::int64_t number) { putOnTheRight(column, number, 0, 0); }
    /// As "%f" is written: number / 10^scale, with so many decimals.
    void putDecimal(Column column, std::int64_t number, int scale, int decimals) {
        putOnTheRight(column, number, scale, decimals);
    }
    void putDate(Column column, const Calendar& calendar, Day day) { put(column, calendar.digits(day)); }
    void putTime(Column column, const Calendar& calendar, Day day, std::int32_t minute) {
        std::array<char, 12> digits;
        std::ranges::copy(calendar.digits(day), digits.begin());
        putTwo(&digits[8], static_cast<unsigned>(minute / 60));
        putTwo(&digits[10], static_cast<unsigned>(minute % 60));
        put(column, std::string_view(digits.data(), digits.size()));
    }

private:
    char* room(Column column, std::size_t size) {
        if (size > column.width) throw std::logic_error("a text that is longer than its field");
        return text.data() + column.at;
    }
    void putOnTheRight(Column column, std::int64_t number, int scale, int decimals) {
        std::array<char, 32> content;
        char *const end = content.data() + content.size(), *at = end;
        auto rest = static_cast<std::uint64_t>(number < 0 ? -number : number);
        if (decimals > 0) {
            std::fill(at -= decimals - scale, end, '0');
            at = putDigits(at, scale, rest);
            *--at = '.';
        }
        at = putDigits(at, 1, rest);
        while (rest > 0) at = putDigits(at, 1, rest);
        if (number < 0) *--at = '-';
        const auto size = static_cast<std::size_t>(end - at);
        std::copy(at, end, room(column, size) + column.width - size);
    }

    const std::string blank;
};

// What tells a meter from all others: a prefix, and a number of 7 digits that no other meter has there.
class Identity {
public:
    enum Mark { Serial, Corrected, NewSerial, Reference, ModuleReference, ModuleSerial, InternalSerial, Customer };

    Identity(const Calendar& knownCalendar, std::uint64_t seed) : calendar(knownCalendar) {
        Random random(seed, Purpose::Subscriber, 0);
        for (std::size_t mark = 0; mark < texts.size(); ++mark) {
            starts[mark] = mark == Corrected ? starts[Serial] : random.below(numbers);
            texts[mark] = std::string(prefixes[mark]) + "0000000";
        }
    }

    void set(const Meter& newMeter) { meter = &newMeter; }

    std::string_view operator[](Mark mark) {
        if (std::exchange(writtenFor[mark], meter->number) != meter->number) {
            std::uint64_t number = (meter->number * steps[mark] + starts[mark]) % numbers;
            putDigits(texts[mark].data() + texts[mark].size(), 7, number);
            if (mark == Serial || mark == Corrected)
                std::ranges::copy(calendar.digits(meter->installed).substr(2, 2), &texts[mark][1]);
        }
        return texts[mark];
    }

private:
    static constexpr std::uint32_t numbers = 10000000;
    static constexpr std::string_view prefixes[] = {"C00AB", "X00AB", "N24AB", "REF", "MODRADIO", "4C3", "0081", ""};
    // None has a factor in common with how many numbers there are: each goes through all of them.
    static constexpr std::uint64_t steps[] = {7368787, 7368787, 3141593, 5772157, 2718281, 1618033, 4669201, 9460731};

    const Calendar& calendar;
    const Meter* meter = nullptr;
    std::array<std::uint32_t, std::size(steps)> starts{};
    std::array<std::string, std::size(steps)> texts{};
    std::array<std::uint64_t, std::size(steps)> writtenFor{};  ///< the numbers of the meters that the texts are of
};

Draft roundConstants() {
    Draft line("round");
    line.put("consumtionLimit", "0000000050 0000000500").put("reservedUserCode", "07");
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
    return line;
}

struct RoundForm : Form {
    RoundForm() : Form(roundConstants()) {}
    const Column code = column("code"), name = column("name"), message = column("message"), date = column("roundImportDate");

    void fill(const Calendar& calendar, std::uint64_t seed, std::uint32_t round, const Quarter& quarter, Day imported) {
        begin();
        put(code, fmt::format("T{:04}", round + 1));
        put(name, fmt::format("TOURN\311E {}", quarter.name()));
        put(message, Random(seed, Purpose::Round, round).among(roundMessages));
        putDate(date, calendar, imported);
    }
};

Draft enquiryConstants(int page) {
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
    return line;
}

struct EnquiryForm : Form {
    explicit EnquiryForm(int page) : Form(enquiryConstants(page)) { begin(); }
};

struct InformationForm : Form {
    InformationForm() : Form(Draft("record information").put("roundNumber", 1)) {}
    const Column meters = column("meterNumber");

    void fill(std::uint32_t count) {
        begin();
        put(meters, std::int64_t{count});
    }
};

struct SubscriberForm : Form {
    SubscriberForm() : Form(Draft("meter subscriber")) {
        for (int slot = 1; slot <= 4; ++slot) {
            auto of = [&](const char* what) { return column(fmt::format("meterHistory{}{}", slot, what)); };
            history[static_cast<std::size_t>(slot - 1)] = {of("ReadingType"), of("ReadingDate"), of("Consumption")};
        }
    }
    struct History {
        Column type, date, consumption;
    };
    std::array<History, 4> history{};
    // The areas are those of the round.
    const Column subscriber = column("subscriberInformation"), name = part(subscriber, 0, 30), address = part(subscriber, 30, 45),
                 town = part(subscriber, 75, 30), phone = part(subscriber, 105, 14);
    const Column information = column("meterInformation"), spot = part(information, 0, 30), calibre = part(information, 30, 4),
                 make = part(information, 34, 16);
    const Column order = column("subscriberCardOrder"), serial = column("meterSerialNumber"), wheels = column("meterWheels"),
                 correctedSerial = column("meterCorrectedSerialNumber"), correctedWheels = column("meterCorrectedWheels"),
                 year = column("meterInstallationYear"), previousDate = column("meterPreviousReadingDate"),
                 previousIndex = column("meterPreviousReadingIndex"), least = column("meterMinEstimatedConsumption"),
                 most = column("meterMaxEstimatedConsumption"), date = column("meterReadingDate"),
                 index = column("meterReadingIndex"), status = column("meterReadingStatus"),
                 consumption = column("meterReadingConsumption"), method = column("meterReadingMethod"),
                 subscriberMark = column("subscriberMarkingCode"), mark = column("meterMarkingCode"),
                 message = column("meterMessage"), sent = column("meterLastUpdateDate"),
                 mayChange = column("meterAuthorizedChange"), fluid = column("meterFluidType"),
                 agent = column("meterReadingUserCode");

    void fill(const Calendar& calendar, std::uint64_t seed, const Meter& meter, const Home& home, std::string_view townName,
        Identity& identity) {
        begin();
        Random random(seed, Purpose::Subscriber, meter.number);
        const auto user = static_cast<std::size_t>(meter.user);
        put(order, std::int64_t{meter.order});
        put(name, names[user]);
        put(part(name, names[user].size(), 7), identity[Identity::Customer]);
        put(address, home.address);
        put(town, townName);
        if (!random.oneIn(6)) {
            std::array<char, 14> digits{'0', '0', ' ', '0', '0', ' ', '0', '0', ' ', '0', '0', ' ', '0', '0'};
            for (const std::size_t at : {6U, 9U, 12U}) putTwo(&digits[at], random.below(100));
            put(phone, std::string_view(digits.data(), digits.size()));
        }
        for (std::size_t slot = 0; slot + 1 < meter.readingCount; ++slot) {
            put(history[slot].type, slot > 0 && random.oneIn(20) ? 'E' : 'R');
            putDate(history[slot].date, calendar, meter.readings[slot].day);
            put(history[slot].consumption, meter.consumptionBefore(slot));
        }
        put(spot, random.among(spots));
        put(calibre, calibres[user]);
        put(make, random.among(makes));
        put(serial, identity[Identity::Serial]);
        put(wheels, std::int64_t{meter.wheels});
        put(year, calendar.digits(meter.installed).substr(0, 4));
        putDate(previousDate, calendar, meter.readings[0].day);
        put(previousIndex, meter.previousIndex());
        // Half and twice of what is expected, in halves.
        leastHalves = std::max<std::int64_t>(1, meter.litresExpected / 1000);
        mostHalves = std::max<std::int64_t>(8, meter.litresExpected * 4 / 1000);
        putDecimal(least, leastHalves * 5, 1, 6);
        putDecimal(most, mostHalves * 5, 1, 6);
        if (random.oneIn(7)) put(subscriberMark, "AB");
        isChangeable = !random.oneIn(3);
        put(mayChange, isChangeable ? '1' : '0');
        put(fluid, meter.user == User::Flat && random.oneIn(4) ? 'H' : 'W');
    }

    void fillReading(const Calendar& calendar, std::uint64_t seed, const Meter& meter, Identity& identity) {
        Random random(seed, Purpose::Reading, meter.number);
        const Visit& visit = meter.visit;
        const Note* note = nullptr;
        if (visit.isRead) {
            const std::int64_t used = meter.consumption();
            putTime(date, calendar, visit.day, visit.minute);
            put(index, meter.index());
            put(status, used * 2 < leastHalves || used * 2 > mostHalves ? '2' : '1');
            put(consumption, used);
            put(method, visit.readByRadio ? 'A' : 'M');
            if (random.oneIn(60)) {
                put(correctedSerial, identity[Identity::Corrected]);
                put(correctedWheels, std::int64_t{meter.wheels});
            }
            if (meter.leaks && random.oneIn(2)) note = &leakNote;
            else if (random.oneIn(20)) note = &random.among(notes);
        } else if (!random.oneIn(3)) note = &random.among(excuses);
        if (!visit.isRead && !note) return;
        if (note) {
            put(mark, note->code);
            put(message, note->text);
        }
        putTime(sent, calendar, visit.day, visit.sentMinute);
        std::array<char, 4> code{'A', 'G'};
        putTwo(&code[2], visit.agent);
        put(agent, std::string_view(code.data(), code.size()));
    }

    std::int64_t leastHalves = 0, mostHalves = 0;
    bool isChangeable = false;  ///< the agent may replace the meter
};

// The alarms of a module, as the format numbers its flags.
enum Alarm : unsigned { Fraud = 1, Leak = 1 << 1, BackFlow = 1 << 2, EndOfBattery = 1 << 3, LeakNow = 1 << 7, Blocked = 1 << 9 };

Draft moduleConstants() {
    Draft line("AMR");
    return line.put("sensorPort", 1).put("meterUnit", "1").put("pulseWeight", "0.01").put("maxIndex", 99999999);
}

struct ModuleForm : Form {
    ModuleForm() : Form(moduleConstants()) {}
    struct Snapshot {
        Column date, meterIndex, index, alarms, status;
    };
    Snapshot of(const std::string& state) const {
        return {column(state + "ReadingDate"), column(state + "MeterIndex"), column(state + "AmrIndex"), column(state + "Alarms"),
            column(state + "AmrStatus")};
    }
    const Snapshot previous = of("previous"), current = of("current");
    const Column installed = column("installationDate"), meterReference = column("meterReference"),
                 serial = column("meterSerialNumber"), meterMaxIndex = column("meterMaxIndex"), reference = column("referance"),
                 moduleSerial = column("serialNumber"), internalSerial = column("internalSerialNumber"), data = column("data"),
                 external = column("externalAMRText"), failedOn = column("lastReadFailDate"), failures = column("readFailCount");

    void fill(const Calendar& calendar, std::uint64_t seed, const Meter& meter, Identity& identity) {
        begin();
        Random random(seed, Purpose::Module, meter.number);
        putDate(installed, calendar, meter.radioInstalled);
        put(meterReference, identity[Identity::Reference]);
        put(serial, identity[Identity::Serial]);
        put(meterMaxIndex, meter.capacity - 1);
        put(reference, identity[Identity::ModuleReference]);
        put(moduleSerial, identity[Identity::ModuleSerial]);
        put(internalSerial, identity[Identity::InternalSerial]);
        std::array<char, 32> digits;
        for (std::size_t at = 0; at < digits.size(); at += 16) {
            std::uint64_t number = random.next();
            for (std::size_t digit = 0; digit < 16; ++digit, number >>= 4) digits[at + digit] = "0123456789ABCDEF"[number & 15];
        }
        put(data, std::string_view(digits.data(), digits.size()));
        alarmsBefore = 0;
        if (random.oneIn(80)) alarmsBefore |= Fraud;
        if (meter.leaks ? random.oneIn(3) : random.oneIn(40)) alarmsBefore |= Leak;
        if (random.oneIn(120)) alarmsBefore |= BackFlow;
        fill(previous, calendar, meter, meter.readings[0].day, meter.readings[0].litres, alarmsBefore, "OK");
        put(external, random.oneIn(5) ? '0' : '1');
    }

    void fillReading(const Calendar& calendar, std::uint64_t seed, const Meter& meter) {
        Random random(seed, Purpose::Reading, meter.number);
        if (meter.visit.readByRadio) {
            unsigned alarms = alarmsBefore & ~static_cast<unsigned>(Fraud);
            if (meter.leaks) alarms |= Leak | LeakNow;
            if (meter.isBlocked) alarms |= Blocked;
            if (random.oneIn(50)) alarms |= EndOfBattery;
            fill(current, calendar, meter, meter.visit.day, meter.litresNow, alarms, "LU");
            return;
        }
        putTime(failedOn, calendar, meter.visit.day, meter.visit.minute);
        put(failures, std::int64_t{1} + random.below(4));
    }

    unsigned alarmsBefore = 0;

private:
    // The module counts 10 litres.
    void fill(const Snapshot& columns, const Calendar& calendar, const Meter& meter, Day day, std::int64_t litres,
        unsigned alarms, std::string_view status) {
        const std::int64_t pulses = litres / 10 % (meter.capacity * 100);
        putDate(columns.date, calendar, day);
        putDecimal(columns.meterIndex, pulses, 2, 6);
        put(columns.index, pulses);
        // The low byte first.
        const std::array<unsigned, 4> digits{alarms >> 4 & 15, alarms & 15, alarms >> 12 & 15, alarms >> 8 & 15};
        std::array<char, 4> written;
        std::ranges::transform(digits, written.begin(), [](unsigned digit) { return "0123456789ABCDEF"[digit]; });
        put(columns.alarms, std::string_view(written.data(), written.size()));
        put(columns.status, status);
    }
};

struct ChangeForm : Form {
    ChangeForm() : Form(Draft("meter change")) {}
    const Column oldSerial = column("oldMeterSerialNumber"), newSerial = column("newMeterSerialNumber"),
                 wheels = column("newMeterWheelsNumber"), index = column("newMeterIndex"),
                 date = column("newMeterInstallationDate");

    bool fill(const Calendar& calendar, std::uint64_t seed, const Meter& meter, Identity& identity) {
        Random random(seed, Purpose::Change, meter.number);
        if (!random.oneIn(25)) return false;
        begin();
        put(oldSerial, identity[Identity::Serial]);
        put(newSerial, identity[Identity::NewSerial]);
        put(wheels, std::int64_t{std::max(5U, meter.wheels)});
        put(index, std::int64_t{random.below(4)});
        putDate(date, calendar, meter.visit.day);
        return true;
    }
};

Draft monthsConstants() {
    Draft line("extended AMR");
    return line.put("amrSensorPort", 1);
}

struct MonthsForm : Form {
    MonthsForm() : Form(monthsConstants()) {
        for (std::size_t slot = 1; slot <= slots.size(); ++slot) {
            auto of = [&](const char* what) { return column(fmt::format("history{}{}", slot, what)); };
            slots[slot - 1] = {of("DateTime"), of("Index"), of("Alarms")};
        }
    }
    struct Slot {
        Column time, index, alarms;
    };
    std::array<Slot, 18> slots{};
    const Column reference = column("meterReference"), serial = column("meterSerialNumber"),
                 moduleReference = column("amrReference"), moduleSerial = column("amrSerialNumber"), date = column("readingDate"),
                 index = column("meterIndex"), backFlow = column("backflowIndex"), leak = column("leakAlarm");

    bool fill(const Calendar& calendar, std::uint64_t seed, const Meter& meter, Identity& identity) {
        Random random(seed, Purpose::Months, meter.number);
        // Indexes of 6 wheels have no room.
        if (meter.wheels > 5 || random.oneIn(3)) return false;
        begin();
        put(reference, identity[Identity::Reference]);
        put(serial, identity[Identity::Serial]);
        put(moduleReference, identity[Identity::ModuleReference]);
        put(moduleSerial, identity[Identity::ModuleSerial]);
        putTime(date, calendar, meter.visit.day, meter.visit.minute);
        putIndex(index, meter, meter.litresNow);
        putDecimal(backFlow, random.oneIn(12) ? random.between(1, 900) : 0, 3, 3);
        put(leak, meter.leaks ? '1' : '0');

        // The first of each month, at an hour that no zone skips, as far back as module and readings go.
        constexpr std::size_t kept[] = {6, 13, 18, 18};
        const Day earliest = std::max(meter.radioInstalled, meter.readings[meter.readingCount - 1].day);
        std::size_t month = calendar.monthOf(meter.visit.day - 1);
        const std::size_t last = month, most = random.among(kept);
        while (last - month + 1 < most && calendar.startOfMonth(month - 1) >= earliest) --month;
        if (calendar.startOfMonth(month) < earliest) return true;
        std::size_t reading = meter.readingCount - 1;  // the last one before the month
        for (std::size_t slot = 0; month <= last; ++month, ++slot) {
            const Day day = calendar.startOfMonth(month);
            while (reading > 0 && meter.readings[reading - 1].day <= day) --reading;
            const auto [from, litresFrom] = meter.readings[reading];
            const Day to = reading > 0 ? meter.readings[reading - 1].day : meter.visit.day;
            const std::int64_t used = (reading > 0 ? meter.readings[reading - 1].litres : meter.litresNow) - litresFrom;
            putTime(slots[slot].time, calendar, day, 6 * 60);
            putIndex(slots[slot].index, meter, litresFrom + calendar.litresUntil(day, used, from, to));
            put(slots[slot].alarms, meter.leaks && month == last ? '2' : '0');
        }
        return true;
    }

private:
    void putIndex(Column column, const Meter& meter, std::int64_t litres) {
        putDecimal(column, litres / 10 % (meter.capacity * 100), 2, 3);
    }
};

struct AnswersForm : Form {
    AnswersForm() : Form(Draft("enquiry result").put("area1Mode", "H").put("area2Mode", "N").put("area3Mode", "U")) {}
    const Column page = column("pageNumber"), serial = column("meterSerialNumber"), date = column("lastModificationDate"),
                 access = column("area1Code"), pressure = column("area2Result"), remark = column("area3Result");

    void fill(const Calendar& calendar, Random& random, char pageNumber, const Meter& meter, Identity& identity) {
        begin();
        put(page, pageNumber);
        put(serial, identity[Identity::Serial]);
        putDate(date, calendar, meter.visit.day);
        put(access, "AAABBCD"[random.below(7)]);
        std::array<char, 2> digits;
        const std::uint32_t tenthsOfABar = 20 + random.below(20);
        putTwo(digits.data(), tenthsOfABar + random.below(21));
        put(pressure, std::string_view(digits.data(), digits.size()));
        put(remark, random.among(remarks));
    }
};

struct PositionForm : Form {
    PositionForm() : Form(Draft("extended data").put("scoreType", "GP")) {}
    const Column serial = column("meterSerialNumber"), latitude = column("latitude"), longitude = column("longitude"),
                 altitude = column("altitude"), accuracy = column("accuracy"), date = column("updateDate"),
                 score = column("scoreValue");

    bool fill(const Calendar& calendar, std::uint64_t seed, const Meter& meter, const Home& home, Identity& identity) {
        Random random(seed, Purpose::Position, meter.number);
        if (random.oneIn(2)) return false;
        begin();
        put(serial, identity[Identity::Serial]);
        putDecimal(latitude, home.latitude, 8, 12);
        putDecimal(longitude, home.longitude, 8, 12);
        putDecimal(altitude, home.altitude, 1, 3);
        std::int32_t metres = random.between(2, 6);
        metres += random.between(0, 5);
        putDecimal(accuracy, metres * 10 + random.between(0, 9), 1, 3);
        putDate(date, calendar, meter.visit.day);
        std::array<char, 3> digits{'0'};
        putTwo(&digits[1], static_cast<unsigned>(99 - metres * 4 + random.between(0, 8) - 8));
        put(score, std::string_view(digits.data(), digits.size()));
        return true;
    }
};

}  // namespace

struct RoundLines::Forms {
    Forms(const Calendar& knownCalendar, std::uint64_t seed) : calendar(knownCalendar), identity(knownCalendar, seed) {}
    const Calendar& calendar;
    Identity identity;
    std::string town{};
    std::uint32_t number = 0;
    RoundForm round{};
    EnquiryForm pages[2] = {EnquiryForm(1), EnquiryForm(2)};
    InformationForm information{};
    SubscriberForm subscriber{};
    ModuleForm module{};
    ChangeForm change{};
    MonthsForm months{};
    AnswersForm answers{};
    PositionForm position{};
};

RoundLines::RoundLines(const Calendar& calendar, std::uint64_t chosenSeed, bool isReturned, LineSink& sink)
    : forms(std::make_unique<Forms>(calendar, chosenSeed)), seed(chosenSeed), returned(isReturned), out(sink) {}

RoundLines::~RoundLines() = default;

// Names: a meter's number or a round's, and which of its lines it is.
void RoundLines::begin(std::uint32_t round, const Quarter& quarter, Day imported) {
    forms->town = quarter.town();
    forms->number = round;
    forms->round.fill(forms->calendar, seed, round, quarter, imported);
    std::uint64_t name = std::uint64_t{1} << 63 | std::uint64_t{round} << 4;
    out.write(forms->round.kind, forms->round.text, name);
    for (const EnquiryForm& page : forms->pages) out.write(page.kind, page.text, ++name);
}

void RoundLines::end(std::uint32_t meters) {
    forms->information.fill(meters);
    const std::uint64_t name = std::uint64_t{1} << 63 | std::uint64_t{forms->number} << 4 | 15;
    out.write(forms->information.kind, forms->information.text, name);
}

void RoundLines::meter(const Meter& meter, const Home& home) {
    auto& [calendar, identity, town, number, round, pages, information, subscriber, module, change, months, answers, position] =
        *forms;
    std::uint64_t name = meter.number << 4;
    auto write = [&](const Form& form) {
        out.write(form.kind, form.text, name | (static_cast<unsigned>(form.kind.letter) & 15));
    };

    identity.set(meter);
    subscriber.fill(calendar, seed, meter, home, town, identity);
    if (returned) subscriber.fillReading(calendar, seed, meter, identity);
    write(subscriber);
    if (meter.hasRadio) {
        module.fill(calendar, seed, meter, identity);
        if (returned) module.fillReading(calendar, seed, meter);
        write(module);
    }
    if (!returned) return;
    if (meter.visit.isRead && subscriber.isChangeable && change.fill(calendar, seed, meter, identity)) write(change);
    if (meter.visit.readByRadio && months.fill(calendar, seed, meter, identity)) write(months);
    Random random(seed, Purpose::Answers, meter.number);
    if (meter.visit.isRead && random.oneIn(4)) {
        answers.fill(calendar, random, '1', meter, identity);
        write(answers);
        if (random.oneIn(5)) {
            answers.fill(calendar, random, '2', meter, identity);
            name |= 8;
            write(answers);
            name &= ~std::uint64_t{8};
        }
    }
    if (position.fill(calendar, seed, meter, home, identity)) write(position);
}

}  // namespace tramo::cli::sample
