#include "cli/io/sourcefile.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <tramostream/check.h>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace {

constexpr std::uint64_t factor = 0x9E3779B97F4A7C15;

int keepOpen(std::FILE*) { return 0; }

}  // namespace

// Four independent sums, which the processor computes in parallel.
void Checksum::take(const char* block) {
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        std::uint64_t word = 0;
        std::memcpy(&word, block + i * sizeof word, sizeof word);
        lanes[i] = std::rotl((lanes[i] ^ word) * factor, 29);
    }
}

void Checksum::add(std::string_view bytes) {
    const auto waiting = static_cast<std::size_t>(count % blockSize);
    count += bytes.size();
    if (waiting > 0) {
        const std::size_t missing = std::min(blockSize - waiting, bytes.size());
        std::copy_n(bytes.begin(), missing, begun.begin() + static_cast<std::ptrdiff_t>(waiting));
        bytes.remove_prefix(missing);
        if (waiting + missing < blockSize) return;
        take(begun.data());
    }
    for (; bytes.size() >= blockSize; bytes.remove_prefix(blockSize)) take(bytes.data());
    std::ranges::copy(bytes, begun.begin());
}

std::uint64_t Checksum::value() const {
    Checksum all = *this;
    const auto waiting = static_cast<std::ptrdiff_t>(count % blockSize);
    std::fill(all.begun.begin() + waiting, all.begun.end(), '\0');
    all.take(all.begun.data());
    std::uint64_t sum = count;
    for (const std::uint64_t lane : all.lanes) sum = std::rotl((sum ^ lane) * factor, 31);
    return sum;
}

SourceFile::SourceFile(const std::string& givenPath, std::string called)
    : path(givenPath), name(std::move(called)),
      file(path == "-" ? stdin : openFile(path, "rb"), path == "-" ? keepOpen : std::fclose) {
    if (!file) throw Unreadable{reasonOf(errno), name};
    openedAt = fileTimeNow();
    opened = stateNow();
    if (!opened.isRegular) return;
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    if (path == "-") begin = placeIn(file.get());
    ownSize = opened.size - std::min(begin, opened.size);
}

std::size_t SourceFile::read(std::uint64_t place, char* bytes, std::size_t wanted) const {
    const bool isSizeKnown = opened.size > 0;
    if (isSizeKnown) wanted = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, ownSize - std::min(place, ownSize)));
    int error = 0;
    const std::size_t count = readAt(file.get(), begin + place, bytes, wanted, error);
    if (error) throw Unreadable{reasonOf(error), name};
    if (isSizeKnown && count < wanted) {
        const std::optional<FileState> now = stateOf(file.get());
        if (now && now->size >= opened.size) hasChanged();
        isShorter(now ? now->size : begin + place + count);
    }
    return count;
}

void SourceFile::isShorter(std::uint64_t size) const {
    throw Unreadable{
        fmt::format("became shorter while it was read, from {} to {}; run the command again when the file is complete",
            counted(opened.size, "byte"), size),
        name};
}

void SourceFile::hasChanged() const {
    throw Unreadable{"changed while it was read; run the command again when the file is complete", name};
}

// The clock of a file system has steps: a second write within one step does not change the time.
bool SourceFile::isUntouched(const FileState& now) const {
    constexpr std::int64_t step = 20'000'000;
    return now == opened && std::abs(openedAt - opened.modified) > step;
}

FileState SourceFile::stateNow() const {
    if (const std::optional<FileState> now = stateOf(file.get())) return *now;
    throw Unreadable{reasonOf(errno), name};
}

std::string SourceFile::confirm(const Passage& passage) const {
    if (!opened.isRegular) return {};
    const FileState now = stateNow();
    if (path == "-") std::fseek(file.get(), 0, SEEK_END);  // leave the offset where a pipe would be
    if (now.size == 0 && opened.size == 0) return {};      // a file of /proc: each reading may return another text
    if (now.size < opened.size) isShorter(now.size);
    if (!isUntouched(now)) {
        std::vector<char> block(1 << 17);
        Passage again{passage.from, passage.from};
        while (again.to < passage.to) {
            const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), passage.to - again.to));
            const std::size_t count = read(again.to, block.data(), wanted);
            if (count == 0) hasChanged();
            again.add({block.data(), count});
        }
        if (again.sum.value() != passage.sum.value()) hasChanged();
    }
    if (now.size > opened.size && passage.to >= ownSize)
        return fmt::format("became longer while it was read; only its first {} were read", counted(begin + passage.to, "byte"));
    const std::optional<FileState> named = path == "-" ? std::nullopt : stateOf(path);
    if (named && !named->isSameFile(opened)) return "was replaced while it was read; the old file was read";
    return {};
}

}  // namespace tramo::cli
