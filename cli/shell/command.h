// The commands of the tool. Each has a source of its own; main only finds them.
#pragma once
#include "cli/io/usage.h"
#include <string>
#include <vector>

namespace tramo::cli {

/// The user asks for the command's page.
struct HelpWanted {};

struct Command {
    const char* name;
    const char* purpose;                             ///< in a few words
    const char* help;                                ///< the whole page, examples first
    int (*run)(std::vector<std::string> arguments);  ///< what stands behind the command's name
    std::vector<std::string> (*kinds)() = nullptr;   ///< what its page calls KIND: the kinds of lines that it takes, as words
};

extern const Command checkCommand;
extern const Command convertCommand;
extern const Command diffCommand;
extern const Command explainCommand;
extern const Command exportCommand;
extern const Command importCommand;
extern const Command keysCommand;
extern const Command sampleCommand;
extern const Command rewriteCommand;
extern const Command showCommand;
extern const Command statsCommand;

}  // namespace tramo::cli
