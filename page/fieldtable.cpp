#include "page/fieldtable.h"
#include "common/utf8.h"
#include <tramostream/personal.h>

namespace tramo::page {

void TimeColumn::add(const LineView& line, const Field& field) {
    const auto time = line.time(field);
    if (!time) return addNone();
    const auto [found, isNew] = known.try_emplace(time->time_since_epoch().count(), 0);
    if (isNew) found->second = indexOf(line[field].text(buffer).value_or(std::string_view()));
    addAgain(found->second);
}

bool isShownAsPseudonym(const RecordKind& kind, const Field& field) {
    switch (personalDataIn(kind, field)) {
    case Personal::No:
    case Personal::SerialNumber:
    case Personal::Reference:
    case Personal::Agent:
    case Personal::RoundName: return true;
    default: return false;
    }
}

FieldTable::FieldTable(const RecordKind& kind, std::span<const ColumnOf> chosen, bool hasPersonal) {
    for (const auto& [name, fieldName] : chosen) {
        const Field& field = *kind.field(fieldName);
        if (!hasPersonal && !isShownAsPseudonym(kind, field)) continue;
        Column& column = columns.emplace_back(Column{name, &field, {}});
        switch (field.kind) {
        case FieldKind::Text:
        case FieldKind::Code: break;
        case FieldKind::Integer:
        case FieldKind::Year:
        case FieldKind::Flag:
        case FieldKind::AlarmFlags: column.values.emplace<IntegerColumn>(); break;
        case FieldKind::Decimal: column.values.emplace<RealColumn>(); break;
        case FieldKind::Date:
        case FieldKind::DateTime: column.values.emplace<TimeColumn>(); break;
        }
    }
}

void FieldTable::add(const LineView& line) {
    for (Column& column : columns) add(line, column);
    ++rows;
}

void FieldTable::add(const LineView& line, Column& column) {
    const FieldView value = line[*column.field];
    const auto integer = [&](const auto& number) {
        auto& to = std::get<IntegerColumn>(column.values);
        number ? to.add(static_cast<long long>(*number)) : to.addNone();
    };
    switch (column.field->kind) {
    case FieldKind::Text: std::get<TextColumn>(column.values).addIfAny(value.text(buffer).value_or(std::string_view())); break;
    case FieldKind::Code: {
        std::string code;
        if (const auto character = value.code()) utf8::append(code, *character);
        std::get<TextColumn>(column.values).addIfAny(code);
        break;
    }
    case FieldKind::Integer: integer(value.integer()); break;
    case FieldKind::Flag: integer(value.flag()); break;
    case FieldKind::AlarmFlags: integer(value.alarms()); break;
    case FieldKind::Year: {
        const auto year = value.year();
        integer(year ? std::optional(static_cast<int>(*year)) : std::nullopt);
        break;
    }
    case FieldKind::Decimal: {
        auto& to = std::get<RealColumn>(column.values);
        const auto number = value.real();
        number ? to.add(*number) : to.addNone();
        break;
    }
    case FieldKind::Date:
    case FieldKind::DateTime: std::get<TimeColumn>(column.values).add(line, *column.field); break;
    }
}

void FieldTable::write(JsonText& json) const {
    for (const Column& column : columns)
        std::visit([&](const auto& values) { writeColumn(json, column.name, values); }, column.values);
}

}  // namespace tramo::page
