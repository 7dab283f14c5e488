// Functions of the operating system beyond standard C++.
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

/// Thrown when an output cannot be written.
struct WriteFailed {
    std::string target;
    int error;
    std::string reason{};  ///< for messages; empty: the system's message for `error`
};

/// The path of a file that discards all output.
#ifdef _WIN32
inline constexpr const char* nullDevice = "NUL";
#else
inline constexpr const char* nullDevice = "/dev/null";
#endif

/// Converts a path of the command line for the standard library.
std::filesystem::path pathOf(const std::string& path);

bool isTerminal(std::FILE* stream);

/// Returns the columns of the terminal; 0 if the stream is not a terminal or does not report them.
int terminalWidth(std::FILE* stream);

/// Returns the number of processors that this process may use.
unsigned usableProcessors();

/// Keeps files from getting the descriptor of a standard stream that the caller has closed. Makes the other standard streams
/// binary.
void reserveStandardStreams();

/// Makes writes to a closed pipe or beyond a limit of file sizes fail instead of ending the process.
void letWritesFail();

/// Returns the system's message for an error number.
std::string reasonOf(int errorNumber);

// Functions of the C library for files that continue after a signal. For a file in non-blocking mode, they wait until it is
// ready.

/// Returns nullptr and sets errno if the file cannot be opened.
std::FILE* openFile(const std::string& path, const char* mode);

/// Returns fewer bytes than wanted at the end, or after an error (ferror, errno).
std::size_t readFrom(std::FILE* file, char* bytes, std::size_t wanted);

/// Writes to a file without a buffer. Returns false and sets errno if not all bytes could be written.
bool writeTo(std::FILE* file, std::string_view bytes);

/// Asks the system for the space that an empty file will need, which makes its blocks cheaper to write. It stays empty.
/// Without effect if the system or the disk does not support it.
void reserveSpace(std::FILE* file, std::uint64_t size);

/// Frees the space that was reserved after the end of a file of this size.
void freeSpaceAfter(std::FILE* file, std::uint64_t size);

/// Closes the file in any case. Returns false and sets errno if data was lost.
bool closeFile(std::FILE* file);

/// Returns the names in a folder. Throws std::system_error.
std::vector<std::string> namesIn(const std::string& folder);

/// Flushes the file to the disk; returns whether that succeeded.
bool reachesDisk(std::FILE* file);

/// Returns the folder for temporary files: TMPDIR, or /tmp; on Windows, that of the user.
std::string temporaryFolder();

/// Creates a temporary file without a buffer, for writing and reading. Other processes cannot open it by a name. It disappears
/// with the process, even after a kill. Throws WriteFailed.
std::FILE* temporaryFile();

/// Opens a file with the user's program for its kind, without waiting for it. Returns false if none could be started.
bool openInBrowser(const std::string& path);

/// A copy of a stream in a temporary file, with a path, that can be read more than once.
class Spool {
public:
    /// Copies `source` to its end and calls `copied` with the number of bytes after each piece. Throws std::system_error if the
    /// source cannot be read, WriteFailed if the copy cannot be written; then no file remains.
    Spool(std::FILE* source, const std::function<void(std::uint64_t)>& copied);

    const std::string& path() const { return ownPath; }

private:
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> copy;
    std::string ownPath;
};

}  // namespace tramo::cli
