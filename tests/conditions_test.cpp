// When each field of each record kind is written and when it is reported, in the words of `tramo explain`.
#include "model/describe.h"
#include "tramostream/tramostream.h"
#include <gtest/gtest.h>
#include <map>

using tramo::Field;

namespace {

struct Condition {
    const char* kind;
    const char* field;  // '#' stands for each number from `first` to `last`
    const char* written;
    const char* reported;
    int first = 0, last = 0;
};

// All fields except those that are always written and never reported.
// clang-format off
const Condition conditions[] = {
    {"round", "code", "always", "it is empty"},
    {"round", "defaultMeterWheels", "it is above 3", ""},
    {"round", "meterInformationLabelArea#", "its area has a position of 0 or more", "its area has some of position, length and type, but not all of them", 1, 5},
    {"round", "meterInformationPositionArea#", "its area has a position of 0 or more", "", 1, 5},
    {"round", "meterInformationLenghtArea#", "its area has a position of 0 or more", "", 1, 5},
    {"round", "meterInformationTypeArea#", "its area has a position of 0 or more", "", 1, 5},
    {"round", "subscriberInformationLabelArea#", "its area has a position of 0 or more", "its area has some of position, length and type (or meter information area 5 is of type A), but not all of them", 1, 1},
    {"round", "subscriberInformationPositionArea#", "its area has a position of 0 or more", "", 1, 5},
    {"round", "subscriberInformationLenghtArea#", "its area has a position of 0 or more", "", 1, 5},
    {"round", "subscriberInformationTypeArea#", "its area has a position of 0 or more", "", 1, 5},
    {"round", "subscriberInformationLabelArea#", "its area has a position of 0 or more", "its area has some of position, length and type, but not all of them", 2, 5},
    {"round", "roundImportDate", "it has a date", ""},
    {"meter subscriber", "subscriberCardOrder", "it is 0 or more", ""},
    {"meter subscriber", "subscriberInformation", "always", "it is empty"},
    {"meter subscriber", "subscriberMarkingCode", "it is not empty", ""},
    {"meter subscriber", "meterHistory#ReadingType", "its history slot has a date and a consumption of 0 or more", "its history slot has a type, a date and a consumption of 0 or more", 1, 4},
    {"meter subscriber", "meterHistory#ReadingDate", "its history slot has a date and a consumption of 0 or more", "", 1, 4},
    {"meter subscriber", "meterHistory#Consumption", "its history slot has a date and a consumption of 0 or more", "", 1, 4},
    {"meter subscriber", "meterInformation", "always", "it is empty"},
    {"meter subscriber", "meterSerialNumber", "there is meter information", "it is empty"},
    {"meter subscriber", "meterWheels", "it is 0 or more", ""},
    {"meter subscriber", "meterCorrectedSerialNumber", "it is not empty", ""},
    {"meter subscriber", "meterCorrectedWheels", "it is above 3", ""},
    {"meter subscriber", "meterInstallationYear", "it is a representable year", ""},
    {"meter subscriber", "meterPreviousReadingDate", "it has a date", "the previous reading has a date but no index, or an index but no date"},
    {"meter subscriber", "meterPreviousReadingIndex", "there is a previous reading date and it is 0 or more", ""},
    {"meter subscriber", "meterMinEstimatedConsumption", "it is above -1", "the minimum of the estimated consumption is above 0 without a maximum, or there is a maximum and the minimum is not above 0"},
    {"meter subscriber", "meterMaxEstimatedConsumption", "it is above -1", ""},
    {"meter subscriber", "meterReadingDate", "it has a date", "the reading has a date but lacks an index, a status, a method or (after a previous index) a consumption, or has one of the first three without a date"},
    {"meter subscriber", "meterReadingIndex", "there is a reading date and it is 0 or more", ""},
    {"meter subscriber", "meterReadingStatus", "there is a reading date", ""},
    {"meter subscriber", "meterReadingConsumption", "there is both a reading date and a previous reading date and it is 0 or more", ""},
    {"meter subscriber", "meterReadingMethod", "there is a reading date", ""},
    {"meter subscriber", "meterMarkingCode", "it is not empty", ""},
    {"meter subscriber", "meterMessage", "it is not empty", ""},
    {"meter subscriber", "meterLastUpdateDate", "it has a date", ""},
    {"meter subscriber", "meterAuthorizedChange", "always", "it is empty"},
    {"meter subscriber", "meterReadingUserCode", "it is not empty", ""},
    {"AMR", "installationDate", "always", "it has no date"},
    {"AMR", "meterSerialNumber", "always", "it is empty"},
    {"AMR", "sensorPort", "it is 0 or more", "it is empty"},
    {"AMR", "meterMaxIndex", "it is 0 or more", "it is below 0"},
    {"AMR", "meterUnit", "it is above 0", "it is below 0"},
    {"AMR", "referance", "always", "it is empty"},
    {"AMR", "serialNumber", "always", "it is empty"},
    {"AMR", "internalSerialNumber", "always", "it is empty"},
    {"AMR", "data", "always", "it is empty"},
    {"AMR", "pulseWeight", "it is above 0", "it is below 0"},
    {"AMR", "pulseWeightStr", "the pulse weight is not above 0", ""},
    {"AMR", "maxIndex", "it is 0 or more", "it is below 0"},
    {"AMR", "previousReadingDate", "the previous reading date is not -1", "it has no date"},
    {"AMR", "previousReadingDateStr", "never", ""},
    {"AMR", "previousMeterIndex", "the previous reading date is not -1 and it is above -1", "it is below 0"},
    {"AMR", "previousAmrIndex", "the previous reading date is not -1 and it is 0 or more", "it is below 0"},
    {"AMR", "previousAlarms", "the previous reading date is not -1", "the previous meter index is below 0"},
    {"AMR", "previousAmrStatus", "the previous reading date is not -1", "it is empty"},
    {"AMR", "currentReadingDate", "the current reading date is not -1", ""},
    {"AMR", "currentMeterIndex", "the current reading date is not -1 and it is above -1", ""},
    {"AMR", "currentAmrIndex", "the current reading date is not -1 and it is 0 or more", ""},
    {"AMR", "currentAlarms", "the current reading date is not -1", ""},
    {"AMR", "currentAmrStatus", "the current reading date is not -1", ""},
    {"AMR", "externalAMR", "never", ""},
    {"AMR", "lastReadFailDate", "there is both a date and a count of failed readings", ""},
    {"AMR", "readFailCount", "there is both a date and a count of failed readings", ""},
    {"meter change", "oldMeterSerialNumber", "always", "it is empty"},
    {"meter change", "newMeterSerialNumber", "always", "it is empty"},
    {"meter change", "newMeterWheelsNumber", "it is above 3", "it is empty"},
    {"meter change", "newMeterIndex", "it is 0 or more", "it is empty"},
    {"meter change", "newMeterInstallationDate", "always", "it has no date"},
    {"extended AMR", "meterSerialNumber", "always", "it is empty"},
    {"extended AMR", "amrReference", "always", "it is empty"},
    {"extended AMR", "amrSerialNumber", "always", "it is empty"},
    {"extended AMR", "amrSensorPort", "it is 0 or more", "it is below 0"},
    {"extended AMR", "readingDate", "always", "it has no date"},
    {"extended AMR", "meterIndex", "it is above -1", "it is below 0"},
    {"extended AMR", "backflowIndex", "always", "it is below 0"},
    {"extended AMR", "history#DateTime", "its history slot has a time and an index above -1", "its history slot has some of time, index and alarm code, but not all of them", 1, 18},
    {"extended AMR", "history#Index", "its history slot has a time and an index above -1", "", 1, 18},
    {"extended AMR", "history#Alarms", "its history slot has a time and an index above -1", "", 1, 18},
    {"enquiry definition", "pageNumber", "always", "it is empty"},
    {"enquiry definition", "area#Label", "always", "its area has a label and a type, but no size or (for type C) no list", 1, 5},
    {"enquiry definition", "area#Size", "it is 0 or more", "", 1, 5},
    {"enquiry definition", "order", "never", "it is below 0"},
    {"enquiry result", "pageNumber", "always", "it is empty"},
    {"enquiry result", "meterSerialNumber", "always", "it is empty"},
    {"enquiry result", "lastModificationDate", "it has a date", ""},
    {"extended data", "meterSerialNumber", "always", "it is empty"},
    {"extended data", "latitude", "it has been set", ""},
    {"extended data", "longitude", "it has been set", ""},
    {"extended data", "altitude", "it has been set", ""},
    {"extended data", "accuracy", "it has been set", ""},
    {"extended data", "updateDate", "it has been set", ""},
    {"extended data", "scoreType", "it has been set", ""},
    {"extended data", "scoreValue", "it has been set", ""},
    {"record information", "roundNumber", "it is 0 or more", "it is below 0"},
    {"record information", "meterNumber", "it is 0 or more", "it is below 0"},
    {"tag", "code", "always", "it is empty"},
    {"tag", "label", "always", "it is empty"},
    {"parameter", "key", "always", "it is empty"},
    {"parameter", "value", "always", "it is empty"},
};
// clang-format on

std::vector<const tramo::RecordKind*> everyKind() {
    std::vector<const tramo::RecordKind*> all(tramo::recordKinds().begin(), tramo::recordKinds().end());
    all.push_back(&tramo::kindOf<TagTramoModel>());
    all.push_back(&tramo::kindOf<ParameterTramoModel>());
    return all;
}

// The words of each field, by record kind and name.
std::map<std::string, std::pair<std::string, std::string>> expected() {
    std::map<std::string, std::pair<std::string, std::string>> all;
    for (const Condition& row : conditions)
        for (int number = row.first; number <= row.last; ++number)
            all[row.kind + (": " + tramo::numbered(row.field, number))] = {row.written, row.reported};
    return all;
}

}  // namespace

TEST(Conditions, MatchTheWordsOfTheFormat) {
    auto words = expected();
    for (const tramo::RecordKind* kind : everyKind())
        for (const Field& field : kind->fields) {
            const std::string name = kind->name + ": " + field.name;
            const auto found = words.find(name);
            EXPECT_EQ(field.written, found == words.end() ? "always" : found->second.first) << name;
            EXPECT_EQ(field.mandatory, found == words.end() ? "" : found->second.second) << name;
            if (found != words.end()) words.erase(found);
        }
    EXPECT_TRUE(words.empty()) << "no field: " << words.begin()->first;
}

TEST(Conditions, ReportErrorsOnCorrectLinesInTwoRecordKindsOnly) {
    for (const tramo::RecordKind* kind : everyKind())
        for (const Field& field : kind->fields) {
            const bool isCount = kind->name == "record information" && field.name == "meterNumber";
            const bool isSlot =
                kind->name == "meter subscriber" && field.name.starts_with("meterHistory") && field.name.ends_with("ReadingType");
            EXPECT_EQ(field.reportedOnGoodLines, isCount || isSlot) << kind->name << ": " << field.name;
        }
}

TEST(Conditions, TwoFieldsShareAColumnInFourPlaces) {
    std::vector<std::string> overlaid;
    for (const tramo::RecordKind* kind : everyKind())
        for (const Field& field : kind->fields)
            if (field.overlaid) overlaid.push_back(kind->name + ": " + field.name);
    EXPECT_EQ(overlaid, (std::vector<std::string>{"AMR: pulseWeightStr", "AMR: previousReadingDateStr", "AMR: externalAMRText",
                            "enquiry definition: orderStr"}));
}
