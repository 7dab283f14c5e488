// Lines on their way into an exchange file of a chosen encoding.
#pragma once
#include "input.h"
#include "lines.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// The text of a file in the making, held until all of it is known to fit into the encoding.
class EncodedText {
public:
    /// `source`: how the file is called that the lines come from. UTF-16 text begins with its mark.
    EncodedText(bool utf16, std::string source);
    ~EncodedText();  ///< nothing of it is left: lines may hold keys
    EncodedText(const EncodedText&) = delete;
    EncodedText& operator=(const EncodedText&) = delete;

    /// Adds the text with this line end. What does not fit is noted as a fault of `line`, a line of this kind.
    void add(std::wstring_view text, std::wstring_view lineEnd, const Line& line, std::optional<LineKind> kind);

    bool fits() const;

    /// Says on the error output what does not fit, and where.
    void complain() const;

    /// Puts the text there, or fails without a trace; see OutFile.
    void writeTo(const std::string& path) const;

private:
    bool holds(wchar_t c) const { return isUtf16 || c <= 0xFF; }
    void put(std::wstring_view text);
    void note(std::wstring_view text, const Line& line, std::optional<LineKind> kind);

    const bool isUtf16;
    const std::string name;
    std::string bytes;
    std::uint64_t misfits = 0;
    std::vector<std::string> messages;  ///< of the first ones
};

/// The line end that the line has.
std::wstring_view lineEndOf(const Line& line);

/// What of a file could not be read, when `lines` lines have been and no more come; empty: nothing.
std::string unreadRest(const Input& input, long long lines);

}  // namespace tramo::cli
