#include "round/fieldsof.h"
#include "tramostream/linemodel.h"
#include "tramostream/round.h"
#include <map>
#include <utility>

namespace tramo {

namespace {

// An array of what is made from each number from 1.
template <std::size_t... I, class Make> auto numbered(std::index_sequence<I...>, Make make) {
    return std::array{make(std::to_string(I + 1))...};
}
template <std::size_t count, class Make> auto numbered(Make make) { return numbered(std::make_index_sequence<count>(), make); }

std::vector<AlarmDefinition> findAlarms(const RecordKind& kind) {
    std::vector<AlarmDefinition> alarms;
    const Field* bits = nullptr;
    int bit = 0;
    for (const Field& field : kind.fields) {
        if (field.kind == FieldKind::AlarmFlags) {
            bits = &field;
            bit = 0;
        }
        if (field.kind != FieldKind::Flag) continue;
        const std::size_t word = field.name.find("Alarm");
        if (word == std::string::npos) continue;
        const std::string before = field.name.substr(0, word), after = field.name.substr(word + 5);
        if (field.column > 0) alarms.push_back({before, false, &field, nullptr});
        else if (bits) alarms.push_back({after, before == "previous", &field, bits, bit++});
    }
    return alarms;
}

}  // namespace

const SubscriberFields& subscriberFields() {
    using M = MeterSubscriberTramoModel;
    static const SubscriberFields fields{
        .serial = fieldOf<M>("meterSerialNumber"),
        .wheels = fieldOf<M>("meterWheels"),
        .correctedWheels = fieldOf<M>("meterCorrectedWheels"),
        .subscriberInformation = fieldOf<M>("subscriberInformation"),
        .meterInformation = fieldOf<M>("meterInformation"),
        .previousDate = fieldOf<M>("meterPreviousReadingDate"),
        .previousIndex = fieldOf<M>("meterPreviousReadingIndex"),
        .readingDate = fieldOf<M>("meterReadingDate"),
        .readingIndex = fieldOf<M>("meterReadingIndex"),
        .consumption = fieldOf<M>("meterReadingConsumption"),
        .status = fieldOf<M>("meterReadingStatus"),
        .method = fieldOf<M>("meterReadingMethod"),
        .agent = fieldOf<M>("meterReadingUserCode"),
        .history = numbered<historyCount>([](const std::string& slot) {
            const std::string stem = "meterHistory" + slot;
            return SubscriberFields::Slot{
                fieldOf<M>(stem + "ReadingType"), fieldOf<M>(stem + "ReadingDate"), fieldOf<M>(stem + "Consumption")};
        }),
    };
    return fields;
}

std::span<const Field* const> readingFields() {
    const SubscriberFields& all = subscriberFields();
    static const std::array fields{&all.readingDate, &all.readingIndex, &all.status, &all.consumption, &all.method, &all.agent};
    return fields;
}

const RoundFields& roundFields() {
    static const RoundFields fields{fieldOf<RoundTramoModel>("code"), fieldOf<RoundTramoModel>("name")};
    return fields;
}

std::span<const AreaDefinition> areaDefinitions() {
    using M = RoundTramoModel;
    static const std::vector<AreaDefinition> all = [] {
        std::vector<AreaDefinition> areas;
        const auto add = [&](Area::Of of, const Field& text) {
            for (int number = 1; number <= areaCount; ++number) {
                const std::string area = "Area" + std::to_string(number);
                areas.push_back(
                    {of, number, &text, &fieldOf<M>(text.name + "Label" + area), &fieldOf<M>(text.name + "Position" + area),
                        &fieldOf<M>(text.name + "Lenght" + area), &fieldOf<M>(text.name + "Type" + area)});
            }
        };
        add(Area::Subscriber, subscriberFields().subscriberInformation);
        add(Area::Meter, subscriberFields().meterInformation);
        return areas;
    }();
    return all;
}

const std::vector<ModuleSlot>& moduleSlotsOf(const RecordKind& kind) {
    static const std::vector<ModuleSlot> none,
        ofModules = {{fieldOf<AMRTramoModel>("currentReadingDate"), fieldOf<AMRTramoModel>("currentMeterIndex")},
            {fieldOf<AMRTramoModel>("previousReadingDate"), fieldOf<AMRTramoModel>("previousMeterIndex")}};
    static const std::vector<ModuleSlot> ofExtended = [] {
        using M = ExtendedAMRTramoModel;
        std::vector<ModuleSlot> slots{{fieldOf<M>("readingDate"), fieldOf<M>("meterIndex")}};
        for (int slot = 1; slot <= moduleHistoryCount; ++slot) {
            const std::string stem = "history" + std::to_string(slot);
            slots.push_back({fieldOf<M>(stem + "DateTime"), fieldOf<M>(stem + "Index"), &fieldOf<M>(stem + "Alarms")});
        }
        return slots;
    }();
    if (&kind == &kindOf<AMRTramoModel>()) return ofModules;
    return &kind == &kindOf<ExtendedAMRTramoModel>() ? ofExtended : none;
}

const AnswerFields& answerFields() {
    using Result = EnquiryResultTramoModel;
    using Definition = EnquiryDefinitionTramoModel;
    static const AnswerFields fields{fieldOf<Result>("pageNumber"), fieldOf<Result>("lastModificationDate"),
        fieldOf<Definition>("pageNumber"), numbered<areaCount>([](const std::string& area) {
            const std::string stem = "area" + area;
            return AnswerFields::Area{fieldOf<Result>(stem + "Mode"), fieldOf<Result>(stem + "Code"),
                fieldOf<Result>(stem + "Result"), fieldOf<Definition>(stem + "Label"), fieldOf<Definition>(stem + "Type"),
                fieldOf<Definition>(stem + "List")};
        })};
    return fields;
}

const PlaceFields& placeFields() {
    using M = ExtendedDataTramoModel;
    static const PlaceFields fields{fieldOf<M>("latitude"), fieldOf<M>("longitude"), fieldOf<M>("altitude"),
        fieldOf<M>("accuracy"), fieldOf<M>("updateDate")};
    return fields;
}

const ChangeFields& changeFields() {
    using M = MeterChangeTramoModel;
    static const ChangeFields fields{fieldOf<M>("oldMeterSerialNumber"), fieldOf<M>("newMeterSerialNumber"),
        fieldOf<M>("newMeterWheelsNumber"), fieldOf<M>("newMeterIndex"), fieldOf<M>("newMeterInstallationDate")};
    return fields;
}

std::span<const AlarmDefinition> alarmDefinitions(const RecordKind& kind) {
    static const auto all = [] {
        std::map<const RecordKind*, std::vector<AlarmDefinition>> alarms;
        for (const RecordKind* one : allKinds()) alarms[one] = findAlarms(*one);
        return alarms;
    }();
    return all.at(&kind);
}

const Field* serialFieldOf(const RecordKind& kind) {
    if (const Field* field = kind.field("meterSerialNumber")) return field;
    return kind.field("oldMeterSerialNumber");
}

}  // namespace tramo
