#include "common/file.h"
#include "common/nativepath.h"
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <io.h>
#include <system_error>
#include <utility>
#include <windows.h>

namespace tramo {

namespace {

constexpr std::size_t firstPiece = std::size_t{64} << 10;
constexpr std::size_t mostAtOnce = std::size_t{1} << 30;

HANDLE handleOf(int descriptor) { return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); }

bool isPlainFile(int descriptor) { return GetFileType(handleOf(descriptor)) == FILE_TYPE_DISK; }

// Returns the reason of the last failure as an errno.
int lastError() {
    const auto code = static_cast<int>(GetLastError());
    const std::error_condition condition = std::system_category().default_error_condition(code);
    return condition.category() == std::generic_category() ? condition.value() : EIO;
}

}  // namespace

std::uint32_t countForks() { return 0; }

File::File(const char* path, Access access) {
    const bool reads = access == Access::Read, isNew = access == Access::New || access == Access::Private;
    const DWORD creation = isNew ? CREATE_NEW : reads || access == Access::Existing ? OPEN_EXISTING : OPEN_ALWAYS;
    const DWORD wanted = reads ? GENERIC_READ : GENERIC_WRITE;
    const DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE handle =
        CreateFileW(nativePath(path).c_str(), wanted, shared, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        errno = lastError();
        return;
    }
    if (access == Access::Truncate) SetEndOfFile(handle);
    appends = access == Access::Append;
    descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_BINARY | (reads ? _O_RDONLY : 0));
    if (!isOpen()) CloseHandle(handle);
}

File File::duplicateOf(int descriptor) {
    File file;
    file.descriptor = _dup(descriptor);
    if (file.isOpen()) _setmode(file.descriptor, _O_BINARY);
    return file;
}

bool File::sync() const { return _commit(descriptor) == 0; }

File::File(File&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)), appends(other.appends) {}

File& File::operator=(File&& other) noexcept {
    if (this != &other) {
        close();
        descriptor = std::exchange(other.descriptor, -1);
        appends = other.appends;
    }
    return *this;
}

File::~File() { close(); }

bool File::close() { return !isOpen() || _close(std::exchange(descriptor, -1)) == 0; }

bool File::readAll(ByteBuffer& bytes) const {
    // One byte more than the file size, so that the read at the end of the file does not make the buffer grow.
    const std::int64_t size = isPlainFile(descriptor) ? _filelengthi64(descriptor) : 0;
    bytes.reserve(bytes.size() + (size > 0 ? static_cast<std::size_t>(size) + 1 : firstPiece));
    for (;;) {
        if (bytes.room() == 0) bytes.reserve(2 * bytes.size());
        const std::ptrdiff_t count = read(bytes.end(), bytes.room());
        if (count <= 0) {
            bytes.shrinkToFit();
            return count == 0;
        }
        bytes.grow(static_cast<std::size_t>(count));
    }
}

std::ptrdiff_t File::read(char* bytes, std::size_t most) const {
    return _read(descriptor, bytes, static_cast<unsigned>(std::min(most, mostAtOnce)));
}

std::size_t File::write(const char* bytes, std::size_t count) const {
    std::size_t done = 0;
    while (done < count) {
        OVERLAPPED atTheEnd{};
        atTheEnd.Offset = atTheEnd.OffsetHigh = 0xFFFFFFFF;  // the current end: other processes may append, too
        const auto piece = static_cast<DWORD>(std::min(count - done, mostAtOnce));
        DWORD taken = 0;
        const bool good = WriteFile(handleOf(descriptor), bytes + done, piece, &taken, appends ? &atTheEnd : nullptr) != 0;
        if (!good || taken == 0) {
            errno = good ? ENOSPC : lastError();
            break;
        }
        done += taken;
    }
    return done;
}

std::int64_t File::size() const { return isPlainFile(descriptor) ? _filelengthi64(descriptor) : -1; }

bool File::cutBack(std::size_t count) const {
    if (!isPlainFile(descriptor)) return false;
    const std::int64_t size = _filelengthi64(descriptor);
    if (size != _lseeki64(descriptor, 0, SEEK_CUR)) return false;
    _lseeki64(descriptor, size - static_cast<std::int64_t>(count), SEEK_SET);
    return SetEndOfFile(handleOf(descriptor)) != 0;
}

}  // namespace tramo
