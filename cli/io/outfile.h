// Where a command's product goes: the standard output, a file that appears whole or not at all, or a stream. What the tool
// promises of its outputs (docs/guide.md, "What becomes of an output") is kept here.
#pragma once
#include "cli/io/place.h"
#include "cli/io/unfinished.h"
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace tramo::cli {

/// How an output is written.
struct OutMode {
    bool secret = false;         ///< for its owner only, if it is new
    bool keys = false;           ///< may hold keys: reported if every user can read it
    bool held = false;           ///< streams, too, get nothing before `commit`; until then it is in a temporary file
    bool force = false;          ///< replaces also what is read-only or has other names
    bool replacesInput = false;  ///< may be the file that has been read
};

/// Where an output goes, for as long as this lives. No other of the same run may go there.
class NotedOutput {
public:
    /// `name`: what people call it. Throws WrongUsage if it is an input or another output, WriteFailed if nothing can be there.
    NotedOutput(const std::string& path, std::string name, const OutMode& mode);
    ~NotedOutput();
    NotedOutput(const NotedOutput&) = delete;
    NotedOutput& operator=(const NotedOutput&) = delete;

    const std::string name;
    Place place;
};

/// A file in the making. It is written beside the one named, and takes its place when it is complete; until then, and
/// after any failure, the old file stands as it was. "-" is the standard output, which is written at once, as are devices,
/// pipes, sockets and what a process has open already (/dev/stdout).
///
/// Every operation throws WriteFailed; the constructor WrongUsage, too.
class OutFile {
public:
    using Mode = OutMode;

    /// `name`: what people call it, if that is not its path.
    explicit OutFile(const std::string& path, Mode mode = {}, const std::string& name = {});

    /// Without `commit`: the unfinished file is taken away.
    ~OutFile() = default;
    OutFile(const OutFile&) = delete;
    OutFile& operator=(const OutFile&) = delete;

    /// Whether any output was opened: selects exit code 3 over 2.
    static bool anyBegun() { return begun; }

    /// Whether a path is that of a stream, "-" included.
    static bool isStream(const std::string& path);

    /// What is written is gone at once, unless it is held.
    bool isStream() const { return noted.place.kind() == Place::Kind::Stream; }

    /// The unfinished file, for those who open it by themselves, and where it goes. Not for streams.
    std::string temporaryPath() const { return unfinished.path(); }
    Place& target() { return noted.place; }

    /// It holds keys: it is for its owner only, if it is new.
    void keepSecret() { mode.secret = mode.keys = true; }

    void write(std::string_view bytes);

    /// Everything has reached the disk, and the file its place.
    void commit();

private:
    void release();
    [[noreturn]] void fail(int error) const;

    static bool begun;

    Mode mode;
    NotedOutput noted;
    Unfinished unfinished;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, std::fclose};
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> held{nullptr, std::fclose};  ///< has what `file` gets in the end
};

/// A folder of files in the making. A new one appears when all of them are there; one that was there gets them at the end,
/// one after the other. Operations throw WriteFailed.
class OutFolder {
public:
    OutFolder(const std::string& path, OutMode mode);

    /// Where it is, or will be.
    const Place& target() const { return noted.place; }

    /// Where a file of it is to be written, and what people call that.
    std::string pathOf(const std::string& file) const { return unfinished.path() + '/' + file; }
    std::string nameOf(const std::string& file) const { return noted.name + '/' + file; }

    /// All of its files have been committed.
    void commit();

private:
    OutMode mode;
    NotedOutput noted;
    Unfinished unfinished;
};

}  // namespace tramo::cli
