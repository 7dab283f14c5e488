// The place of an output: the meaning of its path, and the existing file.
#pragma once
#include "cli/io/unfinished.h"
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace tramo::cli {

/// Identifies a file, under any name.
struct FileId {
    std::uint64_t device = 0, number = 0;
    bool operator==(const FileId&) const = default;
};

struct FileFacts {
    FileId id;
    bool isRegular = false;
    bool isDevice = false;  ///< a terminal, /dev/null: writing there overwrites nothing
    unsigned owner = 0, group = 0, mode = 0, names = 1;
    bool hasAccessList = false;
};

/// Returns nullopt if there is no such file, or if its state cannot be read.
std::optional<FileFacts> factsOf(const std::string& path);
std::optional<FileFacts> factsOf(std::FILE* stream);

/// The constructor resolves the path; its meaning does not change later. Operations throw WriteFailed.
class Place {
public:
    enum class Kind { Nothing, File, Folder, Stream };

    /// `name`: for messages.
    Place(const std::string& path, std::string name);
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    /// Returns the kind of the place. Nothing: a new file can be created there, even at the end of symbolic links. Stream: not a
    /// regular file, or a path of an open file, such as /dev/stdout.
    Kind kind() const { return ownKind; }

    /// Returns the facts of the existing file.
    const std::optional<FileFacts>& facts() const { return ownFacts; }

    /// Returns whether both places are the same file, which need not exist.
    bool isSameAs(const Place& other) const;

    /// Opens the stream without a buffer. A descriptor of this process is used as it is, with its offset and its append mode.
    std::FILE* openStream() const;

    /// Refuses to replace a file that is read-only or has hard links, unless `force` is set.
    void checkReplaceable(bool force) const;

    /// Gives the new file or folder the owner and the group of the replaced one.
    void keepOwner(const Unfinished& made) const;

    /// Gives it the attributes and permissions of the replaced one; without one, the permissions `most`. Returns a description of
    /// the attributes that could not be kept.
    std::string keepPermissions(const Unfinished& made, unsigned most) const;

    /// Returns whether there is a file with this name and the suffix.
    bool hasCompanion(const char* suffix) const;

    /// Returns whether another process has the file open, as far as the system reports it.
    bool isOpenElsewhere();

    const Folder& folder() const { return ownFolder; }   ///< the folder that contains it
    const std::string& base() const { return ownBase; }  ///< its name in the folder

private:
    [[noreturn]] void fail(int error) const;
    [[noreturn]] void refuse(const std::string& reason) const;
#ifndef _WIN32
    void find(const std::string& from);
    void findDescriptor();
    Descriptor entry(int at) const;

    Descriptor found{};
    bool isDescriptor = false;  ///< the path means an open file of a process
    int ownDescriptor = -1;     ///< its descriptor, if that is this process
#endif

    std::string name, path;
    Kind ownKind = Kind::Nothing;
    std::optional<FileFacts> ownFacts;
    Folder ownFolder;
    FileId folderId;
    std::string ownBase;
};

/// Returns the permissions of a new file or folder with the umask of the process.
unsigned permissionsOfNew(bool isFolder);

/// Returns those of the permissions that give no user more access than the source, for a file of this group.
unsigned permissionsBelow(unsigned permissions, const FileFacts& source, unsigned group);

}  // namespace tramo::cli
