// Texts of fields in forms that are UTF-8. A field can also hold zero characters and unpaired surrogates, which UTF-8 cannot
// represent. Each form escapes them, so that every text comes back unchanged.
#pragma once
#include "cli/lines/longtext.h"
#include "cli/tables/plaintext.h"
#include <fmt/format.h>
#include <optional>
#include <string>
#include <string_view>

namespace tramo::cli {

/// Returns whether spreadsheets take the character for the beginning of a formula. They also take control characters for it.
template <class Char> bool startsFormula(Char c) { return c == '=' || c == '+' || c == '-' || c == '@'; }

// Texts of bytes have one byte for each character, from U+0020 up to U+00FF. They are appended with the same result as wide
// texts, but most of them eight characters at a time.

/// Appends a JSON string with its quotation marks. Characters beyond ASCII are written as \u20ac, an unpaired surrogate as
/// \ud83d.
void appendJson(fmt::memory_buffer& out, std::wstring_view text);
void appendJson(Appender& out, std::string_view text);

/// The same without the quotation marks.
void appendJsonCharacters(fmt::memory_buffer& out, std::wstring_view text);

/// The text as a cell of CSV, SQLite or a workbook: UTF-8, with each backslash doubled; control characters, unpaired
/// surrogates, U+FFFE and U+FFFF are written as \u0000. `harmless`: also a first character that makes a spreadsheet read the
/// cell as a formula.
std::string escaped(std::wstring_view text, bool harmless);

/// Appends the same.
void appendEscaped(fmt::memory_buffer& out, std::wstring_view text, bool harmless);
void appendEscaped(Appender& out, std::string_view text);  ///< not harmless

/// Appends the same, harmless, in quotation marks if a line of CSV needs them.
void appendCsv(fmt::memory_buffer& out, std::wstring_view text);
void appendCsv(Appender& out, std::string_view text);

/// Appends an escaped text as it is within quotation marks.
void appendCsvCharacters(fmt::memory_buffer& out, std::string_view cell);

/// The text of such a cell; nullopt if it is not UTF-8 or has an invalid escape.
std::optional<std::wstring> unescaped(std::string_view cell);

/// Removes the escape at the beginning of a text, which begins with a backslash, and returns its character; nullopt if it is
/// invalid. One for cells, one for JSON.
using TakeEscape = std::optional<wchar_t> (*)(std::string_view& text);
std::optional<wchar_t> takeCellEscape(std::string_view& text);
std::optional<wchar_t> takeJsonEscape(std::string_view& text);

/// A text in UTF-8 with escapes, decoded piece by piece. Does not own its bytes.
class EscapedText : public LongText {
public:
    EscapedText(std::string_view text, TakeEscape takesEscape) : bytes(text), takeEscape(takesEscape) {}

    /// The index of the first byte that is not UTF-8 or begins an invalid escape; nullopt if there is none. Must be called
    /// before the text is used.
    std::optional<std::size_t> firstFault() const {
        return decode([](std::wstring_view) {});
    }

    void forEachPiece(const std::function<void(std::wstring_view)>& use) const override { decode(use); }

private:
    std::optional<std::size_t> decode(const std::function<void(std::wstring_view)>& use) const;

    std::string_view bytes;
    TakeEscape takeEscape;
};

/// The four hexadecimal digits at the beginning of a text; nullopt if it has none.
std::optional<wchar_t> hexUnit(std::string_view text);

/// Whether a file in a folder of tables is a table.
inline bool isTable(std::string_view fileName) { return fileName.size() > 4 && fileName.ends_with(".csv"); }

}  // namespace tramo::cli
