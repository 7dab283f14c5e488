// Processes, and the resources that they use.
#pragma once
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Usage {
    double seconds;      ///< of processor time, including that of the system
    double elapsed;      ///< seconds by the clock
    std::size_t memory;  ///< at its peak, in bytes
    int status;          ///< the exit code; -1 if a signal ended it
};

/// Runs a program and discards its output. Throws std::runtime_error if it cannot be started.
Usage runProgram(const std::vector<std::string>& command);

/// Runs a function in a process of its own and discards its output. An exception becomes status 1.
Usage runApart(const std::function<void()>& work);

/// Uses the given amount of memory and frees it. A virtual machine may have returned memory that was unused for some seconds to
/// its host; getting it back would cost many times the time to be measured.
void warmUpMemory(std::size_t bytes);

}  // namespace bench
