#include "tramostream/reader.h"
#include "common/concat.h"
#include "common/encoding.h"
#include "common/nativepath.h"
#include "common/printable.h"
#include "round/kindfields.h"
#include "round/linesource.h"
#include "round/openfile.h"
#include "tramostream/diagnosis.h"
#include <algorithm>
#include <cerrno>

namespace tramo {

namespace {

constexpr std::string_view utf16EndOfText{"\xFF\xFF", 2};

// Whether a long line may hold keys, some of its characters at a time.
bool longLineMayHoldKeys(std::string_view bytes, bool isUtf16, SecretText& wide) {
    constexpr std::size_t chunk = longestHeld, overlap = 64;  // more than the length of any mark
    const auto* const from = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t width = isUtf16 ? 2 : 1, size = bytes.size() / width;
    for (std::size_t at = 0; at < size; at += chunk) {
        const std::size_t first = at == 0 ? 0 : at - overlap, last = std::min(at + chunk, size);
        wide.resize(last - first);
        encoding::read(from + first * width, last - first, isUtf16, wide.data());
        if (at == 0 ? mayHoldKeys(wide) : holdsKeyMarks(wide)) return true;
    }
    return false;
}

}  // namespace

struct ReaderState {
    ReaderState(File file, std::string called, const ReadOptions& chosen, bool isQuiet)
        : source(std::move(file)), name(std::move(called)), options(chosen), quiet(isQuiet) {}
    ReaderState(std::string_view bytes, const ReadOptions& chosen) : source(bytes), options(chosen) {}

    LineSource source;
    std::string name;
    ReadOptions options;
    bool quiet = false;  // errors are not thrown
    bool isTextOver = false;
    bool isPending = false;  // the line of the source has not been returned, because memory was lacking
    SecretText wide{};       // may hold a key line
    std::shared_ptr<const FileHead> head{};
    LineView line{};
    std::array<char, 512> room{};  // for a record in UTF-16 as single bytes
    std::error_code failure{};
    const char* failed = nullptr;  // what cannot be done with the file
    std::string message{};         // may be missing after a failure, if there was no memory for it

    bool isUtf16() const { return line.coding == Encoding::Utf16; }

    void fail(const char* action, int reason);
    void report();
    void start();
    void diagnose();
    std::optional<LineKind> findPrevailing();
    const LineView* next();
    void findEnding();
    void classify();
    std::optional<LineKind> findKind(std::size_t size);
    void decode(std::string_view bytes);
};

void ReaderState::fail(const char* action, int reason) {
    failure = std::error_code(reason, std::generic_category());
    failed = action;
    report();
}

// Throws the failure, or only describes it.
void ReaderState::report() {
    const std::string sentence = concat("cannot ", failed, " \"", printable(std::string_view(name)), '"');
    message = concat(sentence, ": ", failure.message());
    if (!quiet) throw std::system_error(failure, sentence);
}

void ReaderState::start() {
    const bool needsMark = !options.encoding || options.encoding == Encoding::Utf16;
    const bool needsBlock = !options.kind || options.diagnose;
    const std::size_t wanted = needsBlock ? LineSource::blockSize : needsMark ? encoding::utf16Mark.size() : 0;
    if (!source.load(wanted)) return fail("read", source.error());
    if (options.diagnose) diagnose();
    const bool hasMark = source.waiting().starts_with(encoding::utf16Mark);
    line.coding = options.encoding.value_or(hasMark ? Encoding::Utf16 : Encoding::Ansi);
    source.setUtf16(isUtf16());
    line.room = room.data();
    line.prevailing = options.kind ? options.kind : findPrevailing();
}

void ReaderState::diagnose() {
    static_assert(LineSource::blockSize >= FileHead::size);
    const std::string_view first = source.waiting().substr(0, FileHead::size);
    const bool isWhole = source.isLoaded() && first.size() == source.waiting().size();
    head = std::make_shared<FileHead>(
        first, isWhole, options.encoding ? std::optional(*options.encoding == Encoding::Utf16) : std::nullopt);
}

// Sets the wide text to these characters.
void ReaderState::decode(std::string_view bytes) {
    wide.resize(bytes.size() / (isUtf16() ? 2 : 1));
    encoding::read(reinterpret_cast<const unsigned char*>(bytes.data()), wide.size(), isUtf16(), wide.data());
}

// Counts the kinds of lines in what is loaded; without a last line that continues after it.
std::optional<LineKind> ReaderState::findPrevailing() {
    const std::size_t width = isUtf16() ? 2 : 1;
    std::string_view sample = source.waiting().substr(0, LineSource::blockSize);
    const bool isWhole = source.isLoaded() && sample.size() == source.waiting().size();
    KindCensus census;
    while (!sample.empty()) {
        const std::size_t feed = LineSource::findLineFeed(sample, 0, width);
        if (feed == std::string_view::npos && !isWhole) break;
        decode(sample.substr(0, feed));
        std::wstring_view text = wide;
        if (text.ends_with(L'\r')) text.remove_suffix(1);
        census.add(text);
        sample.remove_prefix(feed == std::string_view::npos ? sample.size() : feed + width);
    }
    return census.prevailing();
}

const LineView* ReaderState::next() {
    if (failure) {
        if (!quiet || message.empty()) report();
        return nullptr;
    }
    if (!isPending && !source.next()) {
        if (source.error() != 0) fail("read", source.error());
        return nullptr;
    }
    isPending = true;
    line.lineNumber = source.number();
    line.firstByte = source.offset();
    line.content = source.bytes();
    line.isMapped = false;
    findEnding();
    classify();
    isPending = false;
    return &line;
}

// Removes the CR of a line ending.
void ReaderState::findEnding() {
    const std::string_view carriageReturn("\r\0", isUtf16() ? 2 : 1);
    const bool isWhole = !isUtf16() || line.content.size() % 2 == 0;
    const bool hasReturn = isWhole && line.content.ends_with(carriageReturn);
    if (hasReturn) line.content.remove_suffix(carriageReturn.size());
    if (source.hasLineFeed()) line.lineEnd = hasReturn ? LineEnding::CrLf : LineEnding::Lf;
    else line.lineEnd = hasReturn ? LineEnding::Cr : LineEnding::None;
}

std::optional<LineKind> ReaderState::findKind(std::size_t size) {
    if (options.kind) return options.kind;
    LongLineFacts facts;
    SourceLine text{.number = line.lineNumber};
    if (size > longestHeld) {
        facts.size = size;
        facts.mayHoldKeys = longLineMayHoldKeys(line.content, isUtf16(), wide);
        text.facts = &facts;
    }
    decode(line.content.substr(0, longestHeld * (isUtf16() ? 2 : 1)));
    text.text = wide;
    return kindOfLine(text, line.prevailing);
}

// Finds the kind of the line and its fault.
void ReaderState::classify() {
    const std::size_t size = line.size();
    const auto letter = [&] {
        const auto* const bytes = reinterpret_cast<const unsigned char*>(line.content.data());
        return isUtf16() ? std::uint32_t{encoding::unitAt(bytes, 0)} : std::uint32_t{bytes[0]};
    };
    const auto isRecord = [&](const KindFields* fields) {
        line.problem = fields ? LineFault::None : LineFault::UnknownLetter;
        line.fields = fields;
        line.record = fields ? fields->kind : nullptr;
        return fields != nullptr;
    };
    const auto isFault = [&](LineFault fault) {
        line.problem = fault;
        line.fields = nullptr;
        line.record = nullptr;
    };
    if (isUtf16()) {
        isTextOver = isTextOver || line.content.starts_with(utf16EndOfText);
        if (isTextOver) {
            line.shape.reset();
            return isFault(LineFault::Unread);
        }
    }
    // Nearly all lines are records in a file of records.
    const std::size_t recordLength = shapeOf(LineKind::Record).length;
    const bool hasWholeCharacters = !isUtf16() || line.content.size() % 2 == 0;
    if (line.prevailing == LineKind::Record && size == recordLength && hasWholeCharacters &&
        isRecord(kindFieldsOfLetter(letter()))) {
        line.shape = LineKind::Record;
        return;
    }
    line.shape = findKind(size);
    if (!hasWholeCharacters) return isFault(LineFault::HalfCharacter);
    if (size == 0) return isFault(LineFault::Empty);
    if (!line.shape) return isFault(LineFault::UnknownKind);
    if (line.shape == LineKind::Key) return isFault(LineFault::None);
    const std::size_t length = shapeOf(*line.shape).length;
    if (size < length) return isFault(LineFault::TooShort);
    const bool insteadOfReturn = size == length + 1 && line.lineEnd == LineEnding::Lf;
    if (size > length && !insteadOfReturn) return isFault(LineFault::TooLong);
    switch (*line.shape) {
    case LineKind::Record: isRecord(kindFieldsOfLetter(letter())); break;
    case LineKind::Parameter: isRecord(&kindFieldsOf(kindOf<ParameterTramoModel>())); break;
    case LineKind::Tag: isRecord(&kindFieldsOf(kindOf<TagTramoModel>())); break;
    case LineKind::Key: break;
    }
}

std::string_view describe(LineFault fault) {
    switch (fault) {
    case LineFault::None: return "the line is not malformed";
    case LineFault::Empty: return "the line is empty";
    case LineFault::TooShort: return "the line is too short";
    case LineFault::TooLong: return "the line is too long";
    case LineFault::UnknownLetter: return "the record letter is unknown";
    case LineFault::UnknownKind: return "the length of the line matches no kind of line";
    case LineFault::HalfCharacter: return "the line ends with half of a UTF-16 character";
    case LineFault::Unread: return "the text ends at a line that begins with U+FFFF";
    }
    return {};
}

struct Reader::State : ReaderState {
    using ReaderState::ReaderState;
};

Reader::Reader(std::unique_ptr<State> with) : state(std::move(with)) { state->start(); }

Reader::Reader(const std::filesystem::path& path, const ReadOptions& options) : Reader(path, options, false) {}
Reader::Reader(std::nothrow_t, const std::filesystem::path& path, const ReadOptions& options) : Reader(path, options, true) {}

Reader::Reader(const std::filesystem::path& path, const ReadOptions& options, bool quiet) {
    File file = openToRead(path);
    const int reason = file.isOpen() ? 0 : errno;
    state = std::make_unique<State>(std::move(file), narrowPath(path), options, quiet);
    if (reason != 0) state->fail("open", reason);
    else state->start();
}

Reader Reader::ofBytes(std::string_view bytes, const ReadOptions& options) {
    return Reader(std::make_unique<State>(bytes, options));
}

Reader Reader::ofDescriptor(int descriptor, std::string name, const ReadOptions& options) {
    File file = File::duplicateOf(descriptor);
    const int reason = file.isOpen() ? 0 : errno;
    auto made = std::make_unique<State>(std::move(file), std::move(name), options, false);
    if (reason != 0) made->fail("read", reason);
    return Reader(std::move(made));
}

Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;
Reader::~Reader() = default;

const LineView* Reader::next() { return state ? state->next() : nullptr; }
Encoding Reader::encoding() const { return state ? state->line.coding : Encoding::Ansi; }
std::optional<LineKind> Reader::prevailing() const { return state ? state->line.prevailing : std::nullopt; }
std::uint64_t Reader::bytesRead() const { return state ? state->source.place() : 0; }
std::shared_ptr<const FileHead> Reader::head() const { return state ? state->head : nullptr; }
std::error_code Reader::error() const { return state ? state->failure : std::error_code(); }

const std::string& Reader::message() const {
    static const std::string none;
    return state ? state->message : none;
}

}  // namespace tramo
