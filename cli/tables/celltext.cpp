#include "cli/tables/celltext.h"
#include "cli/io/text.h"
#include "common/encoding.h"
#include "common/secret.h"
#include "common/utf16.h"
#include <algorithm>
#include <charconv>
#include <iterator>

namespace tramo::cli {

namespace {

using encoding::valueOf;

constexpr char hexDigits[] = "0123456789abcdef";

// U+FFFE and U+FFFF are no characters, and XML has no place for them.
bool isControl(wchar_t c) { return valueOf(c) < 0x20 || c == 0x7F || valueOf(c) >= 0xFFFE; }

void appendEscape(fmt::memory_buffer& out, wchar_t c) {
    const auto unit = static_cast<unsigned>(valueOf(c));
    for (const char e :
        {'\\', 'u', hexDigits[unit >> 12 & 15], hexDigits[unit >> 8 & 15], hexDigits[unit >> 4 & 15], hexDigits[unit & 15]})
        out.push_back(e);
}

void append(fmt::memory_buffer& out, std::string_view bytes) { out.append(bytes.data(), bytes.data() + bytes.size()); }
void appendUtf8(fmt::memory_buffer& out, std::wstring_view text) { append(out, utf8::encode(text)); }

// --- Texts that are written as they are ------------------------------------------------------------------------------

// A text is plain if it has only visible ASCII characters and spaces, but none of the special ones.
template <char... special> bool isPlain(wchar_t c) { return (c >= 0x20) & (c < 0x7F) & (... & (c != wchar_t{special})); }

// Appends a plain text. Appends nothing to another text, and returns false.
template <char... special> bool appendPlain(fmt::memory_buffer& out, std::wstring_view text) {
    unsigned others = 0;  // no early exit: this way the compiler looks at several characters at once
    for (const wchar_t c : text) others |= static_cast<unsigned>(!isPlain<special...>(c));
    if (others) return false;
    const std::size_t from = out.size();
    out.resize(from + text.size());
    std::ranges::transform(text, out.begin() + from, [](wchar_t c) { return static_cast<char>(c); });
    return true;
}

// --- Texts of bytes --------------------------------------------------------------------------------------------------

// Appends plain characters several at a time. Calls appendOne(character) for others, and some beside them.
template <char... special> void appendCharacters(Appender& out, std::string_view text, auto appendOne) {
    constexpr std::size_t block = 8;
    for (;;) {
        text.remove_prefix(cli::appendPlain<special...>(out, text));
        if (text.empty()) return;
        const std::string_view some = text.substr(0, block);
        for (const char c : some) appendOne(c);
        text.remove_prefix(some.size());
    }
}

void appendEscape(Appender& out, char c) {
    const auto unit = static_cast<unsigned>(valueOf(c));
    const char escape[] = {'\\', 'u', '0', '0', hexDigits[unit >> 4 & 15], hexDigits[unit & 15]};
    out.addShort({escape, sizeof escape});
}

// A character of a cell.
void appendAsCell(Appender& out, char c) {
    const auto code = static_cast<unsigned char>(c);
    if (isControl(code)) return appendEscape(out, c);
    if (c == '\\') out.add(c);
    if (code < 0x80) return out.add(c);
    out.add(static_cast<char>(0xC0 | code >> 6));
    out.add(static_cast<char>(0x80 | (code & 0x3F)));
}

}  // namespace

// --- JSON ------------------------------------------------------------------------------------------------------------

void appendJsonCharacters(fmt::memory_buffer& out, std::wstring_view text) {
    for (const wchar_t c : text) {
        if (c == '"' || c == '\\') out.push_back('\\');
        if (valueOf(c) >= 0x20 && valueOf(c) < 0x7F) out.push_back(static_cast<char>(c));
        else appendEscape(out, c);
    }
}

void appendJson(fmt::memory_buffer& out, std::wstring_view text) {
    out.push_back('"');
    if (!appendPlain<'"', '\\'>(out, text)) appendJsonCharacters(out, text);
    out.push_back('"');
}

void appendJson(Appender& out, std::string_view text) {
    out.add('"');
    appendCharacters<'"', '\\'>(out, text, [&](char c) {
        if (c == '"' || c == '\\') out.add('\\');
        if (valueOf(c) >= 0x20 && valueOf(c) < 0x7F) out.add(c);
        else appendEscape(out, c);
    });
    out.add('"');
}

// --- Cells -----------------------------------------------------------------------------------------------------------

void appendEscaped(fmt::memory_buffer& out, std::wstring_view text, bool harmless) {
    const bool escapesFirst = harmless && !text.empty() && startsFormula(text.front());
    if (!escapesFirst && appendPlain<'\\'>(out, text)) return;
    std::size_t from = 0;  // of what has not been written
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        const bool escapes = isControl(c) || utf16::isLoneSurrogate(text, i) || (i == 0 && escapesFirst);
        if (!escapes && c != '\\') continue;
        appendUtf8(out, text.substr(from, i - from));
        if (escapes) appendEscape(out, c);
        else append(out, "\\\\");
        from = i + 1;
    }
    appendUtf8(out, text.substr(from));
}

void appendEscaped(Appender& out, std::string_view text) {
    appendCharacters<'\\'>(out, text, [&](char c) { appendAsCell(out, c); });
}

std::string escaped(std::wstring_view text, bool harmless) {
    fmt::memory_buffer out;
    appendEscaped(out, text, harmless);
    return {out.data(), out.size()};
}

// --- CSV -------------------------------------------------------------------------------------------------------------

void appendCsv(fmt::memory_buffer& out, std::wstring_view text) {
    if ((text.empty() || !startsFormula(text.front())) && appendPlain<'\\', ',', '"'>(out, text)) return;
    fmt::memory_buffer cell;
    appendEscaped(cell, text, true);
    const std::string_view bytes(cell.data(), cell.size());
    const bool isQuoted = bytes.find_first_of(",\"") != std::string_view::npos;
    if (!isQuoted) return append(out, bytes);
    out.push_back('"');
    appendCsvCharacters(out, bytes);
    out.push_back('"');
}

void appendCsv(Appender& out, std::string_view text) {
    const bool isFormula = !text.empty() && startsFormula(text.front());
    const std::size_t plain = isFormula ? 0 : cli::appendPlain<'\\', ',', '"'>(out, text);
    if (plain == text.size()) return;
    std::string_view rest = text.substr(plain);
    const bool isQuoted = rest.find(',') != std::string_view::npos || rest.find('"') != std::string_view::npos;
    if (isQuoted) {
        out.end(out.room(0) - plain);
        out.add('"');
        rest = text;
    }
    if (isFormula) {
        appendEscape(out, text.front());
        rest.remove_prefix(1);
    }
    appendCharacters<'\\', '"'>(out, rest, [&](char c) {
        if (c == '"') out.add(c);
        appendAsCell(out, c);
    });
    if (isQuoted) out.add('"');
}

void appendCsvCharacters(fmt::memory_buffer& out, std::string_view cell) {
    for (const char c : cell) {
        if (c == '"') out.push_back('"');
        out.push_back(c);
    }
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
