#include "tramostream/fields.h"
#include "tramostream/anyrecord.h"
#include <algorithm>
#include <array>

namespace tramo {
namespace {

struct ErrorName {
    TE::errorType code;
    std::string_view name;
};

// clang-format off
#define NAMED(CODE) ErrorName{TE::CODE, #CODE}
constexpr ErrorName errorNames[] = {
    NAMED(ParseInteger),
    NAMED(ParseBool),
    NAMED(ParseDouble),
    NAMED(ParseFluidType),
    NAMED(ParseReadStatus),
    NAMED(ParseReadMethod),
    NAMED(ParseTramoType),
    NAMED(ParseLineType),
    NAMED(ParseAmrAlarmFlags),
    NAMED(ParseAmrAlarm),
    NAMED(ParseEnquiryAreaType),
    NAMED(ParseEnquiryAreaMode),
    NAMED(ParseDateTime),
    NAMED(ParseDate),
    NAMED(BuildInteger),
    NAMED(BuildText),
    NAMED(BuildBool),
    NAMED(BuildDouble),
    NAMED(BuildFluidType),
    NAMED(BuildReadStatus),
    NAMED(BuildReadMethod),
    NAMED(BuildDate),
    NAMED(BuildTramoType),
    NAMED(BuildAmrAlarm),
    NAMED(BuildAmrAlarmFlags),
    NAMED(BuildEnquiryAreaType),
    NAMED(BuildEnquiryAreaMode),
    NAMED(MandatoryMissing),
    NAMED(MandatoryInconsistent),
    NAMED(WrongLineType),
};
#undef NAMED
// clang-format on

template <class> struct KindsOf;
template <class... M> struct KindsOf<std::variant<std::monostate, M...>> {
    static std::array<const RecordKind*, sizeof...(M)> sorted() {
        std::array kinds{&kindOf<M>()...};
        std::ranges::sort(kinds, {}, &RecordKind::letter);
        return kinds;
    }
};

}  // namespace

std::string_view nameOf(FieldKind kind) {
    switch (kind) {
    case FieldKind::Text: return "text";
    case FieldKind::Integer: return "integer";
    case FieldKind::Decimal: return "decimal";
    case FieldKind::Date: return "date";
    case FieldKind::DateTime: return "dateTime";
    case FieldKind::Year: return "year";
    case FieldKind::Code: return "code";
    case FieldKind::Flag: return "flag";
    case FieldKind::AlarmFlags: break;
    }
    return "alarmFlags";
}

std::string_view errorName(TE::errorType code) {
    const auto* found = std::ranges::find(errorNames, code, &ErrorName::code);
    return found == std::end(errorNames) ? std::string_view{} : found->name;
}

const Field* RecordKind::field(std::string_view fieldName) const {
    const auto found = std::ranges::find(fields, fieldName, &Field::name);
    return found == fields.end() ? nullptr : &*found;
}

const Field* RecordKind::fieldOf(const TE::FieldError& error) const {
    if (error.code == TE::errorType{}) return nullptr;
    const auto found = std::ranges::find_if(fields, [&](const Field& field) {
        return field.parseError == error || field.buildError == error || field.mandatoryError == error;
    });
    return found == fields.end() ? nullptr : &*found;
}

std::span<const RecordKind* const> recordKinds() {
    static const auto kinds = KindsOf<AnyRecord::Model>::sorted();
    return kinds;
}

const RecordKind* recordKind(wchar_t letter) {
    const auto kinds = recordKinds();
    const auto found = std::ranges::find(kinds, letter, &RecordKind::letter);
    return found == kinds.end() ? nullptr : *found;
}

std::wstring_view rawText(std::wstring_view line, const Field& field) {
    const auto first = std::min(static_cast<std::size_t>(field.column - 1), line.size());
    return line.substr(first, static_cast<std::size_t>(field.width));
}

std::vector<const Field*> fieldsAt(const RecordKind& kind, int column) {
    std::vector<const Field*> found;
    for (const Field& field : kind.fields)
        if (field.column > 0 && field.column <= column && column < field.column + field.width) found.push_back(&field);
    return found;
}

}  // namespace tramo
