#include "cli/io/checksum.h"
#include <algorithm>
#include <bit>
#include <cstring>

namespace tramo::cli {

namespace {

constexpr std::uint64_t factor = 0x9E3779B97F4A7C15;

}  // namespace

// Four independent sums, which the processor computes in parallel.
void Checksum::take(const char* block) {
    for (std::size_t i = 0; i < lanes.size(); ++i) {
        std::uint64_t word = 0;
        std::memcpy(&word, block + i * sizeof word, sizeof word);
        lanes[i] = std::rotl((lanes[i] ^ word) * factor, 29);
    }
}

void Checksum::add(std::string_view bytes) {
    const auto waiting = static_cast<std::size_t>(count % blockSize);
    count += bytes.size();
    if (waiting > 0) {
        const std::size_t missing = std::min(blockSize - waiting, bytes.size());
        std::copy_n(bytes.begin(), missing, begun.begin() + static_cast<std::ptrdiff_t>(waiting));
        bytes.remove_prefix(missing);
        if (waiting + missing < blockSize) return;
        take(begun.data());
    }
    for (; bytes.size() >= blockSize; bytes.remove_prefix(blockSize)) take(bytes.data());
    std::ranges::copy(bytes, begun.begin());
}

std::uint64_t Checksum::value() const {
    Checksum all = *this;
    const auto waiting = static_cast<std::ptrdiff_t>(count % blockSize);
    std::fill(all.begun.begin() + waiting, all.begun.end(), '\0');
    all.take(all.begun.data());
    std::uint64_t sum = count;
    for (const std::uint64_t lane : all.lanes) sum = std::rotl((sum ^ lane) * factor, 31);
    return sum;
}

}  // namespace tramo::cli
