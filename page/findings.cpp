#include "page/findings.h"
#include "common/utf8.h"
#include "page/column.h"
#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace tramo::page {

namespace {

// The sentence without the field, which has a column of its own, and with the reason.
std::string explanationOf(const Finding& finding) {
    std::string_view sentence = finding.sentence;
    if (!finding.field.empty() && sentence.starts_with(finding.field) && sentence.substr(finding.field.size()).starts_with(": "))
        sentence.remove_prefix(finding.field.size() + 2);
    return std::string(sentence) + (finding.reason.empty() ? "" : ": " + finding.reason);
}

}  // namespace

std::string_view nameOf(Severity severity) {
    switch (severity) {
    case Severity::Error: return "error";
    case Severity::Warning: return "warning";
    case Severity::Hint: break;
    }
    return "hint";
}

void writeDiagnosis(JsonText& json, const Finding& finding) {
    json.beginObject();
    json.member("severity", nameOf(finding.severity));
    json.member("rule", finding.rule->name);
    json.member("message", sentenceOf(finding));
    json.member("why", explanationOf(finding));
    json.memberIfAny("help", finding.hint);
    if (finding.line > 0) json.member("line", finding.line);
    if (finding.lines.count > 0) {
        json.member("count", finding.lines.count);
        json.beginArray("examples");
        for (std::size_t i = 0; i < finding.lines.first.size() && i < finding.lines.count; ++i)
            json.value(finding.lines.first[i]);
        json.endArray();
    }
    json.endObject();
}

void writeRules(JsonText& json, std::span<const PageFile> files) {
    std::vector<std::pair<const Rule*, std::size_t>> rules;
    for (const PageFile& file : files)
        for (const auto* list : {&file.checked->diagnosis, &file.checked->findings})
            for (const Finding& finding : *list) {
                auto known = std::ranges::find(rules, finding.rule, &std::pair<const Rule*, std::size_t>::first);
                if (known == rules.end()) known = rules.insert(known, {finding.rule, 0});
                ++known->second;
            }
    json.beginArray("rules");
    for (const auto& [rule, count] : rules) {
        json.beginObject();
        json.member("name", rule->name);
        if (rule->code) json.member("code", rule->code);
        json.member("description", rule->description);
        json.member("severity", nameOf(rule->severity));
        json.member("about", isAboutFile(*rule) ? "file" : isAboutRounds(*rule) ? "round" : "line");
        json.memberIfAny("remedy", rule->remedy);
        json.member("count", count);
        json.endObject();
    }
    json.endArray();
}

std::vector<ListedFinding> listedFindings(std::span<const PageFile> files, const PageOptions& options) {
    std::map<std::pair<const Rule*, std::string_view>, std::size_t> alike;
    std::vector<ListedFinding> listed;
    for (std::size_t file = 0; file < files.size(); ++file)
        for (const Finding& finding : files[file].checked->findings) {
            if (listed.size() == options.mostFindings) return listed;
            if (++alike[{finding.rule, finding.field}] <= options.mostAlike) listed.push_back({file, &finding});
        }
    return listed;
}

void writeFindings(JsonText& json, std::span<const ListedFinding> listed, bool hasFiles) {
    IntegerColumn lines, ofFiles, codes, columns, ends, reported;
    TextColumn severities, rules, kinds, fields, found, messages, why, help;
    const auto above0 = [](IntegerColumn& column, int number) { number > 0 ? column.add(number) : column.addNone(); };
    for (const auto& [file, of] : listed) {
        const Finding& finding = *of;
        lines.add(finding.line);
        ofFiles.add(static_cast<long long>(file));
        severities.add(nameOf(finding.severity));
        rules.add(finding.rule->name);
        above0(codes, finding.rule->code);
        above0(columns, finding.column);
        above0(ends, finding.column > 0 ? finding.endColumn : 0);
        above0(reported, finding.reportedColumn);
        kinds.addIfAny(finding.kind);
        fields.addIfAny(finding.field);
        found.addIfAny(!finding.field.empty() && finding.column > 0 ? utf8::encode(finding.found) : std::string());
        messages.add(sentenceOf(finding));
        why.add(explanationOf(finding));
        help.addIfAny(finding.hint);
    }
    json.member("n", listed.size());
    writeColumn(json, "line", lines);
    if (hasFiles) writeColumn(json, "file", ofFiles);
    writeColumn(json, "severity", severities);
    writeColumn(json, "rule", rules);
    writeColumn(json, "code", codes);
    writeColumn(json, "column", columns);
    writeColumn(json, "end", ends);
    writeColumn(json, "reported", reported);
    writeColumn(json, "kind", kinds);
    writeColumn(json, "field", fields);
    writeColumn(json, "found", found);
    writeColumn(json, "message", messages);
    writeColumn(json, "why", why);
    writeColumn(json, "help", help);
}

}  // namespace tramo::page
