#include "common/perthread.h"
#include <atomic>
#include <cstdlib>
#include <iterator>

namespace tramo {

namespace {

// Each thread's blocks, one for each user. A thread that has some keeps the library loaded until it ends.
struct Own {
    void* blocks[4]{};

    ~Own() {
        for (void*& block : blocks) {
            std::free(block);
            block = nullptr;
        }
    }
};
thread_local Own ownBlocks;

std::atomic<std::size_t> users = 0;

}  // namespace

ThreadBlocks::ThreadBlocks(std::size_t blockSize) noexcept : size(blockSize), place(users++) {}

ThreadBlocks::~ThreadBlocks() = default;

void* ThreadBlocks::own() noexcept {
    if (place >= std::size(ownBlocks.blocks)) return nullptr;
    void*& block = ownBlocks.blocks[place];
    if (!block) block = std::calloc(1, size);
    return block;
}

}  // namespace tramo
