// The C structures of the format, and what they stand for.
#pragma once
#include "tramostream/c.h"
#include "tramostream/fields.h"

namespace tramo::c {

// A field of the C interface is the first member of what the library knows about it.
struct FieldEntry {
    tramo_field shown;
    const Field* field;
};
struct KindEntry {
    tramo_kind shown;
    const RecordKind* kind;
};

inline const Field& fieldOf(const tramo_field* field) { return *reinterpret_cast<const FieldEntry*>(field)->field; }
inline const RecordKind& kindOf(const tramo_kind* kind) { return *reinterpret_cast<const KindEntry*>(kind)->kind; }

// NULL for nullptr.
const tramo_kind* shown(const RecordKind* kind);

}  // namespace tramo::c
