#include "cli/io/console.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace tramo::cli {

namespace {

using namespace std::chrono_literals;

bool isSet(const char* variable) {
    const char* value = std::getenv(variable);
    return value && *value;
}

// Ignores errors: a standard error that cannot be written must not stop the command.
void say(std::string_view text) { (void)writeTo(stderr, text); }

// Whether the cursor is after a progress line.
std::atomic<bool> progressVisible = false;

std::string amount(std::uint64_t bytes) {
    return bytes < 1'000'000 ? fmt::format("{} KB", bytes / 1000) : fmt::format("{} MB", bytes / 1'000'000);
}

// Returns the longest end of the text that fits into the columns, if every character beyond ASCII takes two.
std::string_view endOf(std::string_view text, std::size_t columns) {
    std::size_t begin = text.size();
    for (std::size_t at = text.size(); at-- > 0;) {
        if (utf8::isContinuation(text[at])) continue;
        const std::size_t width = static_cast<unsigned char>(text[at]) < 0x80 ? 1 : 2;
        if (width > columns) break;
        columns -= width;
        begin = at;
    }
    return text.substr(begin);
}

}  // namespace

Progress::Progress() : enabled(isTerminal(stderr)), due(std::chrono::steady_clock::now() + 500ms) {}

void Progress::show(std::string_view what, std::uint64_t done, std::uint64_t all) {
    if (!enabled || std::chrono::steady_clock::now() < due) return;
    due = std::chrono::steady_clock::now() + 200ms;
    const std::string how = all ? fmt::format(" {} %", std::min(done, all) * 100 / all) : fmt::format(" {}", amount(done));
    const auto width = static_cast<std::size_t>(std::max(terminalWidth(stderr), 0));
    say(fmt::format("\r{}{}\x1b[K", width > how.size() ? endOf(what, width - how.size() - 1) : what, how));
    progressVisible = true;
}

void Progress::wipe() {
    if (progressVisible.exchange(false)) say("\r\x1b[K");
}

Output::Output() : isTerminal(cli::isTerminal(stdout)), enough(isTerminal ? 1 : 1 << 16) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
}

void Output::flush() {
    if (isTerminal) Progress::wipe();
    const bool complete = writeTo(stdout, {text.data(), text.size()});
    text.clear();
    if (!complete) throw WriteFailed{"the standard output", errno};
}

bool wantsColour(ColourChoice choice, std::FILE* stream) {
    if (choice != ColourChoice::Auto) return choice == ColourChoice::Always;
    const char* terminal = std::getenv("TERM");
    return isTerminal(stream) && !isSet("NO_COLOR") && !(terminal && std::string_view(terminal) == "dumb");
}

void complain(std::string_view message) { complainAsItIs(fmt::format("tramo: {}\n", printable(message)).c_str()); }

void complainAsItIs(const char* text) {
    Progress::wipe();
    say(text);
}

void closeStandardOutput() {
    Progress::wipe();
    if (!closeFile(stdout)) throw WriteFailed{"the standard output", errno};
}

}  // namespace tramo::cli
