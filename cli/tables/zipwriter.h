// ZIP archives, as far as documents that consist of several files need them.
#pragma once
#include "cli/io/outfile.h"
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>
#define ZLIB_CONST
#include <zlib.h>

namespace tramo::cli {

/// A file of an unfinished archive. It is compressed in pieces and held in memory, so that several can grow at once.
class ZipMember {
public:
    ZipMember();
    ~ZipMember();
    ZipMember(const ZipMember&) = delete;
    ZipMember& operator=(const ZipMember&) = delete;

    void write(std::string_view bytes);

    /// No more is written.
    void end();

    std::uint64_t size() const { return stream.total_in; }
    std::uint32_t checksum() const { return static_cast<std::uint32_t>(sum); }
    const std::string& compressed() const { return product; }

    /// The largest that the archive can hold.
    static constexpr std::uint64_t mostBytes = 0xFFFFFFFE;

private:
    void compress(std::string_view bytes, int flush);

    z_stream stream{};
    std::string product;
    uLong sum = 0;
};

/// The same members give the same bytes: every file is of the first day of 1980, which is where ZIP's calendar begins.
class ZipWriter {
public:
    /// Every operation may throw WriteFailed, also for an archive that gets larger than 4 GB.
    ZipWriter(const std::string& path, OutFile::Mode mode) : name(path), file(path, mode) {}

    /// `member` has been ended.
    void add(const std::string& memberName, const ZipMember& member);
    void add(const std::string& memberName, std::string_view content);
    void commit();

private:
    void write(std::string_view bytes);

    std::string name;
    OutFile file;
    std::uint64_t written = 0;
    std::string directory;
    unsigned members = 0;
};

}  // namespace tramo::cli
