#include "tramostream/reconcile.h"
#include "tramostream/linemodel.h"
#include "tramostream/messages.h"
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

using namespace tramo;

// The fields that the field work may change, listed a second time.
TEST(Reconcile, fields_that_may_change) {
    std::set<std::string> fields;
    for (const RecordKind* kind : recordKinds())
        for (const Field& field : kind->fields)
            if (field.column > 0 && mayChangeInField(*kind, field) && (kind->letter == L'1' || kind->letter == L'2'))
                fields.insert(kind->name + ": " + field.name);
    EXPECT_EQ(fields,
        (std::set<std::string>{"AMR: currentAlarms", "AMR: currentAmrIndex", "AMR: currentAmrStatus", "AMR: currentMeterIndex",
            "AMR: currentReadingDate", "AMR: lastReadFailDate", "AMR: readFailCount",
            "meter subscriber: meterCorrectedSerialNumber", "meter subscriber: meterCorrectedWheels",
            "meter subscriber: meterLastUpdateDate", "meter subscriber: meterMarkingCode", "meter subscriber: meterMessage",
            "meter subscriber: meterReadingConsumption", "meter subscriber: meterReadingDate",
            "meter subscriber: meterReadingIndex", "meter subscriber: meterReadingMethod", "meter subscriber: meterReadingStatus",
            "meter subscriber: meterReadingUserCode"}));
    for (const wchar_t letter : {L'0', L'5', L'9'})
        for (const Field& field : recordKind(letter)->fields)
            EXPECT_FALSE(mayChangeInField(*recordKind(letter), field)) << field.name;
    for (const wchar_t letter : {L'3', L'4', L'6', L'7'})
        for (const Field& field : recordKind(letter)->fields)
            EXPECT_TRUE(mayChangeInField(*recordKind(letter), field)) << field.name;
}

TEST(Reconcile, a_difference_has_its_lines_and_texts) {
    setMessages(Messages::Silent);
    const RoundFile exported = RoundFile::read(SAMPLES "/round-exported.txt"),
                    returned = RoundFile::read(SAMPLES "/round-broken.txt");
    const Reconciliation reconciled(exported, returned);
    ASSERT_EQ(reconciled.rounds().size(), 1U);
    const ReconciledRound& round = reconciled.rounds().front();
    EXPECT_EQ(round.exportedMeters, 60U);
    EXPECT_EQ(round.read + round.unread + round.missing, 60U);
    std::size_t ofMeters = 0;
    for (const ReconciledMeter& meter : round.meters)
        for (std::size_t i = 0; i < meter.differences; ++i, ++ofMeters)
            EXPECT_EQ(round.differences[meter.firstDifference + i].serial, meter.serial);
    EXPECT_GT(ofMeters, 0U);
    bool isFound = false;
    for (const Difference& difference : round.differences)
        if (difference.field && difference.field->name == "meterWheels") {
            isFound = true;
            EXPECT_EQ(difference.exportedLine, 11);
            EXPECT_EQ(difference.returnedLine, 16);
            EXPECT_EQ(sentenceOf(difference), "meterWheels has changed from \"5\" to \"VA\"");
        }
    EXPECT_TRUE(isFound);
}

TEST(Reconcile, a_file_has_no_difference_from_itself) {
    for (const char* name : {"/round-exported.txt", "/round-returned.txt", "/round-returned-utf16.txt"}) {
        const RoundFile file = RoundFile::read(std::string(SAMPLES) + name);
        EXPECT_EQ(Reconciliation(file, file).count(), 0U) << name;
    }
}

}  // namespace
