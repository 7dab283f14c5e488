#include "support.h"
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <tramostream/log.h>
#include <unistd.h>

namespace fuzz {

namespace {

std::FILE* const messages = stderr;  // a target may replace the stream

void putUtf8(std::string& out, std::uint32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
        return;
    }
    const int more = c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    const std::uint32_t lead = more == 1 ? 0xC0 : more == 2 ? 0xE0 : 0xF0;
    out += static_cast<char>(lead | c >> 6 * more);
    for (int i = more - 1; i >= 0; --i) out += static_cast<char>(0x80 | (c >> 6 * i & 0x3F));
}

}  // namespace

std::vector<std::uint8_t> encoded(const std::wstring& text, bool wide) {
    std::vector<std::uint8_t> bytes;
    if (wide) bytes = {0xFF, 0xFE};
    for (const wchar_t c : text) {
        bytes.push_back(static_cast<std::uint8_t>(c & 0xFF));
        if (wide) bytes.push_back(static_cast<std::uint8_t>(c >> 8));
    }
    return bytes;
}

std::wstring withSpaces(const std::wstring& text) {
    constexpr std::size_t lineLength = 512;
    std::wstring longer;
    std::size_t begin = 0;
    for (const wchar_t c : text) {
        if (c == 0) longer.resize(std::max(longer.size(), begin + lineLength), L' ');
        else longer += c;
        if (c == L'\n') begin = longer.size();
    }
    return longer;
}

std::string utf8Of(const std::wstring& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto unit = static_cast<std::uint32_t>(text[i]);
        const auto next = i + 1 < text.size() ? static_cast<std::uint32_t>(text[i + 1]) : 0;
        if (unit >= 0xD800 && unit < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
            putUtf8(out, 0x10000 + (unit - 0xD800) * 0x400 + next - 0xDC00);
            ++i;
        } else {
            putUtf8(out, unit >= 0xD800 && unit < 0xE000 ? 0xFFFD : unit);
        }
    }
    return out;
}

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

bool takeZone() {
    setenv("TZ", "Europe/Paris", 1);
    tzset();
    return true;
}

}  // namespace fuzz
