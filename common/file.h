// An open file of the system, without a buffer.
#pragma once
#include "common/bytebuffer.h"
#include <cstddef>
#include <cstdint>

namespace tramo {

// How many forks this process has behind it, counted since its first ancestor that called this: another number than before
// means that what was buffered before is the parent's, too. Throws std::bad_alloc on its first call only.
std::uint32_t countForks();

class File {
public:
    enum class Access {
        Read,
        Append,    // created where it does not exist, each write goes to its end
        Truncate,  // created where it does not exist or emptied, each write goes behind the one before
    };

    File() = default;

    // Not open where the system refuses. A directory is refused for reading too.
    File(const char* path, Access access);
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    ~File();

    bool isOpen() const { return descriptor >= 0; }

    // False where the system says that something was lost. The file is closed even then.
    bool close();

    // Adds everything up to the end to the bytes, of files, pipes and terminals. False where the system refuses.
    bool readAll(ByteBuffer& bytes) const;

    // How many bytes the system has taken. Fewer than asked for is a refusal, and errno tells the reason.
    std::size_t write(const char* bytes, std::size_t count) const;

    // In bytes; -1 for what has no positions, like a pipe.
    std::int64_t size() const;

    // Takes back the last bytes that this object wrote. False where that cannot be done: no regular file, or somebody
    // else has written behind them.
    bool cutBack(std::size_t count) const;

private:
    int descriptor = -1;
#ifdef _WIN32
    bool appends = false;
#endif
};

}  // namespace tramo
