#include "tramostream/ifilestream.h"
#include "common/encoding.h"
#include "common/file.h"
#include "stream/ansi.h"
#include "stream/linetext.h"
#include "tramostream/exceptions.h"
#include "tramostream/log.h"
#include "tramostream/stringconverter.h"
#include <algorithm>
#include <climits>
#include <cstdint>
#include <ios>
#include <string>
#include <string_view>
#include <utility>

using tramo::ByteBuffer;
using tramo::File;
using tramo::stream::AnsiConversion;
using tramo::stream::LineText;
using tramo::stream::Segment;
using TramoStreamExceptions::read_exception;

namespace {

constexpr wchar_t wideEndOfFile = 0xFFFF;

constexpr auto good = std::ios_base::goodbit;
constexpr auto eofFlag = std::ios_base::eofbit;
constexpr auto failFlag = std::ios_base::failbit;

// One of the two files, with the flags raised while reading it.
struct FlaggedFile {
    File file;
    std::ios_base::iostate flags = good;

    bool isOpen() const { return flags == (flags & eofFlag) && file.isOpen(); }
    void close() {
        if (isOpen() && !file.close()) flags |= failFlag;
    }
};

bool hasUtf16Mark(const ByteBuffer& bytes) {
    return std::string_view(bytes.data(), bytes.size()).starts_with(tramo::encoding::utf16Mark);
}

}  // namespace

struct iFileStream::State {
    FlaggedFile byteFile;
    FlaggedFile wideFile;
    LineText text;
    std::ios_base::iostate flags = good;
    int encoding = StrConv::ENCODING_ANSI;
    std::uint64_t lineNumber = 0;

    void openUtf16(const char* path, ByteBuffer bytes);
    void openAnsi(const char* path, ByteBuffer bytes);
    LineText::Line nextLine();
    void getline(unsigned len, wchar_t* buffer, std::size_t size);
};

iFileStream::iFileStream() : state(std::make_unique<State>()) {}
iFileStream::~iFileStream() = default;

void iFileStream::open(const char* path, int encoding) {
    State& s = *state;
    if (s.byteFile.file.isOpen()) return;
    if ((s.wideFile.flags | s.byteFile.flags) != good) throw std::ios_base::failure("iFileStream::open: an earlier file failed");
    s.encoding = encoding;

    FlaggedFile& opened = encoding == StrConv::ENCODING_ANSI ? s.wideFile : s.byteFile;
    opened.file = File(path, File::Access::Read);
    if (!opened.file.isOpen()) opened.flags = failFlag;
    const bool readable = encoding == StrConv::ENCODING_ANSI || encoding == StrConv::ENCODING_UTF16LE;
    if (!opened.isOpen() || !readable) throw read_exception("Unsupported encoding.");

    ByteBuffer bytes;
    if (!opened.file.readAll(bytes)) {
        opened.file.close();
        opened.flags = failFlag;
        throw read_exception("Unsupported encoding.");
    }
    if (encoding == StrConv::ENCODING_UTF16LE) s.openUtf16(path, std::move(bytes));
    else s.openAnsi(path, std::move(bytes));
}

void iFileStream::State::openUtf16(const char* path, ByteBuffer bytes) {
    if (bytes.size() == 0) {
        byteFile.flags = eofFlag;
        io::log::writer<iFileStream>::write(io::log::Warn, "File %1 is open but empty.", path);
    } else if (hasUtf16Mark(bytes)) {
        text.replace(Segment{std::move(bytes), 2, 2});
    } else {
        // Uses the bytes already read: a pipe cannot be opened and read again.
        io::log::writer<iFileStream>::write(io::log::Warn, "File %1 don't have the right encoding, UTF-16 expected", path);
        if (bytes.size() < 2) byteFile.flags = eofFlag | failFlag;
        wideFile.file = std::move(byteFile.file);
        encoding = StrConv::ENCODING_ANSI;
        openAnsi(path, std::move(bytes));
    }
}

void iFileStream::State::openAnsi(const char* path, ByteBuffer bytes) {
    Segment added = AnsiConversion().decode(std::move(bytes));
    if (added.size() == 0 || added.character(0) == wideEndOfFile) {
        wideFile.flags = eofFlag;
        io::log::writer<iFileStream>::write(io::log::Warn, "File %1 is open but empty.", path);
    } else if (flags == good) {
        text.append(std::move(added));
    }
}

void iFileStream::close() {
    if (!is_open()) return;
    state->byteFile.close();
    state->wideFile.close();
    state->flags = good;
}

bool iFileStream::is_open() const { return state->byteFile.isOpen() || state->wideFile.isOpen(); }

bool iFileStream::eof() {
    State& s = *state;
    if (s.flags != good) s.flags |= failFlag;
    else if (s.text.atEnd() || s.text.peek() == wideEndOfFile) s.flags = eofFlag;
    return s.flags != good;
}

bool iFileStream::hasUnreadText() const { return !state->text.atEnd(); }

int iFileStream::rdstate() const { return static_cast<int>(state->flags); }

int iFileStream::getLineNumber() const { return static_cast<int>(std::min<std::uint64_t>(state->lineNumber, INT_MAX)); }

int iFileStream::getEncoding() const { return state->encoding; }

void iFileStream::getline(unsigned len, ParameterLine::parameterLine_t& line) { state->getline(len, line.data(), line.size()); }

void iFileStream::getline(unsigned len, TagLine::tagLine_t& line) { state->getline(len, line.data(), line.size()); }

void iFileStream::getline(unsigned len, TramoLine::tramoLine_t& line) { state->getline(len, line.data(), line.size()); }

void iFileStream::getline(AMRKeyLine& line) {
    const LineText::Line next = state->nextLine();
    line.line.resize(next.size);
    state->text.copy(next, next.size, line.line.data());
}

// Returns an empty line while a flag is raised.
LineText::Line iFileStream::State::nextLine() {
    ++lineNumber;
    if (flags != good) {
        flags |= failFlag;
        return {};
    }
    const LineText::Line line = text.next();
    if (!line.terminated) flags |= eofFlag;
    if (!line.terminated && line.size == 0) flags |= failFlag;
    return line;
}

void iFileStream::State::getline(unsigned len, wchar_t* buffer, std::size_t size) {
    const std::size_t limit = std::min<std::size_t>(len, size);
    const LineText::Line line = nextLine();
    if (line.size > limit) throw read_exception("Size of line is upper than " + std::to_string(line.size > len ? len : size));
    text.copy(line, line.size, buffer);
    std::fill(buffer + line.size, buffer + limit, L'\0');
}
