// How the module ends when something goes wrong: with a sentence for the page, and without running on.
#include "common/host_wasi.h"
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>
#include <system_error>
#include <typeinfo>

namespace {

[[noreturn]] void endBecause(std::string_view reason) {
    tramo::host::fail(reason.data(), reason.size());
    __builtin_trap();
}

}  // namespace

// The compiler makes these calls of "throw". The C++ library has none of them, because nothing catches.
extern "C" {

alignas(16) static char thrown[256];

void* __cxa_allocate_exception(std::size_t) noexcept { return thrown; }
void __cxa_free_exception(void*) noexcept {}

[[noreturn]] void __cxa_throw(void* object, std::type_info* type, void (*)(void*)) {
    if (*type == typeid(std::bad_alloc)) endBecause("memory");
    if (*type == typeid(std::system_error)) endBecause(static_cast<std::system_error*>(object)->what());
    endBecause(type->name());
}
}

// The same of what the C++ library throws or notices itself.
[[noreturn]] void std::__libcpp_verbose_abort(const char* format, ...) { endBecause(format); }

static void* allocate(std::size_t size) {
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    endBecause("memory");
}
void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
