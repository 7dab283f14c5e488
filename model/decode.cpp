#include "tramostream/decode.h"
#include "model/layout.h"
#include "tramostream/anyrecord.h"
#include <algorithm>
#include <cstring>
#include <type_traits>

namespace tramo {

namespace {

struct KindReadings {
    const RecordKind* kind;
    std::span<const FieldReading> readings;
};

constexpr std::size_t lineLength = std::tuple_size_v<TramoLine::tramoLine_t> - 2;

template <class> struct ReadingsOf;
template <class... M> struct ReadingsOf<std::variant<std::monostate, M...>> {
    static_assert(((std::tuple_size_v<LineOf<M>> - 2 == lineLength) && ...));
    static const std::array<KindReadings, sizeof...(M)>& all() {
        static const std::array kinds{KindReadings{&kindOf<M>(), ModelAccess::table<M>().readings}...};
        return kinds;
    }
};

// Writes each value to its place in an array.
struct ValueArray {
    std::span<DecodedValue> values;

    DecodedValue& put(const FieldReading& field, auto filled, long long integer) {
        DecodedValue& value = values[field.into];
        value.present = true;
        value.first = field.first;
        value.size = static_cast<std::uint16_t>(filled.isInLine ? filled.size : 0);
        value.integer = integer;
        return value;
    }
    void text(const FieldReading& field, auto filled) { put(field, filled, 0); }
    void integer(const FieldReading& field, long long value, auto filled) { put(field, filled, value); }
    void decimal(const FieldReading& field, double value, auto filled) { put(field, filled, 0).real = value; }
    void time(const FieldReading& field, long32 seconds, auto filled) { put(field, filled, seconds); }
    void code(const FieldReading& field, wchar_t value, auto filled) { put(field, filled, value); }
    void flag(const FieldReading& field, bool value, auto filled) { put(field, filled, value); }
    void alarms(const FieldReading& field, unsigned bits, auto filled) { put(field, filled, bits); }
    void faulty(const FieldReading& field, auto filled) {
        DecodedValue& value = values[field.field];
        value.unreadable = true;
        value.first = field.first;
        value.size = static_cast<std::uint16_t>(filled.size);
    }
};

template <class Char> bool decodeInto(const RecordKind& kind, std::basic_string_view<Char> line, std::span<DecodedValue> values) {
    const std::span<const FieldReading> readings = readingsOf(kind);
    if (readings.empty() || line.size() < lineLength || values.size() < kind.fields.size()) return false;
    static_assert(std::is_trivially_copyable_v<DecodedValue>);  // zeros are what a new one has: faster than one by one
    std::memset(static_cast<void*>(values.data()), 0, kind.fields.size() * sizeof(DecodedValue));
    ValueArray sink{values};
    decodeLine(readings, line.data(), BlankMap<lineLength, Char>(line.data()), sink);
    return true;
}

}  // namespace

std::span<const FieldReading> readingsOf(const RecordKind& kind) {
    const auto& kinds = ReadingsOf<AnyRecord::Model>::all();
    const auto found = std::ranges::find(kinds, &kind, &KindReadings::kind);
    return found == kinds.end() ? std::span<const FieldReading>{} : found->readings;
}

bool decode(const RecordKind& kind, std::string_view line, std::span<DecodedValue> values) {
    return decodeInto(kind, line, values);
}

bool decode(const RecordKind& kind, std::u16string_view line, std::span<DecodedValue> values) {
    return decodeInto(kind, line, values);
}

}  // namespace tramo
