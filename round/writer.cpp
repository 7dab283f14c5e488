#include "common/concat.h"
#include "common/encoding.h"
#include "common/file.h"
#include "common/nativepath.h"
#include "common/outputplace.h"
#include "common/printable.h"
#include "common/secret.h"
#include "tramostream/reader.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>

namespace tramo {

namespace {

constexpr std::size_t blockSize = std::size_t{64} << 10;

std::string hexadecimal(std::uint32_t number, std::size_t digits) {
    std::string text;
    for (std::size_t i = digits; i-- > 0;) text += "0123456789ABCDEF"[number >> 4 * i & 0xF];
    return text;
}

// A name beside the file, hidden, and different in each call.
std::filesystem::path temporaryBeside(const std::filesystem::path& file) {
    static std::atomic<std::uint32_t> count = 0;
    constexpr std::size_t mostOfName = 200;  // leaves room for the rest in the longest names that systems have
    const auto now = std::chrono::system_clock::now().time_since_epoch().count();
    const auto mark = static_cast<std::uint32_t>(static_cast<std::uint64_t>(now) * 0x9E3779B97F4A7C15 >> 32) + count++;
    std::filesystem::path name = ".";
    name += file.filename().native().substr(0, mostOfName);
    name += concat('-', hexadecimal(mark, 8), ".unfinished");
    return file.parent_path() / name;
}

}  // namespace

struct WriterState {
    WriterState(const std::filesystem::path& path, Encoding encoding, bool isPrivate);
    WriterState(const std::filesystem::path& path, Encoding encoding) : name(narrowPath(path)), coding(encoding) {}
    WriterState(const WriterState&) = delete;
    WriterState& operator=(const WriterState&) = delete;
    ~WriterState() { removeTemporary(); }

    bool isUtf16() const { return coding == Encoding::Utf16; }
    std::size_t width() const { return isUtf16() ? 2 : 1; }

    [[noreturn]] void fail(std::error_code reason, const std::string& detail = {});
    [[noreturn]] void fail(int reason) { fail(std::error_code(reason, std::generic_category())); }
    [[noreturn]] void failAt(const LineView& line, std::string_view what);
    [[noreturn]] void throwFailure(const std::string& detail = {});
    void openStream();
    void openTemporary(bool isPrivate);
    void removeTemporary() noexcept;
    void append(std::string_view ascii) { encoding::append(waiting, ascii, isUtf16()); }
    void appendText(const LineView& line);
    void appendLine(const LineView& line);
    void put(const LineView& line);
    void flush();
    void commit();

    std::string name;
    Encoding coding;
    OutputPlace place{};
    std::filesystem::path temporary{};  // empty: there is none
    File file{};
    SecretBytes waiting{};  // may hold key lines
    LineEnding lastEnding = LineEnding::CrLf;
    bool isFirstLine = true, endsWithHalf = false, isOver = false;
    std::error_code failure{};
    std::string message{};
};

// The other constructor comes first, so that the destructor runs after an exception here.
WriterState::WriterState(const std::filesystem::path& path, Encoding encoding, bool isPrivate) : WriterState(path, encoding) {
    waiting.reserve(2 * blockSize);
    if (const int reason = findPlace(path, place)) fail(reason);
    if (place.isStream) openStream();
    else openTemporary(isPrivate);
    if (isUtf16()) waiting += encoding::utf16Mark;
}

// After an error, nothing is replaced.
void WriterState::fail(std::error_code reason, const std::string& detail) {
    removeTemporary();
    failure = reason;
    throwFailure(detail);
}

// The words may be missing, if there was no memory for them.
void WriterState::throwFailure(const std::string& detail) {
    if (message.empty()) message = concat("cannot write \"", printable(std::string_view(name)), '"', detail);
    throw std::system_error(failure, message);
}

void WriterState::failAt(const LineView& line, std::string_view what) {
    const std::string where = line.number() > 0 ? concat(": line ", line.number(), ": ") : ": ";
    fail(std::make_error_code(std::errc::illegal_byte_sequence), concat(where, what));
}

void WriterState::openStream() {
    file = place.descriptor >= 0 ? File::duplicateOf(place.descriptor)
                                 : File(narrowPath(place.path).c_str(), File::Access::Existing);
    if (!file.isOpen()) fail(errno);
}

void WriterState::openTemporary(bool isPrivate) {
    constexpr int mostAttempts = 100;
    const File::Access access = isPrivate || place.exists ? File::Access::Private : File::Access::New;
    for (int attempt = 0; !file.isOpen(); ++attempt) {
        temporary = temporaryBeside(place.path);
        file = File(narrowPath(temporary).c_str(), access);
        if (file.isOpen()) break;
        const int reason = errno;
        temporary.clear();
        if (reason != EEXIST || attempt == mostAttempts) fail(reason);
    }
    if (!place.exists) return;
    if (const int reason = keepPermissions(place, temporary)) fail(reason);
}

void WriterState::removeTemporary() noexcept {
    file.close();
    if (temporary.empty()) return;
    std::error_code ignored;
    std::filesystem::remove(temporary, ignored);
    temporary.clear();
}

// Appends the characters of the line.
void WriterState::appendText(const LineView& line) {
    if (line.encoding() == coding) {
        waiting += line.bytes();
    } else if (isUtf16()) {
        encoding::append(waiting, line.bytes(), true);
    } else {
        if (line.bytes().size() % 2 != 0) failAt(line, "it ends with half of a UTF-16 character");
        const auto* const units = reinterpret_cast<const unsigned char*>(line.bytes().data());
        for (std::size_t i = 0; i < line.size(); ++i) {
            const std::uint16_t unit = encoding::unitAt(units, i);
            if (unit > encoding::mostOfAnsi) failAt(line, concat("ANSI has no character U+", hexadecimal(unit, 4)));
            waiting += static_cast<char>(unit);
        }
        if (isFirstLine && waiting.starts_with(encoding::utf16Mark))
            failAt(line, "in ANSI, its first two characters would be the byte order mark of UTF-16");
    }
}

// Appends the line with its ending, after the ending that the line before it lacks.
void WriterState::appendLine(const LineView& line) {
    if (lastEnding == LineEnding::None) append("\r\n");
    if (lastEnding == LineEnding::Cr) append("\n");
    appendText(line);
    switch (line.ending()) {
    case LineEnding::CrLf: append("\r\n"); break;
    case LineEnding::Lf: append("\n"); break;
    case LineEnding::Cr: append("\r"); break;
    case LineEnding::None: break;
    }
}

void WriterState::put(const LineView& line) {
    if (failure) throwFailure();
    if (isOver) fail(EBADF);
    if (endsWithHalf) failAt(line, "the line before it ends with half of a UTF-16 character");
    const std::size_t before = waiting.size();
    try {
        appendLine(line);
    } catch (...) {
        waiting.resize(before);  // nothing of the line is kept
        throw;
    }
    lastEnding = line.ending();
    isFirstLine = false;
    endsWithHalf = isUtf16() && line.bytes().size() % width() != 0 && line.encoding() == coding;
    if (waiting.size() >= blockSize) flush();
}

void WriterState::flush() {
    errno = 0;
    if (file.write(waiting.data(), waiting.size()) < waiting.size()) fail(errno != 0 ? errno : EIO);
    waiting.clear();
}

void WriterState::commit() {
    if (failure) throwFailure();
    if (isOver) fail(EBADF);
    if (file.isOpen()) {  // unless memory was lacking after this, and it is tried again
        flush();
        errno = 0;
        if (!place.isStream && !file.sync()) fail(errno);
        if (!file.close()) fail(errno != 0 ? errno : EIO);
    }
    if (!place.isStream)
        if (const int reason = replace(temporary, place)) fail(reason);
    temporary.clear();
    isOver = true;
}

struct Writer::State : WriterState {
    using WriterState::WriterState;
};

Writer::Writer(const std::filesystem::path& path, Encoding encoding, bool isPrivate)
    : state(std::make_unique<State>(path, encoding, isPrivate)) {}
Writer::Writer(Writer&&) noexcept = default;
Writer& Writer::operator=(Writer&&) noexcept = default;
Writer::~Writer() = default;

void Writer::put(const LineView& line) { use().put(line); }
void Writer::commit() { use().commit(); }

Writer::State& Writer::use() {
    if (!state) throw std::system_error(std::make_error_code(std::errc::bad_file_descriptor), "tramo: this Writer was moved");
    return *state;
}

std::size_t changeLines(const std::filesystem::path& from, const std::filesystem::path& to,
    const std::function<void(Line&)>& change, const ReadOptions& options) {
    Reader reader(from, options);
    Writer writer(to, reader.encoding());
    std::size_t changed = 0;
    for (const LineView& each : reader) {
        Line line(each);
        change(line);
        if (line.bytes() != each.bytes()) ++changed;
        writer.put(line);
    }
    writer.commit();
    return changed;
}

}  // namespace tramo
