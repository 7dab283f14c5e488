#include "tramostream/reconcile.h"
#include "common/concat.h"
#include "common/named.h"
#include "common/printable.h"
#include "round/fieldsof.h"
#include "round/kindfields.h"
#include <algorithm>
#include <array>
#include <unordered_map>
#include <unordered_set>

namespace tramo {

namespace {

// Kinds of lines that the field work adds to the lines of a meter.
bool mayBeAdded(const RecordKind& kind) {
    return &kind == &kindOf<MeterChangeTramoModel>() || &kind == &kindOf<ExtendedAMRTramoModel>() ||
           &kind == &kindOf<EnquiryResultTramoModel>() || &kind == &kindOf<ExtendedDataTramoModel>();
}

constexpr const char* white = " \t\n\v\f\r";

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(white);
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(white) + 1 - first);
}

// In a text, white space at the beginning counts; in a number, it is how it is written.
std::string shown(const FieldView& value, const Field& field) {
    const std::string text = value.raw();
    return field.kind == FieldKind::Text ? text.substr(0, text.find_last_not_of(white) + 1) : trimmed(text);
}

// The code as it is written: the format writes some codes as others.
wchar_t writtenCode(const Field& field, char32_t code) {
    const std::size_t at = field.codes.find(static_cast<wchar_t>(code));
    const wchar_t written = at < field.codesWritten.size() ? field.codesWritten[at] : L'\0';
    return written == 0 ? static_cast<wchar_t>(code) : written;
}

// Whether a field has the same value in both lines, in whatever form.
bool isSame(const LineView& exported, const LineView& returned, const Field& field) {
    const FieldView before = exported[field], after = returned[field];
    if (exported.encoding() == returned.encoding() && before.rawBytes() == after.rawBytes()) return true;
    if (const std::string from = before.raw(), to = after.raw();
        from == to || (field.kind != FieldKind::Text && trimmed(from) == trimmed(to)))
        return true;
    if (!before.valid() || !after.valid()) return false;
    switch (field.kind) {
    case FieldKind::Text: return before.text() == after.text();
    case FieldKind::Integer: return before.integer() == after.integer();
    case FieldKind::Decimal: return before.real() == after.real();
    case FieldKind::Flag: return before.flag() == after.flag();
    case FieldKind::AlarmFlags: return before.alarms() == after.alarms();
    case FieldKind::Date:
    case FieldKind::DateTime: return before.time() == after.time();
    case FieldKind::Year: return before.year() == after.year();
    case FieldKind::Code: {
        const auto first = before.code(), second = after.code();
        if (!first || !second) return first == second;
        return writtenCode(field, *first) == writtenCode(field, *second);
    }
    }
    return false;
}

// Pairs the elements of two lists that have the same key, the first with the first; then what is left, if `byOrder`, in order.
// Calls pair(index or none, index or none): each exported one in order, then the returned ones without a partner.
constexpr std::size_t none = static_cast<std::size_t>(-1);
template <class Pair>
void match(const std::vector<std::string>& exported, const std::vector<std::string>& returned, bool byOrder, Pair pair) {
    std::unordered_map<std::string, std::vector<std::size_t>> places;  // the last one first
    for (std::size_t i = returned.size(); i-- > 0;) places[returned[i]].push_back(i);
    std::vector<std::size_t> partners(exported.size(), none);
    std::vector<bool> isTaken(returned.size());
    for (std::size_t i = 0; i < exported.size(); ++i) {
        const auto found = places.find(exported[i]);
        if (found == places.end() || found->second.empty()) continue;
        partners[i] = found->second.back();
        found->second.pop_back();
        isTaken[partners[i]] = true;
    }
    std::size_t next = 0;
    for (std::size_t i = 0; byOrder && i < exported.size(); ++i) {
        while (next < returned.size() && isTaken[next]) ++next;
        if (partners[i] != none || next == returned.size()) continue;
        partners[i] = next;
        isTaken[next] = true;
    }
    for (std::size_t i = 0; i < exported.size(); ++i) pair(i, partners[i]);
    for (std::size_t i = 0; i < returned.size(); ++i)
        if (!isTaken[i]) pair(none, i);
}

// What tells a line of a meter from others of its kind.
std::string keyOf(const LineView& line) {
    const Field* serial = line.kind()->field("serialNumber");
    return serial ? trimmed(line.raw(*serial)) : std::string();
}

// What is not plausible about a meter. Hints do not count: a supervisor need not look at them.
std::vector<Finding> implausibleReadingsOf(const Meter& meter) {
    std::vector<Finding> findings = meter.findings();
    std::erase_if(findings, [](const Finding& finding) { return finding.severity == Severity::Hint; });
    return findings;
}

class RoundComparison {
public:
    explicit RoundComparison(ReconciledRound& result) : made(result) {}

    void run() {
        if (made.exported && made.returned) compareWhole();
        std::vector<std::string> exported, returned;
        for (const Meter& meter : metersOf(made.exported)) exported.push_back(meter.serial());
        for (const Meter& meter : metersOf(made.returned)) returned.push_back(meter.serial());
        made.exportedMeters = exported.size();
        made.returnedMeters = returned.size();
        adoptNewSerials(exported, returned);
        match(exported, returned, false, [&](std::size_t from, std::size_t to) { addMeter(from, to); });
    }

private:
    static std::span<const Meter> metersOf(const Round* round) { return round ? round->meters() : std::span<const Meter>(); }

    Difference& add(Difference::What what, const LineView* exported, const LineView* returned, const std::string& serial) {
        const LineView* line = returned ? returned : exported;
        const RecordKind* kind = line ? line->kind() : nullptr;
        return made.differences.emplace_back(Difference{.what = what,
            .serial = serial,
            .kind = kind ? std::string_view(kind->name) : std::string_view(),
            .exportedLine = exported ? exported->number() : 0,
            .returnedLine = returned ? returned->number() : 0});
    }

    // `newSerial`: a meter change line explains another serial number.
    void compareLines(const LineView& exported, const LineView& returned, const std::string& serial, bool hasNewSerial = false) {
        for (const Field& field : exported.kind()->fields) {
            if (field.column == 0 || field.overlaid || mayChangeInField(*exported.kind(), field)) continue;
            if (isSame(exported, returned, field)) continue;
            if (hasNewSerial && &field == &subscriberFields().serial) continue;
            Difference& difference = add(Difference::FieldChanged, &exported, &returned, serial);
            difference.field = &field;
            difference.before = shown(exported[field], field);
            difference.after = shown(returned[field], field);
        }
    }

    // Lines of one kind: all exported ones came back, with their master data, and no others.
    void compareKind(std::span<const LineView* const> exported, std::span<const LineView* const> returned, bool isFree,
        const std::string& serial) {
        std::vector<std::string> from, to;
        for (const LineView* line : exported) from.push_back(isFree ? std::string() : keyOf(*line));
        for (const LineView* line : returned) to.push_back(isFree ? std::string() : keyOf(*line));
        match(from, to, true, [&](std::size_t i, std::size_t j) {
            if (j == none) add(Difference::LineMissing, exported[i], nullptr, serial);
            else if (isFree) return;
            else if (i == none) add(Difference::LineAdded, nullptr, returned[j], serial);
            else compareLines(*exported[i], *returned[j], serial);
        });
    }

    // The round line and the pages of the enquiry.
    void compareWhole() {
        const LineView *exported = made.exported->header(), *returned = made.returned->header();
        if (exported && returned) compareLines(*exported, *returned, {});
        else if (exported) add(Difference::LineMissing, exported, nullptr, {});
        else if (returned) add(Difference::LineAdded, nullptr, returned, {});
        const auto numbersOf = [](std::span<const LineView* const> pages) {
            std::vector<std::string> numbers;
            for (const LineView* page : pages) numbers.push_back(textOr(*page, answerFields().definedPage));
            return numbers;
        };
        const auto before = made.exported->pages(), after = made.returned->pages();
        match(numbersOf(before), numbersOf(after), false, [&](std::size_t i, std::size_t j) {
            if (j == none) add(Difference::LineMissing, before[i], nullptr, {});
            else if (i == none) add(Difference::LineAdded, nullptr, after[j], {});
            else compareLines(*before[i], *after[j], {});
        });
    }

    // A meter that came back under the serial number of the one that replaced it.
    void adoptNewSerials(const std::vector<std::string>& exported, std::vector<std::string>& returned) {
        const std::unordered_set<std::string> sent(exported.begin(), exported.end());
        std::unordered_set<std::string> back(returned.begin(), returned.end());
        for (std::size_t i = 0; i < returned.size(); ++i) {
            if (sent.contains(returned[i])) continue;
            for (const MeterChange& change : made.returned->meters()[i].changes())
                if (change.newSerial == returned[i] && sent.contains(change.oldSerial) && !back.contains(change.oldSerial)) {
                    returned[i] = change.oldSerial;
                    back.insert(returned[i]);
                    break;
                }
        }
    }

    void addMeter(std::size_t from, std::size_t to) {
        ReconciledMeter& meter = made.meters.emplace_back();
        meter.exported = from == none ? nullptr : &made.exported->meters()[from];
        meter.returned = to == none ? nullptr : &made.returned->meters()[to];
        meter.serial = (meter.exported ? meter.exported : meter.returned)->serial();
        meter.firstDifference = made.differences.size();
        if (!meter.returned) {
            meter.state = ReconciledMeter::Missing;
            ++made.missing;
            add(Difference::MeterMissing, &meter.exported->subscriber(), nullptr, meter.serial);
        } else {
            countReturned(meter);
            if (meter.exported) compareMeters(meter);
            else {
                meter.state = ReconciledMeter::Added;
                ++made.added;
                add(Difference::MeterAdded, nullptr, &meter.returned->subscriber(), meter.serial);
            }
            for (Finding& finding : implausibleReadingsOf(*meter.returned)) {
                Difference& difference = add(Difference::Implausible, nullptr, &meter.returned->subscriber(), meter.serial);
                difference.kind = finding.kind;
                difference.returnedLine = finding.line;
                difference.finding = std::move(finding);
            }
        }
        meter.differences = made.differences.size() - meter.firstDifference;
    }

    void compareMeters(const ReconciledMeter& meter) {
        compareLines(meter.exported->subscriber(), meter.returned->subscriber(), meter.serial,
            meter.exported->serial() != meter.returned->serial());
        for (const RecordKind* kind : recordKinds()) {
            if (kind == &kindOf<MeterSubscriberTramoModel>()) continue;
            const auto exported = meter.exported->lines(*kind), returned = meter.returned->lines(*kind);
            if (!exported.empty() || !returned.empty()) compareKind(exported, returned, mayBeAdded(*kind), meter.serial);
        }
    }

    void countReturned(ReconciledMeter& meter) {
        const Meter& returned = *meter.returned;
        const auto reading = returned.reading();
        meter.state = reading ? ReconciledMeter::Read : ReconciledMeter::Unread;
        if (reading) {
            ++made.read;
            ++made.byStatus[reading->status.value_or(0)];
            ++made.byMethod[reading->method.value_or(0)];
            if (const auto day = returned.subscriber().day(subscriberFields().readingDate)) ++made.byDay[*day];
            ++made.byAgent[reading->agent];
        } else {
            ++made.unread;
            static const Field& reason = fieldOf<MeterSubscriberTramoModel>("meterMarkingCode");
            ++made.unreadByReason[textOr(returned.subscriber(), reason)];
        }
        static const Field& corrected = fieldOf<MeterSubscriberTramoModel>("meterCorrectedSerialNumber");
        made.replaced += !meter.newSerial().empty();
        made.corrected += !returned.subscriber()[corrected].blank();
        made.located += returned.place().has_value();
        const std::size_t answers = returned.answers().size();
        made.answered += answers > 0;
        made.answers += answers;
    }

    ReconciledRound& made;
};

bool isMalformed(const LineView& line) { return line.fault() != LineFault::None && line.fault() != LineFault::Empty; }

// The round that a line is in: the one with the last header before it.
std::size_t roundOf(const RoundFile& file, const LineView& line) {
    const auto rounds = file.rounds();
    std::size_t at = 0;
    for (std::size_t i = 0; i < rounds.size(); ++i)
        if (rounds[i].header() && rounds[i].header()->number() < line.number()) at = i;
    return at;
}

}  // namespace

bool mayChangeInField(const RecordKind& kind, const Field& field) {
    if (mayBeAdded(kind)) return true;
    const FieldReading* own = kindFieldsOf(kind).sources[field.index].own;
    return own && own->returned;
}

std::string_view nameOf(Difference::What what) {
    static constexpr std::array<std::string_view, 8> names{
        "meterMissing", "meterAdded", "fieldChanged", "lineMissing", "lineAdded", "lineOfNobody", "implausible", "malformed"};
    return names[static_cast<std::size_t>(what)];
}

std::string sentenceOf(const Difference& difference) {
    const std::string line = difference.kind.empty() ? std::string("line") : concat(difference.kind, " line");
    switch (difference.what) {
    case Difference::MeterMissing: return "the meter did not come back";
    case Difference::MeterAdded: return "the meter came back, but was not exported";
    case Difference::FieldChanged: {
        const auto quotedText = [](const std::string& text) { return concat('"', printable(std::string_view(text)), '"'); };
        if (difference.before.empty())
            return concat(difference.field->name, " was blank and is now ", quotedText(difference.after));
        if (difference.after.empty())
            return concat(difference.field->name, " was ", quotedText(difference.before), " and is now blank");
        return concat(
            difference.field->name, " has changed from ", quotedText(difference.before), " to ", quotedText(difference.after));
    }
    case Difference::LineMissing: return concat("the ", line, " did not come back");
    case Difference::LineAdded: return concat("the ", line, " came back, but was not exported");
    case Difference::LineOfNobody: return concat("the ", line, " belongs to no meter");
    case Difference::Implausible: return difference.finding ? sentenceOf(*difference.finding) : std::string();
    case Difference::Malformed: return "the line is malformed and was not compared";
    }
    return {};
}

std::string ReconciledMeter::newSerial() const {
    if (!returned) return {};
    const auto changes = returned->changes();
    return changes.empty() ? std::string() : changes.back().newSerial;
}

Reconciliation::Reconciliation(const RoundFile& exported, const RoundFile& returned) {
    std::vector<std::string> from, to;
    for (const Round& round : exported.rounds()) from.push_back(round.code());
    for (const Round& round : returned.rounds()) to.push_back(round.code());
    std::vector<std::size_t> places(to.size(), none);
    match(from, to, true, [&](std::size_t i, std::size_t j) {
        ReconciledRound& round = all.emplace_back();
        round.exported = i == none ? nullptr : &exported.rounds()[i];
        round.returned = j == none ? nullptr : &returned.rounds()[j];
        if (j != none) places[j] = all.size() - 1;
    });
    for (const Orphan& orphan : returned.orphans())
        (to.empty() ? others : all[places[roundOf(returned, *orphan.line)]].differences)
            .push_back({.what = Difference::LineOfNobody,
                .serial = orphan.serial,
                .kind = orphan.line->kind()->name,
                .returnedLine = orphan.line->number()});
    for (ReconciledRound& round : all) RoundComparison(round).run();
    for (const LineView& line : returned.lines())
        if (isMalformed(line)) others.push_back({.what = Difference::Malformed, .returnedLine = line.number()});
}

std::size_t Reconciliation::count() const {
    std::size_t sum = others.size();
    for (const ReconciledRound& round : all) sum += round.differences.size();
    return sum;
}

}  // namespace tramo
