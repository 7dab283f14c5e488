// Completion of the tool's command line in a shell, made from the help pages.
#pragma once
#include "cli/shell/command.h"
#include <span>

namespace tramo::cli {

/// The script for "bash", "zsh" or "fish" to read. Throws WrongUsage for another shell.
std::string completionFor(const std::string& shell, std::span<const Command* const> commands);

}  // namespace tramo::cli
