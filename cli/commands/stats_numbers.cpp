#include "cli/commands/stats_numbers.h"
#include "cli/lines/filewalk.h"
#include <algorithm>
#include <cmath>
#include <tramostream/check.h>
#include <tramostream/linemodel.h>

namespace tramo::cli {

namespace {

void addTo(Numbers& sum, const Numbers& others) {
    for (const auto& [name, count] : others) sum[name] += count;
}

// A record and the values in it that mean something here.
class Values {
public:
    explicit Values(const LineModel& record) : model(record), kind(record.kind()) {}

    bool hasField(std::string_view name) const { return kind.field(name); }

    /// nullopt: the record has no such field, or the field no value.
    std::optional<FieldValue> value(std::string_view name) const {
        const Field* field = kind.field(name);
        if (!field) return std::nullopt;
        FieldValue found = model.get(*field);
        return isAbsent(*field, found) ? std::nullopt : std::optional(std::move(found));
    }
    bool has(std::string_view name) const { return value(name).has_value(); }

    std::wstring text(std::string_view name) const {
        const auto found = value(name);
        return found ? textOf(*kind.field(name), *found) : std::wstring();
    }
    std::string word(std::string_view name) const { return utf8::encode(text(name)); }

    /// NaN: absent.
    double decimal(std::string_view name) const {
        const auto found = value(name);
        if (!found) return std::nan("");
        const auto* whole = std::get_if<long long>(&*found);
        return whole ? static_cast<double>(*whole) : std::get<double>(*found);
    }

    const LineModel& model;
    const RecordKind& kind;
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
}

void countMeter(const Values& meter, Stats& stats) {
    const std::string serialNumber = meter.word("meterSerialNumber");
    stats.meters.add(serialNumber, SerialNumbers::Known);
    stats.linesWithoutMeter += serialNumber.empty();
    if (!meter.has("meterReadingDate")) return;
    stats.meters.add(serialNumber, SerialNumbers::Read);
    ++stats.methods[meter.word("meterReadingMethod")];
    ++stats.states[meter.word("meterReadingStatus")];

    const std::string time = meter.word("meterReadingDate");
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

// The alarms of a kind of record: its flags that are called so.
const std::vector<const Field*>& alarmsOf(const RecordKind& kind) {
    static const auto all = [] {
        std::map<const RecordKind*, std::vector<const Field*>> alarms;
        for (const RecordKind* one : allKinds()) {
            auto& fields = alarms[one];
            for (const Field& field : one->fields)
                if (field.kind == FieldKind::Flag && field.name.find("Alarm") != std::string::npos) fields.push_back(&field);
        }
        return alarms;
    }();
    return all.at(&kind);
}

void countRecord(const LineModel& model, Stats& stats) {
    stats.unreadableFields += model.parseErrors().size();
    const Values record(model);
    for (const Field* alarm : alarmsOf(record.kind)) stats.alarms[alarm] += std::get<bool>(model.get(*alarm));
    if (record.hasField("roundImportDate")) stats.rounds.try_emplace(record.word("code"), record.word("name"));
    if (record.hasField("meterReadingDate")) countMeter(record, stats);
    if (record.hasField("currentReadingDate")) countModule(record, stats);
    if (record.hasField("oldMeterSerialNumber")) stats.meters.add(record.word("oldMeterSerialNumber"), SerialNumbers::Changed);
    if (record.hasField("area1Mode")) countEnquiry(record, stats);
    if (std::isfinite(record.decimal("latitude")) && std::isfinite(record.decimal("longitude")))
        stats.meters.add(record.word("meterSerialNumber"), SerialNumbers::Located);
}

}  // namespace

void SerialNumbers::add(const std::string& serialNumber, About what) {
    ++found[what].all;
    if (!serialNumber.empty()) note(serialNumber, bit(what));
}

void SerialNumbers::note(const std::string& serialNumber, unsigned notes) {
    unsigned char& known = said[serialNumber];
    for (std::size_t what = 0; what < found.size(); ++what) found[what].meters += (notes & ~known & bit(what)) != 0;
    known = static_cast<unsigned char>(known | notes);
}

SerialNumbers& SerialNumbers::operator+=(const SerialNumbers& other) {
    for (std::size_t what = 0; what < found.size(); ++what) found[what].all += other.found[what].all;
    for (const auto& [serialNumber, notes] : other.said) note(serialNumber, notes);
    return *this;
}

bool SerialNumbers::isShareOfKnown(About what) const {
    return std::ranges::none_of(said, [&](const auto& one) { return (one.second & bit(what)) && !(one.second & bit(Known)); });
}

std::vector<std::string> SerialNumbers::unread() const {
    std::vector<std::string> all;
    for (const auto& [serialNumber, notes] : said)
        if ((notes & (bit(Known) | bit(Read))) == bit(Known)) all.push_back(serialNumber);
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
    stats.isWhole = forEachLine(input, [&](const Line& line, std::optional<LineKind> kind) {
        ++stats.lines;
        summary.add(line.text, kind);
        damage.clear();
        if (!checkShape(line, kind, damage)) ++stats.notRead;
        else if (const auto model = LineModel::of(*kind, line.text)) countRecord(*model, stats);
    });
    for (const LinesOfKind& kind : summary.lineKinds()) stats.byKind[kind.name] = kind.lines;
    return stats;
}

std::vector<std::pair<const Field*, Number>> raisedAlarms(const Stats& stats) {
    std::vector<std::pair<const Field*, Number>> alarms;
    for (const RecordKind* kind : allKinds())
        for (const Field* alarm : alarmsOf(*kind))
            if (const auto found = stats.alarms.find(alarm); found != stats.alarms.end() && found->second)
                alarms.emplace_back(alarm, found->second);
    std::ranges::stable_sort(alarms, std::greater{}, [](const auto& alarm) { return alarm.second; });
    return alarms;
}

const std::string& kindOfAlarm(const Field* alarm) {
    const auto found = std::ranges::find_if(
        allKinds(), [&](const RecordKind* kind) { return std::ranges::find(alarmsOf(*kind), alarm) != alarmsOf(*kind).end(); });
    return (*found)->name;
}

Numbers readingsByAgent(const Stats& stats) {
    Numbers readings;
    for (const auto& [agent, days] : stats.agents)
        for (const auto& [day, count] : days) readings[agent] += count;
    return readings;
}

}  // namespace tramo::cli
