#include "tool.h"
#include <cli/io/console.h>
#include <cli/io/platform.h>
#include <cli/lines/textfile.h>
#include <cstdio>
#include <unistd.h>

namespace fuzz {

namespace {

using namespace tramo::cli;

// The fuzzing engine keeps the standard error that it started with.
bool takeOutputs() {
    silenceLibrary();
    std::FILE* const nowhere = std::fopen(nullDevice, "w");
    stderr = nowhere;
    return nowhere && std::freopen(nullDevice, "w", stdout);
}

}  // namespace

int runCommand(const Command& command, std::vector<std::string> arguments) {
    static const bool ready = takeOutputs();
    FUZZ_CHECK(ready);
    int code = notUsable;
    try {
        code = command.run(std::move(arguments));
    } catch (const Unreadable& unreadable) { FUZZ_CHECK(!unreadable.reason.empty()); } catch (const WriteFailed&) {
        code = notWritten;
    }
    FUZZ_CHECK(code >= nothingFound && code <= notWritten);
    return code;
}

TemporaryFile::TemporaryFile(Bytes content) : ownPath(temporaryFolder() + "/tramo-fuzz-" + std::to_string(getpid())) {
    std::FILE* const file = std::fopen(ownPath.c_str(), "wb");
    FUZZ_CHECK(file != nullptr);
    FUZZ_CHECK(std::fwrite(content.data(), 1, content.size(), file) == content.size());
    FUZZ_CHECK(std::fclose(file) == 0);
}

TemporaryFile::~TemporaryFile() { std::remove(ownPath.c_str()); }

}  // namespace fuzz
