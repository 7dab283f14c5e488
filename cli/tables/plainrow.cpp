#include "cli/tables/plainrow.h"
#include "cli/tables/plainnumber.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <tramostream/stringconverter.h>

namespace tramo::cli {

namespace {

// --- Days of the host's zone -----------------------------------------------------------------------------------------

constexpr long long noTime = std::numeric_limits<long long>::min();

// Returns the instant of a local time, if that time exists and is the only one of its instant.
long long exactInstant(std::wstring digits) {
    long32 instant{};
    if (!StrConv::toDateTime(digits, instant)) return noTime;
    std::array<wchar_t, 12> back{};
    StrConv::fromDate(instant, back.data(), StrConv::DATETIMEFORMAT);
    return std::wstring_view(back.data(), back.size()) == digits ? instant : noTime;
}

// Returns the instant at which a day begins if each of its clock times exists once: no zone changes its offset twice a day.
long long findMidnight(std::string_view date) {
    const std::wstring day(date.begin(), date.end());
    const long long first = exactInstant(day + L"0000"), last = exactInstant(day + L"2359");
    return first != noTime && last != noTime && last - first == (24 * 60 - 1) * 60 ? first : noTime;
}

// The same with a cache per thread.
long long midnightOf(const char* date) {
    struct Day {
        std::uint64_t date = 0;
        long long midnight = noTime;
    };
    thread_local std::array<Day, 2048> days;
    std::uint64_t key = 0;
    std::memcpy(&key, date, sizeof key);
    Day& day = days[key * 0x9E3779B97F4A7C15 >> 53];
    if (day.date != key) day = {key, findMidnight({date, sizeof key})};
    return day.midnight;
}

// Returns whether the digits of a date or time are exactly the time that they are read as.
bool isExact(std::string_view digits, long long instant) {
    constexpr std::size_t dateAndTime = 12;
    const auto number = [&](std::size_t at) { return (digits[at] - '0') * 10 + digits[at + 1] - '0'; };
    const long long midnight = midnightOf(digits.data());
    const int minutes = digits.size() == dateAndTime ? number(8) * 60 + number(10) : 0;
    return midnight != noTime && midnight + minutes * 60 == instant;
}

// Returns the instant of a year, if it is read as that year.
long long findYear(std::string_view digits) {
    std::wstring year(digits.begin(), digits.end());
    long32 instant{};
    StrConv::toYear(year, instant);
    std::array<wchar_t, 4> back{};
    StrConv::fromDate(instant, back.data(), StrConv::YEARFORMAT);
    return std::wstring_view(back.data(), back.size()) == year ? instant : noTime;
}

bool isExactYear(std::string_view digits, long long instant) {
    struct Year {
        std::uint32_t digits = 0;
        long long instant = noTime;
    };
    thread_local std::array<Year, 256> years;
    std::uint32_t key = 0;
    std::memcpy(&key, digits.data(), sizeof key);
    Year& year = years[key * 0x9E3779B1 >> 24];
    if (year.digits != key) year = {key, findYear(digits)};
    return year.instant == instant;
}

// Returns whether the text is how the format writes these alarm flags: the lower eight first.
bool areWritten(long long flags, std::string_view text) {
    const auto bits = static_cast<unsigned>(flags);
    const unsigned word = (bits & 0xFF) << 8 | bits >> 8;
    for (unsigned i = 0; i < 4; ++i)
        if (text[i] != "0123456789ABCDEF"[word >> (12 - 4 * i) & 0xF]) return false;
    return true;
}

bool isBlank(std::string_view text) {
    static constexpr auto spaces = [] {
        std::array<char, recordLength> all{};
        all.fill(' ');
        return all;
    }();
    return std::memcmp(text.data(), spaces.data(), text.size()) == 0;
}

// --- Columns ---------------------------------------------------------------------------------------------------------

// What is known of a column before a line is read.
struct PlainColumn {
    std::uint16_t column;  // its index in the table
    std::uint16_t value;   // the index of its field in RecordKind::fields
    std::uint16_t width;
    FieldKind kind;
    bool isAlwaysExported;     // its value on a blank line is not its default value
    bool isExportedIfRead;     // even if it is the default value
    bool isShared;             // read into another field, or the value of another field: its text may not be that of its value
    long long absent;          // the value without a text
    std::uint64_t absentReal;  // the same of a decimal, its bits
};

struct Columns {
    std::uint16_t first, width;
};

struct PlainTable {
    const Table* table;
    std::vector<PlainColumn> columns;
    std::vector<Columns> gaps;  // columns of no field
};

std::vector<Columns> gapsOf(const RecordKind& kind) {
    std::vector<Columns> gaps;
    std::vector<bool> taken(static_cast<std::size_t>(kind.length));
    taken.front() = true;  // the letter
    for (const Field& field : kind.fields)
        if (field.column > 0) std::fill_n(taken.begin() + field.column - 1, field.width, true);
    for (auto next = std::ranges::find(taken, false); next != taken.end(); next = std::find(next, taken.end(), false)) {
        const auto end = std::find(next, taken.end(), true);
        gaps.push_back({static_cast<std::uint16_t>(next - taken.begin()), static_cast<std::uint16_t>(end - next)});
        next = end;
    }
    return gaps;
}

// Returns whether the slow path exports a field because it has been read, though its value is that of a blank line.
bool isExportedIfRead(const Table& table, std::size_t column) {
    LineModel model = *table.blank;
    model.set(*table.columns[column].field, table.columns[column].blank);
    const std::wstring text = model.built();
    LineModel read = LineModel::of(model.kind(), text);
    Line line;
    line.text = text;
    const TableRow row = rowOf(line, LineKind::Record, &read, Keys::Masked);
    return row.table == &table && !std::holds_alternative<std::monostate>(row.cells[column]);
}

PlainColumn plainColumn(const Table& table, std::size_t i) {
    const Column& column = table.columns[i];
    const Field& field = *column.field;
    PlainColumn plain{};
    plain.column = static_cast<std::uint16_t>(i);
    plain.value = static_cast<std::uint16_t>(field.index);
    plain.width = static_cast<std::uint16_t>(field.width);
    plain.kind = field.kind;
    plain.isAlwaysExported = column.blank != field.defaultValue;
    plain.isExportedIfRead = !plain.isAlwaysExported && isExportedIfRead(table, i);
    plain.isShared = !field.readInto.empty() ||
                     std::ranges::any_of(table.columns, [&](const Column& other) { return other.field->readInto == field.name; });
    if (const auto* real = std::get_if<double>(&column.blank)) plain.absentReal = std::bit_cast<std::uint64_t>(*real);
    else if (const auto* integer = std::get_if<long long>(&column.blank)) plain.absent = *integer;
    else if (const auto* code = std::get_if<wchar_t>(&column.blank)) plain.absent = *code;
    else if (const auto* flag = std::get_if<bool>(&column.blank)) plain.absent = *flag;
    return plain;
}

const PlainTable& plainTable(const RecordKind& kind) {
    static const std::vector<PlainTable> all = [] {
        std::vector<PlainTable> some;
        for (const RecordKind* each : recordKinds()) {
            PlainTable& plain = some.emplace_back(PlainTable{&tableOfKind(*each), {}, gapsOf(*each)});
            for (std::size_t i = 0; i < plain.table->columns.size(); ++i) plain.columns.push_back(plainColumn(*plain.table, i));
        }
        return some;
    }();
    return *std::ranges::find(all, &tableOfKind(kind), &PlainTable::table);
}

bool isExported(const PlainColumn& column, const DecodedValue& value) {
    if (column.isAlwaysExported || column.isExportedIfRead || column.kind == FieldKind::Text) return true;
    if (column.kind == FieldKind::Decimal) return std::bit_cast<std::uint64_t>(value.real) != column.absentReal;
    return value.integer != column.absent;
}

// The text of a value that is exported as it is in the line.
struct ExportedText {
    std::string_view text;  // empty: the value must be put into words
    bool isWhole;           // the columns surely hold nothing that the value does not
};

ExportedText textOf(const PlainColumn& column, const DecodedValue& value, std::string_view line) {
    constexpr std::size_t alwaysKept = 15;  // digits: no other decimal number of so few digits has the same value
    const std::string_view text = line.substr(value.first, value.size);
    switch (column.kind) {
    case FieldKind::Text:
    case FieldKind::Code: return {text, true};
    case FieldKind::Flag: return {text, text == "0" || text == "1" || text.empty()};
    case FieldKind::AlarmFlags: return {text, text.size() == 4 && areWritten(value.integer, text)};
    case FieldKind::Integer: {
        if (text.empty() || text.size() > PlainNumber::mostCharacters) return {{}, false};
        const PlainNumber number(line, value.first, value.size);
        if (!number.isInteger()) return {{}, false};
        return {number.shortestInteger(), true};
    }
    case FieldKind::Decimal: {
        if (text.empty() || text.size() > PlainNumber::mostCharacters) return {{}, false};
        const PlainNumber number(line, value.first, value.size);
        if (!number.isDecimal() || number.countDigits() > alwaysKept) return {{}, false};
        const bool hasExponent = std::abs(value.real) < 1e-4 && value.real != 0;
        return {hasExponent ? std::string_view{} : number.shortestDecimal(), true};
    }
    case FieldKind::Date:
    case FieldKind::DateTime: return {isExact(text, value.integer) ? text : std::string_view{}, true};
    case FieldKind::Year: {
        const bool isAbsent = value.integer == std::numeric_limits<long32>::lowest();
        return {!isAbsent && isExactYear(text, value.integer) ? text : std::string_view{}, !isAbsent};
    }
    }
    return {{}, false};
}

}  // namespace

bool PlainRow::read(const PlainRecord& next) {
    record = next;
    const PlainTable& table = plainTable(*record.kind);
    known = table.table;
    values.resize(record.kind->fields.size());
    if (!decode(*record.kind, record.text, values)) return false;
    hasUnread = mayHoldMore = false;
    exported.clear();
    for (const PlainColumn& column : table.columns) {
        const DecodedValue& value = values[column.value];
        if (value.unreadable) hasUnread = mayHoldMore = true;
        if (column.isShared) mayHoldMore = true;
        if (!value.present) {
            if (column.isAlwaysExported) return false;
            continue;
        }
        const auto [text, isWhole] = textOf(column, value, record.text);
        if (!isWhole) mayHoldMore = true;
        if (isExported(column, value)) exported.push_back({column.column, column.kind, &value, text});
    }
    for (const Columns& gap : table.gaps)
        if (!isBlank(record.text.substr(gap.first, gap.width))) mayHoldMore = true;
    return true;
}

Cell PlainRow::wordsOf(const Exported& cell) const {
    const Field& field = *known->columns[cell.column].field;
    return cellOf(field, cell.kind == FieldKind::Decimal ? FieldValue(cell.value->real) : FieldValue(cell.value->integer));
}

// As with a model, which has no ignored text in fields with a parse error.
bool PlainRow::findsIgnoredText() const {
    std::wstring line(record.text.size(), L'\0');
    std::ranges::transform(record.text, line.begin(), [](char c) { return static_cast<unsigned char>(c); });
    std::vector<TE::FieldError> errors;
    for (const Field& field : record.kind->fields)
        if (values[field.index].unreadable) errors.push_back(field.parseError);
    return std::ranges::any_of(ignoredTexts(*record.kind, line), [&](const IgnoredText& text) {
        const bool isUnreadable = text.field && std::ranges::find(errors, text.field->parseError) != errors.end();
        return !isUnreadable && !isKept(text, *record.kind);
    });
}

}  // namespace tramo::cli
