// Counts the allocations of a test program, and makes one of them fail. Replaces the global operators, so a program includes
// it in one source file only.
#pragma once
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

inline std::atomic<long> allocations = 0;  // atomic: the optimizer must not assume its value
inline std::atomic<long> failing = 0;      // the number of the one that fails

// Not inlined: the compiler would see memory of new given to free.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (++allocations == failing) throw std::bad_alloc();
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return ++allocations == failing ? nullptr : std::malloc(size == 0 ? 1 : size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t size) noexcept {
    std::memset(memory, 0xDD, size);  // detects later accesses
    std::free(memory);
}

long allocationsOf(auto&& work) {
    const long before = allocations;
    work();
    return allocations - before;
}

// Runs `work` with its first allocation failing, then with its second, and so on, until none fails.
void withEachAllocationFailing(auto&& work) {
    long number = 0;
    do {
        failing = allocations + ++number;
        work();
    } while (failing <= allocations);
    failing = 0;
}
