#include "tramostream/diagnosis.h"
#include "check/filerules.h"
#include "check/letters.h"
#include "check/mending.h"
#include "check/shift.h"
#include "check/signatures.h"
#include "common/concat.h"
#include "common/encoding.h"
#include "tramostream/keyline.h"
#include <algorithm>
#include <bit>

namespace tramo {

namespace {

constexpr std::size_t fileRuleCount = std::size(fileRules);
constexpr std::size_t mostLost = 3;     // characters in a line that is not cut off
constexpr std::size_t leastZeros = 32;  // in a row: records have single ones

Finding fileFinding(FileRule rule, std::string sentence, std::string reason = {}) {
    Finding finding = findingOf(rowOf(rule).name, std::move(sentence), std::move(reason));
    finding.hint = rowOf(rule).remedy;
    finding.excerpt = false;
    return finding;
}

// Lines in memory

struct TextLine {
    SecretText text{};
    bool carriageReturn = false, lineFeed = false;
};

// At most this many bytes of the lines, without an incomplete last one unless the file ends there.
std::vector<TextLine> linesIn(std::string_view bytes, bool isUtf16, bool isWhole, std::size_t most) {
    const std::size_t width = isUtf16 ? 2 : 1, count = std::min(bytes.size(), most) / width;
    SecretText text(count, L' ');
    encoding::read(reinterpret_cast<const unsigned char*>(bytes.data()), count, isUtf16, text.data());
    std::wstring_view rest = text;
    std::vector<TextLine> lines;
    while (!rest.empty()) {
        const std::size_t feed = rest.find(L'\n');
        if (feed == std::wstring_view::npos && !(isWhole && bytes.size() <= most)) break;
        std::wstring_view line = rest.substr(0, feed);
        rest.remove_prefix(line.size() + (feed != std::wstring_view::npos));
        const bool hasReturn = line.ends_with(L'\r');
        line.remove_suffix(hasReturn);
        lines.push_back({SecretText(line), hasReturn, feed != std::wstring_view::npos});
    }
    return lines;
}

std::wstring_view withoutReturns(std::wstring_view text) { return text.substr(0, text.find_last_not_of(L'\r') + 1); }

bool startsRecord(std::wstring_view text) { return !text.empty() && isRecordLetter(text.front()); }

const RecordKind* kindOfRecord(std::wstring_view text) { return text.empty() ? nullptr : recordKind(text.front()); }

// Whether the text is a valid record when it is padded with spaces.
bool isValidPadded(std::wstring_view text) {
    const RecordKind* kind = kindOfRecord(text);
    return kind && text.size() <= static_cast<std::size_t>(kind->length) && invalidFields(*kind, text) == 0;
}

// Whether the text, padded, lacks values that its right part should hold.
bool lacksRightPart(std::wstring_view text) {
    const RecordKind* kind = kindOfRecord(text);
    if (!kind) return true;
    SecretText padded(text);
    padded.resize(static_cast<std::size_t>(kind->length), L' ');
    std::vector<Finding> findings;
    checkFields(LineKind::Record, padded, false, findings);
    return !findings.empty();
}

// The length of most zeros in a row.
std::size_t longestZeros(std::wstring_view text) {
    std::size_t longest = 0, now = 0;
    for (const wchar_t c : text) {
        now = c == 0 ? now + 1 : 0;
        longest = std::max(longest, now);
    }
    return longest;
}

// The kinds of lines

std::optional<LineKind> kindOfLines(const std::vector<TextLine>& lines) {
    std::size_t all = 0, keys = 0, letters = 0, longest = 0, tags = 0, parameters = 0;
    for (const TextLine& line : lines) {
        const std::wstring_view text = withoutReturns(line.text);
        if (isBlankText(text) || text == L"\x1A") continue;
        ++all;
        if (mayHoldKeys(text)) {
            ++keys;
            continue;
        }
        const MendedLine plain = mended(text, std::nullopt);
        const std::wstring_view whole = plain.text, begun = whole.substr(std::min(whole.find_first_not_of(L' '), whole.size()));
        letters += startsRecord(begun);
        longest = std::max(longest, whole.size());
        auto fits = [&](LineKind kind) {
            const std::size_t length = shapeOf(kind).length;
            return whole.size() == length || (begun.size() < whole.size() && begun.size() == length);
        };
        tags += fits(LineKind::Tag);
        parameters += fits(LineKind::Parameter);
    }
    if (all == 0) return std::nullopt;
    if (keys * 2 >= all) return LineKind::Key;
    if (tags * 2 >= all) return LineKind::Tag;
    if (parameters * 2 >= all) return LineKind::Parameter;
    const std::size_t tag = shapeOf(LineKind::Tag).length, parameter = shapeOf(LineKind::Parameter).length;
    if (longest <= tag) return LineKind::Tag;
    if (longest <= parameter) return LineKind::Parameter;
    return letters > 0 ? std::optional(LineKind::Record) : std::nullopt;
}

// Lines of a length that is not the format's. How lines were broken or lost their right part shows only in several lines.
struct Width {
    std::size_t wrapped = 0, lost = 0;
};

bool isValidJoined(std::span<const TextLine> parts, std::size_t width) {
    SecretText joined;
    for (const TextLine& part : parts) {
        if (part.text.size() > width) return false;
        joined.resize((joined.size() + width - 1) / width * width, L' ');  // the part before, with its trailing spaces
        joined += std::wstring_view(part.text);
    }
    return isValidPadded(joined);
}

Width widthOf(std::vector<TextLine> lines) {
    for (TextLine& line : lines) line.text.resize(withoutReturns(line.text).size());
    if (!lines.empty() && lines.back().text == L"\x1A") lines.pop_back();
    const std::size_t length = shapeOf(LineKind::Record).length;
    std::size_t width = 0;
    for (const TextLine& line : lines) width = std::max(width, line.text.size());
    if (width == 0 || width >= length) return {};

    std::size_t filled = 0, full = 0, begun = 0, alone = 0, spaceAtEnd = 0, lacking = 0;
    for (const TextLine& line : lines) {
        const std::wstring_view text = line.text;
        if (isBlankText(text)) continue;
        ++filled;
        begun += startsRecord(text);
        alone += isValidPadded(text);
        if (text.size() < width) continue;
        ++full;
        spaceAtEnd += text.ends_with(L' ');
        lacking += lacksRightPart(text);
    }
    if (filled < 2) return {};
    const std::size_t parts = (length + width - 1) / width;
    std::size_t groups = 0, joined = 0;
    for (std::size_t i = 0; i < lines.size(); i += parts) {
        const auto group = std::span(lines).subspan(i, std::min(parts, lines.size() - i));
        ++groups;
        joined += isValidJoined(group, width);
    }
    // Lines that lost their right half may look wrapped: two of them together have the length of one.
    const bool isEnough = joined * 10 >= groups * 9 && groups > 0;
    if (isEnough && (groups - joined) * filled < (filled - alone) * groups) return {.wrapped = width};
    const bool isCut = spaceAtEnd > 0 || lacking * 2 >= full;
    if (full * 2 >= filled && full > 1 && begun * 10 >= filled * 9 && isCut) return {.lost = width};
    return {};
}

// The order of bytes in UTF-16 without its mark: nearly every other byte is zero.
std::optional<std::endian> orderOfUnmarked(std::string_view bytes) {
    std::size_t zeros[2] = {0, 0};
    const std::size_t pairs = std::min<std::size_t>(bytes.size(), 4096) / 2;
    for (std::size_t i = 0; i < 2 * pairs; ++i) zeros[i % 2] += bytes[i] == 0;
    if (pairs < 8) return std::nullopt;
    if (zeros[1] * 10 > pairs * 9 && zeros[0] * 10 < pairs) return std::endian::little;
    if (zeros[0] * 10 > pairs * 9 && zeros[1] * 10 < pairs) return std::endian::big;
    return std::nullopt;
}

// Whether the first lines have the length of a kind and end with CR LF.
bool areUsual(const std::vector<TextLine>& lines) {
    constexpr std::size_t enough = 4;
    for (std::size_t i = 0; i < std::min(enough, lines.size()); ++i) {
        const TextLine& line = lines[i];
        if (!line.carriageReturn || !line.lineFeed) return false;
        const bool isRecord = line.text.size() == shapeOf(LineKind::Record).length && startsRecord(line.text);
        if (!isRecord && line.text.size() != shapeOf(LineKind::Tag).length &&
            line.text.size() != shapeOf(LineKind::Parameter).length)
            return false;
    }
    return !lines.empty();
}

// Why bytes that a byte order mark does not show to be UTF-16 are no text in ANSI.
std::optional<Finding> whyUnreadable(std::string_view bytes, bool isAnsiChosen) {
    if (bytes.find_first_not_of('\0') == std::string_view::npos)
        return fileFinding(FileRule::NulBlock, "the file contains zero bytes only: its contents were never written");
    if (const std::string_view name = otherFormatOf(bytes); !name.empty())
        return fileFinding(FileRule::NotExchangeFile, concat("this is ", name, ", not an exchange file"));
    if (isAnsiChosen) return std::nullopt;
    if (bytes.starts_with(encoding::utf8Mark))
        return fileFinding(FileRule::TextIsUtf8, "the text is UTF-8", "it begins with the byte order mark (BOM) EF BB BF");
    if (bytes.starts_with(encoding::utf16BigMark))
        return fileFinding(FileRule::Utf16BigEndian, "the text is big-endian UTF-16, with the byte order mark (BOM) FE FF",
            "expected little-endian UTF-16 with the mark FF FE");
    if (const std::optional<std::endian> order = orderOfUnmarked(bytes))
        return fileFinding(FileRule::Utf16NoBom,
            concat(
                "the text is ", order == std::endian::big ? "big" : "little", "-endian UTF-16 without a byte order mark (BOM)"),
            "expected little-endian UTF-16 with the mark FF FE");
    return std::nullopt;
}

// Lines that end in CR only are one line for every reader.
std::optional<Finding> whyOneLine(const std::vector<TextLine>& lines, bool isWhole) {
    if (lines.size() != 1 || lines.front().lineFeed) return std::nullopt;
    const auto returns = std::ranges::count(withoutReturns(lines.front().text), L'\r');
    if (returns == 0) return std::nullopt;
    return fileFinding(FileRule::LineEndingsCr, "lines end in CR instead of CR LF",
        concat(isWhole ? "" : "at least ", counted(static_cast<unsigned long long>(returns) + 1, "line")));
}

}  // namespace

bool isAboutFile(const Rule& rule) {
    return std::ranges::any_of(fileRules, [&](const FileRuleRow& row) { return row.name == rule.name; });
}

FileHead::FileHead(std::string_view bytes, bool isWhole, std::optional<bool> isUtf16) {
    utf16 = isUtf16.value_or(bytes.starts_with(encoding::utf16Mark));
    std::string_view text = bytes;
    if (utf16 && bytes.starts_with(encoding::utf16Mark)) text.remove_prefix(encoding::utf16Mark.size());
    if (text.empty()) return;
    constexpr std::size_t firstLines = 4 * 1024, mostOfLines = 64 * 1024;
    if (const auto first = linesIn(text, utf16, isWhole, firstLines); areUsual(first)) {
        lineKind = kindOfLines(first);
        return;
    }
    std::optional<Finding> why;
    if (!utf16) why = whyUnreadable(bytes, isUtf16.has_value());
    if (!why) why = whyOneLine(linesIn(text, utf16, true, size), isWhole);
    readable = !why;
    if (why) {
        certain.push_back(std::move(*why));
        return;
    }
    const auto lines = linesIn(text, utf16, isWhole, mostOfLines);
    lineKind = kindOfLines(lines);
    if (lineKind != LineKind::Record) return;
    const Width width = widthOf(lines);
    wrapped = width.wrapped;
    lost = width.lost;
}

void SomeLines::add(const SomeLines& next) {
    for (std::size_t i = 0; i < next.first.size() && i < next.count && count + i < first.size(); ++i)
        first[static_cast<std::size_t>(count) + i] = next.first[i];
    count += next.count;
}

namespace {

// What one line shows.
struct LineFacts {
    std::int64_t number = 0;
    std::uint32_t signs = 0;     // rules that the line is an instance of
    std::uint32_t possible = 0;  // and those that it would be an instance of as the last line
    std::size_t size = 0;        // mended
    wchar_t letter = 0;
    bool isBlank = false, lineFeed = true, carriageReturn = true, isComplete = false, isShort = false, isKey = false,
         endsWithSpace = false, isControlZ = false, isFullRecord = false;
    std::size_t zeros = 0;
    std::optional<Shift> shift{};

    void sign(FileRule rule) { signs |= bitOf(rule); }
    bool has(FileRule rule) const { return signs & bitOf(rule); }
};

struct ShiftedLine {
    std::int64_t line = 0;
    Shift shift{};
};

bool isCollapsed(std::wstring_view text) {
    return text.find(L"  ") == std::wstring_view::npos && std::ranges::count(text, L' ') >= 3;
}

}  // namespace

struct Diagnosis::Facts {
    static constexpr int mostAttempts = 16;  // without success, in one part of the file

    std::array<SomeLines, fileRuleCount> of{};
    SomeLines withLetters{};
    std::uint64_t lines = 0, filled = 0, feeds = 0, blankPairs = 0, complete = 0, padded = 0, tooShort = 0, zeros = 0;
    bool previousIsBlank = false, firstIsBlank = false;
    Letters letters{};
    std::array<std::uint16_t, 128> shortest{};  // of trimmed lines, by letter; 0: none
    std::optional<ShiftedLine> firstLost{}, firstAdded{};
    std::optional<LineFacts> last{};  // not counted yet
    std::uint32_t lastPossible = 0;   // of the last call of line()
    int attempts = 0;

    SomeLines& linesOf(FileRule rule) { return of[static_cast<std::size_t>(rule)]; }
    const SomeLines& linesOf(FileRule rule) const { return of[static_cast<std::size_t>(rule)]; }

    void addLine(bool isBlank) {
        if (lines == 0) firstIsBlank = isBlank;
        ++lines;
        filled += !isBlank;
        blankPairs += isBlank && previousIsBlank;
        previousIsBlank = isBlank;
    }

    // Counts the line that was the last one.
    void settle() {
        if (!last) return;
        count(*last);
        last.reset();
    }

    void count(const LineFacts& line) {
        for (std::uint32_t signs = line.signs; signs; signs &= signs - 1)
            of[static_cast<std::size_t>(std::countr_zero(signs))].add(line.number);
        feeds += line.lineFeed;
        complete += line.isComplete;
        padded += line.isComplete && line.endsWithSpace;
        tooShort += line.isShort && !line.has(FileRule::Trimmed);
        zeros = std::max<std::uint64_t>(zeros, line.zeros);
        if (line.has(FileRule::Trimmed) && encoding::valueOf(line.letter) < shortest.size()) {
            std::uint16_t& least = shortest[encoding::valueOf(line.letter)];
            const auto size = static_cast<std::uint16_t>(line.size);
            if (least == 0 || size < least) least = size;
        }
        if (line.shift) {
            std::optional<ShiftedLine>& first = line.shift->characters < 0 ? firstLost : firstAdded;
            if (!first) first = {line.number, *line.shift};
        }
    }

    LineFacts factsOf(const SourceLine& line, const FileHead& head);
    void examineText(LineFacts& facts, std::wstring_view text, const FileHead& head);
};

LineFacts Diagnosis::Facts::factsOf(const SourceLine& line, const FileHead& head) {
    LineFacts facts{.number = line.number, .lineFeed = line.lineFeed, .carriageReturn = line.carriageReturn};
    std::wstring_view text = line.text;
    facts.size = line.size();
    const LineKind kind = head.kind().value_or(LineKind::Record);
    const std::size_t length = shapeOf(kind).length;
    const bool isInsteadOfReturn = length && text.size() == length + 1 && line.lineFeed && !line.carriageReturn &&
                                   !mayHoldKeys(text) && mended(text, kind).text.size() == text.size();  // another character
    if (line.lineFeed && !line.carriageReturn && !isInsteadOfReturn) facts.sign(FileRule::LineEndingsLf);
    if (isInsteadOfReturn) text = text.substr(0, length);
    facts.zeros = longestZeros(text);
    if (facts.zeros >= leastZeros) {
        facts.sign(FileRule::NulBlock);
        return facts;
    }
    facts.zeros = 0;
    if (line.lineFeed && line.carriageReturn && text.ends_with(L'\r')) {
        text = withoutReturns(text);
        facts.sign(FileRule::LineEndingsCrCrLf);
    }
    if (text.ends_with(L'\x1A')) {
        facts.isControlZ = true;
        facts.possible |= bitOf(FileRule::CtrlZ);
        text = text.substr(0, text.find_last_not_of(L'\x1A') + 1);
    }
    facts.isBlank = isBlankText(text);
    if (facts.isBlank) {
        if (!facts.isControlZ) facts.sign(head.wrappedAt() ? FileRule::Wrapped : FileRule::BlankLines);
        return facts;
    }
    if (line.facts) return facts;
    facts.isKey = kind == LineKind::Key || mayHoldKeys(text);
    if (facts.isKey) {
        facts.isComplete = !line.lineFeed && !parseKeyLine(text).error;
        facts.isShort = !line.lineFeed && !facts.isComplete;
        return facts;
    }
    if (letters.add(text)) withLetters.add(line.number);
    if (head.wrappedAt()) {
        if (text.size() <= head.wrappedAt()) facts.sign(FileRule::Wrapped);
        facts.isComplete = true;
        return facts;
    }
    if (head.lostAfter()) {
        if (text.size() <= head.lostAfter()) facts.sign(FileRule::RightPartLost);
        facts.isComplete = true;
        return facts;
    }
    if (head.kind()) examineText(facts, text, head);
    return facts;
}

void Diagnosis::Facts::examineText(LineFacts& facts, std::wstring_view text, const FileHead& head) {
    const LineKind kind = *head.kind();
    const std::size_t length = shapeOf(kind).length;
    const MendedLine line = mended(text, kind);
    const std::wstring_view whole = line.text;
    facts.size = whole.size();
    facts.letter = whole.empty() ? 0 : whole.front();
    facts.endsWithSpace = whole.ends_with(L' ');
    facts.isComplete = whole.size() == length;
    facts.isShort = whole.size() < length;
    const RecordKind* record = kind == LineKind::Record ? kindOfRecord(whole) : nullptr;
    const bool isValid = kind != LineKind::Record || (record && whole.size() <= length && invalidFields(*record, whole) == 0);
    const bool isTrimmed = facts.isShort && !facts.endsWithSpace && isValid;

    auto sign = [&](bool is, FileRule rule) {
        if (is) facts.sign(rule);
    };
    sign(line.utf8 && !line.utf8Twice, FileRule::TextIsUtf8);
    sign(line.utf8Twice, FileRule::TextIsUtf8Twice);
    sign(line.quoted, FileRule::Quoted);
    sign(line.leadingSpace && (facts.isComplete || isTrimmed), FileRule::LeadingSpace);
    sign(line.tabs && text.size() != length, FileRule::Tabs);
    sign(line.noBreakSpaces, FileRule::NoBreakSpaces);
    const bool collapsed = facts.isShort && isCollapsed(whole);
    sign(collapsed, FileRule::SpacesCollapsed);
    sign(isTrimmed, FileRule::Trimmed);
    if (collapsed || isTrimmed || !record || attempts == mostAttempts) return;
    if (facts.isComplete && isValid) return;
    const bool isOnlyPadded = whole.size() > length && isBlankText(whole.substr(length));
    if (isOnlyPadded && invalidFields(*record, whole) == 0) return;
    facts.shift = shiftOf(*record, whole);
    if (facts.shift) facts.sign(facts.shift->characters < 0 ? FileRule::CharacterLost : FileRule::CharacterAdded);
    else ++attempts;
}

Diagnosis::Diagnosis(std::shared_ptr<const FileHead> firstBytes)
    : found(std::make_unique<Facts>()), beginning(std::move(firstBytes)) {}
Diagnosis::~Diagnosis() = default;
Diagnosis::Diagnosis(Diagnosis&&) noexcept = default;
Diagnosis& Diagnosis::operator=(Diagnosis&&) noexcept = default;

void Diagnosis::line(const SourceLine& line) {
    if (!beginning->hasLines()) return;
    found->settle();
    LineFacts now = found->factsOf(line, *beginning);
    found->addLine(now.isBlank);
    now.possible |= now.signs;
    if (!now.lineFeed) now.possible |= bitOf(FileRule::LastLineEnding);
    if (now.isShort) now.possible |= bitOf(FileRule::CutOff);
    if (now.isBlank) now.possible |= bitOf(FileRule::DoubleSpaced);
    found->lastPossible = now.possible;
    found->last = now;
}

void Diagnosis::clean(std::string_view record, std::int64_t number) {
    found->settle();
    found->addLine(false);
    ++found->feeds;
    ++found->complete;
    found->padded += record.ends_with(' ');
    if (!beginning->isUtf16() && found->letters.add(record)) found->withLetters.add(number);
}

Diagnosis& Diagnosis::operator+=(const Diagnosis& next) {
    Facts& own = *found;
    const Facts& other = *next.found;
    if (other.lines == 0) return *this;
    own.settle();
    for (std::size_t i = 0; i < own.of.size(); ++i) own.of[i].add(other.of[i]);
    own.withLetters.add(other.withLetters);
    own.blankPairs += other.blankPairs + (own.previousIsBlank && other.firstIsBlank);
    if (own.lines == 0) own.firstIsBlank = other.firstIsBlank;
    own.previousIsBlank = other.previousIsBlank;
    own.lines += other.lines;
    own.filled += other.filled;
    own.feeds += other.feeds;
    own.complete += other.complete;
    own.padded += other.padded;
    own.tooShort += other.tooShort;
    own.zeros = std::max(own.zeros, other.zeros);
    own.letters += other.letters;
    for (std::size_t i = 0; i < own.shortest.size(); ++i)
        if (other.shortest[i] && (own.shortest[i] == 0 || other.shortest[i] < own.shortest[i]))
            own.shortest[i] = other.shortest[i];
    if (!own.firstLost) own.firstLost = other.firstLost;
    if (!own.firstAdded) own.firstAdded = other.firstAdded;
    own.last = other.last;
    return *this;
}

namespace {

enum Category : unsigned { ofEnding = explained::ending, ofShape = explained::shape, ofFields = explained::fields };

Category categoryOf(const Rule& rule) {
    static const Rule* const endings[] = {ruleNamed("LineEndWithoutCR"), ruleNamed("LineEndMissing")};
    static const Rule* const shapes[] = {ruleNamed("LineEmpty"), ruleNamed("LineTooShort"), ruleNamed("LineTooLong"),
        ruleNamed("LineKindUnknown"), ruleNamed("LineLetterUnknown")};
    if (std::ranges::find(endings, &rule) != std::end(endings)) return ofEnding;
    return std::ranges::find(shapes, &rule) != std::end(shapes) ? ofShape : ofFields;
}

}  // namespace

std::uint32_t Diagnosis::explanations(const Finding& finding, bool isLastLine) const {
    const unsigned category = categoryOf(*finding.rule);
    std::uint32_t bits = 0;
    constexpr std::uint32_t lastOnly = bitOf(FileRule::CutOff) | bitOf(FileRule::LastLineEnding) | bitOf(FileRule::CtrlZ);
    for (std::uint32_t rest = found->lastPossible & (isLastLine ? ~std::uint32_t{0} : ~lastOnly); rest; rest &= rest - 1) {
        const int rule = std::countr_zero(rest);
        if (fileRules[rule].explains & category) bits |= std::uint32_t{1} << rule;
    }
    return bits;
}

std::uint32_t Diagnosis::bitsOf(std::span<const Finding> diagnosed) {
    std::uint32_t bits = 0;
    for (const Finding& finding : diagnosed)
        for (const FileRuleRow& row : fileRules)
            if (row.name == finding.rule->name) bits |= bitOf(row.rule);
    return bits;
}

namespace {

// "line 20", "lines 3 and 20", "the first are 3, 20 and 21".
std::string numbersOf(const SomeLines& some) {
    const std::size_t shown = std::min<std::size_t>(static_cast<std::size_t>(some.count), some.first.size());
    std::string words = some.count > shown ? "the first are " : shown > 1 ? "lines " : "line ";
    for (std::size_t i = 0; i < shown; ++i)
        words += (i == 0 ? "" : i + 1 == shown ? " and " : ", ") + std::to_string(some.first[i]);
    return words;
}

// "169 of 172 lines, the first are 1, 2 and 3".
std::string inWords(const SomeLines& some, std::uint64_t all) {
    if (some.count == all) return all == 1 ? "the only line" : concat("all ", all, " lines");
    return concat(some.count, " of ", counted(all, "line"), some.count > some.first.size() ? ", " : ": ", numbersOf(some));
}

std::string shiftInWords(const ShiftedLine& shifted) {
    const auto [line, shift] = shifted;
    const auto characters = static_cast<unsigned long long>(shift.characters < 0 ? -shift.characters : shift.characters);
    return concat("line ", line, shift.characters < 0 ? " lacks " : " has ", counted(characters, "character"),
        shift.characters < 0 ? "" : " too many", ", most likely in ", shift.field->name, ": every field after column ",
        shift.field->column, " is shifted");
}

}  // namespace

std::vector<Finding> Diagnosis::findings() const {
    std::vector<Finding> all(beginning->findings().begin(), beginning->findings().end());
    if (!beginning->hasLines()) return all;

    // The last line is counted here, because it means something else than the others.
    Diagnosis copy(beginning);
    copy += *this;
    Facts& file = *copy.found;
    const std::optional<LineFacts> last = std::exchange(file.last, std::nullopt);
    const SomeLines before = file.linesOf(FileRule::Trimmed);

    auto add = [&](FileRule rule, std::string sentence, const SomeLines& some, std::string reason = {}) {
        Finding finding = fileFinding(rule, std::move(sentence), std::move(reason));
        finding.lines = some;
        all.push_back(std::move(finding));
    };
    auto addLines = [&](FileRule rule, std::string sentence) {
        const SomeLines& some = file.linesOf(rule);
        add(rule, std::move(sentence), some, inWords(some, file.filled));
    };
    auto addLast = [&](FileRule rule, std::string sentence) {
        SomeLines one;
        one.add(last->number);
        add(rule, std::move(sentence), one);
        all.back().line = last->number;
    };
    const LineKind kind = beginning->kind().value_or(LineKind::Record);
    const std::size_t length = shapeOf(kind).length;

    // A torn last line: other lines of its record kind, if trimmed, are longer.
    bool isCut = false;
    if (last && last->isShort && !last->isControlZ && beginning->kind()) {
        const bool isTrimmed = last->has(FileRule::Trimmed);
        const bool areOthersTrimmed = before.count > 0 && file.padded == 0;
        if (last->isKey) {
            isCut = true;
        } else if (areOthersTrimmed && isTrimmed) {
            const bool isAscii = encoding::valueOf(last->letter) < file.shortest.size();
            const std::uint16_t least = isAscii ? file.shortest[encoding::valueOf(last->letter)] : std::uint16_t{0};
            isCut = kind == LineKind::Record && !last->lineFeed && least > 0 && last->size < least;
        } else {
            const bool areOthersComplete = file.complete > 0;
            isCut = !last->lineFeed || areOthersComplete || last->endsWithSpace;
            const bool isNearlyComplete = last->size + mostLost >= length;
            if (last->lineFeed && last->has(FileRule::CharacterLost) && (isNearlyComplete || areOthersTrimmed)) isCut = false;
            if (file.linesOf(FileRule::SpacesCollapsed).count > 0) isCut = false;
        }
    }
    if (last) {
        LineFacts counted = *last;
        if (isCut)
            counted.signs &= ~(bitOf(FileRule::Trimmed) | bitOf(FileRule::CharacterLost) | bitOf(FileRule::SpacesCollapsed));
        if (isCut) counted.shift.reset();
        if (isCut) counted.isShort = false;
        file.count(counted);
    }

    const std::uint64_t filled = file.filled;
    auto isMost = [&](const SomeLines& some, std::uint64_t of) { return some.count > 0 && some.count * 2 >= of; };

    if (file.linesOf(FileRule::NulBlock).count)
        add(FileRule::NulBlock,
            concat("the file contains ", counted(file.zeros, "zero character"),
                " in a row: a part of it was never written, or was lost"),
            file.linesOf(FileRule::NulBlock), inWords(file.linesOf(FileRule::NulBlock), file.lines));
    if (isCut)
        addLast(FileRule::CutOff,
            last->isKey ? std::string("the last line is half of a key line: the file was cut off")
                        : concat("the last line ends after ", last->size, " of ", length, " characters: the file was cut off"));

    // Encodings
    const SomeLines &once = file.linesOf(FileRule::TextIsUtf8), &twice = file.linesOf(FileRule::TextIsUtf8Twice);
    if (once.count + twice.count > 0) {
        if (once.count >= twice.count)
            addLines(FileRule::TextIsUtf8, "the text is UTF-8: accented letters take two bytes and moved the columns");
        else
            addLines(FileRule::TextIsUtf8Twice,
                "the text was converted to UTF-8 twice: accented letters take four bytes and moved the columns");
    } else if (!beginning->isUtf16() && file.withLetters.count > 0) {
        const CodePage page = file.letters.codePage();
        auto addPage = [&](FileRule rule, std::string_view name) {
            add(rule, concat("the text is in ", name, ": accented letters are read as other characters"), file.withLetters,
                inWords(file.withLetters, filled));
        };
        if (page == CodePage::Dos850) addPage(FileRule::DosText, "a code page of DOS (850)");
        if (page == CodePage::Dos437) addPage(FileRule::DosText, "a code page of DOS (437)");
        if (page == CodePage::MacRoman) addPage(FileRule::MacText, "Mac Roman");
    }

    // Line endings
    if (filled > 0 && isMost(file.linesOf(FileRule::LineEndingsLf), file.feeds))
        addLines(FileRule::LineEndingsLf, "lines end in LF instead of CR LF");
    if (isMost(file.linesOf(FileRule::LineEndingsCrCrLf), file.feeds))
        addLines(FileRule::LineEndingsCrCrLf, "lines end in CR CR LF instead of CR LF");
    const SomeLines& blank = file.linesOf(FileRule::BlankLines);
    const bool isDouble =
        blank.count > 0 && filled > 1 && file.blankPairs == 0 && blank.count + 1 >= filled && blank.count <= filled + 1;
    if (isDouble) add(FileRule::DoubleSpaced, "every second line is blank", blank);
    const bool isNul = file.linesOf(FileRule::NulBlock).count > 0;
    if (last && !last->lineFeed && !last->isBlank && !isCut && !isNul && (last->isComplete || last->isShort))
        addLast(FileRule::LastLineEnding,
            last->carriageReturn ? "the last line ends with CR alone" : "the last line has no line ending");
    if (last && last->isControlZ) addLast(FileRule::CtrlZ, "the file ends with the end-of-file character of DOS (1A)");
    if (blank.count > 0 && !isDouble) {
        if (filled == 0) add(FileRule::BlankLines, "the file contains only blank lines", blank);
        else
            add(FileRule::BlankLines, concat("the file contains ", counted(blank.count, "blank line")), blank,
                inWords(blank, file.lines));
    }

    // Columns
    const SomeLines &collapsed = file.linesOf(FileRule::SpacesCollapsed), &trimmed = file.linesOf(FileRule::Trimmed);
    const bool areCollapsed = collapsed.count > 0 && collapsed.count * 10 >= filled * 9;
    if (trimmed.count > 0 && !areCollapsed) {
        const bool areAll = file.tooShort == 0;
        addLines(
            FileRule::Trimmed, concat("trailing spaces were removed from ", trimmed.count, " of ", counted(filled, "line"),
                                   areAll ? "; padded, all of them are valid"
                                          : concat("; padded, they are valid, but ", counted(file.tooShort, "other short line"),
                                                file.tooShort == 1 ? " is not" : " are not")));
        all.back().reason.clear();
    }
    if (beginning->wrappedAt()) {
        const SomeLines& some = file.linesOf(FileRule::Wrapped);
        add(FileRule::Wrapped, concat("every line was broken after ", beginning->wrappedAt(), " characters"), some,
            inWords(some, file.lines));
    }
    if (beginning->lostAfter())
        addLines(FileRule::RightPartLost,
            concat("every line stops after ", beginning->lostAfter(), " of ", length, " characters; the rest is lost"));
    if (isMost(file.linesOf(FileRule::Quoted), filled))
        addLines(FileRule::Quoted, "lines are in quotation marks, as spreadsheets write them");
    if (isMost(file.linesOf(FileRule::LeadingSpace), filled))
        addLines(FileRule::LeadingSpace, "lines begin with spaces, which moved the columns");
    if (file.linesOf(FileRule::Tabs).count) addLines(FileRule::Tabs, "tab characters replaced spaces and moved the columns");
    if (file.linesOf(FileRule::NoBreakSpaces).count) addLines(FileRule::NoBreakSpaces, "no-break spaces replaced spaces");
    if (areCollapsed) addLines(FileRule::SpacesCollapsed, "runs of spaces became one space: the columns cannot be recovered");
    auto addShift = [&](FileRule rule, const std::optional<ShiftedLine>& first) {
        const SomeLines& some = file.linesOf(rule);
        if (some.count == 0 || !first) return;
        add(rule, shiftInWords(*first), some, some.count > 1 ? inWords(some, filled) : std::string{});
        all.back().line = first->line;
        all.back().column = 0;
    };
    addShift(FileRule::CharacterLost, file.firstLost);
    addShift(FileRule::CharacterAdded, file.firstAdded);
    return all;
}

std::vector<Finding> diagnose(std::string_view bytes) {
    const auto head = std::make_shared<const FileHead>(bytes.substr(0, FileHead::size), bytes.size() <= FileHead::size);
    Diagnosis diagnosis(head);
    if (head->hasLines()) {
        if (head->isUtf16()) bytes.remove_prefix(encoding::utf16Mark.size());
        std::int64_t number = 0;
        for (const TextLine& line : linesIn(bytes, head->isUtf16(), true, bytes.size()))
            diagnosis.line(
                {.text = line.text, .carriageReturn = line.carriageReturn, .lineFeed = line.lineFeed, .number = ++number});
    }
    return diagnosis.findings();
}

}  // namespace tramo
