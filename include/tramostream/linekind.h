// The kinds of lines that an exchange file holds, and how a line shows which kind it is of.
#pragma once
#include "export.h"
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace tramo {

/// The four kinds of lines. Record lines differ again by the letter in their first column (RecordKind).
enum class LineKind : char {
    Record,     ///< of 512 characters
    Parameter,  ///< of 40 characters
    Tag,        ///< of 23 characters
    Key,        ///< a JSON object with keys of a radio module; of any length
};

/// What a kind of line looks like.
struct LineShape {
    LineKind kind;
    const char* name;    ///< "record", "parameter", "tag", "key"
    std::size_t length;  ///< in characters, without the line ending; 0: any
};

/// The shape of a kind of line. Lives as long as the program.
TRAMO_EXPORT const LineShape& shapeOf(LineKind kind);

/// Whether the format knows a record line that begins with this character.
TRAMO_EXPORT bool isRecordLetter(wchar_t c);

/// Whether the text looks like a key line or a part of one, so that it must not be shown.
TRAMO_EXPORT bool mayHoldKeys(std::wstring_view text);

/// The same of a part of a line that is not its beginning.
TRAMO_EXPORT bool holdsKeyMarks(std::wstring_view text);

/// The number of characters of a line that a program need hold. No record, and no real key line, comes near.
inline constexpr std::size_t longestHeld = 1 << 18;

/// What the check needs to know of a line of more than `longestHeld` characters, which need not be in memory.
struct LongLineFacts {
    std::size_t size = 0;            ///< in characters
    std::size_t filledSize = 0;      ///< without spaces at its end
    std::size_t unreturnedSize = 0;  ///< without carriage returns at its end
    std::wstring_view last{};        ///< its last characters, at least as many as any record has
    bool mayHoldKeys = false;        ///< tramo::mayHoldKeys of the whole line
};

/// A line of a file, as it was read. The text belongs to the caller.
struct SourceLine {
    std::wstring_view text{};                       ///< without its line ending; of a long line its first characters
    bool carriageReturn = false, lineFeed = false;  ///< which parts of its line ending there were
    bool plain = false;                             ///< known to be without zero characters and surrogates
    long long number = 0;                           ///< 1-based
    const LongLineFacts* facts = nullptr;           ///< of a line that is not held whole

    /// In characters.
    std::size_t size() const { return facts ? facts->size : text.size(); }

    /// tramo::mayHoldKeys of the whole line.
    bool mayHoldKeys() const { return facts ? facts->mayHoldKeys : tramo::mayHoldKeys(text); }
};

/// The kind of a line, by its length and its first characters. A line whose length fits no kind is taken for a malformed line
/// of the kind that prevails in its file; nullopt if none prevails.
TRAMO_EXPORT std::optional<LineKind> kindOfLine(const SourceLine& line, std::optional<LineKind> prevailing);

/// Finds out which kind of line prevails in a file, from its first lines.
///
/// @snippet docs/examples.cpp KindCensus
class TRAMO_EXPORT KindCensus {
public:
    /// Counts a line, without its line ending.
    void add(std::wstring_view line);

    /// The number of lines counted.
    std::size_t lines() const { return all; }

    /// The kind of at least half of the lines; nullopt if their lengths fit no kind.
    std::optional<LineKind> prevailing() const;

private:
    std::array<std::size_t, 4> ofKind{};
    std::size_t all = 0, longest = 0, letters = 0;
};

}  // namespace tramo
