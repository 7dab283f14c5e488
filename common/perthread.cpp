#include "common/perthread.h"

namespace tramo {

// The function called at the end of a thread belongs to the C library, because this library may be unloaded by then.
ThreadBlocks::ThreadBlocks(std::size_t blockSize) noexcept : size(blockSize) {
    usable = pthread_key_create(&key, std::free) == 0;
}

// Runs at the end of the program or when the library is unloaded. Other threads may still use their blocks, so those are
// not freed.
ThreadBlocks::~ThreadBlocks() {
    if (!usable.exchange(false)) return;
    std::free(pthread_getspecific(key));
    pthread_key_delete(key);
}

void* ThreadBlocks::allocate() noexcept {
    void* const block = std::calloc(1, size);
    if (block && pthread_setspecific(key, block) == 0) return block;
    std::free(block);
    return nullptr;
}

}  // namespace tramo
