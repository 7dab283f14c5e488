// Places in files, as in reports: FILE:LINE and FILE:LINE:COLUMN.
#pragma once
#include <string>

namespace tramo::cli {

struct LinePlace {
    std::string file;    ///< its path; "-" is the standard input
    long long line = 0;  ///< 0: the whole file
    int column = 0;      ///< 0: the whole line
};

/// Returns whether a file with this path exists, or the path is that of the standard input.
bool isFile(const std::string& path);

/// Parses a place; ignores a colon at its end. File names may contain colons and digits, too: the longest name of an existing
/// file wins. `isLineNeeded`: a word that is the whole name of a file is tried as a place first.
LinePlace placeOf(const std::string& word, bool isLineNeeded);

}  // namespace tramo::cli
