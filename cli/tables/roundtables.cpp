#include "cli/tables/roundtables.h"
#include "cli/io/text.h"
#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <tramostream/anyrecord.h>

namespace tramo::cli {

namespace {

using enum Column::Type;

constexpr const char* restName = "outsideOfAreas";

// A name of no area: those of all columns of the tables, and of the view of whole meters.
std::vector<std::string> fixedNames() {
    std::vector<std::string> names{"file", "line", "round", "state", "difference", restName};
    for (const Table& table : tables())
        for (const Column& column : table.columns) {
            names.push_back(column.name);
            names.push_back(table.identifier + '_' + column.name);
        }
    for (const Table& table : tables()) names.push_back(table.identifier + "_line");
    return names;
}

Cell textCell(std::string_view utf8) { return utf8.empty() ? Cell{} : Cell{utf8::decode(utf8)}; }

template <class T, class Convert> Cell cellOr(const std::optional<T>& value, Convert convert) {
    return value ? Cell(convert(*value)) : Cell();
}

// The value that a line has in a field, as in a table of records; empty: absent.
Cell cellOf(const LineView& line, const Field& field) {
    const auto cell = [&](auto value) { return cli::cellOf(field, FieldValue(value)); };
    switch (field.kind) {
    case FieldKind::Text: return textCell(line.text(field).value_or(std::string()));
    case FieldKind::Integer: return cellOr(line.value<long long>(field), cell);
    case FieldKind::Decimal: return cellOr(line.value<double>(field), cell);
    case FieldKind::Flag: return cellOr(line.value<bool>(field), cell);
    case FieldKind::Code: return cellOr(line.value<char32_t>(field), [&](char32_t c) { return cell(static_cast<wchar_t>(c)); });
    case FieldKind::AlarmFlags:
        return cellOr(line[field].alarms(), [&](std::uint16_t bits) { return cell(static_cast<long long>(bits)); });
    case FieldKind::Date:
    case FieldKind::DateTime:
        return cellOr(line.time(field),
            [&](std::chrono::sys_seconds time) { return cell(static_cast<long long>(time.time_since_epoch().count())); });
    case FieldKind::Year: break;
    }
    return textCell(line.raw(field));
}

Cell codeCell(const std::optional<char32_t>& code) {
    return cellOr(code, [](char32_t c) { return std::wstring(1, static_cast<wchar_t>(c)); });
}

// A local day as in a table of records.
Cell dayCell(const std::optional<std::chrono::local_days>& day) {
    return cellOr(day, [](std::chrono::local_days of) {
        const std::chrono::year_month_day date(of);
        return utf8::decode(fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
            static_cast<unsigned>(date.day())));
    });
}

bool isOnEarth(const Place& place) {
    return std::isfinite(place.latitude) && std::isfinite(place.longitude) && std::fabs(place.latitude) <= 90 &&
           std::fabs(place.longitude) <= 180;
}

Cell realCell(double value) { return std::isfinite(value) ? Cell{value} : Cell{}; }

const Column& columnOfField(const RecordKind& kind, std::string_view name) {
    return *std::ranges::find(tableOfKind(kind).columns, name, &Column::name);
}

}  // namespace

/// What a row is of. Only the tables of answers, alarms and locations have the last ones.
struct RoundTables::Place {
    const File& file;
    const Round& round;
    const std::vector<std::size_t>& areas;
    const Meter& meter;
    const Answer* answer = nullptr;
    const Alarm* alarm = nullptr;
    const tramo::Place* location = nullptr;

    long long line() const {
        if (answer) return file.numberOf(answer->origin.line);
        if (alarm) return file.numberOf(alarm->origin.line);
        return file.numberOf(meter.subscriber().number());
    }
};

RoundTables::RoundTables(bool namesFiles) : ofFiles(namesFiles), areas(fixedNames()) {
    makeMeters();
    makeAnswers();
    makeAlarms();
    makeUnread();
    makeLocations();
}

void RoundTables::addColumn(Shape& shape, std::string name, Column::Type type, Value value) {
    shape.table.columns.push_back({std::move(name), type});
    shape.values.push_back(std::move(value));
}

template <class Model> void RoundTables::addField(Shape& shape, const char* name) {
    const Column& column = columnOfField(kindOf<Model>(), name);
    shape.table.columns.push_back(column);
    shape.values.push_back([field = column.field](const Place& place) { return cellOf(place.meter.subscriber(), *field); });
}

RoundTables::Shape& RoundTables::begin(RoundTable which) {
    Shape& shape = all[static_cast<std::size_t>(which)];
    shape.table.name = shape.table.identifier = roundTableNames[static_cast<std::size_t>(which)];
    shape.table.hasLead = false;
    if (ofFiles) addColumn(shape, "file", Text, [](const Place& place) { return Cell{place.file.name}; });
    addColumn(shape, "line", Integer, [](const Place& place) { return Cell{place.line()}; });
    addColumn(shape, "round", Text, [](const Place& place) { return textCell(place.round.code()); });
    addField<MeterSubscriberTramoModel>(shape, "meterSerialNumber");
    return shape;
}

void RoundTables::addAreas(Shape& shape) {
    addColumn(shape, restName, Text, [](const Place&) { return Cell{}; });
    shape.firstArea = shape.values.size();
}

void RoundTables::makeMeters() {
    Shape& shape = begin(RoundTable::Meters);
    addColumn(shape, "state", Text,
        [](const Place& place) { return Cell{std::wstring(place.meter.state() == Meter::State::Read ? L"read" : L"unread")}; });
    for (const char* name : {"meterPreviousReadingDate", "meterPreviousReadingIndex", "meterReadingDate", "meterReadingIndex",
             "meterReadingConsumption"})
        addField<MeterSubscriberTramoModel>(shape, name);
    addColumn(shape, "difference", Integer,
        [](const Place& place) { return cellOr(place.meter.difference(), [](long long value) { return value; }); });
    for (const char* name : {"meterReadingStatus", "meterReadingMethod", "meterReadingUserCode", "meterMessage"})
        addField<MeterSubscriberTramoModel>(shape, name);
    addAreas(shape);
}

void RoundTables::makeUnread() {
    Shape& shape = begin(RoundTable::Unread);
    for (const char* name : {"meterReadingStatus", "meterReadingMethod", "meterReadingUserCode", "meterMessage",
             "meterPreviousReadingDate", "meterPreviousReadingIndex"})
        addField<MeterSubscriberTramoModel>(shape, name);
    addAreas(shape);
}

void RoundTables::makeLocations() {
    Shape& shape = begin(RoundTable::Locations);
    addColumn(shape, "latitude", Real, [](const Place& place) { return realCell(place.location->latitude); });
    addColumn(shape, "longitude", Real, [](const Place& place) { return realCell(place.location->longitude); });
    addColumn(shape, "altitude", Real, [](const Place& place) { return cellOr(place.location->altitude, realCell); });
    addColumn(shape, "accuracy", Real, [](const Place& place) { return cellOr(place.location->accuracy, realCell); });
    const Column& day = columnOfField(kindOf<ExtendedDataTramoModel>(), "updateDate");
    shape.table.columns.push_back(day);
    shape.values.push_back([](const Place& place) { return dayCell(place.location->day); });
    addColumn(shape, "state", Text,
        [](const Place& place) { return Cell{std::wstring(place.meter.state() == Meter::State::Read ? L"read" : L"unread")}; });
    for (const char* name : {"meterReadingDate", "meterReadingIndex", "meterReadingConsumption"})
        addField<MeterSubscriberTramoModel>(shape, name);
    addAreas(shape);
}

void RoundTables::makeAnswers() {
    Shape& shape = begin(RoundTable::Answers);
    addColumn(shape, "pageNumber", Text, [](const Place& place) { return textCell(place.answer->page); });
    addColumn(shape, "area", Integer, [](const Place& place) { return Cell{static_cast<long long>(place.answer->area)}; });
    addColumn(shape, "question", Text, [](const Place& place) { return textCell(place.answer->question); });
    addColumn(shape, "type", Text, [](const Place& place) { return textCell(place.answer->type); });
    addColumn(shape, "list", Text, [](const Place& place) { return textCell(place.answer->list); });
    addColumn(shape, "mode", Text, [](const Place& place) { return codeCell(place.answer->mode); });
    addColumn(shape, "code", Text, [](const Place& place) { return textCell(place.answer->code); });
    addColumn(shape, "result", Text, [](const Place& place) { return textCell(place.answer->result); });
    shape.table.columns.push_back(columnOfField(kindOf<EnquiryResultTramoModel>(), "lastModificationDate"));
    shape.values.push_back([](const Place& place) { return dayCell(place.answer->day); });
}

void RoundTables::makeAlarms() {
    Shape& shape = begin(RoundTable::Alarms);
    addColumn(shape, "alarm", Text, [](const Place& place) { return textCell(place.alarm->name); });
    addColumn(shape, "isPrevious", Flag, [](const Place& place) { return Cell{place.alarm->isPrevious}; });
    addColumn(shape, "record", Text, [](const Place& place) {
        const LineView& line = place.file.lines.lines()[static_cast<std::size_t>(place.alarm->origin.line - 1)];
        return textCell(line.kind()->name);
    });
    addColumn(shape, "field", Text, [](const Place& place) { return textCell(place.alarm->field); });
}

std::size_t RoundTables::add(std::wstring file, RoundFile lines, std::vector<long long> numbers) {
    File& added = files.emplace_back(File{std::move(file), std::move(lines), std::move(numbers), {}});
    for (const Round& round : added.lines.rounds()) added.areas.push_back(areas.columnsOf(round));
    return added.lines.orphans().size();
}

void RoundTables::complete() {
    for (Shape& shape : all)
        if (shape.firstArea > 0)
            for (const std::string& name : areas.names()) shape.table.columns.push_back({name, Text});
}

// Text outside of all areas is kept in one cell, and so is that of areas that have no column.
void RoundTables::fillAreas(const Place& place, std::size_t firstArea, TableRow& row) const {
    std::wstring rest;
    const auto append = [&](const std::string& text) { rest.append(rest.empty() ? L"" : L" | ").append(utf8::decode(text)); };
    for (const AreaText& area : place.meter.areas()) {
        const std::size_t column =
            area.area ? place.areas[static_cast<std::size_t>(area.area - place.round.areas().data())] : AreaColumns::noColumn;
        if (column != AreaColumns::noColumn) row.cells[firstArea + column] = textCell(area.text);
        else append(area.text);
    }
    if (!rest.empty()) row.cells[firstArea - 1] = std::move(rest);
}

void RoundTables::forEachRow(RoundTable which, const std::function<void(TableRow)>& use) const {
    const Shape& shape = all[static_cast<std::size_t>(which)];
    const auto put = [&](const Place& place) {
        TableRow row(&shape.table, place.line(), std::vector<Cell>(shape.table.columns.size()));
        for (std::size_t i = 0; i < shape.values.size(); ++i) row.cells[i] = shape.values[i](place);
        if (shape.firstArea > 0) fillAreas(place, shape.firstArea, row);
        use(std::move(row));
    };
    for (const File& file : files)
        for (std::size_t i = 0; i < file.lines.rounds().size(); ++i) {
            const Round& round = file.lines.rounds()[i];
            for (const Meter& meter : round.meters()) {
                Place place{file, round, file.areas[i], meter};
                switch (which) {
                case RoundTable::Meters: put(place); break;
                case RoundTable::Unread:
                    if (meter.state() == Meter::State::Unread) put(place);
                    break;
                case RoundTable::Answers:
                    for (const Answer& answer : meter.answers()) {
                        place.answer = &answer;
                        put(place);
                    }
                    break;
                case RoundTable::Alarms:
                    for (const Alarm& alarm : meter.alarms()) {
                        place.alarm = &alarm;
                        put(place);
                    }
                    break;
                case RoundTable::Locations:
                    if (const std::optional<tramo::Place> location = meter.place(); location && isOnEarth(*location)) {
                        place.location = &*location;
                        put(place);
                    }
                    break;
                }
            }
        }
}

std::uint64_t RoundTables::misplaced() const {
    std::uint64_t count = 0;
    for (const File& file : files)
        for (const Round& round : file.lines.rounds())
            for (const Meter& meter : round.meters())
                if (const std::optional<tramo::Place> location = meter.place(); location && !isOnEarth(*location)) ++count;
    return count;
}

}  // namespace tramo::cli
