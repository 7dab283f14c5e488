#include "check/letters.h"
#include "common/encoding.h"
#include <algorithm>
#include <cstring>
#include <iterator>

namespace tramo {

namespace {

enum Neighbor : unsigned { blank, lower, upper, other, high, neighbors };
static_assert(neighbors * neighbors == Letters::contexts);

template <class Char> Neighbor neighborAt(std::basic_string_view<Char> line, std::size_t i) {
    if (i >= line.size()) return blank;
    const auto c = encoding::valueOf(line[i]);
    if (c >= 0x80) return high;
    if (c >= 'a' && c <= 'z') return lower;
    if (c >= 'A' && c <= 'Z') return upper;
    return c <= ' ' ? blank : other;
}

constexpr char16_t none = 0xFFFD;

// The characters of bytes 80 to FF.
// clang-format off
constexpr char16_t windows1252[] = u"€\uFFFD‚ƒ„…†‡ˆ‰Š‹Œ\uFFFDŽ\uFFFD\uFFFD‘’“”•–—˜™š›œ\uFFFDžŸ\u00A0¡¢£¤¥¦§¨©ª«¬\u00AD®¯°±²³´µ¶·¸¹º»¼½¾¿ÀÁÂÃÄÅÆÇÈÉÊËÌÍÎÏÐÑÒÓÔÕÖ×ØÙÚÛÜÝÞßàáâãäåæçèéêëìíîïðñòóôõö÷øùúûüýþÿ";
constexpr char16_t dos850[] = u"ÇüéâäàåçêëèïîìÄÅÉæÆôöòûùÿÖÜø£Ø×ƒáíóúñÑªº¿®¬½¼¡«»░▒▓│┤ÁÂÀ©╣║╗╝¢¥┐└┴┬├─┼ãÃ╚╔╩╦╠═╬¤ðÐÊËÈıÍÎÏ┘┌█▄¦Ì▀ÓßÔÒõÕµþÞÚÛÙýÝ¯´\u00AD±‗¾¶§÷¸°¨·¹³²■\u00A0";
constexpr char16_t dos437[] = u"ÇüéâäàåçêëèïîìÄÅÉæÆôöòûùÿÖÜ¢£¥₧ƒáíóúñÑªº¿⌐¬½¼¡«»░▒▓│┤╡╢╖╕╣║╗╝╜╛┐└┴┬├─┼╞╟╚╔╩╦╠═╬╧╨╤╥╙╘╒╓╫╪┘┌█▄▌▐▀αßΓπΣσµτΦΘΩδ∞φε∩≡±≥≤⌠⌡÷≈°∙·√ⁿ²■\u00A0";
constexpr char16_t macRoman[] = u"ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥µ∂∑∏π∫ªºΩæø¿¡¬√ƒ≈∆«»…\u00A0ÀÃÕŒœ–—“”‘’÷◊ÿŸ⁄€‹›ﬁﬂ‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ\uFFFDÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ";
// clang-format on
static_assert(
    std::size(windows1252) == 129 && std::size(dos850) == 129 && std::size(dos437) == 129 && std::size(macRoman) == 129);

constexpr bool isOneOf(char16_t c, std::u16string_view these) { return these.find(c) != std::u16string_view::npos; }

constexpr int bad = -3;  // such a character cannot be meant here

int scoreOfLower(Neighbor before, Neighbor after) {
    if (before == upper && after == upper) return -4;
    if (before == upper && after == blank) return -2;
    if (before != lower && after == upper) return bad;
    if (before == lower || after == lower) return 3;
    return before == high || after == high;
}

int scoreOfUpper(Neighbor before, Neighbor after) {
    if (before == lower) return -4;
    if (before == upper || after == upper || after == lower) return 3;
    return before == high || after == high;
}

bool isLetter(Neighbor neighbor) { return neighbor == lower || neighbor == upper; }

// How well the character fits between its neighbors.
int score(char16_t c, Neighbor before, Neighbor after) {
    const bool inWord = isLetter(before) && isLetter(after);
    if (isOneOf(c, u"éèêëàâäáçîïíôöóùûüúñß")) return scoreOfLower(before, after);
    if (isOneOf(c, u"ÉÈÊËÀÂÄÁÇÎÏÍÔÖÓÙÛÜÚÑ")) return scoreOfUpper(before, after);
    if (isOneOf(c, u"ãåìòõøœæ")) return std::min(scoreOfLower(before, after), 1);
    if (isOneOf(c, u"ÃÅÌÒÕØŒÆ")) return std::min(scoreOfUpper(before, after), 1);
    if (isOneOf(c, u"šžýÿðþıƒ")) return std::min(scoreOfLower(before, after), 0);
    if (isOneOf(c, u"ŠŽÝŸÐÞ")) return std::min(scoreOfUpper(before, after), 0);
    if (isOneOf(c, u"’‘´")) return inWord ? 2 : isLetter(before) || isLetter(after) || before == high || after == high;
    const bool areCapitals = before == upper && after == upper;  // perhaps of two fields: a code, and then a text
    const bool opens = before == blank && (isLetter(after) || after == high), closes = isLetter(before) && !isLetter(after);
    if (isOneOf(c, u"„‚«‹¿¡")) return areCapitals ? -1 : inWord ? -4 : opens ? 2 : closes && after == blank ? -2 : 0;
    if (isOneOf(c, u"“”»›")) return areCapitals ? -1 : inWord ? -4 : opens || closes ? 2 : 0;
    if (c == u'…') return inWord ? -1 : closes;
    if (c == u'–') return inWord ? -2 : 0;
    if (c == u'—') return inWord ? -1 : 0;
    if (isOneOf(c, u"€£°ºª²³¹§µ½¼¾©®±·×™‰")) return inWord ? -4 : 0;
    if (c == 0xA0 || c == 0xAD) return inWord ? -1 : 0;
    if (isOneOf(c, u"ˆ˜†‡•¤¦¨¬¯¸¢¥¶÷")) return inWord ? -4 : isLetter(before) || isLetter(after) ? -2 : -1;
    return -5;
}

struct Score {
    long long sum = 0, bad = 0;
};

const char16_t* charactersOf(CodePage page) {
    switch (page) {
    case CodePage::Windows1252: return windows1252;
    case CodePage::Dos850: return dos850;
    case CodePage::Dos437: return dos437;
    case CodePage::MacRoman: return macRoman;
    }
    return windows1252;
}

constexpr CodePage allPages[] = {CodePage::Windows1252, CodePage::Dos850, CodePage::Dos437, CodePage::MacRoman};

}  // namespace

namespace {

constexpr std::uint64_t highBits = 0x8080808080808080;

// Without early exit, so that the compiler vectorizes the loop.
bool hasHighBytes(std::string_view line) {
    std::array<std::uint64_t, 8> all{}, words;
    std::size_t i = 0;
    for (; i + sizeof words <= line.size(); i += sizeof words) {
        std::memcpy(words.data(), line.data() + i, sizeof words);
        for (std::size_t word = 0; word < words.size(); ++word) all[word] |= words[word];
    }
    std::uint64_t bits = 0;
    for (const std::uint64_t word : all) bits |= word;
    for (; i < line.size(); ++i) bits |= encoding::valueOf(line[i]);
    return (bits & highBits) != 0;
}

}  // namespace

bool Letters::add(std::string_view line) {
    if (!hasHighBytes(line)) return false;
    if (lines == mostLines) return true;
    ++lines;
    std::size_t i = 0;
    for (std::uint64_t word = 0; i + sizeof word <= line.size(); i += sizeof word) {
        std::memcpy(&word, line.data() + i, sizeof word);
        if (word & highBits) count(line, i, i + sizeof word);
    }
    count(line, i, line.size());
    return true;
}

bool Letters::add(std::wstring_view line) {
    std::uint32_t bits = 0;
    for (const wchar_t c : line) bits |= encoding::valueOf(c);
    if (bits < 0x80 || bits > 0xFF) return false;
    if (lines == mostLines) return true;
    ++lines;
    count(line, 0, line.size());
    return true;
}

// The characters from `first` up to `end`.
template <class Char> void Letters::count(std::basic_string_view<Char> line, std::size_t first, std::size_t end) {
    if (!counts) counts = std::make_unique<Counts>();
    for (std::size_t i = first; i < end; ++i)
        if (const auto c = encoding::valueOf(line[i]); c >= 0x80)
            ++(*counts)[c - 0x80][neighborAt(line, i - 1) * neighbors + neighborAt(line, i + 1)];
}

Letters& Letters::operator+=(const Letters& next) {
    if (!next.counts) return *this;
    if (!counts) counts = std::make_unique<Counts>();
    for (std::size_t byte = 0; byte < counts->size(); ++byte)
        for (std::size_t i = 0; i < contexts; ++i) (*counts)[byte][i] += (*next.counts)[byte][i];
    return *this;
}

namespace {

Score scoreIn(const char16_t* page, const std::array<std::array<std::uint32_t, Letters::contexts>, 128>& counts) {
    Score total;
    for (std::size_t byte = 0; byte < counts.size(); ++byte)
        for (unsigned i = 0; i < Letters::contexts; ++i) {
            const long long count = counts[byte][i];
            if (count == 0) continue;
            const int one = score(page[byte], static_cast<Neighbor>(i / neighbors), static_cast<Neighbor>(i % neighbors));
            total.sum += one * count;
            total.bad += one <= bad ? count : 0;
        }
    return total;
}

}  // namespace

char16_t characterOf(CodePage page, unsigned char byte) { return charactersOf(page)[byte - 0x80]; }

std::optional<CodePage> Letters::certainCodePage() const {
    if (!counts) return std::nullopt;
    const CodePage page = codePage();
    const Score own = scoreIn(charactersOf(page), *counts);
    if (page == CodePage::Windows1252 || own.bad > 0) return std::nullopt;
    for (const CodePage other : allPages) {
        if (other == page) continue;
        bool isSame = true;
        for (std::size_t byte = 0; byte < counts->size(); ++byte) {
            const bool isUsed = std::ranges::any_of((*counts)[byte], [](std::uint32_t count) { return count > 0; });
            isSame &= !isUsed || charactersOf(page)[byte] == charactersOf(other)[byte];
        }
        if (!isSame && scoreIn(charactersOf(other), *counts).bad == 0) return std::nullopt;
    }
    return page;
}

CodePage Letters::codePage() const {
    if (!counts) return CodePage::Windows1252;
    const Score windows = scoreIn(windows1252, *counts);
    if (windows.bad == 0) return CodePage::Windows1252;
    Score best = windows;
    CodePage page = CodePage::Windows1252;
    constexpr struct {
        CodePage page;
        const char16_t* characters;
    } others[] = {{CodePage::Dos850, dos850}, {CodePage::Dos437, dos437}, {CodePage::MacRoman, macRoman}};
    for (const auto& [other, characters] : others) {
        const Score now = scoreIn(characters, *counts);
        if (now.sum < windows.sum + 4 || now.bad * 4 > windows.bad) continue;
        // Both code pages of DOS have most letters at the same places; letters that mean something in all of them prove nothing.
        const bool isOtherSystem = (page == CodePage::Dos850 || page == CodePage::Dos437) && other == CodePage::MacRoman;
        if (isOtherSystem && now.sum == best.sum) return CodePage::Windows1252;
        if (now.sum <= best.sum) continue;
        best = now;
        page = other;
    }
    return page;
}

int windowsByteOf(wchar_t c) {
    const auto value = encoding::valueOf(c);
    if (value < 0x80) return static_cast<int>(value);
    for (int i = 0; i < 128; ++i)
        if (windows1252[i] == value && windows1252[i] != none) return 0x80 + i;
    return value < 0xA0 ? static_cast<int>(value) : -1;  // the five bytes without a character stand for themselves
}

}  // namespace tramo
