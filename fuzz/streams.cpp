#include "streams.h"
#include <algorithm>
#include <array>
#include <ios>
#include <string_view>
#include <tramostream/exceptions.h>
#include <tramostream/ofilestream.h>
#include <tramostream/stringconverter.h>

namespace fuzz {

namespace {

constexpr int eofFlag = std::ios_base::eofbit, failFlag = std::ios_base::failbit;

// The contract in the header of the stream, implemented a second time.
struct Reader {
    std::wstring_view text;
    std::size_t at = 0;
    int flags = 0, lines = 0;

    bool eof() {
        if (flags) flags |= failFlag;
        else if (at == text.size() || text[at] == 0xFFFF) flags = eofFlag;
        return flags != 0;
    }

    std::wstring_view getline() {
        ++lines;
        if (flags) {
            flags |= failFlag;
            return {};
        }
        const std::size_t end = std::min(text.find(L'\n', at), text.size());
        const std::wstring_view line = text.substr(at, end - at);
        if (end == text.size()) flags |= line.empty() ? eofFlag | failFlag : eofFlag;
        at = std::min(end + 1, text.size());
        return line;
    }
};

template <class Buffer> void checkLine(iFileStream& in, std::wstring_view expected, Reading reading) {
    Buffer buffer;
    buffer.fill(L'#');
    const Buffer before = buffer;
    const auto size = static_cast<unsigned>(buffer.size());
    const unsigned length = reading.isShort() ? size / 2 : reading.isLong() ? size + size / 2 : size;
    const unsigned limit = std::min(length, size);
    try {
        in.getline(length, buffer);
        FUZZ_CHECK(expected.size() <= limit);
        FUZZ_CHECK(std::equal(expected.begin(), expected.end(), buffer.begin()));
        FUZZ_CHECK(std::all_of(
            buffer.begin() + static_cast<long>(expected.size()), buffer.begin() + limit, [](wchar_t c) { return c == L'\0'; }));
        FUZZ_CHECK(std::all_of(buffer.begin() + limit, buffer.end(), [](wchar_t c) { return c == L'#'; }));
    } catch (const TramoStreamExceptions::read_exception& tooLong) {
        FUZZ_CHECK(expected.size() > limit);
        FUZZ_CHECK(tooLong.what() == "Size of line is upper than " + std::to_string(expected.size() > length ? length : limit));
        FUZZ_CHECK(buffer == before);
    }
}

void checkKeyLine(iFileStream& in, std::wstring_view expected) {
    AMRKeyLine line;
    line.line = L"before";
    in.getline(line);
    FUZZ_CHECK(line.line == expected);
}

void checkNextLine(iFileStream& in, Reader& reader, Reading reading) {
    const std::wstring_view expected = reader.getline();
    switch (reading.buffer(reader.lines)) {
    case 0: checkLine<TramoLine::tramoLine_t>(in, expected, reading); break;
    case 1: checkLine<ParameterLine::parameterLine_t>(in, expected, reading); break;
    case 2: checkLine<TagLine::tagLine_t>(in, expected, reading); break;
    default: checkKeyLine(in, expected); break;
    }
    FUZZ_CHECK(in.rdstate() == reader.flags);
    FUZZ_CHECK(in.getLineNumber() == reader.lines);
    FUZZ_CHECK(in.hasUnreadText() == (reader.at < reader.text.size()));
}

// A line as a buffer, if it has the length of one.
template <class Buffer> bool put(oFileStream& out, const std::wstring& line) {
    Buffer buffer;
    if (line.size() != buffer.size()) return false;
    std::copy(line.begin(), line.end(), buffer.begin());
    FUZZ_CHECK(out.putLine(buffer, static_cast<unsigned>(buffer.size())) == buffer.size());
    return true;
}

void putLine(oFileStream& out, const std::wstring& line) {
    if (put<TramoLine::tramoLine_t>(out, line) || put<ParameterLine::parameterLine_t>(out, line)) return;
    if (line.ends_with(L"\r\n")) out.putLine(line.substr(0, line.size() - 2), true);
    else out.putLine(line, false);
}

void append(std::string& bytes, std::wstring_view text, bool wide) {
    for (const wchar_t c : text) {
        bytes += static_cast<char>(c & 0xFF);
        if (wide) bytes += static_cast<char>(c >> 8);
    }
}

}  // namespace

void checkReading(iFileStream& in, const std::wstring& text, Reading reading) {
    Reader reader{text};
    FUZZ_CHECK(in.rdstate() == 0);
    FUZZ_CHECK(in.hasUnreadText() == !text.empty());
    while (reader.flags == 0) {
        if (reading.asksForEnd()) FUZZ_CHECK(in.eof() == reader.eof());
        checkNextLine(in, reader, reading);
    }
    FUZZ_CHECK(in.eof() == reader.eof());
    checkNextLine(in, reader, reading);

    // close() clears the flags; the unread text can still be read.
    FUZZ_CHECK(in.is_open());
    in.close();
    reader.flags = 0;
    FUZZ_CHECK(!in.is_open());
    checkNextLine(in, reader, reading);
}

void checkWriting(const std::wstring& text, int encoding) {
    const bool wide = encoding == StrConv::ENCODING_UTF16LE;
    const File file;
    oFileStream out(file.path(), encoding);
    FUZZ_CHECK(out.is_open());
    if (text.size() % 2 == 1) {
        out.putLine(L"is emptied again", true);
        out.clear();
    }
    const int linesBefore = out.getLineNumber();
    std::string expected = wide ? "\xFF\xFE" : "";
    int lines = 0;
    for (std::size_t at = 0, end = 0; at < text.size(); at = end) {
        end = std::min(text.find(L'\n', at), text.size() - 1) + 1;
        const std::wstring line = text.substr(at, end - at);
        const bool fits = wide || std::all_of(line.begin(), line.end(), [](wchar_t c) { return c <= 0xFF; });
        try {
            putLine(out, line);
            FUZZ_CHECK(fits);
            append(expected, line, wide);
            ++lines;
        } catch (const TramoStreamExceptions::write_exception&) { FUZZ_CHECK(!fits); }
        FUZZ_CHECK(out.getLineNumber() == linesBefore + lines);
    }
    out.close();
    FUZZ_CHECK(out.rdstate() == 0);
    FUZZ_CHECK(file.content() == expected);
}

}  // namespace fuzz
