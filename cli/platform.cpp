#include "platform.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

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

int uninterrupted(auto call) {
    for (;;) {
        const int result = call();
        if (result >= 0 || errno != EINTR) return result;
    }
}

mode_t processMask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// A new file of mode 0600; of the path, "XXXXXX" at the end is replaced. nullptr and errno when there can be none.
std::FILE* createFrom(std::string& path, const char* mode) {
    const int descriptor = uninterrupted([&] {
        path.replace(path.size() - 6, 6, "XXXXXX");
        return mkstemp(path.data());
    });
    if (descriptor < 0) return nullptr;
    std::FILE* const file = fdopen(descriptor, mode);
    if (file) return file;
    const int error = errno;
    close(descriptor);
    unlink(path.c_str());
    errno = error;
    return nullptr;
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
        if (done == wanted || !std::ferror(file) || errno != EINTR) return done;
        std::clearerr(file);
    }
}

bool writeTo(std::FILE* file, std::string_view bytes) {
    for (;;) {
        bytes.remove_prefix(std::fwrite(bytes.data(), 1, bytes.size(), file));
        if (bytes.empty()) return true;
        if (errno != EINTR) return false;
        std::clearerr(file);
    }
}

// Not again after EINTR: the descriptor is gone.
bool closeFile(std::FILE* file) { return std::fclose(file) == 0 || errno == EINTR; }

std::FILE* createBeside(std::string& path, bool secret) {
    std::FILE* const file = createFrom(path += ".XXXXXX", "wb");
    if (!file) return nullptr;
    std::setvbuf(file, nullptr, _IONBF, 0);
    if (!secret) fchmod(fileno(file), 0666 & ~processMask());
    return file;
}

bool createFolderBeside(std::string& path) {
    path += ".XXXXXX";
    const int created = uninterrupted([&] {
        path.replace(path.size() - 6, 6, "XXXXXX");
        return mkdtemp(path.data()) ? 0 : -1;  // mode 0700
    });
    if (created < 0) return false;
    chmod(path.c_str(), 0777 & ~processMask());
    return true;
}

void removeFolder(const std::string& path) { rmdir(path.c_str()); }

// Not by std::filesystem::directory_iterator: libstdc++'s ends the program where it gets no memory for a name.
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

bool replaceFile(const std::string& finished, const std::string& place) {
    const std::string around = folderOf(place);  // what can fail comes before
    if (uninterrupted([&] { return std::rename(finished.c_str(), place.c_str()); }) != 0) return false;
    const int folder = open(around.c_str(), O_RDONLY | O_DIRECTORY);
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
    std::FILE* const file = createFrom(name, "w+b");
    const int error = errno;
    if (file) unlink(name.c_str());
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (!file) throw WriteFailed{"a temporary file in " + temporaryFolder(), error};
    std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

Spool::Spool(std::FILE* source, const std::function<void(std::uint64_t)>& copied) : copy(temporaryFile(), std::fclose) {
    ownPath = "/dev/fd/" + std::to_string(fileno(copy.get()));

    std::array<char, 65536> block;
    std::uint64_t all = 0;
    auto next = [&] { return static_cast<int>(read(fileno(source), block.data(), block.size())); };
    int count = 0;
    while ((count = uninterrupted(next)) > 0) {  // what has come, be it ever so little
        const auto size = static_cast<std::size_t>(count);
        if (!writeTo(copy.get(), {block.data(), size})) throw WriteFailed{"a temporary file in " + temporaryFolder(), errno};
        copied(all += size);
    }
    if (count < 0) throw std::system_error(errno, std::generic_category());
}

}  // namespace tramo::cli
