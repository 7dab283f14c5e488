// Input files, which other processes may change while they are read.
#pragma once
#include "cli/io/checksum.h"
#include "cli/io/filestate.h"
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tramo::cli {

/// Thrown when a file cannot be read, or is not a valid input.
struct Unreadable {
    std::string reason;
    std::string file{};  ///< its path; empty if the reason contains it
};

/// Reads a file in the state that it had when it was opened. A regular file may be replaced, deleted or extended meanwhile. If
/// it becomes shorter or its content changes, `confirm` detects it at the latest. Operations throw Unreadable.
class SourceFile {
public:
    /// Throws Unreadable if a path names no file, or a directory. Other files need not be regular.
    static void expectFile(const std::string& path);

    /// "-" is the standard input, from its current position.
    explicit SourceFile(const std::string& givenPath) : SourceFile(givenPath, givenPath) {}
    SourceFile(const std::string& givenPath, std::string called);  ///< `called`: the path for messages
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    std::FILE* stream() const { return file.get(); }
    bool isRegular() const { return opened.isRegular; }

    /// Returns the size of a regular file when it was opened. 0 also for files that contain text but report size 0 (/proc).
    std::uint64_t size() const { return ownSize; }

    /// Reads bytes from an offset of a regular file; fewer than wanted at its end. Thread-safe.
    std::size_t read(std::uint64_t place, char* bytes, std::size_t wanted) const;

    /// Checks that the file still has the bytes that were read. Call it after reading a regular file. Returns a note for the user
    /// about other changes; may be empty.
    std::string confirm(const Passage& passage) const;

    /// Throws because a second reading returned other bytes.
    [[noreturn]] void hasChanged() const;

private:
    [[noreturn]] void isShorter(std::uint64_t size) const;
    bool isUntouched(const FileState& now) const;
    FileState stateNow() const;

    std::string path, name;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file;
    std::uint64_t begin = 0;  ///< the offset of the standard input at the start
    FileState opened;
    std::uint64_t ownSize = 0;
    std::int64_t openedAt = 0;
};

}  // namespace tramo::cli
