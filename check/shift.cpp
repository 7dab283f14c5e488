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
    const Field* field;
};

// The field in which a shift leaves the fewest doubts: those before it are read as they are, those after it from the shifted
// line.
Place bestPlace(const std::vector<const Field*>& fields, const Reading& plain, const Reading& moved, std::wstring_view line) {
    int after = 0, before = 0;
    for (const Field* field : fields) after += moved.doubts[field->index];
    Place best{after + hard * static_cast<int>(fields.size()), nullptr};
    for (const Field* field : fields) {
        after -= moved.doubts[field->index];
        const bool isLikely = field->kind == FieldKind::Text && !isBlank(*field, line);
        const int here = before + after + (isLikely ? 0 : 1);
        if (here < best.doubts) best = {here, field};
        before += plain.doubts[field->index];
    }
    return best;
}

}  // namespace

int invalidFields(const RecordKind& kind, std::wstring_view text) {
    return readingOf(kind, ofLength(text, static_cast<std::size_t>(kind.length))).invalid;
}

std::optional<Shift> shiftOf(const RecordKind& kind, std::wstring_view text) {
    const auto length = static_cast<std::size_t>(kind.length);
    const SecretText line = ofLength(text, length);
    const Reading plain = readingOf(kind, line);
    const bool isFull = text.size() == length;
    const bool isNearlyFull = !isFull && text.size() + mostCharacters >= length && text.size() <= length + mostCharacters;
    if (plain.invalid < (isFull ? 2 : isNearlyFull ? 0 : 1)) return std::nullopt;
    if (text.size() > length + mostCharacters) return std::nullopt;

    const std::vector<const Field*> fields = byColumn(kind);
    const int surplus = static_cast<int>(text.size()) - static_cast<int>(length);
    std::optional<Shift> found;
    int least = 0;
    auto attempt = [&](int characters) {
        const SecretText other = shifted(text, characters, length);
        const Place place = bestPlace(fields, plain, readingOf(kind, other), line);
        if (!place.field || place.doubts >= hard || (found && place.doubts >= least)) return;
        found = Shift{characters, place.field};
        least = place.doubts;
    };
    if (isNearlyFull) attempt(surplus);
    if (found) return found;
    for (int characters = 1; characters <= mostCharacters; ++characters) {
        attempt(-characters);
        if (isFull) attempt(characters);
    }
    return found;
}

}  // namespace tramo
