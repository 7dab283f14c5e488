#include "cli/shell/arguments.h"
#include "cli/io/notedinput.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/lines/lineplace.h"
#include "common/suggestion.h"
#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

namespace tramo::cli {

class Arguments::Parser : public CLI::App {};

Arguments::Arguments() : parser(std::make_unique<Parser>()) {
    parser->set_help_flag();
    parser->allow_extras();
    parser->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    flag("-h,--help", wantsHelp);
}

Arguments::~Arguments() = default;

void Arguments::flag(const char* names, bool& given) { parser->add_flag(names, given); }
void Arguments::option(const char* names, std::string& value) { parser->add_option(names, value); }
void Arguments::options(const char* names, std::vector<std::string>& values) {
    parser->add_option(names, values)->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

bool Arguments::has(const char* name) const {
    // Not with CLI::App::count, which ends the program where the name does not find memory.
    return std::ranges::any_of(
        parser->get_options(), [&](const CLI::Option* option) { return option->check_name(name) && option->count() > 0; });
}

std::vector<std::string> Arguments::parse(std::vector<std::string> words) {
    try {
        std::ranges::reverse(words);  // as CLI11 wants them
        parser->parse(std::move(words));
    } catch (const CLI::ArgumentMismatch& error) {
        const std::string what = error.what();
        throw WrongUsage{what.substr(0, what.find(':')) + " needs a value"};
    } catch (const CLI::ParseError& error) { throw WrongUsage{printable(std::string_view(error.what()))}; }
    std::vector<std::string> others = operands();
    if (wantsHelp) throw HelpWanted{};
    // Other programs' --color needs no value: a FILE after it is taken for one, and would only be missed.
    if (const CLI::Option* colour = parser->get_option_no_throw("--color"); colour && colour->count() > 0)
        colourChoice(colour->results().back());
    return others;
}

std::vector<std::string> Arguments::parseFiles(std::vector<std::string> words) {
    std::vector<std::string> files = parse(std::move(words));
    if (files.empty()) missFile();
    for (const std::string& file : files) refuseStandardOutput(file);
    return files;
}

void Arguments::missFile() const {
    std::string message = "a FILE is missing (\"-\" is the standard input)";
    for (const CLI::Option* option : parser->get_options())
        if (option->get_items_expected() > 0 && option->count() > 0 && isFile(option->results().back()))
            message += fmt::format(
                "; \"{}\" is the value of {}", printable(std::string_view(option->results().back())), option->get_name());
    throw WrongUsage{message};
}

std::string Arguments::parseFile(std::vector<std::string> words) {
    const std::vector<std::string> files = parseFiles(std::move(words));
    if (files.size() > 1)
        throw WrongUsage{fmt::format("unexpected argument \"{}\"; expected one FILE", printable(std::string_view(files[1])))};
    return files.front();
}

// CLI11 would make two operands of "[a,b]". "-:10" is a line of the standard input.
std::vector<std::string> Arguments::operands() const {
    std::vector<std::string> all;
    bool noOptions = false;
    for (const std::string& word : parser->remaining()) {
        if (!noOptions && word == "--") noOptions = true;
        else if (!noOptions && word.size() > 1 && word.starts_with('-') && !word.starts_with("-:")) refuse(word);
        else all.push_back(word);
    }
    return all;
}

void Arguments::refuse(std::string_view word) const {
    std::vector<std::string> names;
    for (const CLI::Option* option : parser->get_options())
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    const std::vector<std::string_view> candidates(names.begin(), names.end());
    throw WrongUsage{
        fmt::format("unknown option \"{}\"{}", printable(word), didYouMean(word.substr(0, word.find('=')), candidates))};
}

std::string invalidValue(std::string_view word, const std::vector<std::string_view>& names) {
    return fmt::format("invalid value \"{}\"; expected {}{}", printable(word), listOf(names, "or"), didYouMean(word, names));
}

std::uint64_t number(const char* option, std::string_view word, const char* what) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc{} || end != word.data() + word.size()) {
        const bool isTooLarge = error == std::errc::result_out_of_range;
        throw WrongUsage{fmt::format("{}: invalid {} \"{}\"; expected {}", option, what, printable(word),
            isTooLarge ? "a smaller number" : "digits only")};
    }
    return value;
}

LineRange lineRange(const char* option, std::string_view word) {
    auto lineNumber = [&](std::string_view digits) {
        long long value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (error != std::errc{} || end != digits.data() + digits.size() || value < 1)
            throw WrongUsage{
                fmt::format("{}: invalid lines \"{}\"; expected 3, 3-5 or 3-, counted from 1", option, printable(word))};
        return value;
    };
    const std::size_t dash = word.find('-');
    LineRange range;
    range.first = range.last = lineNumber(word.substr(0, dash));
    if (dash != std::string_view::npos)
        range.last = dash + 1 == word.size() ? LineRange::open : lineNumber(word.substr(dash + 1));
    if (range.last < range.first)
        throw WrongUsage{fmt::format("{}: invalid lines \"{}\"; the last line is before the first", option, printable(word))};
    return range;
}

unsigned threadCount(std::string_view word) {
    constexpr unsigned most = 1024;
    const std::uint64_t count = number("--threads", word, "number of threads");
    if (count > most) throw WrongUsage{fmt::format("--threads: {} threads are too many; the maximum is {}", count, most)};
    return count ? static_cast<unsigned>(count) : usableProcessors();
}

ColourChoice colourChoice(const std::string& word) {
    using enum ColourChoice;
    const std::vector<std::pair<std::string_view, ColourChoice>> choices{{"auto", Auto}, {"always", Always}, {"never", Never}};
    if (std::ranges::none_of(choices, [&](const auto& choice) { return choice.first == word; }) && isFile(word))
        throw WrongUsage{fmt::format("--color needs auto, always or never; \"{}\" is a file: write --color=always {}",
            printable(std::string_view(word)), shellWord(printable(std::string_view(word))))};
    return chosen<ColourChoice>("--color", word, choices);
}

Encoding chosenEncoding(const char* option, const std::string& word) {
    return chosen<Encoding>(option, word, {{"ansi", Encoding::Ansi}, {"utf16le", Encoding::Utf16le}});
}

EncodingChoice encodingChoice(const char* option, const std::string& word) {
    return chosen<EncodingChoice>(
        option, word, {{"auto", std::nullopt}, {"ansi", Encoding::Ansi}, {"utf16le", Encoding::Utf16le}});
}

std::optional<LineKind> kindChoice(const std::string& word) {
    return chosen<std::optional<LineKind>>("--kind", word,
        {{"auto", std::nullopt}, {"record", LineKind::Record}, {"parameter", LineKind::Parameter}, {"tag", LineKind::Tag},
            {"key", LineKind::Key}});
}

}  // namespace tramo::cli
