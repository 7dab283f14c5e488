#include "cli/lines/input.h"
#include <algorithm>
#include <filesystem>

namespace tramo::cli {

unsigned usefulThreads(unsigned most, std::span<const std::string> files) {
    namespace fs = std::filesystem;
    std::uint64_t pieces = 0;
    for (const std::string& file : files) {
        std::error_code error;
        if (file == "-" || !fs::is_regular_file(pathOf(file), error)) return most;  // unknown size
        pieces += 1 + fs::file_size(pathOf(file), error) / TextFile::usualPiece;
    }
    return static_cast<unsigned>(std::clamp<std::uint64_t>(pieces / 2, 1, most));
}

}  // namespace tramo::cli
