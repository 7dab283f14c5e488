// tramo: runs a command and reports the failures that all commands have in common.
#include "cli/io/console.h"
#include "cli/io/outfile.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/shell/command.h"
#include "cli/shell/completion.h"
#include "cli/shell/manual.h"
#include "common/suggestion.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fmt/format.h>
#include <new>
#include <tramostream/messages.h>
#include <utility>

namespace tramo::cli {

namespace {

constexpr std::array commands{&anonymizeCommand, &checkCommand, &convertCommand, &diffCommand, &explainCommand, &exportCommand,
    &importCommand, &keysCommand, &reconcileCommand, &repairCommand, &reportCommand, &rewriteCommand, &sampleCommand,
    &showCommand, &statsCommand};

std::string overview() {
    std::string page = R"(tramo checks, shows, compares and converts exchange files of meter reading.

Examples:
  tramo check samples/round-broken.txt   all findings of a file, and a summary
  tramo help check                       the page of a command

Usage: tramo COMMAND [ARGUMENT]...

Commands:
)";
    for (const Command* command : commands) page += fmt::format("  {:<12} {}\n", command->name, command->purpose);
    page += R"(  help         show this page or the page of a command; "--man [COMMAND]"
               prints a manual page for man(1), "--man format" the manual page
               of the format, "--completion bash|zsh|fish" a completion script

Options:
  -h, --help   show this page; after a command, the page of that command
  --version    print the version

Exit codes:
  0  success; no errors or warnings
  1  errors, warnings, differences or losses were found
  2  the command line is invalid, or a file cannot be read
  3  the output could not be written
)";
    return page;
}

const Command& find(const std::string& name) {
    for (const Command* command : commands)
        if (name == command->name) return *command;
    std::vector<std::string_view> names{"help"};
    for (const Command* command : commands) names.push_back(command->name);
    throw WrongUsage{fmt::format("unknown command \"{}\"{}", printable(std::string_view(name)), didYouMean(name, names))};
}

// Refuses an unknown option before the command.
[[noreturn]] void refuseOption(const std::string& word, bool isAlone) {
    static constexpr std::string_view own[] = {"--help", "--version"};
    const std::string name = printable(std::string_view(word));
    const std::string suggestion = didYouMean(word, own);
    if (isAlone || !suggestion.empty()) throw WrongUsage{fmt::format("unknown option \"{}\"{}", name, suggestion)};
    throw WrongUsage{fmt::format("the command must come first, before \"{}\"", name)};
}

std::string help(const std::vector<std::string>& words) {
    if (words.empty() || words[0] == "help" || words[0] == "--help" || words[0] == "-h") return overview();
    const std::string second = words.size() > 1 ? words[1] : "";
    if (words[0] == "--completion") return completionFor(second, commands);
    if (words[0] != "--man") return find(words[0]).help;
    if (second == "format") return formatManualPage();
    if (second.empty())
        return manualPage("", "check, show, compare and convert exchange files of meter reading", overview(), commands);
    const Command& command = find(second);
    return manualPage(command.name, command.purpose, command.help, commands);
}

void show(std::string_view page) {
    Output out;
    out.print("{}", page);
    out.flush();
}

const Command* running = nullptr;

int run(const std::vector<std::string>& arguments) {
    if (arguments.empty()) throw WrongUsage{"a command is missing"};
    const std::string& first = arguments[0];
    const std::vector<std::string> others(arguments.begin() + 1, arguments.end());
    if (first == "--version") {
        show("tramo " TRAMO_VERSION "\n");
        return nothingFound;
    }
    if (first == "help" || first == "--help" || first == "-h") {
        show(help(others));
        return nothingFound;
    }
    if (first.starts_with('-')) refuseOption(first, others.empty());
    const Command& command = find(first);
    running = &command;
    try {
        return command.run(others);
    } catch (const HelpWanted&) {
        show(command.help);
        return nothingFound;
    } catch (WrongUsage& wrong) {
        wrong.command = command.name;
        throw;
    }
}

}  // namespace

namespace {

// Runs the command; reports a failure and returns its exit code.
int runAndReport(const std::vector<std::string>& arguments) {
    try {
        const int code = run(arguments);
        closeStandardOutput();
        return code;
    } catch (const WrongUsage& wrong) {
        const bool ofCommand = !wrong.command.empty();
        complain(ofCommand ? wrong.command + ": " + wrong.message : wrong.message);
        complain(fmt::format("try \"tramo help{}{}\"", ofCommand ? " " : "", wrong.command));
        return notUsable;
    } catch (const Unreadable& failure) {
        complain(failure.file.empty() ? failure.reason : printable(nameOf(failure.file)) + ": " + failure.reason);
        return notUsable;
    } catch (const WriteFailed& failed) {
        // Whoever closed the pipe has seen enough.
        Progress::wipe();
        if (failed.error != EPIPE)
            complain(fmt::format(
                "cannot write {}: {}", failed.target, failed.reason.empty() ? reasonOf(failed.error) : failed.reason));
        return notWritten;
    }
}

// Constants of libraries allocate memory before `main` begins; what they throw cannot be caught.
[[noreturn]] void endStart() {
    complainAsItIs("tramo: out of memory while starting\n");
    std::_Exit(notUsable);
}

struct Start {
    std::terminate_handler before = std::set_terminate(endStart);
};
[[gnu::init_priority(101)]] const Start start;  // before those constants

// Reports it without allocating memory.
int complainOutOfMemory() {
    const bool writes = OutFile::anyBegun();
    std::array<char, 80> message;
    (void)std::snprintf(message.data(), message.size(), "tramo: %s%sout of memory while %s\n", running ? running->name : "",
        running ? ": " : "", writes ? "writing" : "reading");
    complainAsItIs(message.data());
    return writes ? notWritten : notUsable;
}

}  // namespace

int runWithinMemory(char** begin, char** end) {
    std::set_terminate(start.before);
    try {
        return runAndReport({begin, end});
    } catch (const std::bad_alloc&) { return complainOutOfMemory(); }
}

}  // namespace tramo::cli

int main(int count, char* arguments[]) {
    tramo::cli::reserveStandardStreams();
    tramo::cli::letWritesFail();
    tramo::setMessages(tramo::Messages::Silent);  // the tool prints findings of its own
    return tramo::cli::runWithinMemory(arguments + std::min(count, 1), arguments + count);
}
