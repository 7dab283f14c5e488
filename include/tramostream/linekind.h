// The kinds of lines in an exchange file, and how to detect the kind of a line.
#pragma once
#include "export.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tramo {

/// The four kinds of lines. The letter in the first column of a record line is its record kind (RecordKind).
enum class LineKind : char {
    Record,     ///< of 512 characters
    Parameter,  ///< of 40 characters
    Tag,        ///< of 23 characters
    Key,        ///< a JSON object with keys of a radio module; of any length
};

/// The name and the length of a kind of line.
struct LineShape {
    LineKind kind;       ///< of these lines
    const char* name;    ///< "record", "parameter", "tag", "key"
    std::size_t length;  ///< in characters, without the line ending; 0: any
};

/// Returns the shape of a kind of line. It lives as long as the program.
TRAMO_EXPORT const LineShape& shapeOf(LineKind kind);

/// Returns whether this character is the letter of a record kind.
TRAMO_EXPORT bool isRecordLetter(wchar_t c);

/// Returns whether the text looks like a key line or a part of one, so that it must not be shown.
TRAMO_EXPORT bool mayHoldKeys(std::wstring_view text);

/// Does the same for a part of a line other than its beginning.
TRAMO_EXPORT bool holdsKeyMarks(std::wstring_view text);

/// The maximum number of characters of a line that are kept in memory. Every record and every real key line is much shorter.
inline constexpr std::size_t longestHeld = 1 << 18;

/// The facts that a check needs about a line of more than `longestHeld` characters, which need not be in memory.
struct LongLineFacts {
    std::size_t size = 0;            ///< in characters
    std::size_t filledSize = 0;      ///< without trailing spaces
    std::size_t unreturnedSize = 0;  ///< without trailing carriage returns
    std::wstring_view last{};        ///< its last characters, at least the length of the longest record
    bool mayHoldKeys = false;        ///< tramo::mayHoldKeys of the whole line
};

/// A line of a file as read. The caller owns the text.
struct SourceLine {
    std::wstring_view text{};              ///< without its line ending; the first characters of a long line
    bool carriageReturn = false;           ///< whether the line ends with one, before the line feed if there is one
    bool lineFeed = false;                 ///< whether the line ends with one
    bool plain = false;                    ///< known to contain neither zero characters nor surrogates
    long long number = 0;                  ///< 1-based
    const LongLineFacts* facts = nullptr;  ///< of a line that is not in memory as a whole

    /// Returns the length in characters.
    std::size_t size() const { return facts ? facts->size : text.size(); }

    /// Returns tramo::mayHoldKeys of the whole line.
    bool mayHoldKeys() const { return facts ? facts->mayHoldKeys : tramo::mayHoldKeys(text); }
};

/// Returns the kind of a line, by its length and its first characters. A line whose length matches no kind is a malformed line
/// of the prevailing kind of its file; nullopt if there is none.
TRAMO_EXPORT std::optional<LineKind> kindOfLine(const SourceLine& line, std::optional<LineKind> prevailing);

/// Detects the prevailing kind of line of a file from its first lines.
///
/// @snippet docs/examples.cpp KindCensus
class TRAMO_EXPORT KindCensus {
public:
    /// Counts a line, without its line ending.
    void add(std::wstring_view line);

    /// Returns the number of lines counted.
    std::size_t lines() const { return all; }

    /// Returns the kind of at least half of the lines; nullopt if their lengths match no kind.
    std::optional<LineKind> prevailing() const;

private:
    std::array<std::size_t, 4> ofKind{};
    std::size_t all = 0, longest = 0, letters = 0;
};

}  // namespace tramo
