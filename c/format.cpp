#include "c/format.h"
#include "common/utf8.h"
#include "tramostream/linemodel.h"
#include <algorithm>
#include <deque>
#include <string>
#include <vector>

namespace tramo::c {

namespace {

tramo_type typeOf(FieldKind kind) {
    switch (kind) {
    case FieldKind::Text: return TRAMO_TEXT;
    case FieldKind::Integer: return TRAMO_INTEGER;
    case FieldKind::Decimal: return TRAMO_DECIMAL;
    case FieldKind::Date: return TRAMO_DATE;
    case FieldKind::DateTime: return TRAMO_DATETIME;
    case FieldKind::Year: return TRAMO_YEAR;
    case FieldKind::Code: return TRAMO_CODE;
    case FieldKind::Flag: return TRAMO_FLAG;
    case FieldKind::AlarmFlags: return TRAMO_ALARMS;
    }
    return TRAMO_TEXT;
}

// All kinds and fields, made once. Nothing in it moves.
struct Format {
    std::deque<std::string> codes;
    std::deque<FieldEntry> fields;
    std::deque<std::vector<const tramo_field*>> fieldsOfKinds;
    std::deque<KindEntry> entries;
    std::vector<const tramo_kind*> kinds;

    Format() {
        for (const RecordKind* kind : allKinds()) {
            auto& all = fieldsOfKinds.emplace_back();
            for (const Field& field : kind->fields) {
                const std::string& code = codes.emplace_back(utf8::encode(field.codes));
                all.push_back(&fields
                                   .emplace_back(FieldEntry{
                                       {field.name.c_str(), typeOf(field.kind), field.column, field.width, field.decimals,
                                           code.c_str(), field.written.c_str(), field.mandatory.c_str()},
                                       &field})
                                   .shown);
            }
            kinds.push_back(
                &entries
                     .emplace_back(KindEntry{
                         {kind->name.c_str(), static_cast<char>(kind->letter), kind->length, all.size(), all.data()}, kind})
                     .shown);
        }
    }
};

const Format& format() {
    static const Format all;
    return all;
}

}  // namespace

const tramo_kind* shown(const RecordKind* kind) {
    const auto& entries = format().entries;
    const auto found = std::ranges::find(entries, kind, &KindEntry::kind);
    return found == entries.end() ? nullptr : &found->shown;
}

}  // namespace tramo::c

using namespace tramo;

const tramo_kind* const* tramo_kinds(size_t* count) try {
    const auto& kinds = c::format().kinds;
    if (count) *count = kinds.size();
    return kinds.data();
} catch (...) { return nullptr; }

const tramo_kind* tramo_find_kind(const char* name) try { return name ? c::shown(kindNamed(name)) : nullptr; } catch (...) {
    return nullptr;
}

const tramo_field* tramo_find_field(const tramo_kind* kind, const char* name) try {
    if (!kind || !name) return nullptr;
    const Field* field = c::kindOf(kind).field(name);
    return field ? kind->fields[field->index] : nullptr;
} catch (...) { return nullptr; }
