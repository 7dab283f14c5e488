// Files that the page has opened. The browser refuses to read a file that has changed since then.
#include "cli/io/sourcefile.h"
#include "common/host_wasi.h"

namespace tramo::cli {

void SourceFile::expectFile(const std::string&) {}

SourceFile::SourceFile(const std::string& givenPath, std::string called)
    : path(givenPath), name(std::move(called)), file(nullptr, [](std::FILE*) { return 0; }) {
    const std::int32_t number = host::openFile(path.data(), path.size());
    if (number < 0) throw Unreadable{"is not open", name};
    opened.isRegular = true;
    opened.number = static_cast<std::uint64_t>(number);
    opened.size = ownSize = static_cast<std::uint64_t>(host::sizeOfFile(number));
}

std::size_t SourceFile::read(std::uint64_t place, char* bytes, std::size_t wanted) const {
    const std::int32_t count =
        host::readFile(static_cast<std::int32_t>(opened.number), static_cast<double>(place), bytes, wanted);
    if (count < 0) throw Unreadable{"cannot be read; it may have changed or moved since it was opened", name};
    return static_cast<std::size_t>(count);
}

void SourceFile::hasChanged() const { throw Unreadable{"changed while it was read", name}; }

std::string SourceFile::confirm(const Passage&) const { return {}; }

}  // namespace tramo::cli
