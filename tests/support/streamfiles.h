// Support for the tests of the streams: a folder of their own, files byte by byte, the log, and lines of both sizes.
#pragma once
#include "tramostream/log.h"
#include "tramostream/tramoline.h"
#include <algorithm>
#include <codecvt>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <locale>
#include <string>
#include <string_view>
#include <vector>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace streams {

constexpr int good = std::ios_base::goodbit, eofFlag = std::ios_base::eofbit, failFlag = std::ios_base::failbit;

// A new folder, removed at the end.
class TempFolder {
public:
    TempFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "tramostream-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        folder = name;
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() { std::filesystem::remove_all(folder); }

    std::string path(std::string_view name) const { return (folder / name).string(); }

private:
    std::filesystem::path folder;
};

inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::string& path, std::string_view bytes) {
    std::filesystem::remove(path);  // some file systems write a truncated file to the disk at once
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

// Text as UTF-16, low byte first, optionally with a byte order mark.
inline std::string utf16(std::u16string_view text, bool mark = true) {
    std::string bytes = mark ? "\xFF\xFE" : "";
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8);
    }
    return bytes;
}

// A folder for the files, and a log in it.
class StreamTest : public testing::Test {
protected:
    StreamTest() { io::log::initializer::m_logFileName = path("log"); }
    ~StreamTest() override { io::log::initializer::m_logFileName = "NO_LOG_FILE"; }

    std::string path(std::string_view name) const { return folder.path(name); }
    std::string file(std::string_view name, std::string_view bytes) const {
        writeFile(path(name), bytes);
        return path(name);
    }

    // Changes if a descriptor leaks: the number of open ones; on Windows, the lowest free one.
    static std::ptrdiff_t descriptors() {
#ifdef _WIN32
        const int lowest = _dup(1);
        _close(lowest);
        return lowest;
#else
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
#endif
    }

#ifndef _WIN32
    // Closes the descriptor of a file without the knowledge of its stream.
    static void closeDescriptor(const std::string& path) {
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            if (std::filesystem::read_symlink(entry, gone) != path) continue;
            ::close(std::stoi(entry.path().filename()));
            return;
        }
        throw std::runtime_error("not open: " + path);
    }
#endif

    // The lines of the log after the time of day.
    std::vector<std::string> log() const {
        std::vector<std::string> lines;
        std::ifstream in(path("log"));
        for (std::string line; std::getline(in, line);) lines.push_back(line.substr(std::min<std::size_t>(8, line.size())));
        return lines;
    }

    TempFolder folder;
};

// Sets another global locale during its lifetime.
class GlobalLocale {
public:
    explicit GlobalLocale(const std::locale& locale) : before(std::locale::global(locale)) {}
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;
    ~GlobalLocale() { std::locale::global(before); }

private:
    std::locale before;
};

// A locale in which single-byte text is UTF-8.
inline std::locale utf8Locale() {
#ifdef _WIN32
    return std::locale(std::locale::classic(), new std::codecvt_utf8_utf16<wchar_t>);  // no named locales there
#else
    return std::locale("C.UTF-8");
#endif
}

// The characters of a buffer up to the first zero.
template <std::size_t N> std::wstring textOf(const std::array<wchar_t, N>& line) {
    return {line.begin(), std::find(line.begin(), line.end(), L'\0')};
}

// Returns the message that a function throws; empty if it throws nothing. Every exception other than Error fails the test.
template <class Error, class Operation> std::string thrownBy(Operation operation) {
    try {
        operation();
    } catch (const Error& error) { return error.what(); }
    return {};
}

}  // namespace streams
