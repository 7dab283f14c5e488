// tramo anonymize: replaces personal data of files, for support tickets and tests.
#include "cli/commands/anonymize_files.h"
#include "cli/io/outfile.h"
#include "cli/io/platform.h"
#include "cli/shell/arguments.h"
#include "cli/shell/command.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <random>
#include <tramostream/anonymize.h>

namespace tramo::cli {

namespace {

constexpr const char* help = R"(Replace personal data, for support tickets and tests.

Examples:
  tramo anonymize --new-key office.key            makes a key, once
  tramo anonymize --key office.key samples/round-returned.txt -o ticket.txt
  tramo anonymize --key office.key exported.txt returned.txt keys.txt -o all

Usage: tramo anonymize --key KEY [OPTION]... FILE -o OUT
       tramo anonymize --key KEY [OPTION]... FILE... -o FOLDER
       tramo anonymize --new-key KEY

Names, addresses, telephone numbers, messages, serial numbers, references, user
codes, codes and names of rounds, free answers, radio data, the values of
parameters and the labels of tags are replaced. The replacement has the length
of the text, and in each place a letter or a digit of the same class. With the
same key, the same text always gets the same replacement: lines still belong to
their meters, in every file. Positions move by a distance that the key decides.

Readings, dates, codes and the labels of areas and enquiries stay, so that
"tramo check" finds the same errors in the same lines. A label that contains a
word of a name, an address or a number is replaced, too. The keys of key lines
cannot be computed from their replacements, not even with KEY. In a column that
cannot be read, letters become Q and digits 9, and so they do in a malformed
line, unless it is valid with trailing spaces.

Before OUT appears, the tool searches it for every word of four characters or
more that it has replaced. If it finds one, it refuses, and nothing is written.

What remains can still identify a meter for those who know its readings: see
the guide. With KEY, texts can be computed from their replacements. Keep it, to
get the same replacements next time, and never send it.

Options:
  --key KEY           the file of the key: 16 bytes or more, better random
                      ones; "-" is the standard input
  --new-key KEY       makes a random key that only its owner can read; never
                      replaces a file
  -o, --output OUT    writes to the file OUT; "-" is the standard output. Of
                      several FILEs, OUT is a folder, which gets files of the
                      same names
  --shift-dates       moves all dates by the same number of days, 35 to 364,
                      that the key decides; years by one
  --from WHAT         of FILE: auto (by the byte order mark), ansi, utf16le
  --force             replaces OUT even if it is read-only or has hard links
  -h, --help          show this page

"-" is the standard input. Input from pipes and devices, and output for the
standard output, is kept in TMPDIR, or /tmp, while the command runs: each file
is read four times. Memory does not grow with the files.

Exit codes:
  0  the files were written
  1  text at the end of a file cannot be read, or OUT would still contain a word
     that was replaced; nothing was written
  2  the command line is invalid, the key is too short, or a file cannot be read
  3  the output could not be written
)";

struct Options {
    std::vector<std::string> files;
    std::string key, newKey, out;
    AnonymizeFiles how{};
};

Options parse(std::vector<std::string> arguments) {
    Options options;
    std::string from = "auto";
    Arguments given;
    given.option("--key", options.key);
    given.option("--new-key", options.newKey);
    given.option("-o,--output", options.out);
    given.flag("--shift-dates", options.how.options.shiftDates);
    given.option("--from", from);
    given.flag("--force", options.how.force);
    options.files = given.parse(std::move(arguments));
    options.how.from = encodingChoice("--from", from);
    if (given.has("--new-key")) {
        if (!options.files.empty() || !options.key.empty() || !options.out.empty())
            throw WrongUsage{"--new-key makes a key and nothing else; use it with --key later"};
        if (options.newKey.empty()) throw WrongUsage{"--new-key: the name of the file is empty"};
        return options;
    }
    if (options.files.empty()) given.missFile();
    if (options.key.empty()) throw WrongUsage{"--key KEY is missing; \"tramo anonymize --new-key KEY\" makes one"};
    if (options.out.empty()) throw WrongUsage{"-o OUT is missing (\"-\" is the standard output)"};
    if (options.key == "-" && std::ranges::find(options.files, "-") != options.files.end())
        throw WrongUsage{"the standard input cannot be both the key and a FILE"};
    return options;
}

// Random bytes as text, so that a key can be printed and pasted.
void makeKey(const std::string& path) {
    OutFile file(path, {.secret = true});
    if (!file.isStream() && file.target().kind() == Place::Kind::File) throw WriteFailed{path, EEXIST};
    SecretBytes key;
    try {
        std::random_device random;
        for (int word = 0; word < 8; ++word) {
            const std::uint32_t number = random();
            for (int shift = 28; shift >= 0; shift -= 4) key += "0123456789abcdef"[number >> shift & 15];
        }
    } catch (const std::exception&) { throw Unreadable{"the system has no random numbers"}; }
    key += '\n';
    file.write(key);
    file.commit();
}

// Without the line ending that an editor adds.
SecretBytes readKey(const std::string& path) {
    constexpr std::size_t most = 65536;
    SecretBytes key(most + 1, '\0');
    try {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened{path == "-" ? nullptr : openFile(path, "rb"), std::fclose};
        std::FILE* const file = path == "-" ? stdin : opened.get();
        if (!file) throw Unreadable{reasonOf(errno)};
        key.resize(readFrom(file, key.data(), key.size()));
        if (std::ferror(file)) throw Unreadable{reasonOf(errno)};
        if (key.size() > most) throw Unreadable{fmt::format("is not a key: it has more than {} bytes", most)};
        while (key.ends_with('\n') || key.ends_with('\r')) key.pop_back();
        if (key.size() < Anonymizer::shortestKey)
            throw Unreadable{fmt::format("the key has {}; expected at least {}; \"tramo anonymize --new-key KEY\" makes one",
                counted(key.size(), "byte"), Anonymizer::shortestKey)};
    } catch (Unreadable& failure) {
        failure.file = path;
        throw;
    }
    return key;
}

int run(std::vector<std::string> arguments) {
    const Options options = parse(std::move(arguments));
    if (!options.newKey.empty()) {
        makeKey(options.newKey);
        return nothingFound;
    }
    if (const auto key = factsOf(options.key), out = factsOf(options.out); key && out && key->id == out->id)
        throw WrongUsage{"the key and the output are the same file; write to another file"};
    return anonymizeFiles(options.files, options.out, readKey(options.key), options.how);
}

}  // namespace

const Command anonymizeCommand{"anonymize", "replace personal data", help, run};

}  // namespace tramo::cli
