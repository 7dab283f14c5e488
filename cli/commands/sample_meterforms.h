// The lines of sample rounds about a meter and its radio module.
#pragma once
#include "cli/commands/sample_form.h"
#include "cli/commands/sample_town.h"
#include <algorithm>
#include <fmt/format.h>

namespace tramo::cli::sample {

// Texts in the format's narrow encoding: \351 is an e with an acute accent.
inline constexpr std::string_view spots[] = {"CAVE", "CAVE GAUCHE", "CHAUFFERIE", "COUR", "CUISINE", "GAINE PALI\310RE", "GARAGE",
    "JARDIN", "LOCAL V\311LOS", "PLACARD 1er \311TAGE", "PLACARD 2e \311TAGE", "REGARD ALL\311E", "REGARD TROTTOIR", "SOUS-SOL",
    "SOUS L'\311VIER", "VIDE SANITAIRE"};
inline constexpr std::string_view makes[] = {"COMPTEUR MOD\310LE", "COMPTEUR TYPE B", "COMPTEUR TYPE \311"};
inline constexpr std::string_view names[] = {
    "ABONN\311 ", "ABONN\311 ", "ABONN\311 ", "R\311SIDENCE ", "COMMERCE ", "ATELIER ", "\311COLE ", "FERME "};
inline constexpr std::string_view calibres[] = {"015", "015", "015", "040", "020", "030", "030", "040"};

struct Note {
    std::string_view code, text;
};
inline constexpr Note leakNote = {"FU", "Fuite apr\350s compteur signal\351e"};
inline constexpr Note notes[] = {
    leakNote,
    {"CH", "Chien m\351chant"},
    {"CL", "Cl\351 \340 demander au gardien"},
    {"EN", "Regard encombr\351, \340 d\351gager"},
    {"GE", "Isolation \340 refaire"},
    {"IN", "Regard inond\351"},
    {"PL", "Plomb manquant"},
    {"VI", "Vitre du compteur embu\351e"},
};
inline constexpr Note excuses[] = {
    {"AV", "Absent, avis de passage laiss\351"},
    {"FE", "Portail ferm\351"},
    {"GA", "V\351hicule gar\351 sur le regard"},
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

inline Draft moduleConstants() {
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

inline Draft monthsConstants() {
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

}  // namespace tramo::cli::sample
