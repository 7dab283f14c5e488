#include "cli/tables/xlsxsheet.h"
#include "cli/lines/columns.h"
#include <tramostream/wording.h>

namespace tramo::cli::xlsx {

namespace {

bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

// "_x0041_" would be read as "A".
bool isEscape(std::string_view text) {
    return text.size() >= 7 && text.starts_with("_x") && text[6] == '_' &&
           std::all_of(text.begin() + 2, text.begin() + 6, isHexDigit);
}

std::string columnName(std::size_t index) {
    std::string name;
    for (++index; index > 0; index = (index - 1) / 26) name.insert(name.begin(), static_cast<char>('A' + (index - 1) % 26));
    return name;
}

}  // namespace

void appendXml(fmt::memory_buffer& out, std::string_view text) {
    auto add = [&](std::string_view bytes) { out.append(bytes.data(), bytes.data() + bytes.size()); };
    for (std::size_t i = 0; i < text.size(); ++i) switch (text[i]) {
        case '&': add("&amp;"); break;
        case '<': add("&lt;"); break;
        case '>': add("&gt;"); break;
        case '"': add("&quot;"); break;
        case '_': add(isEscape(text.substr(i)) ? "_x005F_" : "_"); break;
        default: out.push_back(text[i]);
        }
}

void Sheet::addColumn(const std::string& title) {
    constexpr std::size_t filterButton = 3;
    const std::string letters = columnName(columns.size());
    columns.push_back({title, letters, title.size() + filterButton, PaddedText("<c r=\"" + letters)});
}

// Widths are written before the rows; those of the first rows are good enough.
void Sheet::writeHead() {
    fmt::memory_buffer head;
    auto print = [&]<class... T>(fmt::format_string<T...> format, T&&... arguments) {
        fmt::format_to(fmt::appender(head), format, std::forward<T>(arguments)...);
    };
    print("{}<worksheet xmlns=\"" SCHEMAS "spreadsheetml/2006/main\"><sheetViews><sheetView workbookViewId=\"0\">", xmlHead);
    print("<pane ySplit=\"1\" topLeftCell=\"A2\" activePane=\"bottomLeft\" state=\"frozen\"/></sheetView></sheetViews><cols>");
    for (std::size_t i = 0; i < columns.size(); ++i)
        print("<col min=\"{0}\" max=\"{0}\" width=\"{1}\" customWidth=\"1\"/>", i + 1,
            std::min<std::size_t>(columns[i].width + 1, 60));
    print("</cols><sheetData>\n");
    xml.write({head.data(), head.size()});
    hasHead = true;
}

// Describes a field when its name is selected.
void Sheet::addNotes() {
    const auto fields = std::ranges::count_if(table.columns, [](const Column& column) { return column.field != nullptr; });
    if (fields == 0) return;
    const std::size_t first = columns.size() - table.columns.size();
    add("<dataValidations count=\"", std::to_string(fields), "\">");
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
        if (!table.columns[i].field) continue;
        const Field& field = *table.columns[i].field;
        add("<dataValidation allowBlank=\"1\" showInputMessage=\"1\" sqref=\"", columns[first + i].letters, "1\" prompt=\"");
        appendXml(text, fmt::format("columns {}: {}", columnsOf(field), typeOf(field)));
        add("\"/>");
    }
    add("</dataValidations>");
}

}  // namespace tramo::cli::xlsx
