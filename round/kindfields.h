// What reading single fields of a line needs of its record kind. Made once for each kind.
#pragma once
#include "model/fieldreading.h"
#include <array>
#include <span>
#include <vector>

namespace tramo {

// How a field is read: its own columns, and all columns whose text is read into its value. The last of them that has a value
// counts.
struct FieldSources {
    const FieldReading* own = nullptr;          // nullptr: the field is not in the line
    std::array<const FieldReading*, 2> into{};  // in the order of the line; the second one is nullptr in nearly all fields
};

struct KindFields {
    explicit KindFields(const RecordKind& of, std::span<const FieldReading> readings);

    const RecordKind* kind;
    std::vector<FieldSources> sources;  // by Field::index
};

// Returns those of a kind of lines with fixed columns.
const KindFields& kindFieldsOf(const RecordKind& kind);

// Returns those of the record lines with this letter, or nullptr.
const KindFields* kindFieldsOfLetter(std::uint32_t letter);

}  // namespace tramo
