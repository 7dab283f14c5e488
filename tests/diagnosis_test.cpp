#include "tramostream/diagnosis.h"
#include "support/allocations.h"
#include "support/console.h"
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace tramo;

namespace {

using Lines = std::vector<std::string>;  // without line endings
using Rules = std::vector<std::string>;

constexpr std::size_t record = 512, tag = 23, parameter = 40;

// How many files each test makes: TRAMO_FILES, or a few.
int files(int usual) {
    const char* const chosen = std::getenv("TRAMO_FILES");
    return chosen ? std::atoi(chosen) : usual;
}

Lines sampleLines(const char* name) {
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
constexpr Letter letters[] = {
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
};
const Letter* letterOf(char c) {
    const auto found = std::ranges::find(letters, static_cast<unsigned char>(c), &Letter::windows);
    return found == std::end(letters) ? nullptr : &*found;
}

const char* const accented[] = {"Ren\xE9"
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
const char* const typographic[] = {"l\x92\xC9glise",
    "\x93"
    "Chez Paul\x94",
    "12 \x80 par mois", "Rue du C\x9Cur", "voir \x85 ici", "Paris \x96 Lyon", "CAF\xC9\x85", "\x93L\x92\xC9tape\x94",
    "S\x9Cur d\x92"
    "Ars",
    "d\xE9j\xE0 vu\x85"};
const char* const plain[] = {"Main Street", "12 rue du Port", "VILLE", "A. Martin", "Garage", "Dupont Jean"};

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

std::string joined(const Lines& lines, const std::string& ending = "\r\n") {
    std::string bytes;
    for (const std::string& line : lines) bytes += line + ending;
    return bytes;
}

std::string utf16(const std::string& windows, bool isBig = false, bool hasMark = true) {
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

std::string utf8(const std::string& windows) {
    std::string bytes;
    for (const char c : windows) {
        if (const Letter* letter = letterOf(c)) bytes += letter->utf8;
        else bytes += c;
    }
    return bytes;
}

// UTF-8 that a program took for Windows-1252 and converted again; a byte without a character is kept.
std::string utf8OfBytes(const std::string& bytes) {
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

std::string inCodePage(const std::string& windows, unsigned char Letter::*page) {
    std::string bytes;
    for (const char c : windows) {
        const Letter* letter = letterOf(c);
        bytes += !letter ? c : letter->*page ? static_cast<char>(letter->*page) : '?';
    }
    return bytes;
}

std::string trimmed(std::string line) {
    line.resize(line.find_last_not_of(' ') + 1);
    return line;
}

Lines each(Lines lines, const std::function<std::string(const std::string&)>& change) {
    for (std::string& line : lines) line = change(line);
    return lines;
}

std::string wrapped(const Lines& lines, std::size_t width, bool isTrimmed = false) {
    Lines parts;
    for (const std::string& line : lines)
        for (std::size_t i = 0; i < line.size(); i += width)
            parts.push_back(isTrimmed ? trimmed(line.substr(i, width)) : line.substr(i, width));
    return joined(parts);
}

std::string withTabs(const std::string& line) {
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

std::string collapsed(const std::string& line) {
    std::string out;
    for (const char c : line)
        if (c != ' ' || !out.ends_with(' ')) out += c;
    return trimmed(out);
}

Rules rulesOf(const std::vector<Finding>& findings) {
    Rules names;
    for (const Finding& finding : findings) names.emplace_back(finding.rule->name);
    std::ranges::sort(names);
    return names;
}

std::string inWords(const std::vector<Finding>& findings) {
    std::string words;
    for (const Finding& finding : findings) words += sentenceOf(finding) + "\n";
    return words;
}

std::vector<Finding> diagnosed(const std::string& bytes) {
    const Silence quiet;
    return diagnose(bytes);
}

struct Damage {
    const char* name;
    std::function<std::string(Generator&)> make;
    Rules expected;
};

void PrintTo(const Damage& damage, std::ostream* out) { *out << damage.name; }

// Kinds of files whose every line was changed in the same way.
Lines anyLines(Generator& from) {
    switch (from.below(8)) {
    case 0: return from.tags();
    case 1: return from.parameters();
    default: return from.round(from.isOneOf(2));
    }
}

// Lines with enough letters to recognize their code page.
Lines linesWithLetters(Generator& from) {
    if (!from.isOneOf(4)) return from.round(from.isOneOf(2));
    Lines lines;
    while (lines.size() < 20)
        for (const std::string& line : from.tags()) lines.push_back(line);
    return lines;
}

std::size_t widthIn(Generator& from) {
    constexpr std::size_t widths[] = {256, 80, 132, 255, 500, 76, 128, 200};
    return widths[from.below(std::size(widths))];
}

std::string cutIn(Generator& from, const std::string& ending, const std::string& end) {
    Lines lines = anyLines(from);
    std::string last = lines.back();
    lines.pop_back();
    return joined(lines, ending) + last.substr(0, 1 + static_cast<std::size_t>(from.below(last.size() - 4))) + end;
}

const Damage damages[] = {
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

class FileLevel : public testing::TestWithParam<Damage> {};

TEST_P(FileLevel, IsDiagnosedExactly) {
    const Damage& damage = GetParam();
    int wrong = 0;
    const int count = files(40);
    for (int i = 0; i < count; ++i) {
        Generator from(static_cast<unsigned>(i));
        const std::vector<Finding> findings = diagnosed(damage.make(from));
        if (rulesOf(findings) == damage.expected) continue;
        if (++wrong < 4) ADD_FAILURE() << "file " << i << ":\n" << inWords(findings);
    }
    EXPECT_EQ(wrong, 0) << "of " << count;
}

INSTANTIATE_TEST_SUITE_P(Damages, FileLevel, testing::ValuesIn(damages),
    [](const testing::TestParamInfo<Damage>& damage) { return std::string(damage.param.name); });

TEST(Diagnosis, SaysNothingAboutGoodFiles) {
    const int count = files(40) * 3;
    for (int i = 0; i < count; ++i) {
        Generator from(static_cast<unsigned>(i) + 100000);
        const Lines lines = i % 6 == 0   ? from.tags()
                            : i % 6 == 1 ? from.parameters()
                            : i % 6 == 2 ? from.keys()
                                         : from.round(i % 2 == 0);
        const std::string bytes = joined(lines);
        const std::vector<Finding> findings = diagnosed(i % 5 == 0 ? utf16(bytes) : bytes);
        EXPECT_TRUE(findings.empty()) << "file " << i << ":\n" << inWords(findings);
    }
}

// Other formats

struct Sample {
    std::string bytes, name;
};

TEST(Diagnosis, NamesTheFormatOfOtherFiles) {
    using namespace std::string_literals;
    const Sample samples[] = {
        {"PK\3\4\x14\0\6\0[Content_Types].xml xl/workbook.xml\n"s, "an Excel workbook (xlsx)"},
        {"PK\3\4\x14\0\6\0word/document.xml"s, "a Word document (docx)"},
        {"PK\3\4\x14\0\0\0\b\0round.txt"s, "a ZIP archive"},
        {"\x1F\x8B\b\0\0\0\0\0"s, "a gzip archive"},
        {"BZh91AY&SY"s, "a bzip2 archive"},
        {"\xFD"
         "7zXZ\0\0"s,
            "an xz archive"},
        {"7z\xBC\xAF\x27\x1C\0\4"s, "a 7z archive"},
        {"Rar!\x1A\7\0"s, "a RAR archive"},
        {"\x28\xB5\x2F\xFD\4"s, "a Zstandard archive"},
        {"round.txt"s + std::string(248, '\0') + "ustar\0"s, "a tar archive"},
        {"%PDF-1.7\n"s, "a PDF document"},
        {"%!PS-Adobe\n"s, "a PostScript document"},
        {"{\\rtf1\\ansi"s, "an RTF document"},
        {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"s, "an old Microsoft Office document or message"},
        {"\x89PNG\r\n\x1A\n\0"s, "a PNG image"},
        {"\xFF\xD8\xFF\xE0"s, "a JPEG image"},
        {"GIF89a"s, "a GIF image"},
        {"II*\0"s, "a TIFF image"},
        {"SQLite format 3\0"s, "an SQLite database"},
        {"\x7F"
         "ELF\2\1"s,
            "a program (ELF)"},
        {"MZ\x90\0This program cannot be run in DOS mode"s, "a program for Windows"},
        {"<?xml version=\"1.0\"?>\n<a/>"s, "an XML document"},
        {"\xEF\xBB\xBF<?xml version=\"1.0\"?>\n<a/>"s, "an XML document"},
        {"\r\n<!DOCTYPE html>\n<html>"s, "an HTML page"},
        {"<HTML><body>"s, "an HTML page"},
        {"<svg xmlns="s, "an SVG image"},
        {"{\n  \"meters\": []\n}\n"s, "a JSON document"},
        {"[{\"meter\": 1}]"s, "a JSON document"},
        {"[1, 2]"s, "a JSON document"},
        {"-----BEGIN CERTIFICATE-----\n"s, "a PEM or PGP file"},
    };
    for (const Sample& sample : samples) {
        const std::vector<Finding> findings = diagnosed(sample.bytes);
        ASSERT_EQ(rulesOf(findings), Rules{"NotExchangeFile"}) << sample.name;
        EXPECT_EQ(findings.front().sentence, "this is " + sample.name + ", not an exchange file");
        EXPECT_FALSE(findings.front().hint.empty());
        EXPECT_EQ(findings.front().line, 0);
    }
}

TEST(Diagnosis, LinesOfTheFormatMayBeginLikeOtherFormats) {
    for (const char* text :
        {"%PDF-", "<html", "{\\rtf", "BZh1AY&SY", "GIF89a", "[1, 2]", "{\"a\"", "-----BEGIN ", "MZ This program "}) {
        std::string line = text;
        line.resize(tag, ' ');
        EXPECT_EQ(rulesOf(diagnosed(joined({line}))), Rules{}) << text;
    }
}

TEST(Diagnosis, AnEmptyFileHasNothingToDiagnose) {
    EXPECT_EQ(rulesOf(diagnosed("")), Rules{});
    EXPECT_EQ(rulesOf(diagnosed("\xFF\xFE")), Rules{});
    EXPECT_EQ(inWords(diagnosed("\r\n\r\n")), "the file contains only blank lines [BlankLines]\n");
}

// Characters that were lost or added inside a line

std::string meterLine() {
    for (const std::string& line : sampleLines("round-returned.txt"))
        if (line[0] == '1') return line;
    return {};
}

// A place inside a text of the line that is not blank: 0-based.
std::size_t placeInText(Generator& from, const std::string& line) {
    std::vector<std::size_t> places;
    for (const Field& field : recordKind(static_cast<wchar_t>(line[0]))->fields) {
        if (field.kind != FieldKind::Text || field.column < 2 || field.width < 8) continue;
        for (int i = 0; i < field.width; ++i)
            if (const auto at = static_cast<std::size_t>(field.column - 1 + i); line[at] != ' ') places.push_back(at);
    }
    return places[static_cast<std::size_t>(from.below(places.size()))];
}

enum Shape { shorter, padded, inTrimmedFile };

struct Shifted {
    std::string bytes;
    int line;
};

// A round with one meter line that lost characters (`count` below zero) or gained some.
Shifted shiftedFile(Generator& from, int count, Shape shape) {
    Lines lines = from.round(from.isOneOf(2));
    std::vector<std::size_t> meters;
    for (std::size_t i = 0; i + 1 < lines.size(); ++i)
        if (lines[i][0] == '1') meters.push_back(i);
    const std::size_t chosen = meters[static_cast<std::size_t>(from.below(meters.size()))];
    std::string& line = lines[chosen];
    const std::size_t place = std::min(placeInText(from, line), std::size_t{340});  // before the serial number and dates
    if (count < 0) line.erase(place, static_cast<std::size_t>(-count));
    else line.insert(place, std::string(static_cast<std::size_t>(count), 'x'));
    if (shape == padded) line.resize(record, ' ');
    if (shape == inTrimmedFile) lines = each(lines, trimmed);
    return {joined(lines), static_cast<int>(chosen) + 1};
}

void expectShift(const char* rule, bool isLoss, Shape shape) {
    int wrong = 0;
    const int count = files(60);
    for (int i = 0; i < count; ++i) {
        Generator from(static_cast<unsigned>(i) + 5000);
        const int characters = 1 + from.below(3);
        const Shifted file = shiftedFile(from, isLoss ? -characters : characters, shape);
        const std::vector<Finding> findings = diagnosed(file.bytes);
        const Rules expected = shape == inTrimmedFile ? Rules{rule, "Trimmed"} : Rules{rule};
        const auto found = std::ranges::find_if(findings, [&](const Finding& finding) { return finding.rule->name == rule; });
        if (rulesOf(findings) == expected && found->line == file.line && found->lines.count == 1) continue;
        if (++wrong < 4) ADD_FAILURE() << "file " << i << ", line " << file.line << ":\n" << inWords(findings);
    }
    EXPECT_EQ(wrong, 0) << "of " << count;
}

TEST(Diagnosis, FindsLostCharacters) { expectShift("CharacterLost", true, shorter); }
TEST(Diagnosis, FindsAddedCharacters) { expectShift("CharacterAdded", false, shorter); }

TEST(Diagnosis, TrapAShiftInsideALineThatStillHas512Characters) {
    expectShift("CharacterLost", true, padded);
    expectShift("CharacterAdded", false, padded);
}

TEST(Diagnosis, TrapTrimmedLinesThatAlsoLostACharacter) { expectShift("CharacterLost", true, inTrimmedFile); }

TEST(Diagnosis, NamesTheFieldThatLostACharacter) {
    Lines lines = sampleLines("round-returned.txt");
    std::string& line = lines[3];
    ASSERT_EQ(line[0], '1');
    line.erase(40, 1);
    EXPECT_EQ(inWords(diagnosed(joined(lines))),
        "line 4 lacks 1 character, most likely in subscriberInformation: every field after column 6 is shifted [CharacterLost]\n");
}

// Traps

TEST(Diagnosis, TrapLinesThatLostTheirRightHalfLookWrapped) {
    for (int i = 0; i < files(40); ++i) {
        Generator from(static_cast<unsigned>(i));
        Lines lines = from.round();
        if (lines.size() % 2) lines.pop_back();  // every two halves together have the length of a line
        const std::string halves = joined(each(lines, [](const std::string& line) { return line.substr(0, record / 2); }));
        EXPECT_EQ(rulesOf(diagnosed(halves)), Rules{"RightPartLost"}) << "file " << i;
        EXPECT_EQ(rulesOf(diagnosed(wrapped(lines, record / 2))), Rules{"Wrapped"}) << "file " << i;
    }
}

TEST(Diagnosis, TrapBlankLinesAtTheEndBelongToAWrappedLine) {
    Lines lines = sampleLines("round-returned.txt");
    lines.back().resize(200);
    lines.back().resize(record, ' ');  // its last parts are blank
    for (const bool isTrimmed : {false, true}) {
        const std::vector<Finding> findings = diagnosed(wrapped(lines, 100, isTrimmed));
        EXPECT_EQ(rulesOf(findings), Rules{"Wrapped"}) << inWords(findings);
        EXPECT_EQ(findings.front().sentence, "every line was broken after 100 characters");
    }
}

TEST(Diagnosis, TrapALineEndingAfterATornLineHidesTheCut) {
    Lines lines = sampleLines("round-returned.txt");
    lines.back().resize(422, 'x');
    for (const char* end : {"", "\r\n", "\n"}) {
        std::string bytes = joined(lines);
        bytes.replace(bytes.size() - 2, 2, end);
        const std::vector<Finding> findings = diagnosed(bytes);
        EXPECT_EQ(inWords(findings), "the last line ends after 422 of 512 characters: the file was cut off [CutOff]\n");
        EXPECT_EQ(findings.front().line, static_cast<std::int64_t>(lines.size()));
    }
}

TEST(Diagnosis, ATornLineOfATrimmedFileIsShorterThanTheOthers) {
    Lines lines = each(sampleLines("round-returned.txt"), trimmed);
    while (lines.back()[0] != '1') lines.pop_back();
    lines.back().resize(150);
    std::string bytes = joined(lines);
    EXPECT_EQ(rulesOf(diagnosed(bytes.substr(0, bytes.size() - 2))), (Rules{"CutOff", "Trimmed"}));
}

// Parts, memory and hostile contents

TEST(Diagnosis, PartsMakeTheSameFindings) {
    const Silence quiet;
    for (const char* ending : {"\r\n", "\n", "\r\n\r\n"}) {
        Generator from(7);
        const std::string bytes = joined(each(from.round(), trimmed), ending);
        const auto head = std::make_shared<const FileHead>(bytes, true);
        std::wstring text;
        for (const char c : bytes) text += static_cast<wchar_t>(static_cast<unsigned char>(c));
        const std::string expected = inWords(diagnose(bytes));
        for (const std::size_t size : {1U, 2U, 3U, 7U}) {
            Diagnosis whole(head), part(head);
            std::int64_t number = 0;
            std::size_t begin = 0;
            for (std::size_t end = 0; (end = text.find(L'\n', begin)) != std::wstring::npos; begin = end + 1) {
                const bool hasReturn = end > begin && text[end - 1] == L'\r';
                part.line({.text = std::wstring_view(text).substr(begin, end - begin - hasReturn),
                    .carriageReturn = hasReturn,
                    .lineFeed = true,
                    .number = ++number});
                if (number % static_cast<std::int64_t>(size)) continue;
                whole += part;
                part = Diagnosis(head);
            }
            whole += part;
            EXPECT_EQ(inWords(whole.findings()), expected) << size;
        }
    }
}

TEST(Diagnosis, ACleanLineAllocatesNothing) {
    const std::string line = meterLine();
    const auto head = std::make_shared<const FileHead>(joined({line, line}), true);
    Diagnosis diagnosis(head);
    diagnosis.clean(line, 1);  // memory for letters is taken once
    EXPECT_EQ(allocationsOf([&] {
        for (int i = 2; i < 1000; ++i) diagnosis.clean(line, i);
    }),
        0);
    EXPECT_TRUE(diagnosis.findings().empty());
}

TEST(Diagnosis, AnyBytesAreDiagnosed) {
    for (int i = 0; i < files(300); ++i) {
        Generator from(static_cast<unsigned>(i));
        std::string bytes(static_cast<std::size_t>(from.below(3000)), ' ');
        const std::string some("01 9\r\n\0\xFF\xFE\xC3\xA9\t\"{[\x1A\xA0", 18);
        for (char& c : bytes)
            c = from.isOneOf(3) ? static_cast<char>(from.below(256)) : some[static_cast<std::size_t>(from.below(some.size()))];
        for (const Finding& finding : diagnosed(bytes)) EXPECT_TRUE(isAboutFile(*finding.rule));
    }
}

TEST(Diagnosis, EveryRuleOfAFileHasARemedy) {
    std::size_t count = 0;
    for (const Rule& rule : rules()) {
        if (!isAboutFile(rule)) continue;
        ++count;
        EXPECT_EQ(rule.code, 0) << rule.name;
        EXPECT_EQ(rule.remedy.find("tramo repair"), std::string_view::npos) << "names a command that does not exist";
    }
    EXPECT_EQ(count, 26u);
}

}  // namespace
