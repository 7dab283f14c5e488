#include "page/pagedata.h"
#include "page/findings.h"
#include "page/keylines.h"
#include "page/meters.h"
#include "page/rawlines.h"
#include "page/reconciled.h"
#include "page/summary.h"
#include <tramostream/parametertramomodel.h>
#include <tramostream/tagtramomodel.h>
#include <vector>

namespace tramo::page {

namespace {

constexpr ColumnOf tagColumns[] = {{"code", "code"}, {"label", "label"}};
constexpr ColumnOf parameterColumns[] = {{"key", "key"}, {"value", "value"}};

// Lines that belong to no round.
void writeOthers(std::string_view name, const RecordKind& kind, std::span<const ColumnOf> columns,
    std::span<const PageFile> files, const PageOptions& options, const PageSink& sink) {
    MeterLines lines(kind, columns, options.hasPersonal);
    for (std::size_t file = 0; file < files.size(); ++file)
        for (const LineView& line : files[file].lines->lines())
            if (line.kind() == &kind) lines.add(line, file, -1);
    if (lines.count() == 0) return;
    sink.part(name, jsonOf([&](JsonText& json) {
        json.beginObject();
        lines.write(json, files.size() > 1);
        json.endObject();
    }));
}

}  // namespace

void writePageData(std::span<const PageFile> files, const PageOptions& options, const PageSink& sink) {
    MeterParts meters(files, options);
    for (std::size_t file = options.reconciled ? 1 : 0; file < files.size(); ++file) {
        meters.add(file);
        meters.addFindings(file);
    }

    const std::vector<ListedFinding> listed = listedFindings(files, options);
    sink.part("summary", jsonOf([&](JsonText& json) {
        json.beginObject();
        json.member("format", "tramo-page");
        json.member("version", 1);
        json.member("tool", options.tool);
        json.memberIfAny("title", options.title);
        json.memberIfAny("language", options.language);
        json.member("hasPersonal", options.hasPersonal);
        json.member("showsKeys", options.showsKeys);
        writeSource(json, files, meters, listed.size());
        json.beginObject("counts");
        meters.writeCounts(json);
        json.endObject();
        writeKinds(json, files);
        writeRounds(json, files, options);
        writeRules(json, files);
        writeAlarmNames(json);
        writeLines(json, files, listed, options, sink);
        json.endObject();
    }));
    meters.write(sink);
    if (!listed.empty())
        sink.part("findings", jsonOf([&](JsonText& json) {
            json.beginObject();
            writeFindings(json, listed, files.size() > 1);
            json.endObject();
        }));
    if (options.reconciled) sink.part("reconcile", reconciledJson(*options.reconciled));
    writeOthers("tags", kindOf<TagTramoModel>(), tagColumns, files, options, sink);
    writeOthers("parameters", kindOf<ParameterTramoModel>(), parameterColumns, files, options, sink);
    writeKeyLines(files, options, sink);
}

}  // namespace tramo::page
