// Texts that may hold keys. Nothing of them stays in memory that is given back: not when they are destroyed, moved or grow,
// and not when an exception passes.
#pragma once
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace tramo {

template <class Char> void overwrite(Char* text, std::size_t size) noexcept {
#ifdef __GNUC__
    std::memset(text, 0, size * sizeof(Char));
    __asm__ volatile("" : : "r"(text) : "memory");  // as if it were read: not optimized away
#else
    for (volatile Char* c = text; c != text + size; ++c) *c = Char();
#endif
}

// Overwrites the text with all memory that it has, and empties it.
template <class Char, class Memory> void wipe(std::basic_string<Char, std::char_traits<Char>, Memory>& secret) noexcept {
    secret.resize(secret.capacity());  // what a longer text has left there, too; takes no memory
    overwrite(secret.data(), secret.size());
    secret.clear();
}

template <class Char> struct WipingAllocator {
    using value_type = Char;

    WipingAllocator() = default;
    template <class Other> WipingAllocator(const WipingAllocator<Other>&) noexcept {}

    Char* allocate(std::size_t size) { return std::allocator<Char>().allocate(size); }
    void deallocate(Char* memory, std::size_t size) noexcept {
        overwrite(memory, size);
        std::allocator<Char>().deallocate(memory, size);
    }
    template <class Other> bool operator==(const WipingAllocator<Other>&) const noexcept { return true; }
};

template <class Char> class BasicSecret : public std::basic_string<Char, std::char_traits<Char>, WipingAllocator<Char>> {
    using Base = std::basic_string<Char, std::char_traits<Char>, WipingAllocator<Char>>;

public:
    using Base::Base;
    using Base::operator=;
    BasicSecret() = default;
    BasicSecret(const BasicSecret&) = default;
    BasicSecret& operator=(const BasicSecret&) = default;
    BasicSecret(BasicSecret&& other) noexcept : Base(std::move(other)) { wipe(other); }
    BasicSecret& operator=(BasicSecret&& other) noexcept {
        Base::operator=(std::move(other));
        wipe(other);
        return *this;
    }
    ~BasicSecret() {
        if (isInObject()) wipe(*this);
    }

private:
    // A short text. Other texts are in memory that the allocator overwrites.
    bool isInObject() const {
        const auto* first = reinterpret_cast<const char*>(this);
        const auto* text = reinterpret_cast<const char*>(this->data());
        return !std::less<>()(text, first) && std::less<>()(text, first + sizeof *this);
    }
};

using SecretText = BasicSecret<wchar_t>;
using SecretBytes = BasicSecret<char>;

}  // namespace tramo
