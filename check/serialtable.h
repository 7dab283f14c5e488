// Which meters of a file have a serial number: the last one of each, by its ordinal in the file.
#pragma once
#include "check/linevalues.h"
#include <cstdint>
#include <utility>
#include <vector>

namespace tramo {

// Holds 12 bytes a slot, and a hash in place of the serial number: of a million meters, two share one by chance once in forty
// million files. In parts that grow one at a time, so that growing needs little more memory. A lookup mostly waits for memory:
// call prepare() some lookups before.
class SerialTable {
public:
    static constexpr std::uint32_t none = ~std::uint32_t{0};

    std::uint32_t find(const SerialKey& serial) const {
        const std::uint64_t hash = hashOf(serial);
        if (parts.empty()) return none;
        const Part& part = parts[partOf(hash)];
        if (part.slots.empty()) return none;
        const Slot& slot = part.slots[part.placeOf(hash)];
        return slot.isFree() ? none : slot.ordinal;
    }

    // Loads the slot of a serial number into the cache.
    void prepare([[maybe_unused]] const SerialKey& serial) const {
#ifdef __GNUC__
        const std::uint64_t hash = hashOf(serial);
        if (parts.empty()) return;
        const Part& part = parts[partOf(hash)];
        if (part.slots.empty()) return;
        constexpr std::size_t further = 5;  // slots: on the next cache line
        const Slot* const slot = &part.slots[part.firstPlaceOf(hash)];
        __builtin_prefetch(slot, 1);
        __builtin_prefetch(reinterpret_cast<const char*>(slot) + further * sizeof(Slot), 1);
#endif
    }

    // Returns the ordinal before.
    std::uint32_t replace(const SerialKey& serial, std::uint32_t ordinal) {
        const std::uint64_t hash = hashOf(serial);
        if (parts.empty()) parts.resize(std::size_t{1} << partBits);
        Part& part = parts[partOf(hash)];
        if (part.count * 4 >= part.slots.size() * 3) part.grow();
        Slot& slot = part.slots[part.placeOf(hash)];
        if (!slot.isFree()) return std::exchange(slot.ordinal, ordinal);
        slot = Slot(hash, ordinal);
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

    // In halves of the hash, so that a slot has no padding.
    struct Slot {
        std::uint32_t low = 0, high = 0, ordinal = 0;

        Slot() = default;
        Slot(std::uint64_t hash, std::uint32_t of)
            : low(static_cast<std::uint32_t>(hash)), high(static_cast<std::uint32_t>(hash >> 32)), ordinal(of) {}
        std::uint64_t hash() const { return std::uint64_t{high} << 32 | low; }
        bool isFree() const { return hash() == 0; }
    };

    struct Part {
        std::vector<Slot> slots{};
        std::size_t count = 0;

        std::size_t firstPlaceOf(std::uint64_t hash) const { return static_cast<std::size_t>(hash) & (slots.size() - 1); }

        // Returns the slot of a hash, or the free slot where it belongs.
        std::size_t placeOf(std::uint64_t hash) const {
            std::size_t at = firstPlaceOf(hash);
            while (!slots[at].isFree() && slots[at].hash() != hash) at = (at + 1) & (slots.size() - 1);
            return at;
        }
        void grow() {
            Part larger;
            larger.slots.resize(slots.empty() ? 16 : 2 * slots.size());
            for (const Slot& slot : slots)
                if (!slot.isFree()) larger.slots[larger.placeOf(slot.hash())] = slot;
            larger.count = count;
            *this = std::move(larger);
        }
    };

    std::vector<Part> parts;  // none until the first meter comes
};

}  // namespace tramo
