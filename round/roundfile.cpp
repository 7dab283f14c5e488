// The rounds of a file: which line belongs to which round and meter, and what does not fit together.
#include "check/checkermemory.h"
#include "common/concat.h"
#include "common/secret.h"
#include "round/fieldsof.h"
#include "tramostream/round.h"
#include <algorithm>
#include <deque>
#include <iterator>
#include <unordered_map>

namespace tramo {

namespace {

// The areas of a round line of which anything is defined.
std::vector<Area> areasOf(const LineView& line) {
    std::vector<Area> areas;
    for (const auto& [of, number, _, label, position, length, type] : areaDefinitions()) {
        const auto isBlank = [&](const Field* field) { return line[*field].blank(); };
        if (isBlank(label) && isBlank(position) && isBlank(length) && isBlank(type)) continue;
        areas.push_back({of, number, textOr(line, *label), line.value<int>(*position).value_or(-1),
            line.value<int>(*length).value_or(-1), static_cast<char>(line.value<char32_t>(*type).value_or(U'!')),
            {line.number(), label->column, type->column + type->width - label->column}});
    }
    return areas;
}

}  // namespace

std::string Round::code() const { return roundLine ? textOr(*roundLine, roundFields().code) : std::string(); }
std::string Round::name() const { return roundLine ? textOr(*roundLine, roundFields().name) : std::string(); }

const Meter* Round::meter(std::string_view serial) const {
    const auto found =
        std::ranges::lower_bound(bySerial, serial, {}, [](const auto& entry) { return std::string_view(entry.first); });
    return found == bySerial.end() || found->first != serial ? nullptr : &allMeters[found->second];
}

const LineView* Round::page(std::string_view number) const {
    const auto found =
        std::ranges::find_if(allPages, [&](const LineView* page) { return textOr(*page, answerFields().definedPage) == number; });
    return found == allPages.end() ? nullptr : *found;
}

std::size_t Round::read() const {
    return static_cast<std::size_t>(std::ranges::count(allMeters, Meter::State::Read, &Meter::state));
}
std::size_t Round::unread() const { return allMeters.size() - read(); }

struct RoundFile::State {
    std::deque<SecretBytes> blocks;  // the bytes of the lines, which can be key lines
    std::vector<LineView> lines;
    std::vector<Round> rounds;
    std::vector<Orphan> orphans;

    // Keeps a copy of the bytes, in a place where it stays.
    std::string_view keep(std::string_view bytes) {
        constexpr std::size_t usual = std::size_t{1} << 20;
        if (blocks.empty() || blocks.back().capacity() - blocks.back().size() < bytes.size())
            blocks.emplace_back().reserve(std::max(usual, bytes.size()));
        const std::size_t before = blocks.back().size();
        blocks.back() += bytes;
        return std::string_view(blocks.back()).substr(before);
    }
};

namespace {

// Finds the meter that each line of a round belongs to.
class Joining {
public:
    // A meter subscriber line: its index in the file, and the meter's in the round.
    void add(std::size_t line, std::size_t meter, std::string serial) {
        if (!serial.empty()) places[std::move(serial)].push_back({line, meter});
    }

    // The meter of the nearest line above with this serial number, otherwise of the first one below.
    std::optional<std::size_t> find(std::size_t line, const std::string& serial) const {
        const auto found = places.find(serial);
        if (found == places.end()) return std::nullopt;
        const auto& all = found->second;
        const auto below = std::ranges::upper_bound(all, line, {}, &Place::line);
        return below == all.begin() ? all.front().meter : std::prev(below)->meter;
    }

private:
    struct Place {
        std::size_t line, meter;
    };
    std::unordered_map<std::string, std::vector<Place>> places;
};

bool isRoundLine(const LineView& line) { return line.is<RoundTramoModel>(); }

// Calls a function now and then.
class NowAndThen {
public:
    explicit NowAndThen(const std::function<void()>& what) : function(what) {}
    void operator()() {
        if (++lines % 4096 == 0 && function) function();
    }

private:
    const std::function<void()>& function;
    std::size_t lines = 0;
};

}  // namespace

// Ranges of lines: a round begins with its round line; what comes before the first one is a round of its own if it has records.
RoundFile::RoundFile(std::unique_ptr<State> with, const std::function<void()>& meanwhile) : state(std::move(with)) {
    NowAndThen pause(meanwhile);
    const std::vector<LineView>& lines = state->lines;
    std::vector<std::size_t> starts;
    const auto isRecord = [](const LineView& line) { return line.kind() && line.kind()->letter != 0; };
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (isRoundLine(lines[i]) || (starts.empty() && isRecord(lines[i]))) starts.push_back(i);
    state->rounds.resize(starts.size());
    starts.push_back(lines.size());

    for (std::size_t r = 0; r < state->rounds.size(); ++r) {
        Round& round = state->rounds[r];
        Joining joining;
        for (std::size_t i = starts[r]; i < starts[r + 1]; ++i) {
            pause();
            const LineView& line = lines[i];
            if (isRoundLine(line)) {
                round.roundLine = &line;
                round.allAreas = areasOf(line);
            } else if (line.is<MeterSubscriberTramoModel>()) {
                std::string serial = textOr(line, subscriberFields().serial);
                if (!serial.empty()) round.bySerial.emplace_back(serial, round.allMeters.size());
                joining.add(i, round.allMeters.size(), std::move(serial));
                round.allMeters.push_back(Meter(round, line));
            } else if (line.is<EnquiryDefinitionTramoModel>()) {
                round.allPages.push_back(&line);
            } else if (line.is<RecordInformationTramoModel>()) {
                round.informationLine = &line;
            }
        }
        std::ranges::sort(round.bySerial);
        for (std::size_t i = starts[r]; i < starts[r + 1]; ++i) {
            pause();
            const LineView& line = lines[i];
            const Field* field = line.kind() && !line.is<MeterSubscriberTramoModel>() ? serialFieldOf(*line.kind()) : nullptr;
            if (!field) continue;
            const std::string serial = textOr(line, *field);
            std::optional<std::size_t> meter = joining.find(i, serial);
            if (!meter && line.is<MeterChangeTramoModel>()) meter = joining.find(i, textOr(line, changeFields().newSerial));
            if (meter) round.allMeters[*meter].ownLines.push_back(&line);
            else
                state->orphans.push_back({&line, serial,
                    serial.empty() ? "the line has no serial number of a meter"
                                   : concat("its round has no meter subscriber line with the serial number \"", serial, '"')});
        }
    }
}

RoundFile::RoundFile(RoundFile&&) noexcept = default;
RoundFile& RoundFile::operator=(RoundFile&&) noexcept = default;
RoundFile::~RoundFile() = default;

RoundFile RoundFile::read(Reader& reader, const std::function<void()>& meanwhile) {
    auto state = std::make_unique<State>();
    NowAndThen pause(meanwhile);
    for (const LineView& line : reader) {
        pause();
        LineView& kept = state->lines.emplace_back(line);
        kept.content = state->keep(line.bytes());
        kept.isMapped = false;
        kept.room = nullptr;  // is that of the reader
    }
    return RoundFile(std::move(state), meanwhile);
}

RoundFile RoundFile::read(const std::filesystem::path& path, const ReadOptions& options) {
    Reader reader(path, options);
    return read(reader);
}

std::span<const LineView> RoundFile::lines() const { return state->lines; }
std::span<const Round> RoundFile::rounds() const { return state->rounds; }
std::span<const Orphan> RoundFile::orphans() const { return state->orphans; }

namespace {

// Applies the rules about rounds to lines.
class RoundFindings {
public:
    explicit RoundFindings(const CheckOptions& options)
        : checked(options), severities(options.severities), isStrict(options.strict) {}

    void add(const LineView& line) {
        if (!line.lineKind() || line.lineKind() == LineKind::Record) {
            const std::wstring text = line.wide();
            if (line.kind()) {
                bool isDoubtful = false;
                const FilledModel& values = checked.lines.values(*line.kind(), text.data(), isDoubtful);
                isDoubtful |= std::ranges::any_of(ignoredTexts(*line.kind(), text), &IgnoredText::field);
                checked.examiner.add(*line.kind(), values, text.data(), line.number(), isDoubtful, checked.notes, findings);
            } else if (line.fault() != LineFault::HalfCharacter || line.size() > 0) {
                LineExaminer::addMalformed(text, line.number(), checked.notes);
            }
        }
        checked.join();
    }

    std::vector<Finding> end() {
        checked.joined.end();
        checked.joined.take([&](Finding&& finding) { findings.push_back(std::move(finding)); });
        std::erase_if(findings, [&](Finding& finding) {
            const std::optional<Severity> severity = severities.of(*finding.rule, isStrict);
            if (severity) finding.severity = *severity;
            return !severity;
        });
        std::ranges::stable_sort(findings,
            [](const Finding& a, const Finding& b) { return std::pair(a.line, a.column) < std::pair(b.line, b.column); });
        return std::move(findings);
    }

private:
    CheckerMemory checked;
    const Severities& severities;
    const bool isStrict;
    std::vector<Finding> findings;
};

}  // namespace

std::vector<Finding> RoundFile::findings(const CheckOptions& options) const {
    RoundFindings found(options);
    for (const LineView& line : state->lines) found.add(line);
    return found.end();
}

std::vector<Finding> Meter::findings(const CheckOptions& options) const {
    CheckOptions chosen = options;
    for (const RoundRuleRow& row : roundRules)
        if (!isAboutReadings(row.rule) && !isAboutAnswers(row.rule)) chosen.severities.set(ruleOf(row.rule), std::nullopt);
    RoundFindings found(chosen);
    if (round->header()) found.add(*round->header());
    for (const LineView* page : round->pages()) found.add(*page);
    for (const LineView* line : lines()) found.add(*line);
    std::vector<Finding> own = found.end();
    std::erase_if(own, [&](const Finding& finding) { return round->header() && finding.line == round->header()->number(); });
    return own;
}

void RoundFile::write(Writer& writer) const {
    for (const LineView& line : state->lines) writer.put(line);
}

}  // namespace tramo
