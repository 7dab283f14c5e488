// How a run can end.
#pragma once
#include <string>

namespace tramo::cli {

enum ExitCode { nothingFound = 0, somethingFound = 1, notUsable = 2, notWritten = 3 };

/// The command line is not understood.
struct WrongUsage {
    std::string message;
    std::string command{};  ///< whose arguments they are; main fills it in
};

}  // namespace tramo::cli
