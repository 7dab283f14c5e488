// Other processes, and what they need.
#pragma once
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Usage {
    double seconds;      ///< of processor time, the system's for it included
    std::size_t memory;  ///< at its peak, in bytes
    int status;          ///< the exit code; -1 when a signal ended it
};

/// Runs a program whose output nobody sees. Throws std::runtime_error when it cannot be started.
Usage runProgram(const std::vector<std::string>& command);

/// Runs a function in a process of its own, whose output nobody sees. An exception gives the status 1.
Usage runApart(const std::function<void()>& work);

}  // namespace bench
