// The descriptions that `tramo explain` prints.
#pragma once
#include "cli/io/colours.h"
#include "cli/io/console.h"
#include "cli/lines/lineplace.h"
#include "cli/report/report.h"
#include <string>
#include <string_view>
#include <tramostream/check.h>
#include <tramostream/keyline.h>
#include <tramostream/wording.h>
#include <vector>

namespace tramo::cli {

inline constexpr std::string_view keyModel = "AMRKeyTramoModel";

/// Prints what a kind, a field, a column, a place, an error or a rule is.
class Explainer {
public:
    Explainer(Output& to, bool colour);
    void overview();
    void kind(const RecordKind& kind);
    void keyKind();
    void field(const RecordKind& kind, const Field& field);
    void column(const RecordKind& kind, int column);
    void place(const LinePlace& place);
    void error(const ErrorCode& error);
    void rule(const Rule& rule);
    void gap();  ///< an empty line, unless nothing has been printed yet

private:
    void heading(const std::string& text);
    void entry(std::string_view label, const std::string& words);
    void wrapped(const std::string& before, std::string_view words);
    static std::string keyType(const KeyValue& value);
    static std::string elsewhere(const Field& field, const ErrorReport& report);
    static std::string words(const Field& field, const ErrorReport& report);
    void value(const Field& field, std::wstring_view line, const std::vector<Finding>& findings);
    void found(const Finding& finding) { entry(nameOf(finding.severity), sentenceOf(finding)); }

    void neighbours(const RecordKind& kind, const Field& field);
    void neighbours(const RecordKind& kind, int first, int end);

    Output& out;
    const Colours colours;
    const int width;
    bool anything = false;
};

/// Prints the whole format as one JSON document.
void printFormat(Output& out);

}  // namespace tramo::cli
