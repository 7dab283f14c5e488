// Opens the file of a path to read it.
#pragma once
#include "common/file.h"
#include "common/nativepath.h"
#include <cerrno>
#include <filesystem>

namespace tramo {

// Returns a closed file, with errno set, if it cannot be opened.
inline File openToRead(const std::filesystem::path& path) {
    const std::string narrow = narrowPath(path);
    errno = 0;
    if (narrow.find('\0') == std::string::npos)
        if (File file(narrow.c_str(), File::Access::Read); file.isOpen()) return file;
    if (errno == 0) errno = narrow.find('\0') == std::string::npos ? EISDIR : ENOENT;
    return {};
}

}  // namespace tramo
