#include "text.h"
#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace tramo::cli {

namespace {

struct Range {
    char32_t first, last;
};

constexpr bool isIn(const auto& ranges, char32_t c) {
    const auto* range =
        std::upper_bound(std::begin(ranges), std::end(ranges), c, [](char32_t value, const Range& r) { return value <= r.last; });
    return range != std::end(ranges) && c >= range->first;
}

// clang-format off
// Control characters, spaces that look like U+0020, marks that are invisible or that turn text around, halves of pairs,
// private and unused places.
constexpr Range hidden[] = {
    {0x0000, 0x001F}, {0x007F, 0x00A0}, {0x00AD, 0x00AD}, {0x034F, 0x034F}, {0x061C, 0x061C}, {0x115F, 0x1160},
    {0x1680, 0x1680}, {0x17B4, 0x17B5}, {0x180B, 0x180F}, {0x2000, 0x200F}, {0x2028, 0x202F}, {0x205F, 0x206F}, {0x3164, 0x3164},
    {0xD800, 0xF8FF}, {0xFDD0, 0xFDEF}, {0xFE00, 0xFE0F}, {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0}, {0xFFF0, 0xFFFB},
    {0xFFFE, 0xFFFF}, {0x1D173, 0x1D17A}, {0xE0000, 0x10FFFF},
};
// Two columns wide on a terminal.
constexpr Range wide[] = {
    {0x1100, 0x115E}, {0x2E80, 0x303E}, {0x3041, 0x3163}, {0x3165, 0xA4CF}, {0xA960, 0xA97C}, {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF}, {0xFE30, 0xFE6F}, {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6},
};
// One column wide: Latin, Greek, Cyrillic, Armenian, punctuation, currencies, letterlike signs, arrows, mathematics, boxes.
constexpr Range narrow[] = {
    {0x0020, 0x007E}, {0x00A1, 0x00AC}, {0x00AE, 0x02FF}, {0x0370, 0x0377}, {0x037A, 0x0482}, {0x048A, 0x058F},
    {0x2010, 0x2027}, {0x2030, 0x205E}, {0x20A0, 0x20C0}, {0x2100, 0x2319}, {0x2500, 0x25FC},
};
// clang-format on

void appendUtf8(std::string& out, char32_t c) {
    auto put = [&](char32_t byte) { out += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (c < 0x80) {
        put(c);
    } else if (c < 0x800) {
        put(0xC0 | c >> 6);
        put(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
        put(0x80 | (c & 0x3F));
    }
}

constexpr char32_t replacement = 0xFFFD;

// A sign one column wide for a character that is not visible: no text of a file is shown with one of these as it is.
constexpr char32_t pictureOf(char32_t c) {
    constexpr char32_t controlPictures = 0x2400, pictureOfDelete = 0x2421, openBox = 0x2423;
    if (c < 0x20) return controlPictures + c;
    if (c == 0x7F) return pictureOfDelete;
    return c == 0xA0 ? openBox : replacement;
}

constexpr bool isSurrogate(wchar_t c) { return (c & ~0x7FF) == 0xD800; }
constexpr bool isHighSurrogate(wchar_t c) { return (c & ~0x3FF) == 0xD800; }
constexpr bool isLowSurrogate(wchar_t c) { return (c & ~0x3FF) == 0xDC00; }

// The character that begins at `at`, and how many units it takes; half of a pair stands for itself.
struct Unit {
    char32_t character;
    std::size_t length;
};
Unit unitAt(std::wstring_view text, std::size_t at) {
    const wchar_t c = text[at];
    if (!isHighSurrogate(c) || at + 1 == text.size() || !isLowSurrogate(text[at + 1])) return {static_cast<char32_t>(c), 1};
    return {0x10000 + ((static_cast<char32_t>(c) & 0x3FF) << 10) + (static_cast<char32_t>(text[at + 1]) & 0x3FF), 2};
}

// The UTF-8 character that begins at `at`; length 0 when there is none.
Unit utf8At(std::string_view bytes, std::size_t at) {
    auto byte = [&](std::size_t i) -> char32_t { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0; };
    const char32_t first = byte(at);
    if (first < 0x80) return {first, 1};
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4) return {0, 0};
    char32_t c = first & (0x7Fu >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) return {0, 0};
        c = c << 6 | (byte(at + i) & 0x3F);
    }
    constexpr char32_t lowest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (c < lowest[length] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return {0, 0};
    return {c, length};
}

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool isCapital(char c) { return c >= 'A' && c <= 'Z'; }
constexpr bool isSmall(char c) { return c >= 'a' && c <= 'z'; }
constexpr bool isJoint(char c) { return c == ' ' || c == '_' || c == '-'; }

// Words of small letters, each with one capital at most, at its beginning. Random letters hardly ever are such words.
bool isMadeOfWords(std::string_view name) {
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool isBegin = isCapital(name[i]) && i + 2 < name.size() && isSmall(name[i + 1]) && isSmall(name[i + 2]);
        if (!isBegin && !isSmall(name[i]) && !isJoint(name[i])) return false;
    }
    return true;
}

// A key of 16 bytes is 32 hexadecimal digits, also in groups, or 22 characters in base64.
bool looksLikeName(std::string_view name) {
    constexpr std::size_t longest = 64, mostHexadecimal = 15, mostOfAnyKind = 19;
    if (name.empty() || name.size() > longest) return false;
    std::size_t hexadecimal = 0;
    for (const char c : name) {
        if (isJoint(c)) continue;
        if (!isDigit(c) && !isCapital(c) && !isSmall(c)) return false;
        const bool isHexadecimal = isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
        hexadecimal = isHexadecimal ? hexadecimal + 1 : 0;
        if (hexadecimal > mostHexadecimal) return false;
    }
    return name.size() <= mostOfAnyKind || isMadeOfWords(name);
}

void appendPrintable(std::string& out, char32_t c) {
    if (!isIn(hidden, c)) appendUtf8(out, c);
    else if (c < 0x100) fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<unsigned>(c));
    else if (c < 0x10000) fmt::format_to(std::back_inserter(out), "\\u{:04x}", static_cast<unsigned>(c));
    else fmt::format_to(std::back_inserter(out), "\\U{:08x}", static_cast<unsigned>(c));
}

}  // namespace

bool isLoneSurrogate(std::wstring_view text, std::size_t at) {
    if (!isSurrogate(text[at])) return false;
    if (isHighSurrogate(text[at])) return unitAt(text, at).length == 1;
    return at == 0 || !isHighSurrogate(text[at - 1]);
}

std::string printable(std::wstring_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const Unit unit = unitAt(text, at);
        appendPrintable(out, unit.character);
        at += unit.length;
    }
    return out;
}

std::string printable(std::string_view bytes) {
    std::string out;
    for (std::size_t at = 0; at < bytes.size();) {
        const Unit unit = utf8At(bytes, at);
        if (unit.length) appendPrintable(out, unit.character);
        else fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<unsigned char>(bytes[at]));
        at += std::max<std::size_t>(unit.length, 1);
    }
    return out;
}

std::string toUtf8(std::wstring_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const Unit unit = unitAt(text, at);
        appendUtf8(out, isSurrogate(static_cast<wchar_t>(unit.character)) ? replacement : unit.character);
        at += unit.length;
    }
    return out;
}

std::string validUtf8(std::string_view bytes) {
    std::string out;
    for (std::size_t at = 0; at < bytes.size();) {
        const Unit unit = utf8At(bytes, at);
        appendUtf8(out, unit.length ? unit.character : replacement);
        at += std::max<std::size_t>(unit.length, 1);
    }
    return out;
}

std::size_t charactersOfUtf8(std::string_view bytes) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < bytes.size(); ++count) {
        const std::size_t length = utf8At(bytes, at).length;
        if (length == 0) return bytes.size();
        at += length;
    }
    return count;
}

std::string nameOf(const std::string& path) { return path == "-" ? "<stdin>" : path; }

std::string uriOf(std::string_view path) {
    std::string out = path.starts_with('/') ? "file://" : "";
    for (const char c : path) {
        const bool plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        if (plain || std::string_view("-._~/").find(c) != std::string_view::npos) out += c;
        else fmt::format_to(std::back_inserter(out), "%{:02X}", static_cast<unsigned char>(c));
    }
    return out;
}

void wipe(std::wstring& secret) {
    for (volatile wchar_t& c : secret) c = 0;
    secret.clear();
}

Shown shown(std::wstring_view text) {
    Shown out{{}, 0};
    for (const wchar_t c : text) {
        const auto character = static_cast<char32_t>(c);
        const bool isWide = isIn(wide, character);
        appendUtf8(out.utf8, isWide || isIn(narrow, character) ? character : pictureOf(character));
        out.width += isWide ? 2 : 1;
    }
    return out;
}

std::string quotedForShell(std::string_view text) {
    std::string out = "'";
    for (const char c : text)
        if (c == '\'') out += "'\\''";
        else out += c;
    return out + "'";
}

std::string shellWord(const std::string& path) {
    constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._-";
    if (path == "-") return path;
    const std::string word = (path.starts_with('-') ? "./" : "") + path;
    return word.find_first_not_of(plain) == std::string::npos ? word : quotedForShell(word);
}

std::string named(std::string_view what, std::string_view name, std::string_view instead) {
    if (looksLikeName(name)) return fmt::format("{} \"{}\"", what, name);
    return fmt::format("{}{}{}", what, instead.empty() ? "" : " ", instead);
}

std::string plainWord(std::string_view name) {
    std::string out;
    for (const char c : name)
        if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'z')) out += c;
        else if (c >= 'A' && c <= 'Z') out += static_cast<char>(c - 'A' + 'a');
    return out;
}

std::string hyphenated(std::string_view name) {
    std::string word(name);
    std::ranges::replace(word, ' ', '-');
    return word;
}

}  // namespace tramo::cli
