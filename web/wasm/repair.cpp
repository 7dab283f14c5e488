// Repairs a file as the tool does.
#include "cli/commands/repair_report.h"
#include "common/host_wasi.h"
#include "common/secret.h"
#include "common/utf8.h"
#include "page/findings.h"
#include "web/wasm/calls.h"
#include <charconv>
#include <optional>
#include <string>
#include <tramostream/repair.h>
#include <tramostream/wording.h>
#include <vector>

namespace tramo::web {

namespace {

void put(std::string_view name, std::string_view bytes) {
    host::writeOutput(name.data(), name.size(), bytes.data(), bytes.size());
}

ReadBytes readerOf(std::string_view name) {
    const std::int32_t file = host::openFile(name.data(), name.size());
    return [file, size = host::sizeOfFile(file)](std::uint64_t offset, char* bytes, std::size_t wanted) {
        const std::int32_t count = host::readFile(file, static_cast<double>(offset), bytes, wanted);
        host::progress(static_cast<double>(offset), size);
        return static_cast<std::size_t>(std::max(count, 0));
    };
}

// "17:1 20:2".
std::vector<AcceptedProposal> proposalsOf(std::string_view list) {
    std::vector<AcceptedProposal> accepted;
    const char *at = list.data(), *const end = at + list.size();
    while (at < end) {
        AcceptedProposal one;
        at = std::from_chars(at, end, one.line).ptr + 1;
        at = std::from_chars(at, end, one.number).ptr + 1;
        accepted.push_back(one);
    }
    return accepted;
}

void writeDiagnosed(page::JsonText& json, std::string_view name, const std::vector<Finding>& findings) {
    json.beginArray(name);
    for (const Finding& finding : findings) page::writeDiagnosis(json, finding);
    json.endArray();
}

void writeLines(page::JsonText& json, const SomeLines& lines) {
    json.beginObject("lines");
    json.member("count", lines.count);
    json.beginArray("first");
    for (std::size_t i = 0; i < std::min<std::uint64_t>(lines.count, lines.first.size()); ++i) json.value(lines.first[i]);
    json.endArray();
    json.endObject();
}

void writeProposal(page::JsonText& json, const RepairProposal& proposal) {
    json.beginObject();
    json.member("line", proposal.line);
    json.member("number", proposal.number);
    json.member("characters", proposal.characters);
    if (proposal.field) json.member("field", proposal.field->name);
    json.member("column", static_cast<std::uint64_t>(proposal.column));
    json.member("end", static_cast<std::uint64_t>(proposal.endColumn));
    json.member("before", utf8::encode(proposal.before));
    json.member("after", utf8::encode(proposal.after));
    json.member("accepted", proposal.isAccepted);
    json.endObject();
}

}  // namespace

// The file, and perhaps the exported one, to compare with. Puts what can be mended as "repair", and if `writes`, the mended file
// as "out" and its changes as "log". Returns 0 if the file has no lines, and -1 if the exported one has none to compare with:
// nothing can be written then.
TRAMO_CALLED(repair)
int repair(const char* names, std::size_t namesSize, const char* accepted, std::size_t acceptedSize, int writes) {
    constexpr std::size_t mostProposals = 1000;
    const std::vector<std::string> files = filesOf({names, namesSize});
    std::optional<RepairReference> reference;
    if (files.size() > 1) {
        reference.emplace(readerOf(files[1]));
        if (reference->lines() == 0) return -1;
    }
    Repair repair(
        readerOf(files[0]), {.reference = reference ? &*reference : nullptr, .accepted = proposalsOf({accepted, acceptedSize})});
    page::JsonText* proposals = nullptr;
    std::size_t listed = 0;
    SecretBytes waiting;
    cli::RepairLog log("log", false);
    RepairOutput output;
    output.proposal = [&](const RepairProposal& proposal) {
        if (listed++ < mostProposals) writeProposal(*proposals, proposal);
    };
    if (writes) {
        constexpr std::size_t enough = 1 << 18;
        output.step = [&](const RepairStep& step) { log.add(step); };
        output.write = [&](std::string_view bytes) {
            waiting += bytes;
            if (waiting.size() < enough) return;
            put("out", waiting);
            waiting.clear();
        };
    }
    put("repair", page::jsonOf([&](page::JsonText& json) {
        json.beginObject();
        json.member("hasLines", repair.hasLines());
        json.member("isWell", repair.isWell());
        json.member("mayHoldKeys", repair.mayHoldKeys());
        json.member("lines", repair.lines());
        json.member("mendedLines", repair.mendedLines());
        json.member("withProposals", repair.linesWithProposals().count);
        json.member("errorsLeft", repair.findingsLeft().errors);
        json.member("warningsLeft", repair.findingsLeft().warnings);
        writeDiagnosed(json, "diagnosed", repair.diagnosed());
        writeDiagnosed(json, "left", repair.left());
        json.beginArray("mended");
        for (const MendedLines& mended : repair.mended()) {
            json.beginObject();
            json.member("rule", mended.rule->name);
            json.member("description", mended.rule->description);
            writeLines(json, mended.lines);
            json.endObject();
        }
        json.endArray();
        json.beginArray("proposals");
        proposals = &json;
        repair.run(output);
        json.endArray();
        json.endObject();
    }));
    if (writes) {
        put("out", waiting);
        log.commit();
    }
    return repair.hasLines();
}

}  // namespace tramo::web
