#include "repair/reference.h"
#include "common/encoding.h"
#include "model/fieldreading.h"
#include "repair/columnproof.h"
#include "repair/rawlines.h"
#include <algorithm>
#include <bitset>
#include <tuple>

namespace tramo {

namespace {

using Columns = std::bitset<recordLength>;
constexpr std::size_t mostCandidates = 16;

// The columns of an exported line that come back unchanged.
Columns masterColumns(const RecordKind& kind) {
    Columns columns;
    columns.set();
    for (const FieldReading& field : readingsOf(kind))
        for (std::size_t i = 0; field.returned && i < field.width; ++i) columns.reset(field.first + i);
    return columns;
}

// The counters at the end of a round come back changed.
bool isExported(const RecordKind& kind) { return kind.model != "RecordInformationTramoModel"; }

const Field* serialNumberOf(const RecordKind& kind) { return kind.field("meterSerialNumber"); }

std::uint64_t hashOf(wchar_t letter, std::wstring_view serialNumber) {
    constexpr std::uint64_t prime = 0x100000001B3;
    std::uint64_t hash = (0xCBF29CE484222325 ^ encoding::valueOf(letter)) * prime;
    for (const wchar_t c : serialNumber) hash = (hash ^ encoding::valueOf(c)) * prime;
    return hash;
}

std::wstring_view serialNumberIn(const RecordKind& kind, std::wstring_view line) {
    const Field* field = serialNumberOf(kind);
    return field ? rawText(line, *field) : std::wstring_view{};
}

}  // namespace

struct RepairReference::Index {
    struct Line {
        std::uint64_t offset, hash;
        wchar_t letter;
    };
    ReadBytes read;
    bool isUtf16 = false;
    std::vector<Line> lines{};
    std::vector<std::uint32_t> byHash{};

    SecretText textAt(std::size_t place) const {
        const std::size_t width = isUtf16 ? 2 : 1;
        SecretBytes bytes(recordLength * width, '\0');
        bytes.resize(read(lines[place].offset, bytes.data(), bytes.size()));
        SecretText text(bytes.size() / width, L' ');
        encoding::read(reinterpret_cast<const unsigned char*>(bytes.data()), text.size(), isUtf16, text.data());
        return text;
    }
    // The lines with this hash, in their order.
    std::span<const std::uint32_t> withHash(std::uint64_t hash) const {
        const auto first = std::ranges::lower_bound(byHash, hash, {}, [&](std::uint32_t place) { return lines[place].hash; });
        const auto last = std::ranges::upper_bound(byHash, hash, {}, [&](std::uint32_t place) { return lines[place].hash; });
        return {first, last};
    }
};

RepairReference::RepairReference(ReadBytes read) : index(std::make_unique<Index>(Index{std::move(read)})) {
    std::array<char, 2> mark{};
    index->isUtf16 = index->read(0, mark.data(), mark.size()) == mark.size() &&
                     std::string_view(mark.data(), mark.size()) == encoding::utf16Mark;
    const std::size_t width = index->isUtf16 ? 2 : 1;
    RawLines lines(index->read, {.skipped = index->isUtf16 ? encoding::utf16Mark.size() : 0, .width = width});
    SecretText text(recordLength, L' ');
    for (RawLine line; lines.next(line);) {
        if (line.isPart || line.bytes.size() < recordLength * width || line.bytes.size() > (recordLength + 2) * width) continue;
        encoding::read(reinterpret_cast<const unsigned char*>(line.bytes.data()), recordLength, index->isUtf16, text.data());
        const RecordKind* kind = recordKind(text.front());
        if (!kind || !isExported(*kind)) continue;
        index->lines.push_back({line.offset, hashOf(kind->letter, serialNumberIn(*kind, text)), kind->letter});
    }
    for (std::size_t i = 0; i < index->lines.size(); ++i) index->byHash.push_back(static_cast<std::uint32_t>(i));
    std::ranges::stable_sort(index->byHash, {}, [&](std::uint32_t place) { return index->lines[place].hash; });
}
RepairReference::~RepairReference() = default;
RepairReference::RepairReference(RepairReference&&) noexcept = default;
RepairReference& RepairReference::operator=(RepairReference&&) noexcept = default;

std::size_t RepairReference::lines() const { return index->lines.size(); }

void LineRealigner::pass(std::wstring_view record) {
    if (!reference || record.empty() || encoding::valueOf(record.front()) >= previous.size()) return;
    previous[encoding::valueOf(record.front())] = record;
}

// The exported lines with the serial number of this line, wherever that has moved to, and the one that follows the line before.
void LineRealigner::addCandidates(const RecordKind& kind, std::wstring_view text, std::vector<SecretText>& candidates) const {
    const RepairReference::Index& exported = *reference->index;
    std::vector<std::uint32_t> places;
    auto add = [&](std::uint32_t place) {
        if (places.size() < mostCandidates && std::ranges::find(places, place) == places.end()) places.push_back(place);
    };
    const Field* serial = serialNumberOf(kind);
    for (int moved = -mostCharactersMoved; moved <= mostCharactersMoved; ++moved) {
        const int first = serial ? serial->column - 1 + moved : 0;
        if (first < 0 || static_cast<std::size_t>(first) > text.size()) continue;
        const std::wstring_view found =
            serial ? text.substr(static_cast<std::size_t>(first), static_cast<std::size_t>(serial->width)) : std::wstring_view{};
        for (const std::uint32_t place : exported.withHash(hashOf(kind.letter, found))) add(place);
    }
    const SecretText& before = previous[encoding::valueOf(kind.letter)];
    if (serial && !before.empty())
        for (const std::uint32_t place : exported.withHash(hashOf(kind.letter, serialNumberIn(kind, before))))
            for (std::size_t next = place + 1; next < exported.lines.size(); ++next) {
                if (exported.lines[next].letter != kind.letter) continue;
                add(static_cast<std::uint32_t>(next));
                break;
            }
    for (const std::uint32_t place : places) {
        SecretText line = exported.textAt(place);
        if (line.size() == recordLength && line.front() == kind.letter) candidates.push_back(std::move(line));
    }
}

namespace {

// The lines that one damaged line may have been.
struct Realignments {
    std::vector<Realigned> lines{};
    bool isOpen = false;  // there are others, with characters that nobody knows

    void add(SecretText line, int characters) {
        if (std::ranges::find(lines, line, &Realigned::line) == lines.end()) lines.push_back({std::move(line), characters});
    }
};

// Undoes the loss (below 0) or the gain of characters at every place that gives the line the master data of the exported one.
void realign(std::wstring_view text, int characters, std::wstring_view exported, const Columns& master, Realignments& found) {
    const auto count = static_cast<std::size_t>(characters < 0 ? -characters : characters);
    const bool isLoss = characters < 0;
    const auto at = [&](std::size_t column) { return column < text.size() ? text[column] : L' '; };
    // The text before the place stays, the text after it moves: both must be those of the exported line.
    std::size_t last = 0;  // of the places
    while (last < recordLength && (!master[last] || at(last) == exported[last])) ++last;
    std::size_t first = recordLength;
    while (first > 0) {
        const std::size_t column = first - 1;
        if (isLoss && column < count) break;
        if (master[column] && at(isLoss ? column - count : column + count) != exported[column]) break;
        --first;
    }
    if (isLoss) first = first > count ? first - count : 1;
    first = std::max<std::size_t>(first, 1);
    last = std::min(last, recordLength - (isLoss ? count : 0));
    for (std::size_t place = first; place <= last; ++place) {
        SecretText line(text.substr(0, std::min(place, text.size())));
        line.resize(place, L' ');
        if (isLoss) {
            bool isKnown = true;
            for (std::size_t i = place; i < place + count; ++i) isKnown &= master[i];
            if (!isKnown) {
                found.isOpen = true;
                return;
            }
            line += exported.substr(place, count);
            if (place < text.size()) line += text.substr(place);
        } else if (place + count < text.size()) {
            line += text.substr(place + count);
        }
        line.resize(recordLength, L' ');
        found.add(std::move(line), characters);
    }
}

}  // namespace

std::optional<Realigned> LineRealigner::realigned(std::wstring_view text, bool isTrimmed) {
    if (!reference || text.empty()) return std::nullopt;
    const RecordKind* kind = recordKind(text.front());
    if (!kind || !isExported(*kind)) return std::nullopt;
    std::vector<SecretText> candidates;
    addCandidates(*kind, text, candidates);
    if (candidates.empty()) return std::nullopt;
    const Columns master = masterColumns(*kind);
    Realignments found;
    for (const SecretText& exported : candidates)
        for (int count = 1; count <= mostCharactersMoved; ++count) {
            const auto surplus = static_cast<std::size_t>(count);
            const bool mayBeLoss = text.size() + surplus == recordLength || (isTrimmed && text.size() + surplus < recordLength);
            const bool wasPadded = text.size() == recordLength &&
                                   text.substr(recordLength - surplus).find_first_not_of(L' ') == std::wstring_view::npos;
            if (mayBeLoss || wasPadded) realign(text.substr(0, recordLength - surplus), -count, exported, master, found);
            if (text.size() == recordLength + surplus || (isTrimmed && text.size() < recordLength + surplus))
                realign(text, count, exported, master, found);
        }
    if (found.isOpen || found.lines.size() != 1) return std::nullopt;
    if (unreadableFields(*kind, found.lines.front().line) > 0) return std::nullopt;
    return std::move(found.lines.front());
}

bool LineRealigner::hasMasterData(std::wstring_view line) {
    const RecordKind* kind = line.empty() ? nullptr : recordKind(line.front());
    if (!reference || !kind || !isExported(*kind) || line.size() != recordLength) return false;
    std::vector<SecretText> candidates;
    addCandidates(*kind, line, candidates);
    const Columns master = masterColumns(*kind);
    return std::ranges::any_of(candidates, [&](const SecretText& exported) {
        for (std::size_t i = 0; i < recordLength; ++i)
            if (master[i] && exported[i] != line[i]) return false;
        return true;
    });
}

}  // namespace tramo
