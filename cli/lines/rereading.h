// Reads pieces of a file a second time.
#pragma once
#include "cli/io/sourcefile.h"
#include "common/secret.h"
#include <cstdint>
#include <memory>
#include <string_view>

namespace tramo::cli {

/// Loads more than is wanted if the pieces follow each other.
class Rereading {
public:
    explicit Rereading(std::shared_ptr<const SourceFile> source) : file(std::move(source)) {}

    /// Returns the bytes from an offset, valid until the next call. Throws Unreadable.
    std::string_view at(std::uint64_t place, std::size_t size);

    const SourceFile& source() const { return *file; }

private:
    std::shared_ptr<const SourceFile> file;
    SecretBytes buffer;  // lines may hold keys
    std::uint64_t from = 0;
    std::size_t held = 0, ahead = 0;
};

}  // namespace tramo::cli
