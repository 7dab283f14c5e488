// The library's messages reach the standard output whatever has happened to it before. What a process's standard output
// can do is settled by its first use, so that each case runs in a process of its own: this program, with the case's name.
#include "common/console.h"
#include "support/console.h"
#include <clocale>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <locale>
#ifdef _WIN32
#include "support/streamfiles.h"
#include <fcntl.h>
#include <io.h>
#else
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

using tramo::console::narrow;
using tramo::console::wide;

struct Case {
    const char* name;
    std::function<void()> say;
    std::string printed;
};

void PrintTo(const Case& one, std::ostream* out) { *out << one.name; }

void reportStates() {
    if (!std::cout.good()) std::fputs("cout is not usable", stderr);
    if (!std::wcout.good()) std::fputs("wcout is not usable", stderr);
}

// clang-format off
const Case cases[] = {
    {"wideFirst", [] { wide(L"one\n"), wide(L"two\n"); }, "one\ntwo\n"},
    {"narrowFirst", [] { narrow("one\n"), narrow("two\n"); }, "one\ntwo\n"},
    {"wideAfterNarrow", [] { std::cout << "before\n", wide(L"one\n"), wide(L"two\n"), std::cout << "after\n"; }, "before\none\ntwo\nafter\n"},
    {"narrowAfterWide", [] { std::wcout << L"before\n", narrow("one\n"), narrow("two\n"), std::wcout << L"after\n"; }, "before\none\ntwo\nafter\n"},
    {"wideAfterNarrowMessage", [] { narrow("one\n"), wide(L"two\n"), narrow("three\n"); }, "one\ntwo\nthree\n"},
    {"narrowAfterWideMessage", [] { wide(L"one\n"), narrow("two\n"), wide(L"three\n"); }, "one\ntwo\nthree\n"},
    {"wideAfterPrintf", [] { std::printf("before\n"), wide(L"one\n"); }, "before\none\n"},

    {"accentInTheCLocale", [] { wide(L"caf\xE9\n"), wide(L"two\n"); }, "caf\xC3\xA9\ntwo\n"},
    {"accentInTheCLocaleAfterWide", [] { wide(L"one\n"), wide(L"caf\xE9\n"), wide(L"three\n"); }, "one\ncaf\xC3\xA9\nthree\n"},
    {"accentInTheCLocaleAfterWideUnflushed", [] { std::wcout << L"one\n", wide(L"caf\xE9\n"); }, "one\ncaf\xC3\xA9\n"},
    {"accentInTheCLocaleAfterNarrow", [] { narrow("one\n"), wide(L"caf\xE9\n"); }, "one\ncaf\xC3\xA9\n"},
    {"accentInAUtf8Locale", [] { std::setlocale(LC_ALL, "C.UTF-8"), wide(L"caf\xE9 \x20AC\n"), wide(L"two\n"); }, "caf\xC3\xA9 \xE2\x82\xAC\ntwo\n"},
    {"accentInAUtf8LocaleAfterNarrow", [] { std::setlocale(LC_ALL, "C.UTF-8"), narrow("one\n"), wide(L"caf\xE9 \x20AC\n"); }, "one\ncaf\xC3\xA9 \xE2\x82\xAC\n"},
    {"pairInAUtf8Locale", [] { std::setlocale(LC_ALL, "C.UTF-8"), wide(L"one\n"), wide(L"\xD83D\xDE00\n"); }, "one\n\xF0\x9F\x98\x80\n"},
    {"loneSurrogate", [] { wide(L"\xD83D!\n"); }, "\xEF\xBF\xBD!\n"},
    {"narrowAccent", [] { narrow("caf\xC3\xA9\n"); }, "caf\xC3\xA9\n"},
    {"narrowAccentInTheCLocaleAfterWide", [] { wide(L"one\n"), narrow("caf\xC3\xA9\n"); }, "one\ncaf\xC3\xA9\n"},
    {"narrowBytesAfterWide", [] { wide(L"one\n"), narrow("caf\xE9\n"); }, "one\ncaf\xE9\n"},
    {"zeroCharacters", [] { wide({L"a\0b\n", 4}), narrow({"c\0d\n", 4}); }, {"a\0b\nc\0d\n", 8}},
    {"longAccentedText", [] { wide(L"one\n"), wide(std::wstring(100000, L'\xE9')); }, "one\n" + [] {
        std::string text;
        for (int i = 0; i < 100000; ++i) text += "\xC3\xA9";
        return text;
    }()},

    {"wideStreamBadBefore", [] { std::wcout.setstate(std::ios::badbit), wide(L"one\n"), std::wcout << L"after\n"; }, "one\nafter\n"},
    {"narrowStreamBadBefore", [] { std::wcout << L"before\n", std::cout << "lost\n", narrow("one\n"); }, "before\none\n"},
    {"wideWithExceptions", [] {
        std::wcout.exceptions(std::ios::badbit | std::ios::failbit);
        wide(L"one\n"), wide(L"caf\xE9\n");
    }, "one\ncaf\xC3\xA9\n"},
    {"narrowWithExceptions", [] {
        std::cout.exceptions(std::ios::badbit | std::ios::failbit);
        std::wcout << L"before\n", narrow("one\n"), narrow("two\n");
    }, "before\none\ntwo\n"},
    {"withBuffersOfTheirOwn", [] {
        std::ios::sync_with_stdio(false);
        wide(L"one\n"), narrow("two\n"), wide(L"caf\xE9\n"), wide(L"four\n");
    }, "one\ntwo\ncaf\xC3\xA9\nfour\n"},
    {"withAWidthAndAFill", [] { std::wcout.width(20), std::wcout.fill(L'*'), wide(L"one\n"); }, "one\n"},

    {"switchedOffByFailbit", [] {
        std::wcout.setstate(std::ios::failbit);
        std::cout.setstate(std::ios::failbit);
        wide(L"one\n"), wide(L"caf\xE9\n"), narrow("two\n");
        if (std::wcout.rdstate() == std::ios::failbit) std::wcout.clear(), std::cout.clear(), narrow("still off\n");
    }, "still off\n"},
    {"switchedOffAlone", [] { std::wcout.setstate(std::ios::failbit), wide(L"one\n"), wide(L"caf\xE9\n"), std::cout << "after\n", std::wcout.clear(); }, "after\n"},
    {"switchedOffByNoBuffer", [] {
        std::wstreambuf* const buffer = std::wcout.rdbuf(nullptr);
        wide(L"one\n"), wide(L"caf\xE9\n");
        std::wcout.rdbuf(buffer);
    }, ""},
    {"wideFallsOntoARedirectedStream", [] {
        std::ostringstream caught;
        std::streambuf* const buffer = std::cout.rdbuf(caught.rdbuf());
        wide(L"caf\xE9\n");
        std::cout.rdbuf(buffer);
        std::cout << "caught " << caught.str();
    }, "caught caf\xC3\xA9\n"},
    {"narrowFallsOntoARedirectedStream", [] {
        std::wostringstream caught;
        std::wcout << L"before\n";
        std::wstreambuf* const buffer = std::wcout.rdbuf(caught.rdbuf());
        narrow("one\n");
        std::wcout.rdbuf(buffer);
        std::wcout << L"caught " << caught.str();
    }, "before\ncaught one\n"},
};
// clang-format on

#ifdef _WIN32
// Standard output of this program run for one case, and what it says on the error output.
std::string run(const char* name, std::string& errors) {
    const streams::TempFolder folder;
    const std::string files[] = {folder.path("out"), folder.path("err")};
    int before[2];
    for (int stream = 0; stream < 2; ++stream) {
        before[stream] = _dup(stream + 1);
        const int file = _open(files[stream].c_str(), _O_CREAT | _O_WRONLY | _O_TEXT, 0600);
        _dup2(file, stream + 1);
        _close(file);
    }
    const auto status = _spawnl(_P_WAIT, _pgmptr, "console_test", "--say", name, nullptr);
    for (int stream = 0; stream < 2; ++stream) {
        _dup2(before[stream], stream + 1);
        _close(before[stream]);
    }
    errors = streams::readFile(files[1]);
    if (status != 0) errors += "the process failed";
    std::string printed = streams::readFile(files[0]);
    std::erase(printed, '\r');  // before each line feed
    return printed;
}
#else
// Standard output of this program run for one case, and what it says on the error output.
std::string run(const char* name, std::string& errors) {
    int out[2], err[2];
    if (pipe(out) != 0 || pipe(err) != 0) throw std::runtime_error("no pipe");
    const pid_t child = fork();
    if (child == 0) {
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        for (const int file : {out[0], out[1], err[0], err[1]}) close(file);
        execl("/proc/self/exe", "console_test", "--say", name, nullptr);
        _exit(127);
    }
    close(out[1]), close(err[1]);
    const auto readAll = [](int file) {
        std::string text;
        char block[4096];
        for (ssize_t count; (count = read(file, block, sizeof block)) > 0;) text.append(block, static_cast<std::size_t>(count));
        close(file);
        return text;
    };
    std::string printed = readAll(out[0]);
    errors = readAll(err[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) errors += "the process failed";
    return printed;
}
#endif

class Process : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(, Process, testing::ValuesIn(cases), [](const auto& one) { return std::string(one.param.name); });

TEST_P(Process, PrintsEachMessageOnceAndKeepsTheStreamsUsable) {
#if defined(_WIN32) || defined(_LIBCPP_VERSION)
    const std::string name = GetParam().name;
    if (name == "narrowStreamBadBefore" || name == "narrowFallsOntoARedirectedStream")
        GTEST_SKIP() << "no stream keeps the other one out";
#endif
    std::string errors;
    EXPECT_EQ(run(GetParam().name, errors), GetParam().printed);
    EXPECT_EQ(errors, "");
}

TEST(Redirected, StreamsGetExactlyTheText) {
    Console console;
    wide({L"caf\xE9 \xD83D\0!\n", 9});
    narrow({"caf\xE9 \0!\n", 8});
    EXPECT_EQ(console.wide(), std::wstring(L"caf\xE9 \xD83D\0!\n", 9));
    EXPECT_EQ(console.narrow(), std::string("caf\xE9 \0!\n", 8));
}

TEST(Redirected, StreamsAreFlushed) {
    struct Buffer : std::wstringbuf {
        int sync() override { return ++flushes, 0; }
        int flushes = 0;
    } buffer;
    std::wstreambuf* const before = std::wcout.rdbuf(&buffer);
    wide(L"one\n");
    std::wcout.rdbuf(before);
    EXPECT_EQ(buffer.flushes, 1);
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 3 && std::strcmp(arguments[1], "--say") == 0) {
        std::locale::global(std::locale::classic());  // and that of C; cases set others
        for (const Case& one : cases)
            if (std::strcmp(one.name, arguments[2]) == 0) {
                one.say();
                reportStates();
                return 0;
            }
        return 1;
    }
    testing::InitGoogleTest(&count, arguments);
    return RUN_ALL_TESTS();
}
