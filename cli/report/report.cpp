#include "cli/report/report.h"

namespace tramo::cli {

std::unique_ptr<Report> Report::make(Output& output, const ReportStyle& style) {
    switch (style.format) {
    case Format::Text: break;
    case Format::Json: return makeJsonReport(output);
    case Format::Sarif: return makeSarifReport(output, style);
    }
    return makeTextReport(output, style);
}

}  // namespace tramo::cli
