#include "check/shift.h"
#include "common/secret.h"
#include "tramostream/check.h"
#include <algorithm>
#include <cstddef>
#include <vector>

namespace tramo {

namespace {

constexpr int hard = 1000;  // an error; more than all slight doubts about a usual line
constexpr int mostCharacters = 3;

SecretText ofLength(std::wstring_view text, std::size_t length) {
    SecretText line(text.substr(0, length));
    line.resize(length, L' ');
    return line;
}

// The line as it was, if it lost or gained these characters directly after its letter.
SecretText shifted(std::wstring_view text, int characters, std::size_t length) {
    SecretText line(text.substr(0, 1));
    if (characters < 0) line.append(static_cast<std::size_t>(-characters), L' ');
    line += text.substr(std::min(text.size(), static_cast<std::size_t>(1 + std::max(characters, 0))));
    line.resize(length, L' ');
    return line;
}

struct Reading {
    std::vector<int> doubts;  // by field
    int invalid = 0;          // fields
};

// How doubtful each field is in this line. Texts begin in their first column.
Reading readingOf(const RecordKind& kind, std::wstring_view line) {
    std::vector<Finding> findings;
    checkFields(LineKind::Record, line, false, findings);
    Reading reading{std::vector<int>(kind.fields.size()), 0};
    for (const Field& field : kind.fields) {
        if (field.column == 0 || field.kind != FieldKind::Text) continue;
        const std::wstring_view text = rawText(line, field);
        const bool isBlank = text.find_first_not_of(L' ') == std::wstring_view::npos;
        if (!isBlank && text.front() == L' ') reading.doubts[field.index] = 2;
    }
    for (const Finding& finding : findings) {
        const Field* field = kind.field(finding.field);
        if (!field) continue;
        const bool isError = finding.rule->isError(false);
        reading.invalid += isError;
        reading.doubts[field->index] += isError ? hard : 3;
    }
    return reading;
}

std::vector<const Field*> byColumn(const RecordKind& kind) {
    std::vector<const Field*> fields;
    for (const Field& field : kind.fields)
        if (field.column > 1 && !field.overlaid) fields.push_back(&field);
    std::ranges::stable_sort(fields, {}, &Field::column);
    return fields;
}

bool isBlank(const Field& field, std::wstring_view line) {
    return rawText(line, field).find_first_not_of(L' ') == std::wstring_view::npos;
}

struct Place {
    int doubts;
    Shift shift;
};

// The doubts that a shift leaves in each field in which it may have happened: the fields before it are read as they are, those
// after it from the shifted line.
void addPlaces(const std::vector<const Field*>& fields, const Reading& plain, const Reading& moved, std::wstring_view line,
    int characters, std::vector<Place>& places) {
    int after = 0, before = 0;
    for (const Field* field : fields) after += moved.doubts[field->index];
    for (const Field* field : fields) {
        after -= moved.doubts[field->index];
        const bool isLikely = field->kind == FieldKind::Text && !isBlank(*field, line);
        const int here = before + after + (isLikely ? 0 : 1);
        if (here < hard) places.push_back({here, {characters, field}});
        before += plain.doubts[field->index];
    }
}

}  // namespace

int invalidFields(const RecordKind& kind, std::wstring_view text) {
    return readingOf(kind, ofLength(text, static_cast<std::size_t>(kind.length))).invalid;
}

namespace {

std::vector<Place> placesOf(const RecordKind& kind, std::wstring_view text) {
    const auto length = static_cast<std::size_t>(kind.length);
    const SecretText line = ofLength(text, length);
    const Reading plain = readingOf(kind, line);
    const bool isFull = text.size() == length;
    const bool isNearlyFull = !isFull && text.size() + mostCharacters >= length && text.size() <= length + mostCharacters;
    if (plain.invalid < (isFull ? 2 : isNearlyFull ? 0 : 1)) return {};
    if (text.size() > length + mostCharacters) return {};

    const std::vector<const Field*> fields = byColumn(kind);
    const int surplus = static_cast<int>(text.size()) - static_cast<int>(length);
    std::vector<Place> places;
    auto attempt = [&](int characters) {
        const SecretText other = shifted(text, characters, length);
        addPlaces(fields, plain, readingOf(kind, other), line, characters, places);
    };
    if (isNearlyFull) attempt(surplus);
    if (places.empty()) {
        for (int characters = 1; characters <= mostCharacters; ++characters) {
            attempt(-characters);
            if (isFull) attempt(characters);
        }
    }
    std::ranges::stable_sort(places, {}, &Place::doubts);
    return places;
}

}  // namespace

std::optional<Shift> shiftOf(const RecordKind& kind, std::wstring_view text) {
    const std::vector<Place> places = placesOf(kind, text);
    return places.empty() ? std::nullopt : std::optional(places.front().shift);
}

std::vector<Shift> shiftsOf(const RecordKind& kind, std::wstring_view text, std::size_t most) {
    std::vector<Shift> shifts;
    std::vector<SecretText> lines;
    for (const Place& place : placesOf(kind, text)) {
        if (shifts.size() == most) break;
        SecretText line = shiftedBack(kind, text, place.shift);
        if (std::ranges::find(lines, line) != lines.end()) continue;
        lines.push_back(std::move(line));
        shifts.push_back(place.shift);
    }
    return shifts;
}

// Texts are left-justified, numbers right-justified: spaces are lost and added at their other end.
SecretText shiftedBack(const RecordKind& kind, std::wstring_view text, const Shift& shift) {
    const Field& field = *shift.field;
    const bool isNumber = field.kind == FieldKind::Integer || field.kind == FieldKind::Decimal;
    const auto first = static_cast<std::size_t>(field.column - 1), width = static_cast<std::size_t>(field.width);
    const auto count = static_cast<std::size_t>(shift.characters < 0 ? -shift.characters : shift.characters);
    SecretText line(text);
    if (shift.characters < 0) {
        const std::size_t place = isNumber ? first : first + width - std::min(width, count);
        if (line.size() < place) line.resize(place, L' ');
        line.insert(place, count, L' ');
    } else {
        const std::wstring_view area = text.substr(std::min(first, text.size()), width + count);
        const bool beginsWithSpaces = std::min(area.find_first_not_of(L' '), area.size()) >= count;
        const std::size_t place = isNumber && beginsWithSpaces ? first : first + area.size() - std::min(area.size(), count);
        line.erase(std::min(place, line.size()), count);
    }
    line.resize(static_cast<std::size_t>(kind.length), L' ');
    return line;
}

}  // namespace tramo
