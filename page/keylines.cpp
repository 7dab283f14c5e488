#include "page/keylines.h"
#include "common/secretkeyline.h"
#include "common/utf8.h"
#include "page/column.h"
#include <algorithm>
#include <array>

namespace tramo::page {

namespace {

// The value of a key line as it is shown; empty: absent.
std::string shownValue(const KeyValue& value, const AMRKeyLine& line, bool showsKeys) {
    if (value.isAbsent(line)) return {};
    if (value.secret && !showsKeys) return std::string(maskedKey);
    return value.text ? utf8::encode(line.*value.text) : std::to_string(line.wmBusAddress[value.part]);
}

}  // namespace

std::string maskedKeyLine(std::wstring_view text) {
    const SecretKeyLine parsed(text);
    if (parsed.error()) return std::string(maskedKey);
    return jsonOf([&](JsonText& json) {
        json.beginObject();
        for (const KeyValue& value : keyValues) {
            if (value.isAbsent(parsed.values())) continue;
            if (value.text) json.member(value.name, shownValue(value, parsed.values(), false));
            else json.member(value.name, parsed.values().wmBusAddress[value.part]);
        }
        json.endObject();
    });
}

void writeKeyLines(std::span<const PageFile> files, const PageOptions& options, const PageSink& sink) {
    IntegerColumn lines, ofFiles;
    std::array<TextColumn, std::size(keyValues)> columns;
    for (std::size_t file = 0; file < files.size(); ++file)
        for (const LineView& line : files[file].lines->lines()) {
            if (line.lineKind() != LineKind::Key) continue;
            const SecretKeyLine parsed(line.wide());
            if (parsed.error()) continue;
            lines.add(line.number());
            ofFiles.add(static_cast<long long>(file));
            for (std::size_t i = 0; i < columns.size(); ++i)
                columns[i].addIfAny(shownValue(keyValues[i], parsed.values(), options.showsKeys));
        }
    if (lines.rows() == 0) return;
    sink.part("keys", jsonOf([&](JsonText& json) {
        json.beginObject();
        json.member("n", lines.rows());
        writeColumn(json, "line", lines);
        if (files.size() > 1) writeColumn(json, "file", ofFiles);
        for (std::size_t i = 0; i < columns.size(); ++i) writeColumn(json, keyValues[i].name, columns[i]);
        json.endObject();
    }));
}

}  // namespace tramo::page
