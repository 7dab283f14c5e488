#include "outfile.h"
#include "console.h"
#include "platform.h"
#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
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
        if (mode == Mode::Held) hold();
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
        if (mode == Mode::Held) hold();
        return;
    }
    temporary = place;
    file = createBeside(temporary, mode == Mode::Secret && !fs::exists(old));
    if (!file) fail(errno);
    if (fs::exists(old)) fs::permissions(temporary, old.permissions(), error);
}

OutFile::~OutFile() {
    if (destination) std::fclose(std::exchange(file, destination));
    if (!file || file == stdout) return;
    std::fclose(file);
    if (temporary != place) std::remove(temporary.c_str());
}

void OutFile::hold() { destination = std::exchange(file, temporaryFile()); }

void OutFile::release() {
    if (std::fflush(file) != 0) fail(errno);
    std::FILE* const held = std::exchange(file, std::exchange(destination, nullptr));
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> closed(held, std::fclose);
    std::rewind(held);
    std::array<char, 65536> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), held)) write({block.data(), count});
    if (std::ferror(held)) fail(errno);
}

void OutFile::write(std::string_view bytes) {
    if (file == stdout) Progress::wipe();
    if (std::fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) fail(errno);
}

void OutFile::commit() {
    if (destination) release();
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

void OutFile::fail(int error) const { throw WriteFailed{destination ? "a temporary file in " + temporaryFolder() : name, error}; }

}  // namespace tramo::cli
