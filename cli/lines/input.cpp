#include "cli/lines/input.h"
#include "cli/io/console.h"
#include "common/encoding.h"
#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <system_error>

namespace tramo::cli {

namespace {

// Enough to detect the encoding and the kind: several hundred records, and every line of a usual length.
constexpr std::size_t mostOfSample = 256 * 1024;

std::string readSample(const SourceFile& file) {
    std::string sample(mostOfSample, '\0');
    sample.resize(file.read(0, sample.data(), sample.size()));
    return sample;
}

struct Mark {
    std::string_view bytes;
    const char* name;
};
constexpr Mark refusedMarks[] = {
    {encoding::utf32Mark, "UTF-32 (FF FE 00 00)"},
    {encoding::utf32BigMark, "big-endian UTF-32 (00 00 FE FF)"},
    {encoding::utf8Mark, "UTF-8 (EF BB BF)"},
    {encoding::utf16BigMark, "big-endian UTF-16 (FE FF)"},
};
constexpr const char* readableEncodings = "only ANSI and UTF-16 little-endian (FF FE) can be read";

// Returns a command that adds a byte order mark if nearly every other byte is zero, as in UTF-16 without one; otherwise empty.
std::string whyUnmarkedUtf16(std::string_view sample, const std::string& file) {
    std::size_t zeros[2] = {0, 0};
    const std::size_t pairs = std::min<std::size_t>(sample.size(), 4096) / 2;
    for (std::size_t i = 0; i < 2 * pairs; ++i) zeros[i % 2] += sample[i] == 0;
    if (pairs < 8) return {};
    const bool isLittle = zeros[1] * 10 > pairs * 9 && zeros[0] * 10 < pairs;
    const bool isBig = zeros[0] * 10 > pairs * 9 && zeros[1] * 10 < pairs;
    if (!isLittle && !isBig) return {};
    // If the name is not printable, the user must fill it in.
    const bool isNamed = file != "-" && printable(std::string_view(file)) == file;
    return fmt::format("looks like {}-endian UTF-16 without a byte order mark (BOM); save it as UTF-16 LE with a BOM, or run: "
                       "printf '{}' | cat - {}{} > {}",
        isLittle ? "little" : "big", isLittle ? R"(\377\376)" : R"(\376\377)", isNamed ? shellWord(file) : "FILE",
        isLittle ? "" : " | iconv -f UTF-16BE -t UTF-16LE", isNamed ? shellWord(file + ".utf16") : "NEW");
}

bool isUtf16Text(std::string_view sample, EncodingChoice choice, const std::string& file) {
    if (choice == Encoding::Ansi) return false;
    if (!choice)
        for (const Mark& mark : refusedMarks)
            if (sample.starts_with(mark.bytes))
                throw Unreadable{fmt::format("begins with the byte order mark (BOM) of {}; {}", mark.name, readableEncodings)};
    if (sample.starts_with(encoding::utf16Mark)) return true;
    if (const std::string why = whyUnmarkedUtf16(sample, file); !why.empty()) throw Unreadable{why};
    if (choice == Encoding::Utf16le)
        throw Unreadable{"does not begin with the byte order mark (BOM) FF FE, which UTF-16 files need"};
    return false;
}

// Counts the kinds in a sample of the lines; ignores a last line that continues after the sample.
std::optional<LineKind> prevailingKindOf(std::string_view sample, bool utf16, bool isAll) {
    PieceReader reader(utf16 ? Piece{sample.substr(encoding::utf16Mark.size()), 2} : Piece{sample});
    KindCensus census;
    for (Line line; reader.next(line);)
        if (isAll || line.lineFeed) census.add(line.text);
    if (census.lines() == 0 && !isAll)
        throw Unreadable{fmt::format("has no line ending in its first {} bytes; it is not an exchange file", sample.size())};
    return census.prevailing();
}

}  // namespace

Input::Input(const std::string& path, EncodingChoice choice, LineRange lines, bool isDiagnosed)
    : file(path), ownName(printable(nameOf(path))), noted(path), range(lines) {
    try {
        open(choice, isDiagnosed);
    } catch (Unreadable& failure) {
        failure.file = file;
        throw;
    }
}

void Input::open(EncodingChoice choice, bool isDiagnosed) {
    try {
        SourceFile::expectFile(file);
        source = std::make_shared<SourceFile>(file);
        if (!source->isRegular()) {
            spool =
                std::make_unique<Spool>(source->stream(), [this](std::uint64_t copied) { progress.show(ownName, copied, 0); });
            source = std::make_shared<SourceFile>(spool->path(), file);
        }
        const std::string sample = readSample(*source);
        end = size = source->size();
        if (isDiagnosed) {
            const std::optional<bool> isUtf16 = choice ? std::optional(choice == Encoding::Utf16le) : std::nullopt;
            head = std::make_shared<FileHead>(sample, size <= sample.size(), isUtf16);
            if (!head->hasLines()) {
                try {
                    isUtf16Text(sample, choice, file);
                } catch (const Unreadable& refusal) { refused = refusal.reason; }
                utf16 = head->isUtf16();
                text.emplace(source, false, 0);
                return;
            }
        }
        utf16 = isUtf16Text(sample, choice, file);
        prevailing = prevailingKindOf(sample, utf16, size <= sample.size());
        if (range.seek) return seek();
        text.emplace(source, utf16, size ? size : TextFile::noEnd);
        skip();
    } catch (const std::system_error& failure) { throw Unreadable{failure.code().message()}; }
}

// Jumps to where lines of the format's length put the first line of the range. The text between the two borders is the range,
// even if malformed lines split it into more or fewer lines. A border must follow a line ending.
void Input::seek() {
    const std::size_t length = prevailing ? shapeOf(*prevailing).length : 0;
    if (length == 0) throw Unreadable{"does not begin with lines of one length; omit --seek to count lines instead"};
    const std::uint64_t width = utf16 ? 2 : 1, begin = utf16 ? encoding::utf16Mark.size() : 0, stride = (length + 2) * width;
    const std::uint64_t lines = (std::max(size, begin) - begin + stride - 1) / stride;
    const auto before = static_cast<std::uint64_t>(range.first) - 1, last = static_cast<std::uint64_t>(range.last);
    auto find = [&](TextFile& in, std::uint64_t linesBefore) {
        if (!in.goTo(begin + linesBefore * stride, static_cast<long long>(linesBefore)))
            throw Unreadable{fmt::format("line {} does not begin after {} of {} bytes; omit --seek to count lines instead",
                linesBefore + 1, counted(linesBefore, "line"), stride)};
    };
    if (before > 0 && before >= lines)
        throw Unreadable{fmt::format("has {} of {} bytes; there is no line {}", counted(lines, "line"), stride, range.first)};
    end = last < lines ? begin + last * stride : size;
    text.emplace(source, utf16, end);
    if (before > 0) find(*text, before);
    if (last < lines) {
        TextFile behind(source, utf16, size);
        find(behind, last);
    }
    range.last = LineRange::open;
}

// Goes to the first line of the range. Counts line endings, because a malformed line can have any length.
void Input::skip() {
    const long long before = range.first - 1;
    Piece skipped;
    while (linesRead() < before && text->next(skipped, before - linesRead())) progress.show(ownName, bytesRead(), size);
    if (before > 0 && text->atEnd()) throw hasNoLine(range.first);
}

bool Input::nextPiece(Piece& piece) {
    constexpr long long most = 4096;  // lines of any length: their findings are kept in memory
    const bool any = text->next(piece, std::min(most, range.last - linesRead()));
    if (!any) confirm();
    return any;
}

void Input::confirm() { change = source->confirm(text->passage()); }

bool Input::next(Line& line) {
    while (!reader.next(line)) {
        Piece piece;
        if (!nextPiece(piece)) {
            Progress::wipe();
            return false;
        }
        progress.show(ownName, bytesRead(), size);
        reader.start(piece);
    }
    return true;
}

Unreadable Input::hasNoLine(long long number) const {
    const auto lines = static_cast<unsigned long long>(linesRead());
    const char* which = text->hasUnreadText() ? " that can be read" : "";
    return {fmt::format("has {}{}; there is no line {}", counted(lines, "line"), which, number), file};
}

std::uint64_t Input::charactersUnread() const {
    return text->hasUnreadText() && size > bytesRead() ? (size - bytesRead()) / 2 : 0;
}

std::string Input::unreadRest() const {
    if (const std::uint64_t unread = charactersUnread())
        return fmt::format("{} from line {} on cannot be read, because that line begins with U+FFFF",
            counted(unread, "character"), linesRead() + 1);
    if (hasOddByte()) return "the file ends with half of a UTF-16 character";
    return {};
}

}  // namespace tramo::cli
