// The values of a meter, each from the fields of its lines.
#include "check/rollover.h"
#include "common/encoding.h"
#include "common/utf8.h"
#include "round/fieldsof.h"
#include "tramostream/round.h"
#include <algorithm>
#include <bitset>
#include <cmath>

namespace tramo {

namespace {

Origin originOf(const LineView& line, const Field& field) { return {line.number(), field.column, field.width}; }

// The text of some columns, which are inside of the line.
std::string columnsOf(const LineView& line, int column, int width) {
    const bool isUtf16 = line.encoding() == Encoding::Utf16;
    const std::size_t size = isUtf16 ? 2 : 1, first = static_cast<std::size_t>(column - 1) * size;
    const std::string_view bytes = line.bytes().substr(first, static_cast<std::size_t>(width) * size);
    std::wstring text(bytes.size() / size, L'\0');
    encoding::read(reinterpret_cast<const unsigned char*>(bytes.data()), text.size(), isUtf16, text.data());
    text.resize(text.find_last_not_of(L' ') + 1);
    return utf8::encode(text);
}

const Field& freeTextOf(Area::Of of) {
    const SubscriberFields& fields = subscriberFields();
    return of == Area::Subscriber ? fields.subscriberInformation : fields.meterInformation;
}

// The first column of an area in a meter subscriber line, and the one after its last; equal if nothing of it is in its text.
std::pair<int, int> columnsOf(const Area& area) {
    const Field& text = freeTextOf(area.of);
    const int first = std::clamp(area.position, 0, text.width), end = std::clamp(area.position + area.length, first, text.width);
    return area.position < 0 ? std::pair(text.column, text.column) : std::pair(text.column + first, text.column + end);
}

std::optional<AreaText> textOf(const LineView& line, const Area* area, int column, int end) {
    std::string text = columnsOf(line, column, end - column);
    if (text.empty()) return std::nullopt;
    return AreaText{area, std::move(text), {line.number(), column, end - column}};
}

// Appends what is in a free text and in none of its areas.
void addRest(const LineView& line, Area::Of of, std::span<const Area> areas, std::vector<AreaText>& texts) {
    constexpr std::size_t columns = 512 + 1;
    const Field& field = freeTextOf(of);
    std::bitset<columns> isTaken;
    for (const Area& area : areas)
        if (area.of == of)
            for (auto [column, end] = columnsOf(area); column < end; ++column) isTaken.set(static_cast<std::size_t>(column));
    const int behind = field.column + field.width;
    for (int column = field.column; column < behind;) {
        int end = column;
        while (end < behind && !isTaken[static_cast<std::size_t>(end)]) ++end;
        if (end > column)
            if (auto rest = textOf(line, nullptr, column, end)) texts.push_back(std::move(*rest));
        column = end + 1;
    }
}

// The text "nan" or "inf" is a decimal, too, but no coordinate.
std::optional<double> finite(std::optional<double> value) { return value && std::isfinite(*value) ? value : std::nullopt; }

}  // namespace

std::optional<long long> consumptionBetween(std::optional<long long> previousIndex, std::optional<long long> index,
    std::optional<long long> wheels, std::optional<long long> correctedWheels) {
    if (!index || !previousIndex || *index < 0 || *previousIndex < 0) return std::nullopt;
    if (*index >= *previousIndex) return *index - *previousIndex;
    const auto limit = rollover::limitOf(rollover::inEffect(wheels, correctedWheels));
    if (!limit || *previousIndex >= *limit) return std::nullopt;
    return *limit - *previousIndex + *index;
}

std::string Meter::serial() const { return textOr(subscriber(), subscriberFields().serial); }

Meter::State Meter::state() const { return subscriber().time(subscriberFields().readingDate) ? State::Read : State::Unread; }

std::vector<const LineView*> Meter::lines(const RecordKind& kind) const {
    std::vector<const LineView*> found;
    for (const LineView* line : ownLines)
        if (line->kind() == &kind) found.push_back(line);
    return found;
}

std::optional<std::string> Meter::area(std::string_view label) const {
    const auto found = std::ranges::find(round->areas(), label, &Area::label);
    if (found == round->areas().end()) return std::nullopt;
    const auto [column, end] = columnsOf(*found);
    return columnsOf(subscriber(), column, end - column);
}

std::vector<AreaText> Meter::areas() const {
    std::vector<AreaText> texts;
    for (const Area& area : round->areas()) {
        const auto [column, end] = columnsOf(area);
        if (auto text = textOf(subscriber(), &area, column, end)) texts.push_back(std::move(*text));
    }
    for (const Area::Of of : {Area::Subscriber, Area::Meter}) addRest(subscriber(), of, round->areas(), texts);
    return texts;
}

std::optional<Reading> Meter::reading() const {
    const SubscriberFields& fields = subscriberFields();
    const LineView& line = subscriber();
    const auto at = line.time(fields.readingDate);
    if (!at) return std::nullopt;
    return Reading{*at, line.value<long long>(fields.readingIndex), line.value<long long>(fields.consumption),
        line.value<char32_t>(fields.status), line.value<char32_t>(fields.method), textOr(line, fields.agent),
        originOf(line, fields.readingDate)};
}

std::optional<Reading> Meter::previous() const {
    const SubscriberFields& fields = subscriberFields();
    const LineView& line = subscriber();
    const auto at = line.time(fields.previousDate);
    if (!at) return std::nullopt;
    return Reading{
        .at = *at, .index = line.value<long long>(fields.previousIndex), .origin = originOf(line, fields.previousDate)};
}

std::vector<HistoryItem> Meter::history() const {
    std::vector<HistoryItem> items;
    const LineView& line = subscriber();
    int number = 0;
    for (const auto& [type, day, consumption] : subscriberFields().history) {
        ++number;
        HistoryItem item{number, textOr(line, type), line.day(day), line.value<long long>(consumption), originOf(line, day)};
        if (item.day || item.consumption || !item.type.empty()) items.push_back(std::move(item));
    }
    return items;
}

std::optional<long long> Meter::difference() const {
    const SubscriberFields& fields = subscriberFields();
    const LineView& line = subscriber();
    return consumptionBetween(line.value<long long>(fields.previousIndex), line.value<long long>(fields.readingIndex),
        line.value<long long>(fields.wheels), line.value<long long>(fields.correctedWheels));
}

std::vector<ModuleReading> Meter::moduleReadings() const {
    std::vector<ModuleReading> readings;
    for (const LineView* line : ownLines) {
        int slot = 0;
        for (const auto& [at, index, alarms] : moduleSlotsOf(*line->kind())) {
            ModuleReading reading{slot++, line->time(at), line->value<double>(index),
                alarms ? line->value<char32_t>(*alarms) : std::nullopt, originOf(*line, at)};
            if (reading.at || reading.index || reading.alarms) readings.push_back(reading);
        }
    }
    return readings;
}

std::vector<Alarm> Meter::alarms() const {
    std::vector<Alarm> alarms;
    for (const LineView* line : ownLines)
        for (const AlarmDefinition& alarm : alarmDefinitions(*line->kind())) {
            const Field& field = alarm.bits ? *alarm.bits : *alarm.flag;
            const bool isSet = alarm.bits ? ((*line)[field].alarms().value_or(0) >> alarm.bit & 1) != 0
                                          : line->value<bool>(field).value_or(false);
            if (isSet) alarms.push_back({alarm.name, alarm.isPrevious, alarm.flag->name, originOf(*line, field)});
        }
    return alarms;
}

std::vector<MeterChange> Meter::changes() const {
    std::vector<MeterChange> changes;
    const ChangeFields& fields = changeFields();
    for (const LineView* line : lines<MeterChangeTramoModel>())
        changes.push_back({textOr(*line, fields.oldSerial), textOr(*line, fields.newSerial), line->value<long long>(fields.index),
            line->value<long long>(fields.wheels), line->day(fields.day), originOf(*line, fields.oldSerial)});
    return changes;
}

std::vector<Answer> Meter::answers() const {
    std::vector<Answer> answers;
    const AnswerFields& fields = answerFields();
    for (const LineView* line : lines<EnquiryResultTramoModel>()) {
        const std::string page = textOr(*line, fields.page);
        const LineView* definition = round->page(page);
        int number = 0;
        for (const AnswerFields::Area& area : fields.areas) {
            Answer answer{.page = page,
                .area = ++number,
                .mode = line->value<char32_t>(area.mode),
                .code = textOr(*line, area.code),
                .result = textOr(*line, area.result),
                .day = line->day(fields.day),
                .origin = originOf(*line, area.result),
                .definition = definition};
            if (!answer.mode && answer.code.empty() && answer.result.empty()) continue;
            if (definition) {
                answer.question = textOr(*definition, area.label);
                answer.type = textOr(*definition, area.type);
                answer.list = textOr(*definition, area.list);
            }
            answers.push_back(std::move(answer));
        }
    }
    return answers;
}

std::optional<Place> Meter::place() const {
    std::optional<Place> place;
    const PlaceFields& fields = placeFields();
    for (const LineView* line : lines<ExtendedDataTramoModel>()) {
        const auto latitude = finite(line->value<double>(fields.latitude)),
                   longitude = finite(line->value<double>(fields.longitude));
        if (latitude && longitude)
            place = Place{*latitude, *longitude, finite(line->value<double>(fields.altitude)),
                finite(line->value<double>(fields.accuracy)), line->day(fields.day), originOf(*line, fields.latitude)};
    }
    return place;
}

}  // namespace tramo
