// Reads the text of an exchange file in pieces, with memory for one piece, for files of any size.
//
// Lines, line endings and the end of the text are the same as with iFileStream in the classic locale. But several threads can
// split pieces, and a file need not fit into memory.
#pragma once
#include "cli/io/sourcefile.h"
#include "cli/io/text.h"
#include "cli/lines/longline.h"
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <tramostream/tramoline.h>
#include <tuple>
#include <vector>

namespace tramo::cli {

/// Some whole lines, as bytes of the file; or one long line, which stays in the file.
struct Piece {
    std::string_view bytes{};
    std::size_t width = 1;    ///< of a character, in bytes: 1, or 2 with the low byte first
    long long firstLine = 1;  ///< the number of its first line
    std::shared_ptr<const LongLine> longLine{};

    std::uint64_t size() const { return longLine ? longLine->bytes() : bytes.size(); }
};

/// A piece with its own copy of the bytes.
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

/// The characters of a record line.
inline constexpr std::size_t recordLength = std::tuple_size_v<TramoLine::tramoLine_t> - 2;

/// A record line as nearly all of them are: `recordLength` characters from U+0020 to U+00FF, the letter of a record kind first,
/// and CR LF.
struct PlainRecord {
    std::string_view text{};  ///< one byte for each character, in both encodings; valid until the next line is read
    const RecordKind* kind = nullptr;
    long long number = 0;
};

/// The Line of a plain record, valid until the next one is decoded.
class PlainLine {
public:
    const Line& decode(const PlainRecord& record);

private:
    SecretText text;
    Line line;
};

/// Splits a piece into lines.
class PieceReader {
public:
    PieceReader() = default;
    explicit PieceReader(const Piece& of) : piece(of) {}

    PieceReader(const PieceReader&) = delete;
    PieceReader& operator=(const PieceReader&) = delete;

    void start(const Piece& with) { piece = with; }

    /// Reads the next line; returns false after the last one.
    bool next(Line& line);

    /// Returns the size of the lines that are not read yet, in bytes.
    std::uint64_t bytesLeft() const { return piece.size(); }

    /// Reads the next line without decoding it if it is a plain record; otherwise, reads nothing and returns false. If the
    /// prevailing kind of the file is not Record, the line can be of another kind.
    bool nextPlain(PlainRecord& record);

    /// Reads the plain record that nextPlain() has just read again, as next() reads it.
    void readAgain(Line& line);

private:
    Piece piece;
    SecretText text;                        ///< of the last line
    std::array<char, recordLength> narrow;  ///< the last plain record of a UTF-16 file
};

class TextFile {
public:
    /// Large enough to hide the costs of reading and of changing threads, small enough for the cache of a processor.
    static constexpr std::size_t usualPiece = 128 * 1024;

    /// Reads a regular file up to the offset `end`. UTF-16 text begins with a byte order mark of two bytes. Operations throw
    /// Unreadable.
    TextFile(std::shared_ptr<const SourceFile> source, bool utf16, std::uint64_t end);

    /// Reads to the current end of the file.
    static constexpr std::uint64_t noEnd = std::numeric_limits<std::uint64_t>::max();

    /// Goes to an offset that follows this number of lines. Returns false if no line ends there.
    bool goTo(std::uint64_t place, long long lines);

    /// Reads at most `mostLines` lines; returns false at the end of the text. The piece is valid until the next call.
    bool next(Piece& piece, long long mostLines);

    /// Returns whether no line is left.
    bool atEnd();

    /// At the end, returns whether there is unread text, after a line that begins with U+FFFF.
    bool hasUnreadText() const { return endsHere(0); }

    std::uint64_t bytesRead() const { return bytesBefore; }
    long long linesRead() const { return linesBefore; }

    /// Returns the loaded range.
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
    std::size_t begin = 0, end = 0;  ///< of the loaded bytes that are not read yet
    std::uint64_t bytesBefore = 0;
    long long linesBefore = 0;
};

}  // namespace tramo::cli
