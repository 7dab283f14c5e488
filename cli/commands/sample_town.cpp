#include "cli/commands/sample_town.h"
#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <numeric>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace tramo::cli::sample {

namespace {

constexpr std::uint32_t quartersOfATown = 25, blocksOfAQuarter = 25, streetsOfABlock = 4;
constexpr std::int32_t betweenCrossings = 900;  // in decimetres

// What the spiral of blocks leaves out. The others have room for a round's meters: 4 streets of 12 houses or more each.
constexpr std::uint32_t mostParks = 4, fewestHouses = 3 * 2 * 2;
static_assert((blocksOfAQuarter - mostParks) * streetsOfABlock * fewestHouses >= Quarter::meters);

// Texts in the format's narrow encoding: \351 is an e with an acute accent.
constexpr std::string_view streetKinds[] = {"All\351e", "Avenue", "Chemin", "Cours", "Grande Rue", "Impasse", "Passage",
    "Petite Rue", "Place", "Route", "Rue", "Rue Basse", "Rue Haute", "Ruelle", "Sentier", "Vieille Rue"};

// What a street is named after. A vowel goes with "l'".
enum class Gender { Masculine, MasculineVowel, Feminine, FeminineVowel, Masculines, Feminines };
struct Sight {
    Gender gender;
    std::string_view name;
};
// clang-format off
constexpr Sight sights[] = {
    {Gender::Masculine, "Bassin"}, {Gender::Masculine, "Bosquet"}, {Gender::Masculine, "Bourg"}, {Gender::Masculine, "Canal"},
    {Gender::Masculine, "Champ"}, {Gender::Masculine, "Ch\342teau"}, {Gender::Masculine, "Clos"}, {Gender::Masculine, "Coteau"},
    {Gender::Masculine, "Donjon"}, {Gender::Masculine, "Four"}, {Gender::Masculine, "Gu\351"}, {Gender::Masculine, "Hameau"},
    {Gender::Masculine, "Jardin"}, {Gender::Masculine, "Lavoir"}, {Gender::Masculine, "Manoir"}, {Gender::Masculine, "March\351"},
    {Gender::Masculine, "Moulin"}, {Gender::Masculine, "Parc"}, {Gender::Masculine, "Plateau"}, {Gender::Masculine, "Ponceau"},
    {Gender::Masculine, "Pont"}, {Gender::Masculine, "Port"}, {Gender::Masculine, "Pressoir"}, {Gender::Masculine, "Pr\351"},
    {Gender::Masculine, "Puits"}, {Gender::Masculine, "Ravin"}, {Gender::Masculine, "Ruisseau"}, {Gender::Masculine, "Val"},
    {Gender::Masculine, "Verger"}, {Gender::Masculine, "Viaduc"}, {Gender::Masculine, "Vivier"},
    {Gender::MasculineVowel, "Abreuvoir"}, {Gender::MasculineVowel, "Aqueduc"}, {Gender::MasculineVowel, "Atelier"},
    {Gender::MasculineVowel, "Enclos"}, {Gender::MasculineVowel, "\311tang"}, {Gender::MasculineVowel, "Orme"},
    {Gender::Feminine, "Carri\350re"}, {Gender::Feminine, "Chapelle"}, {Gender::Feminine, "Clairi\350re"},
    {Gender::Feminine, "Colline"}, {Gender::Feminine, "C\364te"}, {Gender::Feminine, "Croix"}, {Gender::Feminine, "Digue"},
    {Gender::Feminine, "Falaise"}, {Gender::Feminine, "Ferme"}, {Gender::Feminine, "Fontaine"}, {Gender::Feminine, "For\352t"},
    {Gender::Feminine, "Forge"}, {Gender::Feminine, "Gare"}, {Gender::Feminine, "Garenne"}, {Gender::Feminine, "Grange"},
    {Gender::Feminine, "Halle"}, {Gender::Feminine, "Lande"}, {Gender::Feminine, "Mare"}, {Gender::Feminine, "Passerelle"},
    {Gender::Feminine, "Plage"}, {Gender::Feminine, "Plaine"}, {Gender::Feminine, "Porte"}, {Gender::Feminine, "Prairie"},
    {Gender::Feminine, "Rivi\350re"}, {Gender::Feminine, "Roche"}, {Gender::Feminine, "Source"}, {Gender::Feminine, "Tannerie"},
    {Gender::Feminine, "Terrasse"}, {Gender::Feminine, "Tour"}, {Gender::Feminine, "Tuilerie"}, {Gender::Feminine, "Vall\351e"},
    {Gender::Feminine, "Vigne"},
    {Gender::FeminineVowel, "\311cluse"}, {Gender::FeminineVowel, "\311cole"}, {Gender::FeminineVowel, "\311glise"},
    {Gender::FeminineVowel, "Esplanade"}, {Gender::FeminineVowel, "\316le"}, {Gender::FeminineVowel, "Oseraie"},
    {Gender::Masculines, "Cerisiers"}, {Gender::Masculines, "Ch\352nes"}, {Gender::Masculines, "\311rables"},
    {Gender::Masculines, "Fr\352nes"}, {Gender::Masculines, "Lilas"}, {Gender::Masculines, "Noyers"},
    {Gender::Masculines, "Peupliers"}, {Gender::Masculines, "Platanes"}, {Gender::Masculines, "Remparts"},
    {Gender::Masculines, "Rosiers"}, {Gender::Masculines, "Saules"}, {Gender::Masculines, "Tilleuls"},
    {Gender::Feminines, "Bruy\350res"}, {Gender::Feminines, "Fauvettes"}, {Gender::Feminines, "Foug\350res"},
    {Gender::Feminines, "Glycines"}, {Gender::Feminines, "Hirondelles"}, {Gender::Feminines, "Jonquilles"},
    {Gender::Feminines, "Mouettes"}, {Gender::Feminines, "Primev\350res"}, {Gender::Feminines, "Violettes"},
};

// What stands before the sight, by its gender: without and with an adjective.
constexpr std::string_view openings[][5] = {
    {"du ",    "du Vieux ",      "du Petit ",      "du Grand ",      "du Haut "},
    {"de l'",  "du Vieil ",      "du Petit ",      "du Grand ",      "du Haut "},
    {"de la ", "de la Vieille ", "de la Petite ",  "de la Grande ",  "de la Haute "},
    {"de l'",  "de la Vieille ", "de la Petite ",  "de la Grande ",  "de la Haute "},
    {"des ",   "des Vieux ",     "des Petits ",    "des Grands ",    "des Hauts "},
    {"des ",   "des Vieilles ",  "des Petites ",   "des Grandes ",   "des Hautes "},
};
// clang-format on
// Factors that have none in common with the number of names, and of what streets are named after: they go through all of them.
constexpr std::size_t namesOfAKind = std::size(sights) * std::size(openings[0]),
                      streetNames = std::size(streetKinds) * namesOfAKind;
constexpr std::uint64_t nameSteps[] = {1789, 2971, 3299, 4787, 5591, 6733}, sightStep = 131;
static_assert(std::ranges::all_of(nameSteps, [](auto step) { return std::gcd(streetNames, step) == 1; }));
static_assert(std::gcd(namesOfAKind, sightStep) == 1);
static_assert(streetNames >= 3 * quartersOfATown * blocksOfAQuarter * streetsOfABlock, "three towns without the same street");

constexpr std::string_view townHeads[] = {"VILLE", "BOURG", "PORT", "MONT", "VAL", "ROCHE", "PONT", "FONTAINE", "CHAMP",
    "CH\302TEAU", "MOULIN", "BOIS", "PRAIRIE", "CHAPELLE", "TOUR", "COTEAU", "RIVI\310RE", "FOR\312T", "VERGER", "\316LE"};
constexpr std::string_view townTails[] = {"", "-LE-HAUT", "-LE-BAS", "-LE-GRAND", "-LE-PETIT", "-LE-NEUF", "-LE-VIEUX",
    "-LES-PR\311S", "-LES-BOIS", "-LES-EAUX", "-LES-PINS", "-EN-VAL", "-EN-PLAINE", "-EN-FOR\312T", "-SUR-RIVE", "-SUR-MER",
    "-SUR-MONT", "-SOUS-BOIS", "-SOUS-ROCHE", "-L'\311TANG"};
constexpr std::string_view quarterNames[quartersOfATown] = {"CENTRE", "GARE", "PORT", "HALLES", "COTEAU", "PLAINE", "FOR\312T",
    "RIVI\310RE", "CH\302TEAU", "MOULIN", "PR\311S", "\311CLUSES", "GR\310VE", "FAUBOURG", "REMPARTS", "VERGERS", "LAVOIR",
    "CARRI\310RE", "\311TANGS", "BRUY\310RES", "GEN\312TS", "LANDES", "VIADUC", "HAUTS", "VALLON"};

constexpr std::size_t addressWidth = 45, longestNumber = std::string_view("99 bis ").size();
constexpr std::string_view flatPrefix = ", appt ";

// The longest address without a flat has room: all of its parts at their longest.
template <class Texts> constexpr std::size_t longest(const Texts& texts) {
    std::size_t size = 0;
    for (const std::string_view text : texts) size = std::max(size, text.size());
    return size;
}
constexpr std::size_t longestOpening() {
    std::size_t size = 0;
    for (const auto& forms : openings) size = std::max(size, longest(forms));
    return size;
}
constexpr std::size_t longestSight() {
    std::size_t size = 0;
    for (const Sight& sight : sights) size = std::max(size, sight.name.size());
    return size;
}
static_assert(longestNumber + longest(streetKinds) + 1 + longestOpening() + longestSight() <= addressWidth);
static_assert(longest(townHeads) + std::string_view(" EXEMPLE").size() + longest(townTails) <= 30);

void append(std::string& text, std::uint32_t number) {
    std::array<char, 10> digits;
    text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr);
}

std::string streetNameOf(std::uint64_t seed, std::uint32_t quarter, std::uint32_t street) {
    Random random(seed, Purpose::Town, 0);
    const std::uint64_t step = random.among(nameSteps), start = random.below(streetNames);
    const std::size_t name =
        (start + step * (std::uint64_t{quarter} * blocksOfAQuarter * streetsOfABlock + street)) % streetNames;
    const std::size_t kind = name % std::size(streetKinds);
    const std::size_t ofKind = (name / std::size(streetKinds) * sightStep + kind * 29) % namesOfAKind;
    const auto& [gender, sight] = sights[ofKind % std::size(sights)];
    const std::string_view opening = openings[static_cast<std::size_t>(gender)][ofKind / std::size(sights)];
    return fmt::format("{} {}{}", streetKinds[kind], opening, sight);
}

// How dense a quarter is built: its town's middle, around it, and its edges.
std::uint32_t ringOf(std::uint32_t quarter) {
    const std::uint32_t ofTown = quarter % quartersOfATown;
    if (ofTown == 0) return 0;
    return ofTown < 9 ? 1 : 2;
}

User userOf(Random& random, std::uint32_t ring) {
    constexpr std::uint32_t flatsOneIn[] = {14, 18, 50}, shopOneIn[] = {9, 25, 60};
    if (random.oneIn(flatsOneIn[ring])) return User::Flat;
    if (random.oneIn(shopOneIn[ring])) return User::Shop;
    if (random.oneIn(60)) return User::Workshop;
    if (random.oneIn(150)) return User::School;
    if (ring == 2 && random.oneIn(30)) return User::Farm;
    return random.oneIn(20) ? User::HolidayHome : User::House;
}

// Up and down evenly: hills.
std::int32_t hill(std::int32_t at, std::int32_t period) {
    const std::int32_t rest = (at % period + period) % period;
    return rest < period / 2 ? rest : period - rest;
}

}  // namespace

Quarter::Quarter(std::uint64_t chosenSeed, std::uint32_t number) : seed(chosenSeed), quarter(number) {
    constexpr std::pair<std::int32_t, std::int32_t> angles[] = {
        {1023, 54}, {1012, 158}, {989, 265}, {962, 350}, {928, 433}, {887, 512}, {839, 587}};
    Random random(seed, Purpose::Town, 1 + quarter / quartersOfATown);
    std::tie(cosine, sine) = random.among(angles);
    if (random.oneIn(2)) sine = -sine;
    const Place place = spiral(quarter / quartersOfATown);
    townPlace.x = place.x * 80000 + random.between(-8000, 8000);
    townPlace.y = place.y * 80000 + random.between(-8000, 8000);
    enterBlock();
}

std::string Quarter::town() const {
    const std::size_t town = quarter / quartersOfATown;
    return fmt::format(
        "{} EXEMPLE{}", townHeads[town % std::size(townHeads)], townTails[town / std::size(townHeads) % std::size(townTails)]);
}

std::string_view Quarter::name() const { return quarterNames[quarter % quartersOfATown]; }

// From (0, 0) around it: each place of a grid once.
Quarter::Place Quarter::spiral(std::uint32_t step) {
    std::int32_t ring = 0;
    while (step >= static_cast<std::uint32_t>((2 * ring + 1) * (2 * ring + 1))) ++ring;
    if (ring == 0) return {0, 0};
    const std::int32_t side = 2 * ring, at = static_cast<std::int32_t>(step) - (side - 1) * (side - 1), along = at % side + 1;
    switch (at / side) {
    case 0: return {ring, -ring + along};
    case 1: return {ring - along, ring};
    case 2: return {-ring, ring - along};
    default: return {-ring + along, -ring};
    }
}

// Where two streets cross: not quite where a grid has it.
Quarter::Place Quarter::crossing(std::int32_t column, std::int32_t row) const {
    const auto town = std::uint64_t{quarter / quartersOfATown} << 32;
    Random random(seed, Purpose::Crossing, town + static_cast<std::uint32_t>(row * 1000 + column));
    const std::int32_t x = column * betweenCrossings + random.between(-110, 110);
    return {x, row * betweenCrossings + random.between(-110, 110)};
}

void Quarter::enterBlock() {
    for (;; ++block) {
        if (block == blocksOfAQuarter) throw std::logic_error("a quarter has no more meters");
        const bool isPark = block > 0 && parks < mostParks &&
                            Random(seed, Purpose::Street, std::uint64_t{quarter} << 32 | block << 8 | 0xFF).oneIn(8);
        if (!isPark) break;
        ++parks;
    }
    // A quarter is 5 blocks wide, and a block 2 crossings.
    const Place inTown = spiral(quarter % quartersOfATown), inQuarter = spiral(block);
    corner = {inTown.x * 10 + inQuarter.x * 2, inTown.y * 10 + inQuarter.y * 2};
    street = 0;
    enterStreet();
}

// Two of a block's streets go to the east, two to the north, by turns.
void Quarter::enterStreet() {
    const std::uint32_t ofQuarter = block * streetsOfABlock + street;
    Random random(seed, Purpose::Street, std::uint64_t{quarter} << 32 | ofQuarter << 8);
    streetName = streetNameOf(seed, quarter, ofQuarter);
    goesEast = street % 2 == 0;
    const std::int32_t second = street == 1 || street == 2;
    for (std::int32_t i = 0; i < 3; ++i)
        corners[static_cast<std::size_t>(i)] =
            goesEast ? crossing(corner.x + i, corner.y + second) : crossing(corner.x + second, corner.y + i);
    housesBetweenCorners = 3 + (2 - ringOf(quarter)) / 2 + random.below(2);
    firstNumber = 2 * random.below(4);
    numberStep = random.oneIn(3) ? 4 : 2;
    zigzags = random.oneIn(2);
    house = 0;
    enterHouse();
    home.beginsStreet = true;
}

std::uint32_t Quarter::numberOf(Side side, std::uint32_t row) const {
    return firstNumber + numberStep * row + (side == Side::Odd ? 1 : 2);
}

// A house "bis" has the number of the one before it, and that one's number is not used again.
void Quarter::putAddress(Side side, std::uint32_t row, bool isBis) {
    buildingAddress.clear();
    append(buildingAddress, numberOf(side, isBis ? row - 1 : row));
    buildingAddress += isBis ? " bis " : " ";
    buildingAddress += streetName;
}

void Quarter::enterHouse() {
    const std::uint32_t housesOfASide = 2 * housesBetweenCorners;
    Side side;
    std::uint32_t row;
    if (zigzags) {
        side = house % 2 ? Side::Even : Side::Odd;
        row = house / 2;
    } else if (house < housesOfASide) {
        side = Side::Odd;
        row = house;
    } else {
        side = Side::Even;
        row = 2 * housesOfASide - 1 - house;
    }
    const std::uint32_t ofSide = row << 1 | (side == Side::Even);
    Random random(seed, Purpose::House, std::uint64_t{quarter} << 32 | (block * streetsOfABlock + street) << 8 | ofSide);

    const std::uint32_t between = row / housesBetweenCorners, ofBetween = row % housesBetweenCorners;
    const Place from = corners[between], to = corners[between + 1];
    // In thousandths of the way: none stands on a crossing.
    const auto share = static_cast<std::int32_t>(180 + 640 * (2 * ofBetween + 1) / (2 * housesBetweenCorners));
    const std::int32_t aside = random.between(70, 120) * (side == Side::Odd ? 1 : -1);
    building = {from.x + (to.x - from.x) * share / 1000, from.y + (to.y - from.y) * share / 1000};
    (goesEast ? building.y : building.x) += aside;

    putAddress(side, row, row > 0 && random.oneIn(20));
    home.user = userOf(random, ringOf(quarter));
    flat = 0;
    flats = 1;
    if (home.user == User::Flat) {
        // Some houses have one meter for all.
        if (random.oneIn(8) || buildingAddress.size() + flatPrefix.size() + 3 > addressWidth) home.user = User::Residence;
        else flats = 3 + random.below(ringOf(quarter) == 0 ? 6 : 14);
    }
}

const Home& Quarter::next() {
    if (walked > 0) {
        home.beginsStreet = false;
        if (++flat == flats) {
            if (++house < 4 * housesBetweenCorners) {
                enterHouse();
            } else if (++street < streetsOfABlock) {
                enterStreet();
            } else {
                ++block;
                enterBlock();
            }
        }
    }
    ++walked;
    address = buildingAddress;
    if (flats > 1) {
        address += flatPrefix;
        append(address, flat / 4 * 100 + flat % 4 + 1);
    }
    home.address = address;
    home.street = street;
    locate();
    return home;
}

// Where the agent stands. The last three digits, about a metre, are no two meters' of a million: those of the latitude are one
// meter's of a quarter, and those of the longitude then one quarter's of a thousand.
void Quarter::locate() {
    const auto digits = static_cast<std::int64_t>(walked * 617 % 1000), others = (digits * 389 + quarter * 271) % 1000;
    Random random(seed, Purpose::Place, std::uint64_t{quarter} << 32 | walked);
    const std::int32_t x = building.x + random.between(-20, 20), y = building.y + random.between(-20, 20);
    const std::int32_t east = townPlace.x + (x * cosine - y * sine) / 1024, north = townPlace.y + (x * sine + y * cosine) / 1024;
    home.latitude = 4850000000 + std::int64_t{north} * 8983 / 100;
    home.longitude = 160000000 - std::int64_t{east} * 13557 / 100;
    home.latitude += digits - home.latitude % 1000;
    home.longitude = -(home.longitude + others - home.longitude % 1000);
    home.altitude = 500 + hill(east, 40000) / 50 + hill(north, 26000) / 40 + random.between(0, 8);
}

}  // namespace tramo::cli::sample
