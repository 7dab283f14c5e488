#include "fieldcheck.h"
#include <algorithm>
#include <tramostream/anyrecord.h>
#include <tramostream/parametertramomodel.h>
#include <tramostream/tagtramomodel.h>

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

template <class Model, class Buffer> void checkAs(std::wstring_view text, bool all, std::vector<Finding>& findings) {
    Buffer line{};
    std::ranges::copy(text, line.begin());
    Model model(line);
    findFaults(model, kindOf<Model>(), text, all, findings);
}

}  // namespace

void checkFields(LineKind kind, std::wstring_view text, bool all, std::vector<Finding>& findings) {
    if (const std::size_t length = shapeOf(kind).length) text = text.substr(0, length);
    switch (kind) {
    case LineKind::Record: {
        TramoLine::tramoLine_t line{};
        std::ranges::copy(text, line.begin());
        AnyRecord model(line);
        if (const RecordKind* recordKind = model.kind()) findFaults(model, *recordKind, text, all, findings);
        break;
    }
    case LineKind::Parameter: checkAs<ParameterTramoModel, ParameterLine::parameterLine_t>(text, all, findings); break;
    case LineKind::Tag: checkAs<TagTramoModel, TagLine::tagLine_t>(text, all, findings); break;
    case LineKind::Key: break;
    }
}

}  // namespace tramo::cli
