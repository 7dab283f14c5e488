// A line of a record, read by decode() and by Columns, compared with its model. The first byte selects the kind, and whether a
// character is one byte of the rest or two.
#include "support.h"
#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <ctime>
#include <tramostream/anyrecord.h>
#include <tramostream/columns.h>
#include <tramostream/decode.h>
#include <tramostream/stringconverter.h>
#include <vector>

namespace {

using tramo::AnyRecord, tramo::Column, tramo::DecodedValue, tramo::Field, tramo::FieldKind, tramo::FieldValue, tramo::RecordKind;

constexpr std::size_t lineLength = 512;

// In memory of exactly this size, so that the address sanitizer sees each read beyond it.
template <class Char> std::vector<Char> exactly(const std::wstring& line) {
    std::vector<Char> characters;
    characters.reserve(line.size());
    for (const wchar_t c : line) characters.push_back(static_cast<Char>(c));
    return characters;
}

template <class Char> std::basic_string_view<Char> viewOf(const std::vector<Char>& line) { return {line.data(), line.size()}; }

bool isSame(const FieldValue& a, const FieldValue& b) {
    const double* x = std::get_if<double>(&a);
    const double* y = std::get_if<double>(&b);
    return x && y ? std::bit_cast<std::uint64_t>(*x) == std::bit_cast<std::uint64_t>(*y) : a == b;
}

FieldValue valueOf(const Field& field, const DecodedValue& value, const std::wstring& line) {
    if (!value.present) return field.defaultValue;
    switch (field.kind) {
    case FieldKind::Text: return line.substr(value.first, value.size);
    case FieldKind::Decimal: return value.real;
    case FieldKind::Code: return static_cast<wchar_t>(value.integer);
    case FieldKind::Flag: return value.integer != 0;
    default: return value.integer;
    }
}

using Errors = std::vector<std::pair<int, int>>;

Errors sorted(const std::vector<TE::FieldError>& errors) {
    Errors all;
    for (const TE::FieldError& error : errors) all.emplace_back(error.column, error.code);
    std::ranges::sort(all);
    return all;
}

void checkValues(const RecordKind& kind, const std::vector<DecodedValue>& values, const std::wstring& line) {
    TramoLine::tramoLine_t buffer{};
    std::ranges::copy(line, buffer.begin());
    const AnyRecord model(buffer);
    std::vector<TE::FieldError> unreadable;
    for (const Field& field : kind.fields) {
        const DecodedValue& value = values[field.index];
        if (value.unreadable) unreadable.push_back(field.parseError);
        if (field.column == 0) FUZZ_CHECK(!value.present && !value.unreadable);
        else FUZZ_CHECK(isSame(valueOf(field, value, line), model.get(field)));
    }
    FUZZ_CHECK(sorted(unreadable) == sorted(model.getParseErrors()));
}

// ---- Columns --------------------------------------------------------------------------------------------------------

// The local time of an instant, by the C library.
struct Local {
    std::tm time{};

    explicit Local(long long instant) {
        const auto seconds = static_cast<std::time_t>(instant);
        FUZZ_CHECK(localtime_r(&seconds, &time) != nullptr);
    }
    long long year() const { return time.tm_year + 1900; }
    long long days() const {
        using namespace std::chrono;
        const year_month_day day{std::chrono::year{static_cast<int>(year())}, month{static_cast<unsigned>(time.tm_mon + 1)},
            std::chrono::day{static_cast<unsigned>(time.tm_mday)}};
        return sys_days{day}.time_since_epoch().count();
    }
    long long seconds() const { return ((days() * 24 + time.tm_hour) * 60 + time.tm_min) * 60 + time.tm_sec; }
};

void checkCell(const Column& column, const DecodedValue& value, const std::wstring& line) {
    using enum tramo::ColumnType;
    const bool isAbsentYear = column.type == Year && value.integer == std::numeric_limits<long32>::min();
    FUZZ_CHECK(column.has(0) == (value.present && !isAbsentYear));
    FUZZ_CHECK(column.absent == (column.has(0) ? 0U : 1U));
    if (!column.has(0)) {
        if (column.type == Text) FUZZ_CHECK(column.text(0).empty());
        return;
    }
    switch (column.type) {
    case Text: FUZZ_CHECK(column.text(0) == fuzz::utf8Of(line.substr(value.first, value.size))); break;
    case Int32: FUZZ_CHECK(column.value<std::int32_t>(0) == value.integer); break;
    case Int64: FUZZ_CHECK(column.value<std::int64_t>(0) == value.integer); break;
    case Double: FUZZ_CHECK(isSame(column.value<double>(0), value.real)); break;
    case Day: FUZZ_CHECK(column.value<std::int32_t>(0) == Local(value.integer).days()); break;
    case Time: FUZZ_CHECK(column.value<std::int64_t>(0) == Local(value.integer).seconds()); break;
    case Year: FUZZ_CHECK(column.value<std::int16_t>(0) == Local(value.integer).year()); break;
    case Flag: FUZZ_CHECK(column.flag(0) == (value.integer != 0)); break;
    case Alarms: FUZZ_CHECK(column.value<std::uint16_t>(0) == value.integer); break;
    }
}

template <class Char> void checkColumns(
    const RecordKind& kind, const std::vector<Char>& line, const std::vector<DecodedValue>& values, const std::wstring& text) {
    tramo::Columns columns(kind);
    FUZZ_CHECK(columns.add(7, viewOf(line)));
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const Column column = columns[i];
        // The character of a code that a blank field is read as is not in the line.
        const DecodedValue& value = values[column.field->index];
        if (column.field->kind == FieldKind::Code && value.present)
            FUZZ_CHECK(column.text(0) == std::string(1, static_cast<char>(value.integer)));
        else checkCell(column, value, text);
    }
    const auto unreadable = std::ranges::count_if(values, &DecodedValue::unreadable);
    FUZZ_CHECK(columns.unreadable() == static_cast<std::size_t>(unreadable));
}

template <class Char> void checkLine(const RecordKind& kind, const std::wstring& text) {
    const std::vector<Char> line = exactly<Char>(text);
    std::vector<DecodedValue> values(kind.fields.size());
    FUZZ_CHECK(tramo::decode(kind, viewOf(line), values));
    checkValues(kind, values, text);
    checkColumns(kind, line, values, text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    [[maybe_unused]] static const bool ready = fuzz::silenceLibrary() && fuzz::takeZone();
    fuzz::Bytes bytes(data, size);
    const unsigned choice = fuzz::takeByte(bytes);
    const bool isWide = choice >> 7 & 1;
    const auto kinds = tramo::recordKinds();
    const RecordKind& kind = *kinds[(choice & 0x7F) % kinds.size()];
    const std::wstring text = kind.letter + fuzz::textOf(bytes, isWide);
    std::wstring line(lineLength, L' ');
    std::copy_n(text.begin(), std::min(text.size(), lineLength), line.begin());
    if (isWide) checkLine<char16_t>(kind, line);
    else checkLine<char>(kind, line);
    return 0;
}
