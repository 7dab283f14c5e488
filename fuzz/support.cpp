#include "support.h"
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <tramostream/log.h>
#include <unistd.h>

namespace fuzz {

namespace {

std::FILE* const messages = stderr;  // a target may replace the stream

}  // namespace

void fail(const char* condition, const char* file, int line) {
    std::fprintf(messages, "%s:%d: not so: %s\n", file, line, condition);
    std::abort();
}

File::File() : descriptor(memfd_create("fuzz", 0)), ownPath("/proc/self/fd/" + std::to_string(descriptor)) {
    FUZZ_CHECK(descriptor >= 0);
}

File::File(Bytes content) : File() {
    FUZZ_CHECK(write(descriptor, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
}

File::~File() { close(descriptor); }

std::string File::content() const {
    struct stat status {};
    FUZZ_CHECK(fstat(descriptor, &status) == 0);
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    FUZZ_CHECK(pread(descriptor, bytes.data(), bytes.size(), 0) == status.st_size);
    return bytes;
}

bool silenceLibrary() {
    io::log::initializer::m_logFileName = "/dev/null";
    std::cout.setstate(std::ios_base::failbit);
    std::wcout.setstate(std::ios_base::failbit);
    return true;
}

}  // namespace fuzz
