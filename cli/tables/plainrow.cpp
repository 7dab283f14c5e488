#include "cli/tables/plainrow.h"
#include "cli/tables/plainnumber.h"
#include "convert/reading.h"
#include "model/blankmap.h"
#include "model/fieldreading.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
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

// Returns the instant that the digits of a date or time express exactly; noTime if there is none or that is not certain.
long long exactTime(const char* digits, bool hasTime) {
    const long long midnight = midnightOf(digits);
    if (!hasTime || midnight == noTime) return midnight;
    unsigned isOther = 0;  // than a digit
    const auto number = [&](std::size_t at) {
        const unsigned tens = codec::decimalDigit(digits[at]), ones = codec::decimalDigit(digits[at + 1]);
        isOther |= (tens | ones) & codec::notADigit;
        return tens * 10 + ones;
    };
    const unsigned hours = number(8), minutes = number(10);
    return isOther || hours > 23 || minutes > 59 ? noTime : midnight + 60 * (60 * hours + minutes);
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

long long exactYear(const char* digits) {
    struct Year {
        std::uint32_t digits = 0;
        long long instant = noTime;
    };
    thread_local std::array<Year, 256> years;
    std::uint32_t key = 0;
    std::memcpy(&key, digits, sizeof key);
    Year& year = years[key * 0x9E3779B1 >> 24];
    if (year.digits != key) year = {key, findYear({digits, sizeof key})};
    return year.instant;
}

// Returns the alarm flags of four digits; a negative number if the format does not write flags this way: the lower eight first.
int writtenFlags(const char* text) {
    unsigned word = 0;
    for (int i = 0; i < 4; ++i) {
        if (text[i] >= 'a') return -1;
        const unsigned digit = codec::hexDigit(text[i]);
        if (digit == codec::notADigit) return -1;
        word = word << 4 | digit;
    }
    const unsigned flags = word >> 8 | (word & 0xFF) << 8;
    return flags >> codec::alarmFlagCount == 0 ? static_cast<int>(flags) : -1;
}

// --- Columns ---------------------------------------------------------------------------------------------------------

using FilledColumns = BlankMap<recordLength, char>;

}  // namespace

// What is known of a column before a line is read.
struct PlainColumn {
    std::uint16_t column;  // its index in the table
    std::uint16_t value;   // the index of its field in RecordKind::fields
    std::uint16_t first;   // the index of its first character in the line
    std::uint16_t width;
    FieldKind kind;
    bool isAlwaysExported;     // its value on a blank line is not its default value
    bool isExportedIfRead;     // even if it is the default value
    bool isShared;             // read into another field, or the value of another field: its text may not be that of its value
    bool isReadFromText;       // readFromText() can read it
    bool isSkippedIfBlank;     // it has no value then, or one that is not exported
    long long absent;          // the value without a text
    std::uint64_t absentReal;  // the same of a decimal, its bits
    std::string absentText;    // the same, its shortest text
    CodeSet codes;             // that can be read
};

namespace {

struct PlainTable {
    const RecordKind* kind;
    const Table* table;
    std::vector<PlainColumn> columns;
    FilledColumns::Columns gaps;  // columns of no field
};

FilledColumns::Columns gapsOf(const RecordKind& kind) {
    std::array<bool, recordLength> taken{true};  // the letter
    for (const Field& field : kind.fields)
        if (field.column > 0) std::fill_n(taken.begin() + field.column - 1, field.width, true);
    FilledColumns::Columns gaps;
    for (std::size_t i = 0; i < recordLength; ++i)
        if (!taken[i]) gaps.add(i);
    return gaps;
}

// Returns whether the slow path exports a field because it has been read, though its value is that of a blank line.
bool isExportedIfRead(const Table& table, std::size_t column) {
    LineModel model = *table.blank;
    model.set(*table.columns[column].field, table.columns[column].blank);
    const std::wstring text = model.built();
    if (text == LineModel(*table.blank).built()) return false;  // nothing of it can be read
    LineModel read = LineModel::of(model.kind(), text);
    Line line;
    line.text = text;
    const TableRow row = rowOf(line, LineKind::Record, &read, Keys::Masked);
    return row.table == &table && !std::holds_alternative<std::monostate>(row.cells[column]);
}

bool isExported(const PlainColumn& column, long long integer, double real) {
    if (column.isAlwaysExported || column.isExportedIfRead || column.kind == FieldKind::Text) return true;
    if (column.kind == FieldKind::Decimal) return std::bit_cast<std::uint64_t>(real) != column.absentReal;
    return integer != column.absent;
}

PlainColumn plainColumn(const Table& table, std::size_t i, std::span<const DecodedValue> valuesOfBlank) {
    const Column& column = table.columns[i];
    const Field& field = *column.field;
    PlainColumn plain{};
    plain.column = static_cast<std::uint16_t>(i);
    plain.value = static_cast<std::uint16_t>(field.index);
    plain.first = static_cast<std::uint16_t>(field.column - 1);
    plain.width = static_cast<std::uint16_t>(field.width);
    plain.kind = field.kind;
    plain.isAlwaysExported = column.blank != field.defaultValue;
    plain.isExportedIfRead = !plain.isAlwaysExported && isExportedIfRead(table, i);
    plain.isShared = !field.readInto.empty() ||
                     std::ranges::any_of(table.columns, [&](const Column& other) { return other.field->readInto == field.name; });
    if (const auto* real = std::get_if<double>(&column.blank)) {
        plain.absentReal = std::bit_cast<std::uint64_t>(*real);
        plain.absentText = fmt::format("{}", *real);
    } else if (const auto* integer = std::get_if<long long>(&column.blank)) plain.absent = *integer;
    else if (const auto* code = std::get_if<wchar_t>(&column.blank)) plain.absent = *code;
    else if (const auto* flag = std::get_if<bool>(&column.blank)) plain.absent = *flag;
    for (const wchar_t code : field.codes)
        if (code < 128) plain.codes.add(code);
    const bool isNarrow = field.width <= 32;  // so that leading spaces are counted
    plain.isReadFromText =
        !plain.isShared && (isNarrow || field.kind == FieldKind::Text) && (field.width == 1 || field.kind != FieldKind::Code);
    const DecodedValue& blank = valuesOfBlank[field.index];
    plain.isSkippedIfBlank = !plain.isShared && !plain.isAlwaysExported && !blank.unreadable &&
                             !(blank.present && isExported(plain, blank.integer, blank.real));
    return plain;
}

const PlainTable& plainTable(const RecordKind& kind) {
    static const std::vector<PlainTable> all = [] {
        std::vector<PlainTable> some;
        std::vector<DecodedValue> values;
        for (const RecordKind* each : recordKinds()) {
            const std::string blank(recordLength, ' ');
            values.resize(each->fields.size());
            decode(*each, blank, values);
            PlainTable& plain = some.emplace_back(PlainTable{each, &tableOfKind(*each), {}, gapsOf(*each)});
            for (std::size_t i = 0; i < plain.table->columns.size(); ++i)
                plain.columns.push_back(plainColumn(*plain.table, i, values));
        }
        return some;
    }();
    return *std::ranges::find(all, &kind, &PlainTable::kind);
}

// The text of a value that is exported as it is in the line.
struct ExportedText {
    std::string_view text;  // empty: the value must be put into words
    bool isWhole;           // the columns surely hold nothing that the value does not
};

constexpr std::size_t alwaysKept = codec::alwaysKept;  // digits: no other decimal number of so few digits has the same value

ExportedText textOf(const PlainColumn& column, const DecodedValue& value, std::string_view line) {
    const std::string_view text = line.substr(value.first, value.size);
    switch (column.kind) {
    case FieldKind::Text:
    case FieldKind::Code: return {text, true};
    case FieldKind::Flag: return {text, text == "0" || text == "1" || text.empty()};
    case FieldKind::AlarmFlags: return {text, text.size() == 4 && writtenFlags(text.data()) == value.integer};
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
    case FieldKind::DateTime: {
        const bool isExact = exactTime(text.data(), column.kind == FieldKind::DateTime) == value.integer;
        return {isExact ? text : std::string_view{}, true};
    }
    case FieldKind::Year: {
        const bool isAbsent = value.integer == std::numeric_limits<long32>::lowest();
        return {!isAbsent && text.size() == 4 && exactYear(text.data()) == value.integer ? text : std::string_view{}, !isAbsent};
    }
    }
    return {{}, false};
}

// --- Texts that say all of their value -------------------------------------------------------------------------------

struct Read {
    std::string_view text;  // that is exported
    long long integer = 0;
    bool isExported = true;
};

// The following return false for a text that they are not sure of.

bool readInteger(const PlainColumn& column, const char* end, unsigned size, unsigned digits, Read& read) {
    int value = 0;
    const char* begin = end - digits;
    if (!codec::readPlainInteger(end, digits, column.first + size, value)) {
        const bool isAtBegin = column.first < 8 && digits < 8;  // of the line, where eight characters cannot be read at once
        std::string_view text(begin, digits);
        if (!isAtBegin || !std::ranges::all_of(text, [](char c) { return codec::decimalDigit(c) < 10; })) return false;
        codec::takeInteger(text, value);
    }
    while (begin + 1 < end && *begin == '0') ++begin;
    read = {{begin, end}, value, isExported(column, value, 0)};
    return true;
}

bool readDecimal(const PlainColumn& column, std::string_view line, std::size_t size, Read& read) {
    if (FLT_EVAL_METHOD != 0 || size > PlainNumber::mostCharacters) return false;
    const PlainNumber number(line, column.first, size);
    if (!number.isDecimal() || number.countDigits() > alwaysKept) return false;
    read.text = number.shortestDecimal();
    const bool mayHaveExponent = read.text.starts_with("0.0000") || read.text.starts_with("-0.0000");
    read.isExported = column.isAlwaysExported || column.isExportedIfRead || read.text != column.absentText;
    return !read.text.empty() && !mayHaveExponent;
}

// Times before 1970 are not read.
bool readTime(const PlainColumn& column, const char* text, unsigned size, Read& read) {
    const bool isYear = column.kind == FieldKind::Year, isDate = column.kind == FieldKind::Date;
    if (size != (isYear ? 4U : isDate ? 8U : 12U)) return false;
    const long long instant = isYear ? exactYear(text) : exactTime(text, !isDate);
    read = {{text, size}, instant, isExported(column, instant, 0)};
    return instant >= 0;
}

bool readAlarmFlags(const PlainColumn& column, const char* text, unsigned size, Read& read) {
    const int flags = size == 4 ? writtenFlags(text) : -1;
    read = {{text, size}, flags, isExported(column, flags, 0)};
    return flags >= 0;
}

bool readFromText(const PlainColumn& column, std::string_view line, unsigned blanks, unsigned size, Read& read) {
    const char* const text = line.data() + column.first;
    switch (column.kind) {
    case FieldKind::Text: read.text = {text, size}; return true;
    case FieldKind::Integer: return readInteger(column, text + size, size, size - blanks, read);
    case FieldKind::Decimal: return readDecimal(column, line, size, read);
    case FieldKind::Date:
    case FieldKind::DateTime:
    case FieldKind::Year: return readTime(column, text, size, read);
    case FieldKind::Code: read = {{text, 1}, *text, isExported(column, *text, 0)}; return column.codes.has(*text);
    case FieldKind::Flag:
        read = {{}, *text == '1', isExported(column, *text == '1', 0)};
        return size == 1 && (*text == '0' || *text == '1');
    case FieldKind::AlarmFlags: return readAlarmFlags(column, text, size, read);
    }
    return false;
}

}  // namespace

bool PlainRow::read(const PlainRecord& next) {
    record = next;
    const PlainTable& table = plainTable(*record.kind);
    const FilledColumns filled(record.text.data());
    known = table.table;
    mayHoldMore = filled.isFilledIn(table.gaps);
    hasUnread = isDecoded = false;
    exported.clear();
    for (const PlainColumn& column : table.columns) {
        const auto [blanks, size] = filled.text(column.first, column.width);
        if (size == 0 && column.isSkippedIfBlank) continue;
        Read read;
        if (size == 0 || !column.isReadFromText || !readFromText(column, record.text, blanks, size, read)) {
            if (!readDecoded(column)) return false;
        } else if (read.isExported) {
            exported.push_back({column.column, column.kind, read.text, read.integer, 0});
        }
    }
    return true;
}

// Reads a field whose text needs a closer look.
bool PlainRow::readDecoded(const PlainColumn& column) {
    if (!isDecoded) {
        values.resize(record.kind->fields.size());
        decode(*record.kind, record.text, values);
        isDecoded = true;
    }
    const DecodedValue& value = values[column.value];
    if (value.unreadable) hasUnread = mayHoldMore = true;
    if (column.isShared) mayHoldMore = true;
    if (!value.present) return !column.isAlwaysExported;
    const auto [text, isWhole] = textOf(column, value, record.text);
    if (!isWhole) mayHoldMore = true;
    if (isExported(column, value.integer, value.real))
        exported.push_back({column.column, column.kind, text, value.integer, value.real});
    return true;
}

Cell PlainRow::wordsOf(const Exported& cell) const {
    const Field& field = *known->columns[cell.column].field;
    return cellOf(field, cell.kind == FieldKind::Decimal ? FieldValue(cell.real) : FieldValue(cell.integer));
}

// As with a model, which has no ignored text in fields with a parse error.
bool PlainRow::findsIgnoredText() const {
    std::wstring line(record.text.size(), L'\0');
    std::ranges::transform(record.text, line.begin(), [](char c) { return static_cast<unsigned char>(c); });
    std::vector<TE::FieldError> errors;
    for (const Field& field : record.kind->fields)
        if (isDecoded && values[field.index].unreadable) errors.push_back(field.parseError);
    return std::ranges::any_of(ignoredTexts(*record.kind, line), [&](const IgnoredText& text) {
        const bool isUnreadable = text.field && std::ranges::find(errors, text.field->parseError) != errors.end();
        return !isUnreadable && !isKept(text, *record.kind);
    });
}

}  // namespace tramo::cli
