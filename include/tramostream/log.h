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

/// Replaces every `key` in `text` by what `producer()` answers for it. The search goes on behind the replacement, so
/// that replaced text is never searched again. An empty key replaces nothing.
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

/// The format with every "%1" replaced by the first argument's text, then every "%2" by the second's, and so on. Each
/// replacement goes over the whole text: "%1" is also found inside "%10", and a "%2" that the first argument brought
/// in is replaced too, but never a "%1".
template <class... Args> std::string generate(std::string format, const Args&... args) {
    [[maybe_unused]] int number = 0;
    (algorithm::find_and_replace(format, std::string("%").append(std::to_string(++number)),
         [text = detail::toText(args)]() -> const std::string& { return text; }),
        ...);
    return format;
}

}  // namespace string_format

/// What the log is part of.
namespace io {}

/// The log: one line for each condition that a caller can live with.
///
/// A line is the local time, " log ", the level's name right-aligned in 8 characters, "  {", the name of the class that
/// writes, "} " and the message:
///
///     14:05:09 log     Warn  {iFileStream} File round.txt is open but empty.
///
/// Each call opens, appends to and closes the log file by itself. A file that cannot be opened or written loses the line
/// silently. Threads may write at once; what the system's appending makes of it is what the file holds. Between two calls
/// no line waits and no file is open, so that a process may fork() at any time at which no other thread writes.
namespace io::log {

/// How bad a condition is. The streams write at Warn.
enum Level : int {
    None = 0,      ///< of no level
    Fatal = 1,     ///< the program cannot go on
    Critical = 2,  ///< part of the program cannot go on
    Err = 3,       ///< something was not done
    Warn = 4,      ///< something was done, but not as asked for
    Note = 5,      ///< worth a look
    Normal = 6,    ///< as expected; the last that is written
    Debug = 7,     ///< never written
};

/// Where the log goes.
struct TRAMO_EXPORT initializer {
    /// The log file, for the whole process. "NO_LOG_FILE", the initial value, sends the lines to the standard output;
    /// an empty file of that name then comes into being in the working directory. Neither happens while
    /// tramo::setMessages() has silenced the library. To be set before the first use of a stream: nothing guards it.
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

/// The name of a class as the compiler writes it, namespaces included.
///
/// @snippet docs/examples.cpp typename_hash
template <class T> struct typename_hash {
    /// The name.
    static std::string gen_value() { return io::log::detail::className(TRAMO_SIGNATURE); }
};

namespace io::log {

/// Writes log lines on behalf of the class T.
///
/// @snippet docs/examples.cpp log
template <class T> struct writer {
    /// Writes one line with the message string_format::generate(format, args...). Throws std::out_of_range for a value
    /// below None, which is no level.
    template <class... Args> static void write(Level level, const char* format, const Args&... args) {
        const std::string message = string_format::generate(format, args...);
        if (level > Normal) return;
        detail::writeLine(level, typename_hash<T>::gen_value(), message);
    }
};

}  // namespace io::log
