#include "fieldcheck.h"
#include "text.h"
#include <algorithm>
#include <tramostream/anyrecord.h>
#include <tramostream/keyline.h>
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

const KeyValue* keyValue(std::wstring_view name) {
    const auto found =
        std::ranges::find_if(keyValues, [&](const KeyValue& value) { return std::ranges::equal(value.name, name); });
    return found == std::end(keyValues) ? nullptr : &*found;
}

std::string whyIgnored(const KeyLineRemark& remark, const KeyValue* value) {
    switch (remark.reason) {
    case KeyLineRemark::Unknown: return "no value has this name";
    case KeyLineRemark::Duplicate: return "it is there twice, and the first one counts";
    case KeyLineRemark::WrongType: return value && value->text ? "a text was expected" : "a whole number was expected";
    case KeyLineRemark::OutOfRange: return "a number of 32 bits was expected";
    }
    return {};
}

// Values have names here, not columns, and what they hold is never shown.
void checkKeyLine(std::wstring_view text, std::vector<Finding>& findings) {
    ParsedKeyLine parsed = parseKeyLine(text);
    wipe(parsed.line.line);
    if (parsed.error) {
        const auto column = static_cast<int>(parsed.error->column());
        findings.push_back(lineFinding("KeyLineUnreadable", "key line cannot be read", parsed.error->text, column));
        return;
    }
    const char* kind = shapeOf(LineKind::Key).name;
    for (const KeyLineRemark& remark : parsed.remarks) {
        constexpr std::size_t mostOfName = 40;
        const KeyValue* value = keyValue(remark.name);
        const bool isLong = remark.name.size() > mostOfName;
        const std::string name = printable(std::wstring_view(remark.name).substr(0, mostOfName)) + (isLong ? "..." : "");
        findings.push_back(lineFinding("KeyMemberIgnored", name + ": is ignored", whyIgnored(remark, value)));
        if (value) findings.back().kind = kind, findings.back().field = value->name;
    }
    for (const KeyValue& value : keyValues) {
        if (!value.isAbsent(parsed.line)) continue;
        findings.push_back(lineFinding(errorName(TE::MandatoryMissing), std::string(value.name) + ": is missing"));
        findings.back().kind = kind, findings.back().field = value.name;
    }
    for (const KeyValue& value : keyValues)
        if (value.text) wipe(parsed.line.*value.text);
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
    case LineKind::Key: checkKeyLine(text, findings); break;
    }
}

}  // namespace tramo::cli
