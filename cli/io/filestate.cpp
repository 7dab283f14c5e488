#include "cli/io/filestate.h"
#include "cli/io/descriptor.h"
#include <algorithm>
#include <cerrno>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>

namespace tramo::cli {

namespace {

std::int64_t nanoseconds(const timespec& time) { return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec; }

FileState stateOf(const struct stat& status) {
    return {S_ISREG(status.st_mode), status.st_dev, status.st_ino, static_cast<std::uint64_t>(status.st_size),
        nanoseconds(status.st_mtim), nanoseconds(status.st_ctim)};
}

}  // namespace

std::optional<FileState> stateOf(std::FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 ? std::optional(stateOf(status)) : std::nullopt;
}

std::optional<FileState> stateOf(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? std::optional(stateOf(status)) : std::nullopt;
}

std::int64_t fileTimeNow() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return nanoseconds(now);
}

std::uint64_t placeIn(std::FILE* file) {
    return static_cast<std::uint64_t>(std::max<off_t>(lseek(fileno(file), 0, SEEK_CUR), 0));
}

std::size_t readAt(std::FILE* file, std::uint64_t place, char* bytes, std::size_t wanted, int& error) {
    std::size_t done = 0;
    error = 0;
    while (done < wanted) {
        const std::size_t most = std::min<std::size_t>(wanted - done, 1 << 30);
        const int count = uninterrupted(
            [&] { return static_cast<int>(pread(fileno(file), bytes + done, most, static_cast<off_t>(place + done))); });
        if (count < 0) error = errno;
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

}  // namespace tramo::cli
