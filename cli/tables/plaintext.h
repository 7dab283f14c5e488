// Texts of bytes, one for each character, that forms write as they are.
#pragma once
#include "cli/tables/appender.h"
#include <cstdint>

namespace tramo::cli {

namespace detail {

// Returns 0 if eight characters are visible ASCII characters or spaces, but none of the special ones.
template <char... special> constexpr std::uint64_t oddBytes(std::uint64_t eight) {
    constexpr std::uint64_t ones = 0x0101010101010101;
    const auto same = [&](char c) {
        const std::uint64_t other = eight ^ ones * static_cast<unsigned char>(c);
        return (other - ones) & ~other;
    };
    return (((eight - ones * 0x20) & ~eight) | eight | (eight + ones) | (same(special) | ...)) & ones << 7;
}

template <class Word> std::uint64_t copyWord(const char* from, char* to) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    std::memcpy(to, &word, sizeof word);
    return word;
}

}  // namespace detail

/// Appends a text of visible ASCII characters and spaces, but none of the special ones. Appends nothing to another text, and
/// returns false.
template <char... special> bool appendPlain(Appender& out, std::string_view text) {
    using detail::oddBytes, detail::copyWord;
    const std::size_t size = text.size();
    const char* const from = text.data();
    char* const to = out.room(size);
    std::uint64_t odd = 0;
    if (size >= 8) {
        for (std::size_t i = 0; i + 8 < size; i += 8) odd |= oddBytes<special...>(copyWord<std::uint64_t>(from + i, to + i));
        odd |= oddBytes<special...>(copyWord<std::uint64_t>(from + size - 8, to + size - 8));
    } else if (size >= 4) {
        const std::uint64_t first = copyWord<std::uint32_t>(from, to);
        odd = oddBytes<special...>(first | copyWord<std::uint32_t>(from + size - 4, to + size - 4) << 32);
    } else {
        std::uint64_t all = 0x2020202020202020;
        for (std::size_t i = 0; i < size; ++i) {
            to[i] = from[i];
            all = all << 8 | static_cast<unsigned char>(from[i]);
        }
        odd = oddBytes<special...>(all);
    }
    if (odd == 0) out.end(to + size);
    return odd == 0;
}

}  // namespace tramo::cli
