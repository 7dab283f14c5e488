#include "common/file.h"
#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace tramo {

namespace {

// Changed only in a child, which has one thread then.
constinit std::atomic<std::uint32_t> forks = 0;

constexpr std::size_t firstPiece = std::size_t{64} << 10;

int flagsOf(File::Access access) {
    switch (access) {
    case File::Access::Append: return O_WRONLY | O_CREAT | O_APPEND;
    case File::Access::Truncate: return O_WRONLY | O_CREAT | O_TRUNC;
    case File::Access::New:
    case File::Access::Private: return O_WRONLY | O_CREAT | O_EXCL;
    case File::Access::Existing: return O_WRONLY;
    default: return O_RDONLY;
    }
}

template <class Call> auto uninterrupted(Call call) {
    for (;;) {
        const auto result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

// The same of a read or write. What the process has put into non-blocking mode is waited for.
template <class Call> ssize_t transferred(int descriptor, short events, Call call) {
    for (;;) {
        const ssize_t result = uninterrupted(call);
        if (result >= 0 || errno != EAGAIN) return result;
        pollfd waiting{descriptor, events, 0};
        if (uninterrupted([&] { return ::poll(&waiting, 1, -1); }) < 0) return -1;
    }
}

struct stat statusOf(int descriptor) {
    struct stat status {};
    fstat(descriptor, &status);
    return status;
}

}  // namespace

// By the number of the process it would cost a system call.
std::uint32_t countForks() {
    static const bool isCounting = pthread_atfork(nullptr, nullptr, [] { forks.fetch_add(1, std::memory_order_relaxed); }) == 0;
    if (!isCounting) throw std::bad_alloc();
    return forks.load(std::memory_order_relaxed);
}

File::File(const char* path, Access access) {
    const mode_t mode = access == Access::Private ? 0600 : 0666;
    descriptor = uninterrupted([&] { return ::open(path, flagsOf(access) | O_CLOEXEC | O_NOCTTY, mode); });
    if (isOpen() && S_ISDIR(statusOf(descriptor).st_mode)) close();
}

File File::duplicateOf(int descriptor) {
    constexpr int afterStandardStreams = 3;
    File file;
    file.descriptor = ::fcntl(descriptor, F_DUPFD_CLOEXEC, afterStandardStreams);
    return file;
}

// Some file systems and devices cannot be asked.
bool File::sync() const {
    return uninterrupted([&] { return ::fsync(descriptor); }) == 0 || errno == EINVAL || errno == ENOTSUP;
}

File::File(File&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        close();
        descriptor = std::exchange(other.descriptor, -1);
    }
    return *this;
}

File::~File() { close(); }

bool File::close() {
    if (!isOpen()) return true;
    // No retry after EINTR: the descriptor is closed and may already be in use again.
    return ::close(std::exchange(descriptor, -1)) == 0 || errno == EINTR;
}

bool File::readAll(ByteBuffer& bytes) const {
    // One byte more than the file size, so that the read at the end of the file does not make the buffer grow.
    const auto size = statusOf(descriptor).st_size;
    bytes.reserve(bytes.size() + (size > 0 ? static_cast<std::size_t>(size) + 1 : firstPiece));
    for (;;) {
        if (bytes.room() == 0) bytes.reserve(2 * bytes.size());
        const std::ptrdiff_t count = read(bytes.end(), bytes.room());
        if (count <= 0) {
            bytes.shrinkToFit();
            return count == 0;
        }
        bytes.grow(static_cast<std::size_t>(count));
    }
}

std::ptrdiff_t File::read(char* bytes, std::size_t most) const {
    return transferred(descriptor, POLLIN, [&] { return ::read(descriptor, bytes, most); });
}

std::size_t File::write(const char* bytes, std::size_t count) const {
    std::size_t done = 0;
    while (done < count) {
        const ssize_t taken = transferred(descriptor, POLLOUT, [&] { return ::write(descriptor, bytes + done, count - done); });
        if (taken == 0) errno = ENOSPC;
        if (taken <= 0) break;
        done += static_cast<std::size_t>(taken);
    }
    return done;
}

std::int64_t File::size() const { return ::lseek(descriptor, 0, SEEK_CUR) < 0 ? -1 : statusOf(descriptor).st_size; }

bool File::cutBack(std::size_t count) const {
    const struct stat status = statusOf(descriptor);
    if (!S_ISREG(status.st_mode) || status.st_size != ::lseek(descriptor, 0, SEEK_CUR)) return false;
    const off_t end = status.st_size - static_cast<off_t>(count);
    return uninterrupted([&] { return ::ftruncate(descriptor, end); }) == 0 && ::lseek(descriptor, end, SEEK_SET) == end;
}

}  // namespace tramo
