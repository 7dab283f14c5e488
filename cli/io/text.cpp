#include "cli/io/text.h"
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

// A sign one column wide for a character that is not visible: no text of a file is shown with one of these as it is.
constexpr char32_t pictureOf(char32_t c) {
    constexpr char32_t controlPictures = 0x2400, pictureOfDelete = 0x2421, openBox = 0x2423;
    if (c < 0x20) return controlPictures + c;
    if (c == 0x7F) return pictureOfDelete;
    return c == 0xA0 ? openBox : utf8::replacement;
}

}  // namespace

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

Shown shown(std::wstring_view text) {
    Shown out{{}, 0};
    out.utf8.reserve(text.size());
    for (const wchar_t c : text) {
        const auto character = static_cast<char32_t>(c);
        if (character >= ' ' && character <= '~') {  // nearly all are
            out.utf8 += static_cast<char>(c);
            ++out.width;
            continue;
        }
        const bool isWide = isIn(wide, character);
        utf8::append(out.utf8, isWide || isIn(narrow, character) ? character : pictureOf(character));
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

std::string listOf(std::span<const std::string_view> words, std::string_view joint) {
    if (words.size() < 2) return fmt::format("{}", fmt::join(words, ""));
    return fmt::format("{} {} {}", fmt::join(words.first(words.size() - 1), ", "), joint, words.back());
}

}  // namespace tramo::cli
