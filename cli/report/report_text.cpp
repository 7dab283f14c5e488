// The report for people: findings as compilers print them, so that editors jump to them, and a summary.
#include "cli/io/colours.h"
#include "cli/io/text.h"
#include "cli/report/report.h"
#include "common/reportedcolumn.h"
#include <algorithm>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

// The piece of a line that is shown: this much of the field and this much on either side of it.
constexpr std::size_t besideField = 24, mostOfField = 40, mostOfLine = 2 * besideField + mostOfField;

std::string counts(const FindingCount& count) {
    std::string words =
        count.all() ? counted(count.errors, "error") + ", " + counted(count.warnings, "warning") : "no errors or warnings";
    if (count.hints) words += ", " + counted(count.hints, "hint");
    return words;
}

class TextReport : public Report {
public:
    TextReport(Output& to, const ReportStyle& style) : out(to), quiet(style.quiet), colours(coloursIf(style.colour)) {}

    std::string label(const std::string& file) const override { return printable(nameOf(file)); }

    void describe(const Finding& finding, const Line& line, std::string_view label, fmt::memory_buffer& to) const override {
        place(finding, line, label, to);
        add(to, colourOf(finding.severity), nameOf(finding.severity), ":", colours.off, " ", sentenceHere(finding), "\n");
        if (finding.excerpt && !line.text.empty()) excerpt(finding, line, to);
        if (!finding.hint.empty()) {
            add(to, colours.heading, label, ":", colours.off, " ", colours.note, "help:", colours.off, " ", finding.hint, "\n");
        }
        if (!finding.reportedColumn) return;
        place(finding, line, label, to);
        add(to, colours.note, "note:", colours.off, " ", noteOnReportedColumn(finding.reportedColumn), "\n");
    }

    void beginFile(const std::string& file) override {
        if (!name.empty() && !quiet) out.print("\n");
        name = label(file);
        anyListed = false;
    }

    void finding(std::string_view described) override {
        if (quiet) return;
        anyListed = true;
        out.buffer().append(described.data(), described.data() + described.size());
    }

    void findings(std::string_view described, const SomeLines& lines) override {
        finding(described);
        if (!quiet)
            out.print("{}{}:{} {}note:{} {}; --each lists all\n", colours.heading, name, colours.off, colours.note, colours.off,
                moreInWords(lines));
    }

    void endFile(const Summary& summary) override {
        if (anyListed && summary.notListed == 0) out.print("\n");
        if (summary.notListed && !quiet) out.print("... and {} not listed\n\n", counted(summary.notListed, "more finding"));
        out.print("{}{}:{} {}", colours.heading, name, colours.off, counts(summary.checked.total));
        if (quiet) out.print(" in {}\n", counted(summary.checked.lines, "line"));
        else details(summary);
    }

    void unreadable(const std::string&, const std::string&) override {}

    void endRun(const RunTotal& total) override {
        if (total.files < 2) return;
        out.print("{}in all {}: {}", quiet ? "" : "\n", counted(total.files, "file"), counts(total.total));
        if (total.unreadable) out.print(", {} not read", counted(total.unreadable, "file"));
        out.print("\n");
    }

private:
    const char* colourOf(Severity severity) const {
        return severity == Severity::Error ? colours.error : severity == Severity::Warning ? colours.warning : colours.note;
    }

    // Findings are many: appending their pieces takes half the time of formatting them.
    template <class... Pieces> static void add(fmt::memory_buffer& to, const Pieces&... pieces) {
        for (const std::string_view piece : {std::string_view(pieces)...}) to.append(piece.data(), piece.data() + piece.size());
    }
    static void repeat(fmt::memory_buffer& to, char c, std::size_t count) {
        to.resize(to.size() + count);
        std::fill_n(to.data() + to.size() - count, count, c);
    }

    // Without the column that the format reports, which a separate note shows.
    static std::string sentenceHere(const Finding& finding) {
        if (!finding.reportedColumn) return sentenceOf(finding);
        Finding here = finding;
        here.reportedColumn = 0;
        return sentenceOf(here);
    }

    void place(const Finding& finding, const Line& line, std::string_view label, fmt::memory_buffer& to) const {
        add(to, colours.heading, label, ":");
        if (line.number) add(to, fmt::format_int(line.number).c_str(), ":");
        if (finding.column) add(to, fmt::format_int(finding.column).c_str(), ":");
        add(to, colours.off, " ");
    }

    void excerpt(const Finding& finding, const Line& line, fmt::memory_buffer& to) const {
        const std::size_t size = line.text.size();
        std::size_t first = 0, marked = 0, markedEnd = 0, last = std::min(size, mostOfLine);
        if (finding.column > 0) {
            marked = std::min(static_cast<std::size_t>(finding.column - 1), size);
            markedEnd = std::clamp(static_cast<std::size_t>(finding.endColumn - 1), marked, std::min(size, marked + mostOfField));
            first = marked > besideField ? marked - besideField : 0;
            last = std::min(size, markedEnd + besideField);
        }
        const std::string number = fmt::format("{:>6}", line.number);
        const Shown before = shown(line.text.substr(first, marked - first));
        const Shown field = shown(line.text.substr(marked, markedEnd - marked));
        const Shown after = shown(line.text.substr(markedEnd, last - markedEnd));
        const std::string_view cutLeft = first > 0 ? "..." : "", cutRight = last < size ? "..." : "";
        add(to, number, " | ", cutLeft, before.utf8, colours.marker, field.utf8, colours.off, after.utf8, cutRight, "\n");
        if (finding.column == 0) return;
        repeat(to, ' ', number.size());
        add(to, " | ");
        repeat(to, ' ', cutLeft.size() + static_cast<std::size_t>(before.width));
        add(to, colours.marker, "^");
        repeat(to, '~', static_cast<std::size_t>(std::max(field.width - 1, 0)));
        add(to, colours.off, " column", finding.endColumn - finding.column > 1 ? "s " : " ", columnsOf(finding), "\n");
    }

    void details(const Summary& summary) {
        out.print("\n  read: {}, {}, {}, in {:.3f} s\n", counted(summary.checked.lines, "line"), counted(summary.bytes, "byte"),
            summary.utf16 ? "UTF-16" : "ANSI", summary.time.count());
        if (summary.checked.lines) out.print("  lines:\n");
        for (const LinesOfKind& kind : summary.checked.lineKinds())
            out.print("  {:>8}  {}  {}\n", kind.lines, kind.letter ? kind.letter : ' ', kind.name);
        if (summary.checked.total.withHints()) out.print("  findings:\n");
        for (const FindingsOfField& count : summary.checked.findingCounts()) {
            out.print("  {:>8}  {}", count.count.withHints(), count.rule ? count.rule->name : count.field);
            out.print("{}\n", count.kind.empty() ? "" : fmt::format(" ({})", count.kind));
        }
    }

    Output& out;
    const bool quiet;
    const Colours colours;
    std::string name;
    bool anyListed = false;
};

}  // namespace

std::unique_ptr<Report> makeTextReport(Output& output, const ReportStyle& style) {
    return std::make_unique<TextReport>(output, style);
}

}  // namespace tramo::cli
