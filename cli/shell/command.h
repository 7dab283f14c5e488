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
    const char* purpose;                             ///< in a few words: a verb and its object
    const char* help;                                ///< the whole page, examples first
    int (*run)(std::vector<std::string> arguments);  ///< runs it with the words after its name
    std::vector<std::string> (*kinds)() = nullptr;   ///< the values of KIND on its page, as words
};

extern const Command anonymizeCommand;
extern const Command checkCommand;
extern const Command convertCommand;
extern const Command diffCommand;
extern const Command explainCommand;
extern const Command exportCommand;
extern const Command importCommand;
extern const Command keysCommand;
extern const Command repairCommand;
extern const Command reconcileCommand;
extern const Command reportCommand;
extern const Command sampleCommand;
extern const Command rewriteCommand;
extern const Command showCommand;
extern const Command statsCommand;

}  // namespace tramo::cli
