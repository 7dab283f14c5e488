#include "cli/lines/textfile.h"
#include "common/encoding.h"
#include <algorithm>
#include <utility>

namespace tramo::cli {

namespace {

constexpr std::size_t notFound = std::string_view::npos;

// Finds the first line feed at or after `from`, which is the beginning of a character.
std::size_t findLineFeed(std::string_view bytes, std::size_t from, std::size_t width) {
    std::size_t found = bytes.find('\n', from);
    if (width == 1) return found;
    while (found != notFound && (found % 2 != 0 || found + 1 == bytes.size() || bytes[found + 1] != 0))
        found = bytes.find('\n', found + 1);
    return found;
}

// Copies the low bytes of UTF-16 units; returns whether all high bytes are zero.
bool narrowed(const char* units, std::size_t count, char* out) {
    unsigned high = 0;  // without early exit, so that the compiler vectorizes the loop
    for (std::size_t i = 0; i < count; ++i) {
        out[i] = units[2 * i];
        high |= static_cast<unsigned char>(units[2 * i + 1]);
    }
    return high == 0;
}

bool holdsControls(std::string_view text) {
    unsigned char least = 0xFF;
    for (const char c : text) least = std::min(least, static_cast<unsigned char>(c));
    return least < ' ';
}

}  // namespace

const Line& PlainLine::decode(const PlainRecord& record) {
    cli::decode(record.text, 1, text);
    line.text = text;
    line.carriageReturn = line.lineFeed = line.plain = true;
    line.number = record.number;
    return line;
}

bool PieceReader::nextPlain(PlainRecord& record) {
    const std::size_t size = (recordLength + 2) * piece.width;
    if (piece.bytes.size() < size) return false;
    const std::string_view end = piece.bytes.substr(recordLength * piece.width, 2 * piece.width);
    std::string_view line = piece.bytes.substr(0, recordLength);
    if (piece.width == 2) {
        if (end != encoding::utf16LineEnd || !narrowed(line.data(), recordLength, narrow.data())) return false;
        line = {narrow.data(), narrow.size()};
    } else if (end != "\r\n") {
        return false;
    }
    const RecordKind* kind = recordKind(static_cast<unsigned char>(line.front()));
    if (!kind || holdsControls(line)) return false;
    record = {line, kind, piece.firstLine++};
    piece.bytes.remove_prefix(size);
    return true;
}

void PieceReader::readAgain(Line& line) {
    const std::size_t size = (recordLength + 2) * piece.width;
    piece.bytes = {piece.bytes.data() - size, piece.bytes.size() + size};
    --piece.firstLine;
    next(line);
}

bool PieceReader::next(Line& line) {
    if (piece.longLine) {
        line = {};
        line.text = piece.longLine->first();
        line.carriageReturn = piece.longLine->carriageReturn();
        line.lineFeed = piece.longLine->lineFeed();
        line.number = piece.firstLine;
        line.facts = &piece.longLine->facts();
        line.whole = std::move(piece.longLine);
        piece = {};
        return true;
    }
    if (piece.bytes.empty()) return false;
    const std::size_t feed = findLineFeed(piece.bytes, 0, piece.width);
    line.whole.reset();
    line.facts = nullptr;
    line.lineFeed = feed != notFound;
    line.plain = decode(piece.bytes.substr(0, feed), piece.width, text);
    line.number = piece.firstLine++;
    piece.bytes.remove_prefix(line.lineFeed ? feed + piece.width : piece.bytes.size());
    line.text = text;
    line.carriageReturn = line.text.ends_with(L'\r');
    if (line.carriageReturn) line.text.remove_suffix(1);
    return true;
}

TextFile::TextFile(std::shared_ptr<const SourceFile> source, bool utf16, std::uint64_t textEnds)
    : file(std::move(source)), width(utf16 ? 2 : 1), textEnd(textEnds), buffer(usualPiece) {
    if (!utf16) return;
    fill();
    bytesBefore = begin = std::min(width, end);
}

bool TextFile::goTo(std::uint64_t place, long long lines) {
    const std::string_view lineEnd = width == 1 ? "\r\n" : encoding::utf16LineEnd;
    const std::uint64_t from = place - lineEnd.size();
    loaded = {from, from};
    begin = end = 0;
    while (end < lineEnd.size() && fill()) {}
    if (!waiting().starts_with(lineEnd)) return false;
    begin = lineEnd.size();
    bytesBefore = place;
    linesBefore = lines;
    return true;
}

// Loads more bytes after the waiting ones; returns false at the end of the file.
bool TextFile::fill() {
    std::copy(
        buffer.begin() + static_cast<std::ptrdiff_t>(begin), buffer.begin() + static_cast<std::ptrdiff_t>(end), buffer.begin());
    end -= begin;
    begin = 0;
    if (end == buffer.size()) buffer.resize(2 * buffer.size());  // the line does not fit
    const auto room =
        static_cast<std::size_t>(std::min<std::uint64_t>(buffer.size() - end, textEnd - std::min(loaded.to, textEnd)));
    const std::size_t count = file->read(loaded.to, buffer.data() + end, room);
    loaded.add({buffer.data() + end, count});
    end += count;
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
        if (searched > longestHeld * width) {
            readLong(piece);
            return true;
        }
        if (fill()) continue;
        size = searched;  // the last line has no line ending
        lines += size > 0;
        break;
    }
    piece = {waiting().substr(0, size), width, firstLine};
    begin += size;
    bytesBefore += size;
    linesBefore += lines;
    return size > 0;
}

// Reads a line whose first characters are waiting.
void TextFile::readLong(Piece& piece) {
    const auto line = std::make_shared<LongLine>(file, bytesBefore, width);
    bool hasFeed = false;
    do {
        const std::string_view text = waiting().substr(0, (end - begin) / width * width);
        const std::size_t feed = findLineFeed(text, 0, width);
        hasFeed = feed != notFound;
        line->add(text.substr(0, feed));
        begin += hasFeed ? feed + width : text.size();
    } while (!hasFeed && fill());
    line->end(hasFeed);
    piece = {{}, width, ++linesBefore, line};
    bytesBefore += line->bytes();
}

bool TextFile::atEnd() {
    if (end - begin < width) fill();
    return end - begin < width || endsHere(0);
}

}  // namespace tramo::cli
