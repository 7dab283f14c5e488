// Writes an exchange file line by line.
#pragma once
#include "export.h"
#include "tramoline.h"
#include <memory>
#include <string>

/// An output stream of whole lines. It appends to its file, and creates the file if it does not exist.
///
/// Encodings are those of StrConv; ANSI and UTF16LE can be written. ANSI: under the classic global C++ locale (at the last
/// open()), a character up to U+00FF becomes the byte of its value; under any other, the locale converts. UTF16LE: each
/// wchar_t becomes two bytes, the low one first; an empty file gets the byte order mark (BOM) FF FE at open, a pipe does not.
/// The stream does not check the content of an existing file: neither its encoding nor its last line.
///
/// The file ends after a whole line. The stream buffers lines and writes whole lines, up to 64 KiB at once. If the
/// system writes only a part of them (full disk), the stream removes the partial line from the file again. Lines that were not
/// written stay in the buffer; the next putLine(), flush() or close() tries again. Nothing can be removed from a pipe. A
/// killed process loses the buffered lines; after flush() there are none. Only a process that is killed while the system
/// copies lines can leave a partial line.
///
/// Cannot be copied or moved. Not thread-safe: only one thread at a time may use an object. Several writers may append to
/// one file, as long as none of them calls clear().
///
/// After fork(), buffered lines belong to the parent, which writes each of them once. In the child, the stream drops them and
/// can be used, closed or destroyed like any other: the lines that the child puts are appended to the same file, as whole
/// lines. A child that writes much should open a stream of its own. Call fork() while no other thread uses the stream. A child
/// made without fork() (vfork(), clone(), _Fork()) may only end by _exit() or exec.
///
/// @snippet docs/examples.cpp oFileStream
class TRAMO_EXPORT oFileStream {
public:
    /// Opens no file.
    oFileStream();

    /// Opens a file; see open().
    oFileStream(const char* path, int encoding);

    /// Closes the file and never throws. To check whether everything was written, call close() and
    /// rdstate() first.
    virtual ~oFileStream();

    oFileStream(const oFileStream&) = delete;
    oFileStream& operator=(const oFileStream&) = delete;

    /// Does nothing if a file is open. If the file cannot be opened, only raises the fail flag. Throws
    /// TramoStreamExceptions::write_exception "Unsupported encoding." unless the encoding is ANSI or UTF16LE.
    void open(const char* path, int encoding);

    /// Writes the buffered lines and closes the file. Never throws: lines that cannot be written are lost and raise the fail
    /// flag.
    void close();

    /// Returns whether a file is open.
    bool is_open() const;

    /// Empties the open file, by its path; a UTF-16 file then contains its byte order mark. Does nothing if no file is open.
    /// If the file cannot be opened again, no file is open afterwards.
    ///
    /// Until close(), the stream then no longer appends but writes at its own position, from the start of the empty file: it
    /// overwrites text that others append meanwhile.
    void clear();

    /// Returns the number of lines that putLine() has accepted on this object, for all its files; at most the largest int.
    int getLineNumber() const;

    /// Returns std::ios_base::failbit if the last attempt to open, write or close failed, otherwise 0. After close(), 0 means
    /// that the system has received every line that putLine() has accepted.
    int rdstate() const;

    /// Writes the buffered lines. Throws like putLine().
    void flush();

    /// Writes a text, followed by CR LF if `lineEnd` is true.
    ///
    /// Throws TramoStreamExceptions::write_exception:
    /// - "file is not open"
    /// - for a character that the encoding cannot represent, or above U+FFFF; the message names it and its column. The
    ///   state of the stream does not change.
    /// - if the system cannot write. The message names the file, the system's reason and the last line that is safely in
    ///   the file; the fail flag is raised.
    /// After each of them, and after std::bad_alloc, nothing of this line is written or kept, and it is not counted.
    void putLine(const std::wstring& text, bool lineEnd);

    /// Writes a whole buffer, including its line ending, and returns `len`, which must be the size of the buffer, 42 or 514.
    /// Throws like the other putLine(), and TramoStreamExceptions::bad_line_length for any other `len`.
    ///
    /// A buffer that iFileStream::getline has filled holds a zero instead of the line feed. Restore the line feed first, or the
    /// zero is written: `line.back() = 0x0A;`
    unsigned putLine(const ParameterLine::parameterLine_t& line, unsigned len);
    unsigned putLine(const TramoLine::tramoLine_t& line, unsigned len);  ///< the same for a record line

private:
    struct TRAMO_HIDDEN State;
    std::unique_ptr<State> state;
};
