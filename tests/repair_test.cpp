#include "tramostream/repair.h"
#include "support/console.h"
#include "support/damages.h"
#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <string_view>
#include <vector>

using namespace tramo;
using namespace damaging;

namespace {

// A file on its way through damages.
struct Text {
    Lines lines{};
    std::string ending = "\r\n", end{};  // of each line; after all lines
    bool isLastEnded = true;
    std::function<std::string(const std::string&)> encode{};
    LineKind kind = LineKind::Record;

    std::string bytes() const {
        std::string all = joined(lines, ending);
        if (!isLastEnded) all.resize(all.size() - ending.size());
        all += end;
        return encode ? encode(all) : all;
    }
};

// The stages in which files are damaged.
enum Layer { inLine, ofLines, ofEndings, atEnd, ofEncoding };

enum Repairable : bool { stays, isRepaired };

struct Change {
    const char* name;
    Layer layer;
    Repairable repairable;
    std::function<void(Generator&, Text&)> apply;
    bool onlyRecords = false;
    const unsigned char Letter::*codePage = nullptr;
};

void PrintTo(const Change& change, std::ostream* out) { *out << change.name; }

// The index after the last filled field that is not a text: a shift before it can be seen.
std::size_t lastAnchor(const std::string& line) {
    std::size_t last = 1;
    for (const Field& field : recordKind(static_cast<wchar_t>(line[0]))->fields) {
        if (field.kind == FieldKind::Text || field.column == 0) continue;
        const auto first = static_cast<std::size_t>(field.column - 1), end = first + static_cast<std::size_t>(field.width);
        if (line.substr(first, end - first).find_first_not_of(' ') != std::string::npos) last = std::max(last, end);
    }
    return last;
}

// A place in a line but the last one: 0-based.
std::string& someLine(Generator& from, Text& text) {
    return text.lines[static_cast<std::size_t>(from.below(text.lines.size() - 1))];
}

void lose(Generator& from, Text& text, bool isPadded) {
    std::string& line = someLine(from, text);
    const auto count = static_cast<std::size_t>(1 + from.below(3));
    line.erase(1 + static_cast<std::size_t>(from.below(lastAnchor(line) - 1)), count);
    if (isPadded) line.resize(record, ' ');
}

void gain(Generator& from, Text& text, bool isCut) {
    std::string& line = someLine(from, text);
    const auto place = 1 + static_cast<std::size_t>(from.below(lastAnchor(line) - 1));
    const std::string some = "x7 ";
    std::string more;
    for (int i = 0, count = 1 + from.below(3); i < count; ++i) more += some[static_cast<std::size_t>(from.below(3))];
    line.insert(place, more);
    if (isCut) line.resize(record);
}

std::string quotedLine(const std::string& line) {
    std::string out = "\"";
    for (const char c : line) out += std::string(c == '"' ? 2 : 1, c);
    return out + "\"";
}

Lines partsOf(const Lines& lines, std::size_t width, bool isTrimmed) {
    Lines parts;
    for (const std::string& line : lines)
        for (std::size_t i = 0; i < line.size(); i += width)
            parts.push_back(isTrimmed ? trimmed(line.substr(i, width)) : line.substr(i, width));
    return parts;
}

void eachLine(Text& text, const std::function<std::string(const std::string&)>& change) { text.lines = each(text.lines, change); }

void cut(Generator& from, Text& text) {
    std::string& last = text.lines.back();
    last.resize(1 + static_cast<std::size_t>(from.below(last.size() > 5 ? last.size() - 4 : 1)));
}

const Change changes[] = {
    {"CharacterLost", inLine, stays, [](Generator& from, Text& text) { lose(from, text, false); }, true},
    {"CharacterLostInside", inLine, stays, [](Generator& from, Text& text) { lose(from, text, true); }, true},
    {"CharacterAdded", inLine, stays, [](Generator& from, Text& text) { gain(from, text, false); }, true},
    {"CharacterAddedInside", inLine, stays, [](Generator& from, Text& text) { gain(from, text, true); }, true},
    {"Trimmed", ofLines, isRepaired, [](Generator&, Text& text) { eachLine(text, trimmed); }, true},
    {"TrimmedOfAnyKind", ofLines, stays, [](Generator&, Text& text) { eachLine(text, trimmed); }},
    {"Tabs", ofLines, isRepaired, [](Generator&, Text& text) { eachLine(text, withTabs); }, true},
    {"NoBreakSpaces", ofLines, isRepaired,
        [](Generator& from, Text& text) {
            const bool areAll = from.isOneOf(2);
            eachLine(text, [&](const std::string& line) {
                std::string out = line;
                for (std::size_t i = 1; i < out.size(); ++i)
                    if (line[i] == ' ' && (areAll || line[i - 1] == ' ')) out[i] = '\xA0';
                return out;
            });
        },
        true},
    {"Quoted", ofLines, isRepaired, [](Generator&, Text& text) { eachLine(text, quotedLine); }},
    {"LeadingSpace", ofLines, isRepaired,
        [](Generator& from, Text& text) {
            const std::string spaces(1 + static_cast<std::size_t>(from.below(4)), ' ');
            eachLine(text, [&](const std::string& line) { return spaces + line; });
        }},
    {"Wrapped", ofLines, isRepaired, [](Generator& from, Text& text) { text.lines = partsOf(text.lines, widthIn(from), false); },
        true},
    {"WrappedAndTrimmed", ofLines, stays,
        [](Generator& from, Text& text) { text.lines = partsOf(text.lines, widthIn(from), true); }, true},
    {"RightPartLost", ofLines, stays,
        [](Generator& from, Text& text) {
            const std::size_t width = widthIn(from);
            eachLine(text, [&](const std::string& line) { return line.substr(0, width); });
        },
        true},
    {"SpacesCollapsed", ofLines, stays, [](Generator&, Text& text) { eachLine(text, collapsed); }, true},
    {"LineEndingsLf", ofEndings, isRepaired, [](Generator&, Text& text) { text.ending = "\n"; }},
    {"LineEndingsCr", ofEndings, isRepaired, [](Generator&, Text& text) { text.ending = "\r"; }},
    {"LineEndingsCrCrLf", ofEndings, isRepaired, [](Generator&, Text& text) { text.ending = "\r\r\n"; }},
    {"DoubleSpaced", ofEndings, isRepaired, [](Generator&, Text& text) { text.ending = "\r\n\r\n"; }},
    {"BlankLines", ofEndings, isRepaired,
        [](Generator& from, Text& text) {
            for (int i = 0, count = text.lines.size() > 4 ? 1 + from.below(2) : 1; i < count; ++i)
                text.lines.insert(text.lines.begin() + from.below(text.lines.size() + 1), from.isOneOf(2) ? "" : "   ");
        }},
    {"CutOff", atEnd, stays,
        [](Generator& from, Text& text) {
            cut(from, text);
            text.isLastEnded = false;
        }},
    {"CutOffThenEnded", atEnd, stays, [](Generator& from, Text& text) { cut(from, text); }},
    {"LastLineEnding", atEnd, isRepaired, [](Generator&, Text& text) { text.isLastEnded = false; }},
    {"CtrlZ", atEnd, isRepaired, [](Generator&, Text& text) { text.end = "\x1A"; }},
    {"CtrlZAndLine", atEnd, isRepaired, [](Generator&, Text& text) { text.end = "\x1A\r\n"; }},
    {"NulBlock", atEnd, stays,
        [](Generator& from, Text& text) {
            std::string& line = text.lines[static_cast<std::size_t>(from.below(text.lines.size()))];
            const std::size_t size = 48 + static_cast<std::size_t>(from.below(2000));
            line.replace(line.size() / 2, size, std::string(size, '\0'));
        }},
    {"TextIsUtf8", ofEncoding, isRepaired, [](Generator&, Text& text) { text.encode = utf8; }},
    {"TextIsUtf8WithMark", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return "\xEF\xBB\xBF" + utf8(bytes); }; }},
    {"TextIsUtf8Twice", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return utf8OfBytes(utf8(bytes)); }; }},
    {"Utf16NoBom", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return utf16(bytes, false, false); }; }},
    {"Utf16NoBomBig", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return utf16(bytes, true, false); }; }},
    {"Utf16BigEndian", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return utf16(bytes, true); }; }},
    {"Utf16", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return utf16(bytes); }; }},
    {"Dos850", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return inCodePage(bytes, &Letter::dos850); }; },
        false, &Letter::dos850},
    {"Dos437", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return inCodePage(bytes, &Letter::dos437); }; },
        false, &Letter::dos437},
    {"MacText", ofEncoding, isRepaired,
        [](Generator&, Text& text) { text.encode = [](const std::string& bytes) { return inCodePage(bytes, &Letter::mac); }; },
        false, &Letter::mac},
};

// A valid file: a round ends with its record information.
Text goodFile(Generator& from, bool onlyRecords, const unsigned char Letter::*codePage) {
    static const std::string last = sampleLines("round-returned.txt").back();
    Text text;
    const int choice = onlyRecords ? 7 : from.below(8);
    if (choice < 2) {
        text.kind = choice == 0 ? LineKind::Tag : LineKind::Parameter;
        do
            for (const std::string& line : choice == 0 ? from.tags() : from.parameters()) text.lines.push_back(line);
        while (codePage && text.lines.size() < 20);
    } else {
        text.lines = from.round(from.isOneOf(2));
        if (text.lines.back()[0] != '9') text.lines.push_back(last);
    }
    // Only the letters of the code page: others were lost on the way into it.
    if (codePage)
        for (std::string& line : text.lines)
            for (char& c : line)
                if (const Letter* letter = letterOf(c)) {
                    const unsigned char byte = letter->*codePage;
                    const auto* back = std::ranges::find_if(letters, [&](const Letter& one) { return one.*codePage == byte; });
                    c = byte == 0 ? '?' : byte < 0x80 ? static_cast<char>(byte) : static_cast<char>(back->windows);
                }
    return text;
}

bool isUtf16(const std::string& bytes) { return bytes.starts_with("\xFF\xFE"); }

// What a file should be after its repair, in its encoding.
std::string expectedBytes(const Text& good, const std::string& mended) {
    return isUtf16(mended) ? utf16(good.bytes()) : good.bytes();
}

// Lines with their endings, in Windows-1252.
Lines linesOf(const std::string& bytes) {
    std::string text = bytes;
    if (isUtf16(bytes)) {
        text.clear();
        for (std::size_t i = 2; i + 1 < bytes.size(); i += 2) {
            const std::string unit = bytes.substr(i, 2);
            const auto* letter = std::ranges::find_if(letters,
                [&](const Letter& one) { return utf16(std::string(1, static_cast<char>(one.windows))).substr(2) == unit; });
            text += letter != std::end(letters) ? static_cast<char>(letter->windows) : unit[0];
        }
    }
    Lines lines;
    for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end) {
        end = std::min(text.find_first_of("\r\n", begin), text.size() - 1) + 1;
        while (end < text.size() && text[end - 1] == '\r' && (text[end] == '\r' || text[end] == '\n')) ++end;
        lines.push_back(text.substr(begin, end - begin));
    }
    return lines;
}

class Kinds : public testing::TestWithParam<Change> {};

TEST_P(Kinds, AreRepaired) {
    const Silence quiet;
    const Change& change = GetParam();
    const int count = files(40);
    int wrong = 0;
    for (int i = 0; i < count; ++i) {
        Generator from(static_cast<unsigned>(i) + 40000);
        const Text good = goodFile(from, change.onlyRecords, change.codePage);
        Text damaged = good;
        change.apply(from, damaged);
        const std::string bytes = damaged.bytes();
        Repair repair(readingFrom(bytes));
        std::string mended;
        repair.run({.write = [&](std::string_view some) { mended += some; }});
        if (mended == expectedBytes(good, mended) && repair.isWell()) continue;
        if (++wrong < 4) {
            std::string why;
            const Lines now = linesOf(mended), before = linesOf(good.bytes());
            for (std::size_t k = 0; k < std::min(now.size(), before.size()) && why.empty(); ++k)
                if (now[k] != before[k]) why = "\n" + now[k] + "\n" + before[k];
            for (const Finding& finding : repair.diagnosed()) why += "\n  before: " + sentenceOf(finding);
            for (const Finding& finding : repair.left()) why += "\n  left: " + sentenceOf(finding);
            ADD_FAILURE() << "file " << i << ": " << (mended == expectedBytes(good, mended) ? "the same" : "another text")
                          << ", errors " << repair.findingsLeft().errors << why;
        }
    }
    EXPECT_EQ(wrong, 0) << "of " << count;
}

std::vector<Change> repairableChanges() {
    std::vector<Change> some;
    for (const Change& change : changes)
        if (change.repairable) some.push_back(change);
    return some;
}

INSTANTIATE_TEST_SUITE_P(Repair, Kinds, testing::ValuesIn(repairableChanges()),
    [](const testing::TestParamInfo<Change>& change) { return std::string(change.param.name); });

// Two damages, one after the other, and every file on the way.
struct Damaged {
    Text good;
    std::string bytes;
    std::vector<std::string> versions;  // undamaged, and with each damage alone
};

Damaged damagedTwice(unsigned seed, const Change& first, const Change* second) {
    Generator from(seed);
    const bool onlyRecords = first.onlyRecords || (second && second->onlyRecords);
    Damaged result{goodFile(from, onlyRecords, first.codePage ? first.codePage : second ? second->codePage : nullptr), {}, {}};
    auto apply = [&](const Change* one, const Change* other) {
        Text text = result.good;
        unsigned number = 0;
        for (const Change* change : {one, other}) {
            Generator own(seed * 7 + ++number);
            if (change) change->apply(own, text);
        }
        return text.bytes();
    };
    result.bytes = apply(&first, second);
    result.versions = {apply(nullptr, nullptr), apply(&first, nullptr), apply(nullptr, second)};
    // The encoding of a file does not matter here.
    const Change* encoding = first.layer == ofEncoding ? &first : second && second->layer == ofEncoding ? second : nullptr;
    if (encoding) result.versions.push_back(result.bytes);
    return result;
}

// Why the mended file is wrong; empty: it is not. Each of its lines must be a line of the good file, or as damaged as before, or
// with one of two damages mended.
std::string whyWrong(const Damaged& damaged, const std::string& mended, bool isWell) {
    const Lines now = linesOf(mended), good = linesOf(damaged.versions[0]);
    if (now == good) return {};
    std::vector<Lines> versions;
    for (const std::string& version : damaged.versions) versions.push_back(linesOf(version));
    versions.push_back(linesOf(damaged.bytes));
    if (isWell) return std::ranges::find(versions, now) != versions.end() ? "" : "called well";
    std::set<std::string> known;
    for (const Lines& lines : versions) known.insert(lines.begin(), lines.end());
    for (std::size_t i = 0; i < now.size(); ++i) {
        if (now.size() == good.size()) {
            const bool isAtPlace = std::ranges::any_of(
                versions, [&](const Lines& lines) { return lines.size() == now.size() && lines[i] == now[i]; });
            if (isAtPlace) continue;
        }
        if (!known.contains(now[i])) return "line " + std::to_string(i + 1) + " is new: " + now[i];
    }
    // Nothing of the good file is lost that the damaged file has.
    for (const std::string& line : good)
        for (const Lines& lines : {versions.back()})
            if (std::ranges::find(lines, line) != lines.end() && std::ranges::find(now, line) == now.end())
                return "a good line is lost: " + line;
    return {};
}

// A cut inside the last text of a line that lost its trailing spaces leaves no trace if all lines are texts.
bool leavesNoTrace(const Text& good, const Change& first, const Change* second) {
    if (!second || good.kind == LineKind::Record) return false;
    return std::string_view(first.name) == "TrimmedOfAnyKind" && std::string_view(second->name) == "CutOffThenEnded";
}

TEST(Repair, MakesNoSilentlyWrongRepair) {
    const Silence quiet;
    const int count = files(20) * 20;
    int wrong = 0, well = 0, changed = 0;
    for (int i = 0; i < count; ++i) {
        Generator chance(static_cast<unsigned>(i) + 90000);
        const Change* first = &changes[chance.below(std::size(changes))];
        const Change* second = chance.isOneOf(4) ? nullptr : &changes[chance.below(std::size(changes))];
        if (second && second->layer == first->layer) second = nullptr;
        if (second && second->layer < first->layer) std::swap(first, second);
        const Damaged damaged = damagedTwice(static_cast<unsigned>(i) + 1, *first, second);
        if (leavesNoTrace(damaged.good, *first, second)) continue;
        Repair repair(readingFrom(damaged.bytes));
        std::string mended;
        repair.run({.write = [&](std::string_view some) { mended += some; }});
        if (!repair.hasLines()) continue;
        well += repair.isWell();
        changed += mended != damaged.bytes;
        const std::string why = whyWrong(damaged, mended, repair.isWell());
        if (why.empty()) continue;
        if (++wrong < 8)
            ADD_FAILURE() << "file " << i << ", " << first->name << " and " << (second ? second->name : "nothing") << ": "
                          << why.substr(0, 900);
    }
    EXPECT_EQ(wrong, 0) << "of " << count;
    std::printf("%d files: %d changed, %d well, %d wrong\n", count, changed, well, wrong);
    EXPECT_GT(well * 3, count);
}

// With the exported round

std::string sampleBytes(const char* name) { return joined(sampleLines(name)); }

// Which fields of two lines differ.
std::set<std::string> differences(const std::string& one, const std::string& other) {
    std::set<std::string> names;
    for (const Field& field : recordKind(static_cast<wchar_t>(one[0]))->fields) {
        if (field.column == 0) continue;
        const auto column = static_cast<std::size_t>(field.column - 1), width = static_cast<std::size_t>(field.width);
        if (one.substr(column, width) != other.substr(column, width)) names.insert(field.name);
    }
    return names;
}

struct Shifted {
    std::string line;
    std::set<std::string> fields;  // that lost or gained characters themselves
};

Shifted shifted(Generator& from, const std::string& line) {
    const auto count = static_cast<std::size_t>(1 + from.below(3));
    const bool isLoss = from.isOneOf(2);
    const std::size_t place = 1 + static_cast<std::size_t>(from.below(record - 1 - count));
    Shifted result{line, {}};
    for (std::size_t i = place; i < place + (isLoss ? count : 1); ++i)
        for (const Field* field : fieldsAt(*recordKind(static_cast<wchar_t>(line[0])), static_cast<int>(i + 1)))
            result.fields.insert(field->name);
    if (isLoss) result.line.erase(place, count);
    else
        for (std::size_t i = 0; i < count; ++i) {
            const std::string some = "0123456789 ABCDEFabcdef   ";
            result.line.insert(place, 1, some[static_cast<std::size_t>(from.below(some.size()))]);
        }
    return result;
}

std::string narrow(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t c : text) bytes += static_cast<char>(c);
    return bytes;
}

TEST(Repair, WithAReferenceIsNeverWrongAndProposesTheRest) {
    const Silence quiet;
    const std::string exported = sampleBytes("round-exported.txt");
    const RepairReference reference(readingFrom(exported));
    EXPECT_EQ(reference.lines(), sampleLines("round-exported.txt").size() - 1);
    const Lines returned = sampleLines("round-returned.txt");
    std::vector<std::size_t> candidates;
    for (std::size_t i = 1; i + 1 < returned.size(); ++i)
        if (returned[i][0] == '1' || returned[i][0] == '2') candidates.push_back(i);
    const int count = files(300) * 6;
    int mended = 0, wrong = 0, proposed = 0, right = 0, rightWithout = 0;
    for (int i = 0; i < count; ++i) {
        Generator from(static_cast<unsigned>(i) + 70000);
        const std::size_t place = candidates[static_cast<std::size_t>(from.below(candidates.size()))];
        const Shifted damaged = shifted(from, returned[place]);
        const std::string bytes = joined({returned[0], returned[place - 1], damaged.line, returned[place + 1]});
        const RepairOptions with{.reference = &reference};
        const Lines now = linesOf(repaired(bytes, with));
        if (now[2] == returned[place] + "\r\n") ++mended;
        else if (now[2] != damaged.line + "\r\n") {
            ++wrong;
            ADD_FAILURE() << "line " << place + 1 << ", case " << i << "\n" << now[2] << returned[place] << "\n" << damaged.line;
        }
        auto isRightAmongThree = [&](const RepairOptions& options) {
            bool isRight = false;
            Repair(readingFrom(bytes), options).run({.proposal = [&](const RepairProposal& proposal) {
                if (proposal.number > 3 || proposal.after.size() != record) return;
                const std::set<std::string> others = differences(narrow(proposal.after), returned[place]);
                isRight |= std::ranges::includes(damaged.fields, others);
            }});
            return isRight;
        };
        rightWithout += isRightAmongThree({});
        if (now[2] == returned[place] + "\r\n") continue;
        ++proposed;
        right += isRightAmongThree(with);
    }
    std::printf("%d lines: %d mended, %d wrong; right proposal for %d of the other %d; without a reference, for %d\n", count,
        mended, wrong, right, proposed, rightWithout);
    EXPECT_EQ(wrong, 0);
    EXPECT_GE(mended * 100, count * 70);
    EXPECT_GE((mended + right) * 100, count * 95);
    EXPECT_GE(rightWithout * 100, count * 95);
}

}  // namespace
