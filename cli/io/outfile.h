// Outputs of a command: the standard output, a file that appears completely or not at all, or a stream. Implements the promises
// of docs/guide.md, "How outputs are written".
#pragma once
#include "cli/io/place.h"
#include "cli/io/unfinished.h"
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tramo::cli {

/// How an output is written.
struct OutMode {
    bool secret = false;         ///< only its owner can read it, if it is new
    bool keys = false;           ///< may hold keys: reported if all users can read it
    bool held = false;           ///< streams, too, are written by `commit` only; until then, the text is in a temporary file
    bool force = false;          ///< replaces even a file that is read-only or has hard links
    bool replacesInput = false;  ///< may be the input
};

/// Registers the place of an output during its lifetime. No other output of the run may have the same place.
class NotedOutput {
public:
    /// `name`: for messages. Throws WrongUsage if it is an input or another output, WriteFailed if it cannot be written.
    NotedOutput(const std::string& path, std::string name, const OutMode& mode);
    ~NotedOutput();
    NotedOutput(const NotedOutput&) = delete;
    NotedOutput& operator=(const NotedOutput&) = delete;

    const std::string name;
    Place place;
};

/// An output file. It is written beside the file with that path, and replaces it when it is complete. Until then, and
/// after any error, the old file is unchanged. Streams are written directly: "-" (the standard output), devices, pipes, sockets
/// and files that a process has open already (/dev/stdout).
///
/// Every operation throws WriteFailed; the constructor also WrongUsage.
class OutFile {
public:
    using Mode = OutMode;

    /// `name`: for messages, if it is not the path.
    explicit OutFile(const std::string& path, Mode mode = {}, const std::string& name = {});

    /// Without `commit`, removes the unfinished file.
    ~OutFile() = default;
    OutFile(const OutFile&) = delete;
    OutFile& operator=(const OutFile&) = delete;

    /// Whether any output was opened: selects exit code 3 over 2.
    static bool anyBegun() { return begun; }

    /// Returns whether the path is that of a stream, such as "-".
    static bool isStream(const std::string& path);

    /// Returns whether text is written directly, unless it is held.
    bool isStream() const { return noted.place.kind() == Place::Kind::Stream; }

    /// Return the path of the unfinished file, for libraries that open it themselves, and the target. Not for streams.
    std::string temporaryPath() const { return unfinished.path(); }
    Place& target() { return noted.place; }

    /// States that the file holds keys: only its owner can read it, if it is new.
    void keepSecret() { mode.secret = mode.keys = true; }

    /// States how many bytes will be written, more or less: a large file is then written in less time.
    void expect(std::uint64_t size);

    void write(std::string_view bytes);

    /// Flushes the file to the disk and replaces the target.
    void commit();

private:
    void release();
    [[noreturn]] void fail(int error) const;

    static bool begun;

    Mode mode;
    NotedOutput noted;
    Unfinished unfinished;
    std::uint64_t reserved = 0, written = 0;  ///< bytes
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, std::fclose};
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> held{nullptr, std::fclose};  ///< the text until `commit` writes it to `file`
};

/// An output folder. A new one appears when all its files are complete; an existing one gets them at the end, one after the
/// other. Operations throw WriteFailed.
class OutFolder {
public:
    OutFolder(const std::string& path, OutMode mode);

    /// Returns the place of the folder.
    const Place& target() const { return noted.place; }

    /// Return the path to which to write a file of the folder, and its name for messages.
    std::string pathOf(const std::string& file) const { return unfinished.path() + '/' + file; }
    std::string nameOf(const std::string& file) const { return noted.name + '/' + file; }

    /// Replaces the target. Call it after all files have been committed.
    void commit();

private:
    OutMode mode;
    NotedOutput noted;
    Unfinished unfinished;
};

}  // namespace tramo::cli
