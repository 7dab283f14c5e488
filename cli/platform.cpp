#include "platform.h"
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace tramo::cli {

bool isTerminal(std::FILE* stream) { return isatty(fileno(stream)) == 1; }

void reserveStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(descriptor, F_GETFD) == -1 && open(nullDevice, descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) == -1)
            std::abort();
}

void ignoreClosedPipes() { std::signal(SIGPIPE, SIG_IGN); }

std::string reasonOf(int errorNumber) { return std::generic_category().message(errorNumber); }

namespace {

// The file has a name only while no signal can end the process.
std::FILE* namelessFile(const std::string& folder) {
    std::string name = folder + "/tramo.XXXXXX";
    sigset_t all, before;
    sigfillset(&all);
    sigprocmask(SIG_SETMASK, &all, &before);
    const int descriptor = mkstemp(name.data());  // mode 0600
    const int error = errno;
    if (descriptor >= 0) unlink(name.c_str());
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (descriptor < 0) throw WriteFailed{"a temporary file in " + folder, error};
    return fdopen(descriptor, "w+b");
}

}  // namespace

Spool::Spool(std::FILE* source) {
    const char* variable = std::getenv("TMPDIR");
    const std::string folder = variable && *variable ? variable : "/tmp";
    copy = namelessFile(folder);
    std::setvbuf(copy, nullptr, _IONBF, 0);
    ownPath = "/dev/fd/" + std::to_string(fileno(copy));

    std::array<char, 65536> block;
    while (const std::size_t count = std::fread(block.data(), 1, block.size(), source)) {
        if (std::fwrite(block.data(), 1, count, copy) == count) continue;
        const int error = errno;
        std::fclose(copy);
        throw WriteFailed{"a temporary file in " + folder, error};
    }
    if (!std::ferror(source)) return;
    const int error = errno;
    std::fclose(copy);
    throw std::system_error(error, std::generic_category());
}

Spool::~Spool() { std::fclose(copy); }

}  // namespace tramo::cli
