// Memory for RapidJSON, which does not check the result of malloc.
#pragma once
#include <cstddef>
#include <new>
#include <rapidjson/allocators.h>

namespace tramo {

// Throws std::bad_alloc instead of returning nullptr.
class JsonMemory : public rapidjson::CrtAllocator {
public:
    void* Malloc(std::size_t size) { return checked(CrtAllocator::Malloc(size), size); }
    void* Realloc(void* memory, std::size_t before, std::size_t size) {
        return checked(CrtAllocator::Realloc(memory, before, size), size);
    }

private:
    static void* checked(void* memory, std::size_t size) {
        if (memory == nullptr && size > 0) throw std::bad_alloc();
        return memory;
    }
};

}  // namespace tramo
