// The tool's own ways to the user: findings and data on the standard output, everything else on the error output.
#pragma once
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fmt/format.h>
#include <string_view>

namespace tramo::cli {

enum class ColourChoice { Auto, Always, Never };

/// How far the work has come: one line on the error output that the next output wipes out. Nothing where that is no
/// terminal, and nothing for work that is done at once.
class Progress {
public:
    Progress();

    /// As a share; as so many bytes when `all` is 0, for it is not known.
    void show(std::string_view what, std::uint64_t done, std::uint64_t all);

    /// There is one such line, whoever shows it.
    static void wipe();

private:
    bool enabled;
    std::chrono::steady_clock::time_point due;
};

/// The standard output, buffered here, so that a refused write never passes unseen.
class Output {
public:
    /// Every operation throws WriteFailed.
    Output();

    fmt::memory_buffer& buffer() { return text; }
    template <class... T> void print(fmt::format_string<T...> format, T&&... arguments) {
        fmt::format_to(fmt::appender(text), format, std::forward<T>(arguments)...);
    }

    /// Hands over what has grown large enough to be worth it; to be called between the parts of a report.
    void settle() {
        if (text.size() >= enough) flush();
    }
    void flush();

private:
    fmt::memory_buffer text;
    bool isTerminal;
    std::size_t enough;  ///< of text to be handed over: on a terminal any
};

/// Whether a stream gets colours: what was asked for, else whether it is a terminal and NO_COLOR is not set.
bool wantsColour(ColourChoice choice, std::FILE* stream);

/// "tramo: ..." on the error output, as one line: what could steer a terminal is printed as `printable` has it, wherever the
/// message got it from.
void complain(std::string_view message);

/// This text on the error output, and no memory taken for it.
void complainAsItIs(const char* text);

/// Everything printed has reached the system. Throws WriteFailed.
void closeStandardOutput();

}  // namespace tramo::cli
