#include "cli/lines/linediff.h"
#include "cli/io/text.h"
#include "cli/lines/columns.h"
#include "cli/lines/rewriting.h"
#include "common/encoding.h"
#include "common/secretkeyline.h"
#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fmt/xchar.h>
#include <span>
#include <tramostream/check.h>
#include <tramostream/linemodel.h>
#include <tramostream/round.h>
#include <unordered_map>

namespace tramo::cli {

namespace {

// The fields that identify the meter of a line, and those that distinguish lines of a meter or a kind.
constexpr std::array meterFields{"meterSerialNumber", "oldMeterSerialNumber"};
constexpr std::array recordParts{"pageNumber"};
constexpr std::array otherParts{"code", "key"};

struct Identity {
    const Field *meter = nullptr, *part = nullptr;
};

const Field* firstOf(const RecordKind& kind, std::span<const char* const> names) {
    for (const char* name : names)
        if (const Field* field = kind.field(name)) return field;
    return nullptr;
}

const RecordKind* recordKindOf(LineKind kind, std::wstring_view text) {
    switch (kind) {
    case LineKind::Record: return recordKind(text.front());
    case LineKind::Tag: return &kindOf<TagTramoModel>();
    case LineKind::Parameter: return &kindOf<ParameterTramoModel>();
    case LineKind::Key: break;
    }
    return nullptr;
}

const Identity& identityOf(const RecordKind& kind) {
    static const std::unordered_map<const RecordKind*, Identity> all = [] {
        std::unordered_map<const RecordKind*, Identity> made;
        for (const RecordKind* each : allKinds())
            made[each] = {firstOf(*each, meterFields), each->letter ? firstOf(*each, recordParts) : firstOf(*each, otherParts)};
        return made;
    }();
    return all.at(&kind);
}

bool isReadable(const Line& line, std::optional<LineKind> kind) {
    std::vector<Finding> damage;
    if (!checkShape(line, kind, damage)) return false;
    return kind != LineKind::Key || !SecretKeyLine(line.text).error();
}

// Returns the serial number of the line's meter; may be empty.
std::wstring meterOf(LineKind kind, std::wstring_view text) {
    if (kind == LineKind::Key) return SecretKeyLine(text).values().serialNumber;
    const RecordKind* fixed = recordKindOf(kind, text);
    const Field* field = fixed ? identityOf(*fixed).meter : nullptr;
    return field ? std::wstring(trimmed(rawText(text, *field))) : std::wstring();
}

bool hasMeter(std::optional<LineKind> kind, bool isSound, std::wstring_view text) {
    return isSound && kind == LineKind::Record && !meterOf(*kind, text).empty();
}
bool hasMeter(const PlainRecord& record) {
    const Field* field = identityOf(*record.kind).meter;
    if (!field) return false;
    const auto first = static_cast<std::size_t>(field->column - 1), size = static_cast<std::size_t>(field->width);
    return record.text.substr(first, size).find_first_not_of(' ') != std::string_view::npos;
}

// Lines with the same key are paired. The key of a malformed line is its text, which may hold the keys of a module.
SecretText keyOf(const Line& line, std::optional<LineKind> kind, bool isSound) {
    SecretText key;
    if (line.whole) {
        key += fmt::format(L"long {} {}", line.whole->size(), line.whole->checksum());
        return key;
    }
    if (!isSound) {
        key += L"damaged ";
        key += line.text;
        return key;
    }
    if (kind == LineKind::Record) key += line.text.front();
    key += fmt::format(L"{} {} ", static_cast<int>(*kind), meterOf(*kind, line.text));
    const RecordKind* fixed = recordKindOf(*kind, line.text);
    if (const Field* part = fixed ? identityOf(*fixed).part : nullptr) key += trimmed(rawText(line.text, *part));
    return key;
}

// The same key, of a record.
class RecordKey {
public:
    explicit RecordKey(const PlainRecord& record) {
        static const std::string kind = fmt::format("{} ", static_cast<int>(LineKind::Record));
        const Identity& identity = identityOf(*record.kind);
        add(record.text.substr(0, 1));
        add(kind);
        if (identity.meter) add(columns(record.text, *identity.meter));
        add(" ");
        if (identity.part) add(columns(record.text, *identity.part));
    }
    std::string_view view() const { return {key.data(), size}; }

private:
    static std::string_view columns(std::string_view text, const Field& field) {
        text = text.substr(static_cast<std::size_t>(field.column - 1), static_cast<std::size_t>(field.width));
        return text.substr(0, text.find_last_not_of(' ') + 1);
    }
    void add(std::string_view text) {
        size = static_cast<std::size_t>(std::ranges::copy(text, key.data() + size).out - key.data());
    }

    std::array<char, 2 * recordLength> key;
    std::size_t size = 0;
};

// Checksums of the text that both readings must return, the same for a record as for its line.
std::uint64_t checkOf(const PlainRecord& record) {
    Checksum sum;
    sum.add(record.text);
    return sum.value();
}
std::uint64_t checkOf(const Line& line) {
    SecretBytes bytes;
    const bool isWide = encoding::append(bytes, line.text, false) > encoding::mostOfAnsi;
    if (isWide) encoding::append(bytes, line.text, true);
    Checksum sum;
    sum.add(bytes);
    if (!line.carriageReturn || !line.lineFeed) sum.add(line.carriageReturn ? "\r" : "\n");
    return sum.value();
}

// One side of a comparison.
class Side {
public:
    explicit Side(const KeptLine* line) {
        if (!line) return;
        text = line->text();
        model = LineModel::of(*line->kind, text);
        if (!model) return;
        for (const TE::FieldError& error : model->parseErrors())
            if (const Field* field = model->kind().fieldOf(error)) unreadable.push_back(field);
        kind = *line->kind;
    }

    std::wstring_view columns(const Field& field) const { return rawText(text, field); }
    bool isBlank(const Field& field) const { return trimmed(columns(field)).empty(); }
    bool isReadable(const Field& field) const { return model && !std::ranges::count(unreadable, &field); }
    FieldValue value(const Field& field) const { return model->get(field); }

    // Returns the value after the line is written and read again.
    FieldValue rewritten(const Field& field) {
        if (!again) again = LineModel::of(kind, model->built());
        return again->get(field);
    }

    ShownValue shown(const Field& field, bool exact) const {
        if (!model) return {};
        if (exact) return {ShownValue::Quoted, std::wstring(columns(field))};
        if (isBlank(field)) return {};
        const std::wstring raw(trimmed(columns(field)));
        if (!isReadable(field)) return {ShownValue::Unreadable, raw};
        if (!field.readInto.empty()) return {ShownValue::Quoted, raw};
        const bool isText = field.kind == FieldKind::Text || field.kind == FieldKind::Code;
        return {isText ? ShownValue::Quoted : ShownValue::Plain, isText ? raw : textOf(field, value(field))};
    }

    SecretText text;
    std::optional<LineModel> model;

private:
    LineKind kind{};
    std::optional<LineModel> again;
    std::vector<const Field*> unreadable;
};

// Returns whether the format reads the same value from both, or from one of them after writing it again.
bool isSameField(Side& a, Side& b, const Field& field) {
    if (trimmed(a.columns(field)) == trimmed(b.columns(field))) return true;
    if (!a.isReadable(field) || !b.isReadable(field)) return false;
    if (!field.readInto.empty()) return a.isBlank(field) || b.isBlank(field);  // its own value is never read, nor written
    const FieldValue before = a.value(field), after = b.value(field);
    return isSame(before, after) || isSame(a.rewritten(field), after) || isSame(before, b.rewritten(field));
}

bool isWritten(const Field& field) { return field.written != "never"; }

// Returns whether another field with the same columns is compared instead.
bool isShadow(const RecordKind& kind, const Field& field, const Field* lastNamed) {
    if (field.column == 0) return true;
    if (field.overlaid && lastNamed == &field - 1) return true;
    if (isWritten(field)) return false;
    const std::vector<const Field*> sharing = fieldsAt(kind, field.column);
    return std::ranges::any_of(sharing, [](const Field* other) { return isWritten(*other); });
}

// Returns whether the field that shares these columns has the same value on both sides: then that field is written.
bool isWrittenByOther(Side& a, Side& b, const Field& field) {
    if (!field.overlaid) return false;
    const Field& other = *(&field - 1);
    return isWritten(other) && a.isReadable(other) && !isAbsent(other, a.value(other)) && isSameField(a, b, other);
}

// Adds adjacent columns outside of fields that differ.
void compareOutside(const Side& a, const Side& b, const RecordKind& kind, std::vector<FieldChange>& changes) {
    auto at = [](std::wstring_view text, std::size_t i) { return text.substr(std::min(i, text.size()), 1); };
    const std::size_t size = std::max(a.text.size(), b.text.size());
    auto differs = [&](std::size_t i) {
        return at(a.text, i) != at(b.text, i) && i > 0 && fieldsAt(kind, static_cast<int>(i + 1)).empty();
    };
    for (std::size_t i = 0; i < size; ++i) {
        if (!differs(i)) continue;
        std::size_t end = i + 1;
        while (end < size && differs(end)) ++end;
        auto piece = [&](std::wstring_view text) {
            return ShownValue{ShownValue::Quoted, std::wstring(text.substr(std::min(i, text.size()), end - i))};
        };
        changes.push_back({fmt::format("columns {}-{}", i + 1, end), static_cast<int>(i + 1), piece(a.text), piece(b.text)});
        i = end;
    }
}

bool isOfReading(const Field& field) {
    return std::ranges::any_of(readingFields(), [&](const Field* each) { return each == &field; });
}

std::vector<FieldChange> compareRecords(const KeptLine* oldLine, const KeptLine* newLine, const DiffOptions& options) {
    Side a(oldLine), b(newLine);
    const RecordKind& kind = (a.model ? a : b).model->kind();
    const bool both = a.model && b.model, exact = options.exact;
    std::vector<FieldChange> changes;
    const Field* lastNamed = nullptr;
    for (const Field& field : kind.fields) {
        if (options.onlyReadings && !isOfReading(field)) continue;
        if (isShadow(kind, field, lastNamed)) continue;
        if (both && !exact && isWrittenByOther(a, b, field)) continue;
        const auto isSame = [&] {
            if (!both) return (a.model ? a : b).isBlank(field);
            return exact ? a.columns(field) == b.columns(field) : isSameField(a, b, field);
        };
        if (isSame()) continue;
        changes.push_back({field.name, field.column, a.shown(field, exact && both), b.shown(field, exact && both)});
        lastNamed = &field;
    }
    if (exact && both && !options.onlyReadings) compareOutside(a, b, kind, changes);
    std::ranges::stable_sort(changes, {}, &FieldChange::column);
    return changes;
}

bool isSameValue(const AMRKeyLine& a, const AMRKeyLine& b, const KeyValue& value) {
    return value.text ? a.*value.text == b.*value.text : a.wmBusAddress[value.part] == b.wmBusAddress[value.part];
}

ShownValue shown(const AMRKeyLine& line, const KeyValue& value, bool show) {
    if (value.isAbsent(line)) return {};
    if (!show) return {ShownValue::Plain};
    if (value.text) return {ShownValue::Quoted, line.*value.text};
    return {ShownValue::Plain, fmt::format(L"{}", line.wmBusAddress[value.part])};
}

std::vector<FieldChange> compareKeys(const KeptLine* a, const KeptLine* b, const DiffOptions& options) {
    auto parsed = [](const KeptLine* line) { return SecretKeyLine(line ? line->text() : SecretText()); };
    const SecretKeyLine before = parsed(a), after = parsed(b);  // without a line every value is absent
    const AMRKeyLine &from = before.values(), &to = after.values();
    std::vector<FieldChange> changes;
    for (const KeyValue& value : keyValues) {
        if (isSameValue(from, to, value)) continue;
        const bool show = !value.secret || options.showKeys;
        changes.push_back({std::string(value.name), 0, shown(from, value, show), shown(to, value, show), !show});
    }
    if (changes.empty() && options.exact && a && b && !a->hasTextOf(*b))
        changes.push_back({"text", 0, {ShownValue::Plain}, {ShownValue::Plain}, true});
    return changes;
}

std::wstring lineEnd(const KeptLine& line) {
    if (line.lineFeed) return line.carriageReturn ? L"CR LF" : L"LF";
    return line.carriageReturn ? L"CR" : L"none";
}

bool hasSameEnd(const auto& a, const auto& b) { return a.carriageReturn == b.carriageReturn && a.lineFeed == b.lineFeed; }

}  // namespace

KeptLine::KeptLine(const Line& line, std::optional<LineKind> kindOfLine, bool isSound)
    : kind(kindOfLine), sound(isSound), carriageReturn(line.carriageReturn), lineFeed(line.lineFeed), number(line.number),
      whole(line.whole) {
    constexpr std::size_t mostOfLong = 256;  // more characters than are ever shown
    const std::wstring_view held = whole ? line.text.substr(0, mostOfLong) : line.text;
    isWide = encoding::findAbove(encoding::mostOfAnsi, held) != std::wstring_view::npos;
    bytes.reserve(held.size() * (isWide ? 2 : 1));
    encoding::append(bytes, held, isWide);
}

SecretText KeptLine::text() const {
    SecretText all(bytes.size() / (isWide ? 2 : 1), L' ');
    encoding::read(reinterpret_cast<const unsigned char*>(bytes.data()), all.size(), isWide, all.data());
    return all;
}

bool KeptLine::hasTextOf(const KeptLine& other) const {
    if (whole || other.whole) return whole && other.whole && *whole == *other.whole;
    return text() == other.text();
}

bool KeptLine::hasText(const Line& other) const {
    if (whole || other.whole) return whole && other.whole && *whole == *other.whole;
    if (isWide) return std::wstring_view(text()) == other.text;
    return std::ranges::equal(
        bytes, other.text, [](char byte, wchar_t c) { return static_cast<wchar_t>(static_cast<unsigned char>(byte)) == c; });
}

std::vector<FieldChange> compare(const KeptLine* a, const KeptLine* b, const DiffOptions& options) {
    const KeptLine& any = a ? *a : *b;
    std::vector<FieldChange> changes;
    if (any.isRecord()) changes = compareRecords(a, b, options);
    else if (any.sound && !options.onlyReadings) changes = compareKeys(a, b, options);
    if (options.exact && !options.onlyReadings && a && b && !hasSameEnd(*a, *b))
        changes.push_back({"line end", 0, {ShownValue::Plain, lineEnd(*a)}, {ShownValue::Plain, lineEnd(*b)}});
    return changes;
}

std::string_view kindName(const KeptLine& line) {
    if (!line.sound) return "damaged line";
    if (line.kind == LineKind::Key) return "key line";
    const RecordKind* kind = recordKindOf(*line.kind, line.text());
    return kind->name;
}

LineDiff::LineDiff(Input& oldFile, bool comparesLineEnds)
    : input(oldFile), exact(comparesLineEnds), endOfLast(oldFile.endOfLine()), again(oldFile.sourceFile()) {}

void LineDiff::addOld(std::uint64_t key, std::uint64_t check) {
    index.add(endOfLast, key, check);
    endOfLast = input.endOfLine();
}

void LineDiff::addOld(const Line& line, std::optional<LineKind> kind) {
    const bool isSound = isReadable(line, kind);
    if (line.whole) longOlds.emplace(index.size(), KeptLine(line, kind, isSound));
    oldHasMeters = oldHasMeters || hasMeter(kind, isSound, line.text);
    addOld(hash(std::wstring_view(keyOf(line, kind, isSound))), checkOf(line));
}

void LineDiff::addOld(const PlainRecord& record) {
    oldHasMeters = oldHasMeters || hasMeter(record);
    addOld(hash(RecordKey(record).view()), checkOf(record));
}

LineDiff::OldLine LineDiff::oldLine(Place place) {
    const std::uint64_t begin = index.offset(place), end = place + 1 < index.size() ? index.offset(place + 1) : endOfLast;
    const std::string_view bytes = again.at(begin, static_cast<std::size_t>(end - begin));
    reader.start({bytes, input.isUtf16() ? std::size_t{2} : 1, static_cast<long long>(place) + 1});
    OldLine old;
    PlainRecord record;
    std::uint64_t check = 0;
    if (input.prevailingKind() == LineKind::Record && reader.nextPlain(record)) {
        old.record = record;
        check = checkOf(record);
    } else if (reader.next(lineAgain)) {
        old.line = &lineAgain;
        old.kind = kindOfLine(lineAgain, input.prevailingKind());
        old.sound = isReadable(lineAgain, old.kind);
        old.key = keyOf(lineAgain, old.kind, old.sound);
        check = checkOf(lineAgain);
    }
    if (check != index.check(place)) again.source().hasChanged();
    return old;
}

KeptLine LineDiff::kept(const OldLine& old) {
    return old.record ? KeptLine(plainAgain.decode(*old.record), LineKind::Record, true)
                      : KeptLine(*old.line, old.kind, old.sound);
}

// Takes the first old line of this hash that is the partner; returns `none` if there is none.
LineDiff::Place LineDiff::takeOld(std::uint64_t key, auto isPartner) {
    Place previous = LineIndex::none;
    for (Place place = index.first(key); place != LineIndex::none; place = index.next(previous = place))
        if (isPartner(place)) {
            index.take(place, previous);
            return place;
        }
    return LineIndex::none;
}

void LineDiff::noteNewMeter(bool isCommon) {
    newHasMeters = true;
    isMeterCommon = isCommon;
}

void LineDiff::addNew(const Line& line, std::optional<LineKind> kind) {
    KeptLine now(line, kind, isReadable(line, kind));
    const SecretText key = keyOf(line, kind, now.sound);
    bool isEqual = false;
    const auto isPartner = [&](Place place) {
        const auto whole = longOlds.find(place);
        if (whole != longOlds.end() || line.whole) {
            if (whole == longOlds.end() || !line.whole) return false;
            const KeptLine& before = whole->second;
            if (before.whole->size() != line.whole->size() || before.whole->checksum() != line.whole->checksum()) return false;
            isEqual = before.hasText(line) && (!exact || hasSameEnd(before, now));
            if (!isEqual) olds.push_back({before, news.size()});
            return true;
        }
        OldLine old = oldLine(place);
        if (old.record) {
            old.line = &plainAgain.decode(*old.record);
            if (!std::ranges::equal(RecordKey(*old.record).view(), key)) return false;
        } else if (old.key != key) {
            return false;
        }
        isEqual = old.line->text == line.text && (!exact || hasSameEnd(*old.line, line));
        if (!isEqual) olds.push_back({kept(old), news.size()});
        return true;
    };
    const bool hasPartner = takeOld(hash(std::wstring_view(key)), isPartner) != LineIndex::none;
    if (!isMeterCommon && hasMeter(kind, now.sound, line.text)) noteNewMeter(hasPartner);
    if (!isEqual) news.emplace_back(std::move(now), hasPartner);
}

void LineDiff::addNew(const PlainRecord& record) {
    const RecordKey key(record);
    bool isEqual = false;
    const auto isPartner = [&](Place place) {
        if (longOlds.contains(place)) return false;
        const OldLine old = oldLine(place);
        const Line* const other = old.line;
        if (old.record) {
            isEqual = old.record->text == record.text;
            if (!isEqual && RecordKey(*old.record).view() != key.view()) return false;
        } else {
            if (!std::ranges::equal(old.key, key.view())) return false;
            const Line& line = plainNew.decode(record);
            isEqual = other->text == line.text && (!exact || hasSameEnd(*other, line));
        }
        if (!isEqual) olds.push_back({kept(old), news.size()});
        return true;
    };
    const bool hasPartner = takeOld(hash(key.view()), isPartner) != LineIndex::none;
    if (!isMeterCommon && hasMeter(record)) noteNewMeter(hasPartner);
    if (!isEqual) news.emplace_back(KeptLine(plainNew.decode(record), LineKind::Record, true), hasPartner);
}

void LineDiff::end() {
    for (Place place = 0; place < index.size(); ++place) {
        if (index.isTaken(place)) continue;
        const auto whole = longOlds.find(place);
        olds.push_back({whole != longOlds.end() ? whole->second : kept(oldLine(place))});
    }
    std::ranges::sort(olds, {}, [](const Old& old) { return old.line.number; });
    input.confirm();
}

std::vector<DiffGroup> LineDiff::groups() const {
    std::vector<DiffGroup> all;
    std::unordered_map<std::wstring, std::size_t> places;
    auto add = [&](const KeptLine* a, const KeptLine* b) {
        const KeptLine& any = a ? *a : *b;
        const std::wstring meter = any.sound ? meterOf(*any.kind, any.text()) : std::wstring();
        const std::string_view kind = kindName(any);
        const std::wstring name = meter.empty() ? L"kind " + std::wstring(kind.begin(), kind.end()) : L"meter " + meter;
        const auto [place, isNew] = places.try_emplace(name, all.size());
        if (isNew) all.push_back({meter, kind, {}});
        all[place->second].pairs.emplace_back(a, b);
    };
    for (const Old& old : olds) add(&old.line, old.partner == none ? nullptr : &news[old.partner].first);
    for (const auto& [line, hasPartner] : news)
        if (!hasPartner) add(nullptr, &line);
    for (DiffGroup& group : all)
        std::ranges::stable_sort(
            group.pairs, {}, [](const auto& pair) { return (pair.second ? pair.second : pair.first)->number; });
    return all;
}

bool LineDiff::hasNoCommonMeter(const std::vector<DiffGroup>& groups) const {
    // Lines of one meter have no partner if they are of different kinds.
    const auto isInBoth = [](const DiffGroup& group) {
        const auto has = [&](auto line) {
            return std::ranges::any_of(group.pairs, [&](const auto& pair) { return pair.*line; });
        };
        using Pair = std::pair<const KeptLine*, const KeptLine*>;
        return !group.meter.empty() && has(&Pair::first) && has(&Pair::second);
    };
    return oldHasMeters && newHasMeters && !isMeterCommon && std::ranges::none_of(groups, isInBoth);
}

}  // namespace tramo::cli
