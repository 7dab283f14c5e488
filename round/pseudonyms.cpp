#include "round/pseudonyms.h"
#include "common/secret.h"
#include "common/utf16.h"
#include "convert/reading.h"
#include <algorithm>
#include <string>

namespace tramo {

namespace {

constexpr unsigned rounds = 8;  // in each direction; a step makes both
constexpr std::size_t digitsInHash = 8;
constexpr std::size_t longestText = 512;
constexpr unsigned mostAttempts = 16;

constexpr Alphabet ansiAlphabets[] = {{L'0', 10}, {L'A', 26}, {L'a', 26}, {0xC0, 23}, {0xD8, 7}, {0xDF, 24}, {0xF8, 8}};

// Letters of the code pages of other systems and other scripts; in Windows-1252 and Latin-1, single signs.
constexpr bool isSign(wchar_t c) { return (c >= 0x80 && c < 0xA0) || (c > 0xA0 && c < 0xC0); }

// Beyond U+00FF, a character becomes one of the same 64, or one of a part of them. Punctuation, symbols and marks stay.
constexpr Alphabet beyondAnsi(std::uint32_t c) {
    constexpr Alphabet parts[] = {{0x370, 16}, {0xFEC0, 63}, {0xFFC0, 32}};
    for (const Alphabet& part : parts)
        if (c >= part.first && c < std::uint32_t{part.first} + part.size) return part;
    constexpr std::array<std::uint32_t, 2> others[] = {{0x300, 0x37F}, {0x2000, 0x2BFF}, {0x3000, 0x303F}, {0xD800, 0xDFFF},
        {0xFE00, 0xFE7F}, {0xFEC0, 0xFEFF}, {0xFFC0, 0xFFFF}};
    if (c <= 0xFF || c > 0xFFFF) return {};
    for (const auto& [first, last] : others)
        if (c >= first && c <= last) return {};
    return {static_cast<std::uint16_t>(c & ~0x3FU), 64};
}

constexpr bool isHexadecimal(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'F') || (c >= L'a' && c <= L'f');
}

// The part of the text without white space around it.
std::span<wchar_t> trimmed(std::span<wchar_t> text) {
    while (!text.empty() && codec::isBlank(text.back())) text = text.first(text.size() - 1);
    while (!text.empty() && codec::isBlank(text.front())) text = text.subspan(1);
    return text;
}

std::wstring_view viewOf(std::span<const wchar_t> text) { return {text.data(), text.size()}; }

// Takes a number below the base out of a hash of which nearly all bits are unused.
std::uint32_t takeBelow(std::uint32_t base, std::uint64_t& hash) {
    const std::uint64_t low = (hash & 0xFFFFFFFF) * base, high = (hash >> 32) * base + (low >> 32);
    hash = high << 32 | (low & 0xFFFFFFFF);
    return static_cast<std::uint32_t>(high >> 32);
}

void appendNumber(SecretText& text, std::uint64_t number) {
    for (int shift = 0; shift < 64; shift += 16) text += static_cast<wchar_t>(number >> shift & 0xFFFF);
}

}  // namespace

Alphabet alphabetOf(std::wstring_view text, std::size_t at) {
    const wchar_t c = text[at];
    for (const Alphabet& alphabet : ansiAlphabets)
        if (c >= alphabet.first && c < alphabet.first + alphabet.size) return alphabet;
    if (c < 0x80) return {};
    if (isSign(c)) {
        const bool isAlone = (at == 0 || !isSign(text[at - 1])) && (at + 1 == text.size() || !isSign(text[at + 1]));
        if (isAlone) return {};
        return c < 0xA0 ? Alphabet{0x80, 32} : Alphabet{0xA1, 31};
    }
    if (const Alphabet alphabet = beyondAnsi(static_cast<std::uint32_t>(c)); alphabet.size != 0) return alphabet;
    const auto unit = static_cast<char32_t>(c);
    if (utf16::isLowSurrogate(unit) && at > 0 && utf16::isHighSurrogate(static_cast<char32_t>(text[at - 1])))
        return {0xDC00, 1024};
    return {};
}

std::uint64_t Pseudonyms::roundOf(std::uint64_t tweak, unsigned round, std::span<const Digit> half, unsigned block) const {
    std::array<wchar_t, 6 + longestText> text;
    std::size_t size = 0;
    for (int shift = 0; shift < 64; shift += 16) text[size++] = static_cast<wchar_t>(tweak >> shift & 0xFFFF);
    text[size++] = static_cast<wchar_t>(round);
    text[size++] = static_cast<wchar_t>(block);
    for (const Digit& digit : half) text[size++] = static_cast<wchar_t>(digit.value);
    return textHash(std::wstring_view(text.data(), size));
}

void Pseudonyms::addRound(
    std::uint64_t tweak, unsigned round, std::span<Digit> half, std::span<const Digit> other, bool isInverse) const {
    std::uint64_t hash = 0;
    for (std::size_t i = 0; i < half.size(); ++i) {
        if (i % digitsInHash == 0) hash = roundOf(tweak, round, other, static_cast<unsigned>(i / digitsInHash));
        const std::uint32_t base = half[i].alphabet.size, added = takeBelow(base, hash);
        half[i].value = (half[i].value + (isInverse ? base - added : added)) % base;
    }
}

void Pseudonyms::permute(std::uint64_t tweak, std::span<Digit> digits, bool isInverse) const {
    if (digits.size() < 2) return;
    const std::span<Digit> left = digits.first(digits.size() / 2), right = digits.subspan(digits.size() / 2);
    for (unsigned i = 0; i < rounds; ++i) {
        const unsigned round = isInverse ? rounds - 1 - i : i;
        if (round % 2 == 0) addRound(tweak, round, left, right, isInverse);
        else addRound(tweak, round, right, left, isInverse);
    }
}

// To another number, always: the permutation to the secret order, a step in it, and back.
void Pseudonyms::step(std::uint64_t tweak, std::span<Digit> digits) const {
    permute(tweak, digits, false);
    Digit& first = digits.front();
    std::uint64_t hash = roundOf(tweak, rounds, {}, 0);
    first.value = (first.value + 1 + takeBelow(first.alphabet.size - 1U, hash)) % first.alphabet.size;
    permute(tweak, digits, true);
}

void Pseudonyms::replaceDigits(std::span<wchar_t> text, bool hexadecimal) const {
    constexpr Alphabet hexDigits{0, 16};
    text = trimmed(text);
    const std::wstring_view view = viewOf(text);
    std::vector<Digit> digits;
    SecretText shape;  // what a text and its replacement have in common
    for (std::size_t at = 0; at < text.size(); ++at) {
        const Alphabet alphabet = hexadecimal ? hexDigits : alphabetOf(view, at);
        shape += alphabet.size == 0 ? text[at] : static_cast<wchar_t>(alphabet.first);
        shape += static_cast<wchar_t>(alphabet.size);
        if (alphabet.size == 0) continue;
        std::uint32_t value = static_cast<std::uint32_t>(text[at]) - alphabet.first;
        if (hexadecimal) value = static_cast<std::uint32_t>(text[at] <= L'9' ? text[at] - L'0' : (text[at] & ~0x20) - L'A' + 10);
        digits.push_back({at, alphabet, value});
    }
    if (digits.empty()) return;
    const bool isLower = hexadecimal && std::ranges::any_of(text, [](wchar_t c) { return c >= L'a'; });
    const auto charOf = [&](const Digit& digit) {
        if (!hexadecimal) return static_cast<wchar_t>(digit.alphabet.first + digit.value);
        const auto number = static_cast<wchar_t>(digit.value);
        return static_cast<wchar_t>(number < 10 ? L'0' + number : (isLower ? L'a' : L'A') + number - 10);
    };

    // A text of several words can keep one of them by chance: then, another permutation is used for it.
    const SecretText before(view);
    for (unsigned attempt = 0; attempt < mostAttempts; ++attempt) {
        shape += static_cast<wchar_t>(attempt);
        std::vector<Digit> made = digits;
        step(textHash(std::wstring_view(shape)), made);
        for (const Digit& digit : made) text[digit.at] = charOf(digit);
        bool keepsWord = false;
        forEachWord(before, [&](std::size_t first, std::size_t size) {
            keepsWord |= view.substr(first, size) == std::wstring_view(before).substr(first, size);
        });
        if (!keepsWord) return;
    }
}

// Only key lines have longer texts than a line has columns.
void Pseudonyms::replace(std::span<wchar_t> text) const {
    text = trimmed(text);
    for (; text.size() > longestText; text = text.subspan(longestText)) replaceDigits(text.first(longestText), false);
    replaceDigits(text, false);
}

void Pseudonyms::replaceHexadecimal(std::span<wchar_t> text) const {
    const std::span<wchar_t> all = trimmed(text);
    const auto isLetter = [](wchar_t c) { return c >= L'A'; };
    const bool isUpper = std::ranges::none_of(all, [](wchar_t c) { return c >= L'a' && c <= L'f'; }),
               isLower = std::ranges::none_of(all, [](wchar_t c) { return c >= L'A' && c <= L'F'; });
    const bool isText = all.size() < 2 || !std::ranges::all_of(all, isHexadecimal) || std::ranges::none_of(all, isLetter);
    replaceDigits(all, !isText && isUpper != isLower);
}

void Pseudonyms::shuffleDigits(std::span<wchar_t> number) const {
    std::vector<Digit> digits;
    for (std::size_t at = 0; at < number.size(); ++at)
        digits.push_back({at, {L'0', 10}, static_cast<std::uint32_t>(number[at]) - L'0'});
    permute(textHash(std::wstring_view(L"numbers")), digits, false);
    for (const Digit& digit : digits) number[digit.at] = static_cast<wchar_t>(digit.alphabet.first + digit.value);
}

void Pseudonyms::replaceKey(std::span<wchar_t> text) const {
    const SecretText before(viewOf(text));
    const bool isLower = std::ranges::any_of(text, [](wchar_t c) { return c >= L'a' && c <= L'f'; });
    std::uint64_t hash = 0;
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        wchar_t& c = text[at];
        if (!isHexadecimal(c)) {
            if (alphabetOf(before, at).size != 0) c = L'X';
            continue;
        }
        if (count++ % digitsInHash == 0) {
            SecretText counted(before);
            appendNumber(counted, count);
            hash = keyHash(std::wstring_view(counted));
        }
        const std::uint32_t digit = takeBelow(16, hash);
        const wchar_t letters = isLower ? L'a' : L'A';
        c = static_cast<wchar_t>(digit < 10 ? L'0' + static_cast<int>(digit) : letters + static_cast<int>(digit) - 10);
    }
}

}  // namespace tramo
