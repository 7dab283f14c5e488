#include "common/perthread.h"
#include <cstdlib>
#include <windows.h>

namespace tramo {

namespace {

void WINAPI freeBlock(void* block) { std::free(block); }

}  // namespace

// The system frees the blocks of threads that end, FlsFree those of all others.
ThreadBlocks::ThreadBlocks(std::size_t blockSize) noexcept : size(blockSize), place(FlsAlloc(freeBlock)) {}

ThreadBlocks::~ThreadBlocks() {
    if (place != FLS_OUT_OF_INDEXES) FlsFree(static_cast<DWORD>(place));
}

void* ThreadBlocks::own() noexcept {
    if (place == FLS_OUT_OF_INDEXES) return nullptr;
    const auto slot = static_cast<DWORD>(place);
    void* block = FlsGetValue(slot);
    if (block) return block;
    block = std::calloc(1, size);
    if (block && FlsSetValue(slot, block) != 0) return block;
    std::free(block);
    return nullptr;
}

}  // namespace tramo
