// Replacements of texts: the same length, the same class of character in each place, and always the same replacement for the
// same text.
//
// A text is a number with digits of several bases: each letter or digit counts in its own alphabet, and every other character
// stays. A keyed permutation of these numbers (a Feistel network with SipHash as its round function) makes a secret order of
// them; the replacement is a later one in this order. So two texts never have the same replacement, none is replaced by
// itself, and the order cannot be computed without the key. For texts of very few characters that is not much: there are few
// others.
#pragma once
#include "common/siphash.h"
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tramo {

// The characters that a character can become: `size` of them, from `first`. Size 0: it stays.
struct Alphabet {
    std::uint16_t first = 0, size = 0;
};

// Returns the alphabet of text[at].
Alphabet alphabetOf(std::wstring_view text, std::size_t at);

inline constexpr std::size_t shortestWord = 4;  // shorter ones say nothing by themselves

// Calls use(first, size) for each word of the text that has at least shortestWord characters: letters and digits in a row.
template <class Use> void forEachWord(std::wstring_view text, Use use) {
    std::size_t begin = 0;
    for (std::size_t at = 0; at <= text.size(); ++at) {
        if (at < text.size() && alphabetOf(text, at).size != 0) continue;
        if (at - begin >= shortestWord) use(begin, at - begin);
        begin = at + 1;
    }
}

inline bool hasWord(std::wstring_view text) {
    bool any = false;
    forEachWord(text, [&](std::size_t, std::size_t) { any = true; });
    return any;
}

class Pseudonyms {
public:
    Pseudonyms(const SipHash::Key& forTexts, const SipHash::Key& forKeys) : textHash(forTexts), keyHash(forKeys) {}

    // Replaces the letters and digits of a text. White space around it does not count.
    void replace(std::span<wchar_t> text) const;

    // Does the same, but a text of hexadecimal digits stays one. Digits alone are a text like any other.
    void replaceHexadecimal(std::span<wchar_t> text) const;

    // Moves a number to another one, which may be itself. Repeated, this comes through very many numbers: replace() alone comes
    // back to the first one after as many as the first character has alternatives.
    void shuffleDigits(std::span<wchar_t> number) const;

    // Replaces hexadecimal digits by others, and other letters by X, in a way that not even the key can undo.
    void replaceKey(std::span<wchar_t> text) const;

private:
    struct Digit {
        std::size_t at;  // in the text
        Alphabet alphabet;
        std::uint32_t value;
    };

    std::uint64_t roundOf(std::uint64_t tweak, unsigned round, std::span<const Digit> half, unsigned block) const;
    void addRound(std::uint64_t tweak, unsigned round, std::span<Digit> half, std::span<const Digit> other, bool isInverse) const;
    void permute(std::uint64_t tweak, std::span<Digit> digits, bool isInverse) const;
    void step(std::uint64_t tweak, std::span<Digit> digits) const;
    void replaceDigits(std::span<wchar_t> text, bool isHexadecimal) const;

    SipHash textHash, keyHash;
};

}  // namespace tramo
