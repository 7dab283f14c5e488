#include "support/accessors.h"

namespace records {

std::string fieldNamed(std::string stem) {
    if (stem[0] >= 'A' && stem[0] <= 'Z') stem[0] = static_cast<char>(stem[0] - 'A' + 'a');
    return stem;
}

void accessorsBelongToTheirFields(
    const Models& models, const Table& table, const std::vector<AnyAccessors>& pairs, const std::set<std::string>& without) {
    std::set<std::string> names = without, expected;
    for (const AnyAccessors& pair : pairs) EXPECT_TRUE(names.insert(pair.field).second) << pair.field;
    for (const Row& row : table.rows) expected.insert(row.name);
    ASSERT_EQ(names, expected);
    for (const AnyAccessors& pair : pairs) {
        SCOPED_TRACE(pair.field);
        const FieldValue value = goodValue(table.row(pair.field));
        State state = absentState(table);
        setIn(state, table, pair.field, value);

        if (pair.hasTypeOf) { EXPECT_TRUE(pair.hasTypeOf(table.row(pair.field))); }
        const auto bySetter = models.empty();
        pair.set(*bySetter, value);
        expectValuesOf(*bySetter, state);
        const auto byField = models.empty();
        byField->set(fieldOf(models.kind(), pair.field), value);
        for (const AnyAccessors& each : pairs) EXPECT_TRUE(equal(each.get(*byField), state.values.at(each.field))) << each.field;
    }
}

}  // namespace records
