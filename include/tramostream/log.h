// The log.
#pragma once
#include "export.h"
#include <locale>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

/// Searching and replacing.
namespace algorithm {

/// Replaces every `key` in `text` with the result of `producer()`. The search continues after the replacement, so
/// replaced text is never searched again. An empty key replaces nothing.
template <class Producer> void find_and_replace(std::string& text, const std::string& key, Producer producer) {
    if (key.empty()) return;
    std::string result;
    std::size_t done = 0;
    for (std::size_t hit = text.find(key); hit != std::string::npos; hit = text.find(key, done)) {
        result.append(text, done, hit - done);
        result += producer();
        done = hit + key.size();
    }
    if (done > 0) text = result.append(text, done);
}

}  // namespace algorithm

/// Texts with arguments.
namespace string_format {

/// @cond
namespace detail {

inline std::string toText(const char* value) { return value != nullptr ? value : ""; }

template <class T> std::string toText(const T& value) {
    if constexpr (std::is_convertible_v<const T&, std::string_view>) {
        return std::string(std::string_view(value));
    } else {
        std::ostringstream out;
        out.imbue(std::locale::classic());
        out << value;
        return std::move(out).str();
    }
}

}  // namespace detail
/// @endcond

/// Returns the format with every "%1" replaced by the first argument's text, then every "%2" by the second's, and so on.
/// Each replacement searches the whole text: "%1" also matches inside "%10", and a "%2" from the first argument is
/// replaced, too, but a "%1" is not.
template <class... Args> std::string generate(std::string format, const Args&... args) {
    [[maybe_unused]] int number = 0;
    (algorithm::find_and_replace(format, std::string("%").append(std::to_string(++number)),
         [text = detail::toText(args)]() -> const std::string& { return text; }),
        ...);
    return format;
}

}  // namespace string_format

/// Input and output.
namespace io {}

/// The log: one line for each tolerable condition.
///
/// A line consists of the local time, " log ", the name of the level right-aligned in 8 characters, "  {", the name of the
/// writing class, "} " and the message:
///
///     14:05:09 log     Warn  {iFileStream} File round.txt is open but empty.
///
/// Each call opens the log file, appends to it and closes it. If the file cannot be opened or written, the line is lost
/// without an error. Several threads may write at the same time; how their lines end up in the file depends on the system's
/// append mode. No line is buffered and no file stays open between two calls, so a process may call fork()
/// at any time while no other thread writes.
namespace io::log {

/// The severity of a condition. The streams write at Warn.
enum Level : int {
    None = 0,      ///< no level
    Fatal = 1,     ///< the program cannot continue
    Critical = 2,  ///< part of the program cannot continue
    Err = 3,       ///< something was not done
    Warn = 4,      ///< something was done, but not as requested
    Note = 5,      ///< worth a look
    Normal = 6,    ///< as expected; the last level that is written
    Debug = 7,     ///< never written
};

/// The destination of the log.
struct TRAMO_EXPORT initializer {
    /// The path of the log file, for the whole process. The default "NO_LOG_FILE" prints the lines on the standard output
    /// and also creates an empty file of that name in the working directory; neither happens while tramo::setMessages() has
    /// silenced the library. Not thread-safe: set it before the first use of a stream.
    static std::string m_logFileName;
};

/// @cond
namespace detail {

TRAMO_EXPORT std::string className(std::string_view signature);
TRAMO_EXPORT void writeLine(Level level, const std::string& className, const std::string& message);

}  // namespace detail
/// @endcond

}  // namespace io::log

/// @cond
#if defined(_MSC_VER) && !defined(__clang__)
#define TRAMO_SIGNATURE __FUNCSIG__
#else
#define TRAMO_SIGNATURE __PRETTY_FUNCTION__
#endif
/// @endcond

/// The name of a class as the compiler spells it, namespaces included.
///
/// @snippet docs/examples.cpp typename_hash
template <class T> struct typename_hash {
    /// Returns the name.
    static std::string gen_value() { return io::log::detail::className(TRAMO_SIGNATURE); }
};

namespace io::log {

/// Writes log lines on behalf of the class T.
///
/// @snippet docs/examples.cpp log
template <class T> struct writer {
    /// Writes one line with the message string_format::generate(format, args...). Throws std::out_of_range for a level
    /// below None.
    template <class... Args> static void write(Level level, const char* format, const Args&... args) {
        const std::string message = string_format::generate(format, args...);
        if (level > Normal) return;
        detail::writeLine(level, typename_hash<T>::gen_value(), message);
    }
};

}  // namespace io::log
