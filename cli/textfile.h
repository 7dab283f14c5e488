// The text of an exchange file, a piece at a time: as much of it is in memory as a piece needs, whatever the file's size.
//
// Lines, their ends and the end of the text are where iFileStream has them under the classic locale. What is different:
// pieces can be taken apart on several threads, and a file need not fit into memory.
#pragma once
#include "lines.h"
#include "text.h"
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tramo::cli {

/// A file cannot be read, or not as what it is.
struct Unreadable {
    std::string reason;
    std::string file{};  ///< its path; empty where the reason names it
};

/// Some lines, whole, as they stand in the file.
struct Piece {
    std::string_view bytes{};
    std::size_t width = 1;    ///< of a character, in bytes: 1, or 2 with the low byte first
    long long firstLine = 1;  ///< the number of its first line
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

    /// Lines may hold keys: nothing is left of the last one.
    ~PieceReader() { wipe(text); }
    PieceReader(const PieceReader&) = delete;
    PieceReader& operator=(const PieceReader&) = delete;

    void start(const Piece& with) { piece = with; }

    /// The next line; false behind the last one.
    bool next(Line& line);

private:
    Piece piece;
    std::wstring text;
};

class TextFile {
public:
    /// Large enough for reading and handing over to cost nothing, small enough for a processor's own memory.
    static constexpr std::size_t usualPiece = 128 * 1024;

    /// Reads so many bytes of a file: not what somebody appends meanwhile. 0: all that comes, for some files that hold text
    /// say so of themselves. Of UTF-16 text the first two bytes are the mark. Operations throw Unreadable.
    TextFile(std::string path, bool utf16, std::uint64_t size);

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

private:
    std::string_view waiting() const { return {buffer.data() + begin, end - begin}; }
    bool fill();
    bool endsHere(std::size_t at) const;

    std::string path;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file;
    std::size_t width;
    std::uint64_t fileEnd, notLoaded;  ///< in bytes
    std::vector<char> buffer;
    std::size_t begin = 0, end = 0;  ///< of what has been loaded and not read
    std::uint64_t bytesBefore = 0;
    long long linesBefore = 0;
};

}  // namespace tramo::cli
