#include "page/summary.h"
#include "common/concat.h"
#include "common/utf8.h"
#include "page/findings.h"
#include <algorithm>
#include <tramostream/anyrecord.h>
#include <tramostream/linemodel.h>
#include <tramostream/wording.h>

namespace tramo::page {

namespace {

struct Numbers {
    std::uint64_t bytes = 0, lines = 0, orphans = 0;
    FindingCount findings{};

    Numbers& operator+=(const Numbers& other) {
        bytes += other.bytes;
        lines += other.lines;
        orphans += other.orphans;
        findings += other.findings;
        return *this;
    }
    void write(JsonText& json) const {
        json.member("bytes", bytes);
        json.member("lines", lines);
        json.member("errors", findings.errors);
        json.member("warnings", findings.warnings);
        json.member("hints", findings.hints);
        json.member("linesOfNoMeter", orphans);
    }
};

void writeMember(JsonText& json, std::string_view name, const LineView& line, const Field& field) {
    json.memberIfAny(name, line.text(field).value_or(std::string()));
}

// The areas of a round line, as the page shows them beside it.
void writeAreas(JsonText& json, std::string_view name, const Round& round, Area::Of of) {
    json.beginArray(name);
    for (const Area& area : round.areas()) {
        if (area.of != of) continue;
        json.beginArray();
        json.value(area.label);
        json.value(area.position);
        json.value(area.length);
        json.value(std::string_view(&area.type, 1));
        json.endArray();
    }
    json.endArray();
}

void writePage(JsonText& json, const LineView& page) {
    const RecordKind& kind = *page.kind();
    const auto text = [&](const std::string& name) { return page.text(*kind.field(name)).value_or(std::string()); };
    json.beginObject();
    json.member("line", page.number());
    json.member("page", text("pageNumber"));
    json.beginArray("labels");
    for (char letter = 'A'; letter <= 'P'; ++letter) json.value(text(concat("label", letter)));
    json.endArray();
    json.beginArray("areas");
    for (int area = 1; area <= 5; ++area) {
        json.beginArray();
        for (const char* of : {"Label", "Type", "Size", "List"}) json.value(text(concat("area", area, of)));
        json.endArray();
    }
    json.endArray();
    json.endObject();
}

void writeFields(JsonText& json, const RecordKind& kind) {
    json.beginArray("fields");
    for (const Field& field : kind.fields) {
        if (field.column == 0) continue;
        json.beginArray();
        json.value(field.name);
        json.value(field.column);
        json.value(field.column + field.width - 1);
        json.value(typeOf(field));
        json.endArray();
    }
    json.endArray();
}

}  // namespace

void writeSource(JsonText& json, std::span<const PageFile> files, const MeterParts& meters, std::size_t findingsListed) {
    Numbers all;
    std::vector<Numbers> each;
    std::size_t findings = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const CheckedFile& checked = *files[i].checked;
        each.push_back({files[i].bytes, checked.summary.lines, meters.orphans(i), checked.summary.total});
        all += each.back();
        findings += checked.findings.size();
    }
    json.beginObject("source");
    json.member("file", files.empty() ? std::string() : files.back().name);
    json.member("encoding", !files.empty() && files.back().isUtf16 ? "UTF-16LE" : "ANSI");
    all.write(json);
    json.member("notListed", findings - findingsListed);
    json.beginArray("files");
    for (std::size_t i = 0; i < files.size(); ++i) {
        json.beginObject();
        json.member("name", files[i].name);
        json.member("encoding", files[i].isUtf16 ? "UTF-16LE" : "ANSI");
        each[i].write(json);
        json.beginArray("diagnosis");
        for (const Finding& finding : files[i].checked->diagnosis) writeDiagnosis(json, finding);
        json.endArray();
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

void writeKinds(JsonText& json, std::span<const PageFile> files) {
    std::vector<LinesOfKind> all;
    for (const PageFile& file : files)
        for (const LinesOfKind& of : file.checked->summary.lineKinds()) {
            const auto known =
                std::ranges::find_if(all, [&](const LinesOfKind& one) { return one.letter == of.letter && one.name == of.name; });
            if (known == all.end()) all.push_back(of);
            else known->lines += of.lines;
        }
    json.beginArray("kinds");
    for (const LinesOfKind& of : all) {
        json.beginObject();
        const RecordKind* kind = of.letter ? recordKind(static_cast<wchar_t>(of.letter)) : nullptr;
        if (of.letter) json.member("letter", std::string_view(&of.letter, 1));
        for (const RecordKind* other : allKinds())
            if (!other->letter && of.name == concat(other->name, " line")) kind = other;
        json.member("name", of.name);
        json.member("lines", of.lines);
        if (kind) {
            json.member("length", kind->length);
            writeFields(json, *kind);
        }
        json.endObject();
    }
    json.endArray();
}

void writeRounds(JsonText& json, std::span<const PageFile> files, const PageOptions& options) {
    json.beginArray("rounds");
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (options.reconciled && i == 0) continue;  // what came back is shown
        for (const Round& round : files[i].lines->rounds()) {
            json.beginObject();
            if (files.size() > 1) json.member("file", i);
            json.member("code", round.code());
            json.member("name", round.name());
            json.member("meters", round.meters().size());
            if (const LineView* header = round.header()) {
                const RecordKind& kind = *header->kind();
                json.member("line", header->number());
                if (options.hasPersonal) writeMember(json, "message", *header, *kind.field("message"));
                writeMember(json, "limit", *header, *kind.field("consumtionLimit"));
                writeMember(json, "imported", *header, *kind.field("roundImportDate"));
                writeMember(json, "user", *header, *kind.field("reservedUserCode"));
            }
            if (options.hasPersonal) {
                writeAreas(json, "subscriberAreas", round, Area::Subscriber);
                writeAreas(json, "meterAreas", round, Area::Meter);
            }
            json.beginArray("enquiries");
            for (const LineView* page : round.pages()) writePage(json, *page);
            json.endArray();
            json.endObject();
        }
    }
    json.endArray();
}

// The alarms that a line can have now, in the order of their bits in the page.
void writeAlarmNames(JsonText& json) {
    json.beginObject("alarms");
    const auto write = [&](std::string_view name, const RecordKind& kind) {
        json.beginArray(name);
        for (const AlarmDefinition& alarm : alarmDefinitions(kind))
            if (!alarm.isPrevious) json.value(alarm.name);
        json.endArray();
    };
    write("amr", kindOf<AMRTramoModel>());
    write("ext", kindOf<ExtendedAMRTramoModel>());
    json.endObject();
}

}  // namespace tramo::page
