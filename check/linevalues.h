// The values of a line, for the rules about rounds.
#pragma once
#include "common/dates.h"
#include "model/filledmodel.h"
#include "tramostream/fields.h"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>

namespace tramo {

// A serial number of at most 12 characters, in a fixed size. In ANSI it is the text itself, otherwise a hash of it.
struct SerialKey {
    std::uint64_t words[2] = {0, 0};

    bool operator==(const SerialKey&) const = default;
    bool isBlank() const { return words[0] == 0 && words[1] == 0; }
    bool isText() const { return words[1] >> 32 == 0; }

    std::string text() const {
        char bytes[sizeof words];
        std::memcpy(bytes, words, sizeof words);
        return {bytes, std::find(bytes, bytes + sizeof words, '\0')};
    }

    std::uint64_t hash() const { return mixed(words[0] ^ mixed(words[1] + step)); }

    static SerialKey of(const char* text, std::size_t size) {
        SerialKey key;
        std::memcpy(key.words, text, std::min(size, longest));
        return key;
    }
    static SerialKey of(const wchar_t* text, std::size_t size) {
        char narrow[longest];
        size = std::min(size, longest);
        if (std::all_of(text, text + size, [](wchar_t c) { return c > 0 && c <= 0xFF; })) {
            std::transform(text, text + size, narrow, [](wchar_t c) { return static_cast<char>(c); });
            return of(narrow, size);
        }
        SerialKey key;
        for (std::size_t i = 0; i < size; ++i)
            for (std::uint64_t& word : key.words)
                word = mixed(word + step + static_cast<std::uint64_t>(text[i]) + (&word != key.words));
        key.words[1] |= std::uint64_t{1} << 63;
        return key;
    }

private:
    static constexpr std::size_t longest = 12;
    static constexpr std::uint64_t step = 0x9E3779B97F4A7C15;
    static std::uint64_t mixed(std::uint64_t z) {
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
        return z ^ (z >> 31);
    }
};

// Exactly one of the two texts is the line. Absent: blank, unreadable, or what the models use for "absent".
class LineValues {
public:
    LineValues(const RecordKind& of, const FilledModel& with, const char* text) : kind(of), model(with), narrow(text) {}
    LineValues(const RecordKind& of, const FilledModel& with, const wchar_t* text) : kind(of), model(with), wide(text) {}

    const RecordKind& kind;

    // Not negative.
    std::optional<long long> integer(const Field& field) const {
        if (!model.has(field.index)) return std::nullopt;
        long long value = 0;
        if (model.sizeOfValue(field.index) == sizeof value) value = valueOf<long long>(field);
        else value = valueOf<int>(field);
        return value < 0 ? std::nullopt : std::optional(value);
    }
    std::optional<double> decimal(const Field& field) const {
        if (!model.has(field.index)) return std::nullopt;
        const auto value = valueOf<double>(field);
        return std::isfinite(value) ? std::optional(value) : std::nullopt;
    }
    std::optional<long32> time(const Field& field) const {
        if (!model.has(field.index)) return std::nullopt;
        const auto value = valueOf<long32>(field);
        return value == dates::noTime ? std::nullopt : std::optional(value);
    }
    // Of a set of alarm flags, too.
    bool flag(const Field& field) const { return valueOf<bool>(field); }
    bool has(const Field& field) const { return model.has(field.index); }

    std::size_t sizeOf(const Field& text) const { return has(text) ? model.text(text.index).second : 0; }
    SerialKey serial(const Field& field) const {
        if (!has(field)) return {};
        const auto [first, size] = model.text(field.index);
        return narrow ? SerialKey::of(narrow + first, size) : SerialKey::of(wide + first, size);
    }
    // The character of a text, 0-based.
    char16_t character(const Field& field, std::size_t at) const {
        const std::size_t index = static_cast<std::size_t>(field.column - 1) + at;
        return narrow ? static_cast<unsigned char>(narrow[index]) : static_cast<char16_t>(wide[index]);
    }
    std::wstring text(const Field& field) const {
        std::wstring characters;
        for (std::size_t i = 0, size = sizeOf(field); i < size; ++i) characters += static_cast<wchar_t>(character(field, i));
        return characters;
    }
    // The columns of a field as they stand, without trailing spaces.
    std::wstring raw(const Field& field) const {
        std::wstring characters;
        for (int i = 0; i < field.width; ++i) characters += static_cast<wchar_t>(character(field, static_cast<std::size_t>(i)));
        characters.resize(characters.find_last_not_of(L' ') + 1);
        return characters;
    }
    // The same without leading spaces.
    std::wstring plain(const Field& field) const {
        const std::wstring characters = raw(field);
        return characters.substr(std::min(characters.find_first_not_of(L' '), characters.size()));
    }

private:
    template <class T> T valueOf(const Field& field) const { return *static_cast<const T*>(model.value(field.index)); }

    const FilledModel& model;
    const char* narrow = nullptr;
    const wchar_t* wide = nullptr;
};

}  // namespace tramo
