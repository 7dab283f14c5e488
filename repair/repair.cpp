#include "tramostream/repair.h"
#include "check/filerules.h"
#include "check/letters.h"
#include "check/mending.h"
#include "common/concat.h"
#include "common/encoding.h"
#include "repair/columnproof.h"
#include "repair/linemender.h"
#include "repair/plan.h"
#include "repair/rawlines.h"
#include "repair/resultcheck.h"
#include <algorithm>
#include <array>
#include <limits>

namespace tramo {

namespace {

// A record line of one byte for each character, which ends with CR LF: nearly all lines of nearly all files.
class PlainRecordLine {
public:
    // Returns whether the line is one. A no-break space may have to be mended.
    bool read(const RawLine& raw, const RepairPlan& plan) {
        if (plan.changesBytes() || plan.wrappedAt || raw.isPart || plan.kind != LineKind::Record) return false;
        if (raw.bytes.size() != (recordLength + 2) * plan.layout.width || !raw.isEnded || plan.layout.endsInReturn) return false;
        if (plan.layout.width == 1) {
            record = raw.bytes.substr(0, recordLength);
            if (raw.bytes.substr(recordLength) != "\r\n") return false;
        } else {
            if (raw.bytes.substr(2 * recordLength) != encoding::utf16LineEnd) return false;
            char high = 0;
            for (std::size_t i = 0; i < recordLength; ++i) {
                narrow[i] = raw.bytes[2 * i];
                high = static_cast<char>(high | raw.bytes[2 * i + 1]);
            }
            if (high != 0) return false;
            record = {narrow.data(), narrow.size()};
        }
        kind = recordKind(static_cast<wchar_t>(encoding::valueOf(record.front())));
        return kind && record.find('\xA0') == std::string_view::npos &&
               std::ranges::none_of(record, [](char c) { return encoding::valueOf(c) < ' '; });
    }

    std::string_view record{};
    const RecordKind* kind = nullptr;

private:
    std::array<char, recordLength> narrow{};
};

SecretText wide(std::string_view bytes) {
    SecretText text(bytes.size(), L' ');
    encoding::read(reinterpret_cast<const unsigned char*>(bytes.data()), text.size(), false, text.data());
    return text;
}

// What one reading of the damaged file shows.
struct Examination {
    std::vector<Finding> findings{};
    bool hasLines = true;
    std::optional<LineKind> kind{};
    std::size_t wrappedAt = 0;
    std::uint64_t lines = 0;
    std::uint64_t asUtf8 = 0, notUtf8 = 0, exactAsUtf8 = 0, lettersInUtf8 = 0;  // lines; letters
    std::uint64_t filled = 0, shortened = 0, tooLong = 0, endingWithSpace = 0, unlikeParameters = 0, withGaps = 0, unproven = 0;
    std::unordered_map<std::uint64_t, std::uint32_t> shapes{};
    Letters letters{std::numeric_limits<std::uint64_t>::max()};
    FindingCount found{};

    bool has(FileRule rule) const { return Diagnosis::bitsOf(findings) & bitOf(rule); }
};

}  // namespace

// One repair. Not nested in Repair, so that the library does not export it.
struct RepairWork {
    ReadBytes read;
    RepairOptions options;
    RepairPlan plan{};
    std::vector<Finding> diagnosed{}, left{};
    FindingCount found{};
    bool hasLines = true, mayHoldKeys = false;
    std::vector<MendedLines> mended{};
    std::uint64_t changedLines = 0, lines = 0;
    SomeLines withProposals{};
    std::vector<AcceptedProposal> unknown{};
    std::size_t accepted = 0;
    std::vector<FileRule> ofFile{};  // mended in the file as a whole

    void examine();
    bool understand(const Examination& now);
    bool understandEncoding(const Finding& finding);
    void attempt();
    FileHead headOf() const;
    Examination examination();
    void countFacts(const DecodedLine& line, const RawLine& raw, Examination& now) const;
    template <class UsePlain, class Use> void forEachMended(const RepairOutput* output, UsePlain usePlain, Use use);
    void count(std::uint32_t rules, std::int64_t line);
};

namespace {

constexpr std::size_t mostShapes = 4096;

bool isUtf8Certain(const Examination& now) {
    return now.asUtf8 > 0 && now.notUtf8 == 0 && (now.exactAsUtf8 > 0 || now.lettersInUtf8 >= 4);
}

}  // namespace

// The first bytes of the file, as the plan reads them.
FileHead RepairWork::headOf() const {
    if (!plan.changesBytes() && !plan.layout.endsInReturn && !plan.addsMark &&
        plan.layout.skipped == (plan.isUtf16() ? 2u : 0u)) {
        SecretBytes bytes(FileHead::size, '\0');
        const std::size_t size = read(0, bytes.data(), bytes.size());
        bytes.resize(size);
        return {bytes, size < FileHead::size};
    }
    RawLines raws(read, plan.layout);
    SecretBytes bytes;
    if (plan.isUtf16()) bytes = encoding::utf16Mark;
    bool isWhole = true;
    for (RawLine raw; raws.next(raw);) {
        if (bytes.size() >= FileHead::size) {
            isWhole = false;
            break;
        }
        DecodedLine line = decodedLine(raw, plan);
        line.text.append(plan.layout.endsInReturn ? line.lineFeed : line.returns, L'\r');
        if (line.lineFeed) line.text += L'\n';
        bytes += encoded(line.text, plan.isUtf16());
    }
    if (bytes.size() > FileHead::size) {
        bytes.resize(FileHead::size);
        isWhole = false;
    }
    return {bytes, isWhole, plan.isUtf16()};
}

void RepairWork::countFacts(const DecodedLine& line, const RawLine& raw, Examination& now) const {
    const std::wstring_view text = line.text;
    if (isBlankText(text)) return;
    ++now.filled;
    if (!plan.isUtf16()) now.letters.add(text);
    if (plan.utf8 == 0) {
        if (const std::optional<std::wstring> asUtf8 = readAsUtf8(text)) {
            ++now.asUtf8;
            now.lettersInUtf8 += text.size() - asUtf8->size();
            const std::size_t length = now.kind ? shapeOf(*now.kind).length : 0;
            now.exactAsUtf8 += length > 0 && tramo::mended(*asUtf8, now.kind).text.size() == length;
        } else {
            now.notUtf8 += breaksUtf8(text);
        }
    }
    if (now.wrappedAt || raw.isLast || tramo::mayHoldKeys(text)) return;
    const MendedLine plain = tramo::mended(text, now.kind);
    now.endingWithSpace += plain.text.ends_with(L' ');
    if (!now.kind) return;
    now.tooLong += plain.text.size() > shapeOf(*now.kind).length;
    now.unlikeParameters += !hasParameterKey(plain.text);
    if (plain.text.size() >= shapeOf(*now.kind).length) return;
    ++now.shortened;
    now.withGaps += std::wstring_view(plain.text).find(L"  ") != std::wstring_view::npos;
    const RecordKind* kind = *now.kind == LineKind::Record && !plain.text.empty() ? recordKind(plain.text.front()) : nullptr;
    if (*now.kind != LineKind::Record) return;
    now.unproven += !kind || !isShortenedOnly(*kind, plain.text);
    if (kind && now.shapes.size() < mostShapes) ++now.shapes[shapeHash(*kind, plain.text)];
}

Examination RepairWork::examination() {
    Examination now;
    const auto head = std::make_shared<const FileHead>(headOf());
    now.hasLines = head->hasLines();
    if (!now.hasLines) {
        now.findings.assign(head->findings().begin(), head->findings().end());
        return now;
    }
    now.kind = head->kind();
    now.wrappedAt = head->wrappedAt();
    plan.kind = now.kind;
    Diagnosis diagnosis(head);
    Checker checker(CheckOptions{.prevailing = head->kind()});
    RawLines raws(read, plan.layout);
    PlainRecordLine plain;
    for (RawLine raw; raws.next(raw);) {
        if (!raw.continues) ++now.lines;
        if (raw.isPart) {
            now.found.errors += !raw.continues;
            continue;
        }
        if (!now.wrappedAt && plain.read(raw, plan) && checker.countIfClean(*plain.kind, plain.record)) {
            diagnosis.clean(plain.record, raw.number);
            ++now.filled;
            now.endingWithSpace += plain.record.ends_with(' ') && !raw.isLast;
            if (std::ranges::any_of(plain.record, [](char c) { return encoding::valueOf(c) >= 0x80; })) {
                const DecodedLine line = decodedLine(raw, plan);
                if (!plan.isUtf16()) now.letters.add(line.text);
                now.notUtf8 += breaksUtf8(line.text);
                now.asUtf8 += !breaksUtf8(line.text);
            }
            continue;
        }
        const DecodedLine line = decodedLine(raw, plan);
        SourceLine source{.text = line.text, .carriageReturn = line.returns > 0, .lineFeed = line.lineFeed, .number = raw.number};
        SecretText withReturns;
        if (line.returns > 1) {
            withReturns = line.text;
            withReturns.append(line.returns - 1, L'\r');
            source.text = withReturns;
        }
        diagnosis.line(source);
        countFacts(line, raw, now);
    }
    now.findings = diagnosis.findings();
    return now;
}

// Learns from a file whose lines cannot be read as they are. Returns false if nothing can be done.
bool RepairWork::understandEncoding(const Finding& finding) {
    const auto is = [&](FileRule rule) { return finding.rule->name == rowOf(rule).name; };
    if (is(FileRule::LineEndingsCr) && !plan.layout.endsInReturn) {
        plan.layout.endsInReturn = true;
        return true;
    }
    if (plan.isUtf16() || plan.layout.skipped > 0) return false;
    if (is(FileRule::TextIsUtf8)) {
        plan.layout.skipped = encoding::utf8Mark.size();
        ofFile.push_back(FileRule::TextIsUtf8);
        return true;
    }
    if (is(FileRule::Utf16BigEndian)) {
        plan.layout = {.skipped = encoding::utf16BigMark.size(), .width = 2, .isBigEndian = true, .endsInReturn = false};
        plan.addsMark = true;
        ofFile.push_back(FileRule::Utf16BigEndian);
        return true;
    }
    if (is(FileRule::Utf16NoBom)) {
        std::array<char, 4096> bytes{};
        const std::size_t size = read(0, bytes.data(), bytes.size());
        std::array<std::size_t, 2> zeros{};
        for (std::size_t i = 0; i < size; ++i) zeros[i % 2] += bytes[i] == 0;
        plan.layout = {.skipped = 0, .width = 2, .isBigEndian = zeros[0] > zeros[1], .endsInReturn = false};
        plan.addsMark = true;
        ofFile.push_back(FileRule::Utf16NoBom);
        return true;
    }
    return false;
}

// Learns from an examination. Returns whether the file has to be examined again.
bool RepairWork::understand(const Examination& now) {
    if (!now.hasLines) return understandEncoding(now.findings.front());
    const bool isUtf8 = now.has(FileRule::TextIsUtf8) || now.has(FileRule::TextIsUtf8Twice) || plan.layout.skipped == 3;
    if (isUtf8 && plan.utf8 == 0 && !plan.codePage && isUtf8Certain(now)) {
        plan.utf8 = now.has(FileRule::TextIsUtf8Twice) ? 2 : 1;
        return true;
    }
    if (!plan.codePage && !plan.isUtf16() && (now.has(FileRule::DosText) || now.has(FileRule::MacText))) {
        plan.codePage = now.letters.certainCodePage();
        if (plan.codePage) return true;
    }
    if (plan.layout.skipped == encoding::utf8Mark.size() && plan.utf8 == 0 && now.notUtf8 > 0) {
        hasLines = false;  // a mark of UTF-8 before other text
        return false;
    }
    plan.wrappedAt = now.wrappedAt;
    plan.endsInLf = now.has(FileRule::LineEndingsLf);
    plan.endsInCrCrLf = now.has(FileRule::LineEndingsCrCrLf);
    plan.isDoubleSpaced = now.has(FileRule::DoubleSpaced);
    plan.hasLeadingSpaces = now.has(FileRule::LeadingSpace);
    // Nearly all records have several spaces in a row.
    const bool hasGaps = now.kind != LineKind::Record || now.withGaps * 2 > now.shortened;
    plan.isCollapsed = !hasGaps || now.has(FileRule::SpacesCollapsed) || now.has(FileRule::RightPartLost);
    plan.shapes = now.shapes;
    // Lines may also lack their right part.
    const bool areShortened = now.unproven <= 1 || now.unproven * 10 <= now.shortened;
    // Short tags may be parameters.
    const bool isKindCertain =
        now.kind == LineKind::Record || (now.tooLong == 0 && (now.kind != LineKind::Tag || now.unlikeParameters > 0));
    plan.isTrimmed = now.filled > 1 && now.shortened > 0 && now.endingWithSpace == 0 && areShortened && isKindCertain &&
                     !now.has(FileRule::RightPartLost);
    return false;
}

void RepairWork::count(std::uint32_t rules, std::int64_t line) {
    for (std::uint32_t rest = rules; rest; rest &= rest - 1) {
        const FileRuleRow& row = fileRules[std::countr_zero(rest)];
        auto ofRule = std::ranges::find(mended, row.name, [](const MendedLines& one) { return one.rule->name; });
        if (ofRule == mended.end()) ofRule = mended.insert(mended.end(), {ruleNamed(row.name), {}});
        if (line > 0) ofRule->lines.add(line);
    }
}

namespace {

// Lines that are perhaps parts of one line.
struct Part {
    DecodedLine line;
    RawLine raw;
    SecretBytes bytes;  // of `raw`
};

}  // namespace

// Calls `use(raw, line)` for each line of the file, or `usePlain(raw, record)` for records that need no repair. Lines that were
// broken come with their first part. `line` is nullptr for bytes that are copied.
template <class UsePlain, class Use> void RepairWork::forEachMended(const RepairOutput* output, UsePlain usePlain, Use use) {
    LineMender mender(plan, options);
    if (output) mender.report(*output);
    RawLines raws(read, plan.layout);
    Checker checker(CheckOptions{.prevailing = plan.kind});
    const std::size_t length = shapeOf(LineKind::Record).length;
    const std::size_t parts = plan.wrappedAt ? (length + plan.wrappedAt - 1) / plan.wrappedAt : 0;
    std::vector<Part> waiting;
    bool hasFailed = false;  // to join lines
    auto mendFirst = [&] {
        const Part part = std::move(waiting.front());
        waiting.erase(waiting.begin());
        RawLine raw = part.raw;
        raw.bytes = part.bytes;
        const MendedText line = mender.mend(raw);
        use(raw, &line);
    };
    PlainRecordLine plain;
    for (RawLine raw; raws.next(raw);) {
        if (raw.isPart) {
            while (!waiting.empty()) mendFirst();
            use(raw, nullptr);
            continue;
        }
        if (plain.read(raw, plan) && checker.countIfClean(*plain.kind, plain.record)) {
            if (options.reference) mender.pass(wide(plain.record));
            usePlain(raw, plain);
            continue;
        }
        if (parts == 0) {
            const MendedText line = mender.mend(raw);
            use(raw, &line);
            continue;
        }
        waiting.push_back({decodedLine(raw, plan), raw, SecretBytes(raw.bytes)});
        waiting.back().line.odd = {};
        if (waiting.size() < parts) continue;
        std::vector<DecodedLine> ofLine;
        for (const Part& part : waiting) ofLine.push_back(part.line);
        const std::optional<MendedText> joined = mender.join(ofLine, waiting.front().raw, waiting.back().raw, hasFailed);
        if (joined) use(waiting.front().raw, &*joined);
        else
            while (!waiting.empty()) mendFirst();
        hasFailed |= !joined;
        waiting.clear();
    }
    while (!waiting.empty()) mendFirst();
}

// Mends the file without writing it, and reads the result again.
void RepairWork::attempt() {
    mended.clear();
    changedLines = 0;
    withProposals = {};
    accepted = 0;
    unknown = options.accepted;
    for (const FileRule rule : ofFile) count(bitOf(rule), 0);
    ResultCheck result(plan.isUtf16());
    const RepairOutput output{.write = {}, .step = {}, .proposal = [&](const RepairProposal& proposal) {
                                  accepted += proposal.isAccepted;
                                  std::erase_if(unknown, [&](const AcceptedProposal& one) {
                                      return one.line == proposal.line && one.number == proposal.number;
                                  });
                              }};
    const auto addPlain = [&](const RawLine&, const PlainRecordLine& plain) {
        if (result.clean(*plain.kind, plain.record)) return;
        result.line(wide(plain.record), L"\r\n");
    };
    forEachMended(&output, addPlain, [&](const RawLine& raw, const MendedText* line) {
        if (!line) {
            if (!raw.continues) result.error();
            mayHoldKeys |= tramo::mayHoldKeys(decodedLine(raw, plan).text);
            return;
        }
        mayHoldKeys |= line->isKey;
        if (line->rules) {
            count(line->rules, raw.number);
            ++changedLines;
        }
        if (line->hasProposals && !line->isAccepted) withProposals.add(raw.number);
        if (!line->isDropped) result.line(line->text, line->ending);
    });
    result.end();
    left = result.diagnosed();
    found = result.findings();
    std::ranges::stable_sort(mended, {}, [](const MendedLines& one) { return one.rule - rules().data(); });
}

void RepairWork::examine() {
    std::array<char, 2> mark{};
    const std::size_t size = read(0, mark.data(), mark.size());
    if (std::string_view(mark.data(), size) == encoding::utf16Mark) plan.layout = {.skipped = 2, .width = 2};
    constexpr int mostReadings = 8;
    Examination now;
    for (int i = 0; i < mostReadings; ++i) {
        now = examination();
        for (Finding& finding : now.findings)
            if (std::ranges::none_of(diagnosed, [&](const Finding& other) { return other.rule == finding.rule; }))
                diagnosed.push_back(finding);
        if (!understand(now)) break;
    }
    hasLines &= now.hasLines;
    lines = now.lines;
    if (!hasLines) {
        left = diagnosed;
        unknown = options.accepted;
        return;
    }
    attempt();
}

struct Repair::State : RepairWork {};

Repair::Repair(ReadBytes read, RepairOptions options)
    : state(std::make_unique<State>(State{{std::move(read), std::move(options)}})) {
    state->examine();
}
Repair::~Repair() = default;
Repair::Repair(Repair&&) noexcept = default;
Repair& Repair::operator=(Repair&&) noexcept = default;

const std::vector<Finding>& Repair::diagnosed() const { return state->diagnosed; }
bool Repair::hasLines() const { return state->hasLines; }
const std::vector<MendedLines>& Repair::mended() const { return state->mended; }
std::uint64_t Repair::mendedLines() const { return state->changedLines; }
std::uint64_t Repair::lines() const { return state->lines; }
const SomeLines& Repair::linesWithProposals() const { return state->withProposals; }
std::size_t Repair::acceptedProposals() const { return state->accepted; }
const std::vector<AcceptedProposal>& Repair::unknownProposals() const { return state->unknown; }
bool Repair::mayHoldKeys() const { return state->mayHoldKeys; }
const std::vector<Finding>& Repair::left() const { return state->left; }
const FindingCount& Repair::findingsLeft() const { return state->found; }
bool Repair::isWell() const { return state->hasLines && state->left.empty() && state->found.errors == 0; }

namespace {

// Exchanges the bytes of each character.
SecretBytes swapped(std::string_view bytes) {
    SecretBytes other(bytes);
    for (std::size_t i = 0; i + 1 < other.size(); i += 2) std::swap(other[i], other[i + 1]);
    return other;
}

}  // namespace

void Repair::run(const RepairOutput& output) {
    if (!state->hasLines) return;
    State& own = *state;
    const bool isUtf16 = own.plan.isUtf16();
    const auto write = [&](std::string_view bytes) {
        if (output.write && !bytes.empty()) output.write(bytes);
    };
    if (isUtf16) write(encoding::utf16Mark);
    if (output.step)
        for (const FileRule rule : own.ofFile) {
            RepairStep step{.rule = ruleNamed(rowOf(rule).name)};
            step.proof = rule == FileRule::TextIsUtf8 ? "files of the format have no byte order mark (BOM) of UTF-8"
                                                      : "nearly every other byte of the file is zero";
            output.step(step);
        }
    const auto copy = [&](const RawLine& raw, const auto&) { write(raw.bytes); };
    own.forEachMended(&output, copy, [&](const RawLine& raw, const MendedText* line) {
        if (!line && own.plan.layout.isBigEndian) return write(swapped(raw.bytes));
        if (!line || line->isKept) return write(raw.bytes);
        if (line->isDropped) return;
        SecretText text = line->text;
        text += line->ending;
        write(encoded(text, isUtf16));
        if (isUtf16 && raw.bytes.size() % 2) write(raw.bytes.substr(raw.bytes.size() - 1));
    });
}

std::string repaired(std::string_view bytes, const RepairOptions& options) {
    Repair repair(readingFrom(bytes), options);
    if (!repair.hasLines()) return std::string(bytes);
    std::string out;
    repair.run({.write = [&](std::string_view some) { out += some; }});
    return out;
}

}  // namespace tramo
