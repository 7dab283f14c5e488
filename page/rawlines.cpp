#include "page/rawlines.h"
#include "common/secret.h"
#include "common/secretkeyline.h"
#include "common/utf8.h"
#include "page/column.h"
#include "page/keylines.h"
#include <algorithm>
#include <tramostream/anonymize.h>
#include <tramostream/anyrecord.h>
#include <vector>

namespace tramo::page {

namespace {

// The text of a position, which a page without personal data does not show, not even moved.
void hidePosition(const LineView& line, std::string& text) {
    if (!line.is<ExtendedDataTramoModel>()) return;
    std::wstring wide = utf8::decode(text);
    for (const char* name : {"latitude", "longitude", "altitude"}) {
        const Field& field = *line.kind()->field(name);
        const auto first = static_cast<std::size_t>(field.column - 1), width = static_cast<std::size_t>(field.width);
        if (first >= wide.size()) continue;
        std::wstring part = wide.substr(first, width);
        Anonymizer::mask(part);
        wide.replace(first, part.size(), part);
    }
    text = utf8::encode(wide);
}

}  // namespace

std::string textOf(const LineView& line, const PageOptions& options) {
    if (!options.showsKeys && line.size() > 0 && (line.lineKind() == LineKind::Key || line.fault() != LineFault::None)) {
        const std::wstring wide = line.wide();
        if (line.lineKind() == LineKind::Key || mayHoldKeys(wide)) return maskedKeyLine(wide);
    }
    constexpr std::size_t most = 1 << 14;  // of a line that is none of the format's
    if (line.size() > most) return utf8::encode(line.wide().substr(0, most)) + "...";
    std::string text = line.utf8();
    if (!options.hasPersonal) hidePosition(line, text);
    return text;
}

namespace {

// Joins lines to blocks.
class Blocks {
public:
    explicit Blocks(const PageSink& to) : sink(to) {}

    void add(std::string_view line) {
        if (lines > 0) block += '\n';
        block += line;
        if (++lines == linesPerBlock) end();
    }
    void end() {
        if (lines == 0) return;
        sink.block(std::move(block));
        block.clear();
        lines = 0;
    }

private:
    const PageSink& sink;
    std::string block;
    std::size_t lines = 0;
};

std::vector<std::int64_t> linesWithFindings(std::size_t file, std::span<const ListedFinding> listed) {
    std::vector<std::int64_t> numbers;
    for (const ListedFinding& each : listed)
        if (each.file == file && each.finding->line > 0) numbers.push_back(each.finding->line);
    std::ranges::sort(numbers);
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

}  // namespace

void writeLines(JsonText& json, std::span<const PageFile> files, std::span<const ListedFinding> listed,
    const PageOptions& options, const PageSink& sink) {
    std::uint64_t size = 0;
    for (const PageFile& file : files)
        for (const LineView& line : file.lines->lines()) size += line.size();
    const bool hasAll = size <= options.mostText;
    Blocks blocks(sink);
    json.beginObject("raw");
    json.member("step", linesPerBlock);
    json.beginArray("files");
    for (std::size_t file = 0; file < files.size(); ++file) {
        const std::span<const LineView> lines = files[file].lines->lines();
        json.beginObject();
        if (hasAll) {
            json.member("lines", lines.size());
            for (const LineView& line : lines) blocks.add(textOf(line, options));
        } else {
            IntegerColumn numbers;
            for (const std::int64_t number : linesWithFindings(file, listed)) {
                if (number > static_cast<std::int64_t>(lines.size())) continue;
                numbers.add(number);
                blocks.add(textOf(lines[static_cast<std::size_t>(number - 1)], options));
            }
            json.member("lines", numbers.rows());
            writeColumn(json, "at", numbers);
        }
        blocks.end();
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

}  // namespace tramo::page
