// A meter of a round as people see it, for `tramo show --meter`.
#pragma once
#include "cli/commands/show_table.h"

namespace tramo::cli {

/// Prints each meter with the chosen serial number. Returns the exit code. Throws Unreadable, also if there is no such meter.
int showMeter(const ShowOptions& options);

}  // namespace tramo::cli
