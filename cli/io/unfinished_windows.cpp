#include "cli/io/platform.h"
#include "cli/io/unfinished.h"
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <windows.h>

namespace tramo::cli {

namespace {

bool failed(DWORD code) {
    const std::error_condition condition = std::system_category().default_error_condition(static_cast<int>(code));
    errno = condition.category() == std::generic_category() ? condition.value() : EIO;
    return false;
}

// A file that a process has open (even this one) cannot be replaced, but can be renamed.
bool replace(const std::filesystem::path& from, const std::filesystem::path& to) {
    const std::filesystem::path aside = from.native() + L"-old";
    const auto move = [](const auto& what, const auto& where) {
        return MoveFileExW(what.c_str(), where.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
    };
    if (move(from, to)) return true;
    const DWORD reason = GetLastError();
    if (reason == ERROR_ACCESS_DENIED && move(to, aside)) {
        if (move(from, to)) {
            DeleteFileW(aside.c_str());  // takes effect when it is closed
            return true;
        }
        move(aside, to);
    }
    return failed(reason);
}

}  // namespace

bool Unfinished::create(const Folder& in, const std::string& name, bool asFolder) {
    folder = &in;
    isFolder = asFolder;
    static unsigned count = 0;
    do {
        ownName = "." + name + ".tramo-" + std::to_string(GetCurrentProcessId()) + '-' + std::to_string(count++) + ".unfinished";
        const std::filesystem::path at = pathOf(path());
        if (isFolder) {
            if (CreateDirectoryW(at.c_str(), nullptr) != 0) return true;
        } else if (const HANDLE file =
                       CreateFileW(at.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
                   file != INVALID_HANDLE_VALUE) {
            CloseHandle(file);
            return true;
        }
        failed(GetLastError());
    } while (errno == EEXIST);
    folder = nullptr;
    return false;
}

// The folder sets its permissions.
std::FILE* Unfinished::createFile(const Folder& in, const std::string& name) {
    if (!create(in, name, false)) return nullptr;
    std::FILE* const file = openFile(path(), "wb");
    if (file) std::setvbuf(file, nullptr, _IONBF, 0);
    return file;
}

bool Unfinished::createFolder(const Folder& in, const std::string& name) { return create(in, name, true); }

std::string Unfinished::path() const { return folder->path + '/' + ownName; }

unsigned Unfinished::group() const { return 0; }

bool Unfinished::become(const std::string& name) {
    if (!replace(pathOf(path()), pathOf(folder->path + '/' + name))) return false;
    folder = nullptr;
    return true;
}

bool Unfinished::dissolve() {
    try {
        for (const std::string& name : namesIn(path()))
            if (!replace(pathOf(path() + '/' + name), pathOf(folder->path + '/' + name))) return false;
    } catch (const std::system_error& failure) {
        errno = failure.code().value();
        return false;
    }
    remove();
    return true;
}

void Unfinished::remove() {
    if (!folder) return;
    std::error_code ignored;
    std::filesystem::remove_all(pathOf(path()), ignored);
    folder = nullptr;
}

}  // namespace tramo::cli
