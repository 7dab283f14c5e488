// Memory for each thread.
#pragma once
#include <cstddef>
#include <type_traits>

#if !defined(_WIN32) && !defined(__wasi__)
#define TRAMO_THREAD_KEYS
#include <atomic>
#include <cstdlib>
#include <pthread.h>
#endif

namespace tramo {

// A block of memory for each thread that requests one: initially zeros, freed when the thread ends. Not a thread-local
// variable: a large one prevents loading by dlopen, and if memory for even a small one is missing, the process ends.
class ThreadBlocks {
public:
    explicit ThreadBlocks(std::size_t size) noexcept;
    ~ThreadBlocks();
    ThreadBlocks(const ThreadBlocks&) = delete;
    ThreadBlocks& operator=(const ThreadBlocks&) = delete;

    // Returns the block of this thread, or null if out of memory.
    void* own() noexcept;

private:
    std::size_t size;
#if defined(_WIN32)
    std::size_t place;
#elif defined(__wasi__)
    void* block = nullptr;
#else
    void* allocate() noexcept;

    pthread_key_t key{};
    std::atomic<bool> usable = false;
#endif
};

#ifdef TRAMO_THREAD_KEYS
inline void* ThreadBlocks::own() noexcept {
    if (!usable.load(std::memory_order_relaxed)) return nullptr;
    void* const block = pthread_getspecific(key);
    return block ? block : allocate();
}
#endif

// Returns the T of this thread, or null if out of memory; the caller then works without it.
template <class T> T* ownOfThread() noexcept {
    static_assert(std::is_trivial_v<T>);
    static ThreadBlocks blocks(sizeof(T));
    return static_cast<T*>(blocks.own());
}

}  // namespace tramo
