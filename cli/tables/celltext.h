// Texts of fields in forms that are UTF-8. A field can hold what that cannot: zero characters, and halves of surrogate
// pairs that stand alone. Each form has its escapes for them, so that every text comes back as it was.
#pragma once
#include "cli/lines/longtext.h"
#include <fmt/format.h>
#include <optional>
#include <string>
#include <string_view>

namespace tramo::cli {

/// As a JSON string, in quotation marks. Everything beyond ASCII is written as \u20ac, half a pair as \ud83d.
void appendJson(fmt::memory_buffer& out, std::wstring_view text);

/// The same without the quotation marks.
void appendJsonCharacters(fmt::memory_buffer& out, std::wstring_view text);

/// As a cell of CSV, SQLite or a workbook: UTF-8, a backslash doubled; control characters, lone halves of pairs, U+FFFE
/// and U+FFFF as \u0000.
/// `harmless`: so is a first character that makes a spreadsheet take the cell for a formula.
std::string escaped(std::wstring_view text, bool harmless);

/// The text of such a cell; nullopt when it is not UTF-8 or has a backslash that begins no escape.
std::optional<std::wstring> unescaped(std::string_view cell);

/// Takes an escape, which is there, from the beginning of a text; nullopt when it is none. Of a cell, and of JSON.
using TakeEscape = std::optional<wchar_t> (*)(std::string_view& text);
std::optional<wchar_t> takeCellEscape(std::string_view& text);
std::optional<wchar_t> takeJsonEscape(std::string_view& text);

/// A text in UTF-8 with escapes, which is decoded piece by piece; the bytes stay where they are.
class EscapedText : public LongText {
public:
    EscapedText(std::string_view text, TakeEscape takesEscape) : bytes(text), takeEscape(takesEscape) {}

    /// To be called before it is used: the place of what is not UTF-8 or begins an invalid escape; nullopt when there is none.
    std::optional<std::size_t> firstFault() const {
        return decode([](std::wstring_view) {});
    }

    void forEachPiece(const std::function<void(std::wstring_view)>& use) const override { decode(use); }

private:
    std::optional<std::size_t> decode(const std::function<void(std::wstring_view)>& use) const;

    std::string_view bytes;
    TakeEscape takeEscape;
};

/// The four hexadecimal digits at the beginning of a text; nullopt when there are none.
std::optional<wchar_t> hexUnit(std::string_view text);

/// Whether a file of a folder of tables is one.
inline bool isTable(std::string_view fileName) { return fileName.size() > 4 && fileName.ends_with(".csv"); }

}  // namespace tramo::cli
