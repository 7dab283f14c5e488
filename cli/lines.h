// The lines of exchange files: which kind a line is of, and what is wrong with it as a whole.
#pragma once
#include "findings.h"
#include "longline.h"
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// A line of a file. The view is valid until the next line is read.
struct Line {
    std::wstring_view text{};  ///< without its line end; of a long line its first characters
    bool carriageReturn = false, lineFeed = false;
    bool plain = false;  ///< known to be without zeros and surrogates
    long long number = 0;
    std::shared_ptr<const LongLine> whole{};  ///< of a line that is longer than `longestHeld`

    std::size_t size() const { return whole ? whole->size() : text.size(); }
    bool mayHoldKeys() const;
};

enum class LineKind { Record, Parameter, Tag, Key };

struct LineShape {
    LineKind kind;
    const char* name;
    std::size_t length;  ///< in characters, without the line end; 0: any
};
const LineShape& shapeOf(LineKind kind);

/// Whether the text looks like a key line or a piece of one.
bool mayHoldKeys(std::wstring_view text);

/// The same of a piece that is not its beginning.
bool holdsKeyMarks(std::wstring_view text);

/// The kind of a line: what its length says, or its first character. A line that has the length of none is one of the
/// kind that prevails in its file, damaged; nullopt when nothing prevails there.
std::optional<LineKind> kindOfLine(const Line& line, std::optional<LineKind> prevailing);

/// Tells which kind of lines prevails.
class KindCensus {
public:
    void add(std::wstring_view line);
    std::size_t lines() const { return all; }

    /// The kind of most of the lines; nullopt when they have the length of none.
    std::optional<LineKind> prevailing() const;

private:
    std::array<std::size_t, 4> ofKind{};
    std::size_t all = 0, longest = 0, letters = 0;
};

/// Whether record lines may begin with this character.
bool isRecordLetter(wchar_t c);

/// Finds what is wrong with the whole line. True: its fields stand where they belong and are worth checking.
bool judge(const Line& line, std::optional<LineKind> kind, std::vector<Finding>& findings);

}  // namespace tramo::cli
