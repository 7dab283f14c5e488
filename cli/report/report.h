// The forms in which a check is reported. Findings are written as they come and never kept.
#pragma once
#include "cli/io/console.h"
#include "cli/lines/longline.h"
#include "cli/report/summary.h"
#include <fmt/format.h>
#include <memory>
#include <string>
#include <string_view>
#include <tramostream/check.h>

namespace tramo::cli {

enum class Format { Text, Json, Sarif };

struct ReportStyle {
    Format format = Format::Text;
    bool quiet = false;       ///< of text: one line a file
    bool colour = false;      ///< of text
    bool strict = false;      ///< warnings are errors
    Severities severities{};  ///< of findings
};

class Report {
public:
    virtual ~Report() = default;

    /// What findings call a file. `file` is here and below the path as the user gave it.
    virtual std::string label(const std::string& file) const = 0;

    /// A finding in this form, added to a text. May run on many threads at once.
    virtual void describe(const Finding& finding, const Line& line, std::string_view label, fmt::memory_buffer& to) const = 0;

    virtual void beginFile(const std::string& file) = 0;
    virtual void finding(std::string_view described) = 0;

    /// Writes the first of several findings that are alike, with their number and lines.
    virtual void findings(std::string_view described, const SomeLines& lines) = 0;
    virtual void endFile(const Summary& summary) = 0;
    virtual void unreadable(const std::string& file, const std::string& reason) = 0;
    virtual void endRun(const RunTotal& total) = 0;

    static std::unique_ptr<Report> make(Output& output, const ReportStyle& style);
};

/// Returns the lines in words: "996 more lines have the same finding, the next are 15 and 18".
std::string moreInWords(const SomeLines& lines);

std::unique_ptr<Report> makeTextReport(Output& output, const ReportStyle& style);
std::unique_ptr<Report> makeJsonReport(Output& output);
std::unique_ptr<Report> makeSarifReport(Output& output, const ReportStyle& style);

/// "error", "warning", "hint".
constexpr std::string_view nameOf(Severity severity) {
    switch (severity) {
    case Severity::Error: return "error";
    case Severity::Warning: return "warning";
    case Severity::Hint: break;
    }
    return "hint";
}

}  // namespace tramo::cli
