// Rows as a workbook for spreadsheet programs: a sheet for each kind, one for findings, and one for the exported file. Written
// here, not by libxlsxwriter, which does not report a full disk while it writes its temporary files.
#include "cli/io/text.h"
#include "cli/tables/celltext.h"
#include "cli/tables/rowbytes.h"
#include "cli/tables/sink.h"
#include "cli/tables/xlsxsheet.h"
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <deque>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <utility>

namespace tramo::cli {

using namespace xlsx;

namespace {

// Limits of spreadsheet programs.
constexpr std::size_t longestText = 32767;             // in UTF-16 units
constexpr long long largestInteger = 999999999999999;  // larger ones lose digits
constexpr double largestReal = 9.99999999999999e307;

// --- Styles ----------------------------------------------------------------------------------------------------------

// Of the styles of xlsx::Style, in their order.
constexpr const char* styleSheet =
    R"(<styleSheet xmlns=")" SCHEMAS R"(spreadsheetml/2006/main">)"
    R"(<numFmts count="2"><numFmt numFmtId="164" formatCode="yyyy\-mm\-dd"/>)"
    R"(<numFmt numFmtId="165" formatCode="yyyy\-mm\-dd\ hh:mm"/></numFmts>)"
    R"(<fonts count="2"><font><sz val="11"/><name val="Calibri"/></font><font><b/><sz val="11"/><name val="Calibri"/></font></fonts>)"
    R"(<fills count="3"><fill><patternFill patternType="none"/></fill><fill><patternFill patternType="gray125"/></fill>)"
    R"(<fill><patternFill patternType="solid"><fgColor rgb="FFE7EBF0"/></patternFill></fill></fills>)"
    R"(<borders count="1"><border><left/><right/><top/><bottom/><diagonal/></border></borders>)"
    R"(<cellStyleXfs count="1"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/></cellStyleXfs>)"
    R"(<cellXfs count="5"><xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/>)"
    R"(<xf numFmtId="49" fontId="1" fillId="2" borderId="0" xfId="0" applyNumberFormat="1" applyFont="1" applyFill="1"/>)"
    R"(<xf numFmtId="49" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1"/>)"
    R"(<xf numFmtId="164" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1" applyAlignment="1">)"
    R"(<alignment horizontal="left"/></xf>)"
    R"(<xf numFmtId="165" fontId="0" fillId="0" borderId="0" xfId="0" applyNumberFormat="1" applyAlignment="1">)"
    R"(<alignment horizontal="left"/></xf></cellXfs>)"
    R"(<cellStyles count="1"><cellStyle name="Normal" xfId="0" builtinId="0"/></cellStyles></styleSheet>)";

// --- Texts -----------------------------------------------------------------------------------------------------------

// As much of the UTF-8 text as a cell can hold.
std::string_view firstPiece(std::string_view text) {
    if (text.size() <= longestText) return text;
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (utf8::isContinuation(text[i])) continue;
        units += static_cast<unsigned char>(text[i]) >= 0xF0 ? 2 : 1;
        if (units > longestText) return text.substr(0, i);
    }
    return text;
}

// --- Dates -----------------------------------------------------------------------------------------------------------

int digits(std::string_view text, std::size_t at, std::size_t count) {
    int value = 0;
    for (const char c : text.substr(at, count)) value = value * 10 + (c - '0');
    return value;
}

bool isYear(std::string_view text) {
    return text.size() == 4 && text[0] != '0' && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

// A date as spreadsheets store it: days since the end of 1899. (Programs agree on them from March 1900 on; fields have no
// dates before 1901.) A time that its date does not express exactly remains a text.
std::optional<double> serialOf(FieldKind kind, std::string_view text) {
    namespace chrono = std::chrono;
    if (text.size() != (kind == FieldKind::Date ? 10u : 16u) || text[4] != '-') return std::nullopt;
    const chrono::year_month_day day{chrono::year(digits(text, 0, 4)), chrono::month(static_cast<unsigned>(digits(text, 5, 2))),
        chrono::day(static_cast<unsigned>(digits(text, 8, 2)))};
    const auto days = chrono::sys_days(day) - chrono::sys_days(chrono::year(1899) / 12 / 30);
    const int minutes = kind == FieldKind::Date ? 0 : digits(text, 11, 2) * 60 + digits(text, 14, 2);
    return static_cast<double>(days.count()) + minutes / 1440.0;
}

// --- The workbook ----------------------------------------------------------------------------------------------------

/// The sheets of a table: when one is full, the next one continues.
class Sheets {
public:
    Sheets(const Table& of, bool linesAreNumbered) : table(of), numbersLines(linesAreNumbered) {}

    void put(const TableRow& row) {
        Sheet* sheet = &beginRow(row.line);
        writeCells(row, CellsOf{*this, *sheet});
        if (row.longText) sheet = &putLong(*sheet, row);
        endRow(*sheet, row.line);
    }

    /// Does the same for cells as bytes.
    void put(long long line, std::string_view cells) {
        Sheet& sheet = beginRow(line);
        CellsOf writer{*this, sheet};
        writeCells(cells, writer);
        endRow(sheet, line);
    }

    void end() {
        for (Sheet& sheet : sheets) sheet.end();
    }

    std::deque<Sheet> sheets;

private:
    struct Rest {
        std::size_t column;
        std::string text;
        std::size_t from = 0;
    };

    Sheet& beginRow(long long line) {
        if (sheets.empty()) sheets.emplace_back(table.name, table, numbersLines);
        else if (sheets.back().isFull())
            sheets.emplace_back(fmt::format("{} {}", table.name, sheets.size() + 1), table, numbersLines);
        Sheet& sheet = sheets.back();
        sheet.beginRow();
        if (numbersLines) sheet.putNumber(0, line);
        return sheet;
    }

    struct CellsOf {
        Sheets& sheets;
        Sheet& sheet;

        void text(std::size_t column, std::wstring_view value) { text(column, escaped(value, false)); }
        void text(std::size_t column, std::string_view escaped) { sheets.putText(sheet, column, escaped); }
        void number(std::size_t column, auto value) { sheets.putNumber(sheet, column, value); }
        void flag(std::size_t column, bool value) { sheet.putFlag(sheets.placeOf(column), value); }
    };

    std::size_t placeOf(std::size_t column) const { return numbersLines + column; }

    void putNumber(Sheet& sheet, std::size_t column, long long value) {
        if (value >= -largestInteger && value <= largestInteger) sheet.putNumber(placeOf(column), value);
        else sheet.putText(placeOf(column), std::to_string(value));
    }
    void putNumber(Sheet& sheet, std::size_t column, double value) {
        if (std::fabs(value) <= largestReal) sheet.putNumber(placeOf(column), value);
        else sheet.putText(placeOf(column), fmt::format("{}", value));
    }

    void putText(Sheet& sheet, std::size_t column, std::string_view text) {
        const Field* const field = table.columns[column].field;
        const FieldKind kind = field ? field->kind : FieldKind::Text;
        if (kind == FieldKind::Date || kind == FieldKind::DateTime) {
            if (const std::optional<double> serial = serialOf(kind, text))
                return sheet.putNumber(placeOf(column), *serial, kind == FieldKind::Date ? Date : DateTime);
        } else if (kind == FieldKind::Year && isYear(text)) {
            return sheet.putNumber(placeOf(column), static_cast<long long>(digits(text, 0, 4)));
        }
        const std::string_view piece = firstPiece(text);
        sheet.putText(placeOf(column), piece);
        if (piece.size() < text.size()) unfinished.push_back({placeOf(column), std::string(text), piece.size()});
    }

    // A text that is too long for its cell continues below.
    void endRow(Sheet& first, long long line) {
        first.endRow();
        while (!unfinished.empty()) {
            Sheet& sheet = beginRow(line);
            std::vector<Rest> now;
            now.swap(unfinished);
            for (Rest& rest : now) putPiece(sheet, std::move(rest));
            sheet.endRow();
        }
    }

    // The same for a text that is not in memory as a whole. Leaves its last row open.
    Sheet& putLong(Sheet& first, const TableRow& row) {
        const std::size_t place = numbersLines + row.cells.size() - 1;
        Sheet* sheet = &first;
        std::string waiting;
        row.longText->forEachPiece([&](std::wstring_view piece) {
            waiting += escaped(piece, false);
            std::string_view rest = waiting;
            for (std::string_view cell = firstPiece(rest); cell.size() < rest.size(); cell = firstPiece(rest)) {
                sheet->putText(place, cell);
                sheet->endRow();
                sheet = &beginRow(row.line);
                rest.remove_prefix(cell.size());
            }
            waiting.erase(0, waiting.size() - rest.size());
        });
        sheet->putText(place, waiting);
        return *sheet;
    }

    void putPiece(Sheet& sheet, Rest rest) {
        const std::string_view text = std::string_view(rest.text).substr(rest.from), piece = firstPiece(text);
        sheet.putText(rest.column, piece);
        if (piece.size() == text.size()) return;
        rest.from += piece.size();
        unfinished.push_back(std::move(rest));
    }

    const Table& table;
    bool numbersLines;
    std::vector<Rest> unfinished;
};

class XlsxSink : public Sink {
public:
    XlsxSink(const std::string& path, OutFile::Mode mode, const SinkOptions& options) : archive(path, mode) {
        for (const Table* table : options.tables) add(*table);
        records = all.size();
    }

    void add(const Table& table) override { places.emplace(&table, &all.emplace_back(table, table.hasLead)); }

    bool describe(const TableRow& row, DescribedRows& to) const override { return describeAsBytes(row, to); }
    void describe(const PlainRow& row, DescribedRows& to) const override { describeAsBytes(row, to); }

    void put(const DescribedRows& rows) override {
        rows.forEachRun([&](const Table& table, long long, std::string_view run) {
            Sheets& sheets = *places.at(&table);
            forEachRow(run, [&](long long line, std::string_view cells) { sheets.put(line, cells); });
        });
    }

    void put(const TableRow& row) override { places.at(row.table)->put(row); }

    void finish(std::span<const Source> sources) override {
        Sheets& files = all.emplace_back(fileTable(), false);
        for (const Source& source : sources) files.put(rowOf(source));
        std::vector<const Sheet*> sheets;
        const auto list = [&](std::size_t first, std::size_t last) {
            for (std::size_t i = first; i < last; ++i) {
                all[i].end();
                for (const Sheet& sheet : all[i].sheets) sheets.push_back(&sheet);
            }
        };
        const std::size_t last = all.size() - 1;
        list(records, last);  // whole meters are what people want to see first
        list(0, records);
        list(last, all.size());
        write(sheets);
        archive.commit();
    }

private:
    void write(const std::vector<const Sheet*>& sheets) {
        std::string types, list, names, relations;
        auto relate = [&](std::size_t id, const char* type, const std::string& target) {
            relations += fmt::format(R"(<Relationship Id="rId{}" Type="{}officeDocument/2006/relationships/{}" Target="{}"/>)",
                id, SCHEMAS, type, target);
        };
        for (std::size_t i = 0; i < sheets.size(); ++i) {
            const std::string path = fmt::format("worksheets/sheet{}.xml", i + 1);
            types += fmt::format(R"(<Override PartName="/xl/{}" ContentType="{}worksheet+xml"/>)", path, contentType);
            list += fmt::format(R"(<sheet name="{0}" sheetId="{1}" r:id="rId{1}"/>)", sheets[i]->name, i + 1);
            names +=
                fmt::format(R"(<definedName name="_xlnm._FilterDatabase" localSheetId="{}" hidden="1">'{}'!{}</definedName>)", i,
                    sheets[i]->name, sheets[i]->range());
            relate(i + 1, "worksheet", path);
        }
        relate(sheets.size() + 1, "styles", "styles.xml");

        add("[Content_Types].xml",
            R"(<Types xmlns="{0}package/2006/content-types">)"
            R"(<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>)"
            R"(<Default Extension="xml" ContentType="application/xml"/>)"
            R"(<Override PartName="/xl/workbook.xml" ContentType="{1}sheet.main+xml"/>)"
            R"(<Override PartName="/xl/styles.xml" ContentType="{1}styles+xml"/>{2}</Types>)",
            SCHEMAS, contentType, types);
        add("_rels/.rels",
            R"(<Relationships xmlns="{0}package/2006/relationships">)"
            R"(<Relationship Id="rId1" Type="{0}officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/></Relationships>)",
            SCHEMAS);
        add("xl/workbook.xml",
            R"(<workbook xmlns="{0}spreadsheetml/2006/main" xmlns:r="{0}officeDocument/2006/relationships">)"
            R"(<bookViews><workbookView/></bookViews><sheets>{1}</sheets><definedNames>{2}</definedNames></workbook>)",
            SCHEMAS, list, names);
        add("xl/_rels/workbook.xml.rels", R"(<Relationships xmlns="{}package/2006/relationships">{}</Relationships>)", SCHEMAS,
            relations);
        add("xl/styles.xml", "{}", styleSheet);
        for (std::size_t i = 0; i < sheets.size(); ++i)
            archive.add(fmt::format("xl/worksheets/sheet{}.xml", i + 1), sheets[i]->xml);
    }

    template <class... T> void add(const char* path, fmt::format_string<const T&...> format, const T&... arguments) {
        archive.add(path, xmlHead + fmt::format(format, arguments...));
    }

    static constexpr const char* contentType = "application/vnd.openxmlformats-officedocument.spreadsheetml.";

    ZipWriter archive;
    std::deque<Sheets> all;
    std::size_t records = 0;  ///< the number of tables that were there from the beginning
    std::map<const Table*, Sheets*> places;
};

}  // namespace

std::unique_ptr<Sink> makeXlsxSink(const std::string& path, OutFile::Mode mode, const SinkOptions& options) {
    return std::make_unique<XlsxSink>(path, mode, options);
}

}  // namespace tramo::cli
