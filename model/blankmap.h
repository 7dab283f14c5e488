// Which characters of a line are not blank, one bit each, so that the end of a field's text is found by bit
// operations instead of a scan.
#pragma once
#include "convert/codec.h"
#include <bit>
#include <cstdint>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace tramo {

template <std::size_t Size> class BlankMap {
public:
    explicit BlankMap(const wchar_t* line) {
        std::uint8_t filled[words * 64] = {};
        for (std::size_t i = 0; i < Size; ++i) filled[i] = !codec::isBlank(line[i]);  // no branch: the compiler uses vectors
        for (std::size_t word = 0; word < words; ++word)
            for (unsigned part = 0; part < 64; part += 16) bits[word] |= packed(filled + word * 64 + part) << part;
    }

    // How many of the `width` characters from index `first` on are left without the blanks at their end.
    std::uint32_t textSize(std::uint32_t first, std::uint32_t width) const {
        const std::uint32_t last = first + width - 1, lowest = first / 64;
        std::uint32_t word = last / 64;
        std::uint64_t some = bits[word] & ~std::uint64_t{0} >> (63 - last % 64);
        while (word > lowest && some == 0) some = bits[--word];
        if (word == lowest) some &= ~std::uint64_t{0} << first % 64;
        return some == 0 ? 0 : word * 64 + 64 - static_cast<std::uint32_t>(std::countl_zero(some)) - first;
    }

private:
    static constexpr std::size_t words = (Size + 63) / 64;

    // Sixteen bytes of 0 or 1 as sixteen bits, the first byte lowest.
    static std::uint64_t packed(const std::uint8_t* bytes) {
#ifdef __SSE2__
        const __m128i all = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
        return static_cast<std::uint16_t>(_mm_movemask_epi8(_mm_slli_epi16(all, 7)));
#else
        std::uint64_t all = 0;
        for (unsigned i = 0; i < 16; ++i) all |= std::uint64_t{bytes[i]} << i;
        return all;
#endif
    }

    std::uint64_t bits[words] = {};
};

}  // namespace tramo
