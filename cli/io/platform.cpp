#include "cli/io/platform.h"
#include "cli/io/descriptor.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <string>
#include <sys/ioctl.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace tramo::cli {

std::filesystem::path pathOf(const std::string& path) { return path; }

bool isTerminal(std::FILE* stream) { return isatty(fileno(stream)) == 1; }

int terminalWidth(std::FILE* stream) {
    winsize size{};
    return isTerminal(stream) && ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

unsigned usableProcessors() {
    cpu_set_t usable;
    if (sched_getaffinity(0, sizeof usable, &usable) == 0) return static_cast<unsigned>(CPU_COUNT(&usable));
    return std::max(std::thread::hardware_concurrency(), 1U);  // more processors than the set can hold
}

void reserveStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(descriptor, F_GETFD) == -1 && open(nullDevice, descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) == -1)
            std::abort();
}

void letWritesFail() {
    for (const int signal : {SIGPIPE, SIGXFSZ}) std::signal(signal, SIG_IGN);
}

// The program outlives this process, and gets none of its streams.
bool openInBrowser(const std::string& path) {
    std::error_code error;
    std::string program = "xdg-open", whole = std::filesystem::absolute(path, error).string();
    char* const arguments[] = {program.data(), whole.data(), nullptr};
    posix_spawn_file_actions_t streams;
    posix_spawnattr_t attributes;
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    sigaddset(&usual, SIGXFSZ);
    posix_spawn_file_actions_init(&streams);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&streams, descriptor, nullDevice, O_RDWR, 0);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t process = 0;
    const int result = error ? error.value() : posix_spawnp(&process, program.c_str(), &streams, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&streams);
    return result == 0;
}

std::string reasonOf(int errorNumber) { return std::generic_category().message(errorNumber); }

namespace {

// Creates a file without a name; returns -1 and sets errno on errors. On systems without such files, it has a name for a moment,
// during which signals are blocked.
int createNameless(const std::string& folder) {
    const int file = uninterrupted([&] { return open(folder.c_str(), O_TMPFILE | O_RDWR | O_EXCL | O_CLOEXEC, 0600); });
    if (file >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return file;
    std::string name = folder + "/tramo.XXXXXX";
    sigset_t all, before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    const int named = uninterrupted([&] {
        name.replace(name.size() - 6, 6, "XXXXXX");
        return mkostemp(name.data(), O_CLOEXEC);
    });
    const int error = errno;
    if (named >= 0) unlink(name.c_str());
    sigprocmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return named;
}

}  // namespace

std::FILE* openFile(const std::string& path, const char* mode) {
    for (;;) {
        std::FILE* const file = std::fopen(path.c_str(), mode);
        if (file || errno != EINTR) return file;
    }
}

std::size_t readFrom(std::FILE* file, char* bytes, std::size_t wanted) {
    std::size_t done = 0;
    for (;;) {
        done += std::fread(bytes + done, 1, wanted - done, file);
        if (done == wanted || !std::ferror(file) || !mayTryAgain(fileno(file), POLLIN)) return done;
        std::clearerr(file);
    }
}

bool writeTo(std::FILE* file, std::string_view bytes) {
    for (;;) {
        bytes.remove_prefix(std::fwrite(bytes.data(), 1, bytes.size(), file));
        if (bytes.empty()) return true;
        if (!mayTryAgain(fileno(file), POLLOUT)) return false;
        std::clearerr(file);
    }
}

// Does not repeat the call after EINTR, because the descriptor is already closed.
#ifdef __linux__
void freeSpaceAfter(std::FILE* file, std::uint64_t size) {
    if (std::in_range<off_t>(size)) (void)(ftruncate(fileno(file), static_cast<off_t>(size)) == 0);
}

// Not posix_fallocate, which would write zeros where the file system cannot reserve space.
void reserveSpace(std::FILE* file, std::uint64_t size) {
    if (!std::in_range<off_t>(size)) return;
    const bool isReserved = fallocate(fileno(file), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0;
    if (!isReserved) freeSpaceAfter(file, 0);  // a full disk may have given a part
}
#else
void reserveSpace(std::FILE*, std::uint64_t) {}
void freeSpaceAfter(std::FILE*, std::uint64_t) {}
#endif

bool closeFile(std::FILE* file) { return std::fclose(file) == 0 || errno == EINTR; }

// Does not use std::filesystem::directory_iterator: that of libstdc++ ends the program if it cannot allocate a name.
std::vector<std::string> namesIn(const std::string& folder) {
    std::unique_ptr<DIR, int (*)(DIR*)> open(nullptr, closedir);
    do open.reset(opendir(folder.c_str()));
    while (!open && errno == EINTR);
    if (!open) throw std::system_error(errno, std::generic_category());
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* entry = readdir(open.get())) {
        names.emplace_back(entry->d_name);
        errno = 0;
    }
    if (errno != 0) throw std::system_error(errno, std::generic_category());
    return names;
}

bool reachesDisk(std::FILE* file) {
    return uninterrupted([&] { return fsync(fileno(file)); }) == 0 || errno == EINVAL || errno == EROFS;
}

std::string temporaryFolder() {
    const char* variable = std::getenv("TMPDIR");
    return variable && *variable ? variable : "/tmp";
}

std::FILE* temporaryFile() {
    const std::string folder = temporaryFolder();
    Descriptor descriptor(createNameless(folder));
    std::FILE* const file = descriptor ? fdopen(descriptor.number(), "w+b") : nullptr;
    if (!file) throw WriteFailed{"a temporary file in " + folder, errno};
    descriptor.release();
    std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

Spool::Spool(std::FILE* source, const std::function<void(std::uint64_t)>& copied) : copy(temporaryFile(), std::fclose) {
    ownPath = "/dev/fd/" + std::to_string(fileno(copy.get()));

    std::array<char, 65536> block;
    std::uint64_t all = 0;
    for (;;) {
        const ssize_t count = read(fileno(source), block.data(), block.size());  // without waiting for a whole block
        if (count == 0) return;
        if (count < 0 && mayTryAgain(fileno(source), POLLIN)) continue;
        if (count < 0) throw std::system_error(errno, std::generic_category());
        const auto size = static_cast<std::size_t>(count);
        if (!writeTo(copy.get(), {block.data(), size})) throw WriteFailed{"a temporary file in " + temporaryFolder(), errno};
        copied(all += size);
    }
}

}  // namespace tramo::cli
