#include "completion.h"
#include "arguments.h"
#include "helppage.h"
#include <algorithm>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

using Commands = std::span<const Command* const>;

// Shells that read completions, and what "help" can be asked for, which is no Command.
constexpr std::string_view shells[] = {"bash", "zsh", "fish"};
constexpr std::string_view helpPurpose = "what a command does, as a page";

std::string namesOf(Commands commands) {
    std::string names;
    for (const Command* command : commands) names += fmt::format("{} ", command->name);
    return names + "help";
}

std::vector<HelpOption> optionsOf(const Command& command) { return cli::optionsOf(HelpPage(command.help)); }

/// In single quotes, as all three shells read it. fish also knows \\ and \', which no page needs otherwise.
std::string quotedForShell(std::string_view text) {
    std::string out = "'";
    for (const char c : text)
        if (c == '\'') out += "'\\''";
        else out += c;
    return out + "'";
}

// ---- bash ----------------------------------------------------------------------------------------------------------

std::string bashCases(const Command& command) {
    std::string cases, all;
    for (const HelpOption& option : optionsOf(command)) {
        all += fmt::format("{}{}", all.empty() ? "" : " ", fmt::join(option.names, " "));
        if (option.value.empty()) continue;
        std::string patterns;
        for (const std::string& name : option.names)
            patterns += fmt::format("{}{}:{}", patterns.empty() ? "" : "|", command.name, name);
        const std::string words = fmt::format("words={}", quotedForShell(fmt::format("{}", fmt::join(option.choices, " "))));
        cases += fmt::format("        {}) {} ;;\n", patterns, option.takesFile() ? "files=yes" : words);
    }
    return cases + fmt::format("        {0}:*) files=yes options={1} ;;\n", command.name, quotedForShell(all));
}

std::string bash(Commands commands) {
    std::string cases;
    for (const Command* command : commands) cases += bashCases(*command);
    return fmt::format(R"(# Completion of tramo's command line for bash.
_tramo() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}} words='' options='' files=''
    COMPREPLY=()
    # "--format=json" comes as three words.
    if [[ $current == = ]]; then
        current=''
    elif [[ $before == = ]]; then
        before=${{COMP_WORDS[COMP_CWORD - 2]}}
    fi
    if ((COMP_CWORD == 1)); then
        words='{0}' options='-h --help --version'
    elif [[ " ${{COMP_WORDS[*]:2:COMP_CWORD - 2}} " == *" -- "* ]]; then
        files=yes
    else
        case ${{COMP_WORDS[1]}}:$before in
        help:--man) words='{1} format' ;;
        help:--completion) words='{2}' ;;
        help:*) words='{0}' options='--completion --man' ;;
{3}        esac
    fi
    if [[ $current == -* && $options ]]; then
        words=$options
    elif [[ $files ]]; then
        compopt -o default   # nothing of ours: files, as usual
        return
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}}
complete -F _tramo tramo
)",
        namesOf(commands), namesOf(commands).substr(0, namesOf(commands).rfind(' ')), fmt::join(shells, " "), cases);
}

// ---- zsh -----------------------------------------------------------------------------------------------------------

std::string escapedForZsh(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') out += '\\';
        out += c;
    }
    return out;
}

std::string zshOption(const HelpOption& option) {
    std::string value;
    if (!option.value.empty()) {
        std::string action = " ";
        if (option.takesFile()) action = "_files";
        else if (!option.choices.empty()) action = fmt::format("({})", fmt::join(option.choices, " "));
        value = fmt::format(":{}:{}", option.value, action);
    }
    const std::string excluded = option.names.size() > 1 ? fmt::format("({})", fmt::join(option.names, " ")) : "";
    std::string out;
    for (const std::string& name : option.names) {
        const char* joint = value.empty() ? "" : name.starts_with("--") ? "=" : "+";
        const std::string all = fmt::format("{}{}{}[{}]{}", excluded, name, joint, escapedForZsh(option.text), value);
        out += " \\\n            " + quotedForShell(all);
    }
    return out;
}

std::string zsh(Commands commands) {
    std::string cases, described;
    for (const Command* command : commands) {
        described += "            " + quotedForShell(fmt::format("{}:{}", command->name, escapedForZsh(command->purpose))) + "\n";
        cases += fmt::format("    {})\n        _arguments -S", command->name);
        for (const HelpOption& option : optionsOf(*command)) cases += zshOption(option);
        cases += " \\\n            '*:FILE:_files' ;;\n";
    }
    return fmt::format(R"(#compdef tramo
# Completion of tramo's command line for zsh.
_tramo() {{
    local -a commands
    if ((CURRENT == 2)); then
        commands=(
{0}            'help:{1}'
        )
        _describe command commands -- '(--help --version)'
        return
    fi
    shift words
    ((CURRENT -= 1))
    case $words[1] in
    help)
        _arguments '--man[as a manual page]' '--completion[for a shell]:SHELL:({2})' '*:COMMAND:({3} format)' ;;
{4}    esac
}}
if [[ $funcstack[1] == _tramo ]]; then _tramo "$@"; else compdef _tramo tramo; fi
)",
        described, helpPurpose, fmt::join(shells, " "), namesOf(commands), cases);
}

// ---- fish ----------------------------------------------------------------------------------------------------------

std::string fishOption(const char* command, const HelpOption& option) {
    std::string out = fmt::format("complete -c tramo -n '__tramo_command {}'", command);
    for (const std::string& name : option.names)
        out += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (option.takesFile()) out += " -r -F";
    else if (!option.value.empty()) out += " -x";
    if (!option.choices.empty()) out += fmt::format(" -a '{}'", fmt::join(option.choices, " "));
    return out + fmt::format(" -d {}\n", quotedForShell(option.text));
}

std::string fish(Commands commands) {
    std::string out = R"(# Completion of tramo's command line for fish.
function __tramo_first
    test (count (commandline -opc)) -eq 1
end
function __tramo_command
    set -l words (commandline -opc)
    test (count $words) -gt 1; and contains -- $words[2] $argv
end
complete -c tramo -f
complete -c tramo -n __tramo_first -s h -l help -d 'all commands'
complete -c tramo -n __tramo_first -l version -d 'the version'
)";
    for (const Command* command : commands)
        out += fmt::format("complete -c tramo -n __tramo_first -a {} -d {}\n", command->name, quotedForShell(command->purpose));
    out += fmt::format(R"(complete -c tramo -n __tramo_first -a help -d '{}'
complete -c tramo -n '__tramo_command help' -l man -d 'as a manual page'
complete -c tramo -n '__tramo_command help' -l completion -x -a '{}' -d 'for a shell'
complete -c tramo -n '__tramo_command help' -a '{} format'
)",
        helpPurpose, fmt::join(shells, " "), namesOf(commands));
    for (const Command* command : commands) {
        out += fmt::format("complete -c tramo -n '__tramo_command {}' -F\n", command->name);
        for (const HelpOption& option : optionsOf(*command)) out += fishOption(command->name, option);
    }
    return out;
}

}  // namespace

std::string completionFor(const std::string& shell, Commands commands) {
    using Script = std::string (*)(Commands);
    return chosen<Script>("--completion", shell, {{shells[0], bash}, {shells[1], zsh}, {shells[2], fish}})(commands);
}

}  // namespace tramo::cli
