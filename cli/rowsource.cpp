#include "rowsource.h"
#include "input.h"
#include <cerrno>
#include <filesystem>

namespace tramo::cli {

ByteReader::ByteReader(const std::string& path)
    : file(path == "-" ? stdin : std::fopen(path.c_str(), "rb")), block(1 << 16, '\0') {
    if (!file) throw Unreadable{reasonOf(errno)};
}

ByteReader::~ByteReader() {
    if (file != stdin) std::fclose(file);
}

bool ByteReader::fill() {
    at = 0;
    filled = std::fread(block.data(), 1, block.size(), file);
    if (filled == 0 && std::ferror(file)) throw Unreadable{reasonOf(errno)};
    return filled > 0;
}

}  // namespace tramo::cli
