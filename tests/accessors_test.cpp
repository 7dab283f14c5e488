// Proves that the accessor check detects mistakes: each case has one.
#include "support/accessors.h"
#include "tramostream/recordinformationtramomodel.h"
#include <gtest/gtest-spi.h>

using namespace records;
using M = RecordInformationTramoModel;

namespace {

const Table& table() {
    static const Table made{L'9', "RecordInformationTramoModel",
        {{2, 5, "roundNumber", "roundNumber", Integer, 1LL}, {7, 5, "meterNumber", "meterNumber", Integer, -1LL}}};
    return made;
}

const Accessors<M> roundPair = ACCESSORS(M, RoundNumber), meterPair = ACCESSORS(M, MeterNumber);

int failures(const std::vector<Accessors<M>>& pairs) {
    testing::TestPartResultArray found;
    const testing::ScopedFakeTestPartResultReporter reporter(&found);
    accessorsBelongToTheirFields(table(), pairs);
    int count = 0;
    for (int i = 0; i < found.size(); ++i) count += found.GetTestPartResult(i).failed();
    return count;
}

}  // namespace

TEST(AccessorsProof, AcceptsCorrectPairs) { EXPECT_EQ(failures({roundPair, meterPair}), 0); }

TEST(AccessorsProof, DetectsASetterOfAnotherField) {
    EXPECT_GT(failures({roundPair, {meterPair.field, meterPair.get, roundPair.set}}), 0);
}

TEST(AccessorsProof, DetectsAGetterOfAnotherField) {
    EXPECT_GT(failures({roundPair, {meterPair.field, roundPair.get, meterPair.set}}), 0);
}

TEST(AccessorsProof, DetectsASetterThatSetsTwoFields) {
    const auto both = [](M& model, const FieldValue& value) { roundPair.set(model, value), meterPair.set(model, value); };
    EXPECT_GT(failures({{roundPair.field, roundPair.get, both}, meterPair}), 0);
}

TEST(AccessorsProof, DetectsASetterThatDoesNothing) {
    EXPECT_GT(failures({{roundPair.field, roundPair.get, [](M&, const FieldValue&) {}}, meterPair}), 0);
}

TEST(AccessorsProof, DetectsAMissingPair) { EXPECT_GT(failures({roundPair}), 0); }

TEST(AccessorsProof, DetectsAPairWithoutAField) {
    EXPECT_GT(failures({roundPair, meterPair, {"anotherNumber", meterPair.get, meterPair.set}}), 0);
}

TEST(AccessorsProof, DetectsAWrongType) {
    EXPECT_GT(failures({roundPair,
                  {meterPair.field, meterPair.get, meterPair.set, [](const Row& row) { return isTypeOf<long long>(row); }}}),
        0);
}
