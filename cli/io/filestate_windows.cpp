#include "cli/io/filestate.h"
#include "cli/io/handle_windows.h"
#include "cli/io/platform.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <system_error>
#include <windows.h>

namespace tramo::cli {

namespace {

// FILETIME counts 100 nanoseconds.
std::int64_t nanoseconds(const FILETIME& time) {
    return static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) * 100);
}

}  // namespace

// There is only one time, which a rename does not change.
std::optional<FileState> stateOf(std::FILE* file) {
    BY_HANDLE_FILE_INFORMATION known{};
    if (GetFileType(handleOf(file)) != FILE_TYPE_DISK) return FileState{};
    if (GetFileInformationByHandle(handleOf(file), &known) == 0) {
        if (file == stdin) return FileState{};  // on some hosts, its state cannot be read: treat it like a pipe
        errno = EIO;
        return std::nullopt;
    }
    const std::int64_t modified = nanoseconds(known.ftLastWriteTime);
    return FileState{true, known.dwVolumeSerialNumber, std::uint64_t{known.nFileIndexHigh} << 32 | known.nFileIndexLow,
        std::uint64_t{known.nFileSizeHigh} << 32 | known.nFileSizeLow, modified, modified};
}

std::optional<FileState> stateOf(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(openFile(path, "rb"), std::fclose);
    return file ? stateOf(file.get()) : std::nullopt;
}

std::int64_t fileTimeNow() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return nanoseconds(now);
}

std::uint64_t placeIn(std::FILE* file) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(_lseeki64(_fileno(file), 0, SEEK_CUR), 0));
}

std::size_t readAt(std::FILE* file, std::uint64_t place, char* bytes, std::size_t wanted, int& error) {
    std::size_t done = 0;
    error = 0;
    while (done < wanted) {
        OVERLAPPED at{};
        at.Offset = static_cast<DWORD>(place + done);
        at.OffsetHigh = static_cast<DWORD>((place + done) >> 32);
        DWORD count = 0;
        const auto most = static_cast<DWORD>(std::min<std::size_t>(wanted - done, 1 << 30));
        if (ReadFile(handleOf(file), bytes + done, most, &count, &at) == 0) {
            const auto code = GetLastError();
            const std::error_condition reason = std::system_category().default_error_condition(static_cast<int>(code));
            if (code != ERROR_HANDLE_EOF) error = reason.category() == std::generic_category() ? reason.value() : EIO;
            break;
        }
        if (count == 0) break;
        done += count;
    }
    return done;
}

}  // namespace tramo::cli
