// A text of bytes that may become very long.
#pragma once
#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>

namespace tramo::cli {

/// Grows in place where the allocator can, and never takes much more than it holds.
class GrowingText {
public:
    GrowingText() = default;
    ~GrowingText() { std::free(bytes); }
    GrowingText(GrowingText&& other) noexcept { swap(other); }
    GrowingText& operator=(GrowingText&& other) noexcept {
        swap(other);
        return *this;
    }

    void push_back(char c) {
        if (size == room) grow();
        bytes[size++] = c;
    }

    /// Keeps as much of its memory as most texts need.
    void clear() {
        if (room > usual) *this = GrowingText();
        size = 0;
    }

    bool empty() const { return size == 0; }
    std::string_view view() const { return {bytes, size}; }

private:
    static constexpr std::size_t usual = std::size_t{1} << 20, step = std::size_t{8} << 20;

    void grow() {
        const std::size_t wanted = room + std::clamp<std::size_t>(room, 64, step);
        auto* const grown = static_cast<char*>(std::realloc(bytes, wanted));
        if (!grown) throw std::bad_alloc();
        bytes = grown;
        room = wanted;
    }

    void swap(GrowingText& other) noexcept {
        std::swap(bytes, other.bytes);
        std::swap(size, other.size);
        std::swap(room, other.room);
    }

    char* bytes = nullptr;
    std::size_t size = 0, room = 0;
};

}  // namespace tramo::cli
