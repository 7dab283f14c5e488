// All lines of a file, and several files one after the other.
#pragma once
#include "cli/io/console.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include <optional>
#include <string>
#include <vector>

namespace tramo::cli {

/// Says what somebody has done to the file while it was read.
inline void sayChange(const Input& input) {
    if (!input.note().empty()) complain(input.name() + ": " + input.note());
}

/// Calls `use(line, kind)` for every line of a file. False: what stands at its end cannot be read, and that has been told on
/// the error output.
template <class Use> bool forEachLine(Input& input, Use use) {
    Line line;
    while (input.next(line)) use(line, kindOfLine(line, input.prevailingKind()));
    sayChange(input);
    const std::string rest = input.unreadRest();
    if (!rest.empty()) complain(input.name() + ": " + rest);
    return rest.empty();
}

/// Calls `use(file)` for every file. Those that cannot be read are told on the error output; true: there were none.
template <class Use> bool forEachFile(const std::vector<std::string>& files, Use use) {
    bool allRead = true;
    for (const std::string& file : files) {
        try {
            use(file);
        } catch (const Unreadable& failure) {
            allRead = false;
            complain(printable(nameOf(file)) + ": " + failure.reason);
        }
    }
    return allRead;
}

}  // namespace tramo::cli
