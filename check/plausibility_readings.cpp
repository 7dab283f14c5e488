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

void findDates(const LineValues& line, long32 now, LineReport& report) {
    const Subscriber& fields = of<Subscriber>();
    constexpr long32 absent = dates::noTime;
    const long32 date = line.time(fields.date), updated = line.time(fields.updated), installed = line.time(fields.installed),
                 previous = line.time(fields.previousDate);
    const auto add = [&](RoundRule rule, const Field& field, long32 time, std::string sentence, std::string reason) {
        report.add(rule, fields.kind, field, line.raw(field), concat(sentence, ' ', timeText(field, time)), std::move(reason));
    };
    const bool isUpdateLatest = updated > date;
    if (const long32 latest = std::max(date, updated); latest > now && latest - now > day && report.has(RoundRule::DateInFuture))
        add(RoundRule::DateInFuture, isUpdateLatest ? fields.updated : fields.date, latest,
            isUpdateLatest ? "the last update is of" : "the reading is of", "this is later than the clock of this computer");
    if (date == absent) return;
    if (updated != absent && date > updated && date - updated > day && report.has(RoundRule::ReadingAfterUpdate))
        add(RoundRule::ReadingAfterUpdate, fields.date, date, "the reading is of",
            concat("the line was last updated on ", timeText(fields.updated, updated)));
    if (date < installed) {
        if (report.has(RoundRule::ReadingBeforeInstallation))
            add(RoundRule::ReadingBeforeInstallation, fields.date, date, "the reading is of",
                concat("the meter was installed in ", timeText(fields.installed, installed)));
    } else if (date < previous && report.has(RoundRule::ReadingBeforePrevious)) {
        add(RoundRule::ReadingBeforePrevious, fields.date, date, "the reading is of",
            concat("the previous reading is of ", timeText(fields.previousDate, previous)));
    }
}

void findNumbers(const LineValues& line, const ReadingNumbers& numbers, LineReport& report) {
    const Subscriber& fields = of<Subscriber>();
    const auto add = [&](RoundRule rule, const Field& field, std::string sentence, std::string reason) {
        report.add(rule, fields.kind, field, line.raw(field), std::move(sentence), std::move(reason));
    };
    if (numbers.isIndexAboveWheels && report.has(RoundRule::IndexAboveWheels))
        add(RoundRule::IndexAboveWheels, fields.index, concat("the reading is ", numbers.index),
            concat("the meter has ", counted(static_cast<unsigned long long>(numbers.wheels), "wheel"), ", which show at most ",
                numbers.limit - 1));
    if (numbers.isPreviousAboveWheels && report.has(RoundRule::IndexAboveWheels))
        add(RoundRule::IndexAboveWheels, fields.previousIndex, concat("the previous reading is ", numbers.previous),
            concat("the wheels of the meter show at most ", numbers.previousLimit - 1));

    // A reading that is wrong makes the consumption wrong, too.
    const bool isContradicted = numbers.isIndexAboveWheels || numbers.isBelowPrevious || numbers.isConsumptionUnlike();
    if (!isContradicted && numbers.mostExpected > 0) {
        constexpr double far = 5;
        const long long used = numbers.used();
        if (static_cast<double>(used) > far * numbers.mostExpected && report.has(RoundRule::ConsumptionFarFromEstimate))
            add(RoundRule::ConsumptionFarFromEstimate, fields.consumption, concat("the consumption is ", used),
                concat("the estimate is at most ", static_cast<long long>(numbers.mostExpected)));
    }
    const double least = line.decimal(fields.least);
    if (least >= 0 && numbers.mostExpected >= 0 && least > numbers.mostExpected && report.has(RoundRule::EstimateInverted))
        add(RoundRule::EstimateInverted, fields.least, "the minimum estimate is above the maximum",
            concat("the estimates are ", utf8::encode(line.plain(fields.least)), " and ", utf8::encode(line.plain(fields.most))));
}

void findHistory(const LineValues& line, LineReport& report) {
    const Subscriber& fields = of<Subscriber>();
    long32 before = dates::noTime;
    bool ascends = false, descends = false;
    for (const RuleField& slot : fields.history) {
        const long32 date = line.time(slot);
        if (date == dates::noTime) continue;
        if (before != dates::noTime) (date > before ? ascends : descends) |= date != before;
        before = date;
    }
    if (!ascends || !descends || !report.has(RoundRule::HistoryUnordered)) return;
    std::string all;
    for (const RuleField& slot : fields.history)
        if (const long32 date = line.time(slot); date != dates::noTime) all += (all.empty() ? "" : ", ") + timeText(slot, date);
    const Field& first = fields.history.front();
    report.add(RoundRule::HistoryUnordered, fields.kind, first, line.raw(first), "the earlier readings are not in order",
        "they are of " + all);
}

}  // namespace

ReadingNumbers::ReadingNumbers(const LineValues& line) {
    const Subscriber& fields = of<Subscriber>();
    index = line.integer(fields.index);
    previous = line.integer(fields.previousIndex);
    consumption = line.integer(fields.consumption);
    const long long own = line.integer(fields.wheels);
    wheels = rollover::inEffect(own, line.integer(fields.correctedWheels));
    limit = rollover::limitOf(wheels);
    previousLimit = std::max(limit, rollover::limitOf(own));
    mostExpected = line.decimal(fields.most);
    isIndexAboveWheels = limit > 0 && index >= limit;
    isPreviousAboveWheels = previousLimit > 0 && previous >= previousLimit;
    if (index < 0 || previous < 0 || isIndexAboveWheels || isPreviousAboveWheels) return;
    if (index >= previous) between = index - previous;
    else if (previous < limit && isExplainedByRollOver(limit - previous + index)) between = limit - previous + index;
    else isBelowPrevious = true;
}

// A little, or not much more than estimated. A reading that is only a little too low would be nearly all that the wheels show.
bool ReadingNumbers::isExplainedByRollOver(long long rolledOver) const {
    const auto all = static_cast<double>(limit), used = static_cast<double>(rolledOver), share = used / all;
    if (mostExpected > 0) return share <= 0.1 || (share <= 0.8 && used <= 10 * mostExpected);
    return share <= 0.5;
}

void findInSubscriber(const LineValues& line, const ReadingNumbers& numbers, long32 now, LineReport& report) {
    findDates(line, now, report);
    findNumbers(line, numbers, report);
    findHistory(line, report);
}

SubscriberNote noteOfSubscriber(const LineValues& line, const ReadingNumbers& numbers, LineNotes& notes) {
    const Subscriber& fields = of<Subscriber>();
    SubscriberNote note;
    note.order = static_cast<std::int32_t>(line.integer(fields.order));
    note.previousDate = std::max<long32>(line.time(fields.previousDate), 0);
    if (line.time(fields.date) == dates::noTime) return note;
    note.hasZeroConsumption = numbers.used() == 0;
    const bool isBelow = numbers.isBelowPrevious;
    if (isBelow || numbers.isConsumptionUnlike()) {
        note.contradiction = static_cast<std::int32_t>(notes.contradictions.size());
        notes.contradictions.push_back({isBelow ? Contradiction::BelowPrevious : Contradiction::Consumption,
            static_cast<std::int8_t>(numbers.limit > 0 ? numbers.wheels : -1), numbers.previous, numbers.index,
            numbers.consumption});
    }
    return note;
}

}  // namespace tramo
