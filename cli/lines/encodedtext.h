// Lines on their way into an exchange file of a chosen encoding.
#pragma once
#include "cli/io/outfile.h"
#include "cli/lines/longline.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <vector>

namespace tramo::cli {

/// The text of a file in the making, which appears when all of it is known to fit into the encoding; see OutFile.
class EncodedText {
public:
    /// `path`: where the text goes, which may be the file that the lines come from; empty: nowhere, it is only tried.
    /// `source`: the name of that file. `force`: see OutMode. UTF-16 text begins with its mark.
    EncodedText(const std::string& path, bool utf16, std::string source, bool force);
    ~EncodedText();  ///< nothing of it is left in memory: lines may hold keys
    EncodedText(const EncodedText&) = delete;
    EncodedText& operator=(const EncodedText&) = delete;

    /// Adds the line as it is.
    void add(const Line& line, std::optional<LineKind> kind);

    /// Adds the text with this line end. What does not fit is noted as a fault of `line`, a line of this kind.
    void add(std::wstring_view text, std::wstring_view lineEnd, const Line& line, std::optional<LineKind> kind);

    bool fits() const { return misfits == 0 && !looksLikeUtf16; }

    /// Says on the error output what does not fit, and where.
    void complain() const;

    void commit();

private:
    void flush();
    void addPiece(std::wstring_view text, std::size_t at, const Line& line, std::optional<LineKind> kind);
    void note(std::wstring_view text, std::size_t begin, const Line& line, std::optional<LineKind> kind);

    const bool isUtf16;
    const std::string name;
    std::optional<OutFile> out;
    std::string bytes;  ///< not yet written
    bool anything = false, looksLikeUtf16 = false;
    std::uint64_t misfits = 0;
    std::vector<std::string> messages;  ///< of the first ones
};

/// The line end that the line has.
std::wstring_view lineEndOf(const Line& line);

}  // namespace tramo::cli
