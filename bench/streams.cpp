// Reading and writing through the public interface, by record kind.
#include "bench/data.h"
#include "bench/getters.h"
#include "bench/handtuned.h"
#include "bench/process.h"
#include "bench/table.h"
#include <cstdio>
#include <stdexcept>
#include <tuple>
#include <type_traits>

namespace bench {

namespace {

// The streams' part of each model.
template <class M, class L> struct FixedLine {
    using Line = L;
    static constexpr unsigned size = std::tuple_size_v<Line>;
    static void read(iFileStream& in, Line& line) { in.getline(size, line); }
    static M parsed(Line& line) { return M(line); }
    static void write(oFileStream& out, const Line& line) { out.putLine(line, size); }
};
template <class M> struct Kind : FixedLine<M, TramoLine::tramoLine_t> {
    static TramoLine::tramoLine_t built(M& model) { return model.toTramoLine(); }
};
template <> struct Kind<ParameterTramoModel> : FixedLine<ParameterTramoModel, ParameterLine::parameterLine_t> {
    static Line built(ParameterTramoModel& model) { return model.toParameterLine(); }
};
template <> struct Kind<TagTramoModel> : FixedLine<TagTramoModel, TagLine::tagLine_t> {
    static Line built(TagTramoModel& model) { return model.toTagLine(); }
    static void write(oFileStream& out, const Line& line) { out.putLine(std::wstring(line.data(), size - 2), true); }
};
// A key model builds no line: writes the line that was read.
template <> struct Kind<AMRKeyTramoModel> {
    using Line = AMRKeyLine;
    static void read(iFileStream& in, Line& line) { in.getline(line); }
    static AMRKeyTramoModel parsed(Line& line) {
        line = tramo::parseKeyLine(line.line).line;
        return {line};
    }
    static void write(oFileStream& out, const Line& line) { out.putLine(line.line.substr(0, line.line.find(L'\r')), true); }
};

// Opens the file and calls `use` for each line; returns the number of lines.
template <class M, class Use> std::size_t forEachLine(const DataFile& file, Use use) {
    iFileStream in;
    in.open(file.path.c_str(), file.encoding);
    std::size_t count = 0;
    for (typename Kind<M>::Line line; !in.eof(); ++count) {
        Kind<M>::read(in, line);
        use(line);
    }
    return count;
}

// The expected result of reading the lines of this kind, in every encoding.
template <class M> Sums readModels(const DataFile& file) {
    Sums sums;
    forEachLine<M>(file, [&](auto& line) { sums << Kind<M>::parsed(line); });
    return sums;
}

template <class M> const Sums& expectedSums(const DataFile& ansi) {
    static const Sums sums = [&] {
        if constexpr (std::is_same_v<M, MeterSubscriberTramoModel>) return readByHand(ansi.path.c_str());
        else return readModels<M>(ansi);
    }();
    if (sums.records != ansi.records || sums.faults > 0) throw std::runtime_error("lines that cannot be read");
    return sums;
}

void demand(bool good, const char* otherwise) {
    if (!good) throw std::runtime_error(otherwise);
}

template <class M> void readLines(benchmark::State& state, const DataFile& file) {
    for (auto _ : state) {
        const std::size_t count = forEachLine<M>(file, [](auto& line) {
            benchmark::DoNotOptimize(&line);
            benchmark::ClobberMemory();
        });
        demand(count == file.records, "not all lines were read");
    }
}

template <class M> void readValues(benchmark::State& state, const DataFile& file, const Sums& expected) {
    for (auto _ : state) demand(readModels<M>(file) == expected, "the values read are not the expected ones");
}

template <class M> void rewrite(benchmark::State& state, const DataFile& file, const Sums& expected, const std::string& path) {
    std::remove(path.c_str());
    for (auto _ : state) {
        Sums sums;
        oFileStream out(path.c_str(), file.encoding);
        forEachLine<M>(file, [&](auto& line) {
            M model = Kind<M>::parsed(line);
            sums << model;
            if constexpr (std::is_same_v<M, AMRKeyTramoModel>) Kind<M>::write(out, line);
            else Kind<M>::write(out, Kind<M>::built(model));
        });
        out.close();
        demand(out.rdstate() == 0, "the lines could not be written");
        demand(sums == expected, "the values read are not the expected ones");
    }
    // Only one iteration: writing appends to an existing file.
    demand(readModels<M>({path, file.encoding, 0, 0, 0}) == expected, "the values written are not those read");
    std::remove(path.c_str());
}

// Uses the same few lines repeatedly, from memory.
template <class M, class Use> void useModels(benchmark::State& state, const DataFile& file, Use use) {
    constexpr std::size_t many = 500;
    std::vector<typename Kind<M>::Line> lines;
    forEachLine<M>(file, [&](auto& line) {
        if (lines.size() < many) lines.push_back(line);
    });
    for (auto _ : state) {
        for (auto& line : lines) {
            M model = Kind<M>::parsed(line);
            use(model);
            benchmark::DoNotOptimize(&model);
        }
    }
    const std::size_t characters = file.characters * lines.size() / file.records;
    setWork(state, lines.size(), characters, characters);
}

const std::string subscriber = "meter subscriber";

template <class M> void addStreamRows(std::vector<Row>& rows, const Options& options, const std::string& kind, bool isRecord) {
    const std::string ansi = kind + ", ANSI", utf16 = kind + ", UTF-16";
    const std::string lines = "(a) getline", values = "(b) and model, all getters", rewritten = "(c) and toTramoLine, putLine";

    auto goal = [&](const std::string& name, double limit, const char* reference) -> Goal {
        if (kind == subscriber) return {limit, fullName(references, reference), Goal::Record};
        if (isRecord) return {1.5, fullName(subscriber + ", ANSI", name), Goal::Character};
        return {};
    };
    for (const int encoding : {StrConv::ENCODING_ANSI, StrConv::ENCODING_UTF16LE}) {
        const bool isAnsi = encoding == StrConv::ENCODING_ANSI;
        auto add = [&](const std::string& name, const Goal& ansiGoal, auto run, double limitOfBlocks = 0) {
            auto measured = [&options, kind, encoding, run](benchmark::State& state) {
                const DataFile file = dataFile(options, kind, encoding);
                const Sums& expected = expectedSums<M>(dataFile(options, kind, StrConv::ENCODING_ANSI));
                warmUpMemory(2 * file.bytes);  // for the file read and the file written
                run(state, file, expected);
                setWork(state, file.records, file.bytes, file.characters);
            };
            const bool hasSecond = isAnsi && kind == subscriber;
            rows.push_back({.section = isAnsi ? ansi : utf16,
                .name = name,
                .run = measured,
                .goal = isAnsi ? ansiGoal : Goal{1.3, fullName(ansi, name), Goal::Record},
                .secondGoal = hasSecond ? Goal{limitOfBlocks, fullName(references, "hand-tuned"), Goal::Record} : Goal{}});
        };
        add(lines, goal(lines, 6, "memory read"), [](auto& state, auto& file, auto&) { readLines<M>(state, file); });
        add(values, goal(values, 2, "hand-tuned, file read whole"), readValues<M>, 1.7);
        add(
            rewritten, goal(rewritten, 3, "hand-tuned, file read whole"),
            [path = options.folder + "/written.txt"](
                auto& state, auto& file, auto& sums) { rewrite<M>(state, file, sums, path); },
            3.5);
    }
}

template <class M> void addModelRows(std::vector<Row>& rows, const Options& options, const std::string& kind) {
    auto add = [&](const char* name, auto use) {
        auto measured = [&options, kind, use](benchmark::State& state) {
            useModels<M>(state, dataFile(options, kind, StrConv::ENCODING_ANSI), use);
        };
        rows.push_back({.section = kind + ", lines in memory", .name = name, .run = measured, .isLong = false});
    };
    add("model", [](M&) {});
    add("model, all getters", [](M& model) {
        Sums sums;
        sums << model;
        benchmark::DoNotOptimize(sums);
    });
    add("model, getMandatoryErrors", [](M& model) { benchmark::DoNotOptimize(model.getMandatoryErrors()); });
    add("model, toString", [](M& model) { benchmark::DoNotOptimize(model.toString()); });
    if constexpr (!std::is_same_v<M, AMRKeyTramoModel>)
        add("model, toTramoLine", [](M& model) { benchmark::DoNotOptimize(Kind<M>::built(model)); });
}

template <class M> void addKind(std::vector<Row>& rows, const Options& options, const std::string& kind, bool isRecord = true) {
    addStreamRows<M>(rows, options, kind, isRecord);
    addModelRows<M>(rows, options, kind);
}

}  // namespace

void addStreams(std::vector<Row>& rows, const Options& options) {
    addKind<MeterSubscriberTramoModel>(rows, options, subscriber);
    addKind<tramo::AnyRecord>(rows, options, "mixed");
    addKind<RoundTramoModel>(rows, options, "round");
    addKind<AMRTramoModel>(rows, options, "AMR");
    addKind<MeterChangeTramoModel>(rows, options, "meter change");
    addKind<ExtendedAMRTramoModel>(rows, options, "extended AMR");
    addKind<EnquiryDefinitionTramoModel>(rows, options, "enquiry definition");
    addKind<EnquiryResultTramoModel>(rows, options, "enquiry result");
    addKind<ExtendedDataTramoModel>(rows, options, "extended data");
    addKind<RecordInformationTramoModel>(rows, options, "record information");
    addKind<ParameterTramoModel>(rows, options, "parameter", false);
    addKind<TagTramoModel>(rows, options, "tag", false);
    addKind<AMRKeyTramoModel>(rows, options, "key", false);
}

}  // namespace bench
