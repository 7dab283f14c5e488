// The state of a file at one moment: its identity, size and times.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace tramo::cli {

struct FileState {
    bool isRegular = false;
    std::uint64_t device = 0, number = 0;  ///< identify the file, under any name
    std::uint64_t size = 0;
    std::int64_t modified = 0, changed = 0;  ///< times of the last change of the content, and of any change, in nanoseconds

    bool isSameFile(const FileState& other) const { return device == other.device && number == other.number; }
    bool operator==(const FileState&) const = default;
};

/// Returns nullopt if there is no such file, or if its state cannot be read.
std::optional<FileState> stateOf(std::FILE* file);
std::optional<FileState> stateOf(const std::string& path);

/// Returns the current time in the unit of FileState.
std::int64_t fileTimeNow();

/// Returns the offset of the next byte; 0 if the file has no offsets.
std::uint64_t placeIn(std::FILE* file);

/// Reads bytes from an offset of a regular file; thread-safe. Returns fewer than wanted at the end of the file, or after an error
/// (`error`, otherwise 0).
std::size_t readAt(std::FILE* file, std::uint64_t place, char* bytes, std::size_t wanted, int& error);

}  // namespace tramo::cli
