#include "fieldcheck.h"
#include <algorithm>
#include <tramostream/anyrecord.h>

namespace tramo::cli {

namespace {

template <class Model>
void findFaults(Model& model, const RecordKind& kind, std::wstring_view text, bool all, std::vector<Finding>& findings) {
    const std::vector<TE::FieldError> mandatory = model.getMandatoryErrors();
    const std::vector<TE::FieldError> parse = model.getParseErrors();  // with what the call before has added
    for (const auto* list : {&parse, &mandatory}) {
        for (const TE::FieldError& error : *list) {
            const Field* field = kind.fieldOf(error);
            if (!all && field && field->reportedOnGoodLines && error == field->mandatoryError) continue;
            Finding finding = explain(error, kind, text);
            // A zero character was reported; that it spoils its field goes without saying.
            if (finding.found.find(L'\0') == std::wstring::npos) findings.push_back(std::move(finding));
        }
    }
}

}  // namespace

void FieldCheck::check(LineKind kind, std::wstring_view text, bool all, std::vector<Finding>& findings) {
    if (kind != LineKind::Record) return;
    text = text.substr(0, shapeOf(kind).length);
    std::ranges::copy(text, record.begin());
    AnyRecord model(record);
    if (const RecordKind* recordKind = model.kind()) findFaults(model, *recordKind, text, all, findings);
}

}  // namespace tramo::cli
