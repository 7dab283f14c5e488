#include "repair/linemender.h"
#include "check/mending.h"
#include "check/shift.h"
#include "common/concat.h"
#include "common/encoding.h"
#include "common/secretkeyline.h"
#include "repair/columnproof.h"
#include <algorithm>

namespace tramo {

namespace {

constexpr std::size_t mostProposals = 5;
constexpr wchar_t controlZ = 0x1A;

// Replaces the characters with those of Windows-1252 that they are; returns false if one has none.
bool inWindows(SecretText& text) {
    for (wchar_t& c : text) {
        const int byte = windowsByteOf(c);
        if (byte < 0) return false;
        c = static_cast<wchar_t>(byte);
    }
    return true;
}

std::optional<SecretText> readAgain(std::wstring_view text, int times, bool isUtf16) {
    SecretText now(text);
    for (int i = 0; i < times; ++i) {
        const std::optional<std::wstring> read = readAsUtf8(now);
        if (!read) return std::nullopt;
        now = SecretText(*read);
    }
    if (!isUtf16 && !inWindows(now)) return std::nullopt;
    return now;
}

// Reads bytes of another code page; returns false if one has no character of Windows-1252.
bool readCodePage(SecretText& text, CodePage page) {
    for (wchar_t& c : text) {
        if (encoding::valueOf(c) < 0x80) continue;
        const int byte = windowsByteOf(static_cast<wchar_t>(characterOf(page, static_cast<unsigned char>(c))));
        if (byte < 0) return false;
        c = static_cast<wchar_t>(byte);
    }
    return true;
}

// Part of the line was never written, or it is text in another encoding. Records have single zeros after alarm flags.
bool isFullOfZeros(std::wstring_view text) {
    constexpr std::ptrdiff_t most = 8;
    return std::ranges::count(text, L'\0') > most;
}

bool holdsZero(std::wstring_view text) { return text.find(L'\0') != std::wstring_view::npos; }

bool isSingleSpaced(std::wstring_view text) {
    return text.find(L"  ") == std::wstring_view::npos && std::ranges::count(text, L' ') >= 3;
}

}  // namespace

bool hasParameterKey(std::wstring_view text) {
    constexpr std::size_t keyWidth = 8;
    const std::wstring_view key = text.substr(0, keyWidth);
    const std::wstring_view filled = key.substr(0, key.find_last_not_of(L' ') + 1);
    return filled.find(L' ') == std::wstring_view::npos && (text.size() <= keyWidth || text[keyWidth] != L' ');
}

bool isShortenedOnly(const RecordKind& kind, std::wstring_view text) {
    return areColumnsProven(kind, text) && !lacksRightPart(kind, text);
}

DecodedLine decodedLine(const RawLine& raw, const RepairPlan& plan) {
    const std::size_t width = plan.layout.width;
    DecodedLine line;
    std::string_view bytes = raw.bytes;
    line.odd = bytes.substr(bytes.size() / width * width);
    bytes.remove_suffix(line.odd.size());
    line.text.resize(bytes.size() / width);
    encoding::read(reinterpret_cast<const unsigned char*>(bytes.data()), line.text.size(), width == 2, line.text.data());
    if (plan.layout.isBigEndian)
        for (wchar_t& c : line.text) {
            const std::uint32_t value = encoding::valueOf(c);
            c = static_cast<wchar_t>((value >> 8 | value << 8) & 0xFFFF);
        }
    if (plan.layout.endsInReturn) {
        line.lineFeed = raw.isEnded;
        line.returns = raw.isEnded;
        line.text.resize(line.text.size() - raw.isEnded);
    } else {
        line.lineFeed = raw.isEnded;
        line.text.resize(line.text.size() - raw.isEnded);
        while (line.text.ends_with(L'\r')) {
            ++line.returns;
            line.text.pop_back();
        }
    }
    if (plan.utf8 > 0) {
        if (std::optional<SecretText> read = readAgain(line.text, plan.utf8, plan.isUtf16())) {
            line.text = std::move(*read);
            line.isChanged = true;
        }
    }
    if (plan.codePage && std::ranges::any_of(line.text, [](wchar_t c) { return encoding::valueOf(c) >= 0x80; })) {
        SecretText read = line.text;
        if (readCodePage(read, *plan.codePage)) {
            line.text = std::move(read);
            line.isChanged = true;
        }
    }
    return line;
}

// A line on its way.
struct LineMender::Work {
    const RawLine& raw;
    DecodedLine line;
    MendedText result{};
    bool isKey = false;
    bool isWhole = false;   // no characters are missing or too many
    bool isPadded = false;  // it lost trailing spaces
    bool isLast = false;
};

void LineMender::note(
    Work& work, FileRule rule, std::size_t column, std::wstring_view before, std::wstring_view after, std::string proof) {
    work.result.rules |= bitOf(rule);
    work.result.isChanged = true;
    if (!output || !output->step) return;
    RepairStep step{.line = work.raw.number, .offset = work.raw.offset, .rule = ruleNamed(rowOf(rule).name)};
    const auto same = std::ranges::mismatch(before, after);
    const auto front = static_cast<std::size_t>(same.in1 - before.begin());
    before.remove_prefix(front);
    after.remove_prefix(front);
    const auto back = std::ranges::mismatch(before.rbegin(), before.rend(), after.rbegin(), after.rend());
    const auto alike = static_cast<std::size_t>(back.in1 - before.rbegin());
    before.remove_suffix(alike);
    after.remove_suffix(alike);
    step.column = before.empty() && after.empty() ? 0 : column + front;
    const bool isEnding = before.find_first_not_of(L"\r\n") == std::wstring_view::npos &&
                          after.find_first_not_of(L"\r\n") == std::wstring_view::npos;
    step.isMasked = work.isKey && !isEnding;
    if (!step.isMasked) {
        step.before = before;
        step.after = after;
    }
    step.proof = std::move(proof);
    output->step(step);
}

void LineMender::finish(Work& work, FileRule rule, std::wstring_view before, SecretText after, std::string proof) {
    note(work, rule, 1, before, after, std::move(proof));
    work.result.text = std::move(after);
}

MendedText LineMender::mend(const RawLine& raw) {
    Work work{raw, decodedLine(raw, plan)};
    DecodedLine& line = work.line;
    work.isLast = raw.isLast;
    work.isKey = plan.kind == LineKind::Key || mayHoldKeys(line.text);
    if (line.isChanged) {
        // The text before is decoded again only for those who ask.
        SecretText before;
        if (output && output->step && !work.isKey) {
            RepairPlan plainPlan;
            plainPlan.layout = plan.layout;
            before = decodedLine(raw, plainPlan).text;
        }
        const FileRule rule = plan.utf8 > 1                         ? FileRule::TextIsUtf8Twice
                              : plan.utf8 > 0                       ? FileRule::TextIsUtf8
                              : plan.codePage == CodePage::MacRoman ? FileRule::MacText
                                                                    : FileRule::DosText;
        note(work, rule, 1, before, line.text,
            plan.utf8 > 0 ? "every accented letter of the file is valid UTF-8"
                          : "all accented letters of the file fit between their neighbors in this code page only");
    }
    work.result.isKey = work.isKey;
    work.result.text = line.text;
    const bool isMendable = !isFullOfZeros(line.text);
    if (isMendable) mendText(work);
    if (!work.result.isDropped) mendEnding(work, isMendable);
    work.result.isKept = !work.result.isChanged && !plan.layout.isBigEndian;
    if (work.isWhole && !work.result.isDropped) realigner.pass(work.result.text);
    return std::move(work.result);
}

void LineMender::mendText(Work& work) {
    DecodedLine& line = work.line;
    const std::size_t length = plan.kind ? shapeOf(*plan.kind).length : 0;

    if (work.isLast && line.text.ends_with(controlZ)) {
        SecretText without(std::wstring_view(line.text).substr(0, std::wstring_view(line.text).find_last_not_of(controlZ) + 1));
        if (without.empty()) {
            note(work, FileRule::CtrlZ, 1, line.text, {}, "nothing else is in the last line");
            work.result.isDropped = true;
            return;
        }
        const bool isWhole = work.isKey ? !SecretKeyLine(without).error() : length > 0 && without.size() == length;
        if (isWhole) {
            note(work, FileRule::CtrlZ, 1, line.text, without, "the line is complete without it");
            work.result.text = line.text = std::move(without);
        }
    }
    if (isBlankText(line.text) && plan.kind) {
        const bool mayBeBegun = work.isLast && !line.text.empty() && (!line.lineFeed || plan.hasLeadingSpaces);
        const bool mayBeLine = *plan.kind != LineKind::Record && *plan.kind != LineKind::Key &&
                               (line.text.size() == length || (plan.isTrimmed && !plan.isDoubleSpaced));
        if (mayBeBegun || mayBeLine) return;
        note(work, plan.isDoubleSpaced ? FileRule::DoubleSpaced : FileRule::BlankLines, 1, line.text, {},
            "no line of the format is blank");
        work.result.isDropped = true;
        return;
    }
    if (work.isKey) {
        work.isWhole = !SecretKeyLine(line.text).error();
        return;
    }
    if (!plan.kind || holdsZero(line.text)) {
        work.isWhole = length > 0 && line.text.size() == length;
        return;
    }

    MendedLine plain = mended(line.text, plan.kind);
    const bool isRecord = *plan.kind == LineKind::Record;
    const RecordKind* kind = isRecord && !plain.text.empty() ? recordKind(plain.text.front()) : nullptr;
    if (isRecord && !kind) return;
    const bool isText = !(plain.utf8 || plain.utf8Twice) || plan.isUtf16() || inWindows(plain.text);
    const bool isMended = plain.text != line.text;
    const bool isExact = plain.text.size() == length;
    const int unreadable = kind ? unreadableFields(*kind, plain.text) : 0;
    std::string proof;
    if (isText && isExact) {
        // A tab at the end of a line fills it, whatever its length was.
        const bool isProven = !plain.tabs || (kind ? areColumnsProven(*kind, plain.text) : !line.text.ends_with(L'\t'));
        work.isWhole = isProven && (!plain.noBreakSpaces || unreadable == 0);
        proof = concat("the line then has ", length, " characters", plain.tabs ? ", and all fields are in their columns" : "");
    } else if (isText && plan.isTrimmed && !plan.isCollapsed && plain.text.size() < length && !plain.text.ends_with(L' ')) {
        const std::wstring_view text = plain.text;
        const bool isEnded = !work.isLast || line.lineFeed;
        if (kind) {
            const auto isKnownShape = [&] {
                const auto shape = plan.shapes.find(shapeHash(*kind, text));
                return shape != plan.shapes.end();
            };
            work.isWhole =
                isEnded && areColumnsProven(*kind, text) && (!work.isLast || endsInLastField(*kind, text) || isKnownShape());
            proof = "no line of the file ends with a space, and all fields are in their columns";
        } else {
            const bool isKeyed = *plan.kind != LineKind::Parameter || hasParameterKey(text);
            work.isWhole = isEnded && isKeyed && !plain.tabs && !plain.leadingSpace && text.front() != L' ';
            proof = "no line of the file ends with a space";
        }
        work.isPadded = work.isWhole;
    }
    if (work.isWhole) {
        SecretText now = line.text;
        const std::pair<bool, FileRule> kinds[] = {{plain.utf8 && !plain.utf8Twice, FileRule::TextIsUtf8},
            {plain.utf8Twice, FileRule::TextIsUtf8Twice}, {plain.quoted, FileRule::Quoted},
            {plain.leadingSpace, FileRule::LeadingSpace}, {plain.tabs, FileRule::Tabs},
            {plain.noBreakSpaces, FileRule::NoBreakSpaces}};
        // The steps between are not kept: the last one has the text.
        std::vector<FileRule> done;
        for (const auto& [isDone, rule] : kinds)
            if (isDone) done.push_back(rule);
        for (std::size_t i = 0; i < done.size() && isMended; ++i)
            note(work, done[i], 1, now, i + 1 == done.size() ? std::wstring_view(plain.text) : std::wstring_view(now), proof);
        if (isMended) now = plain.text;
        if (work.isPadded) {
            SecretText padded = now;
            padded.resize(length, L' ');
            note(work, FileRule::Trimmed, 1, now, padded, proof);
            now = std::move(padded);
        }
        work.result.text = std::move(now);
    }
    if (!kind || (work.isWhole && unreadable == 0)) return;

    // A line that lost or gained characters inside
    const bool isTorn = work.isLast && (!line.lineFeed || !plan.isTrimmed) && plain.text.size() + 3 < length;
    if (isTorn || isSingleSpaced(plain.text) || !isText) return;
    if (std::optional<Realigned> found = realigner.realigned(plain.text, plan.isTrimmed)) {
        finish(work, found->characters < 0 ? FileRule::CharacterLost : FileRule::CharacterAdded, line.text,
            std::move(found->line), "its master data are those of the exported line in this way only");
        work.isWhole = true;
        return;
    }
    propose(work, plain.text);
}

void LineMender::propose(Work& work, std::wstring_view text) {
    const RecordKind& kind = *recordKind(text.front());
    const auto length = static_cast<std::size_t>(kind.length);
    std::vector<RepairProposal> proposals;
    auto add = [&](const Shift& shift, const SecretText& after) {
        RepairProposal proposal{.line = work.raw.number,
            .offset = work.raw.offset,
            .number = static_cast<int>(proposals.size()) + 1,
            .characters = shift.characters,
            .field = shift.field,
            .before = std::wstring(work.line.text),
            .after = std::wstring(after)};
        if (shift.field) {
            const auto same = std::ranges::mismatch(text, after);
            proposal.column = static_cast<std::size_t>(same.in2 - after.begin()) + 1;
            proposal.endColumn = std::wstring_view(after).find_last_not_of(L' ') + 2;
            if (proposal.column >= proposal.endColumn) proposal.column = proposal.endColumn = 0;
        }
        proposals.push_back(std::move(proposal));
    };
    if (text.size() < length && unreadableFields(kind, text) == 0 && !text.ends_with(L' ')) {
        SecretText padded(text);
        padded.resize(length, L' ');
        add({}, padded);
    }
    if (text.size() > length && isBlankText(text.substr(length)) && unreadableFields(kind, text) == 0)
        add({.characters = static_cast<int>(text.size() - length)}, SecretText(text.substr(0, length)));
    std::vector<std::pair<Shift, SecretText>> likely;
    for (const Shift& shift : shiftsOf(kind, text, 4 * mostProposals)) likely.emplace_back(shift, shiftedBack(kind, text, shift));
    if (options.reference)
        std::stable_partition(likely.begin(), likely.end(), [&](const auto& one) { return realigner.hasMasterData(one.second); });
    for (const auto& [shift, after] : likely) {
        if (proposals.size() == mostProposals) break;
        if (std::ranges::find(proposals, std::wstring_view(after), &RepairProposal::after) == proposals.end()) add(shift, after);
    }
    work.result.hasProposals = !proposals.empty();
    for (RepairProposal& proposal : proposals) {
        proposal.isAccepted = std::ranges::any_of(options.accepted,
            [&](const AcceptedProposal& one) { return one.line == proposal.line && one.number == proposal.number; });
        if (output && output->proposal) output->proposal(proposal);
        if (!proposal.isAccepted) continue;
        const FileRule rule = !proposal.field           ? FileRule::Trimmed
                              : proposal.characters < 0 ? FileRule::CharacterLost
                                                        : FileRule::CharacterAdded;
        finish(work, rule, work.line.text, SecretText(proposal.after), concat("proposal ", proposal.number, " was accepted"));
        work.isWhole = work.result.isAccepted = true;
    }
}

void LineMender::mendEnding(Work& work, bool isMendable) {
    DecodedLine& line = work.line;
    const std::wstring_view usual = L"\r\n";
    SecretText before(line.returns, L'\r');
    if (line.lineFeed && !plan.layout.endsInReturn) before += L'\n';
    work.result.ending = {};
    const std::size_t column = work.result.text.size() + 1;
    const bool isTorn = work.isLast && !work.isWhole;
    auto mend = [&](FileRule rule, const char* proof) {
        note(work, rule, column, before, usual, proof);
        work.result.ending = usual;
    };
    constexpr const char *wholeLine = "the line is complete", *mostLines = "most lines of the file end so";
    if (before == usual) {
        work.result.ending = usual;
    } else if (!isMendable) {
        work.result.ending = {};
    } else if (!line.lineFeed) {
        if (work.isLast && work.isWhole && !work.isPadded) mend(FileRule::LastLineEnding, wholeLine);
    } else if (plan.layout.endsInReturn) {
        if (!isTorn) mend(FileRule::LineEndingsCr, "no line of the file ends with LF");
    } else if (line.returns == 0) {
        if (work.isWhole || (plan.endsInLf && !isTorn)) mend(FileRule::LineEndingsLf, work.isWhole ? wholeLine : mostLines);
    } else if (work.isWhole || (plan.endsInCrCrLf && !isTorn)) {
        mend(FileRule::LineEndingsCrCrLf, work.isWhole ? wholeLine : mostLines);
    }
    if (work.result.ending.empty()) {  // as it is
        work.result.text.append(line.returns, L'\r');
        if (line.lineFeed && !plan.layout.endsInReturn) work.result.ending = L"\n";
    }
}

std::optional<MendedText> LineMender::join(
    std::span<const DecodedLine> parts, const RawLine& first, const RawLine& last, bool needsProof) {
    const std::size_t length = shapeOf(LineKind::Record).length, width = plan.wrappedAt;
    SecretText joined, before;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const DecodedLine& part = parts[i];
        const bool isLastPart = i + 1 == parts.size();
        if (part.text.size() != (isLastPart ? length - width * i : width)) return std::nullopt;
        if ((!isLastPart && !part.lineFeed) || holdsZero(part.text)) return std::nullopt;
        joined += part.text;
        before += part.text;
        if (!isLastPart) before += L"\r\n";
    }
    const RecordKind* kind = recordKind(joined.front());
    if (!kind || unreadableFields(*kind, joined) > 0 || hasTextOutsideFields(*kind, joined)) return std::nullopt;
    if (needsProof && !areColumnsProven(*kind, joined)) return std::nullopt;
    Work work{first, {}};
    work.line.text = joined;
    work.line.returns = parts.back().returns;
    work.line.lineFeed = parts.back().lineFeed;
    work.isLast = last.isLast;
    work.isWhole = true;
    finish(work, FileRule::Wrapped, before, joined,
        concat("the ", parts.size(), " parts together have ", length, " characters, and all fields can be read"));
    if (std::ranges::any_of(parts, &DecodedLine::isChanged))
        work.result.rules |= plan.utf8 > 0 ? bitOf(FileRule::TextIsUtf8) : bitOf(FileRule::DosText);
    mendEnding(work, true);
    realigner.pass(work.result.text);
    return std::move(work.result);
}

}  // namespace tramo
