#include "cli/io/handle_windows.h"
#include "cli/io/platform.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <io.h>
#include <string>
#include <system_error>
#include <thread>
#include <windows.h>
// After the header that it needs:
#include <shellapi.h>

namespace tramo::cli {

namespace {

// Converts the last error of the system to errno.
int lastError() {
    const auto code = static_cast<int>(GetLastError());
    const std::error_condition condition = std::system_category().default_error_condition(code);
    return condition.category() == std::generic_category() ? condition.value() : EIO;
}

// Sets the console to UTF-8 and escape sequences, and restores it at the end of the program.
class ConsoleSettings {
public:
    void set() {
        for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
            const HANDLE console = GetStdHandle(stream);
            DWORD mode = 0;
            if (GetConsoleMode(console, &mode) == 0) continue;
            SetConsoleMode(console, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
            if (before == 0) before = GetConsoleOutputCP();
            SetConsoleOutputCP(CP_UTF8);
        }
    }
    ~ConsoleSettings() {
        if (before != 0) SetConsoleOutputCP(before);
    }

private:
    UINT before = 0;
};

}  // namespace

std::filesystem::path pathOf(const std::string& path) { return std::u8string(path.begin(), path.end()); }

// Does not use isatty, which reports NUL as a terminal.
bool isTerminal(std::FILE* stream) {
    DWORD mode = 0;
    return GetConsoleMode(handleOf(stream), &mode) != 0;
}

int terminalWidth(std::FILE* stream) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    return GetConsoleScreenBufferInfo(handleOf(stream), &info) != 0 ? info.srWindow.Right - info.srWindow.Left + 1 : 0;
}

unsigned usableProcessors() {
    DWORD_PTR process = 0, system = 0;
    if (GetProcessAffinityMask(GetCurrentProcess(), &process, &system) != 0 && process != 0)
        return static_cast<unsigned>(std::popcount(static_cast<std::uint64_t>(process)));
    return std::max(std::thread::hardware_concurrency(), 1U);  // more than one processor group
}

void reserveStandardStreams() {
    for (const int descriptor : {0, 1, 2}) {
        if (_get_osfhandle(descriptor) < 0 && _open(nullDevice, descriptor == 0 ? _O_WRONLY : _O_RDONLY) < 0) std::abort();
        _setmode(descriptor, _O_BINARY);
    }
    static ConsoleSettings console;
    console.set();
}

bool openInBrowser(const std::string& path) {
    constexpr INT_PTR mostOfErrors = 32;
    const std::wstring whole = std::filesystem::absolute(pathOf(path)).wstring();
    const HINSTANCE result = ShellExecuteW(nullptr, L"open", whole.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<INT_PTR>(result) > mostOfErrors;
}

void letWritesFail() {}  // they always fail on this system

std::string reasonOf(int errorNumber) { return std::generic_category().message(errorNumber); }

namespace {

std::FILE* fileOf(HANDLE handle, int flags, const char* mode) {
    if (handle == INVALID_HANDLE_VALUE) {
        errno = lastError();
        return nullptr;
    }
    const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), flags | _O_BINARY);
    if (descriptor < 0) {
        CloseHandle(handle);
        return nullptr;
    }
    std::FILE* const file = _fdopen(descriptor, mode);
    if (!file) _close(descriptor);
    return file;
}

}  // namespace

// Lets other processes replace a file while it is read, and opens a temporary file that is open already.
std::FILE* openFile(const std::string& path, const char* mode) {
    const std::filesystem::path name = pathOf(path);
    if (mode[0] == 'w') return _wfopen(name.c_str(), L"wb");
    const DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return fileOf(
        CreateFileW(name.c_str(), GENERIC_READ, shared, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr), _O_RDONLY, mode);
}

std::size_t readFrom(std::FILE* file, char* bytes, std::size_t wanted) { return std::fread(bytes, 1, wanted, file); }

bool writeTo(std::FILE* file, std::string_view bytes) { return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size(); }

void reserveSpace(std::FILE*, std::uint64_t) {}
void freeSpaceAfter(std::FILE*, std::uint64_t) {}

bool closeFile(std::FILE* file) { return std::fclose(file) == 0; }

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(pathOf(folder)))
        names.push_back(entry.path().filename().string());
    return names;
}

bool reachesDisk(std::FILE* file) { return _commit(_fileno(file)) == 0 || errno == EBADF || errno == EINVAL; }

std::string temporaryFolder() {
    std::array<wchar_t, MAX_PATH + 1> path{};
    const DWORD size = GetTempPathW(static_cast<DWORD>(path.size()), path.data());
    return size > 1 && size < path.size() ? std::filesystem::path(path.data(), path.data() + size - 1).string() : ".";
}

namespace {

// The file is deleted when it is closed.
std::FILE* createTemporary(std::string& path) {
    const std::string begin = temporaryFolder() + "\\tramo." + std::to_string(GetCurrentProcessId()) + '-';
    static unsigned count = 0;
    std::FILE* file = nullptr;
    do {
        path = begin + std::to_string(count++);
        const DWORD access = GENERIC_READ | GENERIC_WRITE | DELETE, shared = FILE_SHARE_READ | FILE_SHARE_DELETE;
        const DWORD flags = FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE;
        file = fileOf(CreateFileW(pathOf(path).c_str(), access, shared, nullptr, CREATE_NEW, flags, nullptr), 0, "w+b");
    } while (!file && errno == EEXIST);
    if (!file) throw WriteFailed{"a temporary file in " + temporaryFolder(), errno};
    std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

}  // namespace

std::FILE* temporaryFile() {
    std::string path;
    return createTemporary(path);
}

Spool::Spool(std::FILE* source, const std::function<void(std::uint64_t)>& copied) : copy(nullptr, std::fclose) {
    copy.reset(createTemporary(ownPath));
    std::array<char, 65536> block;
    std::uint64_t all = 0;
    int count = 0;
    while ((count = _read(_fileno(source), block.data(), static_cast<unsigned>(block.size()))) > 0) {
        const auto size = static_cast<std::size_t>(count);
        if (!writeTo(copy.get(), {block.data(), size})) throw WriteFailed{"a temporary file in " + temporaryFolder(), errno};
        copied(all += size);
    }
    if (count < 0) throw std::system_error(errno, std::generic_category());
}

}  // namespace tramo::cli
