/// @file
/// Messages on the standard output.
#pragma once
#include "export.h"

namespace tramo {

/// Where the library's messages go: those of the codecs about a text that they cannot convert, those of the models about a
/// line of another kind, and the log lines that have no log file (io::log::initializer).
enum class Messages {
    StandardOutput,  ///< through std::wcout and std::cout; the initial value
    Silent,          ///< nowhere
};

/// Sets where messages go, for the whole process. Any thread may call it at any time; a message that another thread prints at
/// this moment still appears. Return values, error lists, exceptions and the lines of a log file stay the same.
///
/// @snippet docs/examples.cpp setMessages
TRAMO_EXPORT void setMessages(Messages where) noexcept;

/// Returns where messages go. Any thread may call it at any time.
TRAMO_EXPORT Messages getMessages() noexcept;

}  // namespace tramo
