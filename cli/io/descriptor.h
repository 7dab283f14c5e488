// File descriptors, for the sources that are of POSIX systems only.
#pragma once
#include <cerrno>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace tramo::cli {

/// A call of the system that answers -1 and errno, made again when a signal has come in between.
int uninterrupted(auto call) {
    for (;;) {
        const int result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

/// After a read or write that failed: whether to make the same call again, because a signal came in between, or because the
/// descriptor is in non-blocking mode. Then this waits until the descriptor is ready (`events`: POLLIN or POLLOUT).
inline bool mayTryAgain(int descriptor, short events) {
    if (errno == EINTR) return true;
    if (errno != EAGAIN) return false;
    pollfd waiting{descriptor, events, 0};
    return poll(&waiting, 1, -1) >= 0 || errno == EINTR;
}

/// Closes a file descriptor at its end. It keeps errno.
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
    void release() { own = -1; }  ///< somebody else closes it
    void close() {
        const int error = errno;
        if (own >= 0) ::close(std::exchange(own, -1));
        errno = error;
    }

private:
    int own = -1;
};

}  // namespace tramo::cli
