// Checksums of what was read, to see whether a second reading returns the same.
#pragma once
#include <array>
#include <cstdint>
#include <string_view>

namespace tramo::cli {

/// A checksum of bytes that are added in pieces. Not cryptographic: different texts with the same sum can be constructed.
class Checksum {
public:
    void add(std::string_view bytes);
    std::uint64_t value() const;

private:
    static constexpr std::size_t blockSize = 32;

    void take(const char* block);

    std::array<std::uint64_t, 4> lanes{1, 2, 3, 4};
    std::array<char, blockSize> begun{};
    std::uint64_t count = 0;
};

/// A range of a file that was read.
struct Passage {
    std::uint64_t from = 0, to = 0;
    Checksum sum{};

    void add(std::string_view bytes) {
        to += bytes.size();
        sum.add(bytes);
    }
};

}  // namespace tramo::cli
