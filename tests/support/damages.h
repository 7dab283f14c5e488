// Valid files, and what other programs do to them: for the tests of the diagnosis and of repairs.
#pragma once
#include "support/build.h"
#include "tramostream/fields.h"
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace damaging {

using namespace tramo;

using Lines = std::vector<std::string>;  // without line endings
using Rules = std::vector<std::string>;

constexpr std::size_t record = 512, tag = 23, parameter = 40;

// How many files each test makes: TRAMO_FILES, or a few; fewer still without optimization.
inline int files(int usual) {
    const char* const chosen = std::getenv("TRAMO_FILES");
    return chosen ? std::atoi(chosen) : testsOptimised ? usual : usual / 8;
}

inline Lines sampleLines(const char* name) {
    std::ifstream in(std::string(SAMPLES) + "/" + name, std::ios::binary);
    EXPECT_TRUE(in) << name;
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    Lines lines;
    for (std::size_t begin = 0, end = 0; (end = bytes.find("\r\n", begin)) != std::string::npos; begin = end + 2)
        lines.push_back(bytes.substr(begin, end - begin));
    return lines;
}

// The letters of the texts: their bytes in Windows-1252, DOS 850, DOS 437 (0: not in it), Mac Roman, and their UTF-8.
struct Letter {
    unsigned char windows, dos850, dos437, mac;
    const char* utf8;
};
inline constexpr Letter letters[] = {
    {0xE9, 0x82, 0x82, 0x8E, "\xC3\xA9"},
    {0xE8, 0x8A, 0x8A, 0x8F, "\xC3\xA8"},
    {0xEA, 0x88, 0x88, 0x90, "\xC3\xAA"},
    {0xEB, 0x89, 0x89, 0x91, "\xC3\xAB"},
    {0xE0, 0x85, 0x85, 0x88, "\xC3\xA0"},
    {0xE2, 0x83, 0x83, 0x89, "\xC3\xA2"},
    {0xE4, 0x84, 0x84, 0x8A, "\xC3\xA4"},
    {0xE7, 0x87, 0x87, 0x8D, "\xC3\xA7"},
    {0xEE, 0x8C, 0x8C, 0x94, "\xC3\xAE"},
    {0xEF, 0x8B, 0x8B, 0x95, "\xC3\xAF"},
    {0xF4, 0x93, 0x93, 0x99, "\xC3\xB4"},
    {0xF6, 0x94, 0x94, 0x9A, "\xC3\xB6"},
    {0xF9, 0x97, 0x97, 0x9D, "\xC3\xB9"},
    {0xFB, 0x96, 0x96, 0x9E, "\xC3\xBB"},
    {0xFC, 0x81, 0x81, 0x9F, "\xC3\xBC"},
    {0xF1, 0xA4, 0xA4, 0x96, "\xC3\xB1"},
    {0xDF, 0xE1, 0xE1, 0xA7, "\xC3\x9F"},
    {0xC9, 0x90, 0x90, 0x83, "\xC3\x89"},
    {0xC8, 0xD4, 0x00, 0xE9, "\xC3\x88"},
    {0xC0, 0xB7, 0x00, 0xCB, "\xC3\x80"},
    {0xDC, 0x9A, 0x9A, 0x86, "\xC3\x9C"},
    {0xD6, 0x99, 0x99, 0x85, "\xC3\x96"},
    {0xC7, 0x80, 0x80, 0x82, "\xC3\x87"},
    {0xB0, 0xF8, 0xF8, 0xA1, "\xC2\xB0"},
    {0x92, '\'', '\'', 0xD5, "\xE2\x80\x99"},
    {0x93, '"', '"', 0xD2, "\xE2\x80\x9C"},
    {0x94, '"', '"', 0xD3, "\xE2\x80\x9D"},
    {0x96, '-', '-', 0xD0, "\xE2\x80\x93"},
    {0x85, '.', '.', 0xC9, "\xE2\x80\xA6"},
    {0x80, 'E', 'E', 0xDB, "\xE2\x82\xAC"},
    {0x9C, 'o', 'o', 0xCF, "\xC5\x93"},
    {0xA0, 0xFF, 0xFF, 0xCA, "\xC2\xA0"},
};
inline const Letter* letterOf(char c) {
    const auto found = std::ranges::find(letters, static_cast<unsigned char>(c), &Letter::windows);
    return found == std::end(letters) ? nullptr : &*found;
}

inline const char* const accented[] = {"Ren\xE9"
                                       "e Lef\xE8vre",
    "Z\xFCrich S\xFC"
    "d",
    "Fran\xE7ois B\xE9gu\xE9", "G\xFCnther Gro\xDF", "Ao\xFBt H\xF4tel", "Ma\xEEtre No\xEBl",
    "Pe\xF1"
    "a Mu\xF1oz",
    "\xC9"
    "cole du Ch\xE2teau",
    "\xC0 c\xF4t\xE9 d\xE9j\xE0",
    "GEN\xC8VE TOURN\xC9"
    "E",
    "K\xF6ln \xC7"
    "a va",
    "Na\xEFve o\xF9 l\xE0", "R\xE9servoir n\xB0 4"};
inline const char* const typographic[] = {"l\x92\xC9glise",
    "\x93"
    "Chez Paul\x94",
    "12 \x80 par mois", "Rue du C\x9Cur", "voir \x85 ici", "Paris \x96 Lyon", "CAF\xC9\x85", "\x93L\x92\xC9tape\x94",
    "S\x9Cur d\x92"
    "Ars",
    "d\xE9j\xE0 vu\x85"};
inline const char* const plain[] = {"Main Street", "12 rue du Port", "VILLE", "A. Martin", "Garage", "Dupont Jean"};

// A source of valid files.
class Generator {
public:
    explicit Generator(unsigned seed) : random(seed) {}

    int below(std::size_t count) { return static_cast<int>(random() % count); }
    bool isOneOf(int count) { return below(static_cast<std::size_t>(count)) == 0; }

    // Records of a round. Every file has several accented words, and typographic ones if wanted.
    Lines round(bool hasTypography = false, std::size_t least = 12) {
        static const Lines returned = sampleLines("round-returned.txt"), exported = sampleLines("round-exported.txt");
        const Lines& all = isOneOf(2) ? returned : exported;
        Lines lines;
        const std::size_t count = least + static_cast<std::size_t>(below(60));
        for (std::size_t i = 0; i < all.size(); ++i) {
            const bool isHeader = all[i][0] == '0' || all[i][0] == '5';
            if (isHeader || (lines.size() < count && !isOneOf(3))) lines.push_back(all[i]);
        }
        for (std::string& line : lines) fillTexts(line, hasTypography);
        return lines;
    }

    // Each file has some of its words.
    void fillTexts(std::string& line, bool hasTypography) {
        if (line[0] == '0' || line[0] == '5') return;
        const RecordKind* kind = recordKind(static_cast<wchar_t>(line[0]));
        for (const Field& field : kind->fields) {
            if (field.kind != FieldKind::Text || field.column == 0 || field.width < 20 || field.overlaid) continue;
            const auto column = static_cast<std::size_t>(field.column - 1), width = static_cast<std::size_t>(field.width);
            if (line.substr(column, width).find_first_not_of(' ') == std::string::npos) continue;
            std::string word = hasTypography && isOneOf(2) ? pick(typographic) : isOneOf(3) ? pick(plain) : pick(accented);
            word.resize(width, ' ');
            line.replace(column, width, word);
        }
    }

    template <std::size_t count> std::string pick(const char* const (&words)[count]) { return words[below(count)]; }

    Lines tags() {
        Lines lines;
        for (int i = 0, count = 3 + below(20); i < count; ++i)
            lines.push_back(
                std::string{char('A' + below(26)), char('A' + below(26))} + (isOneOf(3) ? pick(typographic) : pick(accented)));
        for (std::string& line : lines) {
            line.resize(tag, ' ');
            line.back() = ' ';
        }
        return lines;
    }
    Lines parameters() {
        Lines lines;
        for (int i = 0, count = 3 + below(20); i < count; ++i) {
            std::string line = "PARAM" + std::to_string(i);
            line.resize(8, ' ');
            line += i == 0 || isOneOf(2) ? pick(accented) : pick(plain);
            line.resize(parameter, ' ');
            lines.push_back(line);
        }
        return lines;
    }
    Lines keys() {
        Lines all = sampleLines("amr-keys.txt");
        all.resize(1 + static_cast<std::size_t>(below(all.size())));
        return all;
    }

    std::mt19937 random;
};

inline std::string joined(const Lines& lines, const std::string& ending = "\r\n") {
    std::string bytes;
    for (const std::string& line : lines) bytes += line + ending;
    return bytes;
}

inline std::string utf16(const std::string& windows, bool isBig = false, bool hasMark = true) {
    std::string bytes = !hasMark ? "" : isBig ? "\xFE\xFF" : "\xFF\xFE";
    for (const char c : windows) {
        unsigned value = static_cast<unsigned char>(c);
        if (const Letter* letter = letterOf(c)) {
            const std::string_view text = letter->utf8;
            value = static_cast<unsigned char>(text[0]) & (text.size() == 2 ? 0x1F : 0x0F);
            for (const char more : text.substr(1)) value = value << 6 | (static_cast<unsigned char>(more) & 0x3F);
        }
        const char low = static_cast<char>(value & 0xFF), high = static_cast<char>(value >> 8);
        bytes += isBig ? high : low;
        bytes += isBig ? low : high;
    }
    return bytes;
}

inline std::string utf8(const std::string& windows) {
    std::string bytes;
    for (const char c : windows) {
        if (const Letter* letter = letterOf(c)) bytes += letter->utf8;
        else bytes += c;
    }
    return bytes;
}

// UTF-8 that a program took for Windows-1252 and converted again; a byte without a character is kept.
inline std::string utf8OfBytes(const std::string& bytes) {
    static const std::map<unsigned char, const char*> upper{{0x80, "\xE2\x82\xAC"}, {0x82, "\xE2\x80\x9A"}, {0x83, "\xC6\x92"},
        {0x84, "\xE2\x80\x9E"}, {0x85, "\xE2\x80\xA6"}, {0x86, "\xE2\x80\xA0"}, {0x87, "\xE2\x80\xA1"}, {0x88, "\xCB\x86"},
        {0x89, "\xE2\x80\xB0"}, {0x8A, "\xC5\xA0"}, {0x8B, "\xE2\x80\xB9"}, {0x8C, "\xC5\x92"}, {0x8E, "\xC5\xBD"},
        {0x91, "\xE2\x80\x98"}, {0x92, "\xE2\x80\x99"}, {0x93, "\xE2\x80\x9C"}, {0x94, "\xE2\x80\x9D"}, {0x95, "\xE2\x80\xA2"},
        {0x96, "\xE2\x80\x93"}, {0x97, "\xE2\x80\x94"}, {0x98, "\xCB\x9C"}, {0x99, "\xE2\x84\xA2"}, {0x9A, "\xC5\xA1"},
        {0x9B, "\xE2\x80\xBA"}, {0x9C, "\xC5\x93"}, {0x9E, "\xC5\xBE"}, {0x9F, "\xC5\xB8"}};
    std::string out;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) out += c;
        else if (const auto found = upper.find(byte); found != upper.end()) out += found->second;
        else out += {static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))};
    }
    return out;
}

inline std::string inCodePage(const std::string& windows, unsigned char Letter::*page) {
    std::string bytes;
    for (const char c : windows) {
        const Letter* letter = letterOf(c);
        bytes += !letter ? c : letter->*page ? static_cast<char>(letter->*page) : '?';
    }
    return bytes;
}

inline std::string trimmed(std::string line) {
    line.resize(line.find_last_not_of(' ') + 1);
    return line;
}

inline Lines each(Lines lines, const std::function<std::string(const std::string&)>& change) {
    for (std::string& line : lines) line = change(line);
    return lines;
}

inline std::string wrapped(const Lines& lines, std::size_t width, bool isTrimmed = false) {
    Lines parts;
    for (const std::string& line : lines)
        for (std::size_t i = 0; i < line.size(); i += width)
            parts.push_back(isTrimmed ? trimmed(line.substr(i, width)) : line.substr(i, width));
    return joined(parts);
}

inline std::string withTabs(const std::string& line) {
    std::string out;
    for (std::size_t i = 0; i < line.size();) {
        const std::size_t stop = std::min(i / 8 * 8 + 8, line.size());
        const std::size_t last = line.substr(i, stop - i).find_last_not_of(' ');
        const std::size_t kept = last == std::string::npos ? 0 : last + 1;
        out += line.substr(i, kept);
        if (i + kept + 1 < stop) out += '\t';
        else out += line.substr(i + kept, stop - i - kept);
        i = stop;
    }
    return out;
}

inline std::string collapsed(const std::string& line) {
    std::string out;
    for (const char c : line)
        if (c != ' ' || !out.ends_with(' ')) out += c;
    return trimmed(out);
}

struct Damage {
    const char* name;
    std::function<std::string(Generator&)> make;
    Rules expected;
};

inline void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

// Kinds of files whose every line was changed in the same way.
inline Lines anyLines(Generator& from) {
    switch (from.below(8)) {
    case 0: return from.tags();
    case 1: return from.parameters();
    default: return from.round(from.isOneOf(2));
    }
}

// Lines with enough letters to recognize their code page.
inline Lines linesWithLetters(Generator& from) {
    if (!from.isOneOf(4)) return from.round(from.isOneOf(2));
    Lines lines;
    while (lines.size() < 20)
        for (const std::string& line : from.tags()) lines.push_back(line);
    return lines;
}

inline std::size_t widthIn(Generator& from) {
    constexpr std::size_t widths[] = {256, 80, 132, 255, 500, 76, 128, 200};
    return widths[from.below(std::size(widths))];
}

inline std::string cutIn(Generator& from, const std::string& ending, const std::string& end) {
    Lines lines = anyLines(from);
    std::string last = lines.back();
    lines.pop_back();
    return joined(lines, ending) + last.substr(0, 1 + static_cast<std::size_t>(from.below(last.size() - 4))) + end;
}

inline const Damage fileDamages[] = {
    {"NulBlock",
        [](Generator& from) {
            std::string bytes = joined(anyLines(from));
            const std::size_t size = 48 + static_cast<std::size_t>(from.below(4096));
            const std::size_t at = from.isOneOf(2) ? bytes.size() : static_cast<std::size_t>(from.below(bytes.size()));
            if (from.isOneOf(2)) return bytes.substr(0, at) + std::string(size, '\0');
            return bytes.replace(at, std::min(size, bytes.size() - at), std::string(size, '\0'));
        },
        {"NulBlock"}},
    {"NulFile", [](Generator& from) { return std::string(1 + static_cast<std::size_t>(from.below(8192)), '\0'); }, {"NulBlock"}},
    {"CutOff", [](Generator& from) { return cutIn(from, "\r\n", ""); }, {"CutOff"}},
    {"CutOffThenEnded", [](Generator& from) { return cutIn(from, "\r\n", "\r\n"); }, {"CutOff"}},
    {"CutOffUtf16", [](Generator& from) { return utf16(cutIn(from, "\r\n", "")); }, {"CutOff"}},
    {"CutOffKeys",
        [](Generator& from) {
            std::string bytes = joined(from.keys());
            const std::size_t last = bytes.rfind("\r\n", bytes.size() - 3);
            return bytes.substr(0, (last == std::string::npos ? 0 : last + 2) + 40 + static_cast<std::size_t>(from.below(100)));
        },
        {"CutOff"}},
    {"TextIsUtf8", [](Generator& from) { return utf8(joined(anyLines(from))); }, {"TextIsUtf8"}},
    {"TextIsUtf8WithMark", [](Generator& from) { return "\xEF\xBB\xBF" + utf8(joined(anyLines(from))); }, {"TextIsUtf8"}},
    {"TextIsUtf8Twice", [](Generator& from) { return utf8OfBytes(utf8(joined(anyLines(from)))); }, {"TextIsUtf8Twice"}},
    {"Utf16NoBom", [](Generator& from) { return utf16(joined(anyLines(from)), false, false); }, {"Utf16NoBom"}},
    {"Utf16NoBomBig", [](Generator& from) { return utf16(joined(anyLines(from)), true, false); }, {"Utf16NoBom"}},
    {"Utf16BigEndian", [](Generator& from) { return utf16(joined(anyLines(from)), true); }, {"Utf16BigEndian"}},
    {"Dos850", [](Generator& from) { return inCodePage(joined(linesWithLetters(from)), &Letter::dos850); }, {"DosText"}},
    {"Dos437", [](Generator& from) { return inCodePage(joined(linesWithLetters(from)), &Letter::dos437); }, {"DosText"}},
    {"MacText", [](Generator& from) { return inCodePage(joined(linesWithLetters(from)), &Letter::mac); }, {"MacText"}},
    {"LineEndingsLf", [](Generator& from) { return joined(anyLines(from), "\n"); }, {"LineEndingsLf"}},
    {"LineEndingsCr", [](Generator& from) { return joined(anyLines(from), "\r"); }, {"LineEndingsCr"}},
    {"LineEndingsCrCrLf", [](Generator& from) { return joined(anyLines(from), "\r\r\n"); }, {"LineEndingsCrCrLf"}},
    {"LineEndingsLfUtf16", [](Generator& from) { return utf16(joined(anyLines(from), "\n")); }, {"LineEndingsLf"}},
    {"DoubleSpaced", [](Generator& from) { return joined(anyLines(from), "\r\n\r\n"); }, {"DoubleSpaced"}},
    {"LastLineEnding",
        [](Generator& from) {
            const std::string bytes = joined(anyLines(from));
            return bytes.substr(0, bytes.size() - 1 - static_cast<std::size_t>(from.below(2)));
        },
        {"LastLineEnding"}},
    {"CtrlZ", [](Generator& from) { return joined(anyLines(from)) + "\x1A"; }, {"CtrlZ"}},
    {"CtrlZAndLine", [](Generator& from) { return joined(anyLines(from)) + "\x1A\r\n"; }, {"CtrlZ"}},
    {"BlankLines",
        [](Generator& from) {
            Lines lines = anyLines(from);
            for (int i = 0, count = lines.size() > 4 ? 1 + from.below(2) : 1; i < count; ++i)
                lines.insert(lines.begin() + from.below(lines.size() + 1), from.isOneOf(2) ? "" : "   ");
            return joined(lines);
        },
        {"BlankLines"}},
    {"Trimmed", [](Generator& from) { return joined(each(anyLines(from), trimmed)); }, {"Trimmed"}},
    {"TrimmedUtf16", [](Generator& from) { return utf16(joined(each(anyLines(from), trimmed))); }, {"Trimmed"}},
    {"Wrapped", [](Generator& from) { return wrapped(from.round(), widthIn(from)); }, {"Wrapped"}},
    {"WrappedUtf16", [](Generator& from) { return utf16(wrapped(from.round(), widthIn(from))); }, {"Wrapped"}},
    {"RightPartLost",
        [](Generator& from) {
            const std::size_t width = widthIn(from);
            return joined(each(from.round(), [&](const std::string& line) { return line.substr(0, width); }));
        },
        {"RightPartLost"}},
    {"Quoted",
        [](Generator& from) {
            return joined(each(anyLines(from), [](const std::string& line) {
                std::string out = "\"";
                for (const char c : line) out += std::string(c == '"' ? 2 : 1, c);
                return out + "\"";
            }));
        },
        {"Quoted"}},
    {"LeadingSpace",
        [](Generator& from) {
            const std::string spaces(1 + static_cast<std::size_t>(from.below(4)), ' ');
            return joined(each(anyLines(from), [&](const std::string& line) { return spaces + line; }));
        },
        {"LeadingSpace"}},
    {"Tabs", [](Generator& from) { return joined(each(from.round(), withTabs)); }, {"Tabs"}},
    {"NoBreakSpaces",
        [](Generator& from) {
            std::string bytes = joined(from.round());
            const bool areAll = from.isOneOf(2);
            for (std::size_t i = 0; i < bytes.size(); ++i)
                if (bytes[i] == ' ' && (areAll || bytes[i - 1] == ' ')) bytes[i] = '\xA0';
            return bytes;
        },
        {"NoBreakSpaces"}},
    {"SpacesCollapsed", [](Generator& from) { return joined(each(from.round(), collapsed)); }, {"SpacesCollapsed"}},
    // Two damages
    {"Utf8AndLf", [](Generator& from) { return utf8(joined(anyLines(from), "\n")); }, {"LineEndingsLf", "TextIsUtf8"}},
    {"Utf8TrimmedLf", [](Generator& from) { return utf8(joined(each(from.round(), trimmed), "\n")); },
        {"LineEndingsLf", "TextIsUtf8", "Trimmed"}},
    {"TrimmedAndLf", [](Generator& from) { return joined(each(anyLines(from), trimmed), "\n"); }, {"LineEndingsLf", "Trimmed"}},
};

}  // namespace damaging
