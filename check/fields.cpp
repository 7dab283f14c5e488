// Findings about the fields of a line.
#include "common/concat.h"
#include "common/named.h"
#include "common/printable.h"
#include "common/secretkeyline.h"
#include "common/utf8.h"
#include "model/lineerrors.h"
#include "tramostream/check.h"
#include "tramostream/keyline.h"
#include <algorithm>
#include <vector>

namespace tramo {

namespace {

const KeyValue* keyValue(std::wstring_view name) {
    const auto found =
        std::ranges::find_if(keyValues, [&](const KeyValue& value) { return std::ranges::equal(value.name, name); });
    return found == std::end(keyValues) ? nullptr : &*found;
}

std::string whyIgnored(const KeyLineRemark& remark, const KeyValue* value) {
    switch (remark.reason) {
    case KeyLineRemark::Unknown: return "key lines have no member of this name";
    case KeyLineRemark::Duplicate: return "it occurs twice; the first one counts";
    case KeyLineRemark::WrongType: return value && value->text ? "expected a string" : "expected an integer";
    case KeyLineRemark::OutOfRange: return "expected an integer of 32 bits";
    }
    return {};
}

// Values of key lines have names instead of columns, and are never shown.
void checkKeyLine(std::wstring_view text, std::vector<Finding>& findings) {
    const SecretKeyLine parsed(text);
    if (parsed.error()) {
        const auto column = static_cast<int>(parsed.error()->column());
        findings.push_back(findingOf("KeyLineUnreadable", "malformed key line", parsed.error()->text, column));
        return;
    }
    const char* kind = shapeOf(LineKind::Key).name;
    for (const KeyLineRemark& remark : parsed.remarks()) {
        const KeyValue* value = keyValue(remark.name);
        std::string sentence = value ? std::string(value->name) + ": value is ignored"
                                     : named("unknown member", utf8::encode(remark.name)) + " is ignored";
        findings.push_back(findingOf("KeyMemberIgnored", std::move(sentence), whyIgnored(remark, value)));
        if (value) {
            findings.back().kind = kind;
            findings.back().field = value->name;
        }
    }
    for (const KeyValue& value : keyValues) {
        if (!value.isAbsent(parsed.values())) continue;
        findings.push_back(findingOf(errorName(TE::MandatoryMissing), std::string(value.name) + ": missing value"));
        findings.back().kind = kind;
        findings.back().field = value.name;
    }
}

}  // namespace

void checkFields(LineModel& model, std::wstring_view text, bool all, std::vector<Finding>& findings) {
    const RecordKind& kind = model.kind();
    text = text.substr(0, static_cast<std::size_t>(kind.length));
    LineErrors::each(model, [&](std::span<const TE::FieldError> errors) {
        for (const TE::FieldError& error : errors) {
            const Field* field = kind.fieldOf(error);
            if (!all && field && field->reportedOnGoodLines && error == field->mandatoryError) continue;
            Finding finding = findingOf(error, kind, text);
            // The zero character itself is reported: a second finding about its field would add nothing.
            if (finding.found.find(L'\0') == std::wstring::npos) findings.push_back(std::move(finding));
        }
    });
    for (const IgnoredText& ignored : ignoredTexts(model, text)) findings.push_back(findingOf(ignored, kind, text));
}

void checkFields(LineKind kind, std::wstring_view text, bool all, std::vector<Finding>& findings) {
    if (kind == LineKind::Key) checkKeyLine(text, findings);
    else if (std::optional<LineModel> model = LineModel::of(kind, text)) checkFields(*model, text, all, findings);
}

}  // namespace tramo
