// What makes text stand out on a terminal.
#pragma once

namespace tramo::cli {

/// Escape sequences by what they mark; each lasts until `off`. All are empty where no colours are wanted.
struct Colours {
    const char *heading = "", *faint = "", *error = "", *warning = "", *note = "", *marker = "";
    const char *changed = "", *added = "", *removed = "", *off = "";
};

constexpr Colours coloursIf(bool wanted) {
    if (!wanted) return {};
    return {.heading = "\x1b[1m",
        .faint = "\x1b[2m",
        .error = "\x1b[1;31m",
        .warning = "\x1b[1;35m",
        .note = "\x1b[1;36m",
        .marker = "\x1b[1;32m",
        .changed = "\x1b[33m",
        .added = "\x1b[32m",
        .removed = "\x1b[31m",
        .off = "\x1b[0m"};
}

}  // namespace tramo::cli
