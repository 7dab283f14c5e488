// Manual pages for man(1), made from the help pages and from the reference page of the format.
#pragma once
#include "cli/shell/command.h"
#include <span>

namespace tramo::cli {

/// The page of a command, tramo-NAME(1), whose help page this is; without a name the page of the tool, tramo(1).
std::string manualPage(
    std::string_view name, std::string_view purpose, std::string_view help, std::span<const Command* const> commands);

/// The page of the format, tramo-format(5).
std::string formatManualPage();

}  // namespace tramo::cli
