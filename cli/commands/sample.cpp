// tramo sample: generates sample rounds, on request with errors and a list of them.
#include "cli/commands/sample_differences.h"
#include "cli/commands/sample_faults.h"
#include "cli/commands/sample_lines.h"
#include "cli/commands/sample_rulefaults.h"
#include "cli/io/console.h"
#include "cli/io/outfile.h"
#include "cli/io/text.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "common/encoding.h"
#include "common/suggestion.h"
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <optional>
#include <tramostream/check.h>
#include <tramostream/linemodel.h>
#include <utility>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Generate a sample round.

Examples:
  tramo sample --meters 1000 --returned -o round.txt      with readings
  tramo sample --meters 1000 --faults 0.02 -o broken.txt  with errors in one
                                                          line of fifty
  tramo sample --faults LineMoved --returned -o moved.txt  with an error that
                                                          this rule finds
  tramo sample --seed 7 -o - | tramo check -              another round, without
                                                          errors

Usage: tramo sample [OPTION]... -o FILE

A round has up to 1000 meters; more meters make several rounds, one after the
other. The same options generate the same bytes, on any machine and in any time
zone. All names, places and numbers are invented.

The same seed generates the same round as exported and as returned: --returned
only adds the results of the field work. A larger --meters or other --kinds do
not change the lines of a meter.

With --faults, FILE.expected.jsonl lists the findings to expect: one JSON object
for each finding of "tramo check", in the order of the lines, with line, column,
rule, code, kind and field, as "tramo check --format json" names them. A RATE
puts errors into single lines. A RULE puts one error into a round of at most
1000 meters that this rule about rounds finds ("tramo explain" lists the rules);
some errors need --returned.

With --differences, FILE.expected.jsonl lists what "tramo reconcile" must find:
one JSON object for each difference from the exported round of the same seed,
with its kind, its meter and its field, as "tramo reconcile --format json" names
them.

Options:
  -o, --output FILE   writes the round to FILE; "-" is the standard output
  --meters N          number of meters, 1 to 9999999; default 60
  --seed S            number that selects the round; default 0
  --returned          adds readings, meter changes, positions and enquiry
                      results, as in a round that comes back
  --faults RATE|RULE  puts errors into this share of the lines, 0 to 1; or one
                      error that this rule finds
  --differences RATE  with --returned: puts differences from the exported round
                      into this share of the meters, 0 to 1
  --kinds KIND,...    only lines of these kinds, by names or letters
  --encoding WHAT     ansi, utf16le
  --force             replaces FILE even if it is read-only or has hard links
  -h, --help          show this page

Exit codes:
  0  the file was written
  2  the command line is invalid, or the round has no line of these kinds, and
     nothing was written
  3  the output could not be written
)";

using namespace sample;

struct Options {
    std::string path;
    std::uint64_t meters = 60, seed = 0;
    bool returned = false, force = false;
    double faults = 0, differences = 0;
    std::string_view rule{};               ///< that finds the fault; empty: none
    std::vector<const RecordKind*> kinds;  ///< empty: all
    Encoding encoding = Encoding::Ansi;

    bool hasFaults() const { return faults > 0 || !rule.empty(); }
    bool wants(const RecordKind& kind) const { return kinds.empty() || std::ranges::find(kinds, &kind) != kinds.end(); }
};

// Lines as bytes of the file.
class LineWriter : public LineSink {
public:
    LineWriter(const Options& chosenOptions, OutFile& file, OutFile* findings)
        : options(chosenOptions), out(file), expected(findings),
          faults(options.faults, options.encoding == Encoding::Utf16le, options.seed),
          differences(options.differences, options.seed) {
        if (options.encoding == Encoding::Utf16le) buffer = encoding::utf16Mark;
    }

    void write(const RecordKind& kind, std::string_view text, std::uint64_t name) override {
        if (options.differences > 0)
            differences.meet(kind, text, name, [&](const RecordKind& of, std::string_view line) { writeLine(of, line, name); });
        else writeLine(kind, text, name);
    }

    std::uint64_t linesOf(const RecordKind& kind) const {
        const auto found = lines.find(&kind);
        return found == lines.end() ? 0 : found->second;
    }

    /// Adds the fault of the rule. False: the round has no place for it.
    bool addRuleFault() {
        const std::string findings = addFault(options.rule, options.seed, held);
        for (const Written& line : held) append(line.text, true);
        if (expected) expected->write(findings);
        return !findings.empty();
    }

    void flush() {
        out.write(buffer);
        buffer.clear();
        if (expected) expected->write(options.differences > 0 ? differences.taken() : faults.taken());
    }
    void settle(std::uint64_t metersDone) {
        if (buffer.size() < 1 << 18) return;
        progress.show("writing", metersDone, options.meters);
        flush();
    }

private:
    void writeLine(const RecordKind& kind, std::string_view text, std::uint64_t name) {
        if (!options.wants(kind)) return;
        ++number;
        if (!options.kinds.empty()) ++lines[&kind];
        if (!options.rule.empty()) {
            held.push_back({.kind = &kind, .text = std::string(text)});
            return;
        }
        if (!expected || options.faults == 0) return append(text, true);
        Written line{.kind = &kind, .text = std::string(text)};
        faults.meet(line, number, name);
        append(line.text, line.carriageReturn);
        if (line.halfPair) {
            const std::size_t end = buffer.size() - 2 * (line.text.size() - *line.halfPair + 2);
            buffer.replace(end, 2, std::string_view("\x00\xD8", 2));
        }
    }

    void append(std::string_view text, bool carriageReturn) {
        const std::string_view lineEnd = carriageReturn ? "\r\n" : "\n";
        for (const std::string_view part : {text, lineEnd})
            if (options.encoding == Encoding::Utf16le) encoding::append(buffer, part, true);
            else buffer += part;
    }

    const Options& options;
    OutFile& out;
    OutFile* expected;
    Progress progress;
    Faults faults;
    Differences differences;
    std::string buffer;
    std::uint64_t number = 0;
    std::map<const RecordKind*, std::uint64_t> lines;  ///< of the chosen kinds
    std::vector<Written> held;                         ///< the lines that get the fault of a rule
};

void writeRounds(const Options& options, LineWriter& writer) {
    const Calendar calendar;
    RoundLines lines(calendar, options.seed, options.returned, writer);
    Pairs pairs;
    for (std::uint64_t done = 0; done < options.meters;) {
        const auto round = static_cast<std::uint32_t>(done / Quarter::meters);
        const auto meters = static_cast<std::uint32_t>(std::min<std::uint64_t>(Quarter::meters, options.meters - done));
        Quarter quarter(options.seed, round);
        MetersOfRound metersOfRound(calendar, options.seed, round);
        lines.begin(round, quarter, metersOfRound.importedOn());
        for (std::uint32_t order = 1; order <= meters; ++order) {
            const Home& home = quarter.next();
            lines.meter(metersOfRound.next(home, ++done, order, pairs), home);
            writer.settle(done);
        }
        lines.end(meters);
    }
}

std::vector<const RecordKind*> kindsOf(std::string_view list) {
    std::vector<const RecordKind*> kinds;
    while (!list.empty()) {
        const std::string_view word = list.substr(0, list.find(','));
        list.remove_prefix(std::min(list.size(), word.size() + 1));
        const RecordKind* kind = kindNamed(word);
        if (!kind || kind->letter == 0) {
            std::vector<std::string_view> names;
            for (const RecordKind* one : recordKinds()) names.emplace_back(one->name);
            throw WrongUsage{"--kinds: " + invalidValue(word, names)};
        }
        kinds.push_back(kind);
    }
    return kinds;
}

std::optional<double> rateIn(const std::string& word) {
    double rate = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), rate);
    if (error != std::errc{} || end != word.data() + word.size() || !(rate >= 0 && rate <= 1)) return std::nullopt;
    return rate;
}

double rateOf(const char* option, const std::string& word) {
    if (const auto rate = rateIn(word)) return *rate;
    throw WrongUsage{
        fmt::format("{}: invalid value \"{}\"; expected a number from 0 to 1", option, printable(std::string_view(word)))};
}

// A rate, or the name of a rule.
void setFaults(Options& options, const std::string& word) {
    const std::vector<std::string_view> names = rulesWithFaults();
    const auto name = std::ranges::find(names, word);
    if (name != names.end()) {
        options.rule = *name;
        return;
    }
    const auto rate = rateIn(word);
    if (!rate)
        throw WrongUsage{fmt::format("--faults: invalid value \"{}\"; expected a number from 0 to 1 or a rule about rounds{}",
            printable(std::string_view(word)), didYouMean(word, names))};
    options.faults = *rate;
}

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string meters, seed, faults, differences, kinds, encoding = "ansi";
    Arguments given;
    given.option("-o,--output", options.path);
    given.option("--meters", meters);
    given.option("--seed", seed);
    given.flag("--returned", options.returned);
    given.option("--faults", faults);
    given.option("--differences", differences);
    given.option("--kinds", kinds);
    given.option("--encoding", encoding);
    given.flag("--force", options.force);
    const std::vector<std::string> others = given.parse(std::move(arguments));
    if (!others.empty())
        throw WrongUsage{fmt::format("unexpected argument \"{}\"; sample reads no file", printable(std::string_view(others[0])))};
    if (options.path.empty()) throw WrongUsage{"-o FILE is missing (\"-\" is the standard output)"};
    if (!meters.empty()) options.meters = number("--meters", meters, "number of meters");
    if (options.meters < 1 || options.meters > 9999999) throw WrongUsage{"--meters: expected a number from 1 to 9999999"};
    if (!seed.empty()) options.seed = number("--seed", seed, "seed");
    if (!faults.empty()) setFaults(options, faults);
    if (options.hasFaults() && options.path == "-")
        throw WrongUsage{"--faults needs -o FILE: it also writes FILE.expected.jsonl"};
    if (!options.rule.empty() && options.meters > Quarter::meters)
        throw WrongUsage{fmt::format("--faults {} needs one round: --meters of at most {}", options.rule, Quarter::meters)};
    if (!differences.empty()) options.differences = rateOf("--differences", differences);
    if (options.differences > 0 && !options.returned) throw WrongUsage{"--differences needs --returned"};
    if (options.differences > 0 && options.hasFaults()) throw WrongUsage{"--differences and --faults need files of their own"};
    if (options.differences > 0 && options.path == "-")
        throw WrongUsage{"--differences needs -o FILE: it also writes FILE.expected.jsonl"};
    options.kinds = kindsOf(kinds);
    options.encoding = chosenEncoding("--encoding", encoding);
    return options;
}

// Names the kinds that the round has no line of. True: there are lines of other kinds.
bool complainAboutMissing(const Options& options, const LineWriter& writer) {
    std::vector<std::string_view> missing;
    for (const RecordKind* kind : options.kinds)
        if (writer.linesOf(*kind) == 0) missing.push_back(kind->name);
    const bool anything = missing.size() < options.kinds.size() || options.kinds.empty();
    if (!missing.empty())
        complain(fmt::format("this round has no line of the kind {}{}{}", fmt::join(missing, ", "),
            options.returned ? "" : "; try --returned or a larger --meters", anything ? "" : ": nothing was written"));
    return anything;
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    const OutFile::Mode mode{.force = options.force};
    OutFile file(options.path, mode);
    std::optional<OutFile> expected;
    if (options.hasFaults() || options.differences > 0) expected.emplace(options.path + ".expected.jsonl", mode);
    LineWriter writer(options, file, expected ? &*expected : nullptr);
    writeRounds(options, writer);
    if (!complainAboutMissing(options, writer)) return notUsable;
    if (!options.rule.empty() && !writer.addRuleFault()) {
        complain(fmt::format("this round has no place for an error that {} finds{}: nothing was written", options.rule,
            options.returned ? "; try a larger --meters or another --seed" : "; try --returned"));
        return notUsable;
    }
    writer.flush();
    file.commit();
    if (expected) expected->commit();
    return nothingFound;
}

std::vector<std::string> kinds() {
    std::vector<std::string> words;
    for (const RecordKind* kind : recordKinds()) words.push_back(hyphenated(kind->name));
    return words;
}

}  // namespace

const Command sampleCommand{"sample", "generate a sample round", help, run, kinds};

}  // namespace tramo::cli
