#include "cli/io/sourcefile.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <tramostream/check.h>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace {

int keepOpen(std::FILE*) { return 0; }

}  // namespace

void SourceFile::expectFile(const std::string& path) {
    namespace fs = std::filesystem;
    if (path == "-") return;
    std::error_code error;
    const fs::file_status status = fs::status(pathOf(path), error);
    if (!fs::exists(status)) throw Unreadable{reasonOf(error ? error.value() : ENOENT)};
    if (fs::is_directory(status)) throw Unreadable{"is a directory"};
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
