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

/// Appends the beginning of a text, up to a character that is neither a visible ASCII character nor a space, or a special one, or
/// up to at most seven characters before it. Returns how many characters it has appended.
template <char... special> std::size_t appendPlain(Appender& out, std::string_view text) {
    using detail::oddBytes, detail::copyWord;
    const std::size_t size = text.size();
    const char* const from = text.data();
    char* const to = out.room(size);
    std::size_t done = 0;
    if (size >= 8) {
        while (done + 8 <= size && oddBytes<special...>(copyWord<std::uint64_t>(from + done, to + done)) == 0) done += 8;
        const std::size_t last = size - 8;
        if (done > last && done < size && oddBytes<special...>(copyWord<std::uint64_t>(from + last, to + last)) == 0) done = size;
    } else if (size >= 4) {
        const std::uint64_t first = copyWord<std::uint32_t>(from, to);
        if (oddBytes<special...>(first | copyWord<std::uint32_t>(from + size - 4, to + size - 4) << 32) == 0) done = size;
    } else {
        std::uint64_t all = 0x2020202020202020;
        for (std::size_t i = 0; i < size; ++i) {
            to[i] = from[i];
            all = all << 8 | static_cast<unsigned char>(from[i]);
        }
        if (oddBytes<special...>(all) == 0) done = size;
    }
    out.end(to + done);
    return done;
}

}  // namespace tramo::cli
