#include "faults.h"
#include "tramostream/log.h"
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace faults {

Plan plan;

namespace {

volatile long held = 0;  // blocks; volatile: compilers may assume that operator new changes no variables

bool fails(Sort sort) {
    if (!plan.armed || plan.sort != sort) return false;
    ++plan.calls;
    if (plan.at == 0 || plan.calls < plan.at || (plan.last != 0 && plan.calls > plan.last)) return false;
    ++plan.failures;
    errno = plan.error;
    return true;
}

void* counted(void* memory) {
    held = held + (memory != nullptr);
    return memory;
}

std::size_t halfOf(std::size_t size) { return size > 1 ? size / 2 : size; }

}  // namespace

}  // namespace faults

using namespace faults;

// The linker redirects the library's calls to these functions (--wrap). __real_ names those of the C library or a sanitizer.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
void __real_free(void* memory);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* bytes, std::size_t size);
ssize_t __real_write(int file, const void* bytes, std::size_t size);
int __real_close(int file);
int __real_ftruncate(int file, off_t size);
int __real_fsync(int file);
int __real_rename(const char* from, const char* to);
int __real_stat(const char* path, struct stat* status);
int __real_lstat(const char* path, struct stat* status);
int __real_faccessat(int folder, const char* path, int mode, int flags);
int __real_chmod(const char* path, mode_t mode);
int __real_fcntl(int file, int command, ...);

void* __wrap_malloc(std::size_t size) { return fails(Sort::Memory) ? nullptr : counted(__real_malloc(size)); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return fails(Sort::Memory) ? nullptr : counted(__real_calloc(count, size));
}
void* __wrap_realloc(void* memory, std::size_t size) {
    if (fails(Sort::Memory)) return nullptr;
    return memory ? __real_realloc(memory, size) : counted(__real_realloc(memory, size));
}
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
    return fails(Sort::Memory) ? nullptr : counted(__real_aligned_alloc(alignment, size));
}
void __wrap_free(void* memory) {
    held = held - (memory != nullptr);
    __real_free(memory);
}
int __wrap_open(const char* path, int flags, ...) {
    std::va_list more;
    va_start(more, flags);
    const auto mode = va_arg(more, mode_t);
    va_end(more);
    return fails(Sort::Open) ? -1 : __real_open(path, flags, mode);
}
ssize_t __wrap_read(int file, void* bytes, std::size_t size) {
    if (!fails(Sort::Read)) return __real_read(file, bytes, size);
    return plan.error == half ? __real_read(file, bytes, halfOf(size)) : -1;
}
ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
    if (!fails(Sort::Write)) return __real_write(file, bytes, size);
    return plan.error == half ? __real_write(file, bytes, halfOf(size)) : -1;
}
int __wrap_close(int file) {
    const bool refuses = fails(Sort::Close);
    const int answer = __real_close(file);
    errno = plan.error;
    return refuses ? -1 : answer;
}
int __wrap_ftruncate(int file, off_t size) { return fails(Sort::Cut) ? -1 : __real_ftruncate(file, size); }
int __wrap_fsync(int file) { return fails(Sort::Sync) ? -1 : __real_fsync(file); }
int __wrap_rename(const char* from, const char* to) { return fails(Sort::Rename) ? -1 : __real_rename(from, to); }
int __wrap_stat(const char* path, struct stat* status) { return fails(Sort::Status) ? -1 : __real_stat(path, status); }
int __wrap_lstat(const char* path, struct stat* status) { return fails(Sort::Status) ? -1 : __real_lstat(path, status); }
int __wrap_faccessat(int folder, const char* path, int mode, int flags) {
    return fails(Sort::Access) ? -1 : __real_faccessat(folder, path, mode, flags);
}
int __wrap_chmod(const char* path, mode_t mode) { return fails(Sort::Mode) ? -1 : __real_chmod(path, mode); }
int __wrap_fcntl(int file, int command, ...) {
    std::va_list more;
    va_start(more, command);
    const int number = va_arg(more, int);
    va_end(more);
    return fails(Sort::Duplicate) ? -1 : __real_fcntl(file, command, number);
}
}

// Not inlined: the compiler would see memory of new given to free.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (!fails(Sort::Memory))
        if (void* const memory = counted(__real_malloc(size == 0 ? 1 : size))) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { __wrap_free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { __wrap_free(memory); }

namespace faults {

namespace {

bool large() { return std::getenv("FAULTS_LARGE") != nullptr; }

}  // namespace

void everyFault(Sort sort, const std::vector<int>& errors, const std::function<std::string()>& scenario) {
    for (const int error : errors)
        for (const bool onlyOne : {true, false}) {
            if (error == EINTR && !onlyOne) continue;  // would never end
            plan = {};
            ASSERT_EQ(scenario(), "");  // one-time initialization is done now
            plan = {sort, error, 0, 0, 0, 0, false};
            ASSERT_EQ(scenario(), "");
            const long calls = plan.calls;
            ASSERT_GT(calls, 0);
            const long step = large() ? 1 : std::max(1L, calls / 400);
            long failed = 0;
            for (long number = 1; number <= calls; number += step) {
                plan = {sort, error, number, onlyOne ? number : 0, 0, 0, false};
                const long before = held;
                const std::string wrong = scenario();
                failed += plan.failures > 0;
                if (wrong.empty()) { EXPECT_EQ(held, before) << "leaks at " << number << (onlyOne ? "" : " and on"); }
                EXPECT_EQ(wrong, "") << "error " << error << " at " << number << (onlyOne ? "" : " and on") << " of " << calls;
                if (testing::Test::HasFailure()) return;
            }
            EXPECT_EQ(failed, (calls + step - 1) / step);
        }
}

Faults::Faults() { io::log::initializer::m_logFileName = "/dev/null"; }

TEST_F(Faults, ALeakIsFound) {
    const long before = held;
    int* volatile lost = new int(7);  // volatile: a compiler may remove an unused allocation
    const long holding = held;
    delete lost;
    EXPECT_EQ(holding, before + 1);
    EXPECT_EQ(held, before);
}

}  // namespace faults

// With --large, tries every call instead of a selection.
int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    if (count > 1 && std::string_view(arguments[1]) == "--large") setenv("FAULTS_LARGE", "1", 1);
    return RUN_ALL_TESTS();
}
