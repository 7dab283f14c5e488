// The inputs of this run: outputs must be other files.
#pragma once
#include <cstdint>
#include <string>

namespace tramo::cli {

/// Registers an input of this run during its lifetime. No output may be the same file, and no new output has more permissions.
class NotedInput {
public:
    /// "-" is the standard input. Throws WrongUsage if the file is an output, or the standard output.
    explicit NotedInput(const std::string& path);
    ~NotedInput();
    NotedInput(const NotedInput&) = delete;
    NotedInput& operator=(const NotedInput&) = delete;

private:
    std::uint64_t number = 0;  ///< 0: not a regular file, so that it cannot be an output
};

/// Throws WrongUsage if the input is the standard output, which would grow while it is read.
void refuseStandardOutput(const std::string& inputPath);

}  // namespace tramo::cli
