// The values of a line, for the rules about rounds.
#pragma once
#include "common/dates.h"
#include "model/filledmodel.h"
#include "tramostream/fields.h"
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

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
    // Does the same for a text that is followed by so many characters that it has at least `inOneLoad`.
    static SerialKey ofReadable(const char* text, std::size_t size) {
        SerialKey key;
        if constexpr (std::endian::native != std::endian::little) return of(text, size);
        std::memcpy(key.words, text, inOneLoad);
        const auto lowest = [](std::size_t bytes) { return bytes == 0 ? 0 : ~std::uint64_t{0} >> (64 - 8 * bytes); };
        key.words[0] &= lowest(std::min<std::size_t>(size, 8));
        key.words[1] &= lowest(std::clamp<std::size_t>(size, 8, longest) - 8);
        return key;
    }
    static constexpr std::size_t inOneLoad = 16;
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

// A field that the rules read (rulefields.h), and where its value is.
struct RuleField {
    const Field* field;
    FilledModel::ValuePlace place;
    operator const Field&() const { return *field; }
    const Field* operator->() const { return field; }
};

// Without branches where values are often absent: which ones cannot be predicted. Exactly one of the two texts is the line.
// Absent: blank, unreadable, or what the models use for "absent".
class LineValues {
public:
    LineValues(const RecordKind& of, const FilledModel& with, const char* text) : kind(of), model(with), narrow(text) {}
    LineValues(const RecordKind& of, const FilledModel& with, const wchar_t* text) : kind(of), model(with), wide(text) {}

    const RecordKind& kind;

    // Not negative; -1: absent.
    long long integer(const RuleField& field) const {
        const long long value = field.place.isLong ? model.valueAt<long long>(field.place) : model.valueAt<int>(field.place);
        return has(field) ? std::max(value, -1LL) : -1;
    }
    // Finite; NaN: absent.
    double decimal(const RuleField& field) const {
        constexpr double absent = std::numeric_limits<double>::quiet_NaN();
        const auto value = model.valueAt<double>(field.place);
        return has(field) && std::isfinite(value) ? value : absent;
    }
    // dates::noTime, which is less than any other: absent.
    long32 time(const RuleField& field) const {
        const auto value = model.valueAt<long32>(field.place);
        return has(field) ? value : dates::noTime;
    }
    // Of a set of alarm flags, too.
    bool flag(const RuleField& field) const { return model.valueAt<bool>(field.place); }
    bool has(const RuleField& field) const { return model.has(field.place); }

    std::size_t sizeOf(const RuleField& text) const { return has(text) ? model.textAt(text.place).second : 0; }
    SerialKey serial(const RuleField& field) const {
        if (!has(field)) return {};
        const auto [first, size] = model.textAt(field.place);
        if (!narrow) return SerialKey::of(wide + first, size);
        const bool isReadable = first + SerialKey::inOneLoad <= static_cast<std::size_t>(kind.length);
        return isReadable ? SerialKey::ofReadable(narrow + first, size) : SerialKey::of(narrow + first, size);
    }
    // The character of a text, 0-based.
    char16_t character(const Field& field, std::size_t at) const {
        const std::size_t index = static_cast<std::size_t>(field.column - 1) + at;
        return narrow ? static_cast<unsigned char>(narrow[index]) : static_cast<char16_t>(wide[index]);
    }
    std::wstring text(const RuleField& field) const {
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
    const FilledModel& model;
    const char* narrow = nullptr;
    const wchar_t* wide = nullptr;
};

}  // namespace tramo
