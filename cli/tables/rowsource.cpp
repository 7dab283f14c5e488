#include "cli/tables/rowsource.h"
#include "cli/io/text.h"
#include "common/encoding.h"
#include <cerrno>
#include <utility>

namespace tramo::cli {

std::string FileOfRows::whyUnfit(std::string_view name) {
    if (!first) first = name;
    if (*first == name) return {};
    return "file: the row is of another file than the first one; an import makes one file: export it alone";
}

ByteReader::ByteReader(const std::string& path) : noted(path), name(printable(nameOf(path))), file(path), block(1 << 16, '\0') {}

bool ByteReader::fill() {
    at = 0;
    if (file.isRegular()) {
        filled = file.read(loaded, block.data(), block.size());
        passage.add({block.data(), filled});
        if (filled == 0 && !std::exchange(ended, true))
            if (const std::string change = file.confirm(passage); !change.empty()) complain(name + ": " + change);
    } else {
        // On a terminal, a second read would wait for another end.
        filled = std::feof(file.stream()) ? 0 : readFrom(file.stream(), block.data(), block.size());
        if (std::ferror(file.stream())) throw Unreadable{reasonOf(errno)};
    }
    if (filled == 0) Progress::wipe();
    else progress.show(name, loaded += filled, file.size());
    if (loaded == filled && std::string_view(block.data(), filled).starts_with(encoding::utf8Mark))
        at = encoding::utf8Mark.size();
    return at < filled;
}

}  // namespace tramo::cli
