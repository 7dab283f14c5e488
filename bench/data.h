// The input files: lines that the tool generates, repeated until there are enough.
#pragma once
#include "bench/options.h"
#include <cstddef>
#include <string>
#include <string_view>
#include <tramostream/stringconverter.h>

namespace bench {

struct DataFile {
    std::string path;
    int encoding;  ///< one of StrConv's
    std::size_t records, bytes, characters;
};

/// A file of lines of one kind: the name of a record kind, "parameter", "tag" or "key"; or "mixed"; or mixed lines with "random
/// dates"; or lines with "every field bad". Generates the file if it is missing or older than the tool. Throws
/// std::runtime_error.
DataFile dataFile(const Options& options, const std::string& kind, int encoding);

/// A file of the given size: meter subscribers, the same in UTF-16, a single line after a very short one, only line feeds, or
/// lines of all kinds in which every field that can be invalid is. Removed at the end.
enum class Shape { Normal, Utf16, OneLine, LineFeeds, AllBad };

class ShapedFile {
public:
    ShapedFile(const Options& options, Shape shape, std::size_t bytes);
    ~ShapedFile();
    ShapedFile(const ShapedFile&) = delete;
    ShapedFile& operator=(const ShapedFile&) = delete;

    const std::string path;
};

}  // namespace bench
