// Whether the lines of radio modules and of replaced meters are plausible.
#include "check/linerules.h"
#include "check/rollover.h"
#include "check/rulefields.h"
#include "common/concat.h"
#include "common/utf8.h"
#include "tramostream/linemodel.h"
#include <algorithm>

namespace tramo {

using rulefields::of;

namespace {

std::string dayText(const Field& field, long32 time) {
    return utf8::encode(textOf(field, FieldValue(static_cast<long long>(time))));
}

}  // namespace

void findInModule(const LineValues& line, long32 now, LineReport& report) {
    constexpr long32 day = 24 * 60 * 60;
    const auto& fields = of<rulefields::Module>();
    const long32 date = line.time(fields.date), installed = line.time(fields.installed);
    if (date == dates::noTime) return;
    const auto add = [&](RoundRule rule, std::string reason) {
        report.add(rule, fields.kind, fields.date, line.raw(fields.date),
            concat("the current reading of the module is of ", dayText(fields.date, date)), std::move(reason));
    };
    if (date < installed && report.has(RoundRule::ReadingBeforeInstallation))
        add(RoundRule::ReadingBeforeInstallation, concat("the module was installed on ", dayText(fields.installed, installed)));
    if (date > now && date - now > day && report.has(RoundRule::DateInFuture))
        add(RoundRule::DateInFuture, "this is later than the clock of this computer");
}

ModuleNote noteOfModule(const LineValues& line) {
    const auto& fields = of<rulefields::Module>();
    if (!line.has(fields.alarms)) return {};
    return {line.flag(fields.leak), line.flag(fields.fraud), line.decimal(fields.index) > line.decimal(fields.previousIndex)};
}

ModuleNote noteOfExtendedModule(const LineValues& line) {
    const auto& fields = of<rulefields::ExtendedModule>();
    return {line.flag(fields.leak), line.flag(fields.fraud), false};
}

void findInChange(const LineValues& line, LineReport& report) {
    const auto& fields = of<rulefields::Change>();
    const SerialKey old = line.serial(fields.oldSerial);
    if (!old.isBlank() && old == line.serial(fields.newSerial) && report.has(RoundRule::ChangeToSameMeter))
        report.add(RoundRule::ChangeToSameMeter, fields.kind, fields.newSerial, line.raw(fields.newSerial),
            "the new meter has the serial number of the old one");
    const long long wheels = line.integer(fields.wheels), index = line.integer(fields.index), limit = rollover::limitOf(wheels);
    if (limit > 0 && index >= limit && report.has(RoundRule::IndexAboveWheels))
        report.add(RoundRule::IndexAboveWheels, fields.kind, fields.index, line.raw(fields.index),
            concat("the index of the new meter is ", index),
            concat("it has ", counted(static_cast<unsigned long long>(wheels), "wheel"), ", which show at most ", limit - 1));
}

ChangeNote noteOfChange(const LineValues& line) {
    const auto& fields = of<rulefields::Change>();
    return {line.serial(fields.newSerial), std::max<long32>(line.time(fields.date), 0)};
}

}  // namespace tramo
