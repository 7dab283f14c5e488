#include "round/kindfields.h"
#include "model/layout.h"
#include "tramostream/linemodel.h"
#include <algorithm>
#include <stdexcept>

namespace tramo {

namespace {

std::span<const FieldReading> readingsOfAny(const RecordKind& kind) {
    if (&kind == &kindOf<TagTramoModel>()) return ModelAccess::table<TagTramoModel>().readings;
    if (&kind == &kindOf<ParameterTramoModel>()) return ModelAccess::table<ParameterTramoModel>().readings;
    return readingsOf(kind);
}

const std::vector<KindFields>& allKindFields() {
    static const std::vector<KindFields> all = [] {
        std::vector<KindFields> made;
        for (const RecordKind* kind : allKinds()) made.emplace_back(*kind, readingsOfAny(*kind));
        return made;
    }();
    return all;
}

using ByLetter = std::array<const KindFields*, 128>;

ByLetter makeByLetter() {
    ByLetter letters{};
    for (const KindFields& fields : allKindFields())
        if (fields.kind->letter != 0) letters[static_cast<std::size_t>(fields.kind->letter)] = &fields;
    return letters;
}

}  // namespace

KindFields::KindFields(const RecordKind& of, std::span<const FieldReading> readings) : kind(&of), sources(of.fields.size()) {
    for (const FieldReading& reading : readings) {
        sources[reading.field].own = &reading;
        auto& into = sources[reading.into].into;
        if (into.back()) throw std::logic_error("tramo: more than two fields are read into " + of.fields[reading.into].name);
        (into.front() ? into.back() : into.front()) = &reading;
    }
}

const KindFields& kindFieldsOf(const RecordKind& kind) { return *std::ranges::find(allKindFields(), &kind, &KindFields::kind); }

const KindFields* kindFieldsOfLetter(std::uint32_t letter) {
    static const ByLetter letters = makeByLetter();
    return letter < letters.size() ? letters[letter] : nullptr;
}

}  // namespace tramo
