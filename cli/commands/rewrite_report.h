// The forms in which a dry run of `tramo rewrite` is printed.
#pragma once
#include "cli/commands/rewrite_changes.h"
#include "cli/io/console.h"
#include <string>

namespace tramo::cli {

void printText(Output& out, const Rewriter& done);
void printJson(Output& out, const Rewriter& done, const std::string& file, bool utf16);

}  // namespace tramo::cli
