// The fields that a round is made of, each looked up once by its name.
#pragma once
#include "tramostream/anyrecord.h"
#include "tramostream/reader.h"
#include <array>
#include <string>

namespace tramo {

template <class M> const Field& fieldOf(const std::string& name) { return *kindOf<M>().field(name); }

// The text of a field; empty: absent.
inline std::string textOr(const LineView& line, const Field& field) { return line.text(field).value_or(std::string()); }

// The number of repeated fields in a record.
inline constexpr int areaCount = 5, historyCount = 4, moduleHistoryCount = 18;

struct SubscriberFields {
    struct Slot {
        const Field &type, &day, &consumption;
    };
    const Field &serial, &wheels, &correctedWheels, &subscriberInformation, &meterInformation;
    const Field &previousDate, &previousIndex;
    const Field &readingDate, &readingIndex, &consumption, &status, &method, &agent;
    std::array<Slot, historyCount> history;
};
const SubscriberFields& subscriberFields();

struct RoundFields {
    const Field &code, &name;
};
const RoundFields& roundFields();

// The readings that a radio module has recorded, in the order of their slots.
struct ModuleSlot {
    const Field &at, &index;
    const Field* alarms = nullptr;
};
const std::vector<ModuleSlot>& moduleSlotsOf(const RecordKind& kind);

struct AnswerFields {
    struct Area {
        const Field &mode, &code, &result;
        const Field &label, &type, &list;  // of the enquiry definition
    };
    const Field &page, &day, &definedPage;
    std::array<Area, areaCount> areas;
};
const AnswerFields& answerFields();

struct PlaceFields {
    const Field &latitude, &longitude, &altitude, &accuracy, &day;
};
const PlaceFields& placeFields();

struct ChangeFields {
    const Field &oldSerial, &newSerial, &wheels, &index, &day;
};
const ChangeFields& changeFields();

// The field by which the lines of a kind belong to a meter; nullptr: they belong to none.
const Field* serialFieldOf(const RecordKind& kind);

}  // namespace tramo
