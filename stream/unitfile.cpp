#include "stream/unitfile.h"
#include <algorithm>
#include <cerrno>

namespace tramo::stream {

namespace {

// Larger writes cost less: a line of 514 bytes costs 500 ns in blocks of 4 KiB, 130 ns in blocks of 64 KiB (Linux 6.18, ext4).
// They also lose more if the process is killed: the buffered units and, if the system is copying a block at that moment,
// the rest of that block, with the file ending in the middle of a line. No block size avoids this.
constexpr std::size_t blockSize = std::size_t{64} << 10;

}  // namespace

void UnitFile::open(const char* path, File::Access access, std::string_view mark) {
    forks = countForks();
    file = File(path, access);
    refused = !file.isOpen();
    if (refused) return;
    if (file.size() == 0) waiting = mark;
    flush();
}

void UnitFile::close() {
    if (!isOpen()) return;
    dropInherited();
    flush();
    if (!file.close()) refused = true;
    waiting.clear();
    unitEnds.clear();
}

bool UnitFile::dropInherited() {
    const std::uint32_t now = countForks();
    if (now == forks) return false;
    forks = now;
    dropWaiting(waiting.size());
    return true;
}

int UnitFile::append(std::string_view unit) {
    if (refused || waiting.size() + unit.size() > blockSize) {
        if (const int reason = flush()) return reason;
    }
    waiting.reserve(waiting.size() + unit.size());  // if this throws, nothing of the unit is kept
    unitEnds.push_back(waiting.size() + unit.size());
    waiting += unit;
    if (waiting.size() <= blockSize) return 0;
    const int reason = flush();
    if (reason != 0) dropWaiting(waiting.size());
    return reason;
}

int UnitFile::flush() {
    if (waiting.empty()) return 0;
    const std::size_t written = file.write(waiting.data(), waiting.size());
    const int reason = written < waiting.size() ? errno : 0;
    refused = reason != 0;
    std::size_t kept = written;
    if (refused) {
        const auto torn = std::upper_bound(unitEnds.begin(), unitEnds.end(), written);
        const std::size_t whole = torn == unitEnds.begin() ? 0 : *(torn - 1);
        if (whole < written && file.cutBack(written - whole)) kept = whole;
    }
    dropWaiting(kept);
    return reason;
}

void UnitFile::dropWaiting(std::size_t count) {
    waiting.erase(0, count);
    const auto left = std::upper_bound(unitEnds.begin(), unitEnds.end(), count);
    unitEnds.erase(unitEnds.begin(), left);
    for (std::size_t& end : unitEnds) end -= count;
}

}  // namespace tramo::stream
