// Loops over all lines of a file, and over several files.
#pragma once
#include "cli/io/console.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include <optional>
#include <string>
#include <vector>

namespace tramo::cli {

/// Prints a note if another process has changed the file while it was read.
inline void sayChange(const Input& input) {
    if (!input.note().empty()) complain(input.name() + ": " + input.note());
}

/// Returns whether a file was read to the end of its text. If not, prints a message on the standard error.
inline bool isReadToItsEnd(const Input& input) {
    sayChange(input);
    const std::string rest = input.unreadRest();
    if (!rest.empty()) complain(input.name() + ": " + rest);
    return rest.empty();
}

/// Calls `use(line, kind)` for every line of a file. Returns false, after a message on the standard error, if text at the end of
/// the file cannot be read.
template <class Use> bool forEachLine(Input& input, Use use) {
    Line line;
    while (input.next(line)) use(line, kindOfLine(line, input.prevailingKind()));
    return isReadToItsEnd(input);
}

/// Does the same, but calls `usePlain(record)` for plain records, or most of them.
template <class UsePlain, class Use> bool forEachLine(Input& input, UsePlain usePlain, Use use) {
    Line line;
    for (;;) {
        for (PlainRecord record; input.nextPlain(record);) usePlain(record);
        if (!input.next(line)) return isReadToItsEnd(input);
        use(line, kindOfLine(line, input.prevailingKind()));
    }
}

/// Calls `use(file)` for every file. Returns false, after messages on the standard error, if some files cannot be read.
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
