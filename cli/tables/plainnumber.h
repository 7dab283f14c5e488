// Numbers of up to sixteen characters: spaces, then digits, perhaps with one decimal point.
#pragma once
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tramo::cli {

class PlainNumber {
public:
    static constexpr std::size_t mostCharacters = 16;

    /// Looks at the characters of the line from `first` on, up to mostCharacters. The last one is not a space.
    PlainNumber(std::string_view line, std::size_t first, std::size_t size) : text(line.substr(first, size)) {
        if (first + size >= mostCharacters) {
            look(text.data() + size - mostCharacters);
        } else {
            char sixteen[mostCharacters] = {};
            std::memcpy(sixteen + mostCharacters - size, text.data(), size);
            look(sixteen);
        }
        const unsigned before = mostCharacters - static_cast<unsigned>(size);
        digits >>= before;
        points >>= before;
        spaces >>= before;
    }

    bool isInteger() const { return points == 0 && isDecimal(); }
    bool isDecimal() const {
        const unsigned all = digits | points;
        return digits != 0 && (all | spaces) == (1U << text.size()) - 1 && (points & (points - 1)) == 0 && spaces < lowest(all);
    }

    /// Returns how many digits a decimal has.
    std::size_t countDigits() const { return text.size() - begin() - (points != 0); }

    /// Returns an integer without leading zeros.
    std::string_view shortestInteger() const { return text.substr(std::min(firstNonZero(), text.size() - 1)); }

    /// Returns a decimal without superfluous zeros; empty if it has no digit before its point.
    std::string_view shortestDecimal() const {
        const std::size_t point = points ? static_cast<std::size_t>(std::countr_zero(points)) : text.size();
        if (point == begin()) return {};
        std::size_t end = text.size();
        if (points) {
            while (text[end - 1] == '0') --end;
            end -= end - 1 == point;
        }
        return text.substr(0, end).substr(std::min(firstNonZero(), point - 1));
    }

private:
    static unsigned lowest(unsigned bits) { return bits & (0 - bits); }
    std::size_t begin() const { return static_cast<std::size_t>(std::countr_zero(digits | points)); }
    std::size_t firstNonZero() const {
        std::size_t first = begin();
        while (first < text.size() && text[first] == '0') ++first;
        return first;
    }

    void look(const char* sixteen) {
        const std::uint64_t low = load(sixteen), high = load(sixteen + 8);
        digits = bitsOf(areDigits(low)) | bitsOf(areDigits(high)) << 8;
        points = bitsOf(areSame(low, '.')) | bitsOf(areSame(high, '.')) << 8;
        spaces = bitsOf(areSame(low, ' ')) | bitsOf(areSame(high, ' ')) << 8;
    }

    // Eight characters, the first one lowest.
    static std::uint64_t load(const char* eight) {
        std::uint64_t word = 0;
        if constexpr (std::endian::native == std::endian::little) {
            std::memcpy(&word, eight, sizeof word);
        } else {
            for (int i = 0; i < 8; ++i) word |= std::uint64_t{static_cast<unsigned char>(eight[i])} << (8 * i);
        }
        return word;
    }

    // The following set the highest bit of each byte that passes.
    static constexpr std::uint64_t ones = 0x0101010101010101, highest = ones << 7;
    static std::uint64_t areZero(std::uint64_t bytes) { return ~(((bytes & ~highest) + ~highest) | bytes) & highest; }
    static std::uint64_t areSame(std::uint64_t bytes, char c) { return areZero(bytes ^ ones * static_cast<unsigned char>(c)); }
    static std::uint64_t areDigits(std::uint64_t bytes) {
        const std::uint64_t values = bytes ^ ones * static_cast<unsigned char>('0');
        return ~(((values & ~highest) + ones * (0x80 - 10)) | values) & highest;
    }

    // Puts those bits side by side.
    static unsigned bitsOf(std::uint64_t highestBits) {
        return static_cast<unsigned>((highestBits >> 7) * 0x0102040810204080 >> 56);
    }

    std::string_view text;
    unsigned digits = 0, points = 0, spaces = 0;  ///< one bit for each character of the text, the first one lowest
};

}  // namespace tramo::cli
