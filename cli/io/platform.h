// What the tool asks of the operating system beyond standard C++.
#pragma once
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// What the tool should have written could not be.
struct WriteFailed {
    std::string target;
    int error;
    std::string reason{};  ///< in words; empty: the system's for `error`
};

/// A file that takes everything and keeps nothing.
#ifdef _WIN32
inline constexpr const char* nullDevice = "NUL";
#else
inline constexpr const char* nullDevice = "/dev/null";
#endif

/// A path of the command line as the standard library takes it.
std::filesystem::path pathOf(const std::string& path);

bool isTerminal(std::FILE* stream);

/// The columns of the terminal that a stream is; 0 where it is none, or does not tell.
int terminalWidth(std::FILE* stream);

/// Processors that this process may use.
unsigned usableProcessors();

/// A standard stream that the caller has closed stays useless: no file of ours takes its place. On all others every byte
/// passes as it is.
void reserveStandardStreams();

/// A pipe that nobody reads any more, and a limit of file sizes, make writes fail instead of ending the process.
void letWritesFail();

/// The system's words for an error number.
std::string reasonOf(int errorNumber);

// What the C library does with files, but not ended by a signal that comes in between. Where a file is in non-blocking mode,
// these wait for the peer.

/// nullptr and errno when it cannot be opened.
std::FILE* openFile(const std::string& path, const char* mode);

/// Fewer bytes than wanted: the end, or an error (ferror, errno).
std::size_t readFrom(std::FILE* file, char* bytes, std::size_t wanted);

/// To a file without a buffer. False and errno when not everything could be written.
bool writeTo(std::FILE* file, std::string_view bytes);

/// False and errno when something is lost; the file is closed even then.
bool closeFile(std::FILE* file);

/// What is in a folder. Throws std::system_error.
std::vector<std::string> namesIn(const std::string& folder);

/// What was written to the file is on the disk.
bool reachesDisk(std::FILE* file);

/// The folder for files that are needed for a while: TMPDIR, or /tmp; on Windows the user's.
std::string temporaryFolder();

/// A file there without a buffer, to be written and read. It has no name that others could open, and is gone with the process
/// however that ends. Throws WriteFailed.
std::FILE* temporaryFile();

/// A copy of a stream's content that has a path and can be read more than once, in a temporary file.
class Spool {
public:
    /// Copies `source` to its end, and tells after each piece how many bytes it has copied. Throws std::system_error when it
    /// cannot be read, WriteFailed when the copy cannot be written, and leaves nothing behind.
    Spool(std::FILE* source, const std::function<void(std::uint64_t)>& copied);

    const std::string& path() const { return ownPath; }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> copy;
    std::string ownPath;
};

}  // namespace tramo::cli
