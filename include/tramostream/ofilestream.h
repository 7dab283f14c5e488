// Writes an exchange file line by line.
#pragma once
#include "export.h"
#include "tramoline.h"
#include <memory>
#include <string>

/// An output stream of whole lines. It appends to its file, and creates it where there is none.
///
/// Encodings are those of StrConv; ANSI and UTF16LE can be written. ANSI: under the classic global C++ locale (that of
/// the last open() counts) a character up to U+00FF becomes the byte of its value; under any other the locale's
/// conversion holds. UTF16LE: each wchar_t becomes two bytes, the low one first; an empty file gets the byte order mark
/// FF FE at open, a pipe gets none. Nobody looks at what a file holds already: neither at its encoding nor at its last
/// line.
///
/// What is in the file ends behind a whole line: lines are handed to the system whole, up to 64 KiB of them at once, and
/// when the system refuses a part of them (a full disk), that part is taken back from the file. Lines that the system has
/// not taken wait; the next putLine(), flush() or close() tries again. A pipe cannot give back anything. A process that
/// is killed loses the lines that wait; flush() leaves none. Only one that is killed in the moment in which the system
/// copies lines can leave a part of a line.
///
/// Neither copied nor moved. An object is used by one thread at a time; several writers may append to one file,
/// as long as none of them calls clear().
///
/// After fork(), lines that wait belong to the parent, which writes each of them once. In the child, the stream drops
/// them and may be used, closed or destroyed like any other: what the child puts is written to the same file, in whole
/// lines, appended after what both have written before. Call fork() while no other thread uses the stream. A child made
/// without fork() (vfork(), clone(), _Fork()) may only end by _exit() or exec.
///
/// @snippet docs/examples.cpp oFileStream
class TRAMO_EXPORT oFileStream {
public:
    /// Opens nothing.
    oFileStream();

    /// Opens a file; see open().
    oFileStream(const char* path, int encoding);

    /// Closes what is open, and never throws: who wants to know whether everything has been written calls close() and
    /// looks at rdstate().
    virtual ~oFileStream();

    oFileStream(const oFileStream&) = delete;
    oFileStream& operator=(const oFileStream&) = delete;

    /// Does nothing while a file is open. A file that cannot be opened raises only the fail flag. What is neither ANSI
    /// nor UTF16LE throws TramoStreamExceptions::write_exception "Unsupported encoding.".
    void open(const char* path, int encoding);

    /// Hands over what waits and closes. Never throws: what cannot be written raises the fail flag and is lost.
    void close();

    /// Whether a file is open.
    bool is_open() const;

    /// Empties the file that is open, by its path; a UTF-16 file then holds its byte order mark. Does nothing while
    /// nothing is open. Where the file cannot be opened again, nothing is open afterwards.
    ///
    /// From then on until close(), the stream no longer appends but writes at its own position, beginning with that of an
    /// empty file: it overwrites what others append to the file meanwhile.
    void clear();

    /// How many lines putLine() has taken on this object, for all its files. Stays at the largest int.
    int getLineNumber() const;

    /// std::ios_base::failbit when the last attempt to open, write or close was refused, otherwise 0. After close() it
    /// tells whether every line that putLine() has taken has reached the system.
    int rdstate() const;

    /// Hands over what waits. Throws like putLine().
    void flush();

    /// Writes a text, with CR LF behind it when `lineEnd` is true.
    ///
    /// Throws TramoStreamExceptions::write_exception:
    /// - "file is not open"
    /// - for a character that the encoding cannot represent, or above U+FFFF; the text names it and its column. The
    ///   stream goes on as if nothing had happened.
    /// - when the system refuses to write. The text names the file, the system's reason and the last line that is
    ///   safely in the file, and the fail flag is raised.
    /// After each of them, and after std::bad_alloc, nothing of this line is written or kept, and it is not counted.
    void putLine(const std::wstring& text, bool lineEnd);

    /// Writes a whole buffer, with the line end that it holds, and returns `len`, which is the buffer's whole size, 42
    /// or 514. Throws like the other, and TramoStreamExceptions::bad_line_length for any other `len`.
    ///
    /// A buffer that iFileStream::getline has filled holds a zero instead of the line feed, which would be written.
    /// Before that: `line.back() = 0x0A;`
    unsigned putLine(const ParameterLine::parameterLine_t& line, unsigned len);
    unsigned putLine(const TramoLine::tramoLine_t& line, unsigned len);  ///< a record line, likewise

private:
    struct TRAMO_HIDDEN State;
    std::unique_ptr<State> state;
};
