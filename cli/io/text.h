// Text of files on its way to people and programs. What could steer a terminal or turn text around (control characters,
// directional and invisible marks) is never handed on as it is.
#pragma once
#include "common/concat.h"
#include "common/named.h"
#include "common/printable.h"
#include "common/utf8.h"
#include <span>
#include <string>
#include <string_view>

namespace tramo::cli {

/// A name as it is looked up: its letters, made small, and its digits.
std::string plainWord(std::string_view name);

/// A name as one word of a command line: "meter-subscriber".
std::string hyphenated(std::string_view name);

/// How a path of the command line is called: "<stdin>" for "-".
std::string nameOf(const std::string& path);

/// As a URI reference: the path's bytes, percent-encoded where they have to be.
std::string uriOf(std::string_view path);

/// "a", "a or b", "a, b or c"; `joint`: "or", "and".
std::string listOf(std::span<const std::string_view> words, std::string_view joint);

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

}  // namespace tramo::cli
