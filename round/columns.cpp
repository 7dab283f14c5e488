#include "tramostream/columns.h"
#include "common/dates.h"
#include "common/encoding.h"
#include "common/utf16.h"
#include "common/utf8.h"
#include "common/zone.h"
#include "round/columndata.h"
#include "tramostream/reader.h"
#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cstdint>
#include <stdexcept>

namespace tramo {

namespace {

constexpr std::size_t lineLength = 512;
constexpr std::size_t firstCapacity = 64;
constexpr std::size_t mostText = INT32_MAX;  // bytes, because offsets have 32 bits

std::chrono::sys_days dayOf(std::int64_t local) {
    return std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds{std::chrono::seconds{local}});
}

char* putUtf8(char32_t c, char* out) {
    const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
    if (c < 0x80) {
        *out++ = byte(c);
        return out;
    }
    int rest = c < 0x800 ? 6 : c < 0x10000 ? 12 : 18;
    *out++ = byte((rest == 6 ? 0xC0 : rest == 12 ? 0xE0 : 0xF0) | c >> rest);
    while (rest > 0) {
        rest -= 6;
        *out++ = byte(0x80 | (c >> rest & 0x3F));
    }
    return out;
}

// The following append at least `wanted` characters of a text as UTF-8 to where there is room for them, one more if they end
// between the halves of a surrogate pair. They return how many.
std::size_t appendUtf8(std::string_view ansi, std::size_t wanted, char*& out) {
    for (const char c : ansi.substr(0, wanted)) out = putUtf8(codec::codeOf(c), out);
    return wanted;
}

std::size_t appendUtf8(std::u16string_view units, std::size_t wanted, char*& out) {
    std::size_t i = 0;
    for (; i < wanted; ++i) {
        const char32_t unit = units[i], next = i + 1 < units.size() ? units[i + 1] : 0;
        if (utf16::isHighSurrogate(unit) && utf16::isLowSurrogate(next)) {
            out = putUtf8(0x10000 + (unit - 0xD800) * 0x400 + (next - 0xDC00), out);
            ++i;
        } else {
            out = putUtf8(utf16::isSurrogate(unit) ? char32_t{utf8::replacement} : unit, out);
        }
    }
    return i;
}

// Some characters, and whether all of them are ASCII.
template <class Char> struct TextBlock {
    std::array<Char, textBlock> characters;

    explicit TextBlock(const Char* text) { std::memcpy(characters.data(), text, sizeof characters); }
    bool isAscii() const {
        const auto words = std::bit_cast<std::array<std::uint64_t, sizeof characters / 8>>(characters);
        std::uint64_t all = 0;
        for (const std::uint64_t word : words) all |= word;
        return (all & (sizeof(Char) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80)) == 0;
    }
};

// Appends text of which `readable` characters can be read, a block at a time if it is ASCII: it may write less than a block
// more. Returns the end of the text.
template <class Char> char* putText(std::basic_string_view<Char> text, std::size_t readable, char* out) {
    std::size_t done = 0;
    while (done < text.size()) {
        const std::size_t wanted = std::min(text.size() - done, textBlock);
        if (done + textBlock <= readable) {
            const TextBlock<Char> block(text.data() + done);
            if (block.isAscii()) {
                std::ranges::transform(block.characters, out, [](Char c) { return static_cast<char>(c); });
                out += wanted;
                done += wanted;
                continue;
            }
        }
        done += appendUtf8(text.substr(done), wanted, out);
    }
    return out;
}

// Writes the bytes of a line without a character above U+00FF, which reads as fast as an ANSI line. Returns whether it is one.
bool narrow(std::u16string_view line, std::array<char, lineLength>& bytes) {
    char16_t all = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        all = static_cast<char16_t>(all | line[i]);
        bytes[i] = static_cast<char>(line[i]);
    }
    return all <= 0xFF;
}

// Copies a short line, with spaces at its end, to where there is room for a long one.
template <class Char> std::basic_string_view<Char> padded(std::basic_string_view<Char> line, std::array<Char, lineLength>& room) {
    std::ranges::fill(std::ranges::copy(line, room.begin()).out, room.end(), Char{' '});
    return {room.data(), room.size()};
}

ColumnType typeOf(const FieldReading& reading) {
    switch (reading.kind) {
    case FieldKind::Integer: return reading.isLong ? ColumnType::Int64 : ColumnType::Int32;
    case FieldKind::Decimal: return ColumnType::Double;
    case FieldKind::Date: return ColumnType::Day;
    case FieldKind::DateTime: return ColumnType::Time;
    case FieldKind::Year: return ColumnType::Year;
    case FieldKind::Flag: return ColumnType::Flag;
    case FieldKind::AlarmFlags: return ColumnType::Alarms;
    case FieldKind::Text:
    case FieldKind::Code: break;
    }
    return ColumnType::Text;
}

const FieldReading& readingOf(const RecordKind& kind, const Field& field) {
    for (const FieldReading& reading : readingsOf(kind))
        if (&kind.fields[reading.field] == &field) return reading;
    throw std::invalid_argument("tramo: \"" + field.name + "\" is not a field in the line of a " + kind.name + " record");
}

// Writes the values of a line into a row.
template <class Char> struct RowSink {
    ColumnTable& table;
    std::basic_string_view<Char> line;
    std::size_t row;
    zone::Clock clock{};

    ColumnData& columnFor(const FieldReading& field) { return table.columns[table.columnOf[field.into]]; }

    void text(const FieldReading& field, FilledText<Char> filled) {
        ColumnData& column = columnFor(field);
        const std::size_t readable = filled.isInLine ? line.size() - field.first : filled.size;
        char* const out = column.values.data() + column.textSize;
        column.textSize += static_cast<std::size_t>(putText(filled.view(), readable, out) - out);
        column.setPresent(row);
    }
    void integer(const FieldReading& field, int value, auto) { columnFor(field).put(row, std::int32_t{value}); }
    void integer(const FieldReading& field, long long value, auto) { columnFor(field).put(row, std::int64_t{value}); }
    void decimal(const FieldReading& field, double value, auto) { columnFor(field).put(row, value); }
    void time(const FieldReading& field, long32 instant, auto) {
        if (instant == dates::noTime) return;
        ColumnData& column = columnFor(field);
        const std::int64_t local = clock.toLocal(instant);
        if (column.type == ColumnType::Time) {
            column.put(row, local);
        } else if (column.type == ColumnType::Day) {
            column.put(row, static_cast<std::int32_t>(dayOf(local).time_since_epoch().count()));
        } else {
            const auto year = static_cast<int>(std::chrono::year_month_day{dayOf(local)}.year());
            column.put(row, static_cast<std::int16_t>(year));
        }
    }
    void code(const FieldReading& field, wchar_t, auto filled) { text(field, filled); }
    void flag(const FieldReading& field, bool value, auto) { columnFor(field).putFlag(row, value); }
    void alarms(const FieldReading& field, unsigned bits, auto) { columnFor(field).put(row, static_cast<std::uint16_t>(bits)); }
    void faulty(const FieldReading& field, auto) { table.unreadable += table.columnOf[field.field] != ColumnTable::noColumn; }
};

}  // namespace

std::size_t bytesFor(ColumnType type, std::size_t rows) {
    switch (type) {
    case ColumnType::Text: return 0;
    case ColumnType::Int32:
    case ColumnType::Day: return 4 * rows;
    case ColumnType::Int64:
    case ColumnType::Double:
    case ColumnType::Time: return 8 * rows;
    case ColumnType::Year:
    case ColumnType::Alarms: return 2 * rows;
    case ColumnType::Flag: break;
    }
    return (rows + 7) / 8;
}

void ColumnTable::choose(std::span<const Field* const> fields) {
    columnOf.assign(kind.fields.size(), noColumn);
    const auto addColumn = [&](const FieldReading& reading) {
        const Field& field = kind.fields[reading.field];
        if (columnOf[reading.field] != noColumn) throw std::invalid_argument("tramo: \"" + field.name + "\" is a column twice");
        columnOf[reading.field] = static_cast<std::uint16_t>(columns.size());
        columns.push_back({&field, typeOf(reading), {}, {}, {}});
        if (columns.back().isText()) texts.push_back(columnOf[reading.field]);
    };
    for (const Field* field : fields) addColumn(readingOf(kind, *field));
    for (const FieldReading& reading : readingsOf(kind)) {
        if (fields.empty()) addColumn(reading);
        if (columnOf[reading.into] != noColumn) readings.push_back(reading);
    }
}

// Makes room for one row at least. Returns false if a column of texts would become too large.
bool ColumnTable::makeRoom() {
    const std::size_t more = rows < capacity ? capacity : std::max(2 * capacity, firstCapacity);
    if (more > capacity) {
        for (ColumnData& column : columns) {
            column.validity.grow((more + 7) / 8);
            column.values.grow(bytesFor(column.type, more));
            if (column.isText()) column.offsets.grow((more + 1) * sizeof(std::int32_t));
        }
        lines.grow(more * sizeof(std::int64_t));
        capacity = more;
    }
    rowsWithRoom = capacity - rows;
    for (const std::uint16_t index : texts) {
        ColumnData& column = columns[index];
        const std::size_t longest = column.longestText();
        if (column.textSize + longest > mostText) return false;
        if (column.textSize + longest > column.values.size())
            column.values.grow(std::max(firstCapacity * longest, 2 * column.values.size()));
        rowsWithRoom = std::min(rowsWithRoom, (std::min(column.values.size(), mostText) - column.textSize) / longest);
    }
    return true;
}

template <class Char> bool ColumnTable::add(std::int64_t number, std::basic_string_view<Char> line) {
    if (line.size() != static_cast<std::size_t>(kind.length)) return false;
    if (kind.letter != 0 && codec::codeOf(line[0]) != codec::codeOf(kind.letter)) return false;
    if (line.size() == lineLength) return addPadded(number, line);
    std::array<Char, lineLength> room;
    return addPadded(number, padded(line, room));
}

// Adds a line of the length of a record, which a shorter line has with spaces at its end.
template <class Char> bool ColumnTable::addPadded(std::int64_t number, std::basic_string_view<Char> line) {
    if constexpr (sizeof(Char) > 1)
        if (std::array<char, lineLength> bytes; narrow(line, bytes))
            return addPadded(number, std::string_view(bytes.data(), lineLength));
    if (rowsWithRoom == 0 && !makeRoom()) return false;
    RowSink<Char> sink{*this, line, rows};
    decodeLine(readings, line.data(), BlankMap<lineLength, Char>(line.data()), sink);
    std::memcpy(lines.data() + rows * sizeof number, &number, sizeof number);
    ++rows;
    --rowsWithRoom;
    for (const std::uint16_t index : texts) columns[index].putOffset(rows);
    return true;
}

bool ColumnTable::add(const LineView& line) {
    if (line.kind() != &kind) return false;
    const auto length = static_cast<std::size_t>(kind.length);
    if (line.encoding() == Encoding::Ansi) return add(line.number(), line.bytes().substr(0, length));
    const auto* const bytes = reinterpret_cast<const unsigned char*>(line.bytes().data());
    if (std::array<char, lineLength> narrow; encoding::narrow(bytes, length, narrow.data()))
        return add(line.number(), std::string_view(narrow.data(), length));
    std::array<char16_t, lineLength> units;
    for (std::size_t i = 0; i < length; ++i) units[i] = encoding::unitAt(bytes, i);
    return add(line.number(), std::u16string_view(units.data(), length));
}

void ColumnTable::clear() {
    for (ColumnData& column : columns) {
        std::memset(column.validity.data(), 0, (rows + 7) / 8);
        if (!column.isText()) std::memset(column.values.data(), 0, bytesFor(column.type, rows));
        column.textSize = 0;
    }
    rows = unreadable = rowsWithRoom = 0;
}

ColumnType columnTypeOf(const RecordKind& kind, const Field& field) { return typeOf(readingOf(kind, field)); }

Columns::Columns(const RecordKind& kind, std::span<const Field* const> fields) : state(new State{{kind}}) {
    state->choose(fields);
}
Columns::Columns(Columns&&) noexcept = default;
Columns& Columns::operator=(Columns&&) noexcept = default;
Columns::~Columns() = default;

bool Columns::add(std::int64_t number, std::string_view line) { return state->add(number, line); }
bool Columns::add(std::int64_t number, std::u16string_view line) { return state->add(number, line); }

bool Columns::add(const LineView& line) { return state->add(line); }

const RecordKind& Columns::kind() const { return state->kind; }
std::size_t Columns::rows() const { return state->rows; }
std::size_t Columns::size() const { return state->columns.size(); }
std::size_t Columns::unreadable() const { return state->unreadable; }

Column Columns::operator[](std::size_t index) const {
    const ColumnData& column = state->columns[index];
    return {column.field, column.type, state->rows, state->rows - column.present(state->rows),
        reinterpret_cast<const std::uint8_t*>(column.validity.data()), column.values.data(),
        reinterpret_cast<const std::int32_t*>(column.offsets.data())};
}

std::span<const std::int64_t> Columns::lines() const {
    return {reinterpret_cast<const std::int64_t*>(state->lines.data()), state->rows};
}

void Columns::clear() { state->clear(); }

}  // namespace tramo
