#include "common/outputplace.h"
#include <cerrno>
#include <system_error>
#include <windows.h>

namespace tramo {

namespace {

namespace fs = std::filesystem;

int reasonOf(DWORD code) {
    const std::error_condition condition = std::system_category().default_error_condition(static_cast<int>(code));
    return condition.category() == std::generic_category() ? condition.value() : EIO;
}

bool move(const fs::path& from, const fs::path& to) {
    return MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

}  // namespace

int findPlace(const fs::path& path, OutputPlace& place) {
    if (path.empty() || path.native().find(L'\0') != std::wstring::npos) return ENOENT;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status)) return EISDIR;
    if (!fs::exists(status)) {
        place = {fs::absolute(path, error)};
        return place.path.has_filename() ? 0 : EISDIR;
    }
    const bool isRegular = fs::is_regular_file(status);
    place = {isRegular ? fs::canonical(path, error) : path, true, !isRegular};
    if (error) return reasonOf(static_cast<DWORD>(error.value()));
    const bool isReadOnly = isRegular && (status.permissions() & fs::perms::owner_write) == fs::perms::none;
    return isReadOnly ? EACCES : 0;
}

// A new file has the permissions of its folder.
int keepPermissions(const OutputPlace&, const fs::path&) { return 0; }

// A file that a process has open (even this one) cannot be replaced, but can be renamed.
int replace(const fs::path& newFile, const OutputPlace& place) {
    if (move(newFile, place.path)) return 0;
    const DWORD reason = GetLastError();
    const fs::path aside = newFile.native() + L"-old";
    if (reason != ERROR_ACCESS_DENIED || !move(place.path, aside)) return reasonOf(reason);
    if (move(newFile, place.path)) {
        DeleteFileW(aside.c_str());  // takes effect when it is closed
        return 0;
    }
    move(aside, place.path);
    return reasonOf(reason);
}

}  // namespace tramo
