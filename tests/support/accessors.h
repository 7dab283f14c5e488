// Checks that every getter and setter belongs to its field, to detect a mistake in one of many similar lines.
#pragma once
#include "support/records.h"
#include "tramostream/types.h"
#include <functional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace records {

// A pair of accessors, with the field name derived from their own names.
template <class M> struct Accessors {
    std::string field;
    FieldValue (*get)(const M&);
    void (*set)(M&, const FieldValue&);
    bool (*hasTypeOf)(const Row&) = nullptr;  // whether the getter returns the type of the row
};

// The same pair, for a Model of that class.
struct AnyAccessors {
    std::string field;
    std::function<FieldValue(const Model&)> get;
    std::function<void(Model&, const FieldValue&)> set;
    bool (*hasTypeOf)(const Row&);
};

std::string fieldNamed(std::string stem);

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
void accessorsBelongToTheirFields(
    const Models& models, const Table& table, const std::vector<AnyAccessors>& pairs, const std::set<std::string>& without);

template <class M> void accessorsBelongToTheirFields(
    const Table& table, const std::vector<Accessors<M>>& pairs, const std::set<std::string>& without = {}) {
    std::vector<AnyAccessors> all;
    for (const Accessors<M>& pair : pairs)
        all.push_back(
            {pair.field, [get = pair.get](const Model& model) { return get(static_cast<const ModelOf<M>&>(model).model); },
                [set = pair.set](Model& model, const FieldValue& value) { set(static_cast<ModelOf<M>&>(model).model, value); },
                pair.hasTypeOf});
    accessorsBelongToTheirFields(modelsOf<M>, table, all, without);
}

}  // namespace records
