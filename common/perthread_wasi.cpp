// A module has one thread.
#include "common/perthread.h"
#include <cstdlib>

namespace tramo {

ThreadBlocks::ThreadBlocks(std::size_t blockSize) noexcept : size(blockSize) {}
ThreadBlocks::~ThreadBlocks() { std::free(block); }

void* ThreadBlocks::own() noexcept {
    if (!block) block = std::calloc(1, size);
    return block;
}

}  // namespace tramo
