// The fields that the rules about rounds read, each looked up once by its name.
#pragma once
#include "check/linenote.h"
#include "tramostream/anyrecord.h"
#include "tramostream/fields.h"
#include <array>
#include <string>

namespace tramo::rulefields {

template <class M> RuleField fieldOf(const std::string& name) {
    const Field& field = *kindOf<M>().field(name);
    return {&field, FilledModel::placeOf<M>(field.index)};
}

struct Subscriber {
    using M = MeterSubscriberTramoModel;
    const RecordKind& kind = kindOf<M>();
    const RuleField serial = fieldOf<M>("meterSerialNumber"), order = fieldOf<M>("subscriberCardOrder"),
                    wheels = fieldOf<M>("meterWheels"), correctedWheels = fieldOf<M>("meterCorrectedWheels"),
                    installed = fieldOf<M>("meterInstallationYear"), previousDate = fieldOf<M>("meterPreviousReadingDate"),
                    previousIndex = fieldOf<M>("meterPreviousReadingIndex"), least = fieldOf<M>("meterMinEstimatedConsumption"),
                    most = fieldOf<M>("meterMaxEstimatedConsumption"), date = fieldOf<M>("meterReadingDate"),
                    index = fieldOf<M>("meterReadingIndex"), consumption = fieldOf<M>("meterReadingConsumption"),
                    updated = fieldOf<M>("meterLastUpdateDate");
    const std::array<RuleField, 4> history{fieldOf<M>("meterHistory1ReadingDate"), fieldOf<M>("meterHistory2ReadingDate"),
        fieldOf<M>("meterHistory3ReadingDate"), fieldOf<M>("meterHistory4ReadingDate")};
};

struct Module {
    using M = AMRTramoModel;
    const RecordKind& kind = kindOf<M>();
    const RuleField serial = fieldOf<M>("meterSerialNumber"), installed = fieldOf<M>("installationDate"),
                    previousIndex = fieldOf<M>("previousMeterIndex"), date = fieldOf<M>("currentReadingDate"),
                    index = fieldOf<M>("currentMeterIndex"), alarms = fieldOf<M>("currentAlarms"),
                    leak = fieldOf<M>("currentAlarmLeakCurrent"), fraud = fieldOf<M>("currentAlarmFraudCurrent");
};

struct ExtendedModule {
    using M = ExtendedAMRTramoModel;
    const RecordKind& kind = kindOf<M>();
    const RuleField serial = fieldOf<M>("meterSerialNumber"), leak = fieldOf<M>("leakAlarm"), fraud = fieldOf<M>("fraudAlarm");
};

struct Change {
    using M = MeterChangeTramoModel;
    const RecordKind& kind = kindOf<M>();
    const RuleField oldSerial = fieldOf<M>("oldMeterSerialNumber"), newSerial = fieldOf<M>("newMeterSerialNumber"),
                    wheels = fieldOf<M>("newMeterWheelsNumber"), index = fieldOf<M>("newMeterIndex"),
                    date = fieldOf<M>("newMeterInstallationDate");
};

struct Definition {
    using M = EnquiryDefinitionTramoModel;
    struct Area {
        RuleField label, type, size, list;
    };
    static Area areaOf(const std::string& area) {
        return {fieldOf<M>(area + "Label"), fieldOf<M>(area + "Type"), fieldOf<M>(area + "Size"), fieldOf<M>(area + "List")};
    }
    const RecordKind& kind = kindOf<M>();
    const RuleField page = fieldOf<M>("pageNumber");
    const std::array<Area, answerAreas> areas{
        areaOf("area1"), areaOf("area2"), areaOf("area3"), areaOf("area4"), areaOf("area5")};
};

struct Answers {
    using M = EnquiryResultTramoModel;
    struct Area {
        RuleField code, result;
    };
    static Area areaOf(const std::string& area) { return {fieldOf<M>(area + "Code"), fieldOf<M>(area + "Result")}; }
    const RecordKind& kind = kindOf<M>();
    const RuleField page = fieldOf<M>("pageNumber"), serial = fieldOf<M>("meterSerialNumber");
    const std::array<Area, answerAreas> areas{
        areaOf("area1"), areaOf("area2"), areaOf("area3"), areaOf("area4"), areaOf("area5")};
};

struct Position {
    using M = ExtendedDataTramoModel;
    const RecordKind& kind = kindOf<M>();
    const RuleField serial = fieldOf<M>("meterSerialNumber"), latitude = fieldOf<M>("latitude"),
                    longitude = fieldOf<M>("longitude");
};

struct Information {
    using M = RecordInformationTramoModel;
    const RecordKind& kind = kindOf<M>();
    const RuleField meters = fieldOf<M>("meterNumber");
};

// Returns the fields of a kind: of<Subscriber>().index.
template <class Fields> const Fields& of() {
    static const Fields fields;
    return fields;
}

}  // namespace tramo::rulefields
