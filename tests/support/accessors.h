// Checks that every getter and setter belongs to its field, to detect a mistake in one of many similar lines.
#pragma once
#include "support/records.h"
#include "tramostream/types.h"
#include <type_traits>

namespace records {

// A pair of accessors, with the field name derived from their own names.
template <class M> struct Accessors {
    std::string field;
    FieldValue (*get)(const M&);
    void (*set)(M&, const FieldValue&);
    bool (*hasTypeOf)(const Row&) = nullptr;  // whether the getter returns the type of the row
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

// Integers of more than nine digits have 64 bits, times have 32.
template <class T> bool isTypeOf(const Row& row) {
    switch (row.kind) {
    case Text: return std::is_same_v<T, std::wstring>;
    case Integer: return row.width > 9 ? std::is_same_v<T, long long> : std::is_same_v<T, int>;
    case Decimal: return std::is_same_v<T, double>;
    case Date:
    case DateTime:
    case Year: return std::is_same_v<T, long32>;
    case Flag: return std::is_same_v<T, bool>;
    case Code: return std::is_enum_v<T>;
    case AlarmFlags: return false;
    }
    return false;
}

// The pair getSTEM and setSTEM of MODEL.
#define ACCESSORS(MODEL, STEM)                                                                                                 \
    records::Accessors<MODEL> {                                                                                                \
        records::fieldNamed(#STEM), [](const MODEL& model) { return records::asFieldValue(model.get##STEM()); },               \
            [](MODEL& model, const tramo::FieldValue& value) {                                                                 \
                model.set##STEM(records::valueAs<decltype(model.get##STEM())>(value));                                         \
            },                                                                                                                 \
            [](const records::Row& row) { return records::isTypeOf<decltype(std::declval<const MODEL&>().get##STEM())>(row); } \
    }

// Expects the pairs of all fields of the table except `without`; each pair sets and returns its own field and no other.
template <class M> void accessorsBelongToTheirFields(
    const Table& table, const std::vector<Accessors<M>>& pairs, const std::set<std::string>& without = {}) {
    std::set<std::string> names = without, expected;
    for (const Accessors<M>& pair : pairs) EXPECT_TRUE(names.insert(pair.field).second) << pair.field;
    for (const Row& row : table.rows) expected.insert(row.name);
    ASSERT_EQ(names, expected);
    for (const Accessors<M>& pair : pairs) {
        SCOPED_TRACE(pair.field);
        const FieldValue value = goodValue(table.row(pair.field));
        State state = absentState(table);
        setIn(state, table, pair.field, value);

        if (pair.hasTypeOf) { EXPECT_TRUE(pair.hasTypeOf(table.row(pair.field))); }
        M bySetter = empty<M>();
        pair.set(bySetter, value);
        expectValues(bySetter, state);
        M byField = empty<M>();
        setValue(byField, pair.field, value);
        for (const Accessors<M>& each : pairs) EXPECT_TRUE(equal(each.get(byField), state.values.at(each.field))) << each.field;
    }
}

}  // namespace records
