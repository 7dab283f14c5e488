#include "cli/shell/helppage.h"
#include "cli/io/wrap.h"
#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace tramo::cli {

namespace {

constexpr std::string_view usageLine = "Usage: ";

std::size_t indentOf(std::string_view line) { return std::min(line.find_first_not_of(' '), line.size()); }

std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> parts;
    for (std::size_t at; (at = text.find(separator)) != std::string_view::npos; text.remove_prefix(at + separator.size()))
        parts.push_back(text.substr(0, at));
    parts.push_back(text);
    return parts;
}

void append(std::string& text, std::string_view more, char between) {
    if (!text.empty()) text += between;
    text += more;
}

void addRow(std::vector<HelpRow>& rows, std::string_view line, std::size_t indent) {
    const std::size_t ownIndent = indentOf(line);
    line.remove_prefix(ownIndent);
    if (ownIndent == indent || rows.empty()) rows.emplace_back();
    HelpRow& row = rows.back();
    if (!row.text.empty()) return append(row.text, line, ' ');
    const std::size_t gap = std::min(line.find("  "), line.size());
    append(row.term, line.substr(0, gap), '\n');
    row.text = line.substr(gap + indentOf(line.substr(gap)));
}

HelpBlock blockOf(std::vector<std::string_view> lines) {
    HelpBlock block;
    std::string_view& first = lines.front();
    if (first.starts_with(usageLine)) {
        block.heading = "Usage";
        for (const std::string_view line : lines) block.rows.push_back({std::string(line.substr(usageLine.size())), ""});
        return block;
    }
    if (first.ends_with(':') && lines.size() > 1 && lines[1].starts_with(' ')) {
        block.heading = first.substr(0, first.size() - 1);
        lines.erase(lines.begin());
    }
    const std::size_t indent = indentOf(lines.front());
    for (const std::string_view line : lines)
        if (indent > 0) addRow(block.rows, line, indent);
        else append(block.words, line, ' ');
    return block;
}

/// The words of "of FILE: auto (by the byte order mark), ansi, utf16le".
std::vector<std::string> choicesIn(std::string_view text) {
    std::string list;
    int depth = 0;
    for (const char c : text) {
        if (c == '(') ++depth;
        if (depth == 0 && c != ' ') list += c;
        if (c == ')') --depth;
        if (depth == 0 && c == ':') list.clear();
    }
    const std::vector<std::string_view> words = split(list, ",");
    return {words.begin(), words.end()};
}

/// Up to the first sign that more follows.
std::string inShort(std::string_view text) {
    for (const std::string_view sign : {". ", "; ", ": "}) text = text.substr(0, text.find(sign));
    return std::string(text);
}

}  // namespace

HelpPage::HelpPage(std::string_view text) {
    std::vector<std::string_view> lines;
    for (const std::string_view line : split(text, "\n")) {
        if (!line.empty()) lines.push_back(line);
        else if (!lines.empty()) blocks.push_back(blockOf(std::exchange(lines, {})));
    }
    if (!lines.empty()) blocks.push_back(blockOf(std::move(lines)));
}

std::vector<HelpRow> HelpPage::rows(std::string_view heading) const {
    const auto block = std::ranges::find(blocks, heading, &HelpBlock::heading);
    return block == blocks.end() ? std::vector<HelpRow>{} : block->rows;
}

std::vector<HelpOption> optionsOf(const HelpPage& page) {
    std::vector<HelpOption> options;
    for (const HelpRow& row : page.rows("Options")) {
        HelpOption option;
        const std::size_t blank = row.term.rfind(' ');
        const bool hasValue = blank != std::string::npos && row.term[blank + 1] != '-';
        if (hasValue) option.value = row.term.substr(blank + 1);
        for (const std::string_view name : split(std::string_view(row.term).substr(0, hasValue ? blank : row.term.size()), ", "))
            option.names.emplace_back(name);
        if (constexpr std::string_view more = ",..."; option.value.ends_with(more)) {
            option.value.resize(option.value.size() - more.size());
            option.takesList = true;
        }
        if (option.value == "WHAT" || option.value == "WHEN") option.choices = choicesIn(row.text);
        option.text = inShort(row.text);
        options.push_back(std::move(option));
    }
    return options;
}

std::string optionRow(std::string_view term, std::string_view text) {
    constexpr int indent = 22, width = 80;
    std::string row;
    for (const std::string& line : brokenWords(text, width - indent))
        row += fmt::format("{:<{}}{}\n", row.empty() ? fmt::format("  {}", term) : "", indent, line);
    return row;
}

}  // namespace tramo::cli
