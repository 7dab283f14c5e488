// Unfinished files and folders: under a temporary name, beside their target.
#pragma once
#include <cstdio>
#include <string>
#ifndef _WIN32
#include "cli/io/descriptor.h"
#endif

namespace tramo::cli {

/// A folder of the file system. On POSIX systems it is kept open, so that it stays the same folder if its path changes.
struct Folder {
    std::string path;
#ifndef _WIN32
    Descriptor open{};
#endif
};

/// Removes the file or folder with this object, and when a signal ends the process, unless it has replaced its target. If the
/// process is killed, it remains as ".NAME.tramo-PROCESS-RANDOM.unfinished". The next one for the same target removes it, if the
/// file system is local and no process holds its lock any more.
///
/// Operations return false (nullptr) and set errno if they fail.
class Unfinished {
public:
    Unfinished() = default;
    ~Unfinished() { remove(); }
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;

    /// Creates a file for writing, without a buffer, that only its owner can read. Its target is `name` in this folder, which
    /// must outlive this object.
    std::FILE* createFile(const Folder& in, const std::string& name);

    /// Does the same for a folder.
    bool createFolder(const Folder& in, const std::string& name);

    /// Returns its path, for libraries that open it themselves.
    std::string path() const;

    /// Replaces the target in one step.
    bool become(const std::string& name);

    /// Returns whether it is a folder.
    bool isOfFiles() const { return isFolder; }

    /// Returns its group; 0 on systems without groups.
    unsigned group() const;

    /// Moves the files of the folder into its parent folder, one after the other, and removes it.
    bool dissolve();

#ifndef _WIN32
    /// Returns the descriptor of the file or folder.
    int descriptor() const { return own.number(); }
#endif

private:
    bool create(const Folder& in, const std::string& name, bool asFolder);
    void remove();

    const Folder* folder = nullptr;  ///< nullptr: nothing was created
    std::string ownName;
    bool isFolder = false;
#ifndef _WIN32
    bool createUnder(const char* candidate);
    void link();
    void unlink();
    friend struct UnfinishedList;

    Descriptor own;  ///< holds the lock
    Unfinished* older = nullptr;
#endif
};

}  // namespace tramo::cli
