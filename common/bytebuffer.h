// Bytes on the heap that come uninitialised and grow in place where the allocator can.
#pragma once
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>

namespace tramo {

class ByteBuffer {
public:
    const char* data() const { return bytes.get(); }
    std::size_t size() const { return length; }
    std::size_t room() const { return capacity - length; }

    // The uninitialised bytes behind the content; what has been written there becomes content by grow().
    char* end() { return bytes.get() + length; }
    void grow(std::size_t count) { length += count; }

    // Throws std::bad_alloc, and then keeps what it has.
    void reserve(std::size_t wanted) {
        if (wanted > capacity) resizeTo(wanted);
    }

    void shrinkToFit() {
        if (length == 0) *this = ByteBuffer();
        else if (length < capacity) resizeTo(length);
    }

private:
    struct Free {
        void operator()(char* p) const { std::free(p); }
    };

    void resizeTo(std::size_t wanted) {
        char* moved = static_cast<char*>(std::realloc(bytes.get(), wanted));
        if (moved == nullptr) throw std::bad_alloc();
        (void)bytes.release();
        bytes.reset(moved);
        capacity = wanted;
    }

    std::unique_ptr<char[], Free> bytes;
    std::size_t length = 0;
    std::size_t capacity = 0;
};

}  // namespace tramo
