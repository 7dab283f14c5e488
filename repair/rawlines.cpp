#include "repair/rawlines.h"
#include "tramostream/linekind.h"
#include <algorithm>

namespace tramo {

namespace {

constexpr std::size_t usualBuffer = 128 * 1024;

}  // namespace

RawLines::RawLines(const ReadBytes& read, RawLayout chosen)
    : file(read), layout(chosen), buffer(usualBuffer, '\0'), place(chosen.skipped), loaded(chosen.skipped) {}

// Loads more bytes after those that are waiting; returns false at the end of the file.
bool RawLines::fill() {
    if (isComplete) return false;
    std::copy(
        buffer.begin() + static_cast<std::ptrdiff_t>(begin), buffer.begin() + static_cast<std::ptrdiff_t>(end), buffer.begin());
    end -= begin;
    begin = 0;
    if (end == buffer.size()) buffer.resize(2 * buffer.size());
    const std::size_t count = file(loaded, buffer.data() + end, buffer.size() - end);
    loaded += count;
    end += count;
    isComplete = count == 0;
    return !isComplete;
}

bool RawLines::isAtEnd() {
    if (begin == end) fill();
    return begin == end;
}

// The index after the next line ending that begins at `from` or later; 0: there is none in the buffer.
std::size_t RawLines::findEnd(std::size_t from) const {
    const char wanted = layout.endsInReturn ? '\r' : '\n';
    const std::size_t width = layout.width;
    const std::string_view all(buffer.data(), end);
    const std::size_t low = layout.isBigEndian ? 1 : 0;  // where the low byte of a character is
    for (std::size_t found = all.find(wanted, from); found != std::string_view::npos; found = all.find(wanted, found + 1)) {
        if (width == 1) return found + 1;
        if ((found - begin) % 2 != low) continue;
        const std::size_t first = found - low;
        if (first + 2 <= end && all[first + 1 - low] == 0) return first + 2;
    }
    return 0;
}

bool RawLines::next(RawLine& line) {
    const std::size_t width = layout.width;
    line = {};
    if (isAtEnd()) return false;
    if (!inPart) ++number;
    line.offset = place;
    line.number = number;
    line.continues = inPart;

    // A line that begins with U+FFFF ends the text.
    if (width == 2 && !inPart) {
        while (end - begin < 2 && fill()) {}
        if (end - begin >= 2 && buffer[begin] == '\xFF' && buffer[begin + 1] == '\xFF') isUnreadable = true;
    }
    const auto take = [&](std::size_t size) {
        line.bytes = {buffer.data() + begin, size};
        begin += size;
        place += size;
    };
    if (isUnreadable) {
        line.isPart = inPart = true;
        take(end - begin);
        return true;
    }
    std::size_t searched = begin;
    for (;;) {
        if (const std::size_t after = findEnd(searched)) {
            const std::size_t size = after - begin;
            line.isEnded = true;
            line.isPart = inPart || size > (longestHeld + 2) * width;
            inPart = false;
            // Look ahead first: it moves the bytes.
            if (after == end && !line.isPart) fill();
            take(size);
            line.isLast = begin == end && isComplete;
            return true;
        }
        const std::size_t waiting = (end - begin) / width * width;
        if (waiting > (longestHeld + 2) * width) {
            line.isPart = inPart = true;
            take(waiting);
            return true;
        }
        searched = begin + waiting;
        const std::size_t offset = searched - begin;
        if (!fill()) break;
        searched = begin + offset;
    }
    line.isPart = inPart;
    line.isLast = true;
    take(end - begin);
    return true;
}

ReadBytes readingFrom(std::string_view bytes) {
    return [bytes](std::uint64_t offset, char* out, std::size_t wanted) {
        if (offset >= bytes.size()) return std::size_t{0};
        const auto from = static_cast<std::size_t>(offset);
        return bytes.copy(out, wanted, from);
    };
}

}  // namespace tramo
