#include "stream/linetext.h"
#include "common/encoding.h"
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace tramo::stream {

namespace {

using encoding::unitAt;

constexpr std::uint16_t lineFeed = 0x000A;

// Returns the index of the first line feed among the units, or their count. Searches blocks without a branch inside, so that
// the compiler can vectorize; a search for bytes 0x0A would stop at every U+xx0A and U+0Axx.
std::size_t findLineFeed(const unsigned char* units, std::size_t count) {
    constexpr std::size_t block = 32;
    std::size_t i = 0;
    for (; count - i >= block; i += block) {
        std::uint16_t hits = 0;
        for (std::size_t k = 0; k < block; ++k) {
            const std::uint16_t hit = unitAt(units, i + k) == lineFeed ? 0xFFFF : 0;
            hits = static_cast<std::uint16_t>(hits | hit);
        }
        if (hits != 0) break;
    }
    while (i < count && unitAt(units, i) != lineFeed) ++i;
    return i;
}

// Returns the index of the first line feed at or after `from`, or the size of the segment.
std::size_t findLineFeed(const Segment& segment, std::size_t from) {
    const std::size_t left = segment.size() - from;
    if (segment.width == 2) return from + findLineFeed(segment.at(from), left);
    const void* hit = std::memchr(segment.at(from), lineFeed, left);
    return hit != nullptr ? static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - segment.at(0)) : segment.size();
}

void decode(const Segment& segment, std::size_t from, std::size_t count, wchar_t* out) {
    encoding::read(segment.at(from), count, segment.width == 2, out);
}

}  // namespace

const unsigned char* Segment::at(std::size_t position) const {
    return reinterpret_cast<const unsigned char*>(bytes.data()) + begin + position * width;
}

wchar_t Segment::character(std::size_t position) const {
    wchar_t result = 0;
    decode(*this, position, 1, &result);
    return result;
}

void LineText::append(Segment segment) {
    segments.erase(segments.begin(), segments.begin() + static_cast<std::ptrdiff_t>(current));
    current = 0;
    if (segment.size() > 0) segments.push_back(std::move(segment));
}

void LineText::replace(Segment segment) {
    *this = LineText();
    append(std::move(segment));
}

LineText::Line LineText::next() {
    Line line{current, index, 0, false};
    while (!atEnd() && !line.terminated) {
        const Segment& segment = segments[current];
        const std::size_t end = findLineFeed(segment, index);
        line.size += end - index;
        line.terminated = end < segment.size();
        index = end + 1;
        if (index >= segment.size()) {
            ++current;
            index = 0;
        }
    }
    return line;
}

void LineText::copy(const Line& line, std::size_t count, wchar_t* out) const {
    std::size_t from = line.begin;
    for (std::size_t i = line.segment; count > 0; ++i, from = 0) {
        const std::size_t piece = std::min(count, segments[i].size() - from);
        decode(segments[i], from, piece, out);
        out += piece;
        count -= piece;
    }
}

}  // namespace tramo::stream
