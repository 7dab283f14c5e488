// The proof that accessors belong to their fields would find a slip: each of these is one.
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

TEST(AccessorsProof, PassesRightPairs) { EXPECT_EQ(failures({roundPair, meterPair}), 0); }

TEST(AccessorsProof, FindsASetterOfAnotherField) {
    EXPECT_GT(failures({roundPair, {meterPair.field, meterPair.get, roundPair.set}}), 0);
}

TEST(AccessorsProof, FindsAGetterOfAnotherField) {
    EXPECT_GT(failures({roundPair, {meterPair.field, roundPair.get, meterPair.set}}), 0);
}

TEST(AccessorsProof, FindsASetterThatSetsTwoFields) {
    const auto both = [](M& model, const FieldValue& value) { roundPair.set(model, value), meterPair.set(model, value); };
    EXPECT_GT(failures({{roundPair.field, roundPair.get, both}, meterPair}), 0);
}

TEST(AccessorsProof, FindsASetterThatDoesNothing) {
    EXPECT_GT(failures({{roundPair.field, roundPair.get, [](M&, const FieldValue&) {}}, meterPair}), 0);
}

TEST(AccessorsProof, FindsAPairThatIsMissing) { EXPECT_GT(failures({roundPair}), 0); }

TEST(AccessorsProof, FindsAPairOfNoField) {
    EXPECT_GT(failures({roundPair, meterPair, {"anotherNumber", meterPair.get, meterPair.set}}), 0);
}

TEST(AccessorsProof, FindsAWrongType) {
    EXPECT_GT(failures({roundPair,
                  {meterPair.field, meterPair.get, meterPair.set, [](const Row& row) { return isTypeOf<long long>(row); }}}),
        0);
}
