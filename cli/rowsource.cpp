#include "rowsource.h"
#include "input.h"
#include "text.h"
#include <cerrno>
#include <filesystem>
#include <system_error>

namespace tramo::cli {

ByteReader::ByteReader(const std::string& path)
    : noted(path), name(printable(nameOf(path))), file(path == "-" ? stdin : openFile(path, "rb")), block(1 << 16, '\0') {
    if (!file) throw Unreadable{reasonOf(errno)};
    std::error_code error;
    if (std::filesystem::is_regular_file(pathOf(path), error)) size = std::filesystem::file_size(pathOf(path), error);
}

ByteReader::~ByteReader() {
    if (file != stdin) std::fclose(file);
}

bool ByteReader::fill() {
    at = 0;
    // On a terminal, a second read would wait for another end.
    filled = std::feof(file) ? 0 : readFrom(file, block.data(), block.size());
    if (std::ferror(file)) throw Unreadable{reasonOf(errno)};
    if (filled == 0) Progress::wipe();
    else progress.show(name, loaded += filled, size);
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    if (loaded == filled && std::string_view(block.data(), filled).starts_with(mark)) at = mark.size();
    return at < filled;
}

}  // namespace tramo::cli
