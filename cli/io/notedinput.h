// What this run reads: outputs must be other files.
#pragma once
#include <cstdint>
#include <string>

namespace tramo::cli {

/// A file that this run reads, for as long as this lives. No output may be the same file, and no new one is more open.
class NotedInput {
public:
    /// "-": the standard input. Throws WrongUsage if the file is an output, or the standard output.
    explicit NotedInput(const std::string& path);
    ~NotedInput();
    NotedInput(const NotedInput&) = delete;
    NotedInput& operator=(const NotedInput&) = delete;

private:
    std::uint64_t number = 0;  ///< 0: it is no regular file, and can be no output
};

/// Throws WrongUsage if a file to be read is the standard output, which would grow while it is read.
void refuseStandardOutput(const std::string& inputPath);

}  // namespace tramo::cli
