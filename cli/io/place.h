// Where an output goes: what the system makes of its path, and what is there already.
#pragma once
#include "cli/io/unfinished.h"
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace tramo::cli {

/// Which file something is, by whatever name it is reached.
struct FileId {
    std::uint64_t device = 0, number = 0;
    bool operator==(const FileId&) const = default;
};

struct FileFacts {
    FileId id;
    bool isRegular = false;
    bool isDevice = false;  ///< a terminal, /dev/null: what is written there does not overwrite anything
    unsigned owner = 0, group = 0, mode = 0, names = 1;
    bool hasAccessList = false;
};

/// nullopt: there is no such file, or nothing can be known of it.
std::optional<FileFacts> factsOf(const std::string& path);
std::optional<FileFacts> factsOf(std::FILE* stream);

/// A path is taken apart when this is made: what it means does not change any more. Operations throw WriteFailed.
class Place {
public:
    enum class Kind { Nothing, File, Folder, Stream };

    /// `name`: what people call it.
    Place(const std::string& path, std::string name);
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    /// Nothing: a new file can be made there, also at the end of symbolic links. Stream: what is there is no regular file, or
    /// the path means one that is open, as /dev/stdout does.
    Kind kind() const { return ownKind; }

    /// Of what is there.
    const std::optional<FileFacts>& facts() const { return ownFacts; }

    /// Both mean the same file, whether there is one or not.
    bool isSameAs(const Place& other) const;

    /// The stream, without a buffer. A descriptor of this process is used as it is, with its offset and for appending if it is.
    std::FILE* openStream() const;

    /// Refuses to replace a file that is read-only or has other names, unless `force` is given.
    void checkReplaceable(bool force) const;

    /// Of a new file or folder and what it replaces: the owner and the group become those of the old one.
    void keepOwner(const Unfinished& made) const;

    /// And so do attributes and permissions. Those of one that replaces nothing are `most`. Returns which attributes could not
    /// be kept, in words.
    std::string keepPermissions(const Unfinished& made, unsigned most) const;

    /// There is a file of this name with something more at its end.
    bool hasCompanion(const char* suffix) const;

    /// Somebody has the file open, as far as the system tells.
    bool isOpenElsewhere();

    const Folder& folder() const { return ownFolder; }   ///< that it stands in; a folder itself
    const std::string& base() const { return ownBase; }  ///< its name there

private:
    [[noreturn]] void fail(int error) const;
    [[noreturn]] void refuse(const std::string& reason) const;
#ifndef _WIN32
    void find(const std::string& from);
    void findDescriptor();
    Descriptor entry(int at) const;

    Descriptor found{};
    bool isDescriptor = false;  ///< the path means what a process has open
    int ownDescriptor = -1;     ///< and here it is
#endif

    std::string name, path;
    Kind ownKind = Kind::Nothing;
    std::optional<FileFacts> ownFacts;
    Folder ownFolder;
    FileId folderId;
    std::string ownBase;
};

/// The permissions of a new file or folder, as the process's umask has it.
unsigned permissionsOfNew(bool isFolder);

/// As many of them as a file of this group can have and be no more open than its source.
unsigned permissionsBelow(unsigned permissions, const FileFacts& source, unsigned group);

}  // namespace tramo::cli
