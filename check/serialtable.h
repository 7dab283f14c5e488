// Which meters of a file have a serial number: the last one of each, by its ordinal in the file.
#pragma once
#include "check/linevalues.h"
#include <array>
#include <bit>
#include <cstdint>
#include <vector>

namespace tramo {

// Holds 12 bytes a slot, and a hash in place of the serial number: of a million meters, two share one by chance once in forty
// million files. In parts that grow one at a time, so that growing needs little more memory.
class SerialTable {
public:
    static constexpr std::uint32_t none = ~std::uint32_t{0};

    std::uint32_t find(const SerialKey& serial) const {
        const std::uint64_t hash = hashOf(serial);
        const Part& part = parts[partOf(hash)];
        if (part.hashes.empty()) return none;
        const std::size_t at = part.slotOf(hash);
        return part.hashes[at] == hash ? part.ordinals[at] : none;
    }

    // Loads the slot of a serial number into the cache, for replace().
    void prepare([[maybe_unused]] const SerialKey& serial) const {
#ifdef __GNUC__
        const std::uint64_t hash = hashOf(serial);
        const Part& part = parts[partOf(hash)];
        if (part.hashes.empty()) return;
        const std::size_t at = static_cast<std::size_t>(hash) & (part.hashes.size() - 1);
        __builtin_prefetch(&part.hashes[at], 1);
        __builtin_prefetch(&part.ordinals[at], 1);
#endif
    }

    // Returns the ordinal before.
    std::uint32_t replace(const SerialKey& serial, std::uint32_t ordinal) {
        const std::uint64_t hash = hashOf(serial);
        Part& part = parts[partOf(hash)];
        if (part.count * 4 >= part.hashes.size() * 3) part.grow();
        const std::size_t at = part.slotOf(hash);
        if (part.hashes[at] == hash) return std::exchange(part.ordinals[at], ordinal);
        part.hashes[at] = hash;
        part.ordinals[at] = ordinal;
        ++part.count;
        return none;
    }

private:
    static constexpr int partBits = 6;

    static std::uint64_t hashOf(const SerialKey& serial) {
        const std::uint64_t hash = serial.hash();
        return hash == 0 ? 1 : hash;  // 0: a free slot
    }

    static std::size_t partOf(std::uint64_t hash) { return static_cast<std::size_t>(hash >> (64 - partBits)); }

    struct Part {
        std::vector<std::uint64_t> hashes{};
        std::vector<std::uint32_t> ordinals{};
        std::size_t count = 0;

        std::size_t slotOf(std::uint64_t hash) const {
            const std::size_t mask = hashes.size() - 1;
            std::size_t at = static_cast<std::size_t>(hash) & mask;
            while (hashes[at] != 0 && hashes[at] != hash) at = (at + 1) & mask;
            return at;
        }
        void grow() {
            Part larger;
            const std::size_t size = hashes.empty() ? 16 : 2 * hashes.size();
            larger.hashes.resize(size);
            larger.ordinals.resize(size);
            for (std::size_t i = 0; i < hashes.size(); ++i) {
                if (hashes[i] == 0) continue;
                const std::size_t at = larger.slotOf(hashes[i]);
                larger.hashes[at] = hashes[i];
                larger.ordinals[at] = ordinals[i];
            }
            larger.count = count;
            *this = std::move(larger);
        }
    };

    std::array<Part, std::size_t{1} << partBits> parts;
};

}  // namespace tramo
