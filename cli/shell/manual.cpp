#include "cli/shell/manual.h"
#include "cli/shell/helppage.h"
#include "cli/shell/reference.h"
#include <algorithm>
#include <fmt/format.h>

namespace tramo::cli {

namespace {

/// Text as roff shows it, wherever it stands in a line.
std::string roff(std::string_view text) {
    std::string out;
    for (const char c : text) switch (c) {
        case '\\': out += "\\(rs"; break;
        case '-': out += "\\-"; break;
        case '\'': out += "\\(aq"; break;
        case '`': out += "\\(ga"; break;
        case '^': out += "\\(ha"; break;
        case '~': out += "\\(ti"; break;
        case '\n': out += "\n.br\n"; break;
        case '.': out += "\\&."; break;  // at the beginning of a line it would be a request
        default: out += c;
        }
    return out;
}

std::string bold(std::string_view text) {
    std::string out = "\\fB";
    for (const char c : text) out += c == '\n' ? "\\fR\n.br\n\\fB" : roff({&c, 1});
    return out + "\\fR";
}

std::string upper(std::string_view text) {
    std::string out;
    for (const char c : text) out += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    return out;
}

// Ragged, without hyphens, one blank between sentences: command lines must not change.
std::string begin(std::string_view name, int section, std::string_view purpose) {
    return fmt::format(".TH {} {} \"\" \"tramo {}\" \"\"\n.nh\n.ad l\n.ss 12 0\n.SH NAME\n{} \\- {}\n", roff(upper(name)),
        section, roff(TRAMO_VERSION), roff(name), roff(purpose));
}

std::string rowsAsRoff(const std::vector<HelpRow>& rows) {
    std::string out;
    for (const HelpRow& row : rows)
        if (row.text.empty()) out += fmt::format(".PP\n.RS 4\n{}\n.RE\n", roff(row.term));
        else out += fmt::format(".TP\n{}\n{}\n", bold(row.term), roff(row.text));
    return out;
}

// A command line is too long to stand beside its text.
std::string examplesAsRoff(const std::vector<HelpRow>& rows) {
    std::string out;
    for (const HelpRow& row : rows) {
        out += fmt::format(".PP\n{}\n", bold(row.term));
        if (!row.text.empty()) out += fmt::format(".RS 4\n{}\n.RE\n", roff(row.text));
    }
    return out;
}

std::string section(std::string_view heading, const std::string& text) {
    return text.empty() ? "" : fmt::format(".SH {}\n{}", heading, text);
}

std::string seeAlso(std::string_view name, std::span<const Command* const> commands) {
    std::vector<std::string> pages;
    if (!name.empty()) pages.push_back(bold("tramo") + "(1)");
    for (const Command* command : commands)
        if (name != command->name) pages.push_back(bold(fmt::format("tramo-{}", command->name)) + "(1)");
    pages.push_back(bold("tramo-format") + "(5)");
    return fmt::format(".SH SEE ALSO\n{}\n", fmt::join(pages, ",\n"));
}

// ---- the reference page --------------------------------------------------------------------------------------------

/// **bold**, `code` and [text](#link) of Markdown.
std::string inlineAsRoff(std::string_view text) {
    std::string out;
    bool isBold = false;
    while (!text.empty()) {
        std::size_t taken = 1;
        if (text.starts_with("**") || text.starts_with('`')) {
            out += (isBold = !isBold) ? "\\fB" : "\\fR";
            taken = text[0] == '*' ? 2 : 1;
        } else if (const std::size_t end = text.find(')'); text.starts_with('[') && text.find("](#") < end) {
            const std::string_view shown = text.substr(1, text.find(']') - 1);
            out += roff(shown);
            taken = end + 1;
        } else {
            out += roff(text.substr(0, 1));
        }
        text.remove_prefix(taken);
    }
    return out;
}

std::vector<std::string> cellsOf(std::string_view line) {
    std::vector<std::string> cells;
    line.remove_prefix(2);
    for (std::size_t end; (end = line.find(" |")) != std::string_view::npos; line.remove_prefix(std::min(end + 3, line.size())))
        cells.push_back(inlineAsRoff(line.substr(0, end)));
    return cells;
}

/// A terminal is too narrow for the tables: each row becomes a paragraph below its first cell, or the first two of many.
std::string rowAsRoff(const std::vector<std::string>& head, const std::vector<std::string>& cells) {
    const std::size_t tagged = head.size() > 3 ? 2 : 1;
    std::string tag = cells[0], text;
    if (tagged == 2) tag += "  " + cells[1];
    for (std::size_t i = tagged; i < cells.size(); ++i)
        if (cells[i] != "\\-") {
            if (!text.empty()) text += text.ends_with('.') ? " " : "; ";
            text += fmt::format("\\fI{}:\\fR {}", head[i], cells[i]);
        }
    return fmt::format(".TP\n\\fB{}\\fR\n{}\n", tag, text);
}

}  // namespace

std::string manualPage(
    std::string_view name, std::string_view purpose, std::string_view help, std::span<const Command* const> commands) {
    const HelpPage page(help);
    std::string usage, description, rest;
    for (const HelpBlock& block : page.blocks) {
        if (block.heading.empty())
            description += block.rows.empty() ? ".PP\n" + roff(block.words) + "\n" : rowsAsRoff(block.rows);
        else if (block.heading == "Usage")
            for (const HelpRow& row : block.rows) usage += ".PP\n" + bold(row.term) + "\n";
        else if (block.heading == "Exit codes") rest += section("EXIT STATUS", rowsAsRoff(block.rows));
        else if (block.heading != "Examples") rest += section(upper(block.heading), rowsAsRoff(block.rows));
    }
    return begin(name.empty() ? "tramo" : fmt::format("tramo-{}", name), 1, purpose) + section("SYNOPSIS", usage) +
           section("DESCRIPTION", description) + rest + section("EXAMPLES", examplesAsRoff(page.rows("Examples"))) +
           seeAlso(name, commands);
}

std::string formatManualPage() {
    Output reference;
    printReference(reference);
    std::string_view text{reference.buffer().data(), reference.buffer().size()};
    text.remove_prefix(text.find("## "));  // in front of that it speaks of the Markdown page

    std::string out = begin("tramo-format", 5, "the exchange format of meter reading");
    std::vector<std::string> head;
    for (std::size_t end; (end = text.find('\n')) != std::string_view::npos; text.remove_prefix(end + 1)) {
        const std::string_view line = text.substr(0, end);
        if (line.starts_with("|--")) continue;
        if (line.starts_with('|')) {
            if (head.empty()) head = cellsOf(line);
            else out += rowAsRoff(head, cellsOf(line));
            continue;
        }
        head.clear();
        if (line.starts_with("## ")) out += fmt::format(".SH {}\n", inlineAsRoff(upper(line.substr(3))));
        else if (line.starts_with("- ")) out += fmt::format(".IP \\(bu 2\n{}\n", inlineAsRoff(line.substr(2)));
        else if (line.empty()) out += ".PP\n";
        else out += inlineAsRoff(line.substr(line.find_first_not_of(' '))) + "\n";
    }
    return out + ".SH SEE ALSO\n" + bold("tramo") + "(1)\n";
}

}  // namespace tramo::cli
