// Proof that every getter and setter belongs to its field: a slip in one of many lines that look alike is found.
#pragma once
#include "support/records.h"
#include <type_traits>

namespace records {

// A pair of accessors, under the name of the field that its own name says.
template <class M> struct Accessors {
    std::string field;
    FieldValue (*get)(const M&);
    void (*set)(M&, const FieldValue&);
};

inline std::string fieldNamed(std::string stem) {
    if (stem[0] >= 'A' && stem[0] <= 'Z') stem[0] = static_cast<char>(stem[0] - 'A' + 'a');
    return stem;
}

template <class T> FieldValue asFieldValue(const T& value) {
    if constexpr (std::is_enum_v<T>) return static_cast<wchar_t>(value);
    else if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) return static_cast<long long>(value);
    else return value;
}
template <class T> T valueAs(const FieldValue& value) {
    if constexpr (std::is_enum_v<T>) return static_cast<T>(std::get<wchar_t>(value));
    else if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) return static_cast<T>(std::get<long long>(value));
    else return std::get<T>(value);
}

// The pair getSTEM and setSTEM of MODEL.
#define ACCESSORS(MODEL, STEM)                                                                                   \
    records::Accessors<MODEL> {                                                                                  \
        records::fieldNamed(#STEM), [](const MODEL& model) { return records::asFieldValue(model.get##STEM()); }, \
            [](MODEL& model, const tramo::FieldValue& value) {                                                   \
                model.set##STEM(records::valueAs<std::remove_cvref_t<decltype(model.get##STEM())>>(value));      \
            }                                                                                                    \
    }

// The pairs are those of the table's fields, and each sets and gets its own field and no other.
template <class M> void accessorsBelongToTheirFields(const Table& table, const std::vector<Accessors<M>>& pairs) {
    std::set<std::string> names, expected;
    for (const Accessors<M>& pair : pairs) names.insert(pair.field);
    for (const Row& row : table.rows) expected.insert(row.name);
    ASSERT_EQ(names, expected);
    for (const Accessors<M>& pair : pairs) {
        SCOPED_TRACE(pair.field);
        const FieldValue value = goodValue(table.row(pair.field));
        State state = absentState(table);
        setIn(state, table, pair.field, value);

        M bySetter = empty<M>();
        pair.set(bySetter, value);
        expectValues(bySetter, state);
        M byField = empty<M>();
        setValue(byField, pair.field, value);
        for (const Accessors<M>& each : pairs) EXPECT_TRUE(equal(each.get(byField), state.values.at(each.field))) << each.field;
    }
}

}  // namespace records
