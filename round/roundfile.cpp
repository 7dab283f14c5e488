// The rounds of a file: which line belongs to which round and meter, and what does not fit together.
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

const char* nameOf(Area::Of of) { return of == Area::Subscriber ? "subscriber" : "meter"; }

std::string nameOf(const Area& area) {
    const std::string name = concat(nameOf(area.of), " area ", area.number);
    return area.label.empty() ? name : concat(name, " (", area.label, ')');
}

Finding findingAt(const Origin& origin, std::string_view kind, std::string_view rule, std::string sentence, std::string reason) {
    Finding finding = findingOf(rule, std::move(sentence), std::move(reason), origin.column);
    finding.line = origin.line;
    finding.endColumn = origin.column + origin.width;
    finding.kind = kind;
    return finding;
}

void findAreas(const LineView& header, std::span<const Area> areas, std::vector<Finding>& findings) {
    const auto add = [&](const Area& area, const char* rule, const char* what, std::string reason) {
        findings.push_back(findingAt(area.origin, header.kind()->name, rule, concat(nameOf(area), ' ', what), std::move(reason)));
    };
    for (auto area = areas.begin(); area != areas.end(); ++area) {
        const SubscriberFields& fields = subscriberFields();
        const int width = (area->of == Area::Subscriber ? fields.subscriberInformation : fields.meterInformation).width;
        if (area->position < 0 || area->length < 0) {
            add(*area, "AreaIncomplete", "is incomplete", "expected a position and a length");
            continue;
        }
        const int end = area->position + area->length;
        if (end > width)
            add(*area, "AreaOutside", "is not inside of its text",
                concat("it takes the characters ", area->position, " to ", end - 1, " of ", width));
        const auto other = std::find_if(areas.begin(), area, [&](const Area& before) {
            return before.of == area->of && before.position >= 0 && before.length > 0 && area->length > 0 &&
                   before.position < end && area->position < before.position + before.length;
        });
        if (other != area) add(*area, "AreaOverlap", concat("overlaps ", nameOf(*other)).c_str(), "");
    }
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

}  // namespace

// Ranges of lines: a round begins with its round line; what comes before the first one is a round of its own if it has records.
RoundFile::RoundFile(std::unique_ptr<State> with) : state(std::move(with)) {
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

RoundFile RoundFile::read(Reader& reader) {
    auto state = std::make_unique<State>();
    for (const LineView& line : reader) {
        LineView& kept = state->lines.emplace_back(line);
        kept.content = state->keep(line.bytes());
        kept.isMapped = false;
        kept.room = nullptr;  // is that of the reader
    }
    return RoundFile(std::move(state));
}

RoundFile RoundFile::read(const std::filesystem::path& path, const ReadOptions& options) {
    Reader reader(path, options);
    return read(reader);
}

std::span<const LineView> RoundFile::lines() const { return state->lines; }
std::span<const Round> RoundFile::rounds() const { return state->rounds; }
std::span<const Orphan> RoundFile::orphans() const { return state->orphans; }

std::vector<Finding> RoundFile::findings() const {
    std::vector<Finding> findings;
    for (const Round& round : rounds()) {
        if (round.header()) findAreas(*round.header(), round.areas(), findings);
        for (const Meter& meter : round.meters())
            for (const LineView* line : meter.lines<EnquiryResultTramoModel>())
                if (const Field& page = answerFields().page; !round.page(textOr(*line, page)))
                    findings.push_back(findingAt({line->number(), page.column, page.width}, line->kind()->name, "PageUndefined",
                        concat("enquiry page \"", textOr(*line, page), "\" is not defined"), "the round has no such page"));
    }
    for (const auto& [line, _, reason] : state->orphans) {
        const Field& serial = *serialFieldOf(*line->kind());
        findings.push_back(findingAt({line->number(), serial.column, serial.width}, line->kind()->name, "LineWithoutMeter",
            concat(line->kind()->name, " line belongs to no meter"), reason));
    }
    std::ranges::stable_sort(
        findings, [](const Finding& a, const Finding& b) { return std::pair(a.line, a.column) < std::pair(b.line, b.column); });
    return findings;
}

void RoundFile::write(Writer& writer) const {
    for (const LineView& line : state->lines) writer.put(line);
}

}  // namespace tramo
