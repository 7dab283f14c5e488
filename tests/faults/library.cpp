// The library with failing calls: each allocation and each system call fails, once or from then on. The result is
// std::bad_alloc or the error stated in the headers; files end after whole lines, objects stay usable, and nothing leaks.
#include "common/file.h"
#include "support/console.h"
#include "support/streamfiles.h"
#include "tramostream/tramostream.h"
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cwchar>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <sys/types.h>
#include <thread>
#include <unistd.h>

namespace {

enum class Sort { Memory, Open, Read, Write, Close, Cut };

constexpr int half = 0;  // no error: only half of the bytes are transferred

// The calls that fail. Calls are counted while `armed`; allocated blocks of memory are always counted.
struct Plan {
    Sort sort{};
    int error = 0;
    long at = 0, last = 0;  // 0: none; for `last`: all following
    long calls = 0, failures = 0;
    bool armed = false;
} plan;

volatile long held = 0;  // blocks; volatile: compilers may assume that operator new changes no variables

bool fails(Sort sort) {
    if (!plan.armed || plan.sort != sort) return false;
    ++plan.calls;
    if (plan.at == 0 || plan.calls < plan.at || (plan.last != 0 && plan.calls > plan.last)) return false;
    ++plan.failures;
    errno = plan.error;
    return true;
}

void* counted(void* memory) {
    held = held + (memory != nullptr);
    return memory;
}

std::size_t halfOf(std::size_t size) { return size > 1 ? size / 2 : size; }

}  // namespace

// The linker redirects the library's calls to these functions (--wrap). __real_ names those of the C library or a sanitizer.
extern "C" {
void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
void __real_free(void* memory);
int __real_open(const char* path, int flags, ...);
ssize_t __real_read(int file, void* bytes, std::size_t size);
ssize_t __real_write(int file, const void* bytes, std::size_t size);
int __real_close(int file);
int __real_ftruncate(int file, off_t size);

void* __wrap_malloc(std::size_t size) { return fails(Sort::Memory) ? nullptr : counted(__real_malloc(size)); }
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return fails(Sort::Memory) ? nullptr : counted(__real_calloc(count, size));
}
void* __wrap_realloc(void* memory, std::size_t size) {
    if (fails(Sort::Memory)) return nullptr;
    return memory ? __real_realloc(memory, size) : counted(__real_realloc(memory, size));
}
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
    return fails(Sort::Memory) ? nullptr : counted(__real_aligned_alloc(alignment, size));
}
void __wrap_free(void* memory) {
    held = held - (memory != nullptr);
    __real_free(memory);
}
int __wrap_open(const char* path, int flags, ...) {
    std::va_list more;
    va_start(more, flags);
    const auto mode = va_arg(more, mode_t);
    va_end(more);
    return fails(Sort::Open) ? -1 : __real_open(path, flags, mode);
}
ssize_t __wrap_read(int file, void* bytes, std::size_t size) {
    if (!fails(Sort::Read)) return __real_read(file, bytes, size);
    return plan.error == half ? __real_read(file, bytes, halfOf(size)) : -1;
}
ssize_t __wrap_write(int file, const void* bytes, std::size_t size) {
    if (!fails(Sort::Write)) return __real_write(file, bytes, size);
    return plan.error == half ? __real_write(file, bytes, halfOf(size)) : -1;
}
int __wrap_close(int file) {
    const bool refuses = fails(Sort::Close);
    const int answer = __real_close(file);
    errno = plan.error;
    return refuses ? -1 : answer;
}
int __wrap_ftruncate(int file, off_t size) { return fails(Sort::Cut) ? -1 : __real_ftruncate(file, size); }
}

// Not inlined: the compiler would see memory of new given to free.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (!fails(Sort::Memory))
        if (void* const memory = counted(__real_malloc(size == 0 ? 1 : size))) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { __wrap_free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { __wrap_free(memory); }

namespace {

using TramoStreamExceptions::read_exception;
using TramoStreamExceptions::write_exception;

// Runs a function under the plan. Tests assert outside of it.
auto armed(auto work) {
    struct Armed {
        Armed() { plan.armed = true; }
        ~Armed() { plan.armed = false; }
    } while_it_lasts;
    return work();
}

bool large() { return std::getenv("FAULTS_LARGE") != nullptr; }

// Runs `scenario` without a failure, then with every call of the sort failing in turn, until none fails. The scenario returns
// a description of wrong results; it activates the plan itself where needed, and frees all its memory.
void everyFault(Sort sort, const std::vector<int>& errors, const std::function<std::string()>& scenario) {
    for (const int error : errors)
        for (const bool onlyOne : {true, false}) {
            if (error == EINTR && !onlyOne) continue;  // would never end
            plan = {};
            ASSERT_EQ(scenario(), "");  // one-time initialization is done now
            plan = {sort, error, 0, 0, 0, 0, false};
            ASSERT_EQ(scenario(), "");
            const long calls = plan.calls;
            ASSERT_GT(calls, 0);
            const long step = large() ? 1 : std::max(1L, calls / 400);
            long failed = 0;
            for (long number = 1; number <= calls; number += step) {
                plan = {sort, error, number, onlyOne ? number : 0, 0, 0, false};
                const long before = held;
                const std::string wrong = scenario();
                failed += plan.failures > 0;
                if (wrong.empty()) { EXPECT_EQ(held, before) << "leaks at " << number << (onlyOne ? "" : " and on"); }
                EXPECT_EQ(wrong, "") << "error " << error << " at " << number << (onlyOne ? "" : " and on") << " of " << calls;
                if (testing::Test::HasFailure()) return;
            }
            EXPECT_EQ(failed, (calls + step - 1) / step);
        }
}

class Faults : public streams::StreamTest {
protected:
    Faults() { io::log::initializer::m_logFileName = "/dev/null"; }

    Silence quiet;
};

// ---- Reading --------------------------------------------------------------------------------------------------------

using Lines = std::vector<TramoLine::tramoLine_t>;

// Every line of a file of records; memory for them is reserved.
void readInto(iFileStream& in, Lines& lines) {
    while (!in.eof()) {
        lines.emplace_back();
        in.getline(514, lines.back());
    }
}

class Reading : public Faults {
protected:
    Reading() {
        const std::string bytes = streams::readFile(SAMPLES "/round-returned.txt");
        std::u16string units(bytes.begin(), bytes.end());
        file("ansi", bytes);
        file("utf16", streams::utf16(units));
        std::string many;
        while (many.size() < 5'000'000) many += bytes;  // more than two huge pages
        file("many", many);
    }

    // Reads under the plan, then without it on the same object.
    std::string read(const char* name, int encoding) {
        const std::string place = path(name);
        Lines lines, again;
        lines.reserve(12'000);
        again.reserve(12'000);
        bool refused = false;
        {
            std::unique_ptr<iFileStream> in;
            try {
                armed([&] {
                    in = std::make_unique<iFileStream>();
                    in->open(place.c_str(), encoding);
                    readInto(*in, lines);
                    in->close();
                });
            } catch (const std::bad_alloc&) {
                refused = plan.sort == Sort::Memory;
                if (!refused) return "bad_alloc";
            } catch (const read_exception& failure) {
                refused = failure.what() == std::string("Unsupported encoding.");
                if (!refused) return failure.what();
            }
            if (refused && !lines.empty()) return "lines before the refusal";
            if (plan.error == EINTR || plan.error == half)
                if (refused) return "is not survived";
            if (in && refused && plan.sort == Sort::Memory) {
                in->close();
                in->open(place.c_str(), encoding);
                readInto(*in, again);
                if (again.size() < 100) return "is of no use any more";
            }
        }
        if (refused) return plan.failures > 0 ? "" : "refused without a fault";
        iFileStream good;
        good.open(place.c_str(), encoding);
        readInto(good, again);
        return lines == again ? "" : "other lines";
    }
};

TEST_F(Reading, WithoutMemory) {
    everyFault(Sort::Memory, {ENOMEM}, [&] { return read("ansi", StrConv::ENCODING_ANSI); });
    everyFault(Sort::Memory, {ENOMEM}, [&] { return read("utf16", StrConv::ENCODING_UTF16LE); });
    everyFault(Sort::Memory, {ENOMEM}, [&] { return read("many", StrConv::ENCODING_ANSI); });
}

TEST_F(Reading, WithACallThatFails) {
    everyFault(Sort::Read, {EIO, EINTR, half}, [&] { return read("ansi", StrConv::ENCODING_ANSI); });
    everyFault(Sort::Read, {EIO, EINTR}, [&] { return read("many", StrConv::ENCODING_ANSI); });
    everyFault(Sort::Open, {EMFILE, EIO, EINTR}, [&] { return read("utf16", StrConv::ENCODING_UTF16LE); });
    everyFault(Sort::Close, {EIO, EINTR}, [&] { return read("utf16", StrConv::ENCODING_UTF16LE); });
}

TEST_F(Reading, AKeyLineWithoutMemoryIsPassedOver) {
    file("keys", std::string(300, 'a') + "\n" + std::string(300, 'b') + "\n");
    iFileStream in;
    in.open(path("keys").c_str(), StrConv::ENCODING_ANSI);
    AMRKeyLine line;
    plan = {Sort::Memory, ENOMEM, 1, 1, 0, 0, false};
    EXPECT_THROW(armed([&] { in.getline(line); }), std::bad_alloc);
    EXPECT_EQ(line.line, L"");
    in.getline(line);
    EXPECT_EQ(line.line, std::wstring(300, L'b'));
    EXPECT_EQ(in.getLineNumber(), 2);
}

// ---- Writing --------------------------------------------------------------------------------------------------------

class Writing : public Faults {
protected:
    // Writes under the plan, and continues with the next line after each failure.
    std::string write(int encoding, const std::string& before = {}) {
        const bool wide = encoding == StrConv::ENCODING_UTF16LE;
        const std::string place = file("out", before);
        std::string expected = before.empty() && wide ? "\xFF\xFE" : before;
        std::array<std::wstring, 3> texts{L"short", std::wstring(5000, L'e'), std::wstring(70'000, L'b')};
        std::size_t most = expected.size();
        std::vector<std::size_t> ends{before.size(), expected.size()};
        ends.reserve(4000);
        expected.reserve(3'000'000);
        bool refused = false, good = false;
        long taken = 0, counted = 0;
        auto add = [&](const std::wstring& text) {
            for (const wchar_t c : text) {
                expected += static_cast<char>(c);
                if (wide) expected += '\0';
            }
            ends.push_back(most = expected.size());
            ++taken;
        };
        {
            std::unique_ptr<oFileStream> out;
            try {
                armed([&] { out = std::make_unique<oFileStream>(); });
                armed([&] { out->open(place.c_str(), encoding); });
            } catch (const std::bad_alloc&) {
                return plan.sort == Sort::Memory && streams::readFile(place) == before ? "" : "bad_alloc";
            }
            if (!out->is_open()) {
                if (out->rdstate() == streams::good || plan.sort != Sort::Open || plan.error == EINTR) return "is not open";
                return streams::readFile(place) == before ? "" : "a damaged file";
            }
            TramoLine::tramoLine_t record;
            record.fill(L'r');
            const std::wstring recordText(record.begin(), record.end());
            for (int i = 0; i < 300; ++i) {
                const std::wstring& text = texts[i % 100 == 99 ? 2 : i % 10 == 9 ? 1 : 0];
                try {
                    if (i % 2 == 0) armed([&] { out->putLine(record, 514); });
                    else armed([&] { out->putLine(text, true); });
                    add(i % 2 == 0 ? recordText : text + L"\r\n");
                    if (i % 50 == 49) armed([&] { out->flush(); });
                } catch (const std::bad_alloc&) {
                    refused = true;
                    if (plan.sort != Sort::Memory) return "bad_alloc";
                } catch (const write_exception& failure) {
                    refused = true;
                    if (std::string(failure.what()).find(std::system_category().message(plan.error)) == std::string::npos)
                        return failure.what();
                    if (plan.error == EINTR || plan.error == half) return "is not survived";
                }
            }
            armed([&] { out->close(); });
            good = out->rdstate() == streams::good;
            counted = out->getLineNumber();
            // The object can be used again.
            if (good) {
                out->open(place.c_str(), encoding);
                out->putLine(L"again", true);
                add(L"again\r\n");
                out->close();
            }
        }
        if (plan.failures == 0 && refused) return "refused without a fault";
        if (counted != taken - (good ? 1 : 0)) return "counts other lines";
        const std::string found = streams::readFile(place);
        if (good) return found == expected ? "" : "other lines than were taken";
        if (plan.sort == Sort::Close) return found == expected ? "" : "lost lines";
        if (plan.sort != Sort::Write) return "is refused at the end";
        const bool isWhole = std::ranges::find(ends, found.size()) != ends.end();
        return isWhole && expected.starts_with(found) ? "" : "no whole lines";
    }
};

TEST_F(Writing, WithoutMemory) {
    everyFault(Sort::Memory, {ENOMEM}, [&] { return write(StrConv::ENCODING_ANSI); });
    everyFault(Sort::Memory, {ENOMEM}, [&] { return write(StrConv::ENCODING_UTF16LE, streams::utf16(u"old\r\n")); });
}

TEST_F(Writing, WithACallThatFails) {
    everyFault(Sort::Write, {ENOSPC, EIO, EINTR, half}, [&] { return write(StrConv::ENCODING_ANSI); });
    everyFault(Sort::Write, {ENOSPC, EIO, EINTR, half}, [&] { return write(StrConv::ENCODING_UTF16LE); });
    everyFault(Sort::Open, {EACCES, EMFILE, ENOSPC, EINTR}, [&] { return write(StrConv::ENCODING_ANSI, "old\r\n"); });
    everyFault(Sort::Close, {EIO, ENOSPC, EINTR}, [&] { return write(StrConv::ENCODING_ANSI, "old\r\n"); });
}

// ---- Lines ----------------------------------------------------------------------------------------------------------

// The results of a model under the plan, to be compared with those of the same line without a failure.
struct Answers {
    std::wstring text, built;
    std::size_t errors = 0;
    bool operator==(const Answers&) const = default;
};

Answers askRecord(const TramoLine::tramoLine_t& line) {
    Answers answers;
    tramo::AnyRecord record(line);
    answers.errors = record.getParseErrors().size();
    if (const tramo::RecordKind* kind = record.kind())
        for (const tramo::Field& field : kind->fields) {
            const tramo::FieldValue value = record.get(field);
            record.set(field, value);
        }
    answers.errors += record.getMandatoryErrors().size();
    const TramoLine::tramoLine_t built = record.toTramoLine();
    answers.built.assign(built.begin(), built.end());
    answers.errors += record.getBuildErrors().size();
    answers.text = record.toString();
    const tramo::AnyRecord copy = record;
    answers.text += copy.toString();
    return answers;
}

// Gets the results under the plan, and again without it.
std::string asked(const std::function<Answers()>& ask) {
    Answers under;
    bool refused = false;
    try {
        armed([&] { under = ask(); });
    } catch (const std::bad_alloc&) { refused = true; }
    if (refused) return plan.failures > 0 ? "" : "bad_alloc without a fault";
    return under == ask() ? "" : "other answers";
}

TEST_F(Faults, RecordsWithoutMemory) {
    for (const char* name : {SAMPLES "/round-returned.txt", SAMPLES "/round-broken.txt"}) {
        iFileStream in;
        in.open(name, StrConv::ENCODING_ANSI);
        std::wstring seen;
        for (TramoLine::tramoLine_t line; !in.eof();) {
            in.getline(line.size(), line);
            if (seen.find(line[0]) != std::wstring::npos) continue;
            seen += line[0];
            everyFault(Sort::Memory, {ENOMEM}, [&] { return asked([&] { return askRecord(line); }); });
            if (HasFailure()) return;
        }
        EXPECT_GE(seen.size(), 9U);
    }
}

TEST_F(Faults, OtherLinesWithoutMemory) {
    everyFault(Sort::Memory, {ENOMEM}, [&] {
        return asked([] {
            TagLine::tagLine_t line;
            line.fill(L'x');
            TagTramoModel model(line);
            const TagLine::tagLine_t built = model.toTagLine();
            return Answers{model.toString(), {built.begin(), built.end()}, 0};
        });
    });
    everyFault(Sort::Memory, {ENOMEM}, [&] {
        return asked([] {
            ParameterLine::parameterLine_t line;
            line.fill(L'x');
            ParameterTramoModel model(line);
            const ParameterLine::parameterLine_t built = model.toParameterLine();
            return Answers{model.toString(), {built.begin(), built.end()}, 0};
        });
    });
}

TEST_F(Faults, KeyLinesWithoutMemory) {
    const std::string bytes = streams::readFile(SAMPLES "/amr-keys.txt");
    const std::wstring first(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(bytes.find('\r')));
    std::wstring nested = L"{\"a\":[", wide = L"{\"a\":[1";
    for (int i = 0; i < 2000; ++i) nested += L"[[],";
    for (int i = 0; i < 30'000; ++i) wide += L",1";
    for (const std::wstring& text : {first, nested + L"1", wide + L"]}", std::wstring(L"{\"a\":{\"\":1,\"\":1,\"b\":{}}}")})
        everyFault(Sort::Memory, {ENOMEM}, [&] {
            return asked([&] {
                const tramo::ParsedKeyLine parsed = tramo::parseKeyLine(text);
                return Answers{parsed.line.line,
                    parsed.error ? std::wstring(parsed.error->text.begin(), parsed.error->text.end()) : L"",
                    parsed.remarks.size()};
            });
        });
}

// If out of memory, a thread works without its cache of days; the values stay correct.
TEST_F(Faults, DatesOfANewThreadWithoutMemory) {
    static constexpr long32 never = -1;
    const auto convert = [](long32& midnight, long32& minute, wchar_t* date) {
        midnight = DateUtils::strToTime("%Y%m%d", "20241027");
        minute = DateUtils::strToTime("%Y%m%d%H%M", "202410270905");
        return StrConv::fromDate(minute, date, L"%Y%m%d%H%M");
    };
    long32 expectedMidnight = never, expectedMinute = never;
    wchar_t expectedDate[13] = L"";
    ASSERT_TRUE(convert(expectedMidnight, expectedMinute, expectedDate));
    ASSERT_STREQ(expectedDate, L"202410270905");
    everyFault(Sort::Memory, {ENOMEM}, [&] {
        long32 midnight = never, minute = never;
        wchar_t date[13] = L"";
        bool written = false;
        std::thread([&] { armed([&] { written = convert(midnight, minute, date); }); }).join();
        const bool same = midnight == expectedMidnight && minute == expectedMinute && std::wcscmp(date, expectedDate) == 0;
        return written && same ? "" : "another value";
    });
}

// ---- The tests themselves -------------------------------------------------------------------------------------------

TEST_F(Faults, ALeakIsFound) {
    const long before = held;
    int* volatile lost = new int(7);  // volatile: a compiler may remove an unused allocation
    const long holding = held;
    delete lost;
    EXPECT_EQ(holding, before + 1);
    EXPECT_EQ(held, before);
}

}  // namespace

// With --large, tries every call instead of a selection.
int main(int count, char** arguments) {
    testing::InitGoogleTest(&count, arguments);
    if (count > 1 && std::string_view(arguments[1]) == "--large") setenv("FAULTS_LARGE", "1", 1);
    return RUN_ALL_TESTS();
}
