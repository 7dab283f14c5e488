#include "cli/commands/sample_meters.h"
#include <algorithm>

namespace tramo::cli::sample {

namespace {

// Half of the users of a kind take less than so much in a year, in litres.
constexpr std::int64_t usualLitres[] = {
    98000,    // House
    58000,    // Flat
    19000,    // HolidayHome
    1100000,  // Residence
    105000,   // Shop
    850000,   // Workshop
    560000,   // School
    1300000,  // Farm
};

// What users take, in 1/256 of what half of them do: 1/32 of them lies between two numbers. A log-normal distribution.
constexpr std::int64_t spread[] = {22, 84, 102, 116, 128, 140, 150, 161, 171, 181, 191, 201, 211, 222, 233, 244, 256, 268, 281,
    295, 310, 326, 343, 362, 384, 408, 436, 469, 510, 565, 643, 783, 2300};

std::int64_t litresOfAYear(Random& random, User user) {
    const std::uint64_t number = random.next();
    const std::size_t at = number >> 59;
    auto share = static_cast<std::int64_t>(number >> 40 & 0xFFF);
    if (at == std::size(spread) - 2) share = share * share / 0x1000 * share / 0x1000;  // few take very much
    return usualLitres[static_cast<std::size_t>(user)] * (spread[at] + (spread[at + 1] - spread[at]) * share / 0x1000) / 256;
}

constexpr std::uint32_t weeksOfACampaign = 11;
constexpr Day betweenReadings = 182;

constexpr std::int32_t hour = 3600;

}  // namespace

MetersOfRound::Agent::Agent(
    const Calendar& days, std::uint64_t chosenSeed, std::uint32_t round, std::uint32_t agentNumber, Day firstDay)
    : random(chosenSeed, Purpose::Agent, round * 2 + agentNumber % 2), number(agentNumber) {
    begin(days.workingDay(firstDay));
}

void MetersOfRound::Agent::begin(Day onDay) {
    day = onDay;
    second = 8 * hour + random.between(0, 1500);
    sentMinute = 17 * 60 + random.between(10, 50);
}

void MetersOfRound::Agent::spend(const Calendar& days, std::int32_t seconds) {
    second += seconds;
    if (second >= 12 * hour && second < 13 * hour + hour / 2) second = 13 * hour + hour / 2 + random.between(0, 900);
    if (second >= 16 * hour + 3 * hour / 4) begin(days.workingDay(day + 1));
}

// The week of a round and its agents: no agent is in two rounds at once.
MetersOfRound::MetersOfRound(const Calendar& knownCalendar, std::uint64_t chosenSeed, std::uint32_t number)
    : calendar(knownCalendar), seed(chosenSeed),
      imported(Calendar::day(2024, 1, 15) + 7 * static_cast<Day>(number % weeksOfACampaign)),
      agents{Agent(calendar, seed, number, (2 * number + 6) % 98 + 1, imported + 1),
          Agent(calendar, seed, number, (2 * number + 6) % 98 + 2, imported + 1)} {}

const Meter& MetersOfRound::next(const Home& home, std::uint64_t number, std::uint32_t order, Pairs& pairs) {
    meter.number = number;
    meter.order = order;
    meter.user = home.user;
    equip();
    visit(home);
    use();
    // Another meter has these numbers: this one was used more.
    for (Random random(seed, Purpose::Pair, number); !pairs.take(meter.previousIndex(), meter.consumption());) {
        const std::int64_t more = 1 + random.below(static_cast<std::uint32_t>(20 + meter.previousIndex() / 4));
        if (meter.previousIndex() + more < meter.capacity) addBefore(more);
        else meter.litresNow += 1000;
    }
    return meter;
}

void MetersOfRound::equip() {
    Random random(seed, Purpose::Radio, meter.number);
    meter.installed = random.oneIn(12) ? Calendar::day(2021, 1, 1) + random.between(0, 800)
                                       : Calendar::day(2006, 1, 1) + random.between(0, 5400);
    meter.hasRadio = !random.oneIn(3);
    meter.radioInstalled = std::max(meter.installed, Calendar::day(2017, 3, 1) + random.between(0, 1700));
}

void MetersOfRound::visit(const Home& home) {
    Random random(seed, Purpose::Visit, meter.number);
    const bool readByRadio = meter.hasRadio && !random.oneIn(9), isRead = readByRadio || !random.oneIn(8);
    const std::int32_t way = random.between(60, 300);
    auto secondsOfWork = [&] {
        if (readByRadio) return random.between(30, 80);
        return isRead ? random.between(80, 280) : random.between(50, 120);
    };
    const std::int32_t work = secondsOfWork();
    Agent& agent = agents[home.street == 1];
    agent.spend(calendar, work + (home.beginsStreet ? way : 0));
    meter.visit = agent.visit();
    meter.visit.readByRadio = readByRadio;
    meter.visit.isRead = isRead;
}

void MetersOfRound::use() {
    Random random(seed, Purpose::Use, meter.number);
    const std::int64_t ofAYear = litresOfAYear(random, meter.user);
    // Of 100 homes 2 have been empty for years, and 3 since the previous reading.
    const std::uint32_t fate = random.below(100);
    const bool usedBefore = fate != 0 && fate != 1, usedNow = usedBefore && fate > 4;
    auto used = [&](bool isUsed, Day from, Day to) {
        const std::int64_t more = random.between(86, 116);
        return isUsed ? calendar.litres(ofAYear, from, to) * more / 100 : 0;
    };

    auto& readings = meter.readings;
    std::size_t& count = meter.readingCount;
    const Day late = static_cast<Day>(meter.order / 300);  // as the agents were, then
    for (count = 0; count < readings.size(); ++count) {
        const Day day = imported + late - betweenReadings * static_cast<Day>(count + 1);
        readings[count].day = calendar.workingDay(day + random.between(-3, 3));
        if (readings[count].day <= meter.installed) {
            readings[count].day = meter.installed;
            break;
        }
    }
    const std::int64_t begun = 1000 + random.between(0, 2999);
    std::int64_t litres = begun;
    // Others may have lived there, then.
    if (count == readings.size()) {
        const std::int64_t others = random.between(40, 220);
        litres += used(true, meter.installed, readings[count - 1].day) * others / 100;
    } else ++count;
    readings[count - 1].litres = litres;
    for (std::size_t i = count - 1; i-- > 0;)
        readings[i].litres = litres += used(usedBefore, readings[i + 1].day, readings[i].day);
    for (std::size_t i = count; i < readings.size(); ++i) readings[i] = {};

    meter.leaks = usedNow && random.oneIn(45);
    meter.isBlocked = !usedNow && random.oneIn(4);
    const std::int64_t times = meter.leaks ? random.between(2, 5) : 1;
    meter.litresNow = litres + used(usedNow, readings[0].day, meter.visit.day) * times;
    meter.litresExpected = usedBefore ? calendar.litres(ofAYear, readings[0].day, imported) : 0;

    const std::int64_t shown = meter.litresNow / 1000;
    meter.wheels = shown < 90000 ? 5 : 6;
    if (shown < 8000 && random.oneIn(4)) meter.wheels = 4;
    meter.capacity = 10000;
    for (std::uint32_t wheels = 4; wheels < meter.wheels; ++wheels) meter.capacity *= 10;
    if (random.oneIn(meter.wheels == 4 ? 30 : 500)) turnOver(random);
}

// More was used before, so that the wheels turn over before this visit.
void MetersOfRound::turnOver(Random& random) {
    const std::int64_t consumption = meter.consumption();
    if (consumption <= 0) return;
    const std::int64_t previous = meter.capacity - 1 - random.below(static_cast<std::uint32_t>(consumption));
    addBefore(previous - meter.readings[0].litres / 1000);
}

void MetersOfRound::addBefore(std::int64_t cubicMetres) {
    for (Meter::Reading& reading : meter.readings) reading.litres += cubicMetres * 1000;
    meter.litresNow += cubicMetres * 1000;
}

}  // namespace tramo::cli::sample
