// What the system knows of a file at one moment.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace tramo::cli {

struct FileState {
    bool isRegular = false;
    std::uint64_t device = 0, number = 0;  ///< which file it is, by whatever name
    std::uint64_t size = 0;
    std::int64_t modified = 0, changed = 0;  ///< the content; anything, its names included. In nanoseconds of the system's clock

    bool isSameFile(const FileState& other) const { return device == other.device && number == other.number; }
    bool operator==(const FileState&) const = default;
};

/// nullopt: there is no such file, or nothing can be known of it.
std::optional<FileState> stateOf(std::FILE* file);
std::optional<FileState> stateOf(const std::string& path);

/// The present, as FileState gives times.
std::int64_t fileTimeNow();

/// Where the next byte would be read from; 0 where there are no places.
std::uint64_t placeIn(std::FILE* file);

/// Reads so many bytes from this place, whatever is read elsewhere at the same time. Fewer: the end of the file, or an error
/// (`error`, otherwise 0). For regular files.
std::size_t readAt(std::FILE* file, std::uint64_t place, char* bytes, std::size_t wanted, int& error);

}  // namespace tramo::cli
