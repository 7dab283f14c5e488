#include "cli/io/handle_windows.h"
#include "cli/io/place.h"
#include "cli/io/platform.h"
#include <cerrno>
#include <cwctype>
#include <filesystem>
#include <system_error>
#include <utility>
#include <windows.h>

namespace tramo::cli {

namespace fs = std::filesystem;

namespace {

std::optional<FileFacts> factsOf(HANDLE handle) {
    FileFacts facts;
    BY_HANDLE_FILE_INFORMATION status{};
    const DWORD type = GetFileType(handle);
    facts.isDevice = type == FILE_TYPE_CHAR;
    if (type != FILE_TYPE_DISK) return type == FILE_TYPE_UNKNOWN ? std::nullopt : std::optional(facts);
    if (GetFileInformationByHandle(handle, &status) == 0) return std::nullopt;
    facts.isRegular = (status.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
    facts.id = {status.dwVolumeSerialNumber, static_cast<std::uint64_t>(status.nFileIndexHigh) << 32 | status.nFileIndexLow};
    facts.names = status.nNumberOfLinks;
    return facts;
}

// Resolves all links of the path.
fs::path behindLinks(const std::string& path, std::error_code& error) {
    fs::path place = pathOf(path);
    for (int links = 0; links < 40; ++links) {
        const fs::file_status status = fs::symlink_status(place, error);
        if (fs::status_known(status)) error.clear();
        if (!fs::is_symlink(status)) break;
        const fs::path target = fs::read_symlink(place, error);
        if (error) break;
        place = target.is_absolute() ? target : place.parent_path() / target;
    }
    return place;
}

std::string textOf(const fs::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
}

}  // namespace

std::optional<FileFacts> factsOf(const std::string& path) {
    const DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE file = CreateFileW(pathOf(path).c_str(), 0, shared, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return std::nullopt;
    const std::optional<FileFacts> facts = factsOf(file);
    CloseHandle(file);
    return facts;
}

std::optional<FileFacts> factsOf(std::FILE* stream) { return factsOf(handleOf(stream)); }

Place::Place(const std::string& givenPath, std::string calledName) : name(std::move(calledName)), path(givenPath) {
    if (path == "-") {
        ownKind = Kind::Stream;
        ownFacts = cli::factsOf(stdout);
        return;
    }
    std::error_code error;
    const fs::path place = behindLinks(path, error);
    if (error) fail(error.value());
    const fs::file_status old = fs::status(place, error);
    if (!fs::status_known(old)) fail(error.value());
    path = textOf(place);
    const fs::path around = place.has_parent_path() ? place.parent_path() : fs::path(".");
    ownFolder = {textOf(fs::is_directory(old) ? place : around)};
    ownBase = textOf(place.filename());
    if (fs::exists(old)) ownFacts = cli::factsOf(path);
    if (fs::is_directory(old)) ownKind = Kind::Folder;
    else if (fs::exists(old)) ownKind = fs::is_regular_file(old) ? Kind::File : Kind::Stream;
    if (const std::optional<FileFacts> facts = cli::factsOf(ownFolder.path)) folderId = facts->id;
}

void Place::fail(int error) const { throw WriteFailed{name, error}; }
void Place::refuse(const std::string& reason) const { throw WriteFailed{name, 0, reason}; }

bool Place::isSameAs(const Place& other) const {
    if (ownFacts && other.ownFacts) return ownFacts->isRegular && ownFacts->id == other.ownFacts->id;
    return !ownFacts && !other.ownFacts && folderId == other.folderId && ownBase == other.ownBase;
}

std::FILE* Place::openStream() const {
    std::FILE* const file = openFile(path, "wb");
    if (!file) fail(errno);
    return file;
}

// A new file gets its attributes, owner and permissions from the folder.
void Place::checkReplaceable(bool) const {}
void Place::keepOwner(const Unfinished&) const {}
std::string Place::keepPermissions(const Unfinished&, unsigned) const { return {}; }
unsigned permissionsOfNew(bool) { return 0; }
unsigned permissionsBelow(unsigned permissions, const FileFacts&, unsigned) { return permissions; }

bool Place::hasCompanion(const char* suffix) const {
    std::error_code error;
    return fs::exists(pathOf(ownFolder.path + '/' + ownBase + suffix), error);
}

bool Place::isOpenElsewhere() { return false; }

}  // namespace tramo::cli
