// A help page in its parts, for completions and manual pages: what a command can do is written once, in its page.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// A row of a list: a term, two spaces or more, a text that may go on below. Without a text, lines further right go on with
/// the term, each after a line feed.
struct HelpRow {
    std::string term;
    std::string text;
};

/// The text between two empty lines: words, or rows, which are indented and may have a heading: "Options:".
struct HelpBlock {
    std::string heading;  ///< without the colon
    std::string words;
    std::vector<HelpRow> rows;
};

/// All pages have one form: a sentence that says what the command does, "Examples:", "Usage:", "Options:", "Exit codes:",
/// and words where there is more to say.
struct HelpPage {
    explicit HelpPage(std::string_view text);

    std::vector<HelpBlock> blocks;

    /// The rows below a heading; none if the page does not have it.
    std::vector<HelpRow> rows(std::string_view heading) const;
};

/// A row of "Options:", as in "-q, --quiet" or "--encoding WHAT".
struct HelpOption {
    std::vector<std::string> names;
    std::string value;                 ///< what its value is called; empty: it has none
    std::vector<std::string> choices;  ///< the values, where they are called WHAT or WHEN and the text lists them
    bool takesList = false;            ///< several of them, with commas between them: "KIND,..."
    std::string text;                  ///< as far as one line needs it

    bool takesFile() const { return value == "FILE" || value == "OUT"; }
};

std::vector<HelpOption> optionsOf(const HelpPage& page);

/// A row of "Options:" for a page whose text is not fixed, broken to fit 80 columns.
std::string optionRow(std::string_view term, std::string_view text);

}  // namespace tramo::cli
