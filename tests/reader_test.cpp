// Reader: its lines against the classic stream, their faults against the checks.
#include "tramostream/reader.h"
#include "support/allocations.h"
#include "support/console.h"
#include "support/randomfiles.h"
#include "tramostream/ifilestream.h"
#include "tramostream/stringconverter.h"
#include <fcntl.h>
#include <map>
#include <sys/stat.h>
#include <thread>

using namespace records;
using streams::readFile, streams::TempFolder, streams::utf16, streams::writeFile;
using tramo::Encoding, tramo::LineEnding, tramo::LineFault, tramo::LineKind, tramo::LineView, tramo::Reader, tramo::ReadOptions;

namespace {

// What a test compares of a line.
struct Seen {
    std::int64_t number;
    std::uint64_t offset;
    std::string bytes;
    LineEnding ending;
    LineFault fault;
    std::optional<LineKind> shape;
    const tramo::RecordKind* kind;
    bool operator==(const Seen&) const = default;
};

Seen seen(const LineView& line) {
    return {line.number(), line.offset(), std::string(line.bytes()), line.ending(), line.fault(), line.lineKind(), line.kind()};
}

std::vector<Seen> linesOf(Reader reader) {
    std::vector<Seen> lines;
    for (const LineView& line : reader) lines.push_back(seen(line));
    return lines;
}
std::vector<Seen> linesOfBytes(std::string_view bytes, const ReadOptions& options = {}) {
    return linesOf(Reader::ofBytes(bytes, options));
}

std::vector<LineFault> faultsOf(std::string_view bytes, const ReadOptions& options = {}) {
    std::vector<LineFault> faults;
    for (const Seen& line : linesOfBytes(bytes, options)) faults.push_back(line.fault);
    return faults;
}

std::string endingBytes(LineEnding ending, bool isUtf16) {
    const std::map<LineEnding, std::u16string> all = {
        {LineEnding::CrLf, u"\r\n"}, {LineEnding::Lf, u"\n"}, {LineEnding::Cr, u"\r"}, {LineEnding::None, u""}};
    if (isUtf16) return utf16(all.at(ending), false);
    return {all.at(ending).begin(), all.at(ending).end()};
}

std::string record(char letter = '1') { return letter + std::string(511, ' '); }

// Random files in both encodings, and the samples.
template <class Use> void forManyFiles(Use use) {
    Random random(7);
    for (int i = 0; i < 300 && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("random file " + std::to_string(i));
        use(randomFile(random, i % 2 == 0, random.below(30)));
    }
    for (const std::string& sample : sampleFiles) {
        SCOPED_TRACE(sample);
        use(readFile(std::string(SAMPLES) + "/" + sample));
    }
}

// The first test, so that it also sees what is done once in a process.
TEST(Reader, malformed_lines_print_nothing) {
    const Console console;
    forManyFiles([](const std::string& bytes) {
        for (const LineView& line : Reader::ofBytes(bytes))
            if (line.kind())
                for (const Field& field : line.kind()->fields) static_cast<void>(line.text(field));
    });
    EXPECT_EQ(console.narrow(), "");
    EXPECT_EQ(console.wide(), L"");
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

TEST(Reader, lines_are_those_of_the_classic_stream) {
    const TempFolder folder;
    const std::string path = folder.path("x");
    const Silence quiet;
    std::size_t count = 0;
    forManyFiles([&](const std::string& bytes) {
        writeFile(path, bytes);
        const bool isUtf16 = bytes.starts_with("\xFF\xFE");
        iFileStream classic;
        classic.open(path.c_str(), isUtf16 ? StrConv::ENCODING_UTF16LE : StrConv::ENCODING_ANSI);
        Reader reader(path);
        EXPECT_EQ(reader.encoding() == Encoding::Utf16, isUtf16);
        for (const LineView& line : reader) {
            if (line.fault() == LineFault::Unread) {
                EXPECT_TRUE(classic.eof());
                EXPECT_TRUE(classic.hasUnreadText());
                return;
            }
            if (line.fault() == LineFault::HalfCharacter && line.size() == 0) break;
            ASSERT_FALSE(classic.eof());
            AMRKeyLine expected;
            classic.getline(expected);
            std::wstring text = line.wide();
            if (line.ending() == LineEnding::CrLf || line.ending() == LineEnding::Cr) text += L'\r';
            EXPECT_EQ(text, expected.line);
            EXPECT_EQ(line.number(), classic.getLineNumber());
            ++count;
        }
        EXPECT_TRUE(classic.eof());
    });
    EXPECT_GT(count, 3000u);
}

TEST(Reader, lines_together_are_the_file) {
    forManyFiles([](const std::string& bytes) {
        Reader reader = Reader::ofBytes(bytes);
        const bool isUtf16 = reader.encoding() == Encoding::Utf16;
        std::string all = isUtf16 ? "\xFF\xFE" : "";
        std::int64_t number = 0;
        for (const LineView& line : reader) {
            EXPECT_EQ(line.offset(), all.size());
            EXPECT_EQ(line.number(), ++number);
            EXPECT_EQ(line.encoding(), reader.encoding());
            EXPECT_EQ(line.size(), line.bytes().size() / (isUtf16 ? 2 : 1));
            all += line.bytes();
            all += endingBytes(line.ending(), isUtf16);
            EXPECT_EQ(reader.bytesRead(), all.size());
        }
        EXPECT_EQ(all, bytes);
        EXPECT_EQ(reader.next(), nullptr);
        EXPECT_FALSE(reader.error());
    });
}

TEST(Reader, line_ending_is_known) {
    const auto endings = [](std::string_view bytes) {
        std::vector<LineEnding> all;
        for (const Seen& line : linesOfBytes(bytes)) all.push_back(line.ending);
        return all;
    };
    using enum LineEnding;
    EXPECT_EQ(endings("a\r\nb\nc"), (std::vector{CrLf, Lf, None}));
    EXPECT_EQ(endings("a\r\nb\r"), (std::vector{CrLf, Cr}));
    EXPECT_EQ(endings("\r\n\n\r"), (std::vector{CrLf, Lf, Cr}));
    EXPECT_EQ(endings(utf16(u"a\r\nb\nc\r")), (std::vector{CrLf, Lf, Cr}));
    EXPECT_EQ(endings("\xFF\xFE" + std::string("\r\0x", 3)), (std::vector{None}));  // an odd byte after the CR
}

TEST(Reader, carriage_return_within_a_line_belongs_to_its_text) {
    EXPECT_EQ(linesOfBytes("a\rb\r\r\nc").front().bytes, "a\rb\r");
}

TEST(Reader, empty_file_has_no_lines) {
    EXPECT_TRUE(linesOfBytes("").empty());
    Reader marked = Reader::ofBytes("\xFF\xFE");
    EXPECT_EQ(marked.encoding(), Encoding::Utf16);
    EXPECT_EQ(marked.next(), nullptr);
    EXPECT_EQ(marked.bytesRead(), 2u);
}

TEST(Reader, bytes_that_look_like_line_feeds_in_utf16_are_text) {
    const std::string bytes = utf16(u"\u0A0A\u0A0D\u0D0A\u0A00\nb");
    const auto lines = linesOfBytes(bytes);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].bytes, utf16(u"\u0A0A\u0A0D\u0D0A\u0A00", false));
}

TEST(Reader, encoding_can_be_given) {
    const std::string marked = utf16(u"a\r\n"), plain = utf16(u"a\r\n", false);
    EXPECT_EQ(linesOfBytes(marked, {.encoding = Encoding::Ansi}).front().bytes, std::string_view("\xFF\xFE"
                                                                                                 "a\0\r\0",
                                                                                    6));
    EXPECT_EQ(linesOfBytes(plain, {.encoding = Encoding::Utf16}).front().bytes, std::string_view("a\0", 2));
    EXPECT_EQ(linesOfBytes(plain, {.encoding = Encoding::Utf16}).front().offset, 0u);
    EXPECT_EQ(linesOfBytes(marked, {.encoding = Encoding::Utf16}).front().offset, 2u);
}

// ---- Blocks ---------------------------------------------------------------------------------------------------------

// Lines of many lengths, so that line endings, halves of characters and marks of keys lie at the borders of blocks.
std::string straddling(bool isAnsi, std::size_t size) {
    Random random(3);
    std::string bytes;
    while (bytes.size() < size) bytes += randomFile(random, isAnsi, 40).substr(isAnsi || bytes.empty() ? 0 : 2);
    return bytes.substr(0, size / 2 * 2);
}

TEST(Reader, blocks_do_not_change_the_lines) {
    const TempFolder folder;
    constexpr std::size_t block = 256 * 1024;
    for (const bool isAnsi : {true, false}) {
        const std::string bytes = straddling(isAnsi, 3 * block);
        for (const std::size_t cut : {0U, 2U, 4U, 6U, 514U, 1028U}) {
            const std::string some = (isAnsi ? "" : "\xFF\xFE") + bytes.substr(2 + cut);
            writeFile(folder.path("x"), some);
            EXPECT_TRUE(linesOf(Reader(folder.path("x"))) == linesOfBytes(some));
        }
        // A line feed, its carriage return and an odd byte directly before and after a border.
        for (std::size_t size = block - 6; size < block + 6; ++size) {
            const std::string line(isAnsi ? size : size / 2, 'x');
            const std::string text = line + "\r\n" + record() + "\r\n";
            const std::string some = isAnsi ? text : utf16(std::u16string(text.begin(), text.end()));
            writeFile(folder.path("x"), some);
            EXPECT_TRUE(linesOf(Reader(folder.path("x"))) == linesOfBytes(some)) << size;
        }
    }
}

#ifndef _WIN32
TEST(Reader, pipe_that_delivers_a_few_bytes_at_a_time_has_the_same_lines) {
    for (const bool isAnsi : {true, false}) {
        Random random(5);
        const std::string bytes = randomFile(random, isAnsi, 40);
        int ends[2];
        ASSERT_EQ(::pipe(ends), 0);
        std::thread writer([&] {
            std::string_view rest = bytes;
            for (std::size_t size = 1; !rest.empty(); size = size % 7 + 1) {
                const ssize_t count = ::write(ends[1], rest.data(), std::min(size, rest.size()));
                rest.remove_prefix(static_cast<std::size_t>(count));
            }
            ::close(ends[1]);
        });
        EXPECT_TRUE(linesOf(Reader::ofDescriptor(ends[0], "pipe")) == linesOfBytes(bytes));
        writer.join();
        EXPECT_EQ(::close(ends[0]), 0);  // the reader has left it open
    }
}

TEST(Reader, lines_of_a_given_kind_come_as_soon_as_they_are_written) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const std::string line = record() + "\r\n";
    ASSERT_EQ(::write(ends[1], line.data(), line.size()), static_cast<ssize_t>(line.size()));
    Reader reader = Reader::ofDescriptor(ends[0], "pipe", {.kind = LineKind::Record});
    ASSERT_NE(reader.next(), nullptr);
    ::close(ends[1]);
    EXPECT_EQ(reader.next(), nullptr);
    ::close(ends[0]);
}
#endif

TEST(Reader, descriptor_is_read_from_where_it_is) {
    const TempFolder folder;
    writeFile(folder.path("x"), "first\r\nsecond\r\n");
    const int descriptor = ::open(folder.path("x").c_str(), O_RDONLY);
    ::lseek(descriptor, 7, SEEK_SET);
    const auto lines = linesOf(Reader::ofDescriptor(descriptor, "x"));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].bytes, "second");
    EXPECT_EQ(lines[0].offset, 0u);
    ::close(descriptor);
}

TEST(Reader, line_of_ten_megabytes_is_held_whole) {
    const TempFolder folder;
    const std::string longLine(10'000'000, 'x');
    for (const bool isAnsi : {true, false}) {
        const std::string text = record() + "\r\n" + longLine + "\r\n" + record('2') + "\r\n";
        const std::string bytes = isAnsi ? text : utf16(std::u16string(text.begin(), text.end()));
        writeFile(folder.path("x"), bytes);
        const auto lines = linesOf(Reader(folder.path("x")));
        EXPECT_TRUE(lines == linesOfBytes(bytes));
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_EQ(lines[1].bytes.size(), longLine.size() * (isAnsi ? 1 : 2));
        EXPECT_EQ(lines[1].fault, LineFault::TooLong);
        EXPECT_EQ(lines[2].fault, LineFault::None);
    }
}

TEST(Reader, keys_at_the_end_of_a_long_line_make_it_a_key_line) {
    for (const std::size_t at : {300'000u, 262'140u, 262'144u, 524'280u}) {
        std::string line = "8" + std::string(at, 'x') + "wmBusKey_Mode5" + std::string(100, 'x');
        EXPECT_EQ(linesOfBytes(line + "\r\n").front().shape, LineKind::Key) << at;
        line[at + 5] = '_';
        EXPECT_NE(linesOfBytes(line + "\r\n").front().shape, LineKind::Key) << at;
    }
}

// ---- Kinds and faults -----------------------------------------------------------------------------------------------

TEST(Reader, every_fault_is_found) {
    using enum LineFault;
    const std::string file = record() + "\r\n" + record('2') + "\r\n" + record('3') + "\r\n";
    EXPECT_EQ(faultsOf(file), (std::vector{None, None, None}));
    EXPECT_EQ(faultsOf(file + "\r\n").back(), Empty);
    EXPECT_EQ(faultsOf(file + record().substr(1) + "\r\n").back(), TooShort);
    EXPECT_EQ(faultsOf(file + record() + " x\r\n").back(), TooLong);
    EXPECT_EQ(faultsOf(file + record() + "x\n").back(), None);  // in the place of the CR
    EXPECT_EQ(faultsOf(file + record() + "x\r\n").back(), TooLong);
    EXPECT_EQ(faultsOf(file + record() + "x").back(), TooLong);
    EXPECT_EQ(faultsOf(file + record('8') + "\r\n").back(), UnknownLetter);
    EXPECT_EQ(faultsOf(file + record('\0') + "\r\n").back(), UnknownLetter);
    EXPECT_EQ(faultsOf("abc\r\n"), (std::vector{UnknownKind}));
    EXPECT_EQ(faultsOf("\xFF\xFE" + std::string("x")), (std::vector{HalfCharacter}));
    EXPECT_EQ(faultsOf(utf16(std::u16string(512, u'1')) + "x"), (std::vector{HalfCharacter}));
    EXPECT_EQ(faultsOf(utf16(u"a\n\uFFFFb\nc\n")), (std::vector{UnknownKind, Unread, Unread}));
    EXPECT_EQ(faultsOf(utf16(u"a\uFFFF\n")), (std::vector{UnknownKind}));
    EXPECT_EQ(faultsOf("\xFF\xFF\xFF\xFF\n"), (std::vector{UnknownKind}));
    EXPECT_EQ(faultsOf(R"({"serialNumber":"1"})"), (std::vector{None}));
}

TEST(Reader, fault_has_words) {
    EXPECT_EQ(describe(LineFault::None), "the line is not malformed");
    EXPECT_EQ(describe(LineFault::Empty), "the line is empty");
    EXPECT_EQ(describe(LineFault::TooShort), "the line is too short");
    EXPECT_EQ(describe(LineFault::TooLong), "the line is too long");
    EXPECT_EQ(describe(LineFault::UnknownLetter), "the record letter is unknown");
    EXPECT_EQ(describe(LineFault::UnknownKind), "the length of the line matches no kind of line");
    EXPECT_EQ(describe(LineFault::HalfCharacter), "the line ends with half of a UTF-16 character");
    EXPECT_EQ(describe(LineFault::Unread), "the text ends at a line that begins with U+FFFF");
}

TEST(Reader, kind_can_be_given) {
    using enum LineFault;
    const std::string tag(23, 't');
    EXPECT_EQ(faultsOf(tag + "\n" + record() + "\n", {.kind = LineKind::Tag}), (std::vector{None, TooLong}));
    EXPECT_EQ(faultsOf(tag + "\n" + record() + "\n", {.kind = LineKind::Record}), (std::vector{TooShort, None}));
    EXPECT_EQ(faultsOf(tag + "\n" + record() + "\n", {.kind = LineKind::Key}), (std::vector{None, None}));
    EXPECT_EQ(linesOfBytes(tag + "\n", {.kind = LineKind::Key}).front().kind, nullptr);
    EXPECT_EQ(linesOfBytes(std::string(40, 'p')).front().kind, &tramo::kindOf<ParameterTramoModel>());
}

TEST(Reader, prevailing_kind_is_that_of_the_first_lines) {
    const auto prevailing = [](const std::string& bytes) { return Reader::ofBytes(bytes).prevailing(); };
    EXPECT_EQ(prevailing(record() + "\r\n"), LineKind::Record);
    EXPECT_EQ(prevailing(std::string(23, 't') + "\r\n"), LineKind::Tag);
    EXPECT_EQ(prevailing(utf16(std::u16string(40, u'p'))), LineKind::Parameter);
    EXPECT_EQ(prevailing("abc"), std::nullopt);
    EXPECT_EQ(prevailing(""), std::nullopt);
    std::string tags;
    while (tags.size() < 256 * 1024) tags += std::string(23, 't') + "\r\n";
    std::string records;
    while (records.size() < tags.size()) records += record() + "\r\n";
    EXPECT_EQ(prevailing(tags + records + records), LineKind::Tag);
}

// The rules about whole lines, which the checks find without Reader.
const std::map<std::string_view, LineFault> faultOfRule = {{"LineEmpty", LineFault::Empty}, {"LineTooShort", LineFault::TooShort},
    {"LineTooLong", LineFault::TooLong}, {"LineLetterUnknown", LineFault::UnknownLetter},
    {"LineKindUnknown", LineFault::UnknownKind}, {"LastByteOdd", LineFault::HalfCharacter}, {"TextUnread", LineFault::Unread}};

TEST(Reader, faults_are_those_of_the_checks) {
    const Silence quiet;
    std::map<LineFault, int> count;
    forManyFiles([&](const std::string& bytes) {
        Reader reader = Reader::ofBytes(bytes);
        for (const LineView& line : reader) {
            std::optional<LineFault> expected;
            for (const tramo::Finding& finding : line.findings())
                if (const auto found = faultOfRule.find(finding.rule->name);
                    found != faultOfRule.end() && expected != LineFault::HalfCharacter)
                    expected = found->second;
            if (line.fault() == LineFault::HalfCharacter) expected = LineFault::HalfCharacter;
            const bool isZero = line.fault() == LineFault::UnknownLetter && line.wide()[0] == 0;  // has a rule of its own
            EXPECT_EQ(line.fault(), isZero ? LineFault::UnknownLetter : expected.value_or(LineFault::None)) << line.number();
            ++count[line.fault()];
        }
    });
    EXPECT_EQ(count.size(), 8u);
}

TEST(Reader, findings_of_a_line_are_those_of_the_check_of_its_file) {
    const Silence quiet;
    for (const char* sample : {"round-broken.txt", "round-damaged.txt", "round-returned-utf16.txt", "tags.txt", "amr-keys.txt"}) {
        Reader reader(std::string(SAMPLES) + "/" + sample);
        tramo::Checker checker({.prevailing = reader.prevailing()});
        std::vector<tramo::Finding> expected;
        for (const LineView& line : reader) {
            const std::wstring text = line.wide();
            expected.clear();
            checker.line({.text = text,
                             .carriageReturn = line.ending() == LineEnding::CrLf || line.ending() == LineEnding::Cr,
                             .lineFeed = line.ending() == LineEnding::CrLf || line.ending() == LineEnding::Lf,
                             .number = line.number()},
                expected);
            const auto found = line.findings();
            ASSERT_EQ(found.size(), expected.size()) << sample << ":" << line.number();
            for (std::size_t i = 0; i < found.size(); ++i) {
                EXPECT_EQ(found[i].line, expected[i].line);
                EXPECT_EQ(sentenceOf(found[i]), sentenceOf(expected[i]));
            }
        }
    }
}

TEST(Reader, line_that_cannot_be_read_has_one_finding) {
    const std::string bytes = utf16(u"\uFFFFab\nc\n\n");
    std::vector<std::string> sentences;
    for (const LineView& line : Reader::ofBytes(bytes))
        for (const tramo::Finding& finding : line.findings())
            sentences.push_back(std::to_string(finding.line) + ": " + finding.sentence + ": " + finding.reason);
    EXPECT_EQ(sentences,
        (std::vector<std::string>{"1: line begins with U+FFFF, which ends the text: 3 characters from here on cannot be read",
            "2: line comes after a line that begins with U+FFFF, which ends the text: 1 character cannot be read",
            "3: line comes after a line that begins with U+FFFF, which ends the text: 0 characters cannot be read"}));
}

// ---- Errors ---------------------------------------------------------------------------------------------------------

struct Failure {
    std::error_code code{};
    std::string what{};
};

template <class Operation> Failure failureOf(Operation operation) {
    try {
        operation();
    } catch (const std::system_error& error) { return {error.code(), error.what()}; }
    return {};
}

#ifdef _WIN32
constexpr std::errc directoryOpened = std::errc::permission_denied, fileAsDirectory = std::errc::no_such_file_or_directory;
#else
constexpr std::errc directoryOpened = std::errc::is_a_directory, fileAsDirectory = std::errc::not_a_directory;
#endif

TEST(Reader, file_that_cannot_be_opened_is_an_error_with_path_and_reason) {
    const TempFolder folder;
    const std::string missing = folder.path("missing"), here = folder.path("");
    const Failure none = failureOf([&] { Reader reader(missing); });
    EXPECT_EQ(none.code, std::errc::no_such_file_or_directory);
    EXPECT_EQ(none.what, "cannot open \"" + missing + "\": " + none.code.message());
    EXPECT_EQ(failureOf([&] { Reader reader(here); }).code, directoryOpened);
    EXPECT_EQ(failureOf([&] { Reader reader(""); }).code, std::errc::no_such_file_or_directory);
    writeFile(folder.path("x"), "abc");
    EXPECT_EQ(failureOf([&] { Reader reader(folder.path("x") + "/y"); }).code, fileAsDirectory);
    EXPECT_EQ(
        failureOf([&] { Reader reader(folder.path("x") + std::string("\0y", 2)); }).code, std::errc::no_such_file_or_directory);
    EXPECT_EQ(failureOf([&] { Reader::ofDescriptor(-1, "nowhere"); }).code, std::errc::bad_file_descriptor);
    EXPECT_TRUE(failureOf([&] { Reader::ofDescriptor(-1, "nowhere"); }).what.starts_with("cannot read \"nowhere\": "));
}

#ifndef _WIN32
TEST(Reader, file_without_permission_is_an_error) {
    if (::geteuid() == 0) GTEST_SKIP() << "root can read every file";
    const TempFolder folder;
    writeFile(folder.path("x"), "abc");
    ::chmod(folder.path("x").c_str(), 0);
    EXPECT_EQ(failureOf([&] { Reader reader(folder.path("x")); }).code, std::errc::permission_denied);
}

TEST(Reader, control_characters_of_a_path_are_escaped) {
    EXPECT_TRUE(failureOf([] { Reader reader("a\x1B[31m\nb"); }).what.starts_with("cannot open \"a\\x1b[31m\\x0ab\": "));
}
#endif

#ifdef __linux__
// Its first page cannot be read.
constexpr const char* unreadable = "/proc/self/mem";

TEST(Reader, file_that_cannot_be_read_is_an_error) {
    const Failure failure = failureOf([] { Reader reader(unreadable); });
    EXPECT_EQ(failure.code, std::errc::io_error);
    EXPECT_EQ(failure.what, std::string("cannot read \"/proc/self/mem\": ") + failure.code.message());
    const ReadOptions withoutSample{.encoding = Encoding::Ansi, .kind = LineKind::Record};
    Reader later(unreadable, withoutSample);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(failureOf([&] { later.next(); }).what, failure.what);
    EXPECT_EQ(failureOf([&] {
        for (const LineView& line : later) ADD_FAILURE() << line.number();
    }).code,
        std::errc::io_error);
}
#endif

TEST(Reader, reader_that_throws_nothing_says_why_it_has_no_lines) {
    const TempFolder folder;
    Reader missing(std::nothrow, folder.path("missing"));
    EXPECT_EQ(missing.next(), nullptr);
    EXPECT_TRUE(missing.begin() == missing.end());
    EXPECT_EQ(missing.error(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(missing.message(), "cannot open \"" + folder.path("missing") + "\": " + missing.error().message());
#ifdef __linux__
    Reader unread(std::nothrow, unreadable, {.encoding = Encoding::Ansi, .kind = LineKind::Record});
    EXPECT_FALSE(unread.error());
    EXPECT_EQ(unread.next(), nullptr);
    EXPECT_EQ(unread.error(), std::errc::io_error);
    EXPECT_EQ(unread.next(), nullptr);
#endif
    writeFile(folder.path("x"), "abc");
    Reader good(std::nothrow, folder.path("x"));
    EXPECT_NE(good.next(), nullptr);
    EXPECT_EQ(good.next(), nullptr);
    EXPECT_FALSE(good.error());
    EXPECT_EQ(good.message(), "");
}

TEST(Reader, can_be_moved) {
    Reader first = Reader::ofBytes("a\nb\nc\n");
    const LineView* const line = first.next();
    Reader second = std::move(first);
    EXPECT_EQ(line->bytes(), "a");
    EXPECT_EQ(second.next()->bytes(), "b");
    EXPECT_EQ(first.next(), nullptr);  // NOLINT: a reader that was moved from has no more lines
    EXPECT_TRUE(first.begin() == first.end());
    EXPECT_EQ(first.encoding(), Encoding::Ansi);
    EXPECT_EQ(first.prevailing(), std::nullopt);
    EXPECT_EQ(first.bytesRead(), 0u);
    EXPECT_FALSE(first.error());
    EXPECT_EQ(first.message(), "");
    first = std::move(second);
    EXPECT_EQ(first.next()->bytes(), "c");
}

// ---- Memory ---------------------------------------------------------------------------------------------------------

std::string repeated(const std::string& line, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += line + "\r\n";
    return all;
}

TEST(Reader, lines_after_the_first_allocate_nothing) {
    const TempFolder folder;
    const std::string key = R"({"serialNumber":"4C30000000","wmBusKey_Mode5":"0011223344556677"})";
    for (const std::string& line : {record(), record('8'), std::string(23, 't'), std::string(40, 'p'), key, record() + "xx"})
        for (const bool isAnsi : {true, false}) {
            std::string bytes = repeated(line, 3000);
            if (!isAnsi) bytes = utf16(std::u16string(bytes.begin(), bytes.end()));
            writeFile(folder.path("x"), bytes);
            Reader reader(folder.path("x"));
            ASSERT_NE(reader.next(), nullptr);
            int count = 1;
            EXPECT_EQ(allocationsOf([&] {
                while (reader.next()) ++count;
            }),
                0)
                << line.substr(0, 20);
            EXPECT_EQ(count, 3000);
        }
}

TEST(Reader, values_allocate_nothing) {
    const std::wstring sample = sampleLines("round-returned.txt", L'1').at(0);
    std::string text;
    for (const wchar_t c : sample) text += static_cast<char>(c);
    for (const bool isAnsi : {true, false}) {
        const std::string bytes = isAnsi ? text : utf16(std::u16string(text.begin(), text.end()));
        Reader reader = Reader::ofBytes(bytes);
        const LineView& line = *reader.next();
        ASSERT_TRUE(line.is<MeterSubscriberTramoModel>());
        std::string buffer;
        const auto readAll = [&] {
            int present = 0;
            for (const Field& field : line.kind()->fields) {
                const tramo::FieldView view = line[field];
                present += view.integer().has_value() + view.real().has_value() + view.flag().has_value() +
                           view.code().has_value() + view.time().has_value() + view.day().has_value() + view.year().has_value() +
                           view.alarms().has_value() + view.valid() + view.blank();
                if (field.kind == FieldKind::Text) present += view.text(buffer).has_value();
            }
            return present;
        };
        EXPECT_GT(readAll(), 50);  // and fills the memory of the thread
        EXPECT_EQ(allocationsOf(readAll), 0);
    }
}

}  // namespace

// ---- Parts of a file ------------------------------------------------------------------------------------------------

namespace {

// The numbers and texts of all lines, read in parts.
std::vector<std::string> linesOfParts(const std::string& path, std::uint64_t bytesPerPart, std::size_t& count) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const tramo::FileParts parts = tramo::splitFile(path, bytesPerPart);
    count = parts.parts.size();
    std::vector<std::string> lines;
    std::uint64_t end = bytes.starts_with("\xFF\xFE") ? 2 : 0;
    for (const tramo::FilePart& part : parts.parts) {
        EXPECT_EQ(part.offset, end);
        EXPECT_GT(part.size, 0u);
        end = part.offset + part.size;
        const std::string_view text = std::string_view(bytes).substr(part.offset, part.size);
        Reader reader = Reader::ofBytes(text, {.encoding = parts.encoding});
        for (const LineView& line : reader)
            lines.push_back(std::to_string(line.number() + part.firstLine - 1) + ' ' + std::string(line.bytes()));
    }
    EXPECT_EQ(end, bytes.size());
    return lines;
}

}  // namespace

TEST(FileParts, have_all_lines_with_their_numbers) {
    for (const char* name : {"round-returned.txt", "round-returned-utf16.txt", "round-damaged.txt", "tags.txt"}) {
        const std::string path = std::string(SAMPLES) + '/' + name;
        std::vector<std::string> expected;
        Reader reader(path);
        for (const LineView& line : reader) expected.push_back(std::to_string(line.number()) + ' ' + std::string(line.bytes()));
        for (const std::uint64_t size : {1ULL, 100ULL, 5000ULL, 1ULL << 40}) {
            std::size_t count = 0;
            EXPECT_EQ(linesOfParts(path, size, count), expected) << name << ' ' << size;
            if (size == 1) { EXPECT_EQ(count, expected.size()); }
            if (size == 1ULL << 40) { EXPECT_EQ(count, 1u); }
        }
    }
}

TEST(FileParts, text_that_is_not_read_is_one_part) {
    const streams::TempFolder folder;
    const std::string path = folder.path("utf16.txt");
    std::ofstream(path, std::ios::binary) << std::string("\xFF\xFE"
                                                         "a\0\n\0"
                                                         "\xFF\xFF\n\0"
                                                         "b\0\n\0"
                                                         "c\0",
        16);
    const tramo::FileParts parts = tramo::splitFile(path, 1);
    ASSERT_EQ(parts.parts.size(), 2u);
    EXPECT_EQ(parts.parts[1].offset, 6u);
    EXPECT_EQ(parts.parts[1].size, 10u);
}

TEST(FileParts, of_an_empty_or_missing_file) {
    const streams::TempFolder folder;
    std::ofstream(folder.path("empty.txt"));
    EXPECT_TRUE(tramo::splitFile(folder.path("empty.txt"), 10).parts.empty());
    EXPECT_THROW((void)tramo::splitFile(folder.path("missing.txt"), 10), std::system_error);
}
