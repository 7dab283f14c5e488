// The files that the page has opened. They are only read: outputs go to the page, too; see cli/io/outfile_wasi.cpp.
#include "common/file.h"
#include "common/host_wasi.h"
#include <cerrno>
#include <cstring>
#include <utility>

namespace tramo {

std::uint32_t countForks() { return 0; }

File::File(const char* path, Access access) {
    if (access == Access::Read) descriptor = host::openFile(path, std::strlen(path));
    if (!isOpen()) errno = access == Access::Read ? ENOENT : EROFS;
}

// Files without a path are none here.
File File::duplicateOf(int) {
    errno = EBADF;
    return {};
}

bool File::sync() const { return true; }

File::File(File&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)), place(std::exchange(other.place, 0)) {}

File& File::operator=(File&& other) noexcept {
    descriptor = std::exchange(other.descriptor, -1);
    place = std::exchange(other.place, 0);
    return *this;
}

File::~File() = default;

bool File::close() {
    descriptor = -1;
    return true;
}

bool File::readAll(ByteBuffer& bytes) const {
    bytes.reserve(bytes.size() + static_cast<std::size_t>(size()));
    for (;;) {
        const std::ptrdiff_t count = read(bytes.end(), bytes.room());
        if (count <= 0) return count == 0;
        bytes.grow(static_cast<std::size_t>(count));
    }
}

std::ptrdiff_t File::read(char* bytes, std::size_t most) const {
    const std::int32_t count = host::readFile(descriptor, static_cast<double>(place), bytes, most);
    if (count < 0) errno = EIO;
    else place += static_cast<std::uint64_t>(count);
    return count;
}

std::size_t File::write(const char*, std::size_t) const {
    errno = EROFS;
    return 0;
}

std::int64_t File::size() const { return static_cast<std::int64_t>(host::sizeOfFile(descriptor)); }

bool File::cutBack(std::size_t) const { return false; }

}  // namespace tramo
