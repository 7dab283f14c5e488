#include "cli/commands/repair_report.h"
#include "cli/io/text.h"
#include "cli/report/jsonwriter.h"
#include <algorithm>

namespace tramo::cli {

namespace {

// "line 4", "2 lines, the first is line 4".
std::string proposalLines(const Repair& repair) {
    const SomeLines& lines = repair.linesWithProposals();
    const std::string first = fmt::format("line {}", lines.first[0]);
    return lines.count == 1 ? first : fmt::format("{}, the first is {}", counted(lines.count, "line"), first);
}

// "57 errors, 34 warnings".
std::string errorCount(const FindingCount& count) {
    std::string words = counted(count.errors, "error");
    if (count.warnings) words += ", " + counted(count.warnings, "warning");
    return words;
}

// "169 of 172 lines", "the whole file".
std::string mendedCount(const Repair& repair) {
    return repair.mendedLines() ? fmt::format("{} of {}", repair.mendedLines(), counted(repair.lines(), "line")) : "the file";
}

std::string linesOf(const MendedLines& mended) {
    const SomeLines& lines = mended.lines;
    if (lines.count == 0) return "the whole file";
    std::string words = counted(lines.count, "line") + ": ";
    const auto shown = static_cast<std::size_t>(std::min<std::uint64_t>(lines.count, lines.first.size()));
    for (std::size_t i = 0; i < shown; ++i) words += (i ? ", " : "") + std::to_string(lines.first[i]);
    return words + (lines.count > shown ? ", ..." : "");
}

std::string sentenceOf(const RepairProposal& proposal) {
    if (!proposal.field)
        return proposal.characters > 0 ? fmt::format("{} at the end of the line",
                                             counted(static_cast<unsigned long long>(proposal.characters), "space"))
                                       : "trailing spaces were removed";
    const bool isLoss = proposal.characters < 0;
    const auto count = static_cast<unsigned long long>(isLoss ? -proposal.characters : proposal.characters);
    return fmt::format("{} {} {} in {}", counted(count, "character"), count == 1 ? "was" : "were", isLoss ? "lost" : "added",
        proposal.field->name);
}

// The line around the moved columns.
void printExcerpts(Output& out, const RepairProposal& proposal) {
    constexpr std::size_t before = 24, width = 64;
    if (proposal.column == 0) return;
    const std::size_t from = proposal.column - 1 > before ? proposal.column - 1 - before : 0;
    const auto excerpt = [&](std::wstring_view line) {
        const std::wstring_view rest = line.substr(std::min(from, line.size()));
        return fmt::format("{}{}{}", from > 0 ? "..." : "", shown(rest.substr(0, width)).utf8, rest.size() > width ? "..." : "");
    };
    out.print("    before | {}\n", excerpt(proposal.before));
    out.print("    after  | {}\n", excerpt(proposal.after));
    const std::size_t end = std::min(proposal.endColumn - 1, from + width);
    const int indent = shown(std::wstring_view(proposal.after).substr(from, proposal.column - 1 - from)).width;
    out.print("           | {:{}}^{:~<{}} columns {}-{} move\n", "", (from > 0 ? 3 : 0) + static_cast<std::size_t>(indent), "",
        end - proposal.column, proposal.column, proposal.endColumn - 1);
}

void print(Output& out, const RepairProposal& proposal, const std::string& name) {
    out.print("{}:{}: proposal {}:{}: {}{}\n", name, proposal.line, proposal.line, proposal.number, sentenceOf(proposal),
        proposal.isAccepted ? " (accepted)" : "");
    printExcerpts(out, proposal);
    out.settle();
}

}  // namespace

void printRepair(Output& out, Repair& repair, const std::string& name, const std::string& word) {
    for (const Finding& finding : repair.diagnosed()) out.print("{}: {}\n", name, tramo::sentenceOf(finding));
    if (!repair.hasLines()) {
        out.print("{}: nothing can be mended\n", name);
        return;
    }
    bool hasProposals = false;
    std::int64_t lastLine = 0;
    repair.run({.write = {}, .step = {}, .proposal = [&](const RepairProposal& proposal) {
                    if (proposal.line != lastLine && (hasProposals || !repair.diagnosed().empty())) out.print("\n");
                    hasProposals = true;
                    lastLine = proposal.line;
                    print(out, proposal, name);
                }});
    if (hasProposals || !repair.diagnosed().empty()) out.print("\n");
    const bool mendsAny = !repair.mended().empty();
    if (mendsAny) out.print("{}: {} would be mended\n", name, mendedCount(repair));
    else out.print("{}: nothing to mend in {}\n", name, counted(repair.lines(), "line"));
    for (const MendedLines& mended : repair.mended()) out.print("  {:<18} {}\n", mended.rule->name, linesOf(mended));
    const bool isLeft = !repair.left().empty() || repair.findingsLeft().all() > 0;
    if (isLeft) {
        out.print("{}: {}\n", name, mendsAny ? "what would be left" : "what is wrong");
        for (const Finding& finding : repair.left()) out.print("  {}\n", tramo::sentenceOf(finding));
        if (repair.findingsLeft().all()) out.print("  {} in single lines\n", errorCount(repair.findingsLeft()));
    }
    if (repair.isWell()) out.print("{}: no errors {}\n", name, mendsAny ? "would be left" : "are left");
    if (mendsAny) out.print("{}: help: tramo repair -o NEW {}\n", name, word);
    if (repair.linesWithProposals().count)
        out.print("{}: help: --accept {}:1 takes the first proposal for line {}; --reference EXPORTED proves more\n", name,
            repair.linesWithProposals().first[0], repair.linesWithProposals().first[0]);
}

void complainOfRepair(const Repair& repair, const std::string& name, const std::string& word, const std::string& newWord) {
    std::string rules;
    for (const MendedLines& mended : repair.mended())
        rules += fmt::format("{}{}", rules.empty() ? " (" : ", ", mended.rule->name);
    if (rules.empty()) complain(fmt::format("{}: nothing to mend; copied", name));
    else complain(fmt::format("{}: {} mended{})", name, mendedCount(repair), rules));
    if (repair.acceptedProposals())
        complain(fmt::format("{}: {} accepted", name, counted(repair.acceptedProposals(), "proposal")));
    if (repair.linesWithProposals().count)
        complain(
            fmt::format("{}: proposals are left for {}; to see them, run: tramo repair {}", name, proposalLines(repair), word));
    for (const Finding& finding : repair.left()) complain(fmt::format("{}: left: {}", name, tramo::sentenceOf(finding)));
    if (repair.findingsLeft().errors)
        complain(fmt::format("{}: {} left; to see them, run: tramo check {}", name, errorCount(repair.findingsLeft()), newWord));
}

void RepairLog::add(const RepairStep& step) {
    constexpr std::size_t enough = 1 << 16;
    {
        JsonStream stream(text);
        JsonWriter json(stream);
        json.StartObject();
        json.member("line", step.line);
        json.member("offset", step.offset);
        json.member("rule", step.rule->name);
        if (step.column) json.member("column", static_cast<std::uint64_t>(step.column));
        json.member("before", step.isMasked ? "***" : utf8::encode(step.before));
        json.member("after", step.isMasked ? "***" : utf8::encode(step.after));
        json.member("proof", step.proof);
        json.EndObject();
        json.end();
    }
    if (text.size() < enough) return;
    out.write({text.data(), text.size()});
    text.clear();
}

void RepairLog::commit() {
    out.write({text.data(), text.size()});
    out.commit();
}

}  // namespace tramo::cli
