// The functions that the page calls; web/wasm/module.js hands texts and bytes to and fro. A module reads one file; the page makes
// a new one for another file.
#include "common/host_wasi.h"
#include "page/pagedata.h"
#include "page/rawlines.h"
#include "web/wasm/calls.h"
#include <cstdlib>
#include <optional>
#include <tramostream/reader.h>

namespace tramo::web {

namespace {

struct Opened {
    std::optional<RoundFile> lines;
    CheckedFile checked;
};

// Of the module.
Opened& opened() {
    static Opened only;
    return only;
}

void put(std::string_view name, std::string_view bytes) {
    host::writeOutput(name.data(), name.size(), bytes.data(), bytes.size());
}

// Shows how much of both readings is done.
void show(const Reader& reader, std::uint64_t size, int reading) {
    host::progress(static_cast<double>(reader.bytesRead() + (reading == 1 ? 0 : size)), 2 * static_cast<double>(size));
}

}  // namespace

TRAMO_CALLED(allocate) void* allocate(std::size_t size) { return std::malloc(size); }
TRAMO_CALLED(release) void release(void* memory) { std::free(memory); }

// Reads and checks the file, and puts the parts of the page's data. Returns 0 if the file has no lines: the part "summary" says
// why.
TRAMO_CALLED(check) int check(const char* name, std::size_t nameSize) {
    const std::string file(name, nameSize);
    constexpr std::size_t linesAtOnce = 8192;
    Opened& own = opened();
    own.lines.reset();
    Reader forCheck(file, {.diagnose = true}), forRounds(file);
    const std::int32_t number = host::openFile(file.data(), file.size());
    const auto size = static_cast<std::uint64_t>(host::sizeOfFile(number));
    FileChecker checker(forCheck);
    while (checker.check(linesAtOnce)) show(forCheck, size, 1);
    own.checked = checker.result();
    const bool hasLines = forCheck.head()->hasLines();
    if (!hasLines) forRounds = Reader::ofBytes({});
    own.lines.emplace(RoundFile::read(forRounds, [&] { show(forRounds, size, 2); }));
    const page::PageFile shown{file, size, forCheck.encoding() == Encoding::Utf16, &*own.lines, &own.checked};
    // Lines are asked for one by one.
    page::writePageData({&shown, 1}, {.tool = "tramo " TRAMO_VERSION, .mostText = 0},
        {.part = [](std::string_view part, const std::string& json) { put(part, json); }, .block = [](const std::string&) {}});
    return hasLines;
}

// Puts the text of a line, as "line".
TRAMO_CALLED(line) void line(std::size_t number) {
    const std::optional<RoundFile>& lines = opened().lines;
    if (!lines || number < 1 || number > lines->lines().size()) return;
    put("line", page::textOf(lines->lines()[number - 1], {}));
}

}  // namespace tramo::web
