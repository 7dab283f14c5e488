#include "round/linesource.h"
#include "common/encoding.h"
#include <algorithm>
#include <cerrno>

namespace tramo {

// Loads more after what is waiting. Returns false at the end of the file, or on failure.
bool LineSource::fill() {
    if (isAtEnd || reason != 0) return false;
    if (begin > 0) std::copy(buffer.data() + begin, buffer.data() + end, buffer.data());
    end -= begin;
    begin = 0;
    if (end == buffer.size()) buffer.resize(2 * buffer.size());
    data = buffer.data();
    const std::ptrdiff_t count = file.read(buffer.data() + end, buffer.size() - end);
    if (count < 0) reason = errno;
    if (count == 0) isAtEnd = true;
    if (count > 0) end += static_cast<std::size_t>(count);
    return count > 0;
}

bool LineSource::load(std::size_t atLeast) {
    while (end < std::min(atLeast, blockSize) && fill()) {}
    return reason == 0;
}

void LineSource::setUtf16(bool isUtf16) {
    width = isUtf16 ? 2 : 1;
    if (isUtf16 && waiting().starts_with(encoding::utf16Mark)) nextBegin = begin = encoding::utf16Mark.size();
}

std::size_t LineSource::findLineFeed(std::string_view text, std::size_t from, std::size_t width) {
    std::size_t found = text.find('\n', from);
    if (width == 1) return found;
    while (found != std::string_view::npos && (found % 2 != 0 || found + 1 == text.size() || text[found + 1] != 0))
        found = text.find('\n', found + 1);
    return found;
}

// Takes a line: its last `size` bytes are waiting, those before them have been dropped.
bool LineSource::take(std::size_t size, std::size_t lineFeed, std::size_t dropped) {
    line = dropped > 0 ? std::string_view(firstOfDropped.data(), width) : std::string_view(data + begin, size);
    endsWithFeed = lineFeed > 0;
    begin += size + lineFeed;
    lineBegin = nextBegin;
    nextBegin += dropped + size + lineFeed;
    ++lineNumber;
    return true;
}

bool LineSource::next() {
    std::size_t searched = 0, dropped = 0;
    for (;;) {
        const std::size_t feed = findLineFeed(waiting(), searched, width);
        if (feed != std::string_view::npos) return take(feed, width, dropped);
        searched = waiting().size() / width * width;
        if (searched > limit && !isAtEnd) {
            if (dropped == 0) std::copy_n(data + begin, width, firstOfDropped.begin());
            begin += searched;
            dropped += searched;
            searched = 0;
        }
        if (fill()) continue;
        // The last line has no line feed.
        const std::size_t rest = waiting().size();
        return reason == 0 && rest + dropped > 0 && take(rest, 0, dropped);
    }
}

}  // namespace tramo
