#include "tramostream/log.h"
#include "support/console.h"
#include "support/streamfiles.h"
#include "tramostream/ifilestream.h"
#include "tramostream/messages.h"
#include "tramostream/ofilestream.h"
#include <ctime>
#include <stdexcept>

namespace other {
struct Writer {};
template <class T> struct Pair {};
}  // namespace other

namespace {

using io::log::Level;
using io::log::writer;
using streams::readFile;

using Log = streams::StreamTest;

#ifdef _WIN32
const std::string lineEnd = "\r\n";
#else
const std::string lineEnd = "\n";
#endif

// Sets another time zone during its lifetime.
class TimeZone {
public:
    explicit TimeZone(const char* name) {
        if (const char* value = std::getenv("TZ")) before = value, wasSet = true;
        setenv("TZ", name, 1);
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() {
        if (wasSet) setenv("TZ", before.c_str(), 1);
        else unsetenv("TZ");
        tzset();
    }

private:
    std::string before;
    bool wasSet = false;
};

// Must run first: all other tests set the name.
TEST(LogFileName, IsNoLogFileUntilSet) { EXPECT_EQ(io::log::initializer::m_logFileName, "NO_LOG_FILE"); }

// ---- Levels ---------------------------------------------------------------------------------------------------------

struct LevelRow {
    Level level;
    int value;
    const char* shown;  // right-aligned in 8 characters
};
constexpr LevelRow levels[] = {
    {io::log::None, 0, "    None"},
    {io::log::Fatal, 1, "   Fatal"},
    {io::log::Critical, 2, "Critical"},
    {io::log::Err, 3, "     Err"},
    {io::log::Warn, 4, "    Warn"},
    {io::log::Note, 5, "    Note"},
    {io::log::Normal, 6, "  Normal"},
};

TEST_F(Log, EveryLevelHasItsValueAndItsNameRightAligned) {
    for (const LevelRow& row : levels) {
        EXPECT_EQ(row.level, row.value);
        std::filesystem::remove(path("log"));
        writer<iFileStream>::write(row.level, "message");
        EXPECT_EQ(log(), std::vector<std::string>{std::string(" log ") + row.shown + "  {iFileStream} message"});
    }
    EXPECT_EQ(io::log::Debug, 7);
}

TEST_F(Log, DebugWritesNothingAndDoesNotOpenTheFile) {
    writer<iFileStream>::write(io::log::Debug, "message");
    EXPECT_FALSE(std::filesystem::exists(path("log")));
}

TEST_F(Log, ALevelAboveDebugWritesNothing) {
    writer<iFileStream>::write(static_cast<Level>(8), "message");
    EXPECT_FALSE(std::filesystem::exists(path("log")));
}

TEST_F(Log, AnUnknownLevelThrowsAndWritesNoPartialLine) {
    EXPECT_THROW(writer<iFileStream>::write(static_cast<Level>(-1), "message"), std::out_of_range);
    EXPECT_EQ(streams::thrownBy<std::out_of_range>([] { writer<iFileStream>::write(static_cast<Level>(-1), "m"); }), "map::at");
    EXPECT_EQ(readFile(path("log")), "");
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

TEST_F(Log, ALineBeginsWithTheTimeOfDay) {
    writer<iFileStream>::write(io::log::Warn, "File %1 is open but empty.", "round.txt");
    std::string text = readFile(path("log"));
    for (const std::size_t digit : {0U, 1U, 3U, 4U, 6U, 7U}) {
        ASSERT_TRUE(text.at(digit) >= '0' && text[digit] <= '9') << text;
        text[digit] = '0';
    }
    EXPECT_EQ(text, "00:00:00 log     Warn  {iFileStream} File round.txt is open but empty." + lineEnd);
}

TEST_F(Log, TheTimeIsLocalAndFollowsTheZone) {
    for (const auto& [zone, offset] : {std::pair{"XXX-5:30", 19800}, {"XXX+11", -39600}}) {
        const TimeZone set(zone);
        std::filesystem::remove(path("log"));
        const auto now = [shift = offset] {
            const std::time_t seconds = std::time(nullptr) + shift;
            std::tm parts{};
            gmtime_r(&seconds, &parts);
            char text[16];
            std::strftime(text, sizeof text, "%H:%M:%S", &parts);
            return std::string(text);
        };
        const std::string before = now();
        writer<iFileStream>::write(io::log::Warn, "message");
        const std::string after = now(), written = readFile(path("log")).substr(0, 8);
        EXPECT_TRUE(written == before || written == after) << before << ' ' << written << ' ' << after;
    }
}

TEST_F(Log, LinesAreAppended) {
    streams::writeFile(path("log"), "older line\n");
    writer<iFileStream>::write(io::log::Warn, "first");
    writer<oFileStream>::write(io::log::Err, "second");
    const std::string text = readFile(path("log"));
    EXPECT_TRUE(text.starts_with("older line\n"));
    EXPECT_EQ(log().at(1), " log     Warn  {iFileStream} first");
    EXPECT_EQ(log().at(2), " log      Err  {oFileStream} second");
    EXPECT_TRUE(text.ends_with("second" + lineEnd));
}

TEST_F(Log, ALongMessageIsWrittenCompletely) {
    const std::string name(100'000, 'x');
    writer<iFileStream>::write(io::log::Warn, "<%1>", name.c_str());
    EXPECT_EQ(log(), std::vector<std::string>{" log     Warn  {iFileStream} <" + name + ">"});
}

TEST_F(Log, AnUnwritableFileLosesTheLineSilently) {
    for (const std::string& name : {path("no/such/folder/log"), path("."), std::string("/dev/full"), std::string()}) {
        io::log::initializer::m_logFileName = name;
        EXPECT_NO_THROW(writer<iFileStream>::write(io::log::Warn, "message"));
    }
}

TEST_F(Log, WithoutALogFileTheLineGoesToTheStandardOutputAndAnEmptyFileIsCreated) {
    const auto folderBefore = std::filesystem::current_path();
    std::filesystem::current_path(path("."));
    io::log::initializer::m_logFileName = "NO_LOG_FILE";
    std::string shown;
    {
        const Console console;
        writer<iFileStream>::write(io::log::Warn, "File %1 is open but empty.", "round.txt");
        shown = console.narrow();
        EXPECT_EQ(console.wide(), L"");
    }
    std::filesystem::current_path(folderBefore);
    EXPECT_EQ(shown.substr(8), " log     Warn  {iFileStream} File round.txt is open but empty.\n");
    ASSERT_TRUE(std::filesystem::exists(path("NO_LOG_FILE")));
    EXPECT_EQ(std::filesystem::file_size(path("NO_LOG_FILE")), 0U);
    EXPECT_FALSE(std::filesystem::exists(path("log")));
}

TEST_F(Log, AFileIsWrittenWhileMessagesAreSilent) {
    tramo::setMessages(tramo::Messages::Silent);
    writer<iFileStream>::write(io::log::Warn, "message");
    tramo::setMessages(tramo::Messages::StandardOutput);
    EXPECT_EQ(log(), std::vector<std::string>{" log     Warn  {iFileStream} message"});
}

// ---- Class names ----------------------------------------------------------------------------------------------------

// The signature in Visual C++'s __FUNCSIG__.
std::string visualCpp(const std::string& className) {
    return "class std::basic_string<char,struct std::char_traits<char>,class std::allocator<char> > __cdecl typename_hash<" +
           className + ">::gen_value(void)";
}

TEST(ClassName, IsTheNameOfTheClass) {
    EXPECT_EQ(typename_hash<iFileStream>::gen_value(), "iFileStream");
    EXPECT_EQ(typename_hash<oFileStream>::gen_value(), "oFileStream");
}

TEST(ClassName, IncludesNamespacesAndTemplateArguments) {
    EXPECT_EQ(typename_hash<other::Writer>::gen_value(), "other::Writer");
    EXPECT_EQ(typename_hash<other::Pair<other::Writer>>::gen_value(), "other::Pair<other::Writer>");
    EXPECT_EQ(typename_hash<int[3]>::gen_value().substr(0, 3), "int");
}

TEST(ClassName, IsExtractedFromTheSignatureOfEachCompiler) {
    using io::log::detail::className;
    EXPECT_EQ(className("static std::string typename_hash<T>::gen_value() [with T = iFileStream; std::string = "
                        "std::__cxx11::basic_string<char>]"),
        "iFileStream");
    EXPECT_EQ(className("static std::string typename_hash<iFileStream>::gen_value() [T = iFileStream]"), "iFileStream");
    EXPECT_EQ(className("static std::string typename_hash<int[3]>::gen_value() [T = int[3]]"), "int[3]");
    EXPECT_EQ(className(visualCpp("class iFileStream")), "iFileStream");
    EXPECT_EQ(className(visualCpp("struct other::Writer")), "other::Writer");
    EXPECT_EQ(className(visualCpp("enum io::log::Level")), "io::log::Level");
    EXPECT_EQ(className(visualCpp("int[3]")), "int[3]");
    EXPECT_EQ(className(visualCpp("struct other::Pair<struct other::Writer> ")), "other::Pair<other::Writer>");
    EXPECT_EQ(className(visualCpp("class other::subclass ")), "other::subclass");
    EXPECT_EQ(className(visualCpp("struct two<class a,union b>")), "two<a,b>");
    EXPECT_EQ(className("something else"), "something else");
}

TEST_F(Log, WorksForAnyClass) {
    writer<other::Writer>::write(io::log::Note, "message");
    EXPECT_EQ(log(), std::vector<std::string>{" log     Note  {other::Writer} message"});
}

// ---- Templates of messages ------------------------------------------------------------------------------------------

struct Replacement {
    const char* text;
    const char* key;
    const char* by;
    const char* result;
};
constexpr Replacement replacements[] = {
    {"a%1b", "%1", "x", "axb"},
    {"%1%1 %1", "%1", "x", "xx x"},
    {"nothing", "%1", "x", "nothing"},
    {"", "%1", "x", ""},
    {"text", "", "x", "text"},
    {"%1", "%1", "%1", "%1"},
    {"%1!", "%1", "%1%1", "%1%1!"},
    {"%%11", "%1", "%", "%%1"},
    {"aaa", "aa", "a", "aa"},
    {"aaaa", "aa", "", ""},
    {"%10", "%1", "x", "x0"},
};

TEST(FindAndReplace, ReplacesEveryMatchAndNeverSearchesReplacements) {
    for (const Replacement& row : replacements) {
        std::string text = row.text;
        algorithm::find_and_replace(text, row.key, [&] { return row.by; });
        EXPECT_EQ(text, row.result) << row.text << ", " << row.key << ", " << row.by;
    }
}

TEST(FindAndReplace, CallsTheProducerForEachMatch) {
    std::string text = "%1 %1 %1";
    int calls = 0;
    algorithm::find_and_replace(text, "%1", [&] { return std::to_string(++calls); });
    EXPECT_EQ(text, "1 2 3");
}

TEST(FindAndReplace, TakesLinearTime) {
    std::string text;
    for (int i = 0; i < 1'000'000; ++i) text += "%1";
    algorithm::find_and_replace(text, "%1", [] { return "three"; });
    EXPECT_EQ(text.size(), 5'000'000U);
}

TEST(Generate, KeepsAFormatWithoutPlaceholders) {
    EXPECT_EQ(string_format::generate("100 % of %2", "path"), "100 % of %2");
    EXPECT_EQ(string_format::generate("no arguments: %1"), "no arguments: %1");
}

TEST(Generate, InsertsAPathWithAPlaceholderUnchanged) {
    EXPECT_EQ(string_format::generate("File %1 is open", "a%1b"), "File a%1b is open");
}

TEST(Generate, NumbersItsArgumentsFromOne) { EXPECT_EQ(string_format::generate("%2-%1-%3", "a", "b", "c"), "b-a-c"); }

TEST(Generate, ReplacesEachNumberInTheWholeText) {
    EXPECT_EQ(string_format::generate("%10", "a"), "a0");
    EXPECT_EQ(string_format::generate("%1", "<%2>", "b"), "<b>");
    EXPECT_EQ(string_format::generate("%2%1", "a", "%1"), "%1a");
    EXPECT_EQ(string_format::generate("%10 %1", 1, 2, 3, 4, 5, 6, 7, 8, 9, "ten"), "10 1");
}

TEST(Generate, ConvertsItsArgumentsToText) {
    const char* pointer = "text";
    char array[] = "array";
    const char* nothing = nullptr;
    EXPECT_EQ(string_format::generate("%1", pointer), "text");
    EXPECT_EQ(string_format::generate("%1", array), "array");
    EXPECT_EQ(string_format::generate("%1", std::string("string")), "string");
    EXPECT_EQ(string_format::generate("%1", std::string_view("view")), "view");
    EXPECT_EQ(string_format::generate("%1 %2 %3 %4", -5, 'c', 1.5, 7U), "-5 c 1.5 7");
    EXPECT_EQ(string_format::generate("<%1>", nothing), "<>");
}

TEST(Generate, DoesNotDependOnALocale) {
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const streams::GlobalLocale locale(std::locale(std::locale::classic(), new Grouping));
    EXPECT_EQ(string_format::generate("%1", 1234567), "1234567");
}

}  // namespace
