// Files and folders in the making: under a name of their own, beside the one that they are to become.
#pragma once
#include <cstdio>
#include <string>
#ifndef _WIN32
#include "cli/io/descriptor.h"
#endif

namespace tramo::cli {

/// A folder of the file system. On POSIX systems it is held open, and stays the same one whatever becomes of its path.
struct Folder {
    std::string path;
#ifndef _WIN32
    Descriptor open{};
#endif
};

/// It goes with this object, and with the process when a signal ends that, unless it has taken its place. If the process is
/// killed, it stays, as ".NAME.tramo-PROCESS-RANDOM.unfinished", until the next one begins for the same place: that takes it
/// away, where the file system is a local one and shows by a lock that nobody works on it any more.
///
/// Operations return false (nullptr) and set errno when they fail.
class Unfinished {
public:
    Unfinished() = default;
    ~Unfinished() { remove(); }
    Unfinished(const Unfinished&) = delete;
    Unfinished& operator=(const Unfinished&) = delete;

    /// A new file without a buffer, to be written, for its owner only; it is to become `name` in this folder, which must
    /// outlive this object.
    std::FILE* createFile(const Folder& in, const std::string& name);

    /// The same for a folder.
    bool createFolder(const Folder& in, const std::string& name);

    /// Its path, for those who open it by themselves.
    std::string path() const;

    /// Takes its place, in one step. What was there is gone.
    bool become(const std::string& name);

    /// A folder, and not a file.
    bool isOfFiles() const { return isFolder; }

    /// The group that it belongs to; 0 where that says nothing.
    unsigned group() const;

    /// A folder: its files move into the folder that it stands in, one after the other, and it is gone.
    bool dissolve();

#ifndef _WIN32
    /// The file or folder.
    int descriptor() const { return own.number(); }
#endif

private:
    bool create(const Folder& in, const std::string& name, bool asFolder);
    void remove();

    const Folder* folder = nullptr;  ///< nullptr: there is none
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
