// Reads an exchange file line by line.
#pragma once
#include "export.h"
#include "tramoline.h"
#include <memory>

/// An input stream of whole lines. open() reads the whole file into memory; getline() returns its lines.
///
/// @snippet docs/examples.cpp iFileStream
///
/// Encodings are those of StrConv; ANSI and UTF16LE can be read. ANSI: under the classic global C++ locale, each byte is the
/// character of its value; under any other, the locale converts, and a byte that it cannot convert is the character of its
/// value. UTF16LE: the file begins with the byte order mark (BOM) FF FE; an odd byte at the end is dropped. No character
/// ends or shortens the text, except a U+FFFF at the beginning of a line, which eof() treats as the end of the text.
///
/// State: rdstate() returns the flags of the text, as values of std::ios_base::iostate. eof() and getline() raise them,
/// close() clears them. The stream has two files, one for ANSI and one for all other encodings. Each has flags of its own,
/// which a later open() checks.
///
/// Use one object for one file. A second file can be opened; open() describes what happens to the text. Cannot be copied or
/// moved. Not thread-safe: only one thread at a time may use an object. After fork(), parent and child each continue with
/// their own copy of the text from the same line.
class TRAMO_EXPORT iFileStream {
public:
    /// Opens no file.
    iFileStream();

    /// Closes the open files.
    virtual ~iFileStream();

    iFileStream(const iFileStream&) = delete;
    iFileStream& operator=(const iFileStream&) = delete;

    /// Reads the whole file at `path`, which may be a pipe or a terminal. Does nothing if a file is open that was opened
    /// with an encoding other than ANSI.
    ///
    /// ANSI text is appended to the existing text (a last line without a line ending continues with it), or discarded if
    /// rdstate() is not 0. UTF-16 text replaces all existing text and is read from its beginning.
    ///
    /// Writes to the log, at level Warn, and returns:
    /// - "File %1 is open but empty." The text does not change. The file keeps an end-of-file flag.
    /// - "File %1 don't have the right encoding, UTF-16 expected": UTF16LE was requested and the byte order mark is missing.
    ///   The whole file is read as ANSI, and getEncoding() returns ANSI. A file of one byte keeps its flags.
    ///
    /// Throws:
    /// - std::ios_base::failure if one of the two files keeps flags of an earlier open(), which found it empty, of one byte,
    ///   or unreadable, or of a close() that failed. Nothing changes.
    /// - TramoStreamExceptions::read_exception "Unsupported encoding." for every other encoding (the file is then open, if
    ///   it can be opened), and if the file cannot be opened or read. The text does not change.
    /// - std::bad_alloc.
    void open(const char* path, int encoding);

    /// Closes the open files and clears the flags of the text. The unread text stays. Does nothing unless is_open().
    void close();

    /// Returns whether a file is open that has not failed.
    bool is_open() const;

    /// Returns whether there is nothing to read: at the end of the text, before a U+FFFF, or while rdstate() is not 0.
    /// Raises the end-of-file flag at the end, and the fail flag if a flag was raised before.
    bool eof();

    /// Returns whether unread characters are left, even if eof() is true because of a U+FFFF or a flag.
    bool hasUnreadText() const;

    /// Returns the flags of the text; 0 means good.
    int rdstate() const;

    /// Returns how often getline() was called on this object, for all its files, failed calls included; at most the largest
    /// int.
    int getLineNumber() const;

    /// Returns the encoding given to the last open(), or ANSI if the byte order mark was missing. Calls that did nothing or
    /// threw std::ios_base::failure do not count. Initially 0.
    int getEncoding() const;

    /// Reads the next line into the buffer: its characters without the line feed (a carriage return before it is kept), then
    /// zeros up to index `len`. Pass the size of the buffer as `len` (42, 25, 514). With a smaller `len`, the elements from
    /// `len` on do not change; with a larger one, nothing is written past the buffer. A line of exactly `len` characters
    /// fits if the buffer can hold it.
    ///
    /// The last element of a buffer that holds a whole line is a zero instead of the line feed. Restore the line feed before
    /// oFileStream::putLine: `line.back() = 0x0A;`
    ///
    /// At the end of the text, and while rdstate() is not 0, the line is empty and the fail flag is raised, at the end
    /// together with the end-of-file flag. A last line without a line feed raises only the end-of-file flag.
    ///
    /// Throws TramoStreamExceptions::read_exception "Size of line is upper than " and the limit if the line is longer than
    /// `len` (the limit is then `len`) or only than the buffer (its size). The line is then skipped, and the buffer does not
    /// change.
    void getline(unsigned len, ParameterLine::parameterLine_t& line);
    void getline(unsigned len, TagLine::tagLine_t& line);      ///< the same for a tag line
    void getline(unsigned len, TramoLine::tramoLine_t& line);  ///< the same for a record line

    /// Reads the next line, of any length, into `line.line`; does not change the other members. Throws std::bad_alloc; the
    /// line is then skipped.
    void getline(AMRKeyLine& line);

private:
    struct TRAMO_HIDDEN State;
    std::unique_ptr<State> state;
};
