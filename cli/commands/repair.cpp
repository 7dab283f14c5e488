// tramo repair: mends a damaged file, as far as the result can be proven.
#include "cli/commands/repair_report.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "common/secret.h"
#include <algorithm>
#include <charconv>
#include <map>
#include <memory>
#include <optional>
#include <tramostream/repair.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Mend a damaged file, as far as it can be proven.

Examples:
  tramo repair samples/round-damaged.txt    what would be mended, and proposals
  tramo repair -o new.txt samples/round-damaged.txt
                                            writes what can be mended
  tramo repair --reference exported.txt -o new.txt returned.txt
                                            mends lines with lost characters
  tramo repair --accept 17:1 -o new.txt --log changes.jsonl round.txt

Usage: tramo repair [OPTION]... FILE
       tramo repair [OPTION]... -o NEW FILE

Other programs change files on their way: they convert the text, end lines in
another way, remove spaces, or break lines. Without -o, the command shows what
it would mend (a dry run). With -o, it writes the mended file to NEW; FILE stays
as it is.

It mends only what it can prove by reading the result again, for example that
every line then has its length and all fields are in their columns. Everything
else is copied unchanged, byte for byte, also a last line that was cut off:

  encodings      UTF-8 (once or twice), UTF-16 without a byte order mark (BOM)
                 or big-endian, code pages of DOS and Mac
  line endings   LF, CR or CR CR LF instead of CR LF, a missing last one, blank
                 and doubled lines, the end-of-file character of DOS
  lines          removed trailing spaces, lines broken at one column, quotation
                 marks, leading spaces, tabs, no-break spaces

Characters that were lost or added inside a line are proposals, with the line
before and after. "proposal 17:1" is the most likely one for line 17. Lost
characters become spaces.

With --reference, the exported round shows how the lines of its meters were. A
line is mended if exactly one place for the lost or added characters gives it
the master data of the exported line. Readings are never guessed: damage in
their columns stays a proposal.

The log has one JSON object for each change: line, offset (in bytes, of the line
in FILE), rule, column, before, after, proof. Keys are masked. It holds personal
data; only its owner can read it.

Options:
  -o, --output NEW       writes the mended file to NEW, which appears as a whole
                         or not at all, and must not be FILE; "-" is the
                         standard output
  --reference EXPORTED   compares with the round as it was exported
  --accept LINE:N        takes proposal N for that line; may be repeated
  --log FILE             writes the changes to FILE; needs -o
  --force                replaces NEW and the log even if they are read-only or
                         have hard links
  -h, --help             show this page

"-" is the standard input. Input from pipes and devices, and output for the
standard output, is kept in TMPDIR, or /tmp, while the command runs.

Exit codes:
  0  the mended file has no errors (warnings do not count); of a dry run: it
     would have none
  1  something is left, or only proposed
  2  the command line is invalid, or a file cannot be read
  3  an output could not be written
)";

struct Options {
    std::string file, out, reference, log;
    std::vector<AcceptedProposal> accepted{};
    bool force = false;
};

AcceptedProposal acceptedProposal(std::string_view word) {
    AcceptedProposal one;
    const std::size_t colon = std::min(word.find(':'), word.size());
    const auto read = [](std::string_view digits, auto& value) {
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return error == std::errc{} && end == digits.data() + digits.size() && value > 0;
    };
    if (colon == word.size() || !read(word.substr(0, colon), one.line) || !read(word.substr(colon + 1), one.number))
        throw WrongUsage{fmt::format("--accept: invalid proposal \"{}\"; expected LINE:N, for example 17:1", printable(word))};
    return one;
}

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::vector<std::string> accepted;
    Arguments given;
    given.option("-o,--output", options.out);
    given.option("--reference", options.reference);
    given.options("--accept", accepted);
    given.option("--log", options.log);
    given.flag("--force", options.force);
    options.file = given.parseFile(std::move(arguments));
    for (const std::string& word : accepted) {
        const AcceptedProposal one = acceptedProposal(word);
        for (const AcceptedProposal& other : options.accepted)
            if (other.line == one.line)
                throw WrongUsage{fmt::format("--accept: two proposals for line {}; a line takes one", one.line)};
        options.accepted.push_back(one);
    }
    if (!options.log.empty() && options.out.empty()) throw WrongUsage{"--log needs -o NEW; a dry run changes nothing"};
    if (options.log == "-" && options.out == "-")
        throw WrongUsage{"--log and -o are both the standard output; name a file for one of them"};
    if (options.file == "-" && options.reference == "-") throw WrongUsage{"only one of the files can be the standard input"};
    return options;
}

// The bytes of an input, which is read several times. It must have the same bytes each time.
class RepeatedInput {
public:
    explicit RepeatedInput(const std::string& path)
        : input(Input::diagnosed(path, std::nullopt)), source(input->sourceFile()), size(input->bytes()) {
        std::string bytes(firstBytes, '\0');
        bytes.resize(source->read(0, bytes.data(), bytes.size()));
        compareFirst(0, bytes);
    }

    const std::string& name() const { return input->name(); }
    std::uint64_t bytes() const { return size; }

    ReadBytes reader() {
        return [this](std::uint64_t offset, char* bytes, std::size_t wanted) {
            if (size) wanted = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, size - std::min(size, offset)));
            const std::size_t count = wanted ? source->read(offset, bytes, wanted) : 0;
            compareFirst(offset, {bytes, count});
            if (offset != passage.to) passage = {offset, offset, {}};
            passage.add({bytes, count});
            if (count == 0 || passage.to == size) compare();
            progress.show(name(), offset + count, size);
            return count;
        };
    }

    /// Throws Unreadable if the file has changed.
    void confirm() {
        Progress::wipe();
        const std::string note = source->confirm(passage);
        if (!note.empty()) complain(name() + ": " + note);
    }

private:
    static constexpr std::size_t firstBytes = 64 * 1024;

    // At the beginning of a reading, perhaps after a byte order mark.
    void compareFirst(std::uint64_t offset, std::string_view bytes) {
        constexpr std::size_t mark = 4;
        const std::uint64_t end = size ? std::min<std::uint64_t>(size, firstBytes) : firstBytes;
        if (offset >= mark || offset + bytes.size() < end || end <= mark) return;
        Checksum sum;
        sum.add(bytes.substr(static_cast<std::size_t>(mark - offset), static_cast<std::size_t>(end - mark)));
        if (!first) first = sum.value();
        if (*first != sum.value()) source->hasChanged();
    }

    // At the end of a reading.
    void compare() {
        const auto known = sums.try_emplace(passage.from, passage.sum.value()).first;
        if (known->second != passage.sum.value()) source->hasChanged();
    }

    std::unique_ptr<Input> input;
    std::shared_ptr<const SourceFile> source;
    std::uint64_t size;
    Passage passage;
    std::optional<std::uint64_t> first;             // a checksum of the first bytes
    std::map<std::uint64_t, std::uint64_t> sums{};  // of whole readings, by where they begin
    Progress progress;
};

// The exported round.
struct Reference {
    explicit Reference(const std::string& path) : input(path), lines(input.reader()) {
        input.confirm();
        if (lines.lines() == 0) throw Unreadable{"has no lines of an exported round to compare with", path};
    }
    RepeatedInput input;
    RepairReference lines;
};

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    RepeatedInput input(options.file);
    std::optional<Reference> reference;
    if (!options.reference.empty()) reference.emplace(options.reference);
    std::optional<OutFile> out;
    std::optional<RepairLog> log;
    if (!options.out.empty()) out.emplace(options.out, OutFile::Mode{.held = true, .force = options.force});
    if (!options.log.empty()) log.emplace(options.log, options.force);

    Repair repair(input.reader(), {.reference = reference ? &reference->lines : nullptr, .accepted = options.accepted});
    const std::string word = options.file == "-" ? "-" : shellWord(printable(std::string_view(options.file)));
    if (!repair.unknownProposals().empty()) {
        const AcceptedProposal& one = repair.unknownProposals().front();
        throw WrongUsage{fmt::format(
            "--accept {}:{}: there is no such proposal; to see them, run: tramo repair {}", one.line, one.number, word)};
    }
    const int code = repair.isWell() && repair.linesWithProposals().count == 0 ? nothingFound : somethingFound;
    if (!out) {
        Output report;
        printRepair(report, repair, input.name(), word);
        input.confirm();
        report.flush();
        return code;
    }
    if (!repair.hasLines()) {
        for (const Finding& finding : repair.left()) complain(input.name() + ": " + sentenceOf(finding));
        complain(input.name() + ": nothing was written");
        return somethingFound;
    }
    if (repair.mayHoldKeys()) out->keepSecret();
    out->expect(input.bytes());
    constexpr std::size_t enough = 1 << 18;
    SecretBytes waiting;
    RepairOutput output;
    output.write = [&](std::string_view bytes) {
        waiting += bytes;
        if (waiting.size() < enough) return;
        out->write(waiting);
        waiting.clear();
    };
    if (log) output.step = [&](const RepairStep& step) { log->add(step); };
    repair.run(output);
    out->write(waiting);
    input.confirm();
    out->commit();
    if (log) log->commit();
    complainOfRepair(
        repair, input.name(), word, options.out == "-" ? "NEW" : shellWord(printable(std::string_view(options.out))));
    return code;
}

}  // namespace

const Command repairCommand{"repair", "mend a damaged file, as far as it can be proven", help, run};

}  // namespace tramo::cli
