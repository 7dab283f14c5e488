#include "model/fieldwriting.h"
#include "model/layout.h"
#include "tramostream/anyrecord.h"
#include "tramostream/parametertramomodel.h"
#include "tramostream/tagtramomodel.h"
#include <algorithm>

namespace tramo {

namespace {

template <class M> M blankModel() {
    auto line = blankLine<LineOf<M>>();
    if (ModelAccess::table<M>().letter) line[0] = ModelAccess::table<M>().letter;
    return M(line);
}

template <class M> WrittenField writeInto(const Field& field, const FieldValue& value) {
    const Record<M>& record = ModelAccess::table<M>();
    const Row<M>& row = record.rows[field.index];
    M model = blankModel<M>();
    if (!row.value.set(model, value)) return {WrittenField::NotHeld};
    if (row.options.set) row.options.set(model);
    // Such a field is never written, but gives its value to another one with the same columns, which is.
    const bool isReplaced = row.options.written.operation == Test::Never && row.options.set;
    if (!isReplaced && !passes(row.options.written, [&] { return row.value.measure(model); })) return {WrittenField::NotWritten};

    // What follows the columns of the field is not kept.
    auto line = blankLine<LineOf<M>>();
    wchar_t* const columns = line.data() + row.column - 1;
    if (!row.value.build(model, columns, row.width)) return {WrittenField::NotWritten};
    for (const Row<M>& other : record.rows)
        if (&other > &row && other.column == row.column && !other.value.build(model, columns, other.width))
            return {WrittenField::TooWide};
    return {WrittenField::Good, std::wstring(columns, static_cast<std::size_t>(row.width))};
}

struct KindWriter {
    const RecordKind* kind;
    WrittenField (*write)(const Field&, const FieldValue&);
};

template <class> struct WritersOf;
template <class... M> struct WritersOf<std::variant<std::monostate, M...>> {
    static const auto& all() {
        static const std::array kinds{KindWriter{&kindOf<M>(), writeInto<M>}...,
            KindWriter{&kindOf<TagTramoModel>(), writeInto<TagTramoModel>},
            KindWriter{&kindOf<ParameterTramoModel>(), writeInto<ParameterTramoModel>}};
        return kinds;
    }
};

}  // namespace

WrittenField writeField(const RecordKind& kind, const Field& field, const FieldValue& value) {
    const auto& kinds = WritersOf<AnyRecord::Model>::all();
    return std::ranges::find(kinds, &kind, &KindWriter::kind)->write(field, value);
}

}  // namespace tramo
