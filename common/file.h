// An open file, without a buffer.
#pragma once
#include "common/bytebuffer.h"
#include <cstddef>
#include <cstdint>

namespace tramo {

// Returns the number of forks that led to this process since its first ancestor that called this function. If it differs from
// an earlier result, the parent process also holds what was buffered then. Throws std::bad_alloc on its first call only.
std::uint32_t countForks();

class File {
public:
    enum class Access {
        Read,
        Append,    // created if it does not exist; each write goes to the end of the file
        Truncate,  // created or emptied; each write continues after the previous one
        New,       // created; it must not exist
        Private,   // the same, for its owner only
        Existing,  // written from its beginning, if it has positions
    };

    File() = default;

    // Not open if the system cannot open it. A directory cannot be opened, not even for reading.
    File(const char* path, Access access);

    // A duplicate of a descriptor, which stays open. It shares its position. Not open if the system refuses it.
    static File duplicateOf(int descriptor);

    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    ~File();

    bool isOpen() const { return descriptor >= 0; }

    // Returns false if the system reports that data was lost. Closes the file even then.
    bool close();

    // Appends everything up to the end of the file, pipe or terminal to the bytes. Returns false on failure.
    bool readAll(ByteBuffer& bytes) const;

    // Reads at most so many of the next bytes. Returns their number, 0 at the end of the file, -1 on failure with the reason in
    // errno.
    std::ptrdiff_t read(char* bytes, std::size_t most) const;

    // Waits until everything has reached the disk. Returns false on failure, with the reason in errno.
    bool sync() const;

    // Returns the number of bytes written. Fewer than `count` means failure, with the reason in errno.
    std::size_t write(const char* bytes, std::size_t count) const;

    // In bytes; -1 for a file without positions, such as a pipe.
    std::int64_t size() const;

    // Removes the last bytes that this object wrote. Returns false if that is impossible: not a regular file, or another
    // process has written after them.
    bool cutBack(std::size_t count) const;

private:
    int descriptor = -1;
#if defined(_WIN32)
    bool appends = false;
#elif defined(__wasi__)
    mutable std::uint64_t place = 0;
#endif
};

}  // namespace tramo
