#include "page/meters.h"
#include "check/roundrules.h"
#include "common/concat.h"
#include "common/utf8.h"
#include <algorithm>
#include <tramostream/anyrecord.h>

namespace tramo::page {

namespace {

constexpr ColumnOf meterColumns[] = {{"order", "subscriberCardOrder"}, {"serial", "meterSerialNumber"}, {"wheels", "meterWheels"},
    {"newSerial", "meterCorrectedSerialNumber"}, {"newWheels", "meterCorrectedWheels"}, {"year", "meterInstallationYear"},
    {"fluid", "meterFluidType"}, {"prevDate", "meterPreviousReadingDate"}, {"prevIndex", "meterPreviousReadingIndex"},
    {"min", "meterMinEstimatedConsumption"}, {"max", "meterMaxEstimatedConsumption"}, {"date", "meterReadingDate"},
    {"index", "meterReadingIndex"}, {"status", "meterReadingStatus"}, {"consumption", "meterReadingConsumption"},
    {"method", "meterReadingMethod"}, {"agent", "meterReadingUserCode"}, {"subscriberMark", "subscriberMarkingCode"},
    {"meterMark", "meterMarkingCode"}, {"message", "meterMessage"}, {"updated", "meterLastUpdateDate"},
    {"mayChange", "meterAuthorizedChange"}};
constexpr ColumnOf amrColumns[] = {{"installed", "installationDate"}, {"reference", "meterReference"}, {"port", "sensorPort"},
    {"unit", "meterUnit"}, {"module", "referance"}, {"moduleSerial", "serialNumber"}, {"internalSerial", "internalSerialNumber"},
    {"pulse", "pulseWeight"}, {"prevDate", "previousReadingDate"}, {"prevMeter", "previousMeterIndex"},
    {"prevAlarms", "previousAlarms"}, {"prevStatus", "previousAmrStatus"}, {"date", "currentReadingDate"},
    {"meterIndex", "currentMeterIndex"}, {"alarms", "currentAlarms"}, {"status", "currentAmrStatus"}, {"external", "externalAMR"},
    {"failDate", "lastReadFailDate"}, {"fails", "readFailCount"}};
constexpr ColumnOf extendedColumns[] = {{"reference", "meterReference"}, {"module", "amrReference"},
    {"moduleSerial", "amrSerialNumber"}, {"port", "amrSensorPort"}, {"date", "readingDate"}, {"meterIndex", "meterIndex"},
    {"backflow", "backflowIndex"}};
constexpr ColumnOf changeColumns[] = {{"old", "oldMeterSerialNumber"}, {"new", "newMeterSerialNumber"},
    {"wheels", "newMeterWheelsNumber"}, {"index", "newMeterIndex"}, {"date", "newMeterInstallationDate"}};
constexpr ColumnOf positionColumns[] = {{"lat", "latitude"}, {"lon", "longitude"}, {"alt", "altitude"}, {"accuracy", "accuracy"},
    {"date", "updateDate"}, {"scoreType", "scoreType"}, {"score", "scoreValue"}};
constexpr ColumnOf answerColumns[] = {{"page", "pageNumber"}, {"date", "lastModificationDate"}};

constexpr std::array<std::string_view, 5> otherNames{"amr", "ext", "changes", "positions", "answers"};
enum Other : std::size_t { Amr, Extended, Changes, Positions, AnswerLines };

template <class M> const Field& fieldNamed(const std::string& name) { return *kindOf<M>().field(name); }

// The fields of slots, by their numbers.
template <class M> std::vector<const Field*> slotFields(std::string_view before, std::string_view after, int count) {
    std::vector<const Field*> fields;
    for (int slot = 1; slot <= count; ++slot) fields.push_back(&fieldNamed<M>(concat(before, slot, after)));
    return fields;
}

// What the label of a code in the list of an area says; empty: the page does not say.
std::string nameOfCode(const Answer& answer) {
    if (!answer.definition || answer.code.size() != 1 || answer.list.find(answer.code) == std::string::npos) return {};
    const Field* label = kindOf<EnquiryDefinitionTramoModel>().field("label" + answer.code);
    return label ? answer.definition->text(*label).value_or(std::string()) : std::string();
}

// Whether a rule is about readings: a finding says that a line is not plausible.
bool isAboutReadings(const Rule& rule) {
    return std::ranges::any_of(
        roundRules, [&](const RoundRuleRow& row) { return row.name == rule.name && tramo::isAboutReadings(row.rule); });
}

void add(IntegerColumn& column, const auto& number) { number ? column.add(*number) : column.addNone(); }

}  // namespace

unsigned stateOf(const Meter& meter) {
    static const Field& least = fieldNamed<MeterSubscriberTramoModel>("meterMinEstimatedConsumption");
    static const Field& most = fieldNamed<MeterSubscriberTramoModel>("meterMaxEstimatedConsumption");
    static const Field& moduleDate = fieldNamed<AMRTramoModel>("currentReadingDate");
    const bool isRead = meter.state() == Meter::State::Read;
    unsigned bits = isRead ? state::read : state::unread;
    const LineView& line = meter.subscriber();
    const auto from = line[least].real(), to = line[most].real();
    if (isRead && from && to) {
        const std::optional<Reading> reading = meter.reading();
        if (reading->consumption) {
            const auto consumption = static_cast<double>(*reading->consumption);
            if (consumption < *from) bits |= state::outside | state::below;
            else if (consumption > *to) bits |= state::outside | state::above;
        }
    }
    if (meter.lines().size() > 1) {
        if (std::ranges::any_of(meter.alarms(), [](const Alarm& alarm) { return !alarm.isPrevious; })) bits |= state::alarm;
        if (!meter.changes().empty()) bits |= state::changed;
        if (meter.place()) bits |= state::located;
        for (const LineView* of : meter.lines())
            if (of->is<AMRTramoModel>() && !of->time(moduleDate)) bits |= state::radioSilent;
    }
    if (isRead && !(bits & state::located)) bits |= state::unlocated;
    return bits;
}

void MeterLines::add(const LineView& line, std::size_t file, long long meter) {
    lines.add(line.number());
    files.add(static_cast<long long>(file));
    meters.add(meter);
    fields.add(line);
}

void MeterLines::write(JsonText& json, bool hasFiles) const {
    json.member("n", fields.count());
    writeColumn(json, "line", lines);
    if (hasFiles) writeColumn(json, "file", files);
    writeColumn(json, "meter", meters);
    fields.write(json);
}

MeterParts::MeterParts(std::span<const PageFile> all, const PageOptions& chosen)
    : files(all), options(chosen), hasFiles(all.size() > 1),
      meters(kindOf<MeterSubscriberTramoModel>(), meterColumns, chosen.hasPersonal),
      others{MeterLines(kindOf<AMRTramoModel>(), amrColumns, chosen.hasPersonal),
          MeterLines(kindOf<ExtendedAMRTramoModel>(), extendedColumns, chosen.hasPersonal),
          MeterLines(kindOf<MeterChangeTramoModel>(), changeColumns, chosen.hasPersonal),
          MeterLines(kindOf<ExtendedDataTramoModel>(), positionColumns, chosen.hasPersonal),
          MeterLines(kindOf<EnquiryResultTramoModel>(), answerColumns, chosen.hasPersonal)},
      rest{Texts{"", "subscriber", '!'}, Texts{"", "meter", '!'}}, orphansOf(all.size()), meterOfLine(all.size()) {}

MeterLines* MeterParts::tableOf(const RecordKind* kind) {
    static const std::array<const RecordKind*, 5> kinds{&kindOf<AMRTramoModel>(), &kindOf<ExtendedAMRTramoModel>(),
        &kindOf<MeterChangeTramoModel>(), &kindOf<ExtendedDataTramoModel>(), &kindOf<EnquiryResultTramoModel>()};
    const auto found = std::ranges::find(kinds, kind);
    return found == kinds.end() ? nullptr : &others[static_cast<std::size_t>(found - kinds.begin())];
}

void MeterParts::note(std::size_t file, const LineView& line, long long meter) {
    meterOfLine[file][static_cast<std::size_t>(line.number())] = static_cast<std::int32_t>(meter);
}

void MeterParts::add(std::size_t file) {
    const RoundFile& lines = *files[file].lines;
    meterOfLine[file].assign(lines.lines().size() + 1, -1);
    for (const Round& round : lines.rounds()) {
        const std::vector<std::size_t> columns = areaNames.columnsOf(round);
        for (std::size_t i = 0; i < columns.size(); ++i) {
            if (columns[i] == AreaColumns::noColumn || columns[i] < areas.size()) continue;
            const Area& area = round.areas()[i];
            areas.push_back({areaNames.names()[columns[i]], area.of == Area::Subscriber ? "subscriber" : "meter", area.type});
        }
        for (const Meter& meter : round.meters()) add(round, meter, file, columns);
        ++rounds;
    }
    for (const Orphan& orphan : lines.orphans())
        if (MeterLines* const table = tableOf(orphan.line->kind())) {
            table->add(*orphan.line, file, -1);
            if (table == &others[Extended]) addModuleHistory(*orphan.line);
        }
    orphansOf[file] = lines.orphans().size();
}

void MeterParts::add(const Round& of, const Meter& meter, std::size_t file, const std::vector<std::size_t>& columns) {
    const std::size_t row = meters.count();
    const auto own = static_cast<long long>(row);
    meters.add(meter.subscriber(), file, own);
    roundsOf.add(rounds);
    states.add(stateOf(meter));
    page::add(differences, meter.difference());
    if (options.hasPersonal) addAreas(of, meter, columns);
    addHistory(meter.subscriber(), row);
    const std::size_t firstAnswer = others[AnswerLines].count();
    for (const LineView* line : meter.lines()) {
        note(file, *line, own);
        MeterLines* const table = tableOf(line->kind());
        if (!table) continue;
        table->add(*line, file, own);
        if (table == &others[Extended]) addModuleHistory(*line);
    }
    if (others[AnswerLines].count() > firstAnswer) addAnswers(meter, firstAnswer);
}

// Text outside of all areas is kept, and so is that of areas for which there is no column.
void MeterParts::addAreas(const Round& round, const Meter& meter, const std::vector<std::size_t>& columns) {
    static const int meterInformation = fieldNamed<MeterSubscriberTramoModel>("meterInformation").column;
    const std::size_t row = meters.count() - 1;
    std::array<std::string, 2> outside;
    for (const AreaText& text : meter.areas()) {
        const std::size_t column =
            text.area ? columns[static_cast<std::size_t>(text.area - round.areas().data())] : AreaColumns::noColumn;
        if (column != AreaColumns::noColumn) {
            areas[column].fill(row);
            areas[column].texts.addIfAny(text.text);
        } else {
            std::string& to = outside[text.origin.column >= meterInformation];
            to.append(to.empty() ? "" : " | ").append(text.text);
        }
    }
    for (std::size_t i = 0; i < 2; ++i) {
        rest[i].fill(row);
        rest[i].texts.addIfAny(outside[i]);
    }
}

void MeterParts::addHistory(const LineView& line, std::size_t meter) {
    static const auto types = slotFields<MeterSubscriberTramoModel>("meterHistory", "ReadingType", 4),
                      dates = slotFields<MeterSubscriberTramoModel>("meterHistory", "ReadingDate", 4),
                      consumptions = slotFields<MeterSubscriberTramoModel>("meterHistory", "Consumption", 4);
    for (std::size_t slot = 0; slot < types.size(); ++slot) {
        const auto consumption = line[*consumptions[slot]].integer();
        const auto type = line[*types[slot]].text(buffer);
        if (!consumption && (!type || type->empty()) && !line.time(*dates[slot])) continue;
        history.rows.add(static_cast<long long>(meter));
        history.types.addIfAny(type.value_or(std::string_view()));
        history.times.add(line, *dates[slot]);
        page::add(history.numbers, consumption);
    }
}

void MeterParts::addModuleHistory(const LineView& line) {
    static const auto times = slotFields<ExtendedAMRTramoModel>("history", "DateTime", 18),
                      indexes = slotFields<ExtendedAMRTramoModel>("history", "Index", 18),
                      alarms = slotFields<ExtendedAMRTramoModel>("history", "Alarms", 18);
    long long bits = 0, bit = 1;
    for (const AlarmDefinition& alarm : alarmDefinitions(kindOf<ExtendedAMRTramoModel>())) {
        if (line[*alarm.flag].flag().value_or(false)) bits |= bit;
        bit <<= 1;
    }
    flags.add(bits);
    const std::size_t row = others[Extended].count() - 1;
    for (std::size_t slot = 0; slot < times.size(); ++slot) {
        const auto index = line[*indexes[slot]].real();
        std::string code;
        if (const auto alarm = line[*alarms[slot]].code()) utf8::append(code, *alarm);
        if (!index && code.empty() && !line.time(*times[slot])) continue;
        moduleHistory.rows.add(static_cast<long long>(row));
        moduleHistory.times.add(line, *times[slot]);
        index ? moduleHistory.reals.add(*index) : moduleHistory.reals.addNone();
        moduleHistory.types.addIfAny(code);
    }
}

// The rows of the lines come in the order of the meter's lines, and so do its answers.
void MeterParts::addAnswers(const Meter& meter, std::size_t firstRow) {
    std::size_t row = firstRow;
    const std::vector<const LineView*> lines = meter.lines<EnquiryResultTramoModel>();
    for (const Answer& answer : meter.answers()) {
        while (lines[row - firstRow]->number() != answer.origin.line) ++row;
        std::string mode;
        if (answer.mode) utf8::append(mode, *answer.mode);
        answers.rows.add(static_cast<long long>(row));
        answers.areas.add(answer.area);
        answers.questions.addIfAny(answer.question);
        answers.modes.addIfAny(mode);
        answers.codes.addIfAny(answer.code);
        answers.names.addIfAny(nameOfCode(answer));
        answers.results.addIfAny(options.hasPersonal ? answer.result : std::string());
    }
}

void MeterParts::addFindings(std::size_t file) {
    const std::vector<std::int32_t>& meterOf = meterOfLine[file];
    for (const Finding& finding : files[file].checked->findings) {
        const auto line = static_cast<std::size_t>(finding.line);
        if (line >= meterOf.size() || meterOf[line] < 0) continue;
        states.addBits(
            static_cast<std::size_t>(meterOf[line]), state::finding | (isAboutReadings(*finding.rule) ? state::implausible : 0));
    }
}

void MeterParts::writeCounts(JsonText& json) const {
    constexpr std::pair<std::string_view, unsigned> names[] = {{"read", state::read}, {"unread", state::unread},
        {"outside", state::outside}, {"below", state::below}, {"above", state::above}, {"implausible", state::implausible},
        {"alarm", state::alarm}, {"changed", state::changed}, {"located", state::located}, {"unlocated", state::unlocated},
        {"radioSilent", state::radioSilent}, {"finding", state::finding}};
    json.member("meters", meters.count());
    for (const auto& [name, bit] : names) {
        std::size_t count = 0;
        for (std::size_t row = 0; row < meters.count(); ++row) count += (states[row] & bit) != 0;
        json.member(name, count);
    }
}

void MeterParts::write(const PageSink& sink) {
    const auto part = [&](std::string_view name, auto write) {
        sink.part(name, jsonOf([&](JsonText& json) {
            json.beginObject();
            write(json);
            json.endObject();
        }));
    };
    if (meters.count() > 0)
        part("meters", [&](JsonText& json) {
            meters.write(json, hasFiles);
            writeColumn(json, "round", roundsOf);
            writeColumn(json, "state", states);
            writeColumn(json, "difference", differences);
        });
    for (std::size_t i = 0; i < others.size(); ++i) {
        if (others[i].count() == 0) continue;
        part(otherNames[i], [&](JsonText& json) {
            others[i].write(json, hasFiles);
            if (i == Extended) writeColumn(json, "flags", flags);
            if (i == AnswerLines && answers.rows.rows() > 0) writeAnswers(json);
        });
    }
    if (history.rows.rows() > 0)
        part("history", [&](JsonText& json) {
            json.member("n", history.rows.rows());
            writeColumn(json, "row", history.rows);
            writeColumn(json, "type", history.types);
            writeColumn(json, "date", history.times);
            writeColumn(json, "consumption", history.numbers);
        });
    if (moduleHistory.rows.rows() > 0)
        part("moduleHistory", [&](JsonText& json) {
            json.member("n", moduleHistory.rows.rows());
            writeColumn(json, "row", moduleHistory.rows);
            writeColumn(json, "time", moduleHistory.times);
            writeColumn(json, "index", moduleHistory.reals);
            writeColumn(json, "alarm", moduleHistory.types);
        });
    if (options.hasPersonal && meters.count() > 0) part("areas", [&](JsonText& json) { writeAreas(json); });
}

void MeterParts::writeAnswers(JsonText& json) const {
    json.beginObject("given");
    json.member("n", answers.rows.rows());
    writeColumn(json, "row", answers.rows);
    writeColumn(json, "area", answers.areas);
    writeColumn(json, "question", answers.questions);
    writeColumn(json, "mode", answers.modes);
    writeColumn(json, "code", answers.codes);
    writeColumn(json, "name", answers.names);
    writeColumn(json, "result", answers.results);
    json.endObject();
}

void MeterParts::writeAreas(JsonText& json) {
    json.beginArray("areas");
    const auto write = [&](Texts& column, bool isWhole) {
        column.fill(meters.count());
        if (column.texts.isEmpty()) return;
        json.beginObject();
        json.memberIfAny("label", column.label);
        json.member("source", column.source);
        if (isWhole) json.member("whole", true);
        if (column.type != '!') json.member("type", std::string_view(&column.type, 1));
        writeColumn(json, "texts", column.texts);
        json.endObject();
    };
    for (Texts& column : areas) write(column, false);
    for (Texts& column : rest) write(column, true);
    json.endArray();
}

}  // namespace tramo::page
