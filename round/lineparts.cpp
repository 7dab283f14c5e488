#include "round/lineparts.h"
#include "check/mending.h"
#include "check/shift.h"
#include "convert/codec.h"
#include "model/blankmap.h"
#include "round/fieldsof.h"
#include "round/kindfields.h"
#include "round/pseudonyms.h"
#include "tramostream/decode.h"
#include "tramostream/linemodel.h"
#include "tramostream/round.h"
#include <algorithm>
#include <array>
#include <bitset>
#include <cmath>
#include <map>

namespace tramo {

namespace {

constexpr std::size_t recordColumns = std::tuple_size_v<TramoLine::tramoLine_t> - 2;

struct ColumnRange {
    std::uint16_t first, size;
};

// The columns of a kind that belong to no field.
const std::vector<ColumnRange>& gapsOf(const RecordKind& kind) {
    static const auto all = [] {
        std::map<const RecordKind*, std::vector<ColumnRange>> gaps;
        for (const RecordKind* one : allKinds()) {
            std::bitset<recordColumns> isTaken;
            if (one->letter != 0) isTaken.set(0);
            for (const Field& field : one->fields)
                for (int column = field.column; field.column > 0 && column < field.column + field.width; ++column)
                    isTaken.set(static_cast<std::size_t>(column - 1));
            const auto length = static_cast<std::uint16_t>(one->length);
            for (std::uint16_t at = 0; at < length; ++at) {
                if (isTaken[at]) continue;
                std::vector<ColumnRange>& found = gaps[one];
                if (at > 0 && !isTaken[at - 1U] && !found.empty()) ++found.back().size;
                else found.push_back({at, 1});
            }
        }
        return gaps;
    }();
    static const std::vector<ColumnRange> none;
    const auto found = all.find(&kind);
    return found == all.end() ? none : found->second;
}

ColumnRange trimmed(std::wstring_view line, ColumnRange columns) {
    while (columns.size > 0 && codec::isNothing(line[columns.first + columns.size - 1U])) --columns.size;
    while (columns.size > 0 && codec::isNothing(line[columns.first])) {
        ++columns.first;
        --columns.size;
    }
    return columns;
}

// A text that a date could be, though it is none: digits from a year of two centuries on. Nothing else looks like one.
bool looksLikeDate(FieldKind kind, std::wstring_view text) {
    const std::size_t length = kind == FieldKind::Date ? 8 : kind == FieldKind::DateTime ? 12 : 0;
    return text.size() == length && (text.starts_with(L"19") || text.starts_with(L"20")) && codec::isSignAndDigits(text);
}

bool isWhollyRead(FieldKind kind, std::wstring_view text) {
    switch (kind) {
    case FieldKind::Integer: return codec::isSignAndDigits(text) || codec::ignoredByInteger(text).empty();
    case FieldKind::Decimal: return codec::isDigitsAndPoint(text) || codec::ignoredByDouble(text).empty();
    case FieldKind::Year: return codec::ignoredByYear(text).empty();
    case FieldKind::Flag: return codec::ignoredByFlag(text).empty();
    case FieldKind::AlarmFlags: return codec::ignoredByAlarmFlags(text).empty();
    default: return true;
    }
}

// Messages and answers have the words of labels, too: by themselves, they identify nobody.
bool identifies(Personal holds) {
    return holds == Personal::Home || holds == Personal::SerialNumber || holds == Personal::Reference ||
           holds == Personal::Agent || holds == Personal::RoundName;
}

const KindFields& fieldsOf(LineKind kind) {
    return kindFieldsOf(kind == LineKind::Tag ? kindOf<TagTramoModel>() : kindOf<ParameterTramoModel>());
}

}  // namespace

Personal personalDataIn(const RecordKind& kind, const Field& field) {
    const FieldReading* own = kindFieldsOf(kind).sources[field.index].own;
    return own ? own->holds : Personal::No;
}

struct LineParts::Sink {
    LineParts& all;

    void add(const FieldReading& field, const FilledText<wchar_t>& filled, LinePart::Kind kind) {
        if (filled.isInLine) all.found.push_back({kind, field.first, field.width});
    }
    void addValue(const FieldReading& field, const FilledText<wchar_t>& filled, LinePart::Kind kind = LinePart::Kept) {
        add(field, filled, isWhollyRead(field.kind, filled.view()) ? kind : LinePart::Masked);
    }

    void text(const FieldReading& field, const FilledText<wchar_t>& filled) {
        if (field.overlaid || !filled.isInLine) return;  // its columns are those of a value
        const SubscriberFields& free = subscriberFields();
        const bool isFree =
            field.holds == Personal::Home && all.line.front() == kindOf<MeterSubscriberTramoModel>().letter &&
            (field.first + 1 == free.subscriberInformation.column || field.first + 1 == free.meterInformation.column);
        if (isFree) all.addFreeText(field.first, field.width, field.holds);
        else all.addText(field.first, static_cast<std::uint16_t>(filled.size), field.holds);
    }
    void integer(const FieldReading& field, auto, const FilledText<wchar_t>& filled) { addValue(field, filled); }
    void code(const FieldReading& field, wchar_t, const FilledText<wchar_t>& filled) { addValue(field, filled); }
    void flag(const FieldReading& field, bool, const FilledText<wchar_t>& filled) { addValue(field, filled); }
    void alarms(const FieldReading& field, unsigned, const FilledText<wchar_t>& filled) { addValue(field, filled); }
    void time(const FieldReading& field, long32, const FilledText<wchar_t>& filled) {
        addValue(field, filled, field.kind == FieldKind::Year ? LinePart::Year : LinePart::Date);
    }
    void decimal(const FieldReading& field, double value, const FilledText<wchar_t>& filled) {
        LinePart::Kind kind = LinePart::Kept;
        if (std::isfinite(value)) {
            if (field.holds == Personal::Latitude) kind = LinePart::Latitude;
            if (field.holds == Personal::Longitude) kind = LinePart::Longitude;
            if (field.holds == Personal::Altitude) kind = LinePart::Altitude;
        }
        addValue(field, filled, kind);
    }
    void faulty(const FieldReading& field, const FilledText<wchar_t>& filled) {
        add(field, filled, looksLikeDate(field.kind, filled.view()) ? LinePart::Kept : LinePart::Masked);
    }
};

LineParts::Shape LineParts::take(std::wstring_view text, std::optional<LineKind> kind) {
    found.clear();
    line.assign(text.begin(), text.end());
    if (!kind) return mayHoldKeys(text) ? Shape::Key : Shape::Malformed;
    if (*kind == LineKind::Key || mayHoldKeys(text)) return Shape::Key;
    const std::size_t length = shapeOf(*kind).length;
    if (*kind != LineKind::Record) {
        if (text.size() != length) return Shape::Malformed;
        for (const FieldSources& source : fieldsOf(*kind).sources)
            addText(source.own->first, source.own->width, source.own->holds);
        addGaps(*fieldsOf(*kind).kind);
        return Shape::Columns;
    }
    const RecordKind* record = text.empty() ? nullptr : recordKind(text.front());
    if (!record) return Shape::Malformed;
    const bool isPadded = text.size() < length && invalidFields(*record, text) == 0;
    const bool isCut = text.size() >= length && text.find_first_not_of(L' ', length) == std::wstring_view::npos;
    if (!isPadded && !isCut) return takeShifted(*record, text) ? Shape::Columns : Shape::Malformed;
    line.resize(length, L' ');
    takeRecord(*record);
    const auto masked = std::ranges::count(found, LinePart::Masked, &LinePart::kind);
    if (masked < 2 || takeShifted(*record, text)) return Shape::Columns;
    found.clear();
    line.assign(text.begin(), text.end());
    line.resize(length, L' ');
    takeRecord(*record);
    return Shape::Columns;
}

// The columns of the line as it was, and then where they are now.
bool LineParts::takeShifted(const RecordKind& kind, std::wstring_view text) {
    const std::optional<Shift> shift = shiftOf(kind, text);
    if (!shift) return false;
    const int begin = shift->field->column - 1, end = begin + shift->field->width, lost = std::max(-shift->characters, 0),
              gained = std::max(shift->characters, 0), hole = std::max(end - lost, begin);
    const auto length = static_cast<std::size_t>(kind.length);
    const auto at = [&](int column) { return std::min(static_cast<std::size_t>(column), text.size()); };
    std::vector<wchar_t> aligned(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at(lost > 0 ? hole : end)));
    aligned.insert(aligned.end(), static_cast<std::size_t>(lost), L' ');
    const std::wstring_view rest = text.substr(at(lost > 0 ? hole : end + gained));
    aligned.insert(aligned.end(), rest.begin(), rest.end());
    if (aligned.size() > length && !isBlankText(std::wstring_view(aligned.data(), aligned.size()).substr(length))) return false;
    aligned.resize(length, L' ');
    found.clear();
    line = std::move(aligned);
    takeRecord(kind);

    for (LinePart& part : found) {
        const int first = part.first, last = first + part.size;
        const bool isHere = first < end && last > begin;
        if (part.kind == LinePart::Masked && !isHere) return false;
        if (isHere && (part.kind == LinePart::Label || part.kind == LinePart::Kept) && shift->field->kind == FieldKind::Text)
            part.kind = LinePart::Text;
        const int from =
                      lost > 0 ? (first <= hole ? first : std::max(hole, first - lost)) : (first < end ? first : first + gained),
                  to = lost > 0 ? (last <= hole ? last : std::max(hole, last - lost)) : (last <= end ? last : last + gained);
        part.first = static_cast<std::uint16_t>(from);
        part.size = static_cast<std::uint16_t>(to - from);
    }
    if (gained > 0) found.push_back({LinePart::Masked, static_cast<std::uint16_t>(end), static_cast<std::uint16_t>(gained)});
    line.assign(text.begin(), text.end());
    line.resize(std::max(length, text.size()), L' ');
    return true;
}

void LineParts::takeRecord(const RecordKind& kind) {
    Sink sink{*this};
    decodeLine(readingsOf(kind), line.data(), BlankMap<recordColumns>(line.data()), sink);
    addGaps(kind);
    if (kind.letter == kindOf<RoundTramoModel>().letter) takeAreas();
}

void LineParts::takeAreas() {
    areas.clear();
    std::vector<DecodedValue> values;
    const RecordKind& kind = kindOf<RoundTramoModel>();
    values.resize(kind.fields.size());
    std::u16string units(line.begin(), line.end());
    decode(kind, std::u16string_view(units), values);
    for (const AreaDefinition& area : areaDefinitions()) {
        const DecodedValue &position = values[area.position->index], &length = values[area.length->index];
        if (!position.present || !length.present || position.integer < 0 || length.integer < 1) continue;
        const int width = area.text->width, from = static_cast<int>(std::min<long long>(position.integer, width)),
                  to = static_cast<int>(std::min<long long>(position.integer + length.integer, width));
        if (from < to) areas.push_back({area.text->column - 1 + from, area.text->column - 1 + to});
    }
}

void LineParts::addText(std::uint16_t first, std::uint16_t size, Personal holds) {
    const ColumnRange columns = trimmed(padded(), {first, size});
    if (columns.size == 0) return;
    LinePart part{LinePart::Text, columns.first, columns.size, identifies(holds)};
    if (holds == Personal::RadioData) part.kind = LinePart::RadioData;
    if (holds == Personal::No) part.kind = hasWord(part.of(padded())) ? LinePart::Label : LinePart::Kept;
    found.push_back(part);
}

// Each area is a text of its own, and so is what lies between them. Of areas that overlap, the first one has the columns.
void LineParts::addFreeText(std::uint16_t first, std::uint16_t width, Personal holds) {
    std::array<std::uint8_t, recordColumns> owner{};  // of each column: an area from 1, or 0
    for (std::size_t i = areas.size(); i-- > 0;)
        for (int at = areas[i].first; at < areas[i].end; ++at)
            owner[static_cast<std::size_t>(at)] = static_cast<std::uint8_t>(i + 1);
    const std::size_t end = std::size_t{first} + width;
    for (std::size_t at = first; at < end;) {
        std::size_t next = at + 1;
        while (next < end && owner[next] == owner[at]) ++next;
        addText(static_cast<std::uint16_t>(at), static_cast<std::uint16_t>(next - at), holds);
        at = next;
    }
}

void LineParts::addGaps(const RecordKind& kind) {
    for (const ColumnRange& gap : gapsOf(kind)) addText(gap.first, gap.size, Personal::Message);
}

}  // namespace tramo
