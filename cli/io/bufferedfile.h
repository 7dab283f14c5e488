// An output file with a buffer in memory.
#pragma once
#include "cli/io/outfile.h"
#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace tramo::cli {

class BufferedFile {
public:
    /// Every operation throws WriteFailed.
    explicit BufferedFile(const std::string& path, OutFile::Mode mode = {}, const std::string& name = {})
        : file(path, mode, name) {}

    template <class... T> void print(fmt::format_string<T...> format, T&&... arguments) {
        fmt::format_to(fmt::appender(text), format, std::forward<T>(arguments)...);
    }

    /// Writes the buffer if it is large. Call it after each part of the output.
    void settle() {
        if (text.size() >= largeSize) flush();
    }

    /// Appends a part of the output.
    void add(std::string_view part) {
        if (part.size() < largeSize) {
            text.append(part.data(), part.data() + part.size());
            return settle();
        }
        flush();
        file.write(part);
    }
    void keepSecret() { file.keepSecret(); }
    void commit() {
        flush();
        file.commit();
    }

    fmt::memory_buffer text;

private:
    static constexpr std::size_t largeSize = 1 << 16;

    void flush() {
        file.write({text.data(), text.size()});
        text.clear();
    }

    OutFile file;
};

}  // namespace tramo::cli
