// Lines that are longer than any valid line. Only the facts for a check are in memory; the text stays in the file.
#pragma once
#include "cli/io/sourcefile.h"
#include "cli/lines/longtext.h"
#include "common/secret.h"
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <tramostream/linekind.h>
#include <utility>

namespace tramo::cli {

/// Decodes characters of a file: bytes, or UTF-16 units with the low byte first. Returns false if they contain a zero character
/// or a surrogate.
bool decode(std::string_view bytes, std::size_t width, SecretText& text);

/// One line, without its line ending.
class LongLine : public LongText {
public:
    /// `place`: the offset of the line in the file; `width`: the bytes of a character.
    LongLine(std::shared_ptr<const SourceFile> source, std::uint64_t place, std::size_t width)
        : file(std::move(source)), from(place), charWidth(width) {}

    /// Adds the next bytes, which are whole characters.
    void add(std::string_view bytes);

    /// Ends the line. A carriage return at its end is part of the line ending.
    void end(bool hasLineFeed);

    bool carriageReturn() const { return hasReturn; }
    bool lineFeed() const { return hasFeed; }

    const LongLineFacts& facts() const { return known; }                           ///< after end()
    std::size_t size() const { return count; }                                     ///< in characters
    std::uint64_t bytes() const { return byteCount + (hasFeed ? charWidth : 0); }  ///< in the file, including the line ending
    std::wstring_view first() const { return head; }                               ///< the first `longestHeld` characters

    /// Returns whether both have the same characters.
    bool operator==(const LongLine& other) const;
    std::uint64_t checksum() const { return sum.value(); }  ///< of its characters

    void forEachPiece(const std::function<void(std::wstring_view)>& use) const override;

private:
    struct Block {
        explicit Block(std::size_t size) : bytes(size, '\0') {}

        SecretBytes bytes;
        SecretText text{};
    };

    void load(std::uint64_t place, Block& block) const;
    void find(std::wstring_view piece);

    std::shared_ptr<const SourceFile> file;
    std::uint64_t from;
    std::size_t charWidth;
    std::uint64_t byteCount = 0;
    std::size_t count = 0;
    bool hasReturn = false, hasFeed = false, looksLikeKeys = false;
    SecretText head, tail, added;
    std::size_t lastFilled = 0, filledBefore = 0, lastOther = 0;  ///< after the last character but spaces, the one before, ...
    Checksum sum;
    LongLineFacts known;
};

/// A line of a file. Its text is valid until the next line is read.
struct Line : SourceLine {
    std::shared_ptr<const LongLine> whole{};  ///< of a line that is longer than `longestHeld`
};

}  // namespace tramo::cli
