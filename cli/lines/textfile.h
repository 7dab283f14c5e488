// The text of an exchange file, a piece at a time: as much of it is in memory as a piece needs, whatever the file's size.
//
// Lines, their ends and the end of the text are where iFileStream has them under the classic locale. What is different:
// pieces can be taken apart on several threads, and a file need not fit into memory.
#pragma once
#include "cli/io/sourcefile.h"
#include "cli/io/text.h"
#include "cli/lines/longline.h"
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <vector>

namespace tramo::cli {

/// Some lines, whole, as they stand in the file; or one long line, which stays there.
struct Piece {
    std::string_view bytes{};
    std::size_t width = 1;    ///< of a character, in bytes: 1, or 2 with the low byte first
    long long firstLine = 1;  ///< the number of its first line
    std::shared_ptr<const LongLine> longLine{};

    std::uint64_t size() const { return longLine ? longLine->bytes() : bytes.size(); }
};

/// The same with bytes of its own, which stay as long as they are needed.
struct KeptPiece : Piece {
    KeptPiece() = default;
    KeptPiece(const KeptPiece&) = delete;
    KeptPiece& operator=(const KeptPiece&) = delete;

    void keep(const Piece& piece) {
        own = piece.bytes;
        static_cast<Piece&>(*this) = piece;
        bytes = own;
    }

private:
    std::string own;
};

/// Takes a piece apart.
class PieceReader {
public:
    PieceReader() = default;
    explicit PieceReader(const Piece& of) : piece(of) {}

    PieceReader(const PieceReader&) = delete;
    PieceReader& operator=(const PieceReader&) = delete;

    void start(const Piece& with) { piece = with; }

    /// The next line; false behind the last one.
    bool next(Line& line);

private:
    Piece piece;
    SecretText text;  ///< of the last line
};

class TextFile {
public:
    /// Large enough for reading and handing over to cost nothing, small enough for a processor's own memory.
    static constexpr std::size_t usualPiece = 128 * 1024;

    /// Reads a regular file up to a place in it. Of UTF-16 text the first two bytes are the mark. Operations throw Unreadable.
    TextFile(std::shared_ptr<const SourceFile> source, bool utf16, std::uint64_t end);

    /// Reads to the end of the file, as it is now.
    static constexpr std::uint64_t noEnd = std::numeric_limits<std::uint64_t>::max();

    /// Goes to a place where so many lines are before it. False: no line ends there.
    bool goTo(std::uint64_t place, long long lines);

    /// At most so many of the next lines; false at the end of the text. The piece is valid until the next call.
    bool next(Piece& piece, long long mostLines);

    /// No line is left.
    bool atEnd();

    /// At the end: because a line begins with U+FFFF.
    bool hasUnreadText() const { return endsHere(0); }

    std::uint64_t bytesRead() const { return bytesBefore; }
    long long linesRead() const { return linesBefore; }

    /// What has been loaded.
    const Passage& passage() const { return loaded; }

private:
    std::string_view waiting() const { return {buffer.data() + begin, end - begin}; }
    bool fill();
    void readLong(Piece& piece);
    bool endsHere(std::size_t at) const;

    std::shared_ptr<const SourceFile> file;
    std::size_t width;
    std::uint64_t textEnd;
    Passage loaded;
    std::vector<char> buffer;
    std::size_t begin = 0, end = 0;  ///< of what has been loaded and not read
    std::uint64_t bytesBefore = 0;
    long long linesBefore = 0;
};

}  // namespace tramo::cli
