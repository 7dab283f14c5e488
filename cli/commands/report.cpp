// tramo report: rounds as one page for a browser, with all of their data inside.
#include "cli/commands/report_page.h"
#include "cli/io/outfile.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/lines/input.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include "common/secret.h"
#include "page/cameback.h"
#include "page/withoutpersonal.h"
#include <algorithm>
#include <deque>
#include <exception>
#include <filesystem>
#include <fmt/ranges.h>
#include <memory>
#include <optional>
#include <random>
#include <tramostream/filecheck.h>
#include <tramostream/reconcile.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Write a round as one page for a browser, with its data inside.

Examples:
  tramo report samples/round-returned.txt -o round.html
  tramo report samples/round-returned.txt -o round.html --open
  tramo report samples/round-exported.txt samples/round-returned.txt -o day.html
  tramo report samples/round-returned.txt --without personal -o ticket.html

Usage: tramo report [OPTION]... FILE... -o OUT

OUT is one file that can be sent and opened anywhere. It shows how far the round
is, where to look, each meter with its readings, radio data, alarms and answers,
and what "tramo check" finds, with the lines. It makes no request of any kind:
it works offline, and sends nothing anywhere.

Of two files, if the second one is what came back of the first, the report also
has what "tramo reconcile" says. Other files are shown together.

A report holds personal data. Only its owner can read a new OUT. With --without
personal, it has no areas, positions, messages and free answers, and serial
numbers, references, user codes and the codes and names of rounds are replaced
as by "tramo anonymize", with a random key that is not kept: each report has
other replacements. Names of files are left out.

All lines are in the report if they have 16 million characters or less;
otherwise, only those with findings. Of findings with the same rule and field,
the first 1 000 are listed, of all findings 20 000; all of them are counted.

Options:
  -o, --output OUT    writes to the file OUT; "-" is the standard output
  --open              opens OUT in a browser
  --title TEXT        the title of the page, instead of the names of the rounds
  --lang WHAT         the language of the page, instead of the browser's: en, fr
  --without WHAT      leaves out: personal
  --show-keys         writes the keys of key lines in clear text
  --encoding WHAT     of FILE: auto (by the byte order mark), ansi, utf16le
  --force             replaces OUT even if it is read-only or has hard links
  -j, --threads N     works on N threads; default 0: as many as there are
                      processors. The report is the same with any number
  -h, --help          show this page

"-" is the standard input. All files are in memory while the command runs, with
three to four times their size.

Exit codes:
  0  the report was written, and no errors or warnings were found
  1  the report was written, and it shows errors, warnings or differences; or it
     was not written, because a word that was replaced would still be in it
  2  the command line is invalid, or a file cannot be read
  3  the output could not be written
)";

struct Options {
    std::vector<std::string> files;
    std::string out, title, language;
    EncodingChoice encoding = std::nullopt;
    bool opens = false, hasPersonal = true, showsKeys = false, force = false;
    unsigned threads = 0;
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string encoding = "auto", without, threads = "0";
    Arguments given;
    given.option("-o,--output", options.out);
    given.flag("--open", options.opens);
    given.option("--title", options.title);
    given.option("--lang", options.language);
    given.option("--without", without);
    given.flag("--show-keys", options.showsKeys);
    given.option("--encoding", encoding);
    given.flag("--force", options.force);
    given.option("-j,--threads", threads);
    options.files = given.parseFiles(std::move(arguments));
    if (options.out.empty()) throw WrongUsage{"-o OUT is missing (\"-\" is the standard output)"};
    if (options.opens && OutFile::isStream(options.out)) throw WrongUsage{"--open: needs a file: -o FILE"};
    if (given.has("--lang")) options.language = chosen<std::string>("--lang", options.language, {{"en", "en"}, {"fr", "fr"}});
    if (given.has("--without")) options.hasPersonal = chosen<bool>("--without", without, {{"personal", false}});
    if (!options.hasPersonal && options.showsKeys) throw WrongUsage{"--show-keys: not with --without personal"};
    if (std::ranges::count(options.files, "-") > 1) throw WrongUsage{"the standard input cannot be several files"};
    options.encoding = encodingChoice("--encoding", encoding);
    options.threads = threadCount(threads);
    return options;
}

// A file of the report. It is opened before the output, and read after it.
class Source {
public:
    Source(const std::string& file, EncodingChoice choice) : path(file), encoding(choice), input(Input::diagnosed(file, choice)) {
        if (!input->refusal().empty()) throw Unreadable{input->refusal(), file};
        if (input->diagnosis()->hasLines()) return;
        for (const Finding& finding : input->diagnosis()->findings())
            if (finding.severity == Severity::Error) throw Unreadable{sentenceOf(finding), file};
    }

    void read() {
        const std::shared_ptr<const SourceFile> source = input->sourceFile();
        constexpr std::size_t step = 1 << 20;
        Passage passage;
        std::size_t size = 0;
        bytes.reserve(static_cast<std::size_t>(source->size()));
        do {
            bytes.resize(bytes.size() + step);
            const std::size_t before = bytes.size() - step;
            size = source->read(before, bytes.data() + before, step);
            bytes.resize(before + size);
            passage.add(std::string_view(bytes).substr(before));
            progress.show(input->name(), bytes.size(), source->size());
        } while (size > 0);
        if (const std::string note = source->confirm(passage); !note.empty()) complain(input->name() + ": " + note);
    }
    void replace(SecretBytes with) { bytes = std::move(with); }

    void check() {
        Reader forCheck = reader(), forRounds = reader();
        FileChecker checker(forCheck);
        while (checker.check(8192)) progress.show(input->name(), forCheck.bytesRead(), bytes.size());
        checked = checker.result();
        rounds.emplace(RoundFile::read(forRounds, [&] { progress.show(input->name(), forRounds.bytesRead(), bytes.size()); }));
        isUtf16 = forRounds.encoding() == tramo::Encoding::Utf16;
    }

    std::string_view content() const { return bytes; }
    std::optional<tramo::Encoding> readEncoding() const {
        if (!encoding) return std::nullopt;
        return *encoding == Encoding::Utf16le ? tramo::Encoding::Utf16 : tramo::Encoding::Ansi;
    }
    const RoundFile& lines() const { return *rounds; }
    std::uint64_t errorsAndWarnings() const { return checked.summary.total.all(); }

    page::PageFile forPage(const std::string& name) const { return {name, bytes.size(), isUtf16, &*rounds, &checked}; }
    std::string name() const { return path == "-" ? nameOf(path) : utf8::valid(std::filesystem::path(path).filename().string()); }

private:
    Reader reader() const { return Reader::ofBytes(bytes, {.encoding = readEncoding(), .diagnose = true}); }

    std::string path;
    EncodingChoice encoding;
    std::unique_ptr<Input> input;
    Progress progress;
    SecretBytes bytes;
    std::optional<RoundFile> rounds;
    CheckedFile checked;
    bool isUtf16 = false;
};

// A key that nobody has.
SecretBytes randomKey() {
    SecretBytes key;
    try {
        std::random_device random;
        while (key.size() < 32) {
            const std::uint32_t number = random();
            for (int byte = 0; byte < 4; ++byte) key += static_cast<char>(number >> 8 * byte & 0xFF);
        }
    } catch (const std::exception&) { throw Unreadable{"the system has no random numbers"}; }
    return key;
}

// The names of the rounds or, without any, of the files.
std::string titleOf(const std::deque<Source>& sources, bool hasPersonal) {
    std::vector<std::string> names;
    for (const Source& source : sources)
        for (const Round& round : source.lines().rounds()) {
            const std::string name = round.name().empty() ? round.code() : round.name();
            if (!name.empty() && std::ranges::find(names, name) == names.end()) names.push_back(name);
        }
    if (names.empty() && hasPersonal)
        for (const Source& source : sources) names.push_back(source.name());
    constexpr std::size_t most = 3;
    if (names.size() > most) {
        names.resize(most);
        names.emplace_back("...");
    }
    return names.empty() ? "tramo" : fmt::format("{}", fmt::join(names, ", "));
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    std::deque<Source> sources;
    for (const std::string& file : options.files) sources.emplace_back(file, options.encoding);
    OutFile out(options.out, {.secret = true, .keys = options.showsKeys, .held = true, .force = options.force});
    for (Source& source : sources) source.read();

    if (!options.hasPersonal) {
        std::vector<std::string_view> contents;
        contents.reserve(sources.size());
        for (const Source& source : sources) contents.push_back(source.content());
        page::WithoutPersonal made = page::withoutPersonal(contents, sources.front().readEncoding(), randomKey());
        if (!made.failure.empty()) {
            complain(made.failure);
            complain("nothing was written");
            return somethingFound;
        }
        for (std::size_t i = 0; i < sources.size(); ++i) sources[i].replace(std::move(made.files[i]));
    }
    std::uint64_t found = 0;
    std::vector<page::PageFile> files;
    for (Source& source : sources) {
        source.check();
        found += source.errorsAndWarnings();
        files.push_back(source.forPage(options.hasPersonal ? source.name() : fmt::format("file {}", files.size() + 1)));
    }
    std::optional<Reconciliation> reconciled;
    if (sources.size() == 2 && page::cameBack(sources[0].lines(), sources[1].lines())) {
        reconciled.emplace(sources[0].lines(), sources[1].lines());
        found += reconciled->count();
    }

    PageElements elements;
    page::writePageData(files,
        {.tool = "tramo " TRAMO_VERSION,
            .title = utf8::valid(options.title),
            .language = options.language,
            .hasPersonal = options.hasPersonal,
            .showsKeys = options.showsKeys,
            .reconciled = reconciled ? &*reconciled : nullptr},
        elements.sink());
    elements.compress(options.threads);
    writePage(out, options.title.empty() ? titleOf(sources, options.hasPersonal) : options.title, elements);
    out.commit();
    Progress::wipe();
    if (options.opens && !openInBrowser(options.out))
        complain(fmt::format("{}: was written, but no browser could be started", printable(nameOf(options.out))));
    return found > 0 ? somethingFound : nothingFound;
}

}  // namespace

const Command reportCommand{"report", "write a round as one page for a browser", help, run};

}  // namespace tramo::cli
