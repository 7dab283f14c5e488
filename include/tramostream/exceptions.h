// The exceptions of the streams.
#pragma once
#include "export.h"
#include <cstdint>
#include <exception>
#include <stdexcept>

/// The exceptions of the streams. Tolerable conditions go to the log instead (log.h).
namespace TramoStreamExceptions {

/// Thrown by iFileStream if a file cannot be read or a line is too long for the caller's buffer.
///
/// @snippet docs/examples.cpp read_exception
class TRAMO_EXPORT read_exception : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~read_exception() override;
};

/// Thrown by oFileStream if no file is open, the encoding is unsupported or cannot represent a character, or the system
/// cannot write.
///
/// @snippet docs/examples.cpp write_exception
class TRAMO_EXPORT write_exception : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~write_exception() override;
};

/// Thrown by oFileStream::putLine if the length argument is not the size of the line buffer. what() has no message.
///
/// @snippet docs/examples.cpp bad_line_length
class TRAMO_EXPORT bad_line_length : public std::exception {
public:
    /// The lengths, and the stream's line number.
    bad_line_length(std::uint32_t lengthGiven, std::uint32_t lengthExpected, std::uint32_t lineNumber) noexcept
        : given(lengthGiven), expected(lengthExpected), line(lineNumber) {}
    ~bad_line_length() override;

    std::uint32_t given;     ///< the length argument
    std::uint32_t expected;  ///< the buffer's size
    std::uint32_t line;      ///< the stream's line number at that time
};

}  // namespace TramoStreamExceptions
