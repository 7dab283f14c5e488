// Places in files, as reports name them: FILE:LINE and FILE:LINE:COLUMN.
#pragma once
#include <string>

namespace tramo::cli {

struct LinePlace {
    std::string file;    ///< its path; "-" is the standard input
    long long line = 0;  ///< 0: the whole file
    int column = 0;      ///< 0: the whole line
};

/// Whether a FILE can have this name: something has it, or it is the standard input.
bool isFile(const std::string& path);

/// The place that a word names; a colon at its end counts for nothing. Names may hold colons and digits, too: where several
/// files could be meant, the longest name that a file has is. `isLineNeeded`: a word that is a file's whole name is tried as
/// a place first.
LinePlace placeOf(const std::string& word, bool isLineNeeded);

}  // namespace tramo::cli
