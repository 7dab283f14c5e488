// The modules of key lines for people: a table, or lists on a narrow terminal, and the findings.
#include "cli/commands/keys_report.h"
#include "cli/io/platform.h"
#include "cli/io/text.h"
#include "cli/report/report.h"
#include <algorithm>
#include <numeric>

namespace tramo::cli {

namespace {

// How the module's value looks in the table.
Shown cellOf(const Module& module, const KeyValue& value) {
    auto ascii = [](std::string text) {
        const auto width = static_cast<int>(text.size());
        return Shown{std::move(text), width};
    };
    if (module.isAbsent(value)) return ascii("-");
    if (module.isMasked(value)) return ascii("******** " + module.form(value).words());
    if (value.text) return shown(module.values().*value.text);
    const std::int32_t number = module.values().wmBusAddress[value.part];
    const AddressMeaning* meaning = meaningOf(value);
    const std::string words = meaning ? meaning->of(number) : "";
    return ascii(fmt::format("{}{}{}", number, words.empty() ? "" : " ", words));
}

std::string_view headingOf(const KeyValue& value) { return value.label.substr(value.label.rfind('_') + 1); }

// A row for each value, where a row for each module would not fit.
void printList(Output& out, const std::deque<Module>& modules) {
    std::size_t longest = 0;
    for (const KeyValue& value : keyValues) longest = std::max(longest, headingOf(value).size());
    for (const Module& module : modules) {
        out.print("line {}\n", module.line);
        for (const KeyValue& value : keyValues)
            out.print("  {:<{}}  {}\n", headingOf(value), longest, cellOf(module, value).utf8);
        out.settle();
    }
}

void printTable(Output& out, const std::deque<Module>& modules) {
    std::array<int, std::size(keyValues)> widths{};
    for (std::size_t i = 0; i < widths.size(); ++i) {
        widths[i] = static_cast<int>(headingOf(keyValues[i]).size());
        for (const Module& module : modules) widths[i] = std::max(widths[i], cellOf(module, keyValues[i]).width);
    }
    const int terminal = terminalWidth(stdout);
    if (terminal > 0 && std::accumulate(widths.begin(), widths.end(), 6 + 2 * static_cast<int>(widths.size())) > terminal)
        return printList(out, modules);
    auto printCell = [&](std::size_t i, std::string_view text, int width) {
        const bool isLast = i + 1 == widths.size();
        out.print("  {}{:{}}", text, "", isLast ? 0 : widths[i] - width);
    };
    out.print("{:>6}", "line");
    for (std::size_t i = 0; i < widths.size(); ++i) {
        const std::string_view text = headingOf(keyValues[i]);
        printCell(i, text, static_cast<int>(text.size()));
    }
    out.print("\n");
    for (const Module& module : modules) {
        out.print("{:>6}", module.line);
        for (std::size_t i = 0; i < widths.size(); ++i) {
            const Shown cell = cellOf(module, keyValues[i]);
            printCell(i, cell.utf8, cell.width);
        }
        out.print("\n");
        out.settle();
    }
}

std::string placeOf(const Finding& finding) {
    std::string place = finding.line ? fmt::format(":{}", finding.line) : "";
    if (finding.column) place += fmt::format(":{}", finding.column);
    return place;
}

void printText(Output& out, const std::string& file, const Contents& contents) {
    const std::string name = printable(nameOf(file));
    if (!contents.modules.empty()) printTable(out, contents.modules);
    for (const Finding& finding : contents.findings) {
        out.print("{}{}: {}: {}\n", name, placeOf(finding), nameOf(finding.severity), sentenceOf(finding));
        out.settle();
    }
    const FindingCount& total = contents.total;
    out.print("{}: {}, {}\n", name, counted(contents.modules.size(), "module"),
        total.all() ? counted(total.errors, "error") + ", " + counted(total.warnings, "warning") : "no errors or warnings");
}

class TextKeys : public KeysReport {
public:
    explicit TextKeys(Output& to) : out(to) {}
    void file(const std::string& file, const Contents& contents) override { printText(out, file, contents); }
    void end() override {}

private:
    Output& out;
};

}  // namespace

std::unique_ptr<KeysReport> makeTextKeys(Output& output) { return std::make_unique<TextKeys>(output); }

}  // namespace tramo::cli
