// Processes, and what they need.
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

/// Uses so much memory and gives it back. A virtual machine may have given to its host what nobody has used for some seconds;
/// to get it back costs many times what is to be measured, and nobody can help it.
void warmUpMemory(std::size_t bytes);

}  // namespace bench
