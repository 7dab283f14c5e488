#include "common/outputplace.h"
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/xattr.h>
#endif

namespace tramo {

namespace {

namespace fs = std::filesystem;

constexpr int mostLinks = 40;

// Returns the descriptor of this process that a link in /proc means, or -1.
int descriptorOf(const fs::path& link) {
    std::error_code error;
    if (fs::canonical(link.parent_path(), error) != "/proc/" + std::to_string(::getpid()) + "/fd") return -1;
    const std::string name = link.filename();
    int descriptor = -1;
    std::from_chars(name.data(), name.data() + name.size(), descriptor);
    return descriptor;
}

// Whether the text of a link only describes an open file.
bool isInProc(const fs::path& link) {
    std::error_code error;
    return fs::canonical(link.parent_path(), error).native().starts_with("/proc/");
}

// Follows no link that the system does not follow, such as another user's in /tmp.
int followAsTheSystem(const fs::path& path) {
#ifdef O_PATH
    int probe = -1;
    do probe = ::open(path.c_str(), O_PATH | O_CLOEXEC);
    while (probe < 0 && errno == EINTR);
    if (probe < 0) return errno == ENOENT ? 0 : errno;
    ::close(probe);
#else
    (void)path;
#endif
    return 0;
}

#ifdef __linux__
// The permissions of a file with an access list are incomplete without it.
int keepAccessList(const char* from, const char* to) {
    constexpr const char* accessList = "system.posix_acl_access";
    const ssize_t size = ::getxattr(from, accessList, nullptr, 0);
    if (size <= 0) {
        ::removexattr(to, accessList);  // one that the folder has given it
        return 0;
    }
    std::string value(static_cast<std::size_t>(size), '\0');
    if (::getxattr(from, accessList, value.data(), value.size()) != size) return errno;
    return ::setxattr(to, accessList, value.data(), value.size(), 0) == 0 ? 0 : errno;
}
#endif

}  // namespace

int findPlace(const fs::path& path, OutputPlace& place) {
    if (path.native().find('\0') != std::string::npos) return ENOENT;
    if (const int reason = followAsTheSystem(path)) return reason;
    fs::path at = path;
    for (int links = 0; links <= mostLinks; ++links) {
        struct stat status {};
        if (::lstat(at.c_str(), &status) != 0) {
            if (errno != ENOENT) return errno;
            if (at.empty()) return ENOENT;
            if (!at.has_filename()) return EISDIR;
            place = {fs::absolute(at)};
            return 0;
        }
        if (S_ISLNK(status.st_mode)) {
            if (isInProc(at)) {
                place = {fs::absolute(at), true, true, descriptorOf(at)};
                return 0;
            }
            std::error_code error;
            const fs::path target = fs::read_symlink(at, error);
            if (error) return error.value();
            at = at.parent_path() / target;  // an absolute target replaces the folder
            continue;
        }
        if (S_ISDIR(status.st_mode)) return EISDIR;
        place = {fs::absolute(at), true, !S_ISREG(status.st_mode)};
        return ::faccessat(AT_FDCWD, at.c_str(), W_OK, AT_EACCESS) == 0 ? 0 : errno;
    }
    return ELOOP;
}

int keepPermissions(const OutputPlace& place, const fs::path& newFile) {
    struct stat old {
    }, made{};
    if (::stat(place.path.c_str(), &old) != 0 || ::stat(newFile.c_str(), &made) != 0) return errno;
    const uid_t owner = old.st_uid == made.st_uid ? static_cast<uid_t>(-1) : old.st_uid;
    const gid_t group = old.st_gid == made.st_gid ? static_cast<gid_t>(-1) : old.st_gid;
    const bool isOfOther = old.st_uid != made.st_uid || old.st_gid != made.st_gid;
    if (isOfOther && ::chown(newFile.c_str(), owner, group) != 0) return errno;
#ifdef __linux__
    if (const int reason = keepAccessList(place.path.c_str(), newFile.c_str())) return reason;
#endif
    return ::chmod(newFile.c_str(), old.st_mode & 0777) == 0 ? 0 : errno;
}

int replace(const fs::path& newFile, const OutputPlace& place) {
    const fs::path parent = place.path.parent_path();  // allocates, so it comes before the file is replaced
    if (::rename(newFile.c_str(), place.path.c_str()) != 0) return errno;
    const int folder = ::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        ::fsync(folder);  // ignores errors: the file is already replaced
        ::close(folder);
    }
    return 0;
}

}  // namespace tramo
