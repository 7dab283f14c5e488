#include "check/structure_rounds.h"
#include "check/linereport.h"
#include "check/rulefields.h"
#include "common/concat.h"
#include "common/utf8.h"
#include "tramostream/linemodel.h"
#include <algorithm>
#include <cmath>
#include <numbers>
#include <tuple>

namespace tramo {

namespace {

using rulefields::of;

constexpr char roundLetter = '0', meterLetter = '1', changeLetter = '3', pageLetter = '5', answersLetter = '6',
               positionLetter = '7', informationLetter = '9';

std::string quotedSerial(const SerialKey& serial) {
    std::wstring wide;
    for (const char c : serial.text()) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return concat('"', utf8::encode(wide), '"');
}

// Findings of one line at most.
constexpr std::size_t roomForALine = 2 * answerAreas + 2;

// So that a line is added as a whole or not at all.
template <class... Vector> void makeRoom(Vector&... vectors) {
    const auto makeRoomIn = [](auto& vector) {
        if (vector.capacity() - vector.size() < roomForALine) vector.reserve(2 * vector.capacity() + 2 * roomForALine);
    };
    (makeRoomIn(vectors), ...);
}

const RecordKind& kindOf(char letter) { return *recordKind(static_cast<wchar_t>(letter)); }

std::string dayText(const Field& field, std::int64_t time) {
    return utf8::encode(textOf(field, FieldValue(static_cast<long long>(time))));
}

}  // namespace

void RoundJoin::Round::clear() {
    meters.clear();
    entered = 0;
    current = noMeter;
    previousOrder = -1;
    inPlace = 0;
    moved.clear();
    mayLackMeter = mayLackPage = false;
    pages.clear();
    early.clear();
    earlyAnswers.clear();
    alarms.clear();
    changes.clear();
    contradictions.clear();
    positions.clear();
    repeated = {};
}

void RoundJoin::add(const LineNote& note, const LineNotes& notes) {
    lastLine = note.number;
    if (note.isMalformed) return addMalformed(note);
    if (note.letter == roundLetter) return addRound(note);
    if (note.letter == meterLetter) addMeter(note, notes);
    else if (note.letter == informationLetter) addInformation(note);
    else if (note.letter == pageLetter) addPage(notes.pages[std::get<DefinitionNote>(note.of).page]);
    else join(note);
    if (roundLines > 0) return;
    beforeRound.add(note.number);
    isPartOfRound |= note.letter == pageLetter || note.letter == informationLetter;
}

// Nothing that this line may be is missing.
void RoundJoin::addMalformed(const LineNote& note) {
    const auto mayBe = [&](char letter) { return note.letter == 0 || note.letter == letter; };
    if (mayBe(roundLetter)) {
        mayLackRound |= roundLines == 0;
        round.previousOrder = -1;
    }
    if (mayBe(meterLetter)) {
        round.mayLackMeter = isCountDoubtful = true;
        round.current = noMeter;
        round.previousOrder = -1;
    }
    if (mayBe(pageLetter)) round.mayLackPage = true;
    if (mayBe(informationLetter)) isCountDoubtful = true;
    mayLackInformation = true;  // until another meter follows
}

void RoundJoin::addPage(const PageNote& page) {
    if (page.page == 0) round.mayLackPage = true;
    else round.pages.try_emplace(page.page, page);
}

// What comes before the first round line counts as part of its round.
void RoundJoin::addRound(const LineNote& note) {
    makeRoom(starts, several, candidates);
    if (roundLines > 0) endRound();
    if (roundLines++ == 0 && beforeRound.count > 0 && !mayLackRound) {
        found({.line = beforeRound.first[0],
            .rule = RoundRule::LineBeforeRound,
            .a = static_cast<std::int64_t>(several.size()),
            .b = note.number});
        several.push_back(beforeRound);
    }
    starts.push_back({round.firstOrdinal, note.number});
}

void RoundJoin::addMeter(const LineNote& note, const LineNotes& notes) {
    makeRoom(round.meters, candidates, round.contradictions);
    const auto& subscriber = std::get<SubscriberNote>(note.of);
    const auto index = static_cast<Index>(round.meters.size());
    round.meters.push_back({note.serial, note.number, subscriber.previousDate, note.isDoubtful, subscriber.hasZeroConsumption});
    if (note.isDoubtful) round.mayLackMeter = true;
    ++ordinals;
    round.current = index;
    if (firstMeter == 0) firstMeter = note.number;
    mayLackInformation = note.isDoubtful;
    ++metersSince;

    const std::int64_t order = note.isDoubtful ? -1 : subscriber.order;
    if (order >= 0 && order < round.previousOrder)
        found({.line = note.number,
            .rule = RoundRule::CardOrder,
            .letter = note.letter,
            .a = order,
            .b = round.previousOrder,
            .c = round.previousOrderLine});
    round.previousOrder = order;
    round.previousOrderLine = note.number;
    if (subscriber.contradiction >= 0 && !note.isDoubtful)
        round.contradictions.push_back({index, notes.contradictions[static_cast<std::size_t>(subscriber.contradiction)]});
}

void RoundJoin::addInformation(const LineNote& note) {
    makeRoom(candidates);
    const std::int64_t meters = std::get<InformationNote>(note.of).meters;
    if (meters >= 0 && static_cast<std::uint64_t>(meters) != metersSince && !isCountDoubtful && !note.isDoubtful)
        found({.line = note.number,
            .rule = RoundRule::InformationUnlike,
            .letter = note.letter,
            .a = meters,
            .b = static_cast<std::int64_t>(metersSince)});
    metersSince = 0;
    isCountDoubtful = false;
    mayLackInformation = true;
}

// Many at a time: the table is larger than a cache, and most lines follow their meter and need no table.
void RoundJoin::enterMeters() {
    constexpr Index ahead = 16;
    const auto count = static_cast<Index>(round.meters.size());
    for (Index& i = round.entered; i < count; ++i) {
        if (count - i > ahead) serials.prepare(round.meters[i + ahead].serial);
        makeRoom(candidates);
        const Meter& meter = round.meters[i];
        if (meter.serial.isBlank()) continue;
        const std::uint32_t before = serials.replace(meter.serial, round.firstOrdinal + i);
        if (before == SerialTable::none || meter.isDoubtful) continue;
        if (before >= round.firstOrdinal) {
            found({.line = meter.line,
                .rule = RoundRule::MeterDuplicate,
                .letter = meterLetter,
                .a = static_cast<std::int64_t>(meter.serial.words[0]),
                .b = static_cast<std::int64_t>(meter.serial.words[1]),
                .c = round.meters[before - round.firstOrdinal].line});
        } else {
            if (round.repeated.count == 0) round.repeatedIn = before;
            round.repeated.add(meter.line);
        }
    }
}

RoundJoin::Index RoundJoin::meterOf(const SerialKey& serial) {
    if (serial.isBlank()) return noMeter;
    enterMeters();
    const std::uint32_t ordinal = serials.find(serial);
    return ordinal == SerialTable::none || ordinal < round.firstOrdinal || round.meters.empty() ? noMeter
                                                                                                : ordinal - round.firstOrdinal;
}

RoundJoin::Index RoundJoin::meterOf(const LineNote& note) {
    const Index meter = meterOf(note.serial);
    return meter == noMeter && note.letter == changeLetter ? meterOf(std::get<ChangeNote>(note.of).newSerial) : meter;
}

void RoundJoin::join(const LineNote& note) {
    if (note.isDoubtful) return;
    const bool followsMeter =
        round.current != noMeter && !note.serial.isBlank() && round.meters[round.current].serial == note.serial;
    const Index meter = followsMeter ? round.current : meterOf(note);
    if (!followsMeter) makeRoom(round.early, round.moved);
    if (note.letter == answersLetter) {
        makeRoom(candidates, round.earlyAnswers);
        const AnswersNote& answers = std::get<AnswersNote>(note.of);
        if (const auto page = round.pages.find(answers.page); page != round.pages.end()) addAnswers(note, page->second);
        else if (answers.page != 0) round.earlyAnswers.push_back(note);
    } else if (note.letter == positionLetter) {
        makeRoom(round.positions);
        if (const auto* position = std::get_if<PositionNote>(&note.of)) round.positions.push_back({*position, note.number});
    } else {
        makeRoom(round.alarms, round.changes);
    }
    if (meter == noMeter) {
        round.early.push_back(note);
        return;
    }
    addOfMeter(note, meter);
    if (meter == round.current) ++round.inPlace;
    else if (round.current != noMeter) round.moved.push_back({note.number, round.meters[meter].line, note.letter});
}

void RoundJoin::addOfMeter(const LineNote& note, Index meter) {
    if (const auto* module = std::get_if<ModuleNote>(&note.of)) {
        round.meters[meter].hasModuleMoved |= module->hasMoved;
        if (module->hasLeak || module->hasFraud)
            round.alarms.push_back({meter, note.letter, module->hasLeak, module->hasFraud, 0, note.number});
    }
    if (const auto* change = std::get_if<ChangeNote>(&note.of)) {
        round.meters[meter].isChanged = true;
        round.changes.push_back({meter, note.letter, false, false, change->date, note.number});
    }
}

void RoundJoin::addAnswers(const LineNote& note, const PageNote& page) {
    const AnswersNote& answers = std::get<AnswersNote>(note.of);
    for (std::size_t i = 0; i < page.areas.size(); ++i) {
        const PageNote::Area& area = page.areas[i];
        const char16_t code = answers.codes[i];
        const std::uint8_t size = answers.sizes[i];
        if (code == 0 && size == 0) continue;
        const auto add = [&](RoundRule rule, std::int64_t a, std::int64_t b) {
            found({.line = note.number,
                .rule = rule,
                .letter = note.letter,
                .small = static_cast<std::int8_t>(i),
                .a = a,
                .b = b,
                .c = page.page});
        };
        if (!area.isDefined) {
            add(RoundRule::AnswerAreaUndefined, 0, 0);
            continue;
        }
        if (area.size > 0 && size > area.size) add(RoundRule::AnswerTooLong, size, area.size);
        const auto list = area.list.begin();
        if (code != 0 && area.isChoice && area.listSize > 0 &&
            std::find(list, list + area.listSize, code) == list + area.listSize)
            add(RoundRule::AnswerNotInList, code, 0);
    }
}

void RoundJoin::endMeters() {
    for (const LineNote& note : round.early) {
        const Index meter = meterOf(note);
        if (meter != noMeter) {
            addOfMeter(note, meter);
            round.moved.push_back({note.number, round.meters[meter].line, note.letter});
        } else if (!note.serial.isBlank() && !round.mayLackMeter) {
            found({.line = note.number,
                .rule = RoundRule::LineWithoutMeter,
                .letter = note.letter,
                .a = static_cast<std::int64_t>(note.serial.words[0]),
                .b = static_cast<std::int64_t>(note.serial.words[1])});
        }
    }
    constexpr std::uint64_t fewerThan = 4;  // times as many lines are in their places; otherwise, the round has another order
    if (round.moved.size() * fewerThan <= round.inPlace)
        for (const Moved& line : round.moved)
            found({.line = line.line, .rule = RoundRule::LineMoved, .letter = line.letter, .a = line.meterLine});

    for (const OfMeter& line : round.alarms) {
        const Meter& meter = round.meters[line.meter];
        if (!meter.hasZeroConsumption || meter.hasModuleMoved) continue;
        if (line.isLeak) found({.line = line.line, .rule = RoundRule::LeakWithoutConsumption, .letter = line.letter});
        if (line.isFraud) found({.line = line.line, .rule = RoundRule::FraudWithoutConsumption, .letter = line.letter});
    }
    for (const OfMeter& line : round.changes)
        if (const long32 previous = round.meters[line.meter].previousDate;
            line.date != 0 && previous != 0 && line.date < previous)
            found({.line = line.line,
                .rule = RoundRule::ChangeBeforePrevious,
                .letter = line.letter,
                .a = line.date,
                .b = previous});
    for (const auto& [meter, numbers] : round.contradictions) {
        if (round.meters[meter].isChanged) continue;
        const bool isBelow = numbers.what == Contradiction::BelowPrevious;
        found({.line = round.meters[meter].line,
            .rule = isBelow ? RoundRule::ReadingBelowPrevious : RoundRule::ConsumptionUnlike,
            .letter = meterLetter,
            .small = numbers.wheels,
            .a = numbers.previous,
            .b = numbers.index,
            .c = numbers.consumption});
    }
}

void RoundJoin::endPositions() {
    constexpr std::size_t enough = 5;
    constexpr double farInKilometres = 50, farInMedians = 20, kilometresOfADegree = 111.2;
    auto& positions = round.positions;
    if (positions.size() < enough || !on.has(RoundRule::PositionFar)) return;
    const auto medianOf = [](auto begin, auto end, auto valueOf) {
        const auto middle = begin + (end - begin) / 2;
        std::nth_element(begin, middle, end, [&](const auto& a, const auto& b) { return valueOf(a) < valueOf(b); });
        return static_cast<double>(valueOf(*middle));
    };
    const double latitude = medianOf(positions.begin(), positions.end(), [](const Position& p) { return p.at.latitude; });
    const double longitude = medianOf(positions.begin(), positions.end(), [](const Position& p) { return p.at.longitude; });
    const double narrowing = std::cos(latitude * std::numbers::pi / 180);
    const auto squareOf = [&](const Position& position) {
        const double north = position.at.latitude - latitude;
        double east = std::fabs(position.at.longitude - longitude);
        if (east > 180) east = 360 - east;
        east *= narrowing;
        return (north * north + east * east) * kilometresOfADegree * kilometresOfADegree;
    };
    // Most rounds are in one town.
    constexpr double square = farInKilometres * farInKilometres;
    if (std::ranges::none_of(positions, [&](const Position& position) { return squareOf(position) > square; })) return;
    const double median = medianOf(positions.begin(), positions.end(), squareOf);
    for (const Position& position : positions)
        if (const double distance = squareOf(position); distance > square && distance > farInMedians * farInMedians * median)
            found({.line = position.line,
                .rule = RoundRule::PositionFar,
                .letter = positionLetter,
                .a = static_cast<std::int64_t>(std::sqrt(distance))});
}

void RoundJoin::endRound() {
    enterMeters();
    const std::size_t most = candidates.size() + 2 * round.early.size() + round.moved.size() + 2 * round.alarms.size() +
                             round.changes.size() + round.contradictions.size() + round.positions.size() +
                             roomForALine * round.earlyAnswers.size() + 1;
    candidates.reserve(most);
    ready.reserve(ready.size() + most);
    makeRoom(several);
    round.moved.reserve(round.moved.size() + round.early.size());
    for (auto* of : {&round.alarms, &round.changes}) of->reserve(of->size() + round.early.size());
    endMeters();
    endPositions();
    for (const LineNote& note : round.earlyAnswers) {
        const AnswersNote& answers = std::get<AnswersNote>(note.of);
        if (const auto page = round.pages.find(answers.page); page != round.pages.end()) addAnswers(note, page->second);
        else if (!round.mayLackPage)
            found({.line = note.number, .rule = RoundRule::PageUndefined, .letter = note.letter, .a = answers.page});
    }
    if (round.repeated.count > 0) {
        const auto start = std::ranges::upper_bound(starts, round.repeatedIn, {}, &RoundStart::firstOrdinal);
        found({.line = round.repeated.first[0],
            .rule = RoundRule::MeterInTwoRounds,
            .letter = meterLetter,
            .a = static_cast<std::int64_t>(several.size()),
            .b = start == starts.begin() ? 0 : std::prev(start)->line});
        several.push_back(round.repeated);
    }
    // Lines without a round are an extract, or what is missing is the cause.
    const auto isAboutRound = [](const Candidate& one) {
        return one.rule != RoundRule::RoundMissing && !isAboutReadings(one.rule) &&
               (!isAboutAnswers(one.rule) || one.rule == RoundRule::PageUndefined);
    };
    if (roundLines == 0) std::erase_if(candidates, isAboutRound);
    const auto placeOf = [](const Candidate& one) { return std::tuple(one.line, one.small, one.rule); };
    std::ranges::stable_sort(candidates, {}, placeOf);
    ready.insert(ready.end(), candidates.begin(), candidates.end());
    candidates.clear();
    round.clear();
    round.firstOrdinal = ordinals;
}

void RoundJoin::end() {
    if (roundLines == 0 && firstMeter > 0 && !mayLackRound && isPartOfRound)
        found({.line = firstMeter, .rule = RoundRule::RoundMissing, .letter = meterLetter});
    if (roundLines > 0 && firstMeter > 0 && !mayLackInformation)
        found({.line = lastLine, .rule = RoundRule::InformationMissing, .a = static_cast<std::int64_t>(metersSince)});
    endRound();
}

void RoundJoin::take(const std::function<void(Finding&&)>& sink) {
    for (const Candidate& candidate : ready) sink(findingOf(candidate));
    ready.clear();
    if (candidates.empty()) several.clear();
}

Finding RoundJoin::findingOfContradiction(const Candidate& found) const {
    const auto& fields = of<rulefields::Subscriber>();
    const bool isBelow = found.rule == RoundRule::ReadingBelowPrevious;
    const Field& field = isBelow ? fields.index : fields.consumption;
    const std::int64_t number = isBelow ? found.b : found.c;
    std::string sentence, reason;
    if (isBelow) {
        sentence = concat("the reading ", found.b, " is below the previous reading ", found.a);
        reason = found.small > 0 ? concat("with ", counted(static_cast<unsigned long long>(found.small), "wheel"),
                                       ", a roll-over would mean a consumption that is too high")
                                 : std::string("the number of wheels, which may have rolled over, is unknown");
    } else {
        sentence = concat("the consumption is ", found.c);
        reason = concat("the difference of the readings ", found.a, " and ", found.b, " is ",
            found.b >= found.a ? found.b - found.a : std::llround(std::pow(10, found.small)) - found.a + found.b);
    }
    Finding finding = roundFinding(found.rule, found.line, std::move(sentence), std::move(reason));
    setPlace(finding, fields.kind, field.column, field.width, std::to_wstring(number));
    return finding;
}

Finding RoundJoin::findingOf(const Candidate& found) const {
    const auto make = [&](std::string sentence, std::string reason) {
        return roundFinding(found.rule, found.line, std::move(sentence), std::move(reason));
    };
    const auto makeAt = [&](const RecordKind& kind, const Field& field, std::string sentence, std::string reason,
                            std::wstring text = {}) {
        Finding finding = make(std::move(sentence), std::move(reason));
        setPlace(finding, kind, field.column, field.width, std::move(text));
        return finding;
    };
    const SerialKey serial{{static_cast<std::uint64_t>(found.a), static_cast<std::uint64_t>(found.b)}};
    const auto& subscriber = of<rulefields::Subscriber>();
    const auto& answers = of<rulefields::Answers>();
    const auto area = static_cast<std::size_t>(found.small);
    const auto character = [](std::int64_t code) { return std::wstring(1, static_cast<wchar_t>(code)); };
    switch (found.rule) {
    case RoundRule::RoundMissing: return make("the file has no round line", concat("the first meter is in line ", found.line));
    case RoundRule::LineBeforeRound: {
        const SomeLines& lines = several[static_cast<std::size_t>(found.a)];
        Finding finding =
            make(concat(lines.count == 1 ? "a line comes" : concat(lines.count, " lines come"), " before the round line"),
                concat("the first round line is line ", found.b));
        finding.lines = lines;
        return finding;
    }
    case RoundRule::MeterInTwoRounds: {
        const SomeLines& lines = several[static_cast<std::size_t>(found.a)];
        Finding finding = makeAt(subscriber.kind, subscriber.serial,
            concat(lines.count == 1 ? "a meter" : concat(lines.count, " meters"), " of this round ",
                lines.count == 1 ? "is" : "are", " also in a previous round"),
            found.b ? concat("the first is also in the round of line ", found.b) : "");
        finding.lines = lines;
        return finding;
    }
    case RoundRule::MeterDuplicate:
        return makeAt(subscriber.kind, subscriber.serial,
            serial.isText() ? concat("the meter ", quotedSerial(serial), " is twice in the round")
                            : "the meter is twice in the round",
            concat("line ", found.c, " has the same serial number"));
    case RoundRule::LineWithoutMeter: {
        const RecordKind& kind = kindOf(found.letter);
        const Field* field = kind.field("meterSerialNumber");
        return makeAt(kind, field ? *field : of<rulefields::Change>().oldSerial, concat(kind.name, " line belongs to no meter"),
            serial.isText() ? concat("its round has no meter subscriber line with the serial number ", quotedSerial(serial))
                            : "its round has no meter subscriber line with its serial number");
    }
    case RoundRule::LineMoved:
        return make(concat(kindOf(found.letter).name, " line is not with the other lines of its meter"),
            concat("its meter subscriber line is line ", found.a));
    case RoundRule::InformationMissing:
        return make("no record information line follows the last meter", "the end of the file may be missing");
    case RoundRule::InformationUnlike: {
        const auto& fields = of<rulefields::Information>();
        return makeAt(fields.kind, fields.meters, concat("the meter number is ", found.a),
            concat(counted(static_cast<unsigned long long>(found.b), "meter"), found.b == 1 ? " comes" : " come",
                " before this line"),
            std::to_wstring(found.a));
    }
    case RoundRule::CardOrder:
        return makeAt(subscriber.kind, subscriber.order, concat("the card order is ", found.a),
            concat("line ", found.c, " before it has ", found.b), std::to_wstring(found.a));
    case RoundRule::PageUndefined:
        return makeAt(answers.kind, answers.page,
            concat("enquiry page \"", utf8::encode(character(found.a)), "\" is not defined"), "the round has no such page",
            character(found.a));
    case RoundRule::AnswerAreaUndefined:
        return makeAt(answers.kind, answers.areas[area].result, concat("area ", found.small + 1, " is answered"),
            concat("page \"", utf8::encode(character(found.c)), "\" does not define this area"));
    case RoundRule::AnswerTooLong:
        return makeAt(answers.kind, answers.areas[area].result,
            concat(
                "the answer of area ", found.small + 1, " has ", counted(static_cast<unsigned long long>(found.a), "character")),
            concat("page \"", utf8::encode(character(found.c)), "\" allows ", found.b));
    case RoundRule::AnswerNotInList:
        return makeAt(answers.kind, answers.areas[area].code,
            concat("the code of area ", found.small + 1, " is \"", utf8::encode(character(found.a)), '"'),
            concat("it is not in the list of page \"", utf8::encode(character(found.c)), '"'), character(found.a));
    case RoundRule::ReadingBelowPrevious:
    case RoundRule::ConsumptionUnlike: return findingOfContradiction(found);
    case RoundRule::LeakWithoutConsumption:
    case RoundRule::FraudWithoutConsumption: {
        const bool isLeak = found.rule == RoundRule::LeakWithoutConsumption;
        const auto& module = of<rulefields::Module>();
        const auto& extended = of<rulefields::ExtendedModule>();
        const bool isModule = &kindOf(found.letter) == &module.kind;
        return makeAt(isModule ? module.kind : extended.kind,
            isModule ? module.alarms
            : isLeak ? extended.leak
                     : extended.fraud,
            isLeak ? "the module reports a leak" : "the module reports fraud", "the consumption of its meter is 0");
    }
    case RoundRule::ChangeBeforePrevious: {
        const auto& fields = of<rulefields::Change>();
        return makeAt(fields.kind, fields.date, concat("the meter was replaced on ", dayText(fields.date, found.a)),
            concat("the previous reading of the old meter is of ", dayText(subscriber.previousDate, found.b)));
    }
    case RoundRule::PositionFar: {
        const auto& fields = of<rulefields::Position>();
        return makeAt(fields.kind, fields.latitude, "the position is far from the others of the round",
            concat(found.a, " km from their middle"));
    }
    default: return make({}, {});
    }
}

}  // namespace tramo
