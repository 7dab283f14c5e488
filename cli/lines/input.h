// Exchange files as inputs of the tool.
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
#include <tramostream/diagnosis.h>
#include <tramostream/stringconverter.h>

namespace tramo::cli {

/// The encodings of StrConv that can be read and written.
enum class Encoding { Ansi = StrConv::ENCODING_ANSI, Utf16le = StrConv::ENCODING_UTF16LE };

/// nullopt: the byte order mark decides.
using EncodingChoice = std::optional<Encoding>;

/// A range of line numbers, including the last one.
struct LineRange {
    static constexpr long long open = std::numeric_limits<long long>::max();
    long long first = 1, last = open;
    bool seek = false;  ///< finds the lines by their position, from the length of the format's lines
    bool isWhole() const { return first == 1 && last == open; }
};

/// Reads one file line by line. "-" is the standard input. Pipes and devices are copied to a temporary file first. Shows the
/// progress on a terminal.
class Input {
public:
    /// Reads only these lines, with their numbers in the file. Throws Unreadable, also if the file is shorter than the range
    /// (which begins after line 1) or cannot be sought, or WriteFailed if the copy cannot be written.
    Input(const std::string& path, EncodingChoice encoding, LineRange lines = {}) : Input(path, encoding, lines, false) {}

    /// Reads all lines, and diagnoses the first bytes of the file. A file whose lines cannot be read then has no lines:
    /// diagnosis() says why.
    static std::unique_ptr<Input> diagnosed(const std::string& path, EncodingChoice encoding) {
        return std::unique_ptr<Input>(new Input(path, encoding, {}, true));
    }

    /// Returns the diagnosis of the first bytes; nullptr: without a diagnosis.
    const std::shared_ptr<const FileHead>& diagnosis() const { return head; }

    /// Returns why a diagnosed file cannot be read in its encoding; empty: it can be.
    const std::string& refusal() const { return refused; }

    /// Returns the name of the file for messages.
    const std::string& name() const { return ownName; }

    /// Reads the next line; returns false after the last one. Throws Unreadable.
    bool next(Line& line);

    /// Reads the next line as `next` does, but without decoding it, if it is a plain record that has been loaded, in a file of
    /// records. Otherwise, reads nothing and returns false.
    bool nextPlain(PlainRecord& record) { return prevailing == LineKind::Record && reader.nextPlain(record); }

    /// Instead of `next`, reads some of the next lines, to be split on another thread. Does not show the progress.
    bool nextPiece(Piece& piece);

    /// Returns the offset after the last line that `next` or `nextPlain` has read.
    std::uint64_t endOfLine() const { return bytesRead() - reader.bytesLeft(); }

    /// Returns the file itself, to read lines a second time.
    std::shared_ptr<const SourceFile> sourceFile() const { return source; }

    /// Return the size of the file in bytes and in characters, with its byte order mark, and the offset after the last line read.
    std::uint64_t bytes() const { return size; }
    std::uint64_t characters() const { return utf16 ? size / 2 : size; }
    std::uint64_t bytesRead() const { return text->bytesRead(); }
    long long linesRead() const { return text->linesRead(); }
    bool isUtf16() const { return utf16; }

    /// Returns the range that was read, with its checksum.
    const Passage& passage() const { return text->passage(); }

    /// Returns the kind of most lines at the beginning of the file.
    std::optional<LineKind> prevailingKind() const { return prevailing; }

    // After the last line:

    /// Returns whether the range has no more lines.
    bool atEndOfRange() { return linesRead() >= range.last || text->atEnd(); }

    /// Returns whether the file has no more lines.
    bool atEndOfFile() { return text->atEnd() && (end == size || text->hasUnreadText()); }
    std::uint64_t charactersUnread() const;

    /// Checks that the file has not been changed. Call it after the last line, unless `next` or `nextPiece` returned false.
    /// Throws Unreadable.
    void confirm();

    /// Returns a note about a change of the file by another process; empty: no change that matters.
    const std::string& note() const { return change; }

    /// Returns the error that the file has no line of this number.
    Unreadable hasNoLine(long long number) const;
    bool hasOddByte() const { return isUtf16() && size % 2 != 0; }

    /// Returns a message about text that could not be read; may be empty.
    std::string unreadRest() const;

private:
    Input(const std::string& path, EncodingChoice encoding, LineRange lines, bool isDiagnosed);
    void open(EncodingChoice encoding, bool isDiagnosed);
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
    std::uint64_t size = 0, end = 0;  // the end of the file, and of the range
    bool utf16 = false;
    std::optional<LineKind> prevailing;
    std::shared_ptr<const FileHead> head;
    std::string change, refused;
};

/// Returns the number of threads, at most `most`, that these files can keep busy.
unsigned usefulThreads(unsigned most, std::span<const std::string> files);

}  // namespace tramo::cli
