#include "input.h"
#include "console.h"
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <ios>
#include <system_error>
#include <tramostream/exceptions.h>
#include <tramostream/stringconverter.h>
#include <vector>

namespace tramo::cli {

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// Enough to know a file by: several hundred records, and any line that is not monstrous.
constexpr std::size_t sampleSize = 256 * 1024;

File openFile(const std::string& path) {
    File file(std::fopen(path.c_str(), "rb"), std::fclose);
    if (!file) throw Unreadable{reasonOf(errno)};
    return file;
}

std::string readSample(const std::string& path) {
    const File file = openFile(path);
    std::string sample(sampleSize, '\0');
    sample.resize(std::fread(sample.data(), 1, sample.size(), file.get()));
    if (std::ferror(file.get())) throw Unreadable{reasonOf(errno)};
    return sample;
}

struct Mark {
    std::string_view bytes;
    const char* name;
};
constexpr std::string_view utf16leMark{"\xFF\xFE", 2};
constexpr Mark refusedMarks[] = {
    {{"\xFF\xFE\x00\x00", 4}, "UTF-32 (FF FE 00 00)"},
    {{"\x00\x00\xFE\xFF", 4}, "big-endian UTF-32 (00 00 FE FF)"},
    {{"\xEF\xBB\xBF", 3}, "UTF-8 (EF BB BF)"},
    {{"\xFE\xFF", 2}, "big-endian UTF-16 (FE FF)"},
};
constexpr const char* readableEncodings = "only ANSI and UTF-16 little-endian (FF FE) can be read";

// Nearly every other byte is zero: text in UTF-16 without its mark.
const char* unmarkedUtf16(std::string_view sample) {
    std::size_t zeros[2] = {0, 0};
    const std::size_t pairs = std::min<std::size_t>(sample.size(), 4096) / 2;
    for (std::size_t i = 0; i < 2 * pairs; ++i) zeros[i % 2] += sample[i] == 0;
    if (pairs < 8) return nullptr;
    if (zeros[1] * 10 > pairs * 9 && zeros[0] * 10 < pairs) return "UTF-16 little-endian";
    if (zeros[0] * 10 > pairs * 9 && zeros[1] * 10 < pairs) return "UTF-16 big-endian";
    return nullptr;
}

int encodingOf(std::string_view sample, EncodingChoice choice) {
    if (choice == EncodingChoice::Ansi) return StrConv::ENCODING_ANSI;
    if (choice == EncodingChoice::Utf16le) {
        if (!sample.starts_with(utf16leMark))
            throw Unreadable{"does not begin with the byte order mark FF FE, without which no file can be read as UTF-16"};
        return StrConv::ENCODING_UTF16LE;
    }
    for (const Mark& mark : refusedMarks)
        if (sample.starts_with(mark.bytes))
            throw Unreadable{fmt::format("begins with the byte order mark of {}; {}", mark.name, readableEncodings)};
    if (sample.starts_with(utf16leMark)) return StrConv::ENCODING_UTF16LE;
    if (const char* encoding = unmarkedUtf16(sample))
        throw Unreadable{fmt::format("looks like {} without a byte order mark; put FF FE in front of little-endian text, "
                                     "or read it as it is with --encoding ansi",
            encoding)};
    return StrConv::ENCODING_ANSI;
}

std::wstring decode(std::string_view bytes, int encoding) {
    auto byte = [&](std::size_t i) { return static_cast<wchar_t>(static_cast<unsigned char>(bytes[i])); };
    std::wstring text;
    if (encoding == StrConv::ENCODING_ANSI)
        for (std::size_t i = 0; i < bytes.size(); ++i) text += byte(i);
    else
        for (std::size_t i = utf16leMark.size(); i + 1 < bytes.size(); i += 2)
            text += static_cast<wchar_t>(byte(i) | byte(i + 1) << 8);
    return text;
}

std::wstring_view withoutReturn(std::wstring_view line) {
    if (line.ends_with(L'\r')) line.remove_suffix(1);
    return line;
}

// The lines of a text; of a sample, only those that are whole.
std::vector<std::wstring_view> linesOf(std::wstring_view text, bool isSample) {
    std::vector<std::wstring_view> lines;
    for (std::size_t end; (end = text.find(L'\n')) != std::wstring_view::npos; text.remove_prefix(end + 1))
        lines.push_back(withoutReturn(text.substr(0, end)));
    if (!isSample && !text.empty()) lines.push_back(withoutReturn(text));
    return lines;
}

}  // namespace

Input::Input(const std::string& path, EncodingChoice choice) : ownName(printable(nameOf(path))) {
    try {
        open(path, choice);
    } catch (Unreadable& failure) {
        failure.file = path;
        throw;
    }
}

void Input::open(const std::string& path, EncodingChoice choice) {
    namespace fs = std::filesystem;
    std::string plainPath = path;
    try {
        std::error_code error;
        const fs::file_status status = path == "-" ? fs::file_status(fs::file_type::fifo) : fs::status(path, error);
        if (!fs::exists(status)) throw Unreadable{reasonOf(error ? error.value() : ENOENT)};
        if (fs::is_directory(status)) throw Unreadable{"is a directory"};
        if (!fs::is_regular_file(status)) {
            const File source = path == "-" ? File(stdin, [](std::FILE*) { return 0; }) : openFile(path);
            spool = std::make_unique<Spool>(source.get(), [this](std::uint64_t copied) { progress.show(ownName, copied, 0); });
            plainPath = spool->path();
        }
        const std::string sample = readSample(plainPath);
        size = fs::file_size(plainPath);

        const int encoding = encodingOf(sample, choice);
        const std::wstring text = decode(sample, encoding);
        const std::vector<std::wstring_view> first = linesOf(text, size > sample.size());
        if (first.empty() && size > sample.size())
            throw Unreadable{fmt::format("has no line end in its first {} bytes; it is no exchange file", sample.size())};
        prevailing = tramo::cli::prevailingKind(first);

        stream.open(plainPath.c_str(), encoding);
        charactersRead = isUtf16() ? 1 : 0;  // the mark
    } catch (const TramoStreamExceptions::read_exception& failure) {
        throw Unreadable{failure.what()};
    } catch (const std::system_error& failure) { throw Unreadable{failure.code().message()}; }
}

bool Input::next(Line& line) {
    if (stream.eof()) {
        Progress::wipe();
        return false;
    }
    stream.getline(buffer);
    if (lines % 4096 == 4095) progress.show(ownName, bytesRead(), size);
    std::wstring_view text = buffer.line;
    line.number = ++lines;
    line.lineFeed = (stream.rdstate() & std::ios_base::eofbit) == 0;
    charactersRead += text.size() + line.lineFeed;
    line.carriageReturn = text.ends_with(L'\r');
    line.text = withoutReturn(text);
    return true;
}

std::uint64_t Input::charactersUnread() const {
    if (!stream.hasUnreadText()) return 0;
    const std::uint64_t all = size / bytesPerCharacter();
    return all > charactersRead ? all - charactersRead : 0;
}

std::string Input::unreadRest() const {
    if (const std::uint64_t unread = charactersUnread())
        return fmt::format(
            "{} from line {} on cannot be read, because that line begins with U+FFFF", counted(unread, "character"), lines + 1);
    if (hasOddByte()) return "the file ends with half of a UTF-16 character";
    return {};
}

}  // namespace tramo::cli
