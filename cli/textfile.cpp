#include "textfile.h"
#include "platform.h"
#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

namespace tramo::cli {

namespace {

constexpr std::size_t notFound = std::string_view::npos;

// The first line feed at or behind `from`, which is the beginning of a character.
std::size_t findLineFeed(std::string_view bytes, std::size_t from, std::size_t width) {
    std::size_t found = bytes.find('\n', from);
    if (width == 1) return found;
    while (found != notFound && (found % 2 != 0 || found + 1 == bytes.size() || bytes[found + 1] != 0))
        found = bytes.find('\n', found + 1);
    return found;
}

// False: a zero or half a surrogate pair is among the characters.
bool decode(std::string_view bytes, std::size_t width, std::wstring& text) {
    const auto* from = reinterpret_cast<const unsigned char*>(bytes.data());
    text.resize(bytes.size() / width);
    wchar_t* to = text.data();
    if (width == 1) {
        for (std::size_t i = 0; i < text.size(); ++i) to[i] = static_cast<wchar_t>(from[i]);
        return bytes.find('\0') == notFound;
    }
    unsigned suspects = 0;  // no early exit, no short circuit: this way the compiler looks at several characters at once
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned>(from[2 * i] | from[2 * i + 1] << 8);
        suspects |= static_cast<unsigned>(c == 0) | static_cast<unsigned>((c & 0xF800) == 0xD800);
        to[i] = static_cast<wchar_t>(c);
    }
    return suspects == 0;
}

}  // namespace

bool PieceReader::next(Line& line) {
    if (piece.bytes.empty()) return false;
    const std::size_t feed = findLineFeed(piece.bytes, 0, piece.width);
    line.lineFeed = feed != notFound;
    line.plain = decode(piece.bytes.substr(0, feed), piece.width, text);
    line.number = piece.firstLine++;
    piece.bytes.remove_prefix(line.lineFeed ? feed + piece.width : piece.bytes.size());
    line.text = text;
    line.carriageReturn = line.text.ends_with(L'\r');
    if (line.carriageReturn) line.text.remove_suffix(1);
    return true;
}

TextFile::TextFile(std::string plainPath, bool utf16, std::uint64_t size)
    : path(std::move(plainPath)), file(openFile(path, "rb"), std::fclose), width(utf16 ? 2 : 1),
      fileEnd(size ? size : std::numeric_limits<std::uint64_t>::max()), notLoaded(fileEnd), buffer(usualPiece) {
    if (!file) throw Unreadable{reasonOf(errno), path};
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    if (!utf16) return;
    fill();
    bytesBefore = begin = std::min(width, end);
}

bool TextFile::goTo(std::uint64_t place, long long lines) {
    const std::string_view lineEnd = width == 1 ? std::string_view("\r\n") : std::string_view("\r\0\n\0", 4);
    const std::uint64_t from = place - lineEnd.size();
    if (fseeko(file.get(), static_cast<off_t>(from), SEEK_SET) != 0) throw Unreadable{reasonOf(errno), path};
    notLoaded = fileEnd - from;
    begin = end = 0;
    while (end < lineEnd.size() && fill()) {}
    if (!waiting().starts_with(lineEnd)) return false;
    begin = lineEnd.size();
    bytesBefore = place;
    linesBefore = lines;
    return true;
}

// Loads more behind what is waiting; false at the end of the file.
bool TextFile::fill() {
    std::copy(
        buffer.begin() + static_cast<std::ptrdiff_t>(begin), buffer.begin() + static_cast<std::ptrdiff_t>(end), buffer.begin());
    end -= begin;
    begin = 0;
    if (end == buffer.size()) buffer.resize(2 * buffer.size());  // one long line
    const auto room = static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size() - end, notLoaded));
    const std::size_t count = readFrom(file.get(), buffer.data() + end, room);
    if (std::ferror(file.get())) throw Unreadable{reasonOf(errno), path};
    end += count;
    notLoaded -= count;
    return count > 0;
}

// A line that begins with U+FFFF ends the text.
bool TextFile::endsHere(std::size_t at) const {
    return width == 2 && end - begin - at >= width && waiting().substr(at, width) == "\xFF\xFF";
}

bool TextFile::next(Piece& piece, long long mostLines) {
    const long long firstLine = linesBefore + 1;
    long long lines = 0;
    std::size_t size = 0, searched = 0;
    while (lines < mostLines && !endsHere(size)) {
        const std::size_t feed = findLineFeed(waiting(), searched, width);
        if (feed != notFound) {
            size = searched = feed + width;
            ++lines;
            continue;
        }
        if (size > 0) break;
        searched = (end - begin) / width * width;
        if (fill()) continue;
        size = searched;  // the last line has no line end
        lines += size > 0;
        break;
    }
    piece = {waiting().substr(0, size), width, firstLine};
    begin += size;
    bytesBefore += size;
    linesBefore += lines;
    return size > 0;
}

bool TextFile::atEnd() {
    if (end - begin < width) fill();
    return end - begin < width || endsHere(0);
}

}  // namespace tramo::cli
