#include "cli/commands/anonymize_files.h"
#include "cli/io/outfile.h"
#include "cli/io/text.h"
#include "cli/io/usage.h"
#include "cli/lines/encodedtext.h"
#include "cli/lines/filewalk.h"
#include "common/encoding.h"
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <set>

namespace tramo::cli {

namespace {

// One of the files, in the state that it had at the beginning.
class Source {
public:
    Source(const std::string& path, EncodingChoice encoding) : input(path, encoding) {}

    const std::string& name() const { return input.name(); }
    const Input& file() const { return input; }

    // One more pass over all lines. A file that has changed since another pass is refused.
    template <class Use> void forEachLine(Use use) {
        TextFile text(input.sourceFile(), input.isUtf16(), input.bytes() ? input.bytes() : TextFile::noEnd);
        Line line;
        for (Piece piece; text.next(piece, LineRange::open);) {
            PieceReader reader(piece);
            while (reader.next(line)) use(line, kindOfLine(line, input.prevailingKind()));
        }
        expectSame(text.passage());
    }

    // The pass whose lines are written. Returns false, after a message, if text at the end cannot be read.
    template <class Use> bool forEachLineOnce(Use use) {
        const bool isWhole = cli::forEachLine(input, use);
        expectSame(input.passage());
        return isWhole;
    }

private:
    void expectSame(const Passage& passage) {
        if (input.bytes() == 0) return;
        const std::uint64_t now = passage.sum.value();
        if (sum && *sum != now) input.sourceFile()->hasChanged();
        sum = now;
    }

    Input input;
    std::optional<std::uint64_t> sum{};
};

// A file as it will be published.
class Target {
public:
    Target(const std::string& path, const OutMode& mode, const std::string& name, const Input& source)
        : out(path, mode, name), isUtf16(source.isUtf16()) {
        if (isUtf16) bytes = encoding::utf16Mark;
        out.expect(source.bytes());
    }

    void add(std::wstring_view text) {
        constexpr std::size_t enough = 1 << 18;
        encoding::append(bytes, text, isUtf16);
        if (bytes.size() >= enough) flush();
    }
    void commit() {
        flush();
        out.commit();
    }

private:
    void flush() {
        out.write(bytes);
        bytes.clear();
    }

    OutFile out;
    bool isUtf16;
    std::string bytes{};
};

// Hands a line to use(text, kind): in pieces, as text of no kind, if it is not in memory as a whole.
template <class Use> void forEachText(const Line& line, std::optional<LineKind> kind, Use use) {
    if (line.whole) line.whole->forEachPiece([&](std::wstring_view piece) { use(piece, std::nullopt); });
    else use(line.text, kind);
}

class Anonymizing {
public:
    Anonymizing(const std::vector<std::string>& files, const SecretBytes& key, const AnonymizeFiles& chosen)
        : how(chosen), anonymizer(key, chosen.options), proof(chosen.options) {
        for (const std::string& file : files) sources.push_back(std::make_unique<Source>(file, how.from));
    }

    int run(const std::vector<std::string>& files, const std::string& out) {
        std::optional<OutFolder> folder;
        std::vector<std::unique_ptr<NotedOutput>> places;
        const OutMode mode{.held = true, .force = how.force};
        if (files.size() > 1) {
            checkNames(files, out, mode, places);
            folder.emplace(out, mode);
        }
        std::vector<std::unique_ptr<Target>> targets;
        for (std::size_t i = 0; i < sources.size(); ++i) {
            const std::string name = baseOf(files[i]);
            const Input& input = sources[i]->file();
            targets.push_back(folder ? std::make_unique<Target>(folder->pathOf(name), mode, folder->nameOf(name), input)
                                     : std::make_unique<Target>(out, mode, std::string(), input));
        }
        if (!make(targets)) {
            complain("nothing was written");
            return somethingFound;
        }
        for (const auto& target : targets) target->commit();
        if (folder) folder->commit();
        report();
        return nothingFound;
    }

private:
    static std::string baseOf(const std::string& file) { return std::filesystem::path(file).filename().string(); }

    // Before anything is read: two files of one name, and a folder that holds one of the inputs.
    static void checkNames(const std::vector<std::string>& files, const std::string& out, const OutMode& mode,
        std::vector<std::unique_ptr<NotedOutput>>& places) {
        if (OutFile::isStream(out)) throw WrongUsage{"-o: several files need a folder"};
        std::set<std::string> names;
        for (const std::string& file : files) {
            const std::string name = baseOf(file);
            if (file == "-")
                throw WrongUsage{"the standard input has no name for a file in the folder; write it to a file of its own"};
            if (!names.insert(name).second)
                throw WrongUsage{fmt::format("two files have the name \"{}\"", printable(std::string_view(name)))};
        }
        const std::optional<FileFacts> facts = factsOf(out);
        if (!facts || facts->isRegular) return;
        for (const std::string& name : names) {
            places.push_back(std::make_unique<NotedOutput>(out + '/' + name, out + '/' + name, mode));
            places.back()->place.checkReplaceable(mode.force);
        }
        places.clear();
    }

    bool make(const std::vector<std::unique_ptr<Target>>& targets) {
        pass([&](Source& source) {
            source.forEachLine([&](const Line& line, std::optional<LineKind> kind) {
                if (!line.whole) anonymizer.learnLabels(line.text, kind);
            });
        });
        pass([&](Source& source) {
            source.forEachLine([&](const Line& line, std::optional<LineKind> kind) {
                forEachText(
                    line, kind, [&](std::wstring_view text, std::optional<LineKind> of) { anonymizer.learnWords(text, of); });
            });
        });
        bool isWhole = true;
        std::size_t target = 0;
        pass([&](Source& source) { isWhole &= write(source, *targets[target++]); });
        if (isWhole)
            pass([&](Source& source) {
                source.forEachLine([&](const Line& line, std::optional<LineKind> kind) {
                    forEachText(line, kind,
                        [&](std::wstring_view text, std::optional<LineKind> of) { note(proof.search(text, of), source, line); });
                });
            });
        return isWhole && failures == 0;
    }

    template <class Use> void pass(Use use) {
        for (const std::unique_ptr<Source>& source : sources) {
            anonymizer.begin();
            proof.begin();
            use(*source);
        }
    }

    bool write(Source& source, Target& target) {
        std::wstring made;
        return source.forEachLineOnce([&](const Line& line, std::optional<LineKind> kind) {
            bool isFirst = true;
            forEachText(line, kind, [&](std::wstring_view text, std::optional<LineKind> of) {
                if (line.whole) {
                    made = text;
                    Anonymizer::mask(made);
                    if (isFirst && text.front() >= L'0' && text.front() <= L'9') made.front() = text.front();
                    longLines += isFirst;
                } else anonymizer.replace(text, of, made);
                isFirst = false;
                note(proof.compare(text, made, of), source, line);
                target.add(made);
            });
            target.add(lineEndOf(line));
        });
    }

    // Only the first failure is reported: nothing is written because of it.
    void note(bool isProven, const Source& source, const Line& line) {
        if (isProven || failures++ > 0) return;
        complain(fmt::format("{}:{}: {}", source.name(), line.number, proof.failure()));
    }

    void report() {
        if (const std::uint64_t malformed = anonymizer.malformedLines() + longLines)
            complain(fmt::format("{}: every letter of {} became Q, every digit 9; run \"tramo repair\" before, to keep more",
                counted(malformed, "malformed line"), malformed == 1 ? "it" : "them"));
        if (const std::uint64_t labels = anonymizer.labelsReplaced())
            complain(fmt::format("{} {} replaced, too, because names, addresses or numbers have {} words",
                counted(labels, "label"), labels == 1 ? "was" : "were", labels == 1 ? "its" : "their"));
    }

    const AnonymizeFiles& how;
    Anonymizer anonymizer;
    AnonymizeProof proof;
    std::vector<std::unique_ptr<Source>> sources;
    std::uint64_t failures = 0, longLines = 0;
};

}  // namespace

int anonymizeFiles(
    const std::vector<std::string>& files, const std::string& out, const SecretBytes& key, const AnonymizeFiles& how) {
    return Anonymizing(files, key, how).run(files, out);
}

}  // namespace tramo::cli
