#include "cli/tables/celltext.h"
#include "cli/io/text.h"
#include "common/secret.h"
#include "common/utf16.h"
#include <algorithm>
#include <charconv>
#include <iterator>

namespace tramo::cli {

namespace {

// U+FFFE and U+FFFF are no characters, and XML has no place for them.
bool isControl(wchar_t c) { return c < 0x20 || c == 0x7F || c >= 0xFFFE; }
bool isPlain(wchar_t c) { return (c >= 0x20) & (c < 0x7F) & (c != L'\\'); }

// What spreadsheets take for the beginning of a formula, besides control characters.
bool startsFormula(wchar_t c) { return c == L'=' || c == L'+' || c == L'-' || c == L'@'; }

template <class Text> void appendEscape(Text& out, wchar_t c) {
    constexpr char digits[] = "0123456789abcdef";
    const auto unit = static_cast<unsigned>(c);
    for (const char e : {'\\', 'u', digits[unit >> 12 & 15], digits[unit >> 8 & 15], digits[unit >> 4 & 15], digits[unit & 15]})
        out.push_back(e);
}

}  // namespace

void appendJson(fmt::memory_buffer& out, std::wstring_view text) {
    out.push_back('"');
    appendJsonCharacters(out, text);
    out.push_back('"');
}

void appendJsonCharacters(fmt::memory_buffer& out, std::wstring_view text) {
    for (const wchar_t c : text) {
        if (c == L'"' || c == L'\\') out.push_back('\\');
        if (c >= 0x20 && c < 0x7F) out.push_back(static_cast<char>(c));
        else appendEscape(out, c);
    }
}

std::string escaped(std::wstring_view text, bool harmless) {
    std::string out;
    const bool escapesFirst = harmless && !text.empty() && startsFormula(text.front());
    unsigned others = escapesFirst;  // no early exit: this way the compiler looks at several characters at once
    for (const wchar_t c : text) others |= static_cast<unsigned>(!isPlain(c));
    if (!others) {
        out.resize(text.size());
        std::ranges::transform(text, out.begin(), [](wchar_t c) { return static_cast<char>(c); });
        return out;
    }
    std::size_t from = 0;  // of what has not been written
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        const bool escapes = isControl(c) || utf16::isLoneSurrogate(text, i) || (i == 0 && escapesFirst);
        if (!escapes && c != L'\\') continue;
        out += utf8::encode(text.substr(from, i - from));
        if (escapes) appendEscape(out, c);
        else out += "\\\\";
        from = i + 1;
    }
    return out += utf8::encode(text.substr(from));
}

std::optional<wchar_t> hexUnit(std::string_view text) {
    unsigned unit = 0;
    if (text.size() < 4) return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + 4, unit, 16);
    return error == std::errc{} && end == text.data() + 4 ? std::optional(static_cast<wchar_t>(unit)) : std::nullopt;
}

std::optional<wchar_t> takeCellEscape(std::string_view& text) {
    const bool isBackslash = text.substr(1).starts_with('\\');
    const auto unit = text.substr(1).starts_with('u') ? hexUnit(text.substr(2)) : std::nullopt;
    if (isBackslash || unit) text.remove_prefix(isBackslash ? 2 : 6);
    return isBackslash ? std::optional(L'\\') : unit;
}

std::optional<wchar_t> takeJsonEscape(std::string_view& text) {
    constexpr std::string_view letters = "\"\\/bfnrt";
    constexpr std::wstring_view meanings = L"\"\\/\b\f\n\r\t";
    const std::string_view rest = text.substr(1);  // after the backslash
    const std::size_t which = rest.empty() ? std::string_view::npos : letters.find(rest[0]);
    const auto unit = rest.starts_with('u') ? hexUnit(rest.substr(1)) : std::nullopt;
    if (which == std::string_view::npos && !unit) return std::nullopt;
    text.remove_prefix(unit ? 6 : 2);
    return unit ? *unit : meanings[which];
}

std::optional<std::wstring> unescaped(std::string_view cell) {
    std::wstring text;
    while (true) {
        const std::size_t at = cell.find('\\');
        auto plain = utf8::decodeValid(cell.substr(0, at));
        if (!plain) return std::nullopt;
        if (at == std::string_view::npos && text.empty()) return plain;
        text += *plain;
        if (at == std::string_view::npos) return text;
        cell.remove_prefix(at);
        const std::optional<wchar_t> unit = takeCellEscape(cell);
        if (!unit) return std::nullopt;
        text += *unit;
    }
}

std::optional<std::size_t> EscapedText::decode(const std::function<void(std::wstring_view)>& use) const {
    constexpr std::size_t most = 1 << 16;
    SecretText piece;
    for (std::string_view rest = bytes; !rest.empty();) {
        const std::size_t place = bytes.size() - rest.size();
        if (rest.starts_with('\\')) {
            const std::optional<wchar_t> unit = takeEscape(rest);
            if (!unit) return place;
            piece += *unit;
        } else {
            std::size_t size = std::min(rest.substr(0, most).find('\\'), std::min(rest.size(), most));
            if (size == most)  // not inside of a character
                while (size > most - 4 && size < rest.size() && utf8::isContinuation(rest[size])) --size;
            const std::optional<std::wstring> plain = utf8::decodeValid(rest.substr(0, size));
            if (!plain) return place;
            piece += *plain;
            rest.remove_prefix(size);
        }
        const bool isHalf = utf16::isHighSurrogate(static_cast<char32_t>(piece.back()));
        if (piece.size() < most || isHalf) continue;
        use(piece);
        piece.clear();
    }
    if (!piece.empty()) use(piece);
    return std::nullopt;
}

}  // namespace tramo::cli
