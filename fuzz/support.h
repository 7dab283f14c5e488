// Support for the fuzz targets.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#define FUZZ_CHECK(condition) ((condition) ? void(0) : fuzz::fail(#condition, __FILE__, __LINE__))

namespace fuzz {

using Bytes = std::span<const std::uint8_t>;

[[noreturn]] void fail(const char* condition, const char* file, int line);

/// Removes and returns the first byte; 0 if there is none.
inline unsigned takeByte(Bytes& bytes) {
    if (bytes.empty()) return 0;
    const unsigned first = bytes[0];
    bytes = bytes.subspan(1);
    return first;
}

/// Removes and returns a value of some bytes; missing ones are zeros.
inline std::uint64_t takeNumber(Bytes& bytes, int count) {
    std::uint64_t number = 0;
    for (int i = 0; i < count; ++i) number |= std::uint64_t{takeByte(bytes)} << 8 * i;
    return number;
}

/// Returns a character for each byte, or for each two bytes, the low one first.
inline std::wstring textOf(Bytes bytes, bool wide) {
    std::wstring text;
    if (wide)
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) text += static_cast<wchar_t>(bytes[i] | bytes[i + 1] << 8);
    else text.assign(bytes.begin(), bytes.end());
    return text;
}

/// Returns the bytes of a file with this text; if wide, in UTF-16 with a byte order mark.
std::vector<std::uint8_t> encoded(const std::wstring& text, bool wide);

/// Replaces each zero by the spaces that its line lacks to be a record, because chance seldom makes a line of the right length.
std::wstring withSpaces(const std::wstring& text);

/// Returns the text in UTF-8. Half of a surrogate pair becomes U+FFFD.
std::string utf8Of(const std::wstring& text);

/// A file in memory that has a path.
class File {
public:
    File();
    explicit File(Bytes content);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    const char* path() const { return ownPath.c_str(); }
    std::string content() const;

private:
    int descriptor;
    std::string ownPath;
};

/// Stops all messages and log lines of the library. Returns true.
bool silenceLibrary();

/// Sets a time zone far from UTC, with summer time. Returns true.
bool takeZone();

}  // namespace fuzz
