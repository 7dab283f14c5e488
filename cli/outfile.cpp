#include "outfile.h"
#include "platform.h"
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tramo::cli {

namespace fs = std::filesystem;

namespace {

// The file that the path means, however many links lead to it.
std::string behindLinks(const std::string& path) {
    std::error_code error;
    fs::path place = path;
    for (int links = 0; links < 40 && fs::is_symlink(fs::symlink_status(place, error)); ++links) {
        const fs::path target = fs::read_symlink(place, error);
        place = target.is_absolute() ? target : place.parent_path() / target;
    }
    return place.string();
}

}  // namespace

OutFile::OutFile(const std::string& path, Mode mode) : name(path == "-" ? "the standard output" : path) {
    if (path == "-") {
        file = stdout;
        return;
    }
    place = behindLinks(path);
    std::error_code error;
    if (fs::is_directory(place, error)) fail(EISDIR);
    const fs::file_status old = fs::status(place, error);
    if (fs::exists(old) && !fs::is_regular_file(old)) {  // a device or a pipe cannot be replaced
        file = std::fopen(place.c_str(), "wb");
        temporary = place;
        if (!file) fail(errno);
        return;
    }
    temporary = place;
    file = createBeside(temporary, mode == Mode::Secret && !fs::exists(old));
    if (!file) fail(errno);
    if (fs::exists(old)) fs::permissions(temporary, old.permissions(), error);
}

OutFile::~OutFile() {
    if (!file || file == stdout) return;
    std::fclose(file);
    if (temporary != place) std::remove(temporary.c_str());
}

void OutFile::write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) fail(errno);
}

void OutFile::commit() {
    if (std::fflush(file) != 0) fail(errno);
    if (file == stdout) return;
    const bool replaces = temporary != place;
    if (replaces && !reachesDisk(file)) fail(errno);
    if (std::fclose(std::exchange(file, nullptr)) != 0) {
        const int error = errno;
        if (replaces) std::remove(temporary.c_str());
        fail(error);
    }
    if (!replaces) return;
    if (!replaceFile(temporary, place)) {
        const int error = errno;
        std::remove(temporary.c_str());
        fail(error);
    }
}

void OutFile::fail(int error) const { throw WriteFailed{name, error}; }

}  // namespace tramo::cli
