#include "cli/shell/completion.h"
#include "cli/io/text.h"
#include "cli/shell/arguments.h"
#include "cli/shell/helppage.h"
#include <algorithm>
#include <fmt/format.h>
#include <tramostream/check.h>
#include <tramostream/keyline.h>
#include <tramostream/linemodel.h>

namespace tramo::cli {

namespace {

using Commands = std::span<const Command* const>;

// Shells that read completions, and what "help" can be asked for, which is no Command.
constexpr std::string_view shells[] = {"bash", "zsh", "fish"};
constexpr std::string_view helpPurpose = "show the page of a command";

std::string namesOf(Commands commands) {
    std::string names;
    for (const Command* command : commands) names += fmt::format("{} ", command->name);
    return names + "help";
}

std::vector<HelpOption> optionsOf(const Command& command) {
    std::vector<HelpOption> options = cli::optionsOf(HelpPage(command.help));
    for (HelpOption& option : options) {
        if (option.value == "KIND" && command.kinds) option.choices = command.kinds();
        for (const Rule& rule : rules()) {
            if (option.value == "RULE=WHAT")
                for (const char* what : {"off", "hint", "warning", "error"})
                    option.choices.push_back(fmt::format("{}={}", rule.name, what));
            if (option.value == "RATE|RULE" && isAboutRounds(rule)) option.choices.emplace_back(rule.name);
        }
    }
    return options;
}

// Its operands are kinds, and fields of them: KIND:FIELD.
bool takesFields(const Command& command) {
    for (const HelpRow& row : HelpPage(command.help).rows("Usage"))
        if (row.term.find("[WHAT]") != std::string::npos) return command.kinds != nullptr;
    return false;
}

struct KindFields {
    std::vector<std::string> words;  ///< for the kind: its name, its letter
    std::vector<std::string> fields;
};

std::vector<KindFields> fieldsByKind() {
    std::vector<KindFields> all;
    for (const RecordKind* kind : allKinds()) {
        KindFields& one = all.emplace_back();
        one.words.push_back(hyphenated(kind->name));
        if (kind->letter) one.words.push_back(std::string(1, static_cast<char>(kind->letter)));
        for (const Field& field : kind->fields) one.fields.push_back(field.name);
    }
    KindFields& keys = all.emplace_back();
    keys.words.emplace_back(shapeOf(LineKind::Key).name);
    for (const KeyValue& value : keyValues) keys.fields.emplace_back(value.name);
    return all;
}

std::string quotedWords(const std::vector<std::string>& words) {
    return quotedForShell(fmt::format("{}", fmt::join(words, " ")));
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
        const std::string words = "words=" + quotedWords(option.choices);
        cases += fmt::format(
            "        {}) {}{} ;;\n", patterns, option.takesList ? "list=yes " : "", option.takesFile() ? "files=yes" : words);
    }
    const std::string kinds = takesFields(command) ? fmt::format(" kinds={}", quotedWords(command.kinds())) : "";
    return cases + fmt::format("        {0}:*) files=yes options={1}{2} ;;\n", command.name, quotedForShell(all), kinds);
}

std::string bashFields() {
    std::string cases;
    for (const KindFields& kind : fieldsByKind())
        cases += fmt::format("        {}) words={} ;;\n", fmt::join(kind.words, "|"), quotedWords(kind.fields));
    return cases;
}

std::string bash(Commands commands) {
    std::string cases;
    for (const Command* command : commands) cases += bashCases(*command);
    return fmt::format(R"(# Completion of tramo's command line for bash.
_tramo() {{
    local current=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}}
    local words='' options='' files='' list='' kinds='' kind='' prefix=''
    COMPREPLY=()
    # "--format=json" comes as three words.
    if [[ $current == = ]]; then
        current=''
    elif [[ $before == = ]]; then
        before=${{COMP_WORDS[COMP_CWORD - 2]}}
    fi
    # So does "AMR:version", unless the user has it otherwise.
    if [[ $current == : ]]; then
        kind=$before current=''
    elif [[ $before == : ]]; then
        kind=${{COMP_WORDS[COMP_CWORD - 2]}}
    elif [[ $current == *:* ]]; then
        kind=${{current%%:*}} prefix=${{current%%:*}}:
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
    elif [[ $kinds && $kind ]]; then
        case $kind in
{4}        esac
    elif [[ $kinds ]]; then
        words=$kinds
    elif [[ $list ]]; then
        prefix=${{current%"${{current##*,}}"}}
    fi
    [[ $words ]] && mapfile -t COMPREPLY < <(compgen -P "$prefix" -W "$words" -- "${{current#"$prefix"}}")
    if [[ $files && ! ${{COMPREPLY[*]}} ]]; then
        compopt -o default   # nothing of ours: files, as usual
    fi
}}
complete -F _tramo tramo
)",
        namesOf(commands), namesOf(commands).substr(0, namesOf(commands).rfind(' ')), fmt::join(shells, " "), cases,
        bashFields());
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
        else if (option.takesList) action = fmt::format("{{_values -s , {} {}}}", option.value, fmt::join(option.choices, " "));
        else if (!option.choices.empty()) action = fmt::format("({})", fmt::join(option.choices, " "));
        value = fmt::format(":{}:{}", option.value, action);
    }
    const std::string excluded = option.names.size() > 1 ? fmt::format("({})", fmt::join(option.names, " ")) : "";
    std::string out;
    for (const std::string& name : option.names) {
        const char* joint = name.starts_with("--") ? "=" : "+";
        if (value.empty()) joint = "";
        const std::string all = fmt::format("{}{}{}[{}]{}", excluded, name, joint, escapedForZsh(option.text), value);
        out += " \\\n            " + quotedForShell(all);
    }
    return out;
}

std::string zsh(Commands commands) {
    std::string cases, described, what, byKind;
    for (const Command* command : commands) {
        described += "            " + quotedForShell(fmt::format("{}:{}", command->name, escapedForZsh(command->purpose))) + "\n";
        cases += fmt::format("    {})\n        _arguments -S", command->name);
        for (const HelpOption& option : optionsOf(*command)) cases += zshOption(option);
        const bool fields = takesFields(*command);
        cases += fmt::format(" \\\n            '*:{}' ;;\n", fields ? "WHAT:_tramo_what" : "FILE:_files");
        if (!fields) continue;
        what += fmt::format("        compadd -- {}\n        _files\n        return\n    fi\n", fmt::join(command->kinds(), " "));
    }
    for (const KindFields& kind : fieldsByKind())
        byKind += fmt::format("    {}) compadd -- {} ;;\n", fmt::join(kind.words, "|"), fmt::join(kind.fields, " "));
    return fmt::format(R"(#compdef tramo
# Completion of tramo's command line for zsh.
_tramo_what() {{
    local kind=${{PREFIX%%:*}}
    if ! compset -P 1 '*:'; then
{5}    case $kind in
{6}    esac
}}
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
        _arguments '--man[print a manual page]' '--completion[print a completion script]:SHELL:({2})' '*:COMMAND:({3} format)' ;;
{4}    esac
}}
if [[ $funcstack[1] == _tramo ]]; then _tramo "$@"; else compdef _tramo tramo; fi
)",
        described, helpPurpose, fmt::join(shells, " "), namesOf(commands), cases, what, byKind);
}

// ---- fish ----------------------------------------------------------------------------------------------------------

std::string fishOption(const char* command, const HelpOption& option) {
    std::string out = fmt::format("complete -c tramo -n '__tramo_command {}'", command);
    for (const std::string& name : option.names)
        out += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (option.takesFile()) out += " -r -F";
    else if (!option.value.empty()) out += " -x";
    if (option.takesList) out += fmt::format(" -a '(__tramo_list {})'", fmt::join(option.choices, " "));
    else if (!option.choices.empty()) out += fmt::format(" -a '{}'", fmt::join(option.choices, " "));
    return out + fmt::format(" -d {}\n", quotedForShell(option.text));
}

std::string fishFields(const Command& command) {
    std::string cases;
    for (const KindFields& kind : fieldsByKind())
        cases += fmt::format("        case {}\n            printf \"$typed[1]:%s\\n\" {}\n", fmt::join(kind.words, " "),
            fmt::join(kind.fields, " "));
    return fmt::format(R"(function __tramo_what
    set -l typed (commandline -ct | string split -m 1 :)
    if not set -q typed[2]
        printf '%s\n' {}
        return
    end
    switch $typed[1]
{}    end
end
complete -c tramo -n '__tramo_command {}' -a '(__tramo_what)'
)",
        fmt::join(command.kinds(), " "), cases, command.name);
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
function __tramo_list
    set -l typed (commandline -ct | string replace -r -- '^--[^=]*=' '' | string match -r '.*,')
    printf "$typed%s\n" $argv
end
complete -c tramo -f
complete -c tramo -n __tramo_first -s h -l help -d 'show all commands'
complete -c tramo -n __tramo_first -l version -d 'print the version'
)";
    for (const Command* command : commands)
        out += fmt::format("complete -c tramo -n __tramo_first -a {} -d {}\n", command->name, quotedForShell(command->purpose));
    out += fmt::format(R"(complete -c tramo -n __tramo_first -a help -d '{}'
complete -c tramo -n '__tramo_command help' -l man -d 'print a manual page'
complete -c tramo -n '__tramo_command help' -l completion -x -a '{}' -d 'print a completion script'
complete -c tramo -n '__tramo_command help' -a '{} format'
)",
        helpPurpose, fmt::join(shells, " "), namesOf(commands));
    for (const Command* command : commands) {
        out += fmt::format("complete -c tramo -n '__tramo_command {}' -F\n", command->name);
        if (takesFields(*command)) out += fishFields(*command);
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
