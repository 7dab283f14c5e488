#include "cli/report/report.h"
#include "cli/io/text.h"

namespace tramo::cli {

std::unique_ptr<Report> Report::make(Output& output, const ReportStyle& style) {
    switch (style.format) {
    case Format::Text: break;
    case Format::Json: return makeJsonReport(output);
    case Format::Sarif: return makeSarifReport(output, style);
    }
    return makeTextReport(output, style);
}

std::string moreInWords(const SomeLines& lines) {
    std::string words = counted(lines.count - 1, "more line") + (lines.count == 2 ? " has" : " have") + " the same finding";
    for (std::size_t i = 1; i < lines.first.size() && i < lines.count; ++i)
        words += (i == 1 ? ", the next are " : " and ") + std::to_string(lines.first[i]);
    return words;
}

}  // namespace tramo::cli
