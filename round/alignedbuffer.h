// Memory aligned to 64 bytes, as the columns of Arrow want it.
#pragma once
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace tramo {

class AlignedBuffer {
public:
    static constexpr std::size_t alignment = 64;

    AlignedBuffer() = default;
    AlignedBuffer(AlignedBuffer&& other) noexcept : bytes(std::move(other.bytes)), count(std::exchange(other.count, 0)) {}
    AlignedBuffer& operator=(AlignedBuffer&& other) noexcept {
        bytes = std::move(other.bytes);
        count = std::exchange(other.count, 0);
        return *this;
    }

    char* data() { return bytes.get(); }
    const char* data() const { return bytes.get(); }
    std::size_t size() const { return count; }

    // Grows to at least `wanted` bytes, and to a multiple of the alignment; new bytes are zero. Throws std::bad_alloc and then
    // changes nothing.
    void grow(std::size_t wanted) {
        if (wanted <= count) return;
        const std::size_t all = (wanted + alignment - 1) / alignment * alignment;
        std::unique_ptr<char[], Free> grown(static_cast<char*>(::operator new (all, std::align_val_t{alignment})));
        if (count > 0) std::memcpy(grown.get(), bytes.get(), count);
        std::memset(grown.get() + count, 0, all - count);
        bytes = std::move(grown);
        count = all;
    }

private:
    struct Free {
        void operator()(char* p) const { ::operator delete (p, std::align_val_t{alignment}); }
    };
    std::unique_ptr<char[], Free> bytes;
    std::size_t count = 0;
};

}  // namespace tramo
