// The files that are read: lines that the tool makes up, repeated until there are enough of them.
#pragma once
#include "bench/options.h"
#include <cstddef>
#include <string>
#include <string_view>
#include <tramostream/stringconverter.h>

namespace bench {

struct DataFile {
    std::string path;
    int encoding;  ///< of StrConv
    std::size_t records, bytes, characters;
};

/// A file of lines of one kind: the name of a record kind, "parameter", "tag" or "AMR key"; or "mixed". It is made when it
/// is missing or older than the tool. Throws std::runtime_error.
DataFile dataFile(const Options& options, const std::string& kind, int encoding);

/// A file of so many bytes: of meter subscribers, of the same in UTF-16, one single line behind a very short one, nothing but
/// line feeds, or lines of all kinds in which every field that can be bad is. It is removed in the end.
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
