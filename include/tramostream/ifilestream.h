// Reads an exchange file line by line.
#pragma once
#include "export.h"
#include "tramoline.h"
#include <memory>

/// An input stream of whole lines. It reads a file into memory at open and hands out its lines from there.
///
/// @snippet docs/examples.cpp iFileStream
///
/// Encodings are those of StrConv; ANSI and UTF16LE can be read. ANSI: under the classic global C++ locale each byte is
/// the character of its value; under any other the locale's conversion holds, and a byte that it cannot convert is the
/// character of its value. UTF16LE: the file begins with the byte order mark FF FE; an odd byte at its end is dropped.
/// No character ends or shortens the text, except a U+FFFF at the beginning of a line, which eof() takes for the end.
///
/// State: rdstate() tells the flags of the text, as values of std::ios_base::iostate. They are raised by eof() and
/// getline() and fall at close(). Each of the stream's two files (one for ANSI, one for all other encodings) has flags
/// of its own, which a later open() looks at.
///
/// One object serves one file, as a rule. Opening a second one is possible; open() says what becomes of the text.
/// Neither copied nor moved. An object is used by one thread at a time. After fork(), parent and child each read their own
/// copy of the text from the same line on: open() has read the whole file, and nobody moves a shared position in it.
class TRAMO_EXPORT iFileStream {
public:
    /// Opens nothing.
    iFileStream();

    /// Closes what is open.
    virtual ~iFileStream();

    iFileStream(const iFileStream&) = delete;
    iFileStream& operator=(const iFileStream&) = delete;

    /// Reads the whole file at `path`, which may be a pipe or a terminal too. Does nothing while a file is open that
    /// was opened with another encoding than ANSI.
    ///
    /// An ANSI text goes behind the text that is there (a last line without line end goes on in it), or nowhere when
    /// rdstate() is not 0. A UTF-16 text takes the place of all other text and is read from its beginning.
    ///
    /// Writes to the log, at level Warn, and returns:
    /// - "File %1 is open but empty." The text stays as it is. The file keeps an end-of-file flag.
    /// - "File %1 don't have the right encoding, UTF-16 expected": UTF16LE was asked for and the mark is missing. The
    ///   whole file has been read as ANSI, and getEncoding() says so. A file of one byte keeps its flags.
    ///
    /// Throws:
    /// - std::ios_base::failure where one of the two files keeps flags of an earlier open(): it was empty, of one byte,
    ///   or could not be read. Nothing changes.
    /// - TramoStreamExceptions::read_exception "Unsupported encoding." for every other encoding (then the file is open
    ///   if it can be opened), and for a file that cannot be opened or read. The text stays as it is.
    /// - std::bad_alloc.
    void open(const char* path, int encoding);

    /// Closes what is open and clears the flags of the text, which stays with what has not been read of it. Does
    /// nothing unless is_open().
    void close();

    /// Whether a file is open that has not failed.
    bool is_open() const;

    /// Whether there is nothing to read: at the end of the text, before a U+FFFF, and while rdstate() is not 0. Raises
    /// the end-of-file flag at the end, and the fail flag where a flag was raised already.
    bool eof();

    /// Whether characters are left that have not been read, also where eof() is true: behind a U+FFFF.
    bool hasUnreadText() const;

    /// The flags of the text; 0 is good.
    int rdstate() const;

    /// How often getline() has been called on this object, for all its files, failed calls included. Stays at the
    /// largest int.
    int getLineNumber() const;

    /// The encoding given to the last open() that did not return at once or throw std::ios_base::failure, or ANSI
    /// after a missing byte order mark. 0 at first.
    int getEncoding() const;

    /// Reads the next line into the buffer: its characters without the line feed (a carriage return before it stays),
    /// then zeros up to place `len`. `len` is the buffer's whole size (42, 25, 514); with a smaller one the places from
    /// `len` on are left alone, with a larger one nothing is written behind the buffer. A text of exactly `len`
    /// characters fits, if the buffer holds them.
    ///
    /// The last place of a buffer that holds a whole line is a zero, where the line feed was. Before the buffer goes to
    /// oFileStream::putLine, put it back: `line.back() = 0x0A;`
    ///
    /// At the end of the text, and while rdstate() is not 0, the line is empty; the fail flag is raised, at the end
    /// with the end-of-file flag. A last line without line feed raises the end-of-file flag only.
    ///
    /// Throws TramoStreamExceptions::read_exception "Size of line is upper than " and `len` when the line is longer than
    /// `len`; the buffer's size stands there when the line is longer than the buffer only. The line has been passed over
    /// then, and the buffer is as it was.
    void getline(unsigned len, ParameterLine::parameterLine_t& line);
    void getline(unsigned len, TagLine::tagLine_t& line);      ///< a tag line, likewise
    void getline(unsigned len, TramoLine::tramoLine_t& line);  ///< a record line, likewise

    /// Reads the next line, of any length, into `line.line`, and nothing else of it. Throws std::bad_alloc; the line has
    /// been passed over then.
    void getline(AMRKeyLine& line);

private:
    struct TRAMO_HIDDEN State;
    std::unique_ptr<State> state;
};
