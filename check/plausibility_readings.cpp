// Whether the reading in a meter subscriber line is plausible.
#include "check/linerules.h"
#include "check/rollover.h"
#include "check/rulefields.h"
#include "common/concat.h"
#include "common/utf8.h"
#include "tramostream/linemodel.h"
#include <algorithm>

namespace tramo {

namespace {

using rulefields::of;
using rulefields::Subscriber;

constexpr long32 day = 24 * 60 * 60;

std::string timeText(const Field& field, long32 time) {
    return utf8::encode(textOf(field, FieldValue(static_cast<long long>(time))));
}

// The numbers of a reading. The consumption between the readings is known if they do not contradict each other.
struct Numbers {
    std::optional<long long> index, previous, consumption, wheels, limit, previousLimit;
    std::optional<double> mostExpected;

    explicit Numbers(const LineValues& line) {
        const Subscriber& fields = of<Subscriber>();
        index = line.integer(fields.index);
        previous = line.integer(fields.previousIndex);
        consumption = line.integer(fields.consumption);
        const auto own = line.integer(fields.wheels), corrected = line.integer(fields.correctedWheels);
        wheels = rollover::inEffect(own, corrected);
        limit = rollover::limitOf(wheels);
        previousLimit = std::max(limit, rollover::limitOf(own));
        mostExpected = line.decimal(fields.most);
    }

    bool isIndexAboveWheels() const { return index && limit && *index >= *limit; }
    bool isPreviousAboveWheels() const { return previous && previousLimit && *previous >= *previousLimit; }
    bool areBothShown() const { return index && previous && !isIndexAboveWheels() && !isPreviousAboveWheels(); }

    // The consumption, if the wheels rolled over between the readings.
    std::optional<long long> rolledOver() const {
        return limit && *previous < *limit ? std::optional(*limit - *previous + *index) : std::nullopt;
    }
    // A little, or not much more than estimated. A reading that is only a little too low would be nearly all that the wheels
    // show.
    bool isExplainedByRollOver() const {
        const std::optional<long long> used = rolledOver();
        if (!used) return false;
        const auto all = static_cast<double>(*limit), share = static_cast<double>(*used) / all;
        if (mostExpected && *mostExpected > 0)
            return share <= 0.1 || (share <= 0.8 && static_cast<double>(*used) <= 10 * *mostExpected);
        return share <= 0.5;
    }
    bool isBelowPrevious() const { return areBothShown() && *index < *previous && !isExplainedByRollOver(); }
    std::optional<long long> between() const {
        if (!areBothShown() || isBelowPrevious()) return std::nullopt;
        return *index >= *previous ? *index - *previous : rolledOver();
    }
    bool isConsumptionUnlike() const {
        const std::optional<long long> used = between();
        return used && consumption && *used != *consumption;
    }
};

void findDates(const LineValues& line, long32 now, LineReport& report) {
    const Subscriber& fields = of<Subscriber>();
    const auto date = line.time(fields.date), updated = line.time(fields.updated), installed = line.time(fields.installed),
               previous = line.time(fields.previousDate);
    const auto add = [&](RoundRule rule, const Field& field, long32 time, std::string sentence, std::string reason) {
        report.add(rule, fields.kind, field, line.raw(field), concat(sentence, ' ', timeText(field, time)), std::move(reason));
    };
    const Field* const latest = updated && (!date || *updated > *date) ? &fields.updated : &fields.date;
    const auto latestTime = latest == &fields.updated ? updated : date;
    if (latestTime && *latestTime > now && *latestTime - now > day && report.has(RoundRule::DateInFuture))
        add(RoundRule::DateInFuture, *latest, *latestTime, latest == &fields.date ? "the reading is of" : "the last update is of",
            "this is later than the clock of this computer");
    if (!date) return;
    if (updated && *date > *updated && *date - *updated > day && report.has(RoundRule::ReadingAfterUpdate))
        add(RoundRule::ReadingAfterUpdate, fields.date, *date, "the reading is of",
            concat("the line was last updated on ", timeText(fields.updated, *updated)));
    if (installed && *date < *installed) {
        if (report.has(RoundRule::ReadingBeforeInstallation))
            add(RoundRule::ReadingBeforeInstallation, fields.date, *date, "the reading is of",
                concat("the meter was installed in ", timeText(fields.installed, *installed)));
    } else if (previous && *date < *previous && report.has(RoundRule::ReadingBeforePrevious)) {
        add(RoundRule::ReadingBeforePrevious, fields.date, *date, "the reading is of",
            concat("the previous reading is of ", timeText(fields.previousDate, *previous)));
    }
}

void findNumbers(const LineValues& line, LineReport& report) {
    const Subscriber& fields = of<Subscriber>();
    const Numbers numbers(line);
    const auto add = [&](RoundRule rule, const Field& field, std::string sentence, std::string reason) {
        report.add(rule, fields.kind, field, line.raw(field), std::move(sentence), std::move(reason));
    };
    if (numbers.isIndexAboveWheels() && report.has(RoundRule::IndexAboveWheels))
        add(RoundRule::IndexAboveWheels, fields.index, concat("the reading is ", *numbers.index),
            concat("the meter has ", counted(static_cast<unsigned long long>(*numbers.wheels), "wheel"), ", which show at most ",
                *numbers.limit - 1));
    if (numbers.isPreviousAboveWheels() && report.has(RoundRule::IndexAboveWheels))
        add(RoundRule::IndexAboveWheels, fields.previousIndex, concat("the previous reading is ", *numbers.previous),
            concat("the wheels of the meter show at most ", *numbers.previousLimit - 1));

    // A reading that is wrong makes the consumption wrong, too.
    const bool isContradicted = numbers.isIndexAboveWheels() || numbers.isBelowPrevious() || numbers.isConsumptionUnlike();
    if (const auto used = numbers.consumption ? numbers.consumption : numbers.between();
        used && !isContradicted && numbers.mostExpected && *numbers.mostExpected > 0) {
        constexpr double far = 5;
        if (static_cast<double>(*used) > far * *numbers.mostExpected && report.has(RoundRule::ConsumptionFarFromEstimate))
            add(RoundRule::ConsumptionFarFromEstimate, fields.consumption, concat("the consumption is ", *used),
                concat("the estimate is at most ", static_cast<long long>(*numbers.mostExpected)));
    }
    const auto least = line.decimal(fields.least);
    if (least && numbers.mostExpected && *least >= 0 && *numbers.mostExpected >= 0 && *least > *numbers.mostExpected &&
        report.has(RoundRule::EstimateInverted))
        add(RoundRule::EstimateInverted, fields.least, "the minimum estimate is above the maximum",
            concat("the estimates are ", utf8::encode(line.plain(fields.least)), " and ", utf8::encode(line.plain(fields.most))));
}

void findHistory(const LineValues& line, LineReport& report) {
    const Subscriber& fields = of<Subscriber>();
    std::optional<long32> before;
    bool ascends = false, descends = false;
    for (const Field* slot : fields.history) {
        const auto date = line.time(*slot);
        if (!date) continue;
        if (before) (*date > *before ? ascends : descends) |= *date != *before;
        before = date;
    }
    if (!ascends || !descends || !report.has(RoundRule::HistoryUnordered)) return;
    std::string dates;
    for (const Field* slot : fields.history)
        if (const auto date = line.time(*slot)) dates += (dates.empty() ? "" : ", ") + timeText(*slot, *date);
    const Field& first = *fields.history.front();
    report.add(RoundRule::HistoryUnordered, fields.kind, first, line.raw(first), "the earlier readings are not in order",
        "they are of " + dates);
}

}  // namespace

void findInSubscriber(const LineValues& line, long32 now, LineReport& report) {
    findDates(line, now, report);
    findNumbers(line, report);
    findHistory(line, report);
}

SubscriberNote noteOfSubscriber(const LineValues& line, LineNotes& notes) {
    const Subscriber& fields = of<Subscriber>();
    SubscriberNote note;
    if (const auto order = line.integer(fields.order)) note.order = static_cast<std::int32_t>(*order);
    note.previousDate = line.time(fields.previousDate).value_or(0);
    if (!line.time(fields.date)) return note;
    const Numbers numbers(line);
    note.hasZeroConsumption = (numbers.consumption ? numbers.consumption : numbers.between()) == 0;
    const bool isBelow = numbers.isBelowPrevious();
    if (isBelow || numbers.isConsumptionUnlike()) {
        note.contradiction = static_cast<std::int32_t>(notes.contradictions.size());
        notes.contradictions.push_back({isBelow ? Contradiction::BelowPrevious : Contradiction::Consumption,
            static_cast<std::int8_t>(numbers.limit ? *numbers.wheels : -1), *numbers.previous, *numbers.index,
            numbers.consumption.value_or(-1)});
    }
    return note;
}

}  // namespace tramo
