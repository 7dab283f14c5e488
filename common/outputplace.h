// Where an output goes, and how it replaces what is there. The functions return 0, or the reason of a failure as an errno.
#pragma once
#include <filesystem>

namespace tramo {

struct OutputPlace {
    std::filesystem::path path{};  // absolute; of the file itself, at the end of symbolic links
    bool exists = false;
    bool isStream = false;  // no regular file, or a file that this process has open: cannot be replaced
    int descriptor = -1;    // of a stream that this process has open
};

// A file that exists must be writable.
int findPlace(const std::filesystem::path& path, OutputPlace& place);

// Gives the new file the owner, the group and the permissions of the existing one.
int keepPermissions(const OutputPlace& place, const std::filesystem::path& newFile);

// Moves the new file to the place, in one step.
int replace(const std::filesystem::path& newFile, const OutputPlace& place);

}  // namespace tramo
