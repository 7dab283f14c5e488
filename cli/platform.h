// What the tool asks of the operating system beyond standard C++.
#pragma once
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>

namespace tramo::cli {

/// What the tool should have written could not be.
struct WriteFailed {
    std::string target;
    int error;
};

/// A file that takes everything and keeps nothing.
inline constexpr const char* nullDevice = "/dev/null";

bool isTerminal(std::FILE* stream);

/// The columns of the terminal that a stream is; 0 where it is none, or does not tell.
int terminalWidth(std::FILE* stream);

/// Processors that this process may use.
unsigned usableProcessors();

/// A standard stream that the caller has closed stays useless: no file of ours takes its place.
void reserveStandardStreams();

/// A pipe that nobody reads any more makes writes fail instead of ending the process.
void ignoreClosedPipes();

/// The system's words for an error number.
std::string reasonOf(int errorNumber);

/// A new file in the folder of `path`, which becomes its path; nullptr and errno when there can be none. `secret`: for its
/// owner only; else as the process's umask has it.
std::FILE* createBeside(std::string& path, bool secret);

/// What was written to the file is on the disk.
bool reachesDisk(std::FILE* file);

/// Puts a finished file in the place of another of the same folder, in one step. False and errno when that fails.
bool replaceFile(const std::string& finished, const std::string& place);

/// The folder for files that are needed for a while: TMPDIR, or /tmp.
std::string temporaryFolder();

/// A file there, to be written and read. It has no name that others could open, and is gone with the process however that
/// ends. Throws WriteFailed.
std::FILE* temporaryFile();

/// A copy of a stream's content that has a path and can be read more than once, in a temporary file.
class Spool {
public:
    /// Copies `source` to its end, and tells after each piece how many bytes it has copied. Throws std::system_error when it
    /// cannot be read, WriteFailed when the copy cannot be written, and leaves nothing behind.
    Spool(std::FILE* source, const std::function<void(std::uint64_t)>& copied);
    ~Spool();
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    const std::string& path() const { return ownPath; }

private:
    std::FILE* copy = nullptr;
    std::string ownPath;
};

}  // namespace tramo::cli
