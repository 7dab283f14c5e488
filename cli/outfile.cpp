#include "outfile.h"
#include "console.h"
#include "platform.h"
#include <array>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tramo::cli {

namespace fs = std::filesystem;

namespace {

// The file that the path means, however many links lead to it.
std::string behindLinks(const std::string& path, std::error_code& error) {
    fs::path place = pathOf(path);
    for (int links = 0; links < 40; ++links) {
        const fs::file_status status = fs::symlink_status(place, error);
        if (fs::status_known(status)) error.clear();
        if (!fs::is_symlink(status)) break;
        const fs::path target = fs::read_symlink(place, error);
        if (error) break;
        place = target.is_absolute() ? target : place.parent_path() / target;
    }
    return place.string();
}

std::string temporaryName() { return "a temporary file in " + temporaryFolder(); }

}  // namespace

bool OutFile::begun = false;

OutFile::OutFile(const std::string& path, Mode mode) : name(path == "-" ? "the standard output" : path) {
    begun = true;
    if (path == "-") {
        file = {stdout, [](std::FILE*) { return 0; }};
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        if (mode == Mode::Held) held.reset(temporaryFile());
        return;
    }
    std::error_code error;
    place = behindLinks(path, error);
    if (error) fail(error.value());
    const fs::file_status old = fs::status(pathOf(place), error);
    if (!fs::status_known(old)) fail(error.value());
    if (fs::is_directory(old)) fail(EISDIR);
    if (fs::exists(old) && !fs::is_regular_file(old)) {  // a device or a pipe cannot be replaced
        file.reset(openFile(place, "wb"));
        if (!file) fail(errno);
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
        unfinished.path = place;
        if (mode == Mode::Held) held.reset(temporaryFile());
        return;
    }
    unfinished.path = place;
    file.reset(createBeside(unfinished.path, mode == Mode::Secret || fs::exists(old)));
    if (!file) fail(errno);
    unfinished.isOurs = true;
    // Where that is not possible, the file stays its owner's.
    if (fs::exists(old)) fs::permissions(pathOf(unfinished.path), old.permissions(), error);
}

OutFile::Unfinished::~Unfinished() {
    if (isOurs) std::remove(path.c_str());
}

void OutFile::write(std::string_view bytes) {
    if (!held && isStandardOutput()) Progress::wipe();
    if (!writeTo(held ? held.get() : file.get(), bytes)) fail(errno);
}

void OutFile::release() {
    std::rewind(held.get());
    std::array<char, 65536> block;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> source = std::move(held);
    std::size_t count = block.size();
    while (count == block.size()) {
        count = readFrom(source.get(), block.data(), block.size());
        if (std::ferror(source.get())) throw WriteFailed{temporaryName(), errno};
        write({block.data(), count});
    }
}

void OutFile::commit() {
    if (held) release();
    if (isStandardOutput()) return;
    if (unfinished.isOurs && !reachesDisk(file.get())) fail(errno);
    if (!closeFile(file.release())) fail(errno);
    if (!unfinished.isOurs) return;
    if (!replaceFile(unfinished.path, place)) fail(errno);
    unfinished.isOurs = false;
}

void OutFile::fail(int error) const { throw WriteFailed{held ? temporaryName() : name, error}; }

}  // namespace tramo::cli
