#include "cli/io/outfile.h"
#include "cli/io/console.h"
#include "cli/io/notedinput.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/io/usage.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <fmt/format.h>
#include <mutex>
#include <utility>
#include <vector>

namespace tramo::cli {

namespace {

struct InputFile {
    std::uint64_t number;
    std::string name;
    FileFacts facts;
};

// The inputs, on all threads, and the outputs of this run.
struct Run {
    std::mutex mutex;
    std::uint64_t lastNumber = 0;
    std::vector<InputFile> inputs;
    std::vector<const NotedOutput*> outputs;
};

Run& thisRun() {
    static Run run;
    return run;
}

constexpr const char* standardOutput = "the standard output";

std::string quotedName(const std::string& name) {
    return name == standardOutput ? name : '"' + printable(std::string_view(name)) + '"';
}

[[noreturn]] void refuseSame(const std::string& input, const std::string& output) {
    if (input == output) throw WrongUsage{quotedName(input) + " is both the input and the output; write to another file"};
    throw WrongUsage{fmt::format("the input {} and {}{} are the same file; write to another file",
        input == "-" ? "<stdin>" : quotedName(input), output == standardOutput ? "" : "the output ", quotedName(output))};
}

std::string temporaryName() { return "a temporary file in " + temporaryFolder(); }

// Returns whether this is a regular file and the standard output.
bool isStandardOutput(const FileFacts& facts) {
    const std::optional<FileFacts> out = facts.isRegular ? factsOf(stdout) : std::nullopt;
    return out && out->id == facts.id;
}

std::optional<FileFacts> factsOfInput(const std::string& path) {
    std::optional<FileFacts> facts = path == "-" ? factsOf(stdin) : factsOf(path);
    if (facts && !facts->isRegular) facts.reset();
    return facts;
}

// Returns the permissions of a new file or folder.
unsigned permissionsOf(const Unfinished& made, const OutMode& mode) {
    unsigned permissions = permissionsOfNew(made.isOfFiles());
    if (mode.secret) permissions &= 0700;
    const unsigned group = made.group();
    Run& run = thisRun();
    const std::lock_guard lock(run.mutex);
    for (const InputFile& input : run.inputs) permissions = permissionsBelow(permissions, input.facts, group);
    return permissions;
}

// The last step before a new file or folder replaces its target.
void settle(const NotedOutput& output, const Unfinished& made, const OutMode& mode) {
    const std::string lost = output.place.keepPermissions(made, permissionsOf(made, mode));
    if (!lost.empty())
        complain(fmt::format("{}: attributes of the old file are not kept: {}", printable(std::string_view(output.name)), lost));
}

// The owner of a replaced file has chosen its permissions, but perhaps not for a file with keys.
void reportReadableKeys(const NotedOutput& output) {
    constexpr unsigned everyUser = 04;
    if (!output.place.facts() || (output.place.facts()->mode & everyUser) == 0) return;
    // If the name is not printable, the user must fill it in.
    const std::string name = printable(std::string_view(output.name));
    complain(fmt::format(
        "{}: may hold keys, and every user can read it, because the old file's permissions are kept; run: chmod 600 {}", name,
        name == output.name ? shellWord(name) : "FILE"));
}

std::string withoutSlash(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return path;
}

bool isStreamOrFile(const Place& place) { return place.kind() == Place::Kind::Stream || place.kind() == Place::Kind::File; }

std::string nameInMessages(const std::string& path, const std::string& name) {
    if (path == "-") return standardOutput;
    return name.empty() ? path : name;
}

}  // namespace

NotedInput::NotedInput(const std::string& path) {
    const std::optional<FileFacts> facts = factsOfInput(path);
    if (!facts) return;
    if (isStandardOutput(*facts)) refuseSame(path, standardOutput);
    Run& run = thisRun();
    const std::lock_guard lock(run.mutex);
    for (const NotedOutput* output : run.outputs)
        if (output->place.facts() && output->place.facts()->id == facts->id) refuseSame(path, output->name);
    run.inputs.push_back({run.lastNumber + 1, path, *facts});
    number = ++run.lastNumber;
}

NotedInput::~NotedInput() {
    if (number == 0) return;
    const std::lock_guard lock(thisRun().mutex);
    std::erase_if(thisRun().inputs, [&](const InputFile& input) { return input.number == number; });
}

void refuseStandardOutput(const std::string& inputPath) {
    if (const std::optional<FileFacts> facts = factsOfInput(inputPath); facts && isStandardOutput(*facts))
        refuseSame(inputPath, standardOutput);
}

NotedOutput::NotedOutput(const std::string& path, std::string calledName, const OutMode& mode)
    : name(std::move(calledName)), place(path, name) {
    const bool mayBeInput = mode.replacesInput && place.kind() == Place::Kind::File;
    Run& run = thisRun();
    const std::lock_guard lock(run.mutex);
    if (place.facts() && !mayBeInput)
        for (const InputFile& input : run.inputs)
            if (input.facts.id == place.facts()->id) refuseSame(input.name, name);
    for (const NotedOutput* other : run.outputs)
        if (place.isSameAs(other->place))
            throw WrongUsage{
                fmt::format("two outputs go to the same file: {} and {}", quotedName(other->name), quotedName(name))};
    run.outputs.push_back(this);
}

NotedOutput::~NotedOutput() {
    const std::lock_guard lock(thisRun().mutex);
    std::erase(thisRun().outputs, this);
}

bool OutFile::begun = false;

OutFile::OutFile(const std::string& path, Mode chosen, const std::string& name)
    : mode(chosen), noted(path, nameInMessages(path, name), chosen) {
    begun = true;
    if (noted.place.kind() == Place::Kind::Folder) fail(EISDIR);
    if (isStream()) {
        if (path != "-") file.reset(noted.place.openStream());
        else file = {stdout, [](std::FILE*) { return 0; }};
        std::setvbuf(file.get(), nullptr, _IONBF, 0);
        if (mode.held) held.reset(temporaryFile());
        return;
    }
    noted.place.checkReplaceable(mode.force);
    file.reset(unfinished.createFile(noted.place.folder(), noted.place.base()));
    if (!file) fail(errno);
    noted.place.keepOwner(unfinished);
}

bool OutFile::isStream(const std::string& path) {
    return path == "-" || (factsOf(path) && Place(path, path).kind() == Place::Kind::Stream);
}

void OutFile::expect(std::uint64_t size) {
    constexpr std::uint64_t large = 1 << 20;  // less is not worth the call
    if (isStream() || size < large) return;
    reserveSpace(file.get(), size);
    reserved = size;
}

void OutFile::write(std::string_view bytes) {
    written += bytes.size();
    if (!held && isStream()) Progress::wipe();
    if (!writeTo(held ? held.get() : file.get(), bytes)) fail(errno);
}

void OutFile::release() {
    std::rewind(held.get());
    std::array<char, 65536> block;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> source = std::move(held);
    std::size_t count = block.size();
    while (count == block.size()) {
        count = readFrom(source.get(), block.data(), block.size());
        if (std::ferror(source.get())) throw WriteFailed{temporaryName(), errno};
        write({block.data(), count});
    }
}

void OutFile::commit() {
    if (held) release();
    if (file.get() == stdout) return;  // main closes it
    if (!isStream()) {
        settle(noted, unfinished, mode);
        if (written < reserved) freeSpaceAfter(file.get(), written);
        if (!reachesDisk(file.get())) fail(errno);
    }
    if (!closeFile(file.release())) fail(errno);
    if (isStream()) return;
    if (!unfinished.become(noted.place.base())) fail(errno);
    if (mode.keys) reportReadableKeys(noted);
}

void OutFile::fail(int error) const { throw WriteFailed{held ? temporaryName() : noted.name, error}; }

// An existing folder keeps its other files; the unfinished folder is inside it until it is complete.
OutFolder::OutFolder(const std::string& path, OutMode chosen) : mode(chosen), noted(withoutSlash(path), path, chosen) {
    if (isStreamOrFile(noted.place)) throw WriteFailed{noted.name, ENOTDIR};
    const std::string name = noted.place.kind() == Place::Kind::Folder ? "tables" : noted.place.base();
    if (!unfinished.createFolder(noted.place.folder(), name)) throw WriteFailed{noted.name, errno};
}

void OutFolder::commit() {
    const bool isNew = noted.place.kind() == Place::Kind::Nothing;
    if (isNew) settle(noted, unfinished, mode);
    if (!(isNew ? unfinished.become(noted.place.base()) : unfinished.dissolve())) throw WriteFailed{noted.name, errno};
}

}  // namespace tramo::cli
