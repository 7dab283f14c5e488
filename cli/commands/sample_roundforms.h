// The lines of sample rounds that are about the round, and the answers and positions of its meters.
#pragma once
#include "cli/commands/sample_form.h"
#include "cli/commands/sample_town.h"
#include <fmt/format.h>

namespace tramo::cli::sample {

// Texts in the format's narrow encoding: \351 is an e with an acute accent.
inline constexpr std::string_view roundMessages[] = {
    "Cl\351s du local technique \340 retirer \340 l'accueil. Chien m\351chant au 14.",
    "Regards ferm\351s \340 cl\351: passe n\260 3. Pr\351venir les \351coles avant le passage.",
    "Travaux rue barr\351e jusqu'\340 la fin du mois: stationner place du march\351.",
    "Immeubles \340 code: la liste est au bureau. Commencer par les commerces, ferm\351s apr\350s 17 h.",
    "\300 relever \340 deux. Les fermes sont joignables t\364t le matin.",
};
inline constexpr std::string_view remarks[] = {"RAS", "RAS", "RAS", "", "Acc\350s par l'arri\350re", "Compteur \340 d\351placer",
    "Pr\351venir avant le passage", "Robinet gripp\351", "Tampon cass\351", "V\351g\351tation \340 couper",
    "\311tiquette illisible"};

inline Draft roundConstants() {
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

inline Draft enquiryConstants(int page) {
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

}  // namespace tramo::cli::sample
