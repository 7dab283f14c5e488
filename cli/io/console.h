// Output for the user: findings and data on the standard output, everything else on the standard error.
#pragma once
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fmt/format.h>
#include <string_view>

namespace tramo::cli {

enum class ColourChoice { Auto, Always, Never };

/// Shows the progress of long work in one line on the standard error, which the next output erases. Shows nothing for short
/// work, or if the standard error is not a terminal.
class Progress {
public:
    Progress();

    /// Shows `done` as a share of `all`, or as a number of bytes if `all` is 0 (unknown).
    void show(std::string_view what, std::uint64_t done, std::uint64_t all);

    /// Erases the line. All objects share one line.
    static void wipe();

private:
    bool enabled;
    std::chrono::steady_clock::time_point due;
};

/// The standard output with its own buffer, so that every failed write is detected.
class Output {
public:
    /// Every operation throws WriteFailed.
    Output();

    fmt::memory_buffer& buffer() { return text; }
    template <class... T> void print(fmt::format_string<T...> format, T&&... arguments) {
        fmt::format_to(fmt::appender(text), format, std::forward<T>(arguments)...);
    }

    /// Writes the buffer if it is large, or on a terminal. Call it after each part of a report.
    void settle() {
        if (text.size() >= enough) flush();
    }
    void flush();

private:
    fmt::memory_buffer text;
    bool isTerminal;
    std::size_t enough;  ///< the size from which settle() writes; 1 on a terminal
};

/// Returns whether to print colours. Auto: on a terminal, unless NO_COLOR is set.
bool wantsColour(ColourChoice choice, std::FILE* stream);

/// Prints "tramo: MESSAGE" on the standard error, as one line. The whole message is made printable (see `printable`), because it
/// may contain text of files.
void complain(std::string_view message);

/// Prints this text on the standard error, without allocating memory.
void complainAsItIs(const char* text);

/// Flushes and closes the standard output. Throws WriteFailed.
void closeStandardOutput();

}  // namespace tramo::cli
