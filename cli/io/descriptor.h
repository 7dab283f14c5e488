// File descriptors, for POSIX sources only.
#pragma once
#include <cerrno>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace tramo::cli {

/// Makes a system call that returns -1 and sets errno on errors, and repeats it if a signal has interrupted it.
int uninterrupted(auto call) {
    for (;;) {
        const int result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

/// Returns whether to repeat a read or write that failed: after a signal, or if the descriptor is in non-blocking mode. In that
/// mode, waits until the descriptor is ready (`events`: POLLIN or POLLOUT).
inline bool mayTryAgain(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN) return false;
    pollfd waiting{descriptor, events, 0};
    return poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

/// Owns a file descriptor. The destructor closes it and keeps errno.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int number) : own(number) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : own(std::exchange(other.own, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(own, other.own);
        return *this;
    }

    explicit operator bool() const { return own >= 0; }
    int number() const { return own; }
    void release() { own = -1; }  ///< gives up ownership
    void close() {
        const int error = errno;
        if (own >= 0) ::close(std::exchange(own, -1));
        errno = error;
    }

private:
    int own = -1;
};

}  // namespace tramo::cli
