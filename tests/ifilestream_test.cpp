#include "tramostream/ifilestream.h"
#include "support/allocations.h"
#include "support/build.h"
#include "support/literal_streams.h"
#include "support/streamfiles.h"
#include "tramostream/exceptions.h"
#include "tramostream/stringconverter.h"
#include <atomic>
#include <chrono>
#include <csignal>
#include <cwchar>
#include <fcntl.h>
#include <functional>
#include <new>
#include <random>
#include <type_traits>
#ifndef _WIN32
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using streams::eofFlag, streams::failFlag, streams::good;
using streams::textOf, streams::thrownBy, streams::utf16;
using TramoStreamExceptions::read_exception;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr int ansi = StrConv::ENCODING_ANSI, utf8 = StrConv::ENCODING_UTF8BOM, utf16le = StrConv::ENCODING_UTF16LE,
              utf16be = StrConv::ENCODING_UTF16BE;

std::string emptyWarning(const std::string& path) { return " log     Warn  {iFileStream} File " + path + " is open but empty."; }
std::string markWarning(const std::string& path) {
    return " log     Warn  {iFileStream} File " + path + " don't have the right encoding, UTF-16 expected";
}

std::wstring nextLine(iFileStream& in) {
    AMRKeyLine line;
    in.getline(line);
    return line.line;
}

std::vector<std::wstring> linesOf(iFileStream& in) {
    std::vector<std::wstring> lines;
    while (!in.eof()) lines.push_back(nextLine(in));
    return lines;
}

// Writes lines "0", "1", ... before the content, so that failures do not hide in the first line.
std::wstring joined(const std::vector<std::wstring>& lines) {
    std::wstring text;
    for (const std::wstring& line : lines) text += line + L'\n';
    return text;
}

class InputStream : public streams::StreamTest {
protected:
    std::vector<std::wstring> read(const std::string& name, int encoding) {
        in.open(name.c_str(), encoding);
        return linesOf(in);
    }
    void open(const std::string& name, int encoding) { in.open(name.c_str(), encoding); }

    iFileStream in;
};

using Lines = std::vector<std::wstring>;

// ---- The class ------------------------------------------------------------------------------------------------------

TEST_F(InputStream, IsNeitherCopiedNorMovedAndHasOneVirtualOperation) {
    EXPECT_TRUE(std::has_virtual_destructor_v<iFileStream>);
    EXPECT_FALSE(std::is_copy_constructible_v<iFileStream>);
    EXPECT_FALSE(std::is_move_constructible_v<iFileStream>);
}

TEST_F(InputStream, HasNoOpenFileInitially) {
    EXPECT_FALSE(in.is_open());
    EXPECT_EQ(in.getEncoding(), 0);
    EXPECT_EQ(in.getLineNumber(), 0);
    EXPECT_EQ(in.rdstate(), good);
    EXPECT_TRUE(in.eof());
    EXPECT_EQ(in.rdstate(), eofFlag);
}

// ---- ANSI -----------------------------------------------------------------------------------------------------------

TEST_F(InputStream, AnsiEveryByteIsTheCharacterOfItsValue) {
    const streams::GlobalLocale locale(std::locale::classic());
    std::string bytes;
    std::wstring expected;
    for (int value = 0; value < 256; ++value) {
        if (value == '\n') continue;
        bytes += static_cast<char>(value);
        expected += static_cast<wchar_t>(value);
    }
    EXPECT_EQ(read(file("f", bytes + "\n" + bytes), ansi), (Lines{expected, expected}));
    EXPECT_EQ(in.getEncoding(), ansi);
    EXPECT_TRUE(in.is_open());
}

TEST_F(InputStream, AnsiAByteAbove127NeverEndsTheFile) {
    EXPECT_EQ(read(file("f", "caf\xE9\nle\xE7on\n\xFFlast"), ansi), (Lines{L"caf\xE9", L"le\xE7on", L"\xFFlast"}));
}

TEST_F(InputStream, AnsiNeitherDetectsNorRemovesAMark) {
    const streams::GlobalLocale locale(std::locale::classic());
    EXPECT_EQ(read(file("f", "\xFF\xFE"
                             "a\0\n"sv),
                  ansi),
        (Lines{L"\xFF\xFE"
               L"a\0"s}));
}

TEST_F(InputStream, ALastLineWithoutLineEndingIsALine) {
    EXPECT_EQ(read(file("f", "first\r\nlast"), ansi), (Lines{L"first\r", L"last"}));
    iFileStream other;
    other.open(file("g", utf16(u"first\r\nlast")).c_str(), utf16le);
    EXPECT_EQ(linesOf(other), (Lines{L"first\r", L"last"}));
}

TEST_F(InputStream, EmptyLinesAreLines) { EXPECT_EQ(read(file("f", "\n\n\r\n"), ansi), (Lines{L"", L"", L"\r"})); }

// ---- UTF-16 ---------------------------------------------------------------------------------------------------------

TEST_F(InputStream, Utf16EveryUnitIsACharacter) {
    std::u16string text;
    std::wstring expected;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        if (unit == 0x000A) continue;
        text += static_cast<char16_t>(unit);
        expected += static_cast<wchar_t>(unit);
    }
    open(file("f", utf16(u"x" + text + u"\n" + text + u"\nend")), utf16le);
    EXPECT_EQ(nextLine(in), L"x" + expected);
    EXPECT_EQ(nextLine(in), expected);
    EXPECT_EQ(nextLine(in), L"end");
    EXPECT_EQ(in.getEncoding(), utf16le);
}

TEST_F(InputStream, Utf16LowByteFirst) { EXPECT_EQ(read(file("f", "\xFF\xFE\x34\x12"), utf16le), Lines{L"\x1234"}); }

TEST_F(InputStream, Utf16NoSurrogateProcessing) {
    const std::string bytes = utf16(u"\xD83D\xDE00|") + "\x00\xDC\x00\xD8"s;
    EXPECT_EQ(read(file("f", bytes), utf16le), (Lines{std::wstring{0xD83D, 0xDE00, L'|', 0xDC00, 0xD800}}));
}

TEST_F(InputStream, Utf16OnlyU000AEndsALine) {
    EXPECT_EQ(read(file("f", utf16(u"\x0A0A\x0A00\x010A\x000A\x0A0A")), utf16le), (Lines{L"\x0A0A\x0A00\x010A", L"\x0A0A"}));
}

TEST_F(InputStream, Utf16LineFeedsAreFoundAtEveryPosition) {
    for (std::size_t length = 0; length < 140; ++length) {
        iFileStream stream;
        stream.open(file("f", utf16(std::u16string(length, u'\x0A0A') + u"\nx")).c_str(), utf16le);
        EXPECT_EQ(linesOf(stream), (Lines{std::wstring(length, L'\x0A0A'), L"x"})) << length;
    }
}

TEST_F(InputStream, Utf16AnOddLastByteIsDropped) { EXPECT_EQ(read(file("f", utf16(u"ab\n") + "c"), utf16le), Lines{L"ab"}); }

TEST_F(InputStream, Utf16AMarkAndOneByteIsAnEmptyText) {
    open(file("f", "\xFF\xFE\n"), utf16le);
    EXPECT_TRUE(in.eof());
    EXPECT_FALSE(in.hasUnreadText());
}

TEST_F(InputStream, Utf16AFileOfOnlyTheMarkIsOpenWithEmptyText) {
    open(file("f", "\xFF\xFE"), utf16le);
    EXPECT_TRUE(in.is_open());
    EXPECT_TRUE(in.eof());
    EXPECT_EQ(in.rdstate(), eofFlag);
    EXPECT_EQ(log(), std::vector<std::string>());
}

TEST_F(InputStream, Utf16OnlyTheFirstMarkIsRemoved) { EXPECT_EQ(read(file("f", "\xFF\xFE\xFF\xFE"), utf16le), Lines{L"\xFEFF"}); }

// ---- A missing mark -------------------------------------------------------------------------------------------------

TEST_F(InputStream, AMissingMarkIsLoggedAndTheWholeFileReadAsAnsi) {
    const streams::GlobalLocale locale(std::locale::classic());
    for (const auto& [name, bytes] : {
             std::pair{"plain text", "ab\ncd"sv},
             std::pair{"UTF-8 mark", "\xEF\xBB\xBF"
                                     "ab\ncd"sv},
             std::pair{"big-endian mark", "\xFE\xFF\0a\0b\0\nc"sv},
             std::pair{"mark half there", "\xFF\nab"sv},
             std::pair{"second half there", "a\xFE\n"sv},
             std::pair{"two bytes", "ab"sv},
             std::pair{"one byte", "a"sv},
             std::pair{"one byte of the mark", "\xFF"sv},
         }) {
        std::filesystem::remove(path("log"));
        iFileStream stream;
        stream.open(file("f", bytes).c_str(), utf16le);
        EXPECT_TRUE(stream.is_open()) << name;
        EXPECT_EQ(stream.getEncoding(), ansi) << name;
        EXPECT_EQ(log(), std::vector<std::string>{markWarning(path("f"))}) << name;
        std::wstring expected;
        for (const char byte : bytes) expected += static_cast<wchar_t>(static_cast<unsigned char>(byte));
        if (!expected.ends_with(L'\n')) expected += L'\n';
        EXPECT_EQ(joined(linesOf(stream)), expected) << name;
    }
}

TEST_F(InputStream, AfterAMissingMarkALaterOpenAppends) {
    open(file("f", "ab"), utf16le);
    open(file("g", "cd"), ansi);
    EXPECT_EQ(linesOf(in), Lines{L"abcd"});
}

TEST_F(InputStream, AfterAFileOfOneByteALaterOpenThrows) {
    open(file("f", "a"), utf16le);
    EXPECT_TRUE(in.is_open());
    EXPECT_EQ(linesOf(in), Lines{L"a"});
    const std::string text = streams::thrownBy<std::ios_base::failure>([&] { open(file("g", "cd"), ansi); });
    EXPECT_EQ(text.substr(0, text.rfind(": ")), "iFileStream::open: an earlier file failed") << "and the library's own words";
    in.close();
    EXPECT_FALSE(in.is_open());
    EXPECT_THROW(open(file("g", "cd"), ansi), std::ios_base::failure);
    EXPECT_THROW(open(file("h", utf16(u"cd")), utf16le), std::ios_base::failure);
}

// ---- Empty files ----------------------------------------------------------------------------------------------------

TEST_F(InputStream, AnEmptyFileIsOpenAndLogged) {
    for (const int encoding : {ansi, utf16le}) {
        std::filesystem::remove(path("log"));
        iFileStream stream;
        stream.open(file("f", "").c_str(), encoding);
        EXPECT_TRUE(stream.is_open());
        EXPECT_EQ(stream.getEncoding(), encoding);
        EXPECT_EQ(stream.rdstate(), good);
        EXPECT_TRUE(stream.eof());
        EXPECT_EQ(log(), std::vector<std::string>{emptyWarning(path("f"))});
    }
}

TEST_F(InputStream, AnEmptyAnsiFileMakesEveryLaterOpenThrow) {
    open(file("f", ""), ansi);
    const std::string other = file("g", "ab");
    EXPECT_THROW(open(other, ansi), std::ios_base::failure);
    EXPECT_THROW(open(other, utf16le), std::ios_base::failure);
    in.close();
    EXPECT_FALSE(in.is_open());
    EXPECT_THROW(open(other, ansi), std::ios_base::failure);
    EXPECT_EQ(in.getEncoding(), ansi);
    EXPECT_TRUE(in.eof());
}

TEST_F(InputStream, AnEmptyUtf16FileMakesALaterOpenReturnAtOnceAndThrowAfterClose) {
    open(file("f", ""), utf16le);
    open(file("g", "ab"), ansi);
    EXPECT_EQ(in.getEncoding(), utf16le);
    in.close();
    EXPECT_FALSE(in.is_open());
    EXPECT_THROW(open(path("g"), ansi), std::ios_base::failure);
    EXPECT_EQ(in.getEncoding(), utf16le);
}

TEST_F(InputStream, AnEmptyFileLeavesTheTextAsItWas) {
    open(file("f", "ab\ncd"), ansi);
    EXPECT_EQ(nextLine(in), L"ab");
    open(file("g", ""), ansi);
    EXPECT_EQ(linesOf(in), Lines{L"cd"});
    iFileStream other;
    other.open(path("f").c_str(), ansi);
    other.open(path("g").c_str(), utf16le);
    EXPECT_EQ(linesOf(other), (Lines{L"ab", L"cd"}));
}

// ---- Unreadable files -----------------------------------------------------------------------------------------------

TEST_F(InputStream, AnUnreadableFileIsAnUnsupportedEncoding) {
    std::filesystem::create_directory(path("folder"));
    file("f", "ab");
    std::vector<std::string> names{path("missing"), path("folder"), path("f/below"), ""};
#ifndef _WIN32
    std::filesystem::create_symlink("loop", path("loop"));
    names.insert(names.end(), {path("loop"), "/proc/self/mem"});
#endif
    for (const std::string& name : names) {
        for (const int encoding : {ansi, utf16le}) {
            iFileStream stream;
            EXPECT_EQ(thrownBy<read_exception>([&] { stream.open(name.c_str(), encoding); }), "Unsupported encoding.") << name;
            EXPECT_FALSE(stream.is_open()) << name;
            EXPECT_EQ(stream.getEncoding(), encoding) << name;
            EXPECT_TRUE(stream.eof()) << name;
            EXPECT_THROW(stream.open(path("f").c_str(), ansi), std::ios_base::failure) << name;
            stream.close();
            EXPECT_THROW(stream.open(path("f").c_str(), utf16le), std::ios_base::failure) << name;
        }
    }
    EXPECT_EQ(log(), std::vector<std::string>());
}

TEST_F(InputStream, OtherEncodingsAreRejectedAndLeaveTheFileOpen) {
    for (const int encoding : {utf8, utf16be, 4, -1, 1000}) {
        iFileStream stream;
        const std::string name = file("f", "ab\n");
        EXPECT_EQ(thrownBy<read_exception>([&] { stream.open(name.c_str(), encoding); }), "Unsupported encoding.") << encoding;
        EXPECT_TRUE(stream.is_open());
        EXPECT_EQ(stream.getEncoding(), encoding);
        EXPECT_NO_THROW(stream.open(name.c_str(), ansi)) << "returns at once";
        EXPECT_EQ(stream.getEncoding(), encoding);
        EXPECT_TRUE(stream.eof());
        stream.close();
        EXPECT_FALSE(stream.is_open());
        stream.open(name.c_str(), ansi);
        EXPECT_EQ(linesOf(stream), Lines{L"ab"});
    }
}

TEST_F(InputStream, OtherEncodingsOfAMissingFileFailForGood) {
    EXPECT_THROW(open(path("missing"), utf8), read_exception);
    EXPECT_FALSE(in.is_open());
    EXPECT_THROW(open(file("f", "ab"), ansi), std::ios_base::failure);
    EXPECT_EQ(in.getEncoding(), utf8);
}

TEST_F(InputStream, AFolderIsLikeAMissingFileForEveryEncoding) {
    EXPECT_THROW(open(path("."), utf8), read_exception);
    EXPECT_FALSE(in.is_open());
    EXPECT_THROW(open(file("f", "ab"), ansi), std::ios_base::failure);
}

TEST_F(InputStream, AFailedOpenLeavesTheTextAsItWas) {
    open(file("f", "ab\ncd"), ansi);
    EXPECT_EQ(nextLine(in), L"ab");
    EXPECT_THROW(open(path("missing"), utf16le), read_exception);
    EXPECT_TRUE(in.is_open()) << "the ANSI file still is";
    EXPECT_EQ(in.getEncoding(), utf16le);
    EXPECT_EQ(linesOf(in), Lines{L"cd"});
}

TEST_F(InputStream, AFailedAnsiOpenClosesThePreviousAnsiFile) {
    open(file("f", "ab"), ansi);
    EXPECT_THROW(open(path("missing"), ansi), read_exception);
    EXPECT_FALSE(in.is_open());
    EXPECT_EQ(linesOf(in), Lines{L"ab"});
}

// ---- Opening again --------------------------------------------------------------------------------------------------

TEST_F(InputStream, AnsiAfterAnsiAppends) {
    open(file("f", "ab\ncd"), ansi);
    EXPECT_EQ(nextLine(in), L"ab");
    open(file("g", "ef\n"), ansi);
    EXPECT_EQ(linesOf(in), Lines{L"cdef"});
}

TEST_F(InputStream, AnsiAfterUtf16Appends) {
    open(file("f", utf16(u"ab\ncd")), utf16le);
    EXPECT_EQ(nextLine(in), L"ab");
    in.close();
    open(file("g", "ef\n"), ansi);
    EXPECT_EQ(linesOf(in), Lines{L"cdef"});
}

TEST_F(InputStream, Utf16ReplacesEverything) {
    open(file("f", "ab\ncd"), ansi);
    EXPECT_EQ(nextLine(in), L"ab");
    open(file("g", utf16(u"ef\ngh")), utf16le);
    EXPECT_EQ(linesOf(in), (Lines{L"ef", L"gh"}));
    in.close();
    open(file("h", utf16(u"ij")), utf16le);
    EXPECT_EQ(linesOf(in), Lines{L"ij"});
}

TEST_F(InputStream, ASecondOpenAfterUtf16ReturnsAtOnce) {
    open(file("f", utf16(u"ab")), utf16le);
    EXPECT_NO_THROW(open(path("missing"), utf8));
    EXPECT_EQ(in.getEncoding(), utf16le);
    EXPECT_EQ(linesOf(in), Lines{L"ab"});
}

TEST_F(InputStream, ALineContinuesOverAnyNumberOfTexts) {
    for (const char* text : {"a", "\xE9", "c\nd", "e", "\n", "f"}) open(file("f", text), ansi);
    EXPECT_EQ(nextLine(in), L"a\xE9"
                            L"c");
    EXPECT_EQ(nextLine(in), L"de");
    in.close();
    open(file("f", "g"), ansi);
    EXPECT_EQ(linesOf(in), Lines{L"fg"});
}

TEST_F(InputStream, AThousandTextsAreRead) {
    Lines expected;
    for (int i = 0; i < 1000; ++i) {
        open(file("f", std::to_string(i) + "\n"), ansi);
        expected.push_back(std::to_wstring(i));
    }
    EXPECT_EQ(linesOf(in), expected);
}

TEST_F(InputStream, WhileAFlagIsRaisedAnAnsiOpenAddsNothing) {
    open(file("f", "ab"), ansi);
    EXPECT_EQ(linesOf(in), Lines{L"ab"});
    EXPECT_NE(in.rdstate(), good);
    open(file("g", "cd"), ansi);
    EXPECT_TRUE(in.eof());
    in.close();
    EXPECT_TRUE(in.eof()) << "not even later";
    in.close();
    EXPECT_FALSE(in.hasUnreadText());
}

TEST_F(InputStream, WhileAFlagIsRaisedAnEmptyFileIsStillLogged) {
    open(file("f", "ab"), ansi);
    linesOf(in);
    open(file("g", ""), ansi);
    EXPECT_EQ(log(), std::vector<std::string>{emptyWarning(path("g"))});
}

TEST_F(InputStream, WhileAFlagIsRaisedAUtf16OpenReplacesTheTextAndKeepsTheFlags) {
    open(file("f", "ab"), ansi);
    linesOf(in);
    open(file("g", utf16(u"cd\nef")), utf16le);
    EXPECT_TRUE(in.eof());
    in.close();
    EXPECT_EQ(linesOf(in), (Lines{L"cd", L"ef"})) << "closed, text kept";
}

TEST_F(InputStream, TheLineNumberIsNeverReset) {
    open(file("f", "ab\ncd\n"), ansi);
    linesOf(in);
    in.close();
    open(file("g", utf16(u"ab\n")), utf16le);
    linesOf(in);
    EXPECT_EQ(in.getLineNumber(), 3);
}

// ---- Closing --------------------------------------------------------------------------------------------------------

TEST_F(InputStream, CloseKeepsTheTextAndClearsItsFlags) {
    open(file("f", "ab\ncd\n"), ansi);
    EXPECT_EQ(nextLine(in), L"ab");
    in.close();
    EXPECT_FALSE(in.is_open());
    EXPECT_EQ(linesOf(in), Lines{L"cd"});
    EXPECT_EQ(in.rdstate(), eofFlag);
    in.close();
    EXPECT_EQ(in.rdstate(), eofFlag) << "nothing is open: nothing is touched";
}

TEST_F(InputStream, CloseClosesBothFiles) {
    open(file("f", "ab"), ansi);
    open(file("g", utf16(u"cd")), utf16le);
    in.close();
    EXPECT_FALSE(in.is_open());
}

#ifndef _WIN32
TEST_F(InputStream, AfterACloseThatFailsALaterOpenThrows) {
    open(file("f", "ab\n"), ansi);
    closeDescriptor(path("f"));
    in.close();
    EXPECT_FALSE(in.is_open());
    EXPECT_THROW(open(file("g", "cd"), ansi), std::ios_base::failure);
}
#endif

TEST_F(InputStream, NoDescriptorLeaks) {
    const auto before = descriptors();
    for (const int encoding : {ansi, utf8, utf16le}) {
        iFileStream stream;
        for (const std::string& name : {file("f", "ab"), file("g", utf16(u"cd")), file("h", ""), path("missing"), path(".")}) {
            try {
                stream.open(name.c_str(), encoding);
            } catch (const std::exception&) {}  // see the tests above
        }
    }
    EXPECT_EQ(descriptors(), before);
}

// ---- Flags ----------------------------------------------------------------------------------------------------------

TEST_F(InputStream, EofRaisesEndOfFileAndThenFail) {
    open(file("f", "ab\n"), ansi);
    EXPECT_FALSE(in.eof());
    EXPECT_EQ(in.rdstate(), good);
    nextLine(in);
    EXPECT_EQ(in.rdstate(), good) << "the line feed was there";
    EXPECT_TRUE(in.eof());
    EXPECT_EQ(in.rdstate(), eofFlag);
    EXPECT_TRUE(in.eof());
    EXPECT_EQ(in.rdstate(), eofFlag | failFlag);
}

TEST_F(InputStream, ALastLineWithoutLineEndingRaisesEndOfFile) {
    open(file("f", "ab"), ansi);
    nextLine(in);
    EXPECT_EQ(in.rdstate(), eofFlag);
}

TEST_F(InputStream, GetlineAtTheEndRaisesBothFlagsAndReturnsAnEmptyLine) {
    open(file("f", "ab\n"), ansi);
    TagLine::tagLine_t line;
    in.getline(25, line);
    line.fill(L'x');
    EXPECT_NO_THROW(in.getline(25, line));
    EXPECT_EQ(in.rdstate(), eofFlag | failFlag);
    EXPECT_EQ(line[0], L'\0');
    EXPECT_EQ(in.getLineNumber(), 2);
}

TEST_F(InputStream, GetlineAfterEofReadsNothingAndRaisesFail) {
    open(file("f", "ab\n"), ansi);
    nextLine(in);
    EXPECT_TRUE(in.eof());
    TramoLine::tramoLine_t line;
    line.fill(L'x');
    in.getline(514, line);
    EXPECT_EQ(line[0], L'\0');
    EXPECT_EQ(in.rdstate(), eofFlag | failFlag);
}

TEST_F(InputStream, AKeyLineAfterTheEndIsEmpty) {
    open(file("f", "ab"), ansi);
    AMRKeyLine line;
    for (const wchar_t* expected : {L"ab", L"", L""}) {
        in.getline(line);
        EXPECT_EQ(line.line, expected);
    }
}

TEST_F(InputStream, AUnitFFFFBeforeALineCountsAsTheEndForEof) {
    open(file("f", utf16(u"ab\n\xFFFFxy\ncd\n")), utf16le);
    EXPECT_FALSE(in.eof());
    EXPECT_EQ(nextLine(in), L"ab");
    EXPECT_TRUE(in.eof());
    EXPECT_EQ(in.rdstate(), eofFlag);
    EXPECT_TRUE(in.hasUnreadText());
    EXPECT_EQ(nextLine(in), L"") << "the flag is raised";
    EXPECT_EQ(in.rdstate(), eofFlag | failFlag);
}

TEST_F(InputStream, AUnitFFFFInsideALineIsACharacter) {
    EXPECT_EQ(read(file("f", utf16(u"a\xFFFF\n\xFFFE\n")), utf16le), (Lines{L"a\xFFFF", L"\xFFFE"}));
    EXPECT_FALSE(in.hasUnreadText());
}

// ---- Lines into buffers ---------------------------------------------------------------------------------------------

template <class Buffer> class InputBuffer : public InputStream {
protected:
    static constexpr unsigned size = std::tuple_size_v<Buffer>;

    void openLine(std::size_t length) { open(file("f", std::string(length, 'a') + "\nnext\n"), ansi); }

    Buffer line = [] {
        Buffer untouched;
        untouched.fill(L'#');
        return untouched;
    }();
};
using Buffers = testing::Types<ParameterLine::parameterLine_t, TagLine::tagLine_t, TramoLine::tramoLine_t>;
class BufferName {
public:
    template <class Buffer> static std::string GetName(int) { return std::to_string(std::tuple_size_v<Buffer>); }
};
TYPED_TEST_SUITE(InputBuffer, Buffers, BufferName);

TYPED_TEST(InputBuffer, AFullLineKeepsItsCarriageReturnAndHasAZeroInsteadOfItsLineFeed) {
    const std::string content(TestFixture::size - 2, 'x');
    this->open(this->file("f", content + "\r\n"), ansi);
    this->in.getline(TestFixture::size, this->line);
    EXPECT_EQ(textOf(this->line), std::wstring(TestFixture::size - 2, L'x') + L'\r');
    EXPECT_EQ(this->line.back(), L'\0');
}

TYPED_TEST(InputBuffer, ATextOfExactlyTheLengthFits) {
    this->openLine(TestFixture::size);
    this->in.getline(TestFixture::size, this->line);
    EXPECT_EQ(std::wstring(this->line.begin(), this->line.end()), std::wstring(TestFixture::size, L'a'));
}

TYPED_TEST(InputBuffer, ALongerTextIsRejectedAndSkipped) {
    this->openLine(TestFixture::size + 1);
    EXPECT_EQ(thrownBy<read_exception>([this] { this->in.getline(TestFixture::size, this->line); }),
        "Size of line is upper than " + std::to_string(TestFixture::size));
    EXPECT_EQ(std::wstring(this->line.begin(), this->line.end()), std::wstring(TestFixture::size, L'#')) << "untouched";
    EXPECT_EQ(this->in.getLineNumber(), 1);
    EXPECT_EQ(this->in.rdstate(), good);
    this->in.getline(TestFixture::size, this->line);
    EXPECT_EQ(textOf(this->line), L"next");
}

TYPED_TEST(InputBuffer, AShortTextIsFollowedByZeros) {
    for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{TestFixture::size - 1}}) {
        this->in.close();
        this->openLine(length);
        this->line.fill(L'#');
        this->in.getline(TestFixture::size, this->line);
        std::wstring expected(length, L'a');
        expected.resize(TestFixture::size, L'\0');
        EXPECT_EQ(std::wstring(this->line.begin(), this->line.end()), expected) << length;
        EXPECT_EQ(nextLine(this->in), L"next");
    }
}

TYPED_TEST(InputBuffer, ASmallerLengthKeepsTheRestOfTheBuffer) {
    this->openLine(3);
    this->in.getline(5, this->line);
    EXPECT_EQ(std::wstring(this->line.begin(), this->line.begin() + 7), L"aaa\0\0##"s);
    EXPECT_EQ(this->line.back(), L'#');
}

TYPED_TEST(InputBuffer, ASmallerLengthIsTheLimit) {
    this->openLine(6);
    EXPECT_EQ(thrownBy<read_exception>([this] { this->in.getline(5, this->line); }), "Size of line is upper than 5");
    EXPECT_EQ(this->line[0], L'#');
}

TYPED_TEST(InputBuffer, ALengthOfZeroChangesNothing) {
    this->openLine(0);
    this->in.getline(0, this->line);
    EXPECT_EQ(this->line[0], L'#');
    EXPECT_EQ(thrownBy<read_exception>([this] { this->in.getline(0, this->line); }), "Size of line is upper than 0");
}

TYPED_TEST(InputBuffer, ALineLongerThanALargerLengthNamesThatLength) {
    for (const unsigned length : {TestFixture::size, TestFixture::size + 1, TestFixture::size * 2}) {
        for (const unsigned characters : {TestFixture::size + 1, length, length + 1, TestFixture::size * 3}) {
            if (characters <= TestFixture::size) continue;  // fits
            this->openLine(characters);
            const unsigned named = characters > length ? length : TestFixture::size;
            EXPECT_EQ(thrownBy<read_exception>([&] { this->in.getline(length, this->line); }),
                "Size of line is upper than " + std::to_string(named))
                << characters;
            EXPECT_EQ(std::wstring(this->line.begin(), this->line.end()), std::wstring(TestFixture::size, L'#')) << "untouched";
            EXPECT_EQ(nextLine(this->in), L"next");
        }
    }
}

// Elements around the buffer, to detect writes past it.
TYPED_TEST(InputBuffer, ALargerLengthNeverWritesPastTheBuffer) {
    for (const unsigned length : {TestFixture::size + 1, TestFixture::size * 2, ~0U}) {
        struct {
            TypeParam line;
            std::array<wchar_t, 4> behind;
        } guarded{this->line, {L'1', L'2', L'3', L'4'}};
        this->openLine(TestFixture::size);
        this->in.getline(length, guarded.line);
        EXPECT_EQ(guarded.line.back(), L'a');
        EXPECT_EQ(nextLine(this->in), L"next");
        this->openLine(TestFixture::size + 1);
        EXPECT_EQ(thrownBy<read_exception>([&] { this->in.getline(length, guarded.line); }),
            "Size of line is upper than " + std::to_string(TestFixture::size));
        EXPECT_EQ(nextLine(this->in), L"next");
        EXPECT_EQ(guarded.behind, (std::array<wchar_t, 4>{L'1', L'2', L'3', L'4'}));
    }
}

TYPED_TEST(InputBuffer, ALineAcrossTextsIsOneLine) {
    this->open(this->file("f", "ab"), ansi);
    this->open(this->file("g", "cd\nef"), ansi);
    this->in.getline(TestFixture::size, this->line);
    EXPECT_EQ(textOf(this->line), L"abcd");
    this->in.getline(TestFixture::size, this->line);
    EXPECT_EQ(textOf(this->line), L"ef");
}

TYPED_TEST(InputBuffer, NothingIsAllocatedForALine) {
    this->open(this->file("f", "ab\ncd\nef\n"), ansi);
    const long before = allocations;
    while (!this->in.eof()) this->in.getline(TestFixture::size, this->line);
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(this->in.getLineNumber(), 3);
}

TEST_F(InputStream, ARecordOf512CharactersFits514AndNot512) {
    const std::string record = std::string(512, '1') + "\r\n";
    open(file("f", record + record), ansi);
    TramoLine::tramoLine_t line;
    EXPECT_NO_THROW(in.getline(514, line));
    EXPECT_EQ(thrownBy<read_exception>([&] { in.getline(512, line); }), "Size of line is upper than 512");
}

TEST_F(InputStream, EveryReadIsCounted) {
    open(file("f", "123456\n"), ansi);
    TagLine::tagLine_t line;
    EXPECT_THROW(in.getline(3, line), read_exception);
    EXPECT_EQ(in.getLineNumber(), 1);
    nextLine(in);
    EXPECT_EQ(in.getLineNumber(), 2);
    in.getline(25, line);
    EXPECT_EQ(in.getLineNumber(), 3);
}

TEST_F(InputStream, AKeyLineHasAnyLengthAndOnlyItsTextIsSet) {
    const std::string text(100'000, '{');
    open(file("f", text + "\r\n"), ansi);
    AMRKeyLine line{L'#', L"old", L"1", L"2", L"3", {4, 5, 6, 7}, L"8", L"9", L"10"};
    in.getline(line);
    EXPECT_EQ(line.line, std::wstring(100'000, L'{') + L'\r');
    EXPECT_EQ(line.lead, L'#');
    EXPECT_EQ(line.serialNumber + line.hardwareVersion + line.firmwareVersion, L"123");
    EXPECT_EQ(line.wmBusAddress, (std::array<std::int32_t, 4>{4, 5, 6, 7}));
    EXPECT_EQ(line.wmBusKeyMode5 + line.wmBusKeyMode7 + line.wmBusKeyExchangeKey, L"8910");
}

// ---- Pipes and changing files ---------------------------------------------------------------------------------------

#ifndef _WIN32  // without fork, pipes among files, and the memory that a process has used

// Runs a function in a process of its own.
pid_t inChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    return child;
}

void writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count <= 0) _exit(1);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

class InputPipe : public InputStream {
protected:
    // Returns the path of a pipe into which another process writes in pieces, with a pause after each.
    std::string pipeWith(std::string bytes, std::size_t piece, useconds_t pause = 0) {
        std::filesystem::remove(path("pipe"));
        if (mkfifo(path("pipe").c_str(), 0600) != 0) throw std::runtime_error("no pipe");
        writer = inChild([&] {
            const int descriptor = ::open(path("pipe").c_str(), O_WRONLY);
            for (std::size_t i = 0; i < bytes.size(); i += piece) {
                writeAll(descriptor, std::string_view(bytes).substr(i, piece));
                usleep(pause);
            }
        });
        return path("pipe");
    }
    void TearDown() override {
        if (writer > 0) waitpid(writer, nullptr, 0);
    }
    pid_t writer = 0;
};

TEST_F(InputPipe, ReadsAnsiFromAPipe) {
    std::string bytes;
    for (int i = 0; i < 40'000; ++i) bytes += std::to_string(i) + "\n";
    open(pipeWith(bytes, 70'000), ansi);
    for (int i = 0; i < 40'000; ++i) ASSERT_EQ(nextLine(in), std::to_wstring(i));
    EXPECT_TRUE(in.eof());
}

TEST_F(InputPipe, ReadsUtf16FromAPipeByteByByte) {
    EXPECT_EQ(read(pipeWith(utf16(u"ab\ncd\n"), 1, 1000), utf16le), (Lines{L"ab", L"cd"}));
}

TEST_F(InputPipe, LosesNothingOfAPipeWithoutAMark) {
    EXPECT_EQ(read(pipeWith("ab\ncd\n", 1, 1000), utf16le), (Lines{L"ab", L"cd"}));
    EXPECT_EQ(in.getEncoding(), ansi);
}

TEST_F(InputPipe, TreatsAnEmptyPipeAsAnEmptyFile) {
    open(pipeWith("", 1), ansi);
    EXPECT_EQ(log(), std::vector<std::string>{emptyWarning(path("pipe"))});
}

TEST_F(InputPipe, ReadsTheStandardInput) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "ab\ncd\n", 6), 6);
    close(ends[1]);
    const int before = dup(0);
    dup2(ends[0], 0);
    close(ends[0]);
    const Lines lines = read("/dev/stdin", ansi);
    dup2(before, 0);
    close(before);
    EXPECT_EQ(lines, (Lines{L"ab", L"cd"}));
}

TEST_F(InputPipe, SurvivesSignals) {
    struct sigaction before {};
    struct sigaction nothing {};
    nothing.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGALRM, &nothing, &before);
    const std::string name = pipeWith("ab\ncd\n", 1, 5000);
    const itimerval often{{0, 300}, {0, 300}}, never{{0, 0}, {0, 0}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const Lines lines = read(name, ansi);
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(lines, (Lines{L"ab", L"cd"}));
}

TEST_F(InputStream, AFileThatHidesItsSizeIsReadCompletely) {
    const Lines lines = read("/proc/self/status", ansi);
    ASSERT_GT(lines.size(), 10U);
    EXPECT_TRUE(lines[0].starts_with(L"Name:"));
}

TEST_F(InputStream, AFileMayGrowAndShrinkWhileItIsRead) {
    const std::string name = file("f", "");
    const pid_t restless = inChild([&] {
        const int descriptor = ::open(name.c_str(), O_WRONLY | O_APPEND);
        const std::string lines(100'000, '\n');
        for (;;) {
            writeAll(descriptor, lines);
            writeAll(descriptor, lines);
            if (ftruncate(descriptor, 10) != 0) _exit(1);
        }
    });
    for (int i = 0; i < 300; ++i) {
        iFileStream stream;
        stream.open(name.c_str(), ansi);
        while (!stream.eof()) ASSERT_EQ(nextLine(stream).find(L'\n'), std::wstring::npos);
    }
    kill(restless, SIGKILL);
    waitpid(restless, nullptr, 0);
}
#endif

// ---- Size -----------------------------------------------------------------------------------------------------------

TEST_F(InputStream, ALineOf64MiBIsOneLine) {
    open(file("f", std::string(64 << 20, 'x') + "\nnext"), ansi);
    TramoLine::tramoLine_t line;
    EXPECT_THROW(in.getline(514, line), read_exception);
    EXPECT_EQ(nextLine(in), L"next");
}

TEST_F(InputStream, MillionsOfEmptyLinesAreReadOneByOne) {
    for (const int encoding : {ansi, utf16le}) {
        const std::size_t count = 2 << 20;
        iFileStream stream;
        const std::string name =
            encoding == ansi ? file("f", std::string(count, '\n')) : file("f", utf16(std::u16string(count, u'\n')));
        stream.open(name.c_str(), encoding);
        TagLine::tagLine_t line;
        while (!stream.eof()) stream.getline(25, line);
        EXPECT_EQ(stream.getLineNumber(), static_cast<int>(count));
    }
}

#if !TESTS_SANITIZED && !defined(_WIN32)  // sanitizers need memory of their own
// The peak memory of this process, in bytes.
std::size_t peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) return std::stoul(line.substr(6)) * 1024;
    }
    return ~std::size_t{0};
}

TEST_F(InputStream, TheTextIsHeldOnce) {
    constexpr std::size_t size = 64 << 20;
    for (const int encoding : {ansi, utf16le}) {
        {
            std::filesystem::remove(path("f"));
            std::ofstream out(path("f"), std::ios::binary);
            const std::string record = std::string(512, '1') + "\r\n";
            const std::string block = encoding == ansi ? record : utf16(std::u16string(record.begin(), record.end()), false);
            if (encoding == utf16le) out << "\xFF\xFE";
            for (std::size_t written = 0; written < size; written += block.size()) out << block;
        }
        const pid_t child = inChild([&] {
            iFileStream stream;
            stream.open(path("f").c_str(), encoding);
            TramoLine::tramoLine_t line;
            while (!stream.eof()) stream.getline(514, line);
            const std::size_t peak = peakMemory();
            if (peak > size + size / 4 + (16 << 20)) _exit(2);
            if (stream.getLineNumber() < (encoding == ansi ? 130'000 : 65'000)) _exit(3);
        });
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << "encoding " << encoding;
    }
}
#endif

// ---- Locales --------------------------------------------------------------------------------------------------------

// A conversion by a table, one character per byte; 0xFFFFFFFF for a byte that cannot be converted.
class TableFacet : public std::codecvt<wchar_t, char, std::mbstate_t> {
public:
    explicit TableFacet(std::function<std::uint32_t(unsigned char)> meaning) : characterOf(std::move(meaning)) {}

protected:
    result do_in(std::mbstate_t&, const char* from, const char* fromEnd, const char*& fromNext, wchar_t* to, wchar_t* toEnd,
        wchar_t*& toNext) const override {
        for (fromNext = from, toNext = to; fromNext < fromEnd; ++fromNext, ++toNext) {
            const std::uint32_t character = characterOf(static_cast<unsigned char>(*fromNext));
            if (character == 0xFFFFFFFF) return error;
            if (toNext == toEnd) return partial;
            *toNext = static_cast<wchar_t>(character);
        }
        return ok;
    }
    bool do_always_noconv() const noexcept override { return false; }
    int do_encoding() const noexcept override { return 1; }
    int do_max_length() const noexcept override { return 1; }

private:
    std::function<std::uint32_t(unsigned char)> characterOf;
};

std::locale localeWith(std::function<std::uint32_t(unsigned char)> meaning) {
    return {std::locale::classic(), new TableFacet(std::move(meaning))};
}

TEST_F(InputStream, AnotherGlobalLocaleConvertsTheBytes) {
    const streams::GlobalLocale locale(localeWith([](unsigned char byte) { return byte == 0x80 ? 0x20ACU : byte; }));
    EXPECT_EQ(read(file("f", "5 \x80\n\xE9"), ansi), (Lines{L"5 \u20AC", L"\xE9"}));
}

TEST_F(InputStream, ALocaleDoesNotTouchUtf16) {
    const streams::GlobalLocale locale(localeWith([](unsigned char) { return L'?'; }));
    EXPECT_EQ(read(file("f", utf16(u"a\x80\n")), utf16le), Lines{L"a\x80"});
}

TEST_F(InputStream, TheLocaleAtOpenApplies) {
    {
        const streams::GlobalLocale locale(localeWith([](unsigned char byte) { return byte == 'a' ? L'b' : byte; }));
        open(file("f", "a\n"), ansi);
    }
    open(file("g", "a\n"), ansi);
    EXPECT_EQ(linesOf(in), (Lines{L"b", L"a"}));
}

TEST_F(InputStream, AByteThatTheLocaleCannotConvertKeepsItsValue) {
    const streams::GlobalLocale locale(localeWith([](unsigned char byte) {
        return byte > 127 ? 0xFFFFFFFF : byte == 'x' ? L'y' : byte;
    }));
    EXPECT_EQ(read(file("f", "\xFFx\xE9\xE9\nx\x80"), ansi), (Lines{L"\xFFy\xE9\xE9", L"y\x80"}));
}

TEST_F(InputStream, ALocaleOfTheClassicConversionStillEndsNoFile) {
    struct Grouping : std::numpunct<char> {};
    const streams::GlobalLocale locale(std::locale(std::locale::classic(), new Grouping));
    EXPECT_EQ(read(file("f", "caf\xE9\n\xE9t\xE9"), ansi), (Lines{L"caf\xE9", L"\xE9t\xE9"}));
}

TEST_F(InputStream, TheLocaleDecidesWhatIsALineFeed) {
    const streams::GlobalLocale locale(localeWith([](unsigned char byte) {
        return byte == '|' ? L'\n' : byte == '\n' ? L'|' : byte;
    }));
    EXPECT_EQ(read(file("f", "ab|c\nd"), ansi), (Lines{L"ab", L"c|d"}));
}

TEST_F(InputStream, CharactersAboveFFFFBecomeSurrogatePairs) {
    if (sizeof(wchar_t) == 2) GTEST_SKIP() << "no character is above";
    const streams::GlobalLocale locale(localeWith([](unsigned char byte) {
        return byte == '1' ? 0x10000U : byte == '2' ? 0x1F600U : byte == '3' ? 0x10FFFFU : byte == '4' ? 0x110000U : byte;
    }));
    const std::wstring expected{0xD800, 0xDC00, 0xD83D, 0xDE00, 0xDBFF, 0xDFFF, 0xFFFD};
    EXPECT_EQ(read(file("f", "1234"), ansi), Lines{expected});
}

TEST_F(InputStream, OneByteMayBecomeTwoUnits) {
    if (sizeof(wchar_t) == 2) GTEST_SKIP() << "no character is above";
    const streams::GlobalLocale locale(localeWith([](unsigned char) { return 0x1F600U; }));
    for (const std::size_t size : std::vector<std::size_t>{1, 2, 3, 1000}) {
        std::wstring expected;
        for (std::size_t i = 0; i < size; ++i) expected += {0xD83D, 0xDE00};
        iFileStream stream;
        stream.open(file("f", std::string(size, 'x')).c_str(), ansi);
        EXPECT_EQ(linesOf(stream), Lines{expected}) << size;
    }
}

TEST_F(InputStream, ALocaleThatBeginsTheTextWithFFFFMakesItEmpty) {
    const streams::GlobalLocale locale(localeWith([](unsigned char byte) { return byte == '!' ? 0xFFFFU : byte; }));
    open(file("f", "!ab"), ansi);
    EXPECT_TRUE(in.is_open());
    EXPECT_EQ(log(), std::vector<std::string>{emptyWarning(path("f"))});
    EXPECT_FALSE(in.hasUnreadText());
}

// A '<' converts the following letters to capitals, up to a '>'. A '!' cannot be converted, nor can anything after it until
// the conversion restarts.
class ShiftFacet : public std::codecvt<wchar_t, char, std::mbstate_t> {
protected:
    result do_in(std::mbstate_t& state, const char* from, const char* fromEnd, const char*& fromNext, wchar_t* to, wchar_t* toEnd,
        wchar_t*& toNext) const override {
        char& mode = reinterpret_cast<char&>(state);
        for (fromNext = from, toNext = to; fromNext < fromEnd; ++fromNext) {
            if (*fromNext == '!') mode = '!';
            if (mode == '!') return error;
            if (*fromNext == '<' || *fromNext == '>') {
                mode = *fromNext;
                continue;
            }
            if (toNext == toEnd) return partial;
            *toNext++ = static_cast<wchar_t>(mode == '<' && *fromNext >= 'a' ? *fromNext - 32 : *fromNext);
        }
        return ok;
    }
    bool do_always_noconv() const noexcept override { return false; }
    int do_encoding() const noexcept override { return -1; }
    int do_max_length() const noexcept override { return 2; }
};

TEST_F(InputStream, AStatefulConversionKeepsItsStateBetweenPieces) {
    const streams::GlobalLocale locale(std::locale(std::locale::classic(), new ShiftFacet));
    const std::string text(3000, 'x');
    EXPECT_EQ(read(file("f", "a<b" + text + ">c!<d"), ansi), Lines{L"aB" + std::wstring(3000, L'X') + L"c!D"});
}

class Utf8Input : public InputStream {
protected:
    static std::wstring units(char32_t c) {
        if (c > 0x10FFFF) return L"\xFFFD";  // the host's UTF-8 accepts characters outside Unicode
        if (c <= 0xFFFF) return {static_cast<wchar_t>(c)};
        return {static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)), static_cast<wchar_t>(0xDC00 + (c & 0x3FF))};
    }

    // The rule, byte by byte: a complete character, or the value of the byte.
    static std::wstring expected(std::string_view bytes) {
        std::wstring text;
        while (!bytes.empty()) {
            const auto at = [&](std::size_t i) { return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U; };
            const unsigned lead = at(0);
            const std::size_t size = lead < 0x80                   ? 1
                                     : lead >= 0xC2 && lead < 0xE0 ? 2
                                     : lead >= 0xE0 && lead < 0xF0 ? 3
                                     : lead >= 0xF0 && lead < 0xF8 ? 4
                                                                   : 0;
            char32_t c = size == 1 ? lead : lead & (0xFFU >> (size + 1));
            bool whole = size > 0;
            for (std::size_t i = 1; i < size; ++i) {
                whole = whole && at(i) >= 0x80 && at(i) < 0xC0;
                c = c << 6 | (at(i) & 0x3F);
            }
            constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
            whole = whole && c >= least[size] && !(c >= 0xD800 && c <= 0xDFFF);
            text += whole ? units(c) : std::wstring{static_cast<wchar_t>(lead)};
            bytes.remove_prefix(whole ? size : 1);
        }
        return text;
    }

    streams::GlobalLocale locale{streams::utf8Locale()};
    const bool takesMore = sizeof(wchar_t) == 2;  // the standard library's own conversion
};

TEST_F(Utf8Input, ConvertsCharactersOfEveryLength) {
    EXPECT_EQ(read(file("f", "a\u00E9\u20AC\U0001F600\nb"), ansi), (Lines{L"a\u00E9\u20AC\xD83D\xDE00", L"b"}));
}

TEST_F(Utf8Input, KeepsInvalidBytes) {
    if (takesMore) GTEST_SKIP() << "half a pair is a character of that locale";
    for (const std::string_view bytes : {"caf\xE9"sv, "caf\xE9 \u00E9t\u00E9"sv, "\xC3"sv, "\xE2\x82"sv, "\xE2\x82\nx"sv,
             "x\xF0\x9F\x98"sv, "\xFF\xFE"sv, "\x80\x80"sv, "a\0b\xC3"sv, "\xC0\x80"sv, "\xED\xA0\x80"sv}) {
        iFileStream stream;
        stream.open(file("f", bytes).c_str(), ansi);
        std::wstring text = joined(linesOf(stream));
        text.pop_back();
        EXPECT_EQ(text, expected(bytes)) << testing::PrintToString(bytes);
    }
}

TEST_F(Utf8Input, ConvertsCharactersAcrossEveryBoundary) {
    for (const std::string_view middle : {"\u00E9"sv, "\u20AC"sv, "\U0001F600"sv, "\xE2\x82"sv, "\xC3"sv}) {
        for (std::size_t before = 500; before < 520; ++before) {
            const std::string bytes = std::string(before, 'x') + std::string(middle) + "yz";
            iFileStream stream;
            stream.open(file("f", bytes).c_str(), ansi);
            EXPECT_EQ(nextLine(stream), expected(bytes)) << before;
        }
    }
}

TEST_F(Utf8Input, RandomBytesFollowTheRule) {
    if (takesMore) GTEST_SKIP() << "bytes of characters above U+10FFFF are none of that locale";
    std::mt19937 random(20240229);
    const std::string_view pieces[] = {
        "a", "\0"sv, "\r", "\u00E9", "\u20AC", "\U0001F600", "\xC3", "\xE2", "\x82", "\xF0\x9F", "\xFF", "\x80"};
    for (int round = 0; round < 300; ++round) {
        std::string bytes = "x";
        const std::size_t limit = random() % 3000;
        while (bytes.size() < limit) {
            if (random() % 8 == 0) bytes += static_cast<char>(random() % 256);
            else bytes += pieces[random() % std::size(pieces)];
        }
        std::replace(bytes.begin(), bytes.end(), '\n', ' ');
        iFileStream stream;
        stream.open(file("f", bytes).c_str(), ansi);
        ASSERT_EQ(nextLine(stream), expected(bytes)) << round;
    }
}

// ---- Comparison with the reference model ----------------------------------------------------------------------------

// One operation on each stream, with all its visible effects.
template <class Stream>
std::string perform(Stream& stream, unsigned operation, unsigned choice, const std::vector<std::string>& files) {
    std::string seen;
    const auto read = [&](auto line, unsigned len) {
        line.fill(L'#');
        try {
            stream.getline(len, line);
        } catch (const std::exception& error) { seen = error.what(); }
        for (const wchar_t c : line) seen += static_cast<char>(c);
    };
    try {
        switch (operation) {
        case 0:
        case 1: {
            constexpr int encodings[] = {ansi, ansi, ansi, utf16le, utf16le, utf16le, utf8, utf16be};
            stream.open(files[choice / 8 % files.size()].c_str(), encodings[choice % 8]);
            break;
        }
        case 2: stream.close(); break;
        case 3: seen = std::to_string(stream.eof()); break;
        case 4: read(TagLine::tagLine_t{}, choice % 3 == 0 ? choice % 50 : 25); break;
        case 5: read(ParameterLine::parameterLine_t{}, choice % 3 == 0 ? choice % 84 : 42); break;
        case 6: read(TramoLine::tramoLine_t{}, choice % 3 == 0 ? choice % 1000 : 514); break;
        default: {
            AMRKeyLine line;
            stream.getline(line);
            for (const wchar_t c : line.line) seen += static_cast<char>(c);
        }
        }
    } catch (const std::ios_base::failure&) { seen = "failure"; } catch (const read_exception& error) {
        seen = error.what();
    }
    return seen + " open " + std::to_string(stream.is_open()) + " flags " + std::to_string(stream.rdstate()) + " line " +
           std::to_string(stream.getLineNumber()) + " encoding " + std::to_string(stream.getEncoding());
}

TEST_F(InputStream, BehavesLikeTheReferenceModel) {
    const std::vector<std::string> files{
        path("missing"),
        file("empty", ""),
        file("one", "a"),
        file("two", "ab"),
        file("lines", "first\r\nsecond\r\n\nthird of more than twenty-five characters\r\nlast"),
        file("record", std::string(512, '1') + "\r\n" + std::string(600, '2') + "\r\n"),
        file("mark", "\xFF\xFE"),
        file("odd", "\xFF\xFE\n"),
        file("wide", utf16(u"first\r\nsecond\r\n\nthird of more than twenty-five characters\r\nlast")),
        file("wide2", utf16(u"one\ntwo\n")),
    };
    std::mt19937 random(4711);
    std::size_t failures = 0, opened = 0;
    for (int round = 0; round < 400; ++round) {
        iFileStream real;
        literal::Input model;
        std::filesystem::remove(path("log"));
        std::string history;
        for (int step = 0; step < 40; ++step) {
            const auto operation = static_cast<unsigned>(random() % 8), choice = static_cast<unsigned>(random() % 10'000);
            // The model is correct for 7-bit text only, so a file that begins with FF FE is not opened as ANSI.
            if (operation < 2 && choice % 8 < 3 && choice / 8 % files.size() >= 6) continue;
            const std::string expected = perform(model, operation, choice, files);
            history += std::to_string(operation) + "/" + std::to_string(choice) + ": " + expected + "\n";
            ASSERT_EQ(perform(real, operation, choice, files), expected) << history;
            failures += expected.starts_with("failure");
            opened += operation < 2 && expected.starts_with(" open 1");
        }
        std::vector<std::string> messages;
        for (const std::string& line : log()) messages.push_back(line.substr(line.find("} ") + 2));
        ASSERT_EQ(messages, model.log) << history;
    }
    EXPECT_GT(failures, 100U);
    EXPECT_GT(opened, 1000U);
}

}  // namespace
