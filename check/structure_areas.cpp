// Whether the areas of a round line fit their texts and each other.
#include "check/linerules.h"
#include "check/rulefields.h"
#include "common/concat.h"
#include "common/utf8.h"
#include "tramostream/linemodel.h"
#include <algorithm>

namespace tramo {

namespace {

struct AreaFields {
    const char* owner;  // "subscriber", "meter"
    int number;
    RuleField text, label, position, length, type;

    int column() const { return label->column; }
    int width() const { return type->column + type->width - label->column; }
};

const std::vector<AreaFields>& areaFields() {
    static const std::vector<AreaFields> all = [] {
        using rulefields::fieldOf;
        std::vector<AreaFields> areas;
        for (const std::string owner : {"subscriber", "meter"})
            for (int number = 1; number <= 5; ++number) {
                const auto of = [&](const char* what) {
                    return fieldOf<RoundTramoModel>(concat(owner, "Information", what, "Area", number));
                };
                areas.push_back(
                    {owner == "meter" ? "meter" : "subscriber", number, fieldOf<MeterSubscriberTramoModel>(owner + "Information"),
                        of("Label"), of("Position"), of("Lenght"), of("Type")});
            }
        return areas;
    }();
    return all;
}

// An area of which anything is defined.
struct DefinedArea {
    const AreaFields* fields;
    std::string name;
    int position, length;  // -1: absent
};

std::vector<DefinedArea> areasIn(const LineValues& line) {
    std::vector<DefinedArea> areas;
    for (const AreaFields& fields : areaFields()) {
        const auto isBlank = [&](const RuleField& field) {
            bool is = true;
            for (int i = 0; i < field->width && is; ++i)
                is = codec::isBlank(static_cast<wchar_t>(line.character(field, static_cast<std::size_t>(i))));
            return is;
        };
        if (isBlank(fields.label) && isBlank(fields.position) && isBlank(fields.length) && isBlank(fields.type)) continue;
        // An error in a field says what is wrong.
        if (line.has(fields.position) == isBlank(fields.position) || line.has(fields.length) == isBlank(fields.length)) continue;
        std::string name = concat(fields.owner, " area ", fields.number);
        if (line.sizeOf(fields.label) > 0) name += concat(" (", utf8::encode(line.text(fields.label)), ')');
        areas.push_back({&fields, std::move(name), static_cast<int>(line.integer(fields.position)),
            static_cast<int>(line.integer(fields.length))});
    }
    return areas;
}

}  // namespace

void findInRound(const LineValues& line, long32 now, LineReport& report) {
    constexpr long32 day = 24 * 60 * 60;
    static const RuleField imported = rulefields::fieldOf<RoundTramoModel>("roundImportDate");
    const RecordKind& kind = kindOf<RoundTramoModel>();
    if (const long32 date = line.time(imported); date > now && date - now > day && report.has(RoundRule::DateInFuture))
        report.add(RoundRule::DateInFuture, kind, imported, line.raw(imported),
            concat("the round was imported on ", utf8::encode(textOf(imported, FieldValue(static_cast<long long>(date))))),
            "this is later than the clock of this computer");

    const std::vector<DefinedArea> areas = areasIn(line);
    for (auto area = areas.begin(); area != areas.end(); ++area) {
        const AreaFields& fields = *area->fields;
        const auto add = [&](RoundRule rule, std::string_view what, std::string reason) {
            report.add(rule, kind, fields.column(), fields.width(), {}, concat(area->name, ' ', what), std::move(reason));
        };
        if (area->position < 0 || area->length < 0) {
            if (report.has(RoundRule::AreaIncomplete))
                add(RoundRule::AreaIncomplete, "is incomplete", "expected a position and a length");
            continue;
        }
        const int end = area->position + area->length;
        if (end > fields.text->width && report.has(RoundRule::AreaOutside))
            add(RoundRule::AreaOutside, "is not inside of its text",
                concat("it takes the characters ", area->position, " to ", end - 1, " of ", fields.text->width));
        const auto other = std::find_if(areas.begin(), area, [&](const DefinedArea& before) {
            return before.fields->text.field == fields.text.field && before.position >= 0 && before.length > 0 &&
                   area->length > 0 && before.position < end && area->position < before.position + before.length;
        });
        if (other != area && report.has(RoundRule::AreaOverlap))
            add(RoundRule::AreaOverlap, concat("overlaps ", other->name), "");
    }
}

}  // namespace tramo
