#include "cli/commands/sample_form.h"
#include "cli/commands/sample_random.h"
#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <stdexcept>
#include <utility>

namespace tramo::cli::sample {

namespace {

// The last digits of a number, before `end`; takes them off, and returns where they begin.
char* putDigits(char* end, int digits, std::uint64_t& number) {
    for (; digits > 0; --digits, number /= 10) *--end = static_cast<char>('0' + number % 10);
    return end;
}

}  // namespace

const RecordKind& kindCalled(std::string_view name) {
    const auto kinds = recordKinds();
    const auto found = std::ranges::find(kinds, name, [](const RecordKind* kind) { return std::string_view(kind->name); });
    if (found == kinds.end()) throw std::logic_error("no such kind of record");
    return **found;
}

const Field& fieldCalled(const RecordKind& kind, std::string_view name) {
    const Field* field = kind.field(name);
    if (!field) throw std::logic_error("no such field");
    return *field;
}

void putTwo(char* at, unsigned number) {
    at[0] = static_cast<char>('0' + number / 10);
    at[1] = static_cast<char>('0' + number % 10);
}

Draft& Draft::put(std::string_view name, std::string_view text) {
    const Field& field = fieldCalled(model.kind(), name);
    if (!model.set(field, valueOf(field, text))) throw std::logic_error("not a value of this field");
    return *this;
}

std::string Draft::built() {
    std::string bytes;
    for (const wchar_t c : model.built()) bytes += static_cast<char>(c);
    if (!model.buildErrors().empty()) throw std::logic_error("a value that cannot be written");
    return bytes;
}

FieldValue Draft::valueOf(const Field& field, std::string_view text) {
    long long whole = 0;
    double decimal = 0;
    switch (field.kind) {
    case FieldKind::Integer:
    case FieldKind::AlarmFlags: std::from_chars(text.data(), text.data() + text.size(), whole); return whole;
    case FieldKind::Decimal: std::from_chars(text.data(), text.data() + text.size(), decimal); return decimal;
    case FieldKind::Code: return static_cast<wchar_t>(text.front());
    case FieldKind::Flag: return text == "1";
    default: break;
    }
    std::wstring wide;
    for (const char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return wide;
}

Form::Column Form::column(std::string_view name) const {
    const Field& field = fieldCalled(kind, name);
    return {static_cast<std::size_t>(field.column - 1), static_cast<std::size_t>(field.width)};
}

void Form::putDecimal(Column column, std::int64_t number, int scale, int decimals) {
    putOnTheRight(column, number, scale, decimals);
}

void Form::putTime(Column column, const Calendar& calendar, Day day, std::int32_t minute) {
    std::array<char, 12> digits;
    std::ranges::copy(calendar.digits(day), digits.begin());
    putTwo(&digits[8], static_cast<unsigned>(minute / 60));
    putTwo(&digits[10], static_cast<unsigned>(minute % 60));
    put(column, std::string_view(digits.data(), digits.size()));
}

char* Form::room(Column column, std::size_t size) {
    if (size > column.width) throw std::logic_error("a text that is longer than its field");
    return text.data() + column.at;
}

void Form::putOnTheRight(Column column, std::int64_t number, int scale, int decimals) {
    std::array<char, 32> content;
    char *const end = content.data() + content.size(), *at = end;
    auto rest = static_cast<std::uint64_t>(number < 0 ? -number : number);
    if (decimals > 0) {
        std::fill(at -= decimals - scale, end, '0');
        at = putDigits(at, scale, rest);
        *--at = '.';
    }
    at = putDigits(at, 1, rest);
    while (rest > 0) at = putDigits(at, 1, rest);
    if (number < 0) *--at = '-';
    const auto size = static_cast<std::size_t>(end - at);
    std::copy(at, end, room(column, size) + column.width - size);
}

std::string_view Identity::operator[](Mark mark) {
    if (std::exchange(writtenFor[mark], meter->number) != meter->number) {
        std::uint64_t number = (meter->number * steps[mark] + starts[mark]) % numbers;
        putDigits(texts[mark].data() + texts[mark].size(), 7, number);
        if (mark == Serial || mark == Corrected)
            std::ranges::copy(calendar.digits(meter->installed).substr(2, 2), &texts[mark][1]);
    }
    return texts[mark];
}

}  // namespace tramo::cli::sample
