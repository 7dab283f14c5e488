// The tool's commands in this process.
#pragma once
#include "support.h"
#include <cli/shell/command.h>
#include <initializer_list>

namespace fuzz {

/// Runs a command without output and returns its exit code. It may throw only the exceptions that the tool's main handles.
int runCommand(const tramo::cli::Command& command, std::vector<std::string> arguments);

/// A file of this process in the folder for temporary files, with this content.
class TemporaryFile {
public:
    explicit TemporaryFile(Bytes content);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    const std::string& path() const { return ownPath; }

private:
    std::string ownPath;
};

}  // namespace fuzz
