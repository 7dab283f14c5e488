// Text divided into blocks of equal size.
#pragma once
#include <algorithm>
#include <cstddef>
#include <string_view>

namespace tramo::textblocks {

// Writes the text with the order of its blocks reversed; a short last block comes first. A block size of 0 keeps the
// order. `out` has room for the whole text and does not overlap it.
template <class Char> void reverse(std::basic_string_view<Char> text, std::size_t blockSize, Char* out) {
    if (blockSize == 0) blockSize = text.size();
    for (std::size_t end = text.size(); end > 0;) {
        const std::size_t begin = (end - 1) / blockSize * blockSize;
        out = std::copy(text.data() + begin, text.data() + end, out);
        end = begin;
    }
}

}  // namespace tramo::textblocks
