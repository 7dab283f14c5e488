// Columns as structures of the Arrow C data interface: what they own, and how it is released.
#pragma once
#include "round/alignedbuffer.h"
#include "tramostream/columns.h"
#include <array>
#include <memory>
#include <string>

namespace tramo {

const char* arrowFormatOf(ColumnType type);

// Releases the children that nobody has moved away, as the interface asks, and what the structure owns.
template <class Structure, class Owned> void releaseArrow(Structure* structure) {
    for (std::int64_t i = 0; i < structure->n_children; ++i)
        if (Structure* child = structure->children[i]; child->release) child->release(child);
    delete static_cast<Owned*>(structure->private_data);
    structure->release = nullptr;
}

template <class Structure> struct ArrowChildren {
    std::vector<Structure> all;
    std::vector<Structure*> pointers;

    explicit ArrowChildren(std::size_t count) : all(count) {
        for (Structure& child : all) pointers.push_back(&child);
    }
};

// A structure that refers to the memory of another one, and keeps it.
template <class Structure> struct SharedArrow {
    std::shared_ptr<const Structure> original;
    ArrowChildren<Structure> children;

    static void fill(Structure& out, const Structure& part, std::unique_ptr<SharedArrow> owned) noexcept {
        out = part;
        out.n_children = std::ssize(owned->children.all);
        out.children = owned->children.pointers.data();
        out.release = &releaseArrow<Structure, SharedArrow>;
        out.private_data = owned.release();
    }
};

// Makes `out` the same rows or schema of a table again.
template <class Structure> void share(const std::shared_ptr<const Structure>& original, Structure* out) {
    using Shared = SharedArrow<Structure>;
    const auto count = static_cast<std::size_t>(original->n_children);
    auto whole = std::make_unique<Shared>(Shared{original, ArrowChildren<Structure>(count)});
    std::vector<std::unique_ptr<Shared>> parts;
    while (parts.size() < count) parts.push_back(std::make_unique<Shared>(Shared{original, ArrowChildren<Structure>(0)}));

    // Nothing below throws.
    for (std::size_t i = 0; i < count; ++i) Shared::fill(whole->children.all[i], *original->children[i], std::move(parts[i]));
    Shared::fill(*out, *original, std::move(whole));
}

struct ColumnShape {
    std::string name;
    ColumnType type;
    bool isNullable = true;
};

void exportShapes(std::span<const ColumnShape> columns, ArrowSchema* out);

// The memory of one column; a text has offsets.
struct ColumnMemory {
    AlignedBuffer validity{}, values{}, offsets{};
    std::size_t absent = 0;
    bool isText = false;
};

// What an array refers to.
struct OwnedArray {
    ArrowChildren<ArrowArray> children;
    std::array<AlignedBuffer, 3> memory{};
    std::array<const void*, 3> buffers{};
};

void fillArrow(
    ArrowArray& out, std::unique_ptr<OwnedArray> owned, std::size_t rows, std::size_t absent, int bufferCount) noexcept;

// Exports columns; take(index) hands the memory of each over. Everything that may throw happens before.
template <class Take> void exportMemory(std::size_t count, std::size_t rows, ArrowArray* out, Take take) {
    static_assert(noexcept(take(count)));
    auto whole = std::make_unique<OwnedArray>(OwnedArray{ArrowChildren<ArrowArray>(count)});
    std::vector<std::unique_ptr<OwnedArray>> columns;
    while (columns.size() < count) columns.push_back(std::make_unique<OwnedArray>(OwnedArray{ArrowChildren<ArrowArray>(0)}));

    for (std::size_t i = 0; i < count; ++i) {
        ColumnMemory memory = take(i);
        OwnedArray& array = *columns[i];
        array.memory[0] = std::move(memory.validity);
        array.memory[1] = std::move(memory.isText ? memory.offsets : memory.values);
        if (memory.isText) array.memory[2] = std::move(memory.values);
        fillArrow(whole->children.all[i], std::move(columns[i]), rows, memory.absent, memory.isText ? 3 : 2);
    }
    fillArrow(*out, std::move(whole), rows, 0, 1);
}

}  // namespace tramo
