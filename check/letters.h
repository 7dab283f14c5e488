// Recognizes the code page of text in one byte for each character, from the neighbors of its bytes above 7F.
#pragma once
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace tramo {

enum class CodePage { Windows1252, Dos850, Dos437, MacRoman };

// The number of bytes above 7F, by byte and by the kinds of their neighbors, in the first lines that have some. Memory is taken
// when the first one comes.
class Letters {
public:
    explicit Letters(std::uint64_t linesToCount = usualLines) : mostLines(linesToCount) {}

    // Returns whether the line has such bytes.
    bool add(std::string_view line);

    // Adds a line of characters up to U+00FF; ignores lines with others.
    bool add(std::wstring_view line);

    Letters& operator+=(const Letters& next);

    // The code page in which most letters stand where letters can stand: Windows1252 unless another one is much better.
    CodePage codePage() const;

    // Returns the code page if it is certain: its letters stand where letters can stand, and in every other code page, some do
    // not, or the text is the same. nullopt: it is not certain. Nothing is certain of a few letters.
    std::optional<CodePage> certainCodePage() const;

    static constexpr std::size_t contexts = 25;  // pairs of neighbors

private:
    using Counts = std::array<std::array<std::uint32_t, contexts>, 128>;
    template <class Char> void count(std::basic_string_view<Char> line, std::size_t first, std::size_t end);

    static constexpr int usualLines = 32;  // of one part of a file
    std::unique_ptr<Counts> counts;
    std::uint64_t mostLines, lines = 0;
};

// The character of a byte above 7F in this code page; U+FFFD: none.
char16_t characterOf(CodePage page, unsigned char byte);

// The byte of this character in Windows-1252, or -1.
int windowsByteOf(wchar_t c);

}  // namespace tramo
