/// @file
/// Messages on the standard output.
#pragma once
#include "export.h"

namespace tramo {

/// The destination of the library's messages: those of the codecs about text that they cannot convert, those of the models
/// about a line of another record kind, and log lines without a log file (io::log::initializer).
enum class Messages {
    StandardOutput,  ///< through std::wcout and std::cout; the default
    Silent,          ///< nowhere
};

/// Sets the destination of messages for the whole process. Thread-safe; a message that another thread is printing at that
/// moment still appears. Return values, error lists, exceptions and the lines of a log file do not change.
///
/// @snippet docs/examples.cpp setMessages
TRAMO_EXPORT void setMessages(Messages where) noexcept;

/// Returns the destination of messages. Thread-safe.
TRAMO_EXPORT Messages getMessages() noexcept;

}  // namespace tramo
