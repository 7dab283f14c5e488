#include "cli/commands/stats_numbers.h"
#include "cli/lines/filewalk.h"
#include <algorithm>
#include <cmath>
#include <functional>
#include <new>
#include <tramostream/check.h>
#include <tramostream/decode.h>
#include <tramostream/linemodel.h>
#include <tramostream/round.h>
#include <unordered_map>

namespace tramo::cli {

namespace {

void addTo(Numbers& sum, const Numbers& others) {
    for (const auto& [name, count] : others) sum[name] += count;
}

std::wstring widened(std::string_view ansi) {
    std::wstring text;
    text.reserve(ansi.size());
    for (const char c : ansi) text += static_cast<wchar_t>(static_cast<unsigned char>(c));
    return text;
}

// A record: its model, or the values of its line without a model.
class RecordValues {
public:
    explicit RecordValues(const LineModel& record) : recordKind(record.kind()), model(&record) {}
    RecordValues(const PlainRecord& record, std::vector<DecodedValue>& memory) : recordKind(*record.kind), line(record.text) {
        memory.resize(recordKind.fields.size());
        decode(recordKind, line, memory);
        values = memory;
    }

    const RecordKind& kind() const { return recordKind; }

    FieldValue get(const Field& field) const {
        if (model) return model->get(field);
        const DecodedValue& value = values[field.index];
        if (!value.present) return field.defaultValue;
        switch (field.kind) {
        case FieldKind::Text: return widened(line.substr(value.first, value.size));
        case FieldKind::Decimal: return value.real;
        case FieldKind::Code: return static_cast<wchar_t>(value.integer);
        case FieldKind::Flag: return value.integer != 0;
        default: return value.integer;
        }
    }
    bool isSet(const AlarmDefinition& alarm) const {
        return alarm.bits ? std::get<long long>(get(*alarm.bits)) >> alarm.bit & 1 : std::get<bool>(get(*alarm.flag));
    }
    std::size_t unreadableFields() const {
        if (model) return model->parseErrors().size();
        return static_cast<std::size_t>(std::ranges::count_if(values, &DecodedValue::unreadable));
    }

private:
    const RecordKind& recordKind;
    const LineModel* model = nullptr;
    std::string_view line;
    std::span<const DecodedValue> values;
};

// The fields of a record kind, by their names.
class FieldNames {
public:
    static const FieldNames& of(const RecordKind& kind) {
        static const auto all = [] {
            std::map<const RecordKind*, FieldNames> names;
            for (const RecordKind* one : allKinds())
                for (const Field& field : one->fields) names[one].fields.emplace(field.name, &field);
            return names;
        }();
        return all.at(&kind);
    }
    const Field* operator[](std::string_view name) const {
        const auto found = fields.find(name);
        return found == fields.end() ? nullptr : found->second;
    }

private:
    std::unordered_map<std::string_view, const Field*> fields;
};

// The values in a record that mean something here.
class Values {
public:
    explicit Values(const RecordValues& of) : record(of), fields(FieldNames::of(of.kind())) {}

    bool hasField(std::string_view name) const { return fields[name]; }

    /// nullopt: the record has no such field, or the field no value.
    std::optional<FieldValue> value(std::string_view name) const {
        const Field* field = fields[name];
        if (!field) return std::nullopt;
        FieldValue found = record.get(*field);
        return isAbsent(*field, found) ? std::nullopt : std::optional(std::move(found));
    }
    bool has(std::string_view name) const { return value(name).has_value(); }

    std::wstring text(std::string_view name) const {
        const auto found = value(name);
        return found ? textOf(*fields[name], *found) : std::wstring();
    }
    std::string word(std::string_view name) const { return utf8::encode(text(name)); }

    std::optional<long long> integer(std::string_view name) const {
        const auto found = value(name);
        return found ? std::optional(std::get<long long>(*found)) : std::nullopt;
    }

    /// NaN: absent.
    double decimal(std::string_view name) const {
        const auto found = value(name);
        if (!found) return std::nan("");
        const auto* whole = std::get_if<long long>(&*found);
        return whole ? static_cast<double>(*whole) : std::get<double>(*found);
    }

private:
    const RecordValues& record;
    const FieldNames& fields;
};

void countConsumption(const Values& meter, Stats& stats) {
    const double consumption = meter.decimal("meterReadingConsumption");
    if (consumption >= 0) {
        Consumption& sum = stats.consumption[meter.word("meterFluidType")];
        ++sum.readings;
        sum.total += static_cast<long long>(consumption);
    }
    const double least = meter.decimal("meterMinEstimatedConsumption"), most = meter.decimal("meterMaxEstimatedConsumption");
    if (std::isnan(consumption) || std::isnan(least) || std::isnan(most)) ++stats.notCompared;
    else if (consumption < least) ++stats.belowEstimate;
    else if (consumption > most) ++stats.aboveEstimate;
    else ++stats.withinEstimate;

    const auto written = meter.integer("meterReadingConsumption"), previous = meter.integer("meterPreviousReadingIndex"),
               index = meter.integer("meterReadingIndex");
    const auto computed =
        consumptionBetween(previous, index, meter.integer("meterWheels"), meter.integer("meterCorrectedWheels"));
    stats.rollOvers += computed && *index < *previous;
    if (!written || !computed) ++stats.notComputed;
    else ++(*written == *computed ? stats.asComputed : stats.notAsComputed);
}

const Field& dateOfReading() { return *readingFields().front(); }

void countMeter(const Values& meter, Stats& stats) {
    const std::string serialNumber = meter.word("meterSerialNumber");
    stats.meters.add(serialNumber, SerialNumbers::Known);
    stats.linesWithoutMeter += serialNumber.empty();
    if (!meter.has(dateOfReading().name)) return;
    stats.meters.add(serialNumber, SerialNumbers::Read);
    ++stats.methods[meter.word("meterReadingMethod")];
    ++stats.states[meter.word("meterReadingStatus")];

    const std::string time = meter.word(dateOfReading().name);
    const std::string day = time.substr(0, time.find('T'));
    stats.addTime(time);
    ++stats.days[day];
    ++stats.agents[meter.word("meterReadingUserCode")][day];
    countConsumption(meter, stats);
}

void countModule(const Values& module, Stats& stats) {
    const std::string serialNumber = module.word("serialNumber");
    stats.modules.add(serialNumber, SerialNumbers::Known);
    stats.linesWithoutModule += serialNumber.empty();
    if (module.has("currentReadingDate")) stats.modules.add(serialNumber, SerialNumbers::Read);
}

void countEnquiry(const Values& enquiry, Stats& stats) {
    stats.meters.add(enquiry.word("meterSerialNumber"), SerialNumbers::Enquired);
    for (int area = 1; enquiry.hasField(fmt::format("area{}Mode", area)); ++area)
        stats.areasAnswered += enquiry.has(fmt::format("area{}Code", area)) || enquiry.has(fmt::format("area{}Result", area));
}

void countRecord(const RecordValues& record, Stats& stats) {
    stats.unreadableFields += record.unreadableFields();
    for (const AlarmDefinition& alarm : alarmDefinitions(record.kind())) stats.alarms[alarm.flag] += record.isSet(alarm);
    const Values values(record);
    if (values.hasField("roundImportDate")) stats.rounds.try_emplace(values.word("code"), values.word("name"));
    if (values.hasField(dateOfReading().name)) countMeter(values, stats);
    if (values.hasField("currentReadingDate")) countModule(values, stats);
    if (values.hasField("oldMeterSerialNumber")) stats.meters.add(values.word("oldMeterSerialNumber"), SerialNumbers::Changed);
    if (values.hasField("area1Mode")) countEnquiry(values, stats);
    if (std::isfinite(values.decimal("latitude")) && std::isfinite(values.decimal("longitude")))
        stats.meters.add(values.word("meterSerialNumber"), SerialNumbers::Located);
}

}  // namespace

std::string_view NotedTexts::textAt(const Block& block, std::size_t at) {
    const char* entry = block.bytes.get() + at;
    const auto size = static_cast<unsigned char>(entry[1]) + std::size_t{256} * static_cast<unsigned char>(entry[2]);
    return {entry + headSize, size};
}

unsigned char& NotedTexts::operator[](std::string_view text) {
    if (4 * (count + 1) > 3 * slots.size()) grow();
    std::uint32_t& slot = slotOf(text);
    if (slot == 0) slot = append(text);
    const std::size_t place = slot - 1;
    return reinterpret_cast<unsigned char&>(blocks[place / blockSize].bytes[place % blockSize]);
}

// Returns the slot of the text, or the free one for it.
std::uint32_t& NotedTexts::slotOf(std::string_view text) {
    for (std::size_t i = std::hash<std::string_view>()(text);; ++i) {
        std::uint32_t& slot = slots[i & (slots.size() - 1)];
        if (slot == 0 || textAt(blocks[(slot - 1) / blockSize], (slot - 1) % blockSize) == text) return slot;
    }
}

std::uint32_t NotedTexts::append(std::string_view text) {
    const std::size_t size = headSize + text.size();
    if (blocks.empty() || blocks.back().used + size > blockSize) {
        if (blocks.size() == 0xFFFF) throw std::bad_alloc();
        blocks.push_back({std::make_unique<char[]>(std::max(size, blockSize))});
    }
    Block& block = blocks.back();
    const auto place = static_cast<std::uint32_t>((blocks.size() - 1) * blockSize + block.used);
    char* entry = block.bytes.get() + block.used;
    entry[1] = static_cast<char>(text.size() % 256);
    entry[2] = static_cast<char>(text.size() / 256);
    std::ranges::copy(text, entry + headSize);
    block.used += size;
    ++count;
    return place + 1;
}

void NotedTexts::grow() {
    slots.assign(std::max<std::size_t>(64, 2 * slots.size()), 0);
    for (std::size_t i = 0; i < blocks.size(); ++i)
        for (std::size_t at = 0; at < blocks[i].used;) {
            const std::string_view text = textAt(blocks[i], at);
            slotOf(text) = static_cast<std::uint32_t>(i * blockSize + at + 1);
            at += headSize + text.size();
        }
}

void SerialNumbers::add(const std::string& serialNumber, About what) {
    ++found[what].all;
    if (!serialNumber.empty()) note(serialNumber, bit(what));
}

void SerialNumbers::note(std::string_view serialNumber, unsigned notes) {
    unsigned char& known = said[serialNumber];
    for (std::size_t what = 0; what < found.size(); ++what) found[what].meters += (notes & ~known & bit(what)) != 0;
    known = static_cast<unsigned char>(known | notes);
}

SerialNumbers& SerialNumbers::operator+=(const SerialNumbers& other) {
    for (std::size_t what = 0; what < found.size(); ++what) found[what].all += other.found[what].all;
    other.said.forEach([&](std::string_view serialNumber, unsigned notes) { note(serialNumber, notes); });
    return *this;
}

bool SerialNumbers::isShareOfKnown(About what) const {
    bool isShare = true;
    said.forEach([&](std::string_view, unsigned notes) { isShare &= !(notes & bit(what)) || (notes & bit(Known)); });
    return isShare;
}

std::vector<std::string> SerialNumbers::unread() const {
    std::vector<std::string> all;
    said.forEach([&](std::string_view serialNumber, unsigned notes) {
        if ((notes & (bit(Known) | bit(Read))) == bit(Known)) all.emplace_back(serialNumber);
    });
    std::ranges::sort(all);
    return all;
}

Stats& Stats::operator+=(const Stats& other) {
    isWhole &= other.isWhole;
    lines += other.lines;
    notRead += other.notRead;
    unreadableFields += other.unreadableFields;
    addTo(byKind, other.byKind);
    rounds.insert(other.rounds.begin(), other.rounds.end());
    meters += other.meters;
    modules += other.modules;
    linesWithoutMeter += other.linesWithoutMeter;
    linesWithoutModule += other.linesWithoutModule;
    addTo(methods, other.methods);
    addTo(states, other.states);
    for (const auto& [agent, readings] : other.agents) addTo(agents[agent], readings);
    for (const auto& [fluid, sum] : other.consumption) {
        consumption[fluid].readings += sum.readings;
        consumption[fluid].total += sum.total;
    }
    belowEstimate += other.belowEstimate;
    withinEstimate += other.withinEstimate;
    aboveEstimate += other.aboveEstimate;
    notCompared += other.notCompared;
    asComputed += other.asComputed;
    notAsComputed += other.notAsComputed;
    notComputed += other.notComputed;
    rollOvers += other.rollOvers;
    for (const auto& [field, count] : other.alarms) alarms[field] += count;
    areasAnswered += other.areasAnswered;
    if (!other.first.empty()) {
        addTime(other.first);
        addTime(other.last);
    }
    addTo(days, other.days);
    return *this;
}

void Stats::addTime(const std::string& time) {
    if (first.empty() || time < first) first = time;
    last = std::max(last, time);
}

Stats statsOf(Input& input) {
    Stats stats;
    CheckSummary summary;
    std::vector<Finding> damage;
    std::vector<DecodedValue> memory;
    const auto countPlain = [&](const PlainRecord& record) {
        ++stats.lines;
        summary.add(std::wstring_view(&record.kind->letter, 1), LineKind::Record);
        countRecord(RecordValues(record, memory), stats);
    };
    const auto count = [&](const Line& line, std::optional<LineKind> kind) {
        ++stats.lines;
        summary.add(line.text, kind);
        damage.clear();
        if (!checkShape(line, kind, damage)) ++stats.notRead;
        else if (const auto model = LineModel::of(*kind, line.text)) countRecord(RecordValues(*model), stats);
    };
    stats.isWhole = forEachLine(input, countPlain, count);
    for (const LinesOfKind& kind : summary.lineKinds()) stats.byKind[kind.name] = kind.lines;
    return stats;
}

std::vector<std::pair<const Field*, Number>> raisedAlarms(const Stats& stats) {
    std::vector<std::pair<const Field*, Number>> alarms;
    for (const RecordKind* kind : allKinds())
        for (const AlarmDefinition& alarm : alarmDefinitions(*kind))
            if (const auto found = stats.alarms.find(alarm.flag); found != stats.alarms.end() && found->second)
                alarms.emplace_back(alarm.flag, found->second);
    std::ranges::stable_sort(alarms, std::greater{}, [](const auto& alarm) { return alarm.second; });
    return alarms;
}

const std::string& kindOfAlarm(const Field* alarm) {
    const auto found = std::ranges::find_if(allKinds(), [&](const RecordKind* kind) {
        return std::ranges::any_of(alarmDefinitions(*kind), [&](const AlarmDefinition& each) { return each.flag == alarm; });
    });
    return (*found)->name;
}

Numbers readingsByAgent(const Stats& stats) {
    Numbers readings;
    for (const auto& [agent, days] : stats.agents)
        for (const auto& [day, count] : days) readings[agent] += count;
    return readings;
}

}  // namespace tramo::cli
