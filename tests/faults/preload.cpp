// Makes calls of a program fail. Preloaded (LD_PRELOAD) and controlled by the environment:
//
//     FAULTS_CALL    the sort of call, a word of the table below
//     FAULTS_AT      the first call that fails, counted from 1; 0: none, calls are only counted
//     FAULTS_LAST    the last call that fails; default: FAULTS_AT; 0: all following
//     FAULTS_ERROR   the error number; 0: no failure, but only half of the bytes are read or written
//     FAULTS_UNDER   counts only calls on files whose path begins with this text; empty: on all files
//     FAULTS_REPORT  a file with the current numbers of calls and failures, as two native 64-bit numbers
//
// The system calls inside fwrite or fclose are not functions that could be replaced. Instead, the kernel sends a signal for them
// (seccomp), and the signal handler decides the result. Memory and threads come from functions, which are replaced.
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#define REPLACES extern "C" [[gnu::visibility("default")]]

// The functions of the C library, under their internal names.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

// Makes a system call. It is allowed, because it comes from this address.
std::int64_t faultsSystemCall(
    std::int64_t number, std::int64_t a, std::int64_t b, std::int64_t c, std::int64_t d, std::int64_t e = 0);
extern const char faultsSystemCallMade[];
}
asm(R"(
    .text
    .type faultsSystemCall, @function
faultsSystemCall:
    mov %rdi, %rax
    mov %rsi, %rdi
    mov %rdx, %rsi
    mov %rcx, %rdx
    mov %r8, %r10
    mov %r9, %r8
    syscall
faultsSystemCallMade:
    ret
)");

namespace {

enum class Sort { None, Memory, Thread, Read, Write, Sync, Close, Rename, Open, List, Status, Mode, Owner, Attribute, Lock };

struct Word {
    std::string_view word;
    Sort sort;
};
constexpr Word words[] = {
    {"memory", Sort::Memory},
    {"thread", Sort::Thread},
    {"read", Sort::Read},
    {"write", Sort::Write},
    {"sync", Sort::Sync},
    {"close", Sort::Close},
    {"rename", Sort::Rename},
    {"open", Sort::Open},
    {"list", Sort::List},
    {"status", Sort::Status},
    {"mode", Sort::Mode},
    {"owner", Sort::Owner},
    {"attribute", Sort::Attribute},
    {"lock", Sort::Lock},
};

// How the call names its file: by a descriptor or by a path, in the first argument or in the second.
enum class File { Descriptor, Path, SecondPath };

struct Call {
    int number;
    Sort sort;
    File file;
};
// clang-format off
constexpr Call calls[] = {
    {SYS_read,       Sort::Read,   File::Descriptor},
    {SYS_pread64,    Sort::Read,   File::Descriptor},
    {SYS_readv,      Sort::Read,   File::Descriptor},
    {SYS_write,      Sort::Write,  File::Descriptor},
    {SYS_pwrite64,   Sort::Write,  File::Descriptor},
    {SYS_writev,     Sort::Write,  File::Descriptor},
    {SYS_ftruncate,  Sort::Write,  File::Descriptor},
    {SYS_fsync,      Sort::Sync,   File::Descriptor},
    {SYS_fdatasync,  Sort::Sync,   File::Descriptor},
    {SYS_close,      Sort::Close,  File::Descriptor},
    {SYS_rename,     Sort::Rename, File::Path},
    {SYS_renameat,   Sort::Rename, File::SecondPath},
    {SYS_renameat2,  Sort::Rename, File::SecondPath},
    {SYS_open,       Sort::Open,   File::Path},
    {SYS_openat,     Sort::Open,   File::SecondPath},
    {SYS_mkdir,      Sort::Open,   File::Path},
    {SYS_mkdirat,    Sort::Open,   File::SecondPath},
    {SYS_getdents64, Sort::List,   File::Descriptor},
    {SYS_stat,       Sort::Status, File::Path},
    {SYS_lstat,      Sort::Status, File::Path},
    {SYS_fstat,      Sort::Status, File::Descriptor},
    {SYS_newfstatat, Sort::Status, File::SecondPath},
    {SYS_statx,      Sort::Status, File::SecondPath},
    {SYS_chmod,      Sort::Mode,   File::Path},
    {SYS_fchmod,     Sort::Mode,   File::Descriptor},
    {SYS_fchmodat,   Sort::Mode,   File::SecondPath},
    {SYS_fchown,     Sort::Owner,  File::Descriptor},
    {SYS_flock,      Sort::Lock,   File::Descriptor},
    {SYS_listxattr,    Sort::Attribute, File::Path},
    {SYS_getxattr,     Sort::Attribute, File::Path},
    {SYS_fgetxattr,    Sort::Attribute, File::Descriptor},
    {SYS_fsetxattr,    Sort::Attribute, File::Descriptor},
    {SYS_fremovexattr, Sort::Attribute, File::Descriptor},
};
// clang-format on

struct Report {
    std::atomic<std::uint64_t> calls, failures;
};

Sort wanted = Sort::None;  // None until everything else is set
std::uint64_t first = 0, last = 0;
int error = 0;
std::string_view under;
Report* report = nullptr;

// Counts a call. Returns whether it fails.
bool fails() {
    const std::uint64_t number = ++report->calls;
    if (first == 0 || number < first || (last != 0 && number > last)) return false;
    ++report->failures;
    return true;
}

bool memoryFails() { return wanted == Sort::Memory && fails(); }

std::int64_t toWord(const void* pointer) { return reinterpret_cast<std::intptr_t>(pointer); }

bool isOfTest(File file, const greg_t* registers) {
    if (under.empty()) return true;
    greg_t argument = registers[file == File::SecondPath ? REG_RSI : REG_RDI];
    if (file != File::Descriptor) {
        const char* path = nullptr;
        std::memcpy(&path, &argument, sizeof path);
        if (std::string_view(path).starts_with(under)) return true;
        // The path of a descriptor, or a path relative to the preceding descriptor, or an empty path.
        constexpr std::string_view descriptors = "/proc/self/fd/";
        const bool isDescriptor = std::string_view(path).starts_with(descriptors);
        if (*path == '/' && !isDescriptor) return false;
        if (!isDescriptor && file != File::SecondPath) return false;
        argument = isDescriptor ? std::atoi(path + descriptors.size()) : static_cast<int>(registers[REG_RDI]);
        if (argument < 0) return false;
    }
    std::array<char, 32> link{"/proc/self/fd/"};
    std::size_t end = std::strlen(link.data());
    for (greg_t unit = 1000; unit > 0; unit /= 10) link[end++] = static_cast<char>('0' + argument / unit % 10);
    const char* number = link.data() + std::strlen("/proc/self/fd/");
    while (*number == '0' && number[1]) ++number;  // the system accepts no leading zeros
    std::memmove(link.data() + std::strlen("/proc/self/fd/"), number, std::strlen(number) + 1);
    std::array<char, 4096> path;
    const std::int64_t size = faultsSystemCall(SYS_readlink, toWord(link.data()), toWord(path.data()), path.size(), 0);
    return size > 0 && std::string_view(path.data(), static_cast<std::size_t>(size)).starts_with(under);
}

std::int64_t halfOf(int number, const greg_t* r) {
    const std::int64_t size = r[REG_RDX];
    return faultsSystemCall(number, r[REG_RDI], r[REG_RSI], size > 1 ? size / 2 : size, r[REG_R10]);
}

std::int64_t answerTo(int number, const greg_t* r) {
    for (const Call& call : calls) {
        if (call.number != number || !isOfTest(call.file, r) || !fails()) continue;
        if (error == 0) return halfOf(number, r);
        // close() releases the descriptor even if it fails.
        if (number == SYS_close) faultsSystemCall(number, r[REG_RDI], 0, 0, 0);
        return -error;
    }
    return faultsSystemCall(number, r[REG_RDI], r[REG_RSI], r[REG_RDX], r[REG_R10], r[REG_R8]);
}

void onSystemCall(int, siginfo_t* info, void* context) {
    greg_t* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    registers[REG_RAX] = answerTo(info->si_syscall, registers);
}

// Turns every following system call of the sort into a signal, except those made here.
void trapSystemCalls() {
    struct sigaction action {};
    action.sa_sigaction = onSystemCall;
    action.sa_flags = SA_SIGINFO | SA_NODEFER | SA_RESTART;
    if (sigaction(SIGSYS, &action, nullptr) != 0) std::abort();

    const std::uint64_t here = reinterpret_cast<std::uintptr_t>(faultsSystemCallMade);
    std::array<sock_filter, 64> filter;
    unsigned short size = 0;
    auto load = [&](std::size_t offset) { filter[size++] = BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset)); };
    auto answer = [&](unsigned what) { filter[size++] = BPF_STMT(BPF_RET | BPF_K, what); };
    auto unlessEqual = [&](std::uint64_t value, unsigned char skipped) {
        filter[size++] = BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(value), 0, skipped);
    };
    load(offsetof(seccomp_data, instruction_pointer));
    unlessEqual(here & 0xFFFFFFFF, 3);
    load(offsetof(seccomp_data, instruction_pointer) + 4);
    unlessEqual(here >> 32, 1);
    answer(SECCOMP_RET_ALLOW);
    load(offsetof(seccomp_data, nr));
    for (const Call& call : calls) {
        if (call.sort != wanted) continue;
        unlessEqual(static_cast<unsigned>(call.number), 1);
        answer(SECCOMP_RET_TRAP);
    }
    answer(SECCOMP_RET_ALLOW);
    sock_fprog program{size, filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) std::abort();
}

std::uint64_t numberIn(const char* variable, std::uint64_t otherwise) {
    const char* text = std::getenv(variable);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

[[gnu::constructor]] void begin() {
    const char *call = std::getenv("FAULTS_CALL"), *reportPath = std::getenv("FAULTS_REPORT"),
               *path = std::getenv("FAULTS_UNDER");
    if (!call || !reportPath) return;
    Sort sort = Sort::None;
    for (const Word& word : words)
        if (word.word == call) sort = word.sort;
    const int file = open(reportPath, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (sort == Sort::None || file < 0 || ftruncate(file, sizeof(Report)) != 0) std::abort();
    void* memory = mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    if (memory == MAP_FAILED) std::abort();
    report = static_cast<Report*>(memory);
    first = numberIn("FAULTS_AT", 0);
    last = numberIn("FAULTS_LAST", first);
    error = static_cast<int>(numberIn("FAULTS_ERROR", ENOMEM));
    if (path) under = path;
    wanted = sort;
    if (sort != Sort::Memory && sort != Sort::Thread) trapSystemCalls();
}

void* refused() {
    errno = ENOMEM;
    return nullptr;
}

}  // namespace

REPLACES void* malloc(std::size_t size) noexcept { return memoryFails() ? refused() : __libc_malloc(size); }

REPLACES void* calloc(std::size_t count, std::size_t size) noexcept {
    return memoryFails() ? refused() : __libc_calloc(count, size);
}

REPLACES void* realloc(void* memory, std::size_t size) noexcept {
    return memoryFails() ? refused() : __libc_realloc(memory, size);
}

REPLACES void* memalign(std::size_t alignment, std::size_t size) noexcept {
    return memoryFails() ? refused() : __libc_memalign(alignment, size);
}

REPLACES void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return memalign(alignment, size); }

REPLACES int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept {
    *memory = memalign(alignment, size);
    return *memory ? 0 : ENOMEM;
}

REPLACES int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) noexcept {
    static const auto real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return wanted == Sort::Thread && fails() ? EAGAIN : real(thread, attributes, run, argument);
}

// The kernel would kill a program that blocks all signals, because it could not handle the one needed here.
REPLACES int sigprocmask(int how, const sigset_t* set, sigset_t* before) noexcept {
    sigset_t without;
    if (set) {
        without = *set;
        sigdelset(&without, SIGSYS);
    }
    return pthread_sigmask(how, set ? &without : nullptr, before);
}
