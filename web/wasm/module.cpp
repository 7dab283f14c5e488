// The functions that the page calls; web/wasm/module.js hands texts and bytes to and fro. A module reads the files of one call;
// the page makes a new one for others.
#include "common/host_wasi.h"
#include "page/cameback.h"
#include "page/pagedata.h"
#include "page/rawlines.h"
#include "web/wasm/calls.h"
#include <cstdlib>
#include <deque>
#include <optional>
#include <tramostream/reader.h>
#include <tramostream/reconcile.h>
#include <utility>
#include <vector>

namespace tramo::web {

namespace {

// How much of two readings of each file is done.
class Readings {
public:
    explicit Readings(const std::vector<std::string>& names) {
        for (const std::string& name : names) all += sizeOf(name);
    }
    void show(const Reader& reader) const {
        host::progress(static_cast<double>(done + reader.bytesRead()), 2.0 * static_cast<double>(all));
    }
    void end(std::uint64_t size) { done += size; }

    static std::uint64_t sizeOf(const std::string& name) {
        return static_cast<std::uint64_t>(host::sizeOfFile(host::openFile(name.data(), name.size())));
    }

private:
    std::uint64_t done = 0, all = 0;
};

// A file that is read and checked.
struct OpenedFile {
    OpenedFile(const std::string& file, Readings& readings) : name(file), size(Readings::sizeOf(file)) {
        constexpr std::size_t linesAtOnce = 8192;
        {
            Reader reader(file, {.diagnose = true});
            FileChecker checker(reader);
            while (checker.check(linesAtOnce)) readings.show(reader);
            checked = checker.result();
            hasLines = reader.head()->hasLines();
            isUtf16 = reader.encoding() == Encoding::Utf16;
        }
        readings.end(size);
        if (hasLines) {
            Reader reader(file);
            lines.emplace(RoundFile::read(reader, [&] { readings.show(reader); }));
        }
        readings.end(size);
    }
    page::PageFile forPage() const { return {name, size, isUtf16, &*lines, &checked}; }

    std::string name;
    std::uint64_t size;
    bool hasLines = false, isUtf16 = false;
    std::optional<RoundFile> lines{};  // of a file that has lines
    CheckedFile checked{};
};

// Of the module: what the page shows, in its order.
std::deque<OpenedFile>& opened() {
    static std::deque<OpenedFile> only;
    return only;
}

void put(std::string_view name, std::string_view bytes) {
    host::writeOutput(name.data(), name.size(), bytes.data(), bytes.size());
}

// Which of the given files are shown, in their order, and why the others are not.
struct Shown {
    std::vector<std::size_t> numbers{};
    std::vector<std::pair<std::size_t, CheckedFile>> refused{};

    void put() const {
        web::put("files", page::jsonOf([&](page::JsonText& json) {
            json.beginObject();
            json.beginArray("shown");
            for (const std::size_t number : numbers) json.value(number);
            json.endArray();
            json.beginArray("refused");
            for (const auto& [number, checked] : refused) {
                json.beginObject();
                json.member("file", number);
                json.beginArray("diagnosis");
                for (const Finding& finding : checked.diagnosis) page::writeDiagnosis(json, finding);
                json.endArray();
                json.endObject();
            }
            json.endArray();
            json.endObject();
        }));
    }
};

}  // namespace

TRAMO_CALLED(allocate) void* allocate(std::size_t size) { return std::malloc(size); }
TRAMO_CALLED(release) void release(void* memory) { std::free(memory); }

// Reads and checks files, and puts the parts of the page's data about those that have lines. The part "files" says which these
// are, and why the others have none. Of two files, the one that came back of the other is the second. Returns how many have
// lines.
TRAMO_CALLED(check) int check(const char* names, std::size_t namesSize) {
    const std::vector<std::string> all = filesOf({names, namesSize});
    Readings readings(all);
    std::deque<OpenedFile>& own = opened();
    own.clear();
    Shown shown;
    for (std::size_t i = 0; i < all.size(); ++i) {
        own.emplace_back(all[i], readings);
        if (own.back().hasLines) {
            shown.numbers.push_back(i);
            continue;
        }
        shown.refused.emplace_back(i, std::move(own.back().checked));
        own.pop_back();
    }
    std::optional<Reconciliation> reconciled;
    if (own.size() == 2) {
        const bool isTurned = page::cameBack(*own[1].lines, *own[0].lines);
        if (isTurned) {
            std::swap(own[0], own[1]);
            std::swap(shown.numbers[0], shown.numbers[1]);
        }
        if (isTurned || page::cameBack(*own[0].lines, *own[1].lines)) reconciled.emplace(*own[0].lines, *own[1].lines);
    }
    shown.put();
    if (own.empty()) return 0;
    std::vector<page::PageFile> files;
    for (const OpenedFile& file : own) files.push_back(file.forPage());
    // Lines are asked for one by one.
    page::writePageData(files, {.tool = "tramo " TRAMO_VERSION, .mostText = 0, .reconciled = reconciled ? &*reconciled : nullptr},
        {.part = [](std::string_view part, const std::string& json) { put(part, json); }, .block = [](const std::string&) {}});
    return static_cast<int>(own.size());
}

// Puts the text of a line, as "line". `file` is the number of a file in the page's data.
TRAMO_CALLED(line) void line(std::size_t number, std::size_t file) {
    if (file >= opened().size()) return;
    const std::span<const LineView> lines = opened()[file].lines->lines();
    if (number < 1 || number > lines.size()) return;
    put("line", page::textOf(lines[number - 1], {}));
}

}  // namespace tramo::web
