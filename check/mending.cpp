#include "check/mending.h"
#include "check/letters.h"
#include "common/encoding.h"
#include "common/utf8.h"
#include <algorithm>
#include <cstddef>
#include <string>

namespace tramo {

namespace {

constexpr std::size_t tabStop = 8;
constexpr wchar_t noBreakSpace = 0xA0;

bool hasLetters(std::wstring_view text) {
    return std::ranges::any_of(text, [](wchar_t c) { return encoding::valueOf(c) >= 0x80; });
}

// Letters of texts in an ANSI code page. Two characters of Windows-1252 that happen to be valid UTF-8, such as an accented
// capital letter and an ellipsis, mean none of them.
bool isUsualLetter(wchar_t c) {
    const auto code = encoding::valueOf(c);
    return windowsByteOf(c) >= 0 || (code >= 0x100 && code < 0x180) || (code >= 0x386 && code < 0x3CF) ||
           (code >= 0x410 && code < 0x450);
}

// The bytes that a program took for these characters of Windows-1252; nullopt: it has no such character.
std::optional<std::string> bytesOf(std::wstring_view text) {
    std::string bytes;
    for (const wchar_t c : text) {
        const int byte = encoding::valueOf(c) <= encoding::mostOfAnsi ? static_cast<int>(encoding::valueOf(c)) : windowsByteOf(c);
        if (byte < 0) return std::nullopt;
        bytes += static_cast<char>(byte);
    }
    return bytes;
}

bool isQuoted(std::wstring_view text) { return text.size() >= 2 && text.front() == L'"' && text.back() == L'"'; }

void unquote(SecretText& text) {
    const std::wstring_view inner = std::wstring_view(text).substr(1, text.size() - 2);
    SecretText plain;
    for (std::size_t i = 0; i < inner.size(); ++i) {
        plain += inner[i];
        if (inner.substr(i, 2) == L"\"\"") ++i;
    }
    text = std::move(plain);
}

void expandTabs(SecretText& text) {
    SecretText expanded;
    for (const wchar_t c : std::wstring_view(text))
        if (c == L'\t') expanded.resize(expanded.size() / tabStop * tabStop + tabStop, L' ');
        else expanded += c;
    text = std::move(expanded);
}

// A quarter of all spaces and more: typographic no-break spaces are few.
bool areSpacesReplaced(std::wstring_view text) {
    const auto replaced = std::ranges::count(text, noBreakSpace);
    return replaced >= 8 && replaced * 3 >= std::ranges::count(text, L' ');
}

bool beginsLikeLine(std::wstring_view text, std::size_t length, bool isRecord) {
    const std::size_t first = text.find_first_not_of(L' ');
    if (first == 0 || first == std::wstring_view::npos) return true;
    return isRecord ? !isRecordLetter(text[first]) : text.size() <= length;
}

MendedLine withoutMarks(std::wstring_view text, std::size_t length, bool isRecord) {
    MendedLine line{.text = SecretText(text)};
    if ((line.quoted = isQuoted(line.text))) unquote(line.text);
    if ((line.leadingSpace = length > 0 && !beginsLikeLine(line.text, length, isRecord)))
        line.text.erase(0, std::wstring_view(line.text).find_first_not_of(L' '));
    if ((line.tabs = std::ranges::find(line.text, L'\t') != line.text.end())) expandTabs(line.text);
    if ((line.noBreakSpaces = areSpacesReplaced(line.text))) std::ranges::replace(line.text, noBreakSpace, L' ');
    return line;
}

}  // namespace

std::optional<std::wstring> readAsUtf8(std::wstring_view text) {
    if (!hasLetters(text)) return std::nullopt;
    const std::optional<std::string> bytes = bytesOf(text);
    std::optional<std::wstring> read = bytes ? utf8::decodeValid(*bytes) : std::nullopt;
    if (read && !std::ranges::all_of(*read, isUsualLetter)) read.reset();
    return read;
}

bool breaksUtf8(std::wstring_view text) { return hasLetters(text) && !readAsUtf8(text); }

MendedLine mended(std::wstring_view text, std::optional<LineKind> kind) {
    const std::size_t length = kind ? shapeOf(*kind).length : 0;
    const bool isRecord = kind == LineKind::Record;
    const bool isRightLength = length > 0 && text.size() == length;
    if (isRightLength && !(isRecord && (isQuoted(text) || text.front() == L' '))) {
        MendedLine line{.text = SecretText(text)};
        if ((line.noBreakSpaces = areSpacesReplaced(text))) std::ranges::replace(line.text, noBreakSpace, L' ');
        return line;
    }
    const std::optional<std::wstring> once = readAsUtf8(text);
    if (!once) return withoutMarks(text, length, isRecord);
    MendedLine line = withoutMarks(*once, length, isRecord);
    line.utf8 = true;
    if (const std::optional<std::wstring> twice = readAsUtf8(*once)) {
        MendedLine other = withoutMarks(*twice, length, isRecord);
        if (other.text.size() == length || line.text.size() != length) {
            other.utf8Twice = true;
            return other;
        }
    }
    return line;
}

}  // namespace tramo
