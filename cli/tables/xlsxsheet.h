// A sheet of a workbook, which grows row by row.
#pragma once
#include "cli/tables/plaintext.h"
#include "cli/tables/rows.h"
#include "cli/tables/zipwriter.h"
#include <algorithm>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tramo::cli::xlsx {

/// The most rows that spreadsheet programs read.
inline constexpr std::size_t mostRows = 1 << 20;

inline constexpr const char* xmlHead = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
                                       "\n";
#define SCHEMAS "http://schemas.openxmlformats.org/"

/// In the order of the style sheet. A text remains a text when its cell is edited, and keeps its leading zeros.
enum Style { General, Header, Text, Date, DateTime };

/// Appends a text as the content of an element or attribute.
void appendXml(fmt::memory_buffer& out, std::string_view text);

/// Grows row by row.
class Sheet {
public:
    Sheet(std::string called, const Table& of, bool numbersLines) : name(std::move(called)), table(of) {
        if (numbersLines) addColumn("line");
        for (const Column& column : table.columns) addColumn(column.name);
        beginRow();
        for (std::size_t i = 0; i < columns.size(); ++i) putText(i, columns[i].name, Header);
        endRow();
    }

    std::size_t size() const { return columns.size(); }
    bool isFull() const { return rows == mostRows || xml.size() > ZipMember::mostBytes / 2; }

    void beginRow() {
        rowNumber = std::to_string(++rows);
        add("<row r=\"", rowNumber, "\">");
    }

    void endRow() {
        add("</row>\n");
        if (text.size() < 1 << 16) return;
        if (!hasHead) writeHead();
        flush();
    }

    void putText(std::size_t i, std::string_view value, Style style = Text) {
        const bool keepsBlanks = value.starts_with(' ') || value.ends_with(' ');
        Appender out(text);
        beginCell(out, i, style);
        out.add(inlineText);
        out.add(std::string_view(keepsBlanks ? " xml:space=\"preserve\">" : ">"));
        const std::size_t plain = appendPlain<'&', '<', '>', '"', '_'>(out, value);
        if (plain < value.size()) out.use([&](fmt::memory_buffer& to) { appendXml(to, value.substr(plain)); });
        out.add(endOfText);
        widen(i, value.size());
    }

    void putFlag(std::size_t i, bool value) {
        Appender out(text);
        beginCell(out, i, General);
        out.add(std::string_view(value ? "\" t=\"b\"><v>1</v></c>" : "\" t=\"b\"><v>0</v></c>"));
    }

    template <class Number> void putNumber(std::size_t i, Number value, Style style = General) {
        Appender out(text);
        beginCell(out, i, style);
        out.add(beginOfNumber);
        const std::size_t before = out.size();
        out.add(value);
        widen(i, out.size() - before);
        out.add(endOfNumber);
    }

    /// Must be called once, after the last row.
    void end() {
        if (!hasHead) writeHead();
        add("</sheetData><autoFilter ref=\"A1:", columns.back().letters, rowNumber, "\"/>");
        addNotes();
        // A text that could be a number is intended.
        add("<ignoredErrors><ignoredError sqref=\"A1:", columns.back().letters, rowNumber, "\" numberStoredAsText=\"1\"/>");
        add("</ignoredErrors></worksheet>\n");
        flush();
        xml.end();
    }

    /// "$A$1:$K$20"
    std::string range() const { return fmt::format("$A$1:${}${}", columns.back().letters, rowNumber); }

    const std::string name;
    ZipMember xml;

private:
    struct SheetColumn {
        std::string name, letters;
        std::size_t width;  ///< in characters
        PaddedText begin;   ///< of a cell, up to its row
    };

    void addColumn(const std::string& title);

    template <class... Pieces> void add(const Pieces&... pieces) {
        for (const std::string_view piece : {std::string_view(pieces)...}) text.append(piece.data(), piece.data() + piece.size());
    }

    // Up to the number of the style.
    void beginCell(Appender& out, std::size_t i, Style style) {
        out.add(columns[i].begin);
        out.addShort(rowNumber);
        out.add(styleOf[style]);
    }

    void widen(std::size_t i, std::size_t width) { columns[i].width = std::max(columns[i].width, width); }

    void writeHead();

    void addNotes();

    void flush() {
        xml.write({text.data(), text.size()});
        text.clear();
    }

    const PaddedText styleOf[5]{
        PaddedText("\" s=\"0"), PaddedText("\" s=\"1"), PaddedText("\" s=\"2"), PaddedText("\" s=\"3"), PaddedText("\" s=\"4")};
    const PaddedText inlineText{"\" t=\"inlineStr\"><is><t"}, endOfText{"</t></is></c>"}, beginOfNumber{"\"><v>"},
        endOfNumber{"</v></c>"};
    const Table& table;
    std::vector<SheetColumn> columns;
    fmt::memory_buffer text;
    std::size_t rows = 0;
    std::string rowNumber;
    bool hasHead = false;
};

}  // namespace tramo::cli::xlsx
