#include "repair/columnproof.h"
#include "common/dates.h"
#include "model/fieldreading.h"
#include "tramostream/check.h"
#include "tramostream/tramoline.h"
#include <algorithm>
#include <array>
#include <stdexcept>
#include <tuple>
#include <vector>

namespace tramo {

namespace {

using LineText = std::array<wchar_t, recordLength>;
constexpr std::size_t mostFields = 128;  // of a kind

// Costs of a reading: high where a text is unlikely, below 0 where it can hardly be a coincidence.
constexpr int unreadable = 1000, ignored = 6, misplaced = 4;
constexpr int isDate = -4, isCode = -2, isAligned = -1;

struct FieldsInOrder {
    const RecordKind* kind;
    std::span<const FieldReading> readings;
    std::vector<const FieldReading*> byColumn{};     // without those that share the columns of others
    std::vector<std::size_t> places{};               // of each reading in `byColumn`
    std::array<bool, recordLength> isInField{true};  // the letter, too
};

const FieldsInOrder& fieldsOf(const RecordKind& kind) {
    static const std::vector<FieldsInOrder> all = [] {
        std::vector<FieldsInOrder> kinds;
        for (const RecordKind* each : recordKinds()) {
            FieldsInOrder fields{each, readingsOf(*each)};
            for (const FieldReading& reading : fields.readings)
                if (!each->fields[reading.field].overlaid) fields.byColumn.push_back(&reading);
            std::ranges::stable_sort(fields.byColumn, {}, &FieldReading::first);
            for (const FieldReading& reading : fields.readings)
                fields.places.push_back(
                    static_cast<std::size_t>(std::ranges::find(fields.byColumn, &reading) - fields.byColumn.begin()));
            for (const FieldReading& reading : fields.readings)
                std::fill_n(fields.isInField.begin() + reading.first, reading.width, true);
            if (fields.byColumn.size() > mostFields)
                throw std::length_error("a record kind has more fields than can be compared");
            kinds.push_back(std::move(fields));
        }
        return kinds;
    }();
    return *std::ranges::find(all, &kind, &FieldsInOrder::kind);
}

LineText padded(std::wstring_view text) {
    LineText line;
    line.fill(L' ');
    std::ranges::copy(text.substr(0, recordLength), line.begin());
    return line;
}

// What each field of a line costs, by its place in FieldsInOrder::byColumn.
struct Costs {
    std::array<std::int16_t, mostFields> of{};
    std::array<bool, mostFields> isFilled{};
    int faulty = 0;
};

// Takes the fields of a line.
struct CostTaker {
    const FieldsInOrder& fields;
    const LineText& line;
    Costs& costs;

    void add(const FieldReading& field, const FilledText<wchar_t>& filled, int cost) {
        const std::size_t place = fields.places[static_cast<std::size_t>(&field - fields.readings.data())];
        if (!filled.isInLine || place >= fields.byColumn.size()) return;
        costs.of[place] = static_cast<std::int16_t>(cost);
        costs.isFilled[place] = true;
    }
    static bool isRightAligned(const FieldReading& field, const FilledText<wchar_t>& filled) {
        return filled.size == field.width;
    }

    void text(const FieldReading& field, const FilledText<wchar_t>& filled) {
        const bool isAtBegin = *filled.text != L' ', isAfterGap = field.first > 0 && line[field.first - 1u] == L' ';
        add(field, filled, !isAtBegin ? misplaced : isAfterGap ? isAligned : 0);
    }
    void number(const FieldReading& field, const FilledText<wchar_t>& filled, bool isWhole) {
        add(field, filled, !isWhole ? ignored : isRightAligned(field, filled) ? isAligned : misplaced);
    }
    void integer(const FieldReading& field, auto, const FilledText<wchar_t>& filled) {
        number(field, filled, codec::isSignAndDigits(filled.view().substr(filled.blanks)));
    }
    void decimal(const FieldReading& field, double, const FilledText<wchar_t>& filled) {
        number(field, filled, codec::isDigitsAndPoint(filled.view().substr(filled.blanks)));
    }
    void time(const FieldReading& field, long32 seconds, const FilledText<wchar_t>& filled) {
        add(field, filled, seconds == dates::noTime ? ignored : isDate);
    }
    void code(const FieldReading& field, wchar_t, const FilledText<wchar_t>& filled) { add(field, filled, isCode); }
    void flag(const FieldReading& field, bool value, const FilledText<wchar_t>& filled) {
        const bool isFlag = filled.size == 1 && (value || *filled.text == L'0');
        add(field, filled, isFlag ? isAligned : ignored);
    }
    void alarms(const FieldReading& field, unsigned, const FilledText<wchar_t>& filled) {
        add(field, filled, codec::isAlarmFlags(filled.view()) ? isCode : ignored);
    }
    void faulty(const FieldReading& field, const FilledText<wchar_t>& filled) {
        ++costs.faulty;
        add(field, filled, unreadable);
    }
};

Costs costsOf(const FieldsInOrder& fields, const LineText& line) {
    Costs costs;
    CostTaker taker{fields, line, costs};
    decodeLine(fields.readings, line.data(), BlankMap<recordLength>(line.data()), taker);
    return costs;
}

// The line as it was, if the columns from `first` up to `end` lost (below 0) or gained characters at their beginning. Returns
// false if that is impossible, because text would have no place.
bool moveBack(const LineText& line, int characters, std::size_t first, std::size_t end, LineText& moved) {
    moved = line;
    const auto count = static_cast<std::size_t>(characters < 0 ? -characters : characters);
    if (first + count >= end) return false;
    const auto at = [&](LineText& text, std::size_t index) { return text.begin() + static_cast<std::ptrdiff_t>(index); };
    const auto from = [&](std::size_t index) { return line.begin() + static_cast<std::ptrdiff_t>(index); };
    if (characters < 0) {
        if (std::any_of(from(end - count), from(end), [](wchar_t c) { return c != L' '; })) return false;
        std::copy(from(first), from(end - count), at(moved, first + count));
        std::fill_n(at(moved, first), count, L' ');
    } else {
        std::copy(from(first + count), from(end), at(moved, first));
        std::fill_n(at(moved, end - count), count, L' ');
    }
    return true;
}

bool isText(const FieldReading& field) { return field.kind == FieldKind::Text; }

// Whether no place before the last filled field fits such a move as well as none.
bool isWorse(const FieldsInOrder& fields, const Costs& plain, const Costs& moved, std::size_t first, std::size_t end) {
    int without = 0, with = 0;
    bool isAnyFilled = false, areTexts = true;
    for (std::size_t i = fields.byColumn.size(); i-- > 0;) {
        const FieldReading& field = *fields.byColumn[i];
        if (field.first >= end) continue;
        // A number that can be read is a sign that it is complete.
        const int here = isText(field) ? without : without + std::min<int>(plain.of[i], 0);
        if (isAnyFilled && (areTexts ? with < without : with <= here)) return false;
        if (static_cast<std::size_t>(field.first) + field.width <= first) return true;
        isAnyFilled |= plain.isFilled[i] || (moved.isFilled[i] && !isText(field));
        areTexts &= isText(field) || !(plain.isFilled[i] || moved.isFilled[i]);
        without += plain.of[i];
        with += moved.of[i];
    }
    return !isAnyFilled || (areTexts ? with >= without : with > without);
}

}  // namespace

bool lacksRightPart(const RecordKind& kind, std::wstring_view text) {
    const LineText line = padded(text);
    std::vector<Finding> findings;
    checkFields(LineKind::Record, {line.data(), line.size()}, false, findings);
    return std::ranges::any_of(findings, [&](const Finding& finding) {
        const Field* field = kind.field(finding.field);
        return field && static_cast<std::size_t>(field->column) > text.size();
    });
}

bool hasTextOutsideFields(const RecordKind& kind, std::wstring_view text) {
    const FieldsInOrder& fields = fieldsOf(kind);
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] != L' ' && (i >= recordLength || !fields.isInField[i])) return true;
    return false;
}

bool areColumnsProven(const RecordKind& kind, std::wstring_view text, std::size_t first, std::size_t end) {
    end = std::min(end, recordLength);
    const FieldsInOrder& fields = fieldsOf(kind);
    const LineText line = padded(text);
    const Costs plain = costsOf(fields, line);
    if (plain.faulty > 0 || hasTextOutsideFields(kind, text)) return false;
    for (std::size_t i = fields.byColumn.size(); i-- > 0;) {
        if (!plain.isFilled[i]) continue;
        if (!isText(*fields.byColumn[i]) && plain.of[i] > 0) return false;  // it may have lost its last characters itself
        break;
    }
    for (int characters = -mostCharactersMoved; characters <= mostCharactersMoved; ++characters) {
        if (characters == 0) continue;
        LineText moved;
        if (!moveBack(line, characters, first, end, moved)) continue;
        if (!isWorse(fields, plain, costsOf(fields, moved), first, end)) return false;
    }
    return true;
}

int unreadableFields(const RecordKind& kind, std::wstring_view text) { return costsOf(fieldsOf(kind), padded(text)).faulty; }

std::uint64_t shapeHash(const RecordKind& kind, std::wstring_view text) {
    const FieldsInOrder& fields = fieldsOf(kind);
    const Costs costs = costsOf(fields, padded(text));
    constexpr std::uint64_t prime = 0x100000001B3;
    std::uint64_t hash = (0xCBF29CE484222325 ^ static_cast<std::uint64_t>(kind.letter)) * prime;
    hash = (hash ^ text.size()) * prime;
    for (std::size_t i = 0; i < fields.byColumn.size(); ++i) hash = (hash ^ (costs.isFilled[i] ? 2 * i + 1 : 0)) * prime;
    return hash;
}

bool endsInLastField(const RecordKind& kind, std::wstring_view text) {
    const FieldsInOrder& fields = fieldsOf(kind);
    const FieldReading& last = *fields.byColumn.back();
    return !isText(last) && last.kind != FieldKind::Code && text.size() == static_cast<std::size_t>(last.first) + last.width;
}

}  // namespace tramo
