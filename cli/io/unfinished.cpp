#include "cli/io/unfinished.h"
#include "cli/io/platform.h"
#include "common/utf8.h"
#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/magic.h>
#include <memory>
#include <pthread.h>
#include <string_view>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <system_error>
#include <vector>

namespace tramo::cli {

namespace {

constexpr int endingSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU};
constexpr std::string_view mark = ".tramo-", ending = ".unfinished";
constexpr std::size_t longestMark = mark.size() + 10 + 1 + 8 + ending.size();  // a process number, '-', eight digits

// Blocks the signals that end the process during its lifetime. Keeps errno.
class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : endingSignals) sigaddset(&held, signal);
        pthread_sigmask(SIG_BLOCK, &held, &before);
    }
    ~SignalsHeld() {
        const int error = errno;
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        errno = error;
    }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before{};
};

// The signal handler calls the next functions, too: they must not allocate or lock, as opendir does.

// Removes the files in a folder, but no folders.
void empty(int folder) {
    alignas(dirent64) std::array<char, 4096> entries;
    for (;;) {
        bool any = false;
        if (lseek(folder, 0, SEEK_SET) != 0) return;
        for (long size; (size = syscall(SYS_getdents64, folder, entries.data(), entries.size())) > 0;) {
            for (long at = 0; at < size;) {
                const auto* entry = reinterpret_cast<const dirent64*>(entries.data() + at);
                if (unlinkat(folder, entry->d_name, 0) == 0) any = true;
                at += entry->d_reclen;
            }
        }
        if (!any) return;  // repeat: some file systems skip entries while others are removed
    }
}

void takeAway(int in, const char* name, int openFolder) {
    if (openFolder >= 0) empty(openFolder);
    unlinkat(in, name, openFolder >= 0 ? AT_REMOVEDIR : 0);
}

}  // namespace

// The list of all unfinished files and folders, and the signal handler that removes them. One thread creates all of them.
struct UnfinishedList {
    static void onSignal(int signal) {
        if (pthread_equal(pthread_self(), thread) == 0) {  // `thread` may be changing the list
            pthread_kill(thread, signal);
            return;
        }
        for (const Unfinished* one = newest; one; one = one->older)
            takeAway(one->folder->open.number(), one->ownName.c_str(), one->isFolder ? one->own.number() : -1);
        std::signal(signal, SIG_DFL);
        sigset_t self;
        sigemptyset(&self);
        sigaddset(&self, signal);
        pthread_sigmask(SIG_UNBLOCK, &self, nullptr);
        raise(signal);
    }

    // Does not change signals that the caller ignores.
    static void watch() {
        if (isWatching) return;
        isWatching = true;
        thread = pthread_self();
        for (const int signal : endingSignals) {
            struct sigaction before {};
            if (sigaction(signal, nullptr, &before) != 0 || (before.sa_flags & SA_SIGINFO) || before.sa_handler != SIG_DFL)
                continue;
            struct sigaction action {};
            action.sa_handler = onSignal;
            action.sa_flags = SA_RESTART;
            sigfillset(&action.sa_mask);
            sigdelset(&action.sa_mask, SIGSYS);
            sigaction(signal, &action, nullptr);
        }
    }

    static inline Unfinished* newest = nullptr;
    static inline pthread_t thread{};
    static inline bool isWatching = false;
};

namespace {

// Network file systems do not always show the locks of other machines, so nothing is removed there. Nothing is locked, either,
// because some of them convert these locks to the kind that SQLite uses.
bool isShared(int folder) {
    struct statfs system {};
    if (fstatfs(folder, &system) != 0) return true;
    constexpr std::uint32_t cifs = 0xFF534D42, smb2 = 0xFE534D42, ceph = 0x00C36400, fuse = 0x65735546, gfs2 = 0x01161970,
                            ocfs2 = 0x7461636F, v9fs = 0x01021997;
    for (const std::uint32_t shared : {static_cast<std::uint32_t>(NFS_SUPER_MAGIC), static_cast<std::uint32_t>(SMB_SUPER_MAGIC),
             static_cast<std::uint32_t>(AFS_SUPER_MAGIC), cifs, smb2, ceph, fuse, gfs2, ocfs2, v9fs})
        if (static_cast<std::uint32_t>(system.f_type) == shared) return true;
    return false;
}

// Returns ".NAME", shortened to leave room for the rest, without a partial UTF-8 character.
std::string beginOf(int folder, const std::string& name) {
    const long most = fpathconf(folder, _PC_NAME_MAX);
    std::size_t room = (most > 0 ? static_cast<std::size_t>(most) : NAME_MAX) - longestMark - 1;
    while (room < name.size() && room > 0 && utf8::isContinuation(name[room])) --room;
    return fmt::format(".{}", std::string_view(name).substr(0, room));
}

std::uint32_t random() {
    std::uint32_t number = 0;
    if (getrandom(&number, sizeof number, GRND_NONBLOCK) == sizeof number) return number;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::uint32_t>(now.tv_nsec);
}

bool isNumber(std::string_view text, std::string_view digits) {
    return !text.empty() && text.find_first_not_of(digits) == std::string_view::npos;
}

bool isNameOfUnfinished(std::string_view name, std::string_view begin) {
    if (!name.starts_with(begin) || !name.ends_with(ending)) return false;
    name.remove_prefix(begin.size());
    if (!name.starts_with(mark)) return false;
    name = name.substr(mark.size(), name.size() - mark.size() - ending.size());
    const std::size_t dash = name.find('-');
    return dash != std::string_view::npos && isNumber(name.substr(0, dash), "0123456789") && name.size() == dash + 9 &&
           isNumber(name.substr(dash + 1), "0123456789abcdef");
}

// Returns whether the descriptor is the file of that name. If not, sets errno: ENOENT if another file has the name.
bool isOf(int descriptor, int folder, const char* name) {
    struct stat opened {
    }, named{};
    if (fstat(descriptor, &opened) != 0 || fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) != 0) return false;
    errno = ENOENT;
    return opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Removes what killed processes have left. The lock ensures that no process uses it and no other process removes it.
void takeAwayLeft(int folder, const std::string& begin) {
    const int listed = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (listed < 0) return;
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(fdopendir(listed), closedir);
    if (!entries) {
        close(listed);
        return;
    }
    while (const dirent* entry = readdir(entries.get())) {
        if (!isNameOfUnfinished(entry->d_name, begin)) continue;
        const Descriptor left(openat(folder, entry->d_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        struct stat status {};
        if (!left || fstat(left.number(), &status) != 0 || (status.st_uid != geteuid() && geteuid() != 0)) continue;
        if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) continue;
        if (flock(left.number(), LOCK_EX | LOCK_NB) != 0 || !isOf(left.number(), folder, entry->d_name)) continue;
        takeAway(folder, entry->d_name, S_ISDIR(status.st_mode) ? left.number() : -1);
    }
}

}  // namespace

void Unfinished::link() {
    older = UnfinishedList::newest;
    UnfinishedList::newest = this;
}

void Unfinished::unlink() {
    for (Unfinished** one = &UnfinishedList::newest; *one; one = &(*one)->older) {
        if (*one != this) continue;
        *one = older;
        return;
    }
}

// Creates and, if possible, locks it. Returns false and sets errno on errors: EEXIST means to try another name.
bool Unfinished::createUnder(const char* candidate) {
    const int at = folder->open.number();
    if (isFolder && mkdirat(at, candidate, 0700) != 0) return false;
    const int flags = isFolder ? O_RDONLY | O_DIRECTORY : O_RDWR | O_CREAT | O_EXCL | O_NOCTTY;
    own = Descriptor(uninterrupted([&] { return openat(at, candidate, flags | O_NOFOLLOW | O_CLOEXEC, 0600); }));
    // Before it is locked, another process may remove it as a left one.
    const bool isLocked = own && (isShared(at) || flock(own.number(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK);
    if (isLocked && isOf(own.number(), at, candidate)) return true;
    const bool isTaken = own && (!isLocked || errno == ENOENT);  // by another process, or removed by it
    const int error = isTaken ? EEXIST : errno;
    if (isLocked || isFolder) unlinkat(at, candidate, isFolder ? AT_REMOVEDIR : 0);
    own.close();
    errno = error;
    return false;
}

bool Unfinished::create(const Folder& in, const std::string& name, bool asFolder) {
    const int at = in.open.number();
    const std::string begin = beginOf(at, name);
    if (!isShared(at)) takeAwayLeft(at, begin);
    for (int attempts = 0; attempts < 100; ++attempts) {
        std::string candidate = fmt::format("{}{}{}-{:08x}{}", begin, mark, getpid(), random(), ending);
        const SignalsHeld held;
        UnfinishedList::watch();
        folder = &in;
        isFolder = asFolder;
        if (createUnder(candidate.c_str())) {
            ownName = std::move(candidate);
            link();
            return true;
        }
        folder = nullptr;
        if (errno != EEXIST) return false;
    }
    return false;
}

std::FILE* Unfinished::createFile(const Folder& in, const std::string& name) {
    if (!create(in, name, false)) return nullptr;
    const int written = fcntl(own.number(), F_DUPFD_CLOEXEC, 3);
    std::FILE* const file = written < 0 ? nullptr : fdopen(written, "wb");
    if (file) {
        std::setvbuf(file, nullptr, _IONBF, 0);
        return file;
    }
    const int error = errno;
    if (written >= 0) close(written);
    remove();
    errno = error;
    return nullptr;
}

bool Unfinished::createFolder(const Folder& in, const std::string& name) { return create(in, name, true); }

std::string Unfinished::path() const { return folder->path + '/' + ownName; }

unsigned Unfinished::group() const {
    struct stat status {};
    return fstat(own.number(), &status) == 0 ? status.st_gid : 0;
}

bool Unfinished::become(const std::string& name) {
    const SignalsHeld held;
    const int at = folder->open.number();
    if (uninterrupted([&] { return renameat(at, ownName.c_str(), at, name.c_str()); }) != 0) return false;
    unlink();
    folder = nullptr;
    fsync(at);  // ignores errors: the target is already replaced
    own.close();
    return true;
}

bool Unfinished::dissolve() {
    std::vector<std::string> names;
    try {
        names = namesIn(path());
    } catch (const std::system_error& failure) {
        errno = failure.code().value();
        return false;
    }
    std::erase_if(names, [](const std::string& name) { return name == "." || name == ".."; });
    const int at = folder->open.number();
    const SignalsHeld held;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (uninterrupted([&] { return renameat(own.number(), names[i].c_str(), at, names[i].c_str()); }) == 0) continue;
        const int error = errno;
        while (i-- > 0) unlinkat(at, names[i].c_str(), 0);
        errno = error;
        return false;
    }
    remove();
    return true;
}

void Unfinished::remove() {
    if (!folder) return;
    const SignalsHeld held;
    takeAway(folder->open.number(), ownName.c_str(), isFolder ? own.number() : -1);
    unlink();
    folder = nullptr;
    own.close();
}

}  // namespace tramo::cli
