// All lines of several files, one after the other.
#pragma once
#include "command.h"
#include "console.h"
#include "input.h"
#include "text.h"
#include <fmt/format.h>
#include <optional>
#include <string>
#include <vector>

namespace tramo::cli {

/// Calls `use(line, kind)` for every line of a file. What cannot be read at its end is told on the error output. Throws
/// Unreadable.
template <class Use> void forEachLine(const std::string& file, EncodingChoice encoding, Progress& progress, Use use) {
    Input input(file, encoding);
    const std::string name = printable(nameOf(file));
    Line line;
    while (input.next(line)) {
        use(line, kindOfLine(line.text, input.prevailingKind()));
        if (line.number % 4096 == 0) progress.show(name, input.bytesRead(), input.bytes());
    }
    progress.wipe();
    if (const std::uint64_t unread = input.charactersUnread())
        complain(fmt::format(
            "{}: the last {} cannot be read, behind a line that begins with U+FFFF", name, counted(unread, "character")));
    if (input.hasOddByte()) complain(name + ": the last byte is not read; it is half of a UTF-16 character");
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
