// The arguments of a command.
#pragma once
#include "cli/io/console.h"
#include "cli/lines/input.h"
#include "cli/shell/command.h"
#include <cstdint>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tramo::cli {

/// A command's options, which are named first, "-o,--output"; -h and --help are known already. Then the words are parsed.
class Arguments {
public:
    Arguments();
    ~Arguments();

    void flag(const char* names, bool& given);
    void option(const char* names, std::string& value);                 ///< the last one counts
    void options(const char* names, std::vector<std::string>& values);  ///< all of them count

    /// Returns the words that are not options, in order and unchanged. Throws WrongUsage, with the closest match, and HelpWanted.
    std::vector<std::string> parse(std::vector<std::string> words);

    /// The same for a command that takes exactly one FILE.
    std::string parseFile(std::vector<std::string> words);

    /// The same for a command that takes one FILE or more.
    std::vector<std::string> parseFiles(std::vector<std::string> words);

    /// Throws WrongUsage: a FILE is missing. Names the option that has taken one for its value.
    [[noreturn]] void missFile() const;

    /// Whether an option was among the words.
    bool has(const char* name) const;

private:
    class Parser;  // apart, because the header of CLI11 takes longer to compile than most commands

    std::vector<std::string> operands() const;
    [[noreturn]] void refuse(std::string_view word) const;

    std::unique_ptr<Parser> parser;
    bool wantsHelp = false;
};

/// `invalid value "x"; expected abc or xy; did you mean "xy"?`
std::string invalidValue(std::string_view word, const std::vector<std::string_view>& names);

/// The value that a word names. Throws WrongUsage with the list of the words.
template <class T>
T chosen(const char* option, const std::string& word, const std::vector<std::pair<std::string_view, T>>& choices) {
    std::vector<std::string_view> names;
    for (const auto& [name, value] : choices) {
        if (word == name) return value;
        names.push_back(name);
    }
    throw WrongUsage{fmt::format("{}: {}", option, invalidValue(word, names))};
}

/// Parses an integer; `what` names it in the message: "number of findings". Throws WrongUsage.
std::uint64_t number(const char* option, std::string_view word, const char* what);

/// "3", "3-5" and "3-". Throws WrongUsage.
LineRange lineRange(const char* option, std::string_view word);

/// The value of --threads, which is 0 for all processors that this process may use.
unsigned threadCount(std::string_view word);

ColourChoice colourChoice(const std::string& word);

/// The encoding of a file to be written: ansi, utf16le.
Encoding chosenEncoding(const char* option, const std::string& word);

/// The encoding of a file to be read: auto, ansi, utf16le.
EncodingChoice encodingChoice(const char* option, const std::string& word);

/// The value of --kind: auto, which is nullopt, or a kind of lines.
std::optional<LineKind> kindChoice(const std::string& word);

}  // namespace tramo::cli
