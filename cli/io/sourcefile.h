// Files that are read, while somebody may be writing to them.
#pragma once
#include "cli/io/filestate.h"
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tramo::cli {

/// A file cannot be read, or not as what it is.
struct Unreadable {
    std::string reason;
    std::string file{};  ///< its path; empty where the reason names it
};

/// Sums up bytes that come piece by piece, so that they are known again. Not made against somebody who wants two texts to have
/// the same sum.
class Checksum {
public:
    void add(std::string_view bytes);
    std::uint64_t value() const;

private:
    static constexpr std::size_t blockSize = 32;

    void take(const char* block);

    std::array<std::uint64_t, 4> lanes{1, 2, 3, 4};
    std::array<char, blockSize> begun{};
    std::uint64_t count = 0;
};

/// A range of a file that has been read.
struct Passage {
    std::uint64_t from = 0, to = 0;
    Checksum sum{};

    void add(std::string_view bytes) {
        to += bytes.size();
        sum.add(bytes);
    }
};

/// A file that is read as it was when it was opened. A regular one may be replaced, deleted or made longer meanwhile; if it
/// gets shorter or another content, that is noticed at the end at the latest. Operations throw Unreadable.
class SourceFile {
public:
    /// "-": the standard input, from where it is.
    explicit SourceFile(const std::string& givenPath) : SourceFile(givenPath, givenPath) {}
    SourceFile(const std::string& givenPath, std::string called);  ///< `called`: the path by which its user knows it
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    std::FILE* stream() const { return file.get(); }
    bool isRegular() const { return opened.isRegular; }

    /// Of a regular file, as it was when it was opened. 0 also of files that hold text and say that they are empty (/proc).
    std::uint64_t size() const { return ownSize; }

    /// Of a regular file: so many bytes from this place of it. Fewer: its end. May run on several threads at once.
    std::size_t read(std::uint64_t place, char* bytes, std::size_t wanted) const;

    /// To be called when a regular file has been read: what was read of it is what it has there. Returns what its user should
    /// know nevertheless, in words; empty: nothing.
    std::string confirm(const Passage& passage) const;

    /// What was read once has now been read again, and is not the same.
    [[noreturn]] void hasChanged() const;

private:
    [[noreturn]] void isShorter(std::uint64_t size) const;
    bool isUntouched(const FileState& now) const;
    FileState stateNow() const;

    std::string path, name;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file;
    std::uint64_t begin = 0;  ///< of what is read: where the standard input stands
    FileState opened;
    std::uint64_t ownSize = 0;
    std::int64_t openedAt = 0;
};

}  // namespace tramo::cli
