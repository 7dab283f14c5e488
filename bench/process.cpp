#include "bench/process.h"
#include <chrono>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr int notStarted = 127;

template <class Work> Usage runChild(Work work) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        const int nowhere = ::open("/dev/null", O_WRONLY);
        ::dup2(nowhere, STDOUT_FILENO);
        ::dup2(nowhere, STDERR_FILENO);
        ::_exit(work());
    }
    int status = 0;
    rusage used{};
    if (child < 0 || ::wait4(child, &status, 0, &used) != child) throw std::runtime_error("no process could be started");
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    auto seconds = [](const timeval& time) { return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6; };
    return {seconds(used.ru_utime) + seconds(used.ru_stime), elapsed.count(), static_cast<std::size_t>(used.ru_maxrss) * 1024,
        WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

}  // namespace

Usage runProgram(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const Usage usage = runChild([&] {
        ::execv(arguments[0], arguments.data());
        return notStarted;
    });
    if (usage.status == notStarted) throw std::runtime_error("cannot run " + command[0]);
    return usage;
}

Usage runApart(const std::function<void()>& work) {
    return runChild([&] {
        try {
            work();
            return 0;
        } catch (const std::exception&) { return 1; }
    });
}

void warmUpMemory(std::size_t bytes) {
    constexpr std::size_t page = 4096;
    void* memory = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("not enough memory");
    (void)::madvise(memory, bytes, MADV_HUGEPAGE);  // the largest blocks that a program can request
    for (std::size_t at = 0; at < bytes; at += page) static_cast<volatile char*>(memory)[at] = 1;
    ::munmap(memory, bytes);
}

}  // namespace bench
