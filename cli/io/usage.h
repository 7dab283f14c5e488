// Exit codes, and errors of the command line.
#pragma once
#include <string>

namespace tramo::cli {

enum ExitCode { nothingFound = 0, somethingFound = 1, notUsable = 2, notWritten = 3 };

/// Thrown when the command line is invalid.
struct WrongUsage {
    std::string message;
    std::string command{};  ///< the command with the invalid arguments; set by main
};

}  // namespace tramo::cli
