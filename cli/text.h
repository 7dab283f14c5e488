// Text of files on its way to people and programs. What could steer a terminal or turn text around (control characters,
// directional and invisible marks) is never handed on as it is.
#pragma once
#include <string>
#include <string_view>

namespace tramo::cli {

/// As UTF-8, with everything that is not plainly visible written as \x1b or \u202e.
std::string printable(std::wstring_view text);

/// The same of bytes that should be UTF-8: paths and arguments. Other bytes are written as \xe9.
std::string printable(std::string_view bytes);

/// As UTF-8, each half of a surrogate pair that stands alone as U+FFFD. Not for terminals.
std::string toUtf8(std::wstring_view text);

/// The bytes as they are if they are UTF-8; otherwise each byte that is not, as U+FFFD. Not for terminals.
std::string validUtf8(std::string_view bytes);

/// "unknown field" with the name that nothing knows, for a message: in quotation marks, if it looks like a name. Otherwise it
/// may be a key, which is not shown; `instead` tells where it is.
std::string named(std::string_view what, std::string_view name, std::string_view instead = {});

/// A name as it is looked up: its letters, made small, and its digits.
std::string plainWord(std::string_view name);

/// A name as one word of a command line: "meter-subscriber".
std::string hyphenated(std::string_view name);

/// How many characters these bytes are in UTF-8; each byte counts as one where they are not.
std::size_t charactersOfUtf8(std::string_view bytes);

/// How a path of the command line is called: "<stdin>" for "-".
std::string nameOf(const std::string& path);

/// As a URI reference: the path's bytes, percent-encoded where they have to be.
std::string uriOf(std::string_view path);

/// Overwrites a text that may hold a key, and empties it.
void wipe(std::wstring& secret);

/// In single quotes, as sh, bash, zsh and fish read it. fish also knows \\ and \', which no page needs otherwise.
std::string quotedForShell(std::string_view text);

/// A path as a word of a command line: in quotes where it needs them, and never an option.
std::string shellWord(const std::string& path);

/// One line of a file for showing: every character is one that is visible and has a known width. A control character is
/// shown as its picture (U+2409 for a tab), a no-break space as U+2423, and whatever else cannot be shown as U+FFFD.
struct Shown {
    std::string utf8;
    int width;  ///< in columns of a terminal
};
Shown shown(std::wstring_view text);

/// Half of a surrogate pair at `at` whose other half is not beside it.
bool isLoneSurrogate(std::wstring_view text, std::size_t at);

}  // namespace tramo::cli
