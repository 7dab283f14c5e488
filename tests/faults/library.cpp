// The classic interface with failing calls: each allocation and each system call fails, once or from then on. The result is
// std::bad_alloc or the error stated in the headers; files end after whole lines, objects stay usable, and nothing leaks.
#include "faults.h"
#include "tramostream/tramostream.h"
#include <array>
#include <cerrno>
#include <cwchar>
#include <new>
#include <thread>

namespace {

using namespace faults;
using TramoStreamExceptions::read_exception;
using TramoStreamExceptions::write_exception;

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

}  // namespace
