// Exchange files as the tool reads them.
#pragma once
#include "cli/io/console.h"
#include "cli/io/notedinput.h"
#include "cli/io/platform.h"
#include "cli/io/sourcefile.h"
#include "cli/lines/textfile.h"
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <tramostream/check.h>
#include <tramostream/stringconverter.h>

namespace tramo::cli {

/// The encodings of StrConv that can be read and written.
enum class Encoding { Ansi = StrConv::ENCODING_ANSI, Utf16le = StrConv::ENCODING_UTF16LE };

/// nullopt: the byte order mark decides.
using EncodingChoice = std::optional<Encoding>;

/// Lines by their numbers, the last one included.
struct LineRange {
    static constexpr long long open = std::numeric_limits<long long>::max();
    long long first = 1, last = open;
    bool seek = false;  ///< they stand where lines of the format's length put them
    bool isWhole() const { return first == 1 && last == open; }
};

/// One file, read line by line. "-" is the standard input; what is no plain file is copied to a temporary one first. On a
/// terminal it tells how far it has come.
class Input {
public:
    /// Reads these lines only, and knows them by their numbers in the file. Throws Unreadable, also where the file has no
    /// line of the first number but 1 or cannot be sought, or WriteFailed when the copy cannot be written.
    Input(const std::string& path, EncodingChoice encoding, LineRange range = {});

    /// The file's name as people read it.
    const std::string& name() const { return ownName; }

    /// The next line; false behind the last one. Throws Unreadable.
    bool next(Line& line);

    /// Instead of `next`, and without telling how far it has come: some of the next lines, to be taken apart elsewhere.
    bool nextPiece(Piece& piece);

    /// The file's size, and the place behind what has been read.
    std::uint64_t bytes() const { return size; }
    std::uint64_t bytesRead() const { return text->bytesRead(); }
    long long linesRead() const { return text->linesRead(); }
    bool isUtf16() const { return utf16; }

    /// The kind of most lines at the beginning of the file.
    std::optional<LineKind> prevailingKind() const { return prevailing; }

    // Behind the last line:

    /// There is none in the range.
    bool atEndOfRange() { return linesRead() >= range.last || text->atEnd(); }

    /// It is the last one of the file, too.
    bool atEndOfFile() { return text->atEnd() && (end == size || text->hasUnreadText()); }
    std::uint64_t charactersUnread() const;

    /// To be called at the end of what is read, unless `next` or `nextPiece` has found none: the file has not been changed
    /// meanwhile. Throws Unreadable.
    void confirm();

    /// What somebody has done to the file meanwhile, in words; empty: nothing that matters.
    const std::string& note() const { return change; }

    /// Why there is no line of this number.
    Unreadable hasNoLine(long long number) const;
    bool hasOddByte() const { return isUtf16() && size % 2 != 0; }

    /// What could not be read, in words; empty: nothing.
    std::string unreadRest() const;

private:
    void open(EncodingChoice encoding);
    void skip();
    void seek();

    std::string file, ownName;
    NotedInput noted;
    LineRange range;
    Progress progress;
    std::unique_ptr<Spool> spool;
    std::shared_ptr<const SourceFile> source;
    std::optional<TextFile> text;
    PieceReader reader;
    std::uint64_t size = 0, end = 0;  // of the file, and of what is read of it
    bool utf16 = false;
    std::optional<LineKind> prevailing;
    std::string change;
};

/// So many of so many threads as can be of use to read these files a piece at a time.
unsigned usefulThreads(unsigned most, std::span<const std::string> files);

}  // namespace tramo::cli
