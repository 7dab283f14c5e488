#include "platform.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tramo::cli {

bool isTerminal(std::FILE* stream) { return isatty(fileno(stream)) == 1; }

int terminalWidth(std::FILE* stream) {
    winsize size{};
    return isTerminal(stream) && ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

unsigned usableProcessors() {
    cpu_set_t usable;
    if (sched_getaffinity(0, sizeof usable, &usable) == 0) return static_cast<unsigned>(CPU_COUNT(&usable));
    return std::max(std::thread::hardware_concurrency(), 1U);  // more than such a set can hold
}

void reserveStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(descriptor, F_GETFD) == -1 && open(nullDevice, descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) == -1)
            std::abort();
}

void ignoreClosedPipes() { std::signal(SIGPIPE, SIG_IGN); }

std::string reasonOf(int errorNumber) { return std::generic_category().message(errorNumber); }

namespace {

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

}  // namespace

std::FILE* createBeside(std::string& path, bool secret) {
    path += ".XXXXXX";
    const int descriptor = mkstemp(path.data());  // mode 0600
    if (descriptor < 0) return nullptr;
    const mode_t mask = umask(0);
    umask(mask);
    if (!secret) fchmod(descriptor, 0666 & ~mask);
    return fdopen(descriptor, "wb");
}

bool reachesDisk(std::FILE* file) {
    return std::fflush(file) == 0 && (fsync(fileno(file)) == 0 || errno == EINVAL || errno == EROFS);
}

bool replaceFile(const std::string& finished, const std::string& place) {
    if (std::rename(finished.c_str(), place.c_str()) != 0) return false;
    const int folder = open(folderOf(place).c_str(), O_RDONLY | O_DIRECTORY);
    if (folder >= 0) {
        fsync(folder);  // the file is in its place; a folder that cannot be synchronised does not change that
        close(folder);
    }
    return true;
}

std::string temporaryFolder() {
    const char* variable = std::getenv("TMPDIR");
    return variable && *variable ? variable : "/tmp";
}

// The file has a name only while no signal can end the process.
std::FILE* temporaryFile() {
    std::string name = temporaryFolder() + "/tramo.XXXXXX";
    sigset_t all, before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    const int descriptor = mkstemp(name.data());  // mode 0600
    const int error = errno;
    if (descriptor >= 0) unlink(name.c_str());
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (descriptor < 0) throw WriteFailed{"a temporary file in " + temporaryFolder(), error};
    return fdopen(descriptor, "w+b");
}

Spool::Spool(std::FILE* source, const std::function<void(std::uint64_t)>& copied) : copy(temporaryFile()) {
    std::setvbuf(copy, nullptr, _IONBF, 0);
    ownPath = "/dev/fd/" + std::to_string(fileno(copy));

    std::array<char, 65536> block;
    std::uint64_t all = 0;
    ssize_t count = 0;
    while ((count = read(fileno(source), block.data(), block.size())) > 0) {  // what has come, be it ever so little
        if (std::fwrite(block.data(), 1, static_cast<std::size_t>(count), copy) != static_cast<std::size_t>(count)) {
            const int error = errno;
            std::fclose(copy);
            throw WriteFailed{"a temporary file in " + temporaryFolder(), error};
        }
        copied(all += static_cast<std::uint64_t>(count));
    }
    if (count == 0) return;
    const int error = errno;
    std::fclose(copy);
    throw std::system_error(error, std::generic_category());
}

Spool::~Spool() { std::fclose(copy); }

}  // namespace tramo::cli
