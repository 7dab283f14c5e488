// Writes lines to an exchange file in a given encoding.
#pragma once
#include "cli/io/outfile.h"
#include "cli/lines/textfile.h"
#include <cstdint>
#include <fmt/format.h>
#include <optional>
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <vector>

namespace tramo::cli {

/// An output file that appears only if the encoding can hold all of its text; see OutFile.
class EncodedText {
public:
    /// `path`: the output, which may be the input; empty: only checks the text. `source`: the name of the input. `force`: see
    /// OutMode. UTF-16 text begins with the byte order mark.
    EncodedText(const std::string& path, bool utf16, std::string source, bool force);
    ~EncodedText();  ///< wipes the text, because lines may hold keys
    EncodedText(const EncodedText&) = delete;
    EncodedText& operator=(const EncodedText&) = delete;

    /// States how many characters will be added, more or less; see OutFile::expect.
    void expect(std::uint64_t characters);

    /// Adds the line unchanged.
    void add(const Line& line, std::optional<LineKind> kind);

    void add(const PlainRecord& record);

    /// Adds the text with this line ending. Characters that the encoding cannot hold are reported for `line`, of this kind.
    void add(std::wstring_view text, std::wstring_view lineEnd, const Line& line, std::optional<LineKind> kind);

    bool fits() const { return misfits == 0 && !looksLikeUtf16; }

    /// Prints the characters that the encoding cannot hold, with their places, on the standard error.
    void complain() const;

    void commit();

private:
    void flush();
    void addPiece(std::wstring_view text, std::size_t at, const Line& line, std::optional<LineKind> kind);
    void note(std::wstring_view text, std::size_t begin, const Line& line, std::optional<LineKind> kind);

    const bool isUtf16;
    const std::string name;
    std::optional<OutFile> out;
    fmt::memory_buffer bytes;  ///< not yet written
    bool anything = false, looksLikeUtf16 = false;
    std::uint64_t misfits = 0;
    std::vector<std::string> messages;  ///< about the first misfits
};

/// Returns the line ending of the line.
std::wstring_view lineEndOf(const Line& line);

}  // namespace tramo::cli
