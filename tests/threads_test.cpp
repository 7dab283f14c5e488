// Models, codecs and streams of different threads share nothing. The thread sanitizer checks that; in every build, all
// threads must get the same results as a single one.
#include "support/console.h"
#include "support/samples.h"
#include "support/streamfiles.h"
#include "support/timezone.h"
#include "tramostream/amrkeytramomodel.h"
#include "tramostream/dateutils.h"
#include "tramostream/ifilestream.h"
#include "tramostream/keyline.h"
#include "tramostream/ofilestream.h"
#include "tramostream/parametertramomodel.h"
#include "tramostream/stringconverter.h"
#include "tramostream/tagtramomodel.h"
#include "tramostream/tramostream.h"
#include <barrier>
#include <functional>
#include <gtest/gtest.h>
#include <thread>

namespace {

constexpr int threadCount = 8;

// The results of a thread, as one text.
using Results = std::wstring;

void add(Results& results, const std::vector<TE::FieldError>& errors) {
    for (const TE::FieldError& error : errors)
        results += L' ' + std::to_wstring(error.column) + L'/' + std::to_wstring(error.code);
}

template <class Model> void useEverything(Model model, const tramo::RecordKind& kind, Results& results) {
    results += model.toString();
    add(results, model.getParseErrors());
    add(results, model.getMandatoryErrors());
    for (const tramo::Field& field : kind.fields) {
        if constexpr (requires { model.get(field); }) model.set(field, model.get(field));
        else tramo::set(model, field, tramo::get(model, field));
    }
    const auto line = records::build(model);
    results.append(line.begin(), line.end());
    add(results, model.getBuildErrors());
}

Results useModels() {
    Results results;
    for (const char* file : {"round-exported.txt", "round-returned.txt", "round-broken.txt"})
        for (const std::wstring& line : records::sampleLinesOf(file, 512)) {
            const tramo::AnyRecord record(records::lineOf<TramoLine::tramoLine_t>(line));
            if (record.kind()) useEverything(record, *record.kind(), results);
        }
    for (const std::wstring& line : records::sampleLinesOf("tags.txt", 23))
        useEverything(records::parsed<TagTramoModel>(line), tramo::kindOf<TagTramoModel>(), results);
    for (const std::wstring& line : records::sampleLinesOf("parameters.txt", 40))
        useEverything(records::parsed<ParameterTramoModel>(line), tramo::kindOf<ParameterTramoModel>(), results);
    return results;
}

Results useKeyLines() {
    Results results;
    for (int i = 0; i < 200; ++i) {
        tramo::ParsedKeyLine parsed = tramo::parseKeyLine(
            LR"(;{"serialNumber":")" + std::to_wstring(i) + LR"(","wmBusKey_Mode5":"\u20ac","wmBusAddress_Version":12,"x":1})");
        AMRKeyTramoModel model(parsed.line);
        results += model.toString() + std::to_wstring(parsed.remarks.size());
        add(results, model.getMandatoryErrors());
        results += std::to_wstring(tramo::parseKeyLine(L"{\"serialNumber\":" + std::to_wstring(i)).error.value().offset);
    }
    return results;
}

// Only successful conversions: failed ones print on the standard output, which all threads share.
Results useCodecs() {
    Results results;
    for (int i = 0; i < 2000; ++i) {
        std::wstring whole = std::to_wstring(i), decimal = whole + L",5", hex = L"1F", date = L"202410270230";
        int number = 0, fromHex = 0;
        double real = 0;
        long32 time = 0;
        EXPECT_TRUE(StrConv::toInt(whole, number) && StrConv::toDouble(decimal, real) && StrConv::hexStrToInt(hex, fromHex) &&
                    StrConv::toDateTime(date, time));
        std::wstring field(40, L' ');
        StrConv::fromInt(number, field.data(), 8);
        StrConv::fromDouble(real, field.data() + 8, 12, 3);
        StrConv::fromDate(time + i * 3600, field.data() + 20, StrConv::DATETIMEFORMAT);
        results += field + std::to_wstring(DateUtils::strToTime("%Y-%m-%d", "2024-07-14") + fromHex);
    }
    return results;
}

// A repeated time, after one shortly before or shortly after it.
Results useRepeatedTimes(int thread) {
    Results results;
    for (int i = 0; i < 2000; ++i) {
        DateUtils::strToTime("%Y%m%d%H%M", (thread + i) % 2 == 0 ? "202410270030" : "202410270430");
        results += L' ' + std::to_wstring(DateUtils::strToTime("%Y%m%d%H%M", "202410270230"));
    }
    return results;
}

Results useStreams(const std::string& own) {
    Results results;
    for (const char* shared : {"round-exported.txt", "round-returned-utf16.txt"}) {
        const int encoding =
            std::string_view(shared).find("utf16") == std::string_view::npos ? StrConv::ENCODING_ANSI : StrConv::ENCODING_UTF16LE;
        std::filesystem::remove(own);
        {
            iFileStream in;
            in.open((SAMPLES "/" + std::string(shared)).c_str(), encoding);
            oFileStream out(own.c_str(), encoding);
            for (TramoLine::tramoLine_t line; !in.eof();) {
                in.getline(514, line);
                line[513] = L'\n';
                out.putLine(line, 514);
            }
            results += std::to_wstring(in.getLineNumber()) + L' ' + std::to_wstring(out.getLineNumber());
        }
        const std::string written = streams::readFile(own);
        EXPECT_EQ(written, streams::readFile(SAMPLES "/" + std::string(shared)));
        results += std::to_wstring(written.size());
    }
    iFileStream none;
    EXPECT_THROW(none.open((own + ".missing").c_str(), StrConv::ENCODING_ANSI), TramoStreamExceptions::read_exception);
    return results;
}

// First all threads at the same time, then one alone.
void expectAlike(const std::function<Results(int thread)>& work) {
    const Silence quiet;
    std::barrier start(threadCount);
    std::vector<Results> results(threadCount);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < threadCount; ++i)
            threads.emplace_back([&, i] {
                start.arrive_and_wait();
                results[static_cast<std::size_t>(i)] = work(i);
            });
    }
    const Results expected = work(threadCount);
    EXPECT_GT(expected.size(), 20U);
    for (const Results& result : results) EXPECT_TRUE(result == expected);
}

class Threads : public testing::Test {
    TimeZone zone{"Europe/Paris"};
};

TEST_F(Threads, UseModelsIndependently) {
    expectAlike([](int) { return useModels(); });
}
TEST_F(Threads, UseKeyLinesIndependently) {
    expectAlike([](int) { return useKeyLines(); });
}
TEST_F(Threads, ConvertIndependently) {
    expectAlike([](int) { return useCodecs(); });
}
TEST_F(Threads, ReadRepeatedTimesEqually) { expectAlike(useRepeatedTimes); }
TEST_F(Threads, UseStreamsIndependently) {
    const streams::GlobalLocale plain(std::locale::classic());
    const streams::TempFolder folder;
    expectAlike([&](int thread) { return useStreams(folder.path(std::to_string(thread))); });
}

}  // namespace
