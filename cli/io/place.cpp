#include "cli/io/place.h"
#include "cli/io/platform.h"
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/magic.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/xattr.h>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace {

constexpr const char* accessList = "system.posix_acl_access";
constexpr int mostLinks = 40;

FileFacts factsOf(const struct stat& status) {
    FileFacts facts;
    facts.id = {status.st_dev, status.st_ino};
    facts.isRegular = S_ISREG(status.st_mode);
    facts.isDevice = S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode);
    facts.owner = status.st_uid;
    facts.group = status.st_gid;
    facts.mode = status.st_mode;
    facts.names = static_cast<unsigned>(status.st_nlink);
    return facts;
}

// "x/y" is "y" in "x", "y" is "y" in ".", and "/y" is "y" in "/".
std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string baseOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// A folder without read permission may still be writable.
Descriptor openFolder(int at, const std::string& path) {
    const int flags = O_DIRECTORY | O_CLOEXEC;
    Descriptor folder(uninterrupted([&] { return openat(at, path.c_str(), flags | O_RDONLY); }));
    if (!folder && errno == EACCES) folder = Descriptor(openat(at, path.c_str(), flags | O_PATH));
    return folder;
}

bool isOnProc(int descriptor) {
    struct statfs system {};
    return fstatfs(descriptor, &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
}

// Returns whether this is another user's link in a sticky folder that all users can write to, such as /tmp. Linux usually
// refuses to follow these (protected_symlinks); the tool always does.
bool isTrap(int folder, const struct stat& link) {
    struct stat around {};
    if (fstat(folder, &around) != 0) return true;
    return (around.st_mode & (S_ISVTX | S_IWOTH)) == (S_ISVTX | S_IWOTH) && link.st_uid != geteuid() &&
           link.st_uid != around.st_uid;
}

std::optional<std::string> targetOf(int link) {
    std::string target(256, '\0');
    for (;;) {
        const ssize_t size = readlinkat(link, "", target.data(), target.size());
        if (size < 0) return std::nullopt;
        if (static_cast<std::size_t>(size) < target.size()) {
            target.resize(static_cast<std::size_t>(size));
            return target;
        }
        target.resize(2 * target.size());
    }
}

std::string pathOfDescriptor(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

bool hasAccessListAt(const std::string& path) { return getxattr(path.c_str(), accessList, nullptr, 0) > 0; }

mode_t processMask() {
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// Attributes that describe the old content or give rights to a program must not be copied to new content.
bool isOfContent(std::string_view attribute) {
    return attribute == "security.capability" || attribute == "security.ima" || attribute == "security.evm";
}

std::string namesOfAttributes(const std::string& path) {
    ssize_t size = listxattr(path.c_str(), nullptr, 0);
    std::string names(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
    if (size > 0) size = listxattr(path.c_str(), names.data(), names.size());
    if (size < 0 && errno != ENOTSUP) return std::string("attributes\0", 11);  // report that the attributes are not kept
    names.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return names;
}

bool copyAttribute(const std::string& from, int to, const char* attribute) {
    const ssize_t size = getxattr(from.c_str(), attribute, nullptr, 0);
    if (size < 0) return false;
    std::string value(static_cast<std::size_t>(size), '\0');
    const ssize_t got = getxattr(from.c_str(), attribute, value.data(), value.size());
    if (got < 0) return false;
    const auto length = static_cast<std::size_t>(got);
    // The system's own label is often the right one already, and the process may not be allowed to set it.
    std::string own(length, '\0');
    if (fgetxattr(to, attribute, own.data(), own.size()) == got && own == value.substr(0, length)) return true;
    return fsetxattr(to, attribute, value.data(), length, 0) == 0;
}

}  // namespace

std::optional<FileFacts> factsOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return std::nullopt;
    FileFacts facts = factsOf(status);
    facts.hasAccessList = facts.isRegular && hasAccessListAt(path);
    return facts;
}

std::optional<FileFacts> factsOf(std::FILE* stream) {
    struct stat status {};
    if (fstat(fileno(stream), &status) != 0) return std::nullopt;
    FileFacts facts = factsOf(status);
    facts.hasAccessList = facts.isRegular && fgetxattr(fileno(stream), accessList, nullptr, 0) > 0;
    return facts;
}

// First, the system follows the links, with all its rules. Then `find` follows them, and must reach the same file.
Place::Place(const std::string& givenPath, std::string calledName) : name(std::move(calledName)), path(givenPath) {
    if (path == "-") {
        ownKind = Kind::Stream;
        ownDescriptor = STDOUT_FILENO;
        ownFacts = cli::factsOf(stdout);
        return;
    }
    const Descriptor probe(uninterrupted([&] { return open(path.c_str(), O_PATH | O_CLOEXEC); }));
    if (!probe && errno != ENOENT) fail(errno);
    find(path);
    if (!probe) {
        if (found) fail(EBUSY);  // it was created in between
        if (ownBase.empty()) fail(EISDIR);
        return;
    }
    struct stat status {
    }, seen{};
    if (fstat(probe.number(), &status) != 0) fail(errno);
    ownFacts = factsOf(status);
    if (S_ISDIR(status.st_mode)) {
        ownKind = Kind::Folder;
        ownFolder = {path, openFolder(probe.number(), ".")};
        if (!ownFolder.open) fail(errno);
        return;
    }
    findDescriptor();
    if (isDescriptor || !ownFacts->isRegular) {
        ownKind = Kind::Stream;
        return;
    }
    if (!found || fstat(found.number(), &seen) != 0) fail(found ? errno : EBUSY);
    if (factsOf(seen).id != ownFacts->id) fail(EBUSY);
    ownKind = Kind::File;
    ownFacts->hasAccessList = hasAccessListAt(pathOfDescriptor(found.number()));
}

// Opens the last name of the path without following a link.
Descriptor Place::entry(int at) const {
    return Descriptor(uninterrupted([&] { return openat(at, ownBase.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
}

// Finds the last folder and name of the path, and the file, if there is one. Does not follow a link in /proc, which means an
// open file.
void Place::find(const std::string& from) {
    std::string rest = from;
    Descriptor at;
    for (int links = 0; links <= mostLinks; ++links) {
        Descriptor next = openFolder(at ? at.number() : AT_FDCWD, folderOf(rest));
        if (!next) fail(errno);
        const bool isRelative = !rest.starts_with('/') && links > 0;
        ownFolder.path = isRelative ? ownFolder.path + '/' + folderOf(rest) : folderOf(rest);
        at = std::move(next);
        ownBase = baseOf(rest);
        found = ownBase.empty() ? Descriptor() : entry(at.number());
        if (!found && !ownBase.empty() && errno != ENOENT) fail(errno);
        struct stat status {};
        if (found && fstat(found.number(), &status) != 0) fail(errno);
        if (!found || !S_ISLNK(status.st_mode) || isOnProc(found.number())) {
            ownFolder.open = std::move(at);
            if (fstat(ownFolder.open.number(), &status) != 0) fail(errno);
            folderId = factsOf(status).id;
            return;
        }
        if (isTrap(at.number(), status)) fail(EACCES);
        const std::optional<std::string> target = targetOf(found.number());
        if (!target) fail(errno);
        rest = *target;
    }
    fail(ELOOP);
}

// The text of a link in /proc is only a description: it has a name even for a deleted file.
void Place::findDescriptor() {
    if (!found || !isOnProc(found.number())) return;
    isDescriptor = true;
    for (const char* ours : {"/proc/self/fd", "/proc/thread-self/fd"})
        if (struct stat status{}; stat(ours, &status) == 0 && factsOf(status).id == folderId)
            ownDescriptor = std::atoi(ownBase.c_str());
}

void Place::fail(int error) const { throw WriteFailed{name, error}; }
void Place::refuse(const std::string& reason) const { throw WriteFailed{name, 0, reason}; }

bool Place::isSameAs(const Place& other) const {
    if (ownFacts && other.ownFacts) return ownFacts->id == other.ownFacts->id && !ownFacts->isDevice;
    return !ownFacts && !other.ownFacts && folderId == other.folderId && ownBase == other.ownBase;
}

// Does not create or truncate the file. Appends to a file that another process has open.
std::FILE* Place::openStream() const {
    const int flags = O_WRONLY | O_NOCTTY | O_CLOEXEC | (ownFacts->isRegular ? O_APPEND : 0);
    Descriptor stream(
        ownDescriptor >= 0 ? fcntl(ownDescriptor, F_DUPFD_CLOEXEC, 3) : uninterrupted([&] { return open(path.c_str(), flags); }));
    struct stat status {};
    if (!stream || fstat(stream.number(), &status) != 0) fail(errno);
    if (factsOf(status).id != ownFacts->id) fail(EBUSY);  // it was replaced in between
    if ((fcntl(stream.number(), F_GETFL) & O_ACCMODE) == O_RDONLY) fail(EBADF);
    std::FILE* const file = fdopen(stream.number(), "wb");
    if (!file) fail(errno);
    stream.release();
    std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

// Root may write to every file, so the owner's permission decides.
void Place::checkReplaceable(bool force) const {
    if (ownKind != Kind::File) return;
    const bool isOurs = geteuid() == 0 || geteuid() == ownFacts->owner;
    const bool isWritable = faccessat(ownFolder.open.number(), ownBase.c_str(), W_OK, AT_EACCESS) == 0;
    if (!isWritable && errno != EACCES) fail(errno);
    if (force) return;
    if (!isWritable || (isOurs && (ownFacts->mode & S_IWUSR) == 0)) refuse("the file is read-only; --force replaces it");
    if (ownFacts->names > 1)
        refuse(fmt::format("the file has {} names (hard links), and only this one would get the new content; --force replaces it",
            ownFacts->names));
}

void Place::keepOwner(const Unfinished& made) const {
    if (ownKind != Kind::File) return;
    struct stat status {};
    if (fstat(made.descriptor(), &status) != 0) fail(errno);
    const bool sameOwner = status.st_uid == ownFacts->owner, sameGroup = status.st_gid == ownFacts->group;
    if (sameOwner && sameGroup) return;
    const uid_t owner = sameOwner ? static_cast<uid_t>(-1) : ownFacts->owner;
    const gid_t group = sameGroup ? static_cast<gid_t>(-1) : ownFacts->group;
    if (uninterrupted([&] { return fchown(made.descriptor(), owner, group); }) == 0) return;
    refuse(fmt::format("the new file cannot have the old one's {}: {}; remove the old one first, or name another file",
        sameOwner ? "group" : "owner", reasonOf(errno)));
}

std::string Place::keepPermissions(const Unfinished& made, unsigned most) const {
    const int to = made.descriptor();
    unsigned mode = most;
    std::string lost;
    bool groupIsMask = false;  // the group's permissions are the mask of another access list
    if (ownKind == Kind::File) {
        mode = ownFacts->mode & 0777;  // without set-user-ID and set-group-ID, which the new content must not get
        const std::string from = pathOfDescriptor(found.number()), attributes = namesOfAttributes(from);
        for (std::size_t at = 0; at < attributes.size(); at += std::string_view(attributes.c_str() + at).size() + 1) {
            const char* attribute = attributes.c_str() + at;
            if (isOfContent(attribute) || copyAttribute(from, to, attribute)) continue;
            lost += fmt::format("{}{} ({})", lost.empty() ? "" : ", ", attribute, reasonOf(errno));
            groupIsMask |= attribute == std::string_view(accessList) || attribute == std::string_view("attributes");
        }
        if (!ownFacts->hasAccessList && fremovexattr(to, accessList) != 0 && errno != ENODATA && errno != ENOTSUP)
            groupIsMask = true;
    } else {
        struct stat status {};
        if (fstat(to, &status) != 0) fail(errno);
        groupIsMask = most != permissionsOfNew(S_ISDIR(status.st_mode)) && fgetxattr(to, accessList, nullptr, 0) > 0;
    }
    if (groupIsMask) mode = (mode & ~070U) | (mode & 07U) << 3;
    // If this fails for a new file, only its owner can read it.
    if (uninterrupted([&] { return fchmod(to, mode); }) != 0 && ownKind == Kind::File)
        refuse(fmt::format("the new file cannot have the old one's permissions: {}", reasonOf(errno)));
    return lost;
}

bool Place::hasCompanion(const char* suffix) const {
    struct stat status {};
    return fstatat(ownFolder.open.number(), (ownBase + suffix).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

// The system grants a write lease only if no other process has the file open. Not every file system has leases.
bool Place::isOpenElsewhere() {
    if (ownKind != Kind::File) return false;
    found.close();                // it counts as open on older systems
    std::signal(SIGIO, SIG_IGN);  // sent if another process opens the file now
    const Descriptor file(openat(ownFolder.open.number(), ownBase.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    const bool isOpen = file && fcntl(file.number(), F_SETLEASE, F_WRLCK) != 0 && errno == EAGAIN;
    if (file && !isOpen) fcntl(file.number(), F_SETLEASE, F_UNLCK);
    found = entry(ownFolder.open.number());
    return isOpen;
}

unsigned permissionsOfNew(bool isFolder) { return (isFolder ? 0777U : 0666U) & ~processMask(); }

// Another group gets only the permissions of all other users, and so does a group whose permissions are the mask of an access
// list.
unsigned permissionsBelow(unsigned permissions, const FileFacts& source, unsigned group) {
    unsigned most = source.mode & 0666;
    if (source.group != group || source.hasAccessList) most = (most & ~060U) | (most & 06U) << 3;
    most |= 0600;
    return permissions & (most | (most & 0444) >> 2);
}

}  // namespace tramo::cli
