#include "tramostream/ofilestream.h"
#include "common/encoding.h"
#include "stream/ansi.h"
#include "stream/unitfile.h"
#include "tramostream/exceptions.h"
#include "tramostream/stringconverter.h"
#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <ios>
#include <string_view>
#include <system_error>

using tramo::File;
using tramo::encoding::findAbove;
using tramo::encoding::mostOfUtf16;
using tramo::encoding::utf16Mark;
using tramo::encoding::valueOf;
using tramo::encoding::writeUtf16;
using tramo::stream::AnsiConversion;
using tramo::stream::UnitFile;
using TramoStreamExceptions::bad_line_length;
using TramoStreamExceptions::write_exception;

namespace {

std::string nameOf(wchar_t c) {
    std::array<char, 16> text{};
    (void)std::snprintf(text.data(), text.size(), "U+%04X", static_cast<unsigned>(valueOf(c)));
    return text.data();
}

// Returns the index of the first character that needs more than one unit, or npos.
std::size_t encodeUtf16(std::wstring_view text, std::string& bytes) {
    bytes.resize(2 * text.size());
    const std::uint32_t bits = writeUtf16(text, bytes.data());
    return bits <= mostOfUtf16 ? AnsiConversion::npos : findAbove(mostOfUtf16, text);
}

}  // namespace

struct oFileStream::State {
    UnitFile file;
    AnsiConversion ansi;
    std::string path;
    int encoding = StrConv::ENCODING_ANSI;
    std::uint64_t lineNumber = 0;
    std::uint64_t firstLine = 0;  // line number when the file was opened or emptied
    std::string unit;             // the bytes of a line, kept for its memory

    void open(File::Access access);
    void checkOpen() const;
    void checkLength(unsigned given, std::size_t expected) const;
    void dropInherited();
    void putLine(std::wstring_view text);
    void encode(std::wstring_view text);
    write_exception refusal(int reason) const;
    int shownLineNumber() const { return static_cast<int>(std::min<std::uint64_t>(lineNumber, INT_MAX)); }
};

oFileStream::oFileStream() : state(std::make_unique<State>()) {}
oFileStream::oFileStream(const char* path, int encoding) : oFileStream() { open(path, encoding); }
oFileStream::~oFileStream() = default;

void oFileStream::open(const char* path, int encoding) {
    State& s = *state;
    if (s.file.isOpen()) return;
    s.path = path;
    s.encoding = encoding;
    if (encoding != StrConv::ENCODING_ANSI && encoding != StrConv::ENCODING_UTF16LE) {
        throw write_exception("Unsupported encoding.");
    }
    s.ansi = AnsiConversion();
    s.open(File::Access::Append);
}

void oFileStream::State::open(File::Access access) {
    file.open(path.c_str(), access, encoding == StrConv::ENCODING_UTF16LE ? utf16Mark : "");
    firstLine = lineNumber;
}

void oFileStream::close() { state->file.close(); }

bool oFileStream::is_open() const { return state->file.isOpen(); }

void oFileStream::clear() {
    if (!is_open()) return;
    state->file.close();
    state->open(File::Access::Truncate);
}

int oFileStream::getLineNumber() const { return state->shownLineNumber(); }

int oFileStream::rdstate() const {
    return static_cast<int>(state->file.failed() ? std::ios_base::failbit : std::ios_base::goodbit);
}

void oFileStream::flush() {
    state->checkOpen();
    state->dropInherited();
    if (const int reason = state->file.flush()) throw state->refusal(reason);
}

void oFileStream::putLine(const std::wstring& text, bool lineEnd) {
    state->checkOpen();
    state->putLine(lineEnd ? text + L"\r\n" : text);
}

unsigned oFileStream::putLine(const ParameterLine::parameterLine_t& line, unsigned len) {
    state->checkOpen();
    state->checkLength(len, line.size());
    state->putLine({line.data(), line.size()});
    return len;
}

unsigned oFileStream::putLine(const TramoLine::tramoLine_t& line, unsigned len) {
    state->checkOpen();
    state->checkLength(len, line.size());
    state->putLine({line.data(), line.size()});
    return len;
}

void oFileStream::State::checkOpen() const {
    if (!file.isOpen()) throw write_exception("file is not open");
}

void oFileStream::State::checkLength(unsigned given, std::size_t expected) const {
    if (given == expected) return;
    throw bad_line_length(given, static_cast<std::uint32_t>(expected), static_cast<std::uint32_t>(shownLineNumber()));
}

// In a child process: only its own lines are counted as safely written from now on.
void oFileStream::State::dropInherited() {
    if (file.dropInherited()) firstLine = lineNumber;
}

void oFileStream::State::putLine(std::wstring_view text) {
    dropInherited();
    encode(text);
    if (const int reason = file.append(unit)) throw refusal(reason);
    ++lineNumber;
}

void oFileStream::State::encode(std::wstring_view text) {
    const std::size_t bad = encoding == StrConv::ENCODING_ANSI ? ansi.encode(text, unit) : encodeUtf16(text, unit);
    if (bad == AnsiConversion::npos) return;
    throw write_exception("cannot write to " + path + ": the encoding cannot represent the character " + nameOf(text[bad]) +
                          " in column " + std::to_string(bad + 1));
}

write_exception oFileStream::State::refusal(int reason) const {
    const std::uint64_t safe = lineNumber - file.waitingUnits();
    const std::string last = safe > firstLine ? "line " + std::to_string(safe) + " is the last one" : "no line of this stream is";
    const std::string text = std::generic_category().message(reason) + "; " + last + " safely in the file";
    return write_exception{"cannot write to " + path + ": " + text};
}
